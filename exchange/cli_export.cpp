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
    const bool replace = takeFlag(args, QStringLiteral("--sovrascrivi"));
    bool okId = true;
    const qint64 id = said.toLongLong(&okId);
    if (dbPath.isEmpty() || outPath.isEmpty() || !args.isEmpty() || said.isEmpty() == sigla.isEmpty()
        || (!said.isEmpty() && (!okId || id <= 0))) {
        err(QStringLiteral("Uso: qor export --db PERCORSO --out FILE (--dichiarazione SAID | "
                           "--provincia XX) [--anche-esportate] [--sovrascrivi]"));
        return Usage;
    }
    const QString target = QFileInfo(outPath).absoluteFilePath();
    if (QFileInfo::exists(target) && !replace) {
        err(QStringLiteral("Attenzione, il file ") + target +
            QStringLiteral(" esiste già: per sostituirlo indicare --sovrascrivi."));
        return Refused;
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
    const exch::ExtractOutcome x = exch::extract(s.db, s.msg, target, choice, v.chamber, {}, {}, replace);
    // The closing message names the file, or how many files and which.
    return x.status == exch::ExportResult::Done ? Ok : Refused;
}

} // namespace cli
