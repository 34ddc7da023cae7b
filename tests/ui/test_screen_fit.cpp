// Every form of the main window opened at its own default size in a main
// window that fills a 1366x768 screen, the declarations list beside it:
// nothing scrolls sideways, no input or button is cut by what holds it or
// lies over another, and the navigator's caption is shown whole. Also: the
// declarations list opens at the width remembered in the settings file,
// and every module window fits the screen on its own.

#include "formwalk.h"
#include "print/gui/printforms.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "ui/controls.h"
#include "ui/recordform.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDockWidget>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryFile>
#include <memory>

namespace {

using testinputs::describe;

QString rectText(const QRect &r)
{
    return QStringLiteral("%1,%2 %3x%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

QRect globalRect(const QWidget *w)
{
    return QRect(w->mapToGlobal(QPoint(0, 0)), w->size());
}

// Whether `p` scrolls `w` up and down: a scroll area or its viewport, with
// `w` inside.
bool scrolls(const QWidget *p, const QWidget *w)
{
    auto *area = qobject_cast<const QAbstractScrollArea *>(p);
    if (!area)
        area = qobject_cast<const QAbstractScrollArea *>(p->parentWidget());
    return area && area->viewport()->isAncestorOf(w);
}

// The part of a widget on screen: cut by everything that holds it.
QRect shownRect(const QWidget *w, const QWidget *top)
{
    QRect r = globalRect(w);
    for (const QWidget *p = w->parentWidget(); p && p != top; p = p->parentWidget())
        r &= globalRect(p);
    return r;
}

// What the user acts on in a form: its inputs and buttons.
QList<QWidget *> controlsOf(QWidget *form)
{
    QList<QWidget *> out = testinputs::inputsOf(form);
    for (QAbstractButton *b : form->findChildren<QAbstractButton *>())
        if (b->isVisible() && !out.contains(b) && !testinputs::insideItemView(b))
            out << b;
    return out;
}

// The faults of a form as laid out in `top` (the main window, or its own
// window); `mdi` the frame area it stands in, if any.
QStringList fitFaults(const QString &name, QWidget *form, QWidget *top, QMdiArea *mdi)
{
    QStringList faults;
    const QList<QWidget *> controls = controlsOf(form);
    for (QWidget *w : controls) {
        // Each widget that holds it cuts it: a scrolled view only sideways
        // (scrolling down a long form is expected), and what it shows goes on
        // to be cut by the widgets further out.
        QRect r = globalRect(w);
        for (QWidget *p = w->parentWidget(); p && p != top && !r.isEmpty(); p = p->parentWidget()) {
            const QRect room = globalRect(p);
            const bool sideways = r.left() < room.left() || r.right() > room.right();
            const bool upDown = !scrolls(p, w) && (r.top() < room.top() || r.bottom() > room.bottom());
            if (sideways || upDown) {
                faults << name + QStringLiteral(": %1 tagliato da %2 (%3 fuori da %4)")
                                     .arg(describe(w), describe(p), rectText(r), rectText(room));
                break;
            }
            r &= room;
        }
    }
    for (int i = 0; i < controls.size(); ++i)
        for (int j = i + 1; j < controls.size(); ++j) {
            QWidget *a = controls[i], *b = controls[j];
            if (a->isAncestorOf(b) || b->isAncestorOf(a))
                continue;
            if (shownRect(a, top).intersects(shownRect(b, top)))
                faults << name + QStringLiteral(": %1 sopra %2").arg(describe(a), describe(b));
        }
    for (QScrollArea *s : form->findChildren<QScrollArea *>())
        if (s->isVisible() && s->horizontalScrollBar()->maximum() > 0)
            faults << name + QStringLiteral(": scorre di lato di %1 pixel").arg(s->horizontalScrollBar()->maximum());
    if (mdi && mdi->horizontalScrollBar()->maximum() > 0)
        faults << name + QStringLiteral(": la finestra principale scorre di lato");
    for (ui::Navigator *n : form->findChildren<ui::Navigator *>())
        if (n->isVisible() && !n->captionWhole())
            faults << name + QStringLiteral(": didascalia del navigatore tagliata: ") + n->caption();
    return faults;
}

} // namespace

class TestScreenFit : public QObject {
    Q_OBJECT
    TestDb t;

private Q_SLOTS:
    void initTestCase()
    {
        QCOMPARE(QGuiApplication::primaryScreen()->size(), QSize(1366, 768));
        QVERIFY(testinputs::openWithFullDeclaration(t));
        registerForms();
        openPrintedFile = [](const QString &) {};
    }

    // The list at the width it opens with when none is remembered, and
    // widened by the user.
    void everyFormFitsBesideTheList_data()
    {
        QTest::addColumn<QString>("listWidth");
        QTest::newRow("predefinita") << QString();
        QTest::newRow("allargata") << QStringLiteral("420");
    }

    void everyFormFitsBesideTheList()
    {
        QFETCH(QString, listWidth);
        t.app->writeText(QStringLiteral("Finestre"), QStringLiteral("Dichiarazioni"), listWidth);
        QStringList faults;
        QList<int> numbers = formRegistry().keys();
        std::sort(numbers.begin(), numbers.end());
        int shown = 0;
        for (int n : numbers) {
            MainWindow main(*t.ctx);
            main.show();
            QVERIFY(QTest::qWaitForWindowExposed(&main));
            QTest::qWait(10);
            QVERIFY(main.findChild<QDockWidget *>()->isVisible());
            if (!listWidth.isEmpty())
                QTRY_COMPARE(main.dockWidth(), listWidth.toInt());
            main.openForm(n);
            QMdiSubWindow *sw = main.mdi()->activeSubWindow();
            if (!sw)
                continue; // a command without a window
            QApplication::processEvents();
            ++shown;
            const QString name = QStringLiteral("form %1 \"%2\"").arg(n).arg(sw->widget()->windowTitle());
            faults << fitFaults(name, sw->widget(), &main, main.mdi());
            t.msg.answer({false});
        }
        QVERIFY(shown > 10);
        testinputs::report(faults);
    }

    // Every module window of every scheda, on its own at the size it opens
    // with on the same screen.
    void everyModuleWindowFits()
    {
        QStringList faults;
        int modules = 0;
        for (int n : formRegistry().keys()) {
            std::unique_ptr<QWidget> w(formRegistry().value(n).make(*t.ctx, nullptr));
            if (!w)
                continue;
            w->show();
            QVERIFY(QTest::qWaitForWindowExposed(w.get()));
            for (const auto &[code, open] : testinputs::moduleOpeners(w.get())) {
                QPointer<QWidget> m = open();
                if (!m)
                    continue;
                QVERIFY(QTest::qWaitForWindowExposed(m));
                QApplication::processEvents();
                faults << fitFaults(QStringLiteral("form %1 modulo %2").arg(n).arg(code), m, m, nullptr);
                delete m;
                ++modules;
            }
        }
        QVERIFY(modules > 10);
        testinputs::report(faults);
    }

    // From the width a navigator form opens with down to the narrowest the
    // window allows, the navigator's caption is never under a button, and is
    // whole while the navigator has its row's width.
    void navigatorCaptionAtEveryWidth()
    {
        QStringList faults;
        int walked = 0;
        for (int n : formRegistry().keys()) {
            std::unique_ptr<QWidget> w(formRegistry().value(n).make(*t.ctx, nullptr));
            auto *nav = w ? w->findChild<ui::Navigator *>() : nullptr;
            if (!nav)
                continue;
            w->show();
            QVERIFY(QTest::qWaitForWindowExposed(w.get()));
            const int widest = w->width(), height = w->height();
            for (int width = widest; width >= w->minimumWidth(); width -= 23) {
                w->resize(width, height);
                QApplication::processEvents();
                const QString name = QStringLiteral("form %1 largo %2").arg(n).arg(w->width());
                for (QPushButton *b : w->findChildren<QPushButton *>())
                    if (b->isVisible() && shownRect(b, w.get()).intersects(globalRect(nav)))
                        faults << name + QStringLiteral(": il navigatore sotto ") + describe(b);
                if (nav->width() < nav->minimumSizeHint().width())
                    faults << name + QStringLiteral(": navigatore schiacciato");
                // The navigator's row: the navigator and "Elenco", within the margins.
                auto *form = qobject_cast<ui::RecordForm *>(w.get());
                const int list = form && form->listButton() ? form->listButton()->sizeHint().width() : 0;
                const bool room = w->width() >= nav->sizeHint().width() + list + 40;
                if (room && !nav->captionWhole())
                    faults << name + QStringLiteral(": didascalia accorciata con spazio libero");
                if (!nav->captionWhole()
                    && nav->findChild<QWidget *>(QStringLiteral("caption"))->toolTip() != nav->caption())
                    faults << name + QStringLiteral(": didascalia accorciata senza suggerimento");
            }
            ++walked;
        }
        QVERIFY(walked > 5);
        testinputs::report(faults);
    }

    void listOpensAtTheRememberedWidth()
    {
        const QString section = QStringLiteral("Finestre"), key = QStringLiteral("Dichiarazioni");
        t.app->writeText(section, key, QStringLiteral("250"));
        {
            MainWindow main(*t.ctx);
            main.show();
            QVERIFY(QTest::qWaitForWindowExposed(&main));
            QTRY_COMPARE(main.dockWidth(), 250);
            // The user widens it: the next start finds it so.
            main.resizeDocks({main.findChild<QDockWidget *>()}, {340}, Qt::Horizontal);
            QTRY_COMPARE(main.dockWidth(), 340);
            QVERIFY(main.close());
        }
        QCOMPARE(t.app->readText(section, key), QStringLiteral("340"));
        // A width the window cannot give is not taken whole.
        t.app->writeText(section, key, QStringLiteral("5000"));
        MainWindow main(*t.ctx);
        main.show();
        QVERIFY(QTest::qWaitForWindowExposed(&main));
        QTest::qWait(20);
        QVERIFY2(main.dockWidth() <= main.width() / 2, qPrintable(QString::number(main.dockWidth())));
    }
};

// The screen of the smallest laptop the program is used on.
int main(int argc, char **argv)
{
    QTemporaryFile screens;
    if (!screens.open())
        return 1;
    screens.write(R"({"screens": [{"name": "laptop", "x": 0, "y": 0, "width": 1366, "height": 768,
                      "logicalDpi": 96, "logicalBaseDpi": 96, "dpr": 1}]})");
    screens.flush();
    qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + screens.fileName().toLocal8Bit());
    QApplication app(argc, argv);
    TestScreenFit test;
    return QTest::qExec(&test, argc, argv);
}

#include "test_screen_fit.moc"
