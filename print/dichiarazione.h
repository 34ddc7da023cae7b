#pragma once
// The printed declaration: A4 pages laid out like the paper form, starting
// with section SA1 (anagrafica) and the list of the schede present; each
// page carries the declaring company and "Pagina n di N".

#include "print/pdfcreator.h"

#include <QDateTime>
#include <QList>
#include <QString>

class dbClass;

namespace print {

// One boxed field of a printed form: caption above, value in the box. A row
// of a single field without width is a heading inside the frame.
struct FormField {
    QString caption;
    QString value;
    double width;   // millimetres
};
using FormRow = QList<FormField>;

// A titled frame of rows of fields.
struct FormFrame {
    QString title;
    QList<FormRow> rows;
};

// The frames of a declaration: section SA1, the schede present, then the
// schede RIF with their modules; false when it does not exist.
bool sa1Frames(dbClass &db, qint64 saID, QList<FormFrame> *frames, QString *company);

// Writes frames page by page on an opened writer (set up by setupDeclaration)
// and finishes the document.
void setupDeclaration(clsPDFCreator &pdf);
bool writeDeclaration(clsPDFCreator &pdf, const QString &company, const QList<FormFrame> &frames,
                      const QDateTime &printed);

// Text of an activity code through the mask "!@@.@@.@@": "381100" -> "38.11.00".
QString activityCode(const QString &code);

enum class DeclarationResult { Ok, NotFound, Failed };
DeclarationResult printDichiarazione(dbClass &db, qint64 saID, const QString &path, QString *error);

} // namespace print
