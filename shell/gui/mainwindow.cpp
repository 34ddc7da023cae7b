#include "shell/gui/mainwindow.h"

#include "shell/dbclass.h"
#include "shell/gui/archivecopy.h"
#include "shell/gui/connetti.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/gui/formregistry.h"
#include "shell/gui/menutable.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/desktop.h"
#include "ui/events.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDesktopServices>
#include <QDir>
#include <QDockWidget>
#include <QLabel>
#include <QMdiArea>
#include <QMdiSubWindow>
#include <QMenuBar>
#include <QScreen>
#include <QShortcut>
#include <QStatusBar>
#include <QTimer>
#include <QUrl>

MainWindow::MainWindow(AppContext &ctx, QWidget *parent)
    : QMainWindow(parent), ctx_(ctx), opener_(ctx.app.currentForm)
{
    setWindowTitle(QStringLiteral("Qor ") + QString::number(ctx_.app.year()));
    mdi_ = new QMdiArea(this);
    mdi_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    mdi_->setVerticalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    setCentralWidget(mdi_);

    list_ = new DeclarationList(ctx_, this);
    dock_ = new QDockWidget(QStringLiteral("Dichiarazioni"), this);
    dock_->setObjectName(QStringLiteral("dichiarazioni"));
    dock_->setWidget(list_);
    dock_->setFeatures(QDockWidget::DockWidgetMovable | QDockWidget::DockWidgetFloatable);
    addDockWidget(Qt::LeftDockWidgetArea, dock_);
    connect(list_, &DeclarationList::currentChanged, this, [this](qint64 id) {
        updateStatus();
        Q_EMIT ui::Events::instance().currentDeclarationChanged(id);
    });
    connect(list_, &DeclarationList::openRequested, this, &MainWindow::openForm);
    // The forms report saved and removed declarations; the list follows.
    connect(&ui::Events::instance(), &ui::Events::declarationSaved, this, [this](qint64 id) {
        list_->reload();
        list_->setCurrentId(id);
    });
    connect(&ui::Events::instance(), &ui::Events::declarationRemoved, this, [this] { list_->reload(); });
    connect(&ui::Events::instance(), &ui::Events::declarationsChanged, list_, &DeclarationList::reload);
    connect(&ui::Events::instance(), &ui::Events::declarationChosen, list_, &DeclarationList::setCurrentId);
    connect(&ui::Events::instance(), &ui::Events::openFormRequested, this, &MainWindow::openForm);
    connect(&ui::Events::instance(), &ui::Events::printed, this, [this](const QString &path) {
        statusBar()->showMessage(QStringLiteral("Stampa salvata in: ") + QDir::toNativeSeparators(path));
    });

    // Esc closes the active form (which asks about unsaved changes).
    auto *esc = new QShortcut(QKeySequence(Qt::Key_Escape), mdi_);
    esc->setContext(Qt::WidgetWithChildrenShortcut);
    connect(esc, &QShortcut::activated, this, [this] {
        if (ui::closePopup())
            return;
        if (QMdiSubWindow *sw = mdi_->activeSubWindow())
            sw->close();
    });

    status_ = new QLabel(this);
    statusBar()->addWidget(status_, 1);
    buildMenus();
    updateActions();
    updateStatus();
    // The first time the window fills most of the screen, never more.
    QSize size(1200, 800);
    if (const QScreen *sc = screen())
        size = size.boundedTo(sc->availableGeometry().size() * 0.95);
    resize(size);
    // On a laptop screen the forms need all of it: the window takes the
    // whole screen and the list stays narrow.
    if (const QScreen *sc = screen(); sc && sc->availableGeometry().width() < 1600)
        setWindowState(windowState() | Qt::WindowMaximized);
    ui::rememberGeometry(this, ctx_, QStringLiteral("Principale"));
}

namespace {
// The declarations list's width, in the section of the window geometries.
const QString WindowsSection = QStringLiteral("Finestre");
const QString DockKey = QStringLiteral("Dichiarazioni");
// Wide enough for company name and tax code, and leaves a 1366 pixel
// screen's forms their room.
constexpr int DefaultDockWidth = 300;
} // namespace

int MainWindow::dockWidth() const
{
    return dock_->width();
}

