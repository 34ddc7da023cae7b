// The PDF writer: the text of every drawing operation, the file structure,
// fonts, images and forms, and the files read back by the Debian PDF tools.

#include "pdftestutil.h"
#include "print/pdfcreator.h"

#include <QBuffer>
#include <QFile>
#include <QLocale>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>
#include <clocale>

using namespace pdftest;

namespace {

void points(clsPDFCreator &p) { p.setUnit(clsPDFCreator::Points); }

// Lines of the first page, without the page's own set-up.
QList<QByteArray> drawn(const std::function<void(clsPDFCreator &)> &draw,
                        const std::function<void(clsPDFCreator &)> &setup = points)
{
    return lines(pageContent(build(
        [&](clsPDFCreator &p) {
            p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Helvetica"));
            p.beginPage();
            draw(p);
        },
        nullptr, setup)));
}

QList<QByteArray> L(std::initializer_list<const char *> l)
{
    QList<QByteArray> r;
    for (const char *s : l)
        r.append(QByteArray(s));
    return r;
}

// Numbers of the objects in the resource dictionary entry "/<name> n 0 R".
int resourceObject(const QByteArray &doc, const QByteArray &name)
{
    const auto m = QRegularExpression(QStringLiteral("\r\n/%1 (\\d+) 0 R\r\n").arg(QString::fromLatin1(name)))
                       .match(QString::fromLatin1(doc));
    return m.hasMatch() ? m.captured(1).toInt() : 0;
}

QByteArray readPgm(const QString &path, int *w, int *h)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    const QByteArray all = f.readAll();
    // "P5\n<w> <h>\n255\n" then the samples
    QList<QByteArray> head;
    qsizetype p = 0;
    while (head.size() < 4 && p < all.size()) {
        while (p < all.size() && QChar::isSpace(uchar(all.at(p))))
            ++p;
        if (p < all.size() && all.at(p) == '#') {
            p = all.indexOf('\n', p);
            continue;
        }
        const qsizetype s = p;
        while (p < all.size() && !QChar::isSpace(uchar(all.at(p))))
            ++p;
        head.append(all.mid(s, p - s));
    }
    if (head.size() < 4 || head[0] != "P5")
        return {};
    *w = head[1].toInt();
    *h = head[2].toInt();
    return all.mid(p + 1, qsizetype(*w) * *h);
}

} // namespace

class TestPdfCreator : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void numbersIgnoreTheLocale();
    void windows1252AndEscaping();
    void ascii85Encoding();
    void graphicsOperations();
    void unitsConvertToPoints();
    void textOperationsAndAlignment();
    void textWidthFollowsSpacing();
    void fileStructure();
    void landscapeRotatesThePage();
    void standardFonts();
    void trueTypeDescriptors();
    void widthTablesAreConsistent();
    void images();
    void forms();
    void misuseIsReported();
    void temporaryFileName();
    void checkedAndRenderedByPdfTools();
    void informationStringsReadBack();
    void renderedPageMatchesReference();
};

void TestPdfCreator::numbersIgnoreTheLocale()
{
    QLocale::setDefault(QLocale(QLocale::Italian, QLocale::Italy));
    std::setlocale(LC_ALL, "it_IT.UTF-8");   // may be missing: then the C locale stays
    QCOMPARE(clsPDFCreator::number(1234.5), QByteArray("1234.5"));
    QCOMPARE(clsPDFCreator::number(0.1 + 0.2), QByteArray("0.3"));
    QCOMPARE(clsPDFCreator::number(1234.56789), QByteArray("1234.568"));
    QCOMPARE(clsPDFCreator::number(-2.5), QByteArray("-2.5"));
    QCOMPARE(clsPDFCreator::number(-0.0001), QByteArray("0"));
    QCOMPARE(clsPDFCreator::number(0.0005), QByteArray("0.001"));
    QCOMPARE(clsPDFCreator::number(1000000), QByteArray("1000000"));
    QCOMPARE(clsPDFCreator::number(0.86602540, 5), QByteArray("0.86603"));
    QCOMPARE(clsPDFCreator::number(std::nan("")), QByteArray("0"));
    const QList<QByteArray> l = drawn([](clsPDFCreator &p) { p.setLineWidth(0.75); });
    QCOMPARE(l.value(0), QByteArray("0.75 w"));
    std::setlocale(LC_ALL, "C");
    QLocale::setDefault(QLocale::c());
}

void TestPdfCreator::windows1252AndEscaping()
{
    // Italian accented letters are Latin-1 positions; the euro sign, curly
    // quotes and dashes are where Windows-1252 differs from Latin-1
    QCOMPARE(clsPDFCreator::toWinAnsi(QStringLiteral("àèéìòùÀÈÉÌÒÙ°")),
             QByteArray("\xE0\xE8\xE9\xEC\xF2\xF9\xC0\xC8\xC9\xCC\xD2\xD9\xB0"));
    QCOMPARE(clsPDFCreator::toWinAnsi(QStringLiteral("€‘’“”–—…•™")),
             QByteArray("\x80\x91\x92\x93\x94\x96\x97\x85\x95\x99"));
    QCOMPARE(clsPDFCreator::toWinAnsi(QStringLiteral("ŠšŽžŒœŸƒ‰‹›ˆ˜‚„†‡")),
             QByteArray("\x8A\x9A\x8E\x9E\x8C\x9C\x9F\x83\x89\x8B\x9B\x88\x98\x82\x84\x86\x87"));
    // not in the code page: Greek, C1 controls, characters outside the BMP
    QCOMPARE(clsPDFCreator::toWinAnsi(QString(QChar(0x3A9)) + QChar(0x80) + QStringLiteral("😀")),
             QByteArray("????"));
    QCOMPARE(clsPDFCreator::toWinAnsi(QStringLiteral("a\tb\nc")), QByteArray("a b c"));

    QCOMPARE(clsPDFCreator::escape("f(x) = \\y"), QByteArray("f\\(x\\) = \\\\y"));
    QCOMPARE(clsPDFCreator::escape("))(("), QByteArray("\\)\\)\\(\\("));
}

