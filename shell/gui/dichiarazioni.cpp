#include "shell/gui/dichiarazioni.h"

#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/gui/declmodel.h"
#include "shell/qorclass.h"

#include <QApplication>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QScrollBar>
#include <QSqlQuery>
#include <QStyle>
#include <QTableView>
#include <QTimer>
#include <QVBoxLayout>
#include <utility>

namespace {
// A table moved through as a list: the current cell stays in the first
// column, Home and End go to the first and the last row, Left and Right
// scroll the columns into view.
class ListView : public QTableView {
public:
    using QTableView::QTableView;

protected:
    QModelIndex moveCursor(CursorAction a, Qt::KeyboardModifiers m) override
    {
        switch (a) {
        case MoveHome:
            return model()->index(0, 0);
        case MoveEnd:
            return model()->index(model()->rowCount() - 1, 0);
        case MoveLeft:
        case MoveRight:
            horizontalScrollBar()->triggerAction(a == MoveLeft ? QAbstractSlider::SliderPageStepSub
                                                               : QAbstractSlider::SliderPageStepAdd);
            return currentIndex();
        default: {
            const QModelIndex i = QTableView::moveCursor(a, m);
            return i.isValid() ? i.siblingAtColumn(0) : i;
        }
        }
    }
};
} // namespace

DeclarationList::DeclarationList(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    auto *lay = new QVBoxLayout(this);
    lay->setContentsMargins(4, 4, 4, 4);
    auto *lab = new QLabel(QStringLiteral("&Cerca:"), this);
    filter_ = new QLineEdit(this);
    filter_->setPlaceholderText(QStringLiteral("ragione sociale o codice fiscale"));
    filter_->setClearButtonEnabled(true);
    lab->setBuddy(filter_);
    auto *row = new QHBoxLayout;
    row->addWidget(lab);
    row->addWidget(filter_);
    lay->addLayout(row);
    auto *buttons = new QHBoxLayout;
    auto *sa1 = new QPushButton(QStringLiteral("&Apri SA1"), this);
    sa1->setToolTip(QStringLiteral("Apre la sezione anagrafica della dichiarazione scelta"));
    auto *ditte = new QPushButton(QStringLiteral("Anagrafiche &ditte"), this);
    ditte->setToolTip(QStringLiteral("Archivio delle ditte"));
    buttons->addWidget(sa1);
    buttons->addWidget(ditte);
    buttons->addStretch();
    lay->addLayout(buttons);
    keyed_ = {{lab, lab->text()}, {sa1, sa1->text()}, {ditte, ditte->text()}};
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget *, QWidget *now) {
        // No focus (the form that had it closed): the panel's keys again.
        if (now && now->window() != window())
            return;
        bool inForm = false;
        for (QWidget *w = now; w && !inForm; w = w->parentWidget())
            inForm = qobject_cast<QMdiSubWindow *>(w) != nullptr;
        setAccessKeys(!inForm);
    });
    connect(sa1, &QPushButton::clicked, this, [this] { Q_EMIT openRequested(Form::SA1); });
    connect(ditte, &QPushButton::clicked, this, [this] { Q_EMIT openRequested(Form::Anagrafiche); });
    model_ = new DeclarationModel(ctx_.db, this);
    view_ = new ListView(this);
    view_->setModel(model_);
    view_->setMinimumWidth(200); // the dock may be narrow: the columns scroll
    view_->setAlternatingRowColors(true);
    view_->setShowGrid(false);
    view_->setWordWrap(false);
    view_->setSelectionBehavior(QAbstractItemView::SelectRows);
    view_->setSelectionMode(QAbstractItemView::SingleSelection);
    view_->setEditTriggers(QAbstractItemView::NoEditTriggers);
    view_->setTabKeyNavigation(false); // Tab leaves the list
    view_->verticalHeader()->hide();
    // Rows of one height: the view never measures the rows it does not show.
    view_->verticalHeader()->setSectionResizeMode(QHeaderView::Fixed);
    view_->verticalHeader()->setDefaultSectionSize(view_->fontMetrics().height() + 6);
    // Sizing the columns reads the rows around those shown, not the whole list.
    view_->verticalHeader()->setResizeContentsPrecision(DeclarationModel::PageSize);
    // Columns fit their content after each reload and widen as further rows
    // are read; the user may still widen them.
    view_->horizontalHeader()->setSectionResizeMode(QHeaderView::Interactive);
    view_->horizontalHeader()->setStretchLastSection(false);
    view_->horizontalHeader()->setHighlightSections(false);
    view_->horizontalHeader()->setDefaultAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    view_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    lay->addWidget(view_);
    connect(view_->selectionModel(), &QItemSelectionModel::currentRowChanged, this, [this] {
        if (!settling_)
            selectionMoved();
    });
    connect(view_, &QAbstractItemView::activated, this, [this] { Q_EMIT openRequested(Form::SA1); });
    connect(model_, &DeclarationModel::pageRead, this, &DeclarationList::widenColumns, Qt::QueuedConnection);
    searchDelay_ = new QTimer(this);
    searchDelay_->setSingleShot(true);
    searchDelay_->setInterval(SearchDelayMs);
    connect(searchDelay_, &QTimer::timeout, this, &DeclarationList::searchNow);
    // A keystroke signals textEdited before textChanged; the clear button and
    // setText signal textChanged alone (or first).
    connect(filter_, &QLineEdit::textEdited, this, &DeclarationList::typed);
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString &t) {
        if (std::exchange(typing_, false))
            return;
        searchDelay_->stop();
        applyFilter(t);
    });
    filter_->installEventFilter(this);
    current_ = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
}

