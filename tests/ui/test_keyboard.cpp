// Every window of the program driven from the keyboard, offscreen: each form
// of the main window's registry and each module window of its schede. Tab
// visits every enabled input once, in the order of the form's field table,
// and comes back where it started; no two things of a window answer the same
// Alt key; Esc closes each form; Enter runs Verifica and Estrazione; the
// record shortcuts work and are shown in the tooltips. QOR_TAB_DUMP=1 lists
// the stops of each walk.

#include "../testdb.h"
#include "formwalk.h"
#include "exchange/demodata.h"
#include "exchange/gui/expform.h"
#include "print/gui/printforms.h"
#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/stream/gui/streamform.h"
#include "shell/gui/connetti.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/mainwindow.h"
#include "shell/gui/menutable.h"
#include "ui/controls.h"
#include "ui/fieldform.h"
#include "ui/recordform.h"
#include "verify/gui/verifica.h"

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTabBar>
#include <QTabWidget>
#include <QTextEdit>
#include <memory>

namespace {

using testinputs::describe;
using testinputs::moduleOpeners;
using testinputs::report;
using testinputs::inputsOf;

QWidget *focused() { return QApplication::focusWidget(); }

bool activate(QWidget *w)
{
    w->show();
    w->activateWindow();
    if (!QTest::qWaitForWindowActive(w))
        return false;
    // A window over another one (a module over its scheda) gets the
    // keyboard once the events of its showing have run.
    QTest::qWait(20);
    return QApplication::activeWindow() == w;
}

// Radio buttons of one exclusive group are one stop: Tab enters the group
// at its checked button and arrows move inside it.
QList<QWidget *> sameGroup(QWidget *w)
{
    auto *r = qobject_cast<QRadioButton *>(w);
    if (!r)
        return {w};
    QList<QWidget *> out;
    if (QButtonGroup *g = r->group()) {
        for (QAbstractButton *b : g->buttons())
            out << b;
    } else if (r->autoExclusive()) {
        for (QRadioButton *o : r->parentWidget()->findChildren<QRadioButton *>(Qt::FindDirectChildrenOnly))
            if (o->autoExclusive())
                out << o;
    }
    return out.isEmpty() ? QList<QWidget *>{w} : out;
}

bool reached(QWidget *w, const QList<QWidget *> &visited)
{
    for (QWidget *o : sameGroup(w))
        if (visited.contains(o))
            return true;
    return false;
}

// Where a walk starts: the first field of a form of fields the user can
// reach, otherwise the first input.
QWidget *firstStop(QWidget *win, const QList<QWidget *> &inputs)
{
    for (ui::FieldForm *ff : win->findChildren<ui::FieldForm *>()) {
        if (!ff->isVisible())
            continue;
        for (const fields::Field &f : ff->table()) {
            QWidget *c = ff->control(f.name);
            if (!c)
                continue;
            // A field may be shown through another control, its label's buddy.
            QList<QWidget *> stops = ui::FieldForm::tabStops(c);
            if (QLabel *l = ff->label(f.name); l && l->buddy())
                stops << l->buddy();
            for (QWidget *w : stops)
                if (inputs.contains(w) && (w->focusPolicy() & Qt::TabFocus))
                    return w;
        }
    }
    for (QWidget *w : inputs)
        if (w->focusPolicy() & Qt::TabFocus)
            return w;
    return nullptr;
}

// Presses Tab from the first input until the focus comes back to it.
// Returns what went wrong, empty when nothing did.
QString walkTabs(QWidget *win, QList<QWidget *> *visited)
{
    const QList<QWidget *> inputs = inputsOf(win);
    if (inputs.isEmpty())
        return {};
    QWidget *start = firstStop(win, inputs);
    if (!start)
        return QStringLiteral("nessun campo prende il cursore con Tab");
    start->setFocus(Qt::TabFocusReason);
    if (focused() != start)
        return QStringLiteral("il primo campo non prende il cursore: ") + describe(start);
    *visited = {start};
    int inGrid = 0;
    for (int i = 0; i < 2000; ++i) {
        QTest::keyClick(focused(), Qt::Key_Tab);
        QWidget *now = focused();
        if (now == start && now != visited->last())
            return {};
        if (!now || now->window() != win)
            return QStringLiteral("Tab esce dalla finestra dopo ") + describe(visited->last());
        if (now == visited->last()) {
            // A grid moves from cell to cell, then lets Tab go on.
            if (qobject_cast<QAbstractItemView *>(now) && ++inGrid < 200)
                continue;
            return QStringLiteral("Tab resta in ") + describe(now);
        }
        inGrid = 0;
        if (visited->contains(now))
            return QStringLiteral("Tab gira in tondo: da %1 torna a %2 senza ripassare dal primo campo")
                .arg(describe(visited->last()), describe(now));
        *visited << now;
    }
    return QStringLiteral("Tab non torna mai al primo campo");
}

// Checks one state of a window (one page of each tab set shown).
QStringList checkTabChain(const QString &name, QWidget *win)
{
    QStringList faults;
    QList<QWidget *> visited;
    const QString walk = walkTabs(win, &visited);
    if (!walk.isEmpty())
        return {name + QStringLiteral(": ") + walk};
    for (QWidget *w : inputsOf(win))
        if (!reached(w, visited))
            faults << name + QStringLiteral(": Tab non raggiunge ") + describe(w);
    if (qEnvironmentVariableIsSet("QOR_TAB_DUMP"))
        for (QWidget *w : visited)
            qInfo("%s: %s", qPrintable(name), qPrintable(describe(w)));
    // The fields follow the order of their table.
    for (ui::FieldForm *ff : win->findChildren<ui::FieldForm *>()) {
        if (!ff->isVisible())
            continue;
        int last = -1;
        QWidget *lastW = nullptr;
        for (const fields::Field &f : ff->table()) {
            QWidget *c = ff->control(f.name);
            if (!c || !c->isVisible())
                continue;
            for (QWidget *part : ui::FieldForm::tabStops(c)) {
                if (!part->isVisible() || !part->isEnabled())
                    continue;
                int at = -1;
                for (QWidget *o : sameGroup(part))
                    if (visited.contains(o))
                        at = int(visited.indexOf(o));
                if (at < 0 || at == last)
                    continue;
                if (at < last)
                    faults << name + QStringLiteral(": %1 viene prima di %2 ma Tab la raggiunge dopo")
                                         .arg(describe(lastW), describe(part));
                last = at;
                lastW = part;
            }
        }
    }
    return faults;
}

// The Alt keys of what is shown in a window, with the texts that carry them.
QMap<QString, QStringList> accessKeys(QWidget *win, const QStringList &frameTexts)
{
    QMap<QString, QStringList> keys;
    auto add = [&keys](const QString &text) {
        const QKeySequence k = QKeySequence::mnemonic(text);
        if (!k.isEmpty())
            keys[k.toString()] << text;
    };
    for (const QString &t : frameTexts)
        add(t);
    for (QWidget *w : win->findChildren<QWidget *>()) {
        if (w->window() != win || !w->isVisible())
            continue;
        if (auto *b = qobject_cast<QAbstractButton *>(w))
            add(b->text());
        else if (auto *l = qobject_cast<QLabel *>(w); l && l->buddy())
            add(l->text());
        else if (auto *g = qobject_cast<QGroupBox *>(w))
            add(g->title());
        else if (auto *t = qobject_cast<QTabBar *>(w))
            for (int i = 0; i < t->count(); ++i)
                add(t->tabText(i));
    }
    return keys;
}

QStringList checkAccessKeys(const QString &name, QWidget *win, const QStringList &frameTexts)
{
    QStringList faults;
    const auto keys = accessKeys(win, frameTexts);
    for (auto it = keys.begin(); it != keys.end(); ++it)
        if (it.value().size() > 1)
            faults << name + QStringLiteral(": %1 per ").arg(it.key()) + it.value().join(QStringLiteral(", "));
    return faults;
}

// Runs a check on every state of a window: as shown, then with each page of
// each tab set (and of a stack of steps) in front.
QStringList inEveryPage(QWidget *win, const std::function<QStringList()> &check)
{
    QStringList faults = check();
    for (QTabWidget *tabs : win->findChildren<QTabWidget *>()) {
        if (!tabs->isVisible())
            continue;
        const int was = tabs->currentIndex();
        for (int i = 0; i < tabs->count(); ++i) {
            if (i == was || !tabs->isTabEnabled(i))
                continue;
            tabs->setCurrentIndex(i);
            faults << check();
        }
        tabs->setCurrentIndex(was);
    }
    return faults;
}

// The texts of the main window's menu bar: a form inside it shares its Alt keys.
QStringList menuTitles()
{
    QStringList out;
    for (const Menu &m : menuTable())
        out << m.title;
    return out;
}

} // namespace

