#include "shell/gui/dichiarazioni.h"

#include "shell/dbclass.h"
#include "shell/qorclass.h"

#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
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
    tree_ = new QTreeWidget(this);
    tree_->setRootIsDecorated(false);
    tree_->setAlternatingRowColors(true);
    tree_->setHeaderLabels({QStringLiteral("Ragione sociale"), QStringLiteral("Codice fiscale"),
                            QStringLiteral("Comune U.L."), QStringLiteral("Prov."),
                            QStringLiteral("Via"), QStringLiteral("Esportata")});
    tree_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    lay->addWidget(tree_);
    connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { selectionMoved(); });
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString &t) {
        for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
            auto *it = tree_->topLevelItem(i);
            it->setHidden(!t.isEmpty() && !it->text(0).contains(t, Qt::CaseInsensitive)
                          && !it->text(1).contains(t, Qt::CaseInsensitive));
        }
    });
    current_ = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
}

QString DeclarationList::label(const QString &ragSoc, const QString &comDesc, const QString &via,
                               const QString &civico)
{
    QString ul = comDesc;
    if (!via.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(", ")) + via;
    if (!civico.isEmpty())
        ul += u' ' + civico;
    return ragSoc + QStringLiteral(" - U. L.: ") + ul;
}

void DeclarationList::reload()
{
    const qint64 keep = current_;
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
        while (ok && q.next()) {
            auto *it = new QTreeWidgetItem(tree_);
            it->setData(0, Qt::UserRole, q.value(0).toLongLong());
            it->setText(0, q.value(1).toString());
            it->setText(1, q.value(2).toString());
            it->setText(2, q.value(3).toString());
            it->setText(3, q.value(4).toString());
            it->setText(4, (q.value(5).toString() + u' ' + q.value(6).toString()).trimmed());
            it->setText(5, q.value(7).toLongLong() ? QStringLiteral("sì") : QString());
        }
    }
    tree_->blockSignals(false);
    setCurrentId(keep);
}

void DeclarationList::setCurrentId(qint64 saID)
{
    for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
        auto *it = tree_->topLevelItem(i);
        if (it->data(0, Qt::UserRole).toLongLong() == saID) {
            tree_->setCurrentItem(it);
            return;
        }
    }
    if (current_ != 0 && tree_->topLevelItemCount() == 0) {
        current_ = 0;
        Q_EMIT currentChanged(0);
    }
}

void DeclarationList::selectionMoved()
{
    auto *it = tree_->currentItem();
    const qint64 id = it ? it->data(0, Qt::UserRole).toLongLong() : 0;
    if (id == current_)
        return;
    current_ = id;
    ctx_.app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(id));
    Q_EMIT currentChanged(id);
}
