#pragma once
// Competent Chamber of Commerce for a province abbreviation, with its
// advisory messages, as the verification form needs it.

#include <QString>

class dbClass;
class Messages;

namespace verify {

struct Chamber {
    qint64 code = 0;      // ISTAT code of the chamber's province; 0 unknown abbreviation
    QString sigla, name;  // the chamber province's abbreviation and name
};

// Looks the abbreviation up; shows the advisory message when one is due, or
// "Attenzione, sigla provincia digitata errata!" when it is unknown.
Chamber competentChamber(dbClass &db, Messages &msg, const QString &abbreviation);

} // namespace verify
