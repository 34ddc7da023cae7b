#include "exchange/expclass.h"

#include "exchange/layouts.h"
#include "exchange/statements.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QSqlQuery>
#include <QSqlRecord>

#include <algorithm>

namespace exch {


struct expClass::Decl {
    qint64 saID = 0;
    QString codFisc, ragSoc;
    QByteArray tail;                 // year;codFisc;key;  (38 characters)
    std::vector<QByteArray> lines;
    std::array<int, 29> counts{};
    int vfuKinds[4] = {};    // schede AUT, ROT, FRA by vfuTipo
    int raeeKinds[3] = {};   // schede TRA, CR by srTipo
};

// A statement run once for the whole order: the rows of one table for every
// declaration, ordered by the declaration's place, then as the per-scheda
// statement it stands for orders them. The rows of one declaration are read
// when it is written and handed out by parent key; rows of one parent keep
// their order, so the lines are the same as with one statement per parent.
// Executing a statement costs far more than reading its rows.
struct expClass::Source {
    QSqlQuery q;
    QStringList names;          // lower-case names of the columns after place and parent
    std::vector<int> sorted;    // their indexes in the order of their names
    bool started = false, has = false;
    qint64 place = -1, loaded = -1;
    QHash<qint64, std::vector<QVariantMap>> groups;

