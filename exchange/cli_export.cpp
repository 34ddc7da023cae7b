// qor export: the export procedure without dialogs.

#include "exchange/exportproc.h"
#include "shell/cli.h"

#include <QFileInfo>

namespace cli {

int exportFile(QStringList args)
{
    const QString dbPath = takeOption(args, QStringLiteral("--db"));
    const QString outPath = takeOption(args, QStringLiteral("--out"));
    const QString said = takeOption(args, QStringLiteral("--dichiarazione"));
    const QString sigla = takeOption(args, QStringLiteral("--provincia"));
    const bool all = takeFlag(args, QStringLiteral("--anche-esportate"));
    bool okId = true;
    const qint64 id = said.toLongLong(&okId);
    if (dbPath.isEmpty() || outPath.isEmpty() || !args.isEmpty() || said.isEmpty() == sigla.isEmpty()
        || (!said.isEmpty() && (!okId || id <= 0))) {
        err(QStringLiteral("Uso: qor export --db PERCORSO --out FILE (--dichiarazione SAID | "
                           "--provincia XX) [--anche-esportate]"));
        return Usage;
    }
    Session s;
    if (!s.open(dbPath) || !s.db.checkIntegrity())
        return Refused;
    exch::ExportChoice choice;
    choice.single = !said.isEmpty();
    choice.saID = id;
    choice.sigla = sigla;
    choice.includeExported = all;
    const exch::VerifyOutcome v = exch::verifyForExport(s.app, s.db, s.msg, choice);
    if (v.status != exch::VerifyOutcome::Done)
        return Refused;
    out(exch::exportableText(v.exportable));
    out(exch::notExportableText(v.notExportable));
    out(QStringLiteral("Rapporto della verifica: ") + s.app.reportPath());
    if (v.exportable == 0)
        return Refused;
    const exch::ExtractOutcome x = exch::extract(s.db, s.msg, QFileInfo(outPath).absoluteFilePath(),
                                                 choice, v.chamber);
    return x.status == exch::ExportResult::Done ? Ok : Refused;
}

} // namespace cli
