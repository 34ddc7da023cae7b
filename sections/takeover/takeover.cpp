#include "sections/takeover/takeover.h"

#include "exchange/importer.h"
#include "shell/transaction.h"
#include "refdata/lookups.h"
#include "sections/anag/register.h"
#include "sections/anag/setup.h"
#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"
#include "shell/tree/tree.h"

#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <utility>

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

// The columns of a table the takeover changes, found once for each table:
// a run goes through every row of every declaration.
struct Touched {
    std::vector<qsizetype> quantities;
    struct Place {
        qsizetype prv = -1, com = -1, cap = -1;
    };
    std::vector<Place> places;   // the table's municipalities, with both codes
    bool counterpart = false;    // a module naming a company
};

const Touched &touched(const schema::Table &t)
{
    static const std::vector<Touched> all = [] {
        std::vector<Touched> out;
        for (const schema::Table &table : schema::tables()) {
            Touched &x = out.emplace_back();
            auto at = [&table](const char *column) { return tree::columnIndex(table, u8(column)); };
            for (size_t i = 0; i < table.columns.size(); ++i)
                if (table.columns[i].type == schema::Type::Qty)
                    x.quantities.push_back(qsizetype(i));
            for (const PlaceColumns &p : placeColumns) {
                const Touched::Place place{at(p.prv), at(p.com), at(p.cap)};
                if (place.prv >= 0 && place.com >= 0)
                    x.places.push_back(place);
            }
            x.counterpart = table.name.startsWith(QLatin1String("Mod")) && at("CodFisc") >= 0;
        }
        return out;
    }();
    return all[size_t(&t - schema::tables().data())];
}

// Municipalities changed since last year take their new codes and postcode.
void convertPlaces(const refdata::comChanged &conv, tree::Node &n)
{
    for (const Touched::Place &p : touched(*n.table).places) {
        int prvNew = 0, comNew = 0;
        QString capNew;
        if (!conv.lookup(n.values.at(p.prv).toInt(), n.values.at(p.com).toInt(), prvNew, comNew, capNew))
            continue;
        n.values[p.prv] = prvNew;
        n.values[p.com] = comNew;
        if (p.cap >= 0 && !capNew.trimmed().isEmpty())
            n.values[p.cap] = capNew.trimmed();
    }
}

QVariant nullOf(QMetaType::Type t) { return QVariant(QMetaType(t)); }

// Quantities emptied; their units stay.
void emptyQuantities(tree::Node &n)
{
    static const QVariant none = nullOf(QMetaType::LongLong);
    for (const qsizetype i : touched(*n.table).quantities)
        n.values[i] = none;
}

// Carries declarations of the previous year, as the tree reader gives them,
// into the current one through the tree writer.
class Copier {
public:
    Copier(AppContext &ctx, bool structure)
        : ctx_(ctx), db_(ctx.db), conv_(ctx.db), structure_(structure), writer_(ctx.db.current()),
          register_(ctx.db, anag::CounterpartRegister::Mode::Queued)
    {
    }

    enum Outcome { Taken, Present, Failed };
    Outcome declaration(tree::Node &sa, qint64 *newID);
    // Writes the companies the run queued into the register, at its end
    // (or at the end of its part kept): the number the register did not
    // have, -1 on a failure (reported).
    qint64 flush() { return register_.flush(); }

private:
    bool row(tree::Node &n);
    bool registerCompany(const anag::Company &c);
    qint64 present(const exch::DeclarationIdentity &d);
    QString text(const tree::Node &n, const char *column) const { return n.value(u8(column)).toString(); }

    AppContext &ctx_;
    dbClass &db_;
    refdata::comChanged conv_;
    bool structure_;
    tree::Writer writer_;
    // The register of companies for the run. They are queued, and written
    // in tax-code order at its end: written one by one, the companies of
    // tens of thousands of declarations go to random places of the
    // register's index, and crowd the rest out of the page cache. A
    // declaration's savepoint takes its queued companies with it.
    anag::CounterpartRegister register_;
    // The presence test, prepared once for each of its shapes.
    std::map<QString, dbStatement> presence_;
};

qint64 Copier::present(const exch::DeclarationIdentity &d)
{
    const exch::PresenceTest t = exch::presenceTest(d);
    auto it = presence_.find(t.sql);
    if (it == presence_.end())
        it = presence_.emplace(t.sql, dbStatement(db_.current(), t.sql)).first;
    dbStatement &st = it->second;
    for (int i = 0; i < int(t.params.size()); ++i)
        st.bind(i, t.params.at(i));
    if (!st.isValid() || !st.exec()) {
        ctx_.msg.errorReport({}, st.errorCode(), st.error(), QStringLiteral("takeover"));
        return -1;
    }
    const qint64 id = st.next() ? st.toInt(0) : 0;
    st.finish();
    return id;
}

bool Copier::registerCompany(const anag::Company &c)
{
    return register_.add(c) != anag::Registered::Failed;
}

