// The reader's checks and the import: rejections at the right line, nothing
// written for a refused file, duplicates skipped whole, municipality
// conversion, counterparts registered, whole declarations on cancel.

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "exchange/layouts.h"
#include "exchange/reader.h"
#include "refdata/lookups.h"
#include "shell/schema/schema.h"
#include "shell/tree/tree.h"
#include "fixture.h"

#include "shell/cli.h"

#include <QSqlQuery>

using namespace exch;

class Import : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QString source;        // a valid file of 5 declarations
    QByteArray bytes;

    static qint64 count(dbClass &db, const char *table)
    {
        return db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + QString::fromLatin1(table)).toLongLong();
    }

    QString variant(const char *name, const QByteArray &content)
    {
        const QString p = dir.filePath(QString::fromLatin1(name));
        writeAll(p, content);
        return p;
    }

    // Index in bytes of line n (1-based).
    int lineStart(int n) const
    {
        int pos = 0;
        for (int i = 1; i < n; ++i)
            pos = bytes.indexOf('\n', pos) + 1;
        return pos;
    }
    int lineOf(const char *code, int occurrence = 1) const
    {
        const QList<QByteArray> l = bytes.split('\n');
        for (int i = 0; i < l.size(); ++i)
            if (l[i].startsWith(code) && --occurrence == 0)
                return i + 1;
        return -1;
    }

