#include "exchange/expclass.h"

#include "exchange/layouts.h"
#include "exchange/statements.h"
#include "sections/codes.h"
#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QDir>
#include <QFileInfo>
#include <QSqlQuery>
#include <QTemporaryFile>
#include <QSqlRecord>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace exch {

int expClass::maxPerType = 99999;

struct expClass::Decl {
    qint64 saID = 0;
    QString codFisc, ragSoc;
    QByteArray tail;                 // year;codFisc;key;  (38 characters)
    QByteArray *out = nullptr;       // the declaration's lines, CR LF ended
    std::array<int, 29> counts{};
    int vfuKinds[4] = {};    // schede AUT, ROT, FRA by vfuTipo
    int raeeKinds[3] = {};   // schede TRA, CR by srTipo
};

// Rows of a statement for one parent, in the statement's order.
struct expClass::Rows {
    const RowSet *set = nullptr;
    std::vector<int> idx;
    int size() const { return int(idx.size()); }
    Val value(int i, int k) const { return set->value(idx[size_t(i)], k); }
};

namespace {

// The statements of the export. Each reads the rows of one table for a parent
// key; the run statement standing for it reads them for every declaration of
// the order at once (place, parent key, then the same columns), ordered by the
// declaration's place and then as the statement per parent orders them.
enum Query : int {
    QAnag, QAut, QRif, QRifMods, QRifRe, QRifMg, QRifOps, QInt, QIntMods, QImb, QRaee, QVfu,
    QFamRows,                  // RecImb, RecRaee, RecVfu
    QFamMods = QFamRows + 3,   // ModImb, ModRaee, ModVfu
    QFamOps = QFamMods + 3,    // RecModImb, RecModRaee, RecModVfu
    QCount = QFamOps + 3
};

// Families of packaging, electrical equipment and vehicles.
constexpr int FImb = 0, FRaee = 1, FVfu = 2;

struct QueryText {
    QString perParent, run;
};

const std::vector<QueryText> &queries()
{
    static const std::vector<QueryText> q = [] {
        std::vector<QueryText> v(QCount);
        const QString run = QStringLiteral(" INNER JOIN qor_export_run AS run ON run.saID = ");
        // A section table hanging from SezAnag.
        auto section = [&](int id, const char *table, const char *order) {
            const QString t = QString::fromLatin1(table);
            QString qualified;
            for (const QString &o : QString::fromLatin1(order).split(QStringLiteral(", ")))
                qualified += QStringLiteral(", ") + t + u'.' + o;
            v[size_t(id)] = {QStringLiteral("SELECT * FROM %1 WHERE (saID = ?) ORDER BY %2").arg(t, QLatin1String(order)),
                             QStringLiteral("SELECT run.ord, %1.saID, %1.* FROM %1").arg(t) + run + t +
                                 QStringLiteral(".saID ORDER BY run.ord") + qualified};
        };
        v[QAnag] = {QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"),
                    QStringLiteral("SELECT run.ord, SezAnag.saID, SezAnag.* FROM SezAnag") + run +
                        QStringLiteral("SezAnag.saID ORDER BY run.ord")};
        section(QAut, "SaAut", "suID");
        section(QRif, "SezRif", "rifCod, rifID");
        section(QInt, "SezInt", "rifCod, intID");
        section(QImb, "SezImb", "siID");
        section(QRaee, "SezRaee", "srTipo, srRAEE, srID");
        section(QVfu, "SezVfu", "vfuTipo, vfuID");

        const QString rifJoin = QStringLiteral(" INNER JOIN SezRif ON SezRif.rifID = ModRif.rifID") + run +
                                QStringLiteral("SezRif.saID");
        v[QRifMods] = {QStringLiteral("SELECT ModRif.*, Nazioni.nazDesc AS nazDesc FROM ModRif LEFT JOIN "
                                      "Nazioni ON ModRif.nazID = Nazioni.nazID WHERE (ModRif.rifID = ? "
                                      "AND ModRif.tipoMod < 4) ORDER BY ModRif.tipoMod, ModRif.Privati, ModRif.mrID"),
                       QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.*, Nazioni.nazDesc AS nazDesc FROM ModRif") +
                           rifJoin +
                           QStringLiteral(" LEFT JOIN Nazioni ON ModRif.nazID = Nazioni.nazID WHERE (ModRif.tipoMod < 4) "
                                          "ORDER BY run.ord, ModRif.tipoMod, ModRif.Privati, ModRif.mrID")};
        v[QRifRe] = {QStringLiteral("SELECT * FROM ModRif WHERE (rifID = ? AND tipoMod = 5) ORDER BY mrID"),
                     QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.* FROM ModRif") + rifJoin +
                         QStringLiteral(" WHERE (ModRif.tipoMod = 5) ORDER BY run.ord, ModRif.mrID")};
        v[QRifMg] = {QStringLiteral("SELECT mrID, Privati, qtaMod, umiMod, qtaSmalt, umiSmalt, qtaDep, umiDep, discDep, "
                                    "qta191, umi191, disc191 FROM ModRif WHERE (rifID = ? AND tipoMod = 4) ORDER BY mrID"),
                     QStringLiteral("SELECT run.ord, ModRif.rifID, ModRif.mrID, ModRif.Privati, ModRif.qtaMod, ModRif.umiMod, "
                                    "ModRif.qtaSmalt, ModRif.umiSmalt, ModRif.qtaDep, ModRif.umiDep, ModRif.discDep, "
                                    "ModRif.qta191, ModRif.umi191, ModRif.disc191 FROM ModRif") + rifJoin +
                         QStringLiteral(" WHERE (ModRif.tipoMod = 4) ORDER BY run.ord, ModRif.mrID")};
        v[QIntMods] = {QStringLiteral("SELECT ModInt.*, Nazioni.nazDesc AS nazDesc FROM ModInt LEFT JOIN "
                                      "Nazioni ON ModInt.nazID = Nazioni.nazID WHERE (ModInt.intID = ?) "
                                      "ORDER BY ModInt.tipoMod, ModInt.miID"),
                       QStringLiteral("SELECT run.ord, ModInt.intID, ModInt.*, Nazioni.nazDesc AS nazDesc FROM ModInt "
                                      "INNER JOIN SezInt ON SezInt.intID = ModInt.intID") + run +
                           QStringLiteral("SezInt.saID LEFT JOIN Nazioni ON ModInt.nazID = Nazioni.nazID "
                                          "ORDER BY run.ord, ModInt.tipoMod, ModInt.miID")};

        // Operation rows of the MG modules of the schede RIF.
        const QString recRifKey = schema::table(QStringLiteral("RecRif"))->key;
        v[QRifOps] = {QStringLiteral("SELECT Posizione, Codice, qta, umi FROM RecRif WHERE (mrID = ?) ORDER BY Posizione, Codice, %1")
                          .arg(recRifKey),
                      QStringLiteral("SELECT run.ord, RecRif.mrID, RecRif.Posizione, RecRif.Codice, RecRif.qta, RecRif.umi FROM RecRif "
                                     "INNER JOIN ModRif ON ModRif.mrID = RecRif.mrID") + rifJoin +
                          QStringLiteral(" ORDER BY run.ord, RecRif.Posizione, RecRif.Codice, RecRif.") + recRifKey};

        // Packaging, electrical equipment and vehicles: rows, modules, operations.
        struct Fam {
            const char *name, *sez, *key, *modKey, *rowKey, *modOrder;
        };
        const Fam fams[] = {{"Imb", "SezImb", "siID", "mbID", "riID", "rifCod, tipoMod, mbFlag, mbID"},
                            {"Raee", "SezRaee", "srID", "msrID", "rsrID", "rifCod, tipoMod, msrID"},
                            {"Vfu", "SezVfu", "vfuID", "mvID", "rvID", "rifCod, tipoMod, mvID"}};
        for (int i = 0; i < 3; ++i) {
            const Fam &f = fams[i];
            const QString fam = QString::fromLatin1(f.name), sez = QString::fromLatin1(f.sez);
            const QString key = QString::fromLatin1(f.key), modKey = QString::fromLatin1(f.modKey);
            const QString rec = QStringLiteral("Rec") + fam, mod = QStringLiteral("Mod") + fam;
            const QString recMod = QStringLiteral("RecMod") + fam;
            const QString sezJoin = QStringLiteral(" INNER JOIN %1 ON %1.%2 = ").arg(sez, key);
            v[size_t(QFamRows + i)] = {
                QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?) ORDER BY rifCod, Posizione, %3").arg(rec, key, QLatin1String(f.rowKey)),
                QStringLiteral("SELECT run.ord, %1.%2, %1.* FROM %1").arg(rec, key) + sezJoin + rec + u'.' + key + run + sez +
                    QStringLiteral(".saID ORDER BY run.ord, %1.rifCod, %1.Posizione, %1.%2").arg(rec, QLatin1String(f.rowKey))};
            QString modOrder;
            for (const QString &o : QString::fromLatin1(f.modOrder).split(QStringLiteral(", ")))
                modOrder += QStringLiteral(", ") + mod + u'.' + o;
            v[size_t(QFamMods + i)] = {
                QStringLiteral("SELECT %1.*, Nazioni.nazDesc AS nazDesc FROM %1 LEFT JOIN Nazioni ON "
                               "%1.nazID = Nazioni.nazID WHERE (%1.%2 = ?) ORDER BY %3")
                    .arg(mod, key, QLatin1String(f.modOrder)),
                QStringLiteral("SELECT run.ord, %1.%2, %1.*, Nazioni.nazDesc AS nazDesc FROM %1").arg(mod, key) + sezJoin +
                    mod + u'.' + key + run + sez +
                    QStringLiteral(".saID LEFT JOIN Nazioni ON %1.nazID = Nazioni.nazID ORDER BY run.ord").arg(mod) + modOrder};
            const QString opKey = schema::table(recMod)->key;
            v[size_t(QFamOps + i)] = {
                QStringLiteral("SELECT Posizione, Codice, qta, umi FROM %1 WHERE (%2 = ?) ORDER BY Posizione, Codice, %3")
                    .arg(recMod, modKey, opKey),
                QStringLiteral("SELECT run.ord, %1.%2, %1.Posizione, %1.Codice, %1.qta, %1.umi FROM %1 INNER JOIN %3 ON %3.%2 = %1.%2")
                        .arg(recMod, modKey, mod) +
                    sezJoin + mod + u'.' + key + run + sez +
                    QStringLiteral(".saID ORDER BY run.ord, %1.Posizione, %1.Codice, %1.%2").arg(recMod, opKey)};
        }
        return v;
    }();
    return q;
}