bool DeclarationList::eventFilter(QObject *o, QEvent *e)
{
    // From the search field, Down and Enter go on into the list.
    if (o == filter_ && e->type() == QEvent::KeyPress) {
        const int k = static_cast<QKeyEvent *>(e)->key();
        if (k == Qt::Key_Down || k == Qt::Key_Return || k == Qt::Key_Enter) {
            if (searchPending())
                searchNow();
            view_->setFocus(Qt::TabFocusReason);
            if (view_->currentIndex().isValid())
                view_->scrollTo(view_->currentIndex());
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void DeclarationList::typed()
{
    typing_ = true;
    searchDelay_->start();
}

bool DeclarationList::searchPending() const
{
    return searchDelay_->isActive();
}

void DeclarationList::searchNow()
{
    searchDelay_->stop();
    if (filter_->text() != model_->filter())
        applyFilter(filter_->text());
}

void DeclarationList::applyFilter(const QString &t)
{
    model_->reload(t);
    // A declaration the search hides never stays the current one.
    settle(current_);
}

int DeclarationList::rowCount() const
{
    return model_->rowCount();
}

QString DeclarationList::rowText(int row, int column) const
{
    return model_->text(row, column);
}

qint64 DeclarationList::rowId(int row) const
{
    return model_->idAt(row);
}

void DeclarationList::chooseRow(int row)
{
    view_->setCurrentIndex(model_->index(row, 0));
}

int DeclarationList::highlightedRow() const
{
    // One row at a time is selected, and it is the current one.
    const QModelIndex i = view_->currentIndex();
    return i.isValid() ? i.row() : -1;
}

QString DeclarationList::label(const QString &ragSoc, const QString &comDesc, const QString &via,
                               const QString &civico)
{
    QString ul = via;
    if (!civico.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(" ")) + civico;
    if (!comDesc.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(", ")) + comDesc;
    return ragSoc + QStringLiteral(" - U. L.: ") + ul;
}

void DeclarationList::reload()
{
    settling_ = true;
    model_->reload(filter_->text());
    settling_ = false;
    sizeColumns();
    // The settings hold the current declaration: a change of database has
    // reset it there.
    const qint64 stored = ctx_.db.isCurrentOpen() ? ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")) : 0;
    settle(stored);
}

void DeclarationList::sizeColumns()
{
    view_->resizeColumnsToContents();
}

void DeclarationList::widenColumns(int firstRow, int count)
{
    const QFontMetrics fm = view_->fontMetrics();
    // The text margins of the item delegate, on both sides.
    const int margin = 2 * (view_->style()->pixelMetric(QStyle::PM_FocusFrameHMargin, nullptr, view_) + 1) + 1;
    for (int c = 0; c < model_->columnCount(); ++c) {
        int need = 0;
        for (int r = firstRow; r < firstRow + count && r < model_->rowCount(); ++r)
            need = std::max(need, fm.horizontalAdvance(model_->text(r, c)) + margin);
        if (need > view_->columnWidth(c))
            view_->setColumnWidth(c, need);
    }
}

void DeclarationList::setCurrentId(qint64 saID)
{
    if (!filter_->text().isEmpty() && ctx_.db.isCurrentOpen() && model_->rowOf(saID) < 0
        && ctx_.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE saID = ?"), {saID}).toInt() > 0) {
        // A form moved to a declaration the search hides: the search goes.
        filter_->blockSignals(true);
        filter_->clear();
        filter_->blockSignals(false);
        settling_ = true;
        model_->reload(QString());
        settling_ = false;
    }
    settle(saID);
}

void DeclarationList::settle(qint64 wanted)
{
    int row = model_->rowOf(wanted);
    if (row < 0 && model_->rowCount() > 0)
        row = 0;
    settling_ = true;
    if (row >= 0) {
        const QModelIndex i = model_->index(row, 0);
        view_->selectionModel()->setCurrentIndex(i, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        view_->scrollTo(i);
    } else {
        view_->selectionModel()->clear();
    }
    settling_ = false;
    selectionMoved();
}

void DeclarationList::selectionMoved()
{
    const int row = highlightedRow();
    const qint64 id = row >= 0 ? model_->idAt(row) : 0;
    const bool open = ctx_.db.isCurrentOpen();
    const qint64 stored = open ? ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")) : 0;
    if (id == current_ && id == stored)
        return;
    current_ = id;
    if (open && id != stored)
        ctx_.app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(id));
    Q_EMIT currentChanged(id);
}

void DeclarationList::setAccessKeys(bool on)
{
    for (const Keyed &k : keyed_) {
        QString text = k.text;
        if (!on)
            text.remove(u'&');
        if (auto *l = qobject_cast<QLabel *>(k.widget); l && l->text() != text)
            l->setText(text);
        else if (auto *b = qobject_cast<QAbstractButton *>(k.widget); b && b->text() != text)
            b->setText(text);
    }
}
