// The "Anagrafiche anno precedente" form driven from the keyboard, offscreen,
// and its entry in the main window.

#include "../testutil.h"
#include "sections/takeover/gui/riporta.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/gui/archivecopy.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>

using takeover::gui::RiportaForm;

namespace {

QString s(const char *t) { return QString::fromUtf8(t); }

QStringList shownNames(QTreeWidget *t)
{
    QStringList out;
    for (int i = 0; i < t->topLevelItemCount(); ++i)
        if (!t->topLevelItem(i)->isHidden())
            out << t->topLevelItem(i)->text(0);
    return out;
}

} // namespace

class TestTakeoverGui : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    std::unique_ptr<dbClass> db;
    std::unique_ptr<AppContext> ctx;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(dir.isValid());
        app = std::make_unique<qorClass>(dir.path());
        const QString prev = testutil::freshDatabase(dir, s("Qor2018.db"));
        const QString cur = testutil::freshDatabase(dir, s("Qor2019.db"));
        {
            dbClass w(*app, msg);
            w.setCurrentPath(prev);
            QVERIFY(w.connect());
            const struct {
                const char *cf, *name;
                int prv, com;
            } rows[] = {{"00488410010", "ACME SPA", 1, 272},
                        {"11111111111", "BETA SRL", 15, 146},
                        {"22222222222", "GAMMA SNC", 15, 146},
                        {"33333333333", "DELTA SAS", 1, 272}};
            for (const auto &r : rows) {
                const qint64 sa = w.insertRow(s("SezAnag"),
                                              {{s("saAnno"), 2018}, {s("CodFisc"), s(r.cf)}, {s("RagSoc"), s(r.name)},
                                               {s("prvIstat"), r.prv}, {s("comIstat"), r.com}, {s("Via"), s("VIA ROMA")},
                                               {s("Civico"), s("1")}, {s("slPrvIstat"), r.prv}, {s("slComIstat"), r.com},
                                               {s("slVia"), s("VIA ROMA")}});
                QVERIFY(sa > 0);
                QVERIFY(w.insertRow(s("SezRif"), {{s("saID"), sa}, {s("rifCod"), s("150101")}, {s("qtaProd"), 1000},
                                                  {s("umiProd"), 1}}) > 0);
            }
            QVERIFY(w.execute(s("INSERT INTO Setup (codFisc, RagSoc) VALUES ('00488410010', 'STUDIO')")));
        }
        db = std::make_unique<dbClass>(*app, msg);
        db->setCurrentPath(cur);
        db->setPreviousPath(prev);
        QVERIFY(db->connect());
        QVERIFY(db->isPreviousOpen());
        ctx = std::make_unique<AppContext>(AppContext{*app, *db, msg});
        msg.clear();
        QDir().mkpath(s("/tmp/issue9-work"));
    }

    void filterTickAndTakeOver()
    {
        RiportaForm f(*ctx);
        f.resize(980, 720);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QVERIFY(f.loaded());
        QCOMPARE(shownNames(f.list()), (QStringList{s("ACME SPA"), s("BETA SRL"), s("DELTA SAS"), s("GAMMA SNC")}));
        QCOMPARE(f.list()->topLevelItem(0)->text(6), s("RIF 1"));
        QCOMPARE(f.list()->topLevelItem(0)->text(5), QString());
        QVERIFY(f.setupBox()->isEnabled());
        QVERIFY(!f.setupBox()->isChecked());

        // The focus starts in the name filter; typing filters as it goes.
        QCOMPARE(QApplication::focusWidget(), f.nameFilter());
        QTest::keyClicks(f.nameFilter(), s("m"));
        QCOMPARE(shownNames(f.list()), (QStringList{s("ACME SPA"), s("GAMMA SNC")}));
        f.nameFilter()->clear();
        QTest::keyClicks(f.nameFilter(), s("s"));
        QTest::keyClicks(f.nameFilter(), s("a"));
        QCOMPARE(shownNames(f.list()), QStringList{s("DELTA SAS")});
        f.nameFilter()->clear();
        // Chamber of Milan: the province abbreviation, confirmed with Enter.
        QTest::keyClicks(f.provinceFilter(), s("mi"));
        QCOMPARE(f.provinceFilter()->text(), s("MI"));
        QTest::keyClick(f.provinceFilter(), Qt::Key_Return);
        QCOMPARE(shownNames(f.list()), (QStringList{s("BETA SRL"), s("GAMMA SNC")}));
        // "Tutte" ticks only the rows shown.
        QTest::keyClick(&f, Qt::Key_T, Qt::AltModifier);
        QTRY_COMPARE(f.ticked().size(), 2);
        QTest::keyClick(&f, Qt::Key_N, Qt::AltModifier);
        QTRY_VERIFY(f.ticked().isEmpty());
        // Space ticks the current row.
        f.list()->setFocus();
        f.list()->setCurrentItem(f.list()->topLevelItem(3)); // GAMMA SNC
        QTest::keyClick(f.list(), Qt::Key_Space);
        QCOMPARE(f.ticked().size(), 1);

        // A wrong abbreviation says so and filters nothing out.
        f.provinceFilter()->clear();
        QTest::keyClicks(f.provinceFilter(), s("ZZ"));
        QTest::keyClick(f.provinceFilter(), Qt::Key_Return);
        QCOMPARE(msg.last(), s("Attenzione, sigla provincia digitata errata!"));
        QCOMPARE(shownNames(f.list()).size(), 4);
        f.provinceFilter()->clear();
        QTest::keyClick(f.provinceFilter(), Qt::Key_Return);

        QTest::keyClick(&f, Qt::Key_H, Qt::AltModifier);   // the structure
        QTRY_VERIFY(f.structureBox()->isChecked());
        QTest::keyClick(&f, Qt::Key_E, Qt::AltModifier);   // the user's data
        QTRY_VERIFY(f.setupBox()->isChecked());
        f.startButton()->click();
        QCOMPARE(f.statusLabel()->text(), s("Operazione terminata: riportati anche i dati dell'utente"));
        QCOMPARE(f.takenLabel()->text(), s("1"));
        QCOMPARE(f.skippedLabel()->text(), s("0"));
        QCOMPARE(f.companiesLabel()->text(), s("1"));
        QCOMPARE(f.progressBar()->value(), f.progressBar()->maximum());
        QCOMPARE(db->scalar(s("SELECT RagSoc FROM SezAnag")).toString(), s("GAMMA SNC"));
        QCOMPARE(db->scalar(s("SELECT COUNT(*) FROM SezRif WHERE qtaProd IS NULL")).toInt(), 1);
        QCOMPARE(db->scalar(s("SELECT RagSoc FROM Setup")).toString(), s("STUDIO"));
        // Taken once, the user's data are not offered again; the declaration
        // is marked as present.
        QVERIFY(!f.setupBox()->isEnabled());
        QVERIFY(f.ticked().isEmpty());
        QCOMPARE(f.list()->topLevelItem(3)->text(5), s("già presente"));
        QCOMPARE(f.list()->topLevelItem(2)->text(5), QString());

        // Everything now: the one already here is counted apart.
        f.tickAll(true);
        f.startButton()->click();
        QCOMPARE(f.takenLabel()->text(), s("3"));
        QCOMPARE(f.skippedLabel()->text(), s("1"));
        QCOMPARE(f.companiesLabel()->text(), s("3"));
        QVERIFY(f.grab().save(s("/tmp/issue9-work/riporta.png")));

        // Nothing ticked: a message, nothing run.
        msg.clear();
        f.startButton()->click();
        QCOMPARE(msg.last(), s("Attenzione, selezionare almeno una dichiarazione da riportare."));
    }

    // The takeover writes much of the archive: a copy is offered first.
    void copyOfferedBeforeTheRun()
    {
        RiportaForm f(*ctx);
        f.show();
        QVERIFY(QTest::qWaitForWindowActive(&f));
        QVERIFY(f.loaded());
        const QString offer = s("Prima di procedere, vuoi salvare una copia dell'archivio?");
        const int before = db->scalar(s("SELECT COUNT(*) FROM SezAnag")).toInt();
        QTemporaryDir out;
        const QString copy = out.filePath(s("copia.db"));
        QString proposed;
        f.tickAll(true);

        // Yes, then the save dialog cancelled: nothing runs.
        shellgui::setCopyChooser([&proposed](QWidget *, const QString &p) { proposed = p; return QString(); });
        msg.clear();
        msg.answer({true});
        f.startButton()->click();
        QCOMPARE(msg.texts(), QStringList{offer});
        QVERIFY(proposed.startsWith(QFileInfo(db->currentPath()).absolutePath() + s("/Qor2019-copia-")));
        QCOMPARE(f.takenLabel()->text(), QString());

        // Yes and a file: the copy holds the archive as it was before the run.
        shellgui::setCopyChooser([&copy](QWidget *, const QString &) { return copy; });
        msg.clear();
        msg.answer({true});
        f.startButton()->click();
        QCOMPARE(msg.texts(), (QStringList{offer, s("Copia dell'archivio salvata nel file:\n") + copy}));
        QVERIFY(f.statusLabel()->text().startsWith(s("Operazione terminata")));
        dbClass saved(*app, msg);
        saved.setCurrentPath(copy);
        QVERIFY(saved.connect());
        QCOMPARE(saved.scalar(s("SELECT COUNT(*) FROM SezAnag")).toInt(), before);
        shellgui::setCopyChooser({});
    }

    void mainWindowEntry()
    {
        registerForms();
        MainWindow w(*ctx);
        w.updateActions();
        QAction *a = w.action(s("&Anagrafiche anno precedente"));
        QVERIFY(a && a->isEnabled());
        a->trigger();
        QCOMPARE(w.mdi()->subWindowList().size(), 1);
        QCOMPARE(app->currentForm, Form::Takeover);
        auto *form = qobject_cast<RiportaForm *>(w.mdi()->subWindowList().first()->widget());
        QVERIFY(form);
        form->closeButton()->click();
        QTRY_COMPARE(app->currentForm, Form::TakeoverClosed);
        QCOMPARE(w.mdi()->subWindowList().size(), 0);
    }
};

QTEST_MAIN(TestTakeoverGui)
#include "test_takeover_gui.moc"
