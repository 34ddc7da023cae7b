#include "shell/backup.h"

#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <filesystem>

namespace backup {

QString place() { return QStringLiteral("Salva copia dell'archivio"); }

QString suggestedPath(const dbClass &db)
{
    const QString folder = dbClass::isPostgresUrl(db.currentPath()) || db.currentPath().isEmpty()
                               ? db.app().dataFolder()
                               : QFileInfo(db.currentPath()).absolutePath();
    return QDir(folder).filePath(QStringLiteral("Qor%1-copia-%2.db")
                                     .arg(db.app().year())
                                     .arg(QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmm"))));
}

bool copyArchive(dbClass &db, Messages &msg, const QString &out)
{
    if (dbClass::isPostgresUrl(db.currentPath())) {
        msg.critical(QStringLiteral("Attenzione, l'archivio è su un server PostgreSQL: per averne una "
                                    "copia usare le copie di sicurezza del server."),
                     place());
        return false;
    }
    if (!db.isCurrentOpen()) {
        msg.critical(QStringLiteral("Attenzione, nessun database collegato."), place());
        return false;
    }
    const QFileInfo target(out);
    if (target.isDir()) {
        msg.critical(QStringLiteral("Attenzione, %1 è una cartella: indicare il nome del file della copia.")
                         .arg(out),
                     place());
        return false;
    }
    if (target.exists() && target.canonicalFilePath() == QFileInfo(db.currentPath()).canonicalFilePath()) {
        msg.critical(QStringLiteral("Attenzione, la copia non può sostituire l'archivio stesso: "
                                    "scegliere un altro file."),
                     place());
        return false;
    }
    if (!QDir(target.absolutePath()).exists()) {
        msg.critical(QStringLiteral("Attenzione, la cartella %1 non esiste.").arg(target.absolutePath()),
                     place());
        return false;
    }
    // The copy is written under a temporary name in the same folder, so that
    // an interrupted copy never takes the place of a good file.
    const QString temp = target.absolutePath() + QStringLiteral("/.") + target.fileName()
                         + QStringLiteral(".%1.tmp").arg(QCoreApplication::applicationPid());
    QFile::remove(temp);
    {
        QSqlQuery q(db.current());
        q.prepare(QStringLiteral("VACUUM INTO ?"));
        q.addBindValue(temp);
        if (!q.exec()) {
            const QSqlError e = q.lastError();
            q = QSqlQuery();
            QFile::remove(temp);
            msg.databaseErrorReport(place(), dbClass::errorCode(e), e.databaseText(),
                            QStringLiteral("VACUUM INTO ") + out);
            return false;
        }
    }
    std::error_code ec;
    std::filesystem::rename(QFile::encodeName(temp).toStdString(),
                            QFile::encodeName(target.absoluteFilePath()).toStdString(), ec);
    if (ec) {
        QFile::remove(temp);
        msg.critical(QStringLiteral("Attenzione, impossibile salvare la copia nel file %1:\n%2")
                         .arg(out, QString::fromLocal8Bit(ec.message().c_str())),
                     place());
        return false;
    }
    return true;
}

} // namespace backup
