// Rule group VFU: schede AUT, ROT and FRA with their RT-VEIC, DR-VEIC and
// MG-VEIC modules.
//
// Storage read here: the waste rows (RecVfu) are the origin of the scheda,
// Posizione 1 the waste received from third parties; qtaTerzi is the waste
// delivered to third parties and qtaGiac the stock (destination); qtaProprio,
// qtaSmalt, qtaRecMat and qtaRecEner the summary of the activities carried
// out in the unit and by third parties. The foreign treatment of an RT-VEIC
// module is given by its five treatment amounts, as on module RT.
//
// Each rule is applied to every scheda (code, module) before the next rule.

#include "sections/codes.h"
#include "verify/rules.h"

#include <functional>
#include <map>
#include <set>

namespace verify::vfu {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    DeliveredVsDR, DisposalVsDR, MaterialVsDR, EnergyVsDR, OriginZeroDelivered, OriginZeroTreated,
    OriginNoDestination, AllZero, NoOriginDestination, NoSummary,
    ForeignNoTreatment, Received160104Zero, Split1980, ReceivedVsRT, ReceivedNoManagement,
    DRSplit
};

const Table table = {
    {W, {"la quantità del rifiuto consegnato a terzi della scheda,",
         "dev'essere uguale alla somma delle quantità",
         "di tutti moduli DR-VEIC allegati alla stessa."}},
    {W, {"la quantità a smaltimento svolta presso terzi indicata in",
         "RIEPILOGO ATTIVITA' per la gestione è diversa dalla somma delle quantità",
         "di tutti i CER riportati nei moduli DR-VEIC allegati alla scheda,",
         "indicate come avviate a smaltimento (da D1 a D15)."}},
    {W, {"la quantità a recupero di materia svolta presso terzi indicata in",
         "RIEPILOGO ATTIVITA' per la gestione è diversa dalla somma delle quantità",
         "di tutti i CER riportati nei moduli DR-VEIC allegati alla scheda,",
         "indicate come avviate alle operazioni di recupero (da R2 a R13)."}},
    {W, {"la quantità a recupero di energia svolta presso terzi indicata in",
         "RIEPILOGO ATTIVITA' per la gestione è diversa dalla somma delle quantità",
         "di tutti i CER riportati nei moduli DR-VEIC allegati alla scheda,",
         "indicate come avviate alle operazioni di recupero R1."}},
    {W, {"la quantità in origine (ricevuto + prodotto) è ZERO",
         "mentre la quantità conferita è DIVERSA DA ZERO.",
         "mentre la quantità trasportata è DIVERSA DA ZERO."}},
    {W, {"la quantità in origine (ricevuto + prodotto) è ZERO",
         "mentre la somma delle attività di recupero o smaltimento",
         "svolte nell'unità locale è DIVERSA DA ZERO."}},
    {W, {"La somma delle quantità in origine (ricevuto + prodotto) è DIVERSA DA ZERO,",
         "mentre la somma delle quantità in destinazione e riepilogo",
         "attività svolta in proprio/presso terzi è ZERO."}},
    {E, {"La somma delle quantità in origine, destinazione,",
         "riepilogo attività e dei moduli MG-VEIC è ZERO."}},
    {W, {"La somma delle quantità in origine (ricevuto + prodotto) è ZERO,",
         "mentre la somma delle quantità in destinazione e riepilogo",
         "attività svolta in proprio/presso terzi è DIVERSA DA ZERO."}},
    {W, {"La somma delle quantità in riepilogo attività",
         "e dei moduli MG-VEIC è ZERO."}},
    // modules RT-VEIC
    {E, {"E’ stata indicata la provenienza estera del rifiuto e non è stato specificato",
         "alcun tipo di trattamento nel modulo RT-VEIC."}},
    {W, {"Per il CER 160104 la quantità ricevuta è ZERO."}},
    {E, {"la quantità specificata è diversa dalla somma delle quantità",
         "indicate nei campi: precedente al 1980 e successivo al 1980."}},
    {E, {"la quantità ricevuta da terzi dev'essere uguale",
         "alla somma delle quantità indicate nei moduli RT-VEIC."}},
    {E, {"La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione",
         "(modulo MG-VEIC) e la quantità consegnata a terzi è ZERO (modulo DR-VEIC)."}},
    // modules DR-VEIC
    {W, {"la quantità conferita nell'anno dev'essere uguale alla somma",
         "delle quantità conferite ripartite per destinazione del rifiuto."}},
};

QString schedaName(int tipo)
{
    switch (tipo) {
    case 1: return QStringLiteral("Scheda AUT");
    case 2: return QStringLiteral("Scheda ROT");
    case 3: return QStringLiteral("Scheda FRA");
    default: return QStringLiteral("Scheda VFU");
    }
}

Qty mgTotal(const Module &m)
{
    return m.opsSum([](const QString &c) { return isRecovery(c) || isDisposal(c); }) + m.mod
        + m.smalt + m.dep + m.q191;
}

struct Totals {
    Qty origin, destination, summary, mg, drSum, drDisposal, drMaterial, drEnergy;
    bool hasTE = false;
};

