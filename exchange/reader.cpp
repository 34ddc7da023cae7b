#include "exchange/reader.h"

#include "exchange/layouts.h"
#include "shell/qorclass.h"

#include <QFile>

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

bool LineReader::next(QByteArrayView &line)
{
    for (;;) {
        const qsizetype nl = buf_.indexOf('\n', pos_);
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

CheckResult failed(const char *message, int line)
{
    CheckResult r;
    r.message = QString::fromUtf8(message);
    r.line = line;
    return r;
}

} // namespace

CheckResult checkFile(const QString &path, const Progress &progress)
{
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return failed("Errore apertura file.", 0);

    const QByteArray head = chopLineEnd(f.readLine());
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

    const QByteArray year = QByteArray::number(qorClass::Year);
    std::array<int, 29> seen{};
    // Last record of each kind a child hangs from, within the current declaration.
    QByteArray lastAA, lastBA, lastDA, lastRA, lastVC;
    int n = 1;
    LineReader lines(f);
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
        switch (l->index) {
        case rt::AA:
            lastAA = line.toByteArray();
            lastBA.clear();
            lastDA.clear();
            lastRA.clear();
            lastVC.clear();
            ++r.declarations;
            break;
        case rt::BA: lastBA = line.toByteArray(); break;
        case rt::DA: lastDA = line.toByteArray(); break;
        case rt::RA: lastRA = line.toByteArray(); break;
        case rt::VC: lastVC = line.toByteArray(); break;
        default: break;
        }
        if (++seen[size_t(l->index)] > r.counters[size_t(l->index)])
            return failed("Il conteggio del tipo record alla riga supera il valore specificato nel record XX.", n);
        if (progress && !progress(n - 1, r.total)) {
            CheckResult c = failed("Operazione interrotta", n);
            c.cancelled = true;
            return c;
        }
    }
    if (seen != r.counters)
        return failed("Il conteggio dei tipi rec. alla riga non corrisponde al valore specificato nel record XX.", n);
    r.ok = true;
    return r;
}

} // namespace exch
