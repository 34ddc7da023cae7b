#include "sections/saaut/gui/saautform.h"

#include "refdata/lookups.h"
#include "sections/codes.h"
#include "sections/rif/gui/formkit.h"
#include "sections/saaut/saaut.h"
#include "ui/controls.h"
#include "ui/events.h"
#include "ui/fieldform.h"
#include "ui/splitrow.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QLabel>
#include <QStyle>
#include <QTimer>
#include <QVBoxLayout>

namespace {

const QStringList listFields = {QStringLiteral("suEnte"), QStringLiteral("suTipo"), QStringLiteral("crClass1"),
                                QStringLiteral("crClass2"), QStringLiteral("crClass3")};

ui::RecordLayout formLayout()
{
    ui::RecordLayout s;
    s.title = QStringLiteral("Scheda SA-AUT - Autorizzazioni");
    s.navText = QStringLiteral("Scheda SA-AUT");
    s.newText = QStringLiteral("&Nuova scheda SA-AUT");
    QSet<QString> lists(listFields.begin(), listFields.end());
    s.fields = wastegui::laidOut(saaut::fieldTable(), lists);
    // Landfill class and residual capacity side by side.
    int row = 0;
    for (fields::Field &f : s.fields) {
        if (f.name.startsWith(QLatin1String("crClass")))
            f.row = row, f.col = 0;
        else if (f.name.startsWith(QLatin1String("crQta")))
            f.row = row++, f.col = 1;
        if (f.name == QLatin1String("incRifP") || f.name == QLatin1String("conRifP"))
            f.row = 2, f.col = 0;
        if (f.name == QLatin1String("incRifNP") || f.name == QLatin1String("conRifNP"))
            f.row = 2, f.col = 1;
    }
    s.listHeaders = {QStringLiteral("Estremi"), QStringLiteral("Rilascio"), QStringLiteral("Scadenza"),
                     QStringLiteral("Tipo")};
    return s;
}

ui::RecordBinding binding(AppContext &ctx, qint64 saID)
{
    ui::RecordBinding b;
    AppContext *c = &ctx;
    b.keys = [c, saID](qint64) { return saaut::ids(*c, saID); };
    b.load = [c](qint64 k) { return saaut::load(*c, k); };
    b.blank = [] { return saaut::blank(); };
    b.remove = [c](qint64 k) { return saaut::remove(*c, k); };
    b.save = [c, saID](qint64 k, const fields::Record &r, int *failed) {
        return saaut::checkAndSave(*c, saID, k, r, failed);
    };
    b.listRow = [c](qint64 k) {
        const fields::Record r = saaut::load(*c, k);
        auto date = [&r](const char *n) {
            const QString iso = r.value(QString::fromLatin1(n)).toString();
            return iso.size() == 10 ? iso.mid(8, 2) + u'/' + iso.mid(5, 2) + u'/' + iso.left(4) : iso;
        };
        return QStringList{r.value(QStringLiteral("suEstremi")).toString(), date("suDataRil"), date("suDataScad"),
                           saaut::types().value(r.value(QStringLiteral("suTipo")).toInt())};
    };
    return b;
}

} // namespace

SaAutForm::SaAutForm(AppContext &ctx, QWidget *parent) : SaAutForm(ctx, parent, wastegui::currentDeclaration(ctx)) {}

