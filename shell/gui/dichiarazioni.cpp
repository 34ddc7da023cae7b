#include "shell/gui/dichiarazioni.h"

#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/qorclass.h"

#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSqlQuery>
#include <QTreeWidget>
#include <QVBoxLayout>

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
    connect(sa1, &QPushButton::clicked, this, [this] { Q_EMIT openRequested(Form::SA1); });
    connect(ditte, &QPushButton::clicked, this, [this] { Q_EMIT openRequested(Form::Anagrafiche); });
    tree_ = new QTreeWidget(this);
    tree_->setRootIsDecorated(false);
    tree_->setMinimumWidth(360);
    tree_->setAlternatingRowColors(true);
    tree_->setHeaderLabels({QStringLiteral("Dichiarazione"), QStringLiteral("Codice fiscale"),
                            QStringLiteral("Prov."), QStringLiteral("Esportata")});
    // Columns fit their content after each reload; the user may still widen them.
    tree_->header()->setSectionResizeMode(QHeaderView::Interactive);
    tree_->header()->setStretchLastSection(false);
    tree_->header()->setResizeContentsPrecision(500);
    tree_->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
    lay->addWidget(tree_);
    connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { selectionMoved(); });
    connect(tree_, &QTreeWidget::itemActivated, this, [this] { Q_EMIT openRequested(Form::SA1); });
    connect(filter_, &QLineEdit::textChanged, this, &DeclarationList::applyFilter);
    filter_->installEventFilter(this);
    current_ = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
}

bool DeclarationList::eventFilter(QObject *o, QEvent *e)
{
    // From the search field, Down and Enter go on into the list.
    if (o == filter_ && e->type() == QEvent::KeyPress) {
        const int k = static_cast<QKeyEvent *>(e)->key();
        if (k == Qt::Key_Down || k == Qt::Key_Return || k == Qt::Key_Enter) {
            tree_->setFocus(Qt::TabFocusReason);
            if (auto *it = tree_->currentItem())
                tree_->scrollToItem(it);
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void DeclarationList::applyFilter(const QString &t)
{
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        auto *it = tree_->topLevelItem(i);
        it->setHidden(!t.isEmpty() && !it->text(0).contains(t, Qt::CaseInsensitive)
                      && !it->text(1).contains(t, Qt::CaseInsensitive));
    }
    // A hidden declaration never stays the current one.
    settle(current_);
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
    tree_->blockSignals(true);
    tree_->clear();
    if (ctx_.db.isCurrentOpen()) {
        bool ok = false;
        QSqlQuery q = ctx_.db.query(
            QStringLiteral("SELECT SezAnag.saID, SezAnag.RagSoc, SezAnag.CodFisc, Comuni.comDesc, "
                           "Province.prvSigla, SezAnag.Via, SezAnag.Civico, SezAnag.ExpID "
                           "FROM (SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = Comuni.prvIstat "
                           "AND SezAnag.comIstat = Comuni.comIstat)) LEFT JOIN Province ON "
                           "SezAnag.prvIstat = Province.prvIstat "
                           "ORDER BY SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.saID"),
            {}, dbClass::Which::Current, &ok);
        QList<QTreeWidgetItem *> items;
        while (ok && q.next()) {
            auto *it = new QTreeWidgetItem;
            it->setData(0, Qt::UserRole, q.value(0).toLongLong());
            it->setText(0, label(q.value(1).toString(), q.value(3).toString(), q.value(5).toString(),
                                 q.value(6).toString()));
            it->setText(1, q.value(2).toString());
            it->setText(2, q.value(4).toString());
            it->setText(3, q.value(7).toLongLong() ? QStringLiteral("sì") : QString());
            items << it;
        }
        tree_->addTopLevelItems(items);
    }
    tree_->blockSignals(false);
    sizeColumns();
    // The settings hold the current declaration: a change of database has
    // reset it there.
    const qint64 stored = ctx_.db.isCurrentOpen() ? ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")) : 0;
    applyFilter(filter_->text());
    settle(stored);
}

void DeclarationList::sizeColumns()
{
    for (int c = 0; c < tree_->columnCount(); ++c)
        tree_->resizeColumnToContents(c);
}

void DeclarationList::setCurrentId(qint64 saID)
{
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        auto *it = tree_->topLevelItem(i);
        if (it->data(0, Qt::UserRole).toLongLong() == saID && it->isHidden()) {
            // A form moved to a declaration the search hides: the search goes.
            filter_->blockSignals(true);
            filter_->clear();
            filter_->blockSignals(false);
            for (int j = 0; j < tree_->topLevelItemCount(); ++j)
                tree_->topLevelItem(j)->setHidden(false);
            break;
        }
    }
    settle(saID);
}

void DeclarationList::settle(qint64 wanted)
{
    QTreeWidgetItem *pick = nullptr, *first = nullptr;
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        auto *it = tree_->topLevelItem(i);
        if (it->isHidden())
            continue;
        if (!first)
            first = it;
        if (it->data(0, Qt::UserRole).toLongLong() == wanted) {
            pick = it;
            break;
        }
    }
    if (!pick)
        pick = first;
    tree_->blockSignals(true);
    if (pick) {
        tree_->setCurrentItem(pick);
        tree_->scrollToItem(pick);
    } else {
        tree_->setCurrentItem(nullptr);
        tree_->clearSelection();
    }
    tree_->blockSignals(false);
    selectionMoved();
}

void DeclarationList::selectionMoved()
{
    auto *it = tree_->currentItem();
    if (it && it->isHidden())
        it = nullptr;
    const qint64 id = it ? it->data(0, Qt::UserRole).toLongLong() : 0;
    const bool open = ctx_.db.isCurrentOpen();
    const qint64 stored = open ? ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")) : 0;
    if (id == current_ && id == stored)
        return;
    current_ = id;
    if (open && id != stored)
        ctx_.app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(id));
    Q_EMIT currentChanged(id);
}
