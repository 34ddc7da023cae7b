#pragma once
// Pieces shared by the print layouts: the fonts every print uses, text
// wrapping by the font's widths, dates and quantities as printed.

#include "print/pdfcreator.h"

#include <QString>
#include <QStringList>

namespace print {

// Resource names of the print fonts (Arial TrueType).
inline const QString Regular = QStringLiteral("R");
inline const QString Bold = QStringLiteral("B");
inline const QString Italic = QStringLiteral("I");

// Adds the print fonts; false when the writer refused them.
bool addPrintFonts(clsPDFCreator &pdf);

// Breaks a text into lines no wider than width (in the writer's unit) in the
// current font; words longer than a line are broken between characters.
// An empty text gives one empty line.
QStringList wrapText(const clsPDFCreator &pdf, const QString &text, double width);

// "yyyy-MM-dd" (optionally followed by a time) as "dd/MM/yyyy"; other text unchanged.
QString italianDate(const QString &isoDate);

} // namespace print
