#include "shell/cli.h"

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/exportproc.h"
#include "exchange/importer.h"
#include "refdata/template.h"
#include "verify/engine.h"

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

} // namespace

int importFile(QStringList args)
{
    const QString db = takeOption(args, QStringLiteral("--db"));
    if (db.isEmpty() || args.size() != 1 || args.first().startsWith(u'-')) {
        err(QStringLiteral("Uso: qor import --db PERCORSO FILE"));
        return Usage;
    }
    Session s;
    if (!s.open(db) || !s.db.checkIntegrity())
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
    const QString report = dir + u'/' + QFileInfo(app.reportPath()).fileName();
    // The demo owns these files: each run starts afresh.
    for (const QString &f : {first, second, file, report})
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
    // Verification of every declaration, as the export does it: the ones
    // without errors are marked exportable, the report goes beside the files.
    verify::Engine engine(a.db, a.msg);
    if (!engine.openReport(report))
        return Refused;
    engine.run(verify::Mode::All, 0, true, true);
    if (engine.failed())
        return Refused;
    const QList<qint64> chosen = exch::markedDeclarations(a.db);
    out(QStringLiteral("Verifica terminata: ") + exch::exportableText(int(chosen.size())) + QStringLiteral(", ") +
        exch::notExportableText(engine.progress().withErrors) + u'.');
    out(QStringLiteral("Rapporto della verifica: ") + report);
    if (chosen.isEmpty())
        return Refused;
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
