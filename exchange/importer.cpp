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
#include "shell/handoff.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/tree/tree.h"

#include <QFile>
#include <QHash>
#include <QSet>
#include <QSqlError>
#include <QScopeGuard>
#include <QSqlQuery>

#include <algorithm>
#include <deque>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>

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

// The load runs on two threads. A reading thread turns the lines of the file
// into declarations, each a tree of rows built the way the lines give them
// (a detail line to the module before it, a second line's columns or a
// materials line to a row already made), with the companies its modules
// name; the caller's thread, which alone uses the store, tests each for
// presence and writes it. They pass declarations in batches: a few batches
// go round and round, their rows and bytes used again, so that the memory
// depends on the size of a batch, not of the file.
struct Batch {
    struct Declaration {
        tree::Node *sa = nullptr;
        int line = 0;           // of its AA record
        int brokenAt = 0;       // the first of its lines that could not be loaded; 0 when none
        size_t companies = 0;   // its first company in the batch
        DeclarationIdentity identity;
        QString name;           // for the step observer, when there is one
    };
    // How the batch ends: more to come, the end of the file, or a line that
    // stops the run (the declaration it belongs to is the last one, and it
    // is not written).
    enum class End { More, File, Refused, Interrupted };

    // Rows of the batch's declarations, each with its line, by table: a
    // row keeps the room of its values for the next batch, as many as its
    // table has. used of them are in use.
    struct Rows {
        std::deque<tree::Node> rows;
        std::vector<int> lines;
        size_t used = 0;
    };
    std::vector<Rows> rows = std::vector<Rows>(schema::tables().size());
    tree::TextBlocks texts;   // the bytes of their texts
    // The companies the modules name, with their texts in texts.
    std::vector<anag::CompanyUtf8> companies;
    std::vector<int> companyLines;
    std::vector<Declaration> declarations;
    size_t count = 0;         // of declarations
    End end = End::More;
    int lastLine = 0;         // the last line read (End::File), the one stopping the run (otherwise)
    QString refusal;          // End::Refused: why

    void clear()
    {
        for (Rows &r : rows)
            r.used = 0;
        texts.clear();
        companies.clear();
        companyLines.clear();
        count = 0;
        end = End::More;
        lastLine = 0;
        refusal.clear();
    }
    size_t companiesEnd(size_t i) const { return i + 1 < count ? declarations[i + 1].companies : companies.size(); }
};

// Batches between the two threads: the reader takes an empty one and hands
// it over full; the writer takes the full ones in order and gives them back.
// halt() stops the reader at its next batch.
class Pipe {
public:
    explicit Pipe(int batches)
    {
        for (int i = 0; i < batches; ++i) {
            owned_.push_back(std::make_unique<Batch>());
            empty_.put(owned_.back().get());
        }
    }
    Batch *takeEmpty() { return empty_.take().value_or(nullptr); }
    void handFull(Batch *b) { full_.put(b); }
    // The reader hands over a last batch before it stops, unless halted.
    Batch *takeFull() { return full_.take().value_or(nullptr); }
    void giveBack(Batch *b)
    {
        b->clear();
        empty_.put(b);
    }
    void halt() { empty_.halt(); }

private:
    Handoff<Batch *> empty_, full_;
    std::vector<std::unique_ptr<Batch>> owned_;
};

// Declarations handed over together: enough to make the passing cheap, few
// enough to keep the batches in the processors' caches.
constexpr size_t BatchDeclarations = 16;
constexpr int Batches = 3;

// The reading side: lines into declarations, with no store. What it needs
// of the store (nations, renamed municipalities) is read before it starts.
class Builder {
public:
    Builder(const QHash<QByteArray, qint64> &nations, const refdata::comChanged &conv, bool names)
        : nations_(nations), conv_(conv), names_(names)
    {
    }

