// Prepared statements of the data layer, on the SQLite library directly and
// through QSqlQuery: both ways must read and write the same.

#include "shell/dbstatement.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

class TestDbStatement : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    int serial_ = 0;
    QString conn_;

    // A fresh file with one table, on a connection of its own.
    QSqlDatabase open()
    {
        conn_ = QStringLiteral("stmt%1").arg(++serial_);
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), conn_);
        db.setDatabaseName(dir_.filePath(conn_ + QStringLiteral(".db")));
        if (!db.open())
            return db;
        QSqlQuery q(db);
        q.exec(QStringLiteral("CREATE TABLE t (id INTEGER PRIMARY KEY, n INTEGER, s VARCHAR(20) NOT NULL "
                              "DEFAULT 'x', q BIGINT, UNIQUE (s))"));
        return db;
    }

    void native_data()
    {
        QTest::addColumn<bool>("native");
        QTest::newRow("sqlite library") << true;
        QTest::newRow("qsqlquery") << false;
    }

private Q_SLOTS:
    void cleanup()
    {
        dbStatement::useNative = true;
        QSqlDatabase::removeDatabase(conn_);
    }

    void readsRowsAsTheStoreHasThem_data() { native_data(); }
    void readsRowsAsTheStoreHasThem()
    {
        QFETCH(bool, native);
        dbStatement::useNative = native;
        QSqlDatabase db = open();
        QVERIFY(db.isOpen());
        {
            dbStatement ins(db, QStringLiteral("INSERT INTO t (n, s, q) VALUES (?, ?, ?)"));
            QVERIFY2(ins.isValid(), qPrintable(ins.error()));
            QCOMPARE(ins.isNative(), native);
            ins.bindInt(0, 42);
            ins.bindText(1, QByteArrayView("città"));
            ins.bindInt(2, 9999999999LL);
            QVERIFY(ins.exec());
            ins.bindNull(0);
            ins.bindText(1, QStringLiteral("due"));
            ins.bind(2, QVariant());
            QVERIFY(ins.exec());

            dbStatement sel(db, QStringLiteral("SELECT id, n, s, q FROM t WHERE (id >= ?) ORDER BY id"));
            sel.bindInt(0, 1);
            QVERIFY(sel.exec());
            QCOMPARE(sel.columnCount(), 4);
            QCOMPARE(sel.columnIndex(u"S"), 2);
            QCOMPARE(sel.columnIndex(u"missing"), -1);
            QVERIFY(sel.next());
            QCOMPARE(sel.kind(1), dbStatement::Kind::Int);
            // The text of a number, then the number again: SQLite converts a
            // value in place when asked for its text.
            QCOMPARE(sel.text(1), QByteArrayView("42"));
            QCOMPARE(sel.kind(1), dbStatement::Kind::Int);
            QCOMPARE(sel.toInt(1), 42);
            QCOMPARE(sel.string(2), QStringLiteral("città"));
            QCOMPARE(sel.text(2), QByteArrayView("città"));
            QCOMPARE(sel.toInt(3), 9999999999LL);
            QVERIFY(sel.next());
            QVERIFY(sel.isNull(1));
            QVERIFY(sel.isNull(3));
            QVERIFY(!sel.value(1).isValid() || sel.value(1).isNull());
            QCOMPARE(sel.value(2).toString(), QStringLiteral("due"));
            QVERIFY(!sel.next());

            // Stopped after the first row and run again with another value.
            QVERIFY(sel.exec());
            QVERIFY(sel.next());
            sel.finish();
            sel.bindInt(0, 2);
            QVERIFY(sel.exec());
            QVERIFY(sel.next());
            QCOMPARE(sel.toInt(0), 2);
            QVERIFY(!sel.next());
        }
        db.close();
    }

    void insertsKeysAndFailures_data() { native_data(); }
    void insertsKeysAndFailures()
    {
        QFETCH(bool, native);
        dbStatement::useNative = native;
        QSqlDatabase db = open();
        {
            dbStatement ins(db, QStringLiteral("INSERT INTO t (s) VALUES (?) RETURNING id"));
            QVERIFY2(ins.isValid(), qPrintable(ins.error()));
            qint64 expected = 0;
            for (const char *s : {"a", "b"}) {
                ins.bindText(0, QByteArrayView(s));
                QVERIFY(ins.exec());
                QVERIFY(ins.next());
                QCOMPARE(ins.toInt(0), ++expected);
                ins.finish();
            }
            dbStatement plain(db, QStringLiteral("INSERT INTO t (s) VALUES (?)"));
            plain.bindText(0, QByteArrayView("c"));
            QVERIFY(plain.exec());
            QCOMPARE(plain.lastInsertId(), native ? 3 : -1);
            QCOMPARE(dbStatement::isNativeOn(db), native);

            // A unique key broken: the failure is told, the statement still works.
            plain.bindText(0, QByteArrayView("c"));
            QVERIFY(!plain.exec());
            QVERIFY(plain.error().contains(QStringLiteral("UNIQUE"), Qt::CaseInsensitive));
            QVERIFY(plain.errorCode() != 0);
            plain.bindText(0, QByteArrayView("d"));
            QVERIFY2(plain.exec(), qPrintable(plain.error()));
            QVERIFY(plain.error().isEmpty());

            dbStatement bad(db, QStringLiteral("SELECT nothing FROM nowhere"));
            QVERIFY(!bad.isValid());
            QVERIFY(!bad.error().isEmpty());
            QVERIFY(!bad.exec());
        }
        db.close();
    }

    void sharesTheConnectionsTransaction_data() { native_data(); }
    void sharesTheConnectionsTransaction()
    {
        QFETCH(bool, native);
        dbStatement::useNative = native;
        QSqlDatabase db = open();
        {
            dbStatement ins(db, QStringLiteral("INSERT INTO t (s) VALUES (?)"));
            dbStatement count(db, QStringLiteral("SELECT COUNT(*) FROM t"));
            auto rows = [&] {
                count.exec();
                count.next();
                const qint64 n = count.toInt(0);
                count.finish();
                return n;
            };
            QVERIFY(db.transaction());
            ins.bindText(0, QByteArrayView("kept"));
            QVERIFY(ins.exec());
            QVERIFY(dbStatement::run(db, QStringLiteral("SAVEPOINT one")));
            ins.bindText(0, QByteArrayView("undone"));
            QVERIFY(ins.exec());
            QCOMPARE(rows(), 2);
            QVERIFY(dbStatement::run(db, QStringLiteral("ROLLBACK TO SAVEPOINT one")));
            QVERIFY(dbStatement::run(db, QStringLiteral("RELEASE SAVEPOINT one")));
            QCOMPARE(rows(), 1);
            QVERIFY(db.rollback());
            QCOMPARE(rows(), 0);

            QString error;
            qint64 code = 0;
            QVERIFY(!dbStatement::run(db, QStringLiteral("RELEASE SAVEPOINT none"), &error, &code));
            QVERIFY(!error.isEmpty());
        }
        db.close();
    }

    void textReadInPlaceUntilTheStatementRuns()
    {
        QSqlDatabase db = open();
        {
            dbStatement ins(db, QStringLiteral("INSERT INTO t (s) VALUES (?)"));
            QByteArray buffer("first");
            ins.bindText(0, buffer, dbStatement::Until::Exec);
            QVERIFY(ins.exec());
            buffer.replace(0, 5, "xxxxx");   // after the run: the row keeps its value
            dbStatement sel(db, QStringLiteral("SELECT s FROM t"));
            QVERIFY(sel.exec() && sel.next());
            QCOMPARE(sel.string(0), QStringLiteral("first"));
        }
        db.close();
    }
};

QTEST_GUILESS_MAIN(TestDbStatement)
#include "test_dbstatement.moc"
