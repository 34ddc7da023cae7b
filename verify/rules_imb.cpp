// Rule group IMB: the packaging scheda, its waste rows and its modules.
//
// Storage read here: RecImb.Posizione 1 received from public surfaces,
// 2 received from private surfaces, 3 produced by single-material treatment,
// 4 produced by multi-material treatment. RT-IMB modules carry the surface
// in mbFlag (codes::SurfacePublic, codes::SurfacePrivate); an MG-IMB module
// with mbFlag codes::MgImbMultimaterial stands for the multi-material
// treatment activity. The treatment of foreign waste of
// an RT-IMB module is a single choice stored in discDep (0: none).
//
// Classes: the first entry and the module-sum balances are errors, the
// others warnings. Each rule is applied to every code before the next rule,
// so that the remarks follow the order of the table.

#include "sections/codes.h"
#include "verify/rules.h"

#include <map>
#include <set>

namespace verify::imb {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    ReceivedNoManagement, ForeignNoTreatment, ProducedIncompatible, ReceivedIncompatible,
    OriginZeroDelivered, OriginZeroTreated, OriginZeroTransported, PublicVsRT, PrivateVsRT,
    DeliveredVsDR, NoActivity, MultiRowsNoActivity, MultiActivityNoRows
};

const Table table = {
    {E, {"La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione",
         "(modulo MG-IMB) e la quantità consegnata a terzi è ZERO (modulo DR-IMB)."}},
    {W, {"E’ stata indicata la provenienza estera del rifiuto",
         "e non è stato specificato alcun tipo di trattamento nel modulo RT-IMB."}},
    {W, {"E' stato indicato un rifiuto prodotto con codice non compatibile",
         "con i rifiuti derivanti dalla gestione degli imballaggi."}},
    {W, {"E' stato indicato un rifiuto ricevuto con codice non compatibile con gli imballaggi.",
         "Verificare la correttezza del codice."}},
    {W, {"La quantità in origine (ricevuto + prodotto) è ZERO,",
         "mentre la quantità conferita è DIVERSA DA ZERO."}},
    {W, {"La quantità in origine (ricevuto + prodotto) è ZERO,",
         "mentre la somma delle attività di recupero o smaltimento",
         "svolte nell'unità locale è DIVERSA DA ZERO."}},
    {W, {"La quantità in origine (ricevuto + prodotto) è ZERO,",
         "la quantità trasportata è DIVERSA DA ZERO."}},
    {E, {"La quantità ricevuta da terzi da superficie pubblica dev'essere uguale",
         "alla somma delle quantità indicate nei corrispondenti moduli RT-IMB."}},
    {E, {"La quantità ricevuta da terzi da superficie privata dev'essere uguale",
         "alla somma delle quantità indicate nei corrispondenti moduli RT-IMB."}},
    {E, {"La quantità del rifiuto consegnato a terzi della scheda dev'essere uguale",
         "alla somma delle quantità di tutti i moduli DR-IMB allegati alla stessa."}},
    // The closing note on stock-only operators ends this remark.
    {W, {"Dev'essere indicata almeno una tra le attività di origine e destinazione del rifiuto,",
         "oppure compilare un modulo MG-IMB.",
         "Attenzione: per i soggetti che effettuano solo attività di stoccaggio il messaggio non è significativo."}},
    {W, {"Non è stata indicata un’attività di trattamento imballaggi multimateriale,",
         "ma sono presenti rifiuti prodotti da tale attività nello specifico riquadro."}},
    {W, {"E’ stata indicata un’attività di trattamento imballaggi multimateriale,",
         "ma non è presente alcun rifiuto prodotto da tale attività nello specifico riquadro."}},
};

bool compatible(const QString &code)
{
    const QString p = code.left(2);
    return p == QLatin1String("15") || p == QLatin1String("17") || p == QLatin1String("19")
        || p == QLatin1String("20");
}

// Amounts of one waste code of the scheda.
struct CodeTotals {
    Qty publicRec, privateRec, produced, rtPublic, rtPrivate, dr, mgOps;
    bool hasMG = false, hasTE = false;
    Qty origin() const { return publicRec + privateRec + produced; }
};

} // namespace

const Table &remarks() { return table; }

QStringList receivedBalanceText(int surface)
{
    return table[surface == codes::SurfacePrivate ? PrivateVsRT : PublicVsRT].text();
}

