// The demo generator: what it promises (valid tax codes, real reference
// codes, balanced quantities, a few deliberate errors) is what it makes, and
// the verification agrees: only the deliberate errors stop an export. The
// counterparts of its modules are registered, and a run is all or nothing.

#include "exchange/demodata.h"
#include "fixture.h"
#include "shell/qty.h"
#include "shell/schema/schema.h"
#include "shell/tree/tree.h"
#include "verify/engine.h"

#include <QSqlQuery>

using namespace exch;

class DemoData : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void checkCharacters()
    {
        // Known right codes, and the same with one character changed.
        QVERIFY(demo::checkCharacterRight(QStringLiteral("00743110157")));
        QVERIFY(!demo::checkCharacterRight(QStringLiteral("00743110158")));
        QVERIFY(demo::checkCharacterRight(QStringLiteral("RSSMRA80A01H501U")));
        QVERIFY(!demo::checkCharacterRight(QStringLiteral("RSSMRA80A01H501V")));
        QCOMPARE(demo::companyCode(74311015), QStringLiteral("00743110157"));
        QCOMPARE(demo::personCode(QStringLiteral("RSSMRA80A01H501")), QStringLiteral("RSSMRA80A01H501U"));
    }

    void generatedDeclarations()
    {
        TestDb t(dir.path());
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 20;
        QList<qint64> ids;
        QString error;
        QVERIFY2(demo::generate(t.db, o, &ids, &error), qPrintable(error));
        QCOMPARE(ids.size(), 20);

        // Declarations 4, 9, 14, 19 carry one error each, of three kinds: a
        // scheda RIF short of its DR modules (4, 19), an activity code that
        // does not exist (9), the company section alone (14).
        int wrongCodes = 0;
        QSqlQuery q = t.db.query(QStringLiteral("SELECT CodFisc FROM SezAnag"));
        while (q.next())
            wrongCodes += demo::checkCharacterRight(q.value(0).toString()) ? 0 : 1;
        QCOMPARE(wrongCodes, 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag a WHERE NOT EXISTS "
                                            "(SELECT 1 FROM SezRif r WHERE r.saID = a.saID)")).toInt(), 1);

        // Every place, waste and activity code is in the reference tables.
        QCOMPARE(t.db.scalar(QStringLiteral(
                     "SELECT COUNT(*) FROM SezAnag a LEFT JOIN Comuni c ON a.prvIstat = c.prvIstat AND "
                     "a.comIstat = c.comIstat WHERE c.comDesc IS NULL OR NOT c.newComIstat IS NULL")).toInt(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag a LEFT JOIN Attivita t ON "
                                            "a.attIstat = t.attCod WHERE t.attDesc IS NULL")).toInt(), 1);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezRif s LEFT JOIN Rifiuti r ON "
                                            "s.rifCod = r.rifCod WHERE r.rifDesc IS NULL")).toInt(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM ModRif m LEFT JOIN Comuni c ON m.prvIstat = "
                                            "c.prvIstat AND m.comIstat = c.comIstat WHERE NOT m.prvIstat IS NULL "
                                            "AND c.comDesc IS NULL")).toInt(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Setup")).toInt(), 1);

        // Schede RIF balance: produced + received against consigned + stock,
        // and each total against its modules; exactly the deliberate ones fail.
        int unbalanced = 0, shortOfDR = 0;
        QSqlQuery s = t.db.query(QStringLiteral("SELECT rifID, qtaProd, UmiProd, qtaTerzi, umiTerzi, qtaCons, umiCons, "
                                                "qtaGiacRec, umiGiacRec FROM SezRif"));
        while (s.next()) {
            const Qty in = qtyKg(s.value(1), s.value(2)) + qtyKg(s.value(3), s.value(4));
            const Qty out = qtyKg(s.value(5), s.value(6)) + qtyKg(s.value(7), s.value(8));
            Qty rt, dr;
            QSqlQuery m = t.db.query(QStringLiteral("SELECT tipoMod, qtaMod, umiMod FROM ModRif WHERE (rifID = ?)"),
                                     {s.value(0)});
            while (m.next()) {
                if (m.value(0).toInt() == 1)
                    rt += qtyKg(m.value(1), m.value(2));
                if (m.value(0).toInt() == 2)
                    dr += qtyKg(m.value(1), m.value(2));
            }
            QVERIFY(toleranceMatch(qtyKg(s.value(3), s.value(4)), rt));
            shortOfDR += toleranceMatch(qtyKg(s.value(5), s.value(6)), dr) ? 0 : 1;
            unbalanced += toleranceMatch(in, out) ? 0 : 1;
        }
        QCOMPARE(shortOfDR, 2);
        QCOMPARE(unbalanced, 2);

        // The same seed gives the same data.
        TestDb u(dir.path(), QStringLiteral("again.db"));
        QVERIFY(demo::generate(u.db, o));
        QCOMPARE(u.db.scalar(QStringLiteral("SELECT GROUP_CONCAT(CodFisc) FROM SezAnag")),
                 t.db.scalar(QStringLiteral("SELECT GROUP_CONCAT(CodFisc) FROM SezAnag")));
    }

    void counterpartsGoToTheRegister()
    {
        // Every tax code a module names is in the register of companies, as
        // the modules' forms and the import leave it, with the data of a
        // module that names it; nothing else is (a declarant is not a
        // counterpart of its own declaration).
        TestDb t(dir.path(), QStringLiteral("register.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 25;
        o.everySection = true;
        QString error;
        QVERIFY2(demo::generate(t.db, o, nullptr, &error), qPrintable(error));
        QStringList named;
        for (const schema::Table *tb : tree::tables())
            if (tb->name.startsWith(QLatin1String("Mod")) && schema::column(*tb, QStringLiteral("CodFisc")))
                named << QStringLiteral("SELECT CodFisc, RagSoc, Via, prvIstat FROM %1 WHERE (CodFisc <> '')").arg(tb->name);
        QCOMPARE(named.size(), 5);
        const QString modules = QLatin1Char('(') + named.join(QStringLiteral(" UNION ALL ")) + QLatin1Char(')');
        const int companies = t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte")).toInt();
        QVERIFY(companies > 5 * o.declarations);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(DISTINCT CodFisc) FROM ") + modules).toInt(), companies);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte d WHERE NOT EXISTS (SELECT 1 FROM ") + modules
                             + QStringLiteral(" m WHERE m.CodFisc = d.CodFisc AND m.RagSoc = d.RagSoc AND "
                                              "m.Via IS d.Via AND m.prvIstat IS d.prvIstat)"))
                     .toInt(),
                 0);

        // A second run with the same seed names the same counterparts: the
        // register keeps them once, the declarations are added again.
        QVERIFY2(demo::generate(t.db, o, nullptr, &error), qPrintable(error));
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte")).toInt(), companies);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 2 * o.declarations);
    }

    void failureLeavesNothing()
    {
        // The store refuses a row of the fourth declaration: the run is
        // undone whole, the declarations before it and their counterparts
        // too.
        TestDb t(dir.path(), QStringLiteral("refused.db"));
        QVERIFY(t.ok);
        QVERIFY(t.db.execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON ModVfu WHEN "
                                            "(SELECT COUNT(*) FROM SezAnag) >= 4 BEGIN SELECT RAISE(ABORT, 'no'); END")));
        demo::Options o;
        o.declarations = 10;
        o.everySection = true;
        QList<qint64> ids;
        QString error;
        QVERIFY(!demo::generate(t.db, o, &ids, &error));
        QVERIFY(!error.isEmpty());
        for (const schema::Table *tb : tree::tables())
            QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + tb->name).toInt(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte")).toInt(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Setup")).toInt(), 0);

        // Without the trigger the same run goes through.
        QVERIFY(t.db.execute(QStringLiteral("DROP TRIGGER refuse")));
        ids.clear();
        QVERIFY2(demo::generate(t.db, o, &ids, &error), qPrintable(error));
        QCOMPARE(ids.size(), o.declarations);
    }

    void verificationFindsOnlyTheDeliberateErrors()
    {
        // Both mixes: the realistic one and the one with every scheda and
        // module kind. Every fifth declaration carries one error; the engine
        // must refuse exactly those and let every other one through (warnings
        // are allowed).
        for (const bool everySection : {false, true}) {
            const QString name = everySection ? QStringLiteral("every") : QStringLiteral("mix");
            TestDb t(dir.path(), name + QStringLiteral("-verify.db"));
            QVERIFY(t.ok);
            demo::Options o;
            o.declarations = 30;
            o.everySection = everySection;
            QList<qint64> ids;
            QString error;
            QVERIFY2(demo::generate(t.db, o, &ids, &error), qPrintable(error));

            verify::Engine engine(t.db, t.msg);
            const QString report = dir.filePath(name + QStringLiteral("-Err.txt"));
            QVERIFY(engine.openReport(report));
            QVERIFY(engine.run(verify::Mode::All, 0, true, true));
            QVERIFY(!engine.failed());
            QCOMPARE(engine.progress().done, 30);
            QCOMPARE(engine.progress().withErrors, 6);

            QStringList wrong;
            for (int i = 0; i < ids.size(); ++i) {
                const bool exportable =
                    t.db.scalar(QStringLiteral("SELECT saExp FROM SezAnag WHERE (saID = ?)"), {ids.at(i)}).toInt() == 1;
                if (exportable != (i % 5 != 4))
                    wrong << QString::number(i);
            }
            QVERIFY2(wrong.isEmpty(), qPrintable(name + QStringLiteral(": declarations ") + wrong.join(u',') +
                                                 QStringLiteral("; see ") + report));
        }

        // Without the deliberate errors nothing is refused.
        TestDb t(dir.path(), QStringLiteral("clean-verify.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 15;
        o.withErrors = false;
        QVERIFY(demo::generate(t.db, o));
        verify::Engine engine(t.db, t.msg);
        QVERIFY(engine.openReport(dir.filePath(QStringLiteral("clean-Err.txt"))));
        QVERIFY(!engine.run(verify::Mode::All, 0, true, true));
        QCOMPARE(engine.progress().withErrors, 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE (saExp = 1)")).toInt(), 15);
    }
};

QTEST_GUILESS_MAIN(DemoData)
#include "tst_demodata.moc"
