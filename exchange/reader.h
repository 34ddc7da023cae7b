#pragma once
// Checks an exchange file line by line, in the order the format demands, and
// stops at the first failure with its message and line number.

#include "exchange/expclass.h"

#include <QByteArray>
#include <QIODevice>
#include <QString>
#include <array>

namespace exch {

struct CheckResult {
    bool ok = false;
    QString message;   // the failed check's message
    int line = 0;      // its line number (1 = header)
    qint32 total = 0;  // declaration records announced by the header
    std::array<int, 29> counters{};
    int declarations = 0;
    bool cancelled = false;
    // The message with its line number, as shown to the user.
    QString text() const;
};

CheckResult checkFile(const QString &path, const Progress &progress = {});
// The checks of the header alone (the first line), with what it announces:
// ok when they pass. A file refused here is refused by checkFile() alike.
CheckResult checkHeader(const QString &path);

// Strips the line end (CR LF) of a line read from the file.
QByteArray chopLineEnd(QByteArray line);

// The longest line an exchange file may hold (the longest record type); a
// longer one is refused where it is, without reading the rest of it.
qsizetype maxLineLength();

// The lines of a file, read in large blocks, without their line end (a line
// ends at LF; a CR before it goes too). A line stays valid until the next.
// With a bound, a line longer than it ends the reading: next() gives false
// and tooLong() true, after at most one block more than the bound was read.
class LineReader {
public:
    explicit LineReader(QIODevice &in, qsizetype maxLength = 0) : in_(in), max_(maxLength) {}
    bool next(QByteArrayView &line);
    bool tooLong() const { return tooLong_; }

private:
    QIODevice &in_;
    QByteArray buf_;
    qsizetype pos_ = 0;
    qsizetype max_ = 0;
    bool end_ = false;
    bool tooLong_ = false;
};

} // namespace exch
