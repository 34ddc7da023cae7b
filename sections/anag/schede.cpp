#include "sections/anag/schede.h"

#include "sections/mat/mat.h"
#include "shell/schema/schema.h"

namespace anag {

const std::vector<CountName> &countNames()
{
    static const std::vector<CountName> names = {
        {Count::SaAut, "Schede SA-AUT", "SA-AUT"},
        {Count::Rif, "Schede RIF", "RIF"},
        {Count::ModRT, "Moduli RT", nullptr},
        {Count::ModDR, "Moduli DR", nullptr},
        {Count::ModTE, "Moduli TE", nullptr},
        {Count::ModMG, "Moduli MG", nullptr},
        {Count::ModRE, "Moduli RE", nullptr},
        {Count::Mat, nullptr, "MAT"},
        {Count::Int, "Schede INT", "INT"},
        {Count::ModUO, "Moduli UO", nullptr},
        {Count::ModUD, "Moduli UD", nullptr},
        {Count::Aut, "Schede AUT", "AUT"},
        {Count::Rot, "Schede ROT", "ROT"},
        {Count::Fra, "Schede FRA", "FRA"},
        {Count::ModVeic, "Moduli VEIC", nullptr},
        {Count::Imb, "Schede IMB", "IMB"},
        {Count::ModImb, "Moduli IMB", nullptr},
        {Count::TraRaee, "Schede TRA-RAEE", "TRA-RAEE"},
        {Count::CrRaee, "Schede CR-RAEE", "CR-RAEE"},
        {Count::ModRaee, "Moduli RAEE", nullptr},
    };
    return names;
}

namespace {

// The columns read for counting, by table; every other table of the tree
// is counted by its rows alone.
struct Kinds {
    const char *table, *column;
} const kindColumns[] = {
    {"ModRif", "tipoMod"}, {"ModInt", "tipoMod"}, {"SezVfu", "vfuTipo"}, {"SezRaee", "srTipo"},
};
const char *const countedTables[] = {"SaAut", "SezRif", "ModRif", "SezInt", "ModInt", "SezVfu",
                                     "ModVfu", "SezImb", "ModImb", "SezRaee", "ModRaee"};

QStringList materialColumns()
{
    QStringList l;
    for (const fields::Field &f : mat::schedaFields())
        l << f.name;
    return l;
}

// Positions in the schema, found once.
struct Places {
    const schema::Table *sezAnag, *saAut, *sezRif, *modRif, *sezInt, *modInt, *sezVfu, *modVfu, *sezImb,
        *modImb, *sezRaee, *modRaee;
    int modRifTipo, modIntTipo, vfuTipo, srTipo;
    std::vector<int> materials;

