#include "shell/gui/dichiarazioni.h"

#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/qorclass.h"

#include <QHeaderView>
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
    tree_->header()->setSectionResizeMode(QHeaderView::ResizeToContents);
    lay->addWidget(tree_);
    connect(tree_, &QTreeWidget::currentItemChanged, this, [this] { selectionMoved(); });
    connect(tree_, &QTreeWidget::itemActivated, this, [this] { Q_EMIT openRequested(Form::SA1); });
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
    QString ul = via;
    if (!civico.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(" ")) + civico;
    if (!comDesc.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(", ")) + comDesc;
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
            it->setText(0, label(q.value(1).toString(), q.value(3).toString(), q.value(5).toString(),
                                 q.value(6).toString()));
            it->setText(1, q.value(2).toString());
            it->setText(2, q.value(4).toString());
            it->setText(3, q.value(7).toLongLong() ? QStringLiteral("sì") : QString());
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
    // The remembered declaration is gone (removed, or another database).
    if (current_ != 0) {
        current_ = 0;
        tree_->setCurrentItem(nullptr);
        if (ctx_.db.isCurrentOpen())
            ctx_.app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("0"));
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
