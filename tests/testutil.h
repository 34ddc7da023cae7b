#pragma once
// Helpers shared by the tests: a scratch folder and fresh databases.

#include "refdata/template.h"
#include "shell/qorclass.h"

#include <QDir>
#include <QTemporaryDir>
#include <QTest>

namespace testutil {

inline QString refdataFolder()
{
    return qorClass::refdataFolder();
}

// Creates a new database with the reference data at dir/name; fails the test
// when it cannot.
inline QString freshDatabase(const QTemporaryDir &dir, const QString &name = QStringLiteral("Qor2019.db"))
{
    const QString path = dir.filePath(name);
    QString error;
    if (!refdata::createDatabase(path, refdataFolder(), &error))
        qWarning("createDatabase: %s", qPrintable(error));
    return path;
}

} // namespace testutil