void check(const Declaration &d, Report &r, const RunData &)
{
    for (const StreamScheda &s : d.imb) {
        const QString head = QStringLiteral("Scheda IMB codice rifiuto: ");
        std::set<QString> codes;
        for (const WasteRow &w : s.rows)
            codes.insert(w.rifCod);
        for (const Module &m : s.mods)
            codes.insert(m.rifCod);
        std::map<QString, CodeTotals> t;
        for (const WasteRow &w : s.rows) {
            CodeTotals &c = t[w.rifCod];
            (w.pos == 1 ? c.publicRec : w.pos == 2 ? c.privateRec : c.produced) += w.kg;
        }
        Qty allDR;
        bool multiActivity = false;
        for (const Module &m : s.mods) {
            CodeTotals &c = t[m.rifCod];
            switch (m.tipo) {
            case 1: (m.mbFlag == codes::SurfacePrivate ? c.rtPrivate : c.rtPublic) += m.mod; break;
            case 2: c.dr += m.mod; allDR += m.mod; break;
            case 3: c.hasTE = true; break;
            case 4:
                c.hasMG = true;
                c.mgOps += m.opsSum([](const QString &x) { return isRecovery(x) || isDisposal(x); });
                if (m.mbFlag == codes::MgImbMultimaterial)
                    multiActivity = true;
                break;
            default: break;
            }
        }

        for (const QString &code : codes) {
            const CodeTotals &c = t[code];
            if ((c.publicRec + c.privateRec).positive() && !c.hasMG && c.dr.isZero())
                r.remark(table[ReceivedNoManagement], head + code);
        }
        for (const QString &code : codes) {
            int n[3] = {0, 0, 0};
            for (const Module &m : s.mods) {
                if (m.tipo != 1 || m.rifCod != code)
                    continue;
                const int no = ++n[m.mbFlag == codes::SurfacePrivate ? 2 : 1];
                if (m.foreign() && m.discDep == 0)
                    r.remark(table[ForeignNoTreatment],
                             head + code + QStringLiteral(" modulo RT-IMB n. ") + QString::number(no));
            }
        }
        for (const WasteRow &w : s.rows)
            if (w.pos >= 3 && !compatible(w.rifCod))
                r.remark(table[ProducedIncompatible], head + w.rifCod);
        for (const WasteRow &w : s.rows)
            if (w.pos < 3 && !compatible(w.rifCod))
                r.remark(table[ReceivedIncompatible], head + w.rifCod);
        for (const QString &code : codes) {
            const CodeTotals &c = t[code];
            if (!c.origin().isZero())
                continue;
            if (!c.dr.isZero())
                r.remark(table[OriginZeroDelivered], head + code);
            if (!c.mgOps.isZero())
                r.remark(table[OriginZeroTreated], head + code);
            // Carriers (TE-IMB) of a code with nothing at origin.
            if (c.hasTE)
                r.remark(table[OriginZeroTransported], head + code);
        }
        for (const QString &code : codes) {
            const CodeTotals &c = t[code];
            if (unbalanced(c.publicRec, c.rtPublic))
                r.remark(table[PublicVsRT], head + code,
                         {{QStringLiteral("Somma RT-IMB"), c.rtPublic}, {QStringLiteral("Ricevuta da terzi"), c.publicRec}});
            if (unbalanced(c.privateRec, c.rtPrivate))
                r.remark(table[PrivateVsRT], head + code,
                         {{QStringLiteral("Somma RT-IMB"), c.rtPrivate}, {QStringLiteral("Ricevuta da terzi"), c.privateRec}});
        }
        const Qty delivered = s.amount("qtaTerzi");
        if (unbalanced(delivered, allDR))
            r.remark(table[DeliveredVsDR], QStringLiteral("Scheda IMB"),
                     {{QStringLiteral("Somma DR-IMB"), allDR}, {QStringLiteral("Quantità consegnata"), delivered}});
        for (const QString &code : codes) {
            const CodeTotals &c = t[code];
            if (c.origin().isZero() && c.dr.isZero() && !c.hasMG)
                r.remark(table[NoActivity], head + code);
        }
        bool multiRows = false;
        for (const WasteRow &w : s.rows)
            if (w.pos == 4)
                multiRows = true;
        if (multiRows && !multiActivity)
            r.remark(table[MultiRowsNoActivity], QStringLiteral("Scheda IMB"));
        if (multiActivity && !multiRows)
            r.remark(table[MultiActivityNoRows], QStringLiteral("Scheda IMB"));
    }
}

} // namespace verify::imb
