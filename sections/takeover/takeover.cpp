#include "sections/takeover/takeover.h"

#include "exchange/importer.h"
#include "shell/transaction.h"
#include "refdata/lookups.h"
#include "sections/anag/register.h"
#include "sections/anag/setup.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QHash>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <iterator>

namespace takeover {

namespace {

QString u8(const char *s) { return QString::fromUtf8(s); }

// Rows of a statement on the previous-year database; false when it fails.
bool previousRows(dbClass &db, const QString &sql, const QVariantList &params, QVector<QSqlRecord> &out)
{
    QSqlQuery q(db.previous());
    q.setForwardOnly(dbClass::streams(db.previous()));
    if (!q.prepare(sql) || !dbClass::bindAll(q, params) || !q.exec())
        return false;
    while (q.next())
        out.append(q.record());
    return true;
}

// The schede of a declaration as the list names them, in menu order, with
// the statement that counts them per declaration. MAT is read from the row.
struct Kind {
    const char *label;
    const char *sql;
};
const Kind kinds[] = {
    {"SA-AUT", "SELECT saID, COUNT(*) FROM SaAut GROUP BY saID"},
    {"RIF", "SELECT saID, COUNT(*) FROM SezRif GROUP BY saID"},
    {"MAT", nullptr},
    {"INT", "SELECT saID, COUNT(*) FROM SezInt GROUP BY saID"},
    {"AUT", "SELECT saID, COUNT(*) FROM SezVfu WHERE (vfuTipo = 1) GROUP BY saID"},
    {"ROT", "SELECT saID, COUNT(*) FROM SezVfu WHERE (vfuTipo = 2) GROUP BY saID"},
    {"FRA", "SELECT saID, COUNT(*) FROM SezVfu WHERE (vfuTipo = 3) GROUP BY saID"},
    {"IMB", "SELECT saID, COUNT(*) FROM SezImb GROUP BY saID"},
    {"TRA-RAEE", "SELECT saID, COUNT(*) FROM SezRaee WHERE (srTipo = 1) GROUP BY saID"},
    {"CR-RAEE", "SELECT saID, COUNT(*) FROM SezRaee WHERE (srTipo = 2) GROUP BY saID"},
};

bool hasMaterials(const QSqlRecord &r)
{
    for (int i = 0; i < r.count(); ++i)
        if (r.fieldName(i).startsWith(QLatin1String("msQta"), Qt::CaseInsensitive) && r.value(i).toLongLong() > 0)
            return true;
    return false;
}

// Municipality columns with the postcode that goes with them.
struct PlaceColumns {
    const char *prv, *com, *cap;
};
const PlaceColumns placeColumns[] = {{"prvIstat", "comIstat", "Cap"}, {"slPrvIstat", "slComIstat", "slCap"}};

// Municipalities changed since last year take their new codes and postcode.
void convertPlaces(const refdata::comChanged &conv, QVariantMap &v)
{
    for (const PlaceColumns &p : placeColumns) {
        const QString prv = u8(p.prv), com = u8(p.com), cap = u8(p.cap);
        if (!v.contains(prv) || !v.contains(com))
            continue;
        int prvNew = 0, comNew = 0;
        QString capNew;
        if (!conv.lookup(v.value(prv).toInt(), v.value(com).toInt(), prvNew, comNew, capNew))
            continue;
        v.insert(prv, prvNew);
        v.insert(com, comNew);
        if (v.contains(cap) && !capNew.trimmed().isEmpty())
            v.insert(cap, capNew.trimmed());
    }
}

QVariant nullOf(QMetaType::Type t) { return QVariant(QMetaType(t)); }

// Carries declarations of the previous year into the current one.
class Copier {
public:
    Copier(AppContext &ctx, bool structure) : ctx_(ctx), db_(ctx.db), conv_(ctx.db), structure_(structure) {}

