#pragma once
// Scheda IMB (packaging waste): one scheda per declaration (SezImb) holding
// many waste codes as rows (RecImb) in four groups, and its modules RT-IMB,
// DR-IMB, TE-IMB and MG-IMB (ModImb, RecModImb), each tied to a waste code of
// the scheda. The modules are the waste modules with their IMB differences,
// served by the same code (sections/rif/modules.h). No widgets here.

#include "refdata/lookups.h"
#include "sections/fields.h"
#include "sections/rif/modules.h"
#include "shell/context.h"
#include "shell/qty.h"

#include <QVector>

namespace imb {

// The scheda's own fields: delivered to third parties, stock, the seven
// secondary materials (msQta01..msQta07 in the order of codes::imbMaterials()).
const fields::Table &schedaFields();
fields::Record blank();

// The scheda of a declaration (0: none yet).
qint64 schedaId(AppContext &ctx, qint64 saID);
fields::Record load(AppContext &ctx, qint64 siID);

// A waste row of a group (codes::ImbGroup).
struct Row {
    qint64 id = 0;       // riID, 0 for a row not yet stored
    int posizione = 0;
    QString rifCod;      // six digits; 150104 with allAcc
    int allAcc = 0;      // 150104: 1 aluminium, 0 steel
    qlonglong qta = 0;   // thousandths
    int umi = 1;
};
// "150104-A" / "150104-C" for the split code, the code itself otherwise.
QString displayCode(const QString &rifCod, int allAcc);
// The code as typed: "150104-A", "150104-C" or six digits. False for
// anything else (150104 without its metal included).
bool parseCode(const QString &typed, QString *rifCod, int *allAcc);

QVector<Row> loadRows(AppContext &ctx, qint64 siID);
// Caption of a group, in the order of the form.
QString groupCaption(int posizione);

// Checks of a code typed in a group, in order: existence ("Attenzione, codice
// rifiuto errato."), selectable, once per group except 150104, packaging
// compatibility (a question, No preselected). `rows` are the group's other
// rows as they stand on the form. True when the code may stay.
bool codeEntry(AppContext &ctx, int posizione, const QString &typed, const QVector<Row> &rows);
QString incompatibleQuestion(int posizione);

// Save rules (quantities the exchange file cannot carry): -1 or the position
// in schedaFields() of the field that stopped it; a row quantity too large
// gives schedaFields().size() + the row's index.
int saveCheck(AppContext &ctx, const fields::Record &r, const QVector<Row> &rows);
// Writes the scheda and rewrites its rows from the grids (rows without a
// code are skipped). When a stored row's code was changed, the modules of the
// old code follow the new one: RT-IMB of the row's surface once no row of its
// group keeps the old code, the others once no row of the scheda keeps it.
// Returns siID, 0 on failure.
qint64 save(AppContext &ctx, qint64 saID, qint64 siID, const fields::Record &r,
            const QVector<Row> &rows);

// CANC on a row: confirmation "rifiuto selezionato ed i relativi moduli,";
// the stored row goes, with the modules tied to its code when no other row
// of the scheda carries that code any more (RT-IMB: on that surface).
bool removeRow(AppContext &ctx, qint64 siID, const Row &row);
// "Elimina scheda": the scheda and everything below it.
bool remove(AppContext &ctx, qint64 siID);

// ---- modules ----
const waste::ModuleKind &module(int tipoMod);

// A waste code a module form may be attached to.
struct Attachable {
    QString rifCod;
    int surface = -1;     // RT-IMB: codes::ImbSurface; -1 for the other types
    QString label;        // code and description ("... da sup. pubblica")
    qlonglong totQta = 0; // thousandths, in kilograms: the scheda rows of the code
    int moduli = 0;       // modules already attached
    waste::Attachment attachment() const;
};
// RT-IMB: the received rows, one entry per code and surface. The others:
// the packaging codes of Codici type 31 with the codes of the scheda.
QVector<Attachable> attachable(AppContext &ctx, qint64 siID, int tipoMod);
QString noWasteMessage(); // "Nessun rifiuto trovato."

// The waste table the grids open on INS: 150104 stands as "150104-A" and
// "150104-C", the two ways it may be typed.
QVector<refdata::PickRow> wasteTable(AppContext &ctx);

// RT-IMB modules against their row: the quantity received on a surface for a
// code (its rows of that group) and the total of the RT-IMB modules attached
// to them, both in kilograms.
struct RowBalance {
    Qty row, modules;
    bool matches() const { return toleranceMatch(row, modules); }
};
RowBalance rtRowBalance(AppContext &ctx, qint64 siID, const QString &rifCod, int surface);

} // namespace imb
