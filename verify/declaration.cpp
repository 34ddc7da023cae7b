#include "verify/declaration.h"

#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QSqlRecord>

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
    // The record of the statement, read after its first execution.
    Columns &of(const QSqlQuery &q)
    {
        if (!rec_)
            rec_ = std::make_unique<QSqlRecord>(q.record());
        return *this;
    }
    int index(const char *name)
    {
        auto it = cache_.constFind(name);
        if (it != cache_.constEnd())
            return *it;
        const int i = rec_->indexOf(QString::fromLatin1(name));
        cache_.insert(name, i);
        return i;
    }
    QVariant value(const QSqlQuery &q, const char *name)
    {
        const int i = index(name);
        return i < 0 ? QVariant() : q.value(i);
    }
    qint64 num(const QSqlQuery &q, const char *name) { return value(q, name).toLongLong(); }
    QString text(const QSqlQuery &q, const char *name) { return value(q, name).toString(); }
    Qty kg(const QSqlQuery &q, const char *qta, const char *umi)
    {
        return qtyKg(value(q, qta), value(q, umi));
    }

private:
    std::unique_ptr<QSqlRecord> rec_;
    QHash<const void *, int> cache_;
};

Module readModule(const QSqlQuery &q, Columns &c, const char *key)
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

struct Loader::Impl {
    QSqlDatabase db;
    QSqlQuery rif, rifMods, rifOps, sint, intMods, aut;
    Columns rifC, rifModsC, rifOpsC, sintC, intModsC, autC;
    struct Stream {
        const StreamTables *t;
        QSqlQuery sez, rows, mods, ops;
        Columns sezC, rowsC, modsC, opsC;
    };
    std::vector<Stream> streams;
    QString error;
    // Declarations that have rows in each section table, read once per run
    // so that absent sections cost no query.
    QSet<qint64> hasRif, hasInt, hasAut, hasStream[3];

    bool readPresence(QSet<qint64> &set, const char *table)
    {
        QSqlQuery q(db);
        q.setForwardOnly(true);
        if (!q.exec(QStringLiteral("SELECT DISTINCT saID FROM %1").arg(QLatin1String(table)))) {
            error = q.lastError().text() + QStringLiteral("\n") + q.lastQuery();
            return false;
        }
        while (q.next())
            set.insert(q.value(0).toLongLong());
        return true;
    }

    bool prepare(QSqlQuery &q, const QString &sql)
    {
        q = QSqlQuery(db);
        q.setForwardOnly(true);
        if (!q.prepare(sql)) {
            error = q.lastError().text() + QStringLiteral("\n") + sql;
            return false;
        }
        return true;
    }
    bool exec(QSqlQuery &q, qint64 saID)
    {
        q.bindValue(0, saID);
        if (!q.exec()) {
            error = q.lastError().text() + QStringLiteral("\n") + q.lastQuery();
            return false;
        }
        return true;
    }
};

