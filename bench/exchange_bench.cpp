// Export and import speed on a generated database, against the raw floor of
// the storage measured with the sqlite3 shell: a plain SELECT of the same rows
// and an .import of as many rows in one transaction.
//
// exchange_bench [DECLARATIONS]   (default 10000)
// exchange_bench --export DATABASE: only the export of every declaration of an
// existing database (nothing is written to it), with its time and
// the peak resident size of the process.

#include "bench/benchutil.h"
#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>

using bench::sqliteShell;
using bench::Tables;
using bench::memoryKb;

namespace {

int exportOnly(const QString &database)
{
    QTemporaryDir dir;
    qorClass app(dir.path());
    ScriptedMessages msg;
    dbClass db(app, msg);
    db.setCurrentPath(database);
    if (!db.connect())
        return 1;
    QList<qint64> ids;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
    while (q.next())
        ids << q.value(0).toLongLong();
    QElapsedTimer t;
    t.start();
    const std::clock_t cpu = std::clock();
    const auto r = exch::exportDeclarations(db, msg, dir.filePath(QStringLiteral("bench.000")), ids);
    if (r != exch::ExportResult::Done)
        return 1;
    rusage u{};
    getrusage(RUSAGE_SELF, &u);
    std::printf("export of %lld declarations  %.2f s  processor %.2f s  peak RSS %ld kB\n", qint64(ids.size()),
                t.elapsed() / 1000.0, double(std::clock() - cpu) / CLOCKS_PER_SEC, u.ru_maxrss);
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    if (argc > 2 && !qstrcmp(argv[1], "--export"))
        return exportOnly(QString::fromLocal8Bit(argv[2]));
    const int n = argc > 1 ? atoi(argv[1]) : 10000;
    QTemporaryDir dir;
    qorClass app(dir.path());
    ScriptedMessages msg;
    const QString a = dir.filePath(QStringLiteral("a.db")), b = dir.filePath(QStringLiteral("b.db"));
    const QString file = dir.filePath(QStringLiteral("bench.000"));
    QString error;
    if (!refdata::createDatabase(a, app.refdataFolder(), &error) ||
        !refdata::createDatabase(b, app.refdataFolder(), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    dbClass da(app, msg), dbb(app, msg);
    da.setCurrentPath(a);
    dbb.setCurrentPath(b);
    if (!da.connect() || !dbb.connect())
        return 1;
    QList<qint64> ids;
    if (!bench::generate(da, n, &ids))
        return 1;
    QElapsedTimer t;
    t.start();

    qint64 rows = 0;
    for (const char *tb : Tables)
        rows += da.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + QString::fromLatin1(tb)).toLongLong();

    const long rssBefore = memoryKb("VmRSS:");
    long rssAtTenth = 0;
    t.restart();
    std::clock_t cpu = std::clock();
    const auto r = exch::exportDeclarations(da, msg, file, ids, [&](qint64 done, qint64 total) {
        if (done == total / 10)
            rssAtTenth = memoryKb("VmRSS:");
        return true;
    });
    const double exportS = t.elapsed() / 1000.0;
    const double exportCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC;
    const long rssAfter = memoryKb("VmRSS:");
    if (r != exch::ExportResult::Done)
        return 1;
    qint64 lines = 0;
    {
        QFile f(file);
        f.open(QIODevice::ReadOnly);
        while (!f.atEnd())
            f.readLine(), ++lines;
    }
    t.restart();
    cpu = std::clock();
    const exch::ImportResult ir = exch::importFile(dbb, msg, file);
    const double importS = t.elapsed() / 1000.0;
    const double importCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC;
    if (ir.status != exch::ImportResult::Done)
        return 1;

    da.disconnect();
    dbb.disconnect();
    QString select;
    for (const char *tb : Tables)
        select += QStringLiteral("SELECT * FROM %1;\n").arg(QString::fromLatin1(tb));
    double rawReadCpu = 0, rawInsertCpu = 0;
    const double rawRead = sqliteShell(a, select, &rawReadCpu);
    // As many rows as the file has lines, in one transaction.
    const QString csv = dir.filePath(QStringLiteral("rows.csv"));
    {
        QFile f(csv);
        f.open(QIODevice::WriteOnly);
        for (qint64 i = 0; i < lines; ++i)
            f.write(QByteArray::number(i) + ",ABCDEFGHIJKLMNOP,ROSSI RECUPERI SRL,VIA ROMA,1,10100,1,272,12345000,1\n");
    }
    const double rawInsert = sqliteShell(dir.filePath(QStringLiteral("raw.db")),
        QStringLiteral("CREATE TABLE t (id INTEGER PRIMARY KEY, cf TEXT, rs TEXT, via TEXT, civ TEXT, cap TEXT, "
                       "prv INTEGER, com INTEGER, qta BIGINT, umi INTEGER);\nBEGIN;\n.mode csv\n.import %1 t\nCOMMIT;\n")
            .arg(csv), &rawInsertCpu);

    std::printf("declarations %d, rows %lld, file lines %lld\n", n, rows, lines);
    std::printf("export  %.2f s  %.0f records/s   raw SELECT %.2f s   ratio %.2f\n", exportS,
                lines / exportS, rawRead, exportS / rawRead);
    std::printf("import  %.2f s  %.0f records/s   raw .import %.2f s   ratio %.2f\n", importS,
                lines / importS, rawInsert, importS / rawInsert);
    std::printf("processor time: export %.2f s (raw SELECT %.2f s, ratio %.2f), import %.2f s "
                "(raw .import %.2f s, ratio %.2f)\n",
                exportCpu, rawReadCpu, rawReadCpu > 0 ? exportCpu / rawReadCpu : 0.0, importCpu, rawInsertCpu,
                rawInsertCpu > 0 ? importCpu / rawInsertCpu : 0.0);
    std::printf("memory during export: RSS %ld kB before, %ld kB at 10%%, %ld kB at the end\n", rssBefore,
                rssAtTenth, rssAfter);
    return 0;
}
