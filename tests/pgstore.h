#pragma once
// A PostgreSQL database emptied and built again as a new template: every
// table of the schema, the reference data and the version stamp. Returns
// the failure, empty when it worked.

#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/schema/schema.h"

#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>

inline QString freshPgStore(const QString &url, const QString &connection, const QString &version)
{
    QSqlError err;
    if (!dbClass::openStore(url, connection, false, &err))
        return err.text();
    QString error;
    {
        QSqlDatabase db = QSqlDatabase::database(connection);
        QSqlQuery q(db);
        for (auto it = schema::tables().rbegin(); it != schema::tables().rend(); ++it)
            q.exec(QStringLiteral("DROP TABLE IF EXISTS %1 CASCADE").arg(it->name));
        const bool built = refdata::createSchema(db, &error)
                           && refdata::loadReferenceData(db, qEnvironmentVariable("QOR_REFDATA"), &error)
                           && refdata::seedCodRegCE(db, &error);
        if (built && !q.exec(QStringLiteral("INSERT INTO Config (CnfDbVer, CnfType) VALUES ('%1', 0)").arg(version)))
            error = q.lastError().text();
    }
    dbClass::closeStore(connection);
    return error;
}