    void advance()
    {
        has = q.next();
        place = has ? q.value(0).toLongLong() : -1;
    }
    bool load(qint64 k)
    {
        if (loaded == k)
            return true;
        groups.clear();
        if (!started) {
            started = true;
            if (!q.exec())
                return false;
            const QSqlRecord r = q.record();
            for (int i = 2; i < r.count(); ++i)
                names << r.fieldName(i).toLower();
            for (int i = 0; i < names.size(); ++i)
                sorted.push_back(i);
            std::stable_sort(sorted.begin(), sorted.end(),
                             [this](int a, int b) { return names.at(a) < names.at(b); });
            advance();
        }
        while (has && place < k)
            advance();
        for (; has && place == k; advance()) {
            QVariantMap m;
            for (int i : sorted)
                m.insert(m.cend(), names.at(i), q.value(i + 2));
            groups[q.value(1).toLongLong()].push_back(std::move(m));
        }
        loaded = k;
        return true;
    }
};

namespace {

QString lc(const char *s) { return QString::fromLatin1(s); }

QVariantMap toMap(const QSqlQuery &q)
{
    QVariantMap m;
    const QSqlRecord r = q.record();
    for (int i = 0; i < r.count(); ++i)
        m.insert(r.fieldName(i).toLower(), q.value(i));
    return m;
}

QString kindOf(int tipoMod)
{
    switch (tipoMod) {
    case 1: return QStringLiteral("RT");
    case 2: return QStringLiteral("DR");
    case 3: return QStringLiteral("TE");
    case 4: return QStringLiteral("MG");
    default: return QString();
    }
}

// The key of a declaration: "yymmddhhnnss" of the moment its AA record is
// written, then its identifier; decided: the identifier is saID in decimal.
// Cut to 15 characters, or padded with "0" to 15.
QByteArray declarationKey(const QDateTime &now, qint64 saID)
{
    QByteArray k = now.toString(QStringLiteral("yyMMddHHmmss")).toLatin1() + QByteArray::number(saID);
    if (k.size() > 15)
        k.truncate(15);
    return k.leftJustified(15, '0');
}

} // namespace

expClass::expClass(dbClass &db, Messages &msg)
    : db_(db), msg_(msg), clock_([] { return QDateTime::currentDateTime(); })
{
}

expClass::~expClass()
{
    if (file_.isOpen())
        abort();
    endRun();
}

// The statements of write() and the run statements standing for them. The
// run statement selects the place, the parent key, then the same columns.
void expClass::addSources()
{
    const QString run = QStringLiteral(" INNER JOIN qor_export_run AS run ON run.saID = ");
    auto add = [&](const QString &perParent, const QString &runSql) {
        auto *src = new Source;
        src->q = QSqlQuery(db_.current());
        src->q.setForwardOnly(dbClass::streams(db_.current()));
        if (src->q.prepare(runSql))
            sources_.insert(perParent, src);
        else
            delete src;   // the statement per parent does the work then
    };
    // A section table hanging from SezAnag.
    auto section = [&](const char *table, const char *order) {
        const QString t = QString::fromLatin1(table);
        QString qualified;
        for (const QString &o : QString::fromLatin1(order).split(QStringLiteral(", ")))
            qualified += QStringLiteral(", ") + t + u'.' + o;
        add(QStringLiteral("SELECT * FROM %1 WHERE (saID = ?) ORDER BY %2").arg(t, QLatin1String(order)),
            QStringLiteral("SELECT run.ord, %1.saID, %1.* FROM %1").arg(t) + run + t +
                QStringLiteral(".saID ORDER BY run.ord") + qualified);
    };
    add(QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"),
        QStringLiteral("SELECT run.ord, SezAnag.saID, SezAnag.* FROM SezAnag") + run +
            QStringLiteral("SezAnag.saID ORDER BY run.ord"));
    section("SaAut", "suID");
    section("SezRif", "rifCod, rifID");
    section("SezInt", "rifCod, intID");
    section("SezImb", "siID");
    section("SezRaee", "srTipo, srRAEE, srID");
    section("SezVfu", "vfuTipo, vfuID");

    const QString rifJoin = QStringLiteral(" INNER JOIN SezRif ON SezRif.rifID = ModRif.rifID") + run +
                            QStringLiteral("SezRif.saID");
    add(QStringLiteral("SELECT ModRif.*, Nazioni.nazDesc AS nazDesc FROM ModRif LEFT JOIN "
                       "Nazioni ON ModRif.nazID = Nazioni.nazID WHERE (ModRif.rifID = ? "
                       "AND ModRif.tipoMod < 4) ORDER BY ModRif.tipoMod, ModRif.Privati, ModRif.mrID"),
        QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.*, Nazioni.nazDesc AS nazDesc FROM ModRif") + rifJoin +
            QStringLiteral(" LEFT JOIN Nazioni ON ModRif.nazID = Nazioni.nazID WHERE (ModRif.tipoMod < 4) "
                           "ORDER BY run.ord, ModRif.tipoMod, ModRif.Privati, ModRif.mrID"));
    add(QStringLiteral("SELECT * FROM ModRif WHERE (rifID = ? AND tipoMod = 5) ORDER BY mrID"),
        QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.* FROM ModRif") + rifJoin +
            QStringLiteral(" WHERE (ModRif.tipoMod = 5) ORDER BY run.ord, ModRif.mrID"));
    add(QStringLiteral("SELECT mrID FROM ModRif WHERE (rifID = ? AND tipoMod = 4) ORDER BY mrID"),
        QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.mrID FROM ModRif") + rifJoin +
            QStringLiteral(" WHERE (ModRif.tipoMod = 4) ORDER BY run.ord, ModRif.mrID"));
    add(QStringLiteral("SELECT ModInt.*, Nazioni.nazDesc AS nazDesc FROM ModInt LEFT JOIN "
                       "Nazioni ON ModInt.nazID = Nazioni.nazID WHERE (ModInt.intID = ?) "
                       "ORDER BY ModInt.tipoMod, ModInt.miID"),
        QStringLiteral("SELECT run.ord, ModInt.intID, ModInt.*, Nazioni.nazDesc AS nazDesc FROM ModInt "
                       "INNER JOIN SezInt ON SezInt.intID = ModInt.intID") + run +
            QStringLiteral("SezInt.saID LEFT JOIN Nazioni ON ModInt.nazID = Nazioni.nazID "
                           "ORDER BY run.ord, ModInt.tipoMod, ModInt.miID"));

    // Operation rows of the MG modules of the schede RIF.
    add(QStringLiteral("SELECT Codice, qta, umi FROM RecRif WHERE (mrID = ?) ORDER BY Posizione, Codice, %1")
            .arg(schema::table(QStringLiteral("RecRif"))->key),
        QStringLiteral("SELECT run.ord, RecRif.mrID, RecRif.Codice, RecRif.qta, RecRif.umi FROM RecRif "
                       "INNER JOIN ModRif ON ModRif.mrID = RecRif.mrID") + rifJoin +
            QStringLiteral(" ORDER BY run.ord, RecRif.Posizione, RecRif.Codice, RecRif.") +
            schema::table(QStringLiteral("RecRif"))->key);

    // Packaging, electrical equipment and vehicles: rows, modules, operations.
    struct Family {
        const char *name, *sez, *key, *modKey, *rowKey, *modOrder;
    };
    for (const Family &f : {Family{"Imb", "SezImb", "siID", "mbID", "riID", "rifCod, tipoMod, mbFlag, mbID"},
                            Family{"Raee", "SezRaee", "srID", "msrID", "rsrID", "rifCod, tipoMod, msrID"},
                            Family{"Vfu", "SezVfu", "vfuID", "mvID", "rvID", "rifCod, tipoMod, mvID"}}) {
        const QString fam = QString::fromLatin1(f.name), sez = QString::fromLatin1(f.sez);
        const QString key = QString::fromLatin1(f.key), modKey = QString::fromLatin1(f.modKey);
        const QString rec = QStringLiteral("Rec") + fam, mod = QStringLiteral("Mod") + fam;
        const QString recMod = QStringLiteral("RecMod") + fam;
        const QString sezJoin = QStringLiteral(" INNER JOIN %1 ON %1.%2 = ").arg(sez, key);
        add(QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?) ORDER BY rifCod, Posizione, %3").arg(rec, key, QLatin1String(f.rowKey)),
            QStringLiteral("SELECT run.ord, %1.%2, %1.* FROM %1").arg(rec, key) + sezJoin + rec + u'.' + key + run + sez +
                QStringLiteral(".saID ORDER BY run.ord, %1.rifCod, %1.Posizione, %1.%2").arg(rec, QLatin1String(f.rowKey)));
        QString modOrder;
        for (const QString &o : QString::fromLatin1(f.modOrder).split(QStringLiteral(", ")))
            modOrder += QStringLiteral(", ") + mod + u'.' + o;
        add(QStringLiteral("SELECT %1.*, Nazioni.nazDesc AS nazDesc FROM %1 LEFT JOIN Nazioni ON "
                           "%1.nazID = Nazioni.nazID WHERE (%1.%2 = ?) ORDER BY %3")
                .arg(mod, key, QLatin1String(f.modOrder)),
            QStringLiteral("SELECT run.ord, %1.%2, %1.*, Nazioni.nazDesc AS nazDesc FROM %1").arg(mod, key) + sezJoin +
                mod + u'.' + key + run + sez +
                QStringLiteral(".saID LEFT JOIN Nazioni ON %1.nazID = Nazioni.nazID ORDER BY run.ord").arg(mod) + modOrder);
        const QString opKey = schema::table(recMod)->key;
        add(QStringLiteral("SELECT Codice, qta, umi FROM %1 WHERE (%2 = ?) ORDER BY Posizione, Codice, %3")
                .arg(recMod, modKey, opKey),
            QStringLiteral("SELECT run.ord, %1.%2, %1.Codice, %1.qta, %1.umi FROM %1 INNER JOIN %3 ON %3.%2 = %1.%2")
                    .arg(recMod, modKey, mod) +
                sezJoin + mod + u'.' + key + run + sez +
                QStringLiteral(".saID ORDER BY run.ord, %1.Posizione, %1.Codice, %1.%2").arg(recMod, opKey));
    }
}