const char *kindOf(qint64 tipoMod)
{
    switch (tipoMod) {
    case 1: return "RT";
    case 2: return "DR";
    case 3: return "TE";
    case 4: return "MG";
    default: return "";
    }
}

Val lit(const char *s) { return Val::text(QByteArrayView(s)); }

QString lc(const char *s) { return QString::fromLatin1(s); }

QVariantMap toMap(const QSqlQuery &q)
{
    QVariantMap m;
    const QSqlRecord r = q.record();
    for (int i = 0; i < r.count(); ++i)
        m.insert(r.fieldName(i).toLower(), q.value(i));
    return m;
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

// Keys of the numbered names: "#cod1".."#cod10", "#qta1".."#qta10" with
// their units, "#m1".."#m21" with theirs, "msqta01".."msqta20", "msumi01"...
struct NumberedKeys {
    int cod[10], qta[10], qtaU[10], m[21], mU[21], msQta[21], msUmi[21];
    NumberedKeys()
    {
        for (int i = 0; i < 10; ++i) {
            const QString n = QString::number(i + 1);
            cod[i] = keyOf(QStringLiteral("#cod") + n);
            qta[i] = keyOf(QStringLiteral("#qta") + n);
            qtaU[i] = keyOf(QStringLiteral("#qta") + n + u'u');
        }
        for (int i = 0; i < 21; ++i) {
            const QString n = QString::number(i + 1);
            m[i] = keyOf(QStringLiteral("#m") + n);
            mU[i] = keyOf(QStringLiteral("#m") + n + u'u');
            const QString two = QString::number(i).rightJustified(2, u'0');
            msQta[i] = keyOf(QStringLiteral("msqta") + two);
            msUmi[i] = keyOf(QStringLiteral("msumi") + two);
        }
    }
};

const NumberedKeys &numbered()
{
    static const NumberedKeys k;
    return k;
}

} // namespace

