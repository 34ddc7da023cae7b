#pragma once
// The schede of a printed declaration: SA-AUT, RIF with its modules RT, DR,
// TE, MG and RE, INT with its modules UO and UD. Schede and modules are
// numbered within their kind in their listing order ("n° progressivo Modulo
// RT" and the like).

#include "print/dichiarazione.h"

class dbClass;

namespace print {

// Appends the frames of every scheda RIF of the declaration (order of waste
// code, then key), each followed by its modules. False when a query failed.
bool rifFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);

// The authorisations of scheda SA-AUT (order of suID).
bool saAutFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
// The schede INT (order of waste code, then key), each with its modules UO, UD.
bool intFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);

// The scheda IMB (one per declaration): waste rows by group, quantities,
// secondary materials, then the modules RT-IMB, DR-IMB, TE-IMB, MG-IMB.
bool imbFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
// A stored IMB waste code as shown: 150104 splits into "150104-A"
// (aluminium, allAcc 1) and "150104-C" (steel).
QString imbWasteCode(const QString &code, int allAcc);
// The single treatment choice of an RT-IMB module from abroad (1-5 in the
// order of the form) and the surface of origin of RT-IMB (mbFlag).
QString imbTreatment(int code);
QString imbSurface(int mbFlag);

// Texts of the codes stored for MG plant types (index 1.. in the order of
// the form's list), landfill classes (6, 7, 8) and RE activities (4, 2, 5, 6).
QString mgPlantType(int code);
QString landfillClass(int code);
QString reActivity(int code);
// SA-AUT issuing body (1-3) and type of authorisation (1-6).
QString issuingBody(int code);
QString authorisationType(int code);
// Operation codes ticked in a stored check-box string ("1" ticked, "0" not,
// positions in list order, missing positions unticked), e.g. "R1, R13".
QString tickedOperations(const QString &stored, const QStringList &codes);

// A stored quantity with its unit as printed: "1.234,500 Kg"; empty for none or zero.
QString quantityText(const QVariant &qta, const QVariant &umi);

} // namespace print
