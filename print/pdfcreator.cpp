#include "print/pdfcreator.h"

#include <QDir>
#include <QFile>
#include <cmath>
#include <numbers>

namespace {

const QByteArray crlf = QByteArrayLiteral("\r\n");

// Windows-1252 characters 0x80-0x9F as Unicode (0 where the code page has none).
constexpr char16_t cp1252High[32] = {
    0x20AC, 0, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0, 0x017D, 0,
    0, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0, 0x017E, 0x0178,
};

QByteArray ref(int object) { return QByteArray::number(object) + " 0 R"; }

// Resource names and font names become PDF names: letters, digits, "-", "_", ",".
bool validName(const QByteArray &n)
{
    if (n.isEmpty())
        return false;
    for (char c : n) {
        const bool ok = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')
                        || c == '-' || c == '_' || c == ',';
        if (!ok)
            return false;
    }
    return true;
}

QByteArray styleSuffix(clsPDFCreator::FontStyle s)
{
    switch (s) {
    case clsPDFCreator::Bold: return QByteArrayLiteral(",Bold");
    case clsPDFCreator::Italic: return QByteArrayLiteral(",Italic");
    case clsPDFCreator::BoldItalic: return QByteArrayLiteral(",BoldItalic");
    case clsPDFCreator::Regular: break;
    }
    return {};
}

} // namespace

clsPDFCreator::clsPDFCreator() = default;
clsPDFCreator::~clsPDFCreator()
{
    if (file_)
        file_->close();
}

// ---------------------------------------------------------------- helpers

QByteArray clsPDFCreator::number(double v, int decimals)
{
    if (!std::isfinite(v))
        v = 0;
    qint64 scale = 1;
    for (int i = 0; i < decimals; ++i)
        scale *= 10;
    qint64 r = std::llround(v * double(scale));
    const bool negative = r < 0;
    if (negative)
        r = -r;
    QByteArray s = QByteArray::number(r / scale);
    qint64 frac = r % scale;
    if (frac != 0) {
        QByteArray f = QByteArray::number(frac).rightJustified(decimals, '0');
        while (f.endsWith('0'))
            f.chop(1);
        s += '.' + f;
    }
    return negative && r != 0 ? '-' + s : s;
}

QByteArray clsPDFCreator::toWinAnsi(const QString &text)
{
    QByteArray out;
    out.reserve(text.size());
    for (const QChar ch : text) {
        const char16_t u = ch.unicode();
        if (u < 0x20)
            out += ' ';
        else if (u < 0x80 || (u >= 0xA0 && u <= 0xFF))
            out += char(u);
        else {
            char b = '?';
            for (int i = 0; i < 32; ++i)
                if (cp1252High[i] == u) {
                    b = char(0x80 + i);
                    break;
                }
            out += b;
        }
    }
    return out;
}

QByteArray clsPDFCreator::escape(const QByteArray &bytes)
{
    QByteArray out;
    out.reserve(bytes.size() + 8);
    for (char c : bytes) {
        switch (c) {
        case '(': out += "\\("; break;
        case ')': out += "\\)"; break;
        case '\\': out += "\\\\"; break;
        case '\r': out += "\\r"; break;
        case '\n': out += "\\n"; break;
        default: out += c;
        }
    }
    return out;
}

QByteArray clsPDFCreator::textString(const QString &text)
{
    // PDF's text encoding: Latin-1 with its own typographic characters in
    // 0x18..0x1F and 0x80..0xA0; 0x7F, 0x9F and 0xAD have no character.
    static const char16_t low[8] = {0x02D8, 0x02C7, 0x02C6, 0x02D9, 0x02DD, 0x02DB, 0x02DA, 0x02DC};
    static const char16_t high[33] = {0x2022, 0x2020, 0x2021, 0x2026, 0x2014, 0x2013, 0x0192, 0x2044, 0x2039,
                                      0x203A, 0x2212, 0x2030, 0x201E, 0x201C, 0x201D, 0x2018, 0x2019, 0x201A,
                                      0x2122, 0xFB01, 0xFB02, 0x0141, 0x0152, 0x0160, 0x0178, 0x017D, 0x0131,
                                      0x0142, 0x0153, 0x0161, 0x017E, 0,      0x20AC};
    QByteArray doc;
    for (const QChar ch : text) {
        const char16_t c = ch.unicode();
        int code = -1;
        if ((c >= 0x20 && c < 0x7F) || (c >= 0xA1 && c <= 0xFF && c != 0xAD) || c == u'\r' || c == u'\n'
            || c == u'\t')
            code = c;
        for (int i = 0; code < 0 && i < 8; ++i)
            if (low[i] == c)
                code = 0x18 + i;
        for (int i = 0; code < 0 && i < 33; ++i)
            if (high[i] == c && c != 0)
                code = 0x80 + i;
        if (code < 0) {
            QByteArray hex = "<FEFF";
            for (const QChar u : text)
                hex += QByteArray::number(u.unicode(), 16).rightJustified(4, '0').toUpper();
            return hex + '>';
        }
        doc += char(code);
    }
    return '(' + escape(doc) + ')';
}