    // Reads the load pass of the file (the header skipped) into batches
    // until its end, a line that stops the run, or the pipe's halt.
    void run(const QString &path, Pipe &pipe);

private:
    // Where the values of a record go in a row of a table: record key and
    // column position, the row's key and parent key left out (the tree
    // writer gives them).
    struct Columns {
        const schema::Table *table = nullptr;
        std::vector<std::pair<int, qsizetype>> at;
    };
    // Column maps by slot: the record types, then the rows made or completed
    // by the lines of another record type.
    enum Slot : int {
        SMgRif = RecordTypes, SMgFamily,                 // MG module (RIF, then the three families)
        SPairsRif = SMgFamily + 3, SPairsFamily,         // operation rows
        SFlagFamily = SPairsFamily + 3,                  // second line of an MG module
        SMaterials = SFlagFamily + 3,                    // the four kinds of materials
        SMgRifColumns = SMaterials + 4,                  // second line of an MG module of scheda RIF
        SCount
    };
    // Line number n; false when it cannot be loaded.
    bool line(const Layout &l, QByteArrayView bytes, int n);
    const Columns &columns(int slot, const QString &table, const std::vector<int> &keys);
    const Columns &columns(int slot, const QString &table, std::initializer_list<int> keys)
    {
        return columnsOf_[size_t(slot)] ? *columnsOf_[size_t(slot)] : columns(slot, table, std::vector<int>(keys));
    }
    // The columns of a layout (its fields that are not computed, with their
    // units) and the extra columns the loader sets.
    const Columns &layoutColumns(const Layout &l, const QString &table, std::initializer_list<int> extra);
    // A new row with the values of r, under parent (none: a declaration).
    tree::Node *add(const Columns &c, const Record &r, tree::Node *parent);
    // Sets the columns of c in row from r; a fresh row is null throughout.
    void fill(tree::Node &row, const Columns &c, const Record &r, bool fresh = false);
    QByteArrayView keep(QByteArrayView b) { return b.isEmpty() ? QByteArrayView() : QByteArrayView(b_->texts.copy(b), b.size()); }
    bool subjectRow(Record &row);
    bool pairs(const Record &v, int count, int slot, const QString &table, tree::Node *module);
    void declaration(Record &v, const Layout &l, QByteArrayView bytes, int n);
    bool family(const Layout &l, Record &v);

    const QHash<QByteArray, qint64> &nations_;   // by the description as the file has it
    const refdata::comChanged &conv_;
    const bool names_;
    std::vector<std::unique_ptr<Columns>> columnsOf_ = std::vector<std::unique_ptr<Columns>>(SCount);
    Record v_, aux_;
    Batch *b_ = nullptr;
    Batch::Declaration *d_ = nullptr;   // the declaration being read
    int line_ = 0;
    tree::Node *sa_ = nullptr, *rif_ = nullptr, *int_ = nullptr, *si_ = nullptr, *sr_ = nullptr, *vfu_ = nullptr;
    tree::Node *drModule_ = nullptr, *mgModule_ = nullptr;   // modules the detail lines go to
    // The MG module the last detail lines began: its scheda record type,
    // parent row and progressive. A line of another begins a new module.
    struct MgKey {
        int family = -1;
        const tree::Node *parent = nullptr;
        qint64 prog = 0;
        bool operator==(const MgKey &) const = default;
    } mgKey_;
    // Posizione of the rows of the line being read: the grid of an MG module
    // (the number of its pair of lines), the one grid of a DR module.
    int detailPos_ = 0;
};

void Builder::run(const QString &path, Pipe &pipe)
{
    b_ = pipe.takeEmpty();
    if (!b_)
        return;
    auto stop = [&](Batch::End end, int at, const QString &why = {}) {
        b_->end = end;
        b_->lastLine = at;
        b_->refusal = why;
        pipe.handFull(std::exchange(b_, nullptr));
    };
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return stop(Batch::End::Refused, 0, QStringLiteral("Errore apertura file."));
    f.readLine(HeaderLength + 3);
    LineReader lines(f, maxLineLength());
    QByteArrayView bytes;
    int n = 1;
    while (lines.next(bytes)) {
        ++n;
        const Layout *l = layout(bytes.first(std::min<qsizetype>(2, bytes.size())));
        if (!l || bytes.size() != l->length)   // the file changed since it was checked
            return stop(Batch::End::Refused, n,
                        l ? QStringLiteral("Lunghezza record errata.") : QStringLiteral("Tipo record errato."));
        // A declaration does not cross batches: a full batch goes at the
        // line that begins the next one.
        if (l->index == rt::AA && b_->count >= BatchDeclarations) {
            pipe.handFull(b_);
            if (!(b_ = pipe.takeEmpty()))
                return;
        }
        if (l->index == rt::AA) {
            declaration(v_, *l, bytes, n);
            continue;
        }
        if (!d_)   // a line before any declaration
            return stop(Batch::End::Interrupted, n);
        // The rest of a declaration that cannot be loaded is passed over:
        // the writer says so only when the declaration is not already present.
        if (d_->brokenAt > 0)
            continue;
        if (!line(*l, bytes, n))
            d_->brokenAt = n;
    }
    if (lines.tooLong())
        return stop(Batch::End::Interrupted, n + 1);
    stop(Batch::End::File, n);
}

