#pragma once
// The declaration tree (SezAnag and every table hanging from it) read and
// written whole, table by table as the schema describes it. The tree knows
// tables, columns and parents, not rules: what a consumer does with the rows
// (empty the quantities, renew the municipalities, check them) stays with it.

#include "shell/schema/schema.h"

#include <QHash>
#include <QList>
#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <QVariant>
#include <functional>
#include <memory>
#include <vector>

namespace tree {

// One row of a table of the tree with the rows hanging from it.
struct Node {
    const schema::Table *table = nullptr;
    // By position of the table's schema columns; a column not read (not
    // asked for, or missing from the store) is null.
    QVariantList values;
    // Table by table in the order of the schema, each table by key.
    std::vector<Node *> children;

    qint64 key() const;
    int index(const QString &column) const; // -1 when the table has no such column
    QVariant value(const QString &column) const;
    void set(const QString &column, const QVariant &v);
};

// Where a column of t is, by its name in any case; -1 when t has none.
int columnIndex(const schema::Table &t, const QString &column);

// The tables of the tree, parents before children.
const std::vector<const schema::Table *> &tables();

// Two values in the order the store sorts them: nulls, then numbers, then
// texts by their characters, then blobs; 0 when the store holds them equal.
int compareValues(const QVariant &a, const QVariant &b);
// The rows of `table` hanging from n sorted by the columns `order` as the
// store's ORDER BY sorts them; rows equal on those stay by key.
std::vector<const Node *> sortedChildren(const Node &n, const QString &table, const QStringList &order = {});

struct ReadOptions {
    int window = 256;                    // declarations read together
    QStringList tables;                  // tables to read besides SezAnag; empty: all
    QHash<QString, QStringList> columns; // a table's subset (its key and parent key come anyway); absent: all
    // Texts as the store keeps them, UTF-8 bytes in a QByteArray, rather than
    // decoded into QString: for a consumer that writes them out as bytes
    // (they then sort, as the store sorts them, byte by byte). On SQLite the
    // bytes stay in the reader's own memory (QByteArray::fromRawData), gone
    // with the window: a consumer that keeps a text copies its bytes.
    bool utf8Texts = false;
};

// Bytes of texts kept together for a while (a window of the reader, a
// declaration of the importer), in blocks that never move while kept and are
// used again after clear(): a text becomes QByteArray::fromRawData() on its
// copy, with no allocation of its own.
class TextBlocks {
public:
    const char *copy(QByteArrayView b);
    // Every copy made so far is given up (the blocks stay for the next ones).
    void clear();

private:
    static constexpr size_t Block = 64 * 1024;
    std::vector<std::unique_ptr<char[]>> blocks_;
    std::vector<std::unique_ptr<char[]>> large_; // texts longer than a block
    size_t at_ = 0, used_ = 0;                   // block in use, bytes used of it
};

// What gives declarations one after the other: a Reader, or one that reads
// ahead of its caller (ReaderAhead).
class Source {
public:
    virtual ~Source() = default;
    // The next declaration; nullptr after the last one or on a failure
    // (failed()). Valid, and free to change, until the next call.
    virtual Node *next() = 0;
    virtual bool failed() const = 0;
    virtual QString error() const = 0;
    virtual qint64 errorCode() const = 0;
};

// Streams a selection of declarations with their trees, a window of
// declarations at a time: one prepared statement per table, run once per
// window, no temporary table, nothing written (the previous year's database
// is read-only). Memory depends on the window, not on the selection.
class Reader : public Source {
public:
    explicit Reader(const QSqlDatabase &db, ReadOptions options = {});
    ~Reader() override;
    Reader(const Reader &) = delete;
    Reader &operator=(const Reader &) = delete;

    // The declarations whose keys are given, in that order; keys not in the
    // store are passed over.
    void select(const QList<qint64> &saIDs);
    // Every declaration, by key (keyset paging: each window starts after the
    // last key of the one before, and is read as the range of its keys).
    void selectAll();

    // The rows are kept from one window to the next and filled again, with
    // their room for values and children.
    Node *next() override;

    bool failed() const override { return !error_.isEmpty(); }
    QString error() const override { return error_; }
    qint64 errorCode() const override { return code_; }

private:
    struct Plan;
    void setAll(bool all);
    bool prepare();
    bool fill();
    void sortLast(Plan &parent, const Plan &p);
    bool fail(const QString &error, qint64 code);

