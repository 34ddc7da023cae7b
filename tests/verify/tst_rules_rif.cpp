// Rule groups RIF (scheda) and RIF modules: each remark triggered by a
// declaration built here, and not given by a close variant of it.

#include "fixture.h"

#include <QTest>

namespace {
const QString C = QStringLiteral("170405");
const QString S = QStringLiteral("Scheda RIF codice: 170405");
using V = QVariantMap;

// Builders of one scheda with its modules.
auto scheda(V amounts, std::vector<std::pair<int, V>> mods = {},
            std::vector<std::tuple<int, int, const char *, int>> ops = {}, QString code = C)
{
    return [=](Fixture &f, qint64 sa) {
        const qint64 r = f.rif(sa, code, amounts);
        std::vector<qint64> ids;
        for (const auto &[tipo, v] : mods)
            ids.push_back(f.modRif(r, tipo, v));
        // ops: (module index, Posizione, code, kg)
        for (const auto &[m, pos, op, q] : ops)
            f.opRif(ids[size_t(m)], pos, QString::fromLatin1(op), q);
    };
}
} // namespace

class TestRulesRif : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void balancesLineByLine();
    void schedaRules();
    void moduleRules();
    void mgPlantRules();
};

void TestRulesRif::balancesLineByLine()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 sa = f.declaration();
    const qint64 r = f.rif(sa, C, {{"qtaTerzi", 100}, {"qtaFuori", 12000}, {"qtaCons", 12100}});
    f.modRif(r, 1, {{"qtaMod", 106}});         // 6% over: error
    f.modRif(r, 5, {{"qtaMod", 3000}});        // 12 t against 3 t
    f.modRif(r, 2, {{"qtaMod", 12100}});       // balanced
    const auto run = f.runOne(sa);
    const QString sp(11, u' ');
    QCOMPARE(Fixture::block(run.lines, "La quantità ricevuta da terzi dev'essere uguale"),
             (QStringList{"**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!",
                          "---------> " + S, sp + "La quantità ricevuta da terzi dev'essere uguale",
                          sp + "alla somma delle quantità indicate nei moduli RT.",
                          sp + "Somma RT: 106 Kg - Ricevuta da terzi: 100 Kg", sp}));
    QCOMPARE(Fixture::block(run.lines, "La quantità prodotta fuori dall'unità locale dev'essere"),
             (QStringList{"**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!",
                          "---------> " + S, sp + "La quantità prodotta fuori dall'unità locale dev'essere",
                          sp + "uguale alla somma delle quantità indicate nei moduli RE.",
                          sp + "Somma RE: 3 t - Prodotta fuori: 12 t", sp}));
    QVERIFY(Fixture::find(run.lines, "La quantità conferita a terzi per operazioni di recupero o smaltimento,").isEmpty());
    // The remarks of the group come in the order of the catalogue.
    QCOMPARE(Fixture::remarks(run.lines),
             (QStringList{"E " + S + " | La quantità ricevuta da terzi dev'essere uguale",
                          "E " + S + " | La quantità prodotta fuori dall'unità locale dev'essere"}));
    // Origin 12100 against destination 12100: no origin/destination remark.
}

