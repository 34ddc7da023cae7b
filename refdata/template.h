#pragma once
// Builds a new current-year database: every table, the reference tables
// filled from the CSV files, the Config row with the schema version.

#include <QSqlDatabase>
#include <QString>

class Messages;

namespace refdata {

// Names of the reference tables loaded from "<Table>.csv".
QStringList referenceTables();

// Creates every table on an open, empty database.
bool createSchema(QSqlDatabase db, QString *error);
// Loads the reference CSV files of a folder into the tables (one transaction).
bool loadReferenceData(QSqlDatabase db, const QString &folder, QString *error);
// Adds the three EC-regulation codes B1010, B1020, B1030 when none of them exists.
bool seedCodRegCE(QSqlDatabase db, QString *error);

// Creates the file (which must not exist yet) and fills it.
bool createDatabase(const QString &path, const QString &refdataFolder, QString *error);

} // namespace refdata
