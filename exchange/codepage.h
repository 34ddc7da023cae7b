#pragma once
// Windows-1252, the single-byte code page of the exchange file. Bytes 0x80 to
// 0x9F carry the euro sign, curly quotes, dashes and a few letters; the rest
// of the upper half equals Latin-1. Characters the page lacks become '?'.

#include <QByteArray>
#include <QString>

namespace cp1252 {

QByteArray encode(const QString &text);
QString decode(const QByteArray &bytes);
// One character; '?' when the page has no byte for it.
char fromUnicode(char16_t c);
char16_t toUnicode(unsigned char b);

} // namespace cp1252
