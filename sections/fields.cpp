#include "sections/fields.h"

#include "refdata/lookups.h"
#include "shell/messages.h"

namespace fields {

const Field *find(const Table &t, const QString &name)
{
    const int p = position(t, name);
    return p < 0 ? nullptr : &t[p];
}

int position(const Table &t, const QString &name)
{
    for (int i = 0; i < t.size(); ++i)
        if (t[i].name.compare(name, Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

bool isEmpty(const Field &f, const Record &r)
{
    const QVariant v = r.value(f.name);
    switch (f.kind) {
    case Kind::Municipality:
        return v.toInt() <= 0 || r.value(f.name2).toInt() <= 0;
    case Kind::Quantity:
    case Kind::Integer:
    case Kind::Decimal:
        return v.isNull() || !v.isValid();
    case Kind::Check:
        return v.toInt() == 0;
    case Kind::Option:
        return v.toInt() <= 0;
    default:
        return v.toString().trimmed().isEmpty();
    }
}

int firstMissing(const Table &t, const Record &r, Messages &msg)
{
    for (int i = 0; i < t.size(); ++i) {
        const Field &f = t[i];
        if (f.kind == Kind::Municipality) {
            if (!f.required.isEmpty() && !refdata::pickerRequiredOk(true, !isEmpty(f, r), f.required, msg))
                return i;
            continue;
        }
        if (f.required.isEmpty() || !isEmpty(f, r))
            continue;
        msg.information(f.required);
        return i;
    }
    return -1;
}

QString unitMissingMessage(const QString &what)
{
    QString w = what.trimmed();
    while (w.endsWith(u':'))
        w.chop(1);
    return QStringLiteral("Attenzione, unità di misura richiesta per la quantità \"%1\".").arg(w.trimmed());
}

int firstUnitMissing(const Table &t, const Record &r, Messages &msg, const std::function<bool(const Field &)> &open)
{
    for (int i = 0; i < t.size(); ++i) {
        const Field &f = t[i];
        if (f.kind != Kind::Quantity || (open && !open(f)))
            continue;
        const int unit = r.value(f.name2).toInt();
        if (r.value(f.name).toLongLong() == 0 || unit == 1 || unit == 2)
            continue;
        msg.information(unitMissingMessage(f.caption.isEmpty() ? f.group : f.caption));
        return i;
    }
    return -1;
}

QVariantMap storeValues(const Table &t, const Record &r)
{
    QVariantMap out;
    for (const Field &f : t) {
        if (!f.stored || f.kind == Kind::Province)
            continue;
        const QVariant v = r.value(f.name);
        switch (f.kind) {
        case Kind::Text:
        case Kind::Activity:
        case Kind::Date: {
            QString s = v.toString().trimmed();
            if (f.upper)
                s = s.toUpper();
            if (f.length > 0 && f.kind == Kind::Text)
                s.truncate(f.length);
            out.insert(f.name, s.isEmpty() ? QVariant(QMetaType(QMetaType::QString)) : QVariant(s));
            break;
        }
        case Kind::Integer:
        case Kind::Decimal:
            out.insert(f.name, v.isNull() || !v.isValid() ? QVariant(QMetaType(QMetaType::LongLong))
                                                          : QVariant(v.toLongLong()));
            break;
        case Kind::Quantity:
            out.insert(f.name, v.isNull() || !v.isValid() ? QVariant(QMetaType(QMetaType::LongLong))
                                                          : QVariant(v.toLongLong()));
            out.insert(f.name2, r.value(f.name2).toInt());
            break;
        case Kind::Check:
            out.insert(f.name, v.toInt() ? 1 : 0);
            break;
        case Kind::Option:
            out.insert(f.name, v.toInt());
            break;
        case Kind::Municipality:
            out.insert(f.name, v.toInt());
            out.insert(f.name2, r.value(f.name2).toInt());
            break;
        case Kind::Province:
            break;
        }
    }
    return out;
}

Record fromStore(const Table &t, const QVariantMap &row)
{
    // Column names of the store may differ in case from the table's.
    auto get = [&row](const QString &n) {
        for (auto it = row.begin(); it != row.end(); ++it)
            if (it.key().compare(n, Qt::CaseInsensitive) == 0)
                return it.value();
        return QVariant();
    };
    Record r;
    for (const Field &f : t) {
        if (f.kind == Kind::Province)
            continue;
        const QVariant v = get(f.name);
        switch (f.kind) {
        case Kind::Integer:
        case Kind::Decimal:
        case Kind::Quantity:
            r.insert(f.name, v.isNull() ? QVariant() : QVariant(v.toLongLong()));
            if (f.kind == Kind::Quantity)
                r.insert(f.name2, get(f.name2).toInt());
            break;
        case Kind::Check:
        case Kind::Option:
            r.insert(f.name, v.toInt());
            break;
        case Kind::Municipality:
            r.insert(f.name, v.toInt());
            r.insert(f.name2, get(f.name2).toInt());
            break;
        default:
            r.insert(f.name, v.isNull() ? QString() : v.toString());
        }
    }
    return r;
}

Field text(int index, const char *name, const QString &caption, int length, int row, int col,
           const QString &chars, bool upper, int span)
{
    Field f;
    f.index = index;
    f.name = QString::fromLatin1(name);
    f.caption = caption;
    f.length = length;
    f.row = row;
    f.col = col;
    f.span = span;
    f.chars = chars;
    f.upper = upper;
    return f;
}

Field quantity(const QString &name, const QString &unit, const QString &caption, const QString &group)
{
    Field f;
    f.name = name;
    f.name2 = unit;
    f.caption = caption;
    f.kind = Kind::Quantity;
    f.length = 7;
    f.decimals = 3;
    f.group = group;
    return f;
}

void addMaterials(Table &t, const QStringList &captions, const QString &group)
{
    for (int i = 0; i < captions.size(); ++i) {
        const QString n = QString::number(i + 1).rightJustified(2, u'0');
        t << quantity(QStringLiteral("msQta") + n, QStringLiteral("msUmi") + n, captions[i], group);
    }
}

void addMunicipality(Table &t, const char *prvColumn, const char *comColumn, const char *provName, int provIndex,
                     int row, const QString &required, const QString &group)
{
    Field com;
    com.name = QString::fromLatin1(prvColumn);
    com.name2 = QString::fromLatin1(comColumn);
    com.caption = QStringLiteral("Comune:");
    com.kind = Kind::Municipality;
    com.required = required;
    com.group = group;
    com.row = row;
    com.span = 2;
    t << com;
    Field prv;
    prv.index = provIndex;
    prv.name = QString::fromLatin1(provName);
    prv.name2 = com.name;
    prv.caption = QStringLiteral("Provincia:");
    prv.kind = Kind::Province;
    prv.length = 2;
    prv.stored = false;
    prv.group = group;
    prv.row = row;
    prv.col = 2;
    t << prv;
}

void defaultQuantities(const Table &t, Record &r)
{
    for (const Field &f : t) {
        if (f.kind != Kind::Quantity)
            continue;
        if (r.value(f.name).isNull())
            r.insert(f.name, qlonglong(0));
        if (r.value(f.name2).toInt() != 2)
            r.insert(f.name2, 1);
    }
}

bool confirmDelete(Messages &msg, const QString &what)
{
    return msg.question(QStringLiteral("Elimino ") + what + QStringLiteral("\nsei sicuro?"));
}

} // namespace fields