const Builder::Columns &Builder::columns(int slot, const QString &table, const std::vector<int> &keys)
{
    std::unique_ptr<Columns> &c = columnsOf_[size_t(slot)];
    if (c)
        return *c;
    c = std::make_unique<Columns>();
    c->table = schema::table(table);
    Q_ASSERT(c->table);
    const auto &cols = c->table->columns;
    for (int k : keys) {
        const QString name = keyName(k);
        const auto at = std::find_if(cols.begin(), cols.end(), [&](const schema::Column &x) {
            return x.name.compare(name, Qt::CaseInsensitive) == 0;
        });
        Q_ASSERT_X(at != cols.end(), "import", qPrintable(table + u'.' + name));
        if (at == cols.end() || at->name == c->table->key || at->name == c->table->parentKey)
            continue;
        const qsizetype i = at - cols.begin();
        if (std::none_of(c->at.begin(), c->at.end(), [&](const auto &p) { return p.second == i; }))
            c->at.emplace_back(k, i);
    }
    return *c;
}

const Builder::Columns &Builder::layoutColumns(const Layout &l, const QString &table, std::initializer_list<int> extra)
{
    if (columnsOf_[size_t(l.index)])
        return *columnsOf_[size_t(l.index)];
    std::vector<int> keys;
    for (const Field &f : l.fields) {
        if (f.computed())
            continue;
        keys.push_back(f.key);
        if (f.enc == Enc::QtyUnit)
            keys.push_back(f.unitKey);
    }
    keys.insert(keys.end(), extra);
    return columns(l.index, table, keys);
}

void Builder::fill(tree::Node &row, const Columns &c, const Record &r, bool fresh)
{
    // Texts stay in UTF-8, as the line was decoded: the writer takes them so.
    // Their bytes go to the batch's blocks, not one allocation each.
    // Each value is made where it goes, not made aside and moved in.
    QVariant *values = row.values.data();
    for (const auto &[k, i] : c.at) {
        const Val v = r.get(k);
        if (v.kind == Val::Kind::Null && fresh)
            continue;
        std::destroy_at(values + i);
        switch (v.kind) {
        case Val::Kind::Null: std::construct_at(values + i); break;
        case Val::Kind::Int: std::construct_at(values + i, v.i); break;
        case Val::Kind::Text:
            std::construct_at(values + i, QByteArray::fromRawData(b_->texts.copy({v.s, v.n}), v.n));
            break;
        }
    }
}

tree::Node *Builder::add(const Columns &c, const Record &r, tree::Node *parent)
{
    Batch::Rows &b = b_->rows[size_t(c.table - &schema::tables().front())];
    if (b.used == b.rows.size()) {
        b.rows.emplace_back();
        b.lines.push_back(0);
    }
    b.lines[b.used] = line_;
    tree::Node &row = b.rows[b.used++];
    row.table = c.table;
    row.values.clear(); // keeps its room for the next row
    row.values.resize(qsizetype(c.table->columns.size()));
    row.children.clear();
    fill(row, c, r, true);
    if (parent)
        parent->children.push_back(&row);
    return &row;
}