// A run statement: the rows of the declaration being written are read when it
// starts and handed out by parent key; rows of one parent keep their order, so
// the lines are the same as with one statement per parent. Executing a
// statement costs far more than reading its rows.
struct expClass::Source {
    dbStatement st;
    RowSet rows;
    bool started = false, has = false;
    qint64 place = -1, loaded = -1;
    QHash<qint64, std::vector<int>> groups;

    void advance()
    {
        has = st.next();
        place = has ? st.toInt(0) : -1;
    }
    bool load(qint64 k)
    {
        if (loaded == k)
            return true;
        groups.clear();
        rows.clearRows();
        if (!started) {
            started = true;
            if (!st.exec())
                return false;
            rows.columnsOf(st, 2);
            advance();
        }
        while (has && place < k)
            advance();
        for (; has && place == k; advance())
            groups[st.toInt(1)].push_back(rows.append(st, 2));
        loaded = k;
        return true;
    }
};

expClass::expClass(dbClass &db, Messages &msg)
    : db_(db), msg_(msg), single_(QCount), clock_([] { return QDateTime::currentDateTime(); })
{
}

expClass::~expClass()
{
    if (file_.isOpen())
        abort();
    endRun();
}

void expClass::addSources()
{
    sources_.clear();
    sources_.resize(QCount);
    for (int q = 0; q < QCount; ++q) {
        auto src = std::make_unique<Source>();
        src->st = dbStatement(db_.current(), queries()[size_t(q)].run);
        // Without it the statement per parent does the work.
        if (src->st.isValid())
            sources_[size_t(q)] = std::move(src);
    }
}