    static int at(const schema::Table *t, const QString &column)
    {
        for (size_t i = 0; i < t->columns.size(); ++i)
            if (t->columns[i].name.compare(column, Qt::CaseInsensitive) == 0)
                return int(i);
        return -1;
    }
    Places()
    {
        auto t = [](const char *name) { return schema::table(QString::fromLatin1(name)); };
        sezAnag = t("SezAnag");
        saAut = t("SaAut");
        sezRif = t("SezRif");
        modRif = t("ModRif");
        sezInt = t("SezInt");
        modInt = t("ModInt");
        sezVfu = t("SezVfu");
        modVfu = t("ModVfu");
        sezImb = t("SezImb");
        modImb = t("ModImb");
        sezRaee = t("SezRaee");
        modRaee = t("ModRaee");
        modRifTipo = at(modRif, QStringLiteral("tipoMod"));
        modIntTipo = at(modInt, QStringLiteral("tipoMod"));
        vfuTipo = at(sezVfu, QStringLiteral("vfuTipo"));
        srTipo = at(sezRaee, QStringLiteral("srTipo"));
        for (const QString &c : materialColumns())
            materials.push_back(at(sezAnag, c));
    }
};

const Places &places()
{
    static const Places p;
    return p;
}

// A kind code as the store compares it with a number: a null or a text that
// is no number matches none.
int code(const QVariant &v)
{
    if (v.isNull())
        return -1;
    switch (v.typeId()) {
    case QMetaType::QString:
    case QMetaType::QByteArray: {
        bool ok = false;
        const int n = v.toInt(&ok);
        return ok ? n : -1;
    }
    default: return v.toInt();
    }
}

// COALESCE(x, 0) <> 0 as the store reads it: any text that is no number is
// not 0.
bool nonZero(const QVariant &v)
{
    if (v.isNull())
        return false;
    switch (v.typeId()) {
    case QMetaType::QString: {
        bool ok = false;
        const double d = v.toString().toDouble(&ok);
        return !ok || d != 0;
    }
    case QMetaType::Double: return v.toDouble() != 0;
    default: return v.toLongLong() != 0;
    }
}

Count byCode(int c, std::initializer_list<Count> kinds, Count other)
{
    return c >= 1 && c <= int(kinds.size()) ? *(kinds.begin() + (c - 1)) : other;
}

void countInto(const tree::Node &n, const Places &p, SchedeCount &out)
{
    for (const tree::Node *c : n.children) {
        const schema::Table *t = c->table;
        if (t == p.saAut)
            ++out[Count::SaAut];
        else if (t == p.sezRif)
            ++out[Count::Rif];
        else if (t == p.modRif)
            ++out[byCode(code(c->values.value(p.modRifTipo)),
                         {Count::ModRT, Count::ModDR, Count::ModTE, Count::ModMG, Count::ModRE}, Count::RifModOther)];
        else if (t == p.sezInt)
            ++out[Count::Int];
        else if (t == p.modInt)
            ++out[byCode(code(c->values.value(p.modIntTipo)), {Count::ModUO, Count::ModUD}, Count::IntModOther)];
        else if (t == p.sezVfu)
            ++out[byCode(code(c->values.value(p.vfuTipo)), {Count::Aut, Count::Rot, Count::Fra}, Count::VfuOther)];
        else if (t == p.modVfu)
            ++out[Count::ModVeic];
        else if (t == p.sezImb)
            ++out[Count::Imb];
        else if (t == p.modImb)
            ++out[Count::ModImb];
        else if (t == p.sezRaee)
            ++out[byCode(code(c->values.value(p.srTipo)), {Count::TraRaee, Count::CrRaee}, Count::RaeeOther)];
        else if (t == p.modRaee)
            ++out[Count::ModRaee];
        else
            continue; // rows below the modules are not counted
        countInto(*c, p, out);
    }
}

} // namespace

void addCountColumns(tree::ReadOptions &options, Counted counted)
{
    auto addColumns = [&](const QString &table, const QStringList &columns, bool added) {
        auto it = options.columns.find(table);
        if (it != options.columns.end()) {
            for (const QString &c : columns)
                if (!it->contains(c, Qt::CaseInsensitive))
                    it->append(c);
        } else if (added) {
            options.columns.insert(table, columns); // key and parent key come anyway
        }
    };
    for (const char *name : countedTables) {
        const QString table = QString::fromLatin1(name);
        if (counted == Counted::Schede && table.startsWith(QLatin1String("Mod")))
            continue;
        bool added = false;
        if (!options.tables.isEmpty() && !options.tables.contains(table, Qt::CaseInsensitive)) {
            options.tables << table;
            added = true;
        }
        QStringList columns;
        for (const Kinds &k : kindColumns)
            if (table == QLatin1String(k.table))
                columns << QString::fromLatin1(k.column);
        addColumns(table, columns, added);
    }
    addColumns(QStringLiteral("SezAnag"), materialColumns(), false);
}

SchedeCount countSchede(const tree::Node &declaration)
{
    SchedeCount out;
    const Places &p = places();
    for (int i : p.materials)
        if (nonZero(declaration.values.value(i))) {
            out[Count::Mat] = 1;
            break;
        }
    countInto(declaration, p, out);
    return out;
}

bool countSchede(const QSqlDatabase &db, qint64 saID, SchedeCount *out, QString *error, qint64 *code)
{
    *out = {};
    tree::ReadOptions o;
    o.window = 1;
    o.tables << QStringLiteral("SezAnag");
    o.columns.insert(QStringLiteral("SezAnag"), {});
    addCountColumns(o);
    tree::Reader r(db, o);
    r.select({saID});
    if (const tree::Node *n = r.next())
        *out = countSchede(*n);
    if (r.failed() && error)
        *error = r.error();
    if (r.failed() && code)
        *code = r.errorCode();
    return !r.failed();
}

QString schedePresent(const SchedeCount &c)
{
    QStringList found;
    for (const CountName &k : countNames()) {
        const int n = c[k.count];
        if (!k.scheda || n == 0)
            continue;
        const QString label = QString::fromLatin1(k.scheda);
        found << (n > 1 ? label + QStringLiteral(" (") + QString::number(n) + u')' : label);
    }
    return found.join(QStringLiteral(", "));
}

} // namespace anag
