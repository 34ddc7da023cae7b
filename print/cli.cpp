#include "shell/cli.h"

#include "print/dichiarazione.h"
#include "print/elenco.h"
#include "print/pdfcreator.h"

#include <QCoreApplication>
#include <QFileInfo>

namespace {

int usage()
{
    cli::err(QStringLiteral("Uso: qor print --db PERCORSO --elenco [--provincia XX] [--out FILE.pdf]"));
    cli::err(QStringLiteral("     qor print --db PERCORSO --dichiarazione SAID [--out FILE.pdf]"));
    return cli::Usage;
}

} // namespace

int cli::print(QStringList args)
{
    const QString dbPath = takeOption(args, QStringLiteral("--db"));
    QString outPath = takeOption(args, QStringLiteral("--out"));
    const QString sigla = takeOption(args, QStringLiteral("--provincia"));
    const QString said = takeOption(args, QStringLiteral("--dichiarazione"));
    const bool elenco = takeFlag(args, QStringLiteral("--elenco"));
    if (!args.isEmpty() || elenco == !said.isEmpty() || (!sigla.isEmpty() && !elenco))
        return usage();
    bool idOk = true;
    const qint64 saID = said.isEmpty() ? 0 : said.toLongLong(&idOk);
    if (!idOk || (!elenco && saID <= 0)) {
        err(QStringLiteral("Numero di dichiarazione non valido: ") + said);
        return Usage;
    }
    if (elenco && !sigla.isEmpty() && sigla.trimmed().size() != 2) {
        err(QStringLiteral("Attenzione, sigla provincia digitata errata!"));
        return Usage;
    }

    Session s;
    if (!s.open(dbPath))
        return Refused;
    if (outPath.isEmpty())
        outPath = clsPDFCreator::temporaryFileName(int(QCoreApplication::applicationPid()));

    QString error;
    if (elenco) {
        int chamber = 0;
        QString subtitle = QStringLiteral("Tutte le dichiarazioni");
        if (!sigla.isEmpty()) {
            const print::Chamber c = print::chamberOf(s.db, sigla);
            if (c.code == 0) {
                err(QStringLiteral("Attenzione, sigla provincia digitata errata!"));
                return Refused;
            }
            chamber = c.code;
            subtitle = QStringLiteral("Dichiarazioni con unità locale di competenza della CCIAA di ") + c.name;
        }
        if (!print::printElenco(s.db, chamber, subtitle, outPath, &error)) {
            err(QStringLiteral("Stampa non riuscita: ") + error);
            return Refused;
        }
    } else {
        const print::DeclarationResult r = print::printDichiarazione(s.db, saID, outPath, &error);
        if (r == print::DeclarationResult::NotFound) {
            err(QStringLiteral("Dichiarazione non trovata: ") + said);
            return Refused;
        }
        if (r != print::DeclarationResult::Ok) {
            err(QStringLiteral("Stampa non riuscita: ") + error);
            return Refused;
        }
    }
    out(QStringLiteral("Creato il file ") + QFileInfo(outPath).absoluteFilePath());
    return Ok;
}