Loader::Loader(QSqlDatabase db) : p_(std::make_unique<Impl>())
{
    p_->db = db;
    Impl &p = *p_;
    bool ok = p.prepare(p.rif, QStringLiteral("SELECT * FROM SezRif WHERE (saID = ?) ORDER BY rifCod, rifID"));
    // RT modules are numbered in Privati, mrID order; the other types by mrID.
    ok = ok && p.prepare(p.rifMods, QStringLiteral(
        "SELECT ModRif.* FROM ModRif INNER JOIN SezRif ON ModRif.rifID = SezRif.rifID "
        "WHERE (SezRif.saID = ?) ORDER BY ModRif.rifID, ModRif.tipoMod, "
        "CASE WHEN ModRif.tipoMod = 1 THEN ModRif.Privati ELSE 0 END, ModRif.mrID"));
    ok = ok && p.prepare(p.rifOps, QStringLiteral(
        "SELECT RecRif.mrID AS owner, RecRif.Posizione, RecRif.Codice, RecRif.qta, RecRif.umi "
        "FROM (RecRif INNER JOIN ModRif ON RecRif.mrID = ModRif.mrID) "
        "INNER JOIN SezRif ON ModRif.rifID = SezRif.rifID "
        "WHERE (SezRif.saID = ?) ORDER BY RecRif.mrID, RecRif.Posizione, RecRif.Codice"));
    ok = ok && p.prepare(p.sint, QStringLiteral("SELECT * FROM SezInt WHERE (saID = ?) ORDER BY rifCod, intID"));
    ok = ok && p.prepare(p.intMods, QStringLiteral(
        "SELECT ModInt.* FROM ModInt INNER JOIN SezInt ON ModInt.intID = SezInt.intID "
        "WHERE (SezInt.saID = ?) ORDER BY ModInt.intID, ModInt.tipoMod, ModInt.miID"));
    ok = ok && p.prepare(p.aut, QStringLiteral("SELECT * FROM SaAut WHERE (saID = ?) ORDER BY suID"));
    for (const StreamTables *t : {&Vfu, &Imb, &Raee}) {
        Impl::Stream s;
        s.t = t;
        const QString sez = QString::fromLatin1(t->sez), key = QString::fromLatin1(t->key);
        const QString rows = QString::fromLatin1(t->rows), mods = QString::fromLatin1(t->mods);
        const QString modKey = QString::fromLatin1(t->modKey), ops = QString::fromLatin1(t->ops);
        ok = ok && p.prepare(s.sez, QStringLiteral("SELECT * FROM %1 WHERE (saID = ?) ORDER BY %2").arg(sez, key));
        ok = ok && p.prepare(s.rows, QStringLiteral(
            "SELECT %3.* FROM %3 INNER JOIN %1 ON %3.%2 = %1.%2 WHERE (%1.saID = ?) "
            "ORDER BY %3.%2, %3.%4").arg(sez, key, rows, QString::fromLatin1(t->rowOrder)));
        ok = ok && p.prepare(s.mods, QStringLiteral(
            "SELECT %3.* FROM %3 INNER JOIN %1 ON %3.%2 = %1.%2 WHERE (%1.saID = ?) "
            "ORDER BY %3.%2, %3.tipoMod, %3.%4").arg(sez, key, mods, modKey));
        ok = ok && p.prepare(s.ops, QStringLiteral(
            "SELECT %5.%4 AS owner, %5.Posizione, %5.Codice, %5.qta, %5.umi "
            "FROM (%5 INNER JOIN %3 ON %5.%4 = %3.%4) INNER JOIN %1 ON %3.%2 = %1.%2 "
            "WHERE (%1.saID = ?) ORDER BY %5.%4, %5.Posizione, %5.Codice")
                                   .arg(sez, key, mods, modKey, ops));
        p.streams.push_back(std::move(s));
    }
    ok = ok && p.readPresence(p.hasRif, "SezRif") && p.readPresence(p.hasInt, "SezInt")
        && p.readPresence(p.hasAut, "SaAut") && p.readPresence(p.hasStream[0], "SezVfu")
        && p.readPresence(p.hasStream[1], "SezImb") && p.readPresence(p.hasStream[2], "SezRaee");
    if (!ok)
        error_ = p.error;
}

Loader::~Loader() = default;

