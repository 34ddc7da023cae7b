// Rule group INT: the quantity intermediated on a scheda INT against the
// UO (origin) and UD (destination) modules.

#include "verify/rules.h"

namespace verify::intermediation {

namespace {
enum Id { Balance };

// The module-sum balance is an error, as the balances of scheda RIF.
const Table table = {
    {Class::Error, {"La quantità complessivamente intermediata deve essere uguale",
                    "alla somma delle quantità riportate nei moduli UO e",
                    "alla somma delle quantità riportate nei moduli UD."}},
};
} // namespace

const Table &remarks() { return table; }

void check(const Declaration &d, Report &r, const RunData &)
{
    for (const IntScheda &s : d.intermediation) {
        Qty uo, ud;
        for (const Module &m : s.mods)
            (m.tipo == 1 ? uo : ud) += m.tipo == 1 || m.tipo == 2 ? m.mod : Qty{};
        if (unbalanced(s.qta, uo) || unbalanced(s.qta, ud))
            r.remark(table[Balance], QStringLiteral("Scheda INT codice: ") + s.rifCod,
                     {{QStringLiteral("Somma UO"), uo}, {QStringLiteral("Somma UD"), ud},
                      {QStringLiteral("q.ta commerc."), s.qta}});
    }
}

} // namespace verify::intermediation
