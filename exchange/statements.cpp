#include "exchange/statements.h"

#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QSqlError>
#include <QSqlRecord>

#include <algorithm>

namespace exch {

Statements::Entry *Statements::prepare(const QString &sql)
{
    auto it = cache_.constFind(sql);
    if (it != cache_.constEnd())
        return *it;
    auto *e = new Entry{QSqlQuery(db_), {}};
    e->query.setForwardOnly(dbClass::streams(db_));
    if (!e->query.prepare(sql)) {
        msg_.errorReport({}, dbClass::errorCode(e->query.lastError()), e->query.lastError().text(), sql);
        delete e;
        return nullptr;
    }
    cache_.insert(sql, e);
    return e;
}

QSqlQuery *Statements::run(const QString &sql, const QVariantList &params)
{
    Entry *e = prepare(sql);
    if (!e)
        return nullptr;
    e->query.finish();
    for (int i = 0; i < params.size(); ++i)
        e->query.bindValue(i, params.at(i));
    if (!e->query.exec()) {
        msg_.errorReport({}, dbClass::errorCode(e->query.lastError()), e->query.lastError().text(), sql);
        return nullptr;
    }
    if (e->names.isEmpty() && e->query.isSelect()) {
        const QSqlRecord r = e->query.record();
        for (int i = 0; i < r.count(); ++i)
            e->names << r.fieldName(i).toLower();
        e->sorted.resize(size_t(r.count()));
        for (int i = 0; i < r.count(); ++i)
            e->sorted[size_t(i)] = i;
        std::stable_sort(e->sorted.begin(), e->sorted.end(),
                         [e](int a, int b) { return e->names.at(a) < e->names.at(b); });
    }
    return &e->query;
}

bool Statements::rows(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out)
{
    out.clear();
    QSqlQuery *q = run(sql, params);
    if (!q)
        return false;
    const Entry *e = cache_.value(sql);
    while (q->next()) {
        // Inserted in key order at the end: no search per column.
        QVariantMap m;
        for (int i : e->sorted)
            m.insert(m.cend(), e->names.at(i), q->value(i));
        out.push_back(std::move(m));
    }
    q->finish();
    return true;
}

qint64 Statements::insert(const QString &table, const QString &key, const QVariantMap &values)
{
    // Null values are left out: the column takes its default, which is null
    // or, for flags, 0 (a flag is never null). The statement of a table and a
    // set of columns is looked up by a short key and built only the first
    // time; binding fewer values is most of the cost of an insert.
    QString id = table;
    id.reserve(table.size() + 16 * values.size());
    id += u'|';
    QVariantList params;
    params.reserve(values.size());
    for (auto it = values.begin(); it != values.end(); ++it) {
        if (it.value().isNull())
            continue;
        id += it.key();
        id += u',';
        params << it.value();
    }
    id += u'|';
    id += key;
    auto sql = insertSql_.constFind(id);
    if (sql == insertSql_.constEnd()) {
        QStringList cols, marks;
        for (auto it = values.begin(); it != values.end(); ++it) {
            if (it.value().isNull())
                continue;
            cols << it.key();
            marks << QStringLiteral("?");
        }
        QString text = cols.isEmpty()
                           ? QStringLiteral("INSERT INTO %1 DEFAULT VALUES").arg(table)
                           : QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                                 .arg(table, cols.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")));
        if (!key.isEmpty())
            text += QStringLiteral(" RETURNING ") + key;
        sql = insertSql_.insert(id, text);
    }
    QSqlQuery *q = run(*sql, params);
    if (!q)
        return -1;
    qint64 rowId = 0;
    if (!key.isEmpty()) {
        if (!q->next()) {
            msg_.errorReport({}, 0, q->lastError().text(), *sql);
            return -1;
        }
        rowId = q->value(0).toLongLong();
    }
    q->finish();
    return rowId;
}

} // namespace exch
