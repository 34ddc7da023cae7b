#pragma once
// The printed declaration: A4 pages laid out like the paper form, starting
// with section SA1 (anagrafica) and the list of the schede present; each
// page carries the declaring company and "Pagina n di N".

#include "print/pdfcreator.h"

#include <QDateTime>
#include <QList>
#include <QString>

class dbClass;
namespace tree {
struct Node;
}

namespace print {

// One boxed field of a printed form: caption above, value in the box. A row
// of a single field without width is a heading inside the frame.
struct FormField {
    QString caption;
    QString value;
    double width;     // millimetres taken in the row, caption included
    double box = 0;   // width of the value's box when narrower; 0: the whole width
                      // below 0: no box, caption and value on a plain line (a row of such fields is a line of the index)
};
using FormRow = QList<FormField>;

// A titled frame of rows of fields. A frame taller than a page goes on over
// the next pages, its title repeated with " (segue)". A frame that heads the
// next one (a scheda's number before its frames) is not left alone at the
// foot of a page.
struct FormFrame {
    QString title;
    QList<FormRow> rows;
    bool keepWithNext = false;
    // The scheda or module the frame belongs to ("Scheda RIF codice: 010101
    // modulo MG n. 1"): a page that goes on with it starts by repeating it
    // with " (segue)". Empty: a frame of its own.
    QString part;
    // Set on the first frame of a scheda: its line in the index of the first
    // page, which gives the page the frame lands on.
    QString index;
    // The closing block: room for the signature and the company stamp after
    // the rows.
    bool signature = false;
};

// What every page of a declaration says at its head: the company with its
// tax code, and the local unit (street and municipality), so that two units
// of one company are never taken for each other.
struct PageHeading {
    QString company;
    QString unit;
};

// The frames of a declaration: section SA1, the schede present, then the
// schede with their modules in the order of that list (SA-AUT, RIF, MAT, INT,
// AUT, ROT, FRA, IMB, TRA-RAEE, CR-RAEE), the index of the schede (after the
// schede present) and the closing block to sign; false when it does not exist.
bool sa1Frames(dbClass &db, qint64 saID, QList<FormFrame> *frames, PageHeading *heading);
// The same from the declaration already read whole.
bool sa1Frames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames, PageHeading *heading);

// Writes frames page by page on an opened writer (set up by setupDeclaration)
// and finishes the document.
void setupDeclaration(clsPDFCreator &pdf);
bool writeDeclaration(clsPDFCreator &pdf, const PageHeading &heading, const QList<FormFrame> &frames,
                      const QDateTime &printed);
// The frames as they go on the pages: a frame taller than a page split
// between rows, a heading never left as the last row of a piece.
QList<FormFrame> pageSized(const QList<FormFrame> &frames);

// Text of an activity code through the mask "!@@.@@.@@": "381100" -> "38.11.00".
QString activityCode(const QString &code);

enum class DeclarationResult { Ok, NotFound, Failed };
DeclarationResult printDichiarazione(dbClass &db, qint64 saID, const QString &path, QString *error);

} // namespace print
