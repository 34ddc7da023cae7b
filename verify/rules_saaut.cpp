// Rule group SA-AUT: the authorisations of the declaration against
// themselves and against the management modules (MG of every section) and
// the vehicle and electrical-equipment communications.
//
// Storage read here: suRecupero holds one character per recovery operation
// R1..R13, suSmaltimento one per disposal operation D1..D15 ("1" ticked);
// Incenerimento/incQta and Coincenerimento/conQta the incineration and
// co-incineration blocks with their authorised total capacity; crClass1..3
// and crQta1..3 the landfill type and residual capacity. Dates are text
// "yyyy-MM-dd".
//
// Remarks about one authorisation are given for each row, in row order;
// remarks about the declaration as a whole once.

#include "verify/rules.h"

namespace verify::saaut {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    Incomplete, NoIssuer, ExpiredBeforeYear, IssuedAfterYear, IncinerationNoCapacity,
    CoincinerationNoCapacity, AllOperations, VfuPlantNoVfu, RaeePlantNoTra, LandfillDataNoMG,
    NoAuthorisedQuantity, NoMG, IncineratorNoR1D10InMG, IncineratorNoR1D10Authorised,
    R1D10AuthorisedNoIncinerator, LandfillDataNoD1D5D12, D1D5D12NoLandfillType, VfuNoVfuPlant,
    TraNoRaeePlant, MGLandfillNoAutLandfill, UrbanCollection, MGRecoveryNotAuthorised,
    MGDisposalNotAuthorised, MGR1D10NoIncinerator, NoAutWithMG
};

const Table table = {
    {E, {"La scheda SA-AUT risulta incompleta.",
         "I seguenti dati sono obbligatori:",
         "estremi, data rilascio, data scadenza, tipo autorizzazione,",
         "operazioni di recupero/smaltimento contenute nell'autorizzazione."}},
    {W, {"Nella scheda SA-AUT non è stato indicato l'ente che ha rilasciato l'autorizzazione.",
         "Verificare il dato conformemente a quanto previsto dalla normativa."}},
    {W, {"Nella scheda SA-AUT la data di scadenza è antecedente all'anno di riferimento."}},
    {W, {"Nella scheda SA-AUT la data di rilascio è successiva all'anno di riferimento."}},
    {W, {"Nella scheda SA-AUT è stata indicata un'attività di incenerimento,",
         "ma non è stata indicata la relativa capacità complessiva autorizzata."}},
    {W, {"Nella scheda SA-AUT è stata indicata un'attività di coincenerimento,",
         "ma non è stata indicata la relativa capacità complessiva autorizzata."}},
    {E, {"Nella scheda SA-AUT sono state indicate tutte le operazioni di recupero e di smaltimento autorizzate."}},
    {W, {"Nella scheda SA-AUT è stato indicato un impianto di gestione di VFU",
         "ma non è stata compilata la Comunicazione VFU."}},
    {W, {"Nella scheda SA-AUT è stato indicato un impianto di gestione di RAEE",
         "ma non è stata compilata la scheda TRA-RAEE."}},
    {W, {"Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,",
         "ma non è presente alcuna attività di deposito in discarica nei moduli MG.",
         "Nel caso di discarica esaurita non si deve tenere conto di questa segnalazione."}},
    {W, {"Nella scheda SA-AUT non è stata indicata la quantità",
         "o la potenzialità complessiva autorizzata."}},
    {W, {"E' stata valorizzata la scheda SA-AUT e non è stato compilato nessun modulo MG."}},
    {W, {"Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento",
         "ma non è presente alcuna attività di R1 o D10 nei moduli MG."}},
    {W, {"Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento,",
         "ma non è stata indicata l'attività R1 o D10 tra le operazioni autorizzate."}},
    {W, {"Nella scheda SA-AUT è stata indicata l’attività R1 o D10 tra le operazioni autorizzate,",
         "ma non è stato indicato un impianto di incenerimento/coincenerimento."}},
    {W, {"Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,",
         "ma non è presente l’attività D1 o D5 o D12 tra le operazioni autorizzate."}},
    {W, {"Nella scheda SA-AUT è stata indicata l’attività D1 o D5 o D12 tra le operazioni",
         "autorizzate, ma non è stato indicato il tipo di discarica."}},
    {W, {"E' stata compilata la Comunicazione VFU, ma nella scheda SA-AUT",
         "non è stato indicato un impianto di gestione VFU."}},
    {W, {"E' stata compilata la scheda TRA-RAEE ma nella scheda SA-AUT",
         "non è stato indicato un impianto di gestione RAEE."}},
    {E, {"Nel modulo di gestione MG sono stati valorizzati i campi relativi",
         "al deposito definitivo in discarica, ma nella scheda SA-AUT non è indicata",
         "nè la tipologia nè la capacità residua della discarica."}},
    {E, {"Si ricorda che la compilazione della dichiarazione relativa alla raccolta dei rifiuti urbani",
         "va effettuata obbligatoriamente per via telematica tramite il sito %1"}},
    {W, {"Nei moduli di gestione compilati sono indicate attività di recupero da R1 a R13",
         "e nelle schede SA-AUT non sono indicate operazioni di recupero autorizzate."}},
    {W, {"Nei moduli di gestione compilati sono indicate attività di smaltimento da D1 a D15",
         "e nelle schede SA-AUT non sono indicate operazioni di smaltimento autorizzate."}},
    {W, {"Nel modulo di gestione MG è stata indicata l'attività di R1 o D10, ma nella"}},
    {E, {"Non è stata valorizzata alcuna scheda SA-AUT ed è stato compilato il modulo MG."}},
};

