#include "sections/imb/gui/imbform.h"

#include "sections/codes.h"
#include "sections/rif/gui/formkit.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/rif/scheda.h"
#include "shell/messages.h"
#include "shell/qty.h"
#include "ui/desktop.h"
#include "ui/controls.h"
#include "ui/events.h"
#include "ui/recordform.h"
#include "ui/fieldform.h"
#include "verify/rules.h"

#include <QCloseEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QPushButton>
#include <QTabWidget>
#include <QVBoxLayout>

namespace imbgui {

namespace {

const QString Placeholder = QStringLiteral("[nuovo]");
enum Column { ColCode, ColDesc, ColQta, ColUnit };

} // namespace

WasteGrid::WasteGrid(AppContext &ctx, int posizione, QWidget *parent)
    : QTableWidget(0, 4, parent), ctx_(ctx), pos_(posizione)
{
    setObjectName(QStringLiteral("grid%1").arg(posizione));
    setHorizontalHeaderLabels({QStringLiteral("Cod. CER"), QStringLiteral("Descrizione"), QStringLiteral("Quantità"),
                               QString()});
    horizontalHeader()->setSectionResizeMode(ColDesc, QHeaderView::Stretch);
    setColumnWidth(ColCode, 90);
    setColumnWidth(ColQta, 120);
    setColumnWidth(ColUnit, 60);
    verticalHeader()->hide();
    setSelectionMode(QAbstractItemView::SingleSelection);
    setItemDelegateForColumn(ColQta, new ui::QtyDelegate(ctx.msg, this));
    connect(this, &QTableWidget::cellChanged, this, &WasteGrid::cellEdited);
    connect(this, &QTableWidget::currentCellChanged, this, [this] { Q_EMIT status(statusText()); });
    addPlaceholder();
}

void WasteGrid::addPlaceholder()
{
    filling_ = true;
    const int line = rowCount();
    insertRow(line);
    setItem(line, ColCode, new QTableWidgetItem(Placeholder));
    for (int c : {ColDesc, ColQta, ColUnit}) {
        auto *it = new QTableWidgetItem;
        it->setFlags(it->flags() & ~Qt::ItemIsEditable);
        setItem(line, c, it);
    }
    filling_ = false;
}

void WasteGrid::setLine(int line, const imb::Row &r)
{
    filling_ = true;
    auto *code = item(line, ColCode);
    code->setText(imb::displayCode(r.rifCod, r.allAcc));
    code->setData(Qt::UserRole, r.id);
    item(line, ColDesc)->setText(waste::wasteDescription(ctx_, r.rifCod));
    auto *qta = item(line, ColQta);
    qta->setFlags(qta->flags() | Qt::ItemIsEditable);
    qta->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
    qta->setText(Qty::fromMilli(r.qta).format(3));
    if (!cellWidget(line, ColUnit)) {
        auto *u = new ui::ComboKgt(this);
        // The grid keeps the keyboard: K, T or F4 on the unit cell choose.
        u->setFocusPolicy(Qt::NoFocus);
        connect(u, &QComboBox::currentIndexChanged, this, [this] {
            if (!filling_)
                Q_EMIT edited();
        });
        setCellWidget(line, ColUnit, u);
    }
    qobject_cast<ui::ComboKgt *>(cellWidget(line, ColUnit))->setCode(r.umi);
    filling_ = false;
}

void WasteGrid::setRows(const QVector<imb::Row> &rows)
{
    filling_ = true;
    setRowCount(0);
    filling_ = false;
    for (const imb::Row &r : rows) {
        if (r.posizione != pos_)
            continue;
        addPlaceholder();
        setLine(rowCount() - 1, r);
    }
    addPlaceholder();
}

QVector<imb::Row> WasteGrid::rows() const
{
    QVector<imb::Row> out;
    for (int line = 0; line + 1 < rowCount(); ++line) {
        imb::Row r;
        r.posizione = pos_;
        r.id = item(line, ColCode)->data(Qt::UserRole).toLongLong();
        imb::parseCode(item(line, ColCode)->text(), &r.rifCod, &r.allAcc);
        r.qta = Qty::parse(item(line, ColQta)->text()).value_or(Qty()).toMilli();
        if (auto *u = qobject_cast<ui::ComboKgt *>(cellWidget(line, ColUnit)))
            r.umi = u->code();
        out << r;
    }
    return out;
}

bool WasteGrid::enterCode(int line, const QString &typed)
{
    QVector<imb::Row> others = rows();
    if (line < others.size())
        others.remove(line);
    const bool ok = check_ ? check_(pos_, typed, others) : imb::codeEntry(ctx_, pos_, typed, others);
    if (!ok)
        return false;
    imb::Row r;
    r.posizione = pos_;
    imb::parseCode(typed, &r.rifCod, &r.allAcc);
    const bool added = line == rowCount() - 1;
    if (!added) {
        const imb::Row old = rows().at(line);
        r.id = old.id;
        r.qta = old.qta;
        r.umi = old.umi;
    }
    setLine(line, r);
    if (added)
        addPlaceholder();
    Q_EMIT edited();
    return true;
}

void WasteGrid::cellEdited(int line, int column)
{
    if (filling_)
        return;
    if (column == ColQta) {
        const auto q = Qty::parse(item(line, ColQta)->text());
        filling_ = true;
        item(line, ColQta)->setText(q.value_or(Qty()).format(3));
        filling_ = false;
        Q_EMIT edited();
        return;
    }
    if (column != ColCode)
        return;
    const QString typed = item(line, ColCode)->text().trimmed();
    const bool isNew = line == rowCount() - 1;
    const QString before = isNew ? Placeholder : imb::displayCode(rows().at(line).rifCod, rows().at(line).allAcc);
    // The code cell of a stored row keeps what it had; only the value typed
    // over it is checked.
    if (typed == before || (isNew && typed.isEmpty()) || !enterCode(line, typed)) {
        filling_ = true;
        item(line, ColCode)->setText(before);
        filling_ = false;
    }
}

void WasteGrid::pickCode()
{
    const int line = currentRow() < 0 ? rowCount() - 1 : currentRow();
    QString code;
    if (check_) {
        code = ui::pickWasteCode(ctx_, this);
    } else {
        // Scheda IMB: 150104 is chosen with its metal, as it is typed.
        ui::ListWindow w(QStringLiteral("Tabella rifiuti"),
                         {QStringLiteral("Codice"), QStringLiteral("Classe"), QStringLiteral("Descrizione")}, this);
        for (const refdata::PickRow &r : imb::wasteTable(ctx_))
            w.addRow({r.code, r.extra, r.desc}, r.code);
        if (w.exec() == QDialog::Accepted)
            code = w.chosen().toString();
    }
    if (!code.isEmpty())
        enterCode(line, code);
}

bool WasteGrid::removeLine(int line, qint64 siID)
{
    if (line < 0 || line >= rowCount() - 1)
        return false;
    const imb::Row r = rows().at(line);
    if (!(remove_ ? remove_(r) : imb::removeRow(ctx_, siID, r)))
        return false;
    filling_ = true;
    removeRow(line);
    filling_ = false;
    Q_EMIT edited();
    return true;
}

QString WasteGrid::statusText() const
{
    if (currentRow() >= 0 && currentRow() < rowCount() - 1)
        return QStringLiteral("Premere il tasto <CANC> per eliminare il rifiuto");
    return QStringLiteral("Inserire codice rifiuto o tasto <INS> per lista rifiuti");
}

bool WasteGrid::focusNextPrevChild(bool next)
{
    // Tab moves from cell to cell; past the last cell (Shift+Tab: before the
    // first) it goes on to the next field instead of starting over.
    const QModelIndex c = currentIndex();
    const bool atEdge = !c.isValid()
                        || (next ? c.row() == rowCount() - 1 && c.column() == columnCount() - 1
                                 : c.row() == 0 && c.column() == 0);
    if (atEdge && state() != QAbstractItemView::EditingState)
        return QWidget::focusNextPrevChild(next);
    return QTableWidget::focusNextPrevChild(next);
}

void WasteGrid::keyPressEvent(QKeyEvent *e)
{
    if (currentColumn() == ColUnit && e->modifiers() == Qt::NoModifier) {
        if (auto *u = qobject_cast<ui::ComboKgt *>(cellWidget(currentRow(), ColUnit))) {
            if (e->key() == Qt::Key_K || e->key() == Qt::Key_T) {
                u->setCode(e->key() == Qt::Key_K ? 1 : 2);
                return;
            }
            if (e->key() == Qt::Key_F4 || e->key() == Qt::Key_Space) {
                u->showPopup();
                return;
            }
        }
    }
    if (e->key() == Qt::Key_Insert) {
        pickCode();
        return;
    }
    if (e->key() == Qt::Key_Delete && state() != QAbstractItemView::EditingState) {
        auto *form = qobject_cast<ImbForm *>(window());
        removeLine(currentRow(), form ? form->schedaId() : 0);
        return;
    }
    QTableWidget::keyPressEvent(e);
}

// ---- the scheda ----

ImbForm::ImbForm(AppContext &ctx, qint64 saID, QWidget *parent)
    : QWidget(parent), ctx_(ctx), saID_(saID)
{
    setObjectName(QStringLiteral("SezImb"));
    setWindowTitle(QStringLiteral("Scheda IMB - Gestione rifiuti da imballaggio"));
    auto *outer = new QVBoxLayout(this);
    ff_ = new ui::FieldForm(ctx, wastegui::laidOut(imb::schedaFields()), this);
    ff_->hide();
    tabs_ = new QTabWidget(this);
    outer->addWidget(tabs_, 1);

    auto gridBox = [this](int pos, QWidget *page) {
        auto *box = new QGroupBox(imb::groupCaption(pos), page);
        auto *l = new QVBoxLayout(box);
        auto *g = new WasteGrid(ctx_, pos, box);
        l->addWidget(g);
        grids_.append(g);
        connect(g, &WasteGrid::edited, this, [this] { setModified(true); });
        connect(g, &WasteGrid::status, this, [this](const QString &t) { status_->setText(t); });
        return box;
    };
    auto moduleButton = [this](int tipo, const char *caption, QWidget *page) {
        auto *b = new QPushButton(QString::fromUtf8(caption), page);
        b->setObjectName(imb::module(tipo).code);
        b->setAutoDefault(false);
        connect(b, &QPushButton::clicked, this, [this, tipo] { openModules(tipo); });
        modules_.append(b);
        return b;
    };

    // "Rifiuto ricevuto"
    auto *received = new QWidget(tabs_);
    auto *rl = new QVBoxLayout(received);
    rl->addWidget(gridBox(codes::ImbPublic, received));
    rl->addWidget(gridBox(codes::ImbPrivate, received));
    auto *rtRow = new QHBoxLayout;
    rtRow->addStretch();
    rtRow->addWidget(moduleButton(codes::RT, "Moduli RT-IMB", received));
    rl->addLayout(rtRow);
    tabs_->addTab(received, QStringLiteral("Rifiuto ricevuto"));

    // "Rifiuto prodotto"
    auto *produced = new QWidget(tabs_);
    auto *pl = new QVBoxLayout(produced);
    pl->addWidget(gridBox(codes::ImbMonomaterial, produced));
    pl->addWidget(gridBox(codes::ImbMultimaterial, produced));
    tabs_->addTab(produced, QStringLiteral("Rifiuto prodotto"));

    // "Destinazione del rifiuto"
    auto *dest = new QWidget(tabs_);
    auto *dl = new QVBoxLayout(dest);
    QGroupBox *terzi = ff_->groupBox(QStringLiteral("Rifiuto consegnato a terzi"));
    dl->addWidget(terzi);
    if (auto *g = ff_->groupGrid(QStringLiteral("Rifiuto consegnato a terzi")))
        g->addWidget(moduleButton(codes::DR, "Moduli DR-IMB", terzi), 0, 2);
    auto *te = new QGroupBox(QStringLiteral("Vettori che hanno trasportato il rifiuto"), dest);
    auto *tl = new QHBoxLayout(te);
    tl->addStretch();
    tl->addWidget(moduleButton(codes::TE, "Moduli TE-IMB", te));
    dl->addWidget(te);
    dl->addWidget(ff_->groupBox(QStringLiteral("Rifiuti in giacenza al 31/12")));
    dl->addStretch();
    tabs_->addTab(dest, QStringLiteral("Destinazione del rifiuto"));

    // "Riepilogo attività"
    auto *summary = new QWidget(tabs_);
    auto *sl = new QVBoxLayout(summary);
    auto *mg = new QGroupBox(QStringLiteral("Attività di recupero o smaltimento svolte nell'unità locale"), summary);
    auto *ml = new QHBoxLayout(mg);
    ml->addStretch();
    ml->addWidget(moduleButton(codes::MG, "Moduli MG-IMB", mg));
    sl->addWidget(mg);
    QGroupBox *ms = ff_->groupBox(QStringLiteral("Materiali secondari"));
    if (auto *g = ff_->groupGrid(QStringLiteral("Materiali secondari")))
        g->addWidget(new QLabel(QStringLiteral("ai sensi dell'Art. 184-TER del D.L.GS. N. 152/2006"), ms),
                     g->rowCount(), 0, 1, 2);
    sl->addWidget(ms);
    sl->addStretch();
    tabs_->addTab(summary, QStringLiteral("Riepilogo attività"));
    connect(ff_, &ui::FieldForm::modifiedChanged, this, [this](bool m) {
        if (m)
            setModified(true);
    });

    auto *buttons = new QHBoxLayout;
    save_ = new QPushButton(QStringLiteral("Sal&va scheda"), this);
    delete_ = new QPushButton(QStringLiteral("Eli&mina scheda"), this);
    close_ = new QPushButton(QStringLiteral("&Chiudi"), this);
    buttons->addWidget(save_);
    buttons->addWidget(delete_);
    buttons->addStretch();
    buttons->addWidget(close_);
    outer->addLayout(buttons);
    status_ = new QLabel(grids_.first()->statusText(), this);
    status_->setObjectName(QStringLiteral("status"));
    status_->setFrameShape(QFrame::StyledPanel);
    outer->addWidget(status_);
    connect(save_, &QPushButton::clicked, this, &ImbForm::save);
    ui::addShortcut(save_, QKeySequence::Save);
    connect(delete_, &QPushButton::clicked, this, &ImbForm::removeScheda);
    connect(close_, &QPushButton::clicked, this, &QWidget::close);

    load();
    resize(820, 640);
}

void ImbForm::load()
{
    siID_ = imb::schedaId(ctx_, saID_);
    ff_->setRecord(siID_ ? imb::load(ctx_, siID_) : imb::blank());
    const QVector<imb::Row> rows = siID_ ? imb::loadRows(ctx_, siID_) : QVector<imb::Row>{};
    for (WasteGrid *g : grids_)
        g->setRows(rows);
    ff_->setModified(false);
    setModified(false);
}

void ImbForm::setModified(bool m)
{
    modified_ = m;
    updateButtons();
}

void ImbForm::updateButtons()
{
    save_->setEnabled(modified_);
    delete_->setEnabled(siID_ > 0);
    for (QPushButton *b : modules_)
        b->setEnabled(siID_ > 0);
}

bool ImbForm::save()
{
    QVector<imb::Row> rows;
    for (WasteGrid *g : grids_)
        rows += g->rows();
    const fields::Record r = ff_->record();
    if (imb::saveCheck(ctx_, r, rows) >= 0)
        return false;
    const qint64 id = imb::save(ctx_, saID_, siID_, r, rows);
    if (id <= 0)
        return false;
    load();
    Q_EMIT ui::Events::instance().sectionsChanged(saID_);
    return true;
}

void ImbForm::removeScheda()
{
    if (siID_ > 0 && imb::remove(ctx_, siID_)) {
        load();
        Q_EMIT ui::Events::instance().sectionsChanged(saID_);
    }
}

QWidget *ImbForm::openModules(int tipoMod, int choice)
{
    if (siID_ <= 0)
        return nullptr;
    const QVector<imb::Attachable> codesFound = imb::attachable(ctx_, siID_, tipoMod);
    if (codesFound.isEmpty()) {
        ctx_.msg.information(imb::noWasteMessage());
        return nullptr;
    }
    const waste::ModuleKind &m = imb::module(tipoMod);
    if (choice < 0) {
        ui::ListWindow w(QStringLiteral("Lista dei rifiuti - Moduli ") + m.code,
                         {QStringLiteral("Rifiuto"), QStringLiteral("Quantità (Kg)"), QStringLiteral("Moduli")}, this);
        for (int i = 0; i < codesFound.size(); ++i)
            w.addRow({codesFound[i].label, Qty::fromMilli(codesFound[i].totQta).format(3),
                      QString::number(codesFound[i].moduli)},
                     i);
        if (w.exec() != QDialog::Accepted || !w.chosen().isValid())
            return nullptr;
        choice = w.chosen().toInt();
    }
    if (choice >= codesFound.size())
        return nullptr;
    const imb::Attachable &a = codesFound[choice];
    auto *f = new wastegui::ModuleForm(ctx_, m, siID_, a.rifCod, nullptr, a.attachment());
    f->setWindowTitle(m.title + QStringLiteral(" - ") + a.label);
    const qint64 saID = saID_;
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(f, &ui::RecordForm::saved, this, changed);
    if (tipoMod == codes::RT) {
        // The RT-IMB modules of the row against its quantity: a difference is
        // told, the verification weighs it.
        AppContext *c = &ctx_;
        const qint64 siID = siID_;
        const QString code = a.rifCod;
        const int surface = a.surface;
        connect(f, &ui::RecordForm::saved, f, [c, siID, code, surface] {
            if (!imb::rtRowBalance(*c, siID, code, surface).matches())
                c->msg.information(verify::imb::receivedBalanceText(surface).join(u'\n'));
        });
    }
    connect(f, &ui::RecordForm::removed, this, changed);
    wastegui::showModuleWindow(ctx_, this, f, m.code);
    return f;
}

void ImbForm::closeEvent(QCloseEvent *e)
{
    if (modified_) {
        if (ctx_.msg.question(QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?")) && !save()) {
            e->ignore();
            return;
        }
    }
    e->accept();
}

QWidget *makeImbForm(AppContext &ctx, QWidget *parent)
{
    return new ImbForm(ctx, wastegui::currentDeclaration(ctx), parent);
}

} // namespace imbgui
