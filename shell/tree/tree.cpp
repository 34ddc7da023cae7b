#include "shell/tree/tree.h"

#include "shell/dbstatement.h"
#include "shell/handoff.h"
#include "shell/transaction.h"

#include <QSqlError>
#include <QSqlField>
#include <QSqlRecord>
#include <algorithm>
#include <cstring>
#include <deque>
#include <limits>
#include <optional>
#include <thread>

namespace tree {

// ---------------------------------------------------------------- Node

qint64 Node::key() const
{
    return value(table->key).toLongLong();
}

int columnIndex(const schema::Table &t, const QString &column)
{
    // Rows are looked into by name many times each, often for a column
    // their table lacks: one lookup by hash, never a walk of the columns.
    // The names are ASCII: a name asked for is put in small letters on the
    // stack and found as it is.
    static const std::vector<QHash<QByteArray, int>> byName = [] {
        std::vector<QHash<QByteArray, int>> v;
        for (const schema::Table &table : schema::tables()) {
            QHash<QByteArray, int> &h = v.emplace_back();
            for (size_t i = 0; i < table.columns.size(); ++i)
                h.insert(table.columns[i].name.toLatin1().toLower(), int(i));
        }
        return v;
    }();
    const auto &all = schema::tables();
    char folded[64];
    bool ascii = column.size() <= qsizetype(sizeof folded);
    for (qsizetype i = 0; ascii && i < column.size(); ++i) {
        const char16_t u = column.at(i).unicode();
        ascii = u < 0x80;
        folded[i] = char(u >= 'A' && u <= 'Z' ? u + ('a' - 'A') : u);
    }
    if (ascii && &t >= all.data() && &t < all.data() + all.size()) {
        const QHash<QByteArray, int> &h = byName[size_t(&t - all.data())];
        const auto it = h.constFind(QByteArray::fromRawData(folded, column.size()));
        return it == h.constEnd() ? -1 : *it;
    }
    for (size_t i = 0; i < t.columns.size(); ++i)
        if (t.columns[i].name.compare(column, Qt::CaseInsensitive) == 0)
            return int(i);
    return -1;
}

int Node::index(const QString &column) const { return columnIndex(*table, column); }

QVariant Node::value(const QString &column) const
{
    const int i = index(column);
    return i < 0 ? QVariant() : values.value(i);
}

void Node::set(const QString &column, const QVariant &v)
{
    const int i = index(column);
    if (i >= 0)
        values[i] = v;
}

const std::vector<const schema::Table *> &tables()
{
    static const std::vector<const schema::Table *> list = [] {
        // The schema lists parents before children.
        std::vector<const schema::Table *> out;
        for (const schema::Table &t : schema::tables()) {
            if (t.name == QLatin1String("SezAnag"))
                out.push_back(&t);
            else if (!t.parent.isEmpty())
                out.push_back(&t);
        }
        return out;
    }();
    return list;
}

int compareValues(const QVariant &a, const QVariant &b)
{
    auto rank = [](const QVariant &v) {
        switch (v.typeId()) {
        case QMetaType::UnknownType: return 0;
        case QMetaType::QString: return 2;
        case QMetaType::QByteArray: return 3;
        default: return 1;
        }
    };
    const int ra = rank(a), rb = rank(b);
    if (ra != rb || ra == 0)
        return ra - rb;
    if (ra == 2)
        return static_cast<const QString *>(a.constData())->compare(*static_cast<const QString *>(b.constData()));
    if (ra == 3)
        return a.toByteArray().compare(b.toByteArray());
    if (a.typeId() == QMetaType::Double || b.typeId() == QMetaType::Double) {
        const double x = a.toDouble(), y = b.toDouble();
        return x < y ? -1 : x > y ? 1 : 0;
    }
    const qint64 x = a.toLongLong(), y = b.toLongLong();
    return x < y ? -1 : x > y ? 1 : 0;
}

std::vector<const Node *> sortedChildren(const Node &n, const QString &table, const QStringList &order)
{
    std::vector<const Node *> out;
    for (const Node *c : n.children)
        if (c->table->name == table)
            out.push_back(c);
    if (out.size() < 2 || order.isEmpty())
        return out;
    std::vector<int> columns;
    for (const QString &c : order)
        columns.push_back(out.front()->index(c));
    std::stable_sort(out.begin(), out.end(), [&](const Node *a, const Node *b) {
        for (const int c : columns)
            if (const int r = compareValues(a->values.value(c), b->values.value(c)))
                return r < 0;
        return false;
    });
    return out;
}

namespace {

bool isAncestor(const schema::Table &ancestor, const schema::Table &t)
{
    for (const schema::Table *p = schema::table(t.parent); p; p = schema::table(p->parent))
        if (p == &ancestor)
            return true;
    return false;
}

} // namespace

// ---------------------------------------------------------------- Reader

struct Reader::Plan {
    const schema::Table *table = nullptr;
    int parent = -1;              // position of the parent's plan
    std::vector<int> columns;     // schema positions read, in select order
    int keyAt = -1, parentAt = -1; // their places in the select list
    bool parentOfOthers = false;  // rows of other plans (or the roots) are found by its keys
    std::vector<int> unread;      // schema positions not read: null in every row
    dbStatement st;
    QHash<qint64, Node *> rows;   // of the current window, by key
    // The rows of the window; used of them hold the current one's. They are
    // filled again window after window, with the room they have.
    std::deque<Node> pool;
    size_t used = 0;
    Node &take();
};

Node &Reader::Plan::take()
{
    const qsizetype width = qsizetype(table->columns.size());
    if (used == pool.size()) {
        Node &n = pool.emplace_back();
        n.table = table;
        n.values.resize(width);
        ++used;
        return n;
    }
    Node &n = pool[used++];
    n.children.clear();
    // The consumer was free to change the row: it is made whole and null
    // where nothing is read again.
    if (n.values.size() != width) {
        n.values.clear();
        n.values.resize(width);
    }
    QVariant *v = n.values.data();
    for (const int c : unread)
        if (v[c].isValid())
            v[c] = QVariant();
    return n;
}

// ---------------------------------------------------------------- TextBlocks

const char *TextBlocks::copy(QByteArrayView b)
{
    const size_t n = size_t(b.size());
    if (n > Block) {
        large_.push_back(std::make_unique<char[]>(n));
        std::memcpy(large_.back().get(), b.data(), n);
        return large_.back().get();
    }
    if (blocks_.empty()) {
        blocks_.push_back(std::make_unique<char[]>(Block));
    } else if (used_ + n > Block) {
        if (++at_ == blocks_.size())
            blocks_.push_back(std::make_unique<char[]>(Block));
        used_ = 0;
    }
    char *to = blocks_[at_].get() + used_;
    std::memcpy(to, b.data(), n);
    used_ += n;
    return to;
}

void TextBlocks::clear()
{
    at_ = 0;
    used_ = 0;
    large_.clear();
}

Reader::Reader(const QSqlDatabase &db, ReadOptions options)
    : db_(db), options_(std::move(options))
{
    options_.window = std::max(1, options_.window);
}

Reader::~Reader() = default;

void Reader::select(const QList<qint64> &saIDs)
{
    setAll(false);
    keys_ = saIDs;
    nextKey_ = 0;
    exhausted_ = false;
    roots_.clear();
    at_ = 0;
}

void Reader::selectAll()
{
    select({});
    setAll(true);
    // Below any key; within a 32-bit INTEGER, which is what PostgreSQL
    // stores the keys in (a 64-bit bound there is out of range).
    lastKey_ = std::numeric_limits<qint32>::min();
}

void Reader::setAll(bool all)
{
    // The statements differ: prepared again for the other kind.
    if (prepared_ && all != all_) {
        plans_.clear();
        prepared_ = false;
    }
    all_ = all;
}

namespace {

// A failure to read, said as the store said it; something when it said nothing.
QString readError(const QString &error) { return error.isEmpty() ? QStringLiteral("errore di lettura") : error; }

} // namespace

bool Reader::fail(const QString &error, qint64 code)
{
    error_ = readError(error);
    code_ = code;
    roots_.clear();
    return false;
}

bool Reader::prepare()
{
    prepared_ = true;
    const int n = options_.window;
    // The window's keys: one value per key on SQLite; on PostgreSQL one array,
    // since there a statement with hundreds of values is planned again on
    // every run and the planning costs more than the reading.
    arrayKeys_ = db_.driverName() == QLatin1String("QPSQL");
    QString in;
    if (all_) {
        // A window of the whole store holds every key between its first
        // and its last: one range, found with one step into the index.
        in = QStringLiteral(" BETWEEN ? AND ?");
    } else if (arrayKeys_) {
        in = QStringLiteral(" = ANY (CAST(? AS BIGINT[]))");
    } else {
        QStringList marks;
        for (int i = 0; i < n; ++i)
            marks << QStringLiteral("?");
        in = QStringLiteral(" IN (%1)").arg(marks.join(u','));
    }

    // The tables asked for, with the ancestors they hang from.
    std::vector<const schema::Table *> wanted;
    for (const schema::Table *t : tables()) {
        bool take = options_.tables.isEmpty() || t->name == QLatin1String("SezAnag");
        for (const QString &name : options_.tables) {
            const schema::Table *w = schema::table(name);
            if (w && (w == t || isAncestor(*t, *w)))
                take = true;
        }
        if (take)
            wanted.push_back(t);
    }

    for (const schema::Table *t : wanted) {
        // The columns the store has (last year's database may lack some);
        // a table the store lacks has no rows.
        QSqlRecord stored = db_.record(t->name);
        // PostgreSQL keeps unquoted names in lower case, and its driver
        // looks a table up by the name exactly as given.
        if (stored.isEmpty() && db_.driverName() == QLatin1String("QPSQL"))
            stored = db_.record(t->name.toLower());
        if (stored.isEmpty())
            continue;
        auto plan = std::make_unique<Plan>();
        plan->table = t;
        for (size_t i = 0; i < plans_.size(); ++i)
            if (plans_[i]->table->name == t->parent)
                plan->parent = int(i);
        if (!t->parent.isEmpty() && plan->parent < 0)
            continue; // its parent is not in the store either
        const auto subset = options_.columns.constFind(t->name);
        QStringList select;
        for (size_t i = 0; i < t->columns.size(); ++i) {
            const QString &c = t->columns[i].name;
            const bool always = c == t->key || c == t->parentKey;
            if (!always && subset != options_.columns.constEnd() && !subset->contains(c, Qt::CaseInsensitive))
                continue;
            if (stored.indexOf(c) < 0)
                continue;
            if (c == t->key)
                plan->keyAt = int(select.size());
            if (c == t->parentKey)
                plan->parentAt = int(select.size());
            plan->columns.push_back(int(i));
            select << QStringLiteral("t0.") + c;
        }
        for (int i = 0; i < int(t->columns.size()); ++i)
            if (std::find(plan->columns.begin(), plan->columns.end(), i) == plan->columns.end())
                plan->unread.push_back(i);
        // The join path from the table that holds saID down to this one. On
        // SQLite a CROSS JOIN keeps that order of the loops: each step goes
        // into the index of the parent key, never through a whole table.
        std::vector<const schema::Table *> path{t};
        while (!path.back()->parent.isEmpty() && path.back()->parent != QLatin1String("SezAnag"))
            path.push_back(schema::table(path.back()->parent));
        const int depth = int(path.size()) - 1;
        const QString join = db_.driverName() == QLatin1String("QSQLITE") ? QStringLiteral(" CROSS JOIN ")
                                                                          : QStringLiteral(" JOIN ");
        QString from = QStringLiteral("%1 t%2").arg(path.back()->name).arg(depth);
        for (int i = depth - 1; i >= 0; --i)
            from += join + QStringLiteral("%1 t%2 ON t%2.%3 = t%4.%5")
                               .arg(path[size_t(i)]->name)
                               .arg(i)
                               .arg(path[size_t(i)]->parentKey)
                               .arg(i + 1)
                               .arg(path[size_t(i) + 1]->key);
        // No ORDER BY: the store would sort every window aside. The rows
        // of a parent come by key from the index of the parent key, and any
        // that do not are put in order after reading (fill()).
        const QString sql = QStringLiteral("SELECT %1 FROM %2 WHERE t%3.saID%4")
                                .arg(select.join(QStringLiteral(", ")), from)
                                .arg(depth)
                                .arg(in);
        plan->st = dbStatement(db_, sql);
        if (!plan->st.isValid())
            return fail(plan->st.error(), plan->st.errorCode());
        plans_.push_back(std::move(plan));
    }
    if (plans_.empty() || plans_.front()->table->name != QLatin1String("SezAnag"))
        return fail(QStringLiteral("tabella SezAnag mancante"), 0);
    plans_.front()->parentOfOthers = true;
    for (const auto &p : plans_)
        if (p->parent >= 0)
            plans_[size_t(p->parent)]->parentOfOthers = true;
    return true;
}

bool Reader::fill()
{
    roots_.clear();
    at_ = 0;
    if (exhausted_)
        return true;
    const int n = options_.window;

    // The keys of the window.
    QList<qint64> window;
    if (all_) {
        dbStatement next(db_, QStringLiteral("SELECT saID FROM SezAnag WHERE saID > ? ORDER BY saID LIMIT %1").arg(n));
        next.bindInt(0, lastKey_);
        if (!next.exec())
            return fail(next.error(), next.errorCode());
        while (next.next())
            window << next.toInt(0);
        if (!window.isEmpty())
            lastKey_ = window.last();
    } else {
        window = keys_.mid(nextKey_, n);
        nextKey_ += window.size();
    }
    if (window.size() < n)
        exhausted_ = true;
    if (window.isEmpty())
        return true;

    const bool utf8 = options_.utf8Texts;
    texts_.clear();
    for (const auto &plan : plans_) {
        Plan &p = *plan;
        p.rows.clear();
        p.used = 0;
        if (all_) {
            p.st.bindInt(0, window.first());
            p.st.bindInt(1, window.last());
        } else if (arrayKeys_) {
            QByteArray list = "{";
            for (qint64 k : window)
                list += QByteArray::number(k) + ',';
            list.back() = '}';
            p.st.bindText(0, list, dbStatement::Until::Rebound);
        } else {
            for (int i = 0; i < n; ++i) {
                if (i < window.size())
                    p.st.bindInt(i, window.at(i));
                else
                    p.st.bindNull(i);
            }
        }
        if (!p.st.exec())
            return fail(p.st.error(), p.st.errorCode());
        Plan *parent = p.parent >= 0 ? plans_[size_t(p.parent)].get() : nullptr;
        // Only a server gives typed nulls; they are left plain null.
        const bool native = p.st.isNative(), typedNulls = !native;
        // Whether the rows of some parent came out of the order of their keys.
        bool unordered = false;
        const Node *lastUp = nullptr;
        qint64 lastKey = 0;
        while (p.st.next()) {
            Node *up = nullptr;
            const qint64 key = p.st.toInt(p.keyAt);
            if (parent) {
                up = parent->rows.value(p.st.toInt(p.parentAt));
                if (!up)
                    continue;
                if (up == lastUp ? key < lastKey : !up->children.empty() && up->children.back()->table == p.table)
                    unordered = true;
                lastUp = up;
                lastKey = key;
            }
            Node &node = p.take();
            QVariant *values = node.values.data();
            for (size_t c = 0; c < p.columns.size(); ++c) {
                if (utf8 && native) {
                    // Nothing allocated per value: whole numbers sit in the
                    // variant, texts in the window's blocks.
                    QVariant &to = values[p.columns[c]];
                    switch (p.st.kind(int(c))) {
                    case dbStatement::Kind::Null:
                        if (to.isValid())
                            to = QVariant();
                        break;
                    case dbStatement::Kind::Int: to = QVariant(p.st.toInt(int(c))); break;
                    case dbStatement::Kind::Real: to = p.st.value(int(c)); break;
                    case dbStatement::Kind::Text: {
                        const QByteArrayView b = p.st.text(int(c));
                        to = QVariant(QByteArray::fromRawData(texts_.copy(b), b.size()));
                        break;
                    }
                    }
                    continue;
                }
                QVariant v = utf8 ? p.st.valueUtf8(int(c)) : p.st.value(int(c));
                QVariant &to = values[p.columns[c]];
                if (v.isValid() && !(typedNulls && v.isNull()))
                    to = std::move(v);
                else if (to.isValid())
                    to = QVariant();
            }
            if (p.parentOfOthers)
                p.rows.insert(key, &node);
            if (up)
                up->children.push_back(&node);
        }
        p.st.finish();
        if (unordered)
            sortLast(*parent, p);
    }
    for (qint64 k : window)
        if (Node *root = plans_.front()->rows.value(k))
            roots_.push_back(root);
    for (const auto &plan : plans_)
        plan->rows.clear();
    return true;
}

void Reader::sortLast(Plan &parent, const Plan &p)
{
    // The rows of p are the last children of each parent: the plans run
    // parents first, tables in the order of the schema.
    const int key = p.columns[size_t(p.keyAt)];
    auto keyOf = [key](const Node *n) { return n->values.at(key).toLongLong(); };
    for (size_t i = 0; i < parent.used; ++i) {
        std::vector<Node *> &c = parent.pool[i].children;
        auto from = c.end();
        while (from != c.begin() && (*(from - 1))->table == p.table)
            --from;
        std::stable_sort(from, c.end(), [&](const Node *a, const Node *b) { return keyOf(a) < keyOf(b); });
    }
}

Node *Reader::next()
{
    if (failed())
        return nullptr;
    if (!prepared_ && !prepare())
        return nullptr;
    while (at_ >= roots_.size()) {
        if (exhausted_ || !fill())
            return nullptr;
        if (roots_.empty() && exhausted_)
            return nullptr;
    }
    return roots_[at_++];
}

// ---------------------------------------------------------------- ReaderAhead

struct ReaderAhead::Window {
    int reader = 0;
    std::vector<Node *> roots;
    size_t at = 0;
    bool last = false;
    QString error;   // the read failed
    qint64 code = 0;
};

struct ReaderAhead::Shared {
    ReadOptions options;
    int part = 0;              // keys a reader reads at a time
    Handoff<Window> windows;   // read, for the caller
    Handoff<int> free;         // readers the caller is done with; halted when done with all
    std::thread thread;
    std::optional<Window> current;   // the caller's

