#include "shell/qorclass.h"
#include "shell/settings.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

class TestSettings : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void keysAndSectionsIgnoreCase()
    {
        QTemporaryDir dir;
        IniFile ini(dir.filePath(QStringLiteral("qor2019.ini")));
        QVERIFY(ini.writeText(QStringLiteral("Qor2019"), QStringLiteral("Path"), QStringLiteral("/a/b.db")));
        QCOMPARE(ini.readText(QStringLiteral("QOR2019"), QStringLiteral("PATH")), QStringLiteral("/a/b.db"));
        // writing with another case replaces the same key, no duplicate
        QVERIFY(ini.writeText(QStringLiteral("qor2019"), QStringLiteral("path"), QStringLiteral("/c.db")));
        QCOMPARE(ini.readText(QStringLiteral("Qor2019"), QStringLiteral("Path")), QStringLiteral("/c.db"));
        QFile f(ini.path());
        QVERIFY(f.open(QIODevice::ReadOnly));
        QCOMPARE(f.readAll().count("/c.db"), 1);
    }

    void otherSectionsAndKeysAreKept()
    {
        QTemporaryDir dir;
        IniFile ini(dir.filePath(QStringLiteral("x.ini")));
        ini.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("12"));
        ini.writeText(QStringLiteral("Qor2018"), QStringLiteral("Path"), QStringLiteral("old.db"));
        ini.writeText(QStringLiteral("Qor"), QStringLiteral("Box"), QStringLiteral("Titolo"));
        ini.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("0"));
        QCOMPARE(ini.readInt(QStringLiteral("Qor"), QStringLiteral("sa1id")), 0);
        QCOMPARE(ini.readText(QStringLiteral("Qor"), QStringLiteral("Box")), QStringLiteral("Titolo"));
        QCOMPARE(ini.readText(QStringLiteral("Qor2018"), QStringLiteral("Path")), QStringLiteral("old.db"));
    }

    void defaultsAndLimits()
    {
        QTemporaryDir dir;
        IniFile ini(dir.filePath(QStringLiteral("y.ini")));
        QCOMPARE(ini.readInt(QStringLiteral("Qor"), QStringLiteral("RifID")), 0);
        QCOMPARE(ini.readText(QStringLiteral("Qor"), QStringLiteral("Box"), QStringLiteral("Qor 2019")),
                 QStringLiteral("Qor 2019"));
        ini.writeText(QStringLiteral("Qor"), QStringLiteral("RifID"), QStringLiteral("abc"));
        QCOMPARE(ini.readInt(QStringLiteral("Qor"), QStringLiteral("RifID")), 0);
        const QString longValue(300, u'x');
        ini.writeText(QStringLiteral("Qor"), QStringLiteral("FiltroRifiuto"), longValue);
        QCOMPARE(ini.readText(QStringLiteral("Qor"), QStringLiteral("FiltroRifiuto")).size(), 255);
    }

    void applicationObject()
    {
        QTemporaryDir dir;
        // a data folder without a trailing separator gets one
        qorClass app(dir.path());
        QVERIFY(app.dataFolder().endsWith(u'/'));
        QCOMPARE(app.settingsPath(), app.dataFolder() + QStringLiteral("qor2019.ini"));
        QCOMPARE(app.defaultDatabasePath(), app.dataFolder() + QStringLiteral("Qor2019.db"));
        QCOMPARE(app.reportPath(), app.dataFolder() + QStringLiteral("Qor2019Err.txt"));
        QCOMPARE(app.year(), 2019);
        QCOMPARE(app.editionDate(), QStringLiteral("11/02/2019"));
        QCOMPARE(app.boxTitle(), QStringLiteral("Qor 2019"));
        app.writeText(QStringLiteral("qor"), QStringLiteral("box"), QStringLiteral("Studio Rossi"));
        QCOMPARE(app.boxTitle(), QStringLiteral("Studio Rossi"));
        app.writeText(QStringLiteral("Qor"), QStringLiteral("LivelloRifiuti"), QStringLiteral("2"));
        QCOMPARE(qorClass(dir.path() + u'/').wasteCodeLevel(), 2);
        QCOMPARE(qorClass(dir.path() + u'/').dataFolder(), app.dataFolder());
    }

    void dataFolderFromEnvironment()
    {
        QTemporaryDir dir;
        qputenv("QOR_DATA", dir.path().toUtf8());
        qorClass app;
        qunsetenv("QOR_DATA");
        QCOMPARE(app.dataFolder(), dir.path() + u'/');
    }
};

QTEST_GUILESS_MAIN(TestSettings)
#include "test_settings.moc"
