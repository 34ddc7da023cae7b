#pragma once
// RFC 4180 reader: comma separated, fields optionally quoted with doubled
// quotes inside, embedded commas and line breaks, UTF-8, CR LF or LF.

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QList>

class CsvReader {
public:
    explicit CsvReader(const QByteArray &utf8);
    // Next record; false at the end. A record's empty fields are null strings.
    bool next(QStringList *fields);
    // Line (1-based) where the last record returned began.
    int line() const { return recordLine_; }
    QString error() const { return error_; }

    // Reads a whole file: header names and records.
    static bool readFile(const QString &path, QStringList *header, QList<QStringList> *rows,
                         QString *error);

private:
    QString text_;
    qsizetype pos_ = 0;
    int lineNo_ = 1;
    int recordLine_ = 0;
    QString error_;
};