private Q_SLOTS:
    void initTestCase()
    {
        TestDb t(dir.path(), QStringLiteral("source.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 5;
        o.everySection = true;
        QList<qint64> ids;
        QString error;
        QVERIFY2(demo::generate(t.db, o, &ids, &error), qPrintable(error + t.msg.texts().join(u'\n')));
        source = dir.filePath(QStringLiteral("source.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, source, ids), ExportResult::Done);
        bytes = readAll(source);
        QVERIFY(checkFile(source).ok);
    }

    void readerRejections_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::addColumn<QString>("message");
        QTest::addColumn<int>("line");

        QByteArray b = bytes;
        b.insert(100, 'x');
        QTest::newRow("header length") << b << "Lunghezza primo record XX errata." << 1;
        b = bytes;
        b.replace(3, 7, "6.03/18");
        QTest::newRow("format version") << b << "Versione del record XX errata." << 1;
        b = bytes;
        b.replace(11, 2, "02");
        QTest::newRow("record version") << b << "Versione record XX non è 01." << 1;
        b = bytes;
        b.replace(28, 1, b.at(28) == '9' ? "8" : "9");   // the closing time, covered by the control value
        QTest::newRow("control value") << b << "Il file selezionato NON è un'esportazione QOR" << 1;

        const int bb = lineOf("BB");
        b = bytes;
        b.replace(lineStart(bb), 2, "ZZ");
        QTest::newRow("type") << b << "Tipo record errato." << bb;
        b = bytes;
        b.insert(lineStart(bb) + 60, ' ');
        QTest::newRow("length") << b << "Lunghezza record errata." << bb;
        b = bytes;
        b.replace(lineStart(bb) + 3, 4, "2018");
        QTest::newRow("year") << b << "Anno dichiarazione errato." << bb;
        // A module whose scheda number is not that of the scheda before it.
        b = bytes;
        b.replace(lineStart(bb) + 41, 4, "0009");
        QTest::newRow("child key 49") << b << "Chiave errata record figlio." << bb;
        const int rc = lineOf("RC");
        b = bytes;
        b.replace(lineStart(rc) + 45, 2, "99");
        QTest::newRow("child key 44") << b << "Chiave errata record figlio." << rc;
        const int au = lineOf("AU", 2);
        b = bytes;
        b.replace(lineStart(au) + 30, 1, "X");
        QTest::newRow("child key 37") << b << "Chiave errata record figlio." << au;

        // An extra AU line after the last of them exceeds the header's counter.
        const int lastAu = lineOf("AU", 5);
        b = bytes;
        const QByteArray auLine = bytes.mid(lineStart(lastAu), lineStart(lastAu + 1) - lineStart(lastAu));
        b.insert(lineStart(lastAu + 1), auLine);
        QTest::newRow("count exceeded") << b << "Il conteggio del tipo record alla riga supera il valore specificato nel record XX." << lastAu + 1;

        // A file cut after a whole line: the counts fall short at the end.
        const int cut = lineOf("AA", 4);
        b = bytes.left(lineStart(cut));
        QTest::newRow("truncated") << b << "Il conteggio dei tipi rec. alla riga non corrisponde al valore specificato nel record XX." << cut - 1;
        // A file cut in the middle of a line.
        b = bytes.left(lineStart(cut) + 100);
        QTest::newRow("cut in a line") << b << "Lunghezza record errata." << cut;
    }

    void readerRejections()
    {
        QFETCH(QByteArray, content);
        QFETCH(QString, message);
        QFETCH(int, line);
        const QString p = variant("bad.000", content);
        const CheckResult c = checkFile(p);
        QVERIFY(!c.ok);
        QCOMPARE(c.message, message);
        QCOMPARE(c.line, line);
        QCOMPARE(c.text(), message + QStringLiteral(" (riga n. ") + QString::number(line) + u')');

        // A refused file writes nothing, and is refused for the same reason
        // at the same line, with nothing else said, although the checks
        // run while the load goes on.
        TestDb t(dir.path(), QStringLiteral("refused.db"));
        QVERIFY(t.ok);
        t.msg.clear();
        const ImportResult r = importFile(t.db, t.msg, p);
        QCOMPARE(r.status, ImportResult::Refused);
        QCOMPARE(r.check.text(), c.text());
        QVERIFY2(t.msg.texts().isEmpty(), qPrintable(t.msg.texts().join(u'\n')));
        QCOMPARE(count(t.db, "SezAnag"), 0);
        QCOMPARE(count(t.db, "Ditte"), 0);
        QFile::remove(t.path);
    }

    void missingFile()
    {
        const CheckResult c = checkFile(dir.filePath(QStringLiteral("none.000")));
        QVERIFY(!c.ok);
        QCOMPARE(c.message, QStringLiteral("Errore apertura file."));
    }

    void sameFileTwiceLoadsNothingTheSecondTime()
    {
        TestDb t(dir.path(), QStringLiteral("twice.db"));
        QVERIFY(t.ok);
        ImportResult r = importFile(t.db, t.msg, source);
        QCOMPARE(r.status, ImportResult::Done);
        QCOMPARE(r.contained, 5);
        QCOMPARE(r.imported, 5);
        QCOMPARE(r.skipped, 0);
        const qint64 modules = count(t.db, "ModRif"), rows = count(t.db, "RecModVfu");
        QVERIFY(modules > 0 && rows > 0);
        // Every counterpart is in the register, once.
        QCOMPARE(count(t.db, "Ditte"),
                 t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM (SELECT CodFisc FROM ModRif WHERE NOT CodFisc IS NULL "
                                            "UNION SELECT CodFisc FROM ModInt UNION SELECT CodFisc FROM ModImb WHERE NOT CodFisc IS NULL "
                                            "UNION SELECT CodFisc FROM ModRaee WHERE NOT CodFisc IS NULL "
                                            "UNION SELECT CodFisc FROM ModVfu WHERE NOT CodFisc IS NULL)")).toLongLong());

        r = importFile(t.db, t.msg, source);
        QCOMPARE(r.status, ImportResult::Done);
        QCOMPARE(r.imported, 0);
        QCOMPARE(r.skipped, 5);
        QCOMPARE(count(t.db, "SezAnag"), 5);
        QCOMPARE(count(t.db, "ModRif"), modules);
        QCOMPARE(count(t.db, "RecModVfu"), rows);
    }

    void blankNumberMatchesNullCivicoAndExistingCompanyIsKept()
    {
        TestDb t(dir.path(), QStringLiteral("civico.db"));
        QVERIFY(t.ok);
        QVERIFY(importFile(t.db, t.msg, source).status == ImportResult::Done);
        // The first declaration with a blank street number in the file.
        QByteArray b = bytes;
        const int aa = lineStart(lineOf("AA"));
        b.replace(aa + 41 + 7 + 10 + 6 + 61 + 8 + 31, 6, "      ");
        const QString p = variant("civico.000", b);
        QVERIFY(checkFile(p).ok);
        const QString cf = QString::fromLatin1(bytes.mid(aa + 8, 16)).trimmed();
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezAnag SET Civico = NULL WHERE (CodFisc = ?)"), {cf}));
        // A company already in the register is left as it is.
        QVERIFY(t.db.execute(QStringLiteral("UPDATE Ditte SET RagSoc = 'NOME CAMBIATO'")));
        const ImportResult r = importFile(t.db, t.msg, p);
        QCOMPARE(r.skipped, 5);
        QCOMPARE(r.imported, 0);
        QCOMPARE(count(t.db, "SezAnag"), 5);
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE RagSoc <> 'NOME CAMBIATO'")).toInt(), 0);
    }

    void replacedMunicipalityIsStoredInItsNewForm()
    {
        TestDb t(dir.path(), QStringLiteral("conv.db"));
        QVERIFY(t.ok);
        // ALICE SUPERIORE (1, 5) became VAL DI CHY (1, 317).
        QByteArray b = bytes;
        const int aa = lineStart(lineOf("AA"));
        b.replace(aa + 41 + 7 + 10 + 6 + 61, 8, "001;005;");
        const QString p = variant("conv.000", b);
        const ImportResult r = importFile(t.db, t.msg, p);
        QCOMPARE(r.imported, 5);
        const QString cf = QString::fromLatin1(bytes.mid(aa + 8, 16)).trimmed();
        QSqlQuery q = t.db.query(QStringLiteral("SELECT prvIstat, comIstat FROM SezAnag WHERE (CodFisc = ?)"), {cf});
        QVERIFY(q.next());
        QCOMPARE(q.value(0).toInt(), 1);
        QCOMPARE(q.value(1).toInt(), 317);
    }

    void successorLookup()
    {
        // The conversion table is read once per import: an entry further down a
        // province is found, a current municipality is not converted, and an
        // emptied table converts nothing.
        TestDb t(dir.path(), QStringLiteral("lookup.db"));
        QVERIFY(t.ok);
        const refdata::comChanged c(t.db);
        int prv = 0, com = 0;
        QString cap;
        QVERIFY(c.lookup(1, 5, prv, com, cap));          // ALICE SUPERIORE -> VAL DI CHY
        QCOMPARE(prv, 1);
        QCOMPARE(com, 317);
        QCOMPARE(cap, QStringLiteral("10039"));
        QVERIFY(c.lookup(1, 138, prv, com, cap));        // LUGNACCO, further down the same province
        QCOMPARE(com, 317);
        QVERIFY(!c.lookup(1, 272, prv, com, cap));       // TORINO is current
        QVERIFY(!c.lookup(999, 1, prv, com, cap));       // past the last province
        QVERIFY(t.db.execute(QStringLiteral("DELETE FROM ComConv")));
        QVERIFY(!refdata::comChanged(t.db).lookup(1, 5, prv, com, cap));
    }

    void commandLine()
    {
        qputenv("QOR_DATA", dir.filePath(QStringLiteral("cli-data")).toLocal8Bit());
        {
            TestDb t(dir.path(), QStringLiteral("cli.db"));
            QVERIFY(t.ok);
        }
        const QString db = dir.filePath(QStringLiteral("cli.db"));
        QCOMPARE(cli::importFile({source}), int(cli::Usage));
        QCOMPARE(cli::importFile({QStringLiteral("--db"), db}), int(cli::Usage));
        QCOMPARE(cli::importFile({QStringLiteral("--db"), db, variant("cut.000", bytes.left(3000))}), int(cli::Refused));
        QCOMPARE(cli::importFile({QStringLiteral("--db"), db, source}), int(cli::Ok));
        TestDb check(dir.path(), QStringLiteral("cli-check.db"));
        check.db.setCurrentPath(db);
        QVERIFY(check.db.connect());
        QCOMPARE(count(check.db, "SezAnag"), 5);
    }

    void cancelKeepsWholeDeclarations()
    {
        TestDb t(dir.path(), QStringLiteral("cancel.db"));
        QVERIFY(t.ok);
        int declarationsSeen = 0;
        const ImportResult r = importFile(t.db, t.msg, source, [&](qint64, qint64) {
            return ++declarationsSeen < 3;   // stop at the start of the third declaration
        });
        QCOMPARE(r.status, ImportResult::Cancelled);
        QCOMPARE(r.imported, 2);
        QCOMPARE(count(t.db, "SezAnag"), 2);
        // Each loaded declaration is complete: its MA record (the last of its
        // vehicle schede) was loaded.
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezVfu WHERE msQta07 IS NULL")).toInt(), 0);
        QCOMPARE(count(t.db, "SezVfu"), 6);
        // Their modules' counterparts are in the register.
        QVERIFY(count(t.db, "Ditte") > 0);
        for (const schema::Table *table : tree::tables()) {
            if (!table->name.startsWith(QLatin1String("Mod")) || !schema::column(*table, QStringLiteral("CodFisc")))
                continue;
            QSqlQuery q = t.db.query(QStringLiteral("SELECT CodFisc FROM %1 WHERE CodFisc IS NOT NULL AND "
                                                    "CodFisc NOT IN (SELECT CodFisc FROM Ditte)").arg(table->name));
            QStringList missing;
            while (q.next())
                missing << q.value(0).toString();
            QVERIFY2(missing.isEmpty(), qPrintable(table->name + QStringLiteral(": ") + missing.join(u',')));
        }
    }

    // A file of more declarations than the load keeps on the way between
    // reading the file and writing the store: each comes whole and in its
    // place, a stop keeps the ones before it, and a failure far into the
    // file undoes everything and names its line.
    void manyDeclarationsLoadWholeStopAndFailCleanly()
    {
        constexpr int Many = 70;
        TestDb a(dir.path(), QStringLiteral("many-source.db"));
        QVERIFY(a.ok);
        demo::Options o;
        o.declarations = Many;
        o.everySection = true;
        QList<qint64> ids;
        QString error;
        QVERIFY2(demo::generate(a.db, o, &ids, &error), qPrintable(error));
        const QString file = dir.filePath(QStringLiteral("many.000"));
        QCOMPARE(exportDeclarations(a.db, a.msg, file, ids), ExportResult::Done);

        TestDb b(dir.path(), QStringLiteral("many.db"));
        QVERIFY(b.ok);
        QStringList names;
        const ImportResult r = importFile(b.db, b.msg, file, {}, [&](const ImportStep &s) {
            QCOMPARE(s.imported, int(names.size()));
            names << s.name;
        });
        QVERIFY2(r.status == ImportResult::Done, qPrintable(r.check.text() + b.msg.texts().join(u'\n')));
        QCOMPARE(r.imported, Many);
        // Exported again, the same lines in the same order, but for the
        // header (the sender) and the keys the new database gave.
        QList<qint64> loaded;
        QSqlQuery q = b.db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY saID"));
        while (q.next())
            loaded << q.value(0).toLongLong();
        const QString again = dir.filePath(QStringLiteral("many-again.000"));
        QCOMPARE(exportDeclarations(b.db, b.msg, again, loaded), ExportResult::Done);
        const QList<QByteArray> one = masked(readAll(file), false).split('\n'),
                                two = masked(readAll(again), false).split('\n');
        QCOMPARE(two.size(), one.size());
        for (qsizetype i = 1; i < one.size(); ++i)
            QVERIFY2(one[i] == two[i], qPrintable(QStringLiteral("line %1").arg(i + 1)));
        QStringList expected;
        QSqlQuery n = a.db.query(QStringLiteral("SELECT RagSoc FROM SezAnag ORDER BY saID"));
        while (n.next())
            expected << n.value(0).toString();
        QCOMPARE(names, expected);

        TestDb c(dir.path(), QStringLiteral("many-stopped.db"));
        QVERIFY(c.ok);
        // Stopped while the reading side waits with the batches after it.
        int seen = 0;
        const ImportResult stopped = importFile(c.db, c.msg, file, [&](qint64, qint64) { return ++seen <= 20; });
        QCOMPARE(stopped.status, ImportResult::Cancelled);
        QCOMPARE(stopped.imported, 20);
        QCOMPARE(count(c.db, "SezAnag"), 20);

        TestDb f(dir.path(), QStringLiteral("many-failed.db"));
        QVERIFY(f.ok);
        QVERIFY(f.db.execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON SezAnag "
                                            "WHEN (SELECT COUNT(*) FROM SezAnag) >= 60 BEGIN SELECT RAISE(ABORT, 'refused'); END")));
        f.msg.clear();
        const ImportResult failed = importFile(f.db, f.msg, file);
        QCOMPARE(failed.status, ImportResult::Failed);
        QCOMPARE(count(f.db, "SezAnag"), 0);
        QCOMPARE(count(f.db, "Ditte"), 0);
        const QList<QByteArray> lines = readAll(file).split('\n');
        int at = 0;
        for (int i = 0, seenAA = 0; i < lines.size() && !at; ++i)
            if (lines[i].startsWith("AA") && ++seenAA == 61)
                at = i + 1;
        QVERIFY(at > 0);
        QVERIFY2(f.msg.texts().join(u'\n').contains(QStringLiteral("interrotta alla riga n. %1:").arg(at)),
                 qPrintable(f.msg.texts().join(u'\n')));
    }

    void unknownNationIsRefusedWithNothingLoaded()
    {
        // A subject block naming a nation the table does not have: the file
        // is refused at that line, nothing written.
        QList<QByteArray> lines = bytes.split('\n');
        int at = -1;
        for (int i = 1; i < lines.size() && at < 0; ++i)
            if (lines[i].startsWith("BB") && lines[i].mid(206, 20).trimmed().size() > 0)
                at = i;
        QVERIFY(at > 0);
        lines[at].replace(206, 20, QByteArray("ATLANTIDE").leftJustified(20, ' '));
        TestDb t(dir.path(), QStringLiteral("nation.db"));
        QVERIFY(t.ok);
        const ImportResult r = importFile(t.db, t.msg, variant("nation.000", lines.join('\n')));
        QCOMPARE(r.status, ImportResult::Refused);
        QCOMPARE(r.check.text(), QStringLiteral("Paese estero non presente nella tabella delle nazioni. (riga n. %1)").arg(at + 1));
        QCOMPARE(count(t.db, "SezAnag"), 0);
    }

    void lockedStoreSaysSoAndWritesNothing()
    {
        const int before = dbClass::busyTimeoutMs;
        dbClass::busyTimeoutMs = 200;
        TestDb t(dir.path(), QStringLiteral("locked.db"));
        QVERIFY(t.ok);
        // Another station writing the same file.
        QSqlError e;
        QVERIFY(dbClass::openStore(t.path, QStringLiteral("other-station"), false, &e, nullptr, 200));
        QSqlQuery other(QSqlDatabase::database(QStringLiteral("other-station")));
        QVERIFY(other.exec(QStringLiteral("BEGIN IMMEDIATE")));
        t.msg.clear();
        const ImportResult r = importFile(t.db, t.msg, source);
        QVERIFY(other.exec(QStringLiteral("ROLLBACK")));
        other = QSqlQuery();
        dbClass::closeStore(QStringLiteral("other-station"));
        dbClass::busyTimeoutMs = before;
        QCOMPARE(r.status, ImportResult::Failed);
        QVERIFY(t.msg.texts().join(u' ').contains(QStringLiteral("in uso da un'altra stazione di lavoro")));
        QCOMPARE(count(t.db, "SezAnag"), 0);
        // Once free, the same file loads.
        QCOMPARE(importFile(t.db, t.msg, source).imported, 5);
    }

    void failureWhileLoadingUndoesTheWholeFile()
    {
        TestDb t(dir.path(), QStringLiteral("fail.db"));
        QVERIFY(t.ok);
        // A trigger makes the third declaration's vehicle rows fail to load.
        QVERIFY(t.db.execute(QStringLiteral(
            "CREATE TRIGGER refuse BEFORE INSERT ON RecVfu WHEN (SELECT COUNT(*) FROM SezAnag) >= 3 "
            "BEGIN SELECT RAISE(ABORT, 'refused'); END")));
        t.msg.clear();
        const ImportResult r = importFile(t.db, t.msg, source);
        QCOMPARE(r.status, ImportResult::Failed);
        QCOMPARE(r.imported, 0);
        // Nothing of the file stays, not even the declarations before the
        // failing one, and the user is told so with the line.
        for (const char *table : {"SezAnag", "SezVfu", "RecVfu", "ModRif", "Ditte"})
            QVERIFY2(count(t.db, table) == 0, table);
        QVERIFY(t.msg.texts().join(u'\n').contains(QStringLiteral("nessuna dichiarazione del file è stata caricata")));
        QVERIFY(t.msg.texts().join(u'\n').contains(QStringLiteral("riga n. ")));
    }

    // A declaration is written whole after its last line; a row the store
    // refuses must still be reported at the line that gave it: the first line
    // of the file with a row of that table (an MG module comes with the first
    // detail line of its grid), for every table the file fills.
    void refusedRowIsReportedAtItsOwnLine()
    {
        const QList<QByteArray> lines = bytes.split('\n');
        int tried = 0;
        for (const schema::Table *table : tree::tables()) {
            int expected = -1;
            for (int i = 1; i < lines.size() && expected < 0; ++i) {
                const Layout *l = layout(QByteArrayView(lines[i]).first(std::min<qsizetype>(2, lines[i].size())));
                const schema::Table *rows = l ? schema::table(l->table) : nullptr;
                if (rows && (rows == table || rows->parent == table->name))
                    expected = i + 1;
            }
            if (expected < 0 || table->name == QLatin1String("SezAnag"))
                continue;
            ++tried;
            TestDb t(dir.path(), QStringLiteral("refuse-%1.db").arg(table->name));
            QVERIFY(t.ok);
            QVERIFY(t.db.execute(QStringLiteral("CREATE TRIGGER refuse BEFORE INSERT ON %1 "
                                                "BEGIN SELECT RAISE(ABORT, 'refused'); END").arg(table->name)));
            t.msg.clear();
            const ImportResult r = importFile(t.db, t.msg, source);
            QCOMPARE(r.status, ImportResult::Failed);
            const QString said = t.msg.texts().join(u'\n');
            QVERIFY2(said.contains(QStringLiteral("interrotta alla riga n. %1:").arg(expected)),
                     qPrintable(table->name + u'\n' + said));
            QCOMPARE(count(t.db, "SezAnag"), 0);
            QCOMPARE(count(t.db, "Ditte"), 0);
        }
        QVERIFY(tried >= 15);
    }
};

QTEST_GUILESS_MAIN(Import)
#include "tst_import.moc"
