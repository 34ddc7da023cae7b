#pragma once
// clsPDFCreator: writes PDF 1.3 files directly, without outside libraries.
//
// A document is written as it is drawn: open() writes the header, fonts,
// images and forms become objects when they are added, every page is written
// by beginPage() ... endPage(), and finish() adds the page tree, catalogue,
// information dictionary, cross-reference table and trailer. Objects 1
// (information), 2 (catalogue) and 3 (page tree) are reserved; every other
// object takes the next number when it is begun. Lines end with CR LF.
//
// Coordinates and lengths are given in the document's unit, measured from the
// top-left corner of the page (y grows downwards); the writer turns them into
// PDF points from the bottom-left corner. A landscape document keeps its
// portrait media box, is shown turned by "/Rotate 90", and each page stream
// starts with the matrix that makes the caller's landscape coordinates land
// upright. Fonts are resources of the whole document, as are images and
// forms; they must be added while no page or form is open.
//
// Numbers are written with "." as decimal separator and at most three
// decimals, whatever the locale. Text is written in Windows-1252 with "(",
// ")" and "\" escaped.

#include "print/fontmetrics.h"

#include <QByteArray>
#include <QDateTime>
#include <QIODevice>
#include <QList>
#include <QString>
#include <memory>
#include <vector>

class QFile;

class clsPDFCreator {
public:
    enum Unit { Points = 0, Inches = 1, Millimetres = 2, Centimetres = 3 };
    enum PaperSize { A4 = 0, A3 = 1, A5 = 2, Letter = 3, Legal = 4 };
    enum Orientation { Portrait = 0, Landscape = 1 };
    enum Align { AlignLeft = 0, AlignRight = 1, AlignCenter = 2 };
    enum PathEnd { Fill, Close, Stroke, FillStroke, CloseFillStroke, NoPaint };
    enum FontStyle { Regular = 0, Bold = 1, Italic = 2, BoldItalic = 3 };
    enum ColorSpace { DeviceGray, DeviceRGB, Indexed };

    clsPDFCreator();
    ~clsPDFCreator();
    clsPDFCreator(const clsPDFCreator &) = delete;
    clsPDFCreator &operator=(const clsPDFCreator &) = delete;

    // ---- document settings (before open) ----
    void setTitle(const QString &t) { title_ = t; }
    QString title() const { return title_; }
    void setAuthor(const QString &a) { author_ = a; }
    void setCreationDate(const QDateTime &d) { created_ = d; }
    void setUnit(Unit u) { unit_ = u; }
    Unit unit() const { return unit_; }
    void setPaperSize(PaperSize size, Orientation o = Portrait);
    // Page size in the current unit, given as portrait width and height.
    void setPageSize(double width, double height, Orientation o = Portrait);
    Orientation orientation() const { return orientation_; }
    // Page size as the caller draws on it (landscape: width > height), in the unit.
    double pageWidth() const;
    double pageHeight() const;

    // ---- output ----
    bool open(const QString &path);
    bool open(QIODevice *device);   // the device stays the caller's
    // Closes an open page, writes the closing objects; false when anything
    // went wrong since open() (see errorString()).
    bool finish();
    QString errorString() const { return error_; }
    int pageCount() const { return int(pages_.size()); }

    // ---- resources ----
    // A standard font: base name ("Arial", "Helvetica", "TimesNewRoman",
    // "Courier", ...) with ",Bold", ",Italic" or ",BoldItalic" for the style.
    bool addStandardFont(const QString &name, const QString &baseName, FontStyle style = Regular);
    // A TrueType font with its descriptor and widths: "COURIERNEW",
    // "TIMESNEWROMAN" and "SYMBOL" choose those families, anything else Arial.
    bool addTrueTypeFont(const QString &name, const QString &family, FontStyle style = Regular);
    // An image of width x height samples given row by row from the top,
    // 8 bits per component (Gray 1, RGB 3 bytes a sample). Indexed: one byte
    // a sample (bits 8) or packed rows of 1, 2 or 4 bits, indexing palette,
    // which holds RGB triples.
    bool addImage(const QString &name, int width, int height, ColorSpace space,
                  const QByteArray &samples, int bitsPerComponent = 8,
                  const QByteArray &palette = {});
    // A reusable form: drawing between beginForm and endForm goes into it.
    // The box is the whole page unless given.
    bool beginForm(const QString &name);
    bool beginForm(const QString &name, double x, double y, double w, double h);
    bool endForm();

    // ---- pages ----
    bool beginPage();
    bool endPage();
    bool pageOpen() const { return inPage_; }

