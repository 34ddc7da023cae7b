#pragma once
// The export procedure: step 1 chooses and verifies the declarations (the
// verification marks those without errors as exportable), step 2 writes the
// marked ones into an exchange file, logs the export in expTab and stamps
// the exported declarations with its number. Also the export history.

#include "exchange/expclass.h"
#include "verify/engine.h"

#include <QDateTime>
#include <QString>
#include <QStringList>
#include <QVector>

class dbClass;
class Messages;
class qorClass;

namespace exch {

struct ExportChoice {
    bool single = true;          // one declaration, or all those of a chamber
    qint64 saID = 0;             // single mode
    QString sigla;               // multiple mode: province abbreviation of the chamber
    bool includeExported = false; // "anche le dichiarazioni già esportate in precedenza"
};

struct VerifyOutcome {
    enum Status { Refused, Cancelled, Done } status = Refused;
    int exportable = 0;
    int notExportable = 0;
    int chamber = 0;     // province code of the chamber (multiple mode)
};

// Step 1. Refusals and the stop show their messages.
VerifyOutcome verifyForExport(qorClass &app, dbClass &db, Messages &msg, const ExportChoice &choice,
                              const verify::ProgressFn &progress = {});

// Texts of the two counts of step 2.
QString exportableText(int n);
QString notExportableText(int n);

// The declarations marked by step 1, in the order they are written.
QList<qint64> markedDeclarations(dbClass &db);

struct ExtractOutcome {
    ExportResult status = ExportResult::Failed;
    int written = 0;
    qint64 expID = 0;          // the log row of the (first) file
    QStringList files;         // the files written: more than one when split
    QList<qint64> expIDs;      // a log row for each
};

// Step 2: writes the marked declarations to path (through a temporary file
// renamed into place when complete; more declarations than one file holds
// go to numbered files beside it); then logs each file (expSaID in single
// mode, expProv in multiple mode) and stamps ExpID, in one transaction. Shows
// "Esportazione annullata dall'utente" or the closing message with the path.
// An existing file is replaced only with replaceExisting (the user confirmed).
ExtractOutcome extract(dbClass &db, Messages &msg, const QString &path, const ExportChoice &choice,
                       int chamber, const Progress &progress = {},
                       std::function<QDateTime()> clock = {}, bool replaceExisting = true);

// Default name of the exchange file: "Qor2019.000".
QString defaultFileName(int year);
// Filter list of the save dialog, as "text|pattern|...".
QString saveFilter(int year);

// The export history, newest first.
struct ExportLogRow {
    qint64 expID = 0;
    QDateTime when;
    QString date;        // "dd/mm/yyyy hh:nn"
    QString destination; // province abbreviation, or company with street and number
    int declarations = 0;
};
QVector<ExportLogRow> exportHistory(dbClass &db);
// Deletes a log row after the confirmation naming "l'esportazione selezionata";
// the declarations keep their ExpID.
bool deleteExport(dbClass &db, Messages &msg, qint64 expID);

} // namespace exch
