#pragma once
// The application object: identity of the edition, data folder, settings
// file, help file and the number of the working form now open.

#include "shell/settings.h"

#include <QString>

class qorClass {
public:
    static constexpr int Year = 2019;

    // Reads QOR_DATA (data folder) and QOR_DEV (development mode) from the
    // environment unless a data folder is given.
    explicit qorClass(const QString &dataFolder = {});

    int year() const { return Year; }
    QString editionDate() const { return QStringLiteral("11/02/2019"); }
    QString appTitle() const { return QStringLiteral("Qor ") + QString::number(Year); }
    bool devMode() const { return devMode_; }
    void setDevMode(bool on) { devMode_ = on; }

    // Always ends with the path separator.
    QString dataFolder() const { return dataFolder_; }
    static QString withTrailingSeparator(const QString &folder);
    // Creates the data folder when missing; false when that is not possible.
    bool ensureDataFolder() const;

    QString settingsPath() const;      // data folder + "qor2019.ini"
    // Why the settings file cannot be used (its path is a folder); empty
    // when it can.
    QString settingsProblem() const;
    QString defaultDatabasePath() const; // data folder + "Qor2019.db"
    QString reportPath() const;        // data folder + "Qor2019Err.txt"
    QString logPath() const;           // data folder + "qor2019.log"
    QString helpFile() const;          // the installed HTML help page
    static QString refdataFolder();    // QOR_REFDATA or the built-in default
    static QString builtinRefdataFolder(); // the copy built into the program

    // Message-box title: section "Qor", key "Box", default "Qor 2019".
    QString boxTitle() const;

    // Settings-file access.
    QString readText(const QString &section, const QString &key, const QString &def = {}) const
    { return ini_.readText(section, key, def); }
    int readInt(const QString &section, const QString &key, int def = 0) const
    { return ini_.readInt(section, key, def); }
    bool writeText(const QString &section, const QString &key, const QString &value) const
    { return ini_.writeText(section, key, value); }

    // Waste-code level: section "Qor", key "LivelloRifiuti" (0 when absent).
    int wasteCodeLevel() const { return wasteCodeLevel_; }
    void setWasteCodeLevel(int l) { wasteCodeLevel_ = l; }

    // Number of the working form now open (0: none).
    int currentForm = 0;

private:
    QString dataFolder_;
    bool devMode_ = false;
    int wasteCodeLevel_ = 0;
    IniFile ini_;
};
