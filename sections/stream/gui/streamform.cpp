#include "sections/stream/gui/streamform.h"

#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/rif/gui/formkit.h"
#include "sections/rif/gui/wasteforms.h"
#include "shell/messages.h"
#include "shell/qty.h"
#include "ui/controls.h"
#include "ui/events.h"
#include "ui/fieldform.h"

#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QVBoxLayout>

namespace streamgui {

namespace {

ui::RecordLayout recordSpec(const stream::StreamSpec &s)
{
    ui::RecordLayout r;
    r.title = s.title;
    r.navText = QStringLiteral("Scheda ") + s.name;
    r.fields = s.categories ? wastegui::laidOut(s.fields, {QStringLiteral("srRAEE")}) : wastegui::laidOut(s.fields);
    r.listHeaders = s.categories ? QStringList{QStringLiteral("Scheda"), QStringLiteral("Categoria RAEE")}
                                 : QStringList{QStringLiteral("Scheda")};
    return r;
}

ui::RecordBinding binding(AppContext &ctx, const stream::StreamSpec &s, qint64 saID,
                          std::shared_ptr<StreamForm *> self)
{
    ui::RecordBinding b;
    AppContext *c = &ctx;
    const stream::StreamSpec *sp = &s;
    b.keys = [c, sp, saID](qint64) { return stream::ids(*c, *sp, saID); };
    b.load = [c, sp](qint64 k) { return stream::load(*c, *sp, k); };
    b.blank = [sp] { return stream::blank(*sp); };
    b.remove = [c, sp](qint64 k) { return stream::remove(*c, *sp, k); };
    b.listRow = [c, sp](qint64 k) {
        QStringList t{QStringLiteral("Scheda ") + sp->name};
        if (sp->categories)
            t << stream::raeeCategoryText(c->db, stream::load(*c, *sp, k).value(QStringLiteral("srRAEE")).toInt());
        return t;
    };
    b.save = [c, sp, saID, self](qint64 k, const fields::Record &r, int *failed) -> qint64 {
        const QVector<stream::Row> rows = (*self)->rows();
        const int bad = stream::saveCheck(*c, *sp, saID, k, r, rows);
        if (bad >= 0) {
            *failed = bad < sp->fields.size() ? bad : -1;
            return 0;
        }
        return stream::save(*c, *sp, saID, k, r, rows);
    };
    return b;
}

} // namespace

StreamForm::StreamForm(AppContext &ctx, const stream::StreamSpec &s, qint64 saID, QWidget *parent)
    : StreamForm(ctx, s, saID, parent, std::make_shared<StreamForm *>(nullptr))
{
}

StreamForm::StreamForm(AppContext &ctx, const stream::StreamSpec &s, qint64 saID, QWidget *parent,
                       std::shared_ptr<StreamForm *> self)
    : ui::RecordForm(ctx, recordSpec(s), binding(ctx, s, saID, self), parent), ctx_(ctx), s_(s), saID_(saID)
{
    *self = this;
    setObjectName(s.table + s.name);
    ui::FieldForm *ff = fields();
    // The frames two by two, a last odd one across the width: received and
    // produced side by side, the delivered waste of TRA-RAEE below them.
    auto *frames = new QWidget(this);
    auto *fl = new QGridLayout(frames);
    fl->setContentsMargins(0, 0, 0, 0);
    for (int pos = 1; pos <= s.frames.size(); ++pos) {
        auto *box = new QGroupBox(s.frames[pos - 1], frames);
        auto *l = new QVBoxLayout(box);
        auto *g = new imbgui::WasteGrid(ctx, pos, box);
        g->setMinimumHeight(150);
        const stream::StreamSpec *sp = &s_;
        g->setRules(
            [this, sp](int p, const QString &typed, const QVector<imb::Row> &others) {
                QVector<stream::Row> rows;
                for (const imb::Row &o : others)
                    rows << stream::Row{o.id, o.posizione, o.rifCod, o.qta, o.umi};
                return stream::codeEntry(ctx_, *sp, p, typed.trimmed(), rows);
            },
            [this, sp](const imb::Row &r) {
                return stream::removeRow(ctx_, *sp, currentKey(), {r.id, r.posizione, r.rifCod, r.qta, r.umi});
            });
        connect(g, &imbgui::WasteGrid::edited, this, [this] { fields()->setModified(true); });
        l->addWidget(g);
        const int i = pos - 1;
        fl->addWidget(box, i / 2, i % 2, 1, pos == s.frames.size() && i % 2 == 0 ? 2 : 1);
        grids_.append(g);
    }
    if (auto *outer = qobject_cast<QVBoxLayout *>(ff->layout()))
        outer->insertWidget(0, frames, 1);

    if (s.categories) {
        wastegui::ListItems items{{0, QString()}};
        items += stream::raeeCategories(ctx.db);
        category_ = wastegui::attachList(this, QStringLiteral("srRAEE"), items);
    }
    // The module buttons stand in a row of their own above the navigator's,
    // which has no room for four more.
    auto *moduleRow = new QHBoxLayout;
    moduleRow->addStretch();
    const char *captions[] = {"", "Moduli RT", "Moduli DR", "Moduli TE", "Moduli MG"};
    for (int t = codes::RT; t <= codes::MG; ++t) {
        auto *b = new QPushButton(QString::fromLatin1(captions[t]) + s.suffix, this);
        b->setObjectName(stream::module(s, t).code);
        b->setAutoDefault(false);
        b->setProperty("causesValidation", false);
        connect(b, &QPushButton::clicked, this, [this, t] { openModules(t); });
        moduleRow->addWidget(b);
        modules_.append(b);
    }
    if (auto *outer = qobject_cast<QVBoxLayout *>(layout())) // above the navigator and buttons, the last row
        outer->insertLayout(outer->count() - 1, moduleRow);
    connect(this, &RecordForm::shown, this, &StreamForm::shownScheda);
    connect(this, &RecordForm::saved, this, &StreamForm::shownScheda);
    // The summary beside SA1 follows what is saved or removed here.
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(this, &RecordForm::saved, this, changed);
    connect(this, &RecordForm::removed, this, changed);
    const QVector<qint64> keys = stream::ids(ctx, s, saID);
    showRecord(keys.isEmpty() ? 0 : keys.first());
    resize(980, 720);
}

QVector<stream::Row> StreamForm::rows() const
{
    QVector<stream::Row> out;
    for (imbgui::WasteGrid *g : grids_)
        for (const imb::Row &r : g->rows())
            out << stream::Row{r.id, r.posizione, r.rifCod, r.qta, r.umi};
    return out;
}

void StreamForm::shownScheda()
{
    QVector<imb::Row> rows;
    if (currentKey() > 0)
        for (const stream::Row &r : stream::loadRows(ctx_, s_, currentKey())) {
            imb::Row i;
            i.id = r.id;
            i.posizione = r.posizione;
            i.rifCod = r.rifCod;
            i.qta = r.qta;
            i.umi = r.umi;
            rows << i;
        }
    if (category_)
        wastegui::syncList(this, category_, QStringLiteral("srRAEE"));
    const bool wasModified = fields()->isModified();
    for (imbgui::WasteGrid *g : grids_)
        g->setRows(rows);
    fields()->setModified(wasModified);
    for (QPushButton *b : modules_)
        b->setEnabled(currentKey() > 0);
}

QWidget *StreamForm::openModules(int tipoMod, int choice)
{
    if (currentKey() <= 0 || !confirmLeave())
        return nullptr;
    const QVector<stream::Attachable> found = stream::attachable(ctx_, s_, currentKey(), tipoMod);
    if (found.isEmpty()) {
        ctx_.msg.information(QStringLiteral("Nessun rifiuto trovato."));
        return nullptr;
    }
    const waste::ModuleKind &m = stream::module(s_, tipoMod);
    if (choice < 0) {
        ui::ListWindow w(QStringLiteral("Lista dei rifiuti - Moduli ") + m.code,
                         {QStringLiteral("Rifiuto"), QStringLiteral("Quantità (Kg)"), QStringLiteral("Moduli")}, this);
        for (int i = 0; i < found.size(); ++i)
            w.addRow({found[i].label, Qty::fromMilli(found[i].totQta).format(3), QString::number(found[i].moduli)}, i);
        if (w.exec() != QDialog::Accepted || !w.chosen().isValid())
            return nullptr;
        choice = w.chosen().toInt();
    }
    if (choice >= found.size())
        return nullptr;
    auto *f = new wastegui::ModuleForm(ctx_, m, currentKey(), found[choice].rifCod, nullptr,
                                       {{QStringLiteral("rifCod"), found[choice].rifCod}});
    f->setWindowTitle(m.title + QStringLiteral(" - ") + found[choice].label);
    const qint64 saID = saID_;
    auto changed = [saID] { Q_EMIT ui::Events::instance().sectionsChanged(saID); };
    connect(f, &RecordForm::saved, this, changed);
    connect(f, &RecordForm::removed, this, changed);
    wastegui::showModuleWindow(ctx_, this, f, m.code);
    return f;
}

QWidget *makeVfuForm(AppContext &ctx, QWidget *parent, int vfuTipo)
{
    return new StreamForm(ctx, stream::vfu(vfuTipo), wastegui::currentDeclaration(ctx), parent);
}

QWidget *makeRaeeForm(AppContext &ctx, QWidget *parent, int srTipo)
{
    return new StreamForm(ctx, stream::raee(srTipo), wastegui::currentDeclaration(ctx), parent);
}

} // namespace streamgui
