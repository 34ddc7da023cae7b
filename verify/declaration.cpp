#include "verify/declaration.h"

#include "shell/dbclass.h"
#include "shell/dbstatement.h"

#include "shell/schema/schema.h"

#include <QHash>
#include <QSet>

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

// Column access by name on the result of a prepared statement, each index
// looked up once for the life of the statement (keyed by the address of the
// name, which is always a literal or a fixed table): reading the result's
// record costs more than reading a row.
class Columns {
public:
    // Position of a column, looked up once per statement (names are literals,
    // cached by address).
    int index(const dbStatement &q, const char *name)
    {
        auto it = cache_.constFind(name);
        if (it != cache_.constEnd())
            return *it;
        const int i = q.columnIndex(QString::fromLatin1(name));
        cache_.insert(name, i);
        return i;
    }
    qint64 num(const dbStatement &q, const char *name)
    {
        const int i = index(q, name);
        return i < 0 ? 0 : q.toInt(i);
    }
    QString text(const dbStatement &q, const char *name)
    {
        const int i = index(q, name);
        return i < 0 ? QString() : q.string(i);
    }
    Qty kg(const dbStatement &q, const char *qta, const char *umi)
    {
        const int i = index(q, qta);
        if (i < 0)
            return {};
        Qty v;
        switch (q.kind(i)) {
        case dbStatement::Kind::Null: return {};
        case dbStatement::Kind::Int: v = Qty::fromMilli(q.toInt(i)); break;
        default: v = Qty::fromStore(q.value(i)); break;
        }
        return v.kg(int(num(q, umi)));
    }

private:
    QHash<const void *, int> cache_;
};

Module readModule(const dbStatement &q, Columns &c, const char *key)
{
    Module m;
    m.id = c.num(q, key);
    m.tipo = int(c.num(q, "tipoMod"));
    m.privati = int(c.num(q, "Privati"));
    m.nazID = int(c.num(q, "nazID"));
    m.discDep = int(c.num(q, "discDep"));
    m.disc191 = int(c.num(q, "disc191"));
    m.mbFlag = int(c.num(q, "mbFlag"));
    m.rifCod = c.text(q, "rifCod");
    m.mod = c.kg(q, "qtaMod", "umiMod");
    m.smalt = c.kg(q, "qtaSmalt", "umiSmalt");
    m.dep = c.kg(q, "qtaDep", "umiDep");
    m.q191 = c.kg(q, "qta191", "umi191");
    m.inc = c.kg(q, "qtaInc", "umiInc");
    m.disc = c.kg(q, "qtaDisc", "umiDisc");
    return m;
}

// Material columns msQta01/msUmi01 .. msQta15/msUmi15 (index 1..15).
const char *const MaterialQta[16] = {nullptr, "msQta01", "msQta02", "msQta03", "msQta04", "msQta05",
    "msQta06", "msQta07", "msQta08", "msQta09", "msQta10", "msQta11", "msQta12", "msQta13", "msQta14", "msQta15"};
const char *const MaterialUmi[16] = {nullptr, "msUmi01", "msUmi02", "msUmi03", "msUmi04", "msUmi05",
    "msUmi06", "msUmi07", "msUmi08", "msUmi09", "msUmi10", "msUmi11", "msUmi12", "msUmi13", "msUmi14", "msUmi15"};

struct StreamTables {
    const char *sez, *key, *rows, *rowKey, *rowOrder, *mods, *modKey, *ops;
    std::vector<std::pair<const char *, const char *>> amounts;
};

const StreamTables Vfu{"SezVfu", "vfuID", "RecVfu", "rvID", "Posizione, RecVfu.rifCod",
                       "ModVfu", "mvID", "RecModVfu",
                       {{"qtaTerzi", "umiTerzi"}, {"qtaProprio", "umiProprio"},
                        {"qtaSmalt", "umiSmalt"}, {"qtaRecMat", "umiRecMat"},
                        {"qtaRecEner", "umiRecEner"}, {"qtaGiac", "umiGiac"},
                        {"qtaPre80", "umiPre80"}, {"qtaPost80", "umiPost80"},
                        {"qta104", "umi104"}}};
