// Rule group RAEE: schede TRA-RAEE and CR-RAEE with their RT-RAEE, DR-RAEE
// and MG-RAEE modules.
//
// Storage read here: RecRaee.Posizione 1 waste received from third parties,
// 2 waste produced (both the origin, Posizione < 3), 3 waste delivered to
// third parties; qtaGiac the stock. The foreign treatment of an RT-RAEE
// module is given by its five treatment amounts, as on module RT.
//
// Each rule is applied to every scheda (code, module) before the next rule.

#include "verify/rules.h"

#include <functional>
#include <map>
#include <set>

namespace verify::raee {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    ForeignNoTreatment, DRSplit, ReceivedVsRT, OriginZeroTreated, ReceivedNoManagement, AllZero,
    NoOriginDestination, OriginNoDestination, DeliveredVsDR, CodeInTraAndCr
};

const Table table = {
    {E, {"E’ stata indicata la provenienza estera del rifiuto e non è stato specificato",
         "alcun tipo di trattamento nel modulo RT-RAEE."}},
    {W, {"la quantità conferita nell'anno dev'essere uguale alla somma",
         "delle quantità conferite ripartite per destinazione del rifiuto."}},
    {E, {"La quantità ricevuta da terzi dev'essere uguale",
         "alla somma delle quantità indicate nei moduli RT-RAEE."}},
    {W, {"la quantità in origine (ricevuto + prodotto) è ZERO",
         "mentre la somma delle attività di recupero o smaltimento",
         "svolte nell'unità locale è DIVERSA DA ZERO."}},
    {E, {"La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione",
         "(modulo MG-RAEE) e la quantità consegnata a terzi è ZERO (modulo DR-RAEE)."}},
    {E, {"La somma delle quantità in origine, destinazione e dei moduli MG-RAEE è ZERO."}},
    {W, {"La somma delle quantità in origine (ricevuto + prodotto) è ZERO,",
         "mentre la somma delle quantità in destinazione e dei moduli",
         "MG-RAEE associati è DIVERSA DA ZERO."}},
    {W, {"La somma delle quantità in origine (ricevuto + prodotto) è DIVERSA DA ZERO,",
         "mentre la somma delle quantità in destinazione e dei moduli MG-RAEE associati è ZERO."}},
    {W, {"la quantità del rifiuto consegnato a terzi della scheda,",
         "dev'essere uguale alla somma delle quantità",
         "di tutti i moduli DR_RAEE allegati alla stessa."}},
    // The first line carries the waste code.
    {W, {"Il codice CER %1 è presente sia nella scheda TRA che nella scheda CR.",
         "Verificare la correttezza del dato al fine di evitare duplicazioni."}},
};

QString schedaName(const StreamScheda &s)
{
    return s.tipo == 2 ? QStringLiteral("Scheda CR-RAEE") : QStringLiteral("Scheda TRA-RAEE");
}

struct Totals {
    Qty origin, destination, delivered, mg, mgOps, drSum;
};

Totals totals(const StreamScheda &s)
{
    Totals t;
    for (const WasteRow &w : s.rows)
        (w.pos < 3 ? t.origin : t.delivered) += w.kg;
    t.destination = t.delivered + s.amount("qtaGiac");
    for (const Module &m : s.mods) {
        if (m.tipo == 2)
            t.drSum += m.mod;
        if (m.tipo == 4) {
            const Qty ops = m.opsSum([](const QString &c) { return isRecovery(c) || isDisposal(c); });
            t.mgOps += ops;
            t.mg += ops + m.mod + m.smalt + m.dep + m.q191;
        }
    }
    return t;
}

} // namespace

const Table &remarks() { return table; }

void check(const Declaration &d, Report &r, const RunData &)
{
    std::vector<Totals> tot;
    for (const StreamScheda &s : d.raee)
        tot.push_back(totals(s));
    auto each = [&](const std::function<void(const StreamScheda &, const Totals &, const QString &)> &f) {
        for (size_t i = 0; i < d.raee.size(); ++i)
            f(d.raee[i], tot[i], schedaName(d.raee[i]));
    };
    auto moduleSubject = [](const QString &subj, const Module &m, const char *type, int no) {
        return subj + QStringLiteral(" codice rifiuto: ") + m.rifCod + QStringLiteral(" modulo ")
            + QLatin1String(type) + QStringLiteral(" n. ") + QString::number(no);
    };
    const auto &perCode = receivedPerCode;

    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        std::map<QString, int> n;
        for (const Module &m : s.mods)
            if (m.tipo == 1) {
                const int no = ++n[m.rifCod];
                if (m.foreign() && m.treatmentSum().isZero())
                    r.remark(table[ForeignNoTreatment], moduleSubject(subj, m, "RT-RAEE", no));
            }
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        std::map<QString, int> n;
        for (const Module &m : s.mods)
            if (m.tipo == 2) {
                const int no = ++n[m.rifCod];
                if (unbalanced(m.mod, m.opsSum([](const QString &) { return true; })))
                    r.remark(table[DRSplit], moduleSubject(subj, m, "DR-RAEE", no));
            }
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        perCode(s, [&](const QString &c, Qty received, Qty rt, Qty, bool) {
            if (unbalanced(received, rt))
                r.remark(table[ReceivedVsRT], subj + QStringLiteral(" codice rifiuto: ") + c);
        });
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (t.origin.isZero() && !t.mgOps.isZero())
            r.remark(table[OriginZeroTreated], subj);
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        perCode(s, [&](const QString &c, Qty received, Qty, Qty dr, bool mg) {
            if (received.positive() && !mg && dr.isZero())
                r.remark(table[ReceivedNoManagement], subj + QStringLiteral(" codice rifiuto: ") + c);
        });
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if ((t.origin + t.destination + t.mg).isZero())
            r.remark(table[AllZero], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (t.origin.isZero() && !(t.destination + t.mg).isZero())
            r.remark(table[NoOriginDestination], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (!t.origin.isZero() && (t.destination + t.mg).isZero())
            r.remark(table[OriginNoDestination], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (unbalanced(t.delivered, t.drSum))
            r.remark(table[DeliveredVsDR], subj,
                     {{QStringLiteral("Somma DR-RAEE"), t.drSum}, {QStringLiteral("Quantità consegnata"), t.delivered}});
    });

    std::set<QString> tra, cr;
    for (const StreamScheda &s : d.raee)
        for (const WasteRow &w : s.rows)
            (s.tipo == 2 ? cr : tra).insert(w.rifCod);
    for (const QString &c : tra)
        if (cr.count(c)) {
            QStringList lines = table[CodeInTraAndCr].text();
            lines[0] = lines[0].arg(c);
            r.remark(table[CodeInTraAndCr], QStringLiteral("Scheda TRA-RAEE e scheda CR-RAEE"), {}, lines);
        }
}

} // namespace verify::raee
