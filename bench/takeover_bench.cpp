// Takeover of every declaration with the structure of its schede, against
// the import of the same declarations from an exchange file and against the
// floor of the storage: the sqlite3 shell copying the same tables with ATTACH
// and INSERT ... SELECT in one transaction. The three run in turn, round
// after round, each into a fresh copy of the empty database, so that the load
// of the machine weighs on them alike.
//
// takeover_bench [DECLARATIONS [ROUNDS]]   (default 1000, 3)

#include "bench/benchutil.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "refdata/template.h"
#include "sections/takeover/takeover.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>

using bench::Tables;
using bench::memoryKb;

namespace {

double median(std::vector<double> v)
{
    std::sort(v.begin(), v.end());
    return v.empty() ? 0 : v[v.size() / 2];
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    const int n = argc > 1 ? atoi(argv[1]) : 1000;
    const int rounds = argc > 2 ? atoi(argv[2]) : 3;
    QTemporaryDir dir;
    qorClass app(dir.path());
    ScriptedMessages msg;
    const QString empty = dir.filePath(QStringLiteral("empty.db")), prev = dir.filePath(QStringLiteral("prev.db"));
    const QString file = dir.filePath(QStringLiteral("bench.000"));
    QString error;
    if (!refdata::createDatabase(empty, app.refdataFolder(), &error) || !QFile::copy(empty, prev)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return 1;
    }
    QList<qint64> ids;
    qint64 rows = 0;
    {
        dbClass g(app, msg);
        g.setCurrentPath(prev);
        if (!g.connect() || !bench::generate(g, n, &ids))
            return 1;
        for (const char *tb : Tables)
            rows += g.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + QString::fromLatin1(tb)).toLongLong();
        if (exch::exportDeclarations(g, msg, file, ids, {}) != exch::ExportResult::Done)
            return 1;
    }
    QString copy = QStringLiteral("ATTACH '%1' AS p;\nBEGIN;\n").arg(prev);
    for (const char *tb : Tables)
        copy += QStringLiteral("INSERT INTO %1 SELECT * FROM p.%1;\n").arg(QString::fromLatin1(tb));
    copy += QStringLiteral("COMMIT;\n");

    std::vector<double> takeoverS, importS, floorS;
    long rssBefore = 0, rssTenth = 0, rssEnd = 0;
    for (int round = 0; round < rounds; ++round) {
        const QString target = dir.filePath(QStringLiteral("t%1.db").arg(round));
        const QString imported = dir.filePath(QStringLiteral("i%1.db").arg(round));
        const QString floor = dir.filePath(QStringLiteral("f%1.db").arg(round));
        if (!QFile::copy(empty, target) || !QFile::copy(empty, imported) || !QFile::copy(empty, floor))
            return 1;
        {
            dbClass db(app, msg);
            db.setCurrentPath(target);
            db.setPreviousPath(prev);
            if (!db.connect())
                return 1;
            AppContext ctx{app, db, msg};
            rssBefore = memoryKb("VmRSS:");
            QElapsedTimer t;
            t.start();
            const takeover::Result r = takeover::run(ctx, ids, {true, false}, [&](int done, int total) {
                if (done == total / 10)
                    rssTenth = memoryKb("VmRSS:");
                return true;
            });
            takeoverS.push_back(t.elapsed() / 1000.0);
            rssEnd = memoryKb("VmRSS:");
            if (r.status != takeover::Result::Done || r.taken != n) {
                std::fprintf(stderr, "takeover failed: %d of %d\n", r.taken, n);
                return 1;
            }
        }
        {
            dbClass db(app, msg);
            db.setCurrentPath(imported);
            if (!db.connect())
                return 1;
            QElapsedTimer t;
            t.start();
            if (exch::importFile(db, msg, file).status != exch::ImportResult::Done)
                return 1;
            importS.push_back(t.elapsed() / 1000.0);
        }
        double cpu = 0;
        floorS.push_back(bench::sqliteShell(floor, copy, &cpu));
    }
    const double tk = median(takeoverS), im = median(importS), fl = median(floorS);
    std::printf("declarations %d, rows %lld, rounds %d (medians)\n", n, rows, rounds);
    std::printf("takeover with structure %.3f s   import %.3f s   ATTACH + INSERT...SELECT %.3f s\n", tk, im, fl);
    std::printf("ratios: takeover / import %.2f, takeover / floor %.1f, import / floor %.1f\n", tk / im, tk / fl,
                im / fl);
    std::printf("memory during the last takeover: RSS %ld kB before, %ld kB at 10%%, %ld kB at the end\n", rssBefore,
                rssTenth, rssEnd);
    return 0;
}