const StreamTables Imb{"SezImb", "siID", "RecImb", "riID", "Posizione, RecImb.riID",
                       "ModImb", "mbID", "RecModImb",
                       {{"qtaTerzi", "umiTerzi"}, {"qtaGiac", "umiGiac"}}};
const StreamTables Raee{"SezRaee", "srID", "RecRaee", "rsrID", "Posizione, RecRaee.rifCod",
                        "ModRaee", "msrID", "RecModRaee",
                        {{"srQta", "srUmi"}, {"qtaGiac", "umiGiac"}, {"qtaSmalt", "umiSmalt"},
                         {"qtaRecMat", "umiRecMat"}, {"qtaRecEner", "umiRecEner"},
                         {"qtaAppInt", "umiAppInt"}}};

} // namespace

// The columns of a table the checks read, as a select list: only those the
// table has (a module table lacks some of the others' columns, which then
// read as null, as with "SELECT *"). Fetching a row converts every column it
// has, so the list is kept to what is read.
QString pick(const QString &table, std::initializer_list<const char *> wanted,
             const std::vector<std::pair<const char *, const char *>> &pairs = {})
{
    const schema::Table *t = schema::table(table);
    QStringList out;
    auto add = [&](const char *name) {
        const schema::Column *c = t ? schema::column(*t, QString::fromLatin1(name)) : nullptr;
        if (c && !out.contains(table + u'.' + c->name))
            out << table + u'.' + c->name;
    };
    for (const char *w : wanted)
        add(w);
    for (const auto &[q, u] : pairs) {
        add(q);
        add(u);
    }
    if (!t || out.isEmpty())
        return table + QStringLiteral(".*");
    return out.join(QStringLiteral(", "));
}

std::initializer_list<const char *> moduleColumns()
{
    static const std::initializer_list<const char *> c = {
        "tipoMod", "Privati", "nazID", "discDep", "disc191", "mbFlag", "rifCod", "qtaMod", "umiMod",
        "qtaSmalt", "umiSmalt", "qtaDep", "umiDep", "qta191", "umi191", "qtaInc", "umiInc", "qtaDisc", "umiDisc"};
    return c;
}

QString modulePick(const QString &table, const char *key, const char *parent)
{
    QString cols = pick(table, {key, parent});
    const QString more = pick(table, moduleColumns());
    return cols + QStringLiteral(", ") + more;
}

// A statement run once for the whole selection: its rows come ordered by
// the declaration's place in the selection (column qor_ord), then as the
// checks want them, and each declaration takes its own rows as the run
// reaches it. One execution per table instead of one per table and
// declaration: executing a statement costs far more than reading a row.
struct Cursor {
    dbStatement q;
    Columns c;
    bool started = false, has = false;
    qint64 ord = -1;

    void advance()
    {
        has = q.next();
        ord = has ? c.num(q, "qor_ord") : -1;
    }
    // Moves to the first row of the declaration at place k.
    bool seek(qint64 k, QString *error)
    {
        if (!started) {
            started = true;
            if (!q.exec()) {
                *error = q.error() + QStringLiteral("\n") + q.sql();
                return false;
            }
            advance();
        }
        while (has && ord < k)
            advance();
        return true;
    }
    bool here(qint64 k) const { return has && ord == k; }
};

struct Loader::Impl {
    QSqlDatabase db;
    Cursor rif, rifMods, rifOps, sint, intMods, aut;
    struct Stream {
        const StreamTables *t;
        Cursor sez, rows, mods, ops;
    };
    std::vector<Stream> streams;
    QHash<qint64, qint64> place;   // saID -> place in the selection
    QString error;

