#pragma once
// A waste scheda: one row per waste code under a declaration, with the seven
// physical-state flags and its quantities. Scheda RIF (SezRif) and scheda INT
// (SezInt) are the same thing with different tables, texts and quantities;
// this is the one piece of code that serves both, driven by a SchedaKind.
// No widgets here.

#include "sections/fields.h"
#include "shell/context.h"

#include <QVector>

namespace waste {

struct SchedaKind {
    QString table;          // SezRif, SezInt
    QString key;            // rifID, intID
    QString name;           // "RIF", "INT": navigator "Scheda RIF", form number key
    QString title;          // window title
    QString listTitle;      // "Lista delle schede RIF inserite"
    QString listTip;        // "Apre lista delle schede RIF inserite"
    QString repeated;       // question for a code that already has a scheda
    QString deleteWhat;     // what the delete confirmation names
    QString settingsKey;    // "RifID", "IntID": the current scheda, remembered
    bool askNoQuantity = false; // RIF: question when no quantity; INT: the field requires it
    fields::Table fields;   // rifCod, the seven flags, the quantities (in check order)
};

// Shared texts.
QString stateFlagMessage();    // "Attenzione, selezionare almeno uno "STATO FISICO""
QString noQuantityQuestion();  // RIF only
QString tooLargeMessage();     // a quantity the exchange file cannot carry
QString unknownCodeMessage(const QString &code);

// The seven physical-state flags, in their order.
const QStringList &stateColumns();

// Keys of a declaration's schede in navigator order (code, then key).
QVector<qint64> ids(AppContext &ctx, const SchedaKind &s, qint64 saID);

struct SchedaRow {
    qint64 id = 0;
    QString code, desc, cls;
};
// The list window's rows (only schede whose code is in the waste table).
QVector<SchedaRow> list(AppContext &ctx, const SchedaKind &s, qint64 saID);

// A new scheda: empty code, no flag, every quantity 0 in Kg.
fields::Record blank(const SchedaKind &s);
fields::Record load(AppContext &ctx, const SchedaKind &s, qint64 id, bool *found = nullptr);
QString wasteDescription(AppContext &ctx, const QString &code);

// Rule run on leaving the code field. Unknown (or not selectable) codes keep
// the cursor in the field; for a new scheda a code already present asks
// whether to add another one (No abandons the entry). An empty code passes.
enum class CodeExit { Ok, Refused, Abandoned };
CodeExit codeExit(AppContext &ctx, const SchedaKind &s, qint64 saID, qint64 id,
                  const QString &code);

// Save rules in order; -1 when the save may go on, otherwise the position in
// the field table of the field that stopped it (the flags: the first flag).
// RIF: declining the no-quantity question returns the position of the first
// quantity.
int saveCheck(AppContext &ctx, const SchedaKind &s, const fields::Record &r);

// Writes the row (after saveCheck): returns the key, 0 on a database failure.
qint64 save(AppContext &ctx, const SchedaKind &s, qint64 saID, qint64 id,
            const fields::Record &r);

// Confirmation, then the row goes with its modules and their rows.
bool remove(AppContext &ctx, const SchedaKind &s, qint64 id);

// Quantities of a record that exceed what the exchange file carries: position
// of the first, or -1.
int firstTooLarge(const fields::Table &t, const fields::Record &r);

} // namespace waste

namespace rif {

const waste::SchedaKind &scheda();
// The code field and the seven state flags, shared with scheda INT.
fields::Table codeAndStateFields();

// The notice shown before the MG module opens (empty: none).
QString mgNotice(const QString &code);

} // namespace rif
