#include "pdftestutil.h"

#include <QBuffer>
#include <QHash>
#include <QProcess>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QTimeZone>

namespace pdftest {

QByteArray build(const std::function<void(clsPDFCreator &)> &draw, bool *finished,
                 const std::function<void(clsPDFCreator &)> &setup)
{
    QByteArray data;
    QBuffer buf(&data);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    pdf.setCreationDate(QDateTime(QDate(2020, 1, 15), QTime(10, 20, 30), QTimeZone(3600)));
    if (setup)
        setup(pdf);
    pdf.open(&buf);
    draw(pdf);
    const bool ok = pdf.finish();
    if (finished)
        *finished = ok;
    return data;
}

QByteArray object(const QByteArray &doc, int n)
{
    const QByteArray head = QByteArray::number(n) + " 0 obj\r\n";
    qsizetype at = doc.startsWith(head) ? 0 : doc.indexOf("\n" + head);
    if (at < 0)
        return {};
    if (at > 0)
        at += 1;
    const qsizetype start = at + head.size();
    const qsizetype end = doc.indexOf("endobj\r\n", start);
    return end < 0 ? QByteArray() : doc.mid(start, end - start);
}

QByteArray streamOf(const QByteArray &doc, int n)
{
    const QByteArray body = object(doc, n);
    const qsizetype s = body.indexOf("stream\r\n");
    const qsizetype e = body.lastIndexOf("endstream");
    if (s < 0 || e < 0)
        return {};
    return body.mid(s + 8, e - s - 8);
}

QByteArray pageContent(const QByteArray &doc, int page)
{
    const QByteArray tree = object(doc, 3);
    const QRegularExpression kidsRe(QStringLiteral("/Kids \\[([^\\]]*)\\]"));
    const auto km = kidsRe.match(QString::fromLatin1(tree));
    if (!km.hasMatch())
        return {};
    const QStringList refs = km.captured(1).split(QStringLiteral(" 0 R"), Qt::SkipEmptyParts);
    if (page >= refs.size())
        return {};
    const QByteArray pageObj = object(doc, refs.at(page).trimmed().toInt());
    const auto cm = QRegularExpression(QStringLiteral("/Contents (\\d+) 0 R"))
                        .match(QString::fromLatin1(pageObj));
    return cm.hasMatch() ? streamOf(doc, cm.captured(1).toInt()) : QByteArray();
}

QList<QByteArray> lines(const QByteArray &stream)
{
    QList<QByteArray> l = stream.split('\n');
    for (QByteArray &s : l)
        if (s.endsWith('\r'))
            s.chop(1);
    if (!l.isEmpty() && l.last().isEmpty())
        l.removeLast();
    return l;
}

QString structureFault(const QByteArray &doc)
{
    if (!doc.startsWith("%PDF-1.3\r\n"))
        return QStringLiteral("header");
    if (!doc.endsWith("%%EOF\r\n"))
        return QStringLiteral("no %%EOF at the end");
    // every line ends with CR LF (stream data of images is text too)
    for (qsizetype i = 0; i < doc.size(); ++i)
        if (doc.at(i) == '\n' && (i == 0 || doc.at(i - 1) != '\r'))
            return QStringLiteral("bare LF at %1").arg(i);

    const qsizetype sx = doc.lastIndexOf("startxref\r\n");
    if (sx < 0)
        return QStringLiteral("no startxref");
    const qsizetype xrefAt = doc.mid(sx + 11, doc.indexOf('\r', sx + 11) - sx - 11).toLongLong();
    if (doc.mid(xrefAt, 6) != "xref\r\n")
        return QStringLiteral("startxref does not point at xref");
    qsizetype p = xrefAt + 6;
    const qsizetype eol = doc.indexOf("\r\n", p);
    const QList<QByteArray> sub = doc.mid(p, eol - p).split(' ');
    if (sub.size() != 2 || sub[0] != "0")
        return QStringLiteral("xref subsection");
    const int size = sub[1].toInt();
    p = eol + 2;
    if (doc.mid(p, 20) != "0000000000 65535 f\r\n")
        return QStringLiteral("free entry");
    p += 20;
    for (int n = 1; n < size; ++n, p += 20) {
        const QByteArray entry = doc.mid(p, 20);
        if (!QRegularExpression(QStringLiteral("^\\d{10} 00000 n\r\n$")).match(QString::fromLatin1(entry)).hasMatch())
            return QStringLiteral("xref entry %1: %2").arg(n).arg(QString::fromLatin1(entry));
        const qsizetype off = entry.left(10).toLongLong();
        const QByteArray head = QByteArray::number(n) + " 0 obj\r\n";
        if (doc.mid(off, head.size()) != head)
            return QStringLiteral("offset of object %1 does not point at it").arg(n);
        if (off > 0 && doc.at(off - 1) != '\n')
            return QStringLiteral("object %1 does not start a line").arg(n);
    }
    if (doc.mid(p, 9) != "trailer\r\n")
        return QStringLiteral("no trailer after the xref entries");
    const QByteArray trailer = doc.mid(p, sx - p);
    if (!trailer.contains("/Size " + QByteArray::number(size) + "\r\n") || !trailer.contains("/Root 2 0 R")
        || !trailer.contains("/Info 1 0 R"))
        return QStringLiteral("trailer entries");

    // each "/Length n 0 R" holds the byte count of its stream
    const QRegularExpression lenRe(QStringLiteral("(\\d+) 0 obj\r\n<< [^\n]*/Length (\\d+) 0 R >>\r\nstream\r\n"));
    auto it = lenRe.globalMatch(QString::fromLatin1(doc));
    int streams = 0;
    while (it.hasNext()) {
        const auto m = it.next();
        const int obj = m.captured(1).toInt();
        const int lenObj = m.captured(2).toInt();
        const qsizetype data = m.capturedEnd();
        const qsizetype end = doc.indexOf("endstream\r\n", data);
        const QByteArray lengthBody = object(doc, lenObj);
        if (lengthBody.trimmed().toLongLong() != end - data)
            return QStringLiteral("length object %1 of stream %2 is %3, the stream has %4 bytes")
                .arg(lenObj).arg(obj).arg(QString::fromLatin1(lengthBody.trimmed())).arg(end - data);
        ++streams;
    }
    if (streams != doc.count("endstream\r\n"))
        return QStringLiteral("stream without an indirect length");
    return {};
}

namespace {

QByteArray unescapeString(const QByteArray &s)
{
    QByteArray out;
    for (qsizetype i = 0; i < s.size(); ++i) {
        if (s.at(i) == '\\' && i + 1 < s.size()) {
            ++i;
            const char c = s.at(i);
            out += c == 'n' ? '\n' : c == 'r' ? '\r' : c;
        } else {
            out += s.at(i);
        }
    }
    return out;
}

} // namespace

int pageCount(const QByteArray &doc)
{
    const auto m = QRegularExpression(QStringLiteral("/Count (\\d+)")).match(QString::fromLatin1(object(doc, 3)));
    return m.hasMatch() ? m.captured(1).toInt() : 0;
}

QByteArray declarationPdf(const print::PageHeading &heading, const QList<print::FormFrame> &frames,
                          const QDateTime &printed)
{
    QByteArray out;
    QBuffer b(&out);
    b.open(QIODevice::WriteOnly);
    clsPDFCreator p;
    print::setupDeclaration(p);
    p.open(&b);
    return print::writeDeclaration(p, heading, frames, printed) ? out : QByteArray();
}

QList<QByteArray> shownTexts(const QByteArray &doc, int page)
{
    QList<QByteArray> out;
    for (const QByteArray &l : lines(pageContent(doc, page)))
        if (l.startsWith('(') && l.endsWith(") Tj"))
            out.append(unescapeString(l.mid(1, l.size() - 5)));
    return out;
}

QString textOverlapFault(const QByteArray &doc)
{
    // resource name -> metrics, from the fonts' /BaseFont
    QHash<QByteArray, const pdf::FontMetrics *> fonts;
    const QRegularExpression fontRe(QStringLiteral("\r\n/(\\w+) (\\d+) 0 R"));
    const QByteArray tree = object(doc, 3);
    const auto rm = QRegularExpression(QStringLiteral("/Resources (\\d+) 0 R")).match(QString::fromLatin1(tree));
    if (!rm.hasMatch())
        return QStringLiteral("no resources");
    const QByteArray res = object(doc, rm.captured(1).toInt());
    auto it = fontRe.globalMatch(QString::fromLatin1(res));
    while (it.hasNext()) {
        const auto m = it.next();
        const QByteArray body = object(doc, m.captured(2).toInt());
        const auto bm = QRegularExpression(QStringLiteral("/BaseFont /([\\w,-]+)")).match(QString::fromLatin1(body));
        if (!bm.hasMatch())
            continue;
        const QString base = bm.captured(1);
        const pdf::Style st = base.endsWith(QStringLiteral(",BoldItalic")) ? pdf::Style::BoldItalic
                              : base.endsWith(QStringLiteral(",Bold"))     ? pdf::Style::Bold
                              : base.endsWith(QStringLiteral(",Italic"))   ? pdf::Style::Italic
                                                                           : pdf::Style::Regular;
        fonts.insert(m.captured(1).toLatin1(), &pdf::fontMetrics(pdf::familyOf(base.toLatin1()), st));
    }

    for (int page = 0; page < pageCount(doc); ++page) {
        struct Box { double x0, y0, x1, y1; QByteArray text; };
        QList<Box> boxes;
        const pdf::FontMetrics *font = nullptr;
        double size = 0, x = 0, y = 0;
        for (const QByteArray &l : lines(pageContent(doc, page))) {
            if (l.endsWith(" Tf")) {
                const QList<QByteArray> p = l.split(' ');
                font = fonts.value(p.value(0).mid(1));
                size = p.value(1).toDouble();
            } else if (l.endsWith(" Td")) {
                const QList<QByteArray> p = l.split(' ');
                x = p.value(0).toDouble();
                y = p.value(1).toDouble();
            } else if (l.startsWith('(') && l.endsWith(") Tj")) {
                if (!font)
                    return QStringLiteral("text without a known font on page %1").arg(page + 1);
                const QByteArray t = unescapeString(l.mid(1, l.size() - 5));
                double w = 0;
                for (char c : t)
                    w += font->width(uchar(c)) * size / 1000.0;
                if (t.trimmed().isEmpty())
                    continue;
                const Box b{x, y - 0.2 * size, x + w, y + 0.75 * size, t};
                if (b.x0 < 0 || b.y0 < 0)
                    return QStringLiteral("text off the page: %1").arg(QString::fromLatin1(t));
                for (const Box &o : boxes)
                    if (b.x0 < o.x1 - 0.01 && o.x0 < b.x1 - 0.01 && b.y0 < o.y1 - 0.01 && o.y0 < b.y1 - 0.01)
                        return QStringLiteral("page %1: \"%2\" overlaps \"%3\"")
                            .arg(page + 1)
                            .arg(QString::fromLatin1(t), QString::fromLatin1(o.text));
                boxes.append(b);
            }
        }
    }
    return {};
}

QByteArray ascii85Decode(const QByteArray &text)
{
    QByteArray out;
    quint64 v = 0;
    int n = 0;
    for (char c : text) {
        if (c == '~')
            break;
        if (c == ' ' || c == '\r' || c == '\n')
            continue;
        if (c == 'z' && n == 0) {
            out.append(4, '\0');
            continue;
        }
        v = v * 85 + quint64(c - '!');
        if (++n == 5) {
            for (int k = 3; k >= 0; --k)
                out += char((v >> (8 * k)) & 0xFF);
            v = 0;
            n = 0;
        }
    }
    if (n > 0) {
        const int got = n - 1;
        for (; n < 5; ++n)
            v = v * 85 + 84;
        for (int k = 3; k >= 4 - got; --k)
            out += char((v >> (8 * k)) & 0xFF);
    }
    return out;
}

bool haveTool(const QString &program)
{
    return !QStandardPaths::findExecutable(program).isEmpty();
}

bool run(const QString &program, const QStringList &args, int *exitCode, QByteArray *output)
{
    QProcess p;
    p.setProcessChannelMode(QProcess::MergedChannels);
    p.start(program, args);
    if (!p.waitForStarted() || !p.waitForFinished(60000))
        return false;
    if (output)
        *output = p.readAll();
    if (exitCode)
        *exitCode = p.exitStatus() == QProcess::NormalExit ? p.exitCode() : -1;
    return true;
}

} // namespace pdftest
