#include "shell/transaction.h"

#include <QSqlQuery>

#include "shell/dbstatement.h"
#include "shell/messages.h"

#include <QHash>

namespace {

// Transactions of this kind open per connection: the depth gives each
// savepoint its own name and tells a store without a native test whether a
// transaction is open.
QHash<QString, int> &depths()
{
    static QHash<QString, int> d;
    return d;
}

bool isSqlite(const QSqlDatabase &db) { return db.driverName() == QLatin1String("QSQLITE"); }

} // namespace

bool dbTransaction::inTransaction(const QSqlDatabase &db)
{
    if (depths().value(db.connectionName()) > 0)
        return true;
    return dbStatement::inTransactionOn(db);
}

dbTransaction::dbTransaction(QSqlDatabase db) : db_(std::move(db))
{
    if (!db_.isOpen()) {
        error_ = QStringLiteral("connessione non aperta");
        return;
    }
    int &depth = depths()[db_.connectionName()];
    if (inTransaction(db_)) {
        const QString name = QStringLiteral("qor_tx_%1").arg(depth + 1);
        if (!run(QStringLiteral("SAVEPOINT ") + name))
            return;
        savepoint_ = name;
    } else if (!run(isSqlite(db_) ? QStringLiteral("BEGIN IMMEDIATE") : QStringLiteral("BEGIN"))) {
        return;
    }
    ++depth;
    active_ = true;
}

dbTransaction::~dbTransaction()
{
    if (active_)
        rollback();
}

bool dbTransaction::run(const QString &sql)
{
    QString e;
    qint64 c = 0;
    if (dbStatement::run(db_, sql, &e, &c))
        return true;
    error_ = e;
    code_ = c;
    return false;
}

bool dbTransaction::commit()
{
    if (!active_)
        return false;
    const bool ok = run(isNested() ? QStringLiteral("RELEASE SAVEPOINT ") + savepoint_ : QStringLiteral("COMMIT"));
    if (!ok) {
        rollback();
        return false;
    }
    active_ = false;
    --depths()[db_.connectionName()];
    return true;
}

bool dbTransaction::isActive(Messages &msg) const
{
    if (!active_)
        report(msg);
    return active_;
}

bool dbTransaction::commit(Messages &msg)
{
    if (commit())
        return true;
    report(msg);
    return false;
}

void dbTransaction::report(Messages &msg) const
{
    msg.databaseErrorReport({}, code_, error_, db_.driverName());
}

void dbTransaction::rollback()
{
    if (!active_)
        return;
    active_ = false;
    --depths()[db_.connectionName()];
    const QString e = error_;
    const qint64 c = code_;
    if (isNested()) {
        run(QStringLiteral("ROLLBACK TO SAVEPOINT ") + savepoint_);
        run(QStringLiteral("RELEASE SAVEPOINT ") + savepoint_);
    } else {
        run(QStringLiteral("ROLLBACK"));
    }
    // The failure that caused the rollback is the one worth telling.
    if (!e.isEmpty()) {
        error_ = e;
        code_ = c;
    }
}

bool dbTransaction::wasBusy() const
{
    // SQLite: SQLITE_BUSY (5) and its extended codes; PostgreSQL: lock not
    // available (55P03) reads as no number.
    return (code_ & 0xff) == 5 || error_.contains(QLatin1String("locked")) ||
           error_.contains(QLatin1String("55P03"));
}

dbPageCache::dbPageCache(QSqlDatabase db, int kib) : db_(db)
{
    if (db_.driverName() != QLatin1String("QSQLITE"))
        return;
    QSqlQuery q(db_);
    if (!q.exec(QStringLiteral("PRAGMA cache_size")) || !q.next())
        return;
    before_ = q.value(0).toLongLong();
    set_ = q.exec(QStringLiteral("PRAGMA cache_size = -") + QString::number(kib));
}

dbPageCache::~dbPageCache()
{
    if (set_)
        QSqlQuery(db_).exec(QStringLiteral("PRAGMA cache_size = ") + QString::number(before_));
}