bool Builder::subjectRow(Record &row)
{
    const Val naz = row.get(key<"#nazdesc">());
    if (naz.n > 0) {
        auto it = nations_.constFind(QByteArray::fromRawData(naz.s, naz.n));
        if (it == nations_.constEnd())
            return false;   // checked before loading: the file changed since
        row.set(key<"nazid">(), *it);
    }
    const Val code = row.get(key<"codfisc">());
    if (code.n == 0)
        return true;
    // The texts as the file has them (a number field in its decimal digits),
    // kept with the batch for the writer, which registers the company.
    auto text = [&](int k) {
        const Val v = row.get(k);
        return keep(v.isInt() ? QByteArrayView(QByteArray::number(v.i)) : v.bytes());
    };
    anag::CompanyUtf8 company;
    company.codFisc = keep(code.bytes());
    company.ragSoc = text(key<"ragsoc">());
    company.via = text(key<"via">());
    company.civico = text(key<"civico">());
    company.cap = text(key<"cap">());
    company.prvIstat = int(row.get(key<"prvistat">()).toInt());
    company.comIstat = int(row.get(key<"comistat">()).toInt());
    b_->companies.push_back(company);
    b_->companyLines.push_back(line_);
    return true;
}

bool Builder::pairs(const Record &v, int count, int slot, const QString &table, tree::Node *module)
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
    const Columns &c = columns(slot, table, {key<"posizione">(), key<"codice">(), key<"qta">(), key<"umi">()});
    Record &r = aux_;
    for (int i = 0; i < count; ++i) {
        const Val code = v.get(k.cod[i]);
        if (code.isNull())
            continue;
        r.clear();
        r.set(key<"posizione">(), detailPos_);
        r.set(key<"codice">(), code);
        r.set(key<"qta">(), v.get(k.qta[i]));
        r.set(key<"umi">(), v.get(k.qtaU[i]));
        add(c, r, module);
    }
    return true;
}


void Builder::declaration(Record &a, const Layout &l, QByteArrayView bytes, int n)
{
    line_ = n;
    decodeLine(l, bytes, a);
    Batch &b = *b_;
    if (b.count == b.declarations.size())
        b.declarations.emplace_back();
    d_ = &b.declarations[b.count++];
    d_->line = n;
    d_->brokenAt = 0;
    d_->companies = b.companies.size();
    d_->name = names_ ? decodeLine(l, bytes.toByteArray()).value(QStringLiteral("ragsoc")).toString() : QString();
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
    d_->identity = {a.get(key<"codfisc">()).toVariant(), a.get(key<"ragsoc">()).toVariant(),
                    a.get(key<"via">()).toVariant(),     a.get(key<"civico">()).toVariant(),
                    a.get(key<"prvistat">()).toVariant(), a.get(key<"comistat">()).toVariant()};
    rif_ = int_ = si_ = sr_ = vfu_ = drModule_ = mgModule_ = nullptr;
    mgKey_ = {};
    sa_ = d_->sa = add(layoutColumns(l, QStringLiteral("SezAnag"), {key<"codfisc">(), key<"saanno">()}), a, nullptr);
}

// Modules and rows of the packaging, RAEE and vehicle schede.
bool Builder::family(const Layout &l, Record &v)
{
    const QChar fam = l.code.at(0);
    const QChar rec = l.code.at(1);
    const bool imb = fam == u'I';
    const int f = imb ? 0 : fam == u'R' ? 1 : 2;
    static const QString modTables[] = {QStringLiteral("ModImb"), QStringLiteral("ModRaee"), QStringLiteral("ModVfu")};
    static const QString opTables[] = {QStringLiteral("RecModImb"), QStringLiteral("RecModRaee"),
                                       QStringLiteral("RecModVfu")};
    const QString &modTable = modTables[f];
    tree::Node *parent = imb ? si_ : fam == u'R' ? sr_ : vfu_;
    const int base = imb || fam == u'R' ? 'C' : 'E';   // RT/TE, DR, detail 1, detail 2
    const int k = rec.unicode() - base;
    if (!parent)
        return false;
    if (k == 0 || k == 1) {
        v.set(key<"tipomod">(), kindCode(v.get(key<"#kind">())));
        if (!subjectRow(v))
            return false;
        tree::Node *module = add(layoutColumns(l, modTable, {key<"tipomod">(), key<"nazid">()}), v, parent);
        if (k == 1)
            drModule_ = module;
        return true;
    }
    const bool mg = kindCode(v.get(key<"#kind">())) == 4;
    const MgKey here{f, parent, v.get(key<"#prog">()).toInt()};
    if (mg && k == 2 && !(here == mgKey_)) {
        mgKey_ = here;
        Record &r = aux_;
        r.clear();
        r.copy(key<"rifcod">(), v, key<"rifcod">());
        r.set(key<"tipomod">(), 4);
        mgModule_ = add(columns(SMgFamily + f, modTable, {key<"rifcod">(), key<"tipomod">()}), r, parent);
    }
    detailPos_ = mg ? int(v.get(key<"#seq">()).toInt()) : 1;
    tree::Node *module = mg ? mgModule_ : drModule_;
    if (!module)
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
        std::vector<int> keys = mgModuleKeys();
        if (imb)
            keys.push_back(key<"mbflag">());
        fill(*module, columns(SFlagFamily + f, modTable, keys), r);
    }
    return pairs(v, k == 2 ? 9 : 6, SPairsFamily + f, opTables[f], module);
}

