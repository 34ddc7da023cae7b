// Section SA1 rules and save, the company register routines and the user's
// own data, on a fresh database with the real reference data.

#include "../testdb.h"
#include "sections/anag/register.h"
#include "sections/anag/sa1.h"
#include "sections/anag/setup.h"

#include <QSqlQuery>

using fields::Record;

namespace {

Record validSa1()
{
    return {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
            {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")},
            {QStringLiteral("REA"), 123456789LL},
            {QStringLiteral("prvIstat"), 15}, {QStringLiteral("comIstat"), 146},
            {QStringLiteral("Via"), QStringLiteral("VIA ROMA")},
            {QStringLiteral("Civico"), QStringLiteral("1")},
            {QStringLiteral("Cap"), QStringLiteral("20100")},
            {QStringLiteral("attIstat"), QStringLiteral("381100")},
            {QStringLiteral("Addetti"), 10LL}, {QStringLiteral("Mesi"), 12LL},
            {QStringLiteral("slPrvIstat"), 1}, {QStringLiteral("slComIstat"), 272},
            {QStringLiteral("slVia"), QStringLiteral("CORSO FRANCIA")},
            {QStringLiteral("saCognome"), QStringLiteral("ROSSI")},
            {QStringLiteral("saNome"), QStringLiteral("MARIO")},
            {QStringLiteral("saDataComp"), QStringLiteral("2019-03-15")},
            {QStringLiteral("saAnnulla"), 0}};
}

} // namespace

class TestAnag : public QObject {
    Q_OBJECT
    TestDb t;
private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init() { t.msg.clear(); }

