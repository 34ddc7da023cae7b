#pragma once
// Shared by the benchmarks: the raw floor of the storage measured with the
// sqlite3 shell, and the processor time it used.

#include "exchange/demodata.h"
#include "shell/dbclass.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QString>
#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

namespace bench {

// Processor time (user + system) of the children waited for so far.
inline double childCpu()
{
    rusage u{};
    getrusage(RUSAGE_CHILDREN, &u);
    return double(u.ru_utime.tv_sec + u.ru_stime.tv_sec) + (u.ru_utime.tv_usec + u.ru_stime.tv_usec) / 1e6;
}

// Runs a script through the sqlite3 shell on db, output to /dev/null; returns
// the wall time in seconds and puts the shell's processor time in *cpu.
inline double sqliteShell(const QString &db, const QString &script, double *cpu)
{
    const double before = childCpu();
    QElapsedTimer t;
    t.start();
    QProcess p;
    p.setStandardOutputFile(QStringLiteral("/dev/null"));
    p.start(QStringLiteral("sqlite3"), {db});
    p.write(script.toUtf8());
    p.closeWriteChannel();
    p.waitForFinished(-1);
    *cpu = childCpu() - before;
    return t.elapsed() / 1000.0;
}

// A figure of /proc/self/status in kB ("VmRSS:", "VmHWM:"); 0 when unknown.
inline long memoryKb(const char *key)
{
    QFile f(QStringLiteral("/proc/self/status"));
    if (!f.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &l : f.readAll().split('\n'))
        if (l.startsWith(key))
            return l.mid(int(qstrlen(key))).trimmed().split(' ').first().toLong();
    return 0;
}

// The tables of the declaration tree.
inline const char *const Tables[] = {"SezAnag", "SaAut", "SezRif", "ModRif", "RecRif", "SezInt", "ModInt",
                                     "SezImb", "RecImb", "ModImb", "RecModImb", "SezRaee", "RecRaee",
                                     "ModRaee", "RecModRaee", "SezVfu", "RecVfu", "ModVfu", "RecModVfu"};

// Fills db with n declarations of the demo generator, in slices of 10,000
// (each one transaction, so that memory stays flat on the biggest runs), and
// prints how long it took; false (and the reason on stderr) when it fails.
inline bool generate(dbClass &db, int n, QList<qint64> *ids = nullptr, quint32 seed = exch::demo::Options{}.seed)
{
    exch::demo::Options o;
    QString error;
    QElapsedTimer t;
    t.start();
    for (int done = 0; done < n; done += 10000) {
        o.declarations = std::min(10000, n - done);
        o.seed = seed + quint32(done);
        if (!exch::demo::generate(db, o, ids, &error)) {
            std::fprintf(stderr, "%s\n", qPrintable(error));
            return false;
        }
    }
    std::printf("generated %d declarations in %.1f s\n", n, t.elapsed() / 1000.0);
    std::fflush(stdout);
    return true;
}

} // namespace bench
