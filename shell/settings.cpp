#include "shell/settings.h"

#include <QFile>
#include <QSaveFile>
#include <QStringList>

namespace {

QStringList readLines(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    QString all = QString::fromUtf8(f.readAll());
    all.replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    QStringList lines = all.split(u'\n');
    if (!lines.isEmpty() && lines.last().isEmpty())
        lines.removeLast();
    return lines;
}

bool isSection(const QString &line, QString *name)
{
    QString t = line.trimmed();
    if (t.startsWith(u'[') && t.endsWith(u']')) {
        *name = t.mid(1, t.size() - 2).trimmed();
        return true;
    }
    return false;
}

bool isKey(const QString &line, const QString &key, QString *value)
{
    int eq = line.indexOf(u'=');
    if (eq < 0)
        return false;
    if (line.left(eq).trimmed().compare(key, Qt::CaseInsensitive) != 0)
        return false;
    *value = line.mid(eq + 1).trimmed();
    return true;
}

} // namespace

QString IniFile::readText(const QString &section, const QString &key, const QString &def) const
{
    const QStringList lines = readLines(path_);
    bool inSection = false;
    for (const QString &line : lines) {
        QString name;
        if (isSection(line, &name)) {
            inSection = name.compare(section, Qt::CaseInsensitive) == 0;
            continue;
        }
        QString value;
        if (inSection && isKey(line, key, &value))
            return value.left(MaxValue);
    }
    return def.left(MaxValue);
}

int IniFile::readInt(const QString &section, const QString &key, int def) const
{
    const QString t = readText(section, key);
    if (t.isEmpty())
        return def;
    // Like the profile API: leading digits count, anything else gives 0.
    int i = 0;
    bool neg = false;
    if (i < t.size() && (t[i] == u'-' || t[i] == u'+'))
        neg = t[i++] == u'-';
    qint64 v = 0;
    while (i < t.size() && t[i].isDigit() && v < 100000000000LL)
        v = v * 10 + t[i++].digitValue();
    return int(neg ? -v : v);
}

bool IniFile::writeText(const QString &section, const QString &key, const QString &value) const
{
    QStringList lines = readLines(path_);
    int sectionLine = -1, insertAt = -1;
    bool inSection = false, done = false;
    for (int i = 0; i < lines.size() && !done; ++i) {
        QString name, old;
        if (isSection(lines[i], &name)) {
            if (inSection)
                break;
            inSection = name.compare(section, Qt::CaseInsensitive) == 0;
            if (inSection) {
                sectionLine = i;
                insertAt = i + 1;
            }
            continue;
        }
        if (inSection) {
            if (isKey(lines[i], key, &old)) {
                lines[i] = lines[i].left(lines[i].indexOf(u'=')).trimmed() + u'=' + value;
                done = true;
            } else if (!lines[i].trimmed().isEmpty()) {
                insertAt = i + 1;
            }
        }
    }
    if (!done) {
        if (sectionLine < 0) {
            if (!lines.isEmpty() && !lines.last().trimmed().isEmpty())
                lines << QString();
            lines << u'[' + section + u']' << key + u'=' + value;
        } else {
            lines.insert(insertAt, key + u'=' + value);
        }
    }
    QSaveFile f(path_);
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write((lines.join(QStringLiteral("\r\n")) + QStringLiteral("\r\n")).toUtf8());
    return f.commit();
}