bool expClass::setOrder(const QList<qint64> &saIDs)
{
    endRun();
    QSqlDatabase db = db_.current();
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS qor_export_run "
                               "(ord INTEGER PRIMARY KEY, saID INTEGER NOT NULL)"))
        || !q.exec(QStringLiteral("DELETE FROM qor_export_run"))
        || !q.prepare(QStringLiteral("INSERT INTO qor_export_run (ord, saID) VALUES (?, ?)")))
        return false;   // every declaration is read statement by statement then
    const bool own = db.transaction();
    for (qint64 i = 0; i < saIDs.size(); ++i) {
        q.bindValue(0, i);
        q.bindValue(1, saIDs.at(i));
        if (!q.exec()) {
            if (own)
                db.rollback();
            place_.clear();
            return false;
        }
        if (!place_.contains(saIDs.at(i)))
            place_.insert(saIDs.at(i), i);
    }
    if (own && !db.commit()) {
        place_.clear();
        return false;
    }
    addSources();
    return true;
}

bool expClass::fromRun(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out)
{
    if (current_ < 0 || params.size() != 1)
        return false;
    Source *s = sources_.value(sql);
    if (!s || !s->load(current_))
        return false;
    out.clear();
    auto it = s->groups.find(params.front().toLongLong());
    if (it != s->groups.end()) {
        out = std::move(*it);
        s->groups.erase(it);
    }
    return true;
}

int expClass::controlValue(const QByteArray &start30, qint32 total)
{
    qint32 sum = total;
    for (int i = 0; i < 30 && i < start30.size(); ++i)
        sum += (i + 1) * static_cast<unsigned char>(start30.at(i));
    const QByteArray s = QByteArray::number(sum).rightJustified(4, '0');
    return s.right(4).toInt();
}

bool expClass::open(const QString &path)
{
    path_ = path;
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        msg_.critical(QStringLiteral("Errore apertura file di esportazione: ") + path +
                      QStringLiteral("\r\n") + file_.errorString());
        return false;
    }
    file_.write(QByteArray(HeaderLength, ' ') + "\r\n");
    st_ = std::make_unique<Statements>(db_.current(), msg_);
    counters_.fill(0);
    declarations_ = 0;

    renewal_.clear();
    bool ok = false;
    QSqlQuery q = db_.query(QStringLiteral("SELECT prvIstat, comIstat, newComIstat FROM Comuni "
                                           "WHERE (NOT newComIstat IS NULL) ORDER BY prvIstat, comIstat"),
                            {}, dbClass::Which::Current, &ok);
    while (ok && q.next()) {
        const qint64 k = q.value(0).toLongLong() * 1000 + q.value(1).toLongLong();
        if (!renewal_.contains(k))   // the first match wins
            renewal_.insert(k, {q.value(0).toInt(), q.value(2).toInt()});
    }
    if (!ok) {
        abort();
        return false;
    }
    return true;
}

void expClass::endRun()
{
    qDeleteAll(sources_);
    sources_.clear();
    place_.clear();
    current_ = -1;
}

void expClass::abort()
{
    endRun();
    st_.reset();
    if (file_.isOpen())
        file_.close();
    if (!path_.isEmpty())
        QFile::remove(path_);
}

void expClass::renew(QVariantMap &row, const QString &prv, const QString &com) const
{
    auto p = row.find(prv);
    auto c = row.find(com);
    if (p == row.end() || c == row.end() || p->isNull() || c->isNull())
        return;
    auto it = renewal_.constFind(p->toLongLong() * 1000 + c->toLongLong());
    if (it != renewal_.constEnd()) {
        *p = it->first;
        *c = it->second;
    }
}