void MainWindow::showEvent(QShowEvent *e)
{
    QMainWindow::showEvent(e);
    if (dockSized_)
        return;
    dockSized_ = true;
    // Once the window has its size: the dock's width is laid out only then.
    QTimer::singleShot(0, this, [this] {
        int w = ctx_.app.readInt(WindowsSection, DockKey);
        if (w <= 0)
            w = DefaultDockWidth;
        w = qBound(dock_->minimumSizeHint().width(), w, qMax(DefaultDockWidth, width() / 2));
        resizeDocks({dock_}, {w}, Qt::Horizontal);
    });
}

void MainWindow::buildMenus()
{
    for (const Menu &m : menuTable()) {
        if (m.devOnly && !ctx_.app.devMode())
            continue;
        QMenu *menu = menuBar()->addMenu(m.title);
        std::function<void(QMenu *, const std::vector<MenuEntry> &)> fill =
            [&](QMenu *into, const std::vector<MenuEntry> &entries) {
                for (const MenuEntry &e : entries) {
                    if (!e.children.empty()) {
                        fill(into->addMenu(e.text), e.children);
                        continue;
                    }
                    QAction *a = into->addAction(e.text);
                    allActions_ << a;
                    if (e.form) {
                        formActions_.insert(a, e.form);
                        const int n = e.form;
                        connect(a, &QAction::triggered, this, [this, n] { openForm(n); });
                    } else {
                        const QString c = e.command;
                        a->setData(c);
                        connect(a, &QAction::triggered, this, [this, c] { runCommand(c); });
                    }
                }
            };
        fill(menu, m.entries);
    }
}

QAction *MainWindow::action(const QString &text) const
{
    for (QAction *a : allActions_)
        if (a->text() == text)
            return a;
    return nullptr;
}

void MainWindow::updateActions()
{
    const bool haveDb = ctx_.db.isCurrentOpen();
    for (auto it = formActions_.begin(); it != formActions_.end(); ++it) {
        const bool exists = formRegistry().contains(it.value());
        bool on = exists && haveDb;
        if (it.value() == Form::Takeover)
            on = on && ctx_.db.isPreviousOpen();
        it.key()->setEnabled(on);
    }
}

void MainWindow::updateStatus()
{
    QString s;
    if (ctx_.db.isCurrentOpen())
        s = QStringLiteral("Database: ") + ctx_.db.currentPath();
    else
        s = QStringLiteral("Nessun database collegato (Utilità > Collega archivi)");
    if (ctx_.db.isPreviousOpen())
        s += QStringLiteral("   Anno precedente: ") + ctx_.db.previousPath();
    status_->setText(s);
}

void MainWindow::openForm(int number)
{
    if (!formRegistry().contains(number))
        return;
    opener_.open(number, *this);
}

int MainWindow::openFormCount() const
{
    return mdi_->subWindowList().size();
}

void MainWindow::closeLastForm()
{
    const auto subs = mdi_->subWindowList(QMdiArea::CreationOrder);
    if (!subs.isEmpty())
        subs.last()->close();
}

void MainWindow::processEvents()
{
    QApplication::processEvents();
}

void MainWindow::showCompanion()
{
    dock_->show();
    dock_->raise();
}

