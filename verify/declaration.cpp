#include "verify/declaration.h"

#include "shell/dbstatement.h"

#include "shell/schema/schema.h"

#include <QHash>

#include <algorithm>
#include <array>
#include <memory>

namespace verify {

Qty Module::opsSum(const std::function<bool(const QString &)> &code) const
{
    Qty s;
    for (const Operation &o : ops)
        if (code(o.code))
            s += o.kg;
    return s;
}

bool Module::hasOp(const QString &code) const
{
    for (const Operation &o : ops)
        if (o.code.compare(code, Qt::CaseInsensitive) == 0)
            return true;
    return false;
}

Qty Module::opQty(const QString &code) const
{
    return opsSum([&](const QString &c) { return c.compare(code, Qt::CaseInsensitive) == 0; });
}

int Module::treatmentCount() const
{
    int n = 0;
    for (Qty q : {smalt, dep, q191, inc, disc})
        if (q.positive())
            ++n;
    return n;
}

int opNumber(const QString &code, QChar letter)
{
    const QString c = code.trimmed().toUpper();
    if (c.size() < 2 || c.at(0) != letter)
        return 0;
    bool ok = false;
    const int n = c.mid(1).toInt(&ok);
    return ok ? n : 0;
}

bool isRecovery(const QString &code)
{
    const int n = opNumber(code, u'R');
    return n >= 1 && n <= 13;
}

bool isDisposal(const QString &code)
{
    const int n = opNumber(code, u'D');
    return n >= 1 && n <= 15;
}

std::vector<const Module *> RifScheda::ofType(int t) const
{
    std::vector<const Module *> out;
    for (const Module &m : mods)
        if (m.tipo == t)
            out.push_back(&m);
    return out;
}

bool Authorisation::landfillData() const
{
    for (int i = 0; i < 3; ++i)
        if (crClass[i] > 0 || crQta[i] > 0)
            return true;
    return false;
}

Qty StreamScheda::amount(const char *column) const
{
    for (const auto &[name, q] : amounts)
        if (name == QLatin1String(column))
            return q;
    return {};
}

bool Declaration::hasMat() const
{
    for (int i = 1; i <= 20; ++i)
        if (materials[i].positive())
            return true;
    return false;
}

std::vector<const Module *> Declaration::mgModules() const
{
    std::vector<const Module *> out;
    for (const RifScheda &s : rif)
        for (const Module &m : s.mods)
            if (m.tipo == 4)
                out.push_back(&m);
    for (const auto *list : {&vfu, &imb, &raee})
        for (const StreamScheda &s : *list)
            for (const Module &m : s.mods)
                if (m.tipo == 4)
                    out.push_back(&m);
    return out;
}

bool Declaration::onlyAnagrafica() const
{
    return rif.empty() && intermediation.empty() && vfu.empty() && imb.empty() && raee.empty();
}


namespace {

using tree::Node;

// ---- what the checks read, table by table ----

// Quantity and unit columns of the materials boxes: msQta01/msUmi01 ..
// msQta20/msUmi20 (index 1..20; SezAnag has 20, the sections fewer).
const char *const MaterialQta[21] = {nullptr, "msQta01", "msQta02", "msQta03", "msQta04", "msQta05", "msQta06",
    "msQta07", "msQta08", "msQta09", "msQta10", "msQta11", "msQta12", "msQta13", "msQta14", "msQta15", "msQta16",
    "msQta17", "msQta18", "msQta19", "msQta20"};
const char *const MaterialUmi[21] = {nullptr, "msUmi01", "msUmi02", "msUmi03", "msUmi04", "msUmi05", "msUmi06",
    "msUmi07", "msUmi08", "msUmi09", "msUmi10", "msUmi11", "msUmi12", "msUmi13", "msUmi14", "msUmi15", "msUmi16",
    "msUmi17", "msUmi18", "msUmi19", "msUmi20"};

using Pairs = std::vector<std::pair<const char *, const char *>>;

const std::vector<const char *> AnagColumns = {"RagSoc", "CodFisc", "Via", "Civico", "REA", "prvIstat",
                                               "comIstat", "attIstat"};
const std::vector<const char *> ModuleColumns = {"tipoMod", "Privati", "nazID", "discDep", "disc191", "mbFlag",
                                                 "rifCod"};
const Pairs ModuleAmounts = {{"qtaMod", "umiMod"}, {"qtaSmalt", "umiSmalt"}, {"qtaDep", "umiDep"},
                             {"qta191", "umi191"}, {"qtaInc", "umiInc"}, {"qtaDisc", "umiDisc"}};
const Pairs RifAmounts = {{"qtaProd", "umiProd"}, {"qtaTerzi", "umiTerzi"}, {"qtaFuori", "umiFuori"},
                          {"qtaTras", "umiTras"}, {"qtaCons", "umiCons"}, {"qtaGiacRec", "umiGiacRec"},
                          {"qtaGiacSmalt", "umiGiacSmalt"}, {"qtaRec", "umiRec"}, {"qtaSmalt", "umiSmalt"}};
const std::vector<const char *> AutColumns = {"suEstremi", "suDataRil", "suDataScad", "suEnte", "suTipo",
    "suRecupero", "suSmaltimento", "suVFU", "suRAEE", "Incenerimento", "Coincenerimento", "incQta", "conQta",
    "crClass1", "crClass2", "crClass3", "crQta1", "crQta2", "crQta3"};
const std::vector<const char *> OpColumns = {"Posizione", "Codice", "qta", "umi"};
const std::vector<const char *> WasteRowColumns = {"Posizione", "rifCod", "allAcc", "qta", "umi"};

// The tables of a section of vehicles, packaging or electrical equipment.
struct StreamTables {
    const char *sez, *rows, *mods, *ops;
    const char *tipo;              // the scheda's type column
    bool rowsByWaste;              // rows by position, then waste code (else key)
    Pairs amounts;
};

const StreamTables Streams[3] = {
    {"SezVfu", "RecVfu", "ModVfu", "RecModVfu", "vfuTipo", true,
     {{"qtaTerzi", "umiTerzi"}, {"qtaProprio", "umiProprio"}, {"qtaSmalt", "umiSmalt"},
      {"qtaRecMat", "umiRecMat"}, {"qtaRecEner", "umiRecEner"}, {"qtaGiac", "umiGiac"},
      {"qtaPre80", "umiPre80"}, {"qtaPost80", "umiPost80"}, {"qta104", "umi104"}}},
    {"SezImb", "RecImb", "ModImb", "RecModImb", "srTipo", false,
     {{"qtaTerzi", "umiTerzi"}, {"qtaGiac", "umiGiac"}}},
    {"SezRaee", "RecRaee", "ModRaee", "RecModRaee", "srTipo", true,
     {{"srQta", "srUmi"}, {"qtaGiac", "umiGiac"}, {"qtaSmalt", "umiSmalt"}, {"qtaRecMat", "umiRecMat"},
      {"qtaRecEner", "umiRecEner"}, {"qtaAppInt", "umiAppInt"}}},
};

// Table name -> the columns read of it (a module table lacks some of the
// others' module columns: they read as null).
QHash<QString, QStringList> readColumns()
{
    QHash<QString, QStringList> out;
    auto add = [&](const char *table, const std::vector<const char *> &names, const Pairs &pairs) {
        QStringList &list = out[QString::fromLatin1(table)];
        for (const char *n : names)
            list << QString::fromLatin1(n);
        for (const auto &[q, u] : pairs)
            list << QString::fromLatin1(q) << QString::fromLatin1(u);
    };
    auto materials = [](int n) {
        Pairs out;
        for (int i = 1; i <= n; ++i)
            out.emplace_back(MaterialQta[i], MaterialUmi[i]);
        return out;
    };
    add("SezAnag", AnagColumns, materials(20));
    add("SaAut", AutColumns, {});
    add("SezRif", {"rifCod"}, RifAmounts);
    add("ModRif", ModuleColumns, ModuleAmounts);
    add("RecRif", OpColumns, {});
    add("SezInt", {"rifCod"}, {{"intQta", "intUmi"}});
    add("ModInt", ModuleColumns, ModuleAmounts);
    for (const StreamTables &t : Streams) {
        add(t.sez, {"vfuTipo", "srTipo", "srRAEE"}, t.amounts);
        add(t.sez, {}, materials(15));
        add(t.rows, WasteRowColumns, {});
        add(t.mods, ModuleColumns, ModuleAmounts);
        add(t.ops, OpColumns, {});
    }
    return out;
}

// Positions of columns in the rows of a table, each looked up once per
// table and name: names are literals, found again by address in a small
// open-addressed table per schema table (far fewer names than slots).
class Positions {
public:
    Positions() : byTable_(schema::tables().size()) {}
    int of(const schema::Table &t, const char *name)
    {
        Slots &slots = byTable_[size_t(&t - schema::tables().data())];
        size_t h = size_t((quintptr(name) * 0x9E3779B97F4A7C15ULL) >> 57);
        for (;; h = (h + 1) % slots.size()) {
            Slot &s = slots[h];
            if (s.name == name)
                return s.index;
            if (!s.name) {
                const schema::Column *c = schema::column(t, QString::fromLatin1(name));
                s = {name, c ? int(c - t.columns.data()) : -1};
                return s.index;
            }
        }
    }

private:
    struct Slot {
        const char *name = nullptr;
        int index = -1;
    };
    using Slots = std::array<Slot, 128>;
    std::vector<Slots> byTable_; // by place in the schema
};

// A row of the tree read by column name; a column the table lacks, or the
// store did not give, reads as null.
class Row {
public:
    Row(const Node &n, Positions &p) : n_(n), p_(p) {}
    const Node &node() const { return n_; }
    const QVariant &raw(const char *column) const
    {
        static const QVariant null;
        const int i = p_.of(*n_.table, column);
        return i < 0 || i >= n_.values.size() ? null : n_.values.at(i);
    }
    qint64 num(const char *column) const { return whole(raw(column)); }
    QString text(const char *column) const { return raw(column).toString(); }
    Qty kg(const char *qta, const char *umi) const
    {
        const QVariant &q = raw(qta);
        if (q.metaType() == QMetaType::fromType<qlonglong>())
            return Qty::fromMilli(*static_cast<const qlonglong *>(q.constData())).kg(int(whole(raw(umi))));
        return qtyKg(q, raw(umi));
    }

