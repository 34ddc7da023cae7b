#pragma once
// Formal checks of the identifiers a declaration carries: the tax code
// (codice fiscale, 11 digits or 16 characters) and the postcode.

#include <QString>

class Messages;

namespace refdata {

// Trimmed and upper-cased form of a typed tax code.
QString normalizedTaxCode(const QString &typed);
// Character classes: 11 digits, or LLLLLLDDLDDLDDDL.
bool taxCodeFormOk(const QString &code);
// The check character the first 10 (or 15) characters call for; null QChar
// when the form is wrong.
QChar taxCodeCheckChar(const QString &code);

// The full check with its messages; true when the code may be kept.
bool checkTaxCode(const QString &typed, bool emptyAllowed, bool confirmOnly, Messages &msg);
// A postcode that is not empty must have 5 characters.
bool checkPostcode(const QString &value, Messages &msg);

} // namespace refdata