void TestPdfCreator::ascii85Encoding()
{
    QCOMPARE(clsPDFCreator::ascii85("Man "), QByteArray("9jqo^~>"));
    QCOMPARE(clsPDFCreator::ascii85("sure."), QByteArray("F*2M7/c~>"));
    QCOMPARE(clsPDFCreator::ascii85(QByteArray("\0\0\0\0\1", 5)), QByteArray("z!<~>"));
    QCOMPARE(clsPDFCreator::ascii85(QByteArray(4, '\xFF')), QByteArray("s8W-!~>"));
    QCOMPARE(clsPDFCreator::ascii85({}), QByteArray("~>"));
    QByteArray all;
    for (int i = 0; i < 1000; ++i)
        all += char((i * 7919) & 0xFF);
    for (int n : {1, 2, 3, 4, 5, 999, 1000})
        QCOMPARE(ascii85Decode(clsPDFCreator::ascii85(all.left(n))), all.left(n));
}

void TestPdfCreator::graphicsOperations()
{
    // A4 portrait: 841.89 points high, y measured from the top
    const QList<QByteArray> l = drawn([](clsPDFCreator &p) {
        p.setStrokeColor(255, 0, 51);
        p.setStrokeGray(0.5);
        p.setFillColor(0, 128, 255);
        p.setFillGray(0);
        p.setDash();
        p.setDash({3, 1.5});
        p.setLineWidth(0.5);
        p.setLineCap(1);
        p.setLineJoin(2);
        p.setMiterLimit(10);
        p.moveTo(10, 20);
        p.lineTo(100.5, 41.89);
        p.curveTo(0, 0, 10, 10, 20, 841.89);
        p.rectangle(10, 20, 30, 40);
        for (auto e : {clsPDFCreator::Fill, clsPDFCreator::Close, clsPDFCreator::Stroke,
                       clsPDFCreator::FillStroke, clsPDFCreator::CloseFillStroke, clsPDFCreator::NoPaint})
            p.endPath(e);
        p.image(QStringLiteral("Im1"), 10, 20, 30, 40);
        p.form(QStringLiteral("Fm1"));
        p.line(0, 0, 10, 10);
        p.box(1, 2, 3, 4, clsPDFCreator::FillStroke);
    });
    QCOMPARE(l, L({"1 0 0.2 RG", "0.5 G", "0 0.502 1 rg", "0 g", "[ ] 0 d", "[3 1.5] 0 d", "0.5 w",
                   "1 J", "2 j", "10 M", "10 821.89 m", "100.5 800 l", "0 841.89 10 831.89 20 0 c",
                   "10 781.89 30 40 re", "f", "h", "S", "B", "b", "n", "q",
                   "30 0 0 -40 10 821.89 cm", "/Im1 Do", "Q", "/Fm1 Do", "0 841.89 m", "10 831.89 l",
                   "S", "1 835.89 3 4 re", "B"}));
}

void TestPdfCreator::unitsConvertToPoints()
{
    const QList<QByteArray> mm = drawn(
        [](clsPDFCreator &p) {
            p.moveTo(25.4, 0);
            p.setLineWidth(0.254);
            p.setDash({2.54});
            p.rectangle(0, 0, 210, 297);
        },
        [](clsPDFCreator &p) { p.setUnit(clsPDFCreator::Millimetres); });
    QCOMPARE(mm, L({"72 841.89 m", "0.72 w", "[7.2] 0 d", "0 0 595.276 841.89 re"}));

    const QList<QByteArray> in = drawn([](clsPDFCreator &p) { p.lineTo(1, 0.5); },
                                       [](clsPDFCreator &p) { p.setUnit(clsPDFCreator::Inches); });
    QCOMPARE(in, L({"72 805.89 l"}));

    const QList<QByteArray> cm = drawn(
        [](clsPDFCreator &p) { p.lineTo(2.54, 29.7); },
        [](clsPDFCreator &p) { p.setUnit(clsPDFCreator::Centimetres); });
    QCOMPARE(cm, L({"72 0 l"}));

    clsPDFCreator p;
    p.setUnit(clsPDFCreator::Millimetres);
    p.setPaperSize(clsPDFCreator::A4);
    QCOMPARE(qRound(p.pageWidth() * 10), 2100);
    QCOMPARE(qRound(p.pageHeight() * 10), 2970);
    p.setPaperSize(clsPDFCreator::Letter, clsPDFCreator::Landscape);
    QCOMPARE(qRound(p.pageWidth() * 10), 2794);
    QCOMPARE(qRound(p.pageHeight() * 10), 2159);
}

