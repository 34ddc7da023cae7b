#pragma once
// The register of companies (table Ditte, one row per tax code) and the
// routines that add counterparts to it and read them back.

#include "sections/fields.h"
#include "shell/context.h"

#include <memory>
#include <optional>
#include <QByteArray>
#include <QByteArrayView>
#include <QSet>

class dbClass;
class dbStatement;
namespace tree {
struct Node;
}

namespace anag {

struct Company {
    QString codFisc, ragSoc, via, civico, cap, prefTel, telefono;
    int prvIstat = 0, comIstat = 0;
};
// The same with its texts in UTF-8, as an exchange file gives them; the
// bytes are read where they are, during the call.
struct CompanyUtf8 {
    QByteArrayView codFisc, ragSoc, via, civico, cap, prefTel, telefono;
    int prvIstat = 0, comIstat = 0;
};

// Adds the counterpart when its tax code is not in the register yet; a
// company already there is left unchanged (the register keeps the first
// data seen). Texts are trimmed and cut to their column's length.
// A blank tax code registers nothing (AlreadyThere).
enum class Registered { Added, AlreadyThere, Failed };
Registered registerCounterpart(dbClass &db, const Company &c);

// The same routine for a run that registers many counterparts (an import, a
// takeover): its statement is prepared once, and a tax code handled
// once in the run is not looked up again. Failures are reported through the
// database's messages.
//
// A run inside one transaction that meets companies by the hundred
// thousand (an import, a takeover, the demo data) queues them instead
// (Mode::Queued):
// add() appends the company to a temporary table of the connection, and
// flush() writes the queue into the register in tax-code order before the
// run commits. Written one by one, new companies go to random places of the
// register's index, which then crowds the rest of the load out of the page
// cache; in order they go through it once. The queue is part of the run's
// transaction and savepoints: what they undo leaves it too. Until flush()
// the queued companies are not in the register.
class CounterpartRegister {
public:
    enum class Mode { Immediate, Queued };
    explicit CounterpartRegister(dbClass &db, Mode mode = Mode::Immediate);
    ~CounterpartRegister();
    CounterpartRegister(const CounterpartRegister &) = delete;
    CounterpartRegister &operator=(const CounterpartRegister &) = delete;

    // Queued: Added when the company was queued (its code new to the run),
    // whether or not the register has it already.
    Registered add(const Company &c);
    Registered add(const CompanyUtf8 &c);
    // Writes the queue into the register, each tax code with the data first
    // queued for it, and empties it. The number of companies the register
    // did not have, -1 on failure. Immediate: nothing to write, 0.
    qint64 flush();
    // Whether the tax code (trimmed, any case) was handled in this run and
    // is still remembered (at most KnownAtMost codes are). The second form
    // takes the code in UTF-8, as an exchange file gives it.
    bool known(const QString &codFisc) const;
    bool known(QByteArrayView codFisc) const;
    static constexpr qsizetype KnownAtMost = 16384;
    // Forgets what the run handled: after a rollback took its rows away.
    void forget() { known_.clear(); }

private:
    bool prepare();
    bool failed(const QString &error, qint64 code, const QString &sql);

    dbClass &db_;
    const Mode mode_;
    QString queue_;   // the temporary table of Mode::Queued, once made
    qint64 queued_ = 0;   // companies queued since the last flush
    std::unique_ptr<dbStatement> insert_;
    // Codes trimmed and in capitals, in UTF-8.
    QSet<QByteArray> known_;
};
// The company a module row names as its counterpart, with the columns the
// row has; a row with no tax code names none (blank).
Company counterpartOf(const tree::Node &module);

// Reads a company by tax code.
std::optional<Company> readCompany(dbClass &db, const QString &codFisc);

// One line of the register's list; companies whose place is missing or
// unknown are listed too, with empty municipality and province.
struct CompanyLine {
    QString codFisc, ragSoc, via, civico, comDesc, prvSigla;
};
QVector<CompanyLine> companyList(dbClass &db);

// The edit panel of the register.
const fields::Table &companyFields();
fields::Record companyRecord(const Company &c);
Company companyFrom(const fields::Record &r);
// Writes the edited fields into the company's row.
bool saveCompany(dbClass &db, const QString &codFisc, const fields::Record &r);
// Asks "Elimino Elimino ditta: " + name + "\nsei sicuro?" and deletes on Yes.
bool deleteCompany(AppContext &ctx, const QString &codFisc, const QString &ragSoc);

} // namespace anag
