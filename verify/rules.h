#pragma once
// The rule groups the verification run applies to a declaration, one module
// (file) per group. Each group writes its remarks through the report; the
// texts live in the remark table at the top of each module.

#include "verify/declaration.h"
#include "verify/report.h"

#include <QSet>
#include <QString>

namespace verify {

// What a run reads once and hands to every group.
struct RunData {
    int year = 2019;
    // End-of-life-vehicle waste codes of chapter 16 01 known to the code lists.
    QSet<QString> vehicleCodes;
};

using Table = std::vector<RemarkText>;

// Balance test: true when the declared amount and the sum of the parts differ
// beyond the 5% tolerance (base: the declared amount).
inline bool unbalanced(Qty declared, Qty sum) { return !toleranceMatch(declared, sum); }

// Waste-code families shared with the sections.
bool isPackagingCode(const QString &rifCod);   // "150101".."150109"
bool isElectricalCode(const QString &rifCod);  // "160210".."160216", 200121/23/35/36

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