bool expClass::rows(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out)
{
    if (!fromRun(sql, params, out) && !st_->rows(sql, params, out))
        return false;
    for (QVariantMap &m : out) {
        renew(m, lc("prvistat"), lc("comistat"));
        auto naz = m.constFind(lc("nazdesc"));
        if (naz != m.constEnd())
            m.insert(lc("#nazdesc"), *naz);
    }
    return true;
}

bool expClass::fail(const Decl &d, const QString &scheda, const QString &field, const QString &why)
{
    msg_.critical(QStringLiteral("Attenzione, dichiarazione ") + d.codFisc + u' ' + d.ragSoc +
                  QStringLiteral(", scheda ") + scheda + QStringLiteral(", campo ") + field +
                  QStringLiteral(": ") + why +
                  QStringLiteral(".\r\nIl valore non entra nel tracciato del file: esportazione interrotta."));
    abort();
    return false;
}

bool expClass::build(Decl &d, const QString &code, const QVariantMap &row, const QString &scheda,
                     QByteArray *line)
{
    const Layout *l = layout(code.toLatin1());
    line->clear();
    line->reserve(l->length);
    line->append(code.toLatin1()).append(';').append(d.tail);
    QString field, why;
    if (!encodeFields(*l, row, *line, &field, &why))
        return fail(d, scheda, field, why);
    d.counts[size_t(l->index)]++;
    return true;
}

bool expClass::emit(Decl &d, const QString &code, const QVariantMap &row, const QString &scheda)
{
    QByteArray line;
    if (!build(d, code, row, scheda, &line))
        return false;
    d.lines.push_back(std::move(line));
    return true;
}

int expClass::reserve(Decl &d)
{
    d.lines.emplace_back();
    return int(d.lines.size()) - 1;
}

bool expClass::fill(Decl &d, int slot, const QString &code, const QVariantMap &row,
                    const QString &scheda)
{
    return build(d, code, row, scheda, &d.lines[size_t(slot)]);
}

bool expClass::operationRows(Decl &d, const QString &table, const QString &parentKey, qint64 parent,
                             const QString &scheda, std::vector<QVariantMap> &out)
{
    if (!rows(QStringLiteral("SELECT Codice, qta, umi FROM %1 WHERE (%2 = ?) ORDER BY Posizione, Codice, %3")
                  .arg(table, parentKey, schema::table(table)->key),
              {parent}, out))
        return fail(d, scheda, table, QStringLiteral("lettura non riuscita"));
    return true;
}

bool expClass::detailLines(Decl &d, const QString &c1, const QString &c2, QVariantMap base,
                           const std::vector<QVariantMap> &r, const QString &scheda)
{
    const int n = int(r.size());
    base.insert(lc("#nrows"), n);
    const int pairsOfLines = std::max(1, (n + 18) / 19);
    for (int s = 0; s < pairsOfLines; ++s) {
        for (int part = 0; part < 2; ++part) {
            QVariantMap m = base;
            m.insert(lc("#seq"), s + 1);
            const int first = s * 19 + (part == 0 ? 0 : 9);
            const int count = part == 0 ? 9 : 10;
            for (int i = 0; i < count && first + i < n; ++i) {
                const QVariantMap &row = r[size_t(first + i)];
                const QString k = QString::number(i + 1);
                m.insert(QStringLiteral("#cod") + k, row.value(lc("codice")));
                m.insert(QStringLiteral("#qta") + k, row.value(lc("qta")));
                m.insert(QStringLiteral("#qta") + k + u'u', row.value(lc("umi")));
            }
            if (!emit(d, part == 0 ? c1 : c2, m, scheda))
                return false;
        }
    }
    return true;
}

bool expClass::materials(Decl &d, const QVariantMap &row, const QString &kind, int category,
                         const int *slotTable, const QString &scheda)
{
    QVariantMap m;
    m.insert(lc("#mkind"), kind);
    m.insert(lc("#mcat"), category);
    for (int i = 0; i < 21; ++i) {
        if (slotTable[i] == 0)
            continue;
        const QString n = QString::number(slotTable[i]).rightJustified(2, u'0');
        const QString s = QStringLiteral("#m") + QString::number(i + 1);
        m.insert(s, row.value(QStringLiteral("msqta") + n));
        m.insert(s + u'u', row.value(QStringLiteral("msumi") + n));
    }
    return emit(d, QStringLiteral("MA"), m, scheda);
}

