#include "refdata/csv.h"

#include <QFile>

CsvReader::CsvReader(const QByteArray &utf8)
{
    text_ = QString::fromUtf8(utf8);
    if (text_.startsWith(QChar(0xFEFF)))
        text_.remove(0, 1);
}

bool CsvReader::next(QStringList *fields)
{
    fields->clear();
    if (pos_ >= text_.size())
        return false;
    recordLine_ = lineNo_;
    QString field;
    bool quoted = false, wasQuoted = false;
    auto push = [&] {
        fields->append(field.isEmpty() && !wasQuoted ? QString() : field);
        field.clear();
        wasQuoted = false;
    };
    while (pos_ < text_.size()) {
        const QChar c = text_.at(pos_++);
        if (quoted) {
            if (c == u'"') {
                if (pos_ < text_.size() && text_.at(pos_) == u'"') {
                    field += u'"';
                    ++pos_;
                } else {
                    quoted = false;
                }
            } else {
                if (c == u'\n')
                    ++lineNo_;
                field += c;
            }
            continue;
        }
        if (c == u'"' && field.isEmpty()) {
            quoted = wasQuoted = true;
        } else if (c == u',') {
            push();
        } else if (c == u'\r' && pos_ < text_.size() && text_.at(pos_) == u'\n') {
            continue;
        } else if (c == u'\n') {
            ++lineNo_;
            push();
            return true;
        } else {
            field += c;
        }
    }
    if (quoted) {
        error_ = QStringLiteral("virgolette non chiuse (riga %1)").arg(recordLine_);
        return false;
    }
    push();
    return true;
}

bool CsvReader::readFile(const QString &path, QStringList *header, QList<QStringList> *rows,
                         QString *error)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        *error = QStringLiteral("Impossibile aprire il file %1: %2").arg(path, f.errorString());
        return false;
    }
    CsvReader r(f.readAll());
    if (!r.next(header)) {
        *error = QStringLiteral("File %1 vuoto").arg(path);
        return false;
    }
    QStringList rec;
    while (r.next(&rec)) {
        if (rec.size() == 1 && rec.first().isNull())
            continue; // blank line
        if (rec.size() != header->size()) {
            *error = QStringLiteral("%1, riga %2: %3 campi invece di %4")
                         .arg(path).arg(r.line()).arg(rec.size()).arg(header->size());
            return false;
        }
        rows->append(rec);
    }
    if (!r.error().isEmpty()) {
        *error = path + QStringLiteral(": ") + r.error();
        return false;
    }
    return true;
}
