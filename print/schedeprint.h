#pragma once
// The schede of a printed declaration: SA-AUT, RIF with its modules RT, DR,
// TE, MG and RE, INT with its modules UO and UD, IMB, the vehicle schede AUT,
// ROT, FRA and the electrical-equipment schede TRA-RAEE, CR-RAEE with their
// modules. Schede and modules are numbered within their kind in their listing
// order ("n° progressivo Modulo RT" and the like). Every module prints from
// the field table of its form, by one piece of code.

#include "print/dichiarazione.h"

#include <QVariantMap>
#include <functional>

class dbClass;
namespace tree {
struct Node;
}

namespace print {

// Reads the declaration saID whole, with one reader of the declaration tree,
// and hands it to build; false when it is not there, when the reading failed
// (reported) or when build fails.
bool withDeclaration(dbClass &db, qint64 saID, const std::function<bool(const tree::Node &)> &build);
// A row of the tree as column name -> value.
QVariantMap rowMap(const tree::Node &row);

// Appends the frames of every scheda RIF of the declaration (order of waste
// code, then key), each followed by its modules. The saID forms read the
// declaration first and are false when it is not there.
bool rifFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool rifFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);

// The authorisations of scheda SA-AUT (order of suID).
bool saAutFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool saAutFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);
// Scheda MAT: the secondary materials of the declaration, when it has any.
bool matFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool matFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);
// The schede INT (order of waste code, then key), each with its modules UO, UD.
bool intFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool intFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);

// The scheda IMB (one per declaration): waste rows by group, quantities,
// secondary materials, then the modules RT-IMB, DR-IMB, TE-IMB, MG-IMB.
bool imbFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool imbFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);
// The schede AUT, ROT, FRA (in this order), and TRA-RAEE, CR-RAEE (each by
// category): scheda number and category, the waste rows of each frame of
// the scheda, its frames of fields, then its modules RT, DR, TE, MG with the
// waste code each one is tied to.
bool vfuFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool vfuFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);
bool raeeFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames);
bool raeeFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames);

// The surface of origin of an RT-IMB module (mbFlag) as printed.
QString imbSurface(int mbFlag);

// SA-AUT issuing body (1-3) and type of authorisation (1-6).
QString issuingBody(int code);
QString authorisationType(int code);
// Operation codes ticked in a stored check-box string ("1" ticked, "0" not,
// positions in list order, missing positions unticked), e.g. "R1, R13".
QString tickedOperations(const QString &stored, const QStringList &codes);

// A stored quantity with its unit as printed: "1.234,500 Kg"; empty for none or zero.
QString quantityText(const QVariant &qta, const QVariant &umi);

} // namespace print
