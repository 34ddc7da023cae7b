// The export dialog driven as a user would, offscreen.

#include "exchange/gui/expform.h"
#include "exchange/gui/explist.h"
#include "fixture.h"
#include "shell/context.h"

#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTreeWidget>

class TestExpForm : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void twoSteps()
    {
        QTemporaryDir dir;
        TestDb t(dir.path());
        QVERIFY(t.ok);
        const qint64 sa = t.db.insertRow(QStringLiteral("SezAnag"),
            {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QStringLiteral("01234567897")},
             {QStringLiteral("RagSoc"), QStringLiteral("OFFICINA PROVA SRL")}, {QStringLiteral("attIstat"), QStringLiteral("381100")},
             {QStringLiteral("prvIstat"), 58}, {QStringLiteral("comIstat"), 91}, {QStringLiteral("Via"), QStringLiteral("VIA ROMA")}});
        t.db.insertRow(QStringLiteral("SezRif"),
            {{QStringLiteral("saID"), sa}, {QStringLiteral("rifCod"), QStringLiteral("120101")}, {QStringLiteral("sfSolidoNP"), 1},
             {QStringLiteral("qtaProd"), 5000}, {QStringLiteral("umiProd"), 1},
             {QStringLiteral("qtaGiacRec"), 5000}, {QStringLiteral("umiGiacRec"), 1}});
        AppContext ctx{t.app, t.db, t.msg};
        exch::gui::ExpForm f(ctx);
        f.resize(640, 420);
        f.show();
        QCOMPARE(f.step(), 1);
        QVERIFY(f.chosenText()->text().isEmpty());
        f.procedi();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, selezionare una dichiarazione tramite il bottone 'Lista'"));
        QCOMPARE(f.step(), 1);

        f.choose(sa);
        QVERIFY(f.chosenText()->text().startsWith(QStringLiteral("OFFICINA PROVA SRL - U. L.: ")));
        f.grab().save(QDir::temp().filePath(QStringLiteral("qor_expform1.png")));
        f.procedi();
        QCOMPARE(f.step(), 2);
        QCOMPARE(f.exportableLabel()->text(), QStringLiteral("Una dichiarazione esportabile"));
        QCOMPARE(f.notExportableLabel()->text(), QStringLiteral("Nessuna dichiarazione non esportabile"));

        const QString file = dir.filePath(QStringLiteral("Qor2019.000"));
        f.chooseFile = [file] { return file; };
        f.estrai();
        QVERIFY(QFileInfo::exists(file));
        QCOMPARE(f.statusLabel()->text(), QStringLiteral("Esportazione terminata"));
        QVERIFY(t.db.scalar(QStringLiteral("SELECT ExpID FROM SezAnag WHERE saID = ?"), {sa}).toLongLong() > 0);
        f.grab().save(QDir::temp().filePath(QStringLiteral("qor_expform2.png")));

        // leaving the save dialog does nothing
        f.chooseFile = [] { return QString(); };
        t.msg.clear();
        f.estrai();
        QVERIFY(t.msg.shown.isEmpty());

        exch::gui::ExpList list(ctx);
        list.show();
        QCOMPARE(list.tree()->topLevelItemCount(), 1);
        QVERIFY(list.tree()->topLevelItem(0)->text(1).contains(QStringLiteral("OFFICINA PROVA SRL")));
        list.grab().save(QDir::temp().filePath(QStringLiteral("qor_explist.png")));
        t.msg.answer({true});
        list.deleteSelected();
        QCOMPARE(list.tree()->topLevelItemCount(), 0);
    }

    void multipleModeNeedsTheProvince()
    {
        QTemporaryDir dir;
        TestDb t(dir.path());
        QVERIFY(t.ok);
        AppContext ctx{t.app, t.db, t.msg};
        exch::gui::ExpForm f(ctx);
        f.multipleOption()->setChecked(true);
        QVERIFY(!f.chosenText()->isEnabled());
        QVERIFY(f.siglaEdit()->isEnabled());
        f.procedi();
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, inserire sigla della provincia"));
        QTest::keyClicks(f.siglaEdit(), QStringLiteral("rm1"));
        QCOMPARE(f.siglaEdit()->text(), QStringLiteral("RM"));
        f.procedi();
        QCOMPARE(f.step(), 2);
        QCOMPARE(f.exportableLabel()->text(), QStringLiteral("Nessuna dichiarazione esportabile"));
    }
};

QTEST_MAIN(TestExpForm)
#include "tst_expform.moc"
