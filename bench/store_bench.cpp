// Cost of the store check run before an import, an export or a takeover
// (SQLite's quick_check), and of the archive copy, on a generated database.
//   store_bench [DECLARATIONS] [FILE]
// With FILE the generated database is kept there (and reused when it
// exists), so that the check can be timed again without generating anew.

#include "bench/benchutil.h"
#include "refdata/template.h"
#include "shell/backup.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <cstdio>

namespace {

double seconds(const QElapsedTimer &t) { return double(t.nsecsElapsed()) / 1e9; }

// Times one pragma (its result must be "ok").
double timePragma(dbClass &db, const QString &pragma)
{
    QElapsedTimer t;
    t.start();
    QSqlQuery q(db.current());
    if (!q.exec(pragma) || !q.next() || q.value(0).toString() != QLatin1String("ok"))
        std::printf("%s failed\n", qPrintable(pragma));
    return seconds(t);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication qapp(argc, argv);
    const int n = argc > 1 ? atoi(argv[1]) : 100000;
    QTemporaryDir dir;
    const QString path = argc > 2 ? QString::fromLocal8Bit(argv[2]) : dir.filePath(QStringLiteral("store.db"));
    qorClass app(dir.path());
    ScriptedMessages msg;
    QString error;
    dbClass db(app, msg);
    if (!QFileInfo::exists(path)) {
        if (!refdata::createDatabase(path, app.refdataFolder(), &error)) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return 1;
        }
        db.setCurrentPath(path);
        if (!db.connect())
            return 1;
        if (!bench::generate(db, n))
            return 1;
    } else {
        db.setCurrentPath(path);
        if (!db.connect())
            return 1;
    }
    const qint64 declarations = db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toLongLong();
    std::printf("database: %lld declarations, %.1f MB\n", declarations,
                double(QFileInfo(path).size()) / 1048576.0);

    // First run after opening (pages from the disk cache of the system),
    // then warm runs.
    for (int i = 0; i < 3; ++i)
        std::printf("quick_check run %d: %.3f s\n", i + 1, timePragma(db, QStringLiteral("PRAGMA quick_check")));
    std::printf("integrity_check: %.3f s\n", timePragma(db, QStringLiteral("PRAGMA integrity_check")));
    QElapsedTimer t;
    t.start();
    const bool checked = db.checkIntegrity();
    std::printf("dbClass::checkIntegrity: %.3f s (%s)\n", seconds(t), checked ? "ok" : "damaged");

    const QString copy = dir.filePath(QStringLiteral("copy.db"));
    t.restart();
    const bool copied = backup::copyArchive(db, msg, copy);
    std::printf("archive copy (VACUUM INTO): %.3f s (%s)\n", seconds(t), copied ? "ok" : "failed");
    return 0;
}
