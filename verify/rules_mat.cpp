// Rule group MAT: scheda MAT (secondary materials, SezAnag msQta01..msQta20)
// and its cross-checks with the materials boxes of TRA-RAEE and IMB.

#include "sections/codes.h"
#include "verify/rules.h"

namespace verify::mat {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id { NoRecoveryMG, DuplicateRaee, DuplicateImb };

const Table table = {
    {E, {"E' stata compilata la scheda MAT, ma non è presente nessun modulo MG con attività",
         "di recupero: si ricorda che la scheda MAT può essere compilata solo da soggetti",
         "che svolgono attività di recupero di rifiuti."}},
    {W, {"Sono presenti quantità per uno stesso materiale sia nella scheda MAT",
         "che nel riquadro relativo ai materiali presente nella scheda TRA della",
         "Comunicazione gestori di apparecchiature elettriche ed elettroniche.",
         "Verificare la correttezza del dato al fine di evitare duplicazioni."}},
    {W, {"Sono presenti quantità per uno stesso materiale sia nella scheda MAT",
         "che nel riquadro relativo ai materiali presente nella scheda Imballaggi,",
         "sezione gestori degli impianti.",
         "Verificare la correttezza del dato al fine di evitare duplicazioni."}},
};

// Material by material: the MAT quantities msQta06..msQta15 against the same
// material of the other scheda's materials box. Materials are numbered per
// section; the slot tables of the materials record say which are the same.
bool sameMaterial(const Declaration &d, const std::vector<StreamScheda> &other, codes::MatKind kind,
                  int tipo)
{
    for (const StreamScheda &s : other) {
        if (tipo && s.tipo != tipo)
            continue;
        for (int i = 6; i <= 15; ++i) {
            const int j = codes::sameMaterial(codes::MatKind::Declaration, i, kind);
            if (j && d.materials[i].positive() && s.materials[j].positive())
                return true;
        }
    }
    return false;
}

} // namespace

const Table &remarks() { return table; }

void check(const Declaration &d, Report &r, const RunData &)
{
    if (!d.hasMat())
        return;
    // A recovery operation (R1..R13) in an MG module of any section.
    for (const Module *m : d.mgModules())
        for (const Operation &o : m->ops)
            if (isRecovery(o.code))
                return;
    r.remark(table[NoRecoveryMG], QStringLiteral("Scheda MAT"));
}

void crossCheck(const Declaration &d, Report &r)
{
    if (sameMaterial(d, d.raee, codes::MatKind::Raee, codes::RaeeTra))
        r.remark(table[DuplicateRaee], QStringLiteral("Scheda MAT e riquadro materiali secondari in scheda TRA-RAEE"));
    if (sameMaterial(d, d.imb, codes::MatKind::Imb, 0))
        r.remark(table[DuplicateImb], QStringLiteral("Scheda MAT e riquadro materiali secondari in scheda IMB"));
}

} // namespace verify::mat
