#include "verify/gui/verifica.h"

#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "refdata/lookups.h"
#include "ui/desktop.h"
#include "verify/engine.h"

#include <QCheckBox>
#include <QCoreApplication>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMdiSubWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace verify::gui {

namespace {
const QString Running = QStringLiteral("Verifica della/e dichiarazioni in corso, attendere...");
const QString Stopped = QStringLiteral("Verifica annullata dall'utente");
const QString Finished = QStringLiteral("Verifica della/e dichiarazioni terminata");
}

VerificaForm::VerificaForm(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Verifica"));
    auto *title = new QLabel(QStringLiteral("Verifica delle dichiarazioni inserite"), this);
    QFont f = title->font();
    f.setBold(true);
    title->setFont(f);

    optProvince_ = new QRadioButton(QStringLiteral("Dichiarazioni con unità &locale sita nella provincia di:"), this);
    province_ = new QLineEdit(this);
    province_->setMaxLength(2);
    province_->setFixedWidth(40);
    connect(province_, &QLineEdit::textEdited, this, [this](const QString &t) {
        const int pos = province_->cursorPosition();
        province_->setText(t.toUpper());
        province_->setCursorPosition(pos);
        optProvince_->setChecked(true);
    });
    optCurrent_ = new QRadioButton(QStringLiteral("Dichiarazione &corrente"), this);
    optAll_ = new QRadioButton(QStringLiteral("&Tutte le dichiarazioni"), this);
    chkExp_ = new QCheckBox(QStringLiteral("Controlla anche le dichiarazioni già &esportate"), this);

    // The current declaration is the one chosen in the main list.
    currentSaID_ = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
    optCurrent_->setEnabled(currentSaID_ > 0);
    // The choice made starts with the focus, so that arrows and Space work
    // at once.
    QRadioButton *chosen = currentSaID_ > 0 ? optCurrent_ : optAll_;
    chosen->setChecked(true);
    chosen->setFocus();

    action_ = new QPushButton(QStringLiteral("Verifica"), this);
    other_ = new QPushButton(QStringLiteral("Annulla"), this);
    connect(action_, &QPushButton::clicked, this, &VerificaForm::pressAction);
    connect(other_, &QPushButton::clicked, this, &VerificaForm::pressOther);
    ui::setDefaultButton(this, action_);

    withRemarks_ = new QLabel(this);
    withoutRemarks_ = new QLabel(this);
    status_ = new QLabel(this);
    status_->setFrameShape(QFrame::StyledPanel);
    showCounters(0, 0);

    auto *options = new QGridLayout;
    options->addWidget(optProvince_, 0, 0);
    options->addWidget(province_, 0, 1);
    options->addWidget(optCurrent_, 1, 0, 1, 2);
    options->addWidget(optAll_, 2, 0, 1, 2);
    options->addWidget(chkExp_, 3, 0, 1, 2);
    auto *buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(action_);
    buttons->addWidget(other_);
    auto *main = new QVBoxLayout(this);
    main->addWidget(title);
    main->addLayout(options);
    main->addWidget(withRemarks_);
    main->addWidget(withoutRemarks_);
    main->addLayout(buttons);
    main->addWidget(status_);
}

void VerificaForm::showCounters(int with, int without)
{
    withRemarks_->setText(QStringLiteral("Dichiarazioni con segnalazioni: %1").arg(with));
    withoutRemarks_->setText(QStringLiteral("Dichiarazioni senza segnalazioni: %1").arg(without));
}

void VerificaForm::pressAction()
{
    if (running_)
        return;
    if (anyRemark_ && action_->text() == QLatin1String("Visualizza errori")) {
        ui::openInViewer(ctx_.msg, ctx_.app.reportPath(), QStringLiteral("il rapporto della verifica"));
        return;
    }
    startRun();
}

void VerificaForm::pressOther()
{
    if (running_)
        stopRequested_ = true;
    else
        closeForm();
}

void VerificaForm::closeForm()
{
    if (auto *sw = qobject_cast<QMdiSubWindow *>(parentWidget()))
        sw->close();
    else
        close();
}

void VerificaForm::startRun()
{
    Mode mode = Mode::All;
    qint64 key = 0;
    bool includeExported = chkExp_->isChecked();
    if (optProvince_->isChecked()) {
        if (province_->text().trimmed().isEmpty()) {
            ctx_.msg.information(QStringLiteral("Attenzione, sigla provincia richiesta."));
            province_->setFocus();
            return;
        }
        const refdata::Chamber chamber = refdata::competentChamber(ctx_.db, ctx_.msg, province_->text());
        if (chamber.code == 0) {
            province_->setFocus();
            return;
        }
        mode = Mode::Chamber;
        key = chamber.code;
    } else if (optCurrent_->isChecked()) {
        mode = Mode::Declaration;
        key = currentSaID_;
        includeExported = true; // the current declaration is checked even when exported
    }

    status_->setText(Running);
    QCoreApplication::processEvents();
    ctx_.app.ensureDataFolder();
    Engine engine(ctx_.db, ctx_.msg);
    if (!engine.openReport(ctx_.app.reportPath())) {
        status_->clear();
        return;
    }
    running_ = true;
    stopRequested_ = false;
    anyRemark_ = false;
    action_->setEnabled(false);
    showCounters(0, 0);
    engine.run(mode, key, includeExported, false, [this](const Progress &p) {
        showCounters(p.withRemarks, p.withoutRemarks);
        QCoreApplication::processEvents();
        return !stopRequested_;
    });
    running_ = false;
    const Progress &p = engine.progress();
    showCounters(p.withRemarks, p.withoutRemarks);
    anyRemark_ = p.withRemarks > 0;
    if (anyRemark_)
        action_->setText(QStringLiteral("Visualizza errori"));
    action_->setEnabled(true);
    other_->setText(QStringLiteral("Chiudi"));
    status_->setText(engine.cancelled() ? Stopped : Finished);
}

QWidget *makeVerificaForm(AppContext &ctx, QWidget *parent)
{
    return new VerificaForm(ctx, parent);
}

} // namespace verify::gui
