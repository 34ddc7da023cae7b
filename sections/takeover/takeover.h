#pragma once
// Takeover from the previous-year database: the previous year's declarations
// are listed, and the ticked ones are carried into the current year. For
// each one the company goes to the register, the anagrafica becomes a new
// SezAnag row of the current year and, on request, the structure of its
// schede comes along with every quantity empty. The run is one transaction
// with a savepoint per declaration: a declaration is taken over whole or not
// at all, and what was taken stays when the run is cancelled or fails.
//
// What "structure" keeps, table by table of the declaration tree (every
// section, module and row table hanging from SezAnag):
// - every row with every column but its key, its parent key pointing at the
//   new parent: waste codes, physical states, scheda types and categories,
//   module types, counterparts, operation codes and their positions,
//   classifications and flags;
// - quantity columns (qta..., msQta..., srQta, intQta) are emptied (NULL);
//   their unit codes are kept, so the forms propose last year's unit;
// - rows that are only a code and a quantity (operation rows of MG and DR
//   modules, waste rows of the IMB, RAEE and VFU schede) are kept with the
//   code and an empty quantity: they are the list the user fills in again;
// - authorisations (SaAut) are kept whole: they hold no yearly quantity,
//   only the authorised capacities, which stay valid from year to year;
// - municipalities (of the unit, the registered office and of every
//   counterpart) changed since last year take their new codes and postcode;
// - every counterpart with a tax code goes to the register of companies.
// The secondary materials of scheda MAT are quantities of the declaration
// row: always emptied, their units kept only with the structure.

#include "shell/context.h"

#include <QList>
#include <QString>
#include <QVector>
#include <functional>

class dbClass;
class Messages;

namespace takeover {

// One declaration of the previous year, as the list shows it.
struct Line {
    qint64 saID = 0;            // key in the previous-year database
    QString codFisc, ragSoc, via, civico;
    int prvIstat = 0, comIstat = 0; // local unit, in this year's codes
    QString comDesc, prvSigla;      // from this year's reference tables
    int chamber = 0;                // Comuni.comCCIAA of the municipality
    QString schede;                 // "RIF 3, INT 1, IMB 1", or "solo anagrafica"
    bool present = false;           // already in the current year (skipped by run())
};

// Reads the previous year's declarations, ordered by name. False, after
// "Errore apertura database dichiarazioni anno precedente", when the
// previous-year database is not open or cannot be read.
bool readPrevious(dbClass &db, Messages &msg, QVector<Line> &out);

// List filters; empty ones let everything through.
struct Filter {
    QString name;    // part of the company name, any case
    QString codFisc; // part of the tax code, any case
    int chamber = 0; // competent chamber (refdata::competentChamber().code)
};
bool matches(const Line &l, const Filter &f);

struct Options {
    bool structure = false; // "anche la struttura delle schede"
    bool setup = false;     // the user's own data, when this year has none yet
};

// Progress between declarations: (done, total); returning false stops the
// run before the next declaration.
using Progress = std::function<bool(int done, int total)>;

struct Result {
    enum Status { Done, Cancelled, Failed, NotOpen };
    enum class Setup { NotAsked, Taken, AlreadyThere, NotInPrevious, Refused };
    Status status = Failed;
    int taken = 0;     // declarations taken over
    int skipped = 0;   // already present in the current year
    int companies = 0; // companies added to the register
    Setup setup = Setup::NotAsked;
    QList<qint64> newIds; // saIDs of the new declarations
};

// Takes over the declarations of the previous year whose keys are given, in
// that order. A declaration already present in the current year (the test of
// the import of exchange files) is skipped and counted. A failure rolls the
// declaration back, is reported, and ends the run (Failed).
Result run(AppContext &ctx, const QList<qint64> &saIDs, const Options &options,
           const Progress &progress = {});

// The message shown when the previous-year database cannot be used.
QString openErrorText();

} // namespace takeover
