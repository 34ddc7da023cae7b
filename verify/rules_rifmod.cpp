// Rule group RIF modules: RT, DR and MG modules of one scheda RIF (TE and RE
// modules carry nothing the rules check on their own).

#include "verify/rules.h"

#include <QHash>

namespace verify::rifmod {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    ForeignTreatmentMismatch, ForeignTreatmentWithoutManagement, ForeignSeveralTreatments,
    PrivateForeign, ForeignDestinationMismatch, ForeignSeveralDestinations,
    LandfillWrongPlant, LandfillPlantNoQuantity, IncinerationWrongPlant, ChemicalWrongPlant,
    MaterialWrongPlant, ReserveWrongPlant, NoPlantType, OnlyR10WithPlant, StockWithoutActivity,
    IncineratorNoD10, CoincineratorNoR1, CompostNoR3, R12WrongPlant, PreliminaryNoR12,
    SamePlantTwice
};

const Table table = {
    {E, {"E' stata indicata la provenienza estera del rifiuto e un'attività di recupero e/o smaltimento",
         "nell'unità locale e la quantità ricevuta dall'estero nell'anno non corrisponde",
         "alla somma delle quantità relative alle attività di trattamento."}},
    {E, {"E' stata indicata la provenienza estera del rifiuto e il tipo di trattamento nel modulo RT,",
         "ma non è valorizzata una quantità in recupero e/o smaltimento svolta nell'unità locale.",
         "Si rammenta che il tipo di trattamento va compilato solo se si effettuano attività di",
         "gestione sul rifiuto ricevuto."}},
    {W, {"Si rammenta che qualora, su un rifiuto ricevuto da un fornitore estero, il gestore svolga",
         "più attività, dovrà compilare più moduli RT, riferiti al medesimo rifiuto e al medesimo"}},
    {E, {"Nel modulo RT è stato indicato che i rifiuti provengono da Provati,"}},
    {E, {"La quantità conferita all'estero nell'anno dev'essere uguale alla somma",
         "delle quantità relative alle attività svolte a destinazione."}},
    {W, {"Si rammenta che laddove il rifiuto conferito all’estero sia destinato a diverse attività",
         "(recupero di materia, recupero di energia, incenerimento, smaltimento in discarica, altre operazioni di smaltimento),",
         "il dichiarante dovrà compilare più moduli DR, riferiti al medesimo rifiuto e al medesimo destinatario,",
         "ma distinti per ogni attività."}},
    {W, {"E' stata indicata un'attività di deposito in discarica, ma è stata scelta",
         "una tipologia di impianto diversa da \"Discarica\""}},
    {W, {"E' stata scelta una tipologia di impianto \"Discarica\", ma non è presente la quantità di",
         "deposito in discarica.",
         "Nel caso di discarica esaurita non si deve tenere conto di questa segnalazione."}},
    {W, {"E' stata indicata un'attività D10 oppure R1, ma è stata scelta una tipologia",
         "di impianto diversa da \"Inceneritore\" o \"Coinceneritore\""}},
    {W, {"E' stata indicata un'attività D8 oppure D9 oppure D14, ma è stata scelta una tipologia",
         "di impianto diversa da \"Impianto di trattamento chimico fisico biologico\"",
         "e da \"Impianto di trattamento meccanico o meccanico biologico del rifiuto urbano\"",
         "oppure non è stata indicata alcuna tipologia."}},
    {W, {"E' stata indicata un'attività da R2 a R9, ma è stata scelta una tipologia di impianto",
         "diversa da \"Recupero di materia\" e da \"Impianto di compostaggio\"",
         "e da \"Impianto di digestione anaerobica\" e da \"Impianto di trattamento integrato anaerobico/aerobico\"",
         "oppure non è stata indicata alcuna tipologia."}},
    {W, {"E' stata indicata un'attività R13, ma è stata scelta una tipologia di impianto",
         "diversa da \"Impianto per la messa in riserva (R13)\" e \"Recupero di materia\"",
         "oppure non è stata indicata alcuna tipologia."}},
    {W, {"Nella scheda MG non è stata valorizzata la tipologia impianto.",
         "Verificare sulle istruzioni in quali casi non è obbligatoria la compilazione."}},
    {W, {"E' stata indicata come unica attività R10 ed è presente la tipologia impianto nel modulo MG.",
         "Verificare sulle istruzioni in quali casi non è obbligatoria la compilazione della",
         "tipologia impianto."}},
    {W, {"E' stata indicata una quantità in giacenza del gestore,",
         "ma non è stata indicata alcuna attività di gestione.",
         "Verificare la correttezza del dato."}},
    {W, {"E' stata scelta una tipologia di impianto \"Inceneritore\",",
         "ma non è presente una quantità in D10."}},
    {W, {"E' stata scelta una tipologia di impianto \"Coinceneritore\",",
         "ma non è presente una quantità in R1."}},
    {W, {"E' stata scelta una tipologia \"Impianto di compostaggio\" o \"Impianto di digestione anaerobica\"",
         "o \"Impianto di trattamento integrato anaerobico/aerobico\", ma non è presente una quantità in R3."}},
    {W, {"E' presente una quantità in R12 ma è stata scelta una tipologia diversa da ",
         "\"Impianto di trattamento preliminare al recupero da R1 a R11\"."}},
    {W, {"E' stata scelta una tipologia \"Impianto di trattamento preliminare al recupero da R1 a R11\",",
         "ma non è presente una quantità in R12."}},
    {W, {"Sono state compilate più schede MG con la stessa tipologia impianto."}},
};

