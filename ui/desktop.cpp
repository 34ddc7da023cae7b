#include "ui/desktop.h"

#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QAbstractButton>
#include <QApplication>
#include <QDesktopServices>
#include <QEvent>
#include <QFileInfo>
#include <QLibraryInfo>
#include <QMdiSubWindow>
#include <QPointer>
#include <QPushButton>
#include <QRegularExpression>
#include <QScreen>
#include <QShortcut>
#include <QTranslator>
#include <QUrl>

namespace ui {

bool installItalianTranslation(QCoreApplication &app)
{
    auto *t = new QTranslator(&app);
    // qt_it covers the base module and, where installed, the others.
    const QString dir = QLibraryInfo::path(QLibraryInfo::TranslationsPath);
    if (!t->load(QStringLiteral("qtbase_it"), dir) && !t->load(QStringLiteral("qt_it"), dir)) {
        delete t;
        return false;
    }
    return QCoreApplication::installTranslator(t);
}

std::function<bool(const QUrl &)> systemOpener = [](const QUrl &url) { return QDesktopServices::openUrl(url); };

bool openInViewer(Messages &msg, const QString &path, const QString &what)
{
    const QString shown = QFileInfo(path).absoluteFilePath();
    if (!QFileInfo::exists(path)) {
        msg.information(QStringLiteral("Attenzione, impossibile aprire %1: il file non esiste.\n%2").arg(what, shown));
        return false;
    }
    if (systemOpener(QUrl::fromLocalFile(shown)))
        return true;
    msg.information(QStringLiteral("Attenzione, impossibile aprire %1: nessun programma del sistema per "
                                   "visualizzarlo.\nIl file si trova in:\n%2")
                        .arg(what, shown));
    return false;
}

// ---- remembered geometry ----

QString geometryText(const QRect &r)
{
    return QStringLiteral("%1,%2,%3,%4").arg(r.x()).arg(r.y()).arg(r.width()).arg(r.height());
}

bool parseGeometry(const QString &text, QRect *r)
{
    const QStringList p = text.split(u',');
    if (p.size() != 4)
        return false;
    int v[4];
    for (int i = 0; i < 4; ++i) {
        bool ok = false;
        v[i] = p[i].trimmed().toInt(&ok);
        if (!ok)
            return false;
    }
    if (v[2] < 50 || v[3] < 50)
        return false;
    *r = QRect(v[0], v[1], v[2], v[3]);
    return true;
}

namespace {

const QString Section = QStringLiteral("Finestre");

// Follows the window: restores on the first show, writes on close.
class GeometryKeeper : public QObject {
public:
    GeometryKeeper(QWidget *w, AppContext &ctx, const QString &key) : QObject(w), w_(w), ctx_(ctx), key_(key)
    {
        w->installEventFilter(this);
    }

    bool eventFilter(QObject *o, QEvent *e) override
    {
        if (e->type() == QEvent::Show && !restored_) {
            restored_ = true;
            // The frame window of a form exists once it is shown.
            if (auto *sw = frame(); sw && sw != w_.data())
                sw->installEventFilter(this);
            restore();
        } else if (e->type() == QEvent::Close && (o == frame() || o == w_.data())) {
            save();
        }
        return false;
    }

private:
    QWidget *frame() const
    {
        if (!w_)
            return nullptr;
        QWidget *p = w_->parentWidget();
        return p && qobject_cast<QMdiSubWindow *>(p) ? p : w_.data();
    }

    // Where the window may stand: the frame's area or the screen.
    QRect room() const
    {
        QWidget *f = frame();
        if (f->isWindow()) {
            QScreen *s = f->screen() ? f->screen() : QGuiApplication::primaryScreen();
            return s ? s->availableGeometry() : QRect();
        }
        return f->parentWidget() ? f->parentWidget()->rect() : QRect();
    }

    void restore()
    {
        QRect r;
        if (!parseGeometry(ctx_.app.readText(Section, key_), &r))
            return;
        const QRect area = room();
        if (area.isValid() && !area.contains(r))
            return; // another screen or a smaller frame: the default size is safer
        QWidget *f = frame();
        if (f->isMaximized())
            return; // the program chose the whole room
        w_->setProperty("geometryRestored", true);
        if (f->isWindow())
            f->setGeometry(r); // client area on screen
        else {
            f->move(r.topLeft());
            f->resize(r.size());
        }
    }

    void save()
    {
        QWidget *f = frame();
        if (!f || f->isMaximized() || f->isMinimized())
            return;
        const QRect r = f->isWindow() ? f->geometry() : QRect(f->pos(), f->size());
        ctx_.app.writeText(Section, key_, geometryText(r));
    }

    QPointer<QWidget> w_;
    AppContext &ctx_;
    QString key_;
    bool restored_ = false;
};

} // namespace

void rememberGeometry(QWidget *w, AppContext &ctx, const QString &key)
{
    new GeometryKeeper(w, ctx, key);
}

// ---- shortcuts ----

QString shortcutTip(const QAbstractButton *b, const QKeySequence &keys)
{
    QString base = b->toolTip();
    if (base.isEmpty())
        base = b->text().remove(QRegularExpression(QStringLiteral("&(?!&)")));
    return base + QStringLiteral(" (") + keys.toString(QKeySequence::NativeText) + u')';
}

void addShortcut(QAbstractButton *b, const QKeySequence &keys, QWidget *scope)
{
    b->setToolTip(shortcutTip(b, keys));
    // The button may stand in a form inside the main window: the shortcut
    // belongs to the form, not to the whole frame.
    if (!scope) {
        scope = b;
        while (scope->parentWidget() && !scope->isWindow()
               && !qobject_cast<QMdiSubWindow *>(scope->parentWidget()))
            scope = scope->parentWidget();
    }
    auto *s = new QShortcut(keys, scope);
    s->setContext(Qt::WidgetWithChildrenShortcut);
    QObject::connect(s, &QShortcut::activated, b, [b] {
        if (b->isEnabled() && b->isVisible())
            b->click();
    });
}

void setDefaultButton(QWidget *form, QPushButton *b)
{
    b->setDefault(true);
    for (auto key : {Qt::Key_Return, Qt::Key_Enter}) {
        auto *s = new QShortcut(QKeySequence(key), form);
        s->setContext(Qt::WidgetWithChildrenShortcut);
        QObject::connect(s, &QShortcut::activated, b, [b, form] {
            if (QApplication::activePopupWidget())
                return;
            // A button with the focus is the one Enter presses.
            auto *focused = qobject_cast<QPushButton *>(QApplication::focusWidget());
            QPushButton *target = focused && form->isAncestorOf(focused) ? focused : b;
            if (target->isEnabled() && target->isVisible())
                target->click();
        });
    }
}

QShortcut *setEscapeButton(QWidget *form, QAbstractButton *cancel)
{
    auto *s = new QShortcut(QKeySequence(Qt::Key_Escape), form);
    s->setContext(Qt::WidgetWithChildrenShortcut);
    QPointer<QAbstractButton> c = cancel;
    QObject::connect(s, &QShortcut::activated, form, [c] {
        if (closePopup())
            return;
        if (c && c->isEnabled() && c->isVisible())
            c->click();
    });
    return s;
}

bool closePopup()
{
    // A list open under a field (municipalities found, a drop-down) takes Esc.
    if (QWidget *p = QApplication::activePopupWidget()) {
        p->close();
        return true;
    }
    return false;
}

} // namespace ui
