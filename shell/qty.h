#pragma once
// Fixed-point quantity: amounts are kept in ten-thousandths (four decimals),
// the precision used for sums and comparisons; the store keeps thousandths.
// No floating point anywhere on the way.

#include <QString>
#include <QVariant>
#include <compare>
#include <cstdint>
#include <optional>

class Qty {
public:
    static constexpr qint64 Scale = 10000;   // units per 1
    // Largest amount an exchange-file quantity field holds (7 integer digits).
    static constexpr qint64 FileMaxMilli = 9999999999LL;

    constexpr Qty() = default;
    static constexpr Qty fromRaw(qint64 tenThousandths) { Qty q; q.v_ = tenThousandths; return q; }
    static constexpr Qty fromMilli(qint64 thousandths) { return fromRaw(thousandths * 10); }
    static constexpr Qty fromInt(qint64 whole) { return fromRaw(whole * Scale); }
    // Value as stored in the database (thousandths); null reads as 0.
    static Qty fromStore(const QVariant &v);
    QVariant toStore() const { return QVariant(toMilli()); }

    constexpr qint64 raw() const { return v_; }
    // Thousandths, rounding the fourth decimal half away from zero.
    constexpr qint64 toMilli() const { return v_ >= 0 ? (v_ + 5) / 10 : -((-v_ + 5) / 10); }

    // Parses a quantity typed by the user: digits, optional "." thousands
    // separators, "," decimal separator (a lone "." with 1-3 decimals and no
    // comma is taken as decimal point too). At most three decimals.
    static std::optional<Qty> parse(const QString &text);
    // Italian formatting: thousands "." and decimal ",".
    QString format(int decimals = 3, bool thousands = true) const;

    // Brought to kilograms: unit 1 is kilograms, any other unit means tonnes.
    constexpr Qty kg(int unit) const { return unit == 1 ? *this : fromRaw(v_ * 1000); }

    constexpr bool isZero() const { return v_ == 0; }
    constexpr bool positive() const { return v_ > 0; }
    constexpr Qty abs() const { return fromRaw(v_ < 0 ? -v_ : v_); }
    constexpr Qty operator+(Qty o) const { return fromRaw(v_ + o.v_); }
    constexpr Qty operator-(Qty o) const { return fromRaw(v_ - o.v_); }
    constexpr Qty &operator+=(Qty o) { v_ += o.v_; return *this; }
    constexpr Qty &operator-=(Qty o) { v_ -= o.v_; return *this; }
    constexpr auto operator<=>(const Qty &) const = default;

private:
    qint64 v_ = 0;
};

// Kilograms of a stored pair (quantity column, unit column).
Qty qtyKg(const QVariant &qta, const QVariant &umi);

// A declared total A and a sum of parts B (both in kilograms) match when equal;
// never when A is 0 and B is not; otherwise when |A - B| * 100 / A is at most 5.
bool toleranceMatch(Qty a, Qty b);

// Unit codes of the quantity+unit picker: 1 "Kg", 2 "t", anything else none.
QString unitText(int code);
int unitCode(const QString &text);
