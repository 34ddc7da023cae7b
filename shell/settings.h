#pragma once
// Sectioned key=value settings file. Sections and keys are compared without
// regard to case; text values are cut at 255 characters on reading; whole
// numbers default to 0. Every call reads or writes the file itself, so two
// running programs see each other's changes.

#include <QString>

class IniFile {
public:
    static constexpr int MaxValue = 255;

    explicit IniFile(QString path = {}) : path_(std::move(path)) {}
    void setPath(const QString &p) { path_ = p; }
    QString path() const { return path_; }

    QString readText(const QString &section, const QString &key, const QString &def = {}) const;
    int readInt(const QString &section, const QString &key, int def = 0) const;
    // Changes or adds one line; every other byte of the file is kept. The
    // file is replaced whole (temporary file and rename). False when it
    // cannot be written.
    bool writeText(const QString &section, const QString &key, const QString &value) const;
    // The settings path names a folder: nothing can be read or written.
    bool isFolder() const;

private:
    QString path_;
};
