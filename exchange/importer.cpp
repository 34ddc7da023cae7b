#include "exchange/importer.h"

#include "shell/transaction.h"

#include "exchange/codepage.h"
#include "exchange/layouts.h"
#include "refdata/lookups.h"
#include "sections/anag/register.h"
#include "sections/codes.h"
#include "exchange/statements.h"
#include "shell/dbstatement.h"
#include "shell/schema/schema.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QSqlQuery>

#include <algorithm>
#include <string>
#include <string_view>
#include <unordered_set>

namespace exch {

namespace {

// Flag string of the authorised operations ("R1,R3" -> "101000000000000").
QString operationFlags(const QString &list, QChar letter)
{
    QString flags(15, u'0');
    for (const QString &op : list.split(u',', Qt::SkipEmptyParts)) {
        const QString t = op.trimmed();
        bool ok = false;
        const int i = t.mid(1).toInt(&ok);
        if (t.startsWith(letter) && ok && i >= 1 && i <= 15)
            flags[i - 1] = u'1';
    }
    return flags;
}

// Kind of a module from its code in the file.
int kindCode(const Val &k)
{
    const QByteArrayView b = k.bytes();
    if (b == "RT" || b == "UO")
        return 1;
    if (b == "DR" || b == "UD")
        return 2;
    if (b == "TE")
        return 3;
    if (b == "MG")
        return 4;
    return 0;
}

// Column lists of the updates of an MG module's columns, the row's key last.
std::vector<int> mgUpdate(std::initializer_list<int> more)
{
    std::vector<int> v = mgModuleKeys();
    v.insert(v.end(), more);
    return v;
}
const std::vector<int> &mgRifColumns()
{
    static const std::vector<int> v = mgUpdate({key<"mrid">()});
    return v;
}

class Loader {
public:
    Loader(dbClass &db, Messages &msg) : db_(db), st_(db.current(), msg), conv_(db)
    {
        QSqlQuery q = db_.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni ORDER BY nazID"));
        while (q.next()) {
            // The file carries the first 20 characters of the description.
            const QByteArray d = q.value(1).toString().left(20).trimmed().toUtf8();
            if (!nations_.contains(d))
                nations_.insert(d, q.value(0).toLongLong());
        }
    }

    // One line of the load pass; false on a database failure.
    bool line(const Layout &l, QByteArrayView bytes);
    // The load runs in one transaction (held by the caller) with a savepoint
    // per declaration: a declaration is kept whole or not at all.
    bool finishDeclaration();
    void rollback();
    int imported = 0, skipped = 0, contained = 0;

private:
    // An INSERT of a fixed list of columns, each bound from a record by its
    // key; a column the record leaves null takes what leaving it out would
    // give: null, or 0 for a flag (never null).
    struct Insert {
        dbStatement *st = nullptr;
        std::vector<int> keys;
        std::vector<bool> flag;
        bool returns = false;   // gives the counter key of the new row
        bool rowid = false;     // read as the rowid, not returned by the statement
    };
    // Plans by slot: the record types, then the statements below.
    enum Slot : int {
        SMgRif = RecordTypes, SMgFamily,                 // MG module (RIF, then the three families)
        SPairsRif = SMgFamily + 3, SPairsFamily,         // operation rows
        SFlagFamily = SPairsFamily + 3,                  // flag of an MG module
        SMaterials = SFlagFamily + 3,                    // the four kinds of materials
        SMgRifColumns = SMaterials + 4,                  // columns of an MG module of scheda RIF
        SCount
    };
    // The statement of a slot, made the first time; an UPDATE when update is
    // set (the last key names the row).
    Insert *plan(int slot, const QString &table, std::initializer_list<int> keys, bool update = false)
    {
        return plans_[size_t(slot)] ? plans_[size_t(slot)].get() : build(slot, table, keys, update);
    }
    Insert *plan(int slot, const QString &table, const std::vector<int> &keys, bool update)
    {
        return plans_[size_t(slot)] ? plans_[size_t(slot)].get() : build(slot, table, keys, update);
    }
    Insert *build(int slot, const QString &table, const std::vector<int> &keys, bool update);
    Insert *layoutPlan(const Layout &l, const QString &table, std::initializer_list<int> extra);
    qint64 insert(Insert *p, const Record &r);
    bool update(Insert *p, const Record &r);
    bool subjectRow(Record &row);
    bool pairs(const Record &v, int count, int slot, const QString &table, int parentKey, qint64 parent);
    bool declaration(Record &v, const Layout &l);
    bool family(const Layout &l, Record &v);