bool expClass::setOrder(const QList<qint64> &saIDs)
{
    endRun();
    QSqlDatabase db = db_.current();
    if (!dbStatement::run(db, QStringLiteral("CREATE TEMP TABLE IF NOT EXISTS qor_export_run "
                                             "(ord INTEGER PRIMARY KEY, saID INTEGER NOT NULL)"))
        || !dbStatement::run(db, QStringLiteral("DELETE FROM qor_export_run")))
        return false;   // every declaration is read statement by statement then
    dbStatement ins(db, QStringLiteral("INSERT INTO qor_export_run (ord, saID) VALUES (?, ?)"));
    if (!ins.isValid())
        return false;
    const bool own = db.transaction();
    for (qint64 i = 0; i < saIDs.size(); ++i) {
        ins.bindInt(0, i);
        ins.bindInt(1, saIDs.at(i));
        if (!ins.exec()) {
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

bool expClass::rows(int query, qint64 parent, Rows &out)
{
    out.idx.clear();
    Source *s = current_ >= 0 && size_t(query) < sources_.size() ? sources_[size_t(query)].get() : nullptr;
    if (s && s->load(current_)) {
        out.set = &s->rows;
        auto it = s->groups.find(parent);
        if (it != s->groups.end()) {
            out.idx = std::move(*it);
            s->groups.erase(it);
        }
        return true;
    }
    dbStatement *st = st_->get(queries()[size_t(query)].perParent);
    if (!st)
        return false;
    st->bindInt(0, parent);
    if (!st_->exec(st))
        return false;
    RowSet &set = single_[size_t(query)];
    if (set.columns() == 0)   // the same statement every time: its columns once
        set.columnsOf(*st, 0);
    else
        set.clearRows();
    while (st->next())
        out.idx.push_back(set.append(*st, 0));
    out.set = &set;
    return true;
}

void expClass::load(const Rows &r, int i, Record &rec) const
{
    rec.clear();
    rec.setBase(r.set, r.idx[size_t(i)]);
    renew(rec, key<"prvistat">(), key<"comistat">());
    if (rec.has(key<"nazdesc">()))
        rec.set(key<"#nazdesc">(), rec.get(key<"nazdesc">()));
}

int expClass::controlValue(const QByteArray &start30, qint32 total)
{
    qint32 sum = total;
    for (int i = 0; i < 30 && i < start30.size(); ++i)
        sum += (i + 1) * static_cast<unsigned char>(start30.at(i));
    const QByteArray s = QByteArray::number(sum).rightJustified(4, '0');
    return s.right(4).toInt();
}

// The file of part n of a run: the chosen name for the first, the name with
// "_n" before its extension for the others (Qor2019.000, Qor2019_2.000, ...).
QString expClass::partPath(const QString &path, int n)
{
    if (n <= 1)
        return path;
    const QFileInfo fi(path);
    const QString suffix = fi.completeSuffix();
    const QString stem = suffix.isEmpty() ? fi.fileName() : fi.fileName().left(fi.fileName().size() - suffix.size() - 1);
    return fi.dir().filePath(stem + u'_' + QString::number(n) + (suffix.isEmpty() ? QString() : u'.' + suffix));
}

bool expClass::open(const QString &path)
{
    path_ = path;
    parts_.clear();
    total_ = 0;
    if (!openPart())
        return false;
    st_ = std::make_unique<Statements>(db_.current(), msg_);

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

// Begins the next part: a temporary file beside the chosen one, renamed into
// place by close() when every part is complete. Nothing that exists is
// touched here: an existing file is refused when it is not a plain file, or
// when replacing was not allowed.
bool expClass::openPart()
{
    const QString target = partPath(path_, int(parts_.size()) + 1);
    auto refuse = [&](const QString &why) {
        msg_.critical(QStringLiteral("Errore apertura file di esportazione: ") + target + QStringLiteral("\r\n") + why);
        abort();
        return false;
    };
    const QFileInfo fi(target);
    if (fi.exists() && !fi.isFile())
        return refuse(QStringLiteral("non è un file ordinario."));
    if (fi.exists() && !replace_)
        return refuse(QStringLiteral("il file esiste già e non viene sostituito."));
    if (fi.exists() && !fi.isWritable())
        return refuse(QStringLiteral("il file è di sola lettura."));
    QTemporaryFile tmp(fi.dir().filePath(u'.' + fi.fileName() + QStringLiteral(".XXXXXX")));
    tmp.setAutoRemove(false);
    if (!tmp.open())
        return refuse(tmp.errorString());
    const QString temp = tmp.fileName();
    tmp.close();
    parts_.push_back({temp, target, 0});
    file_.setFileName(temp);
    if (!file_.open(QIODevice::ReadWrite | QIODevice::Truncate))
        return refuse(file_.errorString());
    file_.write(QByteArray(HeaderLength, ' ') + "\r\n");
    counters_.fill(0);
    declarations_ = 0;
    return true;
}

QStringList expClass::files() const
{
    QStringList l;
    for (const Part &p : parts_)
        l << p.path;
    return l;
}

QList<int> expClass::fileDeclarations() const
{
    QList<int> l;
    for (const Part &p : parts_)
        l << p.declarations;
    return l;
}

void expClass::endRun()
{
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
    // Only the temporary files of the run go: never a file it did not create.
    for (const Part &p : parts_)
        QFile::remove(p.temp);
    parts_.clear();
}

void expClass::renew(Record &row, int prv, int com) const
{
    const Val p = row.get(prv), c = row.get(com);
    if (!row.has(prv) || !row.has(com) || p.isNull() || c.isNull())
        return;
    auto it = renewal_.constFind(p.toInt() * 1000 + c.toInt());
    if (it != renewal_.constEnd()) {
        row.set(prv, it->first);
        row.set(com, it->second);
    }
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

bool expClass::emit(Decl &d, int type, const Record &row, const QString &scheda)
{
    const Layout &l = layout(type);
    QByteArray &out = *d.out;
    out.append(char(l.code.at(0).unicode())).append(char(l.code.at(1).unicode())).append(';').append(d.tail);
    QString field, why;
    if (!encodeFields(l, row, out, &field, &why))
        return fail(d, scheda, field, why);
    out.append("\r\n");
    d.counts[size_t(type)]++;
    return true;
}

// Room for a line written after the lines that follow it (a scheda after its
// modules, with their counts).
qsizetype expClass::reserve(Decl &d, int type)
{
    const qsizetype at = d.out->size();
    d.out->append(layout(type).length, ' ').append("\r\n");
    return at;
}

bool expClass::fill(Decl &d, qsizetype at, int type, const Record &row, const QString &scheda)
{
    const Layout &l = layout(type);
    QByteArray &line = scratch_;
    line.resize(0);
    line.append(char(l.code.at(0).unicode())).append(char(l.code.at(1).unicode())).append(';').append(d.tail);
    QString field, why;
    if (!encodeFields(l, row, line, &field, &why))
        return fail(d, scheda, field, why);
    d.out->replace(at, l.length, line);
    d.counts[size_t(type)]++;
    return true;
}

// The operation rows of a DR module fill pairs of lines numbered 1, 2, ...
// An MG module keeps its rows in three grids (recovery, disposal, disposal
// under art. 191): each grid with rows is written in pairs of lines whose
// number is the grid, so that the reader puts every row back in its grid. A
// row of an MG module outside the three grids goes with the grid of its kind
// of code. A module without rows writes one empty pair. The second line of
// every pair carries the module's own columns (base holds them).
bool expClass::detailLines(Decl &d, int c1, int c2, Record &base, const Rows &r, const QString &scheda,
                           bool grids)
{
    const NumberedKeys &k = numbered();
    const int n = r.size();
    constexpr int First = 9, Second = 6, PerPair = First + Second;
    base.set(key<"#nrows">(), n);
    // Pairs to write: (number of the pair, rows in it).
    std::vector<std::pair<int, std::vector<int>>> pairs;
    auto chunks = [&](const std::vector<int> &rows, int seq, bool sameNumber) {
        for (size_t at = 0; at < rows.size(); at += PerPair) {
            std::vector<int> part(rows.begin() + qsizetype(at),
                                  rows.begin() + qsizetype(std::min(rows.size(), at + PerPair)));
            pairs.emplace_back(sameNumber ? seq : seq++, std::move(part));
        }
    };
    if (grids) {
        std::vector<int> byGrid[3];
        for (int i = 0; i < n; ++i) {
            int g = int(r.value(i, key<"posizione">()).toInt());
            if (g < codes::GridRecupero || g > codes::GridSmaltimento191)
                g = r.value(i, key<"codice">()).toString().startsWith(u'R') ? codes::GridRecupero
                                                                           : codes::GridSmaltimento;
            byGrid[g - 1].push_back(i);
        }
        for (int g = 0; g < 3; ++g)
            chunks(byGrid[g], g + 1, true);
    } else {
        std::vector<int> all(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i)
            all[size_t(i)] = i;
        chunks(all, 1, false);
    }
    if (pairs.empty())
        pairs.emplace_back(1, std::vector<int>());
    for (const auto &[seq, rows] : pairs) {
        for (int part = 0; part < 2; ++part) {
            Record &m = line_;
            m.clear();
            m.merge(base);
            m.set(key<"#seq">(), seq);
            const int first = part == 0 ? 0 : First;
            const int count = part == 0 ? First : Second;
            for (int i = 0; i < count && first + i < int(rows.size()); ++i) {
                const int row = rows[size_t(first + i)];
                m.set(k.cod[i], r.value(row, key<"codice">()));
                m.set(k.qta[i], r.value(row, key<"qta">()));
                m.set(k.qtaU[i], r.value(row, key<"umi">()));
            }
            if (!emit(d, part == 0 ? c1 : c2, m, scheda))
                return false;
        }
    }
    return true;
}

bool expClass::materials(Decl &d, const Record &row, const char *kind, int category,
                         const int *slotTable, const QString &scheda)
{
    const NumberedKeys &k = numbered();
    Record &m = mat_;
    m.clear();
    m.set(key<"#mkind">(), lit(kind));
    m.set(key<"#mcat">(), category);
    for (int i = 0; i < 21; ++i) {
        if (slotTable[i] == 0)
            continue;
        m.copy(k.m[i], row, k.msQta[slotTable[i]]);
        m.copy(k.mU[i], row, k.msUmi[slotTable[i]]);
    }
    return emit(d, rt::MA, m, scheda);
}

bool expClass::write(qint64 saID)
{
    if (!file_.isOpen())
        return false;
    Decl d;
    d.saID = saID;
    out_.resize(0);
    d.out = &out_;
    current_ = place_.value(saID, -1);
    Rows r;
    if (!rows(QAnag, saID, r) || r.idx.empty()) {
        msg_.critical(QStringLiteral("Attenzione, dichiarazione ") + QString::number(saID) +
                      QStringLiteral(" non trovata: esportazione interrotta."));
        abort();
        return false;
    }
    Record &a = a_;
    load(r, 0, a);
    renew(a, key<"slprvistat">(), key<"slcomistat">());
    d.codFisc = a.get(key<"codfisc">()).toString();
    d.ragSoc = a.get(key<"ragsoc">()).toString();
    d.tail = QByteArray::number(qorClass::Year) + ';' + text(a.get(key<"codfisc">()).toVariant(), 16) +
             declarationKey(clock_(), saID) + ';';
    const QString sa1 = QStringLiteral("SA1");

    if (!emit(d, rt::AA, a, sa1))
        return false;
    const qsizetype ab = reserve(d, rt::AB);

    // SA-AUT
    if (!rows(QAut, saID, r))
        return fail(d, QStringLiteral("SA-AUT"), QStringLiteral("SaAut"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (int i = 0; i < r.size(); ++i) {
        Record &u = m_;
        load(r, i, u);
        u.set(key<"#prog">(), ++prog);
        const QString rec = u.get(key<"surecupero">()).toString() + QStringLiteral("000000000000000");
        const QString smal = u.get(key<"susmaltimento">()).toString() + QStringLiteral("000000000000000");
        QStringList rl, dl;
        for (int i = 1; i <= 13; ++i)
            if (rec.at(i - 1) == u'1')
                rl << QStringLiteral("R%1").arg(i);
        for (int i = 1; i <= 15; ++i)
            if (smal.at(i - 1) == u'1')
                dl << QStringLiteral("D%1").arg(i);
        u.keep(key<"#recupero">(), rl.join(u','));
        u.keep(key<"#smaltimento">(), dl.join(u','));
        if (!emit(d, rt::AU, u, QStringLiteral("SA-AUT")))
            return false;
    }
    const int nAu = prog;

    if (!writeRif(d) || !materials(d, a, "RIF", 0, materialSlots(MatKind::Declaration), QStringLiteral("MAT"))
        || !writeInt(d) || !writeImb(d) || !writeRaee(d) || !writeVfu(d))
        return false;

    // AB: counts of schede.
    Record &b = ab_;
    b.clear();
    b.set(key<"#nrif">(), d.counts[rt::BA]);
    b.set(key<"#nint">(), d.counts[rt::DA]);
    b.set(key<"#nau">(), nAu);
    b.set(key<"#nimb">(), d.counts[rt::IA]);
    b.set(key<"#naut">(), d.vfuKinds[1]);
    b.set(key<"#nrot">(), d.vfuKinds[2]);
    b.set(key<"#nfra">(), d.vfuKinds[3]);
    b.set(key<"#ntra">(), d.raeeKinds[1]);
    b.set(key<"#ncr">(), d.raeeKinds[2]);
    if (!fill(d, ab, rt::AB, b, sa1))
        return false;

    // The header counts five digits per record type: a declaration that would
    // pass them goes to the next file.
    bool fits = true;
    for (int i = 0; i < RecordTypes; ++i)
        fits = fits && counters_[size_t(i)] + d.counts[size_t(i)] <= maxPerType;
    if (!fits) {
        if (declarations_ == 0) {
            msg_.critical(QStringLiteral("Attenzione, dichiarazione ") + d.codFisc + u' ' + d.ragSoc +
                          QStringLiteral(": ha più record di quanti un file di esportazione ne possa contenere. "
                                         "Esportazione interrotta."));
            abort();
            return false;
        }
        if (!finishPart() || !openPart())
            return false;
    }
    if (file_.write(out_) != out_.size()) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + partPath(path_, int(parts_.size())) +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    for (int i = 0; i < RecordTypes; ++i)
        counters_[size_t(i)] += d.counts[size_t(i)];
    ++declarations_;
    ++total_;
    parts_.back().declarations = declarations_;
    return true;
}

bool expClass::writeRif(Decl &d)
{
    Rows schede, mods, ops;
    if (!rows(QRif, d.saID, schede))
        return fail(d, QStringLiteral("RIF"), QStringLiteral("SezRif"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (int si = 0; si < schede.size(); ++si) {
        Record &s = s_;
        load(schede, si, s);
        const QString scheda = QStringLiteral("RIF ") + s.get(key<"rifcod">()).toString();
        s.set(key<"#prog">(), ++prog);
        const qsizetype slot = reserve(d, rt::BA);
        Record &start = start_;
        start.clear();
        start.set(key<"#sprog">(), prog);
        start.copy(key<"#scod">(), s, key<"rifcod">());
        const qint64 rifID = s.get(key<"rifid">()).toInt();

        int perKind[6] = {};
        if (!rows(QRifMods, rifID, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < mods.size(); ++i) {
            Record &m = m_;
            load(mods, i, m);
            const qint64 t = m.get(key<"tipomod">()).toInt();
            if (t < 1)
                continue;
            m.merge(start);
            m.set(key<"#kind">(), lit(kindOf(t)));
            m.set(key<"#prog">(), ++perKind[t]);
            if (t != 1)
                m.set(key<"privati">(), 0);
            if (!emit(d, rt::BB, m, scheda))
                return false;
        }
        if (!rows(QRifRe, rifID, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < mods.size(); ++i) {
            Record &m = m_;
            load(mods, i, m);
            m.merge(start);
            m.set(key<"#prog">(), ++perKind[5]);
            if (!emit(d, rt::BC, m, scheda))
                return false;
        }
        if (!rows(QRifMg, rifID, mods))
            return fail(d, scheda, QStringLiteral("ModRif"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < mods.size(); ++i) {
            Record &base = base_;
            base.clear();
            base.merge(start);
            base.set(key<"#kind">(), lit("MG"));
            base.set(key<"#prog">(), ++perKind[4]);
            {
                Record &mg = m_;
                load(mods, i, mg);
                for (int c : mgModuleKeys())
                    base.copy(c, mg, c);
            }
            if (!rows(QRifOps, mods.value(i, key<"mrid">()).toInt(), ops))
                return fail(d, scheda, QStringLiteral("RecRif"), QStringLiteral("lettura non riuscita"));
            if (!detailLines(d, rt::BD, rt::BE, base, ops, scheda, true))
                return false;
        }
        s.set(key<"#nrt">(), perKind[1]);
        s.set(key<"#ndr">(), perKind[2]);
        s.set(key<"#nte">(), perKind[3]);
        s.set(key<"#nre">(), perKind[5]);
        if (!fill(d, slot, rt::BA, s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeInt(Decl &d)
{
    Rows schede, mods;
    if (!rows(QInt, d.saID, schede))
        return fail(d, QStringLiteral("INT"), QStringLiteral("SezInt"), QStringLiteral("lettura non riuscita"));
    int prog = 0;
    for (int si = 0; si < schede.size(); ++si) {
        Record &s = s_;
        load(schede, si, s);
        const QString scheda = QStringLiteral("INT ") + s.get(key<"rifcod">()).toString();
        s.set(key<"#prog">(), ++prog);
        const qsizetype slot = reserve(d, rt::DA);
        if (!rows(QIntMods, s.get(key<"intid">()).toInt(), mods))
            return fail(d, scheda, QStringLiteral("ModInt"), QStringLiteral("lettura non riuscita"));
        int nUO = 0, nUD = 0;
        for (int i = 0; i < mods.size(); ++i) {
            Record &m = m_;
            load(mods, i, m);
            const bool uo = m.get(key<"tipomod">()).toInt() == 1;
            m.set(key<"#sprog">(), prog);
            m.copy(key<"#scod">(), s, key<"rifcod">());
            m.set(key<"#kind">(), lit(uo ? "UO" : "UD"));
            m.set(key<"#prog">(), uo ? ++nUO : ++nUD);
            if (!emit(d, rt::DB, m, scheda))
                return false;
        }
        s.set(key<"#nuo">(), nUO);
        s.set(key<"#nud">(), nUD);
        if (!fill(d, slot, rt::DA, s, scheda))
            return false;
    }
    return true;
}

// Modules of a packaging, RAEE or vehicle scheda.
bool expClass::writeFamilyModules(Decl &d, int family, const Record &start, qint64 parent, int *nRT,
                                  int *nTE, int *nDR, const QString &scheda)
{
    const bool imb = family == FImb;
    static const char *const modTables[] = {"ModImb", "ModRaee", "ModVfu"};
    static const char *const opTables[] = {"RecModImb", "RecModRaee", "RecModVfu"};
    const int modKey = family == FImb ? key<"mbid">() : family == FRaee ? key<"msrid">() : key<"mvid">();
    // Record types of the family: RT/TE, DR, detail 1, detail 2.
    static const int types[3][4] = {{rt::IC, rt::ID, rt::IE, rt::IF},
                                    {rt::RC, rt::RD, rt::RE, rt::RF},
                                    {rt::VE, rt::VF, rt::VG, rt::VH}};
    const int *rec = types[family];
    const int flagCol = imb ? key<"mbflag">() : key<"privati">();

    Rows mods, ops;
    if (!rows(QFamMods + family, parent, mods))
        return fail(d, scheda, QString::fromLatin1(modTables[family]), QStringLiteral("lettura non riuscita"));
    int perKind[5] = {};
    for (int i = 0; i < mods.size(); ++i) {
        Record &m = m_;
        load(mods, i, m);
        const qint64 t = m.get(key<"tipomod">()).toInt();
        if (t < 1 || t > 4)
            continue;
        m.merge(start);
        m.set(key<"#kind">(), lit(kindOf(t)));
        m.set(key<"#prog">(), ++perKind[t]);
        m.copy(key<"#modflag">(), m, flagCol);
        const qint64 id = m.get(modKey).toInt();
        if (t == 1 || t == 3) {
            if (t == 3) {
                m.set(key<"discdep">(), 0);
                m.set(key<"disc191">(), 0);
            }
            if (!emit(d, rec[0], m, scheda))
                return false;
        } else {
            if (!rows(QFamOps + family, id, ops))
                return fail(d, scheda, QString::fromLatin1(opTables[family]), QStringLiteral("lettura non riuscita"));
            if (t == 2) {
                m.set(key<"#nrows">(), ops.size());
                if (!emit(d, rec[1], m, scheda))
                    return false;
            }
            Record &base = base_;
            base.clear();
            base.merge(start);
            for (int k : {key<"rifcod">(), key<"#kind">(), key<"#prog">(), key<"#modflag">()})
                base.copy(k, m, k);
            if (t == 4)
                for (int c : mgModuleKeys())
                    base.copy(c, m, c);
            if (!detailLines(d, rec[2], rec[3], base, ops, scheda, t == 4))
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
    Rows schede, r;
    const QString scheda = QStringLiteral("IMB");
    if (!rows(QImb, d.saID, schede))
        return fail(d, scheda, QStringLiteral("SezImb"), QStringLiteral("lettura non riuscita"));
    for (int si = 0; si < schede.size(); ++si) {
        Record &s = s_;
        load(schede, si, s);
        const qint64 siID = s.get(key<"siid">()).toInt();
        const qsizetype slot = reserve(d, rt::IA);
        if (!rows(QFamRows + FImb, siID, r))
            return fail(d, scheda, QStringLiteral("RecImb"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < r.size(); ++i) {
            Record &x = m_;
            load(r, i, x);
            const qint64 p = x.get(key<"posizione">()).toInt();
            x.set(key<"#pos">(), lit(p == 1 ? "RC" : p == 2 ? "RX" : p == 3 ? "P1" : "PP"));
            if (!emit(d, rt::IB, x, scheda))
                return false;
        }
        Record &start = start_;
        start.clear();
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FImb, start, siID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, "IMB", 0, materialSlots(MatKind::Imb), scheda))
            return false;
        s.set(key<"#nrows">(), r.size());
        s.set(key<"#nrt">(), nRT);
        s.set(key<"#nte">(), nTE);
        s.set(key<"#ndr">(), nDR);
        if (!fill(d, slot, rt::IA, s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeRaee(Decl &d)
{
    Rows schede, r;
    if (!rows(QRaee, d.saID, schede))
        return fail(d, QStringLiteral("RAEE"), QStringLiteral("SezRaee"), QStringLiteral("lettura non riuscita"));
    for (int si = 0; si < schede.size(); ++si) {
        Record &s = s_;
        load(schede, si, s);
        const bool tra = s.get(key<"srtipo">()).toInt() == 1;
        d.raeeKinds[tra ? 1 : 2]++;
        const char *kind = tra ? "TRA" : "CRR";
        const QString scheda = (tra ? QStringLiteral("TRA-RAEE ") : QStringLiteral("CR-RAEE ")) +
                               s.get(key<"srraee">()).toString();
        const qint64 srID = s.get(key<"srid">()).toInt();
        Record &start = start_;
        start.clear();
        start.set(key<"#skind">(), lit(kind));
        start.copy(key<"#scat">(), s, key<"srraee">());
        s.set(key<"#skind">(), lit(kind));
        const qsizetype slot = reserve(d, rt::RA);
        if (!rows(QFamRows + FRaee, srID, r))
            return fail(d, scheda, QStringLiteral("RecRaee"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < r.size(); ++i) {
            Record &x = m_;
            load(r, i, x);
            const qint64 p = x.get(key<"posizione">()).toInt();
            x.merge(start);
            x.set(key<"#pos">(), lit(!tra ? "  " : p == 1 ? "DR" : p == 2 ? "PR" : "PP"));
            if (!emit(d, rt::RB, x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FRaee, start, srID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, int(s.get(key<"srraee">()).toInt()), materialSlots(MatKind::Raee), scheda))
            return false;
        s.set(key<"#nrows">(), r.size());
        s.set(key<"#nrt">(), nRT);
        s.set(key<"#nte">(), nTE);
        s.set(key<"#ndr">(), nDR);
        if (!fill(d, slot, rt::RA, s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeVfu(Decl &d)
{
    Rows schede, r;
    if (!rows(QVfu, d.saID, schede))
        return fail(d, QStringLiteral("VFU"), QStringLiteral("SezVfu"), QStringLiteral("lettura non riuscita"));
    for (int si = 0; si < schede.size(); ++si) {
        Record &s = s_;
        load(schede, si, s);
        const qint64 t = s.get(key<"vfutipo">()).toInt();
        d.vfuKinds[t >= 1 && t <= 3 ? t : 3]++;
        const char *kind = t == 1 ? "AUT" : t == 2 ? "ROT" : "FRA";
        const QString scheda = QString::fromLatin1(kind);
        const qint64 vfuID = s.get(key<"vfuid">()).toInt();
        Record &start = start_;
        start.clear();
        start.set(key<"#skind">(), lit(kind));
        s.set(key<"#skind">(), lit(kind));
        // The slots whose content depends on the kind of scheda: a quantity
        // column and its unit, or nothing.
        auto slotQty = [&](int slot, int slotU, int q, int u) {
            if (q < 0)
                s.setNull(slot);
            else
                s.copy(slot, s, q);
            if (u < 0)
                s.setNull(slotU);
            else
                s.copy(slotU, s, u);
        };
        const int qtaProprio = key<"qtaproprio">(), umiProprio = key<"umiproprio">();
        const int qtaPost80 = key<"qtapost80">(), umiPost80 = key<"umipost80">();
        if (t == 3) {
            slotQty(key<"#own1">(), key<"#own1u">(), qtaProprio, umiProprio);
            slotQty(key<"#own2">(), key<"#own2u">(), qtaPost80, umiPost80);
            slotQty(key<"#own3">(), key<"#own3u">(), -1, -1);
        } else {
            slotQty(key<"#own1">(), key<"#own1u">(), -1, -1);
            slotQty(key<"#own2">(), key<"#own2u">(), -1, -1);
            slotQty(key<"#own3">(), key<"#own3u">(), qtaProprio, umiProprio);
        }
        if (codes::vehicleSplit1980(int(t))) {
            slotQty(key<"#veh1">(), key<"#veh1u">(), key<"qtapre80">(), key<"umipre80">());
            slotQty(key<"#veh2">(), key<"#veh2u">(), qtaPost80, umiPost80);
            slotQty(key<"#veh3">(), key<"#veh3u">(), key<"qta104">(), key<"umi104">());
        }
        const qsizetype slot = reserve(d, rt::VC);
        if (!rows(QFamRows + FVfu, vfuID, r))
            return fail(d, scheda, QStringLiteral("RecVfu"), QStringLiteral("lettura non riuscita"));
        for (int i = 0; i < r.size(); ++i) {
            Record &x = m_;
            load(r, i, x);
            x.merge(start);
            x.set(key<"#pos">(), lit(x.get(key<"posizione">()).toInt() == 1 ? "RT" : "PP"));
            if (!emit(d, rt::VD, x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FVfu, start, vfuID, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, 0, materialSlots(MatKind::Vfu), scheda))
            return false;
        s.set(key<"#nrows">(), r.size());
        s.set(key<"#nrt">(), nRT);
        s.set(key<"#nte">(), nTE);
        s.set(key<"#ndr">(), nDR);
        if (!fill(d, slot, rt::VC, s, scheda))
            return false;
    }
    return true;
}

bool expClass::finishPart()
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
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + partPath(path_, int(parts_.size())) +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    if (!file_.flush()) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + partPath(path_, int(parts_.size())) +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    file_.close();
    return true;
}

bool expClass::close()
{
    if (!file_.isOpen() || !finishPart())
        return false;
    // Every part is complete: each takes the place of its name.
    for (size_t i = 0; i < parts_.size(); ++i) {
        const Part &p = parts_[i];
        if (std::rename(QFile::encodeName(p.temp).constData(), QFile::encodeName(p.path).constData()) != 0) {
            msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + p.path + QStringLiteral("\r\n") +
                          QString::fromLocal8Bit(std::strerror(errno)));
            for (size_t k = i; k < parts_.size(); ++k)
                QFile::remove(parts_[k].temp);
            parts_.clear();
            endRun();
            st_.reset();
            return false;
        }
        // Permissions of an ordinary new file, not those of a temporary one.
        QFile::setPermissions(p.path, QFile::permissions(p.path) | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    }
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
