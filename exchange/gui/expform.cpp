#include "exchange/gui/expform.h"

#include "shell/dbclass.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/controls.h"
#include "ui/events.h"
#include "ui/desktop.h"

#include <QApplication>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QSqlQuery>
#include <QStackedWidget>
#include <QVBoxLayout>

namespace exch::gui {

ExpForm::ExpForm(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    setWindowTitle(QStringLiteral("Estrazione delle dichiarazioni"));
    auto *lay = new QVBoxLayout(this);
    pages_ = new QStackedWidget(this);
    lay->addWidget(pages_);

    // ---- step 1 ----
    auto *p1 = new QWidget(this);
    auto *l1 = new QVBoxLayout(p1);
    auto *t1 = new QLabel(QStringLiteral("Passo 1 di 2: Selezione e verifica delle dichiarazioni"), p1);
    t1->setStyleSheet(QStringLiteral("font-weight: bold"));
    l1->addWidget(t1);
    auto *sel = new QGroupBox(QStringLiteral("Selezione"), p1);
    auto *g = new QGridLayout(sel);
    optSingle_ = new QRadioButton(QStringLiteral("S&ingola dichiarazione da selezionare tramite il bottone 'Lista'"), sel);
    optMultiple_ = new QRadioButton(QStringLiteral("&Multipla: tutte le dichiarazioni destinate alla CCIAA di competenza"), sel);
    auto *lista = new QPushButton(QStringLiteral("&Lista"), sel);
    chosen_ = new QLineEdit(sel);
    chosen_->setReadOnly(true);
    auto *lsig = new QLabel(QStringLiteral("Si&gla provincia:"), sel);
    sigla_ = new QLineEdit(sel);
    sigla_->setMaxLength(2);
    sigla_->setMaximumWidth(50);
    sigla_->setValidator(new QRegularExpressionValidator(QRegularExpression(QStringLiteral("[A-Za-z]{0,2}")), sigla_));
    connect(sigla_, &QLineEdit::textEdited, this, [this](const QString &t) {
        const int pos = sigla_->cursorPosition();
        sigla_->setText(t.toUpper());
        sigla_->setCursorPosition(pos);
    });
    lsig->setBuddy(sigla_);
    g->addWidget(optSingle_, 0, 0, 1, 3);
    g->addWidget(lista, 1, 0);
    g->addWidget(chosen_, 1, 1, 1, 2);
    g->addWidget(optMultiple_, 2, 0, 1, 3);
    g->addWidget(lsig, 3, 0);
    g->addWidget(sigla_, 3, 1);
    l1->addWidget(sel);
    auto *inc = new QGroupBox(QStringLiteral("Includere nel file da inviare alla CCIAA"), p1);
    auto *gi = new QVBoxLayout(inc);
    optNew_ = new QRadioButton(QStringLiteral("solo le dichiarazioni &non ancora esportate"), inc);
    optAll_ = new QRadioButton(QStringLiteral("anche le dichiarazioni già &esportate in precedenza"), inc);
    gi->addWidget(optNew_);
    gi->addWidget(optAll_);
    optNew_->setChecked(true);
    l1->addWidget(inc);
    auto *b1 = new QHBoxLayout;
    auto *procedi = new QPushButton(QStringLiteral("P&rocedi"), p1);
    auto *close1 = new QPushButton(QStringLiteral("&Chiudi"), p1);
    b1->addStretch();
    b1->addWidget(procedi);
    b1->addWidget(close1);
    l1->addStretch();
    l1->addLayout(b1);
    pages_->addWidget(p1);

    // ---- step 2 ----
    auto *p2 = new QWidget(this);
    auto *l2 = new QVBoxLayout(p2);
    auto *t2 = new QLabel(QStringLiteral("Passo 2 di 2: Estrazione delle dichiarazioni da inviare"), p2);
    t2->setStyleSheet(QStringLiteral("font-weight: bold"));
    l2->addWidget(t2);
    auto *st = new QGroupBox(QStringLiteral("Stato della verifica"), p2);
    auto *sl = new QVBoxLayout(st);
    labDic_ = new QLabel(st);
    labDicErr_ = new QLabel(st);
    sl->addWidget(labDic_);
    sl->addWidget(labDicErr_);
    l2->addWidget(st);
    auto *ex = new QGroupBox(QStringLiteral("Stato dell'esportazione"), p2);
    auto *el = new QVBoxLayout(ex);
    bar_ = new QProgressBar(ex);
    bar_->setValue(0);
    labStatus_ = new QLabel(ex);
    el->addWidget(bar_);
    el->addWidget(labStatus_);
    l2->addWidget(ex);
    auto *b2 = new QHBoxLayout;
    back_ = new QPushButton(QStringLiteral("&Torna a selezione"), p2);
    extract_ = new QPushButton(QStringLiteral("&Estrai"), p2);
    close2_ = new QPushButton(QStringLiteral("&Chiudi"), p2);
    b2->addWidget(back_);
    b2->addStretch();
    b2->addWidget(extract_);
    b2->addWidget(close2_);
    l2->addStretch();
    l2->addLayout(b2);
    pages_->addWidget(p2);

    auto setMode = [this, lista](bool single) {
        lista->setEnabled(single);
        chosen_->setEnabled(single);
        sigla_->setEnabled(!single);
    };
    connect(optSingle_, &QRadioButton::toggled, this, setMode);
    optSingle_->setChecked(true);
    setMode(true);
    connect(lista, &QPushButton::clicked, this, &ExpForm::lista);
    connect(procedi, &QPushButton::clicked, this, &ExpForm::procedi);
    connect(close1, &QPushButton::clicked, this, [this] { if (parentWidget()) parentWidget()->close(); else close(); });
    connect(back_, &QPushButton::clicked, this, &ExpForm::back);
    connect(extract_, &QPushButton::clicked, this, &ExpForm::estrai);
    connect(close2_, &QPushButton::clicked, this, &ExpForm::closeOrCancel);
    // Enter runs the step shown.
    ui::setDefaultButton(p1, procedi);
    ui::setDefaultButton(p2, extract_);

    // The current declaration is proposed for the single mode.
    const qint64 cur = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
    if (cur > 0)
        choose(cur);
}

int ExpForm::step() const
{
    return pages_->currentIndex() + 1;
}

void ExpForm::choose(qint64 saID)
{
    bool ok = false;
    QSqlQuery q = ctx_.db.query(QStringLiteral("SELECT SezAnag.RagSoc, Comuni.comDesc, SezAnag.Via, SezAnag.Civico "
                                               "FROM SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = Comuni.prvIstat "
                                               "AND SezAnag.comIstat = Comuni.comIstat) WHERE (SezAnag.saID = ?)"),
                                {saID}, dbClass::Which::Current, &ok);
    if (!ok || !q.next())
        return;
    saID_ = saID;
    chosen_->setText(DeclarationList::label(q.value(0).toString(), q.value(1).toString(),
                                            q.value(2).toString(), q.value(3).toString()));
}

void ExpForm::lista()
{
    ui::ListWindow w(QStringLiteral("Elenco dichiarazioni"),
                     {QStringLiteral("Ragione sociale"), QStringLiteral("Codice fiscale"),
                      QStringLiteral("Unità locale"), QStringLiteral("Esportata")},
                     this);
    bool ok = false;
    QSqlQuery q = ctx_.db.query(QStringLiteral("SELECT SezAnag.saID, SezAnag.RagSoc, SezAnag.CodFisc, Comuni.comDesc, "
                                               "SezAnag.Via, SezAnag.Civico, SezAnag.ExpID FROM SezAnag LEFT JOIN "
                                               "Comuni ON (SezAnag.prvIstat = Comuni.prvIstat AND SezAnag.comIstat = "
                                               "Comuni.comIstat) ORDER BY SezAnag.RagSoc, SezAnag.saID"),
                                {}, dbClass::Which::Current, &ok);
    while (ok && q.next())
        w.addRow({q.value(1).toString(), q.value(2).toString(),
                  (q.value(3).toString() + QStringLiteral(", ") + q.value(4).toString() + u' ' + q.value(5).toString()).trimmed(),
                  q.value(6).toLongLong() ? QStringLiteral("sì") : QStringLiteral("no")},
                 q.value(0));
    if (saID_)
        w.select(saID_);
    if (w.exec() == QDialog::Accepted && w.chosen().isValid())
        choose(w.chosen().toLongLong());
}

void ExpForm::procedi()
{
    if (!ctx_.db.checkIntegrity())
        return;
    ExportChoice c;
    c.single = optSingle_->isChecked();
    c.saID = saID_;
    c.sigla = sigla_->text();
    c.includeExported = optAll_->isChecked();
    setCursor(Qt::WaitCursor);
    const VerifyOutcome v = verifyForExport(ctx_.app, ctx_.db, ctx_.msg, c, [](const verify::Progress &) {
        QApplication::processEvents();
        return true;
    });
    unsetCursor();
    if (v.status != VerifyOutcome::Done)
        return;
    chamber_ = v.chamber;
    labDic_->setText(exportableText(v.exportable));
    labDicErr_->setText(notExportableText(v.notExportable));
    labStatus_->clear();
    bar_->setValue(0);
    pages_->setCurrentIndex(1);
    extract_->setFocus();
}

void ExpForm::back()
{
    pages_->setCurrentIndex(0);
}

QString ExpForm::askFile()
{
    const int y = ctx_.app.year();
    QStringList filters;
    const QStringList p = saveFilter(y).split(u'|');
    for (int i = 0; i + 1 < p.size(); i += 2)
        filters << p[i];
    QFileDialog dlg(this, QStringLiteral("Salva file esportazione dichiarazioni QOR"), ctx_.app.dataFolder(),
                    filters.join(QStringLiteral(";;")));
    dlg.setAcceptMode(QFileDialog::AcceptSave);
    dlg.setFileMode(QFileDialog::AnyFile);
    dlg.selectNameFilter(filters.value(1));
    dlg.selectFile(defaultFileName(y));
    dlg.setDefaultSuffix(QStringLiteral("000"));
    if (dlg.exec() != QDialog::Accepted || dlg.selectedFiles().isEmpty())
        return {};
    return dlg.selectedFiles().first();
}

void ExpForm::estrai()
{
    const QString path = chooseFile ? chooseFile() : askFile();
    if (path.isEmpty())
        return;
    const QFileInfo fi(path);
    if (!fi.absoluteDir().exists() || (fi.exists() && !fi.isWritable())) {
        ctx_.msg.information(QStringLiteral("Errore apertura file di esportazione: ") + path);
        return;
    }
    ExportChoice c;
    c.single = optSingle_->isChecked();
    c.saID = saID_;
    c.includeExported = optAll_->isChecked();
    running_ = true;
    cancel_ = false;
    close2_->setText(QStringLiteral("&Annulla"));
    back_->setEnabled(false);
    extract_->setEnabled(false);
    labStatus_->setText(QStringLiteral("Esportazione in corso..."));
    const ExtractOutcome x = extract(ctx_.db, ctx_.msg, fi.absoluteFilePath(), c, chamber_,
                                     [this](qint64 done, qint64 total) {
                                         bar_->setMaximum(int(total));
                                         bar_->setValue(int(done));
                                         QApplication::processEvents();
                                         return !cancel_;
                                     });
    running_ = false;
    close2_->setText(QStringLiteral("&Chiudi"));
    back_->setEnabled(true);
    extract_->setEnabled(true);
    if (x.status == ExportResult::Done) {
        labStatus_->setText(x.files.size() > 1
                                ? QStringLiteral("Esportazione terminata in %1 file").arg(x.files.size())
                                : QStringLiteral("Esportazione terminata"));
        // The list of declarations shows which ones are now exported.
        Q_EMIT ui::Events::instance().declarationsChanged();
    }
    else if (x.status == ExportResult::Cancelled)
        labStatus_->setText(QStringLiteral("Esportazione annullata dall'utente"));
    else
        labStatus_->clear();
}

void ExpForm::closeOrCancel()
{
    if (running_) {
        cancel_ = true;
        return;
    }
    if (parentWidget())
        parentWidget()->close();
    else
        close();
}

QWidget *makeExpForm(AppContext &ctx, QWidget *parent)
{
    return new ExpForm(ctx, parent);
}

} // namespace exch::gui
