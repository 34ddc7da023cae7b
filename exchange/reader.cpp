#include "exchange/reader.h"

#include "exchange/layouts.h"
#include "shell/qorclass.h"

#include <QFile>

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

namespace {

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
    while (!f.atEnd()) {
        const QByteArray line = chopLineEnd(f.readLine());
        ++n;
        const Layout *l = layout(line.left(2));
        if (!l)
            return failed("Tipo record errato.", n);
        if (line.size() != l->length)
            return failed("Lunghezza record errata.", n);
        if (line.mid(3, 4) != year)
            return failed("Anno dichiarazione errato.", n);
        if (l->keyLength > 0) {
            const QByteArray *parent = &lastAA;
            if (l->keyLength == 49)
                parent = l->code == QLatin1String("DB") ? &lastDA : &lastBA;
            else if (l->keyLength == 44)
                parent = &lastRA;
            else if (l->keyLength == 41)
                parent = &lastVC;
            if (parent->isEmpty() || line.mid(3, l->keyLength) != parent->mid(3, l->keyLength))
                return failed("Chiave errata record figlio.", n);
        }
        if (l->code == QLatin1String("AA")) {
            lastAA = line;
            lastBA.clear();
            lastDA.clear();
            lastRA.clear();
            lastVC.clear();
            ++r.declarations;
        } else if (l->code == QLatin1String("BA"))
            lastBA = line;
        else if (l->code == QLatin1String("DA"))
            lastDA = line;
        else if (l->code == QLatin1String("RA"))
            lastRA = line;
        else if (l->code == QLatin1String("VC"))
            lastVC = line;
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