// A row of the tree on its way into the current year; the declaration row
// was made ready before the presence test.
bool Copier::row(tree::Node &n)
{
    if (n.table->name == QLatin1String("SezAnag")) {
        // The register keeps companies at their registered office, as the
        // SA1 form reads them back; a declaration without one gives its
        // local unit.
        const bool office = n.value(QStringLiteral("slComIstat")).toInt() > 0;
        auto pick = [&](const char *own, const char *unit) { return n.value(u8(office ? own : unit)); };
        anag::Company c;
        c.codFisc = text(n, "CodFisc");
        c.ragSoc = text(n, "RagSoc");
        c.via = pick("slVia", "Via").toString();
        c.civico = pick("slCivico", "Civico").toString();
        c.cap = pick("slCap", "Cap").toString();
        c.prefTel = pick("slPrefTel", "PrefTel").toString();
        c.telefono = pick("slTelefono", "Telefono").toString();
        c.prvIstat = pick("slPrvIstat", "prvIstat").toInt();
        c.comIstat = pick("slComIstat", "comIstat").toInt();
        return registerCompany(c);
    }
    emptyQuantities(n);
    convertPlaces(conv_, n);
    if (!touched(*n.table).counterpart)
        return true;
    return registerCompany(anag::counterpartOf(n));
}

Copier::Outcome Copier::declaration(tree::Node &sa, qint64 *newID)
{
    emptyQuantities(sa);
    convertPlaces(conv_, sa);
    const qint64 found = present(
        {sa.value(QStringLiteral("CodFisc")), sa.value(QStringLiteral("RagSoc")), sa.value(QStringLiteral("Via")),
              sa.value(QStringLiteral("Civico")), sa.value(QStringLiteral("prvIstat")), sa.value(QStringLiteral("comIstat"))});
    if (found < 0)
        return Failed;
    if (found > 0)
        return Present;

    // The anagrafica of the new year: not yet dated, annulling nothing,
    // never exported.
    sa.set(QStringLiteral("saAnno"), qorClass::Year);
    sa.set(QStringLiteral("saDataComp"), nullOf(QMetaType::QString));
    sa.set(QStringLiteral("saDataPrec"), nullOf(QMetaType::QString));
    sa.set(QStringLiteral("saAnnulla"), 0);
    sa.set(QStringLiteral("saExp"), 0);
    sa.set(QStringLiteral("ExpID"), 0);
    if (!structure_)
        for (size_t i = 0; i < sa.table->columns.size(); ++i)
            if (sa.table->columns[i].name.startsWith(QLatin1String("msUmi")))
                sa.values[qsizetype(i)] = nullOf(QMetaType::Int);

    const qint64 id = writer_.write(sa, [this](tree::Node &n) { return row(n); });
    if (id < 0) {
        // The declaration's rollback took its companies away again.
        register_.forget();
        if (!writer_.error().isEmpty())
            ctx_.msg.errorReport({}, writer_.errorCode(), writer_.error(), QStringLiteral("takeover"));
        return Failed;
    }
    *newID = id;
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

    // One transaction for the run, taking turns with other stations that add
    // declarations (a declaration is never taken twice); each declaration in
    // a savepoint of its own. What was taken stays when the run is
    // cancelled or a declaration fails.
    // The run writes as much as an import of the same declarations, into
    // the same tables and indexes: the same page cache.
    const dbPageCache cache(ctx.db.current(), exch::ImportPageCacheKib);
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive()) {
        ctx.msg.critical(tx.wasBusy() ? exch::busyText() : tx.error());
        r.status = Result::Failed;
        return r;
    }
    if (!exch::lockDeclarations(ctx.db)) {
        r.status = Result::Failed;
        return r;
    }
    QList<qint64> keys;
    std::vector<qint64> taken; // the new key of each of keys, 0 when not taken
    Copier copier(ctx, options.structure);
    auto finish = [&](Result::Status status) {
        r.status = status;
        // The companies of the declarations taken, whatever ended the run;
        // declarations without their companies are not kept.
        const qint64 added = copier.flush();
        if (added < 0) {
            tx.rollback();
            r.status = Result::Failed;
            r.taken = 0;
            r.companies = 0;
            return r;
        }
        r.companies = int(added);
        // The new declarations in the order they were asked for (the list's).
        for (qint64 k : saIDs) {
            const auto at = std::lower_bound(keys.begin(), keys.end(), k);
            if (at != keys.end() && *at == k && taken[size_t(at - keys.begin())] > 0)
                r.newIds << std::exchange(taken[size_t(at - keys.begin())], 0);
        }
        if (!tx.commit()) {
            ctx.msg.errorReport({}, tx.errorCode(), tx.error(), QStringLiteral("takeover"));
            r.status = Result::Failed;
            r.taken = 0;
            r.companies = 0;
            r.newIds.clear();
        }
        return r;
    };

    // Taken by key, each once: the list gives them by name, which scatters
    // them over last year's store; by key the reader finds their rows
    // together.
    keys = saIDs;
    std::sort(keys.begin(), keys.end());
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    taken.assign(size_t(keys.size()), 0);
    tree::ReadOptions read;
    if (!options.structure)
        read.tables = QStringList{QStringLiteral("SezAnag")};
    // Last year's store is read on a thread of its own while this one writes.
    tree::ReaderAhead reader(ctx.db.previous(), read, keys);
    const int total = int(keys.size());
    int at = 0;
    while (tree::Node *sa = reader.next()) {
        while (at < total && keys.at(at) != sa->key())
            ++at; // no longer in last year's database
        if (progress && !progress(at, total))
            return finish(Result::Cancelled);
        ++at;
        qint64 id = 0;
        switch (copier.declaration(*sa, &id)) {
        case Copier::Taken:
            ++r.taken;
            taken[size_t(at - 1)] = id;
            break;
        case Copier::Present:
            ++r.skipped;
            break;
        case Copier::Failed:
            return finish(Result::Failed);
        }
    }
    if (reader.failed()) {
        ctx.msg.critical(openErrorText());
        return finish(Result::Failed);
    }
    if (progress)
        progress(total, total);
    return finish(Result::Done);
}

} // namespace takeover
