// The files of an export: written beside the chosen name and renamed into
// place only when complete, never harming a file the run did not create;
// split into numbered files when the header counters would overflow; logged
// and stamped per file after the rename.

#include "exchange/exportproc.h"
#include "exchange/importer.h"
#include "exchange/reader.h"
#include "fixture.h"
#include "shell/cli.h"

#include <QDir>
#include <QSqlQuery>

#include <sys/stat.h>

using namespace exch;

class ExportFiles : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::unique_ptr<TestDb> t;

    qint64 scalar(const char *sql) { return t->db.scalar(QString::fromLatin1(sql)).toLongLong(); }
    QStringList folder(const QString &sub) { return QDir(dir.filePath(sub)).entryList(QDir::Files | QDir::Hidden | QDir::System); }
    QString sub(const QString &name)
    {
        QDir(dir.path()).mkpath(name);
        return dir.filePath(name);
    }
    void markAll()
    {
        QVERIFY(t->db.execute(QStringLiteral("UPDATE SezAnag SET saExp = 1, ExpID = 0")));
        QVERIFY(t->db.execute(QStringLiteral("DELETE FROM expTab")));
    }
    ExportChoice multiple() const
    {
        ExportChoice c;
        c.single = false;
        return c;
    }

private Q_SLOTS:
    void initTestCase()
    {
        t = std::make_unique<TestDb>(dir.path(), QStringLiteral("src.db"));
        QVERIFY(t->ok);
        // Five declarations of the company section alone: three records each
        // (AA, AB and the materials MA), one of each type.
        for (int i = 1; i <= 5; ++i)
            QVERIFY(t->db.insertRow(QStringLiteral("SezAnag"),
                                    {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QStringLiteral("0123456789%1").arg(i)},
                                     {QStringLiteral("RagSoc"), QStringLiteral("DITTA %1").arg(i)},
                                     {QStringLiteral("prvIstat"), 1}, {QStringLiteral("comIstat"), 272},
                                     {QStringLiteral("Via"), QStringLiteral("VIA ROMA")}}) > 0);
    }
    void cleanup()
    {
        expClass::maxPerType = 99999;
        expClass::spoolFrom = 2000;
    }

    void existingFilesAreLeftAlone()
    {
        markAll();
        const QString folderPath = sub(QStringLiteral("keep"));
        const QString target = folderPath + QStringLiteral("/Qor2019.000");
        QVERIFY(writeAll(target, "the user's own file"));
        // On the command line an existing file needs --sovrascrivi.
        QCOMPARE(cli::exportFile({QStringLiteral("--db"), t->path, QStringLiteral("--out"), target,
                                  QStringLiteral("--provincia"), QStringLiteral("TO")}),
                 int(cli::Refused));
        QCOMPARE(readAll(target), QByteArray("the user's own file"));
        // Not confirmed: refused, the file unchanged, nothing logged.
        ExtractOutcome x = extract(t->db, t->msg, target, multiple(), 1, {}, {}, false);
        QCOMPARE(x.status, ExportResult::Failed);
        QCOMPARE(readAll(target), QByteArray("the user's own file"));
        // Cancelled: the temporary file goes, the existing file stays.
        int calls = 0;
        x = extract(t->db, t->msg, target, multiple(), 1, [&](qint64, qint64) { return ++calls < 3; });
        QCOMPARE(x.status, ExportResult::Cancelled);
        QCOMPARE(readAll(target), QByteArray("the user's own file"));
        QCOMPARE(folder(QStringLiteral("keep")), QStringList{QStringLiteral("Qor2019.000")});
        QCOMPARE(scalar("SELECT COUNT(*) FROM expTab"), 0);
        QCOMPARE(scalar("SELECT COUNT(*) FROM SezAnag WHERE ExpID <> 0"), 0);
        // Something that is not a plain file is never written nor removed.
        const QString fifo = folderPath + QStringLiteral("/pipe.000");
        QCOMPARE(::mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
        t->msg.clear();
        x = extract(t->db, t->msg, fifo, multiple(), 1);
        QCOMPARE(x.status, ExportResult::Failed);
        QVERIFY(QFileInfo(fifo).exists() && !QFileInfo(fifo).isFile());
        QVERIFY(t->msg.texts().join(u' ').contains(QStringLiteral("non è un file ordinario")));
        // A missing folder: refused, nothing created anywhere.
        x = extract(t->db, t->msg, folderPath + QStringLiteral("/nowhere/Qor2019.000"), multiple(), 1);
        QCOMPARE(x.status, ExportResult::Failed);
        QCOMPARE(folder(QStringLiteral("keep")).size(), 2);
        QCOMPARE(scalar("SELECT COUNT(*) FROM expTab"), 0);
        // Confirmed: replaced by the complete file, logged and stamped.
        x = extract(t->db, t->msg, target, multiple(), 1);
        QCOMPARE(x.status, ExportResult::Done);
        QVERIFY(checkFile(target).ok);
        QCOMPARE(folder(QStringLiteral("keep")).size(), 2);
        QCOMPARE(scalar("SELECT COUNT(*) FROM SezAnag WHERE ExpID = 0"), 0);
    }

    // Declarations listed by tax code are read by key and each put in its
    // place: the same bytes as when they are read in the file's order (no
    // spool file to be had), in one file and split into several.
    void readByKeyWrittenInOrder()
    {
        TestDb s(dir.path(), QStringLiteral("order.db"));
        QVERIFY(s.ok);
        expClass::spoolFrom = 0;
        for (const char *cf : {"D4", "B2", "E5", "A1", "C3"})
            QVERIFY(s.db.insertRow(QStringLiteral("SezAnag"),
                                   {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QString::fromLatin1(cf)},
                                    {QStringLiteral("RagSoc"), QStringLiteral("DITTA ") + QString::fromLatin1(cf)},
                                    {QStringLiteral("prvIstat"), 1}, {QStringLiteral("comIstat"), 272},
                                    {QStringLiteral("Via"), QStringLiteral("VIA ROMA")}}) > 0);
        QList<qint64> ids;
        QSqlQuery q = s.db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
        while (q.next())
            ids << q.value(0).toLongLong();
        auto run = [&](const QString &folder) {
            expClass e(s.db, s.msg);
            e.setClock([] { return QDateTime(QDate(2020, 3, 1), QTime(10, 0)); });
            QList<QByteArray> out;
            if (exportDeclarations(s.db, s.msg, sub(folder) + QStringLiteral("/Qor2019.000"), ids, {}, &e) !=
                ExportResult::Done)
                return out;
            for (const QString &f : e.files()) {
                QFile file(f);
                out << (file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray());
            }
            return out;
        };
        for (int max : {99999, 2}) {
            expClass::maxPerType = max;
            const QList<QByteArray> spooled = run(QStringLiteral("spool%1").arg(max));
            Spool::enabled = false;
            const QList<QByteArray> direct = run(QStringLiteral("direct%1").arg(max));
            Spool::enabled = true;
            QCOMPARE(spooled.size(), max == 2 ? 3 : 1);
            QCOMPARE(spooled, direct);
        }
        // A declaration too big for any file is named as the run knows it.
        expClass::maxPerType = 0;
        s.msg.clear();
        QVERIFY(run(QStringLiteral("toobig")).isEmpty());
        const QStringList spooledText = s.msg.texts();
        s.msg.clear();
        Spool::enabled = false;
        QVERIFY(run(QStringLiteral("toobig2")).isEmpty());
        Spool::enabled = true;
        QCOMPARE(spooledText, s.msg.texts());
        QVERIFY2(spooledText.join(u' ').contains(QStringLiteral("dichiarazione A1 DITTA A1: ha più record")),
                 qPrintable(spooledText.join(u' ')));
        expClass::maxPerType = 99999;
        const QByteArray one = run(QStringLiteral("again")).value(0);
        qsizetype at = 0;
        for (const char *cf : {"A1", "B2", "C3", "D4", "E5"}) {
            const qsizetype next = one.indexOf(QByteArray("AA;2019;") + cf);
            QVERIFY2(next > at, cf);
            at = next;
        }
    }

    void tooManyRecordsSplitTheExport()
    {
        markAll();
        // Two declarations per file.
        expClass::maxPerType = 2;
        const QString target = sub(QStringLiteral("split")) + QStringLiteral("/Qor2019.000");
        t->msg.clear();
        const ExtractOutcome x = extract(t->db, t->msg, target, multiple(), 1);
        QCOMPARE(x.status, ExportResult::Done);
        const QStringList names = {QStringLiteral("Qor2019.000"), QStringLiteral("Qor2019_2.000"),
                                   QStringLiteral("Qor2019_3.000")};
        QCOMPARE(folder(QStringLiteral("split")), names);
        QCOMPARE(x.files.size(), 3);
        QVERIFY(t->msg.texts().join(u' ').contains(QStringLiteral("in 3 file")));
        expClass::maxPerType = 99999;
        // Each file is complete on its own, logged with its declarations, and
        // each declaration carries the number of its file.
        TestDb b(dir.path(), QStringLiteral("split.db"));
        QVERIFY(b.ok);
        const QList<int> expected = {2, 2, 1};
        for (int i = 0; i < 3; ++i) {
            const CheckResult c = checkFile(x.files[i]);
            QVERIFY2(c.ok, qPrintable(c.text()));
            QCOMPARE(c.declarations, expected[i]);
            QCOMPARE(t->db.scalar(QStringLiteral("SELECT expDic FROM expTab WHERE expID = ?"), {x.expIDs[i]}).toInt(),
                     expected[i]);
            QCOMPARE(t->db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag WHERE ExpID = ?"), {x.expIDs[i]}).toInt(),
                     expected[i]);
            QCOMPARE(importFile(b.db, b.msg, x.files[i]).imported, expected[i]);
        }
        QCOMPARE(b.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toInt(), 5);
    }
};

QTEST_GUILESS_MAIN(ExportFiles)
#include "tst_exportfiles.moc"
