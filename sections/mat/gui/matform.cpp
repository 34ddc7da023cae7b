#include "sections/mat/gui/matform.h"

#include "sections/mat/mat.h"
#include "sections/rif/gui/formkit.h"
#include "shell/messages.h"
#include "ui/desktop.h"
#include "ui/fieldform.h"

#include <QCloseEvent>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace matgui {

namespace {
// Two columns of materials: the first half on the left, the rest on the right.
fields::Table twoColumns()
{
    fields::Table t = mat::schedaFields();
    const int half = (int(t.size()) + 1) / 2;
    for (int i = 0; i < t.size(); ++i) {
        t[i].row = i % half;
        t[i].col = i / half;
    }
    return t;
}
} // namespace

MatForm::MatForm(AppContext &ctx, qint64 saID, QWidget *parent) : QWidget(parent), ctx_(ctx), saID_(saID)
{
    setObjectName(QStringLiteral("SezMat"));
    setWindowTitle(QStringLiteral("Scheda MAT - Materiali secondari"));
    auto *outer = new QVBoxLayout(this);
    ff_ = new ui::FieldForm(ctx, twoColumns(), this);
    outer->addWidget(ff_, 1);
    auto *buttons = new QHBoxLayout;
    save_ = new QPushButton(QStringLiteral("Sal&va scheda"), this);
    delete_ = new QPushButton(QStringLiteral("Eli&mina scheda"), this);
    close_ = new QPushButton(QStringLiteral("&Chiudi"), this);
    buttons->addWidget(save_);
    buttons->addWidget(delete_);
    buttons->addStretch();
    buttons->addWidget(close_);
    outer->addLayout(buttons);
    connect(ff_, &ui::FieldForm::modifiedChanged, save_, &QPushButton::setEnabled);
    connect(save_, &QPushButton::clicked, this, &MatForm::save);
    ui::addShortcut(save_, QKeySequence::Save);
    connect(delete_, &QPushButton::clicked, this, &MatForm::removeScheda);
    connect(close_, &QPushButton::clicked, this, &QWidget::close);
    load();
}

void MatForm::load()
{
    ff_->setRecord(mat::load(ctx_, saID_));
    ff_->setModified(false);
    save_->setEnabled(false);
    delete_->setEnabled(mat::present(ctx_, saID_));
}

bool MatForm::save()
{
    const fields::Record r = ff_->record();
    const int bad = mat::saveCheck(ctx_, r);
    if (bad >= 0) {
        ff_->focusField(bad);
        return false;
    }
    if (!mat::save(ctx_, saID_, r))
        return false;
    load();
    return true;
}

void MatForm::removeScheda()
{
    if (mat::remove(ctx_, saID_))
        load();
}

void MatForm::closeEvent(QCloseEvent *e)
{
    if (ff_->isModified() && ctx_.msg.question(QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?"))
        && !save()) {
        e->ignore();
        return;
    }
    e->accept();
}

QWidget *makeMatForm(AppContext &ctx, QWidget *parent)
{
    return new MatForm(ctx, wastegui::currentDeclaration(ctx), parent);
}

} // namespace matgui