    // The run table joined to every statement: the selection in its order.
    bool fillRun(const std::vector<qint64> &order)
    {
        if (!dbStatement::run(db, QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS qor_verify_run "
                                                 "(ord INTEGER PRIMARY KEY, saID INTEGER NOT NULL)"), &error)
            || !dbStatement::run(db, QStringLiteral("DELETE FROM qor_verify_run"), &error))
            return false;
        dbStatement ins(db, QStringLiteral("INSERT INTO qor_verify_run (ord, saID) VALUES (?, ?)"));
        if (!ins.isValid()) {
            error = ins.error() + QStringLiteral("\n") + ins.sql();
            return false;
        }
        // In one transaction unless the caller has one open.
        const bool own = db.transaction();
        for (size_t i = 0; i < order.size(); ++i) {
            ins.bindInt(0, qint64(i));
            ins.bindInt(1, order[i]);
            if (!ins.exec()) {
                error = ins.error() + QStringLiteral("\n") + ins.sql();
                if (own)
                    db.rollback();
                return false;
            }
            place.insert(order[i], qint64(i));
        }
        return !own || db.commit();
    }

    // sql: "SELECT <columns> FROM <tables> WHERE <condition> ORDER BY <order>"
    // pieces, with the declaration's saID column given: the run joins it.
    bool prepare(Cursor &c, const QString &columns, const QString &from, const QString &saID,
                 const QString &where, const QString &order)
    {
        const QString sql = QStringLiteral("SELECT %1, run.ord AS qor_ord FROM %2 INNER JOIN qor_verify_run AS run "
                                           "ON run.saID = %3%4 ORDER BY run.ord, %5")
                                .arg(columns, from, saID,
                                     where.isEmpty() ? QString() : QStringLiteral(" WHERE ") + where, order);
        c.q = dbStatement(db, sql);
        if (!c.q.isValid()) {
            error = c.q.error() + QStringLiteral("\n") + sql;
            return false;
        }
        return true;
    }
};

