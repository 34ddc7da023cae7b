#include "exchange/codepage.h"

namespace cp1252 {
namespace {

// 0x80..0x9F; 0 marks the five bytes the page leaves undefined (they map to
// the C1 control of the same value when read, and nothing writes them).
constexpr char16_t High[32] = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,   // 80-87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0,      0x017D, 0,        // 88-8F
    0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,   // 90-97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};  // 98-9F

} // namespace

char16_t toUnicode(unsigned char b)
{
    if (b >= 0x80 && b <= 0x9F && High[b - 0x80] != 0)
        return High[b - 0x80];
    return char16_t(b);
}

char fromUnicode(char16_t c)
{
    if (c < 0x80 || (c >= 0xA0 && c <= 0xFF))
        return char(c);
    for (int i = 0; i < 32; ++i)
        if (High[i] == c)
            return char(0x80 + i);
    return '?';
}

QByteArray encode(const QString &text)
{
    QByteArray out;
    out.reserve(text.size());
    for (QChar c : text)
        out.append(fromUnicode(c.unicode()));
    return out;
}

QString decode(const QByteArray &bytes)
{
    QString out;
    out.reserve(bytes.size());
    for (char b : bytes)
        out.append(QChar(toUnicode(static_cast<unsigned char>(b))));
    return out;
}

} // namespace cp1252