bool expClass::write(qint64 saID)
{
    if (!file_.isOpen())
        return false;
    Decl d;
    d.saID = saID;
    current_ = place_.value(saID, -1);
    std::vector<QVariantMap> r;
    if (!rows(QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"), {saID}, r) || r.empty()) {
        msg_.critical(QStringLiteral("Attenzione, dichiarazione ") + QString::number(saID) +
                      QStringLiteral(" non trovata: esportazione interrotta."));
        abort();
        return false;
    }
    QVariantMap a = r.front();
    renew(a, lc("slprvistat"), lc("slcomistat"));
    d.codFisc = a.value(lc("codfisc")).toString();
    d.ragSoc = a.value(lc("ragsoc")).toString();
    d.tail = QByteArray::number(qorClass::Year) + ';' + text(a.value(lc("codfisc")), 16) +
             declarationKey(clock_(), saID) + ';';
    const QString sa1 = QStringLiteral("SA1");

    if (!emit(d, QStringLiteral("AA"), a, sa1))
        return false;
    const int ab = reserve(d);

    // SA-AUT
    if (!rows(QStringLiteral("SELECT * FROM SaAut WHERE (saID = ?) ORDER BY suID"), {saID}, r))
        return fail(d, QStringLiteral("SA-AUT"), QStringLiteral("SaAut"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (QVariantMap &u : r) {
        u.insert(lc("#prog"), ++prog);
        const QString rec = (u.value(lc("surecupero")).toString() + QStringLiteral("000000000000000"));
        const QString smal = (u.value(lc("susmaltimento")).toString() + QStringLiteral("000000000000000"));
        QStringList rl, dl;
        for (int i = 1; i <= 13; ++i)
            if (rec.at(i - 1) == u'1')
                rl << QStringLiteral("R%1").arg(i);
        for (int i = 1; i <= 15; ++i)
            if (smal.at(i - 1) == u'1')
                dl << QStringLiteral("D%1").arg(i);
        u.insert(lc("#recupero"), rl.join(u','));
        u.insert(lc("#smaltimento"), dl.join(u','));
        if (!emit(d, QStringLiteral("AU"), u, QStringLiteral("SA-AUT")))
            return false;
    }
    const int nAu = prog;

    if (!writeRif(d) || !materials(d, a, QStringLiteral("RIF"), 0, materialSlots(MatKind::Declaration), QStringLiteral("MAT"))
        || !writeInt(d) || !writeImb(d) || !writeRaee(d) || !writeVfu(d))
        return false;

    // AB: counts of schede.
    QVariantMap b;
    b.insert(lc("#nrif"), d.counts[2]);
    b.insert(lc("#nint"), d.counts[7]);
    b.insert(lc("#nau"), nAu);
    b.insert(lc("#nimb"), d.counts[21]);
    b.insert(lc("#naut"), d.vfuKinds[1]);
    b.insert(lc("#nrot"), d.vfuKinds[2]);
    b.insert(lc("#nfra"), d.vfuKinds[3]);
    b.insert(lc("#ntra"), d.raeeKinds[1]);
    b.insert(lc("#ncr"), d.raeeKinds[2]);
    if (!fill(d, ab, QStringLiteral("AB"), b, sa1))
        return false;

    QByteArray out;
    for (const QByteArray &l : d.lines)
        out.append(l).append("\r\n");
    if (file_.write(out) != out.size()) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + path_ +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    for (int i = 0; i < RecordTypes; ++i)
        counters_[size_t(i)] += d.counts[size_t(i)];
    ++declarations_;
    return true;
}

bool expClass::writeRif(Decl &d)
{
    std::vector<QVariantMap> schede, mods;
    if (!rows(QStringLiteral("SELECT * FROM SezRif WHERE (saID = ?) ORDER BY rifCod, rifID"),
              {d.saID}, schede))
        return fail(d, QStringLiteral("RIF"), QStringLiteral("SezRif"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (QVariantMap &s : schede) {
        const QString scheda = QStringLiteral("RIF ") + s.value(lc("rifcod")).toString();
        s.insert(lc("#prog"), ++prog);
        const int slot = reserve(d);
        QVariantMap start;
        start.insert(lc("#sprog"), prog);
        start.insert(lc("#scod"), s.value(lc("rifcod")));
        const qint64 rifID = s.value(lc("rifid")).toLongLong();

        int perKind[6] = {};
        if (!rows(QStringLiteral("SELECT ModRif.*, Nazioni.nazDesc AS nazDesc FROM ModRif LEFT JOIN "
                                 "Nazioni ON ModRif.nazID = Nazioni.nazID WHERE (ModRif.rifID = ? "
                                 "AND ModRif.tipoMod < 4) ORDER BY ModRif.tipoMod, ModRif.Privati, ModRif.mrID"),
                  {rifID}, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        for (QVariantMap &m : mods) {
            const int t = m.value(lc("tipomod")).toInt();
            if (t < 1)
                continue;
            m.insert(start);
            m.insert(lc("#kind"), kindOf(t));
            m.insert(lc("#prog"), ++perKind[t]);
            if (t != 1)
                m.insert(lc("privati"), 0);
            if (!emit(d, QStringLiteral("BB"), m, scheda))
                return false;
        }
        if (!rows(QStringLiteral("SELECT * FROM ModRif WHERE (rifID = ? AND tipoMod = 5) ORDER BY mrID"),
                  {rifID}, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        for (QVariantMap &m : mods) {
            m.insert(start);
            m.insert(lc("#prog"), ++perKind[5]);
            if (!emit(d, QStringLiteral("BC"), m, scheda))
                return false;
        }
        if (!rows(QStringLiteral("SELECT mrID FROM ModRif WHERE (rifID = ? AND tipoMod = 4) ORDER BY mrID"),
                  {rifID}, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        std::vector<QVariantMap> ops;
        for (const QVariantMap &m : mods) {
            QVariantMap base = start;
            base.insert(lc("#kind"), QStringLiteral("MG"));
            base.insert(lc("#prog"), ++perKind[4]);
            if (!operationRows(d, QStringLiteral("RecRif"), QStringLiteral("mrID"),
                               m.value(lc("mrid")).toLongLong(), scheda, ops)
                || !detailLines(d, QStringLiteral("BD"), QStringLiteral("BE"), base, ops, scheda))
                return false;
        }
        s.insert(lc("#nrt"), perKind[1]);
        s.insert(lc("#ndr"), perKind[2]);
        s.insert(lc("#nte"), perKind[3]);
        s.insert(lc("#nre"), perKind[5]);
        if (!fill(d, slot, QStringLiteral("BA"), s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeInt(Decl &d)
{
    std::vector<QVariantMap> schede, mods;
    if (!rows(QStringLiteral("SELECT * FROM SezInt WHERE (saID = ?) ORDER BY rifCod, intID"),
              {d.saID}, schede))
        return fail(d, QStringLiteral("INT"), QStringLiteral("SezInt"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (QVariantMap &s : schede) {
        const QString scheda = QStringLiteral("INT ") + s.value(lc("rifcod")).toString();
        s.insert(lc("#prog"), ++prog);
        const int slot = reserve(d);
        if (!rows(QStringLiteral("SELECT ModInt.*, Nazioni.nazDesc AS nazDesc FROM ModInt LEFT JOIN "
                                 "Nazioni ON ModInt.nazID = Nazioni.nazID WHERE (ModInt.intID = ?) "
                                 "ORDER BY ModInt.tipoMod, ModInt.miID"),
                  {s.value(lc("intid"))}, mods))
            return fail(d, scheda, QStringLiteral("ModInt"), QStringLiteral("lettura non riuscita"));
        int nUO = 0, nUD = 0;
        for (QVariantMap &m : mods) {
            const bool uo = m.value(lc("tipomod")).toInt() == 1;
            m.insert(lc("#sprog"), prog);
            m.insert(lc("#scod"), s.value(lc("rifcod")));
            m.insert(lc("#kind"), uo ? QStringLiteral("UO") : QStringLiteral("UD"));
            m.insert(lc("#prog"), uo ? ++nUO : ++nUD);
            if (!emit(d, QStringLiteral("DB"), m, scheda))
                return false;
        }
        s.insert(lc("#nuo"), nUO);
        s.insert(lc("#nud"), nUD);
        if (!fill(d, slot, QStringLiteral("DA"), s, scheda))
            return false;
    }
    return true;
}

// Modules of a packaging, RAEE or vehicle scheda.
bool expClass::writeFamilyModules(Decl &d, const QString &family, const QVariantMap &start,
                                  qint64 parent, int *nRT, int *nTE, int *nDR, const QString &scheda)
{
    const bool imb = family == QLatin1String("Imb");
    const QString modTable = QStringLiteral("Mod") + family;
    const QString parentKey = imb ? QStringLiteral("siID")
                                  : family == QLatin1String("Raee") ? QStringLiteral("srID")
                                                                    : QStringLiteral("vfuID");
    const QString modKey = imb ? QStringLiteral("mbID")
                               : family == QLatin1String("Raee") ? QStringLiteral("msrID")
                                                                 : QStringLiteral("mvID");
    const QString code = imb ? QStringLiteral("I") : family == QLatin1String("Raee") ? QStringLiteral("R")
                                                                                       : QStringLiteral("V");
    // Record codes of the family: RT/TE, DR, detail 1, detail 2.
    const char first = imb ? 'C' : family == QLatin1String("Raee") ? 'C' : 'E';
    auto rec = [&](int k) { return code + QChar(char16_t(first + k)); };
    const QString flagCol = imb ? lc("mbflag") : lc("privati");

    std::vector<QVariantMap> mods;
    const QString order = imb ? QStringLiteral("rifCod, tipoMod, mbFlag, mbID")
                              : QStringLiteral("rifCod, tipoMod, ") + modKey;
    if (!rows(QStringLiteral("SELECT %1.*, Nazioni.nazDesc AS nazDesc FROM %1 LEFT JOIN Nazioni ON "
                             "%1.nazID = Nazioni.nazID WHERE (%1.%2 = ?) ORDER BY %3")
                  .arg(modTable, parentKey, order),
              {parent}, mods))
        return fail(d, scheda, modTable, QStringLiteral("lettura non riuscita"));
    int perKind[5] = {};
    std::vector<QVariantMap> ops;
    for (QVariantMap &m : mods) {
        const int t = m.value(lc("tipomod")).toInt();
        if (t < 1 || t > 4)
            continue;
        m.insert(start);
        m.insert(lc("#kind"), kindOf(t));
        m.insert(lc("#prog"), ++perKind[t]);
        m.insert(lc("#modflag"), m.value(flagCol));
        const qint64 key = m.value(modKey.toLower()).toLongLong();
        if (t == 1 || t == 3) {
            if (t == 3) {
                m.insert(lc("discdep"), 0);
                m.insert(lc("disc191"), 0);
            }
            if (!emit(d, rec(0), m, scheda))
                return false;
        } else {
            if (!operationRows(d, QStringLiteral("RecMod") + family, modKey, key, scheda, ops))
                return false;
            if (t == 2) {
                m.insert(lc("#nrows"), int(ops.size()));
                if (!emit(d, rec(1), m, scheda))
                    return false;
            }
            QVariantMap base = start;
            for (const char *c : {"rifcod", "#kind", "#prog", "#modflag"})
                base.insert(lc(c), m.value(lc(c)));
            if (!detailLines(d, rec(2), rec(3), base, ops, scheda))
                return false;
        }
    }
    *nRT = perKind[1];
    *nDR = perKind[2];
    *nTE = perKind[3];
    return true;
}

bool expClass::writeImb(Decl &d)
{
    std::vector<QVariantMap> schede, r;
    const QString scheda = QStringLiteral("IMB");
    if (!rows(QStringLiteral("SELECT * FROM SezImb WHERE (saID = ?) ORDER BY siID"), {d.saID}, schede))
        return fail(d, scheda, QStringLiteral("SezImb"), QStringLiteral("lettura non riuscita"));
    for (QVariantMap &s : schede) {
        const qint64 siID = s.value(lc("siid")).toLongLong();
        const int slot = reserve(d);
        if (!rows(QStringLiteral("SELECT * FROM RecImb WHERE (siID = ?) ORDER BY rifCod, Posizione, riID"),
                  {siID}, r))
            return fail(d, scheda, QStringLiteral("RecImb"), QStringLiteral("lettura non riuscita"));
        for (QVariantMap &x : r) {
            const int p = x.value(lc("posizione")).toInt();
            x.insert(lc("#pos"), p == 1 ? QStringLiteral("RC") : p == 2 ? QStringLiteral("RX")
                                 : p == 3 ? QStringLiteral("P1") : QStringLiteral("PP"));
            if (!emit(d, QStringLiteral("IB"), x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, QStringLiteral("Imb"), {}, siID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, QStringLiteral("IMB"), 0, materialSlots(MatKind::Imb), scheda))
            return false;
        s.insert(lc("#nrows"), int(r.size()));
        s.insert(lc("#nrt"), nRT);
        s.insert(lc("#nte"), nTE);
        s.insert(lc("#ndr"), nDR);
        if (!fill(d, slot, QStringLiteral("IA"), s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeRaee(Decl &d)
{
    std::vector<QVariantMap> schede, r;
    if (!rows(QStringLiteral("SELECT * FROM SezRaee WHERE (saID = ?) ORDER BY srTipo, srRAEE, srID"),
              {d.saID}, schede))
        return fail(d, QStringLiteral("RAEE"), QStringLiteral("SezRaee"), QStringLiteral("lettura non riuscita"));
    for (QVariantMap &s : schede) {
        const bool tra = s.value(lc("srtipo")).toInt() == 1;
        d.raeeKinds[tra ? 1 : 2]++;
        const QString kind = tra ? QStringLiteral("TRA") : QStringLiteral("CRR");
        const QString scheda = (tra ? QStringLiteral("TRA-RAEE ") : QStringLiteral("CR-RAEE ")) +
                               s.value(lc("srraee")).toString();
        const qint64 srID = s.value(lc("srid")).toLongLong();
        QVariantMap start;
        start.insert(lc("#skind"), kind);
        start.insert(lc("#scat"), s.value(lc("srraee")));
        s.insert(lc("#skind"), kind);
        const int slot = reserve(d);
        if (!rows(QStringLiteral("SELECT * FROM RecRaee WHERE (srID = ?) ORDER BY rifCod, Posizione, rsrID"),
                  {srID}, r))
            return fail(d, scheda, QStringLiteral("RecRaee"), QStringLiteral("lettura non riuscita"));
        for (QVariantMap &x : r) {
            const int p = x.value(lc("posizione")).toInt();
            x.insert(start);
            x.insert(lc("#pos"), !tra ? QStringLiteral("  ") : p == 1 ? QStringLiteral("DR")
                                 : p == 2 ? QStringLiteral("PR") : QStringLiteral("PP"));
            if (!emit(d, QStringLiteral("RB"), x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, QStringLiteral("Raee"), start, srID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, s.value(lc("srraee")).toInt(), materialSlots(MatKind::Raee), scheda))
            return false;
        s.insert(lc("#nrows"), int(r.size()));
        s.insert(lc("#nrt"), nRT);
        s.insert(lc("#nte"), nTE);
        s.insert(lc("#ndr"), nDR);
        if (!fill(d, slot, QStringLiteral("RA"), s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeVfu(Decl &d)
{
    std::vector<QVariantMap> schede, r;
    if (!rows(QStringLiteral("SELECT * FROM SezVfu WHERE (saID = ?) ORDER BY vfuTipo, vfuID"),
              {d.saID}, schede))
        return fail(d, QStringLiteral("VFU"), QStringLiteral("SezVfu"), QStringLiteral("lettura non riuscita"));
    for (QVariantMap &s : schede) {
        const int t = s.value(lc("vfutipo")).toInt();
        d.vfuKinds[t >= 1 && t <= 3 ? t : 3]++;
        const QString kind = t == 1 ? QStringLiteral("AUT") : t == 2 ? QStringLiteral("ROT")
                                                                     : QStringLiteral("FRA");
        const QString scheda = kind;
        const qint64 vfuID = s.value(lc("vfuid")).toLongLong();
        QVariantMap start;
        start.insert(lc("#skind"), kind);
        s.insert(lc("#skind"), kind);
        auto slotQty = [&](const char *slot, const char *q, const char *u) {
            s.insert(lc(slot), q ? s.value(lc(q)) : QVariant());
            s.insert(lc(slot) + u'u', u ? s.value(lc(u)) : QVariant());
        };
        if (t == 3) {
            slotQty("#own1", "qtaproprio", "umiproprio");
            slotQty("#own2", "qtapost80", "umipost80");
            slotQty("#own3", nullptr, nullptr);
        } else {
            slotQty("#own1", nullptr, nullptr);
            slotQty("#own2", nullptr, nullptr);
            slotQty("#own3", "qtaproprio", "umiproprio");
        }
        if (t == 1) {
            slotQty("#veh1", "qtapre80", "umipre80");
            slotQty("#veh2", "qtapost80", "umipost80");
            slotQty("#veh3", "qta104", "umi104");
        }
        const int slot = reserve(d);
        if (!rows(QStringLiteral("SELECT * FROM RecVfu WHERE (vfuID = ?) ORDER BY rifCod, Posizione, rvID"),
                  {vfuID}, r))
            return fail(d, scheda, QStringLiteral("RecVfu"), QStringLiteral("lettura non riuscita"));
        for (QVariantMap &x : r) {
            x.insert(start);
            x.insert(lc("#pos"), x.value(lc("posizione")).toInt() == 1 ? QStringLiteral("RT")
                                                                       : QStringLiteral("PP"));
            if (!emit(d, QStringLiteral("VD"), x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, QStringLiteral("Vfu"), start, vfuID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, 0, materialSlots(MatKind::Vfu), scheda))
            return false;
        s.insert(lc("#nrows"), int(r.size()));
        s.insert(lc("#nrt"), nRT);
        s.insert(lc("#nte"), nTE);
        s.insert(lc("#ndr"), nDR);
        if (!fill(d, slot, QStringLiteral("VC"), s, scheda))
            return false;
    }
    return true;
}

bool expClass::close()
{
    if (!file_.isOpen())
        return false;
    qint32 total = 0;
    for (int c : counters_)
        total += c;
    const QDateTime now = clock_();
    QByteArray start = "XX;6.02/18;01;" + now.toString(QStringLiteral("yyyyMMdd")).toLatin1() + ';' +
                       now.toString(QStringLiteral("HHmmss")).toLatin1() + ';';
    QVariantMap h;
    bool ok = false;
    QSqlQuery q = db_.query(QStringLiteral("SELECT Setup.*, Province.prvSigla AS prvSigla, Comuni.comDesc AS comDesc "
                                           "FROM (Setup LEFT JOIN Province ON Setup.prvIstat = Province.prvIstat) "
                                           "LEFT JOIN Comuni ON (Setup.prvIstat = Comuni.prvIstat AND "
                                           "Setup.comIstat = Comuni.comIstat)"),
                            {}, dbClass::Which::Current, &ok);
    if (ok && q.next())
        h = toMap(q);
    h.insert(lc("#version"), QStringLiteral("6.02/18"));
    h.insert(lc("#recversion"), 1);
    h.insert(lc("#date"), now.toString(QStringLiteral("yyyyMMdd")));
    h.insert(lc("#time"), now.toString(QStringLiteral("HHmmss")));
    h.insert(lc("#total"), total);
    for (int i = 0; i < RecordTypes; ++i)
        h.insert(QStringLiteral("#c%1").arg(i), counters_[size_t(i)]);
    h.insert(lc("#control"), QStringLiteral("0000") +
                                 QString::number(controlValue(start, total)).rightJustified(4, u'0'));
    QByteArray line;
    QString field, why;
    if (!encodeFields(header(), h, line, &field, &why)) {
        msg_.critical(QStringLiteral("Attenzione, intestazione del file, campo ") + field +
                      QStringLiteral(": ") + why + QStringLiteral(". Esportazione interrotta."));
        abort();
        return false;
    }
    if (!file_.seek(0) || file_.write(line) != line.size()) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + path_ +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    file_.close();
    endRun();
    st_.reset();
    return true;
}

ExportResult exportDeclarations(dbClass &db, Messages &msg, const QString &path,
                                const QList<qint64> &saIDs, const Progress &progress,
                                expClass *engine)
{
    expClass own(db, msg);
    expClass &e = engine ? *engine : own;
    if (!e.open(path))
        return ExportResult::Failed;
    e.setOrder(saIDs);
    qint64 done = 0;
    for (qint64 id : saIDs) {
        if (!e.write(id))
            return ExportResult::Failed;
        if (progress && !progress(++done, saIDs.size())) {
            e.abort();
            return ExportResult::Cancelled;
        }
    }
    return e.close() ? ExportResult::Done : ExportResult::Failed;
}

} // namespace exch
