#pragma once
// The rule groups the verification run applies to a declaration, one module
// (file) per group. Each group writes its remarks through the report; the
// texts live in the remark table at the top of each module.

#include "verify/declaration.h"
#include "verify/report.h"
#include "sections/codes.h"

#include <functional>
#include <set>

#include <QSet>
#include <QString>

namespace verify {

// What a run reads once and hands to every group.
struct RunData {
    int year = 2019;
    // End-of-life-vehicle waste codes of chapter 16 01 known to the code lists.
    QSet<QString> vehicleCodes;
    // Address of the web site on which the declarations of municipal waste
    // collection are made, completing the urban-collection remark. It is
    // published for each edition, so it is kept in the settings file
    // (section "Qor", key "SitoRifiutiUrbani") rather than in the program.
    QString municipalWasteSite;
};

using Table = std::vector<RemarkText>;

// Balance test: true when the declared amount and the sum of the parts differ
// beyond the 5% tolerance (base: the declared amount).
inline bool unbalanced(Qty declared, Qty sum) { return !toleranceMatch(declared, sum); }

// Waste-code families shared with the sections.
using codes::isElectricalCode;
using codes::isPackagingCode;

// For each code received by a VFU or RAEE scheda (frame 1 rows and RT
// modules): the received amount, the RT and DR sums, and whether an MG module
// names it.
inline void receivedPerCode(const StreamScheda &s,
                            const std::function<void(const QString &, Qty, Qty, Qty, bool)> &f)
{
    std::set<QString> codes;
    for (const WasteRow &w : s.rows)
        if (w.pos == 1)
            codes.insert(w.rifCod);
    for (const Module &m : s.mods)
        if (m.tipo == 1)
            codes.insert(m.rifCod);
    for (const QString &c : codes) {
        Qty received, rt, dr;
        bool mg = false;
        for (const WasteRow &w : s.rows)
            if (w.pos == 1 && w.rifCod == c)
                received += w.kg;
        for (const Module &m : s.mods) {
            if (m.rifCod != c)
                continue;
            if (m.tipo == 1) rt += m.mod;
            if (m.tipo == 2) dr += m.mod;
            if (m.tipo == 4) mg = true;
        }
        f(c, received, rt, dr, mg);
    }
}

namespace rif {
const Table &remarks();
void checkScheda(const Declaration &d, const RifScheda &s, Report &r, const RunData &run);
}
namespace rifmod {
const Table &remarks();
void checkModules(const Declaration &d, const RifScheda &s, Report &r, const RunData &run);
}
namespace intermediation {
const Table &remarks();
void check(const Declaration &d, Report &r, const RunData &run);
}
namespace imb {
const Table &remarks();
void check(const Declaration &d, Report &r, const RunData &run);
// The balance of the received quantity of a surface (codes::ImbSurface) with
// its RT-IMB modules; the module form shows it too.
QStringList receivedBalanceText(int surface);
}
namespace vfu {
const Table &remarks();
void check(const Declaration &d, Report &r, const RunData &run);
}
namespace raee {
const Table &remarks();
void check(const Declaration &d, Report &r, const RunData &run);
}
namespace saaut {
const Table &remarks();
// The group runs for declarations with an SA-AUT row or at least one MG module.
bool applies(const Declaration &d);
void check(const Declaration &d, Report &r, const RunData &run);
}
namespace mat {
const Table &remarks();
void check(const Declaration &d, Report &r, const RunData &run);
// Cross-checks of the secondary materials with TRA-RAEE and IMB.
void crossCheck(const Declaration &d, Report &r);
}

} // namespace verify
