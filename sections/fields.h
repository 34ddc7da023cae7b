#pragma once
// Field tables: what a scheda or module form holds, said once as data. A form
// declares its fields (column, caption, kind, size, accepted characters,
// required message, place on the form); the input controls are built from the
// table, the required check and the values written to the store come from it.
// No widgets here: the rules run and are tested without a screen.

#include <QString>
#include <QVariantMap>
#include <QVector>
#include <functional>

class Messages;

namespace fields {

enum class Kind {
    Text,         // QString
    Integer,      // qlonglong, at most `length` digits
    Decimal,      // thousandths (qint64), `length` integer digits, `decimals` decimals
    Quantity,     // thousandths in `name`, unit code (1 Kg, 2 t) in `name2`
    Date,         // text "yyyy-MM-dd"
    Check,        // 0/1
    Option,       // whole number, one of `options`
    Municipality, // province code in `name`, municipality code in `name2`
    Province,     // shows the abbreviation of the picker named in `name2`; not stored
    Activity,     // six characters, shown through the mask 38.11.00
};

struct Field {
    QString name;        // column (first column of a pair)
    QString caption;     // label shown before the control
    Kind kind = Kind::Text;
    int length = 0;      // text: characters; numbers: integer digits
    int decimals = 0;
    QString chars;       // accepted characters, a character-class body ("0-9"); empty: any
    bool upper = false;  // text forced to upper case
    QString required;    // message when left empty; empty: not required
    QString name2;       // second column (unit, municipality) or linked picker
    int index = -1;      // input index (numbered fields); -1 for pickers and boxes
    // Place on the form grid (columns count label + control pairs).
    int row = 0, col = 0, span = 1;
    int width = 0;       // in characters; 0: from the length
    bool thousands = false; // integers shown with "." thousands separators
    QStringList options; // Option: the captions, values 1, 2, ...
    bool stored = true;  // false: shown only
    QString group;       // frame the field stands in (empty: none)
};

using Table = QVector<Field>;
using Record = QVariantMap;

const Field *find(const Table &t, const QString &name);
int position(const Table &t, const QString &name);

bool isEmpty(const Field &f, const Record &r);

// Required fields in table order: the first empty one shows its message and
// its position is returned; -1 when every required field is filled.
// A municipality picker without its own message says "Attenzione, campo Comune richiesto!".
int firstMissing(const Table &t, const Record &r, Messages &msg);

// A quantity greater than zero needs its unit: the first quantity field (in
// table order, among those `open` accepts) whose amount is not zero while
// its unit is neither Kg nor t shows the message naming it and its position
// is returned; -1 when every quantity has its unit.
int firstUnitMissing(const Table &t, const Record &r, Messages &msg,
                     const std::function<bool(const Field &)> &open = {});
// "Attenzione, unità di misura richiesta per ..." naming the quantity.
QString unitMissingMessage(const QString &what);

// Values to write: texts trimmed (and upper-cased where the field says so),
// cut to their length, empty values as NULL; Province fields are left out.
QVariantMap storeValues(const Table &t, const Record &r);
// A row read from the store brought to the record's types.
Record fromStore(const Table &t, const QVariantMap &row);

// Builders for the common shapes, so that a table reads as a list of fields.
Field text(int index, const char *name, const QString &caption, int length, int row, int col,
           const QString &chars = {}, bool upper = false, int span = 1);
// A quantity with its unit, as every scheda enters it: seven integer digits
// and three decimals.
Field quantity(const QString &name, const QString &unit, const QString &caption, const QString &group = {});
// The secondary materials msQta01/msUmi01, msQta02/msUmi02, ... with the
// given captions, in one frame.
void addMaterials(Table &t, const QStringList &captions, const QString &group);
// A municipality picker over a province/municipality column pair (two grid
// columns wide, from column 0 of its row) and, beside it, the read-only
// abbreviation of the chosen province, not stored.
void addMunicipality(Table &t, const char *prvColumn, const char *comColumn, const char *provName, int provIndex,
                     int row, const QString &required = {}, const QString &group = {});

// Quantities left empty in a stored row read as 0 in Kg, as on a new form.
void defaultQuantities(const Table &t, Record &r);

// The shared delete confirmation: "Elimino " + what + line break + "sei sicuro?".
bool confirmDelete(Messages &msg, const QString &what);

} // namespace fields