Totals totals(const StreamScheda &s)
{
    Totals t;
    for (const WasteRow &w : s.rows)
        t.origin += w.kg;
    t.destination = s.amount("qtaTerzi") + s.amount("qtaGiac");
    t.summary = s.amount("qtaProprio") + s.amount("qtaSmalt") + s.amount("qtaRecMat")
        + s.amount("qtaRecEner");
    for (const Module &m : s.mods) {
        if (m.tipo == 2) {
            t.drSum += m.mod;
            t.drDisposal += m.opsSum(isDisposal);
            t.drMaterial += m.opsSum([](const QString &c) {
                const int n = opNumber(c, u'R');
                return n >= 2 && n <= 13;
            });
            t.drEnergy += m.opQty(QStringLiteral("R1"));
        } else if (m.tipo == 3) {
            t.hasTE = true;
        } else if (m.tipo == 4) {
            t.mg += mgTotal(m);
        }
    }
    return t;
}

} // namespace

const Table &remarks() { return table; }

void check(const Declaration &d, Report &r, const RunData &)
{
    std::vector<Totals> tot;
    for (const StreamScheda &s : d.vfu)
        tot.push_back(totals(s));
    auto each = [&](const std::function<void(const StreamScheda &, const Totals &, const QString &)> &f) {
        for (size_t i = 0; i < d.vfu.size(); ++i)
            f(d.vfu[i], tot[i], schedaName(d.vfu[i].tipo));
    };

    each([&](const StreamScheda &s, const Totals &t, const QString &subj) {
        if (unbalanced(s.amount("qtaTerzi"), t.drSum))
            r.remark(table[DeliveredVsDR], subj);
    });
    each([&](const StreamScheda &s, const Totals &t, const QString &subj) {
        if (unbalanced(s.amount("qtaSmalt"), t.drDisposal))
            r.remark(table[DisposalVsDR], subj);
    });
    each([&](const StreamScheda &s, const Totals &t, const QString &subj) {
        if (unbalanced(s.amount("qtaRecMat"), t.drMaterial))
            r.remark(table[MaterialVsDR], subj);
    });
    each([&](const StreamScheda &s, const Totals &t, const QString &subj) {
        if (unbalanced(s.amount("qtaRecEner"), t.drEnergy))
            r.remark(table[EnergyVsDR], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        // Delivered or carried (TE-VEIC modules) with nothing at origin.
        if (t.origin.isZero() && (!t.drSum.isZero() || t.hasTE))
            r.remark(table[OriginZeroDelivered], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (t.origin.isZero() && !t.mg.isZero())
            r.remark(table[OriginZeroTreated], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (!t.origin.isZero() && (t.destination + t.summary).isZero())
            r.remark(table[OriginNoDestination], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if ((t.origin + t.destination + t.summary + t.mg).isZero())
            r.remark(table[AllZero], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if (t.origin.isZero() && !(t.destination + t.summary).isZero())
            r.remark(table[NoOriginDestination], subj);
    });
    each([&](const StreamScheda &, const Totals &t, const QString &subj) {
        if ((t.summary + t.mg).isZero())
            r.remark(table[NoSummary], subj);
    });

    // ---- modules RT-VEIC ----
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        std::map<QString, int> n;
        for (const Module &m : s.mods)
            if (m.tipo == 1) {
                const int no = ++n[m.rifCod];
                if (m.foreign() && m.treatmentSum().isZero())
                    r.remark(table[ForeignNoTreatment], subj + QStringLiteral(" codice rifiuto: ") + m.rifCod
                                 + QStringLiteral(" modulo RT-VEIC n. ") + QString::number(no));
            }
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        for (const WasteRow &w : s.rows)
            if (w.pos == 1 && w.rifCod == QLatin1String("160104") && w.kg.isZero())
                r.remark(table[Received160104Zero], subj);
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        // The 160104 amount split by registration before and after 1980, on
        // the schede that carry the split (FRA keeps its fluff in qtaPost80).
        if (codes::vehicleSplit1980(s.tipo) &&
            unbalanced(s.amount("qta104"), s.amount("qtaPre80") + s.amount("qtaPost80")))
            r.remark(table[Split1980], subj);
    });
    const auto &perCode = receivedPerCode;
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        perCode(s, [&](const QString &c, Qty received, Qty rt, Qty, bool) {
            if (unbalanced(received, rt))
                r.remark(table[ReceivedVsRT], subj + QStringLiteral(" codice rifiuto: ") + c);
        });
    });
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        perCode(s, [&](const QString &c, Qty received, Qty, Qty dr, bool mg) {
            if (received.positive() && !mg && dr.isZero())
                r.remark(table[ReceivedNoManagement], subj + QStringLiteral(" codice rifiuto: ") + c);
        });
    });

    // ---- modules DR-VEIC ----
    each([&](const StreamScheda &s, const Totals &, const QString &subj) {
        std::map<QString, int> n;
        for (const Module &m : s.mods)
            if (m.tipo == 2) {
                const int no = ++n[m.rifCod];
                if (unbalanced(m.mod, m.opsSum([](const QString &) { return true; })))
                    r.remark(table[DRSplit], subj + QStringLiteral(" codice rifiuto: ") + m.rifCod
                                 + QStringLiteral(" modulo DR-VEIC n. ") + QString::number(no));
            }
    });
}

} // namespace verify::vfu
