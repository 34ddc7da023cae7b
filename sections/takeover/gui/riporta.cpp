#include "sections/takeover/gui/riporta.h"

#include "refdata/lookups.h"
#include "sections/anag/setup.h"
#include "shell/dbclass.h"
#include "shell/gui/archivecopy.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/events.h"

#include <QApplication>
#include <QCheckBox>
#include <QCloseEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRegularExpressionValidator>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace takeover::gui {

namespace {

enum Column { ColName, ColCodFisc, ColUnit, ColMunicipality, ColProvince, ColCurrent, ColSchede };

// Closes the form: its sub-window inside the main window, or itself.
void closeHost(QWidget *w)
{
    if (QWidget *p = w->parentWidget(); p && p->inherits("QMdiSubWindow"))
        p->close();
    else
        w->close();
}

} // namespace

RiportaForm::RiportaForm(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Anagrafiche anno precedente"));
    setObjectName(QStringLiteral("Riporta"));
    const QString prev = QString::number(ctx_.app.year() - 1), cur = QString::number(ctx_.app.year());
    auto *outer = new QVBoxLayout(this);
    auto *intro = new QLabel(QStringLiteral("Riporta nell'anno %1 le ditte e le dichiarazioni dell'archivio %2: "
                                            "spuntare le dichiarazioni da riportare e premere \"Avvia\". "
                                            "Le dichiarazioni già presenti nell'anno %1 non vengono riportate.")
                                 .arg(cur, prev),
                             this);
    intro->setWordWrap(true);
    outer->addWidget(intro);

    // ---- filters ----
    auto *filters = new QGroupBox(QStringLiteral("Filtri"), this);
    auto *fl = new QGridLayout(filters);
    auto *ln = new QLabel(QStringLiteral("&Ragione sociale:"), filters);
    name_ = new QLineEdit(filters);
    name_->setClearButtonEnabled(true);
    ln->setBuddy(name_);
    auto *lc = new QLabel(QStringLiteral("Codice &fiscale:"), filters);
    codFisc_ = new QLineEdit(filters);
    codFisc_->setMaxLength(16);
    codFisc_->setClearButtonEnabled(true);
    lc->setBuddy(codFisc_);
    auto *lp = new QLabel(QStringLiteral("CCIAA, si&gla provincia:"), filters);
    sigla_ = new QLineEdit(filters);
    sigla_->setMaxLength(2);
    sigla_->setMaximumWidth(50);
    sigla_->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[A-Za-z]{0,2}")), sigla_));
    lp->setBuddy(sigla_);
    chamberLabel_ = new QLabel(filters);
    fl->addWidget(ln, 0, 0);
    fl->addWidget(name_, 0, 1, 1, 3);
    fl->addWidget(lc, 1, 0);
    fl->addWidget(codFisc_, 1, 1);
    fl->addWidget(lp, 1, 2);
    auto *ph = new QHBoxLayout;
    ph->addWidget(sigla_);
    ph->addWidget(chamberLabel_, 1);
    fl->addLayout(ph, 1, 3);
    fl->setColumnStretch(1, 2);
    fl->setColumnStretch(3, 1);
    outer->addWidget(filters);

    // ---- list ----
    list_ = new QTreeWidget(this);
    list_->setRootIsDecorated(false);
    list_->setAlternatingRowColors(true);
    list_->setUniformRowHeights(true);
    list_->setHeaderLabels({QStringLiteral("Ragione sociale"), QStringLiteral("Codice fiscale"),
                            QStringLiteral("Unità locale"), QStringLiteral("Comune"), QStringLiteral("Prov."),
                            QStringLiteral("Anno %1").arg(cur), QStringLiteral("Schede %1").arg(prev)});
    list_->header()->setStretchLastSection(true);
    outer->addWidget(list_, 1);
    auto *sel = new QHBoxLayout;
    all_ = new QPushButton(QStringLiteral("&Tutte"), this);
    none_ = new QPushButton(QStringLiteral("&Nessuna"), this);
    count_ = new QLabel(this);
    for (QPushButton *b : {all_, none_})
        b->setAutoDefault(false);
    sel->addWidget(all_);
    sel->addWidget(none_);
    sel->addWidget(count_, 1);
    outer->addLayout(sel);

    // ---- what to take over ----
    auto *what = new QGroupBox(QStringLiteral("Da riportare, oltre a ditta e anagrafica della dichiarazione"), this);
    auto *wl = new QVBoxLayout(what);
    structure_ = new QCheckBox(QStringLiteral("anche la struttura delle sc&hede"), what);
    structure_->setToolTip(QStringLiteral("Schede con codice rifiuto, stato fisico, moduli e soggetti; "
                                          "tutte le quantità vuote"));
    setup_ = new QCheckBox(QStringLiteral("i dati dell'ut&ente (Registra utente)"), what);
    wl->addWidget(structure_);
    wl->addWidget(setup_);
    outer->addWidget(what);

    // ---- run ----
    auto *run = new QGroupBox(QStringLiteral("Elaborazione"), this);
    auto *rl = new QGridLayout(run);
    bar_ = new QProgressBar(run);
    bar_->setValue(0);
    status_ = new QLabel(run);
    taken_ = new QLabel(run);
    skipped_ = new QLabel(run);
    companies_ = new QLabel(run);
    rl->addWidget(bar_, 0, 0, 1, 2);
    rl->addWidget(status_, 1, 0, 1, 2);
    rl->addWidget(new QLabel(QStringLiteral("Dichiarazioni riportate:"), run), 2, 0);
    rl->addWidget(taken_, 2, 1);
    rl->addWidget(new QLabel(QStringLiteral("Dichiarazioni scartate perché già presenti:"), run), 3, 0);
    rl->addWidget(skipped_, 3, 1);
    rl->addWidget(new QLabel(QStringLiteral("Ditte aggiunte all'anagrafica:"), run), 4, 0);
    rl->addWidget(companies_, 4, 1);
    rl->setColumnStretch(1, 1);
    outer->addWidget(run);

    auto *bb = new QHBoxLayout;
    start_ = new QPushButton(QStringLiteral("&Avvia"), this);
    close_ = new QPushButton(QStringLiteral("&Chiudi"), this);
    start_->setAutoDefault(false);
    close_->setAutoDefault(false);
    bb->addStretch();
    bb->addWidget(start_);
    bb->addWidget(close_);
    outer->addLayout(bb);

    connect(name_, &QLineEdit::textChanged, this, &RiportaForm::applyFilters);
    connect(codFisc_, &QLineEdit::textChanged, this, &RiportaForm::applyFilters);
    connect(sigla_, &QLineEdit::textEdited, this, [this](const QString &t) {
        const int pos = sigla_->cursorPosition();
        sigla_->setText(t.toUpper());
        sigla_->setCursorPosition(pos);
        if (t.isEmpty())
            applyChamber();
    });
    connect(sigla_, &QLineEdit::returnPressed, this, &RiportaForm::applyChamber);
    connect(sigla_, &QLineEdit::editingFinished, this, [this] {
        // Leaving the field applies a changed abbreviation once.
        if (sigla_->text().trimmed().toUpper() != sigla_->property("applied").toString())
            applyChamber();
    });
    connect(list_, &QTreeWidget::itemChanged, this, &RiportaForm::updateCount);
    connect(all_, &QPushButton::clicked, this, [this] { tickAll(true); });
    connect(none_, &QPushButton::clicked, this, [this] { tickAll(false); });
    connect(start_, &QPushButton::clicked, this, &RiportaForm::start);
    connect(close_, &QPushButton::clicked, this, &RiportaForm::closeOrCancel);

    fill();
    name_->setFocus();
}

