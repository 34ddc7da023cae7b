// One register of companies: the module forms' save, the import of an
// exchange file and the takeover from the previous year add a counterpart
// through the same routine, so the same counterpart gives the same register
// row whichever of them meets it first.

#include "../testutil.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "sections/anag/register.h"
#include "sections/codes.h"
#include "sections/rif/modules.h"
#include "sections/takeover/takeover.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"
#include "shell/transaction.h"

#include <QFile>
#include <QSqlQuery>
#include <QSqlRecord>
#include <memory>

namespace {

QString s(const char *t) { return QString::fromUtf8(t); }

struct Store {
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    std::unique_ptr<dbClass> db;
    std::unique_ptr<AppContext> ctx;

    bool open(const QString &folder, const QString &path, const QString &previous = {})
    {
        app = std::make_unique<qorClass>(folder);
        db = std::make_unique<dbClass>(*app, msg);
        db->setCurrentPath(path);
        db->setPreviousPath(previous);
        if (!db->connect())
            return false;
        ctx = std::make_unique<AppContext>(AppContext{*app, *db, msg});
        return true;
    }
    // The register rows of the given tax codes, every column, as text.
    QStringList rows(const QStringList &codes)
    {
        QStringList out;
        for (const QString &c : codes) {
            QSqlQuery q = db->query(s("SELECT * FROM Ditte WHERE (CodFisc = ?)"), {c});
            QStringList v;
            while (q.next())
                for (int i = 0; i < q.record().count(); ++i)
                    v << q.record().fieldName(i).toLower() + u'='
                             + (q.isNull(i) ? s("<null>") : q.value(i).toString());
            out << c + u':' + v.join(u' ');
        }
        return out;
    }
};

} // namespace

