#include "shell/qorclass.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QStandardPaths>

qorClass::qorClass(const QString &dataFolder)
{
    devMode_ = qEnvironmentVariable("QOR_DEV") == QLatin1String("1");
    QString folder = dataFolder;
    if (folder.isEmpty())
        folder = qEnvironmentVariable("QOR_DATA");
    if (folder.isEmpty()) {
        if (devMode_)
            folder = QDir::homePath() + QStringLiteral("/Qor") + QString::number(Year);
        else
            folder = QStandardPaths::writableLocation(QStandardPaths::GenericDataLocation)
                     + QStringLiteral("/Qor") + QString::number(Year);
    }
    dataFolder_ = withTrailingSeparator(QDir::cleanPath(QDir(folder).absolutePath()));
    ini_.setPath(settingsPath());
    wasteCodeLevel_ = readInt(QStringLiteral("Qor"), QStringLiteral("LivelloRifiuti"), 0);
}

QString qorClass::withTrailingSeparator(const QString &folder)
{
    if (folder.endsWith(u'/') || folder.endsWith(QDir::separator()))
        return folder;
    return folder + u'/';
}

bool qorClass::ensureDataFolder() const
{
    return QDir().mkpath(dataFolder_);
}

QString qorClass::settingsPath() const
{
    return dataFolder_ + QStringLiteral("qor") + QString::number(Year) + QStringLiteral(".ini");
}

QString qorClass::settingsProblem() const
{
    if (ini_.isFolder())
        return QStringLiteral("Attenzione, il file delle impostazioni %1 è una cartella: impossibile "
                              "leggere o salvare le impostazioni. Rinominare o spostare la cartella.")
            .arg(QDir::toNativeSeparators(settingsPath()));
    return {};
}

QString qorClass::defaultDatabasePath() const
{
    return dataFolder_ + QStringLiteral("Qor") + QString::number(Year) + QStringLiteral(".db");
}

QString qorClass::reportPath() const
{
    return dataFolder_ + QStringLiteral("Qor") + QString::number(Year) + QStringLiteral("Err.txt");
}

QString qorClass::logPath() const
{
    return dataFolder_ + QStringLiteral("qor") + QString::number(Year) + QStringLiteral(".log");
}

// The help page lies next to the executable in a build folder and under
// share/ once installed; when neither is there, the first place is named.
QString qorClass::helpFile() const
{
    const QString dir = QCoreApplication::instance() ? QCoreApplication::applicationDirPath()
                                                     : QDir::currentPath();
    const QStringList places = {dir + QStringLiteral("/help/index.html"),
                                dir + QStringLiteral("/../share/qor2019/help/index.html")};
    for (const QString &cand : places)
        if (QFileInfo::exists(cand))
            return QFileInfo(cand).absoluteFilePath();
    return QDir::cleanPath(places.first());
}

// The reference tables travel inside the program (refdata/data, built in as
// a resource); QOR_REFDATA names another folder of the same files.
QString qorClass::refdataFolder()
{
    const QString d = qEnvironmentVariable("QOR_REFDATA");
    return d.isEmpty() ? builtinRefdataFolder() : d;
}

QString qorClass::builtinRefdataFolder()
{
    return QStringLiteral(":/refdata");
}

QString qorClass::boxTitle() const
{
    return readText(QStringLiteral("Qor"), QStringLiteral("Box"), appTitle());
}
