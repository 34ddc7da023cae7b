#pragma once
// A fresh declaration database per test, helpers to add rows directly with
// SQL, and a run of the verification engine that hands back the report.

#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "verify/engine.h"

#include <QStringList>
#include <QTemporaryDir>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <vector>

class Fixture {
public:
    Fixture();
    bool ok() const { return ok_; }

    QTemporaryDir dir;
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    std::unique_ptr<dbClass> db;

    // Thousandths of kilograms as stored (unit 1).
    static qint64 kg(qint64 whole) { return whole * 1000; }

    qint64 insert(const QString &table, const QVariantMap &values);
    // A declaration of a unit in Agliè (TO) with a valid activity code.
    qint64 declaration(const QString &codFisc = QStringLiteral("RSSMRA80A01H501U"),
                       const QString &ragSoc = QStringLiteral("Ditta Prova Srl"),
                       const QVariantMap &extra = {});
    // A scheda RIF; quantities in whole kilograms by column name ("qtaProd").
    qint64 rif(qint64 saID, const QString &code, const QVariantMap &kgByColumn = {});
    // A module of a RIF scheda; quantities in whole kilograms.
    qint64 modRif(qint64 rifID, int tipo, const QVariantMap &values = {});
    qint64 opRif(qint64 mrID, int pos, const QString &code, qint64 kgWhole);
    // Generic quantity map: {"qtaX": n} becomes qtaX = n kg, umiX = 1.
    static QVariantMap qty(const QVariantMap &kgByColumn);

    struct Run {
        bool result = false;
        QStringList lines;   // the report, split on CR LF (no final empty piece)
        QByteArray bytes;
        verify::Progress progress;
    };
    Run run(verify::Mode mode, qint64 key, bool includeExported = true, bool markExportable = false);
    Run runOne(qint64 saID) { return run(verify::Mode::Declaration, saID); }

    // Remarks of a report as "E|W <subject> | <first message line>".
    static QStringList remarks(const QStringList &lines);
    // The remarks whose first message line is the text given.
    static QStringList find(const QStringList &lines, const QString &firstLine);
    // Lines of the remark with that first message line, from the class line
    // to its closing empty line (empty when absent).
    static QStringList block(const QStringList &lines, const QString &firstLine);

    bool exportable(qint64 saID);

private:
    bool ok_ = false;
};

// A rule case: rows added to a fresh declaration, the first message line of
// the remark and what is expected of it ("E <subject>" or "W <subject>"; empty
// when the remark must not appear).
struct RuleCase {
    const char *name;
    std::function<void(Fixture &, qint64 saID)> build;
    QString firstLine;
    QString expected;
};

// Runs every case on its own declaration; returns the failures, one per line.
QString runCases(Fixture &f, const std::vector<RuleCase> &cases);
