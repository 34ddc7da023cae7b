#pragma once
// A prepared statement run many times, with bound parameters and its rows read
// by column position. On SQLite it goes straight to the SQLite library through
// the handle of Qt's connection (same connection, same transaction): Qt's
// driver reads the description of the result again on every execution, names
// every positional parameter when binding it and wraps every value in a
// QVariant, which costs far more than the statement itself when it is run
// once per row. On the other stores (PostgreSQL) it runs through QSqlQuery.
//
// Values read from a row stay valid until the next row or execution. The
// statement must end (be destroyed) before its connection is closed.

#include <QByteArray>
#include <QByteArrayView>
#include <QSqlDatabase>
#include <QString>
#include <QVariant>
#include <memory>

class dbStatement {
public:
    enum class Kind { Null, Int, Real, Text };

    dbStatement();
    // Prepares sql on db; isValid() tells whether it worked (error() why).
    dbStatement(const QSqlDatabase &db, const QString &sql);
    ~dbStatement();
    dbStatement(dbStatement &&) noexcept;
    dbStatement &operator=(dbStatement &&) noexcept;
    dbStatement(const dbStatement &) = delete;
    dbStatement &operator=(const dbStatement &) = delete;

    bool isValid() const;
    // Whether it runs on the SQLite library directly.
    bool isNative() const;
    QString sql() const;
    // The last failure: the store's text and its code.
    QString error() const;
    qint64 errorCode() const;

    // Parameters by position from 0; kept until bound again.
    void bindNull(int i);
    void bindInt(int i, qint64 v);
    // UTF-8 text: copied, or with Until::Exec read where it is until the
    // statement has run (the bytes must stay unchanged until then).
    enum class Until { Rebound, Exec };
    void bindText(int i, QByteArrayView utf8, Until kept = Until::Rebound);
    void bindText(int i, const QString &s);
    void bind(int i, const QVariant &v);

    // Runs the statement with the bound parameters; a query's rows are then
    // read with next(). false (error() set) on failure.
    bool exec();
    // Moves to the next row of the result; false after the last one.
    bool next();
    // Ends the current execution before its last row.
    void finish();

    int columnCount() const;
    // Name of a column as the store gives it (PostgreSQL: lower case).
    QString columnName(int i) const;
    // Position of a column, found without regard to case; -1 when missing.
    int columnIndex(QStringView name) const;

    // Values of the current row.
    Kind kind(int i) const;
    bool isNull(int i) const { return kind(i) == Kind::Null; }
    qint64 toInt(int i) const;
    // Text of a value as UTF-8 (numbers as their decimal text); valid until
    // the next row.
    QByteArrayView text(int i) const;
    QString string(int i) const;
    QVariant value(int i) const;
    // The same, with a text as its UTF-8 bytes (a QByteArray) rather than
    // decoded into a QString: for a reader that writes texts out as bytes.
    QVariant valueUtf8(int i) const;

    // The key the last INSERT gave its row on this connection, where the
    // store tells it without a RETURNING clause (SQLite: the rowid, which an
    // INTEGER PRIMARY KEY column is); -1 elsewhere.
    qint64 lastInsertId() const;
    // Rows the last INSERT, UPDATE or DELETE of this statement wrote.
    qint64 rowsAffected() const;
    // Whether statements on db run on the SQLite library (lastInsertId()
    // works there).
    static bool isNativeOn(const QSqlDatabase &db);
    // Whether an SQLite connection is inside a transaction, however begun
    // (false on other stores).
    static bool inTransactionOn(const QSqlDatabase &db);
    // Whether a value holds a whole number (bound and read as an integer).
    static bool isInteger(const QVariant &v);

    // Runs a statement once, unprepared (savepoints: PostgreSQL cannot
    // prepare them). false with *error set on failure.
    static bool run(const QSqlDatabase &db, const QString &sql, QString *error = nullptr,
                    qint64 *code = nullptr);

    // Process-wide settings of the SQLite library, which it takes only before
    // it starts (at the first connection): called before opening a store.
    // No memory statistics: with them every allocation of every statement
    // takes a global lock to count itself. Journals of statements and
    // savepoints are kept in memory up to 1 MiB instead of 64 KiB before
    // going to a temporary file: the import keeps each declaration in a
    // savepoint, whose journal holds the pages it changes. Once the library
    // has started the call changes nothing.
    static void configureLibrary();

    // Off: SQLite too runs through QSqlQuery (the tests compare the two ways).
    static bool useNative;

private:
    struct Impl;
    struct Native;
    struct Fallback;
    std::unique_ptr<Impl> d_;
};
