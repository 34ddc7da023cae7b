// "Importazione dati" driven as a user would, offscreen, inside the main
// window: the file checked, loaded, refused and interrupted, and the
// declarations found in the list afterwards.

#include "exchange/demodata.h"
#include "exchange/exportproc.h"
#include "exchange/gui/impform.h"
#include "fixture.h"
#include "shell/context.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"

#include <QAction>
#include <QApplication>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QSqlQuery>

using exch::gui::ImpForm;

namespace {
qint64 count(dbClass &db, const char *table)
{
    return db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + QString::fromLatin1(table)).toLongLong();
}

void shot(QWidget *w, const char *name)
{
    w->grab().save(QDir::temp().filePath(QStringLiteral("qor_impform_%1.png").arg(QString::fromLatin1(name))));
}

// Types a path into the form and presses Enter, which checks the file.
void typePath(ImpForm &f, const QString &path)
{
    f.pathEdit()->clear();
    QTest::keyClicks(f.pathEdit(), path);
    QTest::keyClick(f.pathEdit(), Qt::Key_Return);
}
} // namespace

class TestImpForm : public QObject {
    Q_OBJECT
    QTemporaryDir dir_;
    QString source_;
    QStringList names_;   // company names of the file's declarations, in file order

    struct Window {
        TestDb t;
        AppContext ctx{t.app, t.db, t.msg};
        MainWindow w{ctx};
        explicit Window(const QString &folder) : t(folder) { w.declarations()->reload(); }
        ImpForm *open()
        {
            QAction *a = w.action(QStringLiteral("&Dichiarazioni QOR anno corrente"));
            if (!a || !a->isEnabled())
                return nullptr;
            a->trigger();
            QMdiSubWindow *sw = w.mdi()->activeSubWindow();
            return sw ? qobject_cast<ImpForm *>(sw->widget()) : nullptr;
        }
        QStringList listed() const
        {
            QStringList out;
            DeclarationList *l = w.declarations();
            for (int i = 0; i < l->rowCount(); ++i)
                out << l->rowText(i, 0).section(QStringLiteral(" - U. L.: "), 0, 0);
            return out;
        }
    };

private Q_SLOTS:
    void initTestCase()
    {
        registerForms();
        TestDb t(dir_.path(), QStringLiteral("source.db"));
        QVERIFY(t.ok);
        exch::demo::Options o;
        o.declarations = 6;
        o.everySection = true;
        QList<qint64> ids;
        QString error;
        QVERIFY2(exch::demo::generate(t.db, o, &ids, &error), qPrintable(error));
        for (qint64 id : ids)
            names_ << t.db.scalar(QStringLiteral("SELECT RagSoc FROM SezAnag WHERE saID = ?"), {id}).toString();
        source_ = dir_.filePath(QStringLiteral("Qor2019.000"));
        QCOMPARE(exch::exportDeclarations(t.db, t.msg, source_, ids), exch::ExportResult::Done);
    }

    void importThroughTheForm()
    {
        QTemporaryDir d;
        Window win(d.path());
        QVERIFY(win.t.ok);
        win.w.resize(1366, 768);
        win.w.show();
        ImpForm *f = win.open();
        QVERIFY(f);
        QCOMPARE(f->windowTitle(), QStringLiteral("Importazione dati"));
        QVERIFY(!f->startButton()->isEnabled());
        shot(f, "empty");

        typePath(*f, source_);
        QCOMPARE(f->containedLabel()->text(), QString::number(names_.size()));
        QVERIFY(f->reasonLabel()->text().isEmpty());
        QVERIFY(f->startButton()->isEnabled());
        shot(f, "checked");

        const qint64 companies = count(win.t.db, "Ditte");
        QStringList seen;
        int lastBar = -1;
        bool menuLocked = true;
        f->onDeclaration = [&] {
            seen << f->currentLabel()->text();
            QVERIFY(f->progressBar()->value() >= lastBar);
            lastBar = f->progressBar()->value();
            menuLocked = menuLocked && !win.w.menuBar()->isEnabled();
            if (seen.size() == 3)
                shot(f, "running");
        };
        QTest::keyClick(f->startButton(), Qt::Key_Return); // Enter on the focused button
        QCOMPARE(seen, names_);
        QVERIFY(menuLocked);
        QVERIFY(win.w.menuBar()->isEnabled());
        QCOMPARE(f->endLabel()->text(), QStringLiteral("Operazione terminata"));
        QCOMPARE(f->importedLabel()->text(), QString::number(names_.size()));
        QCOMPARE(f->skippedLabel()->text(), QStringLiteral("0"));
        QCOMPARE(f->progressBar()->value(), f->progressBar()->maximum());
        shot(f, "done");

        // the list shows them at once, the register has the counterparts
        QStringList expected = names_;
        expected.sort();
        QStringList listed = win.listed();
        listed.sort();
        QCOMPARE(listed, expected);
        QVERIFY(win.w.declarations()->currentId() > 0);
        QVERIFY(count(win.t.db, "Ditte") > companies);

        // the same file again: every declaration is already there; the
        // archive is no longer empty, so a copy is offered first (No)
        f->onDeclaration = {};
        typePath(*f, source_);
        win.t.msg.clear();
        f->start();
        QVERIFY(win.t.msg.texts().join(QLatin1Char('\n')).contains(QStringLiteral("vuoi salvare una copia dell'archivio")));
        QCOMPARE(f->importedLabel()->text(), QStringLiteral("0"));
        QCOMPARE(f->skippedLabel()->text(), QString::number(names_.size()));
        QCOMPARE(count(win.t.db, "SezAnag"), qint64(names_.size()));
        QTest::mouseClick(f->closeButton(), Qt::LeftButton);
        QApplication::processEvents();
        QCOMPARE(win.w.mdi()->subWindowList().size(), 0);
    }