bool Builder::line(const Layout &l, QByteArrayView bytes, int n)
{
    line_ = n;
    if (l.index == rt::AB)
        return true;
    Record &v = v_;
    decodeLine(l, bytes, v);

    switch (l.index) {
    case rt::AU:
        v.keep(key<"surecupero">(), operationFlags(v.get(key<"#recupero">()).toString(), u'R'));
        v.keep(key<"susmaltimento">(), operationFlags(v.get(key<"#smaltimento">()).toString(), u'D'));
        add(layoutColumns(l, QStringLiteral("SaAut"), {key<"surecupero">(), key<"susmaltimento">()}), v, sa_);
        return true;
    case rt::BA:
    case rt::DA:
        (l.index == rt::BA ? rif_ : int_) = add(layoutColumns(l, l.table, {}), v, sa_);
        return true;
    case rt::BB:
    case rt::BC:
    case rt::DB: {
        const bool db = l.index == rt::DB;
        tree::Node *parent = db ? int_ : rif_;
        if (!parent)
            return false;
        v.set(key<"tipomod">(), l.index == rt::BC ? 5 : kindCode(v.get(key<"#kind">())));
        if (l.index != rt::BC && !subjectRow(v))
            return false;
        add(layoutColumns(l, db ? l.table : QStringLiteral("ModRif"), {key<"tipomod">(), key<"nazid">()}), v, parent);
        return true;
    }
    case rt::BD:
    case rt::BE:
        if (!rif_)
            return false;
        if (const MgKey here{3, rif_, v.get(key<"#prog">()).toInt()}; l.index == rt::BD && !(here == mgKey_)) {
            mgKey_ = here;
            Record &r = aux_;
            r.clear();
            r.set(key<"tipomod">(), 4);
            mgModule_ = add(columns(SMgRif, QStringLiteral("ModRif"), {key<"tipomod">()}), r, rif_);
        }
        detailPos_ = int(v.get(key<"#seq">()).toInt());
        if (!mgModule_)
            return false;
        if (l.index == rt::BE)
            fill(*mgModule_, columns(SMgRifColumns, QStringLiteral("ModRif"), mgModuleKeys()), v);
        return pairs(v, l.index == rt::BD ? 9 : 6, SPairsRif, QStringLiteral("RecRif"), mgModule_);
    case rt::IA:
        si_ = add(layoutColumns(l, QStringLiteral("SezImb"), {}), v, sa_);
        return true;
    case rt::RA:
        v.set(key<"srtipo">(), v.get(key<"#skind">()).bytes() == "TRA" ? 1 : 2);
        sr_ = add(layoutColumns(l, QStringLiteral("SezRaee"), {key<"srtipo">()}), v, sa_);
        return true;
    case rt::VC: {
        const QByteArrayView k = v.get(key<"#skind">()).bytes();
        const int vfuTipo = k == "AUT" ? 1 : k == "ROT" ? 2 : 3;
        v.set(key<"vfutipo">(), vfuTipo);
        auto slot = [&](int s, int su, int q, int u) {
            v.copy(q, v, s);
            v.copy(u, v, su);
        };
        const int qtaProprio = key<"qtaproprio">(), umiProprio = key<"umiproprio">();
        const int qtaPost80 = key<"qtapost80">(), umiPost80 = key<"umipost80">();
        if (vfuTipo == 3) {
            slot(key<"#own1">(), key<"#own1u">(), qtaProprio, umiProprio);
            slot(key<"#own2">(), key<"#own2u">(), qtaPost80, umiPost80);
        } else {
            slot(key<"#own3">(), key<"#own3u">(), qtaProprio, umiProprio);
        }
        if (codes::vehicleSplit1980(vfuTipo)) {
            slot(key<"#veh1">(), key<"#veh1u">(), key<"qtapre80">(), key<"umipre80">());
            slot(key<"#veh2">(), key<"#veh2u">(), qtaPost80, umiPost80);
            slot(key<"#veh3">(), key<"#veh3u">(), key<"qta104">(), key<"umi104">());
        }
        vfu_ = add(layoutColumns(l, QStringLiteral("SezVfu"),
                                 {key<"vfutipo">(), qtaProprio, umiProprio, qtaPost80, umiPost80, key<"qtapre80">(),
                                  key<"umipre80">(), key<"qta104">(), key<"umi104">()}),
                   v, sa_);
        return true;
    }
    case rt::IB:
    case rt::RB:
    case rt::VD: {
        const QChar fam = l.code.at(0);
        tree::Node *parent = fam == u'I' ? si_ : fam == u'R' ? sr_ : vfu_;
        if (!parent)
            return false;
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
        add(layoutColumns(l, l.table, {key<"posizione">()}), v, parent);
        return true;
    }
    case rt::MA: {
        const QByteArrayView k = v.get(key<"#mkind">()).bytes();
        QString table = QStringLiteral("SezAnag");
        tree::Node *row = sa_;
        MatKind mk = MatKind::Declaration;
        if (k == "IMB") {
            table = QStringLiteral("SezImb"), row = si_, mk = MatKind::Imb;
        } else if (k == "TRA" || k == "CRR") {
            table = QStringLiteral("SezRaee"), row = sr_, mk = MatKind::Raee;
        } else if (k != "RIF") {
            table = QStringLiteral("SezVfu"), row = vfu_, mk = MatKind::Vfu;
        }
        if (!row)
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
        fill(*row, columns(SMaterials + kind, table, keys), r);
        return true;
    }
    default:
        return family(l, v);
    }
}


