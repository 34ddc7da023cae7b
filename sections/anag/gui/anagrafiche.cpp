#include "sections/anag/gui/anagrafiche.h"

#include "refdata/validators.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "ui/desktop.h"
#include "ui/fieldform.h"

#include <QCloseEvent>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QTreeWidget>
#include <QVBoxLayout>

Anagrafiche::Anagrafiche(AppContext &ctx, QWidget *parent, bool pickMode)
    : QWidget(parent), ctx_(ctx), pick_(pickMode)
{
    setWindowTitle(QStringLiteral("Anagrafiche"));
    setObjectName(QStringLiteral("Anagrafiche"));
    auto *outer = new QVBoxLayout(this);

    toolbar_ = new QWidget(this);
    auto *tb = new QHBoxLayout(toolbar_);
    tb->setContentsMargins(0, 0, 0, 0);
    auto *lab = new QLabel(QStringLiteral("Ce&rca:"), toolbar_);
    filter_ = new QLineEdit(toolbar_);
    filter_->setClearButtonEnabled(true);
    filter_->setPlaceholderText(QStringLiteral("ragione sociale o codice fiscale"));
    lab->setBuddy(filter_);
    tb->addWidget(lab);
    tb->addWidget(filter_, 1);
    auto mk = [this, tb](const QString &t) {
        auto *b = new QPushButton(t, toolbar_);
        b->setAutoDefault(false);
        tb->addWidget(b);
        return b;
    };
    if (pick_)
        chooseBtn_ = mk(QStringLiteral("&Scegli"));
    editBtn_ = mk(QStringLiteral("&Modifica"));
    deleteBtn_ = mk(QStringLiteral("&Elimina"));
    closeBtn_ = mk(QStringLiteral("&Chiudi"));
    outer->addWidget(toolbar_);

    list_ = new QTreeWidget(this);
    list_->setRootIsDecorated(false);
    list_->setAlternatingRowColors(true);
    list_->setUniformRowHeights(true);
    list_->setHeaderLabels({QStringLiteral("Codice fiscale"), QStringLiteral("Ragione sociale"), QStringLiteral("Via"),
                            QStringLiteral("Civico"), QStringLiteral("Comune"), QStringLiteral("Prov.")});
    outer->addWidget(list_, 1);

    panel_ = new QGroupBox(QStringLiteral("Dati della ditta"), this);
    auto *pl = new QVBoxLayout(panel_);
    edit_ = new ui::FieldForm(ctx_, anag::companyFields(), panel_);
    if (auto *cf = qobject_cast<QLineEdit *>(edit_->control(QStringLiteral("CodFisc")))) {
        cf->setReadOnly(true);
        cf->setFocusPolicy(Qt::NoFocus);
    }
    edit_->setExitRule([this](const QString &f, fields::Record &r) {
        if (f.compare(QLatin1String("Cap"), Qt::CaseInsensitive) == 0)
            return refdata::checkPostcode(r.value(QStringLiteral("Cap")).toString().trimmed(), ctx_.msg);
        return true;
    });
    pl->addWidget(edit_);
    auto *eb = new QHBoxLayout;
    eb->addStretch();
    saveBtn_ = new QPushButton(QStringLiteral("Sal&va"), panel_);
    closeEditBtn_ = new QPushButton(QStringLiteral("Chiudi m&odifica"), panel_);
    closeEditBtn_->setProperty("causesValidation", false);
    saveBtn_->setAutoDefault(false);
    closeEditBtn_->setAutoDefault(false);
    eb->addWidget(saveBtn_);
    eb->addWidget(closeEditBtn_);
    pl->addLayout(eb);
    outer->addWidget(panel_);

    connect(filter_, &QLineEdit::textChanged, this, [this](const QString &t) {
        for (int i = 0; i < list_->topLevelItemCount(); ++i) {
            auto *it = list_->topLevelItem(i);
            it->setHidden(!t.isEmpty() && !it->text(0).contains(t, Qt::CaseInsensitive)
                          && !it->text(1).contains(t, Qt::CaseInsensitive));
        }
    });
    connect(list_, &QTreeWidget::itemActivated, this, [this] { pick_ ? choose() : editSelected(); });
    connect(list_, &QTreeWidget::currentItemChanged, this, [this] {
        const bool sel = list_->currentItem() != nullptr;
        editBtn_->setEnabled(sel);
        deleteBtn_->setEnabled(sel);
        if (chooseBtn_)
            chooseBtn_->setEnabled(sel);
    });
    auto *del = new QShortcut(QKeySequence::Delete, list_, nullptr, nullptr, Qt::WidgetShortcut);
    connect(del, &QShortcut::activated, this, &Anagrafiche::deleteSelected);
    connect(editBtn_, &QPushButton::clicked, this, &Anagrafiche::editSelected);
    connect(deleteBtn_, &QPushButton::clicked, this, &Anagrafiche::deleteSelected);
    if (chooseBtn_)
        connect(chooseBtn_, &QPushButton::clicked, this, &Anagrafiche::choose);
    connect(closeBtn_, &QPushButton::clicked, this, [this] {
        if (pick_) {
            Q_EMIT closeRequested();
        } else if (QWidget *w = parentWidget(); w && w->inherits("QMdiSubWindow")) {
            w->close();
        } else {
            close();
        }
    });
    connect(saveBtn_, &QPushButton::clicked, this, &Anagrafiche::saveEdit);
    ui::addShortcut(saveBtn_, QKeySequence::Save);
    connect(closeEditBtn_, &QPushButton::clicked, this, &Anagrafiche::closeEdit);
    connect(edit_, &ui::FieldForm::modifiedChanged, saveBtn_, &QPushButton::setEnabled);

    reload();
    setEditing(false);
    list_->setFocus();
}