    void saveRulesInFieldOrder()
    {
        // Each required field emptied on its own stops the save with its message.
        const QStringList order{QStringLiteral("CodFisc"), QStringLiteral("RagSoc"), QStringLiteral("comIstat"),
                                QStringLiteral("Via"), QStringLiteral("attIstat"), QStringLiteral("Addetti"),
                                QStringLiteral("slComIstat"), QStringLiteral("slVia"), QStringLiteral("saCognome"),
                                QStringLiteral("saNome"), QStringLiteral("saDataComp")};
        const QStringList texts{
            QStringLiteral("Attenzione, Codice fiscale richiesto."),
            QStringLiteral("Attenzione, nome o ragione sociale richiesto."),
            QStringLiteral("Attenzione, comune unità locale richiesto."),
            QStringLiteral("Attenzione, campo via dell'unità locale richiesto."),
            QStringLiteral("Attenzione codice attività economica richiesto."),
            QStringLiteral("Attenzione, campo numero addetti richiesto."),
            QStringLiteral("Attenzione, comune sede legale richiesto."),
            QStringLiteral("Attenzione, campo via sede legale richiesto."),
            QStringLiteral("Attenzione, campo cognome legale rappresentante richiesto."),
            QStringLiteral("Attenzione, campo nome rappresentante legale richiesto."),
            QStringLiteral("Attenzione, data di compilazione richiesta.")};
        for (int i = 0; i < order.size(); ++i) {
            Record r = validSa1();
            r.insert(order[i], QVariant());
            t.msg.clear();
            int bad = -1;
            QCOMPARE(sa1::save(*t.ctx, 0, r, &bad), 0);
            QCOMPARE(t.msg.texts(), QStringList{texts[i]});
            QVERIFY(bad >= 0);
        }
        // Two missing: only the first in field order is reported.
        Record r = validSa1();
        r.remove(QStringLiteral("saNome"));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("   "));
        t.msg.clear();
        QCOMPARE(sa1::saveCheck(*t.ctx, r), fields::position(sa1::fieldTable(), QStringLiteral("RagSoc")));
        QCOMPARE(t.msg.shown.size(), 1);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 0);
    }

    void annulment()
    {
        Record r = validSa1();
        r.insert(QStringLiteral("saAnnulla"), 1);
        QVERIFY(sa1::saveCheck(*t.ctx, r) >= 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, data precedente dichiarazione da annullare richiesta."));
        r.insert(QStringLiteral("saDataPrec"), QStringLiteral("2019-03-16"));
        QVERIFY(sa1::saveCheck(*t.ctx, r) >= 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, data precedente dichiarazione > data dichiarazione."));
        r.insert(QStringLiteral("saDataPrec"), QStringLiteral("2019-03-15"));
        t.msg.clear();
        QCOMPARE(sa1::saveCheck(*t.ctx, r), -1);
        QVERIFY(t.msg.shown.isEmpty());
    }

    void fieldExitRules()
    {
        Record r = validSa1();
        r.insert(QStringLiteral("Addetti"), 99LL);
        QVERIFY(sa1::fieldExit(*t.ctx, QStringLiteral("Addetti"), r));
        QVERIFY(t.msg.shown.isEmpty());
        r.insert(QStringLiteral("Addetti"), 100LL);
        t.msg.answer({true});
        QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("Addetti"), r)); // Yes: correct it
        QVERIFY(sa1::fieldExit(*t.ctx, QStringLiteral("Addetti"), r));  // No: accepted
        QCOMPARE(t.msg.texts(), QStringList(2, QStringLiteral("Attenzione, verificare numero addetti.")));

        t.msg.clear();
        for (qint64 bad : {0LL, 13LL}) {
            r.insert(QStringLiteral("Mesi"), bad);
            QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("Mesi"), r));
            QCOMPARE(r.value(QStringLiteral("Mesi")).toLongLong(), 0LL);
        }
        QCOMPARE(t.msg.texts(), QStringList(2, QStringLiteral("Attenzione, mesi di attività errati.")));
        r.insert(QStringLiteral("Mesi"), 12LL);
        QVERIFY(sa1::fieldExit(*t.ctx, QStringLiteral("Mesi"), r));

        t.msg.clear();
        r.insert(QStringLiteral("attIstat"), QStringLiteral("999999"));
        QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("attIstat"), r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice Istat Attività errato."));
        QVERIFY(r.value(QStringLiteral("attIstat")).toString().isEmpty());

        t.msg.clear();
        r.insert(QStringLiteral("saDataComp"), QStringLiteral("2018-12-31"));
        t.msg.answer({true});
        QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("saDataComp"), r));
        QVERIFY(sa1::fieldExit(*t.ctx, QStringLiteral("saDataComp"), r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, verificare la data della dichiarazione."));
        r.insert(QStringLiteral("saDataComp"), QStringLiteral("2019-01-01"));
        t.msg.clear();
        QVERIFY(sa1::fieldExit(*t.ctx, QStringLiteral("saDataComp"), r));
        QVERIFY(t.msg.shown.isEmpty());

        r.insert(QStringLiteral("slCap"), QStringLiteral("2010"));
        QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("slCap"), r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("0048841001"));
        QVERIFY(!sa1::fieldExit(*t.ctx, QStringLiteral("CodFisc"), r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo codice fiscale formalmente errato!"));
    }

    void insertUpdateAndExportState()
    {
        Record r = validSa1();
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("ditta dell'orso"));
        const qint64 id = sa1::save(*t.ctx, 0, r);
        QVERIFY(id > 0);
        bool found = false;
        Record back = sa1::load(*t.ctx, id, &found);
        QVERIFY(found);
        QCOMPARE(back.value(QStringLiteral("RagSoc")).toString(), QStringLiteral("DITTA DELL'ORSO"));
        QCOMPARE(back.value(QStringLiteral("REA")).toLongLong(), 123456789LL);
        QCOMPARE(back.value(QStringLiteral("comIstat")).toInt(), 146);
        QCOMPARE(back.value(QStringLiteral("saDataComp")).toString(), QStringLiteral("2019-03-15"));
        QCOMPARE(back.value(QStringLiteral("PrefTel")).toString(), QString());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT saAnno FROM SezAnag WHERE saID = ?"), {id}).toInt(), 2019);

        // An exported declaration changed and saved must be exported again.
        QVERIFY(t.db->execute(QStringLiteral("UPDATE SezAnag SET ExpID = 7, saExp = 1 WHERE saID = ?"), {id}));
        back.insert(QStringLiteral("Via"), QStringLiteral("VIA NUOVA"));
        QCOMPARE(sa1::save(*t.ctx, id, back), id);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT ExpID FROM SezAnag WHERE saID = ?"), {id}).toInt(), 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT saExp FROM SezAnag WHERE saID = ?"), {id}).toInt(), 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 1);

        // Over-long text is cut to the column's length, never stored longer.
        back.insert(QStringLiteral("Civico"), QStringLiteral("1234567890"));
        QCOMPARE(sa1::save(*t.ctx, id, back), id);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT Civico FROM SezAnag WHERE saID = ?"), {id}).toString(),
                 QStringLiteral("123456"));

        // Removing asks, and takes the whole tree with it.
        QVERIFY(t.db->execute(QStringLiteral("INSERT INTO SezRif (saID, rifCod) VALUES (?, '200101')"), {id}));
        t.msg.clear();
        const auto sum = sa1::summary(*t.ctx, id);
        QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'|'))); // every count ran
        QCOMPARE(sum[1].what, QStringLiteral("Schede RIF"));
        QCOMPARE(sum[1].count, 1);
        QVERIFY(!sa1::remove(*t.ctx, id));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino dichiarazione: DITTA DELL'ORSO - U. L.: VIA NUOVA 123456\nsei sicuro?"));
        t.msg.answer({true});
        QVERIFY(sa1::remove(*t.ctx, id));
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezRif")).toInt(), 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 0);
    }

    void newLocalUnitAndCopy()
    {
        Record r = validSa1();
        r.insert(QStringLiteral("slVia"), QStringLiteral("VECCHIA"));
        r.insert(QStringLiteral("slCap"), QStringLiteral("10100"));
        r.insert(QStringLiteral("PrefTel"), QStringLiteral("02"));
        const Record n = sa1::newLocalUnit(r);
        QCOMPARE(n.value(QStringLiteral("CodFisc")), r.value(QStringLiteral("CodFisc")));
        QCOMPARE(n.value(QStringLiteral("slVia")).toString(), QStringLiteral("VECCHIA"));
        QVERIFY(n.value(QStringLiteral("Via")).toString().isEmpty());
        QCOMPARE(n.value(QStringLiteral("comIstat")).toInt(), 0);
        QVERIFY(n.value(QStringLiteral("saCognome")).toString().isEmpty());

        sa1::copyLocalUnit(r);
        QCOMPARE(r.value(QStringLiteral("slVia")).toString(), QStringLiteral("VIA ROMA"));
        QCOMPARE(r.value(QStringLiteral("slCap")).toString(), QStringLiteral("20100"));
        QCOMPARE(r.value(QStringLiteral("slPrefTel")).toString(), QStringLiteral("02"));
        QCOMPARE(r.value(QStringLiteral("slTelefono")).toString(), QString());
        QCOMPARE(r.value(QStringLiteral("slPrvIstat")).toInt(), 15);
        QCOMPARE(r.value(QStringLiteral("slComIstat")).toInt(), 146);
    }

    void registerCounterpart()
    {
        anag::Company c;
        c.codFisc = QStringLiteral(" 00488410010 ");
        c.ragSoc = QStringLiteral("PRIMA");
        c.prvIstat = 15;
        c.comIstat = 146;
        QCOMPARE(anag::registerCounterpart(*t.db, c), anag::Registered::Added);
        c.ragSoc = QStringLiteral("SECONDA");
        QCOMPARE(anag::registerCounterpart(*t.db, c), anag::Registered::AlreadyThere);
        auto back = anag::readCompany(*t.db, QStringLiteral("00488410010"));
        QVERIFY(back);
        QCOMPARE(back->ragSoc, QStringLiteral("PRIMA"));
        QCOMPARE(back->comIstat, 146);

        anag::Company lost;
        lost.codFisc = QStringLiteral("RSSMRA85T10A562S");
        lost.ragSoc = QString(70, u'Z');
        lost.prvIstat = 999; // unknown place
        QCOMPARE(anag::registerCounterpart(*t.db, lost), anag::Registered::Added);
        QCOMPARE(anag::readCompany(*t.db, lost.codFisc)->ragSoc.size(), 60);

        const auto list = anag::companyList(*t.db);
        QCOMPARE(list.size(), 2);
        QCOMPARE(list[0].ragSoc, QStringLiteral("PRIMA"));
        QCOMPARE(list[0].comDesc, QStringLiteral("MILANO"));
        QCOMPARE(list[0].prvSigla, QStringLiteral("MI"));
        QVERIFY(list[1].comDesc.isEmpty());

        fields::Record e = anag::companyRecord(*back);
        e.insert(QStringLiteral("Via"), QStringLiteral("via larga"));
        QVERIFY(anag::saveCompany(*t.db, back->codFisc, e));
        QCOMPARE(anag::readCompany(*t.db, back->codFisc)->via, QStringLiteral("VIA LARGA"));

        QVERIFY(!anag::deleteCompany(*t.ctx, back->codFisc, back->ragSoc));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino Elimino ditta: PRIMA\nsei sicuro?"));
        t.msg.answer({true, true});
        QVERIFY(anag::deleteCompany(*t.ctx, back->codFisc, back->ragSoc));
        QVERIFY(anag::deleteCompany(*t.ctx, lost.codFisc, QStringLiteral("x")));
        QVERIFY(anag::companyList(*t.db).isEmpty());
    }

    void setupRow()
    {
        QVERIFY(t.db->execute(QStringLiteral("DELETE FROM Setup")));
        bool found = true;
        anag::loadSetup(*t.db, dbClass::Which::Current, &found);
        QVERIFY(!found);
        fields::Record r{{QStringLiteral("codFisc"), QStringLiteral("rssmra85t10a562s")},
                         {QStringLiteral("RagSoc"), QStringLiteral("Studio")},
                         {QStringLiteral("cap"), QStringLiteral("2010")},
                         {QStringLiteral("email"), QStringLiteral("studio@example")}};
        QVERIFY(!anag::saveSetup(*t.ctx, r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        r.insert(QStringLiteral("cap"), QStringLiteral("20100"));
        QVERIFY(!anag::saveSetup(*t.ctx, r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, indirizzo e-mail formalmente errato."));
        r.insert(QStringLiteral("email"), QStringLiteral("studio@example.it"));
        QVERIFY(anag::saveSetup(*t.ctx, r));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("Studio Due"));
        QVERIFY(anag::saveSetup(*t.ctx, r));
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT COUNT(*) FROM Setup")).toInt(), 1);
        const fields::Record back = anag::loadSetup(*t.db, dbClass::Which::Current, &found);
        QVERIFY(found);
        QCOMPARE(back.value(QStringLiteral("RagSoc")).toString(), QStringLiteral("STUDIO DUE"));
        QCOMPARE(back.value(QStringLiteral("codFisc")).toString(), QStringLiteral("RSSMRA85T10A562S"));

        // A write that fails keeps the values and says so.
        QVERIFY(t.db->execute(QStringLiteral("CREATE TRIGGER nowrite BEFORE UPDATE ON Setup "
                                             "BEGIN SELECT RAISE(ABORT, 'read only'); END")));
        t.msg.clear();
        QVERIFY(!anag::saveSetup(*t.ctx, r));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione,\nerrore in aggiornamento della base dati.\n\n"
                                              "Verificare se si dispone dei permessi di scrittura."));
        QVERIFY(t.db->execute(QStringLiteral("DROP TRIGGER nowrite")));
    }
};

QTEST_GUILESS_MAIN(TestAnag)
#include "test_anag.moc"
