// Opening, checking and choosing databases.

#include "../testutil.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/startup.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>

using Kind = ScriptedMessages::Kind;

class TestDbClass : public QObject {
    Q_OBJECT

    QTemporaryDir dir_;
    QString good_;

    // A SQLite file holding only the given tables (and optionally views).
    QString fileWith(const QString &name, const QStringList &tables, const QStringList &views = {})
    {
        const QString path = dir_.filePath(name);
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("mk"));
            db.setDatabaseName(path);
            db.open();
            QSqlQuery q(db);
            for (const QString &t : tables)
                q.exec(QStringLiteral("CREATE TABLE %1 (x INTEGER)").arg(t));
            for (const QString &v : views)
                q.exec(QStringLiteral("CREATE VIEW %1 AS SELECT 1 AS x").arg(v));
            db.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("mk"));
        return path;
    }

    static QStringList eleven()
    {
        return {QStringLiteral("Attivita"), QStringLiteral("Codici"), QStringLiteral("Comuni"),
                QStringLiteral("Config"), QStringLiteral("Ditte"), QStringLiteral("SezAnag"),
                QStringLiteral("SezInt"), QStringLiteral("SezRaee"), QStringLiteral("SezRif"),
                QStringLiteral("SezVfu"), QStringLiteral("SezImb")};
    }

