// The scoped transaction: rolled back unless committed, a savepoint inside an
// enclosing transaction, and on SQLite the write lock taken at the start, so
// that a second writer waits for the busy timeout and then is told it is busy.

#include "shell/dbclass.h"
#include "shell/transaction.h"

#include <QElapsedTimer>
#include <QFile>
#include <QSqlDriver>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

class TestTransaction : public QObject {
    Q_OBJECT
    QTemporaryDir dir_;
    QString path_;

    static int rows(const QSqlDatabase &db)
    {
        QSqlQuery q(db);
        q.exec(QStringLiteral("SELECT COUNT(*) FROM t"));
        return q.next() ? q.value(0).toInt() : -1;
    }
    static void add(const QSqlDatabase &db, int n)
    {
        QSqlQuery q(db);
        QVERIFY(q.exec(QStringLiteral("INSERT INTO t (n) VALUES (%1)").arg(n)));
    }

private Q_SLOTS:
    void initTestCase()
    {
        path_ = dir_.filePath(QStringLiteral("t.db"));
        QSqlError e;
        QFile f(path_);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        QVERIFY(dbClass::openStore(path_, QStringLiteral("a"), false, &e, nullptr, 200));
        QVERIFY(dbClass::openStore(path_, QStringLiteral("b"), false, &e, nullptr, 200));
        QSqlQuery q(QSqlDatabase::database(QStringLiteral("a")));
        QVERIFY(q.exec(QStringLiteral("CREATE TABLE t (id INTEGER PRIMARY KEY, n INTEGER)")));
    }
    void cleanup() { QSqlQuery(QSqlDatabase::database(QStringLiteral("a"))).exec(QStringLiteral("DELETE FROM t")); }

    // A run's larger page cache lasts as long as the run, then the
    // connection has its own size again.
    void pageCacheForTheRunOnly()
    {
        const QSqlDatabase a = QSqlDatabase::database(QStringLiteral("a"));
        auto size = [&] {
            QSqlQuery q(a);
            return q.exec(QStringLiteral("PRAGMA cache_size")) && q.next() ? q.value(0).toLongLong() : 0;
        };
        const qint64 before = size();
        {
            const dbPageCache cache(a, 12345);
            QCOMPARE(size(), qint64(-12345));
        }
        QCOMPARE(size(), before);
    }

    void rolledBackUnlessCommitted()
    {
        const QSqlDatabase a = QSqlDatabase::database(QStringLiteral("a"));
        {
            dbTransaction tx(a);
            QVERIFY(tx.isActive());
            QVERIFY(!tx.isNested());
            QVERIFY(dbTransaction::inTransaction(a));
            add(a, 1);
        }
        QVERIFY(!dbTransaction::inTransaction(a));
        QCOMPARE(rows(a), 0);
        {
            dbTransaction tx(a);
            add(a, 1);
            QVERIFY(tx.commit());
        }
        QCOMPARE(rows(a), 1);
    }

    void nestedIsASavepoint()
    {
        const QSqlDatabase a = QSqlDatabase::database(QStringLiteral("a"));
        {
            dbTransaction outer(a);
            add(a, 1);
            {
                dbTransaction inner(a);
                QVERIFY(inner.isNested());
                add(a, 2);
            }   // only the inner work goes
            QCOMPARE(rows(a), 1);
            {
                dbTransaction inner(a);
                add(a, 3);
                QVERIFY(inner.commit());
            }
            QCOMPARE(rows(a), 2);
        }   // the outer decides: all goes
        QCOMPARE(rows(a), 0);
        // A transaction begun otherwise is noticed too.
        QVERIFY(a.driver()->beginTransaction());
        {
            dbTransaction inner(a);
            QVERIFY(inner.isNested());
            add(a, 4);
            QVERIFY(inner.commit());
        }
        QVERIFY(a.driver()->commitTransaction());
        QCOMPARE(rows(a), 1);
    }

    void secondWriterWaitsThenIsBusy()
    {
        const QSqlDatabase a = QSqlDatabase::database(QStringLiteral("a"));
        const QSqlDatabase b = QSqlDatabase::database(QStringLiteral("b"));
        dbTransaction first(a);
        QVERIFY(first.isActive());
        QElapsedTimer t;
        t.start();
        dbTransaction second(b);
        QVERIFY(!second.isActive());
        QVERIFY(second.wasBusy());
        QVERIFY(t.elapsed() >= 150);   // it waited for the timeout
        QVERIFY(first.commit());
        dbTransaction third(b);
        QVERIFY(third.isActive());
    }
};

QTEST_GUILESS_MAIN(TestTransaction)
#include "test_transaction.moc"
