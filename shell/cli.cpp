#include "shell/cli.h"

#include "refdata/template.h"
#include "shell/startup.h"

#include <QFileInfo>
#include <cstdio>

namespace cli {

void err(const QString &s)
{
    const QByteArray b = (s + u'\n').toUtf8();
    std::fwrite(b.constData(), 1, size_t(b.size()), stderr);
}

void out(const QString &s)
{
    const QByteArray b = (s + u'\n').toUtf8();
    std::fwrite(b.constData(), 1, size_t(b.size()), stdout);
}

QString takeOption(QStringList &args, const QString &name)
{
    const int i = args.indexOf(name);
    if (i < 0 || i + 1 >= args.size())
        return {};
    const QString v = args.at(i + 1);
    args.remove(i, 2);
    return v;
}

bool takeFlag(QStringList &args, const QString &name)
{
    return args.removeAll(name) > 0;
}

bool Session::open(const QString &path)
{
    if (!path.isEmpty()) {
        if (!dbClass::isPostgresUrl(path) && !QFileInfo::exists(path)) {
            err(QStringLiteral("Database non trovato: ") + path);
            return false;
        }
        db.setCurrentPath(path);
    } else if (db.currentPath().isEmpty()) {
        err(QStringLiteral("Nessun database indicato: usare --db PERCORSO oppure qor init."));
        return false;
    }
    app.ensureDataFolder();
    msg.setLogFile(app.logPath());
    return db.connect();
}

int init(QStringList args)
{
    if (args.size() > 1 || (args.size() == 1 && args.first().startsWith(u'-'))) {
        err(QStringLiteral("Uso: qor init [PERCORSO]"));
        return Usage;
    }
    qorClass app;
    QString path = args.value(0);
    const bool remember = path.isEmpty();
    if (remember) {
        if (!app.ensureDataFolder()) {
            err(QStringLiteral("Impossibile creare la cartella dei dati: ") + app.dataFolder());
            return Refused;
        }
        path = app.defaultDatabasePath();
    }
    QString error;
    if (!refdata::createDatabase(path, app.refdataFolder(), &error)) {
        err(QStringLiteral("Creazione del database non riuscita: ") + error);
        return Refused;
    }
    if (remember)
        app.writeText(QStringLiteral("Qor") + QString::number(app.year()), QStringLiteral("Path"), path);
    out(QStringLiteral("Creato il database ") + QFileInfo(path).absoluteFilePath());
    return Ok;
}

int notAvailable(const QString &command)
{
    err(QStringLiteral("Il comando \"%1\" non è ancora disponibile in questa versione.").arg(command));
    return Refused;
}

} // namespace cli
