#include "exchange/record.h"

#include "shell/dbstatement.h"

#include <QHash>
#include <QMutex>
#include <QStringList>

namespace exch {

namespace {

struct Names {
    QMutex lock;
    QHash<QString, int> keys;
    QStringList names;
};

Names &names()
{
    static Names n;
    return n;
}

} // namespace

int keyOf(QStringView name)
{
    const QString lower = name.toString().toLower();
    Names &n = names();
    QMutexLocker locker(&n.lock);
    auto it = n.keys.constFind(lower);
    if (it != n.keys.constEnd())
        return *it;
    const int k = int(n.names.size());
    n.names << lower;
    n.keys.insert(lower, k);
    return k;
}

QString keyName(int key)
{
    Names &n = names();
    QMutexLocker locker(&n.lock);
    return n.names.value(key);
}

qint64 Val::toInt() const
{
    switch (kind) {
    case Kind::Int: return i;
    case Kind::Text: return toVariant().toLongLong();
    case Kind::Null: break;
    }
    return 0;
}

QString Val::toString() const
{
    switch (kind) {
    case Kind::Int: return QString::number(i);
    case Kind::Text: return QString::fromUtf8(s, n);
    case Kind::Null: break;
    }
    return {};
}

QVariant Val::toVariant() const
{
    switch (kind) {
    case Kind::Int: return QVariant(i);
    case Kind::Text: return QVariant(QString::fromUtf8(s, n));
    case Kind::Null: break;
    }
    return {};
}

void Record::keep(int k, QByteArrayView utf8)
{
    Val v;
    v.kind = Val::Kind::Text;
    v.n = int(utf8.size());
    v.i = qint64(arena_.size());
    arena_.append(utf8.data(), size_t(utf8.size()));
    slot(k) = {v, gen_, true};
}

void Record::keep(int k, QStringView s)
{
    // Most texts are plain ASCII: copied as they are, with no conversion
    // through a temporary.
    for (QChar c : s)
        if (c.unicode() >= 0x80) {
            keep(k, QByteArrayView(s.toUtf8()));
            return;
        }
    Val v;
    v.kind = Val::Kind::Text;
    v.n = int(s.size());
    v.i = qint64(arena_.size());
    arena_.resize(arena_.size() + size_t(s.size()));
    char *out = arena_.data() + v.i;
    for (QChar c : s)
        *out++ = char(c.unicode());
    slot(k) = {v, gen_, true};
}

void Record::merge(const Record &o)
{
    for (int k : o.keys_) {
        const Slot &s = o.slots_[size_t(k)];
        if (s.own)
            keep(k, o.get(k).bytes());
        else
            set(k, s.v);
    }
}

void Record::copy(int k, const Record &from, int fromKey)
{
    if (!from.has(fromKey)) {
        setNull(k);
        return;
    }
    const bool inSlot = size_t(fromKey) < from.slots_.size() && from.slots_[size_t(fromKey)].gen == from.gen_;
    if (!inSlot) {   // from the base row, whose bytes stay where they are
        set(k, from.get(fromKey));
        return;
    }
    const Slot &s = from.slots_[size_t(fromKey)];
    if (!s.own)
        set(k, s.v);
    else if (&from != this)
        keep(k, from.get(fromKey).bytes());
    else {
        const QByteArray b = from.get(fromKey).bytes().toByteArray();   // the arena may move
        keep(k, QByteArrayView(b));
    }
}

QVariantMap Record::toMap() const
{
    QVariantMap m;
    for (int k : keys_)
        m.insert(keyName(k), get(k).toVariant());
    return m;
}

Record Record::fromMap(const QVariantMap &m)
{
    Record r;
    for (auto it = m.begin(); it != m.end(); ++it) {
        const QVariant &v = it.value();
        const int k = keyOf(it.key());
        if (!v.isValid() || v.isNull()) {
            r.setNull(k);
            continue;
        }
        if (dbStatement::isInteger(v))
            r.set(k, v.toLongLong());
        else
            r.keep(k, v.toString());
    }
    return r;
}

void RowSet::columnsOf(const dbStatement &st, int first)
{
    keys_.clear();
    column_.clear();
    for (int c = first; c < st.columnCount(); ++c) {
        const int k = keyOf(st.columnName(c));
        keys_.push_back(k);
        if (column_.size() <= size_t(k))
            column_.resize(size_t(k) + 1, -1);
        // Of two columns of the same name the later wins, as in a map
        // filled in column order.
        column_[size_t(k)] = int(keys_.size()) - 1;
    }
    clearRows();
}

int RowSet::append(const dbStatement &st, int first)
{
    for (size_t c = 0; c < keys_.size(); ++c) {
        const int i = first + int(c);
        Val v;
        switch (st.kind(i)) {
        case dbStatement::Kind::Null: break;
        case dbStatement::Kind::Int: v = Val::of(st.toInt(i)); break;
        case dbStatement::Kind::Real:
        case dbStatement::Kind::Text: {
            const QByteArrayView b = st.text(i);
            v.kind = Val::Kind::Text;
            v.n = int(b.size());
            v.i = qint64(arena_.size());
            arena_.append(b.data(), size_t(b.size()));
            break;
        }
        }
        cells_.push_back(v);
    }
    return rows_++;
}

} // namespace exch