class TestKeyboard : public QObject {
    Q_OBJECT
    TestDb t;

    // Every window: each registered form (shown on its own, as in the
    // frame) and each module window of its schede.
    void forEveryWindow(const std::function<void(const QString &, QWidget *, bool inFrame)> &fn)
    {
        int modules = 0;
        QList<int> numbers = formRegistry().keys();
        std::sort(numbers.begin(), numbers.end());
        for (int n : numbers) {
            std::unique_ptr<QWidget> w(formRegistry().value(n).make(*t.ctx, nullptr));
            if (!w)
                continue; // a command without a window
            const QString name = QStringLiteral("form %1 \"%2\"").arg(n).arg(w->windowTitle());
            QVERIFY2(activate(w.get()), qPrintable(name));
            for (const auto &[code, open] : moduleOpeners(w.get())) {
                QPointer<QWidget> m = open();
                if (!m)
                    continue; // nothing to attach a module of this type to
                QVERIFY2(m->isWindow() && m->parentWidget() == w.get(),
                         qPrintable(name + code + QStringLiteral(": non è una finestra figlia della scheda")));
                QVERIFY(activate(m));
                fn(name + QStringLiteral(" modulo ") + code, m, false);
                delete m;
                ++modules;
            }
            // The form after its modules: what fn does may leave it on a new record.
            QVERIFY(activate(w.get()));
            fn(name, w.get(), true);
        }
        QVERIFY(modules > 10);
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(testinputs::openWithFullDeclaration(t));
        registerForms();
        openPrintedFile = [](const QString &) {};
    }
    void init() { t.msg.clear(); }

