#include "exchange/reader.h"

#include "exchange/layouts.h"
#include "shell/qorclass.h"

#include <QFile>
#include <QHash>

#include <algorithm>

namespace exch {

QString CheckResult::text() const
{
    if (line <= 0)
        return message;
    return message + QStringLiteral(" (riga n. ") + QString::number(line) + u')';
}

QByteArray chopLineEnd(QByteArray line)
{
    if (line.endsWith('\n'))
        line.chop(1);
    if (line.endsWith('\r'))
        line.chop(1);
    return line;
}

qsizetype maxLineLength()
{
    static const qsizetype n = [] {
        qsizetype m = HeaderLength;
        for (const Layout &l : layouts())
            m = std::max<qsizetype>(m, l.length);
        return m;
    }();
    return n;
}

bool LineReader::next(QByteArrayView &line)
{
    if (tooLong_)
        return false;
    for (;;) {
        const qsizetype nl = buf_.indexOf('\n', pos_);
        // A CR may stand before the LF: one character more than the bound.
        const qsizetype stopAt = nl >= 0 ? nl : buf_.size();
        if (max_ > 0 && stopAt - pos_ > max_ + 1) {
            tooLong_ = true;
            return false;
        }
        if (nl >= 0 || (end_ && pos_ < buf_.size())) {
            const qsizetype stop = nl >= 0 ? nl : buf_.size();
            line = QByteArrayView(buf_.constData() + pos_, stop - pos_);
            if (nl >= 0 && line.endsWith('\r'))
                line.chop(1);
            pos_ = nl >= 0 ? nl + 1 : buf_.size();
            return true;
        }
        if (end_)
            return false;
        // Keep the start of a line cut by the block, read the next block.
        buf_.remove(0, pos_);
        pos_ = 0;
        const qsizetype have = buf_.size();
        constexpr qsizetype Block = 1 << 20;
        buf_.resize(have + Block);
        const qint64 n = in_.read(buf_.data() + have, Block);
        buf_.resize(have + std::max<qint64>(n, 0));
        if (n <= 0)
            end_ = true;
    }
}

namespace {

// Up to n bytes from pos (fewer, or none, where the text is shorter).
QByteArrayView part(QByteArrayView v, qsizetype pos, qsizetype n)
{
    if (pos >= v.size())
        return {};
    return v.sliced(pos, std::min(n, v.size() - pos));
}

// Where a field of a layout lies in its line: offset and width (without the
// terminator); at < 0 when the layout has no such field.
struct Slice {
    qsizetype at = -1, w = 0;
    QByteArrayView in(QByteArrayView line) const
    {
        QByteArrayView v = at < 0 ? QByteArrayView() : part(line, at, w);
        while (!v.isEmpty() && v.back() == ' ')
            v.chop(1);
        return v;
    }
    qsizetype end() const { return at + w + 1; }
};

Slice fieldAt(const Layout &l, const char *name)
{
    static std::array<QHash<QString, Slice>, RecordTypes> cache;
    QHash<QString, Slice> &c = cache[size_t(l.index)];
    if (c.isEmpty()) {
        qsizetype at = PrefixLength;
        for (const Field &f : l.fields) {
            if (!c.contains(f.name))
                c.insert(f.name, {at, f.size() - 1});
            at += f.size();
        }
    }
    return c.value(QString::fromLatin1(name));
}

bool oneOf(QByteArrayView v, std::initializer_list<const char *> set)
{
    for (const char *s : set)
        if (v == QByteArrayView(s))
            return true;
    return false;
}

// Family of the packaging, RAEE and vehicle child records (0, 1, 2) and the
// kind of record within it: 0 RT/TE module, 1 DR module, 2 and 3 the two
// detail lines, 4 a row of the scheda; -1 for other records.
std::pair<int, int> familyRecord(int index)
{
    static const int rows[3][5] = {{rt::IC, rt::ID, rt::IE, rt::IF, rt::IB},
                                   {rt::RC, rt::RD, rt::RE, rt::RF, rt::RB},
                                   {rt::VE, rt::VF, rt::VG, rt::VH, rt::VD}};
    for (int f = 0; f < 3; ++f)
        for (int k = 0; k < 5; ++k)
            if (rows[f][k] == index)
                return {f, k};
    return {-1, -1};
}

CheckResult failed(const char *message, int line)
{
    CheckResult r;
    r.message = QString::fromUtf8(message);
    r.line = line;
    return r;
}

} // namespace

namespace {

// The header of an open file, read from its start: the first checks and
// what it announces. ok when it passes.
CheckResult checkHeader(QFile &f)
{
    // Bounded (the size given counts the terminating zero): a file without
    // line ends is not read whole.
    const QByteArray head = chopLineEnd(f.readLine(HeaderLength + 3));
    if (head.size() != HeaderLength)
        return failed("Lunghezza primo record XX errata.", 1);
    if (!head.startsWith("XX;6.02/18;"))
        return failed("Versione del record XX errata.", 1);
    if (head.mid(11, 2) != "01")
        return failed("Versione record XX non è 01.", 1);

    CheckResult r;
    bool ok = false;
    r.total = head.mid(30, 8).toInt(&ok);
    if (!ok)
        return failed("Il file selezionato NON è un'esportazione QOR", 1);
    for (int i = 0; i < RecordTypes; ++i) {
        r.counters[size_t(i)] = head.mid(39 + 6 * i, 5).toInt(&ok);
        if (!ok)
            return failed("Il file selezionato NON è un'esportazione QOR", 1);
    }
    const int control = head.mid(455, 4).toInt(&ok);
    if (!ok || control != expClass::controlValue(head.left(30), r.total))
        return failed("Il file selezionato NON è un'esportazione QOR", 1);
    r.ok = true;
    return r;
}

} // namespace

CheckResult checkHeader(const QString &path)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return failed("Errore apertura file.", 0);
    return checkHeader(f);
}

