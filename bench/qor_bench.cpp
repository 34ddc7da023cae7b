// Speed figures of the program's long operations. Each benchmark prints one
// line: name, work done, time, rate. Run with "make bench".

#include "refdata/template.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QSqlDatabase>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <cstdio>

namespace {

void report(const char *name, double seconds, const QString &detail)
{
    std::printf("%-40s %9.3f s  %s\n", name, seconds, qPrintable(detail));
}

void templateDatabase(const QString &refdata)
{
    QTemporaryDir dir;
    const int runs = 5;
    QElapsedTimer t;
    t.start();
    for (int i = 0; i < runs; ++i) {
        QString error;
        if (!refdata::createDatabase(dir.filePath(QStringLiteral("t%1.db").arg(i)), refdata, &error)) {
            std::printf("template: %s\n", qPrintable(error));
            return;
        }
    }
    const double s = double(t.nsecsElapsed()) / 1e9 / runs;
    qint64 rows = 0;
    {
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("count"));
        db.setDatabaseName(dir.filePath(QStringLiteral("t0.db")));
        db.open();
        QSqlQuery q(db);
        for (const QString &table : refdata::referenceTables())
            if (q.exec(QStringLiteral("SELECT COUNT(*) FROM ") + table) && q.next())
                rows += q.value(0).toLongLong();
    }
    QSqlDatabase::removeDatabase(QStringLiteral("count"));
    report("template database (qor init)", s,
           QStringLiteral("%1 reference rows, %2 rows/s").arg(rows).arg(qint64(double(rows) / s)));
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    qorClass qor;
    templateDatabase(qor.refdataFolder());
    return 0;
}
