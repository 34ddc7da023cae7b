#pragma once
// A fresh current-year database with the real reference data, in a
// temporary data folder, connected through the program's own objects.

#include "refdata/template.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QTemporaryDir>
#include <QTest>
#include <memory>

struct TestDb {
    QTemporaryDir dir;
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    std::unique_ptr<dbClass> db;
    std::unique_ptr<AppContext> ctx;

    bool open()
    {
        if (!dir.isValid())
            return false;
        app = std::make_unique<qorClass>(dir.path());
        const QString path = dir.filePath(QStringLiteral("Qor2019.db"));
        QString error;
        if (!refdata::createDatabase(path, qorClass::refdataFolder(), &error)) {
            qWarning("%s", qPrintable(error));
            return false;
        }
        db = std::make_unique<dbClass>(*app, msg);
        db->setCurrentPath(path);
        if (!db->connect())
            return false;
        ctx = std::make_unique<AppContext>(AppContext{*app, *db, msg});
        msg.clear();
        return true;
    }

    // A declaration with just its company, for the schede hung under it.
    qint64 addDeclaration()
    {
        return db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                        {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
    }
};
