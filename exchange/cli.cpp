#include "shell/cli.h"

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "refdata/template.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>

namespace cli {

namespace {

void printCounters(const exch::ImportResult &r)
{
    out(QStringLiteral("Dichiarazioni contenute nel file da importare: ") + QString::number(r.contained));
    out(QStringLiteral("Dichiarazioni importate: ") + QString::number(r.imported));
    out(QStringLiteral("Dichiarazioni scartate perché già presenti: ") + QString::number(r.skipped));
}

// Runs an import on an open session; prints what the import form shows.
int runImport(Session &s, const QString &file)
{
    const exch::ImportResult r = exch::importFile(s.db, s.msg, file);
    switch (r.status) {
    case exch::ImportResult::Refused:
        err(QStringLiteral("Attenzione, il file NON è stato generato da questa procedura."));
        err(r.check.text());
        return Refused;
    case exch::ImportResult::Done:
        printCounters(r);
        out(QStringLiteral("Operazione terminata"));
        return Ok;
    default:
        printCounters(r);
        err(QStringLiteral("Operazione interrotta"));
        return Refused;
    }
}

QList<qint64> declarationsToExport(dbClass &db)
{
    QList<qint64> ids;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
    while (q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

} // namespace

int importFile(QStringList args)
{
    const QString db = takeOption(args, QStringLiteral("--db"));
    if (db.isEmpty() || args.size() != 1 || args.first().startsWith(u'-')) {
        err(QStringLiteral("Uso: qor import --db PERCORSO FILE"));
        return Usage;
    }
    Session s;
    if (!s.open(db))
        return Refused;
    return runImport(s, args.first());
}

int demo(QStringList args)
{
    QString dir = takeOption(args, QStringLiteral("--dir"));
    if (!args.isEmpty()) {
        err(QStringLiteral("Uso: qor demo [--dir CARTELLA]"));
        return Usage;
    }
    qorClass app;
    if (dir.isEmpty())
        dir = app.dataFolder() + QStringLiteral("demo");
    if (!QDir().mkpath(dir)) {
        err(QStringLiteral("Impossibile creare la cartella: ") + dir);
        return Refused;
    }
    dir = QFileInfo(dir).absoluteFilePath();
    const QString first = dir + QStringLiteral("/demo.db");
    const QString second = dir + QStringLiteral("/demo-importato.db");
    const QString file = dir + QStringLiteral("/Qor") + QString::number(app.year()) + QStringLiteral(".000");
    // The demo owns these three files: each run starts afresh.
    for (const QString &f : {first, second, file})
        QFile::remove(f);

    QString error;
    if (!refdata::createDatabase(first, app.refdataFolder(), &error)) {
        err(QStringLiteral("Creazione del database non riuscita: ") + error);
        return Refused;
    }
    Session a;
    if (!a.open(first))
        return Refused;
    exch::demo::Options o;
    o.declarations = 8;
    QList<qint64> ids;
    if (!exch::demo::generate(a.db, o, &ids, &error)) {
        err(QStringLiteral("Generazione delle dichiarazioni non riuscita: ") + error);
        return Refused;
    }
    out(QStringLiteral("Creato il database %1 con %2 dichiarazioni dimostrative "
                       "(alcune con errori voluti per la verifica).").arg(first).arg(ids.size()));
    // The verification engine marks the exportable declarations; until it is
    // part of this program every generated declaration is exported.
    const QList<qint64> chosen = declarationsToExport(a.db);
    if (exch::exportDeclarations(a.db, a.msg, file, chosen) != exch::ExportResult::Done)
        return Refused;
    out(QStringLiteral("Esportazione terminata. Le dichiarazioni sono state esportate nel file:"));
    out(file);

    if (!refdata::createDatabase(second, app.refdataFolder(), &error)) {
        err(QStringLiteral("Creazione del database non riuscita: ") + error);
        return Refused;
    }
    Session b;
    if (!b.open(second))
        return Refused;
    out(QStringLiteral("Importazione del file nel database ") + second);
    return runImport(b, file);
}

} // namespace cli
