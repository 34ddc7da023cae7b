#pragma once
// Section SA1: the identity of a declaration, one row of SezAnag. Field
// table, field-exit rules, save rules and persistence, without widgets.

#include "sections/fields.h"
#include "shell/context.h"

namespace sa1 {

const fields::Table &fieldTable();

// Field-exit rule of a field; may change the record (an activity code that
// does not exist is emptied, wrong months are set to 0). False: the focus
// stays in the field.
bool fieldExit(AppContext &ctx, const QString &name, fields::Record &r);

// Save rules in field order; -1 when the save may go on, otherwise the
// position in the field table of the field that stopped it.
int saveCheck(AppContext &ctx, const fields::Record &r);

fields::Record load(AppContext &ctx, qint64 saID, bool *found = nullptr);
// Runs the save rules and writes the row: a new declaration (saID 0) gets
// saAnno; every saved change clears ExpID and saExp, so a declaration that
// was exported must be verified and exported again. Returns the key, 0 when
// the save was refused or failed; failedField gets the field of a refusal.
qint64 save(AppContext &ctx, qint64 saID, const fields::Record &r, int *failedField = nullptr);
// Asks the shared confirmation and removes the declaration with everything
// that hangs from it. True when it was removed.
bool remove(AppContext &ctx, qint64 saID);

// "Nuova unità locale": the company data kept, the local unit cleared.
fields::Record newLocalUnit(const fields::Record &from);
// Copies the local unit's municipality, street, number, postcode and phone
// into the registered office, overwriting it.
void copyLocalUnit(fields::Record &r);

// Label of a declaration in lists: name + " - U. L.: " + local unit data.
QString label(const QString &ragSoc, const QString &via, const QString &civico, const QString &comDesc);

// The declarations of the company of declaration saID (same tax code), in
// order of key; just saID when it has no tax code, none for 0.
QVector<qint64> sameCompany(AppContext &ctx, qint64 saID);
// The label of a stored declaration, with the local unit's municipality.
QString labelOf(AppContext &ctx, qint64 saID);

// Schede and modules of a declaration, one line per kind.
struct SummaryLine {
    QString what;
    int count = 0;
};
QVector<SummaryLine> summary(AppContext &ctx, qint64 saID);

} // namespace sa1