SaAutForm::SaAutForm(AppContext &ctx, QWidget *parent, qint64 saID)
    : ui::RecordForm(ctx, formLayout(), binding(ctx, saID), parent), ctx_(ctx)
{
    setObjectName(QStringLiteral("SaAut"));
    ui::FieldForm *ff = fields();
    wastegui::ListItems ente, tipo;
    for (int i = 0; i < saaut::issuingBodies().size(); ++i)
        ente.append({i, saaut::issuingBodies()[i]});
    for (int i = 0; i < saaut::types().size(); ++i)
        tipo.append({i, saaut::types()[i]});
    ente_ = wastegui::attachList(this, QStringLiteral("suEnte"), ente);
    tipo_ = wastegui::attachList(this, QStringLiteral("suTipo"), tipo);
    tipo_->setMinimumContentsLength(50);

    // Landfills: a check box per class stands for the class code of its row.
    for (int row = 1; row <= 3; ++row) {
        const QString name = QStringLiteral("crClass") + QString::number(row);
        auto *box = qobject_cast<ui::NumberBox *>(ff->control(name));
        auto *grid = qobject_cast<QGridLayout *>(box->parentWidget()->layout());
        auto *check = new QCheckBox(box->parentWidget());
        check->setObjectName(name + QStringLiteral("Check"));
        int r, c, rs, cs;
        grid->getItemPosition(grid->indexOf(box), &r, &c, &rs, &cs);
        grid->addWidget(check, r, c, rs, cs);
        box->hide();
        if (QLabel *l = ff->label(name))
            l->setBuddy(check);
        QWidget::setTabOrder(box, check);
        const int code = codes::saAutLandfillClass(row);
        connect(check, &QCheckBox::toggled, this, [this, box, code](bool on) {
            const QVariant want = on ? QVariant(qlonglong(code)) : QVariant();
            if (box->value() == want)
                return;
            box->setValue(want);
            fields()->setModified(true);
        });
        landfill_.append(check);
    }

    // The operations of the authorisation: one check box per R and D code.
    const QVector<refdata::CodeRow> all = refdata::codeList(ctx.db, refdata::CodeList::Types1and2);
    auto operations = [&](const QString &title, int type, int count, QVector<QCheckBox *> &out, const QString &field) {
        auto *group = new QGroupBox(title, this);
        auto *lay = new QVBoxLayout(group);
        lay->setSpacing(1);
        QStringList captions;
        for (const refdata::CodeRow &c : all)
            if (c.type == type)
                captions << c.alfa + QStringLiteral(" - ") + c.desc;
        for (int i = 0; i < count; ++i) {
            const QString code = (type == 1 ? QStringLiteral("R") : QStringLiteral("D")) + QString::number(i + 1);
            QString caption = code;
            for (const QString &c : captions)
                if (c.startsWith(code + QStringLiteral(" ")))
                    caption = c;
            auto *cb = new QCheckBox(caption.size() > 60 ? caption.left(57) + QStringLiteral("...") : caption, group);
            cb->setToolTip(caption);
            cb->setObjectName(code);
            lay->addWidget(cb);
            connect(cb, &QCheckBox::toggled, this, [this] { writeOperations(); });
            out.append(cb);
        }
        ff->control(field)->hide();
        if (QLabel *l = ff->label(field))
            l->hide();
        return group;
    };
    // The two lists side by side when the form is wide, one under the other
    // when not; beside the fields or under them (the form scrolls down).
    auto *panel = new QVBoxLayout;
    panel->addWidget(new QLabel(QStringLiteral("Operazioni di recupero/smaltimento contenute nell'autorizzazione"), this));
    auto *recovery = new QVBoxLayout, *disposal = new QVBoxLayout;
    recovery->addWidget(operations(QStringLiteral("Operazioni di recupero"), 1, saaut::RecoveryCount, recovery_,
                                   QStringLiteral("suRecupero")));
    recovery->addStretch();
    disposal->addWidget(operations(QStringLiteral("Operazioni di smaltimento"), 2, saaut::DisposalCount, disposal_,
                                   QStringLiteral("suSmaltimento")));
    disposal->addStretch();
    panel->addLayout(new ui::SplitRow(recovery, disposal, ui::SplitRow::FirstStretches,
                                      style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing)));
    panel->addStretch();
    sidePanel()->addLayout(panel);

    connect(this, &RecordForm::shown, this, &SaAutForm::shownRecord);
    connect(this, &RecordForm::saved, this, &SaAutForm::shownRecord);
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(this, &RecordForm::saved, this, changed);
    connect(this, &RecordForm::removed, this, changed);
    wastegui::followDeclaration(this, saID);
    const QVector<qint64> keys = saaut::ids(ctx, saID);
    showRecord(keys.isEmpty() ? 0 : keys.first());
    QTimer::singleShot(0, this, [this] { fields()->focusField(0); });
}

void SaAutForm::shownRecord()
{
    const fields::Record r = fields()->record();
    wastegui::syncList(this, ente_, QStringLiteral("suEnte"));
    wastegui::syncList(this, tipo_, QStringLiteral("suTipo"));
    const bool was = fields()->isModified();
    const QVector<bool> rec = saaut::readFlags(r.value(QStringLiteral("suRecupero")), saaut::RecoveryCount);
    const QVector<bool> dis = saaut::readFlags(r.value(QStringLiteral("suSmaltimento")), saaut::DisposalCount);
    for (int i = 0; i < recovery_.size(); ++i) {
        QSignalBlocker b(recovery_[i]);
        recovery_[i]->setChecked(rec[i]);
    }
    for (int i = 0; i < disposal_.size(); ++i) {
        QSignalBlocker b(disposal_[i]);
        disposal_[i]->setChecked(dis[i]);
    }
    for (int i = 0; i < landfill_.size(); ++i) {
        QSignalBlocker b(landfill_[i]);
        landfill_[i]->setChecked(r.value(QStringLiteral("crClass") + QString::number(i + 1)).toInt() > 0);
    }
    fields()->setModified(was);
}

void SaAutForm::writeOperations()
{
    QVector<bool> rec, dis;
    for (QCheckBox *c : recovery_)
        rec << c->isChecked();
    for (QCheckBox *c : disposal_)
        dis << c->isChecked();
    const bool was = fields()->isModified();
    auto *r = qobject_cast<QLineEdit *>(fields()->control(QStringLiteral("suRecupero")));
    auto *d = qobject_cast<QLineEdit *>(fields()->control(QStringLiteral("suSmaltimento")));
    r->setText(saaut::writeFlags(rec));
    d->setText(saaut::writeFlags(dis));
    fields()->setModified(true);
    Q_UNUSED(was);
}
