#pragma once
// The compiling user's own data: the one row of table Setup.

#include "sections/fields.h"
#include "shell/context.h"
#include "shell/dbclass.h"

namespace anag {

const fields::Table &setupFields();

// The row of the current database, or (which = Previous) of the previous
// year's; found is false when the table is empty.
fields::Record loadSetup(dbClass &db, dbClass::Which which, bool *found = nullptr);
// Tax code, postcode and e-mail checks; -1 when all pass, else the field's position.
int setupCheck(AppContext &ctx, const fields::Record &r);
// Checks, then adds the row on an empty table or updates the one row. A
// failed write shows the update-failure message; false.
bool saveSetup(AppContext &ctx, const fields::Record &r, int *failedField = nullptr);
// Plain e-mail form: name@domain.tld, no blanks.
bool emailFormOk(const QString &email);

} // namespace anag