void TestPdfCreator::textOperationsAndAlignment()
{
    // "Ab" in Helvetica 10: (667 + 556) / 100 = 12.23 points
    const QList<QByteArray> l = drawn([](clsPDFCreator &p) {
        p.setFont(QStringLiteral("F1"), 10);
        p.text(100, 100, QStringLiteral("Ab"));
        p.text(100, 100, QStringLiteral("Ab"), clsPDFCreator::AlignRight);
        p.text(100, 100, QStringLiteral("Ab"), clsPDFCreator::AlignCenter);
        p.text(100, 100, QStringLiteral("Ab"), clsPDFCreator::AlignLeft, 90);
        p.text(100, 100, QStringLiteral("Ab"), clsPDFCreator::AlignRight, 90);
        p.text(100, 100, QStringLiteral("Ab"), clsPDFCreator::AlignLeft, 30);
        p.text(0, 0, QStringLiteral("(è) \\ €"));
    });
    QCOMPARE(l, L({"BT", "/F1 10 Tf", "100 741.89 Td", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "87.77 741.89 Td", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "93.885 741.89 Td", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "0 1 -1 0 100 741.89 Tm", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "0 1 -1 0 100 729.66 Tm", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "0.86603 0.5 -0.5 0.86603 100 741.89 Tm", "(Ab) Tj", "ET",
                   "BT", "/F1 10 Tf", "0 841.89 Td", "(\\(\xE8\\) \\\\ \x80) Tj", "ET"}));

    const QList<QByteArray> state = drawn([](clsPDFCreator &p) {
        p.setWordSpacing(1.5);
        p.setCharSpacing(0.25);
        p.setHorizontalScaling(90);
        p.setTextRenderingMode(2);
    });
    QCOMPARE(state, L({"1.5 Tw", "0.25 Tc", "90 Tz", "2 Tr"}));
}

void TestPdfCreator::textWidthFollowsSpacing()
{
    QByteArray data;
    QBuffer buf(&data);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator p;
    p.setUnit(clsPDFCreator::Points);
    p.open(&buf);
    p.addStandardFont(QStringLiteral("H"), QStringLiteral("Arial"));
    p.addStandardFont(QStringLiteral("HB"), QStringLiteral("Arial"), clsPDFCreator::Bold);
    p.addTrueTypeFont(QStringLiteral("C"), QStringLiteral("CourierNew"));
    p.addTrueTypeFont(QStringLiteral("T"), QStringLiteral("TimesNewRoman"), clsPDFCreator::Italic);
    p.beginPage();
    p.setFont(QStringLiteral("C"), 10);
    QCOMPARE(p.textWidth(QStringLiteral("àbc €")), 30.0);
    p.setFont(QStringLiteral("H"), 10);
    QCOMPARE(p.textWidth(QStringLiteral("A b")), 15.01);
    p.setFont(QStringLiteral("HB"), 10);
    QCOMPARE(p.textWidth(QStringLiteral("i")), 2.78);   // bold i is wider than regular 2.22
    p.setFont(QStringLiteral("T"), 20);
    QCOMPARE(p.textWidth(QStringLiteral("M")), 16.66);   // Times italic M 833
    p.setFont(QStringLiteral("H"), 10);
    p.setCharSpacing(1);
    p.setWordSpacing(2);
    QCOMPARE(p.textWidth(QStringLiteral("A b")), 20.01);
    p.setHorizontalScaling(50);
    QCOMPARE(p.textWidth(QStringLiteral("A b")), 10.005);
    p.setUnit(clsPDFCreator::Inches);
    QCOMPARE(p.textWidth(QStringLiteral("A b")), 10.005 / 72);
}