// Plant types of an MG module ("Tipologia impianto", stored in Privati as
// the position in the list, 1..13; 0 none).
enum Plant {
    NoPlant = 0, Landfill = 1, DisposalPlant = 2, Coincinerator = 3, Composting = 4,
    AnaerobicDigestion = 5, ChemicalPhysical = 6, IntegratedAnaerobic = 7, MechanicalUrban = 8,
    PreliminaryRecovery = 9, PreliminaryDeposit = 10, Reserve = 11, Incinerator = 12,
    MaterialRecovery = 13
};

bool anyOp(const Module &m, std::initializer_list<const char *> codes)
{
    for (const char *c : codes)
        if (m.hasOp(QString::fromLatin1(c)))
            return true;
    return false;
}

bool positiveOp(const Module &m, const char *code)
{
    return m.opQty(QString::fromLatin1(code)).positive();
}

} // namespace

const Table &remarks() { return table; }

void checkModules(const Declaration &, const RifScheda &s, Report &r, const RunData &)
{
    const QString base = QStringLiteral("Scheda RIF codice: ") + s.rifCod;
    const bool managedInUnit = (s.rec + s.smalt).positive();
    int nRT = 0, nDR = 0, nMG = 0;
    QHash<int, int> plants;

    for (const Module &m : s.mods) {
        switch (m.tipo) {
        case 1: {
            const QString subject = base + QStringLiteral(" modulo RT n. ") + QString::number(++nRT);
            if (m.foreign() && managedInUnit && unbalanced(m.mod, m.treatmentSum()))
                r.remark(table[ForeignTreatmentMismatch], subject);
            if (m.foreign() && m.treatmentSum().positive() && !managedInUnit)
                r.remark(table[ForeignTreatmentWithoutManagement], subject);
            if (m.foreign() && m.treatmentCount() > 1)
                r.remark(table[ForeignSeveralTreatments], subject);
            // Private persons are conferring parties of an Italian municipality.
            if (m.privati != 0 && m.foreign())
                r.remark(table[PrivateForeign], subject);
            break;
        }
        case 2: {
            const QString subject = base + QStringLiteral(" modulo DR n. ") + QString::number(++nDR);
            if (m.foreign() && unbalanced(m.mod, m.treatmentSum()))
                r.remark(table[ForeignDestinationMismatch], subject);
            if (m.foreign() && m.treatmentCount() > 1)
                r.remark(table[ForeignSeveralDestinations], subject);
            break;
        }
        case 4: {
            const QString subject = base + QStringLiteral(" modulo MG n. ") + QString::number(++nMG);
            const int t = m.privati;
            if (t > 0)
                plants[t]++;
            auto say = [&](Id id) { r.remark(table[id], subject); };
            // Landfilling: a landfill amount (ordinary or art. 191) or a D1/D5/D12 row.
            const bool landfill = m.dep.positive() || m.q191.positive() || anyOp(m, {"D1", "D5", "D12"});
            if (landfill && t != NoPlant && t != Landfill)
                say(LandfillWrongPlant);
            if (t == Landfill && !m.dep.positive() && !m.q191.positive())
                say(LandfillPlantNoQuantity);
            if (anyOp(m, {"D10", "R1"}) && t != NoPlant && t != Incinerator && t != Coincinerator)
                say(IncinerationWrongPlant);
            if (anyOp(m, {"D8", "D9", "D14"}) && t != ChemicalPhysical && t != MechanicalUrban)
                say(ChemicalWrongPlant);
            if (anyOp(m, {"R2", "R3", "R4", "R5", "R6", "R7", "R8", "R9"})
                && t != MaterialRecovery && t != Composting && t != AnaerobicDigestion
                && t != IntegratedAnaerobic)
                say(MaterialWrongPlant);
            if (anyOp(m, {"R13"}) && t != Reserve && t != MaterialRecovery)
                say(ReserveWrongPlant);
            if (t == NoPlant)
                say(NoPlantType);
            bool onlyR10 = !m.ops.empty();
            for (const Operation &o : m.ops)
                if (o.code.compare(QLatin1String("R10"), Qt::CaseInsensitive) != 0)
                    onlyR10 = false;
            if (onlyR10 && t != NoPlant)
                say(OnlyR10WithPlant);
            // Manager's stock with no management operation nor landfilling.
            if ((m.mod + m.smalt).positive() && m.ops.empty() && !m.dep.positive() && !m.q191.positive())
                say(StockWithoutActivity);
            if (t == Incinerator && !positiveOp(m, "D10"))
                say(IncineratorNoD10);
            if (t == Coincinerator && !positiveOp(m, "R1"))
                say(CoincineratorNoR1);
            if ((t == Composting || t == AnaerobicDigestion || t == IntegratedAnaerobic) && !positiveOp(m, "R3"))
                say(CompostNoR3);
            if (positiveOp(m, "R12") && t != NoPlant && t != PreliminaryRecovery)
                say(R12WrongPlant);
            if (t == PreliminaryRecovery && !positiveOp(m, "R12"))
                say(PreliminaryNoR12);
            break;
        }
        default:
            break;
        }
    }
    // Once per scheda, after its MG modules.
    for (auto it = plants.cbegin(); it != plants.cend(); ++it)
        if (it.value() > 1) {
            r.remark(table[SamePlantTwice], base);
            break;
        }
}

} // namespace verify::rifmod