    // A whole number as the store converts it: null 0, a real by its whole part.
    static qint64 whole(const QVariant &v)
    {
        const QMetaType t = v.metaType();
        if (t == QMetaType::fromType<qlonglong>())
            return *static_cast<const qlonglong *>(v.constData());
        if (!t.isValid())
            return 0;
        if (t == QMetaType::fromType<double>())
            return qint64(*static_cast<const double *>(v.constData()));
        return v.toLongLong();
    }

private:
    const Node &n_;
    Positions &p_;
};

// The order the store gives values in: null first, then numbers, then text.
int compareStored(const QVariant &a, const QVariant &b)
{
    auto rank = [](const QMetaType &t) {
        if (!t.isValid())
            return 0;
        if (t == QMetaType::fromType<qlonglong>() || t == QMetaType::fromType<double>() || t == QMetaType::fromType<int>())
            return 1;
        return 2;
    };
    const QMetaType ta = a.metaType(), tb = b.metaType();
    const int ra = rank(ta), rb = rank(tb);
    if (ra != rb || ra == 0)
        return ra - rb;
    if (ra == 1) {
        if (ta == QMetaType::fromType<double>() || tb == QMetaType::fromType<double>()) {
            const double x = a.toDouble(), y = b.toDouble();
            return x < y ? -1 : (y < x ? 1 : 0);
        }
        const qint64 x = Row::whole(a), y = Row::whole(b);
        return x < y ? -1 : (y < x ? 1 : 0);
    }
    if (ta == QMetaType::fromType<QString>() && tb == ta)
        return static_cast<const QString *>(a.constData())->compare(*static_cast<const QString *>(b.constData()));
    return a.toString().compare(b.toString());
}

// The rows of one table under n, by the order given, then by key (the
// reader hands them by key).
using Order = int (*)(const Row &, const Row &);
std::vector<const Node *> rowsOf(const Node &n, const schema::Table *t, Positions &p, Order order = nullptr)
{
    std::vector<const Node *> out;
    for (const Node *c : n.children)
        if (c->table == t)
            out.push_back(c);
    if (order && out.size() > 1) {
        const auto less = [&](const Node *a, const Node *b) { return order(Row(*a, p), Row(*b, p)) < 0; };
        if (!std::is_sorted(out.begin(), out.end(), less))
            std::stable_sort(out.begin(), out.end(), less);
    }
    return out;
}

int byWasteCode(const Row &a, const Row &b) { return compareStored(a.raw("rifCod"), b.raw("rifCod")); }
int byType(const Row &a, const Row &b) { return compareStored(a.raw("tipoMod"), b.raw("tipoMod")); }
int byPosition(const Row &a, const Row &b) { return compareStored(a.raw("Posizione"), b.raw("Posizione")); }
int byPositionAndCode(const Row &a, const Row &b)
{
    const int c = byPosition(a, b);
    return c ? c : compareStored(a.raw("Codice"), b.raw("Codice"));
}
int byPositionAndWaste(const Row &a, const Row &b)
{
    const int c = byPosition(a, b);
    return c ? c : byWasteCode(a, b);
}
// RT modules (type 1) by private persons, the other types by key.
int rtByPrivati(const Row &a, const Row &b)
{
    if (const int c = byType(a, b))
        return c;
    if (!a.raw("tipoMod").isValid() || a.num("tipoMod") != 1)
        return 0;
    return compareStored(a.raw("Privati"), b.raw("Privati"));
}

const schema::Table *tableNamed(const char *name)
{
    return schema::table(QString::fromLatin1(name));
}

Module readModule(const Row &r)
{
    Module m;
    m.id = r.node().key();
    m.tipo = int(r.num("tipoMod"));
    m.privati = int(r.num("Privati"));
    m.nazID = int(r.num("nazID"));
    m.discDep = int(r.num("discDep"));
    m.disc191 = int(r.num("disc191"));
    m.mbFlag = int(r.num("mbFlag"));
    m.rifCod = r.text("rifCod");
    Qty *amounts[] = {&m.mod, &m.smalt, &m.dep, &m.q191, &m.inc, &m.disc};
    for (size_t i = 0; i < ModuleAmounts.size(); ++i)
        *amounts[i] = r.kg(ModuleAmounts[i].first, ModuleAmounts[i].second);
    return m;
}

// The operation rows of a module, by position and code.
void readOps(Module &m, const Node &module, const schema::Table *ops, Positions &p)
{
    for (const Node *o : rowsOf(module, ops, p, byPositionAndCode)) {
        const Row r(*o, p);
        m.ops.push_back({int(r.num("Posizione")), r.text("Codice").trimmed(), r.kg("qta", "umi")});
    }
}

} // namespace

struct Adapter::Impl {
    QSqlDatabase db;
    Positions positions;
    dbStatement comune, provincia, activity;
    QHash<QPair<qint64, qint64>, QString> comuni;
    QHash<qint64, QString> province;
    QHash<QString, bool> activities;
    QString error;

