#pragma once
// The export engine: writes declarations into an exchange file. open() puts a
// blank header line, write() adds one declaration (its lines are built in
// memory and appended, so memory stays bounded by one declaration), close()
// writes the header with the counters and the control value. Any failure
// shows its message and deletes the partial file.

#include <QDateTime>
#include <QFile>
#include <QHash>
#include <QList>
#include <QString>
#include <QVariantMap>
#include <array>
#include <functional>
#include <memory>
#include <vector>

class dbClass;
class Messages;

namespace exch {

class Statements;

// Progress of a long run: (done, total); returning false cancels.
using Progress = std::function<bool(qint64 done, qint64 total)>;

class expClass {
public:
    expClass(dbClass &db, Messages &msg);
    ~expClass();

    bool open(const QString &path);
    // The declarations the run will write, in order: each table is then read
    // once for all of them instead of once per declaration and scheda
    // (optional; write() of a declaration outside the order still works).
    bool setOrder(const QList<qint64> &saIDs);
    bool write(qint64 saID);
    bool close();
    // Closes and deletes the file (cancel or failure).
    void abort();

    bool isOpen() const { return file_.isOpen(); }
    int declarations() const { return declarations_; }
    const std::array<int, 29> &counters() const { return counters_; }

    // Clock of the key timestamps and of the header (tests fix it).
    void setClock(std::function<QDateTime()> clock) { clock_ = std::move(clock); }

    // The control value of a header start (30 characters) and a total.
    static int controlValue(const QByteArray &start30, qint32 total);

private:
    struct Decl;
    bool fail(const Decl &d, const QString &scheda, const QString &field, const QString &why);
    bool build(Decl &d, const QString &code, const QVariantMap &row, const QString &scheda,
               QByteArray *line);
    bool emit(Decl &d, const QString &code, const QVariantMap &row, const QString &scheda);
    bool fill(Decl &d, int slot, const QString &code, const QVariantMap &row, const QString &scheda);
    int reserve(Decl &d);
    bool operationRows(Decl &d, const QString &table, const QString &parentKey, qint64 parent,
                       const QString &scheda, std::vector<QVariantMap> &out);
    bool detailLines(Decl &d, const QString &c1, const QString &c2, QVariantMap base,
                     const std::vector<QVariantMap> &r, const QString &scheda);
    bool materials(Decl &d, const QVariantMap &row, const QString &kind, int category,
                   const int *slots, const QString &scheda);
    void renew(QVariantMap &row, const QString &prv, const QString &com) const;
    bool rows(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out);

    bool writeRif(Decl &d);
    bool writeInt(Decl &d);
    bool writeImb(Decl &d);
    bool writeRaee(Decl &d);
    bool writeVfu(Decl &d);
    bool writeFamilyModules(Decl &d, const QString &family, const QVariantMap &start,
                            qint64 parent, int *nRT, int *nTE, int *nDR, const QString &scheda);

    struct Source;
    bool fromRun(const QString &sql, const QVariantList &params, std::vector<QVariantMap> &out);
    void addSources();
    void endRun();

    dbClass &db_;
    Messages &msg_;
    QHash<QString, Source *> sources_;   // by the statement they stand for
    QHash<qint64, qint64> place_;         // saID -> place in the order
    qint64 current_ = -1;                 // place of the declaration being written
    QFile file_;
    QString path_;
    std::array<int, 29> counters_{};
    int declarations_ = 0;
    QHash<qint64, std::pair<int, int>> renewal_;
    std::unique_ptr<Statements> st_;
    std::function<QDateTime()> clock_;
};

enum class ExportResult { Done, Cancelled, Failed };

// Writes the given declarations into a new file at path. On cancel or failure
// the file is deleted.
ExportResult exportDeclarations(dbClass &db, Messages &msg, const QString &path,
                                const QList<qint64> &saIDs, const Progress &progress = {},
                                expClass *engine = nullptr);

} // namespace exch
