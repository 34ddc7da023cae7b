#include "shell/startup.h"

#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QFileInfo>

bool startDatabase(qorClass &app, dbClass &db, Messages &msg)
{
    if (!app.ensureDataFolder()) {
        msg.critical(QStringLiteral("Attenzione, impossibile creare la cartella dei dati:\n")
                     + app.dataFolder());
        return false;
    }
    msg.setLogFile(app.logPath());
    if (const QString problem = app.settingsProblem(); !problem.isEmpty()) {
        msg.critical(problem);
        return false;
    }
    if (db.currentPath().isEmpty()) {
        const QString path = app.defaultDatabasePath();
        if (!QFileInfo::exists(path)) {
            QString error;
            if (!refdata::createDatabase(path, app.refdataFolder(), &error)) {
                msg.errorReport(QStringLiteral("Creazione database QOR"), 0, error,
                                QStringLiteral("qor init"));
                return false;
            }
        }
        db.setCurrentPath(path);
        app.writeText(QStringLiteral("Qor") + QString::number(app.year()), QStringLiteral("Path"), path);
    }
    if (!db.connect())
        return false;
    QString error;
    if (!refdata::seedCodRegCE(db.current(), &error))
        msg.errorReport({}, 0, error, QStringLiteral("CodRegCE"));
    return true;
}