    // Savepoint commands run unprepared where the store cannot prepare them
    // (PostgreSQL); SQLite runs them prepared once.
    bool savepoint(const char *sql)
    {
        if (native_) {
            dbStatement *st = st_.get(QString::fromLatin1(sql));
            return st && st_.exec(st);
        }
        QString error;
        qint64 code = 0;
        if (dbStatement::run(db_.current(), QString::fromLatin1(sql), &error, &code))
            return true;
        db_.messages().errorReport({}, code, error, QString::fromLatin1(sql));
        return false;
    }

    dbClass &db_;
    Statements st_;
    const bool native_ = dbStatement::isNativeOn(db_.current());
    refdata::comChanged conv_;
    QHash<QByteArray, qint64> nations_;   // by the description as the file has it
    // Counterparts known to be in the register: looked up once per run, not
    // once per module. Emptied when a declaration is rolled back.
    struct TextHash {
        using is_transparent = void;
        size_t operator()(std::string_view s) const noexcept { return std::hash<std::string_view>{}(s); }
    };
    std::unordered_set<std::string, TextHash, std::equal_to<>> companies_;
    anag::CounterpartRegister register_{db_};
    std::vector<std::unique_ptr<Insert>> plans_ = std::vector<std::unique_ptr<Insert>>(SCount);
    Record v_, aux_;
    bool inTransaction_ = false;
    bool skipping_ = false;
    qint64 saID_ = 0, rifID_ = 0, intID_ = 0, siID_ = 0, srID_ = 0, vfuID_ = 0;
    int vfuTipo_ = 0;
    qint64 drModule_ = 0, mgModule_ = 0;   // modules the detail lines go to
    // The MG module the last detail lines began: its scheda record type,
    // parent key and progressive. A line of another begins a new module.
    struct MgKey {
        int family = -1;
        qint64 parent = 0, prog = 0;
        bool operator==(const MgKey &) const = default;
    } mgKey_;
    // Posizione of the rows of the line being read: the grid of an MG module
    // (the number of its pair of lines), the one grid of a DR module.
    int detailPos_ = 0;
};

Loader::Insert *Loader::build(int slot, const QString &table, const std::vector<int> &keys, bool update)
{
    std::unique_ptr<Insert> &p = plans_[size_t(slot)];
    const schema::Table *t = schema::table(table);
    auto in = std::make_unique<Insert>();
    QStringList cols, marks;
    for (int k : keys) {
        if (std::find(in->keys.begin(), in->keys.end(), k) != in->keys.end())
            continue;
        const QString name = keyName(k);
        const schema::Column *c = t ? schema::column(*t, name) : nullptr;
        in->keys.push_back(k);
        in->flag.push_back(c && c->type == schema::Type::Flag);
        cols << name;
        marks << QStringLiteral("?");
    }
    QString sql;
    if (update) {
        const QString where = cols.takeLast();
        for (QString &c : cols)
            c += QStringLiteral(" = ?");
        sql = QStringLiteral("UPDATE %1 SET %2 WHERE (%3 = ?)").arg(table, cols.join(QStringLiteral(", ")), where);
    } else {
        sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                  .arg(table, cols.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")));
        if (t && !t->key.isEmpty()) {
            // The counter key of the new row. On SQLite it is the rowid the
            // connection reports: a RETURNING clause would make every insert
            // open a statement journal and copy the pages it touches.
            in->returns = true;
            in->rowid = dbStatement::isNativeOn(st_.db());
            if (!in->rowid)
                sql += QStringLiteral(" RETURNING ") + t->key;
        }
    }
    in->st = st_.get(sql);
    if (!in->st)
        return nullptr;
    p = std::move(in);
    return p.get();
}

// The columns of a layout (its fields that are not computed, with their
// units) and the extra columns the loader sets.
Loader::Insert *Loader::layoutPlan(const Layout &l, const QString &table, std::initializer_list<int> extra)
{
    if (plans_[size_t(l.index)])
        return plans_[size_t(l.index)].get();
    std::vector<int> keys;
    for (const Field &f : l.fields) {
        if (f.computed())
            continue;
        keys.push_back(f.key);
        if (f.enc == Enc::QtyUnit)
            keys.push_back(f.unitKey);
    }
    keys.insert(keys.end(), extra);
    return build(l.index, table, keys, false);
}

namespace {

void bindValues(dbStatement &st, const std::vector<int> &keys, const std::vector<bool> &flag, const Record &r)
{
    for (size_t i = 0; i < keys.size(); ++i) {
        const Val v = r.get(keys[i]);
        switch (v.kind) {
        case Val::Kind::Null:
            if (flag[i])
                st.bindInt(int(i), 0);
            else
                st.bindNull(int(i));
            break;
        case Val::Kind::Int: st.bindInt(int(i), v.i); break;
        case Val::Kind::Text: st.bindText(int(i), v.bytes(), dbStatement::Until::Exec); break;
        }
    }
}

} // namespace

qint64 Loader::insert(Insert *p, const Record &r)
{
    if (!p)
        return -1;
    bindValues(*p->st, p->keys, p->flag, r);
    if (!st_.exec(p->st))
        return -1;
    qint64 rowId = 0;
    if (p->rowid) {
        rowId = p->st->lastInsertId();
    } else if (p->returns) {
        if (!p->st->next()) {
            st_.report(*p->st);
            return -1;
        }
        rowId = p->st->toInt(0);
    }
    p->st->finish();
    return rowId;
}

bool Loader::update(Insert *p, const Record &r)
{
    if (!p)
        return false;
    bindValues(*p->st, p->keys, p->flag, r);
    if (!st_.exec(p->st))
        return false;
    p->st->finish();
    return true;
}

bool Loader::subjectRow(Record &row)
{
    const Val naz = row.get(key<"#nazdesc">());
    if (naz.n > 0) {
        auto it = nations_.constFind(QByteArray::fromRawData(naz.s, naz.n));
        if (it == nations_.constEnd())
            return false;   // checked before loading: the file changed since
        row.set(key<"nazid">(), *it);
    }
    // The tax code trimmed as QString::trimmed() trims it; plain ASCII is
    // looked up where it is.
    const Val code = row.get(key<"codfisc">());
    QByteArrayView b = code.bytes();
    auto space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    bool ascii = true;
    for (char c : b)
        ascii = ascii && uchar(c) < 0x80;
    QByteArray other;   // a tax code that is not plain ASCII, trimmed through QString
    if (ascii) {
        while (!b.isEmpty() && space(b.back()))
            b.chop(1);
        while (!b.isEmpty() && space(b.front()))
            b = b.sliced(1);
    } else {
        other = code.toString().trimmed().toUtf8();
        b = other;
    }
    const std::string_view cf(b.data(), size_t(b.size()));
    if (cf.empty() || companies_.contains(cf))
        return true;
    anag::Company company;
    company.codFisc = QString::fromUtf8(b);
    company.ragSoc = row.get(key<"ragsoc">()).toString();
    company.via = row.get(key<"via">()).toString();
    company.civico = row.get(key<"civico">()).toString();
    company.cap = row.get(key<"cap">()).toString();
    company.prvIstat = int(row.get(key<"prvistat">()).toInt());
    company.comIstat = int(row.get(key<"comistat">()).toInt());
    if (register_.add(company) == anag::Registered::Failed)
        return false;
    companies_.emplace(cf);
    return true;
}

bool Loader::pairs(const Record &v, int count, int slot, const QString &table, int parentKey, qint64 parent)
{
    static const struct Keys {
        int cod[10], qta[10], qtaU[10];
        Keys()
        {
            for (int i = 0; i < 10; ++i) {
                const QString k = QString::number(i + 1);
                cod[i] = keyOf(QStringLiteral("#cod") + k);
                qta[i] = keyOf(QStringLiteral("#qta") + k);
                qtaU[i] = keyOf(QStringLiteral("#qta") + k + u'u');
            }
        }
    } k;
    Insert *p = plan(slot, table, {parentKey, key<"posizione">(), key<"codice">(), key<"qta">(), key<"umi">()});
    Record &r = aux_;
    for (int i = 0; i < count; ++i) {
        const Val code = v.get(k.cod[i]);
        if (code.isNull())
            continue;
        r.clear();
        r.set(parentKey, parent);
        r.set(key<"posizione">(), detailPos_);
        r.set(key<"codice">(), code);
        r.set(key<"qta">(), v.get(k.qta[i]));
        r.set(key<"umi">(), v.get(k.qtaU[i]));
        if (insert(p, r) < 0)
            return false;
    }
    return true;
}

bool Loader::finishDeclaration()
{
    if (inTransaction_) {
        inTransaction_ = false;
        return savepoint("RELEASE SAVEPOINT declaration");
    }
    return true;
}

void Loader::rollback()
{
    if (inTransaction_) {
        savepoint("ROLLBACK TO SAVEPOINT declaration");
        savepoint("RELEASE SAVEPOINT declaration");
        inTransaction_ = false;
        --imported;
        companies_.clear();   // the companies it added are gone with it
        register_.forget();
    }
}

bool Loader::declaration(Record &a, const Layout &l)
{
    if (!finishDeclaration())
        return false;
    ++contained;
    a.copy(key<"codfisc">(), a, key<"#codfisc">());
    a.set(key<"saanno">(), qorClass::Year);
    for (auto [p, c] : {std::pair{key<"prvistat">(), key<"comistat">()},
                        std::pair{key<"slprvistat">(), key<"slcomistat">()}}) {
        int prv = 0, com = 0;
        QString cap;
        if (conv_.lookup(int(a.get(p).toInt()), int(a.get(c).toInt()), prv, com, cap)) {
            a.set(p, prv);
            a.set(c, com);
        }
    }
    const PresenceTest present = presenceTest({a.get(key<"codfisc">()).toVariant(), a.get(key<"ragsoc">()).toVariant(),
                                               a.get(key<"via">()).toVariant(), a.get(key<"civico">()).toVariant(),
                                               a.get(key<"prvistat">()).toVariant(),
                                               a.get(key<"comistat">()).toVariant()});
    dbStatement *q = st_.run(present.sql, present.params);
    if (!q)
        return false;
    skipping_ = q->next();
    q->finish();
    if (skipping_) {
        ++skipped;
        return true;
    }
    if (!savepoint("SAVEPOINT declaration"))
        return false;
    inTransaction_ = true;
    ++imported;
    saID_ = insert(layoutPlan(l, QStringLiteral("SezAnag"), {key<"codfisc">(), key<"saanno">()}), a);
    if (saID_ < 0)
        return false;
    rifID_ = intID_ = siID_ = srID_ = vfuID_ = drModule_ = mgModule_ = 0;
    mgKey_ = {};
    return true;
}

// Modules and rows of the packaging, RAEE and vehicle schede.
bool Loader::family(const Layout &l, Record &v)
{
    const QChar fam = l.code.at(0);
    const QChar rec = l.code.at(1);
    const bool imb = fam == u'I';
    const int f = imb ? 0 : fam == u'R' ? 1 : 2;
    static const QString modTables[] = {QStringLiteral("ModImb"), QStringLiteral("ModRaee"), QStringLiteral("ModVfu")};
    static const QString opTables[] = {QStringLiteral("RecModImb"), QStringLiteral("RecModRaee"),
                                       QStringLiteral("RecModVfu")};
    const QString &modTable = modTables[f];
    const int parentKey = imb ? key<"siid">() : fam == u'R' ? key<"srid">() : key<"vfuid">();
    const int modKey = imb ? key<"mbid">() : fam == u'R' ? key<"msrid">() : key<"mvid">();
    const qint64 parent = imb ? siID_ : fam == u'R' ? srID_ : vfuID_;
    const int base = imb || fam == u'R' ? 'C' : 'E';   // RT/TE, DR, detail 1, detail 2
    const int k = rec.unicode() - base;
    if (parent == 0)
        return false;
    if (k == 0 || k == 1) {
        v.set(parentKey, parent);
        v.set(key<"tipomod">(), kindCode(v.get(key<"#kind">())));
        if (!subjectRow(v))
            return false;
        const qint64 id = insert(layoutPlan(l, modTable,
                                            {parentKey, key<"tipomod">(), key<"nazid">()}),
                                 v);
        if (id < 0)
            return false;
        if (k == 1)
            drModule_ = id;
        return true;
    }
    const bool mg = kindCode(v.get(key<"#kind">())) == 4;
    const MgKey here{f, parent, v.get(key<"#prog">()).toInt()};
    if (mg && k == 2 && !(here == mgKey_)) {
        mgKey_ = here;
        Record &r = aux_;
        r.clear();
        r.set(parentKey, parent);
        r.copy(key<"rifcod">(), v, key<"rifcod">());
        r.set(key<"tipomod">(), 4);
        mgModule_ = insert(plan(SMgFamily + f, modTable,
                                {parentKey, key<"rifcod">(), key<"tipomod">()}),
                           r);
        if (mgModule_ < 0)
            return false;
    }
    detailPos_ = mg ? int(v.get(key<"#seq">()).toInt()) : 1;
    const qint64 module = mg ? mgModule_ : drModule_;
    if (module == 0)
        return false;
    if (mg && k == 3) {
        // The module's own columns; packaging keeps its surface flag apart,
        // the other families have the plant type in Privati.
        Record &r = aux_;
        r.clear();
        for (int c : mgModuleKeys())
            r.copy(c, v, c);
        if (imb)
            r.copy(key<"mbflag">(), v, key<"#modflag">());
        r.set(modKey, module);
        if (!update(plan(SFlagFamily + f, modTable,
                         imb ? mgUpdate({key<"mbflag">(), modKey}) : mgUpdate({modKey}), true),
                    r))
            return false;
    }
    return pairs(v, k == 2 ? 9 : 6, SPairsFamily + f, opTables[f], modKey, module);
}

bool Loader::line(const Layout &l, QByteArrayView bytes)
{
    Record &v = v_;
    decodeLine(l, bytes, v);
    if (l.index == rt::AA)
        return declaration(v, l);
    if (skipping_ || l.index == rt::AB)
        return true;

    switch (l.index) {
    case rt::AU:
        v.set(key<"said">(), saID_);
        v.keep(key<"surecupero">(), operationFlags(v.get(key<"#recupero">()).toString(), u'R'));
        v.keep(key<"susmaltimento">(), operationFlags(v.get(key<"#smaltimento">()).toString(), u'D'));
        return insert(layoutPlan(l, QStringLiteral("SaAut"),
                                 {key<"said">(), key<"surecupero">(), key<"susmaltimento">()}),
                      v) >= 0;
    case rt::BA:
    case rt::DA: {
        v.set(key<"said">(), saID_);
        qint64 &id = l.index == rt::BA ? rifID_ : intID_;
        id = insert(layoutPlan(l, l.table, {key<"said">()}), v);
        return id >= 0;
    }
    case rt::BB:
    case rt::BC:
    case rt::DB: {
        const bool db = l.index == rt::DB;
        if ((db ? intID_ : rifID_) == 0)
            return false;
        const int parentKey = db ? key<"intid">() : key<"rifid">();
        v.set(parentKey, db ? intID_ : rifID_);
        v.set(key<"tipomod">(), l.index == rt::BC ? 5 : kindCode(v.get(key<"#kind">())));
        if (l.index != rt::BC && !subjectRow(v))
            return false;
        return insert(layoutPlan(l, db ? l.table : QStringLiteral("ModRif"),
                                 {parentKey, key<"tipomod">(), key<"nazid">()}),
                      v) >= 0;
    }
    case rt::BD:
    case rt::BE:
        if (rifID_ == 0)
            return false;
        if (const MgKey here{3, rifID_, v.get(key<"#prog">()).toInt()}; l.index == rt::BD && !(here == mgKey_)) {
            mgKey_ = here;
            Record &r = aux_;
            r.clear();
            r.set(key<"rifid">(), rifID_);
            r.set(key<"tipomod">(), 4);
            mgModule_ = insert(plan(SMgRif, QStringLiteral("ModRif"), {key<"rifid">(), key<"tipomod">()}), r);
            if (mgModule_ < 0)
                return false;
        }
        detailPos_ = int(v.get(key<"#seq">()).toInt());
        if (mgModule_ == 0)
            return false;
        if (l.index == rt::BE) {
            Record &r = aux_;
            r.clear();
            for (int c : mgModuleKeys())
                r.copy(c, v, c);
            r.set(key<"mrid">(), mgModule_);
            if (!update(plan(SMgRifColumns, QStringLiteral("ModRif"), mgRifColumns(), true), r))
                return false;
        }
        return pairs(v, l.index == rt::BD ? 9 : 6, SPairsRif, QStringLiteral("RecRif"), key<"mrid">(), mgModule_);
    case rt::IA:
        v.set(key<"said">(), saID_);
        siID_ = insert(layoutPlan(l, QStringLiteral("SezImb"), {key<"said">()}), v);
        return siID_ >= 0;
    case rt::RA:
        v.set(key<"said">(), saID_);
        v.set(key<"srtipo">(), v.get(key<"#skind">()).bytes() == "TRA" ? 1 : 2);
        srID_ = insert(layoutPlan(l, QStringLiteral("SezRaee"), {key<"said">(), key<"srtipo">()}), v);
        return srID_ >= 0;
    case rt::VC: {
        v.set(key<"said">(), saID_);
        const QByteArrayView k = v.get(key<"#skind">()).bytes();
        vfuTipo_ = k == "AUT" ? 1 : k == "ROT" ? 2 : 3;
        v.set(key<"vfutipo">(), vfuTipo_);
        auto slot = [&](int s, int su, int q, int u) {
            v.copy(q, v, s);
            v.copy(u, v, su);
        };
        const int qtaProprio = key<"qtaproprio">(), umiProprio = key<"umiproprio">();
        const int qtaPost80 = key<"qtapost80">(), umiPost80 = key<"umipost80">();
        if (vfuTipo_ == 3) {
            slot(key<"#own1">(), key<"#own1u">(), qtaProprio, umiProprio);
            slot(key<"#own2">(), key<"#own2u">(), qtaPost80, umiPost80);
        } else {
            slot(key<"#own3">(), key<"#own3u">(), qtaProprio, umiProprio);
        }
        if (codes::vehicleSplit1980(vfuTipo_)) {
            slot(key<"#veh1">(), key<"#veh1u">(), key<"qtapre80">(), key<"umipre80">());
            slot(key<"#veh2">(), key<"#veh2u">(), qtaPost80, umiPost80);
            slot(key<"#veh3">(), key<"#veh3u">(), key<"qta104">(), key<"umi104">());
        }
        vfuID_ = insert(layoutPlan(l, QStringLiteral("SezVfu"),
                                   {key<"said">(), key<"vfutipo">(), qtaProprio, umiProprio, qtaPost80, umiPost80,
                                    key<"qtapre80">(), key<"umipre80">(), key<"qta104">(), key<"umi104">()}),
                        v);
        return vfuID_ >= 0;
    }
    case rt::IB:
    case rt::RB:
    case rt::VD: {
        const QChar fam = l.code.at(0);
        const qint64 parent = fam == u'I' ? siID_ : fam == u'R' ? srID_ : vfuID_;
        if (parent == 0)
            return false;
        const int parentKey = fam == u'I' ? key<"siid">() : fam == u'R' ? key<"srid">() : key<"vfuid">();
        v.set(parentKey, parent);
        // Row codes back to frame positions. The file keeps positions only up to
        // its last distinct code (IMB "PP" is 4, RAEE "PP" 3, VFU "PP" 2) and none
        // on CR schede ("  ", loaded as 1); rows of equal position keep the file
        // order, which is the order they are written in again.
        const QByteArrayView p = v.get(key<"#pos">()).bytes();
        int pos = 1;
        if (fam == u'I')
            pos = p == "RC" ? 1 : p == "RX" ? 2 : p == "P1" ? 3 : 4;
        else if (fam == u'R')
            pos = p.isEmpty() || p == "DR" ? 1 : p == "PR" ? 2 : 3;
        else
            pos = p == "RT" ? 1 : 2;
        v.set(key<"posizione">(), pos);
        return insert(layoutPlan(l, l.table, {parentKey, key<"posizione">()}), v) >= 0;
    }
    case rt::MA: {
        const QByteArrayView k = v.get(key<"#mkind">()).bytes();
        QString table = QStringLiteral("SezAnag");
        int idKey = key<"said">();
        qint64 id = saID_;
        MatKind mk = MatKind::Declaration;
        if (k == "IMB") {
            table = QStringLiteral("SezImb"), idKey = key<"siid">(), id = siID_, mk = MatKind::Imb;
        } else if (k == "TRA" || k == "CRR") {
            table = QStringLiteral("SezRaee"), idKey = key<"srid">(), id = srID_, mk = MatKind::Raee;
        } else if (k != "RIF") {
            table = QStringLiteral("SezVfu"), idKey = key<"vfuid">(), id = vfuID_, mk = MatKind::Vfu;
        }
        if (id == 0)
            return false;
        // Slot i of the line -> column of the material it holds.
        struct Slots {
            int from[4][21], fromU[4][21], to[4][21], toU[4][21];
            Slots()
            {
                for (int kind = 0; kind < 4; ++kind) {
                    const int *slots = materialSlots(MatKind(kind));
                    for (int i = 0; i < 21; ++i) {
                        const QString n = QString::number(slots[i]).rightJustified(2, u'0');
                        const QString s = QStringLiteral("#m") + QString::number(i + 1);
                        from[kind][i] = keyOf(s);
                        fromU[kind][i] = keyOf(s + u'u');
                        to[kind][i] = slots[i] == 0 ? -1 : keyOf(QStringLiteral("msQta") + n);
                        toU[kind][i] = slots[i] == 0 ? -1 : keyOf(QStringLiteral("msUmi") + n);
                    }
                }
            }
        };
        static const Slots ms;
        const int kind = int(mk);
        Record &r = aux_;
        r.clear();
        std::vector<int> keys;
        for (int i = 0; i < 21; ++i) {
            if (ms.to[kind][i] < 0)
                continue;
            r.copy(ms.to[kind][i], v, ms.from[kind][i]);
            r.copy(ms.toU[kind][i], v, ms.fromU[kind][i]);
            keys.push_back(ms.to[kind][i]);
            keys.push_back(ms.toU[kind][i]);
        }
        r.set(idKey, id);
        keys.push_back(idKey);
        const int slot = SMaterials + kind;
        return update(plans_[size_t(slot)] ? plans_[size_t(slot)].get() : build(slot, table, keys, true), r);
    }
    default:
        return family(l, v);
    }
}

} // namespace

PresenceTest presenceTest(const DeclarationIdentity &d)
{
    // Same tax code, place, name, street and number; a blank text matches a
    // null column.
    // The search goes through the tax-code index: a municipality holds
    // thousands of declarations, a tax code a handful. The unary plus keeps
    // the engine off the municipality index, which it would otherwise prefer
    // for matching two columns; without a tax code the municipality is the
    // narrowest key there is.
    PresenceTest t;
    const bool byCode = !d.codFisc.toString().isEmpty();
    t.sql = byCode ? QStringLiteral("SELECT saID FROM SezAnag WHERE (+prvIstat = ? AND +comIstat = ?")
                   : QStringLiteral("SELECT saID FROM SezAnag WHERE (prvIstat = ? AND comIstat = ?");
    t.params = {d.prvIstat, d.comIstat};
    const std::pair<const char *, const QVariant *> texts[] = {
        {"CodFisc", &d.codFisc}, {"RagSoc", &d.ragSoc}, {"Via", &d.via}, {"Civico", &d.civico}};
    for (const auto &[c, x] : texts) {
        if (x->toString().isEmpty()) {
            t.sql += QStringLiteral(" AND (%1 IS NULL OR %1 = '')").arg(QLatin1String(c));
        } else {
            t.sql += QStringLiteral(" AND %1 = ?").arg(QLatin1String(c));
            t.params << *x;
        }
    }
    t.sql += u')';
    return t;
}

qint64 presentDeclaration(dbClass &db, const DeclarationIdentity &d)
{
    const PresenceTest t = presenceTest(d);
    bool ok = false;
    QSqlQuery q = db.query(t.sql, t.params, dbClass::Which::Current, &ok);
    if (!ok)
        return -1;
    return q.next() ? q.value(0).toLongLong() : 0;
}

// The nations the subject blocks name must be in the nations table: the
// loader translates them back into their code. Checked before anything is
// written; the result of the other checks is kept when they pass.
CheckResult checkNations(dbClass &db, const QString &path, const CheckResult &checked)
{
    QSet<QByteArray> known;
    QSqlQuery q = db.query(QStringLiteral("SELECT nazDesc FROM Nazioni"));
    while (q.next())
        known.insert(cp1252::encode(q.value(0).toString().left(20).trimmed()));
    // Where the nation lies in each record type that has one.
    std::array<qsizetype, RecordTypes> at;
    at.fill(-1);
    for (const Layout &l : layouts()) {
        qsizetype pos = PrefixLength;
        for (const Field &f : l.fields) {
            if (f.name == QLatin1String("#nazdesc"))
                at[size_t(l.index)] = pos;
            pos += f.size();
        }
    }
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return checked;
    f.readLine(HeaderLength + 3);
    LineReader lines(f, maxLineLength());
    QByteArrayView line;
    int n = 1;
    while (lines.next(line)) {
        ++n;
        const Layout *l = layout(line.first(std::min<qsizetype>(2, line.size())));
        if (!l || at[size_t(l->index)] < 0 || at[size_t(l->index)] + 20 > line.size())
            continue;
        QByteArrayView d = line.sliced(at[size_t(l->index)], 20);
        while (!d.isEmpty() && d.back() == ' ')
            d.chop(1);
        if (!d.isEmpty() && !known.contains(d.toByteArray())) {
            CheckResult c;
            c.message = QStringLiteral("Paese estero non presente nella tabella delle nazioni.");
            c.line = n;
            return c;
        }
    }
    return checked;
}

ImportResult importFile(dbClass &db, Messages &msg, const QString &path, const Progress &progress,
                        const StepObserver &step)
{
    ImportResult r;
    r.check = checkFile(path);
    if (r.check.ok)
        r.check = checkNations(db, path, r.check);
    if (!r.check.ok) {
        r.status = ImportResult::Refused;
        return r;
    }
    r.contained = r.check.declarations;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        r.status = ImportResult::Refused;
        r.check.ok = false;
        r.check.message = QStringLiteral("Errore apertura file.");
        r.check.line = 0;
        return r;
    }
    f.readLine(HeaderLength + 3);
    // A larger page cache for the length of the load: the inserts touch the
    // tables and their indexes all over, and the default cache of about 2 MB
    // makes SQLite read the same pages again and again. (The journal of each
    // declaration's savepoint stays in memory: see
    // dbStatement::configureLibrary.) Journal and synchronous modes stay as
    // they are: the committed data is as safe as after any other write.
    struct Cache {
        QSqlDatabase db;
        QVariant before;
        explicit Cache(QSqlDatabase c) : db(c)
        {
            if (db.driverName() != QLatin1String("QSQLITE"))
                return;
            QSqlQuery q(db);
            if (q.exec(QStringLiteral("PRAGMA cache_size")) && q.next())
                before = q.value(0);
            q.exec(QStringLiteral("PRAGMA cache_size = -32768"));
        }
        ~Cache()
        {
            if (before.isValid())
                QSqlQuery(db).exec(QStringLiteral("PRAGMA cache_size = ") + QString::number(before.toLongLong()));
        }
    } cache(db.current());
    // All or nothing: the run is one transaction; a failure while loading
    // undoes every declaration of the file, an interruption keeps the whole
    // declarations loaded before it.
    dbTransaction all(db.current());
    if (!all.isActive() || !lockDeclarations(db)) {
        msg.critical(all.wasBusy() || !all.isActive() ? busyText() : QStringLiteral("Attenzione, importazione non avviata: ") + all.error());
        r.status = ImportResult::Failed;
        return r;
    }
    Loader loader(db, msg);
    qint64 done = 0;
    int n = 1;
    LineReader lines(f, maxLineLength());
    QByteArrayView line;
    auto undoAll = [&](const QString &text) {
        loader.rollback();
        all.rollback();
        if (!text.isEmpty())
            msg.critical(text);
        r.status = ImportResult::Failed;
        r.imported = 0;
        r.skipped = 0;
        return r;
    };
    while (lines.next(line)) {
        ++n;
        const Layout *l = layout(line.first(std::min<qsizetype>(2, line.size())));
        if (!l || line.size() != l->length) {   // the file changed since it was checked
            undoAll({});
            r.status = ImportResult::Refused;
            r.check.ok = false;
            r.check.message = l ? QStringLiteral("Lunghezza record errata.") : QStringLiteral("Tipo record errato.");
            r.check.line = n;
            return r;
        }
        // An AA line closes the declaration before it: check for a cancel there,
        // so that what is kept is always whole declarations.
        if (l->index == rt::AA && progress && !progress(done, r.check.total)) {
            if (!loader.finishDeclaration() || !all.commit())
                return undoAll(QStringLiteral("Attenzione, importazione interrotta: nessuna dichiarazione è stata caricata."));
            r.status = ImportResult::Cancelled;
            r.imported = loader.imported;
            r.skipped = loader.skipped;
            return r;
        }
        if (l->index == rt::AA && step)
            step({decodeLine(*l, line.toByteArray()).value(QStringLiteral("ragsoc")).toString(),
                  loader.imported, loader.skipped});
        if (!loader.line(*l, line))
            return undoAll(QStringLiteral("Attenzione, importazione interrotta alla riga n. ") + QString::number(n) +
                           QStringLiteral(": nessuna dichiarazione del file è stata caricata."));
        ++done;
    }
    if (lines.tooLong())
        return undoAll(QStringLiteral("Attenzione, importazione interrotta alla riga n. ") + QString::number(n + 1) +
                       QStringLiteral(": nessuna dichiarazione del file è stata caricata."));
    if (!loader.finishDeclaration() || !all.commit())
        return undoAll(QStringLiteral("Attenzione, importazione non riuscita: nessuna dichiarazione del file è stata caricata."));
    if (progress)
        progress(done, r.check.total);
    r.imported = loader.imported;
    r.skipped = loader.skipped;
    r.status = ImportResult::Done;
    return r;
}

QString busyText()
{
    return QStringLiteral("Attenzione, l'archivio è in uso da un'altra stazione di lavoro e non si è liberato in tempo: "
                          "riprovare più tardi.");
}

bool lockDeclarations(dbClass &db)
{
    // PostgreSQL: stations that add declarations (import, takeover) take turns
    // for the rest of their transaction, so that the test for a declaration
    // already present sees what the other one added. SQLite: the write lock of
    // the transaction does the same.
    QSqlDatabase c = db.current();
    if (c.driverName() != QLatin1String("QPSQL"))
        return true;
    QString error;
    qint64 code = 0;
    if (dbStatement::run(c, QStringLiteral("SELECT pg_advisory_xact_lock(%1)").arg(DeclarationsLock), &error, &code))
        return true;
    db.messages().errorReport({}, code, error, QStringLiteral("pg_advisory_xact_lock"));
    return false;
}

} // namespace exch
