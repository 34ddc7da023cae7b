// The main window: title, menu bar, entries and the database dialog.

#include "../testutil.h"
#include "shell/dbclass.h"
#include "shell/gui/connetti.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "shell/messages.h"

#include <QApplication>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenu>
#include <QMenuBar>
#include <QStatusBar>

namespace {
// Walks a menu into lines "text" and "  text" for submenu entries ("-" for a separator).
void dump(QMenu *m, const QString &indent, QStringList *out)
{
    for (QAction *a : m->actions()) {
        if (a->isSeparator())
            *out << indent + u'-';
        else
            *out << indent + a->text();
        if (a->menu())
            dump(a->menu(), indent + QStringLiteral("  "), out);
    }
}

QStringList menuLines(QMainWindow &w)
{
    QStringList out;
    for (QAction *a : w.menuBar()->actions()) {
        out << QStringLiteral("[") + a->text() + u']';
        dump(a->menu(), QStringLiteral("  "), &out);
    }
    return out;
}
} // namespace

class TestMainWindow : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    QString db_;

private Q_SLOTS:
    void initTestCase()
    {
        dbClass::busyTimeoutMs = 200;
        db_ = testutil::freshDatabase(dir_);
    }

    void titleAndMenuBar()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        QCOMPARE(w.windowTitle(), QStringLiteral("Qor 2019"));
        const QStringList expected = {
            "[&Schede]", "  &SA1 - Sezione anagrafica", "  SA-&AUT - Autorizzazioni",
            "  Comunicazione &rifiuti", "    Scheda &RIF - Rifiuti", "    Scheda &Materiali secondari",
            "    Scheda &INT - Intermediazione", "  Comunicazione &veicoli fuori uso",
            "    Scheda &AUT - Autodemolitore", "    Scheda &ROT - Rottamatore", "    Scheda &FRA - Frantumatore",
            "  Comunicazione &Imballaggi", "  Comunicazione RA&EE", "    Scheda &TRA - Trattamento",
            "    Scheda &CR - Centri di raccolta", "  &Chiudi",
            "[&Utilità]", "  &Verifica dati inseriti", "  &Esportazioni",
            "    &Lista delle esportazioni effettuate", "    &Estrazione delle dichiarazioni",
            "  &Importazioni", "    &Dichiarazioni QOR anno corrente", "    &Anagrafiche anno precedente",
            "  &Registra utente", "  &Collega archivi", "  &Salva copia dell'archivio",
            "[Stam&pe]", "  &Dichiarazione", "  Elenco dichiarazioni",
            "[&?]", "  &Help", "  &Cerca nell'help...", "  &Informazioni su..."};
        QCOMPARE(menuLines(w), expected);
    }

    void developmentMenu()
    {
        qorClass app(dir_.path());
        app.setDevMode(true);
        ScriptedMessages msg;
        dbClass db(app, msg);
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        const QStringList lines = menuLines(w);
        const int at = int(lines.indexOf(QStringLiteral("[Sviluppo]")));
        QVERIFY(at > 0);
        QCOMPARE(lines.mid(at + 1),
                 (QStringList{"  SezAnag", "  Scheda RIF", "  Scheda INT", "  Scheda AUT", "  Scheda ROT",
                              "  Scheda FRA", "  Scheda TRA", "  Scheda CR", "  Scheda IMB", "  Verifica",
                              "  Esporta", "  Importa"}));
    }

    void entriesWithoutTheirFunctionAreDisabled()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(db_);
        QVERIFY(db.connect());
        AppContext ctx{app, db, msg};
        formRegistry().remove(Form::Verifica);
        MainWindow w(ctx);
        w.updateActions();
        QVERIFY(!w.action(QStringLiteral("&Verifica dati inseriti"))->isEnabled());
        QVERIFY(!w.action(QStringLiteral("&Anagrafiche anno precedente"))->isEnabled());
        for (const char *always : {"&Chiudi", "&Collega archivi", "&Help", "&Informazioni su..."})
            QVERIFY2(w.action(QString::fromUtf8(always))->isEnabled(), always);

        // a registered form enables its entry and opens through the rule
        formRegistry().insert(Form::Verifica, {[](AppContext &, QWidget *p) {
                                                   auto *l = new QLabel(QStringLiteral("verifica"), p);
                                                   return static_cast<QWidget *>(l);
                                               },
                                               false});
        w.updateActions();
        QVERIFY(w.action(QStringLiteral("&Verifica dati inseriti"))->isEnabled());
        w.action(QStringLiteral("&Verifica dati inseriti"))->trigger();
        QCOMPARE(w.mdi()->subWindowList().size(), 1);
        QCOMPARE(app.currentForm, Form::Verifica);
        w.action(QStringLiteral("&Verifica dati inseriti"))->trigger(); // already open: stays one
        QCOMPARE(w.mdi()->subWindowList().size(), 1);
        w.action(QStringLiteral("&Chiudi"))->trigger();
        QApplication::processEvents();
        QCOMPARE(w.mdi()->subWindowList().size(), 0);
        QCOMPARE(app.currentForm, 0);
        formRegistry().remove(Form::Verifica);
    }

    void aboutAndStatus()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(db_);
        QVERIFY(db.connect());
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        w.updateStatus();
        w.runCommand(QStringLiteral("about"));
        QCOMPARE(msg.shown.size(), 1);
        for (const char *part : {"Qor 2019", "2019", "11/02/2019", "2.01.00"})
            QVERIFY2(msg.shown[0].text.contains(QString::fromUtf8(part)), part);
        QVERIFY(w.statusBar()->findChild<QLabel *>()->text().contains(db_));
    }

    void connettiRefusesBadFilesAndKeepsRunning()
    {
        QTemporaryDir d;
        qorClass app(d.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(db_);
        QVERIFY(db.connect());
        AppContext ctx{app, db, msg};
        Connetti dlg(ctx);
        QCOMPARE(dlg.windowTitle(), QStringLiteral("Connessione database QOR"));
        const QString text = d.filePath(QStringLiteral("x.db"));
        QFile f(text);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("non un database ma testo semplice, abbastanza lungo da non essere vuoto");
        f.close();
        QVERIFY(!dlg.choose(false, text));
        QCOMPARE(dlg.currentEdit()->text(), db_); // the old choice stays
        QCOMPARE(msg.shown.size(), 1);
        QVERIFY(db.isCurrentOpen());

        // the current-year file, or any database of this edition, is refused
        // as the previous year's
        msg.clear();
        QVERIFY(!dlg.choose(true, db_));
        QVERIFY(msg.last().contains(QStringLiteral("stesso file")));
        const QString other = testutil::freshDatabase(d, QStringLiteral("Qor2019-copia.db"));
        QVERIFY(!dlg.choose(true, other));
        QVERIFY(msg.last().contains(QStringLiteral("database QOR 2019")));
        QVERIFY(dlg.previousEdit()->text().isEmpty());

        // a valid previous-year file is taken; emptying it clears the setting
        const QString older = testutil::freshDatabase(d, QStringLiteral("Qor2018.db"));
        {
            dbClass o(app, msg);
            o.setCurrentPath(older);
            QVERIFY(o.connect());
            QVERIFY(o.execute(QStringLiteral("UPDATE Config SET CnfDbVer = ?"), {QStringLiteral("2.00.09")}));
        }
        QVERIFY(dlg.choose(true, older));
        QCOMPARE(dlg.previousEdit()->text(), older);
        dlg.emptyPrevious();
        QVERIFY(dlg.previousEdit()->text().isEmpty());
        QCOMPARE(app.readText(QStringLiteral("Qor2018"), QStringLiteral("Path"), QStringLiteral("x")), QString());
        dlg.confirm();
        QVERIFY(db.isCurrentOpen());
        QVERIFY(!db.isPreviousOpen());
        QCOMPARE(app.readText(QStringLiteral("Qor2019"), QStringLiteral("Path")), db_);
    }

    void filterLists()
    {
        QCOMPARE(Connetti::filterCurrent(2019),
                 QStringLiteral("Database QOR anno corrente (Qor2019.db)|Qor2019.db|Tutti i database QOR (*.db)|*.db|Tutti i files (*.*)|*.*"));
        QCOMPARE(Connetti::filterPrevious(2019),
                 QStringLiteral("Database QOR anno precedente (Qor2018.db)|Qor2018.db|Tutti i database QOR (*.db)|*.db|Tutti i files (*.*)|*.*"));
        QCOMPARE(Connetti::qtFilters(Connetti::filterCurrent(2019)),
                 (QStringList{"Database QOR anno corrente (Qor2019.db)", "Tutti i database QOR (*.db)", "Tutti i files (*.*)"}));
    }

    void declarationListRemembersTheChoice()
    {
        QTemporaryDir d;
        const QString path = testutil::freshDatabase(d);
        qorClass app(d.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(path);
        QVERIFY(db.connect());
        const qint64 a = db.insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("RagSoc"), QStringLiteral("BETA SPA")},
                                                                  {QStringLiteral("CodFisc"), QStringLiteral("02345678901")},
                                                                  {QStringLiteral("prvIstat"), 58}, {QStringLiteral("comIstat"), 91}});
        db.insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("RagSoc"), QStringLiteral("ALFA SRL")}});
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        w.declarations()->reload();
        w.declarations()->setCurrentId(a);
        QCOMPARE(app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(a));
        w.resize(1000, 600);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        w.grab().save(QDir::temp().filePath(QStringLiteral("qor_mainwindow.png")));
        QCOMPARE(DeclarationList::label(QStringLiteral("BETA SPA"), QStringLiteral("ROMA"), QStringLiteral("VIA ROMA"), QStringLiteral("1")),
                 QStringLiteral("BETA SPA - U. L.: VIA ROMA 1, ROMA"));
    }
};

QTEST_MAIN(TestMainWindow)
#include "test_mainwindow.moc"