Loader::Loader(QSqlDatabase db, const std::vector<qint64> &order) : p_(std::make_unique<Impl>())
{
    p_->db = db;
    Impl &p = *p_;
    bool ok = p.fillRun(order);
    ok = ok && p.prepare(p.rif, pick(QStringLiteral("SezRif"), {"rifID", "rifCod"},
                                              {{"qtaProd", "umiProd"}, {"qtaTerzi", "umiTerzi"}, {"qtaFuori", "umiFuori"},
                                               {"qtaTras", "umiTras"}, {"qtaCons", "umiCons"}, {"qtaGiacRec", "umiGiacRec"},
                                               {"qtaGiacSmalt", "umiGiacSmalt"}, {"qtaRec", "umiRec"}, {"qtaSmalt", "umiSmalt"}}), QStringLiteral("SezRif"), QStringLiteral("SezRif.saID"),
                         {}, QStringLiteral("SezRif.rifCod, SezRif.rifID"));
    // RT modules are numbered in Privati, mrID order; the other types by mrID.
    ok = ok && p.prepare(p.rifMods, modulePick(QStringLiteral("ModRif"), "mrID", "rifID"),
                         QStringLiteral("ModRif INNER JOIN SezRif ON ModRif.rifID = SezRif.rifID"),
                         QStringLiteral("SezRif.saID"), {},
                         QStringLiteral("ModRif.rifID, ModRif.tipoMod, "
                                        "CASE WHEN ModRif.tipoMod = 1 THEN ModRif.Privati ELSE 0 END, ModRif.mrID"));
    ok = ok && p.prepare(p.rifOps,
                         QStringLiteral("RecRif.mrID AS owner, RecRif.Posizione, RecRif.Codice, RecRif.qta, RecRif.umi"),
                         QStringLiteral("(RecRif INNER JOIN ModRif ON RecRif.mrID = ModRif.mrID) "
                                        "INNER JOIN SezRif ON ModRif.rifID = SezRif.rifID"),
                         QStringLiteral("SezRif.saID"), {},
                         QStringLiteral("RecRif.mrID, RecRif.Posizione, RecRif.Codice"));
    ok = ok && p.prepare(p.sint, pick(QStringLiteral("SezInt"), {"intID", "rifCod", "intQta", "intUmi"}), QStringLiteral("SezInt"), QStringLiteral("SezInt.saID"),
                         {}, QStringLiteral("SezInt.rifCod, SezInt.intID"));
    ok = ok && p.prepare(p.intMods, modulePick(QStringLiteral("ModInt"), "miID", "intID"),
                         QStringLiteral("ModInt INNER JOIN SezInt ON ModInt.intID = SezInt.intID"),
                         QStringLiteral("SezInt.saID"), {},
                         QStringLiteral("ModInt.intID, ModInt.tipoMod, ModInt.miID"));
    ok = ok && p.prepare(p.aut, pick(QStringLiteral("SaAut"),
                                              {"suEstremi", "suDataRil", "suDataScad", "suEnte", "suTipo", "suRecupero",
                                               "suSmaltimento", "suVFU", "suRAEE", "Incenerimento", "Coincenerimento",
                                               "incQta", "conQta", "crClass1", "crClass2", "crClass3", "crQta1",
                                               "crQta2", "crQta3"}), QStringLiteral("SaAut"), QStringLiteral("SaAut.saID"), {},
                         QStringLiteral("SaAut.suID"));
    for (const StreamTables *t : {&Vfu, &Imb, &Raee}) {
        Impl::Stream s;
        s.t = t;
        const QString sez = QString::fromLatin1(t->sez), key = QString::fromLatin1(t->key);
        const QString rows = QString::fromLatin1(t->rows), mods = QString::fromLatin1(t->mods);
        const QString modKey = QString::fromLatin1(t->modKey), ops = QString::fromLatin1(t->ops);
        const QString saID = sez + QStringLiteral(".saID");
        std::vector<std::pair<const char *, const char *>> sezPairs = t->amounts;
        for (int i = 1; i <= 15; ++i)
            sezPairs.emplace_back(MaterialQta[i], MaterialUmi[i]);
        ok = ok && p.prepare(s.sez, pick(sez, {t->key, "vfuTipo", "srTipo", "srRAEE"}, sezPairs), sez, saID, {},
                             sez + u'.' + key);
        ok = ok && p.prepare(s.rows, pick(rows, {t->key, "Posizione", "rifCod", "allAcc", "qta", "umi"}),
                             QStringLiteral("%3 INNER JOIN %1 ON %3.%2 = %1.%2").arg(sez, key, rows), saID, {},
                             QStringLiteral("%1.%2, %1.%3").arg(rows, key, QString::fromLatin1(t->rowOrder)));
        ok = ok && p.prepare(s.mods, modulePick(mods, t->modKey, t->key),
                             QStringLiteral("%3 INNER JOIN %1 ON %3.%2 = %1.%2").arg(sez, key, mods), saID, {},
                             QStringLiteral("%1.%2, %1.tipoMod, %1.%3").arg(mods, key, modKey));
        ok = ok && p.prepare(s.ops, QStringLiteral("%1.%2 AS owner, %1.Posizione, %1.Codice, %1.qta, %1.umi").arg(ops, modKey),
                             QStringLiteral("(%5 INNER JOIN %3 ON %5.%4 = %3.%4) INNER JOIN %1 ON %3.%2 = %1.%2")
                                 .arg(sez, key, mods, modKey, ops),
                             saID, {}, QStringLiteral("%1.%2, %1.Posizione, %1.Codice").arg(ops, modKey));
        p.streams.push_back(std::move(s));
    }
    if (!ok)
        error_ = p.error;
}

Loader::~Loader() = default;

