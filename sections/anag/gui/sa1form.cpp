#include "sections/anag/gui/sa1form.h"

#include "sections/anag/gui/anagrafiche.h"
#include "sections/anag/sa1.h"
#include "shell/dbclass.h"
#include "shell/qorclass.h"
#include "ui/events.h"
#include "ui/fieldform.h"

#include <QDialog>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QVBoxLayout>

namespace {

ui::RecordLayout sa1Layout()
{
    ui::RecordLayout s;
    s.title = QStringLiteral("SA1 - Sezione anagrafica");
    s.navText = QStringLiteral("Unità locale"); // the declarations of the same company
    s.listHeaders = {QStringLiteral("Dichiarazioni della ditta")};
    s.newText = QStringLiteral("Nuova &dichiarazione");
    s.saveText = QStringLiteral("Sal&va");
    s.deleteText = QStringLiteral("&Elimina dichiarazione");
    s.modifiedQuestion = QStringLiteral("Attenzione dati cambiati, vuoi salvarli?");
    s.fields = sa1::fieldTable();
    return s;
}

ui::RecordBinding sa1Binding(AppContext &ctx)
{
    ui::RecordBinding b;
    b.keys = [&ctx](qint64 k) { return sa1::sameCompany(ctx, k); };
    b.listRow = [&ctx](qint64 k) { return QStringList{sa1::labelOf(ctx, k)}; };
    b.load = [&ctx](qint64 k) { return sa1::load(ctx, k); };
    b.save = [&ctx](qint64 k, const fields::Record &r, int *bad) { return sa1::save(ctx, k, r, bad); };
    b.remove = [&ctx](qint64 k) { return sa1::remove(ctx, k); };
    b.exitRule = [&ctx](const QString &f, fields::Record &r) { return sa1::fieldExit(ctx, f, r); };
    return b;
}

} // namespace

Sa1Form::Sa1Form(AppContext &ctx, QWidget *parent)
    : ui::RecordForm(ctx, sa1Layout(), sa1Binding(ctx), parent), ctx_(ctx)
{
    setObjectName(QStringLiteral("SezAnag"));
    auto *top = new QHBoxLayout;
    year_ = new QLabel(QStringLiteral("Anno di dichiarazione: ") + QString::number(ctx_.app.year()), this);
    QFont bold = year_->font();
    bold.setBold(true);
    year_->setFont(bold);
    exported_ = new QLabel(this);
    top->addWidget(year_);
    top->addStretch();
    top->addWidget(exported_);
    header()->addLayout(top);

    // The company register, by the tax code.
    auto *pick = new QPushButton(QStringLiteral("Anagrafiche d&itte..."), this);
    pick->setProperty("causesValidation", false);
    pick->setAutoDefault(false);
    pick->setToolTip(QStringLiteral("Sceglie la ditta dall'archivio delle anagrafiche (F3)"));
    fields()->groupGrid(QStringLiteral("Dichiarante"))->addWidget(pick, 1, 2, 1, 2, Qt::AlignLeft);
    connect(pick, &QPushButton::clicked, this, &Sa1Form::chooseCompany);
    auto *f3 = new QShortcut(QKeySequence(Qt::Key_F3), this);
    f3->setContext(Qt::WidgetWithChildrenShortcut);
    connect(f3, &QShortcut::activated, this, &Sa1Form::chooseCompany);

    // A link to look at, a button to the keyboard: Tab reaches it after the
    // registered office's fields, Space or Enter follows it.
    auto *copy = new QPushButton(QStringLiteral("Copia informazioni Unità locale"), this);
    copy->setObjectName(QStringLiteral("copiaUnitaLocale"));
    copy->setFlat(true);
    copy->setAutoDefault(false);
    copy->setCursor(Qt::PointingHandCursor);
    copy->setStyleSheet(QStringLiteral("QPushButton { color: palette(link); text-decoration: underline; border: none; "
                                       "padding: 2px; } QPushButton:focus { border: 1px dotted palette(text); }"));
    copy->setToolTip(QStringLiteral("Copia comune, via, civico, C.A.P. e telefono dell'unità locale (Ctrl+U)"));
    fields()->groupGrid(QStringLiteral("Sede legale"))->addWidget(copy, 2, 4, 1, 2, Qt::AlignRight);
    connect(copy, &QPushButton::clicked, this, &Sa1Form::copyLocalUnit);
    auto *ctrlU = new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_U), this);
    ctrlU->setContext(Qt::WidgetWithChildrenShortcut);
    connect(ctrlU, &QShortcut::activated, this, &Sa1Form::copyLocalUnit);
    QWidget *lastOffice = nullptr;
    for (const fields::Field &f : fields()->table())
        if (f.group == QLatin1String("Sede legale") && !ui::FieldForm::tabStops(fields()->control(f.name)).isEmpty())
            lastOffice = ui::FieldForm::tabStops(fields()->control(f.name)).last();
    if (lastOffice)
        QWidget::setTabOrder(lastOffice, copy);

    auto *unit = new QPushButton(QStringLiteral("Nuova u&nità locale"), this);
    unit->setProperty("causesValidation", false);
    unit->setAutoDefault(false);
    buttonRow()->insertWidget(buttonRow()->indexOf(newButton()) + 1, unit);
    connect(unit, &QPushButton::clicked, this, &Sa1Form::newLocalUnit);

    auto *sum = new QGroupBox(QStringLiteral("Riepilogo dichiarazione"), this);
    auto *form = new QFormLayout(sum);
    for (const auto &line : sa1::summary(ctx_, 0)) {
        auto *n = new QLabel(QStringLiteral("0"), sum);
        n->setAlignment(Qt::AlignRight);
        form->addRow(line.what + u':', n);
        counts_ << n;
    }
    sidePanel()->addWidget(sum);
    sidePanel()->addStretch();

    connect(this, &RecordForm::shown, this, [this](qint64 id) {
        refreshInfo();
        // Moving to another unit of the company makes it the current declaration.
        if (id > 0 && !loading_)
            Q_EMIT ui::Events::instance().declarationChosen(id);
    });
    connect(this, &RecordForm::saved, this, [this](qint64 id) {
        refreshInfo();
        Q_EMIT ui::Events::instance().declarationSaved(id);
    });
    connect(this, &RecordForm::removed, this, [](qint64 id) { Q_EMIT ui::Events::instance().declarationRemoved(id); });
    // The summary follows the schede and modules entered in the other forms.
    connect(&ui::Events::instance(), &ui::Events::sectionsChanged, this, [this](qint64 id) {
        if (id == currentKey())
            refreshInfo();
    });
    connect(&ui::Events::instance(), &ui::Events::declarationsChanged, this, &Sa1Form::refreshInfo);
    connect(&ui::Events::instance(), &ui::Events::currentDeclarationChanged, this, [this](qint64 id) {
        if (id == currentKey() || (id == 0 && currentKey() == 0))
            return;
        if (!confirmLeave()) {
            // The changes could not be saved: the list goes back to this declaration.
            Q_EMIT ui::Events::instance().declarationChosen(currentKey());
            return;
        }
        loading_ = true;
        showRecord(id);
        loading_ = false;
    });

    const qint64 current = ctx_.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
    bool found = false;
    if (current > 0)
        sa1::load(ctx_, current, &found);
    loading_ = true;
    showRecord(found ? current : 0);
    loading_ = false;
    fields()->focusField(0);
}

