#pragma once
// What the rules read of one declaration, loaded with a fixed number of
// queries per declaration (one per table of the tree, never one per row).
// Amounts are brought to kilograms on loading.

#include "shell/qty.h"
#include "verify/report.h"

#include <QSqlDatabase>
#include <QSqlQuery>
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

// Reads declarations. Queries are prepared once and reused.
class Loader {
public:
    // order: the saIDs of the declarations to load, in the order they will
    // be loaded (each section table is read once for all of them).
    Loader(QSqlDatabase db, const std::vector<qint64> &order);
    ~Loader();
    // Fills d (saID already set, one of the order) from the store; false on a
    // database error. Declarations are loaded in the order given.
    bool load(Declaration &d);
    QString lastError() const { return error_; }

private:
    struct Impl;
    std::unique_ptr<Impl> p_;
    QString error_;
};

} // namespace verify
