// The export procedure: verification for the export, the file, the log row
// and the export number stamped on the declarations.

#include "exchange/demodata.h"
#include "exchange/exportproc.h"
#include "fixture.h"

#include <QDir>
#include <QSqlQuery>

class TestExportProc : public QObject {
    Q_OBJECT

    static qint64 value(TestDb &t, const QString &sql, const QVariantList &p = {})
    {
        return t.db.scalar(sql, p).toLongLong();
    }

    // A declaration the verification finds nothing wrong with: produced waste
    // kept in stock at the year's end.
    static qint64 cleanDeclaration(TestDb &t)
    {
        const qint64 sa = t.db.insertRow(QStringLiteral("SezAnag"),
            {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QStringLiteral("01234567897")},
             {QStringLiteral("RagSoc"), QStringLiteral("OFFICINA PROVA SRL")}, {QStringLiteral("attIstat"), QStringLiteral("381100")},
             {QStringLiteral("prvIstat"), 58}, {QStringLiteral("comIstat"), 91}, {QStringLiteral("Via"), QStringLiteral("VIA ROMA")},
             {QStringLiteral("Civico"), QStringLiteral("1")}, {QStringLiteral("Addetti"), 3}});
        t.db.insertRow(QStringLiteral("SezRif"),
            {{QStringLiteral("saID"), sa}, {QStringLiteral("rifCod"), QStringLiteral("120101")}, {QStringLiteral("sfSolidoNP"), 1},
             {QStringLiteral("qtaProd"), 100000}, {QStringLiteral("umiProd"), 1},
             {QStringLiteral("qtaGiacRec"), 100000}, {QStringLiteral("umiGiacRec"), 1}});
        return sa;
    }