    void tabVisitsEveryInputOnceInOrder()
    {
        QStringList faults;
        int windows = 0;
        forEveryWindow([&](const QString &name, QWidget *w, bool) {
            ++windows;
            faults << inEveryPage(w, [&] { return checkTabChain(name, w); });
        });
        QVERIFY(windows > 15);
        report(faults);
    }

    void accessKeysAreUniqueInEachWindow()
    {
        QStringList faults;
        forEveryWindow([&](const QString &name, QWidget *w, bool inFrame) {
            const QStringList frame = inFrame ? menuTitles() : QStringList();
            faults << inEveryPage(w, [&] { return checkAccessKeys(name, w, frame); });
        });
        MainWindow main(*t.ctx);
        QVERIFY(activate(&main));
        faults << checkAccessKeys(QStringLiteral("finestra principale"), &main, menuTitles());
        Connetti dlg(*t.ctx);
        QVERIFY(activate(&dlg));
        faults << checkAccessKeys(QStringLiteral("Connetti"), &dlg, {});
        report(faults);
    }

    void escClosesEveryFormOfTheMainWindow()
    {
        MainWindow main(*t.ctx);
        QVERIFY(activate(&main));
        int closed = 0;
        for (int n : formRegistry().keys()) {
            main.openForm(n);
            QMdiSubWindow *sw = main.mdi()->activeSubWindow();
            if (!sw)
                continue; // a command without a window
            QVERIFY2(focused() && sw->isAncestorOf(focused()), qPrintable(QString::number(n)));
            t.msg.answer({false}); // a form that asks about a change: leave it
            QTest::keyClick(focused(), Qt::Key_Escape);
            QApplication::processEvents();
            QVERIFY2(main.mdi()->subWindowList().isEmpty(), qPrintable(QString::number(n)));
            ++closed;
        }
        QVERIFY(closed > 10);
    }

    void accessKeysWorkInsideTheMainWindow()
    {
        MainWindow main(*t.ctx);
        QVERIFY(activate(&main));
        main.openForm(Form::Rif);
        auto *f = qobject_cast<wastegui::SchedaForm *>(main.mdi()->activeSubWindow()->widget());
        QVERIFY(f && f->currentKey() > 0);
        QVERIFY(focused() && f->isAncestorOf(focused()));
        QTest::keyClick(focused(), Qt::Key_N, Qt::AltModifier); // "&Nuova scheda"
        // A button pressed by its access key clicks after its short animation.
        QTRY_COMPARE(f->currentKey(), 0);
    }

    // A form in the main window shares its Alt keys with the panel beside
    // it ("&Chiudi" and "&Cerca"): while the focus is in the form, the
    // form's keys work; back in the panel, the panel's.
    void formKeysWinOverThePanel()
    {
        MainWindow main(*t.ctx);
        QVERIFY(activate(&main));
        main.openForm(Form::Export);
        QMdiSubWindow *sw = main.mdi()->activeSubWindow();
        QVERIFY(sw);
        QVERIFY(focused() && sw->isAncestorOf(focused()));
        QTest::keyClick(focused(), Qt::Key_C, Qt::AltModifier);
        QTRY_VERIFY(main.mdi()->subWindowList().isEmpty());
        QTest::keyClick(&main, Qt::Key_C, Qt::AltModifier);
        QVERIFY(qobject_cast<QLineEdit *>(focused()));
        QCOMPARE(qobject_cast<QLineEdit *>(focused())->placeholderText(), QStringLiteral("ragione sociale o codice fiscale"));
    }