// The nations the file names, by their description as the file has it (the
// first 20 characters).
QHash<QByteArray, qint64> nationsByDescription(dbClass &db)
{
    QHash<QByteArray, qint64> out;
    QSqlQuery q = db.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni ORDER BY nazID"));
    while (q.next()) {
        const QByteArray d = q.value(1).toString().left(20).trimmed().toUtf8();
        if (!out.contains(d))
            out.insert(d, q.value(0).toLongLong());
    }
    return out;
}

// The writing side, on the caller's thread with its connection. Any failure
// to write rolls back the whole file (undoAll): the writer keeps no
// savepoint per declaration.
class Loader {
public:
    Loader(dbClass &db, Messages &msg)
        : db_(db), msg_(msg), st_(db.current(), msg), writer_(db.current(), tree::Writer::Undo::Caller)
    {
        writer_.setUtf8Texts(true);
    }

    // Declaration i of the batch into the caller's transaction: passed over
    // when already present, otherwise its companies to the register and its
    // tree to the store. False when it cannot be loaded (a failure of the
    // store reported), with failedLine() the line it comes from.
    bool write(Batch &b, size_t i);
    // The companies the run queued for the register, at its end (or at the
    // end of its part kept when stopped).
    bool finishRun() { return register_.flush() >= 0; }
    int failedLine() const { return failedLine_; }
    int imported = 0, skipped = 0;

private:
    dbClass &db_;
    Messages &msg_;
    Statements st_;
    tree::Writer writer_;
    // Counterparts met in this run are known to it: queued once per run,
    // not once per module, and written at its end.
    anag::CounterpartRegister register_{db_, anag::CounterpartRegister::Mode::Queued};
    int failedLine_ = 0;
};

