#include "sections/rif/gui/wasteforms.h"

#include "refdata/lookups.h"
#include "refdata/validators.h"
#include "sections/anag/register.h"
#include "sections/codes.h"
#include "sections/int/int.h"
#include "sections/rif/gui/formkit.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "ui/controls.h"
#include "ui/events.h"
#include "ui/fieldform.h"

#include <QCheckBox>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QScrollArea>
#include <QTabWidget>
#include <QTimer>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <functional>

namespace wastegui {

// One grid of operation rows of an MG module: a row per operation code of its
// list, with quantity and unit. The rows with a quantity are the module's
// RecRif rows of that grid.
class OperationGrid : public QWidget {
public:
    OperationGrid(const QString &heading, const QVector<refdata::CodeRow> &codes, int posizione,
                  std::function<void()> edited, QWidget *parent)
        : QWidget(parent), pos_(posizione), edited_(std::move(edited))
    {
        auto *outer = new QVBoxLayout(this);
        outer->setContentsMargins(0, 0, 0, 0);
        auto *area = new QScrollArea(this);
        area->setWidgetResizable(true);
        auto *inner = new QWidget(area);
        grid_ = new QGridLayout(inner);
        grid_->setVerticalSpacing(2);
        auto head = [this, inner](const QString &t, int col) {
            auto *l = new QLabel(QStringLiteral("<b>") + t + QStringLiteral("</b>"), inner);
            grid_->addWidget(l, 0, col);
        };
        head(heading, 0);
        head(QStringLiteral("Quantità"), 1);
        for (const refdata::CodeRow &c : codes)
            addRow(c.alfa, c.desc);
        grid_->setColumnStretch(0, 1);
        grid_->setRowStretch(grid_->rowCount(), 1);
        area->setWidget(inner);
        outer->addWidget(area);
    }

    int posizione() const { return pos_; }

    void setRows(const QVector<waste::OpRow> &ops)
    {
        for (Row &r : rows_) {
            r.qty->amount()->setValue(QVariant());
            r.qty->unit()->setCode(1);
        }
        for (const waste::OpRow &o : ops) {
            if (o.posizione != pos_)
                continue;
            Row *row = find(o.codice);
            if (!row)
                row = &addRow(o.codice, QString());
            row->qty->amount()->setValue(o.qta.isNull() ? QVariant(qlonglong(0)) : o.qta);
            row->qty->unit()->setCode(o.umi);
        }
    }

    QVector<waste::OpRow> rows() const
    {
        QVector<waste::OpRow> out;
        for (const Row &r : rows_) {
            const QVariant v = r.qty->amount()->value();
            if (v.isNull())
                continue;
            out.append({pos_, r.code, v, r.qty->unit()->code()});
        }
        return out;
    }

    ui::QtyBox *quantity(const QString &code) const
    {
        for (const Row &r : rows_)
            if (r.code == code)
                return r.qty;
        return nullptr;
    }

private:
    struct Row {
        QString code;
        ui::QtyBox *qty;
    };
    Row *find(const QString &code)
    {
        for (Row &r : rows_)
            if (r.code == code)
                return &r;
        return nullptr;
    }
    Row &addRow(const QString &code, const QString &desc)
    {
        QWidget *inner = grid_->parentWidget();
        const int row = grid_->rowCount();
        QString text = code;
        if (!desc.isEmpty())
            text += QStringLiteral(" - ") + (desc.size() > 70 ? desc.left(67) + QStringLiteral("...") : desc);
        auto *l = new QLabel(text, inner);
        l->setToolTip(desc);
        auto *q = new ui::QtyBox(inner);
        q->setObjectName(QStringLiteral("op") + code);
        l->setBuddy(q->amount());
        QObject::connect(q->amount(), &QLineEdit::textEdited, this, [this] { edited_(); });
        QObject::connect(q->unit(), &QComboBox::activated, this, [this] { edited_(); });
        grid_->addWidget(l, row, 0);
        grid_->addWidget(q, row, 1);
        rows_.append({code, q});
        return rows_.last();
    }

