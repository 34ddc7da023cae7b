#include "print/printcommon.h"

#include <QDate>

namespace print {

bool addPrintFonts(clsPDFCreator &pdf)
{
    const QString arial = QStringLiteral("Arial");
    return pdf.addTrueTypeFont(Regular, arial, clsPDFCreator::Regular)
           && pdf.addTrueTypeFont(Bold, arial, clsPDFCreator::Bold)
           && pdf.addTrueTypeFont(Italic, arial, clsPDFCreator::Italic);
}

QStringList wrapText(const clsPDFCreator &pdf, const QString &text, double width)
{
    // most texts fit whole: the words would all land on the one line
    const QString simple = text.simplified();
    if (pdf.textWidth(simple) <= width)
        return {simple};
    QStringList lines;
    QString current;
    const QStringList words = simple.split(u' ', Qt::SkipEmptyParts);
    for (QString word : words) {
        const QString candidate = current.isEmpty() ? word : current + u' ' + word;
        if (pdf.textWidth(candidate) <= width) {
            current = candidate;
            continue;
        }
        if (!current.isEmpty()) {
            lines.append(current);
            current.clear();
        }
        // a word wider than the line goes in pieces
        while (pdf.textWidth(word) > width && word.size() > 1) {
            qsizetype n = word.size() - 1;
            while (n > 1 && pdf.textWidth(word.left(n)) > width)
                --n;
            lines.append(word.left(n));
            word = word.mid(n);
        }
        current = word;
    }
    if (!current.isEmpty() || lines.isEmpty())
        lines.append(current);
    return lines;
}

QString italianDate(const QString &isoDate)
{
    const QDate d = QDate::fromString(isoDate.left(10), QStringLiteral("yyyy-MM-dd"));
    return d.isValid() ? d.toString(QStringLiteral("dd/MM/yyyy")) : isoDate;
}

} // namespace print