QByteArray clsPDFCreator::ascii85(const QByteArray &data)
{
    QByteArray out;
    out.reserve(data.size() * 5 / 4 + 8);
    const auto *p = reinterpret_cast<const unsigned char *>(data.constData());
    const qsizetype n = data.size();
    for (qsizetype i = 0; i < n; i += 4) {
        const int len = int(std::min<qsizetype>(4, n - i));
        quint32 v = 0;
        for (int k = 0; k < 4; ++k)
            v = (v << 8) | (k < len ? p[i + k] : 0u);
        if (len == 4 && v == 0) {
            out += 'z';
            continue;
        }
        char g[5];
        for (int k = 4; k >= 0; --k) {
            g[k] = char('!' + v % 85);
            v /= 85;
        }
        out.append(g, len + 1);
    }
    out += "~>";
    return out;
}

double clsPDFCreator::pointsPerUnit(Unit u)
{
    switch (u) {
    case Inches: return 72.0;
    case Millimetres: return 72.0 / 25.4;
    case Centimetres: return 72.0 / 2.54;
    case Points: break;
    }
    return 1.0;
}

QString clsPDFCreator::temporaryFileName(int number, const QDateTime &when)
{
    return QDir::tempPath() + QStringLiteral("/qor_") + QString::number(number)
           + QStringLiteral("_prn_") + when.toString(QStringLiteral("yyyyMMddhhmmsszzz"))
           + QStringLiteral(".pdf");
}

// ---------------------------------------------------------------- settings

void clsPDFCreator::setPaperSize(PaperSize size, Orientation o)
{
    static const double sizes[][2] = {
        {595.276, 841.89},    // A4 210 x 297 mm
        {841.89, 1190.551},   // A3 297 x 420 mm
        {419.528, 595.276},   // A5 148 x 210 mm
        {612, 792},           // Letter 8.5 x 11 in
        {612, 1008},          // Legal 8.5 x 14 in
    };
    mediaW_ = sizes[size][0];
    mediaH_ = sizes[size][1];
    orientation_ = o;
}

void clsPDFCreator::setPageSize(double width, double height, Orientation o)
{
    mediaW_ = toPt(width);
    mediaH_ = toPt(height);
    orientation_ = o;
}

double clsPDFCreator::pageWidth() const
{
    return (orientation_ == Landscape ? mediaH_ : mediaW_) / pointsPerUnit(unit_);
}

double clsPDFCreator::pageHeight() const
{
    return (orientation_ == Landscape ? mediaW_ : mediaH_) / pointsPerUnit(unit_);
}

double clsPDFCreator::mediaHeightForDrawing() const
{
    return orientation_ == Landscape ? mediaW_ : mediaH_;
}

// ---------------------------------------------------------------- low-level output

void clsPDFCreator::fail(const QString &why)
{
    if (error_.isEmpty())
        error_ = why;
}

void clsPDFCreator::write(const QByteArray &bytes)
{
    if (!dev_)
        return;
    if (dev_->write(bytes) != bytes.size())
        fail(QStringLiteral("Errore di scrittura: ") + dev_->errorString());
}

void clsPDFCreator::writeLine(const QByteArray &line)
{
    write(line + crlf);
}

void clsPDFCreator::writeDict(const QList<QByteArray> &entries)
{
    writeLine("<< " + entries.join('\r') + " >>");
}

