#pragma once
// Table definitions of the declaration database, as data. The same
// definitions create the database on SQLite (the embedded default) and on
// PostgreSQL (the shared multi-user option).

#include <QString>
#include <QStringList>
#include <vector>

namespace schema {

enum class Type {
    Counter, // automatically numbered whole-number key
    Int,     // whole number (codes, counts, flags that hold a code)
    Flag,    // yes/no, stored 0/1
    Text,    // text of at most `length` characters (0: unlimited)
    Date,    // text "yyyy-MM-dd"
    DateTime,// text "yyyy-MM-ddTHH:mm:ss"
    Qty,     // quantity in thousandths (whole number), see Qty
};

struct Column {
    QString name;
    Type type;
    int length = 0;
};

struct Table {
    QString name;
    QString key;          // counter key or primary-key column; empty: none
    QString parent;       // parent table in the declaration tree
    QString parentKey;    // column holding the parent's key (ON DELETE CASCADE)
    std::vector<Column> columns; // key and parent key included
    bool reference = false;      // delivered filled, read only
    QStringList primaryKey;      // composite key of some reference tables
    QStringList indexes;         // extra indexed column lists, "a,b"
};

enum class Dialect { SQLite, PostgreSQL };

const std::vector<Table> &tables();
const Table *table(const QString &name); // case-insensitive
const Column *column(const Table &t, const QString &name);

// CREATE TABLE / CREATE INDEX statements in dependency order.
QStringList createStatements(Dialect d);
// The indexes of a table; with ifMissing, statements that leave an index
// already there alone (databases made before an index was added).
QStringList indexStatements(const Table &t, bool ifMissing);

// The eleven tables whose presence marks a file as a database of this program.
QStringList requiredTables();

// Schema version written into Config.CnfDbVer.
inline QString dbVersion() { return QStringLiteral("2.01.00"); }

} // namespace schema
