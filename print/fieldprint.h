#pragma once
// A field table as printed. The forms say what a scheda or module holds in
// their field tables (sections/fields.h); the print reads the same tables:
// each field becomes a boxed field with the caption of the form and its value
// as text, the fields gather under the frames they stand in on the form (in
// order of first appearance, as the form builds its frames) and fill rows as
// wide as a printed frame.

#include "print/dichiarazione.h"
#include "sections/fields.h"

#include <functional>

class dbClass;

namespace print {

// Room for the fields of a row of a printed frame, millimetres; fields stand
// FieldGap apart.
inline constexpr double RowWidth = 176;
inline constexpr double FieldGap = 3;

// Width in millimetres of a text in the print font: captions at 7 points,
// values at 10 points.
double captionWidth(const QString &text);
double valueWidth(const QString &text);

// A boxed field: the box at least `box` wide and wide enough for the value
// (up to a row), the field's room wide enough for its caption.
FormField boxedField(const QString &caption, const QString &value, double box);

// The text of a field of a record as read by the section code (options hold
// their position from 1, quantities thousandths with their unit): "X" for a
// ticked box, the option's text, the municipality's name, the province's
// abbreviation, "1.234,500 Kg". Countries and RAEE categories are looked up
// in the store.
QString fieldText(dbClass &db, const fields::Table &t, const fields::Field &f, const fields::Record &r);

// The field as printed, its box sized by its kind and length.
FormField printedField(dbClass &db, const fields::Table &t, const fields::Field &f, const fields::Record &r);

// Fields in rows, in order: a row takes fields while they fit in RowWidth.
QList<FormRow> packed(const FormRow &fields);

// The fields of one frame of a form. `group` is the frame as the table names
// it (frames that differ only by trailing blanks are different frames),
// `title` as printed.
struct FieldFrame {
    QString group, title;
    FormRow fields;
};
// The printable fields of a record by frame, in order of first appearance.
// Fields shown only on the form (the Italia/Estero choice) are left out, and
// so are the fields `open` says are closed, unless they hold a value.
QList<FieldFrame> fieldFrames(dbClass &db, const fields::Table &t, const fields::Record &r,
                              const std::function<bool(const fields::Field &)> &open = {});

} // namespace print