void TestRulesRif::schedaRules()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString E = "E " + S, W = "W " + S;
    const QString stock = "E' presente la quantità in giacenza presso il produttore";
    const QString rt = "La quantità ricevuta da terzi dev'essere uguale";
    const QString dr = "La quantità conferita a terzi per operazioni di recupero o smaltimento,";
    const QString tras = "La quantità trasportata è DIVERSA DA ZERO e la quantità consegnata a terzi è ZERO.";
    const QString recOver = "La quantità complessiva di rifiuto avviata a recupero nell'unità locale,";
    const QString recZero = "La quantità complessiva di rifiuto avviata a recupero nell'unità locale è ZERO,";
    const QString disOver = "La quantità complessiva di rifiuto avviata a smaltimento nell'unità locale,";
    const QString disZero = "La quantità complessiva di rifiuto avviata a smaltimento nell'unità locale è ZERO,";
    const QString more = "La quantità in origine è maggiore della quantità in destinazione/gestione.";
    const QString less = "La quantità in origine è minore della quantità in destinazione/gestione.";
    const QString imb = "I soggetti che effettuano attività di gestione di rifiuti di imballaggio";
    const QString raee = "I soggetti che effettuano attività di gestione di rifiuti da apparecchiature";
    const QString noMan = "La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione";
    const QString partly = "La quantità ricevuta è > 0 ed il rifiuto è stato conferito a terzi in quantità inferiore";
    const QString same = "Il dichiarante ha comunicato di aver ricevuto e conferito la stessa quantità,";
    const QString trRem = "Si rammenta che nella casella rifiuto trasportato dal dichiarante deve essere comunicata";
    const QString two = "Si rammenta che se nell’ambito della stessa comunicazione rifiuti il dichiarante svolge,";
    const QString ident = "La quantità di rifiuto, indicata nella scheda RIF, complessivamente avviata a Recupero e";
    const QString mgStock = "Nella scheda MG e nella scheda RIF sono state riportate le medesime quantità complessive in giacenza al 31/12.";
    const QString recSm = "Nella scheda RIF è stata indicata una quantità in giacenza da avviare al recupero";
    const QString giacCons = "Nella scheda RIF la quantità in giacenza è uguale alla quantità";
    const QString vfu = "I soggetti che effettuano attività di gestione di veicoli fuori uso rientranti";
    const QString none = "Dev'essere indicata almeno una tra le attività di origine del rifiuto";
    const V mg11{{"Privati", 11}};

    const std::vector<RuleCase> cases = {
        {"stock without production", scheda({{"qtaGiacRec", 10}}), stock, W},
        {"stock with production", scheda({{"qtaProd", 10}, {"qtaGiacSmalt", 10}}), stock, {}},
        {"RT exactly 5%", scheda({{"qtaTerzi", 100}}, {{1, {{"qtaMod", 105}}}}), rt, {}},
        {"RT zero declared", scheda({}, {{1, {{"qtaMod", 1}}}}), rt, E},
        {"DR over", scheda({{"qtaCons", 1000}}, {{2, {{"qtaMod", 2000}}}}), dr, E},
        {"DR equal", scheda({{"qtaCons", 1000}}, {{2, {{"qtaMod", 1000}}}}), dr, {}},
        {"transported not delivered", scheda({{"qtaTras", 10}}), tras, W},
        {"transported and delivered", scheda({{"qtaTras", 10}, {"qtaCons", 10}}, {{2, {{"qtaMod", 10}}}}), tras, {}},
        {"recovery over MG", scheda({{"qtaRec", 100}}, {{4, mg11}}, {{0, 1, "R13", 50}}), recOver, W},
        {"recovery within 5% of MG", scheda({{"qtaRec", 105}}, {{4, mg11}}, {{0, 1, "R13", 100}}), recOver, {}},
        {"recovery below MG", scheda({{"qtaRec", 50}}, {{4, mg11}}, {{0, 1, "R13", 100}}), recOver, {}},
        {"recovery zero, MG not", scheda({}, {{4, mg11}}, {{0, 1, "R13", 10}}), recZero, E},
        {"recovery and MG", scheda({{"qtaRec", 10}}, {{4, mg11}}, {{0, 1, "R13", 10}}), recZero, {}},
        {"disposal over MG", scheda({{"qtaSmalt", 100}}, {{4, {}}}, {{0, 2, "D15", 10}}), disOver, W},
        {"disposal = MG over two rows", scheda({{"qtaSmalt", 100}}, {{4, {}}}, {{0, 2, "D15", 50}, {0, 3, "D1", 50}}), disOver, {}},
        {"disposal zero, MG not", scheda({}, {{4, {}}}, {{0, 2, "D15", 10}}), disZero, E},
        {"disposal zero, MG recovery only", scheda({{"qtaRec", 10}}, {{4, mg11}}, {{0, 1, "R13", 10}}), disZero, {}},
        {"origin greater", scheda({{"qtaProd", 100}}), more, W},
        {"origin smaller", scheda({{"qtaProd", 100}, {"qtaCons", 200}}, {{2, {{"qtaMod", 200}}}}), less, W},
        {"origin balanced", scheda({{"qtaProd", 100}, {"qtaCons", 100}}, {{2, {{"qtaMod", 100}}}}), more, {}},
        {"packaging code with MG", scheda({}, {{4, mg11}}, {}, "150101"), imb, "W Scheda RIF codice: 150101"},
        {"packaging code 150109 with MG", scheda({}, {{4, mg11}}, {}, "150109"), imb, "W Scheda RIF codice: 150109"},
        {"code 150110 with MG", scheda({}, {{4, mg11}}, {}, "150110"), imb, {}},
        {"packaging code without MG", scheda({{"qtaProd", 1}}, {}, {}, "150101"), imb, {}},
        {"electrical code with MG", scheda({}, {{4, mg11}}, {}, "160216"), raee, "W Scheda RIF codice: 160216"},
        {"code 160217 with MG", scheda({}, {{4, mg11}}, {}, "160217"), raee, {}},
        {"received, no MG, nothing delivered", scheda({{"qtaTerzi", 100}}, {{1, {{"qtaMod", 100}}}}), noMan, W},
        {"received with MG", scheda({{"qtaTerzi", 100}}, {{1, {{"qtaMod", 100}}}, {4, mg11}}), noMan, {}},
        {"received, partly delivered", scheda({{"qtaTerzi", 100}, {"qtaCons", 50}}, {{1, {{"qtaMod", 100}}}, {2, {{"qtaMod", 50}}}}), partly, W},
        {"received, all delivered", scheda({{"qtaTerzi", 100}, {"qtaCons", 100}}, {{1, {{"qtaMod", 100}}}, {2, {{"qtaMod", 100}}}}), partly, {}},
        {"received = delivered, nothing else", scheda({{"qtaTerzi", 100}, {"qtaCons", 100}}, {{1, {{"qtaMod", 100}}}, {2, {{"qtaMod", 100}}}}), same, W},
        {"received = delivered, transported", scheda({{"qtaTerzi", 100}, {"qtaCons", 100}, {"qtaTras", 100}}, {{1, {{"qtaMod", 100}}}, {2, {{"qtaMod", 100}}}}), same, {}},
        {"transport of received waste", scheda({{"qtaTerzi", 10}, {"qtaTras", 10}, {"qtaCons", 10}}, {{1, {{"qtaMod", 10}}}, {2, {{"qtaMod", 10}}}}), trRem, W},
        {"transport of produced waste", scheda({{"qtaProd", 10}, {"qtaTras", 10}, {"qtaCons", 10}}, {{2, {{"qtaMod", 10}}}}), trRem, {}},
        {"transport and recovery", scheda({{"qtaProd", 10}, {"qtaTras", 10}, {"qtaRec", 10}}, {{4, mg11}}, {{0, 1, "R13", 10}}), two, W},
        {"transport only", scheda({{"qtaProd", 10}, {"qtaTras", 10}, {"qtaCons", 10}}, {{2, {{"qtaMod", 10}}}}), two, {}},
        {"treated = delivered", scheda({{"qtaTerzi", 100}, {"qtaRec", 50}, {"qtaSmalt", 50}, {"qtaCons", 100}}), ident, W},
        {"treated != delivered", scheda({{"qtaTerzi", 100}, {"qtaRec", 50}, {"qtaSmalt", 50}, {"qtaCons", 90}}), ident, {}},
        {"same stock as MG", scheda({{"qtaProd", 10}, {"qtaGiacRec", 10}}, {{4, {{"Privati", 11}, {"qtaMod", 10}}}}), mgStock, W},
        {"different stock from MG", scheda({{"qtaProd", 10}, {"qtaGiacRec", 10}}, {{4, {{"Privati", 11}, {"qtaMod", 20}}}}), mgStock, {}},
        {"stock recovery = disposal", scheda({{"qtaProd", 20}, {"qtaGiacRec", 10}, {"qtaGiacSmalt", 10}}), recSm, W},
        {"stock recovery != disposal", scheda({{"qtaProd", 30}, {"qtaGiacRec", 10}, {"qtaGiacSmalt", 20}}), recSm, {}},
        {"stock = delivered", scheda({{"qtaProd", 100}, {"qtaGiacRec", 50}, {"qtaCons", 50}}, {{2, {{"qtaMod", 50}}}}), giacCons, W},
        {"stock != delivered", scheda({{"qtaProd", 100}, {"qtaGiacRec", 40}, {"qtaCons", 60}}, {{2, {{"qtaMod", 60}}}}), giacCons, {}},
        {"vehicle code with MG", scheda({}, {{4, mg11}}, {}, "160106"), vfu, "W Scheda RIF codice: 160106"},
        {"vehicle code without MG", scheda({{"qtaProd", 1}}, {}, {}, "160106"), vfu, {}},
        {"no activity at all", scheda({}), none, E},
        {"an MG module is enough", scheda({}, {{4, mg11}}), none, {}},
    };
    const QString failures = runCases(f, cases);
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