void TestPdfCreator::fileStructure()
{
    bool ok = false;
    const QByteArray doc = build(
        [](clsPDFCreator &p) {
            p.setTitle(QStringLiteral("Dichiarazione (prova) città"));
            p.setAuthor(QStringLiteral("Ufficio ambiente"));
            p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Helvetica"));   // 4
            p.addTrueTypeFont(QStringLiteral("F2"), QStringLiteral("Arial"));       // 5, 6
            p.beginPage();                                                          // 7, 8, 9
            p.setFont(QStringLiteral("F1"), 12);
            p.text(10, 20, QStringLiteral("Pagina 1"));
            p.beginPage();   // ends the first one: 10, 11, 12
            p.setFont(QStringLiteral("F2"), 12);
            p.text(10, 20, QStringLiteral("Pagina 2"));
        },
        &ok);
    QVERIFY(ok);
    QCOMPARE(structureFault(doc), QString());

    QVERIFY(object(doc, 4).contains("/Name /F1"));
    QVERIFY(object(doc, 5).contains("/Name /F2"));
    QVERIFY(object(doc, 6).contains("/Type /FontDescriptor"));
    QCOMPARE(object(doc, 7), QByteArray("<< /Type /Page\r/Parent 3 0 R\r/Contents 8 0 R >>\r\n"));
    QVERIFY(object(doc, 8).startsWith("<< /Length 9 0 R >>\r\nstream\r\n"));
    QVERIFY(object(doc, 8).endsWith("ET\r\nendstream\r\n"));
    QCOMPARE(object(doc, 10), QByteArray("<< /Type /Page\r/Parent 3 0 R\r/Contents 11 0 R >>\r\n"));
    QCOMPARE(object(doc, 13), QByteArray("<<\r\n/Font <<\r\n/F1 4 0 R\r\n/F2 5 0 R\r\n>>\r\n"
                                         "/ProcSet [/PDF /Text /ImageB /ImageC /ImageI ]\r\n"
                                         "/XObject <<\r\n>>\r\n>>\r\n"));
    QCOMPARE(object(doc, 3), QByteArray("<<\r\n/Type /Pages\r\n/Count 2\r\n/MediaBox [0 0 595.276 841.89]\r\n"
                                        "/CropBox [0 0 595.276 841.89]\r\n/Kids [7 0 R 10 0 R ]\r\n"
                                        "/Resources 13 0 R\r\n>>\r\n"));
    QCOMPARE(object(doc, 2), QByteArray("<< /Type /Catalog\r/Pages 3 0 R\r/PageLayout /OneColumn\r"
                                        "/PageMode /UseNone\r/Lang (it)\r/ViewerPreferences << "
                                        "/HideToolbar false /DisplayDocTitle true /HideWindowUI false >> >>\r\n"));
    const QByteArray info = object(doc, 1);
    QVERIFY(info.startsWith("<< /Title (Dichiarazione \\(prova\\) citt\xE0)\r/Author (Ufficio ambiente)\r"
                            "/Creator  ("));
    QVERIFY(info.contains("\r/Producer ("));
    QVERIFY(info.endsWith("\r/CreationDate (D:20200115102030+01'00') >>\r\n"));
    QVERIFY(doc.contains("trailer\r\n<<\r\n/Size 14\r\n/Root 2 0 R\r\n/Info 1 0 R\r\n>>\r\nstartxref\r\n"));
    QVERIFY(doc.contains("xref\r\n0 14\r\n0000000000 65535 f\r\n"));

    // a document without pages still gets one, and the default title
    const QByteArray empty = build([](clsPDFCreator &) {});
    QCOMPARE(structureFault(empty), QString());
    QVERIFY(object(empty, 3).contains("/Count 1\r\n"));
    QVERIFY(object(empty, 1).startsWith("<< /Title (\\(senza titolo\\))"));
}

void TestPdfCreator::landscapeRotatesThePage()
{
    const QByteArray doc = build(
        [](clsPDFCreator &p) {
            p.beginPage();
            p.moveTo(0, 0);   // top-left corner of the landscape page
            p.lineTo(p.pageWidth(), p.pageHeight());
        },
        nullptr,
        [](clsPDFCreator &p) {
            p.setUnit(clsPDFCreator::Points);
            p.setPaperSize(clsPDFCreator::A4, clsPDFCreator::Landscape);
        });
    QCOMPARE(structureFault(doc), QString());
    QVERIFY(object(doc, 3).contains("/MediaBox [0 0 595.276 841.89]\r\n"));
    QVERIFY(object(doc, 3).contains("/Rotate 90\r\n"));
    QCOMPARE(lines(pageContent(doc)), L({"0 1 -1 0 595.276 0 cm", "0 595.276 m", "841.89 0 l"}));
    QVERIFY(!object(build([](clsPDFCreator &) {}), 3).contains("/Rotate"));
}

void TestPdfCreator::standardFonts()
{
    const QByteArray doc = build([](clsPDFCreator &p) {
        p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Arial"));
        p.addStandardFont(QStringLiteral("F2"), QStringLiteral("Times New Roman"), clsPDFCreator::Bold);
        p.addStandardFont(QStringLiteral("F3"), QStringLiteral("Courier"), clsPDFCreator::Italic);
        p.addStandardFont(QStringLiteral("F4"), QStringLiteral("Arial"), clsPDFCreator::BoldItalic);
    });
    QCOMPARE(object(doc, 4), QByteArray("<< /Type /Font \r/Subtype /Type1 \r/Name /F1\r/BaseFont /Arial\r"
                                        "/Encoding /WinAnsiEncoding >>\r\n"));
    QVERIFY(object(doc, 5).contains("/BaseFont /TimesNewRoman,Bold\r"));
    QVERIFY(object(doc, 6).contains("/BaseFont /Courier,Italic\r"));
    QVERIFY(object(doc, 7).contains("/BaseFont /Arial,BoldItalic\r"));
    QCOMPARE(structureFault(doc), QString());
}