void Sa1Form::refreshInfo()
{
    const qint64 k = currentKey();
    const fields::Record r = k > 0 ? sa1::load(ctx_, k) : fields::Record{};
    exported_->setText(QStringLiteral("Esportata: ") + (r.value(QStringLiteral("ExpID")).toLongLong() > 0
                                                             ? QStringLiteral("Sì") : QStringLiteral("No")));
    const auto lines = sa1::summary(ctx_, k);
    for (int i = 0; i < lines.size() && i < counts_.size(); ++i)
        counts_[i]->setText(QString::number(lines[i].count));
}

void Sa1Form::newLocalUnit()
{
    const fields::Record keep = sa1::newLocalUnit(fields()->record());
    if (!confirmLeave())
        return;
    startNew(keep);
    fields()->focusField(fields::position(sa1::fieldTable(), QStringLiteral("prvIstat")));
}

void Sa1Form::copyLocalUnit()
{
    fields::Record r = fields()->record();
    sa1::copyLocalUnit(r);
    fields()->setRecord(r);
    fields()->setModified(true);
}

void Sa1Form::chooseCompany()
{
    QDialog dlg(this);
    dlg.setWindowTitle(QStringLiteral("Anagrafiche ditte"));
    auto *lay = new QVBoxLayout(&dlg);
    auto *reg = new Anagrafiche(ctx_, &dlg, true);
    lay->addWidget(reg);
    connect(reg, &Anagrafiche::chosen, &dlg, &QDialog::accept);
    connect(reg, &Anagrafiche::closeRequested, &dlg, &QDialog::reject);
    dlg.resize(900, 560);
    if (dlg.exec() != QDialog::Accepted)
        return;
    const auto c = reg->chosenCompany();
    if (!c)
        return;
    fields::Record r = fields()->record();
    r.insert(QStringLiteral("CodFisc"), c->codFisc);
    r.insert(QStringLiteral("RagSoc"), c->ragSoc);
    r.insert(QStringLiteral("slPrvIstat"), c->prvIstat);
    r.insert(QStringLiteral("slComIstat"), c->comIstat);
    r.insert(QStringLiteral("slVia"), c->via);
    r.insert(QStringLiteral("slCivico"), c->civico);
    r.insert(QStringLiteral("slCap"), c->cap);
    r.insert(QStringLiteral("slPrefTel"), c->prefTel);
    r.insert(QStringLiteral("slTelefono"), c->telefono);
    fields()->setRecord(r);
    fields()->setModified(true);
    fields()->focusField(fields::position(sa1::fieldTable(), QStringLiteral("REA")));
}