class TestRegister : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QString templ;

    QString copy(const char *name)
    {
        const QString path = dir.filePath(s(name));
        return QFile::copy(templ, path) ? path : QString();
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        templ = testutil::freshDatabase(dir, s("template.db"));
    }

    // A run over more companies than the register remembers: those it
    // forgot are looked up again and never written twice.
    void longRunForgetsAndStillRegistersOnce()
    {
        Store st;
        QVERIFY(st.open(dir.path(), copy("long.db")));
        anag::CounterpartRegister reg(*st.db);
        const int n = int(anag::CounterpartRegister::KnownAtMost) + 10;
        auto code = [](int i) { return QStringLiteral("%1").arg(i, 11, 10, QChar(u'0')); };
        QVERIFY(st.db->current().transaction());
        for (int i = 0; i < n; ++i)
            QVERIFY(reg.add({code(i), s("DITTA"), {}, {}, {}, {}, {}, 1, 272}) == anag::Registered::Added);
        QVERIFY(!reg.known(code(0)));
        QVERIFY(reg.known(code(n - 1)));
        for (int i : {0, n / 2, n - 1})
            QVERIFY(reg.add({code(i), s("ALTRA"), {}, {}, {}, {}, {}, 1, 272}) == anag::Registered::AlreadyThere);
        QVERIFY(st.db->current().commit());
        QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM Ditte")).toInt(), n);
        QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM Ditte WHERE RagSoc = 'ALTRA'")).toInt(), 0);
    }

    // A code is known however it is written: with blanks around it, in
    // small letters, as a QString or as the UTF-8 bytes of a file; one with
    // a letter outside ASCII goes through the same folding.
    void knownWhateverTheSpelling()
    {
        Store st;
        QVERIFY(st.open(dir.path(), copy("spelling.db")));
        anag::CounterpartRegister reg(*st.db);
        QVERIFY(reg.add({s(" rssmra80a01h501u "), s("ROSSI"), {}, {}, {}, {}, {}, 0, 0}) == anag::Registered::Added);
        QVERIFY(reg.add({s("ÀBCDEF"), s("ACCENTO"), {}, {}, {}, {}, {}, 0, 0}) == anag::Registered::Added);
        QVERIFY(reg.known(s("RSSMRA80A01H501U")));
        QVERIFY(reg.known(QByteArrayView("\tRssMra80a01h501u  ")));
        QVERIFY(reg.known(QByteArrayView("àbcdef")));
        QVERIFY(!reg.known(QByteArrayView("RSSMRA80A01H501")));
        QVERIFY(!reg.known(QByteArrayView("")));
        QVERIFY(reg.add({s("rssmra80a01h501u"), s("ALTRO"), {}, {}, {}, {}, {}, 0, 0}) == anag::Registered::AlreadyThere);
        QCOMPARE(st.db->scalar(s("SELECT RagSoc FROM Ditte WHERE CodFisc = 'RSSMRA80A01H501U'")).toString(), s("ROSSI"));
    }

    // A queued run writes nothing until flush(); then each new tax code
    // with the data first queued for it, a code already registered keeps
    // its row, and what a savepoint undid is not written.
    void queuedRunWritesAtFlushFirstDataWins()
    {
        Store st;
        QVERIFY(st.open(dir.path(), copy("queued.db")));
        QVERIFY(anag::registerCounterpart(*st.db, {s("OLD00000001"), s("GIA REGISTRATA"), {}, {}, {}, {}, {}, 1, 272})
                == anag::Registered::Added);
        auto ragSoc = [&](const char *code) {
            return st.db->scalar(s("SELECT RagSoc FROM Ditte WHERE CodFisc = ?"), {s(code)}).toString();
        };
        const int filler = int(anag::CounterpartRegister::KnownAtMost);
        {
            dbTransaction run(st.db->current());
            QVERIFY(run.isActive());
            anag::CounterpartRegister reg(*st.db, anag::CounterpartRegister::Mode::Queued);
            auto add = [&](const QString &code, const char *name) {
                return reg.add(anag::Company{code, s(name), {}, {}, {}, {}, {}, 1, 272});
            };
            QCOMPARE(add(s("old00000001"), "NUOVO NOME"), anag::Registered::Added);
            QCOMPARE(add(s("AAA00000001"), "PRIMA"), anag::Registered::Added);
            QCOMPARE(add(s("AAA00000001"), "DOPPIONE"), anag::Registered::AlreadyThere);
            // Enough others that the run forgets the first: it is queued
            // again, with other data.
            for (int i = 0; i < filler; ++i)
                QCOMPARE(add(QStringLiteral("F%1").arg(i, 10, 10, QChar(u'0')), "RIEMPITIVO"), anag::Registered::Added);
            QVERIFY(!reg.known(s("AAA00000001")));
            QCOMPARE(add(s("AAA00000001"), "SECONDA"), anag::Registered::Added);
            {
                dbTransaction undone(st.db->current());
                QVERIFY(undone.isNested());
                QCOMPARE(add(s("BBB00000001"), "ANNULLATA"), anag::Registered::Added);
                undone.rollback();
                reg.forget();
            }
            QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM Ditte")).toInt(), 1);
            QCOMPARE(reg.flush(), qint64(filler + 1));
            QCOMPARE(reg.flush(), qint64(0));
            QVERIFY(run.commit());
        }
        QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM Ditte")).toInt(), filler + 2);
        QCOMPARE(ragSoc("OLD00000001"), s("GIA REGISTRATA"));
        QCOMPARE(ragSoc("AAA00000001"), s("PRIMA"));
        QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM Ditte WHERE CodFisc = 'BBB00000001'")).toInt(), 0);
        // The queue went with its register.
        QCOMPARE(st.db->scalar(s("SELECT COUNT(*) FROM sqlite_temp_master WHERE type = 'table'")).toInt(), 0);
    }

    // The texts of a file, given as UTF-8, are stored as the forms store
    // the same texts given as QString: trimmed of any blank (those outside
    // ASCII too), cut to their column in characters, the tax code in
    // capitals.
    void utf8TextsStoredAsTheFormsStoreThem()
    {
        Store st;
        QVERIFY(st.open(dir.path(), copy("utf8.db")));
        const schema::Table *ditte = schema::table(s("Ditte"));
        QVERIFY(ditte);
        auto width = [&](const char *column) { return schema::column(*ditte, s(column))->length; };
        const QString longAscii = QString(70, u'X');
        const QString longAccented = s("CAFFÈ ") + QString(60, u'À');
        const QString emojiAtCut = QString(59, u'A') + s("\U0001F600") + s("B");
        const QStringList texts = {s("  Rossi  "), s("\u00A0Caffè\u00A0"), s("Àrea Verde"), s("Bar \u00A0"),
                                   longAscii, longAccented, emojiAtCut, s("\t\n"), s("è")};
        anag::CounterpartRegister reg(*st.db);
        for (int i = 0; i < texts.size(); ++i) {
            const QByteArray code = QStringLiteral(" \u00A0àbc%1 ").arg(i).toUtf8(), text = texts[i].toUtf8();
            const QByteArray cap = QString(texts[i]).toUtf8();
            QCOMPARE(reg.add(anag::CompanyUtf8{code, text, text, text, cap, text, text, 1, 272}), anag::Registered::Added);
            const QString stored = QStringLiteral("ÀBC%1").arg(i);
            QVERIFY(reg.known(QByteArrayView(code)));
            QVERIFY(reg.known(stored));
            QSqlQuery q = st.db->query(s("SELECT RagSoc, Via, Civico, Cap, PrefTel, Telefono FROM Ditte WHERE CodFisc = ?"),
                                       {stored});
            QVERIFY2(q.next(), qPrintable(stored));
            const char *columns[] = {"RagSoc", "Via", "Civico", "Cap", "PrefTel", "Telefono"};
            for (int c = 0; c < 6; ++c) {
                // A character of two UTF-16 units is not split at the cut.
                QString want = texts[i].trimmed().left(width(columns[c]));
                if (!want.isEmpty() && want.back().isHighSurrogate())
                    want.chop(1);
                QCOMPARE(q.isNull(c) ? QString() : q.value(c).toString(), want.isEmpty() ? QString() : want);
            }
        }
    }

    void sameRowFromFormsImportAndTakeover()
    {
        // Last year's declaration, its counterparts added by the forms' save.
        const QString prev = copy("Qor2018.db");
        Store forms;
        QVERIFY(forms.open(dir.path(), prev));
        const qint64 sa = forms.db->insertRow(s("SezAnag"), {{s("saAnno"), 2018}, {s("CodFisc"), s("00488410010")},
                                                             {s("RagSoc"), s("ACME SPA")}, {s("prvIstat"), 15},
                                                             {s("comIstat"), 146}, {s("Via"), s("VIA ROMA")}});
        const qint64 rif = forms.db->insertRow(s("SezRif"), {{s("saID"), sa}, {s("rifCod"), s("150101")},
                                                             {s("sfSolidoNP"), 1}, {s("qtaProd"), 1000},
                                                             {s("umiProd"), 1}});
        QVERIFY(sa > 0 && rif > 0);
        // Modules whose counterpart the file carries with its address (TE
        // carries tax code and name only), each with its own company: texts
        // with blanks around, a long name, an empty number.
        QStringList taxes;
        const char *taxCodes[] = {"01234567890", "RSSMRA85T10A562S", "VRDLGU70B02F205X"};
        int i = 0;
        for (int tipo : {codes::RT, codes::DR, codes::DR}) {
            const waste::ModuleKind &m = rif::module(tipo);
            QVERIFY(m.counterpart);
            fields::Record r = waste::blank(m);
            r.insert(s("CodFisc"), s(" ") + s(taxCodes[i]) + s(" "));
            r.insert(s("RagSoc"), i == 1 ? QString(70, u'Z') : s("RECUPERI SRL "));
            r.insert(s("Via"), s("VIA PO"));
            r.insert(s("Civico"), i == 2 ? QString() : s("2"));
            r.insert(s("Cap"), s("20100"));
            r.insert(s("prvIstat"), 15);
            r.insert(s("comIstat"), 146);
            r.insert(s("qtaMod"), 1000);
            QVERIFY(waste::save(*forms.ctx, m, rif, 0, s("150101"), r, {}, {}) > 0);
            taxes << s(taxCodes[i++]);
        }
        const QStringList expected = forms.rows(taxes);
        for (const QString &row : expected)
            QVERIFY2(row.contains(s("ragsoc=")), qPrintable(row));

        // The same declaration imported from an exchange file.
        const QString file = dir.filePath(s("DICH.000"));
        QCOMPARE(exch::exportDeclarations(*forms.db, forms.msg, file, {sa}), exch::ExportResult::Done);
        Store imported;
        QVERIFY(imported.open(dir.path(), copy("imported.db")));
        QCOMPARE(exch::importFile(*imported.db, imported.msg, file).status, exch::ImportResult::Done);
        QCOMPARE(imported.rows(taxes), expected);

        // And taken over, with its structure, from the previous year.
        Store taken;
        QVERIFY(taken.open(dir.path(), copy("Qor2019.db"), prev));
        takeover::Options o;
        o.structure = true;
        QCOMPARE(takeover::run(*taken.ctx, {sa}, o).status, takeover::Result::Done);
        QCOMPARE(taken.rows(taxes), expected);
    }
};

QTEST_GUILESS_MAIN(TestRegister)
#include "test_register.moc"