    // One text (or the presence of a row) of a reference table.
    bool lookup(dbStatement &st, const char *sql, const QVariantList &params, QString *text, bool *found)
    {
        if (!st.isValid())
            st = dbStatement(db, QString::fromLatin1(sql));
        for (qsizetype i = 0; i < params.size(); ++i)
            st.bind(int(i), params.at(i));
        if (!st.isValid() || !st.exec()) {
            error = st.error() + QStringLiteral("\n") + st.sql();
            return false;
        }
        *found = st.next();
        if (*found && text && !st.isNull(0))
            *text = st.string(0);
        st.finish();
        return true;
    }
};

Adapter::Adapter(const QSqlDatabase &db) : p_(std::make_unique<Impl>())
{
    p_->db = db;
}

Adapter::~Adapter() = default;

tree::ReadOptions Adapter::readOptions()
{
    tree::ReadOptions o;
    o.columns = readColumns();
    o.tables = o.columns.keys();
    o.tables.removeAll(QStringLiteral("SezAnag"));
    return o;
}

bool Adapter::fill(Declaration &d, const Node &a)
{
    Impl &p = *p_;
    Positions &pos = p.positions;
    d = Declaration{};
    const Row anag(a, pos);
    d.saID = a.key();

    // ---- identity, with the names of the places and the activity ----
    const QPair<qint64, qint64> place{anag.num("prvIstat"), anag.num("comIstat")};
    bool found = false;
    auto comune = p.comuni.constFind(place);
    if (comune == p.comuni.constEnd()) {
        QString name;
        if (!p.lookup(p.comune, "SELECT comDesc FROM Comuni WHERE (prvIstat = ? AND comIstat = ?)",
                      {place.first, place.second}, &name, &found)) {
            error_ = p.error;
            return false;
        }
        comune = p.comuni.insert(place, name);
    }
    auto provincia = p.province.constFind(place.first);
    if (provincia == p.province.constEnd()) {
        QString name;
        if (!p.lookup(p.provincia, "SELECT prvDesc FROM Province WHERE (prvIstat = ?)", {place.first}, &name,
                      &found)) {
            error_ = p.error;
            return false;
        }
        provincia = p.province.insert(place.first, name);
    }
    const QVariant att = anag.raw("attIstat");
    if (!att.isNull()) {
        const QString code = att.toString();
        auto known = p.activities.constFind(code);
        if (known == p.activities.constEnd()) {
            if (!p.lookup(p.activity, "SELECT 1 FROM Attivita WHERE (attCod = ?)", {code}, nullptr, &found)) {
                error_ = p.error;
                return false;
            }
            known = p.activities.insert(code, found);
        }
        d.activityFound = *known;
    }
    d.header = {anag.text("RagSoc"), anag.text("CodFisc"), *comune, *provincia, anag.text("Via"),
                anag.text("Civico"), anag.text("REA")};
    for (int i = 1; i <= 20; ++i)
        d.materials[i] = anag.kg(MaterialQta[i], MaterialUmi[i]);

    // ---- scheda RIF and modules: schede by waste code; RT modules in
    // private-person order, the other types by key ----
    static const schema::Table *sezRif = tableNamed("SezRif"), *modRif = tableNamed("ModRif"),
                               *recRif = tableNamed("RecRif");
    for (const Node *s : rowsOf(a, sezRif, pos, byWasteCode)) {
        const Row r(*s, pos);
        RifScheda sc;
        sc.id = s->key();
        sc.rifCod = r.text("rifCod");
        Qty *amounts[] = {&sc.prod, &sc.terzi, &sc.fuori, &sc.tras, &sc.cons, &sc.giacRec, &sc.giacSmalt,
                          &sc.rec, &sc.smalt};
        for (size_t i = 0; i < RifAmounts.size(); ++i)
            *amounts[i] = r.kg(RifAmounts[i].first, RifAmounts[i].second);
        for (const Node *m : rowsOf(*s, modRif, pos, rtByPrivati)) {
            sc.mods.push_back(readModule(Row(*m, pos)));
            readOps(sc.mods.back(), *m, recRif, pos);
        }
        d.rif.push_back(std::move(sc));
    }

    // ---- scheda INT and modules ----
    static const schema::Table *sezInt = tableNamed("SezInt"), *modInt = tableNamed("ModInt");
    for (const Node *s : rowsOf(a, sezInt, pos, byWasteCode)) {
        const Row r(*s, pos);
        IntScheda sc{s->key(), r.text("rifCod"), r.kg("intQta", "intUmi"), {}};
        for (const Node *m : rowsOf(*s, modInt, pos, byType))
            sc.mods.push_back(readModule(Row(*m, pos)));
        d.intermediation.push_back(std::move(sc));
    }

    // ---- SA-AUT ----
    static const schema::Table *saAut = tableNamed("SaAut");
    for (const Node *s : rowsOf(a, saAut, pos)) {
        const Row r(*s, pos);
        Authorisation au;
        au.estremi = r.text("suEstremi").trimmed();
        au.dataRil = r.text("suDataRil").trimmed();
        au.dataScad = r.text("suDataScad").trimmed();
        au.ente = int(r.num("suEnte"));
        au.tipo = int(r.num("suTipo"));
        au.recupero = r.text("suRecupero");
        au.smaltimento = r.text("suSmaltimento");
        au.vfu = r.num("suVFU") != 0;
        au.raee = r.num("suRAEE") != 0;
        au.inc = r.num("Incenerimento") != 0;
        au.coinc = r.num("Coincenerimento") != 0;
        au.incQta = r.num("incQta");
        au.conQta = r.num("conQta");
        const char *cls[3] = {"crClass1", "crClass2", "crClass3"};
        const char *qta[3] = {"crQta1", "crQta2", "crQta3"};
        for (int i = 0; i < 3; ++i) {
            au.crClass[i] = int(r.num(cls[i]));
            au.crQta[i] = r.num(qta[i]);
        }
        d.aut.push_back(std::move(au));
    }

    // ---- vehicle, packaging and electrical-equipment sections: schede by
    // key, rows by position, modules by type ----
    std::vector<StreamScheda> *targets[3] = {&d.vfu, &d.imb, &d.raee};
    for (size_t n = 0; n < 3; ++n) {
        const StreamTables &t = Streams[n];
        static const auto tables = [] {
            std::array<std::array<const schema::Table *, 4>, 3> out;
            for (size_t i = 0; i < 3; ++i)
                out[i] = {tableNamed(Streams[i].sez), tableNamed(Streams[i].rows), tableNamed(Streams[i].mods),
                          tableNamed(Streams[i].ops)};
            return out;
        }();
        const auto [sez, rows, mods, ops] = tables[n];
        const Order rowOrder = t.rowsByWaste ? byPositionAndWaste : byPosition;
        for (const Node *s : rowsOf(a, sez, pos)) {
            const Row r(*s, pos);
            StreamScheda sc;
            sc.id = s->key();
            sc.tipo = int(r.num(t.tipo));
            sc.category = int(r.num("srRAEE"));
            for (const auto &[qc, uc] : t.amounts)
                sc.amounts.emplace_back(QString::fromLatin1(qc), r.kg(qc, uc));
            for (int i = 1; i <= 15; ++i)
                sc.materials[i] = r.kg(MaterialQta[i], MaterialUmi[i]);
            for (const Node *w : rowsOf(*s, rows, pos, rowOrder)) {
                const Row wr(*w, pos);
                sc.rows.push_back({int(wr.num("Posizione")), wr.text("rifCod").trimmed(), int(wr.num("allAcc")),
                                   wr.kg("qta", "umi")});
            }
            for (const Node *m : rowsOf(*s, mods, pos, byType)) {
                sc.mods.push_back(readModule(Row(*m, pos)));
                readOps(sc.mods.back(), *m, ops, pos);
            }
            targets[n]->push_back(std::move(sc));
        }
    }
    return true;
}

} // namespace verify
