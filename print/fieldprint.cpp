#include "print/fieldprint.h"

#include "print/fontmetrics.h"
#include "print/pdfcreator.h"
#include "print/printcommon.h"
#include "print/schedeprint.h"
#include "refdata/lookups.h"
#include "sections/codes.h"
#include "sections/stream/stream.h"
#include "shell/dbclass.h"
#include "shell/qty.h"

#include <algorithm>

namespace print {
namespace {

constexpr double PointsPerMm = 72 / 25.4;

double textWidth(const QString &text, double size)
{
    const pdf::FontMetrics &m = pdf::fontMetrics(pdf::Family::Arial, pdf::Style::Regular);
    double w = 0;
    for (const char c : clsPDFCreator::toWinAnsi(text))
        w += m.width(static_cast<unsigned char>(c));
    return w * size / 1000 / PointsPerMm;
}

// Coded fields whose texts are rows of a reference table rather than the
// field's own options.
QString lookedUp(dbClass &db, const QString &name, int code)
{
    if (code <= 0)
        return {};
    if (name == QLatin1String("nazID"))
        return db.scalar(QStringLiteral("SELECT nazDesc FROM Nazioni WHERE (nazID = ?)"), {code}).toString().trimmed();
    if (name == QLatin1String("srRAEE")) {
        const QString text = stream::raeeCategoryText(db, code);
        return text.isEmpty() ? QString::number(code) : text;
    }
    return {};
}

bool isLookedUp(const fields::Field &f)
{
    return f.name == QLatin1String("nazID") || f.name == QLatin1String("srRAEE");
}

// Width of the box of a field, millimetres, before its value is measured.
double boxOf(const fields::Field &f)
{
    switch (f.kind) {
    case fields::Kind::Check: return 8;
    case fields::Kind::Quantity: return 34;
    case fields::Kind::Date: return 24;
    case fields::Kind::Municipality: return 55;
    case fields::Kind::Province: return 12;
    case fields::Kind::Activity: return 20;
    case fields::Kind::Integer:
    case fields::Kind::Decimal: return std::max(16.0, (f.length + f.length / 3 + f.decimals) * 2.2 + 4);
    case fields::Kind::Option: {
        if (isLookedUp(f))
            return 40;
        double w = 10;
        for (const QString &o : f.options)
            w = std::max(w, valueWidth(o) + 3);
        return w;
    }
    case fields::Kind::Text: break;
    }
    return std::clamp(f.length * 2.0 + 4, 14.0, 128.0);
}

} // namespace

double captionWidth(const QString &text) { return textWidth(text, 7); }
double valueWidth(const QString &text) { return textWidth(text, 10); }

FormField boxedField(const QString &caption, const QString &value, double box)
{
    const double b = std::min(RowWidth, std::max(box, valueWidth(value) + 3));
    const double room = std::min(RowWidth, std::max(b, captionWidth(caption) + 1));
    return {caption, value, room, b};
}

QString fieldText(dbClass &db, const fields::Table &t, const fields::Field &f, const fields::Record &r)
{
    const QVariant v = r.value(f.name);
    switch (f.kind) {
    case fields::Kind::Check: return v.toInt() != 0 ? QStringLiteral("X") : QString();
    case fields::Kind::Quantity: return quantityText(v, r.value(f.name2));
    case fields::Kind::Option:
        return isLookedUp(f) ? lookedUp(db, f.name, v.toInt()) : codes::listText(f.options, v.toInt());
    case fields::Kind::Date: return italianDate(v.toString().trimmed());
    case fields::Kind::Activity: return activityCode(v.toString());
    case fields::Kind::Integer:
        return v.isNull() ? QString() : Qty::fromInt(v.toLongLong()).format(0, f.thousands);
    case fields::Kind::Decimal:
        return v.isNull() ? QString() : Qty::fromMilli(v.toLongLong()).format(f.decimals);
    case fields::Kind::Municipality:
    case fields::Kind::Province: {
        // a province shows the abbreviation of the municipality picked beside it
        const fields::Field *m = f.kind == fields::Kind::Province ? fields::find(t, f.name2) : &f;
        if (!m)
            return {};
        const int prv = r.value(m->name).toInt(), com = r.value(m->name2).toInt();
        if (prv <= 0 || com <= 0)
            return {};
        const dbClass::Municipality place = db.municipality(prv, com);
        return !place.found ? QString() : f.kind == fields::Kind::Province ? place.prvSigla : place.comDesc;
    }
    case fields::Kind::Text: break;
    }
    return v.toString().trimmed();
}

FormField printedField(dbClass &db, const fields::Table &t, const fields::Field &f, const fields::Record &r)
{
    return boxedField(f.caption, fieldText(db, t, f, r), boxOf(f));
}

QList<FormRow> packed(const FormRow &fields)
{
    QList<FormRow> rows;
    FormRow row;
    double used = 0;
    for (const FormField &f : fields) {
        if (!row.isEmpty() && used + FieldGap + f.width > RowWidth) {
            rows.append(row);
            row.clear();
        }
        used = row.isEmpty() ? f.width : used + FieldGap + f.width;
        row.append(f);
    }
    if (!row.isEmpty())
        rows.append(row);
    return rows;
}

QList<FieldFrame> fieldFrames(dbClass &db, const fields::Table &t, const fields::Record &r,
                              const std::function<bool(const fields::Field &)> &open)
{
    QList<FieldFrame> frames;
    for (const fields::Field &f : t) {
        if (!f.stored && f.kind != fields::Kind::Province)
            continue;
        const FormField printed = printedField(db, t, f, r);
        if (open && !open(f) && printed.value.isEmpty())
            continue;
        auto it = std::find_if(frames.begin(), frames.end(), [&f](const FieldFrame &x) { return x.group == f.group; });
        if (it == frames.end())
            it = frames.insert(frames.end(), FieldFrame{f.group, f.group.trimmed(), {}});
        it->fields.append(printed);
    }
    return frames;
}

} // namespace print
