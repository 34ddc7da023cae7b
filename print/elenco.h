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
#include <functional>

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
// The same for the declarations given (all of them when none is).
QHash<qint64, QString> schedePresent(dbClass &db, const QList<qint64> &saIDs);

// Sees the rows of the list one by one, in order.
using ElencoVisit = std::function<void(const ElencoRow &)>;

// Visits the declarations in order of company name (whatever its case), then
// the name as written, tax code and saID; chamber 0 takes them all, otherwise
// those whose local-unit municipality has that competent chamber. The list
// is read a window of declarations at a time (keyset paging on that order),
// so memory does not grow with the number of declarations. False when a
// query failed (reported by the database object).
// goOn, when given, is asked before each window: false stops the visit
// (which then returns false).
bool forEachElencoRow(dbClass &db, int chamber, const ElencoVisit &visit, int window = 500,
                      const std::function<bool()> &goOn = {});
// How many declarations the list of a chamber (0: all) holds.
qint64 elencoCount(dbClass &db, int chamber);
// The query of one window: with `after`, the window that follows the row
// whose order values are bound (the name's key again first, then the four
// values); the chamber, when any, is bound before them and the window's size
// last. outcomes: whether the store has the table of verification outcomes.
QString elencoWindowSql(bool outcomes, int chamber, bool after);
// The whole list at once (small lists and tests).
bool readElenco(dbClass &db, int chamber, QList<ElencoRow> *rows);

// Runs a visit over every row of a list; false when reading failed. The
// list is printed in two passes (the first counts the pages), so a source
// must give the same rows each time it is run.
using ElencoSource = std::function<bool(const ElencoVisit &)>;

// Lays the list out on an opened writer (which it sets to millimetres and
// A4 landscape: call before open()) and finishes the document. error gets
// the reason of a failure.
void setupElenco(clsPDFCreator &pdf);
bool writeElencoFrom(clsPDFCreator &pdf, const ElencoSource &source, const QString &subtitle,
                 const QDateTime &printed, QString *error = nullptr);
bool writeElenco(clsPDFCreator &pdf, const QList<ElencoRow> &rows, const QString &subtitle,
                 const QDateTime &printed);

// Progress of the list print: rows laid out so far, over both passes, of
// their total (twice the declarations); false stops the print.
using ElencoProgress = std::function<bool(qint64 done, qint64 total)>;

// All of it into a file. error gets the reason of a failure; a print the
// progress stopped leaves no file and sets *cancelled.
bool printElenco(dbClass &db, int chamber, const QString &subtitle, const QString &path,
                 QString *error, const ElencoProgress &progress = {}, bool *cancelled = nullptr);

} // namespace print