bool anyRecovery(const Authorisation &a)
{
    for (int i = 1; i <= 13; ++i)
        if (a.recovery(i))
            return true;
    return false;
}

bool anyDisposal(const Authorisation &a)
{
    for (int i = 1; i <= 15; ++i)
        if (a.disposal(i))
            return true;
    return false;
}

bool landfillType(const Authorisation &a)
{
    return a.crClass[0] > 0 || a.crClass[1] > 0 || a.crClass[2] > 0;
}

} // namespace

const Table &remarks() { return table; }

bool applies(const Declaration &d)
{
    return !d.aut.empty() || !d.mgModules().empty();
}

void check(const Declaration &d, Report &r, const RunData &run)
{
    const QString subject = QStringLiteral("Scheda SA-AUT");
    auto say = [&](Id id) { r.remark(table[id], subject); };
    const QString firstDay = QString::number(run.year) + QStringLiteral("0101");
    const QString lastDay = QString::number(run.year) + QStringLiteral("1231");
    auto ymd = [](const QString &date) { return QString(date).remove(u'-'); };

    const auto mg = d.mgModules();
    bool mgLandfill = false, mgR1D10 = false, mgRecovery = false, mgDisposal = false;
    for (const Module *m : mg) {
        if (m->dep.positive() || m->q191.positive())
            mgLandfill = true;
        for (const Operation &o : m->ops) {
            if (o.code.compare(QLatin1String("R1"), Qt::CaseInsensitive) == 0
                || o.code.compare(QLatin1String("D10"), Qt::CaseInsensitive) == 0)
                mgR1D10 = true;
            if (isRecovery(o.code))
                mgRecovery = true;
            if (isDisposal(o.code))
                mgDisposal = true;
        }
    }
    bool autVfu = false, autRaee = false, autLandfill = false, autRecovery = false,
         autDisposal = false, autIncinerator = false;
    for (const Authorisation &a : d.aut) {
        autVfu |= a.vfu;
        autRaee |= a.raee;
        autLandfill |= a.landfillData();
        autRecovery |= anyRecovery(a);
        autDisposal |= anyDisposal(a);
        autIncinerator |= a.inc || a.coinc;
    }
    bool hasTra = false;
    for (const StreamScheda &s : d.raee)
        if (s.tipo == 1)
            hasTra = true;
    const bool hasAut = !d.aut.empty();

    // ---- each authorisation ----
    for (const Authorisation &a : d.aut)
        if (a.estremi.isEmpty() || a.dataRil.isEmpty() || a.dataScad.isEmpty() || a.tipo < 1
            || !a.anyOperation())
            say(Incomplete);
    for (const Authorisation &a : d.aut)
        if (a.ente < 1)
            say(NoIssuer);
    for (const Authorisation &a : d.aut)
        if (!a.dataScad.isEmpty() && ymd(a.dataScad) < firstDay)
            say(ExpiredBeforeYear);
    for (const Authorisation &a : d.aut)
        if (!a.dataRil.isEmpty() && ymd(a.dataRil) > lastDay)
            say(IssuedAfterYear);
    for (const Authorisation &a : d.aut)
        if (a.inc && a.incQta <= 0)
            say(IncinerationNoCapacity);
    for (const Authorisation &a : d.aut)
        if (a.coinc && a.conQta <= 0)
            say(CoincinerationNoCapacity);
    for (const Authorisation &a : d.aut) {
        bool all = true;
        for (int i = 1; i <= 13; ++i)
            all = all && a.recovery(i);
        for (int i = 1; i <= 15; ++i)
            all = all && a.disposal(i);
        if (all)
            say(AllOperations);
    }
    if (autVfu && d.vfu.empty())
        say(VfuPlantNoVfu);
    if (autRaee && !hasTra)
        say(RaeePlantNoTra);
    if (autLandfill && !mgLandfill)
        say(LandfillDataNoMG);
    // Neither an incineration/co-incineration capacity nor a landfill
    // residual capacity is given.
    for (const Authorisation &a : d.aut)
        if (a.incQta <= 0 && a.conQta <= 0 && a.crQta[0] <= 0 && a.crQta[1] <= 0 && a.crQta[2] <= 0)
            say(NoAuthorisedQuantity);
    if (hasAut && mg.empty())
        say(NoMG);
    if (autIncinerator && !mgR1D10)
        say(IncineratorNoR1D10InMG);
    for (const Authorisation &a : d.aut)
        if ((a.inc || a.coinc) && !a.recovery(1) && !a.disposal(10))
            say(IncineratorNoR1D10Authorised);
    for (const Authorisation &a : d.aut)
        if ((a.recovery(1) || a.disposal(10)) && !a.inc && !a.coinc)
            say(R1D10AuthorisedNoIncinerator);
    for (const Authorisation &a : d.aut)
        if (a.landfillData() && !a.disposal(1) && !a.disposal(5) && !a.disposal(12))
            say(LandfillDataNoD1D5D12);
    for (const Authorisation &a : d.aut)
        if ((a.disposal(1) || a.disposal(5) || a.disposal(12)) && !landfillType(a))
            say(D1D5D12NoLandfillType);

    // ---- the declaration against its authorisations ----
    if (hasAut && !d.vfu.empty() && !autVfu)
        say(VfuNoVfuPlant);
    if (hasAut && hasTra && !autRaee)
        say(TraNoRaeePlant);
    if (hasAut && mgLandfill && !autLandfill)
        say(MGLandfillNoAutLandfill);
    // Municipal waste collection: waste of chapter 20 received from private
    // persons (an RT module with "Privati").
    bool urban = false;
    for (const RifScheda &s : d.rif)
        if (s.rifCod.startsWith(QLatin1String("20")))
            for (const Module &m : s.mods)
                if (m.tipo == 1 && m.privati != 0)
                    urban = true;
    if (urban) {
        QStringList lines = table[UrbanCollection].text();
        lines[1] = lines[1].arg(run.municipalWasteSite);
        r.remark(table[UrbanCollection], subject, {}, lines);
    }
    if (hasAut && mgRecovery && !autRecovery)
        say(MGRecoveryNotAuthorised);
    if (hasAut && mgDisposal && !autDisposal)
        say(MGDisposalNotAuthorised);
    // R1 or D10 in the MG modules and no incineration/co-incineration plant
    // in the authorisations.
    if (hasAut && mgR1D10 && !autIncinerator)
        say(MGR1D10NoIncinerator);
    if (!hasAut && !mg.empty())
        say(NoAutWithMG);
}

} // namespace verify::saaut