private Q_SLOTS:
    void initTestCase()
    {
        dbClass::busyTimeoutMs = 200;
        good_ = testutil::freshDatabase(dir_, QStringLiteral("good.db"));
    }

    void tenOfElevenTables()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        QStringList ten = eleven();
        ten.removeOne(QStringLiteral("SezImb"));
        const QString path = fileWith(QStringLiteral("ten.db"), ten);
        QVERIFY(!db.checkChosenFile(path, false));
        QCOMPARE(msg.shown.size(), 1);
        QCOMPARE(msg.shown[0].kind, Kind::Critical);
        QCOMPARE(msg.shown[0].title, QStringLiteral("Connessione database QOR"));
        QCOMPARE(msg.shown[0].text, QStringLiteral("Attenzione, il file selezionato non è un database QOR 2019."));

        msg.clear();
        QVERIFY(!db.checkChosenFile(path, true)); // No is the default answer
        QCOMPARE(msg.shown.size(), 1);
        QCOMPARE(msg.shown[0].kind, Kind::Question);
        QCOMPARE(msg.shown[0].text,
                 QStringLiteral("Attenzione,\nil file selezionato non è un database QOR 2018\n"
                                "Le operazioni di importazione delle anagrafiche e delle dichiarazioni "
                                "dell'anno precedente verranno disabilitate.\n\nProcedo lo stesso?"));
        msg.clear();
        msg.answer({true});
        QVERIFY(db.checkChosenFile(path, true));
    }

    void tableNamesInAnyCaseButNotViews()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        QStringList upper;
        for (const QString &t : eleven())
            upper << t.toUpper();
        QVERIFY(db.checkChosenFile(fileWith(QStringLiteral("upper.db"), upper), false));
        QVERIFY(msg.shown.isEmpty());

        QStringList tables = eleven();
        tables.removeOne(QStringLiteral("SezAnag"));
        QVERIFY(!db.checkChosenFile(fileWith(QStringLiteral("view.db"), tables, {QStringLiteral("SezAnag")}), false));
        QCOMPARE(msg.shown.size(), 1);
    }

    void badFilesGiveAMessage()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);

        const QString text = dir_.filePath(QStringLiteral("note.txt"));
        QFile f(text);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("questo non è un database, solo del testo qualunque che occupa spazio\n");
        f.close();
        QVERIFY(!db.checkChosenFile(text, false));
        QCOMPARE(msg.shown.size(), 1);
        QCOMPARE(msg.shown[0].title, QStringLiteral("Connessione database QOR"));
        QCOMPARE(msg.shown[0].text, QStringLiteral("Attenzione, il file selezionato non è un database QOR 2019."));

        msg.clear();
        const QString empty = dir_.filePath(QStringLiteral("empty.db"));
        QFile e(empty);
        QVERIFY(e.open(QIODevice::WriteOnly));
        e.close();
        QVERIFY(!db.checkChosenFile(empty, false));
        QCOMPARE(msg.shown.size(), 1);
        QCOMPARE(msg.shown[0].text, QStringLiteral("Attenzione, il file selezionato non è un database QOR 2019."));
        QCOMPARE(QFileInfo(empty).size(), 0); // the check writes nothing

        msg.clear();
        QVERIFY(!db.checkChosenFile(dir_.filePath(QStringLiteral("assente.db")), false));
        QCOMPARE(msg.shown.size(), 1);
        QVERIFY(msg.shown[0].text.contains(QStringLiteral("File non trovato")));
    }

    void readOnlyAndLockedDatabases()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        const QString ro = dir_.filePath(QStringLiteral("ro.db"));
        QVERIFY(QFile::copy(good_, ro));
        QFile::setPermissions(ro, QFile::ReadOwner | QFile::ReadUser);
        if (QFileInfo(ro).isWritable())
            QSKIP("running as a user who can write read-only files");
        QVERIFY(!db.checkChosenFile(ro, false));
        QCOMPARE(msg.shown.size(), 1);
        QVERIFY(msg.shown[0].text.contains(QStringLiteral("sola lettura")));
        // the same file is fine as the previous-year database, opened read only
        msg.clear();
        QVERIFY(db.checkChosenFile(ro, true));
        QVERIFY(msg.shown.isEmpty());
    }

    void lockedDatabase()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        const QString locked = dir_.filePath(QStringLiteral("locked.db"));
        QVERIFY(QFile::copy(good_, locked));
        {
            QSqlDatabase other = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("holder"));
            other.setDatabaseName(locked);
            QVERIFY(other.open());
            QSqlQuery q(other);
            QVERIFY(q.exec(QStringLiteral("BEGIN EXCLUSIVE")));
            QVERIFY(!db.checkChosenFile(locked, false));
            QCOMPARE(msg.shown.size(), 1);
            QCOMPARE(msg.shown[0].kind, Kind::Critical);
            q.exec(QStringLiteral("ROLLBACK"));
            other.close();
        }
        QSqlDatabase::removeDatabase(QStringLiteral("holder"));
        msg.clear();
        QVERIFY(db.checkChosenFile(locked, false));
    }

    void connectStampsAnOlderVersion()
    {
        const QString old = dir_.filePath(QStringLiteral("old.db"));
        QVERIFY(QFile::copy(good_, old));
        QFile::setPermissions(old, QFile::ReadOwner | QFile::WriteOwner);
        qorClass app(dir_.path());
        ScriptedMessages msg;
        {
            dbClass db(app, msg);
            db.setCurrentPath(old);
            QVERIFY(db.connect());
            QVERIFY(db.execute(QStringLiteral("UPDATE Config SET CnfDbVer = ?"), {QStringLiteral("2.00.09")}));
        }
        dbClass db(app, msg);
        db.setCurrentPath(old);
        QVERIFY(db.connect());
        QCOMPARE(db.dbVersion(), QStringLiteral("2.01.00"));
        QCOMPARE(db.scalar(QStringLiteral("SELECT CnfDbVer FROM Config")).toString(), QStringLiteral("2.01.00"));
        // a newer version is left alone
        QVERIFY(db.execute(QStringLiteral("UPDATE Config SET CnfDbVer = ?"), {QStringLiteral("2.02.00")}));
        QVERIFY(db.connect());
        QCOMPARE(db.dbVersion(), QStringLiteral("2.02.00"));
        QVERIFY(msg.shown.isEmpty());
    }

    void noPathsMeansNoDatabase()
    {
        QTemporaryDir d;
        qorClass app(d.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        QVERIFY(!db.connect());
        QVERIFY(!db.isCurrentOpen());
        QVERIFY(msg.shown.isEmpty());
    }

    void previousYearFailureKeepsTheCurrent()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(good_);
        db.setPreviousPath(dir_.filePath(QStringLiteral("manca2018.db")));
        QVERIFY(db.connect());
        QVERIFY(db.isCurrentOpen());
        QVERIFY(!db.isPreviousOpen());
        QCOMPARE(msg.shown.size(), 1);
        QVERIFY(msg.shown[0].title.startsWith(QStringLiteral("Connessione database QOR anno precedente (")));
    }

    void previousYearIsReadOnly()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        db.setCurrentPath(good_);
        db.setPreviousPath(good_);
        QVERIFY(db.connect());
        QVERIFY(db.isPreviousOpen());
        QSqlQuery q(db.previous());
        QVERIFY(!q.exec(QStringLiteral("DELETE FROM Ditte")));
        QCOMPARE(db.municipality(58, 91, dbClass::Which::Previous).comDesc, QStringLiteral("ROMA"));
    }

    void executeReportsItsFailures()
    {
        qorClass app(dir_.path());
        ScriptedMessages msg;
        msg.setLogFile(dir_.filePath(QStringLiteral("qor2019.log")));
        dbClass db(app, msg);
        db.setCurrentPath(good_);
        QVERIFY(db.connect());
        QVERIFY(!db.execute(QStringLiteral("UPDATE TabellaCheNonEsiste SET x = 1")));
        QCOMPARE(msg.shown.size(), 1);
        QCOMPARE(msg.beeps, 1);
        QVERIFY(msg.shown[0].title.startsWith(QStringLiteral("Errore codice: ")));
        QVERIFY(msg.shown[0].text.contains(QStringLiteral("TabellaCheNonEsiste")));
        QFile log(msg.logFile());
        QVERIFY(log.open(QIODevice::ReadOnly));
        QVERIFY(log.readAll().contains("TabellaCheNonEsiste"));
        // values with apostrophes travel as parameters
        QVERIFY(db.execute(QStringLiteral("INSERT INTO Ditte (CodFisc, RagSoc) VALUES (?, ?)"),
                           {QStringLiteral("X1"), QStringLiteral("L'ARTE DELL'ACCIAIO")}));
        QCOMPARE(db.scalar(QStringLiteral("SELECT RagSoc FROM Ditte WHERE CodFisc = ?"), {QStringLiteral("X1")}).toString(),
                 QStringLiteral("L'ARTE DELL'ACCIAIO"));
        db.execute(QStringLiteral("DELETE FROM Ditte"));
    }

    void errorTitles()
    {
        QCOMPARE(Messages::errorTitle(QStringLiteral("Connessione database QOR"), 3706),
                 QStringLiteral("Connessione database QOR (E7A)"));
        QCOMPARE(Messages::errorTitle({}, 26), QStringLiteral("Errore codice: 1A"));
        QCOMPARE(Messages::errorTitle({}, 0), QStringLiteral("Errore codice: 0"));
        QVERIFY(dbClass::engineMissingText(QStringLiteral("X")).startsWith(QStringLiteral("Errore:\nX\nPer usare")));
        QVERIFY(dbClass::engineMissingText(QStringLiteral("X")).contains(QStringLiteral("necessatio")));
    }

    void choiceIsRememberedAndResetsTheDeclaration()
    {
        QTemporaryDir d;
        qorClass app(d.path());
        ScriptedMessages msg;
        dbClass db(app, msg);
        app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("42"));
        QVERIFY(db.applyChoice(good_, {}));
        QCOMPARE(app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), 0);
        QCOMPARE(app.readText(QStringLiteral("Qor2019"), QStringLiteral("Path")), good_);
        app.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("7"));
        QVERIFY(db.applyChoice(good_, good_)); // same current path: the selection stays
        QCOMPARE(app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), 7);
        QCOMPARE(app.readText(QStringLiteral("Qor2018"), QStringLiteral("PATH")), good_);
        dbClass again(app, msg);
        QCOMPARE(again.currentPath(), good_);
        QCOMPARE(again.previousPath(), good_);
    }

    void aChoiceTheSettingsCannotHoldIsSaid()
    {
        // A settings file in the Windows code page keeps its letters; a path
        // with a letter that code page lacks cannot be written there, and the
        // user is told so instead of finding it forgotten at the next start.
        QTemporaryDir d;
        qorClass app(d.path());
        {
            QFile f(app.settingsPath());
            QVERIFY(f.open(QIODevice::WriteOnly));
            f.write("[Qor]\r\nBox=Qor citt\xe0\r\n");
        }
        ScriptedMessages msg;
        dbClass db(app, msg);
        const QString odd = d.filePath(QStringLiteral("archivio-\u03A9.db"));
        QVERIFY(QFile::copy(good_, odd));
        QVERIFY(db.applyChoice(odd, {}));
        QVERIFY2(msg.texts().join(QLatin1Char('\n')).contains(QStringLiteral("non è stato possibile registrare la scelta")),
                 qPrintable(msg.texts().join(QLatin1Char('|'))));
        QCOMPARE(db.currentPath(), odd); // the choice holds for this run
        QFile f(app.settingsPath());
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().contains("citt\xe0"));
    }

    void firstStartCreatesTheDefaultDatabase()
    {
        QTemporaryDir d;
        const QString folder = d.filePath(QStringLiteral("nuova/cartella"));
        qorClass app(folder);
        ScriptedMessages msg;
        dbClass db(app, msg);
        QVERIFY(startDatabase(app, db, msg));
        QVERIFY(QFileInfo::exists(app.defaultDatabasePath()));
        QCOMPARE(app.readText(QStringLiteral("Qor2019"), QStringLiteral("Path")), app.defaultDatabasePath());
        QVERIFY(db.isCurrentOpen());
        QCOMPARE(db.municipality(58, 91).prvSigla, QStringLiteral("RM"));
        QVERIFY(msg.shown.isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestDbClass)
#include "test_dbclass.moc"
