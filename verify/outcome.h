#pragma once
// The outcome of the last verification of each declaration: none, warnings
// only, or errors, with the day of the run. Kept in a small table of its own
// (VerEsito, keyed by saID, gone with its declaration), written by the
// verification engine and read by the list of declarations. The table is
// made when missing, so an archive of an earlier run gains it on first use.

#include "shell/dbstatement.h"

#include <QDate>
#include <QHash>

class dbClass;
class QSqlDatabase;

namespace verify {

enum class Outcome { Unknown = -1, Clean = 0, Warnings = 1, Errors = 2 };

struct LastOutcome {
    Outcome outcome = Outcome::Unknown;
    QDate day;
};

// Creates the table when missing; false when the statement failed (reported).
bool ensureOutcomeTable(dbClass &db);
// Records outcomes (a remark level 0..2) through one prepared statement, as
// a run of many declarations wants; the table must exist.
class OutcomeWriter {
public:
    explicit OutcomeWriter(const QSqlDatabase &db);
    bool isValid() const { return statement_.isValid(); }
    bool record(qint64 saID, int level, const QDate &day);
    QString error() const { return statement_.error(); }
    QString sql() const { return statement_.sql(); }

private:
    dbStatement statement_;
};

// Records the outcome of one declaration; false when it failed (reported).
bool recordOutcome(dbClass &db, qint64 saID, int level, const QDate &day);
// The recorded outcome of every declaration that has one (none while the
// table is missing).
QHash<qint64, LastOutcome> lastOutcomes(dbClass &db);
// The outcome of a stored level and day (read with the declaration): Unknown
// for a null or out-of-range level.
LastOutcome outcomeOf(const QVariant &level, const QVariant &day);
// As the list of declarations shows it: "errori", "avvisi", "nessuna
// segnalazione", each with the day, or "non verificata".
QString outcomeText(const LastOutcome &o);

} // namespace verify
