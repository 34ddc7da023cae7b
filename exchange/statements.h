#pragma once
// Prepared statements kept for the length of a run: the export and the import
// run the same few statements for every declaration, so each is prepared once.

#include <QHash>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QStringList>
#include <QVariantList>
#include <QVariantMap>
#include <vector>

class Messages;

namespace exch {

class Statements {
public:
    Statements(QSqlDatabase db, Messages &msg) : db_(db), msg_(msg) {}

    // Runs a statement with bound parameters; null (failure reported) on error.
    QSqlQuery *run(const QString &sql, const QVariantList &params);
    // Rows of a query as maps keyed by lower-case column names.
    bool rows(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out);
    // Adds a row and returns its counter key (-1 on failure, reported).
    qint64 insert(const QString &table, const QString &key, const QVariantMap &values);

    QSqlDatabase db() const { return db_; }

private:
    struct Entry {
        QSqlQuery query;
        QStringList names;   // lower-case column names of the result
        std::vector<int> sorted;   // column indexes in the order of their names
    };
    Entry *prepare(const QString &sql);

    QSqlDatabase db_;
    Messages &msg_;
    QHash<QString, Entry *> cache_;
    QHash<QString, QString> insertSql_;   // table|columns|key -> INSERT statement

public:
    ~Statements() { qDeleteAll(cache_); }
};

} // namespace exch
