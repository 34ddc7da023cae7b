#pragma once
// What the rules read of one declaration, filled from the declaration tree.
// Amounts are brought to kilograms on filling.

#include "shell/qty.h"
#include "shell/tree/tree.h"
#include "verify/report.h"

#include <QSqlDatabase>
#include <QString>
#include <QStringList>
#include <functional>
#include <memory>
#include <vector>

namespace verify {

// An operation row of an MG/DR module (RecRif, RecModVfu, RecModImb,
// RecModRaee): Posizione 1 recovery, 2 disposal, 3 disposal art. 191.
struct Operation {
    int pos = 0;
    QString code;
    Qty kg;
};

// A module of any section. Columns a table does not have stay 0/empty.
struct Module {
    qint64 id = 0;
    int tipo = 0;
    int privati = 0;   // RT: private persons; MG: plant type 1..13; RE: activity
    int nazID = 0;     // foreign country (0: Italy)
    int discDep = 0;
    int disc191 = 0;
    int mbFlag = 0;
    QString rifCod;
    Qty mod, smalt, dep, q191, inc, disc;
    std::vector<Operation> ops;

    bool foreign() const { return nazID > 0; }
    // Sum of the operation rows accepted by the predicate.
    Qty opsSum(const std::function<bool(const QString &)> &code) const;
    bool hasOp(const QString &code) const;
    Qty opQty(const QString &code) const;
    // The five treatment amounts of a foreign RT/DR module.
    Qty treatmentSum() const { return smalt + dep + q191 + inc + disc; }
    int treatmentCount() const;
};

// Operation code tests: "R1".."R13", "D1".."D15".
int opNumber(const QString &code, QChar letter); // 0 when not of that letter
bool isRecovery(const QString &code);
bool isDisposal(const QString &code);

struct WasteRow {
    int pos = 0;
    QString rifCod;
    int allAcc = 0;
    Qty kg;
};

struct RifScheda {
    qint64 id = 0;
    QString rifCod;
    Qty prod, terzi, fuori, tras, cons, giacRec, giacSmalt, rec, smalt;
    std::vector<Module> mods; // RT in Privati, mrID order; the others by mrID
    std::vector<const Module *> ofType(int tipo) const;
};

struct IntScheda {
    qint64 id = 0;
    QString rifCod;
    Qty qta;
    std::vector<Module> mods;
};

struct Authorisation {
    QString estremi, dataRil, dataScad;
    int ente = 0, tipo = 0;
    QString recupero, smaltimento; // one character per operation, "1" ticked
    bool vfu = false, raee = false, inc = false, coinc = false;
    qint64 incQta = 0, conQta = 0;
    int crClass[3] = {0, 0, 0};
    qint64 crQta[3] = {0, 0, 0};

    bool recovery(int n) const { return recupero.size() >= n && recupero.at(n - 1) == u'1'; }
    bool disposal(int n) const { return smaltimento.size() >= n && smaltimento.at(n - 1) == u'1'; }
    bool anyOperation() const { return recupero.contains(u'1') || smaltimento.contains(u'1'); }
    bool landfillData() const;
};

// A scheda of the vehicle, packaging or electrical-equipment section.
struct StreamScheda {
    qint64 id = 0;
    int tipo = 0;      // vfuTipo, srTipo
    int category = 0;  // srRAEE
    // Named amounts of the scheda (kilograms), by column name.
    std::vector<std::pair<QString, Qty>> amounts;
    Qty materials[16]; // msQta01..msQta15 (index 1..15)
    std::vector<WasteRow> rows;
    std::vector<Module> mods;

    Qty amount(const char *column) const;
};

struct Declaration {
    qint64 saID = 0;
    DeclarationHeader header;
    bool activityFound = false;
    Qty materials[21]; // scheda MAT: SezAnag msQta01..msQta20 (index 1..20)

    std::vector<RifScheda> rif;
    std::vector<IntScheda> intermediation;
    std::vector<Authorisation> aut;
    std::vector<StreamScheda> vfu, imb, raee;

    bool hasMat() const;
    // Every MG-type module of every section.
    std::vector<const Module *> mgModules() const;
    bool onlyAnagrafica() const;
};

// Fills the structs above from a declaration as tree::Reader hands it over,
// with the rows in the order the checks read them. The names of the
// municipality and province and the activity code are looked up once each
// and kept for the run: what is kept depends on the reference tables, not on
// the selection.
class Adapter {
public:
    explicit Adapter(const QSqlDatabase &db);
    ~Adapter();
    Adapter(const Adapter &) = delete;
    Adapter &operator=(const Adapter &) = delete;

    // The tables and columns the checks read, for the reader.
    static tree::ReadOptions readOptions();

    // Fills d (cleared first) from a SezAnag row and the rows under it;
    // false on a database error (error()).
    bool fill(Declaration &d, const tree::Node &declaration);
    QString error() const { return error_; }

private:
    struct Impl;
    std::unique_ptr<Impl> p_;
    QString error_;
};

} // namespace verify