int clsPDFCreator::beginObject()
{
    return beginObject(nextObject_++);
}

int clsPDFCreator::beginObject(int number)
{
    if (offsets_.size() < size_t(number))
        offsets_.resize(size_t(number), -1);
    offsets_[size_t(number - 1)] = dev_ ? dev_->pos() : -1;
    writeLine(QByteArray::number(number) + " 0 obj");
    return number;
}

void clsPDFCreator::endObject()
{
    writeLine("endobj");
}

void clsPDFCreator::beginStream(QList<QByteArray> entries)
{
    lengthObject_ = nextObject_++;
    entries.append("/Length " + ref(lengthObject_));
    writeDict(entries);
    writeLine("stream");
    streamStart_ = dev_ ? dev_->pos() : 0;
}

void clsPDFCreator::endStream()
{
    const qint64 length = (dev_ ? dev_->pos() : 0) - streamStart_;
    writeLine("endstream");
    endObject();
    beginObject(lengthObject_);
    writeLine(QByteArray::number(length));
    endObject();
}

bool clsPDFCreator::canAddResource(const char *what)
{
    if (!dev_ || finished_) {
        fail(QStringLiteral("Documento PDF non aperto"));
        return false;
    }
    if (inPage_ || inForm_) {
        fail(QStringLiteral("Risorsa aggiunta con una pagina aperta: ") + QLatin1String(what));
        return false;
    }
    return true;
}

bool clsPDFCreator::nameTaken(const QByteArray &name) const
{
    for (const Font &f : fonts_)
        if (f.name == name)
            return true;
    for (const XObject &x : xobjects_)
        if (x.name == name)
            return true;
    return false;
}

void clsPDFCreator::op(const QByteArray &line)
{
    if (!inPage_ && !inForm_) {
        fail(QStringLiteral("Disegno senza pagina aperta"));
        return;
    }
    writeLine(line);
}

QByteArray clsPDFCreator::pt(double v) const { return number(toPt(v)); }
QByteArray clsPDFCreator::px(double x) const { return number(toPt(x)); }
QByteArray clsPDFCreator::py(double y) const { return number(mediaHeightForDrawing() - toPt(y)); }

// ---------------------------------------------------------------- document

bool clsPDFCreator::open(const QString &path)
{
    file_ = std::make_unique<QFile>(path);
    if (!file_->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        error_ = QStringLiteral("Impossibile creare il file ") + path + QStringLiteral(": ")
                 + file_->errorString();
        file_.reset();
        return false;
    }
    dev_ = file_.get();
    return startOutput();
}

bool clsPDFCreator::open(QIODevice *device)
{
    file_.reset();
    dev_ = device;
    if (!dev_ || !dev_->isWritable()) {
        error_ = QStringLiteral("Dispositivo non scrivibile");
        dev_ = nullptr;
        return false;
    }
    return startOutput();
}

bool clsPDFCreator::startOutput()
{
    error_.clear();
    offsets_.assign(3, -1);
    nextObject_ = 4;
    pages_.clear();
    fonts_.clear();
    xobjects_.clear();
    inPage_ = inForm_ = finished_ = false;
    font_ = nullptr;
    fontSize_ = 10;
    wordSpacing_ = charSpacing_ = 0;
    hScale_ = 100;
    writeLine("%PDF-1.3");
    return error_.isEmpty();
}

