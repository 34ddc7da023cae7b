#pragma once
// A fresh current-year database in a temporary folder, with the reference
// tables, the application object and scripted messages.

#include "refdata/template.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

struct TestDb {
    explicit TestDb(const QString &folder, const QString &name = QStringLiteral("qor.db"))
        : app(folder)
    {
        path = folder + u'/' + name;
        QString error;
        ok = refdata::createDatabase(path, qorClass::refdataFolder(), &error);
        if (!ok)
            qWarning() << error;
        db.setCurrentPath(path);
        db.setPreviousPath({});
        ok = ok && db.connect();
    }
    qorClass app;
    ScriptedMessages msg;
    dbClass db{app, msg};
    QString path;
    bool ok = false;
};

inline QByteArray readAll(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

inline bool writeAll(const QString &path, const QByteArray &bytes)
{
    QFile f(path);
    return f.open(QIODevice::WriteOnly | QIODevice::Truncate) && f.write(bytes) == bytes.size();
}

// Blanks what legitimately differs between two exports of the same data: the
// header date, time and control value and the timestamp part of every key.
// With keepIds false the identifier part of the key goes too: a declaration
// loaded into another database gets a new identifier.
inline QByteArray masked(QByteArray file, bool keepIds = true)
{
    QList<QByteArray> lines = file.split('\n');
    for (int i = 0; i < lines.size(); ++i) {
        QByteArray &l = lines[i];
        if (i == 0 && l.size() >= 482) {
            l.replace(14, 15, QByteArray(15, '#'));
            l.replace(451, 30, QByteArray(30, '#'));
        } else if (l.size() > 40) {
            l.replace(25, keepIds ? 12 : 15, QByteArray(keepIds ? 12 : 15, '#'));
        }
    }
    return lines.join('\n');
}