void TestPdfCreator::trueTypeDescriptors()
{
    const QByteArray doc = build([](clsPDFCreator &p) {
        p.addTrueTypeFont(QStringLiteral("C0"), QStringLiteral("CourierNew"));
        p.addTrueTypeFont(QStringLiteral("C1"), QStringLiteral("COURIERNEW"), clsPDFCreator::Bold);
        p.addTrueTypeFont(QStringLiteral("C2"), QStringLiteral("CourierNew"), clsPDFCreator::Italic);
        p.addTrueTypeFont(QStringLiteral("C3"), QStringLiteral("CourierNew"), clsPDFCreator::BoldItalic);
        p.addTrueTypeFont(QStringLiteral("T"), QStringLiteral("TimesNewRoman"));   // 12, 13
        p.addTrueTypeFont(QStringLiteral("S"), QStringLiteral("Symbol"));          // 14, 15
        p.addTrueTypeFont(QStringLiteral("A"), QStringLiteral("Verdana"));         // 16, 17: Arial
    });
    QCOMPARE(structureFault(doc), QString());
    const QByteArray font = object(doc, 4);
    for (const char *e : {"<< /Type /Font\r", "\r/Subtype /TrueType\r", "\r/Name /C0\r", "\r/BaseFont /CourierNew\r",
                          "\r/FirstChar 32\r", "\r/LastChar 255\r", "\r/FontDescriptor 5 0 R\r",
                          "\r/Encoding /WinAnsiEncoding >>"})
        QVERIFY2(font.contains(e), e);
    const auto wm = QRegularExpression(QStringLiteral("/Widths \\[([^\\]]*)\\]")).match(QString::fromLatin1(font));
    QVERIFY(wm.hasMatch());
    const QStringList widths = wm.captured(1).split(QRegularExpression(QStringLiteral("\\s+")), Qt::SkipEmptyParts);
    QCOMPARE(widths.size(), 224);
    QCOMPARE(widths.count(QStringLiteral("600")), 224);

    const QByteArray regular = object(doc, 5);
    for (const char *e : {"<< /Type /FontDescriptor\r", "\r/FontName /CourierNew\r",
                          "\r/Flags 34 /FontBBox [-250 -300 720 1000]\r", "\r/MissingWidth 600 /StemV 109\r",
                          "/ItalicAngle 0 ", "\r/Ascent 833 /Descent -300 /Leading 133\r"})
        QVERIFY2(regular.contains(e), e);
    QVERIFY(object(doc, 7).contains("/FontName /CourierNew,Bold\r/Flags 16418 "));
    QVERIFY(object(doc, 7).contains("/StemV 191\r"));
    QVERIFY(object(doc, 9).contains("/Flags 98 "));
    QVERIFY(object(doc, 9).contains("/ItalicAngle -11 "));
    QVERIFY(object(doc, 11).contains("/Flags 16482 "));
    QVERIFY(object(doc, 12).contains("/BaseFont /TimesNewRoman\r"));
    QVERIFY(object(doc, 12).contains("/Widths [250 333 408 "));
    QVERIFY(object(doc, 14).contains("/BaseFont /Symbol\r"));
    const auto flags = QRegularExpression(QStringLiteral("/Flags (\\d+)")).match(QString::fromLatin1(object(doc, 15)));
    QVERIFY(flags.captured(1).toInt() & 4);   // symbolic
    QVERIFY(object(doc, 16).contains("/BaseFont /Arial\r"));
    QVERIFY(object(doc, 16).contains("/Widths [278 278 355 "));
}

void TestPdfCreator::widthTablesAreConsistent()
{
    // accented letters are as wide as their base letter, digits are tabular,
    // the no-break space is a space: catches slips in the width tables
    // (the accented i is built on the dotless i, wider than "i" in Arial)
    const QString groups[] = {
        QStringLiteral("AÀÁÂÃÄÅ"), QStringLiteral("CÇ"), QStringLiteral("EÈÉÊË"), QStringLiteral("IÌÍÎÏ"),
        QStringLiteral("NÑ"), QStringLiteral("OÒÓÔÕÖ"), QStringLiteral("UÙÚÛÜ"), QStringLiteral("YÝŸ"),
        QStringLiteral("SŠ"), QStringLiteral("ZŽ"), QStringLiteral("aàáâãäå"), QStringLiteral("cç"),
        QStringLiteral("eèéêë"), QStringLiteral("ìíîï"), QStringLiteral("nñ"), QStringLiteral("oòóôõö"),
        QStringLiteral("uùúûü"), QStringLiteral("yýÿ"), QStringLiteral("sš"), QStringLiteral("zž"),
        QStringLiteral("0123456789"), QString(QChar(' ')) + QChar(0xA0), QStringLiteral("-\u00AD"),
    };
    for (auto fam : {pdf::Family::CourierNew, pdf::Family::TimesNewRoman, pdf::Family::Arial})
        for (auto st : {pdf::Style::Regular, pdf::Style::Bold, pdf::Style::Italic, pdf::Style::BoldItalic}) {
            const pdf::FontMetrics &m = pdf::fontMetrics(fam, st);
            for (const QString &g : groups) {
                const QByteArray b = clsPDFCreator::toWinAnsi(g);
                for (char c : b)
                    QVERIFY2(m.width(uchar(c)) == m.width(uchar(b[0])),
                             qPrintable(QStringLiteral("%1 style %2: %3").arg(int(fam)).arg(int(st)).arg(g)));
            }
            if (fam != pdf::Family::CourierNew)
                QVERIFY(m.width('m') > m.width('i'));
            else
                QCOMPARE(m.width('m'), m.width('i'));
        }
    QCOMPARE(pdf::familyOf("Times-Roman"), pdf::Family::TimesNewRoman);
    QCOMPARE(pdf::familyOf("courier"), pdf::Family::CourierNew);
    QCOMPARE(pdf::familyOf("Helvetica"), pdf::Family::Arial);
}

