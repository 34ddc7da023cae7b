// qor riporta --db PATH --anno-precedente PATH [--struttura] [--utente]
//             [--ragione-sociale TEXT] [--codice-fiscale CF] [--provincia XX]

#include "shell/cli.h"

#include "refdata/lookups.h"
#include "sections/takeover/takeover.h"
#include "shell/context.h"

namespace cli {

namespace {
int usage()
{
    err(QStringLiteral("Uso: qor riporta --db PERCORSO --anno-precedente PERCORSO [--struttura] [--utente] "
                       "[--ragione-sociale TESTO] [--codice-fiscale CF] [--provincia XX]"));
    return Usage;
}

QString setupText(takeover::Result::Setup s)
{
    using S = takeover::Result::Setup;
    switch (s) {
    case S::Taken: return QStringLiteral("riportati");
    case S::AlreadyThere: return QStringLiteral("già presenti, non riportati");
    case S::NotInPrevious: return QStringLiteral("assenti nell'anno precedente");
    case S::Refused: return QStringLiteral("non riportati (controlli non superati)");
    case S::NotAsked: break;
    }
    return {};
}
} // namespace

int riporta(QStringList args)
{
    // Options that need a value must have one.
    for (const char *o : {"--db", "--anno-precedente", "--ragione-sociale", "--codice-fiscale", "--provincia"}) {
        const int i = args.indexOf(QString::fromLatin1(o));
        if (i >= 0 && (i + 1 >= args.size() || args.at(i + 1).startsWith(QLatin1String("--"))))
            return usage();
    }
    const QString dbPath = takeOption(args, QStringLiteral("--db"));
    const QString previousPath = takeOption(args, QStringLiteral("--anno-precedente"));
    takeover::Options options;
    options.structure = takeFlag(args, QStringLiteral("--struttura"));
    options.setup = takeFlag(args, QStringLiteral("--utente"));
    takeover::Filter filter;
    filter.name = takeOption(args, QStringLiteral("--ragione-sociale"));
    filter.codFisc = takeOption(args, QStringLiteral("--codice-fiscale"));
    const QString province = takeOption(args, QStringLiteral("--provincia"));
    if (!args.isEmpty())
        return usage();

    Session s;
    if (!previousPath.isEmpty())
        s.db.setPreviousPath(previousPath);
    if (!s.open(dbPath) || !s.db.checkIntegrity())
        return Refused;
    QVector<takeover::Line> lines;
    if (!takeover::readPrevious(s.db, s.msg, lines))
        return Refused;
    if (!province.isEmpty()) {
        const refdata::Chamber chamber = refdata::competentChamber(s.db, s.msg, province);
        if (chamber.code == 0)
            return Usage;
        filter.chamber = chamber.code;
    }
    QList<qint64> ids;
    for (const takeover::Line &l : lines)
        if (takeover::matches(l, filter))
            ids << l.saID;

    AppContext ctx{s.app, s.db, s.msg};
    const takeover::Result r = takeover::run(ctx, ids, options);
    out(QStringLiteral("Dichiarazioni selezionate: %1").arg(ids.size()));
    out(QStringLiteral("Dichiarazioni riportate: %1").arg(r.taken));
    out(QStringLiteral("Dichiarazioni scartate perché già presenti: %1").arg(r.skipped));
    out(QStringLiteral("Ditte aggiunte all'anagrafica: %1").arg(r.companies));
    if (r.setup != takeover::Result::Setup::NotAsked)
        out(QStringLiteral("Dati dell'utente: ") + setupText(r.setup));
    return r.status == takeover::Result::Done ? Ok : Refused;
}

} // namespace cli