void RiportaForm::fill()
{
    loaded_ = readPrevious(ctx_.db, ctx_.msg, lines_);
    bool setupHere = true, setupThere = false;
    if (loaded_) {
        anag::loadSetup(ctx_.db, dbClass::Which::Current, &setupHere);
        anag::loadSetup(ctx_.db, dbClass::Which::Previous, &setupThere);
    }
    // As in the user-data form: offered only while this year has none.
    setup_->setEnabled(loaded_ && !setupHere && setupThere);
    setup_->setChecked(false);
    if (loaded_ && !setup_->isEnabled())
        setup_->setToolTip(setupHere ? QStringLiteral("I dati dell'utente sono già presenti.")
                                     : QStringLiteral("L'archivio dell'anno precedente non contiene i dati dell'utente."));

    const QSignalBlocker block(list_);
    list_->clear();
    for (const Line &l : lines_) {
        auto *it = new QTreeWidgetItem(list_);
        it->setText(ColName, l.ragSoc);
        it->setText(ColCodFisc, l.codFisc);
        it->setText(ColUnit, (l.via + u' ' + l.civico).trimmed());
        it->setText(ColMunicipality, l.comDesc);
        it->setText(ColProvince, l.prvSigla);
        it->setText(ColCurrent, l.present ? QStringLiteral("già presente") : QString());
        it->setText(ColSchede, l.schede);
        it->setData(ColName, Qt::UserRole, l.saID);
        it->setFlags(it->flags() | Qt::ItemIsUserCheckable);
        it->setCheckState(ColName, Qt::Unchecked);
    }
    for (int c = 0; c < ColSchede; ++c)
        list_->resizeColumnToContents(c);
    if (list_->columnWidth(ColName) > 320)
        list_->setColumnWidth(ColName, 320);
    if (list_->topLevelItemCount() > 0)
        list_->setCurrentItem(list_->topLevelItem(0));
    for (QWidget *w : std::initializer_list<QWidget *>{name_, codFisc_, sigla_, all_, none_, start_, structure_})
        w->setEnabled(loaded_);
    updateCount();
}

void RiportaForm::applyFilters()
{
    filter_.name = name_->text();
    filter_.codFisc = codFisc_->text();
    for (int i = 0; i < list_->topLevelItemCount(); ++i)
        list_->topLevelItem(i)->setHidden(!matches(lines_.at(i), filter_));
    updateCount();
}

