#pragma once
// Shared by the benchmarks: the raw floor of the storage measured with the
// sqlite3 shell, and the processor time it used.

#include "exchange/demodata.h"
#include "shell/dbclass.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QString>
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

// Fills db with n declarations of the demo generator and prints how long
// it took; false (and the reason on stderr) when it fails.
inline bool generate(dbClass &db, int n, QList<qint64> *ids = nullptr)
{
    exch::demo::Options o;
    o.declarations = n;
    QList<qint64> made;
    QString error;
    QElapsedTimer t;
    t.start();
    if (!exch::demo::generate(db, o, ids ? ids : &made, &error)) {
        std::fprintf(stderr, "%s\n", qPrintable(error));
        return false;
    }
    std::printf("generated %d declarations in %.1f s\n", n, t.elapsed() / 1000.0);
    return true;
}

} // namespace bench
