// The template database and the declaration tree in the store.

#include "../testutil.h"
#include "refdata/csv.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qty.h"
#include "shell/schema/schema.h"

#include <QSqlQuery>
#include <QSqlRecord>

class TestStore : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    QString path_;
    std::unique_ptr<qorClass> app_;
    ScriptedMessages msg_;
    std::unique_ptr<dbClass> db_;

    qint64 count(const QString &table)
    {
        return db_->scalar(QStringLiteral("SELECT COUNT(*) FROM ") + table).toLongLong();
    }

private Q_SLOTS:
    void initTestCase()
    {
        path_ = testutil::freshDatabase(dir_);
        app_ = std::make_unique<qorClass>(dir_.path());
        db_ = std::make_unique<dbClass>(*app_, msg_);
        db_->setCurrentPath(path_);
        QVERIFY(db_->connect());
        QVERIFY(msg_.shown.isEmpty());
    }

    void templateHoldsTheReferenceData()
    {
        // Row counts of the reference files.
        QCOMPARE(count(QStringLiteral("Province")), 111);
        QCOMPARE(count(QStringLiteral("Comuni")), 8194);
        QCOMPARE(count(QStringLiteral("ComConv")), 437);
        QCOMPARE(count(QStringLiteral("Nazioni")), 196);
        QCOMPARE(count(QStringLiteral("Rifiuti")), 973);
        QCOMPARE(count(QStringLiteral("Attivita")), 1224);
        QCOMPARE(count(QStringLiteral("CodRegCE")), 153);
        QCOMPARE(count(QStringLiteral("Codici")), 152);
        QCOMPARE(db_->dbVersion(), QStringLiteral("2.01.00"));
        QCOMPARE(count(QStringLiteral("Config")), 1);
        // text codes keep their leading zeros, accents and apostrophes survive
        QCOMPARE(db_->scalar(QStringLiteral("SELECT attCod FROM Attivita WHERE attCod = ?"),
                             {QStringLiteral("011110")}).toString(), QStringLiteral("011110"));
        QCOMPARE(db_->scalar(QStringLiteral("SELECT comDesc FROM Comuni WHERE prvIstat = 1 AND comIstat = 1"))
                     .toString(), QStringLiteral("AGLIÈ"));
        QVERIFY(db_->scalar(QStringLiteral("SELECT COUNT(*) FROM Comuni WHERE comDesc = ?"),
                            {QStringLiteral("SANT'ANGELO LODIGIANO")}).toInt() == 1);
        // empty CSV fields are NULL
        QVERIFY(db_->scalar(QStringLiteral("SELECT COUNT(*) FROM Comuni WHERE newComIstat IS NULL")).toInt() > 7000);
        // the seeded EC-regulation codes carry the program's own texts
        QCOMPARE(db_->scalar(QStringLiteral("SELECT crcDesc FROM CodRegCE WHERE crcCod = 'B1030'")).toString(),
                 QStringLiteral("Residui contenenti metalli refratari"));
    }

    void seedingAddsNothingWhenPresent()
    {
        QString error;
        QVERIFY(refdata::seedCodRegCE(db_->current(), &error));
        QCOMPARE(count(QStringLiteral("CodRegCE")), 153);
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM CodRegCE WHERE crcCod IN ('B1010','B1020','B1030')")));
        QVERIFY(refdata::seedCodRegCE(db_->current(), &error));
        QCOMPARE(count(QStringLiteral("CodRegCE")), 153);
        QCOMPARE(db_->scalar(QStringLiteral("SELECT crcDesc FROM CodRegCE WHERE crcCod = 'B1020'")).toString(),
                 QStringLiteral("Rottami puliti e non contaminati dei metalli sequenti, comprese le leghe, "
                                "in forma finita, non dispersibile"));
    }

    void cascadeLeavesNoOrphans()
    {
        // One declaration with a row in every table of the tree.
        const qint64 sa = db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("01234567890")},
                                                                     {QStringLiteral("RagSoc"), QStringLiteral("PROVA SRL")}});
        QVERIFY(sa > 0);
        const qint64 other = db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("01234567890")}});
        db_->insertRow(QStringLiteral("SaAut"), {{QStringLiteral("saID"), sa}});
        const qint64 rif = db_->insertRow(QStringLiteral("SezRif"), {{QStringLiteral("saID"), sa}, {QStringLiteral("rifCod"), QStringLiteral("150101")}});
        const qint64 mr = db_->insertRow(QStringLiteral("ModRif"), {{QStringLiteral("rifID"), rif}, {QStringLiteral("tipoMod"), 4}});
        db_->insertRow(QStringLiteral("RecRif"), {{QStringLiteral("mrID"), mr}, {QStringLiteral("Codice"), QStringLiteral("R13")}});
        const qint64 in = db_->insertRow(QStringLiteral("SezInt"), {{QStringLiteral("saID"), sa}});
        db_->insertRow(QStringLiteral("ModInt"), {{QStringLiteral("intID"), in}});
        for (auto [sez, key, rec, mod, recmod, modkey] :
             {std::tuple{"SezVfu", "vfuID", "RecVfu", "ModVfu", "RecModVfu", "mvID"},
              {"SezImb", "siID", "RecImb", "ModImb", "RecModImb", "mbID"},
              {"SezRaee", "srID", "RecRaee", "ModRaee", "RecModRaee", "msrID"}}) {
            const qint64 s = db_->insertRow(QString::fromLatin1(sez), {{QStringLiteral("saID"), sa}});
            QVERIFY(s > 0);
            db_->insertRow(QString::fromLatin1(rec), {{QString::fromLatin1(key), s}});
            const qint64 m = db_->insertRow(QString::fromLatin1(mod), {{QString::fromLatin1(key), s}});
            QVERIFY(m > 0);
            QVERIFY(db_->insertRow(QString::fromLatin1(recmod), {{QString::fromLatin1(modkey), m}}) > 0);
        }
        QVERIFY(msg_.shown.isEmpty());

        // Deleting a module takes its rows; a scheda its modules; a declaration everything.
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM ModRif WHERE mrID = ?"), {mr}));
        QCOMPARE(count(QStringLiteral("RecRif")), 0);
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezImb WHERE saID = ?"), {sa}));
        QCOMPARE(count(QStringLiteral("ModImb")) + count(QStringLiteral("RecImb")) + count(QStringLiteral("RecModImb")), 0);
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezAnag WHERE saID = ?"), {sa}));
        for (const schema::Table &t : schema::tables())
            if (!t.parent.isEmpty())
                QVERIFY2(count(t.name) == 0, qPrintable(t.name));
        QCOMPARE(count(QStringLiteral("SezAnag")), 1);

        // A child without its parent is refused.
        QVERIFY(db_->insertRow(QStringLiteral("SezRif"), {{QStringLiteral("saID"), other + 1000}}) < 0);
        QCOMPARE(msg_.shown.size(), 1);
        QVERIFY(msg_.shown.first().title.startsWith(QStringLiteral("Errore codice: ")));
        msg_.clear();
        db_->execute(QStringLiteral("DELETE FROM SezAnag"));
    }

    void deletingACompanyKeepsItsDeclarations()
    {
        QVERIFY(db_->insertRow(QStringLiteral("Ditte"), {{QStringLiteral("CodFisc"), QStringLiteral("RSSMRA80A01H501U")},
                                                         {QStringLiteral("RagSoc"), QStringLiteral("ROSSI")}}) == 0);
        db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("RSSMRA80A01H501U")}});
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM Ditte WHERE (CodFisc = ?)"), {QStringLiteral("RSSMRA80A01H501U")}));
        QCOMPARE(count(QStringLiteral("Ditte")), 0);
        QCOMPARE(count(QStringLiteral("SezAnag")), 1);
        db_->execute(QStringLiteral("DELETE FROM SezAnag"));
    }

    void quantitiesAreKeptExactly()
    {
        const qint64 sa = db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("X")}});
        const QList<qint64> values = {1, 999, 1234567, 9999999999LL, 123456789012345LL, 333, 0};
        for (qint64 v : values)
            db_->insertRow(QStringLiteral("SezRif"), {{QStringLiteral("saID"), sa}, {QStringLiteral("qtaProd"), Qty::fromMilli(v).toStore()},
                                                      {QStringLiteral("umiProd"), 2}});
        QSqlQuery q = db_->query(QStringLiteral("SELECT qtaProd FROM SezRif ORDER BY rifID"));
        QList<qint64> back;
        while (q.next())
            back << Qty::fromStore(q.value(0)).toMilli();
        QCOMPARE(back, values);
        // sums in the store stay exact
        qint64 expected = 0;
        for (qint64 v : values)
            expected += v;
        QCOMPARE(db_->scalar(QStringLiteral("SELECT SUM(qtaProd) FROM SezRif")).toLongLong(), expected);
        db_->execute(QStringLiteral("DELETE FROM SezAnag"));
    }

    void exportLogKeysAreCounted()
    {
        const qint64 a = db_->insertRow(QStringLiteral("expTab"), {{QStringLiteral("expDic"), 1}});
        const qint64 b = db_->insertRow(QStringLiteral("expTab"), {{QStringLiteral("expDic"), 2}});
        QVERIFY(a > 0);
        QVERIFY(b > a);
        // a new declaration starts as never exported
        const qint64 sa = db_->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("Y")}});
        QCOMPARE(db_->scalar(QStringLiteral("SELECT ExpID FROM SezAnag WHERE saID = ?"), {sa}).toInt(), 0);
        QCOMPARE(db_->scalar(QStringLiteral("SELECT saExp FROM SezAnag WHERE saID = ?"), {sa}).toInt(), 0);
        db_->execute(QStringLiteral("DELETE FROM SezAnag"));
        db_->execute(QStringLiteral("DELETE FROM expTab"));
    }

    void csvReader()
    {
        CsvReader r(QByteArray("a,b,c\r\n\"x, y\",\"he said \"\"hi\"\"\",\r\n\"line\nbreak\",,z\n"));
        QStringList f;
        QVERIFY(r.next(&f));
        QCOMPARE(f, (QStringList{QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")}));
        QVERIFY(r.next(&f));
        QCOMPARE(f.size(), 3);
        QCOMPARE(f[0], QStringLiteral("x, y"));
        QCOMPARE(f[1], QStringLiteral("he said \"hi\""));
        QVERIFY(f[2].isNull());
        QVERIFY(r.next(&f));
        QCOMPARE(f[0], QStringLiteral("line\nbreak"));
        QVERIFY(f[1].isNull());
        QCOMPARE(f[2], QStringLiteral("z"));
        QVERIFY(!r.next(&f));
        CsvReader bad(QByteArray("\"open,1\n"));
        QVERIFY(!bad.next(&f));
        QVERIFY(!bad.error().isEmpty());
    }

    void initRefusesExistingFileAndMissingData()
    {
        QString error;
        QVERIFY(!refdata::createDatabase(path_, testutil::refdataFolder(), &error));
        QVERIFY(error.contains(QStringLiteral("esiste già")));
        const QString other = dir_.filePath(QStringLiteral("nuovo.db"));
        QVERIFY(!refdata::createDatabase(other, dir_.filePath(QStringLiteral("manca")), &error));
        QVERIFY(error.contains(QStringLiteral("QOR_REFDATA")));
        QVERIFY(!QFileInfo::exists(other));
    }
};

QTEST_GUILESS_MAIN(TestStore)
#include "test_store.moc"