void TestRulesRif::moduleRules()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString rt1 = "E " + S + " modulo RT n. 1", rt1w = "W " + S + " modulo RT n. 1";
    const QString dr1 = "E " + S + " modulo DR n. 1", dr1w = "W " + S + " modulo DR n. 1";
    const QString mismatch = "E' stata indicata la provenienza estera del rifiuto e un'attività di recupero e/o smaltimento";
    const QString noMan = "E' stata indicata la provenienza estera del rifiuto e il tipo di trattamento nel modulo RT,";
    const QString several = "Si rammenta che qualora, su un rifiuto ricevuto da un fornitore estero, il gestore svolga";
    const QString priv = "Nel modulo RT è stato indicato che i rifiuti provengono da Provati,";
    const QString drAbroad = "La quantità conferita all'estero nell'anno dev'essere uguale alla somma";
    const QString drSeveral = "Si rammenta che laddove il rifiuto conferito all’estero sia destinato a diverse attività";
    const V rec{{"qtaTerzi", 100}, {"qtaRec", 100}};

    const std::vector<RuleCase> cases = {
        {"foreign RT, treatment short", scheda(rec, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 50}}}}), mismatch, rt1},
        {"foreign RT, treatment within 5%", scheda(rec, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 96}}}}), mismatch, {}},
        {"Italian RT, treatment short", scheda(rec, {{1, {{"qtaMod", 100}, {"qtaDep", 50}}}}), mismatch, {}},
        {"foreign RT, treatment, no management", scheda({{"qtaTerzi", 100}}, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 100}}}}), noMan, rt1},
        {"foreign RT, treatment and management", scheda(rec, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 100}}}}), noMan, {}},
        {"foreign RT, two treatments", scheda(rec, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 50}, {"qtaInc", 50}}}}), several, rt1w},
        {"foreign RT, one treatment", scheda(rec, {{1, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 100}}}}), several, {}},
        // RT modules are numbered with the private ones last.
        {"private and foreign", scheda({{"qtaTerzi", 20}}, {{1, {{"Privati", 1}, {"nazID", 5}, {"qtaMod", 10}}}, {1, {{"qtaMod", 10}}}}), priv, "E " + S + " modulo RT n. 2"},
        {"private, Italian", scheda({{"qtaTerzi", 10}}, {{1, {{"Privati", 1}, {"prvIstat", 1}, {"comIstat", 1}, {"qtaMod", 10}}}}), priv, {}},
        {"foreign DR short", scheda({{"qtaProd", 100}, {"qtaCons", 100}}, {{2, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 50}}}}), drAbroad, dr1},
        {"foreign DR balanced", scheda({{"qtaProd", 100}, {"qtaCons", 100}}, {{2, {{"nazID", 5}, {"qtaMod", 100}, {"qta191", 100}}}}), drAbroad, {}},
        {"foreign DR, two activities", scheda({{"qtaProd", 100}, {"qtaCons", 100}}, {{2, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDep", 50}, {"qtaDisc", 50}}}}), drSeveral, dr1w},
        {"foreign DR, one activity", scheda({{"qtaProd", 100}, {"qtaCons", 100}}, {{2, {{"nazID", 5}, {"qtaMod", 100}, {"qtaDisc", 100}}}}), drSeveral, {}},
    };
    const QString failures = runCases(f, cases);
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

void TestRulesRif::mgPlantRules()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString mg1 = "W " + S + " modulo MG n. 1";
    auto mg = [](int plant, std::vector<std::pair<const char *, int>> ops, V extra = {}) {
        extra.insert("Privati", plant);
        std::vector<std::tuple<int, int, const char *, int>> rows;
        for (const auto &[code, q] : ops)
            rows.emplace_back(0, code[0] == 'R' ? 1 : 2, code, q);
        return scheda({{"qtaTerzi", 100}}, {{4, extra}}, rows);
    };
    const QString landfill = "E' stata indicata un'attività di deposito in discarica, ma è stata scelta";
    const QString landNoQ = "E' stata scelta una tipologia di impianto \"Discarica\", ma non è presente la quantità di";
    const QString inc = "E' stata indicata un'attività D10 oppure R1, ma è stata scelta una tipologia";
    const QString chem = "E' stata indicata un'attività D8 oppure D9 oppure D14, ma è stata scelta una tipologia";
    const QString mat = "E' stata indicata un'attività da R2 a R9, ma è stata scelta una tipologia di impianto";
    const QString r13 = "E' stata indicata un'attività R13, ma è stata scelta una tipologia di impianto";
    const QString noPlant = "Nella scheda MG non è stata valorizzata la tipologia impianto.";
    const QString r10 = "E' stata indicata come unica attività R10 ed è presente la tipologia impianto nel modulo MG.";
    const QString stock = "E' stata indicata una quantità in giacenza del gestore,";
    const QString d10 = "E' stata scelta una tipologia di impianto \"Inceneritore\",";
    const QString r1 = "E' stata scelta una tipologia di impianto \"Coinceneritore\",";
    const QString r3 = "E' stata scelta una tipologia \"Impianto di compostaggio\" o \"Impianto di digestione anaerobica\"";
    const QString r12 = "E' presente una quantità in R12 ma è stata scelta una tipologia diversa da ";
    const QString noR12 = "E' stata scelta una tipologia \"Impianto di trattamento preliminare al recupero da R1 a R11\",";
    const QString twice = "Sono state compilate più schede MG con la stessa tipologia impianto.";

    const std::vector<RuleCase> cases = {
        {"landfill in reserve plant", mg(11, {{"R13", 10}}, {{"qtaDep", 10}, {"discDep", 7}}), landfill, mg1},
        {"landfill in landfill plant", mg(1, {{"D1", 10}}, {{"qtaDep", 10}, {"discDep", 7}}), landfill, {}},
        {"landfill plant without landfill", mg(1, {{"D15", 10}}), landNoQ, mg1},
        {"landfill plant with art. 191 landfill", mg(1, {{"D1", 10}}, {{"qta191", 10}, {"disc191", 6}}), landNoQ, {}},
        {"R1 in material recovery", mg(13, {{"R1", 10}}), inc, mg1},
        {"R1 in co-incinerator", mg(3, {{"R1", 10}}), inc, {}},
        {"D9 without plant type", mg(0, {{"D9", 10}}), chem, mg1},
        {"D9 in chemical-physical plant", mg(6, {{"D9", 10}}), chem, {}},
        {"D14 in urban mechanical plant", mg(8, {{"D14", 10}}), chem, {}},
        {"R4 in reserve plant", mg(11, {{"R4", 10}}), mat, mg1},
        {"R3 in digestion plant", mg(5, {{"R3", 10}}), mat, {}},
        {"R13 in preliminary plant", mg(9, {{"R13", 10}, {"R12", 1}}), r13, mg1},
        {"R13 in material recovery", mg(13, {{"R13", 10}}), r13, {}},
        {"no plant type", mg(0, {{"R13", 10}}), noPlant, mg1},
        {"plant type given", mg(11, {{"R13", 10}}), noPlant, {}},
        {"only R10 with plant", mg(13, {{"R10", 10}}), r10, mg1},
        {"R10 and R13 with plant", mg(13, {{"R10", 10}, {"R13", 5}}), r10, {}},
        {"only R10 without plant", mg(0, {{"R10", 10}}), r10, {}},
        {"stock without activity", mg(11, {}, {{"qtaMod", 10}}), stock, mg1},
        {"stock with activity", mg(11, {{"R13", 10}}, {{"qtaMod", 10}}), stock, {}},
        {"incinerator without D10", mg(12, {{"D15", 10}}), d10, mg1},
        {"incinerator with D10", mg(12, {{"D10", 10}}), d10, {}},
        {"co-incinerator without R1", mg(3, {{"R13", 10}}), r1, mg1},
        {"co-incinerator with R1", mg(3, {{"R1", 10}}), r1, {}},
        {"composting without R3", mg(4, {{"R13", 10}}), r3, mg1},
        {"integrated plant with R3", mg(7, {{"R3", 10}}), r3, {}},
        {"R12 in reserve plant", mg(11, {{"R12", 10}}), r12, mg1},
        {"R12 in preliminary plant", mg(9, {{"R12", 10}}), r12, {}},
        {"preliminary plant without R12", mg(9, {{"R13", 10}}), noR12, mg1},
        {"preliminary plant with R12", mg(9, {{"R12", 10}}), noR12, {}},
        {"two MG with the same plant",
         scheda({{"qtaTerzi", 100}}, {{4, {{"Privati", 11}}}, {4, {{"Privati", 11}}}}, {{0, 1, "R13", 50}, {1, 1, "R13", 50}}),
         twice, "W " + S},
        {"two MG with different plants",
         scheda({{"qtaTerzi", 100}}, {{4, {{"Privati", 11}}}, {4, {{"Privati", 13}}}}, {{0, 1, "R13", 50}, {1, 1, "R13", 50}}),
         twice, {}},
    };
    const QString failures = runCases(f, cases);
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

QTEST_GUILESS_MAIN(TestRulesRif)
#include "tst_rules_rif.moc"