void TestPdfCreator::images()
{
    const QByteArray gray("\x00\x40\x80\xFF", 4);                 // 2 x 2, top row first
    const QByteArray rgb("\xFF\x00\x00\x00\x00\xFF", 6);          // 1 x 2: red over blue
    const QByteArray palette("\x00\x00\x00\xFF\xFF\x00", 6);      // black, yellow
    const QByteArray indexed("\x10\x00\x01\x10", 4);              // 3 x 2 at 4 bits, rows of 2 bytes
    bool ok = false;
    const QByteArray doc = build(
        [&](clsPDFCreator &p) {
            QVERIFY(p.addImage(QStringLiteral("Im1"), 2, 2, clsPDFCreator::DeviceGray, gray));   // 4, 5
            QVERIFY(p.addImage(QStringLiteral("Im2"), 1, 2, clsPDFCreator::DeviceRGB, rgb));     // 6, 7
            QVERIFY(p.addImage(QStringLiteral("Im3"), 3, 2, clsPDFCreator::Indexed, indexed, 4,
                               palette));   // palette 8, 9; image 10, 11
            p.beginPage();
            p.image(QStringLiteral("Im3"), 10, 10, 30, 20);
        },
        &ok);
    QVERIFY(ok);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(object(doc, 4).left(object(doc, 4).indexOf("stream")),
             QByteArray("<< /Type /XObject\r/Subtype /Image\r/Name /Im1\r/Width 2\r/Height 2\r"
                        "/Filter /ASCII85Decode\r/ColorSpace /DeviceGray\r/BitsPerComponent 8\r"
                        "/Length 5 0 R >>\r\n"));
    QVERIFY(streamOf(doc, 4).endsWith("~>\r\n"));
    QCOMPARE(ascii85Decode(streamOf(doc, 4)), QByteArray("\x80\xFF\x00\x40", 4));   // bottom row first
    QVERIFY(object(doc, 6).contains("/ColorSpace /DeviceRGB\r/BitsPerComponent 8\r"));
    QCOMPARE(ascii85Decode(streamOf(doc, 6)), QByteArray("\x00\x00\xFF\xFF\x00\x00", 6));
    QCOMPARE(ascii85Decode(streamOf(doc, 8)), palette);
    QVERIFY(object(doc, 10).contains("/ColorSpace [/Indexed /DeviceRGB 1 8 0 R]\r/BitsPerComponent 4\r"));
    QCOMPARE(ascii85Decode(streamOf(doc, 10)), QByteArray("\x01\x10\x10\x00", 4));
    QCOMPARE(resourceObject(doc, "Im1"), 4);
    QCOMPARE(resourceObject(doc, "Im3"), 10);

    // sample counts that do not match, palettes that do not fit
    clsPDFCreator p;
    QByteArray sink;
    QBuffer buf(&sink);
    buf.open(QIODevice::WriteOnly);
    p.open(&buf);
    QVERIFY(!p.addImage(QStringLiteral("A"), 2, 2, clsPDFCreator::DeviceRGB, gray));
    QVERIFY(!p.addImage(QStringLiteral("B"), 3, 2, clsPDFCreator::Indexed, indexed, 4, QByteArray(3 * 17, 'x')));
    QVERIFY(!p.addImage(QStringLiteral("C"), 3, 2, clsPDFCreator::Indexed, indexed, 3, palette));
    QVERIFY(!p.finish());
}

void TestPdfCreator::forms()
{
    bool ok = false;
    const QByteArray doc = build(
        [](clsPDFCreator &p) {
            p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Arial"));   // 4
            QVERIFY(p.beginForm(QStringLiteral("Fm1")));                         // 5, 6
            p.box(10, 10, 100, 50);
            p.setFont(QStringLiteral("F1"), 9);
            p.text(12, 20, QStringLiteral("Intestazione"));
            QVERIFY(p.endForm());
            QVERIFY(p.beginForm(QStringLiteral("Fm2"), 10, 20, 30, 40));          // 7, 8
            p.line(10, 20, 40, 60);
            p.endForm();
            p.beginPage();
            p.form(QStringLiteral("Fm1"));
        },
        &ok, points);
    QVERIFY(ok);
    QCOMPARE(structureFault(doc), QString());
    QVERIFY(object(doc, 5).startsWith("<< /Type /XObject\r/Subtype /Form\r/FormType 1\r"
                                      "/BBox [0 0 595.276 841.89]\r/Matrix [1 0 0 1 0 0]\r/Length 6 0 R >>\r\n"));
    QCOMPARE(lines(streamOf(doc, 5)).first(), QByteArray("10 781.89 100 50 re"));
    QVERIFY(object(doc, 7).contains("/BBox [10 781.89 40 821.89]\r"));
    QCOMPARE(lines(pageContent(doc)), L({"/Fm1 Do"}));
    QCOMPARE(resourceObject(doc, "Fm1"), 5);
    QCOMPARE(resourceObject(doc, "Fm2"), 7);
}

