#pragma once
// Values of one line of the exchange file on their way between the store and
// the file. Every name a line knows (a column, or a '#'-computed field) is
// given a small number once for the life of the program; a record is an array
// indexed by those numbers, so filling it from a row and reading it through a
// layout costs an array access per value, with no search and no allocation.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QVariant>
#include <algorithm>
#include <string>
#include <vector>

class dbStatement;

namespace exch {

// The number of a lower-case name, given out the first time it is asked for.
int keyOf(QStringView name);
QString keyName(int key);

// A name written in the code: key<"#kind">() looks it up once.
template <size_t N>
struct KeyName {
    char s[N];
    constexpr KeyName(const char (&a)[N]) { std::copy_n(a, N, s); }
};
template <KeyName n>
int key()
{
    static const int k = keyOf(QString::fromLatin1(n.s));
    return k;
}

// One value: null, a whole number or a text in UTF-8. A text points to bytes
// kept elsewhere (a record, a row set or a literal).
struct Val {
    enum class Kind : quint8 { Null, Int, Text };
    Kind kind = Kind::Null;
    int n = 0;   // Text: size in bytes
    union {
        qint64 i = 0;
        const char *s;
    };

    static Val of(qint64 v) { Val x; x.kind = Kind::Int; x.i = v; return x; }
    // A literal or bytes that outlive every record the value goes into.
    static Val text(QByteArrayView b)
    {
        Val x;
        x.kind = Kind::Text;
        x.s = b.data();
        x.n = int(b.size());
        return x;
    }
    bool isNull() const { return kind == Kind::Null; }
    bool isInt() const { return kind == Kind::Int; }
    bool isText() const { return kind == Kind::Text; }
    QByteArrayView bytes() const { return kind == Kind::Text ? QByteArrayView(s, n) : QByteArrayView(); }
    // Whole number as QVariant::toLongLong() reads it (text parsed, else 0).
    qint64 toInt() const;
    // Text as QVariant::toString() gives it (a number in decimal).
    QString toString() const;
    QVariant toVariant() const;
};

class RowSet;

class Record {
public:
    // Null when not set.
    Val get(int k) const
    {
        if (size_t(k) >= slots_.size() || slots_[size_t(k)].gen != gen_)
            return baseValue(k);
        const Slot &s = slots_[size_t(k)];
        if (!s.own)
            return s.v;
        Val v = s.v;
        v.s = arena_.data() + s.v.i;
        return v;
    }
    bool has(int k) const
    {
        return (size_t(k) < slots_.size() && slots_[size_t(k)].gen == gen_) || baseHas(k);
    }
    // A row the record reads what is not set in it from, until cleared: the
    // columns of a row are not copied one by one. The row set must not
    // change meanwhile.
    void setBase(const RowSet *set, int row)
    {
        base_ = set;
        baseRow_ = row;
    }
    // A text value is kept by reference: its bytes must outlive the record's use.
    void set(int k, Val v)
    {
        Slot &s = slot(k);
        s.v = v;
        s.gen = gen_;
        s.own = false;
    }
    void set(int k, qint64 v) { set(k, Val::of(v)); }
    void setNull(int k) { set(k, Val()); }
    // A text copied into the record.
    void keep(int k, QByteArrayView utf8);
    void keep(int k, const QByteArray &utf8) { keep(k, QByteArrayView(utf8)); }
    void keep(int k, QStringView s);
    // Sets every value set in another record (texts it keeps are copied; its
    // base row is not looked at).
    void merge(const Record &o);
    // Sets k to the value of fromKey in from (null when not set there); from
    // may be this record.
    void copy(int k, const Record &from, int fromKey);
    void clear()
    {
        if (++gen_ == 0) {   // wrapped: old stamps could match again
            for (Slot &s : slots_)
                s.gen = 0;
            gen_ = 1;
        }
        keys_.clear();
        arena_.clear();
        base_ = nullptr;
    }
    // Keys set, in the order they were first set (the base row's not included).
    const std::vector<int> &keys() const { return keys_; }

    // The same values as a map by name (tests and the header line).
    QVariantMap toMap() const;
    static Record fromMap(const QVariantMap &m);

private:
    Val baseValue(int k) const;
    bool baseHas(int k) const;

    struct Slot {
        Val v;
        quint32 gen = 0;
        bool own = false;   // v.i is an offset in arena_
    };
    Slot &slot(int k)
    {
        if (size_t(k) >= slots_.size())
            slots_.resize(size_t(k) + 16);
        Slot &s = slots_[size_t(k)];
        if (s.gen != gen_)
            keys_.push_back(k);
        return s;
    }
    std::vector<Slot> slots_;
    std::vector<int> keys_;
    std::string arena_;
    quint32 gen_ = 1;
    const RowSet *base_ = nullptr;
    int baseRow_ = -1;
};

// Rows of a statement kept with their values, for reading after the
// statement has moved on: the key of each column, then the values row by row.
class RowSet {
public:
    // Takes the names of the statement's columns from position first on.
    void columnsOf(const dbStatement &st, int first);
    // Adds the statement's current row; returns its number.
    int append(const dbStatement &st, int first);
    void clearRows()
    {
        cells_.clear();
        arena_.clear();
        rows_ = 0;
    }
    int rows() const { return rows_; }
    int columns() const { return int(keys_.size()); }
    // One value of row r by key (null when the statement has no such column).
    Val value(int r, int k) const
    {
        const int c = size_t(k) < column_.size() ? column_[size_t(k)] : -1;
        return c < 0 ? Val() : cell(r, c);
    }
    bool hasColumn(int k) const { return size_t(k) < column_.size() && column_[size_t(k)] >= 0; }

private:
    Val cell(int r, int c) const
    {
        Val v = cells_[size_t(r) * keys_.size() + size_t(c)];
        if (v.kind == Val::Kind::Text)
            v.s = arena_.data() + v.i;
        return v;
    }
    std::vector<int> keys_;     // per column
    std::vector<int> column_;   // per key: column, -1
    std::vector<Val> cells_;    // texts hold their offset in arena_
    std::string arena_;
    int rows_ = 0;
};

} // namespace exch

namespace exch {

inline Val Record::baseValue(int k) const { return base_ ? base_->value(baseRow_, k) : Val(); }
inline bool Record::baseHas(int k) const { return base_ && base_->hasColumn(k); }

} // namespace exch