bool clsPDFCreator::finish()
{
    if (!dev_ || finished_) {
        fail(QStringLiteral("Documento PDF non aperto"));
        return false;
    }
    if (inForm_)
        endForm();
    if (inPage_)
        endPage();
    if (pages_.empty()) {   // a document has at least one (empty) page
        beginPage();
        endPage();
    }

    // resources shared by every page
    const int resources = beginObject();
    writeLine("<<");
    writeLine("/Font <<");
    for (const Font &f : fonts_)
        writeLine('/' + f.name + ' ' + ref(f.object));
    writeLine(">>");
    writeLine("/ProcSet [/PDF /Text /ImageB /ImageC /ImageI ]");
    writeLine("/XObject <<");
    for (const XObject &x : xobjects_)
        writeLine('/' + x.name + ' ' + ref(x.object));
    writeLine(">>");
    writeLine(">>");
    endObject();

    // page tree
    const QByteArray box = "0 0 " + number(mediaW_) + ' ' + number(mediaH_);
    beginObject(3);
    writeLine("<<");
    writeLine("/Type /Pages");
    writeLine("/Count " + QByteArray::number(qsizetype(pages_.size())));
    writeLine("/MediaBox [" + box + ']');
    writeLine("/CropBox [" + box + ']');
    if (orientation_ == Landscape)
        writeLine("/Rotate 90");
    QByteArray kids = "/Kids [";
    for (int p : pages_)
        kids += ref(p) + ' ';
    writeLine(kids + ']');
    writeLine("/Resources " + ref(resources));
    writeLine(">>");
    endObject();

    // catalogue
    beginObject(2);
    writeDict({"/Type /Catalog", "/Pages 3 0 R", "/PageLayout /OneColumn", "/PageMode /UseNone",
               "/Lang (it)",
               "/ViewerPreferences << /HideToolbar false /DisplayDocTitle true /HideWindowUI false >>"});
    endObject();

    // document information; the time zone is the local one, "+01'00'" in Italy in winter
    const QDateTime when = created_.isValid() ? created_ : QDateTime::currentDateTime();
    const int offsetMin = when.offsetFromUtc() / 60;
    const int absMin = std::abs(offsetMin);
    const QByteArray zone = (offsetMin < 0 ? "-" : "+")
                            + QByteArray::number(absMin / 60).rightJustified(2, '0') + '\''
                            + QByteArray::number(absMin % 60).rightJustified(2, '0') + '\'';
    beginObject(1);
    writeDict({"/Title " + textString(title_),
               "/Author " + textString(author_),
               QByteArray("/Creator  (") + "Qor 2019" + ')',
               QByteArray("/Producer (") + creator + ')',
               "/CreationDate (D:" + when.toString(QStringLiteral("yyyyMMddHHmmss")).toLatin1() + zone
                   + ')'});
    endObject();

    // cross-reference table and trailer
    const qint64 xref = dev_->pos();
    const int count = nextObject_ - 1;
    writeLine("xref");
    writeLine("0 " + QByteArray::number(count + 1));
    writeLine("0000000000 65535 f");
    for (int i = 0; i < count; ++i) {
        const qint64 off = i < int(offsets_.size()) ? offsets_[size_t(i)] : -1;
        if (off < 0)
            fail(QStringLiteral("Oggetto PDF %1 non scritto").arg(i + 1));
        writeLine(QByteArray::number(std::max<qint64>(off, 0)).rightJustified(10, '0') + " 00000 n");
    }
    writeLine("trailer");
    writeLine("<<");
    writeLine("/Size " + QByteArray::number(count + 1));
    writeLine("/Root 2 0 R");
    writeLine("/Info 1 0 R");
    writeLine(">>");
    writeLine("startxref");
    writeLine(QByteArray::number(xref));
    writeLine("%%EOF");
    finished_ = true;
    if (file_) {
        if (!file_->flush())
            fail(QStringLiteral("Errore di scrittura: ") + file_->errorString());
        file_->close();
    }
    return error_.isEmpty();
}

// ---------------------------------------------------------------- resources

const clsPDFCreator::Font *clsPDFCreator::findFont(const QByteArray &name) const
{
    for (const Font &f : fonts_)
        if (f.name == name)
            return &f;
    return nullptr;
}

bool clsPDFCreator::addStandardFont(const QString &name, const QString &baseName, FontStyle style)
{
    const QByteArray n = name.toLatin1();
    QByteArray base = baseName.toLatin1();
    base.replace(' ', "");
    if (!canAddResource("font"))
        return false;
    if (!validName(n) || !validName(base) || nameTaken(n)) {
        fail(QStringLiteral("Nome di font non valido: ") + name);
        return false;
    }
    const int obj = beginObject();
    writeDict({"/Type /Font ", "/Subtype /Type1 ", "/Name /" + n,
               "/BaseFont /" + base + styleSuffix(style), "/Encoding /WinAnsiEncoding"});
    endObject();
    fonts_.push_back({n, obj, pdf::familyOf(base), pdf::Style(style)});
    return true;
}