    int pos_;
    std::function<void()> edited_;
    QGridLayout *grid_;
    QVector<Row> rows_;
};

namespace {

ui::RecordLayout moduleLayout(const waste::ModuleKind &m)
{
    ui::RecordLayout s;
    s.title = m.title;
    s.navText = QStringLiteral("Modulo");
    s.newText = QStringLiteral("&Nuovo modulo");
    s.saveText = QStringLiteral("Sal&va modulo");
    s.deleteText = QStringLiteral("Eli&mina modulo");
    QSet<QString> lists = {QStringLiteral("nazID")};
    if (m.operations)
        lists << QStringLiteral("Privati");
    s.fields = laidOut(m.fields, lists);
    s.listHeaders = waste::listColumns(m);
    return s;
}

ui::RecordBinding moduleBinding(AppContext &ctx, const waste::ModuleKind &m, qint64 parentId,
                                const QString &code, const waste::Attachment &a,
                                std::shared_ptr<ModuleForm *> self)
{
    ui::RecordBinding b;
    const waste::ModuleKind *mp = &m;
    AppContext *c = &ctx;
    b.keys = [c, mp, parentId, a](qint64) { return waste::ids(*c, *mp, parentId, a); };
    b.load = [c, mp](qint64 k) { return waste::load(*c, *mp, k); };
    b.blank = [mp] { return waste::blank(*mp); };
    b.remove = [c, mp](qint64 k) { return waste::remove(*c, *mp, k); };
    b.listRow = [c, mp, parentId, a](qint64 k) {
        for (const waste::ModuleRow &r : waste::list(*c, *mp, parentId, a))
            if (r.id == k)
                return r.texts;
        return QStringList();
    };
    b.exitRule = [c, mp](const QString &field, fields::Record &r) {
        if (field == QLatin1String("CodFisc")) {
            // Counterparts may be foreign: a code of another form is confirmed
            // as typed; an Italian one has its check character verified.
            const QString typed = r.value(field).toString();
            const bool italianForm = refdata::taxCodeFormOk(refdata::normalizedTaxCode(typed));
            return refdata::checkTaxCode(typed, true, !italianForm, c->msg);
        }
        if (field == QLatin1String("Cap"))
            return refdata::checkPostcode(r.value(field).toString().trimmed(), c->msg);
        Q_UNUSED(mp);
        return true;
    };
    b.save = [c, mp, parentId, code, a, self](qint64 k, const fields::Record &r, int *failed) -> qint64 {
        ModuleForm *form = *self;
        const QVector<waste::OpRow> ops = form->operations();
        for (const waste::OpRow &o : ops) {
            if (o.qta.toLongLong() == 0 || o.umi == 1 || o.umi == 2)
                continue;
            c->msg.information(fields::unitMissingMessage(o.codice));
            if (OperationGrid *g = form->grid(o.posizione))
                if (ui::QtyBox *q = g->quantity(o.codice))
                    form->fields()->focusWidget(q->unit());
            *failed = -1;
            return 0;
        }
        const waste::Check chk = waste::saveCheck(*c, *mp, parentId, k, code, r, ops);
        if (chk.moveTo > 0) {
            const qint64 to = chk.moveTo;
            QTimer::singleShot(0, form, [form, to] { form->showRecord(to); });
            *failed = -1;
            return 0;
        }
        if (!chk.ok()) {
            *failed = chk.field;
            const QString name = chk.field >= 0 ? mp->fields[chk.field].name : QString();
            QComboBox *list = name == QLatin1String("nazID") ? form->countryList()
                              : (name == QLatin1String("Privati") ? form->plantList() : nullptr);
            if (list)
                QTimer::singleShot(0, list, [list] { list->setFocus(); });
            return 0;
        }
        return waste::save(*c, *mp, parentId, k, code, r, ops, a);
    };
    return b;
}

} // namespace

ModuleForm::ModuleForm(AppContext &ctx, const waste::ModuleKind &m, qint64 parentId, const QString &wasteCode,
                       QWidget *parent, const waste::Attachment &a)
    : ModuleForm(ctx, m, parentId, wasteCode, parent, a, std::make_shared<ModuleForm *>(nullptr))
{
}

ModuleForm::ModuleForm(AppContext &ctx, const waste::ModuleKind &m, qint64 parentId, const QString &wasteCode,
                       QWidget *parent, const waste::Attachment &a, std::shared_ptr<ModuleForm *> self)
    : ui::RecordForm(ctx, moduleLayout(m), moduleBinding(ctx, m, parentId, wasteCode, a, self), parent),
      ctx_(ctx), m_(m), parentId_(parentId), code_(wasteCode), attach_(a)
{
    *self = this;
    setObjectName(QStringLiteral("Modulo") + m.code);
    ui::FieldForm *ff = fields();

    if (m.sides) {
        ListItems countries{{0, QString()}};
        QSqlQuery q = ctx.db.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni ORDER BY nazDesc"));
        while (q.next())
            countries.append({q.value(0).toInt(), q.value(1).toString()});
        country_ = attachList(this, QStringLiteral("nazID"), countries);
    }
    if (m.operations) {
        ListItems plants{{0, QString()}};
        for (int i = 0; i < codes::mgPlantTypes().size(); ++i)
            plants.append({i + 1, codes::mgPlantTypes()[i]});
        plant_ = attachList(this, QStringLiteral("Privati"), plants);
    }
    if (m.counterpart) {
        register_ = new QPushButton(QStringLiteral("&Anagrafiche..."), this);
        register_->setToolTip(QStringLiteral("Apre lista delle anagrafiche"));
        register_->setProperty("causesValidation", false);
        buttonRow()->insertWidget(0, register_);
        connect(register_, &QPushButton::clicked, this, &ModuleForm::chooseCompany);
    }
    if (QPushButton *l = listButton()) {
        // The list window of the modules, titled by type ("Lista dei moduli RT").
        l->setToolTip(QStringLiteral("Apre lista dei moduli inseriti"));
        l->disconnect();
        connect(l, &QPushButton::clicked, this, [this] {
            if (!confirmLeave())
                return;
            ui::ListWindow w(m_.listTitle, waste::listColumns(m_), this);
            for (const waste::ModuleRow &r : waste::list(ctx_, m_, parentId_, attach_))
                w.addRow(r.texts, r.id);
            w.select(currentKey());
            if (w.exec() == QDialog::Accepted)
                showRecord(w.chosen().toLongLong());
        });
    }
    if (fields::position(m.fields, QStringLiteral("RegCE")) >= 0) {
        QWidget *regCE = ff->control(QStringLiteral("RegCE"));
        auto *grid = qobject_cast<QGridLayout *>(regCE->parentWidget()->layout());
        auto *b = new QToolButton(regCE->parentWidget());
        b->setText(QStringLiteral("..."));
        b->setObjectName(QStringLiteral("RegCEButton"));
        b->setToolTip(QStringLiteral("Apre tabella codici regolamento"));
        b->setProperty("causesValidation", false);
        int row, col, rs, cs;
        grid->getItemPosition(grid->indexOf(regCE), &row, &col, &rs, &cs);
        grid->addWidget(b, row, col + cs);
        connect(b, &QToolButton::clicked, this, &ModuleForm::chooseRegCE);
    }

    if (m.operations) {
        // Four tabs: the recovery grid, the disposal grid with its landfill
        // frame, the art. 191 grid with its frame, the stock at 31/12.
        tabs_ = new QTabWidget(ff);
        const QVector<refdata::CodeRow> all = refdata::codeList(ctx.db, refdata::CodeList::Types1and2);
        QVector<refdata::CodeRow> recovery, disposal;
        for (const refdata::CodeRow &c : all)
            (c.type == 1 ? recovery : disposal).append(c);
        auto edited = [this] { fields()->setModified(true); };
        struct Tab {
            const char *title;
            int pos;   // grid, 0: none
            QString frame;
        };
        const QString dep = m.fields[fields::position(m.fields, QStringLiteral("qtaDep"))].group;
        const QString dep191 = m.fields[fields::position(m.fields, QStringLiteral("qta191"))].group;
        const Tab tabs[] = {{"&Recupero", codes::GridRecupero, {}},
                            {"&Smaltimento", codes::GridSmaltimento, dep},
                            {"Smaltimento art. &191", codes::GridSmaltimento191, dep191},
                            {"&Giacenza al 31/12", 0, QStringLiteral("Giacenza al 31/12")}};
        for (const Tab &t : tabs) {
            auto *page = new QWidget(tabs_);
            auto *lay = new QVBoxLayout(page);
            if (t.pos > 0) {
                auto *g = new OperationGrid(codes::mgGridHeading(t.pos), t.pos == codes::GridRecupero ? recovery : disposal,
                                            t.pos, edited, page);
                grids_.append(g);
                lay->addWidget(g, 1);
            }
            if (!t.frame.isEmpty())
                if (QGroupBox *box = ff->groupBox(t.frame))
                    lay->addWidget(box);
            if (t.pos == 0)
                lay->addStretch();
            tabs_->addTab(page, QString::fromUtf8(t.title));
        }
        if (auto *outer = qobject_cast<QVBoxLayout *>(ff->layout()))
            outer->insertWidget(1, tabs_, 1);
        resize(760, 620);
    } else if (!m.opTable.isEmpty()) {
        // DR modules of the special streams: one grid of destination operations.
        auto *g = new OperationGrid(codes::destinationGridHeading(),
                                    refdata::codeList(ctx.db, refdata::CodeList::Types11and12), 1,
                                    [this] { fields()->setModified(true); }, ff);
        grids_.append(g);
        if (auto *outer = qobject_cast<QVBoxLayout *>(ff->layout()))
            outer->addWidget(g, 1);
        resize(760, 680);
    }

    if (m.listDelete || m.operations) {
        // TE and RE: the modules of the scheda stand in a table beside the
        // form; MG: the list of its modules with "Seleziona".
        if (m.operations)
            sidePanel()->addWidget(new QLabel(QStringLiteral("Elenco dei moduli MG"), this));
        table_ = new QTreeWidget(this);
        table_->setObjectName(QStringLiteral("moduleTable"));
        table_->setRootIsDecorated(false);
        table_->setHeaderLabels(waste::listColumns(m));
        table_->setMinimumWidth(360);
        table_->setProperty("causesValidation", false);
        sidePanel()->addWidget(table_, 1);
        auto select = [this](QTreeWidgetItem *it) {
            if (!it)
                return;
            const qint64 k = it->data(0, Qt::UserRole).toLongLong();
            if (k != currentKey() && confirmLeave())
                showRecord(k);
        };
        connect(table_, &QTreeWidget::itemActivated, this, select);
        if (m.operations) {
            table_->setMinimumWidth(260);
            auto *pick = new QPushButton(QStringLiteral("Selezi&ona"), this);
            pick->setProperty("causesValidation", false);
            sidePanel()->addWidget(pick);
            connect(pick, &QPushButton::clicked, this, [this, select] { select(table_->currentItem()); });
        }
    }

    // Whatever opens or closes fields.
    if (auto *c = qobject_cast<QCheckBox *>(ff->control(QStringLiteral("Privati"))))
        connect(c, &QCheckBox::toggled, this, &ModuleForm::applyEnablement);
    if (auto *o = qobject_cast<ui::OptionGroup *>(ff->control(QStringLiteral("estero"))))
        connect(o, &ui::OptionGroup::changed, this, &ModuleForm::applyEnablement);
    if (m.privati)
        if (auto *mun = qobject_cast<ui::ComboCom *>(ff->control(QStringLiteral("prvIstat"))))
            connect(mun, &ui::ComboCom::changed, this, &ModuleForm::municipalityChosen);

    connect(this, &RecordForm::shown, this, &ModuleForm::shownRecord);
    connect(this, &RecordForm::saved, this, [this] {
        shownRecord();
    });
    connect(this, &RecordForm::removed, this, &ModuleForm::refreshTable);

    const QVector<qint64> keys = waste::ids(ctx, m, parentId, a);
    showRecord(keys.isEmpty() ? 0 : keys.first());
    QTimer::singleShot(0, this, [this] { fields()->focusField(0); });
}

OperationGrid *ModuleForm::grid(int posizione) const
{
    for (OperationGrid *g : grids_)
        if (g->posizione() == posizione)
            return g;
    return nullptr;
}

QVector<waste::OpRow> ModuleForm::operations() const
{
    QVector<waste::OpRow> out;
    for (OperationGrid *g : grids_)
        out += g->rows();
    return out;
}

void ModuleForm::shownRecord()
{
    syncList(this, country_, QStringLiteral("nazID"));
    syncList(this, plant_, QStringLiteral("Privati"));
    if (!grids_.isEmpty()) {
        const QVector<waste::OpRow> ops = currentKey() > 0 ? waste::loadOperations(ctx_, m_, currentKey())
                                                           : QVector<waste::OpRow>{};
        for (OperationGrid *g : grids_)
            g->setRows(ops);
    }
    if (ui::ComboCom *mun = qobject_cast<ui::ComboCom *>(fields()->control(QStringLiteral("prvIstat"))))
        if (QWidget *prov = fields()->control(QStringLiteral("Provincia")))
            if (auto *e = qobject_cast<QLineEdit *>(prov))
                e->setText(mun->key() ? mun->row().prvSigla : QString());
    applyEnablement();
    refreshTable();
}

void ModuleForm::applyEnablement()
{
    fields::Record r = fields()->record();
    // Private persons stand for an Italian municipality: the choice follows.
    if (m_.privati && r.value(QStringLiteral("Privati")).toInt() != 0
        && r.value(QStringLiteral("estero")).toInt() == waste::SideEstero)
        if (auto *o = qobject_cast<ui::OptionGroup *>(fields()->control(QStringLiteral("estero")))) {
            o->setValue(waste::SideItalia);
            r.insert(QStringLiteral("estero"), int(waste::SideItalia));
        }
    for (const fields::Field &f : m_.fields) {
        const bool on = waste::fieldEnabled(m_, code_, r, f.name);
        if (QWidget *w = fields()->control(f.name))
            w->setEnabled(on);
        if (QLabel *l = fields()->label(f.name))
            l->setEnabled(on);
        if (f.name == QLatin1String("nazID") && country_)
            country_->setEnabled(on);
        if (f.name == QLatin1String("RegCE"))
            if (auto *b = findChild<QToolButton *>(QStringLiteral("RegCEButton")))
                b->setEnabled(on);
    }
}

void ModuleForm::municipalityChosen()
{
    const fields::Record r = fields()->record();
    if (r.value(QStringLiteral("Privati")).toInt() == 0)
        return;
    const qint64 other = waste::privateModuleFor(ctx_, m_, parentId_, r.value(QStringLiteral("prvIstat")).toInt(),
                                                 r.value(QStringLiteral("comIstat")).toInt(), currentKey());
    if (other <= 0)
        return;
    // Asked once the choice is settled, then the form moves to that module.
    QTimer::singleShot(0, this, [this, other] {
        if (ctx_.msg.question(waste::privateQuestion()))
            showRecord(other);
    });
}

void ModuleForm::refreshTable()
{
    if (!table_)
        return;
    table_->clear();
    QVector<waste::ModuleRow> rows = waste::list(ctx_, m_, parentId_, attach_);
    if (!m_.newLine.isEmpty())
        rows.append({0, {m_.newLine}}); // chosen, it starts a new module
    for (const waste::ModuleRow &r : rows) {
        auto *it = new QTreeWidgetItem(table_, r.texts);
        it->setData(0, Qt::UserRole, r.id);
        if (r.id == currentKey())
            table_->setCurrentItem(it);
    }
    // The last column fills the rest of the list.
    for (int c = 0; c + 1 < table_->columnCount(); ++c)
        table_->resizeColumnToContents(c);
}

void ModuleForm::chooseCompany()
{
    ui::ListWindow w(QStringLiteral("Lista delle anagrafiche"),
                     {QStringLiteral("Codice fiscale"), QStringLiteral("Ragione sociale"), QStringLiteral("Via"),
                      QStringLiteral("Comune"), QStringLiteral("Prov.")},
                     this);
    for (const anag::CompanyLine &c : anag::companyList(ctx_.db))
        w.addRow({c.codFisc, c.ragSoc, c.via, c.comDesc, c.prvSigla}, c.codFisc);
    if (w.exec() != QDialog::Accepted)
        return;
    const std::optional<anag::Company> c = anag::readCompany(ctx_.db, w.chosen().toString());
    if (!c)
        return;
    fields::Record v{{QStringLiteral("CodFisc"), c->codFisc}, {QStringLiteral("RagSoc"), c->ragSoc}};
    if (m_.sides) {
        v.insert(QStringLiteral("Via"), c->via);
        v.insert(QStringLiteral("Civico"), c->civico);
        v.insert(QStringLiteral("Cap"), c->cap);
        v.insert(QStringLiteral("prvIstat"), c->prvIstat);
        v.insert(QStringLiteral("comIstat"), c->comIstat);
        v.insert(QStringLiteral("estero"), int(waste::SideItalia));
    }
    setFieldValues(this, v);
    shownRecord();
}

void ModuleForm::chooseRegCE()
{
    ui::ListWindow w(QStringLiteral("Codici regolamento (CE) 1013/2006"),
                     {QStringLiteral("Codice"), QStringLiteral("Descrizione")}, this);
    for (const refdata::PickRow &r : refdata::regCEList(ctx_.db))
        w.addRow({r.code, r.desc}, r.code);
    if (w.exec() == QDialog::Accepted)
        setFieldValues(this, {{QStringLiteral("RegCE"), w.chosen().toString()}});
}

// ---------------------------------------------------------------- scheda

namespace {

ui::RecordLayout schedaLayout(const waste::SchedaKind &s)
{
    ui::RecordLayout r;
    r.title = s.title;
    r.navText = QStringLiteral("Scheda ") + s.name;
    fields::Table t = laidOut(s.fields);
    // The seven state flags in two rows.
    int i = 0;
    for (fields::Field &f : t)
        if (f.kind == fields::Kind::Check) {
            f.row = i / 4;
            f.col = i % 4;
            ++i;
        }
    // The stock at 31/12 stands under its own line.
    for (fields::Field &f : t)
        if (f.name == QLatin1String("qtaGiacRec") || f.name == QLatin1String("qtaGiacSmalt"))
            f.row += 1;
    r.fields = t;
    r.listHeaders = {QStringLiteral("Codice"), QStringLiteral("Descrizione"), QStringLiteral("Classe")};
    return r;
}

ui::RecordBinding schedaBinding(AppContext &ctx, const waste::SchedaKind &s, qint64 saID,
                                std::shared_ptr<ui::RecordForm *> self)
{
    ui::RecordBinding b;
    AppContext *c = &ctx;
    const waste::SchedaKind *sp = &s;
    b.keys = [c, sp, saID](qint64) { return waste::ids(*c, *sp, saID); };
    b.load = [c, sp](qint64 k) { return waste::load(*c, *sp, k); };
    b.blank = [sp] { return waste::blank(*sp); };
    b.remove = [c, sp](qint64 k) { return waste::remove(*c, *sp, k); };
    b.save = [c, sp, saID](qint64 k, const fields::Record &r, int *failed) -> qint64 {
        *failed = waste::saveCheck(*c, *sp, r);
        if (*failed >= 0)
            return 0;
        return waste::save(*c, *sp, saID, k, r);
    };
    b.exitRule = [c, sp, saID, self](const QString &field, fields::Record &r) {
        if (field != QLatin1String("rifCod"))
            return true;
        const waste::CodeExit e = waste::codeExit(*c, *sp, saID, (*self)->currentKey(),
                                                  r.value(field).toString().trimmed());
        if (e == waste::CodeExit::Abandoned)
            r.insert(field, QString());
        if (auto *desc = (*self)->findChild<QLabel *>(QStringLiteral("rifDesc")))
            desc->setText(e == waste::CodeExit::Ok ? waste::wasteDescription(*c, r.value(field).toString().trimmed())
                                                   : QString());
        return e == waste::CodeExit::Ok;
    };
    return b;
}

} // namespace

SchedaForm::SchedaForm(AppContext &ctx, const waste::SchedaKind &s, const QVector<ModuleButton> &modules,
                       QWidget *parent)
    : SchedaForm(ctx, s, modules, parent, currentDeclaration(ctx), std::make_shared<ui::RecordForm *>(nullptr))
{
}

SchedaForm::SchedaForm(AppContext &ctx, const waste::SchedaKind &s, const QVector<ModuleButton> &modules,
                       QWidget *parent, qint64 saID, std::shared_ptr<ui::RecordForm *> self)
    : ui::RecordForm(ctx, schedaLayout(s), schedaBinding(ctx, s, saID, self), parent), ctx_(ctx), s_(s), saID_(saID)
{
    *self = this;
    setObjectName(QStringLiteral("Scheda") + s.name);
    ui::FieldForm *ff = fields();

    // Beside the code: the waste table button and the description.
    QWidget *codeBox = ff->control(QStringLiteral("rifCod"));
    auto *head = qobject_cast<QGridLayout *>(codeBox->parentWidget()->layout());
    auto *table = new QToolButton(codeBox->parentWidget());
    table->setText(QStringLiteral("..."));
    table->setObjectName(QStringLiteral("wasteTable"));
    table->setToolTip(QStringLiteral("Apre tabella rifiuti"));
    table->setProperty("causesValidation", false);
    desc_ = new QLabel(codeBox->parentWidget());
    desc_->setWordWrap(true);
    desc_->setObjectName(QStringLiteral("rifDesc"));
    head->addWidget(table, 0, 2);
    head->addWidget(desc_, 0, 3);
    head->setColumnStretch(1, 0);
    head->setColumnStretch(3, 1);
    connect(table, &QToolButton::clicked, this, &SchedaForm::openWasteTable);

    if (QWidget *giac = ff->control(QStringLiteral("qtaGiacRec"))) {
        auto *grid = qobject_cast<QGridLayout *>(giac->parentWidget()->layout());
        int row, col, rs, cs;
        grid->getItemPosition(grid->indexOf(giac), &row, &col, &rs, &cs);
        grid->addWidget(new QLabel(QStringLiteral("Rifiuto in giacenza presso il produttore al 31/12/%1 in attesa di "
                                                  "essere conferito a terzi:")
                                       .arg(ctx.app.year()),
                                   giac->parentWidget()),
                        row - 1, 0, 1, 3);
    }
    desc_->setMinimumHeight(desc_->fontMetrics().lineSpacing() * 2 + 4);

    for (const ModuleButton &mb : modules) {
        auto *b = new QPushButton(mb.caption, this);
        b->setObjectName(mb.kind->code);
        b->setAutoDefault(false);
        QGridLayout *grid = nullptr;
        int row = 0;
        if (!mb.beside.isEmpty()) {
            QWidget *w = ff->control(mb.beside);
            grid = qobject_cast<QGridLayout *>(w->parentWidget()->layout());
            int col, rs, cs;
            grid->getItemPosition(grid->indexOf(w), &row, &col, &rs, &cs);
        } else if (!mb.group.isEmpty()) {
            grid = ff->groupGrid(mb.group);
            row = grid ? grid->rowCount() : 0;
            if (grid && !mb.rowLabel.isEmpty())
                grid->addWidget(new QLabel(mb.rowLabel, grid->parentWidget()), row, 0, Qt::AlignRight);
        }
        if (grid)
            grid->addWidget(b, row, 2);
        else
            buttonRow()->insertWidget(int(buttons_.size()), b);
        const waste::ModuleKind *kind = mb.kind;
        connect(b, &QPushButton::clicked, this, [this, kind] { openModule(*kind); });
        buttons_.append({b, kind});
    }

    if (QPushButton *l = listButton()) {
        l->setToolTip(s.listTip);
        l->disconnect();
        connect(l, &QPushButton::clicked, this, &SchedaForm::openSchedaList);
    }
    connect(this, &RecordForm::shown, this, &SchedaForm::refreshHead);
    connect(this, &RecordForm::saved, this, &SchedaForm::refreshHead);
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(this, &RecordForm::saved, this, changed);
    connect(this, &RecordForm::removed, this, changed);
    connect(ff, &ui::FieldForm::modifiedChanged, this, [this] {
        // The code may have been changed: its description follows.
        desc_->setText(waste::wasteDescription(ctx_, fields()->record().value(QStringLiteral("rifCod")).toString()));
    });

    followDeclaration(this, saID);
    const qint64 remembered = ctx.app.readText(QStringLiteral("Qor"), s.settingsKey).toLongLong();
    const QVector<qint64> keys = waste::ids(ctx, s, saID);
    showRecord(keys.contains(remembered) ? remembered : (keys.isEmpty() ? 0 : keys.first()));
    QTimer::singleShot(0, this, [this] { fields()->focusField(0); });
}

SchedaForm::~SchedaForm()
{
    // Module windows still open go with this form: they must not call back.
    const auto open = findChildren<ModuleForm *>();
    for (ModuleForm *m : open)
        m->disconnect(this);
}

QPushButton *SchedaForm::moduleButton(const QString &code) const
{
    for (const auto &[b, kind] : buttons_)
        if (kind->code == code)
            return b;
    return nullptr;
}

QVector<const waste::ModuleKind *> SchedaForm::moduleKinds() const
{
    QVector<const waste::ModuleKind *> kinds;
    for (const auto &[b, kind] : buttons_)
        kinds << kind;
    return kinds;
}

void SchedaForm::refreshHead()
{
    desc_->setText(waste::wasteDescription(ctx_, fields()->record().value(QStringLiteral("rifCod")).toString()));
    for (const auto &[b, kind] : buttons_)
        b->setEnabled(currentKey() > 0);
}

ModuleForm *SchedaForm::openModule(const waste::ModuleKind &m)
{
    if (currentKey() <= 0 || !confirmLeave() || currentKey() <= 0)
        return nullptr;
    const QString code = fields()->record().value(QStringLiteral("rifCod")).toString();
    if (m.operations) {
        const QString notice = rif::mgNotice(code);
        if (!notice.isEmpty())
            ctx_.msg.information(notice);
    }
    auto *f = new ModuleForm(ctx_, m, currentKey(), code, this);
    const qint64 saID = saID_;
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(f, &RecordForm::saved, this, changed);
    connect(f, &RecordForm::removed, this, changed);
    showModuleWindow(ctx_, this, f, m.code);
    return f;
}

void SchedaForm::openSchedaList()
{
    const QVector<waste::SchedaRow> rows = waste::list(ctx_, s_, saID_);
    if (rows.size() < 2 || !confirmLeave())
        return;
    ui::ListWindow w(s_.listTitle, {QStringLiteral("Codice"), QStringLiteral("Descrizione"), QStringLiteral("Classe")},
                     this);
    for (const waste::SchedaRow &r : rows)
        w.addRow({r.code, r.desc, r.cls}, r.id);
    w.select(currentKey());
    if (w.exec() == QDialog::Accepted)
        showRecord(w.chosen().toLongLong());
}

void SchedaForm::openWasteTable()
{
    ui::ListWindow w(QStringLiteral("Tabella rifiuti"),
                     {QStringLiteral("Codice"), QStringLiteral("Classe"), QStringLiteral("Descrizione")}, this);
    for (const refdata::PickRow &r : refdata::wasteTable(ctx_.db))
        w.addRow({r.code, r.extra, r.desc}, r.code);
    w.select(fields()->record().value(QStringLiteral("rifCod")));
    if (w.exec() != QDialog::Accepted)
        return;
    const QString code = w.chosen().toString();
    if (waste::codeExit(ctx_, s_, saID_, currentKey(), code) != waste::CodeExit::Ok)
        return;
    setFieldValues(this, {{QStringLiteral("rifCod"), code}});
    refreshHead();
    fields()->focusField(fields::position(s_.fields, QStringLiteral("sfSolidoP")));
}

QWidget *makeRifForm(AppContext &ctx, QWidget *parent)
{
    const QString origine = QStringLiteral("ORIGINE DEL RIFIUTO");
    const QVector<ModuleButton> buttons = {
        {QStringLiteral("Moduli R&T"), &rif::module(codes::RT), QStringLiteral("qtaTerzi"), {}, {}},
        {QStringLiteral("Moduli &RE"), &rif::module(codes::RE), QStringLiteral("qtaFuori"), {}, {}},
        {QStringLiteral("Moduli T&E"), &rif::module(codes::TE), {}, QStringLiteral("TRASPORTO DEL RIFIUTO"),
         QStringLiteral("Rifiuto trasportato da terzi")},
        {QStringLiteral("Moduli &DR"), &rif::module(codes::DR), QStringLiteral("qtaCons"), {}, {}},
        {QStringLiteral("Modulo M&G"), &rif::module(codes::MG), {},
         QStringLiteral("OPERAZIONI DI RECUPERO O SMALTIMENTO SVOLTE NELL'UNITA' LOCALE"), {}},
    };
    return new SchedaForm(ctx, rif::scheda(), buttons, parent);
}

QWidget *makeIntForm(AppContext &ctx, QWidget *parent)
{
    const QVector<ModuleButton> buttons = {
        {QStringLiteral("Moduli U&O"), &intsec::module(codes::UO), QStringLiteral("intQta"), {}, {}},
        {QStringLiteral("Moduli U&D"), &intsec::module(codes::UD), {}, {}, {}},
    };
    return new SchedaForm(ctx, intsec::scheda(), buttons, parent);
}

} // namespace wastegui