    enum Outcome { Taken, Present, Missing, Failed };
    Outcome declaration(qint64 oldID, qint64 *newID, int *companies);

private:
    QVariantMap values(const schema::Table &t, const QSqlRecord &rec) const;
    bool children(const schema::Table &parent, qint64 oldID, qint64 newID);
    bool registerCompany(const anag::Company &c);
    bool readFailed()
    {
        ctx_.msg.critical(openErrorText());
        return false;
    }

    AppContext &ctx_;
    dbClass &db_;
    refdata::comChanged conv_;
    bool structure_;
    int added_ = 0;
};

// Every column of the current schema but the key; quantities emptied.
QVariantMap Copier::values(const schema::Table &t, const QSqlRecord &rec) const
{
    QVariantMap v;
    for (const schema::Column &c : t.columns) {
        if (c.name.compare(t.key, Qt::CaseInsensitive) == 0)
            continue;
        const int i = rec.indexOf(c.name);
        if (i < 0)
            continue;   // a column this edition added
        v.insert(c.name, c.type == schema::Type::Qty ? nullOf(QMetaType::LongLong) : rec.value(i));
    }
    return v;
}

bool Copier::registerCompany(const anag::Company &c)
{
    if (c.codFisc.trimmed().isEmpty())
        return true;
    const anag::Registered r = anag::registerCounterpart(db_, c);
    if (r == anag::Registered::Added)
        ++added_;
    return r != anag::Registered::Failed;
}

bool Copier::children(const schema::Table &parent, qint64 oldID, qint64 newID)
{
    for (const schema::Table &t : schema::tables()) {
        if (t.parent.compare(parent.name, Qt::CaseInsensitive) != 0)
            continue;
        QVector<QSqlRecord> rows;
        if (!previousRows(db_, QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?) ORDER BY %3").arg(t.name, t.parentKey, t.key),
                          {oldID}, rows))
            return readFailed();
        const bool module = t.name.startsWith(QLatin1String("Mod")) && schema::column(t, QStringLiteral("CodFisc"));
        for (const QSqlRecord &rec : rows) {
            QVariantMap v = values(t, rec);
            v.insert(t.parentKey, newID);
            convertPlaces(conv_, v);
            if (module) {
                anag::Company c;
                c.codFisc = v.value(QStringLiteral("CodFisc")).toString();
                c.ragSoc = v.value(QStringLiteral("RagSoc")).toString();
                c.via = v.value(QStringLiteral("Via")).toString();
                c.civico = v.value(QStringLiteral("Civico")).toString();
                c.cap = v.value(QStringLiteral("Cap")).toString();
                c.prvIstat = v.value(QStringLiteral("prvIstat")).toInt();
                c.comIstat = v.value(QStringLiteral("comIstat")).toInt();
                if (!registerCompany(c))
                    return false;
            }
            const qint64 id = db_.insertRow(t.name, v);
            if (id < 0 || !children(t, rec.value(t.key).toLongLong(), id))
                return false;
        }
    }
    return true;
}

Copier::Outcome Copier::declaration(qint64 oldID, qint64 *newID, int *companies)
{
    const schema::Table &sa = *schema::table(QStringLiteral("SezAnag"));
    QVector<QSqlRecord> rows;
    if (!previousRows(db_, QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"), {oldID}, rows)) {
        readFailed();
        return Failed;
    }
    if (rows.isEmpty())
        return Missing;
    QVariantMap v = values(sa, rows.first());
    convertPlaces(conv_, v);

    // The test and the insert in one transaction, taking turns with other
    // stations that add declarations: a declaration is never taken twice.
    dbTransaction tx(db_.current());
    if (!tx.isActive()) {
        ctx_.msg.critical(tx.wasBusy() ? exch::busyText() : tx.error());
        return Failed;
    }
    if (!exch::lockDeclarations(db_))
        return Failed;
    const qint64 present = exch::presentDeclaration(
        db_, {v.value(QStringLiteral("CodFisc")), v.value(QStringLiteral("RagSoc")), v.value(QStringLiteral("Via")),
              v.value(QStringLiteral("Civico")), v.value(QStringLiteral("prvIstat")), v.value(QStringLiteral("comIstat"))});
    if (present < 0)
        return Failed;
    if (present > 0)
        return Present;

    // The anagrafica of the new year: not yet dated, annulling nothing,
    // never exported.
    v.insert(QStringLiteral("saAnno"), qorClass::Year);
    v.insert(QStringLiteral("saDataComp"), nullOf(QMetaType::QString));
    v.insert(QStringLiteral("saDataPrec"), nullOf(QMetaType::QString));
    v.insert(QStringLiteral("saAnnulla"), 0);
    v.insert(QStringLiteral("saExp"), 0);
    v.insert(QStringLiteral("ExpID"), 0);
    if (!structure_)
        for (auto it = v.begin(); it != v.end(); ++it)
            if (it.key().startsWith(QLatin1String("msUmi")))
                it.value() = nullOf(QMetaType::Int);

    // The register keeps companies at their registered office, as the SA1
    // form reads them back; a declaration without one gives its local unit.
    const bool office = v.value(QStringLiteral("slComIstat")).toInt() > 0;
    auto pick = [&](const char *own, const char *unit) { return v.value(u8(office ? own : unit)); };
    anag::Company c;
    c.codFisc = v.value(QStringLiteral("CodFisc")).toString();
    c.ragSoc = v.value(QStringLiteral("RagSoc")).toString();
    c.via = pick("slVia", "Via").toString();
    c.civico = pick("slCivico", "Civico").toString();
    c.cap = pick("slCap", "Cap").toString();
    c.prefTel = pick("slPrefTel", "PrefTel").toString();
    c.telefono = pick("slTelefono", "Telefono").toString();
    c.prvIstat = pick("slPrvIstat", "prvIstat").toInt();
    c.comIstat = pick("slComIstat", "comIstat").toInt();

    added_ = 0;
    qint64 id = -1;
    const bool ok = registerCompany(c) && (id = db_.insertRow(sa.name, v)) > 0
                    && (!structure_ || children(sa, oldID, id));
    if (!ok)
        return Failed;
    if (!tx.commit()) {
        ctx_.msg.errorReport({}, tx.errorCode(), tx.error(), QStringLiteral("takeover"));
        return Failed;
    }
    *newID = id;
    *companies += added_;
    return Taken;
}

Result::Setup takeSetup(AppContext &ctx)
{
    bool here = false, there = false;
    anag::loadSetup(ctx.db, dbClass::Which::Current, &here);
    if (here)
        return Result::Setup::AlreadyThere;
    const fields::Record r = anag::loadSetup(ctx.db, dbClass::Which::Previous, &there);
    if (!there)
        return Result::Setup::NotInPrevious;
    return anag::saveSetup(ctx, r) ? Result::Setup::Taken : Result::Setup::Refused;
}

} // namespace

QString openErrorText()
{
    return QStringLiteral("Errore apertura database dichiarazioni anno precedente");
}

bool readPrevious(dbClass &db, Messages &msg, QVector<Line> &out)
{
    out.clear();
    QVector<QSqlRecord> rows;
    if (!db.isPreviousOpen() || !db.isCurrentOpen()
        || !previousRows(db, QStringLiteral("SELECT * FROM SezAnag ORDER BY RagSoc, saID"), {}, rows)) {
        msg.critical(openErrorText());
        return false;
    }
    constexpr int kindCount = int(std::size(kinds));
    QHash<qint64, QVector<int>> counts;
    for (int k = 0; k < kindCount; ++k) {
        if (!kinds[k].sql)
            continue;
        QVector<QSqlRecord> c;
        if (!previousRows(db, QString::fromLatin1(kinds[k].sql), {}, c)) {
            msg.critical(openErrorText());
            return false;
        }
        for (const QSqlRecord &r : c) {
            QVector<int> &n = counts[r.value(0).toLongLong()];
            n.resize(kindCount);
            n[k] = r.value(1).toInt();
        }
    }

    const refdata::comChanged conv(db);
    struct Place {
        QString comDesc, prvSigla;
        int chamber = 0;
    };
    QHash<int, Place> places;
    QSqlQuery pq(db.current());
    pq.prepare(QStringLiteral("SELECT Comuni.comDesc, Province.prvSigla, Comuni.comCCIAA FROM Comuni "
                              "LEFT JOIN Province ON Comuni.prvIstat = Province.prvIstat "
                              "WHERE (Comuni.prvIstat = ? AND Comuni.comIstat = ?)"));
    for (const QSqlRecord &r : rows) {
        Line l;
        l.saID = r.value(QStringLiteral("saID")).toLongLong();
        l.codFisc = r.value(QStringLiteral("CodFisc")).toString();
        l.ragSoc = r.value(QStringLiteral("RagSoc")).toString();
        l.via = r.value(QStringLiteral("Via")).toString();
        l.civico = r.value(QStringLiteral("Civico")).toString();
        l.prvIstat = r.value(QStringLiteral("prvIstat")).toInt();
        l.comIstat = r.value(QStringLiteral("comIstat")).toInt();
        QString cap;
        conv.lookup(l.prvIstat, l.comIstat, l.prvIstat, l.comIstat, cap);
        const int key = refdata::packMunicipality(l.prvIstat, l.comIstat);
        if (!places.contains(key)) {
            Place p;
            pq.bindValue(0, l.prvIstat);
            pq.bindValue(1, l.comIstat);
            if (pq.exec() && pq.next())
                p = {pq.value(0).toString(), pq.value(1).toString(), pq.value(2).toInt()};
            pq.finish();
            places.insert(key, p);
        }
        const Place &p = places[key];
        l.comDesc = p.comDesc;
        l.prvSigla = p.prvSigla;
        l.chamber = p.chamber;

        QStringList parts;
        const QVector<int> n = counts.value(l.saID, QVector<int>(kindCount));
        for (int k = 0; k < kindCount; ++k) {
            if (!kinds[k].sql) {
                if (hasMaterials(r))
                    parts << u8(kinds[k].label);
            } else if (n.value(k) > 0) {
                parts << u8(kinds[k].label) + u' ' + QString::number(n.value(k));
            }
        }
        l.schede = parts.isEmpty() ? QStringLiteral("solo anagrafica") : parts.join(QStringLiteral(", "));
        l.present = exch::presentDeclaration(db, {l.codFisc, l.ragSoc, l.via, l.civico, l.prvIstat, l.comIstat}) > 0;
        out.append(l);
    }
    return true;
}

bool matches(const Line &l, const Filter &f)
{
    if (!f.name.trimmed().isEmpty() && !l.ragSoc.contains(f.name.trimmed(), Qt::CaseInsensitive))
        return false;
    if (!f.codFisc.trimmed().isEmpty() && !l.codFisc.contains(f.codFisc.trimmed(), Qt::CaseInsensitive))
        return false;
    return f.chamber == 0 || l.chamber == f.chamber;
}

Result run(AppContext &ctx, const QList<qint64> &saIDs, const Options &options, const Progress &progress)
{
    Result r;
    if (!ctx.db.isPreviousOpen() || !ctx.db.isCurrentOpen()) {
        ctx.msg.critical(openErrorText());
        r.status = Result::NotOpen;
        return r;
    }
    if (options.setup)
        r.setup = takeSetup(ctx);
    Copier copier(ctx, options.structure);
    const int total = int(saIDs.size());
    for (int i = 0; i < total; ++i) {
        if (progress && !progress(i, total)) {
            r.status = Result::Cancelled;
            return r;
        }
        qint64 id = 0;
        switch (copier.declaration(saIDs.at(i), &id, &r.companies)) {
        case Copier::Taken:
            ++r.taken;
            r.newIds << id;
            break;
        case Copier::Present:
            ++r.skipped;
            break;
        case Copier::Missing:
            break;
        case Copier::Failed:
            r.status = Result::Failed;
            return r;
        }
    }
    if (progress)
        progress(total, total);
    r.status = Result::Done;
    return r;
}

} // namespace takeover
