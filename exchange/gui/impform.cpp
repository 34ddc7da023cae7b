#include "exchange/gui/impform.h"

#include "exchange/exportproc.h"
#include "exchange/importer.h"
#include "exchange/reader.h"
#include "shell/gui/archivecopy.h"
#include "shell/gui/connetti.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/events.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QDockWidget>
#include <QElapsedTimer>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMainWindow>
#include <QMenuBar>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

namespace exch::gui {

namespace {
// Lets the window repaint and hear the user about every few hundredths of a
// second: often enough to feel live, rarely enough not to slow the run.
class Breather {
public:
    Breather() { t_.start(); }
    void operator()()
    {
        if (t_.elapsed() < 40)
            return;
        QApplication::processEvents();
        t_.restart();
    }

private:
    QElapsedTimer t_;
};
} // namespace

QString ImpForm::openFilter(int year)
{
    // The same files the export writes.
    return saveFilter(year);
}

ImpForm::ImpForm(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Importazione dati"));
    auto *lay = new QVBoxLayout(this);
    auto *intro = new QLabel(QStringLiteral("Questa funzionalità consente di caricare nella banca dati locale, "
                                            "dichiarazioni QOR esportate in precedenza, anche da altre stazioni "
                                            "di lavoro."),
                             this);
    intro->setWordWrap(true);
    lay->addWidget(intro);

    auto *sel = new QGroupBox(QStringLiteral("Selezione del file da importare"), this);
    auto *sl = new QHBoxLayout(sel);
    auto *lfile = new QLabel(QStringLiteral("&File:"), sel);
    path_ = new QLineEdit(sel);
    path_->setMinimumWidth(380);
    lfile->setBuddy(path_);
    browse_ = new QPushButton(QStringLiteral("Sf&oglia"), sel);
    browse_->setObjectName(QStringLiteral("browse"));
    sl->addWidget(lfile);
    sl->addWidget(path_, 1);
    sl->addWidget(browse_);
    lay->addWidget(sel);

    auto *ver = new QGroupBox(QStringLiteral("Verifica del file selezionato"), this);
    auto *vl = new QVBoxLayout(ver);
    check_ = new QLabel(ver);
    reason_ = new QLabel(ver);
    reason_->setWordWrap(true);
    reason_->setMinimumHeight(reason_->fontMetrics().height()); // the frame keeps its size
    check_->setObjectName(QStringLiteral("checkLabel"));
    vl->addWidget(check_);
    vl->addWidget(reason_);
    lay->addWidget(ver);

    auto *run = new QGroupBox(QStringLiteral("Elaborazione"), this);
    auto *g = new QGridLayout(run);
    bar_ = new QProgressBar(run);
    bar_->setRange(0, 1);
    bar_->setValue(0);
    g->addWidget(bar_, 0, 0, 1, 2);
    g->addWidget(new QLabel(QStringLiteral("Dichiarazione in fase di importazione"), run), 1, 0, 1, 2);
    current_ = new QLabel(run);
    current_->setMinimumWidth(300);
    g->addWidget(current_, 2, 0, 1, 2);
    const char *captions[] = {"Dichiarazioni contenute nel file da importare:", "Dichiarazioni importate:",
                              "Dichiarazioni scartate perché già presenti:"};
    QLabel **values[] = {&contained_, &imported_, &skipped_};
    for (int i = 0; i < 3; ++i) {
        g->addWidget(new QLabel(QString::fromUtf8(captions[i]), run), 3 + i, 0);
        *values[i] = new QLabel(run);
        (*values[i])->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
        (*values[i])->setMinimumWidth(60);
        g->addWidget(*values[i], 3 + i, 1);
    }
    end_ = new QLabel(run);
    end_->setStyleSheet(QStringLiteral("font-weight: bold"));
    g->addWidget(end_, 6, 0, 1, 2);
    lay->addWidget(run);

    auto *buttons = new QHBoxLayout;
    start_ = new QPushButton(QStringLiteral("Avvia &importazione"), this);
    close_ = new QPushButton(QStringLiteral("C&hiudi"), this);
    start_->setEnabled(false);
    buttons->addStretch();
    buttons->addWidget(start_);
    buttons->addWidget(close_);
    lay->addStretch();
    lay->addLayout(buttons);

    connect(browse_, &QPushButton::clicked, this, &ImpForm::browse);
    connect(path_, &QLineEdit::returnPressed, this, &ImpForm::pathTyped);
    connect(path_, &QLineEdit::textEdited, this, [this] {
        // A path being typed is not the file that was checked.
        checked_.clear();
        start_->setEnabled(false);
    });
    connect(start_, &QPushButton::clicked, this, &ImpForm::start);
    connect(close_, &QPushButton::clicked, this, [this] {
        if (running_) {
            interrupt();
            return;
        }
        if (parentWidget())
            parentWidget()->close();
        else
            close();
    });
    for (QPushButton *b : {browse_, start_, close_})
        b->installEventFilter(this);
    setTabOrder(path_, browse_);
    setTabOrder(browse_, start_);
    setTabOrder(start_, close_);
    clearResults();
}

void ImpForm::clearResults()
{
    check_->clear();
    reason_->clear();
    current_->clear();
    end_->clear();
    setCounters(0, 0, 0);
    bar_->setRange(0, 1);
    bar_->setValue(0);
}

void ImpForm::setCounters(int contained, int imported, int skipped)
{
    contained_->setText(QString::number(contained));
    imported_->setText(QString::number(imported));
    skipped_->setText(QString::number(skipped));
}

void ImpForm::browse()
{
    QString path;
    if (chooseFile) {
        path = chooseFile();
    } else {
        const QStringList filters = Connetti::qtFilters(openFilter(ctx_.app.year()));
        const QString start = path_->text().isEmpty() ? ctx_.app.dataFolder() : QFileInfo(path_->text()).absolutePath();
        path = QFileDialog::getOpenFileName(this, QStringLiteral("Apri file dichiarazioni QOR esportate"), start,
                                            filters.join(QStringLiteral(";;")));
    }
    if (path.isEmpty())
        return;
    path_->setText(QDir::toNativeSeparators(path));
    checkSelected(path);
}

void ImpForm::pathTyped()
{
    const QString path = path_->text().trimmed();
    if (path.isEmpty())
        return;
    if (!QFileInfo(path).isFile()) {
        clearResults();
        ctx_.msg.information(QStringLiteral("Attenzione, file non trovato: ") + path);
        return;
    }
    checkSelected(path);
}

bool ImpForm::checkSelected(const QString &path)
{
    if (running_)
        return false;
    clearResults();
    checked_.clear();
    start_->setEnabled(false);
    check_->setText(QStringLiteral("Verifica del file in corso...."));
    running_ = true;
    cancel_ = false;
    browse_->setEnabled(false);
    lockHost(true);
    Breather breathe;
    const CheckResult r = checkFile(path, [&](qint64 done, qint64 total) {
        bar_->setMaximum(int(std::max<qint64>(total, 1)));
        bar_->setValue(int(std::min<qint64>(done, total)));
        breathe();
        return !cancel_;
    });
    lockHost(false);
    browse_->setEnabled(true);
    running_ = false;
    bar_->setValue(0);
    if (r.cancelled) {
        check_->clear();
        end_->setText(QStringLiteral("Operazione interrotta"));
        return false;
    }
    if (!r.ok) {
        check_->setText(QStringLiteral("Attenzione, il file NON è stato generato da questa procedura."));
        reason_->setText(r.text());
        return false;
    }
    check_->setText(QStringLiteral("Il file selezionato è un'esportazione QOR corretta."));
    reason_->clear();
    bar_->setMaximum(int(std::max<qint32>(r.total, 1)));
    setCounters(r.declarations, 0, 0);
    checked_ = path;
    start_->setEnabled(true);
    start_->setFocus();
    return true;
}

void ImpForm::start()
{
    if (running_ || checked_.isEmpty())
        return;
    // A damaged archive is refused; one that already holds declarations is
    // offered a copy first.
    if (!shellgui::readyForImport(this, ctx_))
        return;
    running_ = true;
    cancel_ = false;
    end_->clear();
    current_->clear();
    start_->setEnabled(false);
    browse_->setEnabled(false);
    path_->setReadOnly(true);
    close_->setText(QStringLiteral("&Interrompi"));
    close_->setFocus();
    lockHost(true);
    Breather breathe;
    const ImportResult r = importFile(
        ctx_.db, ctx_.msg, checked_,
        [&](qint64 done, qint64 total) {
            bar_->setMaximum(int(std::max<qint64>(total, 1)));
            bar_->setValue(int(std::min<qint64>(done, total)));
            breathe();
            return !cancel_;
        },
        [&](const ImportStep &s) {
            current_->setText(s.name);
            imported_->setText(QString::number(s.imported));
            skipped_->setText(QString::number(s.skipped));
            if (onDeclaration)
                onDeclaration();
        });
    lockHost(false);
    running_ = false;
    close_->setText(QStringLiteral("C&hiudi"));
    browse_->setEnabled(true);
    path_->setReadOnly(false);
    current_->clear();
    setCounters(r.contained, r.imported, r.skipped);
    // The list of declarations shows the new ones before any message.
    if (r.imported > 0)
        Q_EMIT ui::Events::instance().declarationsChanged();
    switch (r.status) {
    case ImportResult::Done:
        bar_->setValue(bar_->maximum());
        end_->setText(QStringLiteral("Operazione terminata"));
        break;
    case ImportResult::Refused:
        // The file changed after it was checked.
        checked_.clear();
        check_->setText(QStringLiteral("Attenzione, il file NON è stato generato da questa procedura."));
        reason_->setText(r.check.text());
        break;
    case ImportResult::Cancelled:
        end_->setText(QStringLiteral("Operazione interrotta"));
        start_->setEnabled(true); // a new run skips what is already loaded
        ctx_.msg.information(QStringLiteral("Operazione interrotta"));
        break;
    case ImportResult::Failed:
        end_->setText(QStringLiteral("Operazione interrotta"));
        start_->setEnabled(true);
        break;
    }
    close_->setFocus();
}

void ImpForm::lockHost(bool lock)
{
    // While a file is read, the rest of the program waits: no other form,
    // no change of database, no other declaration chosen.
    auto *mw = qobject_cast<QMainWindow *>(window());
    if (!mw)
        return;
    if (mw->menuBar())
        mw->menuBar()->setEnabled(!lock);
    for (QDockWidget *d : mw->findChildren<QDockWidget *>())
        d->setEnabled(!lock);
}

void ImpForm::closeEvent(QCloseEvent *e)
{
    if (running_) {
        interrupt();
        e->ignore();
        return;
    }
    QWidget::closeEvent(e);
}

void ImpForm::keyPressEvent(QKeyEvent *e)
{
    if (e->key() == Qt::Key_Escape) {
        close_->click();
        return;
    }

    QWidget::keyPressEvent(e);
}

bool ImpForm::eventFilter(QObject *o, QEvent *e)
{
    // Enter presses the button that has the focus, as in a dialog.
    if (e->type() == QEvent::KeyPress) {
        const int k = static_cast<QKeyEvent *>(e)->key();
        auto *b = qobject_cast<QPushButton *>(o);
        if (b && (k == Qt::Key_Return || k == Qt::Key_Enter)) {
            if (b->isEnabled())
                b->click();
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

QWidget *makeImpForm(AppContext &ctx, QWidget *parent)
{
    return new ImpForm(ctx, parent);
}

} // namespace exch::gui