namespace {

// Reads the operation rows of the declaration at place k and hangs them on
// their module.
void attachOps(Cursor &cur, qint64 k, QHash<qint64, Module *> &byId)
{
    Columns &c = cur.c;
    for (; cur.here(k); cur.advance()) {
        Module *m = byId.value(c.num(cur.q, "owner"));
        if (!m)
            continue;
        m->ops.push_back({int(c.num(cur.q, "Posizione")), c.text(cur.q, "Codice").trimmed(),
                          c.kg(cur.q, "qta", "umi")});
    }
}

} // namespace

bool Loader::load(Declaration &d)
{
    Impl &p = *p_;
    if (!error_.isEmpty())
        return false;
    d.rif.clear();
    d.intermediation.clear();
    d.aut.clear();
    d.vfu.clear();
    d.imb.clear();
    d.raee.clear();
    const auto at = p.place.constFind(d.saID);
    if (at == p.place.constEnd()) {
        error_ = QStringLiteral("Dichiarazione %1 fuori dalla selezione.").arg(d.saID);
        return false;
    }
    const qint64 k = *at;
    auto seek = [&](Cursor &c) {
        if (c.seek(k, &p.error))
            return true;
        error_ = p.error;
        return false;
    };

    // ---- scheda RIF and modules ----
    if (!seek(p.rif))
        return false;
    {
        Columns &c = p.rif.c;
        dbStatement &q = p.rif.q;
        for (; p.rif.here(k); p.rif.advance()) {
            RifScheda s;
            s.id = c.num(q, "rifID");
            s.rifCod = c.text(q, "rifCod");
            s.prod = c.kg(q, "qtaProd", "umiProd");
            s.terzi = c.kg(q, "qtaTerzi", "umiTerzi");
            s.fuori = c.kg(q, "qtaFuori", "umiFuori");
            s.tras = c.kg(q, "qtaTras", "umiTras");
            s.cons = c.kg(q, "qtaCons", "umiCons");
            s.giacRec = c.kg(q, "qtaGiacRec", "umiGiacRec");
            s.giacSmalt = c.kg(q, "qtaGiacSmalt", "umiGiacSmalt");
            s.rec = c.kg(q, "qtaRec", "umiRec");
            s.smalt = c.kg(q, "qtaSmalt", "umiSmalt");
            d.rif.push_back(std::move(s));
        }
    }
    if (!d.rif.empty()) {
        QHash<qint64, RifScheda *> schede;
        for (RifScheda &s : d.rif)
            schede.insert(s.id, &s);
        if (!seek(p.rifMods))
            return false;
        Columns &c = p.rifMods.c;
        for (; p.rifMods.here(k); p.rifMods.advance())
            if (RifScheda *s = schede.value(c.num(p.rifMods.q, "rifID")))
                s->mods.push_back(readModule(p.rifMods.q, c, "mrID"));
        QHash<qint64, Module *> byId;
        for (RifScheda &s : d.rif)
            for (Module &m : s.mods)
                byId.insert(m.id, &m);
        if (!byId.isEmpty()) {
            if (!seek(p.rifOps))
                return false;
            attachOps(p.rifOps, k, byId);
        }
    }

    // ---- scheda INT and modules ----
    if (!seek(p.sint))
        return false;
    for (; p.sint.here(k); p.sint.advance()) {
        Columns &c = p.sint.c;
        d.intermediation.push_back({c.num(p.sint.q, "intID"), c.text(p.sint.q, "rifCod"),
                                    c.kg(p.sint.q, "intQta", "intUmi"), {}});
    }
    if (!d.intermediation.empty()) {
        if (!seek(p.intMods))
            return false;
        Columns &c = p.intMods.c;
        for (; p.intMods.here(k); p.intMods.advance()) {
            const qint64 parent = c.num(p.intMods.q, "intID");
            for (IntScheda &s : d.intermediation)
                if (s.id == parent)
                    s.mods.push_back(readModule(p.intMods.q, c, "miID"));
        }
    }

    // ---- SA-AUT ----
    if (!seek(p.aut))
        return false;
    for (; p.aut.here(k); p.aut.advance()) {
        Columns &c = p.aut.c;
        const dbStatement &q = p.aut.q;
        Authorisation a;
        a.estremi = c.text(q, "suEstremi").trimmed();
        a.dataRil = c.text(q, "suDataRil").trimmed();
        a.dataScad = c.text(q, "suDataScad").trimmed();
        a.ente = int(c.num(q, "suEnte"));
        a.tipo = int(c.num(q, "suTipo"));
        a.recupero = c.text(q, "suRecupero");
        a.smaltimento = c.text(q, "suSmaltimento");
        a.vfu = c.num(q, "suVFU") != 0;
        a.raee = c.num(q, "suRAEE") != 0;
        a.inc = c.num(q, "Incenerimento") != 0;
        a.coinc = c.num(q, "Coincenerimento") != 0;
        a.incQta = c.num(q, "incQta");
        a.conQta = c.num(q, "conQta");
        const char *cls[3] = {"crClass1", "crClass2", "crClass3"};
        const char *qta[3] = {"crQta1", "crQta2", "crQta3"};
        for (int i = 0; i < 3; ++i) {
            a.crClass[i] = int(c.num(q, cls[i]));
            a.crQta[i] = c.num(q, qta[i]);
        }
        d.aut.push_back(std::move(a));
    }

    // ---- vehicle, packaging and electrical-equipment sections ----
    std::vector<StreamScheda> *targets[3] = {&d.vfu, &d.imb, &d.raee};
    for (size_t n = 0; n < p.streams.size(); ++n) {
        Impl::Stream &s = p.streams[n];
        std::vector<StreamScheda> &list = *targets[n];
        if (!seek(s.sez))
            return false;
        for (; s.sez.here(k); s.sez.advance()) {
            Columns &c = s.sez.c;
            const dbStatement &q = s.sez.q;
            StreamScheda sc;
            sc.id = c.num(q, s.t->key);
            sc.tipo = int(c.num(q, n == 0 ? "vfuTipo" : "srTipo"));
            sc.category = int(c.num(q, "srRAEE"));
            for (const auto &[qc, uc] : s.t->amounts)
                sc.amounts.emplace_back(QString::fromLatin1(qc), c.kg(q, qc, uc));
            for (int i = 1; i <= 15; ++i)
                sc.materials[i] = c.kg(q, MaterialQta[i], MaterialUmi[i]);
            list.push_back(std::move(sc));
        }
        if (list.empty())
            continue;
        QHash<qint64, StreamScheda *> byKey;
        for (StreamScheda &sc : list)
            byKey.insert(sc.id, &sc);
        if (!seek(s.rows))
            return false;
        for (; s.rows.here(k); s.rows.advance()) {
            Columns &c = s.rows.c;
            const dbStatement &q = s.rows.q;
            if (StreamScheda *sc = byKey.value(c.num(q, s.t->key)))
                sc->rows.push_back({int(c.num(q, "Posizione")), c.text(q, "rifCod").trimmed(),
                                    int(c.num(q, "allAcc")), c.kg(q, "qta", "umi")});
        }
        if (!seek(s.mods))
            return false;
        for (; s.mods.here(k); s.mods.advance())
            if (StreamScheda *sc = byKey.value(s.mods.c.num(s.mods.q, s.t->key)))
                sc->mods.push_back(readModule(s.mods.q, s.mods.c, s.t->modKey));
        QHash<qint64, Module *> byId;
        for (StreamScheda &sc : list)
            for (Module &m : sc.mods)
                byId.insert(m.id, &m);
        if (!byId.isEmpty()) {
            if (!seek(s.ops))
                return false;
            attachOps(s.ops, k, byId);
        }
    }
    return true;
}

} // namespace verify