void Anagrafiche::reload()
{
    const QString keep = list_->currentItem() ? list_->currentItem()->text(0) : QString();
    list_->clear();
    for (const auto &c : anag::companyList(ctx_.db)) {
        auto *it = new QTreeWidgetItem(list_, {c.codFisc, c.ragSoc, c.via, c.civico, c.comDesc, c.prvSigla});
        it->setData(0, Qt::UserRole, QStringLiteral("K") + c.codFisc);
        if (c.codFisc == keep || !list_->currentItem())
            list_->setCurrentItem(it);
    }
    for (int c = 0; c < list_->columnCount(); ++c)
        list_->resizeColumnToContents(c);
    const bool sel = list_->currentItem() != nullptr;
    editBtn_->setEnabled(sel);
    deleteBtn_->setEnabled(sel);
}

void Anagrafiche::setEditing(bool on)
{
    editing_ = on;
    toolbar_->setEnabled(!on);
    list_->setEnabled(!on);
    panel_->setEnabled(on);
    saveBtn_->setEnabled(on && edit_->isModified());
    if (!on)
        edit_->clear();
}

void Anagrafiche::editSelected()
{
    auto *it = list_->currentItem();
    if (!it)
        return;
    const auto c = anag::readCompany(ctx_.db, it->text(0));
    if (!c)
        return;
    editing_code_ = c->codFisc;
    edit_->setRecord(anag::companyRecord(*c));
    setEditing(true);
    edit_->focusField(fields::position(anag::companyFields(), QStringLiteral("RagSoc")));
}

bool Anagrafiche::saveEdit()
{
    if (!editing_ || !edit_->leaveCurrent())
        return false;
    const fields::Record r = edit_->record();
    if (!refdata::checkPostcode(r.value(QStringLiteral("Cap")).toString().trimmed(), ctx_.msg)) {
        edit_->focusField(fields::position(anag::companyFields(), QStringLiteral("Cap")));
        return false;
    }
    if (!anag::saveCompany(ctx_.db, editing_code_, r))
        return false;
    edit_->setModified(false);
    return true;
}

bool Anagrafiche::closeEdit()
{
    if (!editing_)
        return true;
    if (edit_->isModified() && ctx_.msg.question(QStringLiteral("Attenzione dati cambiati, vuoi salvarli?"))
        && !saveEdit())
        return false;
    setEditing(false);
    reload();
    list_->setFocus();
    return true;
}

void Anagrafiche::deleteSelected()
{
    auto *it = list_->currentItem();
    if (!it)
        return;
    const int row = list_->indexOfTopLevelItem(it);
    if (!anag::deleteCompany(ctx_, it->text(0), it->text(1)))
        return;
    delete list_->takeTopLevelItem(row);
    if (list_->topLevelItemCount() > 0)
        list_->setCurrentItem(list_->topLevelItem(qMin(row, list_->topLevelItemCount() - 1)));
    else
        list_->setCurrentItem(nullptr);
    const bool sel = list_->currentItem() != nullptr;
    editBtn_->setEnabled(sel);
    deleteBtn_->setEnabled(sel);
}

void Anagrafiche::choose()
{
    auto *it = list_->currentItem();
    if (!it)
        return;
    chosen_ = anag::readCompany(ctx_.db, it->text(0));
    if (chosen_)
        Q_EMIT chosen();
}

void Anagrafiche::closeEvent(QCloseEvent *e)
{
    if (!closeEdit()) {
        e->ignore();
        return;
    }
    e->accept();
}