    // ---- text state ----
    bool setFont(const QString &name, double sizePoints);
    void setWordSpacing(double v);
    void setCharSpacing(double v);
    void setHorizontalScaling(double percent);
    void setTextRenderingMode(int mode);
    // Width of a text in the current font, size and spacing, in the unit.
    double textWidth(const QString &text) const;
    // Draws text with its baseline at y; angle in degrees, anticlockwise.
    void text(double x, double y, const QString &text, Align align = AlignLeft, double angle = 0);

    // ---- graphics state ----
    void setStrokeColor(int r, int g, int b);   // 0..255
    void setStrokeGray(double level);           // 0 black .. 1 white
    void setFillColor(int r, int g, int b);
    void setFillGray(double level);
    void setDash(const QList<double> &pattern = {});   // empty: solid line
    void setLineWidth(double w);
    void setLineCap(int cap);
    void setLineJoin(int join);
    void setMiterLimit(double limit);

    // ---- paths ----
    void moveTo(double x, double y);
    void lineTo(double x, double y);
    void curveTo(double x1, double y1, double x2, double y2, double x3, double y3);
    void rectangle(double x, double y, double w, double h);
    void endPath(PathEnd how);
    // Conveniences: a stroked line, a rectangle stroked or filled.
    void line(double x1, double y1, double x2, double y2);
    void box(double x, double y, double w, double h, PathEnd how = Stroke);

    // ---- placed objects ----
    void image(const QString &name, double x, double y, double w, double h);
    void form(const QString &name);

    // ---- helpers (public for their own tests) ----
    // Number with "." and at most `decimals` decimals, no trailing zeros.
    static QByteArray number(double v, int decimals = 3);
    // Windows-1252 bytes of a text; characters it lacks become "?".
    static QByteArray toWinAnsi(const QString &text);
    // Escapes "(", ")" and "\" (and line breaks) for a PDF string.
    static QByteArray escape(const QByteArray &bytes);
    // A text string of the document information: "(...)" in PDF's own text
    // encoding when every character has a code there, otherwise "<FEFF...>"
    // (UTF-16BE with its byte-order mark).
    static QByteArray textString(const QString &text);
    static QByteArray ascii85(const QByteArray &data);
    // Points per unit.
    static double pointsPerUnit(Unit u);
    // "<temp>/qor_<number>_prn_<yyyyMMddhhmmsszzz>.pdf"
    static QString temporaryFileName(int number, const QDateTime &when = QDateTime::currentDateTime());
    static constexpr const char *creator = "Qor 2019 clsPDFCreator";

private:
    struct Font {
        QByteArray name;
        int object;
        pdf::Family family;
        pdf::Style style;
    };
    struct XObject {
        QByteArray name;
        int object;
    };

    bool startOutput();
    void write(const QByteArray &bytes);
    void writeLine(const QByteArray &line);
    void writeDict(const QList<QByteArray> &entries);
    int beginObject();          // next number, records its offset
    int beginObject(int number);
    void endObject();
    // Opens a stream whose dictionary gets "/Length n 0 R" appended; the
    // length object takes the number after the stream's own.
    void beginStream(QList<QByteArray> entries);
    void endStream();
    bool canAddResource(const char *what);
    void op(const QByteArray &line);   // into the open page or form
    QByteArray pt(double v) const;     // a length in points, formatted
    QByteArray px(double x) const;     // a horizontal coordinate
    QByteArray py(double y) const;     // a vertical coordinate (flipped)
    double toPt(double v) const { return v * pointsPerUnit(unit_); }
    double mediaHeightForDrawing() const;
    void fail(const QString &why);
    const Font *findFont(const QByteArray &name) const;
    bool nameTaken(const QByteArray &name) const;

    QString title_ = QStringLiteral("(senza titolo)");
    QString author_;
    QDateTime created_;
    Unit unit_ = Millimetres;
    Orientation orientation_ = Portrait;
    double mediaW_ = 595.276, mediaH_ = 841.89;   // portrait, points

    std::unique_ptr<QFile> file_;
    QIODevice *dev_ = nullptr;
    std::vector<qint64> offsets_;   // by object number - 1; -1 not yet written
    int nextObject_ = 4;
    std::vector<int> pages_;
    std::vector<Font> fonts_;
    std::vector<XObject> xobjects_;
    bool inPage_ = false, inForm_ = false, finished_ = false;
    qint64 streamStart_ = 0;
    int lengthObject_ = 0;
    QString error_;

    const Font *font_ = nullptr;
    double fontSize_ = 10, wordSpacing_ = 0, charSpacing_ = 0, hScale_ = 100;
};
