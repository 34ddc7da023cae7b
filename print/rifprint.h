#pragma once
// The schede RIF of a printed declaration with their modules RT, DR, TE, MG
// and RE, each module numbered within its type in its listing order
// ("n° progressivo Modulo RT" and the like).

#include "print/dichiarazione.h"

class dbClass;

namespace print {

// Appends the frames of every scheda RIF of the declaration (order of waste
// code, then key), each followed by its modules. False when a query failed.
bool rifFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);

// Texts of the codes stored for MG plant types (index 1.. in the order of
// the form's list), landfill classes (6, 7, 8) and RE activities (4, 2, 5, 6).
QString mgPlantType(int code);
QString landfillClass(int code);
QString reActivity(int code);

// A stored quantity with its unit as printed: "1.234,500 Kg"; empty for none or zero.
QString quantityText(const QVariant &qta, const QVariant &umi);

} // namespace print