    void run(const QString &from, const QList<qint64> &keys);
};

void ReaderAhead::Shared::run(const QString &from, const QList<qint64> &keys)
{
    const QString name = QStringLiteral("tree-ahead-%1").arg(quintptr(this));
    {
        QSqlDatabase db = QSqlDatabase::cloneDatabase(from, name);
        const bool open = db.open();
        std::unique_ptr<Reader> readers[2];
        for (qsizetype at = 0;;) {
            const std::optional<int> reader = free.take();
            if (!reader)
                break;
            Window w;
            w.reader = *reader;
            std::unique_ptr<Reader> &r = readers[w.reader];
            if (!open) {
                w.error = readError(db.lastError().text());
                w.code = db.lastError().nativeErrorCode().toLongLong();
            } else {
                if (!r)
                    r = std::make_unique<Reader>(db, options);
                r->select(keys.mid(at, part));
                at += part;
                while (Node *n = r->next())
                    w.roots.push_back(n);
                w.error = r->error();
                w.code = r->errorCode();
            }
            w.last = !w.error.isEmpty() || at >= keys.size();
            const bool last = w.last;
            windows.put(std::move(w));
            if (last)
                break;
        }
        // The rows stay until the caller is done with them.
        free.waitForHalt();
    }
    QSqlDatabase::removeDatabase(name);
}

ReaderAhead::ReaderAhead(const QSqlDatabase &db, const ReadOptions &options, const QList<qint64> &saIDs)
    : s_(std::make_unique<Shared>())
{
    // One key more than a reader's part: it reads its part in one go and
    // knows it has reached the end.
    s_->part = std::max(1, options.window / 2);
    s_->options = options;
    s_->options.window = s_->part + 1;
    s_->free.put(0);
    s_->free.put(1);
    Shared *s = s_.get();
    s_->thread = std::thread([s, from = db.connectionName(), saIDs] { s->run(from, saIDs); });
}

ReaderAhead::~ReaderAhead()
{
    s_->free.halt();
    s_->thread.join();
}

Node *ReaderAhead::next()
{
    std::optional<Window> &w = s_->current;
    for (;;) {
        if (w && w->at < w->roots.size())
            return w->roots[w->at++];
        if (w) {
            if (w->last) {
                failed_ = !w->error.isEmpty();
                error_ = w->error;
                code_ = w->code;
                return nullptr;
            }
            s_->free.put(w->reader);
        }
        w = s_->windows.take();   // the reading side's last window comes before it stops
    }
}

bool ReaderAhead::readsAhead(const QSqlDatabase &db)
{
    if (dbTransaction::inTransaction(db))
        return false;
    if (db.driverName() != QLatin1String("QSQLITE"))
        return true;
    const QString name = db.databaseName();
    return !name.isEmpty() && name != QLatin1String(":memory:") && !name.contains(QLatin1String("mode=memory"));
}

// ---------------------------------------------------------------- Writer

struct Writer::Insert {
    dbStatement st;
    std::vector<int> columns; // schema positions bound, in order
    std::vector<bool> zero;   // of each, whether null is written 0
    bool rowid = false;       // the key is the rowid the connection reports
};

Writer::Writer(const QSqlDatabase &db, Undo undo) : db_(db), undo_(undo)
{
    inserts_.resize(schema::tables().size());
}

Writer::~Writer() = default;

namespace {

// Columns the store keeps with a 0 rather than empty.
bool zeroWhenNull(const schema::Column &c)
{
    return c.type == schema::Type::Flag || (c.type == schema::Type::Int && c.name == QLatin1String("ExpID"));
}

} // namespace

qint64 Writer::insert(const schema::Table &t, const QVariantList &values)
{
    const size_t slot = size_t(&t - &schema::tables().front());
    std::unique_ptr<Insert> &in = inserts_[slot];
    if (!in) {
        auto made = std::make_unique<Insert>();
        QStringList cols, marks;
        for (size_t i = 0; i < t.columns.size(); ++i) {
            if (t.columns[i].name == t.key)
                continue;
            made->columns.push_back(int(i));
            made->zero.push_back(zeroWhenNull(t.columns[i]));
            cols << t.columns[i].name;
            marks << QStringLiteral("?");
        }
        QString sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                          .arg(t.name, cols.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")));
        // On SQLite the new key is the rowid the connection reports: a
        // RETURNING clause would open a statement journal for every row.
        made->rowid = dbStatement::isNativeOn(db_);
        if (!made->rowid)
            sql += QStringLiteral(" RETURNING ") + t.key;
        made->st = dbStatement(db_, sql);
        if (!made->st.isValid()) {
            error_ = made->st.error();
            code_ = made->st.errorCode();
            return -1;
        }
        in = std::move(made);
    }
    dbStatement &st = in->st;
    // Most values are null or whole numbers: on SQLite they are bound here
    // without asking the variant the same questions again.
    static const QVariant none;
    for (size_t i = 0; i < in->columns.size(); ++i) {
        const int c = in->columns[i];
        const QVariant &v = c < values.size() ? values.at(c) : none;
        if (v.isNull()) {
            if (in->zero[i])
                st.bindInt(int(i), 0);
            else if (in->rowid)
                st.bindNull(int(i));
            else
                st.bind(int(i), v);
            continue;
        }
        const int type = v.typeId();
        if (in->rowid && type == QMetaType::LongLong)
            st.bindInt(int(i), *static_cast<const qlonglong *>(v.constData()));
        else if (utf8Texts_ && type == QMetaType::QByteArray)
            st.bindText(int(i), QByteArrayView(*static_cast<const QByteArray *>(v.constData())),
                        dbStatement::Until::Exec); // the values outlive the statement's run
        else
            st.bind(int(i), v);
    }
    if (!st.exec()) {
        error_ = st.error();
        code_ = st.errorCode();
        return -1;
    }
    qint64 id = -1;
    if (in->rowid) {
        id = st.lastInsertId();
    } else if (st.next()) {
        id = st.toInt(0);
    } else {
        error_ = st.error();
        code_ = st.errorCode();
    }
    st.finish();
    return id;
}

bool Writer::writeNode(Node &n, const Transform &transform)
{
    if (transform && !transform(n)) {
        error_.clear();
        code_ = 0;
        return false;
    }
    const qint64 id = insert(*n.table, n.values);
    if (id < 0)
        return false;
    n.set(n.table->key, id);
    for (Node *child : n.children) {
        child->set(child->table->parentKey, id);
        if (!writeNode(*child, transform))
            return false;
    }
    return true;
}

qint64 Writer::write(Node &declaration, const Transform &transform)
{
    error_.clear();
    code_ = 0;
    if (undo_ == Undo::Caller && dbTransaction::inTransaction(db_))
        return writeNode(declaration, transform) ? declaration.key() : -1;
    dbTransaction tx(db_);
    if (!tx.isActive()) {
        error_ = tx.error();
        code_ = tx.errorCode();
        return -1;
    }
    if (!writeNode(declaration, transform))
        return -1; // the savepoint rolls back
    if (!tx.commit()) {
        error_ = tx.error();
        code_ = tx.errorCode();
        return -1;
    }
    return declaration.key();
}

// ---------------------------------------------------------------- comparison

namespace {

QStringList subtree(const Node &n, const Ignore &ignore, int depth)
{
    QStringList fields;
    for (size_t i = 0; i < n.table->columns.size(); ++i) {
        const schema::Column &c = n.table->columns[i];
        if (c.name == n.table->key || c.name == n.table->parentKey || (ignore && ignore(*n.table, c)))
            continue;
        const QVariant v = n.values.value(qsizetype(i));
        fields << c.name + u'=' + (v.isNull() ? QStringLiteral("<null>") : v.toString());
    }
    QStringList out{QString(depth * 2, u' ') + n.table->name + QStringLiteral(": ") + fields.join(u'|')};
    // Children by table in schema order; rows of one table in the order of
    // their text, keys playing no part.
    for (const schema::Table *t : tables()) {
        std::vector<std::pair<QString, QStringList>> blocks;
        for (const Node *c : n.children)
            if (c->table == t) {
                QStringList b = subtree(*c, ignore, depth + 1);
                blocks.emplace_back(b.join(u'\n'), std::move(b));
            }
        std::sort(blocks.begin(), blocks.end(),
                  [](const auto &a, const auto &b) { return a.first < b.first; });
        for (const auto &b : blocks)
            out << b.second;
    }
    return out;
}

} // namespace

QStringList dump(const Node &declaration, const Ignore &ignore)
{
    return subtree(declaration, ignore, 0);
}

QString difference(const Node &a, const Node &b, const Ignore &ignore)
{
    const QStringList x = dump(a, ignore), y = dump(b, ignore);
    for (qsizetype i = 0; i < std::max(x.size(), y.size()); ++i)
        if (x.value(i) != y.value(i))
            return QStringLiteral("%1\n  <> %2").arg(x.value(i, QStringLiteral("<nulla>")), y.value(i, QStringLiteral("<nulla>")));
    return {};
}

} // namespace tree
