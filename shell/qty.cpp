#include "shell/qty.h"

Qty Qty::fromStore(const QVariant &v)
{
    if (v.isNull() || !v.isValid())
        return {};
    bool ok = false;
    qint64 m = v.toLongLong(&ok);
    if (ok)
        return fromMilli(m);
    // A store that hands back decimal text ("1234.567") is parsed without
    // doubles; there the point is always the decimal separator.
    auto q = parse(v.toString().replace(u'.', u','));
    return q ? *q : Qty{};
}

std::optional<Qty> Qty::parse(const QString &input)
{
    QString t = input.trimmed();
    if (t.isEmpty())
        return Qty{};
    bool neg = false;
    if (t.startsWith(u'-')) {
        neg = true;
        t.remove(0, 1);
    }
    QString intPart, decPart;
    int comma = t.indexOf(u',');
    if (comma >= 0) {
        intPart = t.left(comma);
        decPart = t.mid(comma + 1);
        intPart.remove(u'.');
    } else {
        int lastDot = t.lastIndexOf(u'.');
        if (lastDot >= 0 && t.count(u'.') == 1 && t.size() - lastDot - 1 != 3) {
            intPart = t.left(lastDot);
            decPart = t.mid(lastDot + 1);
        } else {
            intPart = t;
            intPart.remove(u'.');
        }
    }
    if (intPart.isEmpty())
        intPart = QStringLiteral("0");
    if (decPart.size() > 3)
        return std::nullopt;
    for (QChar c : intPart)
        if (!c.isDigit())
            return std::nullopt;
    for (QChar c : decPart)
        if (!c.isDigit())
            return std::nullopt;
    if (intPart.size() > 14)
        return std::nullopt;
    qint64 whole = intPart.toLongLong();
    qint64 frac = 0;
    if (!decPart.isEmpty())
        frac = decPart.leftJustified(3, u'0').toLongLong();
    qint64 milli = whole * 1000 + frac;
    return fromMilli(neg ? -milli : milli);
}

QString Qty::format(int decimals, bool thousands) const
{
    qint64 v = v_ < 0 ? -v_ : v_;
    // Round to the requested number of decimals, half away from zero.
    qint64 div = 1;
    for (int i = decimals; i < 4; ++i)
        div *= 10;
    qint64 scaled = (v + div / 2) / div; // value * 10^decimals
    qint64 p = 1;
    for (int i = 0; i < decimals; ++i)
        p *= 10;
    qint64 whole = scaled / p;
    qint64 frac = scaled % p;
    QString w = QString::number(whole);
    if (thousands) {
        for (int i = w.size() - 3; i > 0; i -= 3)
            w.insert(i, u'.');
    }
    QString s = (v_ < 0 && scaled != 0 ? QStringLiteral("-") : QString()) + w;
    if (decimals > 0)
        s += u',' + QString::number(frac).rightJustified(decimals, u'0');
    return s;
}

Qty qtyKg(const QVariant &qta, const QVariant &umi)
{
    return Qty::fromStore(qta).kg(umi.toInt());
}

bool toleranceMatch(Qty a, Qty b)
{
    if (a == b)
        return true;
    if (a.isZero())
        return false;
    // |A - B| * 100 / A <= 5, kept exact in integers.
    __int128 diff = (a - b).abs().raw();
    __int128 base = a.abs().raw();
    return diff * 100 <= base * 5;
}

QString unitText(int code)
{
    switch (code) {
    case 1: return QStringLiteral("Kg");
    case 2: return QStringLiteral("t");
    default: return {};
    }
}

int unitCode(const QString &text)
{
    if (text == QLatin1String("Kg"))
        return 1;
    if (text == QLatin1String("t"))
        return 2;
    return 0;
}
