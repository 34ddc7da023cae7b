#include "exchange/expclass.h"

#include "exchange/layouts.h"
#include "sections/anag/schede.h"
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
#include <cmath>
#include <memory>
#include <numeric>
#include <optional>
#include <cerrno>
#include <cstdio>
#include <cstring>

namespace exch {

int expClass::maxPerType = 99999;

struct expClass::Decl {
    QString codFisc, ragSoc;
    QByteArray tail;                 // year;codFisc;key;  (38 characters)
    QByteArray *out = nullptr;       // the declaration's lines, CR LF ended
    std::array<int, 29> counts{};
};

namespace {

using Rows = std::vector<const tree::Node *>;

// Families of packaging, electrical equipment and vehicles.
constexpr int FImb = 0, FRaee = 1, FVfu = 2;

// The order of each table's rows in the file; the last column is the key,
// so no two rows are ever equal.
const struct {
    const char *table, *columns;
} fileOrder[] = {
    {"SaAut", "suID"},
    {"SezRif", "rifCod, rifID"},
    {"ModRif", "tipoMod, Privati, mrID"},   // modules RT, DR, TE; RE and MG go by key
    {"RecRif", "Posizione, Codice, rrID"},
    {"SezInt", "rifCod, intID"},
    {"ModInt", "tipoMod, miID"},
    {"SezImb", "siID"},
    {"RecImb", "rifCod, Posizione, riID"},
    {"ModImb", "rifCod, tipoMod, mbFlag, mbID"},
    {"RecModImb", "Posizione, Codice, rmiID"},
    {"SezRaee", "srTipo, srRAEE, srID"},
    {"RecRaee", "rifCod, Posizione, rsrID"},
    {"ModRaee", "rifCod, tipoMod, msrID"},
    {"RecModRaee", "Posizione, Codice, rmrID"},
    {"SezVfu", "vfuTipo, vfuID"},
    {"RecVfu", "rifCod, Posizione, rvID"},
    {"ModVfu", "rifCod, tipoMod, mvID"},
    {"RecModVfu", "Posizione, Codice, rmvID"},
};

// What the engine knows of a table of the tree: the record key of each of
// its columns, the positions of its sort columns, and of the columns the
// engine itself reads.
struct TableInfo {
    const schema::Table *table = nullptr;
    std::vector<int> keys;    // by schema position
    std::vector<int> order;   // schema positions
    int tipoMod = -1, posizione = -1, codice = -1, qta = -1, umi = -1, nazID = -1;
};

int position(const schema::Table &t, const QString &column)
{
    for (size_t i = 0; i < t.columns.size(); ++i)
        if (t.columns[i].name.compare(column, Qt::CaseInsensitive) == 0)
            return int(i);
    return -1;
}

const TableInfo &info(const schema::Table *t)
{
    static const std::vector<TableInfo> all = [] {
        std::vector<TableInfo> v(schema::tables().size());
        for (size_t i = 0; i < v.size(); ++i) {
            const schema::Table &t = schema::tables()[i];
            TableInfo &x = v[i];
            x.table = &t;
            for (const schema::Column &c : t.columns)
                x.keys.push_back(keyOf(c.name));
            for (const auto &o : fileOrder)
                if (t.name == QLatin1String(o.table))
                    for (const QString &c : QString::fromLatin1(o.columns).split(QStringLiteral(", ")))
                        x.order.push_back(position(t, c));
            if (x.order.empty())
                x.order.push_back(position(t, t.key));
            x.tipoMod = position(t, QStringLiteral("tipoMod"));
            x.posizione = position(t, QStringLiteral("Posizione"));
            x.codice = position(t, QStringLiteral("Codice"));
            x.qta = position(t, QStringLiteral("qta"));
            x.umi = position(t, QStringLiteral("umi"));
            x.nazID = position(t, QStringLiteral("nazID"));
        }
        return v;
    }();
    return all[size_t(t - &schema::tables().front())];
}

const schema::Table *tableOf(const char *name)
{
    return schema::table(QString::fromLatin1(name));
}

// The rows of table t hanging from n, by key (as the reader gives them).
void rowsOf(const tree::Node &n, const schema::Table *t, Rows &out)
{
    out.clear();
    for (const tree::Node *c : n.children)
        if (c->table == t)
            out.push_back(c);
}

// A value of a row; null when the column was not read.
const QVariant &cell(const tree::Node &n, int column)
{
    static const QVariant none;
    return column >= 0 && column < n.values.size() ? n.values.at(column) : none;
}

// The rows in the order of the file.
void sortRows(Rows &rows)
{
    if (rows.size() < 2)
        return;
    const std::vector<int> &order = info(rows.front()->table).order;
    if (order.size() == 1)
        return; // by key, as read
    std::stable_sort(rows.begin(), rows.end(), [&](const tree::Node *a, const tree::Node *b) {
        for (int c : order)
            if (const int r = tree::compareValues(cell(*a, c), cell(*b, c)))
                return r < 0;
        return false;
    });
}

// The rows of table t hanging from n, in the order of the file.
void sortedRows(const tree::Node &n, const schema::Table *t, Rows &out)
{
    rowsOf(n, t, out);
    sortRows(out);
}

// A module type as the store compares it with a number: a null or a text
// matches no number.
std::optional<qint64> number(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::UnknownType:
    case QMetaType::QString:
    case QMetaType::QByteArray: return std::nullopt;
    default: return v.toLongLong();
    }
}

// A real number as the store writes it as text ("%!.15g": "2.0", "1.0e+20").
QByteArray realText(double d)
{
    QByteArray t = QByteArray::number(d, 'g', 15);
    if (std::isfinite(d) && !t.contains('.')) {
        const qsizetype e = t.indexOf('e');
        t.insert(e < 0 ? t.size() : e, ".0");
    }
    return t;
}

// A value of the tree in a record: whole numbers as numbers, everything
// else as the text the store gives. The reader leaves a null column an
// empty (invalid) value.
void put(Record &r, int k, const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::UnknownType: r.setNull(k); break;
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Bool:
        r.set(k, v.toLongLong());
        break;
    case QMetaType::ULongLong: r.set(k, qint64(v.toULongLong())); break;
    case QMetaType::Double: r.keep(k, realText(v.toDouble())); break;
    case QMetaType::QByteArray: r.keep(k, QByteArrayView(*static_cast<const QByteArray *>(v.constData()))); break;
    case QMetaType::QString: r.keep(k, QStringView(*static_cast<const QString *>(v.constData()))); break;
    default: r.keep(k, v.toString()); break;
    }
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

expClass::expClass(dbClass &db, Messages &msg)
    : db_(db), msg_(msg), clock_([] { return QDateTime::currentDateTime(); })
{
}

expClass::~expClass()
{
    if (file_.isOpen())
        abort();
}

tree::ReadOptions expClass::readOptions() const
{
    // Every table of the tree goes into the file, with nearly every column.
    // Its texts go into the file as bytes: they are taken as the store keeps
    // them, never decoded.
    tree::ReadOptions o;
    o.window = window_;
    o.utf8Texts = true;
    return o;
}

// A row of the tree in a record, municipalities renewed; with nation, the
// description of its nation as a join with Nazioni would give it.
void expClass::load(const tree::Node &n, Record &rec, bool nation) const
{
    rec.clear();
    const TableInfo &t = info(n.table);
    for (size_t i = 0; i < t.keys.size(); ++i)
        put(rec, t.keys[i], cell(n, int(i)));
    renew(rec, key<"prvistat">(), key<"comistat">());
    if (nation) {
        Val desc;
        if (const auto id = number(cell(n, t.nazID))) {
            auto it = nations_.constFind(*id);
            if (it != nations_.constEnd())
                desc = Val::text(*it);
        }
        rec.set(key<"nazdesc">(), desc);
        rec.set(key<"#nazdesc">(), desc);
    }
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
    // The nations the modules name, by key (a key without a row, or with no
    // description, gives none).
    nations_.clear();
    if (ok) {
        q = db_.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni"), {}, dbClass::Which::Current, &ok);
        while (ok && q.next())
            if (!q.value(1).isNull() && !nations_.contains(q.value(0).toLongLong()))
                nations_.insert(q.value(0).toLongLong(), q.value(1).toString().toUtf8());
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

void expClass::abort()
{
    spool_.close();
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
    const int n = int(r.size());
    const TableInfo &t = n > 0 ? info(r.front()->table) : info(tableOf("RecRif"));
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
            const tree::Node &row = *r[size_t(i)];
            int g = int(cell(row, t.posizione).toLongLong());
            if (g < codes::GridRecupero || g > codes::GridSmaltimento191)
                g = cell(row, t.codice).toString().startsWith(u'R') ? codes::GridRecupero
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
                const tree::Node &row = *r[size_t(rows[size_t(first + i)])];
                put(m, k.cod[i], cell(row, t.codice));
                put(m, k.qta[i], cell(row, t.qta));
                put(m, k.qtaU[i], cell(row, t.umi));
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
    tree::ReadOptions o = readOptions();
    o.window = 1;
    tree::Reader r(db_.current(), o);
    r.select({saID});
    return write(r, saID);
}

bool expClass::write(tree::Source &r, qint64 saID, int place)
{
    if (!file_.isOpen())
        return false;
    // The reader passes over a key not in the store: then the declaration
    // expected is missing.
    const tree::Node *n = r.next();
    if (!n || n->key() != saID)
        return readFailure(r, saID);
    return write(*n, place);
}

bool expClass::readFailure(const tree::Source &r, qint64 saID)
{
    if (r.failed())
        msg_.critical(QStringLiteral("Attenzione, lettura delle dichiarazioni non riuscita: ") + r.error() +
                      QStringLiteral(". Esportazione interrotta."));
    else
        msg_.critical(QStringLiteral("Attenzione, dichiarazione ") + QString::number(saID) +
                      QStringLiteral(" non trovata: esportazione interrotta."));
    abort();
    return false;
}

bool expClass::write(const tree::Node &declaration, int place)
{
    if (!file_.isOpen())
        return false;
    const qint64 saID = declaration.key();
    Decl d;
    out_.resize(0);
    d.out = &out_;
    Record &a = a_;
    load(declaration, a, false);
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
    Rows r;
    sortedRows(declaration, tableOf("SaAut"), r);
    int prog = 0;
    for (const tree::Node *row : r) {
        Record &u = m_;
        load(*row, u, false);
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

    if (!writeRif(d, declaration) ||
        !materials(d, a, "RIF", 0, materialSlots(MatKind::Declaration), QStringLiteral("MAT")) ||
        !writeInt(d, declaration) || !writeImb(d, declaration) || !writeRaee(d, declaration) ||
        !writeVfu(d, declaration))
        return false;

    // AB: counts of schede. A vehicle scheda of no known kind goes into the
    // file as FRA, an electrical-equipment one as CR (see writeVfu,
    // writeRaee): so they are counted here.
    const anag::SchedeCount n = anag::countSchede(declaration);
    Record &b = ab_;
    b.clear();
    b.set(key<"#nrif">(), n[anag::Count::Rif]);
    b.set(key<"#nint">(), n[anag::Count::Int]);
    b.set(key<"#nau">(), n[anag::Count::SaAut]);
    b.set(key<"#nimb">(), n[anag::Count::Imb]);
    b.set(key<"#naut">(), n[anag::Count::Aut]);
    b.set(key<"#nrot">(), n[anag::Count::Rot]);
    b.set(key<"#nfra">(), n[anag::Count::Fra] + n[anag::Count::VfuOther]);
    b.set(key<"#ntra">(), n[anag::Count::TraRaee]);
    b.set(key<"#ncr">(), n[anag::Count::CrRaee] + n[anag::Count::RaeeOther]);
    if (!fill(d, ab, rt::AB, b, sa1))
        return false;

    if (!spool_.isOpen())
        return putInFile(out_, d.counts, &d.codFisc, &d.ragSoc);
    // Its place in the file comes at close().
    if (!spool_.append(place, out_)) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + spool_.error());
        abort();
        return false;
    }
    return true;
}

bool expClass::putInFile(const QByteArray &lines, const std::array<int, 29> &counts, const QString *codFisc,
                         const QString *ragSoc)
{
    // The header counts five digits per record type: a declaration that would
    // pass them goes to the next file.
    bool fits = true;
    for (int i = 0; i < RecordTypes; ++i)
        fits = fits && counters_[size_t(i)] + counts[size_t(i)] <= maxPerType;
    if (!fits) {
        if (declarations_ == 0) {
            // Who it is: as the run knows it, or as its AA line gives it.
            QVariantMap aa;
            if (!codFisc && lines.startsWith(layout(rt::AA).code.toLatin1()))
                aa = decodeLine(layout(rt::AA), lines.left(layout(rt::AA).length));
            msg_.critical(QStringLiteral("Attenzione, dichiarazione ") +
                          (codFisc ? *codFisc : aa.value(QStringLiteral("#codfisc")).toString()) + u' ' +
                          (ragSoc ? *ragSoc : aa.value(QStringLiteral("ragsoc")).toString()) +
                          QStringLiteral(": ha più record di quanti un file di esportazione ne possa contenere. "
                                         "Esportazione interrotta."));
            abort();
            return false;
        }
        if (!finishPart() || !openPart())
            return false;
    }
    if (file_.write(lines) != lines.size()) {
        msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + partPath(path_, int(parts_.size())) +
                      QStringLiteral("\r\n") + file_.errorString());
        abort();
        return false;
    }
    for (int i = 0; i < RecordTypes; ++i)
        counters_[size_t(i)] += counts[size_t(i)];
    ++declarations_;
    ++total_;
    parts_.back().declarations = declarations_;
    return true;
}

qsizetype expClass::spoolFrom = 2000;

bool expClass::spool(int places)
{
    if (!file_.isOpen() || spool_.isOpen())
        return false;
    return spool_.open(places);
}

// The spooled declarations in the order of the file, each with the counts of
// its lines by record type.
bool expClass::placeSpooled()
{
    // Each line is its record type's length: the lines are counted by their
    // first two characters, from line to line.
    static const std::vector<int> typeOf = [] {
        std::vector<int> v(1 << 16, -1);
        for (int t = 0; t < RecordTypes; ++t) {
            const QString code = layout(t).code;
            v[size_t(code.at(0).unicode() & 0xff) << 8 | (code.at(1).unicode() & 0xff)] = t;
        }
        return v;
    }();
    bool placed = true;
    const bool read = spool_.each([&](const QByteArray &lines) {
        std::array<int, 29> counts{};
        for (qsizetype at = 0; at + 2 <= lines.size();) {
            const int t = typeOf[size_t(uchar(lines[at])) << 8 | uchar(lines[at + 1])];
            if (t < 0)
                break; // not a line the run wrote: cannot be
            counts[size_t(t)]++;
            at += layout(t).length + 2;
        }
        placed = putInFile(lines, counts, nullptr, nullptr);
        return placed;
    });
    if (read || !placed) {
        spool_.close();
        return placed;
    }
    msg_.critical(QStringLiteral("Errore scrittura file di esportazione: ") + spool_.error());
    abort();
    return false;
}

bool expClass::writeRif(Decl &d, const tree::Node &declaration)
{
    Rows schede, all, mods, ops;
    sortedRows(declaration, tableOf("SezRif"), schede);
    const schema::Table *modRif = tableOf("ModRif");
    const TableInfo &mi = info(modRif);
    int prog = 0;
    for (const tree::Node *sn : schede) {
        Record &s = s_;
        load(*sn, s, false);
        const QString scheda = QStringLiteral("RIF ") + s.get(key<"rifcod">()).toString();
        s.set(key<"#prog">(), ++prog);
        const qsizetype slot = reserve(d, rt::BA);
        Record &start = start_;
        start.clear();
        start.set(key<"#sprog">(), prog);
        start.copy(key<"#scod">(), s, key<"rifcod">());

        // Three passes over the modules: RT, DR and TE in the order of the
        // file; then RE, then MG, by key.
        rowsOf(*sn, modRif, all);
        auto ofType = [&](auto test) {
            mods.clear();
            for (const tree::Node *m : all)
                if (const auto t = number(cell(*m, mi.tipoMod)); t && test(*t))
                    mods.push_back(m);
        };
        int perKind[6] = {};
        ofType([](qint64 t) { return t < 4; });
        sortRows(mods);
        for (const tree::Node *mn : mods) {
            Record &m = m_;
            load(*mn, m, true);
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
        ofType([](qint64 t) { return t == 5; });
        for (const tree::Node *mn : mods) {
            Record &m = m_;
            load(*mn, m, false);
            m.merge(start);
            m.set(key<"#prog">(), ++perKind[5]);
            if (!emit(d, rt::BC, m, scheda))
                return false;
        }
        ofType([](qint64 t) { return t == 4; });
        for (const tree::Node *mn : mods) {
            Record &base = base_;
            base.clear();
            base.merge(start);
            base.set(key<"#kind">(), lit("MG"));
            base.set(key<"#prog">(), ++perKind[4]);
            {
                Record &mg = m_;
                load(*mn, mg, false);
                for (int c : mgModuleKeys())
                    base.copy(c, mg, c);
            }
            sortedRows(*mn, tableOf("RecRif"), ops);
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

bool expClass::writeInt(Decl &d, const tree::Node &declaration)
{
    Rows schede, mods;
    sortedRows(declaration, tableOf("SezInt"), schede);
    int prog = 0;
    for (const tree::Node *sn : schede) {
        Record &s = s_;
        load(*sn, s, false);
        const QString scheda = QStringLiteral("INT ") + s.get(key<"rifcod">()).toString();
        s.set(key<"#prog">(), ++prog);
        const qsizetype slot = reserve(d, rt::DA);
        sortedRows(*sn, tableOf("ModInt"), mods);
        int nUO = 0, nUD = 0;
        for (const tree::Node *mn : mods) {
            Record &m = m_;
            load(*mn, m, true);
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
bool expClass::writeFamilyModules(Decl &d, int family, const Record &start, const tree::Node &parent, int *nRT,
                                  int *nTE, int *nDR, const QString &scheda)
{
    const bool imb = family == FImb;
    static const char *const modTables[] = {"ModImb", "ModRaee", "ModVfu"};
    static const char *const opTables[] = {"RecModImb", "RecModRaee", "RecModVfu"};
    // Record types of the family: RT/TE, DR, detail 1, detail 2.
    static const int types[3][4] = {{rt::IC, rt::ID, rt::IE, rt::IF},
                                    {rt::RC, rt::RD, rt::RE, rt::RF},
                                    {rt::VE, rt::VF, rt::VG, rt::VH}};
    const int *rec = types[family];
    const int flagCol = imb ? key<"mbflag">() : key<"privati">();

    Rows mods, ops;
    sortedRows(parent, tableOf(modTables[family]), mods);
    int perKind[5] = {};
    for (const tree::Node *mn : mods) {
        Record &m = m_;
        load(*mn, m, true);
        const qint64 t = m.get(key<"tipomod">()).toInt();
        if (t < 1 || t > 4)
            continue;
        m.merge(start);
        m.set(key<"#kind">(), lit(kindOf(t)));
        m.set(key<"#prog">(), ++perKind[t]);
        m.copy(key<"#modflag">(), m, flagCol);
        if (t == 1 || t == 3) {
            if (t == 3) {
                m.set(key<"discdep">(), 0);
                m.set(key<"disc191">(), 0);
            }
            if (!emit(d, rec[0], m, scheda))
                return false;
        } else {
            sortedRows(*mn, tableOf(opTables[family]), ops);
            if (t == 2) {
                m.set(key<"#nrows">(), qint64(ops.size()));
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

bool expClass::writeImb(Decl &d, const tree::Node &declaration)
{
    Rows schede, r;
    const QString scheda = QStringLiteral("IMB");
    sortedRows(declaration, tableOf("SezImb"), schede);
    for (const tree::Node *sn : schede) {
        Record &s = s_;
        load(*sn, s, false);
        const qsizetype slot = reserve(d, rt::IA);
        sortedRows(*sn, tableOf("RecImb"), r);
        for (const tree::Node *rn : r) {
            Record &x = m_;
            load(*rn, x, false);
            const qint64 p = x.get(key<"posizione">()).toInt();
            x.set(key<"#pos">(), lit(p == 1 ? "RC" : p == 2 ? "RX" : p == 3 ? "P1" : "PP"));
            if (!emit(d, rt::IB, x, scheda))
                return false;
        }
        Record &start = start_;
        start.clear();
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FImb, start, *sn, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, "IMB", 0, materialSlots(MatKind::Imb), scheda))
            return false;
        s.set(key<"#nrows">(), qint64(r.size()));
        s.set(key<"#nrt">(), nRT);
        s.set(key<"#nte">(), nTE);
        s.set(key<"#ndr">(), nDR);
        if (!fill(d, slot, rt::IA, s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeRaee(Decl &d, const tree::Node &declaration)
{
    Rows schede, r;
    sortedRows(declaration, tableOf("SezRaee"), schede);
    for (const tree::Node *sn : schede) {
        Record &s = s_;
        load(*sn, s, false);
        // Any kind but TRA-RAEE is written as CR-RAEE.
        const bool tra = s.get(key<"srtipo">()).toInt() == 1;
        const char *kind = tra ? "TRA" : "CRR";
        const QString scheda = (tra ? QStringLiteral("TRA-RAEE ") : QStringLiteral("CR-RAEE ")) +
                               s.get(key<"srraee">()).toString();
        Record &start = start_;
        start.clear();
        start.set(key<"#skind">(), lit(kind));
        start.copy(key<"#scat">(), s, key<"srraee">());
        s.set(key<"#skind">(), lit(kind));
        const qsizetype slot = reserve(d, rt::RA);
        sortedRows(*sn, tableOf("RecRaee"), r);
        for (const tree::Node *rn : r) {
            Record &x = m_;
            load(*rn, x, false);
            const qint64 p = x.get(key<"posizione">()).toInt();
            x.merge(start);
            x.set(key<"#pos">(), lit(!tra ? "  " : p == 1 ? "DR" : p == 2 ? "PR" : "PP"));
            if (!emit(d, rt::RB, x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FRaee, start, *sn, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, int(s.get(key<"srraee">()).toInt()), materialSlots(MatKind::Raee), scheda))
            return false;
        s.set(key<"#nrows">(), qint64(r.size()));
        s.set(key<"#nrt">(), nRT);
        s.set(key<"#nte">(), nTE);
        s.set(key<"#ndr">(), nDR);
        if (!fill(d, slot, rt::RA, s, scheda))
            return false;
    }
    return true;
}

bool expClass::writeVfu(Decl &d, const tree::Node &declaration)
{
    Rows schede, r;
    sortedRows(declaration, tableOf("SezVfu"), schede);
    for (const tree::Node *sn : schede) {
        Record &s = s_;
        load(*sn, s, false);
        // Any kind but AUT and ROT is written as FRA.
        const qint64 t = s.get(key<"vfutipo">()).toInt();
        const char *kind = t == 1 ? "AUT" : t == 2 ? "ROT" : "FRA";
        const QString scheda = QString::fromLatin1(kind);
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
        sortedRows(*sn, tableOf("RecVfu"), r);
        for (const tree::Node *rn : r) {
            Record &x = m_;
            load(*rn, x, false);
            x.merge(start);
            x.set(key<"#pos">(), lit(x.get(key<"posizione">()).toInt() == 1 ? "RT" : "PP"));
            if (!emit(d, rt::VD, x, scheda))
                return false;
        }
        int nRT = 0, nTE = 0, nDR = 0;
        if (!writeFamilyModules(d, FVfu, start, *sn, &nRT, &nTE, &nDR, scheda))
            return false;
        if (!materials(d, s, kind, 0, materialSlots(MatKind::Vfu), scheda))
            return false;
        s.set(key<"#nrows">(), qint64(r.size()));
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
    if (!file_.isOpen() || (spool_.isOpen() && !placeSpooled()) || !finishPart())
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
            return false;
        }
        // Permissions of an ordinary new file, not those of a temporary one.
        QFile::setPermissions(p.path, QFile::permissions(p.path) | QFileDevice::ReadGroup | QFileDevice::ReadOther);
    }
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
    // The file lists the declarations in the order given (by tax code),
    // which scatters them over the store: they are read by key, rows the
    // store keeps together, and each goes to its place through a spool
    // file. A selection whose rows the store's cache holds anyway (fewer
    // than spoolFrom), or with no spool file to be had, is read in the
    // order given.
    QList<qint64> keys = saIDs;
    std::vector<int> place;
    if (saIDs.size() >= expClass::spoolFrom && !std::is_sorted(saIDs.begin(), saIDs.end()) && e.spool(int(saIDs.size()))) {
        place.resize(size_t(saIDs.size()));
        std::iota(place.begin(), place.end(), 0);
        std::stable_sort(place.begin(), place.end(), [&](int a, int b) { return saIDs.at(a) < saIDs.at(b); });
        for (qsizetype i = 0; i < keys.size(); ++i)
            keys[i] = saIDs.at(place[size_t(i)]);
    }
    // Read ahead on a thread of their own while this one writes the file,
    // unless the caller has writes of its own still open, which only this
    // connection sees.
    std::unique_ptr<tree::Source> r;
    if (keys.size() > 1 && tree::ReaderAhead::readsAhead(db.current())) {
        r = std::make_unique<tree::ReaderAhead>(db.current(), e.readOptions(), keys);
    } else {
        auto here = std::make_unique<tree::Reader>(db.current(), e.readOptions());
        here->select(keys);
        r = std::move(here);
    }
    qint64 done = 0;
    for (qsizetype i = 0; i < keys.size(); ++i) {
        if (!e.write(*r, keys.at(i), place.empty() ? -1 : place[size_t(i)]))
            return ExportResult::Failed;
        if (progress && !progress(++done, keys.size())) {
            e.abort();
            return ExportResult::Cancelled;
        }
    }
    return e.close() ? ExportResult::Done : ExportResult::Failed;
}

} // namespace exch