bool clsPDFCreator::addTrueTypeFont(const QString &name, const QString &family, FontStyle style)
{
    const QByteArray n = name.toLatin1();
    if (!canAddResource("font"))
        return false;
    if (!validName(n) || nameTaken(n)) {
        fail(QStringLiteral("Nome di font non valido: ") + name);
        return false;
    }
    const QByteArray up = family.toUpper().toLatin1();
    const pdf::Family fam = up == "COURIERNEW"      ? pdf::Family::CourierNew
                            : up == "TIMESNEWROMAN" ? pdf::Family::TimesNewRoman
                            : up == "SYMBOL"        ? pdf::Family::Symbol
                                                    : pdf::Family::Arial;
    const pdf::FontMetrics &m = pdf::fontMetrics(fam, pdf::Style(style));
    const QByteArray fontName = pdf::familyName(fam) + styleSuffix(style);

    QByteArray widths = "/Widths [";
    for (int c = m.firstChar; c <= m.lastChar; ++c) {
        if (c > m.firstChar && (c - m.firstChar) % 16 == 0)
            widths += '\r';
        widths += QByteArray::number(m.width(uchar(c)));
        if (c < m.lastChar)
            widths += ' ';
    }
    widths += ']';

    const int obj = beginObject();
    writeDict({"/Type /Font", "/Subtype /TrueType", "/Name /" + n, "/BaseFont /" + fontName,
               "/FirstChar " + QByteArray::number(m.firstChar),
               "/LastChar " + QByteArray::number(m.lastChar), widths,
               "/FontDescriptor " + ref(obj + 1), "/Encoding /WinAnsiEncoding"});
    endObject();

    const auto &b = m.bbox;
    beginObject();
    writeDict({"/Type /FontDescriptor", "/FontName /" + fontName,
               "/Flags " + QByteArray::number(m.flags) + " /FontBBox [" + QByteArray::number(b[0]) + ' '
                   + QByteArray::number(b[1]) + ' ' + QByteArray::number(b[2]) + ' '
                   + QByteArray::number(b[3]) + ']',
               "/MissingWidth " + QByteArray::number(m.missingWidth) + " /StemV "
                   + QByteArray::number(m.stemV),
               "/ItalicAngle " + number(m.italicAngle, 1) + " /CapHeight "
                   + QByteArray::number(m.capHeight) + " /XHeight " + QByteArray::number(m.xHeight),
               "/Ascent " + QByteArray::number(m.ascent) + " /Descent " + QByteArray::number(m.descent)
                   + " /Leading " + QByteArray::number(m.leading),
               "/MaxWidth " + QByteArray::number(m.maxWidth) + " /AvgWidth "
                   + QByteArray::number(m.avgWidth)});
    endObject();
    fonts_.push_back({n, obj, fam, pdf::Style(style)});
    return true;
}

bool clsPDFCreator::addImage(const QString &name, int width, int height, ColorSpace space,
                             const QByteArray &samples, int bitsPerComponent, const QByteArray &palette)
{
    const QByteArray n = name.toLatin1();
    if (!canAddResource("image"))
        return false;
    if (!validName(n) || nameTaken(n) || width <= 0 || height <= 0) {
        fail(QStringLiteral("Immagine non valida: ") + name);
        return false;
    }
    int bits = 8;
    int components = space == DeviceRGB ? 3 : 1;
    if (space == Indexed) {
        bits = bitsPerComponent;
        const int colours = int(palette.size() / 3);
        if ((bits != 1 && bits != 2 && bits != 4 && bits != 8) || colours < 1 || colours > (1 << bits)
            || palette.size() % 3 != 0) {
            fail(QStringLiteral("Tavolozza non valida: ") + name);
            return false;
        }
    }
    const qsizetype rowBytes = (qsizetype(width) * components * bits + 7) / 8;
    if (samples.size() != rowBytes * height) {
        fail(QStringLiteral("Dati dell'immagine incompleti: ") + name);
        return false;
    }

    QByteArray colourSpace;
    if (space == Indexed) {
        // the palette is a stream of its own, written before the image
        const int pal = beginObject();
        beginStream({"/Filter /ASCII85Decode"});
        const QByteArray enc = ascii85(palette);
        for (qsizetype i = 0; i < enc.size(); i += 76)
            writeLine(enc.mid(i, 76));
        endStream();
        colourSpace = "[/Indexed /DeviceRGB " + QByteArray::number(palette.size() / 3 - 1) + ' '
                      + ref(pal) + ']';
    } else {
        colourSpace = space == DeviceRGB ? "/DeviceRGB" : "/DeviceGray";
    }

    // rows bottom first: the placement matrix turns the image upside down
    QByteArray rows;
    rows.reserve(samples.size());
    for (int r = height - 1; r >= 0; --r)
        rows += samples.mid(qsizetype(r) * rowBytes, rowBytes);

    const int obj = beginObject();
    beginStream({"/Type /XObject", "/Subtype /Image", "/Name /" + n,
                 "/Width " + QByteArray::number(width), "/Height " + QByteArray::number(height),
                 "/Filter /ASCII85Decode", "/ColorSpace " + colourSpace,
                 "/BitsPerComponent " + QByteArray::number(bits)});
    const QByteArray enc = ascii85(rows);
    for (qsizetype i = 0; i < enc.size(); i += 76)
        writeLine(enc.mid(i, 76));
    endStream();
    xobjects_.push_back({n, obj});
    return true;
}

