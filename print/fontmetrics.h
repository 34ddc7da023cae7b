#pragma once
// Metrics of the four font families the PDF writer knows (Courier New,
// Times New Roman, Symbol, Arial), each in four styles: the values of the
// TrueType font descriptor and the advance widths of the characters 32-255
// of the Windows-1252 code page (Symbol: of its own code page), in
// thousandths of the font size.

#include <QByteArray>
#include <array>

namespace pdf {

enum class Family { CourierNew, TimesNewRoman, Symbol, Arial };
enum class Style { Regular = 0, Bold = 1, Italic = 2, BoldItalic = 3 };

struct FontMetrics {
    int flags;
    std::array<int, 4> bbox;    // llx lly urx ury
    int missingWidth;
    int stemV;
    double italicAngle;
    int capHeight;
    int xHeight;
    int ascent;
    int descent;
    int leading;
    int maxWidth;
    int avgWidth;
    const std::array<short, 224> *widths;   // characters 32..255

    static constexpr int firstChar = 32;
    static constexpr int lastChar = 255;
    int width(unsigned char c) const
    {
        return c < firstChar ? 0 : (*widths)[c - firstChar];
    }
};

const FontMetrics &fontMetrics(Family family, Style style);

// Family of a font name: names containing "COURIER" (any case) are the
// Courier family, "TIMES" Times, "SYMBOL" Symbol; every other name is Arial
// (whose metrics are those of the Helvetica design).
Family familyOf(const QByteArray &name);

// PostScript-style name of a TrueType family: "CourierNew", "TimesNewRoman",
// "Symbol", "Arial".
QByteArray familyName(Family family);

} // namespace pdf
