// The export and the import run their statements on the SQLite library, and
// through QSqlQuery on the other stores: the same declarations must give the
// same file and the same rows both ways.

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "fixture.h"
#include "shell/dbstatement.h"

#include <QSqlQuery>
#include <QSqlRecord>

using namespace exch;

namespace {

const char *const Tables[] = {"SezAnag", "SaAut",   "SezRif",  "ModRif",  "RecRif",     "SezInt", "ModInt",
                              "SezImb",  "RecImb",  "ModImb",  "RecModImb", "SezRaee", "RecRaee", "ModRaee",
                              "RecModRaee", "SezVfu", "RecVfu", "ModVfu", "RecModVfu", "Ditte"};

// Every row of the declaration tree and of the register, as text.
QStringList contents(dbClass &db)
{
    QStringList out;
    for (const char *t : Tables) {
        QSqlQuery q = db.query(QStringLiteral("SELECT * FROM %1 ORDER BY 1").arg(QLatin1String(t)));
        while (q.next()) {
            QString row = QLatin1String(t);
            for (int i = 0; i < q.record().count(); ++i)
                row += u'|' + (q.isNull(i) ? QStringLiteral("<null>") : q.value(i).toString());
            out << row;
        }
    }
    return out;
}

QList<qint64> declarations(dbClass &db)
{
    QList<qint64> ids;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
    while (q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

struct Native {
    explicit Native(bool on) { dbStatement::useNative = on; }
    ~Native() { dbStatement::useNative = true; }
};

} // namespace

class StorePaths : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void bothWaysGiveTheSameFileAndRows()
    {
        TestDb src(dir.path(), QStringLiteral("src.db"));
        QVERIFY(src.ok);
        demo::Options o;
        o.declarations = 5;
        o.everySection = true;
        o.withErrors = false;
        QString error;
        QVERIFY2(demo::generate(src.db, o, nullptr, &error), qPrintable(error));
        const QList<qint64> ids = declarations(src.db);
        const QDateTime fixed(QDate(2020, 3, 2), QTime(10, 11, 12));

        QByteArray files[2];
        QStringList rows[2];
        for (int way = 0; way < 2; ++way) {
            const Native native(way == 0);
            // A connection of its own, opened the way being tried.
            TestDb from(dir.path(), QStringLiteral("from%1.db").arg(way));
            from.db.setCurrentPath(src.path);
            QVERIFY(from.db.connect());
            const QString path = dir.filePath(QStringLiteral("way%1.000").arg(way));
            expClass e(from.db, from.msg);
            e.setClock([&] { return fixed; });
            QCOMPARE(exportDeclarations(from.db, from.msg, path, ids, {}, &e), ExportResult::Done);
            QVERIFY2(from.msg.shown.isEmpty(), qPrintable(from.msg.texts().join(u'\n')));
            files[way] = readAll(path);

            TestDb to(dir.path(), QStringLiteral("to%1.db").arg(way));
            QVERIFY(to.ok);
            const ImportResult r = importFile(to.db, to.msg, path);
            QVERIFY2(r.status == ImportResult::Done, qPrintable(r.check.text() + to.msg.texts().join(u'\n')));
            QCOMPARE(r.imported, 5);
            rows[way] = contents(to.db);
        }
        QVERIFY(files[0].size() > 5000);
        QCOMPARE(files[1], files[0]);
        QVERIFY(rows[0].size() > 100);
        QCOMPARE(rows[1], rows[0]);
    }

    void failedDeclarationTakesItsCompaniesAlong_data()
    {
        QTest::addColumn<bool>("native");
        QTest::newRow("sqlite library") << true;
        QTest::newRow("qsqlquery") << false;
    }
    void failedDeclarationTakesItsCompaniesAlong()
    {
        QFETCH(bool, native);
        const Native way(native);
        TestDb src(dir.path(), QStringLiteral("fsrc%1.db").arg(native));
        QVERIFY(src.ok);
        demo::Options o;
        o.declarations = 3;
        o.everySection = true;
        o.withErrors = false;
        QVERIFY(demo::generate(src.db, o, nullptr));
        const QString path = dir.filePath(QStringLiteral("fail%1.000").arg(native));
        QCOMPARE(exportDeclarations(src.db, src.msg, path, declarations(src.db)), ExportResult::Done);

        TestDb t(dir.path(), QStringLiteral("fail%1.db").arg(native));
        QVERIFY(t.ok);
        // The third declaration fails at its first vehicle row, after the
        // modules of all three have put their counterparts in the register.
        QVERIFY(t.db.execute(QStringLiteral(
            "CREATE TRIGGER refuse BEFORE INSERT ON RecVfu WHEN (SELECT COUNT(*) FROM SezAnag) >= 3 "
            "BEGIN SELECT RAISE(ABORT, 'refused'); END")));
        const ImportResult r = importFile(t.db, t.msg, path);
        QCOMPARE(r.status, ImportResult::Failed);
        QCOMPARE(r.imported, 0);
        QVERIFY(t.msg.last().startsWith(QStringLiteral("Attenzione, importazione interrotta alla riga n. ")));
        // Nothing of the file stays: no declaration, and none of the
        // counterparts its modules had put in the register.
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toLongLong(), 0);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte")).toLongLong(), 0);
    }
};

QTEST_GUILESS_MAIN(StorePaths)
#include "tst_storepaths.moc"
