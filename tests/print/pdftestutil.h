#pragma once
// Helpers for the PDF tests: build a document in memory, pick objects and
// streams out of it, check its cross-reference table and stream lengths, and
// run the Debian PDF tools on it.

#include "print/dichiarazione.h"
#include "print/pdfcreator.h"

#include <QByteArray>
#include <QString>
#include <functional>

namespace pdftest {

// Writes a document into memory: draw() runs between open() and finish().
QByteArray build(const std::function<void(clsPDFCreator &)> &draw, bool *finished = nullptr,
                 const std::function<void(clsPDFCreator &)> &setup = {});

// Body of object n (between "n 0 obj\r\n" and "endobj"), empty when absent.
QByteArray object(const QByteArray &doc, int n);
// Data of the stream of object n (between "stream\r\n" and "endstream").
QByteArray streamOf(const QByteArray &doc, int n);
// Content stream of the i-th page (0-based), following /Kids and /Contents.
QByteArray pageContent(const QByteArray &doc, int page = 0);
// Lines of a content stream (split on CR LF).
QList<QByteArray> lines(const QByteArray &stream);

// Checks the file structure; returns the first fault found, empty when none.
QString structureFault(const QByteArray &doc);

// Checks that no two texts drawn on a page overlap and that every text lies
// on the page: each "Td" + "Tj" is measured with the widths of its font
// (ascent 0.75, descent 0.2 of the size). Returns the first fault found.
QString textOverlapFault(const QByteArray &doc);

// Pages in the page tree.
int pageCount(const QByteArray &doc);

// A declaration of these frames, written in memory; empty when the writer failed.
QByteArray declarationPdf(const print::PageHeading &heading, const QList<print::FormFrame> &frames,
                          const QDateTime &printed = QDateTime::currentDateTime());

// Every string shown with "Tj" on a page, unescaped (Windows-1252 bytes).
QList<QByteArray> shownTexts(const QByteArray &doc, int page);

// Decodes ASCII85 text ending with "~>" (whitespace ignored).
QByteArray ascii85Decode(const QByteArray &text);

// Runs a tool; false when it cannot be started. Output and exit code returned.
bool run(const QString &program, const QStringList &args, int *exitCode, QByteArray *output);
bool haveTool(const QString &program);

} // namespace pdftest