bool clsPDFCreator::beginForm(const QString &name)
{
    return beginForm(name, 0, 0, pageWidth(), pageHeight());
}

bool clsPDFCreator::beginForm(const QString &name, double x, double y, double w, double h)
{
    const QByteArray n = name.toLatin1();
    if (!canAddResource("form"))
        return false;
    if (!validName(n) || nameTaken(n)) {
        fail(QStringLiteral("Nome di modulo non valido: ") + name);
        return false;
    }
    const int obj = beginObject();
    beginStream({"/Type /XObject", "/Subtype /Form", "/FormType 1",
                 "/BBox [" + px(x) + ' ' + py(y + h) + ' ' + px(x + w) + ' ' + py(y) + ']',
                 "/Matrix [1 0 0 1 0 0]"});
    xobjects_.push_back({n, obj});
    inForm_ = true;
    return true;
}

bool clsPDFCreator::endForm()
{
    if (!inForm_) {
        fail(QStringLiteral("Nessun modulo aperto"));
        return false;
    }
    endStream();
    inForm_ = false;
    return true;
}

// ---------------------------------------------------------------- pages

bool clsPDFCreator::beginPage()
{
    if (!dev_ || finished_ || inForm_) {
        fail(QStringLiteral("Pagina iniziata fuori posto"));
        return false;
    }
    if (inPage_)
        endPage();
    const int page = beginObject();
    writeDict({"/Type /Page", "/Parent 3 0 R", "/Contents " + ref(page + 1)});
    endObject();
    beginObject();
    beginStream({});
    pages_.push_back(page);
    inPage_ = true;
    if (orientation_ == Landscape)   // landscape drawing onto the portrait media box
        op("0 1 -1 0 " + number(mediaW_) + " 0 cm");
    return true;
}

bool clsPDFCreator::endPage()
{
    if (!inPage_)
        return false;
    endStream();
    inPage_ = false;
    return true;
}

// ---------------------------------------------------------------- text

bool clsPDFCreator::setFont(const QString &name, double sizePoints)
{
    const Font *f = findFont(name.toLatin1());
    if (!f) {
        fail(QStringLiteral("Font non definito: ") + name);
        return false;
    }
    font_ = f;
    fontSize_ = sizePoints;
    return true;
}

void clsPDFCreator::setWordSpacing(double v)
{
    wordSpacing_ = toPt(v);
    op(number(wordSpacing_) + " Tw");
}

void clsPDFCreator::setCharSpacing(double v)
{
    charSpacing_ = toPt(v);
    op(number(charSpacing_) + " Tc");
}

void clsPDFCreator::setHorizontalScaling(double percent)
{
    hScale_ = percent;
    op(number(percent) + " Tz");
}

void clsPDFCreator::setTextRenderingMode(int mode)
{
    op(QByteArray::number(mode) + " Tr");
}

double clsPDFCreator::textWidth(const QString &text) const
{
    if (!font_)
        return 0;
    const pdf::FontMetrics &m = pdf::fontMetrics(font_->family, font_->style);
    const QByteArray bytes = toWinAnsi(text);
    double w = 0;
    for (char c : bytes) {
        w += m.width(uchar(c)) * fontSize_ / 1000.0 + charSpacing_;
        if (c == ' ')
            w += wordSpacing_;
    }
    return w * hScale_ / 100.0 / pointsPerUnit(unit_);
}

