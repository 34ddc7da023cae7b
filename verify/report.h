#pragma once
// The verification report: a plain-text file (UTF-8, CR LF line ends) that
// opens with a fixed preamble and then, for every declaration that received
// at least one remark, a header with the declaration's identity followed by
// its remarks.
//
// A remark is written as: the class line, a line of nine hyphens + "> " +
// the subject, the message lines (eleven spaces of indent), an optional
// comparison line and a closing empty continuation line.

#include "shell/qty.h"
#include "shell/spool.h"

#include <QFile>
#include <QString>
#include <QStringList>
#include <initializer_list>
#include <memory>
#include <vector>


namespace verify {

enum class Class { Error, Warning };

// One entry of a remark table: its class and its message lines. Texts live
// in the tables of the rule modules and nowhere else.
struct RemarkText {
    Class cls;
    std::vector<const char *> lines; // UTF-8
    QStringList text() const;
};

// A labelled amount of a comparison line, in kilograms.
struct Compared {
    QString label;
    Qty kg;
};

// "           Somma RT: 1.200 Kg - Ricevuta da terzi: 1.000 Kg"
QString comparisonLine(const std::vector<Compared> &pairs);

struct DeclarationHeader {
    QString ragSoc, codFisc, comune, provincia, via, civico, rea;
};

class Report {
public:
    Report();
    Report(const Report &) = delete;
    Report &operator=(const Report &) = delete;
    ~Report();

    // Text of the critical box shown when the file cannot be created.
    static QString openFailureText();

    // Creates (replaces) the file and writes the preamble. False when the
    // file cannot be opened for writing.
    bool open(const QString &path);
    void close();
    bool isOpen() const { return file_.isOpen(); }
    QString path() const { return file_.fileName(); }

    // Declarations verified in another order than the report's: the lines
    // of each wait in a spool file, and close() writes them in the report's
    // order. places: how many declarations the report lists. False (nothing
    // changed) when no spool file can be made.
    bool spool(int places);
    // Starts a declaration: its header is written before its first remark.
    // With a spool, place is its position in the report (0 first).
    void beginDeclaration(const DeclarationHeader &h, int place = -1);
    // 0 no remark, 1 warnings only, 2 at least one error.
    int remarkLevel() const { return level_; }

    // A complete remark from a table entry; lines, when given, replace the
    // table's lines (remarks whose text carries a value filled in at run time).
    void remark(const RemarkText &r, const QString &subject,
                const std::vector<Compared> &compared = {}, const QStringList &lines = {});

    // The primitive interfaces the remarks are made of.
    void errorLine(const QString &subject);
    void warningLine(const QString &subject);
    void continuation(const QString &text);

private:
    void headerIfDue();
    void write(const QString &line);
    void write(const char *utf8, const QByteArray &indent = {});
    void flush();

    QFile file_;
    QByteArray buffer_; // lines not yet handed to the file (or the spool)
    Spool spool_;       // each declaration's lines by place
    int place_ = -1;
    DeclarationHeader header_;
    bool headerDue_ = false;
    int level_ = 0;
};

} // namespace verify
