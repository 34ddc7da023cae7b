#include "print/gui/printforms.h"

#include "print/dichiarazione.h"
#include "print/elenco.h"
#include "print/pdfcreator.h"
#include "shell/dbclass.h"
#include "shell/formrule.h"
#include "shell/gui/formregistry.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/desktop.h"
#include "ui/events.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressDialog>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QVBoxLayout>

std::function<void(const QString &path)> openPrintedFile;

namespace {

// The main window shows where the file is; the viewer shows the file.
void showPrinted(AppContext &ctx, const QString &path)
{
    Q_EMIT ui::Events::instance().printed(path);
    if (openPrintedFile)
        openPrintedFile(path);
    else
        ui::openInViewer(ctx.msg, path, QStringLiteral("la stampa"));
}

} // namespace

bool printCurrentDeclaration(AppContext &ctx)
{
    const qint64 saID = ctx.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
    if (saID <= 0 || !ctx.db.isCurrentOpen()) {
        ctx.msg.information(QStringLiteral("Attenzione, selezionare una dichiarazione dall'elenco."));
        return false;
    }
    const QString path = clsPDFCreator::temporaryFileName(int(saID));
    QString error;
    QApplication::setOverrideCursor(Qt::WaitCursor);
    const print::DeclarationResult r = print::printDichiarazione(ctx.db, saID, path, &error);
    QApplication::restoreOverrideCursor();
    if (r == print::DeclarationResult::NotFound) {
        ctx.msg.information(QStringLiteral("Attenzione, selezionare una dichiarazione dall'elenco."));
        return false;
    }
    if (r != print::DeclarationResult::Ok) {
        ctx.msg.critical(QStringLiteral("Stampa non riuscita: ") + error);
        return false;
    }
    showPrinted(ctx, path);
    return true;
}

PrintListForm::PrintListForm(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Elenco dichiarazioni"));
    auto *lay = new QVBoxLayout(this);
    all_ = new QRadioButton(QStringLiteral("Tutte le dichiarazioni"), this);
    province_ = new QRadioButton(QStringLiteral("Dichiarazioni con unità locale sita nella provincia di:"), this);
    sigla_ = new QLineEdit(this);
    sigla_->setMaxLength(2);
    sigla_->setMaximumWidth(40);
    sigla_->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[A-Za-z]{0,2}")), sigla_));
    all_->setChecked(true);
    sigla_->setEnabled(false);
    connect(province_, &QRadioButton::toggled, sigla_, &QLineEdit::setEnabled);
    lay->addWidget(all_);
    auto *row = new QHBoxLayout;
    row->addWidget(province_);
    row->addWidget(sigla_);
    row->addStretch();
    lay->addLayout(row);
    auto *buttons = new QHBoxLayout;
    auto *stampa = new QPushButton(QStringLiteral("S&tampa"), this);
    auto *chiudi = new QPushButton(QStringLiteral("&Chiudi"), this);
    buttons->addStretch();
    buttons->addWidget(stampa);
    buttons->addWidget(chiudi);
    lay->addLayout(buttons);
    lay->addStretch();
    connect(stampa, &QPushButton::clicked, this, [this] { print(); });
    connect(chiudi, &QPushButton::clicked, this, [this] {
        if (parentWidget())
            parentWidget()->close();
        close();
    });
}

bool PrintListForm::print()
{
    if (!ctx_.db.isCurrentOpen())
        return false;
    int chamber = 0;
    QString subtitle = QStringLiteral("Tutte le dichiarazioni");
    if (province_->isChecked()) {
        const QString sigla = sigla_->text().trimmed().toUpper();
        if (sigla.isEmpty()) {
            ctx_.msg.information(QStringLiteral("Attenzione, sigla provincia richiesta."));
            sigla_->setFocus();
            return false;
        }
        const print::Chamber c = print::chamberOf(ctx_.db, sigla);
        if (c.code == 0) {
            ctx_.msg.information(QStringLiteral("Attenzione, sigla provincia digitata errata!"));
            sigla_->setFocus();
            return false;
        }
        chamber = c.code;
        subtitle = QStringLiteral("Dichiarazioni con unità locale di competenza della CCIAA di ") + c.name;
    }
    const QString path = clsPDFCreator::temporaryFileName(0);
    QString error;
    // A long list (it is laid out twice) shows how far it is and can be
    // stopped; the window stays responsive meanwhile.
    QProgressDialog bar(QStringLiteral("Stampa dell'elenco delle dichiarazioni in corso..."),
                        QStringLiteral("&Interrompi"), 0, 100, this);
    bar.setWindowTitle(ctx_.app.boxTitle());
    bar.setWindowModality(Qt::WindowModal);
    bar.setMinimumDuration(400);
    bool cancelled = false;
    const bool ok = print::printElenco(
        ctx_.db, chamber, subtitle, path, &error,
        [&bar](qint64 done, qint64 total) {
            bar.setValue(total > 0 ? int(done * 100 / total) : 0);
            QApplication::processEvents();
            return !bar.wasCanceled();
        },
        &cancelled);
    bar.reset();
    if (cancelled) {
        ctx_.msg.information(error);
        return false;
    }
    if (!ok) {
        ctx_.msg.critical(QStringLiteral("Stampa non riuscita: ") + error);
        return false;
    }
    showPrinted(ctx_, path);
    return true;
}

void registerPrintForms()
{
    // the declaration print opens no window of its own
    formRegistry().insert(Form::Print, {[](AppContext &c, QWidget *) -> QWidget * {
                                            printCurrentDeclaration(c);
                                            return nullptr;
                                        },
                                        true});
    formRegistry().insert(Form::PrintList,
                          {[](AppContext &c, QWidget *p) -> QWidget * { return new PrintListForm(c, p); }, false});
}
