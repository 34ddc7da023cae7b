#pragma once
// The schede and modules of a declaration counted kind by kind from its tree:
// the summary beside the anagrafica, the exchange file's counts (record AB)
// and the list of declarations all count through here. Counting knows the
// kinds (vfuTipo, srTipo, tipoMod); what a consumer does with a value outside
// them is its own rule, so such schede and modules are counted apart.

#include "shell/tree/tree.h"

#include <QSqlDatabase>
#include <QString>
#include <array>
#include <vector>

namespace anag {

enum class Count {
    SaAut,
    Rif,
    ModRT, ModDR, ModTE, ModMG, ModRE, // ModRif by tipoMod 1..5
    Mat,                               // 1 when the declaration has any secondary material
    Int,
    ModUO, ModUD,                      // ModInt by tipoMod 1, 2
    Aut, Rot, Fra,                     // SezVfu by vfuTipo 1, 2, 3
    ModVeic,
    Imb,
    ModImb,
    TraRaee, CrRaee,                   // SezRaee by srTipo 1, 2
    ModRaee,
    VfuOther,                          // SezVfu with any other vfuTipo (or none)
    RaeeOther,                         // SezRaee with any other srTipo (or none)
    RifModOther,                       // ModRif with any other tipoMod
    IntModOther,                       // ModInt with any other tipoMod
    Kinds
};

struct SchedeCount {
    std::array<int, size_t(Count::Kinds)> n{};
    int operator[](Count c) const { return n[size_t(c)]; }
    int &operator[](Count c) { return n[size_t(c)]; }
};

// What each count is called: on the summary of SA1 ("Schede RIF", "Moduli
// RT"...) and in the list of schede present ("RIF", "MAT"...); null where
// the count is not shown there. In the order both show them.
struct CountName {
    Count count;
    const char *summary;
    const char *scheda;
};
const std::vector<CountName> &countNames();

// The tables and columns counting reads, added to a reader's options (the
// reader reads nothing else of those tables unless asked for it). With
// Counted::Schede the modules are not read: their counts stay 0.
enum class Counted { Everything, Schede };
void addCountColumns(tree::ReadOptions &options, Counted counted = Counted::Everything);

// A declaration read with at least addCountColumns().
SchedeCount countSchede(const tree::Node &declaration);
// A stored declaration, read alone; false when it cannot be read (a key not
// in the store counts nothing and is no failure).
bool countSchede(const QSqlDatabase &db, qint64 saID, SchedeCount *out, QString *error = nullptr,
                 qint64 *code = nullptr);

// The schede present, as the list of declarations shows them: "RIF (3),
// IMB"; empty when there is none.
QString schedePresent(const SchedeCount &c);

} // namespace anag
