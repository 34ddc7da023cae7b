// Rule group RIF: one scheda RIF (one waste code) against its own amounts
// and the sums of its modules.

#include "verify/rules.h"

namespace verify {

namespace rif {

namespace {
constexpr Class E = Class::Error;
constexpr Class W = Class::Warning;

enum Id {
    StockWithoutProduction, ReceivedVsRT, DeliveredVsDR, OutsideVsRE, TransportedNotDelivered,
    RecoveryOverMG, RecoveryZeroMG, DisposalOverMG, DisposalZeroMG, OriginVsDestination,
    PackagingManager, ElectricalManager, ReceivedNoManagement, ReceivedPartlyDelivered,
    ReceivedEqualsDelivered, TransportReminder, TwoSchedeReminder, TreatedEqualsDelivered,
    SameStockAsMG, StockRecoveryEqualsDisposal, StockEqualsDelivered, VehicleManager,
    NoActivity
};

const Table table = {
    {W, {"E' presente la quantità in giacenza presso il produttore",
         "e non è indicata l'attività di produzione."}},
    {E, {"La quantità ricevuta da terzi dev'essere uguale",
         "alla somma delle quantità indicate nei moduli RT."}},
    {E, {"La quantità conferita a terzi per operazioni di recupero o smaltimento,",
         "dev'essere uguale alla somma delle quantità indicate nei moduli DR."}},
    {E, {"La quantità prodotta fuori dall'unità locale dev'essere",
         "uguale alla somma delle quantità indicate nei moduli RE."}},
    {W, {"La quantità trasportata è DIVERSA DA ZERO e la quantità consegnata a terzi è ZERO.",
         "Si ricorda che nella casella rifiuto trasportato dal dichiarante dev'essere comunicata la",
         "quantità trasportata in uscita dall'unità locale del produttore/detentore verso unità locali",
         "di soggetti terzi o altre unità locali del soggetto dichiarante e non devono essere",
         "comunicate le quantità trasportate in ingresso all'unità locale dichiarante."}},
    {W, {"La quantità complessiva di rifiuto avviata a recupero nell'unità locale,",
         "dev'essere minore o uguale alla somma delle operazioni di recupero",
         "da R1 a R13 indicate nei moduli MG."}},
    {E, {"La quantità complessiva di rifiuto avviata a recupero nell'unità locale è ZERO,",
         "mentre la somma delle operazioni di recupero da R1 a R13 indicate nei moduli MG",
         "è DIVERSA DA ZERO."}},
    {W, {"La quantità complessiva di rifiuto avviata a smaltimento nell'unità locale,",
         "dev'essere minore o uguale alla somma delle operazioni di smaltimento",
         "da D1 a D15 indicate nei moduli MG."}},
    {E, {"La quantità complessiva di rifiuto avviata a smaltimento nell'unità locale è ZERO,",
         "mentre la somma delle operazioni di smaltimento da D1 a D15 indicate nei moduli MG",
         "è DIVERSA DA ZERO."}},
    // The first line is completed at run time with "maggiore" or "minore".
    {W, {"La quantità in origine è %1 della quantità in destinazione/gestione.",
         "Origine = rifiuto prodotto nell'unità locale + ricevuto da terzi + prodotto fuori dall'unità locale.",
         "Destinazione/gestione = Rifiuto consegnato a terzi + giacenza complessiva presso il produttore",
         "  + qta avviata a recupero + qta avviata a smaltimento + giacenza complessiva modulo MG.",
         "ATTENZIONE: per i soggetti che effettuano solo attività di stoccaggio oppure nei casi",
         "in cui sono presenti quantitativi provenienti da giacenze pregresse, il messaggio",
         "non è significativo."}},
    {W, {"I soggetti che effettuano attività di gestione di rifiuti di imballaggio",
         "non devono compilare la scheda RIF, ma sono tenuti alla compilazione della",
         "\"Comunicazione Imballaggi - Sezione gestori rifiuti di imballagio\"."}},
    {W, {"I soggetti che effettuano attività di gestione di rifiuti da apparecchiature",
         "elettriche ed elettroniche rientranti nell'ambito di applicazione del D.Lgs. 49/2014",
         "non devono compilare la scheda RIF, ma sono tenuti alla compilazione della \"Comunicazione RAEE\"."}},
    {W, {"La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione",
         "(modulo MG) e la quantità consegnata a terzi è ZERO."}},
    {W, {"La quantità ricevuta è > 0 ed il rifiuto è stato conferito a terzi in quantità inferiore",
         "alla quantità ricevuta, ma non è stata dichiarata nessuna attività di gestione (modulo MG)."}},
    {W, {"Il dichiarante ha comunicato di aver ricevuto e conferito la stessa quantità,",
         "ma non ha indicato nè attività di trasporto nè di gestione.",
         "Se il dichiarante ha ricevuto i rifiuti per attività di solo trasporto",
         "dovrà indicare la quantità trasportata.",
         "Se i rifiuti sono stati messi in riserva o in deposito preliminare presso il proprio impianto",
         "per poi essere conferiti a terzi, dovrà compilare il rigo relativo all'attività",
         "di messa in riserva o di deposito preliminare nel modulo MG."}},
    {W, {"Si rammenta che nella casella rifiuto trasportato dal dichiarante deve essere comunicata",
         "la quantità trasportata in uscita dall’unità locale del produttore/detentore verso unità locali",
         "di soggetti terzi o altre unità locali del soggetto dichiarante e non devono essere comunicate",
         "le quantità trasportate verso l’unità locale dichiarante."}},
    {W, {"Si rammenta che se nell’ambito della stessa comunicazione rifiuti il dichiarante svolge,",
         "sul medesimo rifiuto, sia attività di recupero o smaltimento sia attività di solo trasporto,",
         "dovrà compilare due schede RIF per il medesimo rifiuto, distinguendo le quantità in relazione",
         "all’attività svolta sul rifiuto: una scheda RIF per il solo trasporto e una scheda RIF",
         "con le altre attività svolte sul rifiuto."}},
    {W, {"La quantità di rifiuto, indicata nella scheda RIF, complessivamente avviata a Recupero e",
         "Smaltimento nell'impianto dichiarante è identica alla Quantità di rifiuto consegnata a terzi:",
         "si ricorda che il dato sulle quantità avviate a recupero e smaltimento va compilato per le",
         "sole attività di gestione effettuate dal dichiarante e non per quelle effettuate dal destinatario.",
         "Attenzione: per i soggetti che effettuano solo attività di stoccaggio il messaggio non è significativo."}},
    {W, {"Nella scheda MG e nella scheda RIF sono state riportate le medesime quantità complessive in giacenza al 31/12.",
         "Si ricorda che nella scheda RIF va indicata la giacenza del produttore,",
         "mentre nella scheda MG va indicata la giacenza del gestore."}},
    {W, {"Nella scheda RIF è stata indicata una quantità in giacenza da avviare al recupero",
         "uguale alla quantità in giacenza da avviare allo smaltimento.",
         "Verificare la correttezza del dato."}},
    {W, {"Nella scheda RIF la quantità in giacenza è uguale alla quantità",
         "conferita a terzi per attività di di recupero o smaltimento.",
         "Verificare la correttezza del dato."}},
    {W, {"I soggetti che effettuano attività di gestione di veicoli fuori uso rientranti",
         "nell'ambito di applicazione del D.lgs. 209/2003 non devono compilare la scheda RIF,",
         "ma sono tenuti alla compilazione della \"Comunicazione VFU\"."}},
    {E, {"Dev'essere indicata almeno una tra le attività di origine del rifiuto",
         "oppure trasporto effettuato in proprio oppure rifiuto conferito a terzi",
         "oppure operazioni di recupero o smaltimento svolte nella UL",
         "oppure deve essere compilato un modulo MG."}},
};

Qty sumMod(const std::vector<const Module *> &mods)
{
    Qty s;
    for (const Module *m : mods)
        s += m->mod;
    return s;
}

} // namespace

const Table &remarks() { return table; }

void checkScheda(const Declaration &, const RifScheda &s, Report &r, const RunData &run)
{
    const QString subject = QStringLiteral("Scheda RIF codice: ") + s.rifCod;
    auto say = [&](Id id, const std::vector<Compared> &cmp = {}) { r.remark(table[id], subject, cmp); };

    const auto rt = s.ofType(1), dr = s.ofType(2), mg = s.ofType(4), re = s.ofType(5);
    Qty mgRecovery, mgDisposal, mgStock;
    for (const Module *m : mg) {
        mgRecovery += m->opsSum(isRecovery);
        mgDisposal += m->opsSum(isDisposal);
        mgStock += m->mod + m->smalt;
    }
    const bool hasMG = !mg.empty();
    const Qty stock = s.giacRec + s.giacSmalt;
    const auto Z = Qty{};

    // Stock held by the producer with no production declared.
    if (stock.positive() && s.prod.isZero())
        say(StockWithoutProduction);

    const Qty sumRT = sumMod(rt), sumDR = sumMod(dr), sumRE = sumMod(re);
    if (unbalanced(s.terzi, sumRT))
        say(ReceivedVsRT, {{QStringLiteral("Somma RT"), sumRT}, {QStringLiteral("Ricevuta da terzi"), s.terzi}});
    if (unbalanced(s.cons, sumDR))
        say(DeliveredVsDR, {{QStringLiteral("Somma DR"), sumDR}, {QStringLiteral("Recupero / smaltimento"), s.cons}});
    if (unbalanced(s.fuori, sumRE))
        say(OutsideVsRE, {{QStringLiteral("Somma RE"), sumRE}, {QStringLiteral("Prodotta fuori"), s.fuori}});

    if (s.tras != Z && s.cons.isZero())
        say(TransportedNotDelivered);

    // Recovery and disposal in the unit against the MG operations: the scheda
    // may declare less than the operations (a warning only when it exceeds
    // them beyond the tolerance); a zero scheda amount with operations is an error.
    const std::vector<Compared> cmpRec{{QStringLiteral("Somma MG"), mgRecovery}, {QStringLiteral("Recupero"), s.rec}};
    if (s.rec > mgRecovery && unbalanced(s.rec, mgRecovery))
        say(RecoveryOverMG, cmpRec);
    if (s.rec.isZero() && !mgRecovery.isZero())
        say(RecoveryZeroMG, cmpRec);
    const std::vector<Compared> cmpDis{{QStringLiteral("Somma MG"), mgDisposal}, {QStringLiteral("Smaltimento"), s.smalt}};
    if (s.smalt > mgDisposal && unbalanced(s.smalt, mgDisposal))
        say(DisposalOverMG, cmpDis);
    if (s.smalt.isZero() && !mgDisposal.isZero())
        say(DisposalZeroMG, cmpDis);

    // Origin against destination/management; the base is the origin.
    const Qty origin = s.prod + s.terzi + s.fuori;
    const Qty destination = s.cons + stock + s.rec + s.smalt + mgStock;
    if (unbalanced(origin, destination)) {
        QStringList lines = table[OriginVsDestination].text();
        lines[0] = lines[0].arg(origin > destination ? QStringLiteral("maggiore") : QStringLiteral("minore"));
        r.remark(table[OriginVsDestination], subject, {}, lines);
    }

    // Management of special streams belongs to their own communications.
    if (hasMG && isPackagingCode(s.rifCod))
        say(PackagingManager);
    if (hasMG && isElectricalCode(s.rifCod))
        say(ElectricalManager);

    if (s.terzi.positive() && !hasMG && s.cons.isZero())
        say(ReceivedNoManagement);
    if (s.terzi.positive() && s.cons.positive() && s.cons < s.terzi && !hasMG)
        say(ReceivedPartlyDelivered);
    if (s.terzi.positive() && s.terzi == s.cons && s.tras.isZero() && !hasMG)
        say(ReceivedEqualsDelivered);
    // Transport declared on received waste: it may be the inbound transport,
    // which is not to be declared.
    if (s.tras.positive() && s.terzi.positive())
        say(TransportReminder);
    // Transport together with recovery or disposal on the same scheda.
    if (s.tras.positive() && (s.rec.positive() || s.smalt.positive() || hasMG))
        say(TwoSchedeReminder);
    if ((s.rec + s.smalt).positive() && s.rec + s.smalt == s.cons)
        say(TreatedEqualsDelivered);
    if (hasMG && stock.positive() && stock == mgStock)
        say(SameStockAsMG);
    if (s.giacRec.positive() && s.giacRec == s.giacSmalt)
        say(StockRecoveryEqualsDisposal);
    if (stock.positive() && stock == s.cons)
        say(StockEqualsDelivered);
    if (hasMG && run.vehicleCodes.contains(s.rifCod))
        say(VehicleManager);

    if (origin.isZero() && s.tras.isZero() && s.cons.isZero() && s.rec.isZero() && s.smalt.isZero() && !hasMG)
        say(NoActivity);
}

} // namespace rif
} // namespace verify