CheckResult checkFile(const QString &path, const Progress &progress)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return failed("Errore apertura file.", 0);
    CheckResult r = checkHeader(f);
    if (!r.ok)
        return r;
    r.ok = false;

    const QByteArray year = QByteArray::number(qorClass::Year);
    std::array<int, 29> seen{};
    // Last record of each kind a child hangs from, within the current declaration.
    QByteArray lastAA, lastBA, lastDA, lastRA, lastVC;
    bool haveIA = false;
    // The last DR module of the current scheda of a family, the line before.
    QByteArray lastDR, previous;
    int previousType = -1;
    static const Slice mKind = fieldAt(layout(rt::MA), "#mkind"), mCat = fieldAt(layout(rt::MA), "#mcat");
    // The structure the loader needs beyond the keys: every child has a parent
    // of its kind earlier in the declaration, the second detail line of a
    // module follows its first, and every code the loader translates is known.
    auto structure = [&](const Layout &l, QByteArrayView line) -> const char * {
        static const char *const orphan = "Record figlio senza il record da cui dipende.";
        static const char *const badCode = "Codice errato nel record.";
        const QByteArrayView kind = fieldAt(l, "#kind").in(line);
        switch (l.index) {
        case rt::BB: return oneOf(kind, {"RT", "DR", "TE"}) ? nullptr : badCode;
        case rt::DB: return oneOf(kind, {"UO", "UD"}) ? nullptr : badCode;
        case rt::BD:
        case rt::BE: {
            if (kind != "MG")
                return badCode;
            const qsizetype end = fieldAt(l, "#seq").end();
            if (l.index == rt::BE && (previousType != rt::BD || part(line, 3, end - 3) != part(previous, 3, end - 3)))
                return orphan;
            return nullptr;
        }
        case rt::RA: return oneOf(fieldAt(l, "#skind").in(line), {"TRA", "CRR"}) ? nullptr : badCode;
        case rt::VC: return oneOf(fieldAt(l, "#skind").in(line), {"AUT", "ROT", "FRA"}) ? nullptr : badCode;
        case rt::MA: {
            const QByteArrayView k = mKind.in(line);
            if (k == "RIF")
                return nullptr;
            if (k == "IMB")
                return haveIA ? nullptr : orphan;
            if (oneOf(k, {"TRA", "CRR"}))
                return !lastRA.isEmpty() && part(line, mKind.at, mCat.end() - mKind.at) == part(lastRA, mKind.at, mCat.end() - mKind.at)
                           ? nullptr : orphan;
            if (oneOf(k, {"AUT", "ROT", "FRA"}))
                return !lastVC.isEmpty() && part(line, mKind.at, 4) == part(lastVC, mKind.at, 4) ? nullptr : orphan;
            return badCode;
        }
        default: break;
        }
        const auto [f, k] = familyRecord(l.index);
        if (f < 0)
            return nullptr;
        if (f == 0 && !haveIA)
            return orphan;
        if (k == 4) {
            const QByteArrayView pos = fieldAt(l, "#pos").in(line);
            const bool known = f == 0 ? oneOf(pos, {"RC", "RX", "P1", "PP"})
                                      : f == 1 ? oneOf(pos, {"DR", "PR", "PP", ""}) : oneOf(pos, {"RT", "PP"});
            return known ? nullptr : badCode;
        }
        if (k == 0)
            return oneOf(kind, {"RT", "TE"}) ? nullptr : badCode;
        const qsizetype progEnd = fieldAt(l, "#prog").end();
        if (k == 1) {
            if (kind != "DR")
                return badCode;
            lastDR = part(line, 3, progEnd - 3).toByteArray();
            return nullptr;
        }
        if (!oneOf(kind, {"DR", "MG"}))
            return badCode;
        if (k == 3) {
            const qsizetype end = fieldAt(l, "#seq").end();
            const auto [pf, pk] = familyRecord(previousType);
            return pf == f && pk == 2 && part(line, 3, end - 3) == part(previous, 3, end - 3) ? nullptr : orphan;
        }
        // The first detail line of a DR module follows that module.
        if (kind == "DR" && part(line, 3, progEnd - 3) != lastDR)
            return orphan;
        return nullptr;
    };
    int n = 1;
    LineReader lines(f, maxLineLength());
    QByteArrayView line;
    while (lines.next(line)) {
        ++n;
        const Layout *l = layout(line.first(std::min<qsizetype>(2, line.size())));
        if (!l)
            return failed("Tipo record errato.", n);
        if (line.size() != l->length)
            return failed("Lunghezza record errata.", n);
        if (part(line, 3, 4) != year)
            return failed("Anno dichiarazione errato.", n);
        if (l->keyLength > 0) {
            const QByteArray *parent = &lastAA;
            if (l->keyLength == 49)
                parent = l->index == rt::DB ? &lastDA : &lastBA;
            else if (l->keyLength == 44)
                parent = &lastRA;
            else if (l->keyLength == 41)
                parent = &lastVC;
            if (parent->isEmpty() || part(line, 3, l->keyLength) != part(*parent, 3, l->keyLength))
                return failed("Chiave errata record figlio.", n);
        }
        if (const char *why = structure(*l, line))
            return failed(why, n);
        switch (l->index) {
        case rt::AA:
            lastAA = line.toByteArray();
            lastBA.clear();
            lastDA.clear();
            lastRA.clear();
            lastVC.clear();
            haveIA = false;
            ++r.declarations;
            break;
        case rt::BA: lastBA = line.toByteArray(); break;
        case rt::DA: lastDA = line.toByteArray(); break;
        case rt::RA: lastRA = line.toByteArray(); break;
        case rt::VC: lastVC = line.toByteArray(); break;
        case rt::IA: haveIA = true; break;
        default: break;
        }
        if (l->index == rt::AA || l->index == rt::BA || l->index == rt::IA || l->index == rt::RA ||
            l->index == rt::VC)
            lastDR.clear();
        previous = line.toByteArray();
        previousType = l->index;
        if (++seen[size_t(l->index)] > r.counters[size_t(l->index)])
            return failed("Il conteggio del tipo record alla riga supera il valore specificato nel record XX.", n);
        if (progress && !progress(n - 1, r.total)) {
            CheckResult c = failed("Operazione interrotta", n);
            c.cancelled = true;
            return c;
        }
    }
    if (lines.tooLong())
        return failed("Lunghezza record errata.", n + 1);
    if (seen != r.counters)
        return failed("Il conteggio dei tipi rec. alla riga non corrisponde al valore specificato nel record XX.", n);
    r.ok = true;
    return r;
}

} // namespace exch
