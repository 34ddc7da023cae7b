// Verification speed on a generated database, against the floor of the
// storage measured with the sqlite3 shell: a plain scan of the same rows (the
// declaration and every table the checks read) to /dev/null.
//
// verify_bench [DECLARATIONS]   (default 10000)

#include "bench/benchutil.h"
#include "exchange/demodata.h"
#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "verify/engine.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QTemporaryDir>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>

using bench::sqliteShell;
using bench::Tables;


int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    const int n = argc > 1 ? atoi(argv[1]) : 10000;
    QTemporaryDir dir;
    qorClass app(dir.path());
    ScriptedMessages msg;
    const QString a = dir.filePath(QStringLiteral("a.db"));
    QString error;
    if (!refdata::createDatabase(a, app.refdataFolder(), &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    dbClass db(app, msg);
    db.setCurrentPath(a);
    if (!db.connect())
        return 1;
    if (!bench::generate(db, n))
        return 1;
    qint64 rows = 0;
    for (const char *tb : Tables)
        rows += db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + QString::fromLatin1(tb)).toLongLong();

    verify::Engine engine(db, msg);
    if (!engine.openReport(dir.filePath(QStringLiteral("Qor2019Err.txt"))))
        return 1;
    QElapsedTimer t;
    t.start();
    const std::clock_t cpu = std::clock();
    engine.run(verify::Mode::All, 0, true, true);
    const double verifyS = t.elapsed() / 1000.0;
    const double verifyCpu = double(std::clock() - cpu) / CLOCKS_PER_SEC;
    if (engine.failed() || engine.progress().done != n)
        return 1;
    db.disconnect();

    QString select;
    for (const char *tb : Tables)
        select += QStringLiteral("SELECT * FROM %1;\n").arg(QString::fromLatin1(tb));
    double rawCpu = 0;
    const double raw = sqliteShell(a, select, &rawCpu);

    std::printf("declarations %d, rows %lld, with errors %d\n", n, rows, engine.progress().withErrors);
    std::printf("verification  %.2f s wall, %.2f s processor, %.0f declarations/s\n", verifyS, verifyCpu,
                n / verifyS);
    std::printf("raw scan      %.2f s wall, %.2f s processor\n", raw, rawCpu);
    std::printf("ratio         %.2f wall, %.2f processor\n", verifyS / raw, rawCpu > 0 ? verifyCpu / rawCpu : 0.0);
    return 0;
}
