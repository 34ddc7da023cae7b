// The program among the user's other programs: Qt's texts in Italian, files
// that cannot be shown, windows that come back where they were left, the
// path of a print in the status bar.

#include "../testdb.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "ui/desktop.h"
#include "ui/events.h"

#include <QApplication>
#include <QDir>
#include <QFile>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QStatusBar>
#include <QUrl>

class TestDesktop : public QObject {
    Q_OBJECT
    TestDb t;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        registerForms();
    }
    void init() { t.msg.clear(); }

    void qtSpeaksItalian()
    {
        QVERIFY(ui::installItalianTranslation(*qApp));
        // The texts of the standard buttons and of the file dialogs.
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "&Yes"), QStringLiteral("&Sì"));
        QCOMPARE(QCoreApplication::translate("QPlatformTheme", "Cancel"), QStringLiteral("Annulla"));
        QVERIFY(QCoreApplication::translate("QFileDialog", "File &name:") != QStringLiteral("File &name:"));
    }

    void aViewerThatCannotOpenIsReportedWithThePath()
    {
        const QString path = t.dir.filePath(QStringLiteral("stampa.pdf"));
        QStringList asked;
        ui::systemOpener = [&asked](const QUrl &u) {
            asked << u.toLocalFile();
            return false;
        };
        // A missing file never reaches the viewer.
        QVERIFY(!ui::openInViewer(t.msg, path, QStringLiteral("la stampa")));
        QVERIFY(asked.isEmpty());
        QVERIFY(t.msg.last().startsWith(QStringLiteral("Attenzione, impossibile aprire la stampa")));
        QVERIFY(t.msg.last().contains(path));

        QFile f(path);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        t.msg.clear();
        QVERIFY(!ui::openInViewer(t.msg, path, QStringLiteral("la stampa")));
        QCOMPARE(asked, QStringList{path});
        QCOMPARE(t.msg.shown.size(), 1);
        QVERIFY(t.msg.last().contains(path));

        ui::systemOpener = [](const QUrl &) { return true; };
        t.msg.clear();
        QVERIFY(ui::openInViewer(t.msg, path, QStringLiteral("la stampa")));
        QVERIFY(t.msg.shown.isEmpty());
    }

    void geometryTextRoundTripsAndRefusesNonsense()
    {
        QRect r;
        QVERIFY(ui::parseGeometry(ui::geometryText(QRect(-5, 12, 640, 480)), &r));
        QCOMPARE(r, QRect(-5, 12, 640, 480));
        for (const char *bad : {"", "1,2,3", "1,2,3,x", "10,10,0,400", "a,b,c,d"})
            QVERIFY2(!ui::parseGeometry(QString::fromLatin1(bad), &r), bad);
    }

    void formsComeBackWhereTheyWereLeft()
    {
        QRect moved;
        {
            MainWindow w(*t.ctx);
            w.show();
            QVERIFY(QTest::qWaitForWindowExposed(&w));
            const QSize room = w.mdi()->viewport()->size();
            moved = QRect(7, 9, room.width() - 20, room.height() - 30);
            w.openForm(Form::Verifica);
            QMdiSubWindow *sw = w.mdi()->activeSubWindow();
            QVERIFY(sw);
            sw->setGeometry(moved);
            sw->close();
        }
        QVERIFY(!t.app->readText(QStringLiteral("Finestre"), QStringLiteral("Form%1").arg(Form::Verifica)).isEmpty());
        MainWindow w(*t.ctx);
        w.show();
        QVERIFY(QTest::qWaitForWindowExposed(&w));
        w.openForm(Form::Verifica);
        QMdiSubWindow *sw = w.mdi()->activeSubWindow();
        QVERIFY(sw);
        QCOMPARE(QRect(sw->pos(), sw->size()), moved);
        sw->close();

        // A place that no longer fits the frame is forgotten.
        t.app->writeText(QStringLiteral("Finestre"), QStringLiteral("Form%1").arg(Form::Verifica),
                         QStringLiteral("5000,5000,400,300"));
        w.openForm(Form::Verifica);
        sw = w.mdi()->activeSubWindow();
        QVERIFY(sw);
        QVERIFY(w.mdi()->viewport()->rect().intersects(QRect(sw->pos(), sw->size())));
    }

    void thePathOfAPrintIsShownInTheStatusBar()
    {
        MainWindow w(*t.ctx);
        const QString path = t.dir.filePath(QStringLiteral("Qor2019_1.pdf"));
        Q_EMIT ui::Events::instance().printed(path);
        QVERIFY(w.statusBar()->currentMessage().contains(QDir::toNativeSeparators(path)));
    }
};

QTEST_MAIN(TestDesktop)
#include "test_desktop.moc"
