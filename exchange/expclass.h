#pragma once
// The export engine: writes declarations into an exchange file. open() puts a
// blank header line, write() adds one declaration read with its tree (its
// lines are built in memory and appended, so memory stays bounded by the
// reader's window of declarations), close() writes the header with the
// counters and the control value. Any failure shows its message and deletes
// the partial file.

#include "exchange/record.h"
#include "shell/spool.h"
#include "shell/tree/tree.h"

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QList>
#include <QString>
#include <QStringList>
#include <array>
#include <functional>
#include <memory>
#include <vector>


class dbClass;
class Messages;

namespace exch {

// Progress of a long run: (done, total); returning false cancels.
using Progress = std::function<bool(qint64 done, qint64 total)>;

class expClass {
public:
    expClass(dbClass &db, Messages &msg);
    ~expClass();

    bool open(const QString &path);
    // What a reader of the declarations to write must read.
    tree::ReadOptions readOptions() const;
    // Declarations read together (the tests lower it).
    void setWindow(int declarations) { window_ = declarations; }
    // Declarations written in another order than the file's: each waits in
    // a spool file, and close() puts them in the file by place (0 first).
    // places: how many the file will hold. False (nothing changed) when no
    // spool file can be made.
    bool spool(int places);
    // The smallest selection exportDeclarations() reads by key through a
    // spool: below it the store's cache holds the rows of the whole
    // selection, and the spool would cost more than it saves.
    static qsizetype spoolFrom;
    // The next declaration of a reader with readOptions(), which must be
    // saID (one not in the store, or a read failure, ends the run); with a
    // spool, place is its position in the file.
    bool write(tree::Source &r, qint64 saID, int place = -1);
    // A declaration read with readOptions().
    bool write(const tree::Node &declaration, int place = -1);
    // Declaration saID, read alone.
    bool write(qint64 saID);
    bool close();
    // Closes and deletes the file (cancel or failure).
    void abort();

    bool isOpen() const { return file_.isOpen(); }
    // Declarations written by the run, in all its files.
    int declarations() const { return total_; }
    // Whether an existing file of the same name may be replaced (the user
    // confirmed it); otherwise open() and the later parts refuse it.
    void setReplaceExisting(bool replace) { replace_ = replace; }
    // The files of the run, in order, and the declarations in each. A run
    // whose header counters would pass five digits is split into numbered
    // files, each a complete exchange file. Valid after close().
    QStringList files() const;
    QList<int> fileDeclarations() const;
    static QString partPath(const QString &path, int n);
    // Records of one type a file may hold (the header's five digits; the
    // tests lower it).
    static int maxPerType;
    const std::array<int, 29> &counters() const { return counters_; }

    // Clock of the key timestamps and of the header (tests fix it).
    void setClock(std::function<QDateTime()> clock) { clock_ = std::move(clock); }

    // The control value of a header start (30 characters) and a total.
    static int controlValue(const QByteArray &start30, qint32 total);

private:
    struct Decl;

    bool fail(const Decl &d, const QString &scheda, const QString &field, const QString &why);
    bool emit(Decl &d, int type, const Record &row, const QString &scheda);
    qsizetype reserve(Decl &d, int type);
    bool fill(Decl &d, qsizetype at, int type, const Record &row, const QString &scheda);
    bool detailLines(Decl &d, int c1, int c2, Record &base, const std::vector<const tree::Node *> &ops,
                     const QString &scheda, bool grids);
    bool materials(Decl &d, const Record &row, const char *kind, int category, const int *slots,
                   const QString &scheda);
    void renew(Record &row, int prv, int com) const;
    void load(const tree::Node &row, Record &rec, bool nation) const;
    bool readFailure(const tree::Source &r, qint64 saID);

    bool openPart();
    bool finishPart();
    // The lines of a declaration into the file, a new part first when they
    // would pass the header's counters. Without its tax code and name, the
    // message of one too big for any file reads them from its AA line.
    bool putInFile(const QByteArray &lines, const std::array<int, 29> &counts, const QString *codFisc,
                   const QString *ragSoc);
    bool placeSpooled();

    bool writeRif(Decl &d, const tree::Node &declaration);
    bool writeInt(Decl &d, const tree::Node &declaration);
    bool writeImb(Decl &d, const tree::Node &declaration);
    bool writeRaee(Decl &d, const tree::Node &declaration);
    bool writeVfu(Decl &d, const tree::Node &declaration);
    bool writeFamilyModules(Decl &d, int family, const Record &start, const tree::Node &parent, int *nRT,
                            int *nTE, int *nDR, const QString &scheda);

    dbClass &db_;
    Messages &msg_;
    int window_ = tree::ReadOptions().window;
    QFile file_;
    QString path_;
    // The files of the run: temporary name, final name, declarations.
    struct Part {
        QString temp, path;
        int declarations = 0;
    };
    std::vector<Part> parts_;
    int total_ = 0;
    bool replace_ = true;
    std::array<int, 29> counters_{};
    int declarations_ = 0;
    QHash<qint64, std::pair<int, int>> renewal_;
    QHash<qint64, QByteArray> nations_;   // nazDesc by nazID
    std::function<QDateTime()> clock_;
    // Records reused from line to line: anagrafica, scheda, start of the
    // family lines, module or row, base of the detail lines, detail line,
    // materials, counts.
    Record a_, s_, start_, m_, base_, line_, mat_, ab_;
    QByteArray out_, scratch_;
    Spool spool_; // each declaration's lines by place
};

enum class ExportResult { Done, Cancelled, Failed };

// Writes the given declarations into a new file at path. On cancel or failure
// the file is deleted.
ExportResult exportDeclarations(dbClass &db, Messages &msg, const QString &path,
                                const QList<qint64> &saIDs, const Progress &progress = {},
                                expClass *engine = nullptr);

} // namespace exch
