#pragma once
// Record layouts of the exchange file. Each record type is one table of
// fields; the writer encodes a row through it and the reader cuts a line
// through the same table, so what is written is exactly what is read back.
//
// Field values travel in a record (exchange/record.h) keyed by lower-case
// names: a column field is named after its column, a computed field starts
// with '#' (counts, progressives, kind codes, texts built from several
// columns) and is supplied by the writer and interpreted by the loader. The
// same functions take a QVariantMap by name where speed does not matter.

#include "exchange/record.h"
#include "sections/codes.h"

#include <QByteArray>
#include <QString>
#include <QVariant>
#include <QVariantMap>
#include <vector>

namespace exch {

enum class Enc {
    Text,     // w characters, right-padded with spaces or cut; null: spaces
    Number,   // w digits with leading zeros; null: zeros
    Flag,     // "1" or "0"
    Date,     // yyyymmdd; null: 8 spaces
    Qty,      // 0000000,000
    QtyUnit,  // 0000000,000;u  (u: first character of the unit code, "0" for a zero amount)
    Fixed,    // a literal text
};

struct Field {
    QString name;      // column or '#'-computed name, lower case
    Enc enc;
    int width;         // characters before the terminator (QtyUnit: 11 + 1 + 1)
    QString unit;      // QtyUnit: the unit column (lower case)
    QString literal;   // Fixed
    QString label;     // the name as written in the layout, for messages
    int key = -1;      // record keys of name and unit
    int unitKey = -1;
    bool computed() const { return name.startsWith(u'#') || enc == Enc::Fixed; }
    int size() const;  // characters written, terminators included
};

struct Layout {
    int index;              // position of the counter in the header
    QString code;           // "AA", "AB", ...
    int length;             // line length without CR LF
    int keyLength;          // characters (from position 4) shared with the parent record
    QString table;          // table the loader adds rows to ("" when none)
    std::vector<Field> fields;   // after the 41-character prefix (XX: the whole line)
    int fieldsSize() const;
};

// Record types by index, the order of the counters in the header.
namespace rt {
enum : int { AA, AB, BA, BB, BC, BD, BE, DA, DB, RA, RB, RC, RD, RE, RF, VC, VD, VE, VF, VG, VH,
             IA, IB, IC, ID, IE, IF, MA, AU };
}

constexpr int PrefixLength = 41;
constexpr int HeaderLength = 482;
constexpr int RecordTypes = 29;

const Layout &header();
// Record keys of the columns of an MG module carried by its detail lines
// (quantities with their units).
const std::vector<int> &mgModuleKeys();
const std::vector<Layout> &layouts();       // the 29 record types in index order
// The layout of a record code ("AA"...); null for any other text.
const Layout *layout(QByteArrayView code);
const Layout &layout(int index);

// Encodes one field; false (with the reason in *why) when the value does not
// fit its width.
bool encodeField(const Field &f, const Record &row, QByteArray &out, QString *why);
bool encodeField(const Field &f, const QVariantMap &row, QByteArray &out, QString *why);
// Encodes all fields of a layout after the given start; false when a value does
// not fit, with the field's name in *field.
bool encodeFields(const Layout &l, const Record &row, QByteArray &line, QString *field, QString *why);
bool encodeFields(const Layout &l, const QVariantMap &row, QByteArray &line, QString *field,
                  QString *why);
// Cuts a line (prefix included for declaration records) into field values:
// Text loses its trailing spaces and a blank Text or Date is null; Number,
// Flag and quantities read back as numbers (zero where the writer put the null
// form), units as their digit. The prefix gives "#year", "#codfisc", "#key".
// The record is cleared first; texts in plain ASCII refer to the bytes of the
// line, which must stay until the record is done with.
void decodeLine(const Layout &l, QByteArrayView line, Record &out);
QVariantMap decodeLine(const Layout &l, const QByteArray &line);

// Material number held by each of the 21 slots of an MA record (0: empty slot).
using codes::MatKind;
using codes::materialSlots;

// Single encoders, shared with the tests.
QByteArray text(const QVariant &v, int w);
bool number(const QVariant &v, int w, QByteArray &out);
QByteArray flag(const QVariant &v);
bool date(const QVariant &v, QByteArray &out);
bool quantity(const QVariant &milli, QByteArray &out);
bool quantityUnit(const QVariant &milli, const QVariant &unit, QByteArray &out);

} // namespace exch