void MainWindow::showForm(int number)
{
    for (QMdiSubWindow *sw : mdi_->subWindowList()) {
        if (sw->property("formNumber").toInt() == number) {
            sw->showNormal();
            mdi_->setActiveSubWindow(sw);
            return;
        }
    }
    const FormInfo info = formRegistry().value(number);
    if (info.needsDeclaration && list_->currentId() == 0) {
        ctx_.msg.information(QStringLiteral("Attenzione, selezionare una dichiarazione dall'elenco."));
        return;
    }
    QWidget *w = info.make(ctx_, nullptr);
    if (!w)
        return;
    ui::rememberGeometry(w, ctx_, QStringLiteral("Form%1").arg(number));
    // The size the form asks for (its own resize, or what its content needs).
    const QSize wanted = w->testAttribute(Qt::WA_Resized) ? w->size().expandedTo(w->sizeHint()) : QSize();
    w->setAttribute(Qt::WA_DeleteOnClose);
    QMdiSubWindow *sw = mdi_->addSubWindow(w);
    sw->setAttribute(Qt::WA_DeleteOnClose);
    sw->setProperty("formNumber", number);
    ctx_.app.currentForm = number;
    connect(sw, &QObject::destroyed, this, [this, number] {
        if (opener_.closing())
            return;
        if (number == Form::Takeover)
            ctx_.app.currentForm = Form::TakeoverClosed;
        else if (ctx_.app.currentForm == number)
            ctx_.app.currentForm = 0;
    });
    sw->show();
    if (wanted.isValid() && !w->property("geometryRestored").toBool())
        sw->resize(wanted + sw->size() - w->size());
    // A form larger than the free area starts fitted into it (it scrolls).
    const QSize room = mdi_->viewport()->size();
    if (sw->width() > room.width() || sw->height() > room.height()) {
        sw->resize(sw->size().boundedTo(room));
        sw->move(0, 0);
    }
    mdi_->setActiveSubWindow(sw);
    // The keyboard goes to the new form, on its first field unless the form
    // put the cursor somewhere itself.
    if (!sw->isAncestorOf(QApplication::focusWidget()))
        for (QWidget *f = w->nextInFocusChain(); f && f != w; f = f->nextInFocusChain())
            if (w->isAncestorOf(f) && f->isVisible() && f->isEnabled() && (f->focusPolicy() & Qt::TabFocus)) {
                f->setFocus(Qt::TabFocusReason);
                break;
            }
}

void MainWindow::closeAllForms()
{
    while (!mdi_->subWindowList().isEmpty()) {
        const int before = mdi_->subWindowList().size();
        closeLastForm();
        QApplication::processEvents();
        if (mdi_->subWindowList().size() >= before)
            break; // a form chose to stay open
    }
    if (mdi_->subWindowList().isEmpty())
        ctx_.app.currentForm = 0;
}

QString MainWindow::aboutText() const
{
    QString ver = ctx_.db.isCurrentOpen() ? ctx_.db.dbVersion() : QStringLiteral("nessun database collegato");
    return QStringLiteral("Qor %1\n\nDichiarazione ambientale dei rifiuti\n\n"
                          "Anno di edizione: %1\nData edizione: %2\nVersione database: %3")
        .arg(ctx_.app.year())
        .arg(ctx_.app.editionDate(), ver);
}

void MainWindow::runCommand(const QString &c)
{
    if (c == QLatin1String("closeForms")) {
        closeAllForms();
    } else if (c == QLatin1String("connetti")) {
        // The open forms work on a declaration of the database in use: they
        // close (saving or not, as their user says) before it can change.
        closeAllForms();
        if (!mdi_->subWindowList().isEmpty())
            return;
        Connetti dlg(ctx_, this);
        const int result = dlg.exec();
        if (ctx_.db.engineMissing()) {
            QApplication::exit(1);
            return;
        }
        if (result == QDialog::Accepted) {
            list_->reload();
            updateActions();
            updateStatus();
        }
    } else if (c == QLatin1String("archiveCopy")) {
        shellgui::saveArchiveCopy(this, ctx_);
    } else if (c == QLatin1String("help") || c == QLatin1String("helpSearch")) {
        QUrl url = QUrl::fromLocalFile(ctx_.app.helpFile());
        if (c == QLatin1String("helpSearch"))
            url.setFragment(QStringLiteral("indice"));
        if (!QDesktopServices::openUrl(url))
            ctx_.msg.information(QStringLiteral("Attenzione, impossibile aprire la guida:\n")
                                 + ctx_.app.helpFile());
    } else if (c == QLatin1String("about")) {
        ctx_.msg.information(aboutText(), QStringLiteral("Informazioni su Qor ")
                                              + QString::number(ctx_.app.year()));
    }
}

void MainWindow::closeEvent(QCloseEvent *e)
{
    closeAllForms();
    if (!mdi_->subWindowList().isEmpty()) {
        e->ignore();
        return;
    }
    if (dockSized_ && dock_->isVisible() && !dock_->isFloating())
        ctx_.app.writeText(WindowsSection, DockKey, QString::number(dock_->width()));
    e->accept();
}
