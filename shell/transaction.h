#pragma once
// A scoped transaction on a connection: begun by the constructor, rolled back
// by the destructor unless commit() ran. Inside an enclosing transaction (one
// of these, or one begun otherwise on an SQLite connection) it becomes a
// savepoint: its commit releases the savepoint, its rollback undoes only what
// was done since it began, and the enclosing transaction decides the rest.
//
// On SQLite the outermost transaction takes the write lock at once (BEGIN
// IMMEDIATE): a writer that first reads and then writes inside a deferred
// transaction gets "database is locked" at once, without waiting, when
// another program writes the same file; taking the lock at the start lets the
// connection's busy timeout wait for it.

#include <QSqlDatabase>
#include <QString>

class Messages;

class dbTransaction {
public:
    explicit dbTransaction(QSqlDatabase db);
    ~dbTransaction();
    dbTransaction(const dbTransaction &) = delete;
    dbTransaction &operator=(const dbTransaction &) = delete;

    // Whether the transaction (or savepoint) could be begun.
    bool isActive() const { return active_; }
    // Whether it is a savepoint inside an enclosing transaction.
    bool isNested() const { return !savepoint_.isEmpty(); }
    // Makes the work permanent (outermost) or keeps it in the enclosing
    // transaction (nested). False on failure: then it is rolled back.
    bool commit();
    // The same two for a save run from a form: a failure is reported through
    // msg as a database failure.
    bool isActive(Messages &msg) const;
    bool commit(Messages &msg);
    // Undoes the work now; the object is done.
    void rollback();

    // The store's text and code of the last failure.
    QString error() const { return error_; }
    qint64 errorCode() const { return code_; }
    // Whether the last failure was the lock of another writer (SQLite busy,
    // PostgreSQL lock timeout).
    bool wasBusy() const;

    // Whether a transaction is open on the connection.
    static bool inTransaction(const QSqlDatabase &db);

private:
    void report(Messages &msg) const;
    bool run(const QString &sql);

    QSqlDatabase db_;
    QString savepoint_;
    bool active_ = false;
    QString error_;
    qint64 code_ = 0;
};

// A page cache of kib kibibytes for the length of a run (on SQLite;
// elsewhere nothing): larger for one that writes much, smaller for a sort
// that may hold as much; the connection's size comes back when the object
// goes.
class dbPageCache {
public:
    dbPageCache(QSqlDatabase db, int kib);
    ~dbPageCache();
    dbPageCache(const dbPageCache &) = delete;
    dbPageCache &operator=(const dbPageCache &) = delete;

private:
    QSqlDatabase db_;
    qint64 before_ = 0;
    bool set_ = false;
};