void TestPdfCreator::misuseIsReported()
{
    bool ok = true;
    build(
        [](clsPDFCreator &p) {
            p.beginPage();
            QVERIFY(!p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Arial")));   // page open
        },
        &ok);
    QVERIFY(!ok);
    build([](clsPDFCreator &p) { p.lineTo(1, 1); }, &ok);   // no page
    QVERIFY(!ok);
    build(
        [](clsPDFCreator &p) {
            p.beginPage();
            p.text(1, 1, QStringLiteral("x"));   // no font
        },
        &ok);
    QVERIFY(!ok);
    build(
        [](clsPDFCreator &p) {
            p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Arial"));
            QVERIFY(!p.addTrueTypeFont(QStringLiteral("F1"), QStringLiteral("Arial")));   // name taken
            QVERIFY(!p.addTrueTypeFont(QStringLiteral("F 2"), QStringLiteral("Arial")));  // not a name
        },
        &ok);
    QVERIFY(!ok);

    clsPDFCreator p;
    QVERIFY(!p.open(QStringLiteral("/nonexistent-folder/x.pdf")));
    QVERIFY(!p.errorString().isEmpty());
}

void TestPdfCreator::temporaryFileName()
{
    const QString name = clsPDFCreator::temporaryFileName(7, QDateTime(QDate(2019, 3, 4), QTime(5, 6, 7, 89)));
    QCOMPARE(name, QDir::tempPath() + QStringLiteral("/qor_7_prn_20190304050607089.pdf"));
}

void TestPdfCreator::checkedAndRenderedByPdfTools()
{
    if (!haveTool(QStringLiteral("qpdf")) || !haveTool(QStringLiteral("pdftoppm"))
        || !haveTool(QStringLiteral("pdftotext")))
        QSKIP("qpdf or poppler-utils not installed");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("prova.pdf"));
    clsPDFCreator p;
    p.setUnit(clsPDFCreator::Millimetres);
    p.setTitle(QStringLiteral("Prova àèìòù"));
    QVERIFY(p.open(path));
    p.addStandardFont(QStringLiteral("F1"), QStringLiteral("Arial"));
    p.addTrueTypeFont(QStringLiteral("F2"), QStringLiteral("TimesNewRoman"), clsPDFCreator::Bold);
    p.addTrueTypeFont(QStringLiteral("F3"), QStringLiteral("CourierNew"), clsPDFCreator::Italic);
    p.addImage(QStringLiteral("Im1"), 2, 1, clsPDFCreator::DeviceGray, QByteArray("\x00\xFF", 2));
    p.addImage(QStringLiteral("Im2"), 2, 1, clsPDFCreator::Indexed, QByteArray("\x01\x00", 2), 8,
               QByteArray("\xFF\x00\x00\x00\x00\xFF", 6));
    p.beginForm(QStringLiteral("Fm1"));
    p.box(10, 10, 190, 277);
    p.endForm();
    for (int page = 1; page <= 2; ++page) {
        p.beginPage();
        p.form(QStringLiteral("Fm1"));
        p.setFont(QStringLiteral("F1"), 12);
        p.text(20, 30, QStringLiteral("Perché già città: 1.234,5 € (prova) \\ “virgolette”"));
        p.setFont(QStringLiteral("F2"), 12);
        p.text(190, 40, QStringLiteral("Pagina %1").arg(page), clsPDFCreator::AlignRight);
        p.setFont(QStringLiteral("F3"), 10);
        p.text(105, 50, QStringLiteral("Centrato"), clsPDFCreator::AlignCenter);
        p.image(QStringLiteral("Im1"), 20, 60, 40, 10);
        p.image(QStringLiteral("Im2"), 70, 60, 40, 10);
    }
    QVERIFY2(p.finish(), qPrintable(p.errorString()));

    int rc = -1;
    QByteArray out;
    QVERIFY(run(QStringLiteral("qpdf"), {QStringLiteral("--check"), path}, &rc, &out));
    QVERIFY2(rc == 0, out.constData());
    QVERIFY2(!out.contains("WARNING"), out.constData());

    QVERIFY(run(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")}, &rc, &out));
    QCOMPARE(rc, 0);
    const QString text = QString::fromUtf8(out);
    QVERIFY2(text.contains(QStringLiteral("Perché già città: 1.234,5 € (prova) \\ “virgolette”")), qPrintable(text));
    QVERIFY(text.contains(QStringLiteral("Pagina 2")));

    const QString prefix = dir.filePath(QStringLiteral("pagina"));
    QVERIFY(run(QStringLiteral("pdftoppm"), {QStringLiteral("-r"), QStringLiteral("30"), QStringLiteral("-png"),
                                             path, prefix}, &rc, &out));
    QVERIFY2(rc == 0, out.constData());
    QVERIFY(QFile::exists(prefix + QStringLiteral("-1.png")));
    QVERIFY(QFile::exists(prefix + QStringLiteral("-2.png")));
}

// A fixed drawing without text (fonts differ from machine to machine),
// rendered in grey at 72 dpi and compared with the stored image.
void TestPdfCreator::renderedPageMatchesReference()
{
    if (!haveTool(QStringLiteral("pdftoppm")))
        QSKIP("poppler-utils not installed");
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("rif.pdf"));
    clsPDFCreator p;
    p.setUnit(clsPDFCreator::Points);
    p.setPageSize(90, 120, clsPDFCreator::Landscape);   // portrait 90 x 120 turned: 120 wide
    QVERIFY(p.open(path));
    QByteArray checker;
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            checker += char((x + y) % 2 ? 0xFF : 0x00);
    p.addImage(QStringLiteral("Im1"), 4, 4, clsPDFCreator::DeviceGray, checker);
    p.beginForm(QStringLiteral("Fm1"));
    p.setLineWidth(2);
    p.box(2, 2, p.pageWidth() - 4, p.pageHeight() - 4);
    p.endForm();
    p.beginPage();
    p.form(QStringLiteral("Fm1"));
    p.setFillGray(0.5);
    p.box(10, 10, 30, 20, clsPDFCreator::Fill);          // grey block top-left
    p.setFillColor(0, 0, 0);
    p.box(50, 10, 10, 40, clsPDFCreator::Fill);          // black bar
    p.image(QStringLiteral("Im1"), 70, 10, 40, 40);      // checker, dark top-left square
    p.setLineWidth(3);
    p.setStrokeGray(0);
    p.moveTo(10, 60);
    p.curveTo(30, 90, 50, 40, 70, 70);
    p.endPath(clsPDFCreator::Stroke);
    p.setDash({4, 4});
    p.line(75, 80, 115, 80);
    QVERIFY(p.finish());

    int rc = -1;
    QByteArray out;
    const QString prefix = dir.filePath(QStringLiteral("rif"));
    QVERIFY(run(QStringLiteral("pdftoppm"), {QStringLiteral("-r"), QStringLiteral("72"), QStringLiteral("-gray"),
                                             QStringLiteral("-singlefile"), path, prefix}, &rc, &out));
    QVERIFY2(rc == 0, out.constData());
    int w = 0, h = 0;
    const QByteArray got = readPgm(prefix + QStringLiteral(".pgm"), &w, &h);
    QCOMPARE(w, 120);
    QCOMPARE(h, 90);

    const QString refPath = QStringLiteral(PRINT_TEST_DIR "/reference-page.pgm");
    if (qEnvironmentVariableIsSet("QOR_UPDATE_REFERENCE")) {
        QFile::remove(refPath);
        QVERIFY(QFile::copy(prefix + QStringLiteral(".pgm"), refPath));
    }
    int rw = 0, rh = 0;
    const QByteArray ref = readPgm(refPath, &rw, &rh);
    QCOMPARE(rw, w);
    QCOMPARE(rh, h);
    qint64 sum = 0;
    int far = 0;
    for (int i = 0; i < w * h; ++i) {
        const int d = std::abs(int(uchar(got[i])) - int(uchar(ref[i])));
        sum += d;
        if (d > 64)
            ++far;
    }
    QVERIFY2(sum / (w * h) <= 3, qPrintable(QStringLiteral("mean difference %1").arg(double(sum) / (w * h))));
    QVERIFY2(far <= w * h / 100, qPrintable(QStringLiteral("%1 pixels differ").arg(far)));
    // spot checks independent of the stored image: grey block, black bar, checker corners
    QVERIFY(std::abs(int(uchar(got[20 * w + 25])) - 128) < 20);
    QCOMPARE(int(uchar(got[30 * w + 55])), 0);
    QCOMPARE(int(uchar(got[15 * w + 75])), 0);
    QCOMPARE(int(uchar(got[15 * w + 85])), 255);
    QCOMPARE(int(uchar(got[45 * w + 105])), 0);
    QCOMPARE(int(uchar(got[5 * w + 45])), 255);   // inside the frame, above everything
}

QTEST_GUILESS_MAIN(TestPdfCreator)
// Title and author are text strings: another reader must get back the very
// characters, in PDF's own encoding where it has them, in UTF-16 otherwise.
void TestPdfCreator::informationStringsReadBack()
{
    if (!haveTool(QStringLiteral("pdfinfo")))
        QSKIP("poppler-utils not installed");
    const struct {
        QString text;
        char form; // '(' PDF's own encoding, '<' UTF-16BE
    } cases[] = {
        {QStringLiteral("Dichiarazione \u20AC 1.000 \u201Cvirgolette\u201D \u2018s\u2019 \u2013\u2014\u2026\u2022 "
                        "\u2122 \u0152\u0153 \u0160\u0161 \u017D\u017E \u0141\u0142 citt\u00E0 (prova) \\ \u00FF"),
         '('},
        {QStringLiteral("Dichiarazione \u20AC \u03A9 Ko\u010D \u017C (1)"), '<'},
        {QStringLiteral("Ditta soft\u00ADhyphen"), '<'}, // PDF's encoding has nothing at 0xAD
    };
    QTemporaryDir dir;
    for (const auto &c : cases) {
        QCOMPARE(clsPDFCreator::textString(c.text).at(0), c.form);
        const QString path = dir.filePath(QStringLiteral("info.pdf"));
        clsPDFCreator p;
        p.setTitle(c.text);
        p.setAuthor(c.text + QStringLiteral(" autore"));
        QVERIFY(p.open(path));
        QVERIFY(p.finish());
        int rc = -1;
        QByteArray out;
        QVERIFY(run(QStringLiteral("pdfinfo"), {QStringLiteral("-enc"), QStringLiteral("UTF-8"), path}, &rc, &out));
        QCOMPARE(rc, 0);
        const QString info = QString::fromUtf8(out);
        const auto field = [&info](const char *name) {
            const QRegularExpression re(QLatin1String("(^|\\n)") + QLatin1String(name) + QLatin1String(": *([^\\n]*)"));
            return re.match(info).captured(2);
        };
        QCOMPARE(field("Title"), c.text);
        QCOMPARE(field("Author"), c.text + QStringLiteral(" autore"));
    }
}

#include "tst_pdfcreator.moc"