    void escClosesAModuleButNotUnderAnOpenList()
    {
        std::unique_ptr<QWidget> w(wastegui::makeRifForm(*t.ctx, nullptr));
        auto *s = static_cast<wastegui::SchedaForm *>(w.get());
        QVERIFY(activate(s));
        QPointer<ui::RecordForm> m = s->openModule(*s->moduleKinds().first());
        QVERIFY(activate(m));
        // A municipality list open under the field closes first.
        auto *mun = m->findChild<ui::ComboCom *>();
        QVERIFY(mun);
        mun->edit()->setFocus();
        mun->edit()->clear();
        QTest::keyClicks(mun->edit(), QStringLiteral("ROMA"));
        mun->searchNow(true);
        if (QApplication::activePopupWidget()) {
            QTest::keyClick(QApplication::activePopupWidget(), Qt::Key_Escape);
            QVERIFY(!m.isNull() && m->isVisible());
        }
        m->fields()->setModified(false);
        QTest::keyClick(focused(), Qt::Key_Escape);
        QTRY_VERIFY(m.isNull() || !m->isVisible());
        // The scheda has the focus back.
        QTRY_VERIFY(focused() && s->isAncestorOf(focused()));
    }

    void enterRunsTheMainActionOfVerificaAndEstrazione()
    {
        verify::gui::VerificaForm v(*t.ctx);
        QVERIFY(activate(&v));
        v.currentOption()->setChecked(true);
        v.chkExp()->setFocus();
        QTest::keyClick(focused(), Qt::Key_Return);
        QCOMPARE(v.otherButton()->text(), QStringLiteral("Chiudi")); // the run ended

        exch::gui::ExpForm e(*t.ctx);
        QVERIFY(activate(&e));
        e.singleOption()->setFocus();
        QTest::keyClick(focused(), Qt::Key_Enter);
        QCOMPARE(e.step(), 2);
        // On a button, Enter presses that button.
        QPushButton *back = nullptr;
        for (QPushButton *b : e.findChildren<QPushButton *>())
            if (b->text() == QStringLiteral("&Torna a selezione"))
                back = b;
        QVERIFY(back);
        back->setFocus();
        QTest::keyClick(focused(), Qt::Key_Return);
        QCOMPARE(e.step(), 1);
    }

    void recordShortcutsWorkAndAreShown()
    {
        int moved = 0;
        const QString ctrlS = QKeySequence(QKeySequence::Save).toString(QKeySequence::NativeText);
        forEveryWindow([&](const QString &name, QWidget *w, bool) {
            // Every button that saves says Ctrl+S.
            for (QPushButton *b : w->findChildren<QPushButton *>())
                if (QString(b->text()).remove(u'&').startsWith(QStringLiteral("Salva")))
                    QVERIFY2(b->toolTip().contains(ctrlS), qPrintable(name + b->text()));
            auto *f = qobject_cast<ui::RecordForm *>(w);
            if (!f)
                return;
            QVERIFY2(f->saveButton()->toolTip().contains(QKeySequence(QKeySequence::Save).toString(
                         QKeySequence::NativeText)),
                     qPrintable(name));
            QVERIFY2(f->newButton()->toolTip().contains(QKeySequence(QKeySequence::New).toString(
                         QKeySequence::NativeText)),
                     qPrintable(name));
            QWidget *first = firstStop(f, inputsOf(f));
            QVERIFY2(first, qPrintable(name));
            first->setFocus();
            if (f->navigator() && f->navigator()->count() >= 2) {
                const int at = f->navigator()->position();
                QTest::keyClick(focused(), Qt::Key_End, Qt::ControlModifier);
                QCOMPARE(f->navigator()->position(), f->navigator()->count());
                QTest::keyClick(focused(), Qt::Key_PageUp, Qt::ControlModifier);
                QCOMPARE(f->navigator()->position(), f->navigator()->count() - 1);
                QTest::keyClick(focused(), Qt::Key_PageDown, Qt::ControlModifier);
                QCOMPARE(f->navigator()->position(), f->navigator()->count());
                QTest::keyClick(focused(), Qt::Key_Home, Qt::ControlModifier);
                QCOMPARE(f->navigator()->position(), 1);
                f->moveTo(at);
                ++moved;
            }
            // Ctrl+N: a new, empty record, the cursor in its first field.
            QTest::keyClick(focused(), Qt::Key_N, Qt::ControlModifier);
            QVERIFY2(f->currentKey() == 0, qPrintable(name));
            QVERIFY2(focused() == firstStop(f, inputsOf(f)), qPrintable(name + describe(focused())));
        });
        QVERIFY(moved > 0);
    }
};

QTEST_MAIN(TestKeyboard)
#include "test_keyboard.moc"
