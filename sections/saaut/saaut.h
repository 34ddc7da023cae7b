#pragma once
// Scheda SA-AUT: the authorisations the local unit holds for recovering or
// disposing of waste, many rows of SaAut per declaration. Field table, the
// operation flag strings, the save checks with their combined messages, and
// persistence. No widgets.

#include "sections/fields.h"
#include "shell/context.h"

#include <QVector>

namespace saaut {

const fields::Table &fieldTable();

// Recovery operations R1..R13 and disposal operations D1..D15: one check box
// each, stored as one character per box ("1" ticked) in list order.
constexpr int RecoveryCount = 13;
constexpr int DisposalCount = 15;
// A stored string is read padded with "0" to 15 characters: a null or short
// value leaves the missing boxes unticked.
QVector<bool> readFlags(const QVariant &stored, int count);
QString writeFlags(const QVector<bool> &ticked);

// The two lists keep an empty first entry: position = stored code.
const QStringList &issuingBodies(); // suEnte
const QStringList &types();         // suTipo

QVector<qint64> ids(AppContext &ctx, qint64 saID);
fields::Record blank();
fields::Record load(AppContext &ctx, qint64 suID, bool *found = nullptr);

// Save checks: the required data and the date order in one box (refused),
// then the warnings with the question "Procedo con il salvataggio?".
// Returns -1 when the save may go on, otherwise the position of the first
// field concerned.
int saveCheck(AppContext &ctx, const fields::Record &r);
// Writes the row; returns the key, 0 on failure.
qint64 save(AppContext &ctx, qint64 saID, qint64 suID, const fields::Record &r);
// The checks, then the write when they pass: the key, or 0 with failedField
// set to the field the cursor goes to (-1 when the write itself failed).
qint64 checkAndSave(AppContext &ctx, qint64 saID, qint64 suID, const fields::Record &r,
                    int *failedField = nullptr);
bool remove(AppContext &ctx, qint64 suID);

} // namespace saaut
