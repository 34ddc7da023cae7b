#pragma once
// The printed list of declarations ("Elenco dichiarazioni"): every
// declaration, or those whose local unit belongs to one Chamber of Commerce,
// in order of company name, with company, tax code, local unit,
// municipality, the schede present, the date of compilation, the outcome of
// the last verification and the export state, on A4 landscape pages with header and page numbers.

#include "print/pdfcreator.h"

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>

class dbClass;

namespace print {

struct ElencoRow {
    qint64 saID = 0;
    QString ragSoc, codFisc;
    QString unita;        // street, house number, postcode of the local unit
    QString comune;       // municipality with its province abbreviation
    QString schede;       // schede present, e.g. "RIF (2), SA-AUT"
    QString compilata;    // date of compilation, "15/03/2019"
    QString verifica;     // last verification: "errori (12/03/2019)", "non verificata"
    QString esportazione; // "n. 3 del 12/03/2019" or "non esportata"
};

// Competent chamber of a province abbreviation: its province code (0 when
// the abbreviation is unknown) and the name of the chamber's province.
struct Chamber {
    int code = 0;
    QString name;
};
Chamber chamberOf(dbClass &db, const QString &sigla);

// The schede present in each declaration (all, or only saID), in the order of
// the menu with their count when more than one: "SA-AUT, RIF (2), ROT".
// Declarations without schede are absent.
QHash<qint64, QString> schedePresent(dbClass &db, qint64 saID = 0);

// Reads the declarations in order of company name (whatever its case), tax
// code, saID; chamber 0
// takes them all, otherwise those whose local-unit municipality has that
// competent chamber. False when a query failed (reported by the database object).
bool readElenco(dbClass &db, int chamber, QList<ElencoRow> *rows);

// Lays the list out on an opened writer (which it sets to millimetres and
// A4 landscape: call before open()) and finishes the document.
void setupElenco(clsPDFCreator &pdf);
bool writeElenco(clsPDFCreator &pdf, const QList<ElencoRow> &rows, const QString &subtitle,
                 const QDateTime &printed);

// All of it into a file. error gets the reason of a failure.
bool printElenco(dbClass &db, int chamber, const QString &subtitle, const QString &path,
                 QString *error);

} // namespace print
