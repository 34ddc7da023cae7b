#include "shell/settings.h"

#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QStringDecoder>
#include <QStringEncoder>
#include <QStringList>

namespace {

// The file as it is on disk, one entry per line with its own line end
// ("\r\n", "\n" or none for a last line without one). Lines are kept as
// bytes: only the line of the key written is ever built again, so every
// other byte (comments, unknown sections, key order, the file's own
// encoding) stays as it was.
struct Lines {
    QList<QByteArray> body;   // without the line end
    QList<QByteArray> ends;
    bool utf8 = true;         // the file reads as UTF-8 (or is empty)

    QString text(qsizetype i) const { return decode(body[i]); }

    QString decode(const QByteArray &b) const
    {
        if (utf8)
            return QString::fromUtf8(b);
        // Files written by older programs on Windows are in the ANSI code
        // page; Latin-1 when the conversion is not available.
        QStringDecoder d("windows-1252");
        return d.isValid() ? QString(d(b)) : QString::fromLatin1(b);
    }

    QByteArray encode(const QString &s) const
    {
        if (utf8)
            return s.toUtf8();
        QStringEncoder e("windows-1252");
        return e.isValid() ? QByteArray(e(s)) : s.toLatin1();
    }

    QByteArray lineEnd() const
    {
        for (const QByteArray &e : ends)
            if (!e.isEmpty())
                return e;
        return QByteArrayLiteral("\r\n");
    }
};

Lines readLines(const QString &path)
{
    Lines l;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return l;
    const QByteArray all = f.readAll();
    QStringDecoder probe(QStringDecoder::Utf8);
    (void)QString(probe(all));
    l.utf8 = !probe.hasError();
    qsizetype from = 0;
    while (from < all.size()) {
        qsizetype nl = all.indexOf('\n', from);
        if (nl < 0) {
            l.body << all.mid(from);
            l.ends << QByteArray();
            break;
        }
        const bool cr = nl > from && all.at(nl - 1) == '\r';
        l.body << all.mid(from, nl - from - (cr ? 1 : 0));
        l.ends << (cr ? QByteArrayLiteral("\r\n") : QByteArrayLiteral("\n"));
        from = nl + 1;
    }
    return l;
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

bool IniFile::isFolder() const
{
    return QFileInfo(path_).isDir();
}

QString IniFile::readText(const QString &section, const QString &key, const QString &def) const
{
    const Lines lines = readLines(path_);
    bool inSection = false;
    for (qsizetype i = 0; i < lines.body.size(); ++i) {
        const QString line = lines.text(i);
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
    if (isFolder())
        return false;
    Lines lines = readLines(path_);
    // A value the file's encoding cannot hold turns the new line into UTF-8
    // only when the file is UTF-8 already; otherwise such a character would
    // be lost, and the write is refused.
    if (!lines.utf8) {
        QStringEncoder e("windows-1252");
        const bool fits = e.isValid() ? (void(QByteArray(e(value))), !e.hasError())
                                      : std::all_of(value.begin(), value.end(),
                                                    [](QChar c) { return c.unicode() < 256; });
        if (!fits)
            return false;
    }
    qsizetype sectionLine = -1, insertAt = -1;
    bool inSection = false, done = false;
    for (qsizetype i = 0; i < lines.body.size() && !done; ++i) {
        const QString line = lines.text(i);
        QString name, old;
        if (isSection(line, &name)) {
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
            if (isKey(line, key, &old)) {
                // The key as it is written (case, spaces) stays; the value changes.
                const QByteArray &b = lines.body[i];
                lines.body[i] = b.left(b.indexOf('=')).trimmed() + '=' + lines.encode(value);
                done = true;
            } else if (!line.trimmed().isEmpty()) {
                insertAt = i + 1;
            }
        }
    }
    const QByteArray eol = lines.lineEnd();
    if (!done) {
        // The line before the new ones must end.
        auto closeBefore = [&](qsizetype at) {
            if (at > 0 && lines.ends[at - 1].isEmpty())
                lines.ends[at - 1] = eol;
        };
        if (sectionLine < 0) {
            closeBefore(lines.body.size());
            if (!lines.body.isEmpty() && !lines.body.last().trimmed().isEmpty()) {
                lines.body << QByteArray();
                lines.ends << eol;
            }
            lines.body << '[' + lines.encode(section) + ']' << lines.encode(key) + '=' + lines.encode(value);
            lines.ends << eol << eol;
        } else {
            closeBefore(insertAt);
            lines.body.insert(insertAt, lines.encode(key) + '=' + lines.encode(value));
            lines.ends.insert(insertAt, eol);
        }
    }
    QByteArray all;
    for (qsizetype i = 0; i < lines.body.size(); ++i)
        all += lines.body[i] + lines.ends[i];
    // Written beside the file and renamed over it: a failure never leaves
    // half a settings file.
    QSaveFile f(path_);
    if (!f.open(QIODevice::WriteOnly))
        return false;
    f.write(all);
    return f.commit();
}
