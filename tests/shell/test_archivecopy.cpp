// The archive copy from the main window, and the offer before an import.

#include "../testutil.h"
#include "shell/dbclass.h"
#include "shell/gui/archivecopy.h"
#include "shell/gui/mainwindow.h"
#include "shell/messages.h"

#include <QAction>
#include <QFile>
#include <QSqlQuery>

class TestArchiveCopy : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    const QString offer = QStringLiteral("Prima di procedere, vuoi salvare una copia dell'archivio?");

private Q_SLOTS:
    void menuEntryCopiesTheArchive()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(testutil::freshDatabase(dir_, QStringLiteral("menu.db")));
        QVERIFY(db.connect());
        AppContext ctx{app, db, msg};
        MainWindow w(ctx);
        QAction *a = w.action(QStringLiteral("&Salva copia dell'archivio"));
        QVERIFY(a);
        const QString copy = dir_.filePath(QStringLiteral("dal-menu.db"));
        shellgui::setCopyChooser([&copy](QWidget *, const QString &) { return copy; });
        a->trigger();
        shellgui::setCopyChooser({});
        QCOMPARE(msg.texts(), QStringList{QStringLiteral("Copia dell'archivio salvata nel file:\n") + copy});
        msg.clear();
        dbClass saved(app, msg);
        saved.setCurrentPath(copy);
        QVERIFY(saved.connect());
        QVERIFY(msg.shown.isEmpty());
    }

    void importOffersACopyOnlyOverDeclarations()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        AppContext ctx{app, db, msg};
        int chosen = 0;
        shellgui::setCopyChooser([&chosen](QWidget *, const QString &) { ++chosen; return QString(); });

        // An empty archive: nothing to lose, nothing asked.
        db.setCurrentPath(testutil::freshDatabase(dir_, QStringLiteral("empty.db")));
        QVERIFY(db.connect());
        QVERIFY(shellgui::readyForImport(nullptr, ctx));
        QVERIFY(msg.shown.isEmpty());

        // With a declaration: asked; No goes on, Yes with the dialog
        // cancelled does not.
        QSqlQuery q(db.current());
        QVERIFY(q.exec(QStringLiteral("PRAGMA foreign_keys = OFF")));
        QVERIFY(q.exec(QStringLiteral("INSERT INTO SezAnag (RagSoc) VALUES ('ROSSI SRL')")));
        QVERIFY(shellgui::readyForImport(nullptr, ctx));
        QCOMPARE(msg.texts(), QStringList{offer});
        msg.clear();
        msg.answer({true});
        QVERIFY(!shellgui::readyForImport(nullptr, ctx));
        QCOMPARE(chosen, 1);
        shellgui::setCopyChooser({});
    }
};

QTEST_MAIN(TestArchiveCopy)
#include "test_archivecopy.moc"