void clsPDFCreator::text(double x, double y, const QString &text, Align align, double angle)
{
    if (!font_) {
        fail(QStringLiteral("Testo senza font"));
        return;
    }
    const double width = toPt(textWidth(text));
    const double shift = align == AlignRight ? width : align == AlignCenter ? width / 2 : 0;
    op("BT");
    op('/' + font_->name + ' ' + number(fontSize_) + " Tf");
    const double X = toPt(x), Y = mediaHeightForDrawing() - toPt(y);
    if (angle == 0) {
        op(number(X - shift) + ' ' + number(Y) + " Td");
    } else {
        const double rad = angle * std::numbers::pi / 180.0;
        const double c = std::cos(rad), s = std::sin(rad);
        op(number(c, 5) + ' ' + number(s, 5) + ' ' + number(-s, 5) + ' ' + number(c, 5) + ' '
           + number(X - shift * c) + ' ' + number(Y - shift * s) + " Tm");
    }
    op('(' + escape(toWinAnsi(text)) + ") Tj");
    op("ET");
}

// ---------------------------------------------------------------- graphics state

void clsPDFCreator::setStrokeColor(int r, int g, int b)
{
    op(number(r / 255.0) + ' ' + number(g / 255.0) + ' ' + number(b / 255.0) + " RG");
}

void clsPDFCreator::setStrokeGray(double level) { op(number(level) + " G"); }

void clsPDFCreator::setFillColor(int r, int g, int b)
{
    op(number(r / 255.0) + ' ' + number(g / 255.0) + ' ' + number(b / 255.0) + " rg");
}

void clsPDFCreator::setFillGray(double level) { op(number(level) + " g"); }

void clsPDFCreator::setDash(const QList<double> &pattern)
{
    if (pattern.isEmpty()) {
        op("[ ] 0 d");
        return;
    }
    QList<QByteArray> parts;
    for (double v : pattern)
        parts.append(pt(v));
    op('[' + parts.join(' ') + "] 0 d");
}

void clsPDFCreator::setLineWidth(double w) { op(pt(w) + " w"); }
void clsPDFCreator::setLineCap(int cap) { op(QByteArray::number(cap) + " J"); }
void clsPDFCreator::setLineJoin(int join) { op(QByteArray::number(join) + " j"); }
void clsPDFCreator::setMiterLimit(double limit) { op(number(limit) + " M"); }

// ---------------------------------------------------------------- paths

void clsPDFCreator::moveTo(double x, double y) { op(px(x) + ' ' + py(y) + " m"); }
void clsPDFCreator::lineTo(double x, double y) { op(px(x) + ' ' + py(y) + " l"); }

void clsPDFCreator::curveTo(double x1, double y1, double x2, double y2, double x3, double y3)
{
    op(px(x1) + ' ' + py(y1) + ' ' + px(x2) + ' ' + py(y2) + ' ' + px(x3) + ' ' + py(y3) + " c");
}

void clsPDFCreator::rectangle(double x, double y, double w, double h)
{
    op(px(x) + ' ' + py(y + h) + ' ' + pt(w) + ' ' + pt(h) + " re");
}

void clsPDFCreator::endPath(PathEnd how)
{
    static const char *ops[] = {"f", "h", "S", "B", "b", "n"};
    op(ops[how]);
}

void clsPDFCreator::line(double x1, double y1, double x2, double y2)
{
    moveTo(x1, y1);
    lineTo(x2, y2);
    endPath(Stroke);
}

void clsPDFCreator::box(double x, double y, double w, double h, PathEnd how)
{
    rectangle(x, y, w, h);
    endPath(how);
}

// ---------------------------------------------------------------- placed objects

void clsPDFCreator::image(const QString &name, double x, double y, double w, double h)
{
    op("q");
    op(pt(w) + " 0 0 " + number(-toPt(h)) + ' ' + px(x) + ' ' + py(y) + " cm");
    op('/' + name.toLatin1() + " Do");
    op("Q");
}

void clsPDFCreator::form(const QString &name)
{
    op('/' + name.toLatin1() + " Do");
}
