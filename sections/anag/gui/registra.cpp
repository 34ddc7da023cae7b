#include "sections/anag/gui/registra.h"

#include "refdata/validators.h"
#include "sections/anag/setup.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "ui/desktop.h"
#include "ui/fieldform.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

Registra::Registra(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Registra utente"));
    setObjectName(QStringLiteral("Registra"));
    auto *outer = new QVBoxLayout(this);
    auto *intro = new QLabel(QStringLiteral("Dati di chi compila le dichiarazioni con questo programma."), this);
    outer->addWidget(intro);
    edit_ = new ui::FieldForm(ctx_, anag::setupFields(), this);
    edit_->setExitRule([this](const QString &f, fields::Record &r) {
        if (f == QLatin1String("codFisc"))
            return refdata::checkTaxCode(r.value(f).toString(), true, false, ctx_.msg);
        if (f == QLatin1String("cap"))
            return refdata::checkPostcode(r.value(f).toString().trimmed(), ctx_.msg);
        return true;
    });
    outer->addWidget(edit_, 1);
    import_ = new QCheckBox(QStringLiteral("&Importa i dati dall'archivio dell'anno precedente"), this);
    import_->setProperty("causesValidation", false);
    outer->addWidget(import_);
    auto *bb = new QHBoxLayout;
    bb->addStretch();
    saveBtn_ = new QPushButton(QStringLiteral("Sal&va"), this);
    closeBtn_ = new QPushButton(QStringLiteral("&Chiudi"), this);
    closeBtn_->setProperty("causesValidation", false);
    saveBtn_->setAutoDefault(false);
    closeBtn_->setAutoDefault(false);
    bb->addWidget(saveBtn_);
    bb->addWidget(closeBtn_);
    outer->addLayout(bb);

    bool found = false;
    edit_->setRecord(anag::loadSetup(ctx_.db, dbClass::Which::Current, &found));
    import_->setVisible(!found && ctx_.db.isPreviousOpen());
    connect(import_, &QCheckBox::toggled, this, [this](bool on) {
        if (on) {
            edit_->setRecord(anag::loadSetup(ctx_.db, dbClass::Which::Previous));
            edit_->setModified(true);
        } else {
            edit_->clear();
        }
    });
    saveBtn_->setEnabled(false);
    connect(edit_, &ui::FieldForm::modifiedChanged, saveBtn_, &QPushButton::setEnabled);
    connect(saveBtn_, &QPushButton::clicked, this, &Registra::save);
    ui::addShortcut(saveBtn_, QKeySequence::Save);
    connect(closeBtn_, &QPushButton::clicked, this, [this] {
        if (QWidget *w = parentWidget(); w && w->inherits("QMdiSubWindow"))
            w->close();
        else
            close();
    });
    edit_->focusField(0);
}

bool Registra::save()
{
    if (!edit_->leaveCurrent())
        return false;
    int bad = -1;
    if (!anag::saveSetup(ctx_, edit_->record(), &bad)) {
        if (bad >= 0)
            edit_->focusField(bad);
        return false;
    }
    edit_->setRecord(anag::loadSetup(ctx_.db, dbClass::Which::Current));
    import_->setVisible(false);
    return true;
}

void Registra::closeEvent(QCloseEvent *e)
{
    if (edit_->isModified() && ctx_.msg.question(QStringLiteral("Attenzione dati cambiati, vuoi salvarli?"))
        && !save()) {
        e->ignore();
        return;
    }
    e->accept();
}