private Q_SLOTS:
    void counts()
    {
        QCOMPARE(exch::exportableText(0), QStringLiteral("Nessuna dichiarazione esportabile"));
        QCOMPARE(exch::exportableText(1), QStringLiteral("Una dichiarazione esportabile"));
        QCOMPARE(exch::exportableText(12), QStringLiteral("12 dichiarazioni esportabili"));
        QCOMPARE(exch::notExportableText(0), QStringLiteral("Nessuna dichiarazione non esportabile"));
        QCOMPARE(exch::notExportableText(1), QStringLiteral("Una dichiarazione non esportabile perchè errata"));
        QCOMPARE(exch::notExportableText(3), QStringLiteral("3 dichiarazioni non esportabili perchè errate"));
        QCOMPARE(exch::defaultFileName(2019), QStringLiteral("Qor2019.000"));
        QCOMPARE(exch::saveFilter(2019),
                 QStringLiteral("Esportazione QOR (Qor2019.000)|Qor2019.000|Tutti i files .000 (*.000)|*.000|Tutti i files (*.*)|*.*"));
    }

    void refusals()
    {
        QTemporaryDir dir;
        TestDb t(dir.path());
        QVERIFY(t.ok);
        exch::ExportChoice c;
        QCOMPARE(exch::verifyForExport(t.app, t.db, t.msg, c).status, exch::VerifyOutcome::Refused);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, selezionare una dichiarazione tramite il bottone 'Lista'"));
        c.single = false;
        QCOMPARE(exch::verifyForExport(t.app, t.db, t.msg, c).status, exch::VerifyOutcome::Refused);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, inserire sigla della provincia"));
        c.sigla = QStringLiteral("ZZ");
        QCOMPARE(exch::verifyForExport(t.app, t.db, t.msg, c).status, exch::VerifyOutcome::Refused);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, sigla provincia digitata errata!"));
    }

    void multipleExportStampsAndLogs()
    {
        QTemporaryDir dir;
        TestDb t(dir.path());
        QVERIFY(t.ok);
        QList<qint64> ids;
        exch::demo::Options o;
        o.declarations = 10;
        QVERIFY(exch::demo::generate(t.db, o, &ids));
        // Everything into one chamber so that the multiple mode takes them all.
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezAnag SET prvIstat = 58, comIstat = 91")));
        exch::ExportChoice c;
        c.single = false;
        c.sigla = QStringLiteral("rm");
        t.msg.clear();
        const exch::VerifyOutcome v = exch::verifyForExport(t.app, t.db, t.msg, c);
        QCOMPARE(v.status, exch::VerifyOutcome::Done);
        QCOMPARE(v.chamber, 58);
        QVERIFY(v.exportable > 0);
        QVERIFY(v.notExportable > 0); // the generator plants errors
        QCOMPARE(v.exportable + v.notExportable, 10);
        QVERIFY(QFileInfo::exists(t.app.reportPath()));

        const QString file = dir.filePath(QStringLiteral("Qor2019.000"));
        const exch::ExtractOutcome x = exch::extract(t.db, t.msg, file, c, v.chamber);
        QCOMPARE(x.status, exch::ExportResult::Done);
        QCOMPARE(x.written, v.exportable);
        QVERIFY(x.expID > 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Esportazione terminata. Le dichiarazioni sono state esportate nel file:\n") + file);
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {x.expID}), qint64(v.exportable));
        QCOMPARE(value(t, QStringLiteral("SELECT expProv FROM expTab WHERE expID = ?"), {x.expID}), qint64(58));
        QCOMPARE(value(t, QStringLiteral("SELECT expDic FROM expTab WHERE expID = ?"), {x.expID}), qint64(v.exportable));
        QVERIFY(t.db.scalar(QStringLiteral("SELECT expSaID FROM expTab WHERE expID = ?"), {x.expID}).isNull());

        // Only not-yet-exported: the exported ones are skipped.
        t.msg.clear();
        const exch::VerifyOutcome again = exch::verifyForExport(t.app, t.db, t.msg, c);
        QCOMPARE(again.exportable, 0);
        QCOMPARE(again.notExportable, v.notExportable);

        // Also the exported ones: a new export number replaces the old one.
        c.includeExported = true;
        const exch::VerifyOutcome all = exch::verifyForExport(t.app, t.db, t.msg, c);
        QCOMPARE(all.exportable, v.exportable);
        const exch::ExtractOutcome x2 = exch::extract(t.db, t.msg, dir.filePath(QStringLiteral("b.000")), c, all.chamber);
        QVERIFY(x2.expID > x.expID);
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {x.expID}), qint64(0));
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {x2.expID}), qint64(v.exportable));

        // The history, newest first; deleting a row keeps the stamps.
        const auto history = exch::exportHistory(t.db);
        QCOMPARE(history.size(), 2);
        QCOMPARE(history[0].destination, QStringLiteral("RM"));
        QVERIFY(history[0].when >= history[1].when);
        QCOMPARE(history[0].date.size(), 16);
        t.msg.answer({false});
        QVERIFY(!exch::deleteExport(t.db, t.msg, x2.expID));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino l'esportazione selezionata\nsei sicuro?"));
        t.msg.answer({true});
        QVERIFY(exch::deleteExport(t.db, t.msg, x2.expID));
        QCOMPARE(exch::exportHistory(t.db).size(), 1);
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {x2.expID}), qint64(v.exportable));
    }

    void singleExportAndCancel()
    {
        QTemporaryDir dir;
        TestDb t(dir.path());
        QVERIFY(t.ok);
        exch::ExportChoice c;
        c.saID = cleanDeclaration(t);
        QVERIFY(c.saID > 0);
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezAnag SET ExpID = 99 WHERE saID = ?"), {c.saID}));
        const exch::VerifyOutcome v = exch::verifyForExport(t.app, t.db, t.msg, c);
        QCOMPARE(v.status, exch::VerifyOutcome::Done);
        QCOMPARE(v.exportable, 1); // the chosen one is taken even when exported before

        // Cancel: no file, no log row, no stamp.
        const QString file = dir.filePath(QStringLiteral("x.000"));
        const exch::ExtractOutcome x = exch::extract(t.db, t.msg, file, c, 0, [](qint64, qint64) { return false; });
        QCOMPARE(x.status, exch::ExportResult::Cancelled);
        QCOMPARE(t.msg.last(), QStringLiteral("Esportazione annullata dall'utente"));
        QVERIFY(!QFileInfo::exists(file));
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM expTab")), qint64(0));
        QCOMPARE(value(t, QStringLiteral("SELECT ExpID FROM SezAnag WHERE saID = ?"), {c.saID}), qint64(99));

        const exch::ExtractOutcome ok = exch::extract(t.db, t.msg, file, c, 0);
        QCOMPARE(ok.status, exch::ExportResult::Done);
        QCOMPARE(value(t, QStringLiteral("SELECT expSaID FROM expTab WHERE expID = ?"), {ok.expID}), c.saID);
        QCOMPARE(value(t, QStringLiteral("SELECT ExpID FROM SezAnag WHERE saID = ?"), {c.saID}), ok.expID);
        QCOMPARE(value(t, QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {ok.expID}), qint64(1));
        const auto history = exch::exportHistory(t.db);
        QCOMPARE(history.size(), 1);
        QVERIFY(!history[0].destination.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestExportProc)
#include "tst_exportproc.moc"
