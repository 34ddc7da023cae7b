// The printed list of declarations on a generated database: its time against
// the floor of the storage measured with the sqlite3 shell (the same rows in
// the same order, to /dev/null), and the resident memory of the process
// before and after it (the list is read in windows: it should not grow with
// the number of declarations).
//
// elenco_bench [DECLARATIONS] [DATABASE]   (default 10000; a DATABASE that
// exists is printed as it is, one that does not is generated and kept)

#include "bench/benchutil.h"
#include "print/elenco.h"
#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <cstdio>
#include <ctime>

int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    const int n = argc > 1 ? atoi(argv[1]) : 10000;
    QTemporaryDir dir;
    qorClass app(dir.path());
    ScriptedMessages msg;
    const QString path = argc > 2 ? QString::fromLocal8Bit(argv[2]) : dir.filePath(QStringLiteral("a.db"));
    const bool existing = QFileInfo::exists(path);
    QString error;
    if (!existing && !refdata::createDatabase(path, app.refdataFolder(), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    dbClass db(app, msg);
    db.setCurrentPath(path);
    if (!db.connect())
        return 1;
    if (!existing && !bench::generate(db, n))
        return 1;
    const qint64 declarations = db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toLongLong();

    // the peak from here on: the generation's own does not count
    {
        QFile reset(QStringLiteral("/proc/self/clear_refs"));
        if (reset.open(QIODevice::WriteOnly))
            reset.write("5");
    }
    const long rssBefore = bench::memoryKb("VmRSS:");
    const QString pdf = dir.filePath(QStringLiteral("elenco.pdf"));
    QElapsedTimer t;
    t.start();
    const std::clock_t cpu = std::clock();
    if (!print::printElenco(db, 0, QStringLiteral("Tutte le dichiarazioni"), pdf, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    const double printS = t.elapsed() / 1000.0;
    const double printCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC;
    const long peak = bench::memoryKb("VmHWM:");
    db.disconnect();

    // the floor: the rows of the list in its order, and the schede counts
    QString select = print::elencoWindowSql(false, 0, false);
    select.replace(QStringLiteral("LIMIT ?"), QStringLiteral("LIMIT -1"));
    select += QStringLiteral(";\n");
    for (const char *tb : {"SaAut", "SezRif", "SezInt", "SezVfu", "SezImb", "SezRaee"})
        select += QStringLiteral("SELECT saID, COUNT(*) FROM %1 GROUP BY saID;\n").arg(QString::fromLatin1(tb));
    double rawCpu = 0;
    const double raw = bench::sqliteShell(path, select, &rawCpu);

    std::printf("declarations %lld, pdf %lld bytes\n", declarations, QFileInfo(pdf).size());
    std::printf("list print    %.2f s wall, %.2f s processor, %.0f declarations/s\n", printS, printCpu,
                declarations / printS);
    std::printf("raw scan      %.2f s wall, %.2f s processor\n", raw, rawCpu);
    std::printf("ratio         %.2f wall, %.2f processor\n", printS / raw, rawCpu > 0 ? printCpu / rawCpu : 0.0);
    std::printf("memory        %ld kB before the print, %ld kB peak during it\n", rssBefore, peak);
    return 0;
}