namespace {

// Reads the operation rows of a run of modules and hangs them on their owner.
bool attachOps(QSqlQuery &q, Columns &cols, QHash<qint64, Module *> &byId)
{
    Columns &c = cols.of(q);
    while (q.next()) {
        Module *m = byId.value(c.num(q, "owner"));
        if (!m)
            continue;
        m->ops.push_back({int(c.num(q, "Posizione")), c.text(q, "Codice").trimmed(),
                          c.kg(q, "qta", "umi")});
    }
    return true;
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

    // ---- scheda RIF and modules ----
    if (p.hasRif.contains(d.saID) && !p.exec(p.rif, d.saID))
        return error_ = p.error, false;
    if (p.hasRif.contains(d.saID)) {
        Columns &c = p.rifC.of(p.rif);
        while (p.rif.next()) {
            RifScheda s;
            s.id = c.num(p.rif, "rifID");
            s.rifCod = c.text(p.rif, "rifCod");
            s.prod = c.kg(p.rif, "qtaProd", "umiProd");
            s.terzi = c.kg(p.rif, "qtaTerzi", "umiTerzi");
            s.fuori = c.kg(p.rif, "qtaFuori", "umiFuori");
            s.tras = c.kg(p.rif, "qtaTras", "umiTras");
            s.cons = c.kg(p.rif, "qtaCons", "umiCons");
            s.giacRec = c.kg(p.rif, "qtaGiacRec", "umiGiacRec");
            s.giacSmalt = c.kg(p.rif, "qtaGiacSmalt", "umiGiacSmalt");
            s.rec = c.kg(p.rif, "qtaRec", "umiRec");
            s.smalt = c.kg(p.rif, "qtaSmalt", "umiSmalt");
            d.rif.push_back(std::move(s));
        }
    }
    if (!d.rif.empty()) {
        QHash<qint64, RifScheda *> schede;
        for (RifScheda &s : d.rif)
            schede.insert(s.id, &s);
        if (!p.exec(p.rifMods, d.saID))
            return error_ = p.error, false;
        Columns &c = p.rifModsC.of(p.rifMods);
        while (p.rifMods.next())
            if (RifScheda *s = schede.value(c.num(p.rifMods, "rifID")))
                s->mods.push_back(readModule(p.rifMods, c, "mrID"));
        QHash<qint64, Module *> byId;
        for (RifScheda &s : d.rif)
            for (Module &m : s.mods)
                byId.insert(m.id, &m);
        if (!byId.isEmpty()) {
            if (!p.exec(p.rifOps, d.saID))
                return error_ = p.error, false;
            attachOps(p.rifOps, p.rifOpsC, byId);
        }
    }

    // ---- scheda INT and modules ----
    if (p.hasInt.contains(d.saID)) {
        if (!p.exec(p.sint, d.saID))
            return error_ = p.error, false;
        Columns &c = p.sintC.of(p.sint);
        while (p.sint.next())
            d.intermediation.push_back({c.num(p.sint, "intID"), c.text(p.sint, "rifCod"),
                                        c.kg(p.sint, "intQta", "intUmi"), {}});
    }
    if (!d.intermediation.empty()) {
        if (!p.exec(p.intMods, d.saID))
            return error_ = p.error, false;
        Columns &c = p.intModsC.of(p.intMods);
        while (p.intMods.next()) {
            const qint64 parent = c.num(p.intMods, "intID");
            for (IntScheda &s : d.intermediation)
                if (s.id == parent)
                    s.mods.push_back(readModule(p.intMods, c, "miID"));
        }
    }

    // ---- SA-AUT ----
    if (p.hasAut.contains(d.saID)) {
        if (!p.exec(p.aut, d.saID))
            return error_ = p.error, false;
        Columns &c = p.autC.of(p.aut);
        while (p.aut.next()) {
            Authorisation a;
            a.estremi = c.text(p.aut, "suEstremi").trimmed();
            a.dataRil = c.text(p.aut, "suDataRil").trimmed();
            a.dataScad = c.text(p.aut, "suDataScad").trimmed();
            a.ente = int(c.num(p.aut, "suEnte"));
            a.tipo = int(c.num(p.aut, "suTipo"));
            a.recupero = c.text(p.aut, "suRecupero");
            a.smaltimento = c.text(p.aut, "suSmaltimento");
            a.vfu = c.num(p.aut, "suVFU") != 0;
            a.raee = c.num(p.aut, "suRAEE") != 0;
            a.inc = c.num(p.aut, "Incenerimento") != 0;
            a.coinc = c.num(p.aut, "Coincenerimento") != 0;
            a.incQta = c.num(p.aut, "incQta");
            a.conQta = c.num(p.aut, "conQta");
            const char *cls[3] = {"crClass1", "crClass2", "crClass3"};
            const char *qta[3] = {"crQta1", "crQta2", "crQta3"};
            for (int i = 0; i < 3; ++i) {
                a.crClass[i] = int(c.num(p.aut, cls[i]));
                a.crQta[i] = c.num(p.aut, qta[i]);
            }
            d.aut.push_back(std::move(a));
        }
    }

    // ---- vehicle, packaging and electrical-equipment sections ----
    std::vector<StreamScheda> *targets[3] = {&d.vfu, &d.imb, &d.raee};
    for (size_t k = 0; k < p.streams.size(); ++k) {
        Impl::Stream &s = p.streams[k];
        std::vector<StreamScheda> &list = *targets[k];
        if (!p.hasStream[k].contains(d.saID))
            continue;
        if (!p.exec(s.sez, d.saID))
            return error_ = p.error, false;
        {
            Columns &c = s.sezC.of(s.sez);
            while (s.sez.next()) {
                StreamScheda sc;
                sc.id = c.num(s.sez, s.t->key);
                sc.tipo = int(c.num(s.sez, k == 0 ? "vfuTipo" : "srTipo"));
                sc.category = int(c.num(s.sez, "srRAEE"));
                for (const auto &[q, u] : s.t->amounts)
                    sc.amounts.emplace_back(QString::fromLatin1(q), c.kg(s.sez, q, u));
                for (int i = 1; i <= 15; ++i)
                    sc.materials[i] = c.kg(s.sez, MaterialQta[i], MaterialUmi[i]);
                list.push_back(std::move(sc));
            }
        }
        if (list.empty())
            continue;
        QHash<qint64, StreamScheda *> byKey;
        for (StreamScheda &sc : list)
            byKey.insert(sc.id, &sc);
        if (!p.exec(s.rows, d.saID))
            return error_ = p.error, false;
        {
            Columns &c = s.rowsC.of(s.rows);
            while (s.rows.next())
                if (StreamScheda *sc = byKey.value(c.num(s.rows, s.t->key)))
                    sc->rows.push_back({int(c.num(s.rows, "Posizione")),
                                        c.text(s.rows, "rifCod").trimmed(),
                                        int(c.num(s.rows, "allAcc")), c.kg(s.rows, "qta", "umi")});
        }
        if (!p.exec(s.mods, d.saID))
            return error_ = p.error, false;
        {
            Columns &c = s.modsC.of(s.mods);
            while (s.mods.next())
                if (StreamScheda *sc = byKey.value(c.num(s.mods, s.t->key)))
                    sc->mods.push_back(readModule(s.mods, c, s.t->modKey));
        }
        QHash<qint64, Module *> byId;
        for (StreamScheda &sc : list)
            for (Module &m : sc.mods)
                byId.insert(m.id, &m);
        if (!byId.isEmpty()) {
            if (!p.exec(s.ops, d.saID))
                return error_ = p.error, false;
            attachOps(s.ops, s.opsC, byId);
        }
    }
    return true;
}

} // namespace verify
