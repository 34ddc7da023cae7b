// qor verify --db PATH (--tutte | --provincia XX | --dichiarazione SAID)
//            [--anche-esportate] [--report FILE]

#include "shell/cli.h"
#include "refdata/lookups.h"
#include "verify/engine.h"

namespace cli {

namespace {
int usage()
{
    err(QStringLiteral("Uso: qor verify --db PERCORSO (--tutte | --provincia XX | --dichiarazione SAID) "
                       "[--anche-esportate] [--report FILE]"));
    return Usage;
}
} // namespace

int verify(QStringList args)
{
    const QString dbPath = takeOption(args, QStringLiteral("--db"));
    const bool all = takeFlag(args, QStringLiteral("--tutte"));
    const QString province = takeOption(args, QStringLiteral("--provincia"));
    const QString saID = takeOption(args, QStringLiteral("--dichiarazione"));
    bool includeExported = takeFlag(args, QStringLiteral("--anche-esportate"));
    const QString reportOption = takeOption(args, QStringLiteral("--report"));
    if (!args.isEmpty() || int(all) + int(!province.isEmpty()) + int(!saID.isEmpty()) != 1)
        return usage();
    bool ok = true;
    const qint64 declaration = saID.isEmpty() ? 0 : saID.toLongLong(&ok);
    if (!ok || (!saID.isEmpty() && declaration <= 0))
        return usage();

    Session s;
    if (!s.open(dbPath))
        return Refused;

    verify::Mode mode = verify::Mode::All;
    qint64 key = 0;
    if (!province.isEmpty()) {
        const refdata::Chamber chamber = refdata::competentChamber(s.db, s.msg, province);
        if (chamber.code == 0)
            return Usage;
        mode = verify::Mode::Chamber;
        key = chamber.code;
    } else if (declaration > 0) {
        mode = verify::Mode::Declaration;
        key = declaration;
        includeExported = true; // the declaration asked for is checked in any case
    }

    const QString reportPath = reportOption.isEmpty() ? s.app.reportPath() : reportOption;
    verify::Engine engine(s.db, s.msg);
    if (!engine.openReport(reportPath))
        return Refused;
    const bool errors = engine.run(mode, key, includeExported, false);
    if (engine.failed())
        return Refused;
    const verify::Progress &p = engine.progress();
    out(QStringLiteral("Dichiarazioni verificate: %1").arg(p.done));
    out(QStringLiteral("Dichiarazioni con segnalazioni: %1").arg(p.withRemarks));
    out(QStringLiteral("Dichiarazioni senza segnalazioni: %1").arg(p.withoutRemarks));
    out(QStringLiteral("Dichiarazioni con errori: %1").arg(p.withErrors));
    out(QStringLiteral("Rapporto: ") + reportPath);
    return errors ? Refused : Ok;
}

} // namespace cli