    QSqlDatabase db_;
    ReadOptions options_;
    std::vector<std::unique_ptr<Plan>> plans_; // SezAnag first
    bool prepared_ = false;
    bool arrayKeys_ = false; // the window's keys bound as one array
    // Selection.
    bool all_ = false;
    QList<qint64> keys_;
    qsizetype nextKey_ = 0;
    qint64 lastKey_ = 0;
    bool exhausted_ = false;
    // Current window: the roots, in the plans' pools of rows.
    std::vector<Node *> roots_;
    TextBlocks texts_;
    size_t at_ = 0;
    QString error_;
    qint64 code_ = 0;
};

// The declarations whose keys are given, in that order, read ahead of the
// caller: on a thread of their own, through a connection of their own to the
// same store, while the caller works on the ones before. Two readers take
// turns, half the window each (as many rows held as by one Reader); a reader
// reads again only when the caller has moved past its part. The connection
// sees what the store has committed: not for a caller with writes of its own
// still open (readsAhead() says when it may be used).
class ReaderAhead : public Source {
public:
    ReaderAhead(const QSqlDatabase &db, const ReadOptions &options, const QList<qint64> &saIDs);
    ~ReaderAhead() override;
    ReaderAhead(const ReaderAhead &) = delete;
    ReaderAhead &operator=(const ReaderAhead &) = delete;

    Node *next() override;
    bool failed() const override { return failed_; }
    QString error() const override { return error_; }
    qint64 errorCode() const override { return code_; }

    // Whether another connection to db sees what db sees: no transaction of
    // db's own is open, and the store is not one of the connection's own
    // memory.
    static bool readsAhead(const QSqlDatabase &db);

private:
    struct Window;
    struct Shared;
    std::unique_ptr<Shared> s_;
    bool failed_ = false;
    QString error_;
    qint64 code_ = 0;
};

// Writes declaration trees: one prepared INSERT per table with every column
// but the key, a declaration at a time in a savepoint of its own (inside the
// caller's transaction, when there is one): a declaration is written whole or
// not at all.
class Writer {
public:
    // What takes away the rows of a declaration the store refused part of.
    enum class Undo {
        // A savepoint of the declaration's own: the caller's transaction
        // goes on with the other declarations.
        Declaration,
        // The caller, which rolls its whole transaction back on any failure
        // (an import of a file is loaded whole or not at all): no savepoint
        // per declaration, whose journal costs more than some of the rows.
        // Outside a transaction a declaration still has one of its own.
        Caller,
    };
    explicit Writer(const QSqlDatabase &db, Undo undo = Undo::Declaration);
    ~Writer();
    Writer(const Writer &) = delete;
    Writer &operator=(const Writer &) = delete;

    // Sees each row before it is written, its parent key already pointing at
    // the new parent; it may change the values, or refuse the declaration
    // (false, having reported why).
    using Transform = std::function<bool(Node &row)>;

    // The new saID; -1 when the store refused a row (error()) or the
    // transform refused one (error() empty): nothing of it is left.
    qint64 write(Node &declaration, const Transform &transform = {});

    // One row; null flags are written 0. The new key, -1 on failure.
    qint64 insert(const schema::Table &t, const QVariantList &values);

    // Values of type QByteArray are texts in UTF-8, not blobs: a caller that
    // has the bytes of its texts (an exchange file) spares converting each to
    // a QString and back.
    void setUtf8Texts(bool on) { utf8Texts_ = on; }

    QString error() const { return error_; }
    qint64 errorCode() const { return code_; }

private:
    struct Insert;
    bool writeNode(Node &n, const Transform &transform);

    QSqlDatabase db_;
    Undo undo_;
    std::vector<std::unique_ptr<Insert>> inserts_;
    bool utf8Texts_ = false;
    QString error_;
    qint64 code_ = 0;
};

// The declaration as text for comparing stores: one line per row, "Table:
// column=value|...", children under their parent in a canonical order, with
// no keys and no parent keys (they differ from store to store). `ignore`
// drops further columns: a takeover, for one, changes quantities and places
// on purpose.
using Ignore = std::function<bool(const schema::Table &, const schema::Column &)>;
QStringList dump(const Node &declaration, const Ignore &ignore = {});
// The first line where two declarations differ, empty when equal.
QString difference(const Node &a, const Node &b, const Ignore &ignore = {});

} // namespace tree
