// The reference tables built into the program, and another folder named in
// QOR_REFDATA taking their place.

#include "refdata/template.h"
#include "shell/qorclass.h"

#include <QDir>
#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QTest>

class TestBuiltin : public QObject {
    Q_OBJECT

    static QString comune(const QString &path, int prv, int com)
    {
        QString name;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("peek"));
            db.setDatabaseName(path);
            if (db.open()) {
                QSqlQuery q(db);
                q.prepare(QStringLiteral("SELECT comDesc FROM Comuni WHERE prvIstat = ? AND comIstat = ?"));
                q.addBindValue(prv);
                q.addBindValue(com);
                if (q.exec() && q.next())
                    name = q.value(0).toString();
            }
        }
        QSqlDatabase::removeDatabase(QStringLiteral("peek"));
        return name;
    }

private Q_SLOTS:
    void init() { qunsetenv("QOR_REFDATA"); }

    // Exactly the reference tables are built in, each with a header and rows.
    void everyReferenceTableBuiltIn()
    {
        QCOMPARE(qorClass::refdataFolder(), qorClass::builtinRefdataFolder());
        QStringList expected;
        for (const QString &t : refdata::referenceTables())
            expected << t + QStringLiteral(".csv");
        expected.sort();
        QStringList present = QDir(qorClass::builtinRefdataFolder()).entryList(QDir::Files);
        present.sort();
        QCOMPARE(present, expected);
        for (const QString &f : present) {
            QFile file(QDir(qorClass::builtinRefdataFolder()).filePath(f));
            QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(f));
            QVERIFY2(file.readAll().count("\r\n") >= 2, qPrintable(f));
        }
    }

    // QOR_REFDATA names a folder read instead of the built-in copy; a folder
    // without the files is refused with its name.
    void otherFolderOverrides()
    {
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("refdata"));
        QVERIFY(QDir().mkpath(folder));
        for (const QString &t : refdata::referenceTables()) {
            QFile in(QDir(qorClass::builtinRefdataFolder()).filePath(t + QStringLiteral(".csv")));
            QVERIFY(in.open(QIODevice::ReadOnly));
            QByteArray data = in.readAll();
            if (t == QLatin1String("Comuni"))
                data.replace("\r\n58,91,ROMA,", "\r\n58,91,ROMA CAPITALE,");
            QFile out(QDir(folder).filePath(t + QStringLiteral(".csv")));
            QVERIFY(out.open(QIODevice::WriteOnly));
            out.write(data);
        }

        const QString builtin = dir.filePath(QStringLiteral("a.db"));
        QString error;
        QVERIFY2(refdata::createDatabase(builtin, qorClass::refdataFolder(), &error), qPrintable(error));
        QCOMPARE(comune(builtin, 58, 91), QStringLiteral("ROMA"));

        qputenv("QOR_REFDATA", folder.toUtf8());
        const QString other = dir.filePath(QStringLiteral("b.db"));
        QVERIFY2(refdata::createDatabase(other, qorClass::refdataFolder(), &error), qPrintable(error));
        QCOMPARE(comune(other, 58, 91), QStringLiteral("ROMA CAPITALE"));

        qputenv("QOR_REFDATA", dir.path().toUtf8());
        QVERIFY(!refdata::createDatabase(dir.filePath(QStringLiteral("c.db")), qorClass::refdataFolder(), &error));
        QVERIFY2(error.contains(dir.path()), qPrintable(error));
        QVERIFY(!QFile::exists(dir.filePath(QStringLiteral("c.db"))));
    }
};

QTEST_GUILESS_MAIN(TestBuiltin)
#include "test_builtin.moc"