bool Loader::write(Batch &b, size_t i)
{
    Batch::Declaration &d = b.declarations[i];
    failedLine_ = d.line;
    const PresenceTest present = presenceTest(d.identity);
    dbStatement *q = st_.run(present.sql, present.params);
    if (!q)
        return false;
    const bool there = q->next();
    q->finish();
    if (there) {
        ++skipped;
        return true;
    }
    if (d.brokenAt > 0) {
        failedLine_ = d.brokenAt;
        return false;
    }
    ++imported;
    for (size_t c = d.companies; c < b.companiesEnd(i); ++c)
        if (register_.add(b.companies[c]) == anag::Registered::Failed) {
            failedLine_ = b.companyLines[c];
            return false;
        }
    const tree::Node *refused = nullptr;
    const qint64 id = writer_.write(*d.sa, [&refused](tree::Node &row) {
        refused = &row;   // the row about to be written
        return true;
    });
    if (id >= 0)
        return true;
    for (const Batch::Rows &t : b.rows)
        for (size_t r = 0; refused && r < t.used; ++r)
            if (&t.rows[r] == refused)
                failedLine_ = t.lines[r];
    msg_.errorReport({}, writer_.errorCode(), writer_.error(),
                     refused ? QStringLiteral("INSERT INTO ") + refused->table->name : QStringLiteral("SAVEPOINT"));
    return false;
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

namespace {

// The descriptions of the nations table as a file carries them.
QSet<QByteArray> knownNations(dbClass &db)
{
    QSet<QByteArray> known;
    QSqlQuery q = db.query(QStringLiteral("SELECT nazDesc FROM Nazioni"));
    while (q.next())
        known.insert(cp1252::encode(q.value(0).toString().left(20).trimmed()));
    return known;
}

// The nations the subject blocks name must be in the nations table: the
// loader translates them back into their code. The result of the other
// checks is kept when they pass.
CheckResult checkNations(const QSet<QByteArray> &known, const QString &path, const CheckResult &checked)
{
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

} // namespace

namespace {

// A server plans its statements by what it knows of the tables: after a
// load it is told at once, not when its own housekeeping gets round to it
// (until then it joins each window of the reader by scanning whole tables).
// SQLite plans without statistics. A failure here loses nothing.
void refreshStatistics(const QSqlDatabase &db)
{
    if (db.driverName() != QLatin1String("QPSQL"))
        return;
    QStringList names{QStringLiteral("Ditte")};
    for (const schema::Table *t : tree::tables())
        names << t->name;
    QString error;
    dbStatement::run(db, QStringLiteral("ANALYZE ") + names.join(QStringLiteral(", ")), &error);
}

} // namespace

ImportResult importFile(dbClass &db, Messages &msg, const QString &path, const Progress &progress,
                        const StepObserver &step)
{
    ImportResult r;
    // The header first: a file it refuses is read no further.
    r.check = checkHeader(path);
    if (!r.check.ok) {
        r.status = ImportResult::Refused;
        return r;
    }
    // The checks of the whole file run on a thread of their own while the
    // load goes on. Nothing is committed, and no failure of the load is
    // reported, before they have passed: a file they refuse is refused as if
    // they had run first.
    std::future<CheckResult> checking =
        std::async(std::launch::async, [path, known = knownNations(db)] {
            const CheckResult c = checkFile(path);
            return c.ok ? checkNations(known, path, c) : c;
        });
    std::optional<CheckResult> verdict;
    auto checked = [&]() -> const CheckResult & {
        if (!verdict) {
            verdict = checking.get();
            if (verdict->ok)
                r.contained = verdict->declarations;
        }
        return *verdict;
    };
    auto refused = [&r](int line, const QString &why) {
        r.status = ImportResult::Refused;
        r.check.ok = false;
        r.check.message = why;
        r.check.line = line;
        r.imported = 0;
        r.skipped = 0;
        return r;
    };
    if (QFile f(path); !f.open(QIODevice::ReadOnly))
        return refused(0, QStringLiteral("Errore apertura file."));
    // A larger page cache for the length of the load: the inserts touch the
    // tables and their indexes all over, and the default cache of about 2 MB
    // makes SQLite read the same pages again and again. The companies wait
    // in the register's queue meanwhile. Journal and synchronous modes stay
    // as they are: the committed data is as safe as after any other write.
    const dbPageCache cache(db.current(), ImportPageCacheKib);
    // All or nothing: the run is one transaction; a failure while loading
    // undoes every declaration of the file, an interruption keeps the whole
    // declarations loaded before it.
    dbTransaction all(db.current());
    // The checks' verdict, when it refuses the file: nothing of it stays.
    auto refusedByChecks = [&]() -> bool {
        if (checked().ok)
            return false;
        all.rollback();
        r.check = checked();
        r.status = ImportResult::Refused;
        r.imported = 0;
        r.skipped = 0;
        return true;
    };
    if (!all.isActive() || !lockDeclarations(db)) {
        if (refusedByChecks())
            return r;
        msg.critical(all.wasBusy() || !all.isActive() ? busyText() : QStringLiteral("Attenzione, importazione non avviata: ") + all.error());
        r.status = ImportResult::Failed;
        return r;
    }
    Loader loader(db, msg);
    const QHash<QByteArray, qint64> nations = nationsByDescription(db);
    const refdata::comChanged conv(db);
    Builder builder(nations, conv, bool(step));
    // The reading thread stops, and is waited for, on every way out.
    Pipe pipe(Batches);
    std::thread reading([&] { builder.run(path, pipe); });
    const auto joined = qScopeGuard([&] {
        pipe.halt();
        reading.join();
    });
    auto undoAll = [&](const QString &text) {
        if (refusedByChecks())
            return r;
        all.rollback();
        if (!text.isEmpty())
            msg.critical(text);
        r.status = ImportResult::Failed;
        r.imported = 0;
        r.skipped = 0;
        return r;
    };
    auto interrupted = [&](int at) {
        return undoAll(QStringLiteral("Attenzione, importazione interrotta alla riga n. ") + QString::number(at) +
                       QStringLiteral(": nessuna dichiarazione del file è stata caricata."));
    };
    qint64 done = 0;   // lines of the load pass read
    for (;;) {
        Batch *b = pipe.takeFull();
        const bool stops = b->end == Batch::End::Refused || b->end == Batch::End::Interrupted;
        for (size_t i = 0; i < b->count; ++i) {
            const Batch::Declaration &d = b->declarations[i];
            done = d.line - 2;
            // Checked as a declaration begins, so that what is kept is always
            // whole declarations.
            if (progress && !progress(done, r.check.total)) {
                if (refusedByChecks())
                    return r;
                if (!loader.finishRun() || !all.commit())
                    return undoAll(QStringLiteral("Attenzione, importazione interrotta: nessuna dichiarazione è stata caricata."));
                r.status = ImportResult::Cancelled;
                r.imported = loader.imported;
                r.skipped = loader.skipped;
                return r;
            }
            if (step)
                step({d.name, loader.imported, loader.skipped});
            // The declaration the stopping line belongs to is not loaded.
            if (stops && i + 1 == b->count)
                break;
            // A row the store refuses is reported at the line it comes from.
            if (!loader.write(*b, i))
                return interrupted(loader.failedLine());
        }
        const Batch::End end = b->end;
        const int last = b->lastLine;
        const QString why = b->refusal;
        pipe.giveBack(b);
        if (end == Batch::End::More)
            continue;
        if (end == Batch::End::Refused) {
            if (refusedByChecks())
                return r;
            all.rollback();   // the file changed while it was read
            return refused(last, why);
        }
        if (end == Batch::End::Interrupted)
            return interrupted(last);
        done = last - 1;
        if (refusedByChecks())
            return r;
        if (!loader.finishRun())
            return interrupted(last);
        break;
    }
    if (!all.commit())
        return undoAll(QStringLiteral("Attenzione, importazione non riuscita: nessuna dichiarazione del file è stata caricata."));
    if (loader.imported > 0)
        refreshStatistics(db.current());
    if (progress)
        progress(done, r.check.total);
    r.check = checked();
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