void RiportaForm::applyChamber()
{
    const QString sigla = sigla_->text().trimmed().toUpper();
    sigla_->setProperty("applied", sigla);
    filter_.chamber = 0;
    chamberLabel_->clear();
    if (!sigla.isEmpty()) {
        const refdata::Chamber c = refdata::competentChamber(ctx_.db, ctx_.msg, sigla);
        if (c.code == 0) {
            sigla_->selectAll();
            sigla_->setFocus();
        } else {
            filter_.chamber = c.code;
            chamberLabel_->setText(QStringLiteral("CCIAA di ") + c.desc);
        }
    }
    applyFilters();
}

void RiportaForm::updateCount()
{
    int shown = 0, on = 0;
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *it = list_->topLevelItem(i);
        if (it->isHidden())
            continue;
        ++shown;
        if (it->checkState(ColName) == Qt::Checked)
            ++on;
    }
    count_->setText(QStringLiteral("Dichiarazioni elencate: %1 di %2, selezionate: %3")
                        .arg(shown)
                        .arg(list_->topLevelItemCount())
                        .arg(on));
}

QList<qint64> RiportaForm::ticked() const
{
    QList<qint64> out;
    for (int i = 0; i < list_->topLevelItemCount(); ++i) {
        const QTreeWidgetItem *it = list_->topLevelItem(i);
        if (!it->isHidden() && it->checkState(ColName) == Qt::Checked)
            out << it->data(ColName, Qt::UserRole).toLongLong();
    }
    return out;
}

void RiportaForm::tickAll(bool on)
{
    {
        const QSignalBlocker block(list_);
        for (int i = 0; i < list_->topLevelItemCount(); ++i)
            if (QTreeWidgetItem *it = list_->topLevelItem(i); !it->isHidden())
                it->setCheckState(ColName, on ? Qt::Checked : Qt::Unchecked);
    }
    updateCount();
}

void RiportaForm::start()
{
    const QList<qint64> ids = ticked();
    const bool withSetup = setup_->isEnabled() && setup_->isChecked();
    if (ids.isEmpty() && !withSetup) {
        ctx_.msg.information(QStringLiteral("Attenzione, selezionare almeno una dichiarazione da riportare."));
        list_->setFocus();
        return;
    }
    // A damaged archive is not written into; a sound one may be copied first.
    if (!ctx_.db.checkIntegrity() || !shellgui::offerArchiveCopy(this, ctx_))
        return;
    Options o;
    o.structure = structure_->isChecked();
    o.setup = withSetup;
    running_ = true;
    cancel_ = false;
    for (QWidget *w : std::initializer_list<QWidget *>{name_, codFisc_, sigla_, list_, all_, none_, start_, structure_, setup_})
        w->setEnabled(false);
    close_->setText(QStringLiteral("&Annulla"));
    close_->setFocus();
    taken_->clear();
    skipped_->clear();
    companies_->clear();
    status_->setText(QStringLiteral("Dichiarazione in fase di riporto"));
    bar_->setMaximum(qMax(1, int(ids.size())));
    bar_->setValue(0);
    const Result r = run(ctx_, ids, o, [this](int done, int total) {
        bar_->setMaximum(qMax(1, total));
        bar_->setValue(done);
        QApplication::processEvents();
        return !cancel_;
    });
    running_ = false;
    close_->setText(QStringLiteral("&Chiudi"));
    taken_->setText(QString::number(r.taken));
    skipped_->setText(QString::number(r.skipped));
    companies_->setText(QString::number(r.companies));
    QString text = r.status == Result::Done        ? QStringLiteral("Operazione terminata")
                   : r.status == Result::Cancelled ? QStringLiteral("Operazione interrotta")
                                                   : QStringLiteral("Operazione non completata");
    if (r.setup == Result::Setup::Taken)
        text += QStringLiteral(": riportati anche i dati dell'utente");
    status_->setText(text);
    if (!r.newIds.isEmpty())
        Q_EMIT ui::Events::instance().declarationSaved(r.newIds.first());
    // The list is read again, with the same filters: what was taken over is
    // now marked as present and nothing is ticked.
    QTreeWidgetItem *current = list_->currentItem();
    const qint64 currentId = current ? current->data(ColName, Qt::UserRole).toLongLong() : 0;
    list_->setEnabled(true);
    fill();
    applyFilters();
    for (int i = 0; i < list_->topLevelItemCount(); ++i)
        if (list_->topLevelItem(i)->data(ColName, Qt::UserRole).toLongLong() == currentId)
            list_->setCurrentItem(list_->topLevelItem(i));
    list_->setFocus();
}

void RiportaForm::closeEvent(QCloseEvent *e)
{
    // Closing while the run goes on stops it between two declarations.
    if (running_) {
        cancel_ = true;
        e->ignore();
        return;
    }
    e->accept();
}

void RiportaForm::closeOrCancel()
{
    if (running_) {
        cancel_ = true;
        return;
    }
    closeHost(this);
}

QWidget *makeRiportaForm(AppContext &ctx, QWidget *parent)
{
    return new RiportaForm(ctx, parent);
}

} // namespace takeover::gui
