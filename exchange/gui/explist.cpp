#include "exchange/gui/explist.h"

#include "exchange/exportproc.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace exch::gui {

ExpList::ExpList(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Lista delle esportazioni effettuate"));
    auto *lay = new QVBoxLayout(this);
    tree_ = new QTreeWidget(this);
    tree_->setRootIsDecorated(false);
    tree_->setAlternatingRowColors(true);
    tree_->setHeaderLabels({QStringLiteral("Data"), QStringLiteral("Provincia / dichiarazione"),
                            QStringLiteral("Dichiarazioni")});
    tree_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    lay->addWidget(tree_);
    auto *row = new QHBoxLayout;
    delete_ = new QPushButton(QStringLiteral("&Elimina"), this);
    auto *close = new QPushButton(QStringLiteral("&Chiudi"), this);
    row->addStretch();
    row->addWidget(delete_);
    row->addWidget(close);
    lay->addLayout(row);
    connect(delete_, &QPushButton::clicked, this, &ExpList::deleteSelected);
    connect(close, &QPushButton::clicked, this, [this] { if (parentWidget()) parentWidget()->close(); else this->close(); });
    connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { delete_->setEnabled(tree_->currentItem()); });
    resize(620, 360);
    reload();
}

void ExpList::reload()
{
    tree_->clear();
    for (const ExportLogRow &r : exportHistory(ctx_.db)) {
        auto *it = new QTreeWidgetItem(tree_, {r.date, r.destination, QString::number(r.declarations)});
        it->setData(0, Qt::UserRole, r.expID);
        it->setTextAlignment(2, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (tree_->topLevelItemCount() > 0)
        tree_->setCurrentItem(tree_->topLevelItem(0));
    delete_->setEnabled(tree_->currentItem());
}

void ExpList::deleteSelected()
{
    QTreeWidgetItem *it = tree_->currentItem();
    if (!it)
        return;
    const int row = tree_->indexOfTopLevelItem(it);
    if (!deleteExport(ctx_.db, ctx_.msg, it->data(0, Qt::UserRole).toLongLong()))
        return;
    reload();
    if (tree_->topLevelItemCount() > 0)
        tree_->setCurrentItem(tree_->topLevelItem(qMin(row, tree_->topLevelItemCount() - 1)));
}

QWidget *makeExpList(AppContext &ctx, QWidget *parent)
{
    return new ExpList(ctx, parent);
}

} // namespace exch::gui