    void aRefusedFileLoadsNothing()
    {
        QTemporaryDir d;
        Window win(d.path());
        ImpForm *f = win.open();
        QVERIFY(f);
        QByteArray bytes = readAll(source_);
        const int third = bytes.indexOf('\n', bytes.indexOf('\n') + 1) + 1;
        bytes.insert(third + 10, 'x');
        const QString bad = d.filePath(QStringLiteral("rovinato.000"));
        QVERIFY(writeAll(bad, bytes));
        f->chooseFile = [bad] { return bad; };
        QTest::mouseClick(f->findChild<QPushButton *>(QStringLiteral("browse")), Qt::LeftButton);
        QCOMPARE(f->pathEdit()->text(), QDir::toNativeSeparators(bad));
        QCOMPARE(f->checkLabel()->text(), QStringLiteral("Attenzione, il file NON è stato generato da questa procedura."));
        QCOMPARE(f->reasonLabel()->text(), QStringLiteral("Lunghezza record errata. (riga n. 3)"));
        QVERIFY(!f->startButton()->isEnabled());
        f->start();
        QCOMPARE(count(win.t.db, "SezAnag"), 0);
        f->resize(640, 520);
        shot(f, "refused");

        // a good file after a bad one
        typePath(*f, source_);
        QVERIFY(f->reasonLabel()->text().isEmpty());
        QVERIFY(f->startButton()->isEnabled());
        // a path typed by hand that names no file
        win.t.msg.clear();
        typePath(*f, d.filePath(QStringLiteral("manca.000")));
        QVERIFY(!f->startButton()->isEnabled());
        QVERIFY(win.t.msg.last().startsWith(QStringLiteral("Attenzione, file non trovato")));
    }

    void closingTheWindowInterruptsTheRun()
    {
        QTemporaryDir d;
        Window win(d.path());
        ImpForm *f = win.open();
        QVERIFY(f);
        typePath(*f, source_);
        QMdiSubWindow *sw = win.w.mdi()->activeSubWindow();
        int steps = 0;
        f->onDeclaration = [&] {
            if (++steps == 3)
                sw->close(); // refused while running: it stops the run instead
        };
        f->start();
        QCOMPARE(win.w.mdi()->subWindowList().size(), 1);
        QCOMPARE(f->endLabel()->text(), QStringLiteral("Operazione interrotta"));
        QCOMPARE(win.t.msg.last(), QStringLiteral("Operazione interrotta"));
        // what was loaded before the stop stays, whole declarations only
        QCOMPARE(f->importedLabel()->text(), QStringLiteral("3"));
        QCOMPARE(count(win.t.db, "SezAnag"), 3);
        QCOMPARE(win.w.declarations()->rowCount(), 3);
        // a new run goes on with the rest
        QVERIFY(f->startButton()->isEnabled());
        f->onDeclaration = {};
        f->start();
        QCOMPARE(f->importedLabel()->text(), QString::number(names_.size() - 3));
        QCOMPARE(f->skippedLabel()->text(), QStringLiteral("3"));
        QCOMPARE(win.w.declarations()->rowCount(), names_.size());
    }
};

QTEST_MAIN(TestImpForm)
#include "tst_impform.moc"
