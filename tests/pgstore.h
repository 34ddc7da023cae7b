#pragma once
// A PostgreSQL database emptied and built again as a new template: every
// table of the schema, the reference data and the version stamp. Returns
// the failure, empty when it worked.

#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QCoreApplication>
#include <QSqlDatabase>
#include <QSqlError>
#include <QSqlQuery>
#include <QTest>

#include <cstdio>

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
                           && refdata::loadReferenceData(db, qorClass::refdataFolder(), &error)
                           && refdata::seedCodRegCE(db, &error);
        if (built && !q.exec(QStringLiteral("INSERT INTO Config (CnfDbVer, CnfType) VALUES ('%1', 0)").arg(version)))
            error = q.lastError().text();
    }
    dbClass::closeStore(connection);
    return error;
}

// The main of a PostgreSQL test: without a server in QOR_TEST_PG_URL the test
// does not run and CTest counts it as skipped, not passed.
#define QOR_PG_TEST_MAIN(TestObject)                                                  \
    int main(int argc, char **argv)                                                   \
    {                                                                                 \
        if (qEnvironmentVariableIsEmpty("QOR_TEST_PG_URL")) {                         \
            std::puts("QOR_TEST_PG_URL not set: no PostgreSQL server to test against"); \
            return QOR_TEST_SKIP_CODE;                                                \
        }                                                                             \
        QCoreApplication app(argc, argv);                                             \
        TestObject tc;                                                                \
        return QTest::qExec(&tc, argc, argv);                                         \
    }
