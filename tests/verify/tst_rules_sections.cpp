// Rule groups INT, IMB, VFU, RAEE, SA-AUT and MAT: each remark triggered by
// a declaration built here, and not given by a close variant of it.

#include "fixture.h"

#include <QTest>

namespace {
using V = QVariantMap;
using Build = std::function<void(Fixture &, qint64)>;

struct Row { int pos; const char *code; int kg; };
struct Mod { int tipo; const char *code; V v; };
struct Op { int mod; int pos; const char *code; int kg; };

struct Tables { const char *sez, *key, *rows, *mods, *modKey, *ops; };
const Tables Imb{"SezImb", "siID", "RecImb", "ModImb", "mbID", "RecModImb"};
const Tables Vfu{"SezVfu", "vfuID", "RecVfu", "ModVfu", "mvID", "RecModVfu"};
const Tables Raee{"SezRaee", "srID", "RecRaee", "ModRaee", "msrID", "RecModRaee"};

Build stream(const Tables &t, V scheda, std::vector<Row> rows = {}, std::vector<Mod> mods = {},
             std::vector<Op> ops = {})
{
    return [=](Fixture &f, qint64 sa) {
        V v = Fixture::qty(scheda);
        v.insert("saID", sa);
        const qint64 id = f.insert(t.sez, v);
        for (const Row &r : rows)
            f.insert(t.rows, {{t.key, id}, {"Posizione", r.pos}, {"rifCod", r.code},
                              {"qta", Fixture::kg(r.kg)}, {"umi", 1}});
        std::vector<qint64> ids;
        for (const Mod &m : mods) {
            V mv = Fixture::qty(m.v);
            mv.insert(t.key, id);
            mv.insert("tipoMod", m.tipo);
            mv.insert("rifCod", m.code);
            ids.push_back(f.insert(t.mods, mv));
        }
        for (const Op &o : ops)
            f.insert(t.ops, {{t.modKey, ids[size_t(o.mod)]}, {"Posizione", o.pos}, {"Codice", o.code},
                             {"qta", Fixture::kg(o.kg)}, {"umi", 1}});
    };
}

Build all(std::vector<Build> parts)
{
    return [=](Fixture &f, qint64 sa) {
        for (const Build &b : parts)
            b(f, sa);
    };
}

// A scheda RIF with one MG module and its operation rows.
Build rifMG(std::vector<std::pair<const char *, int>> ops, V mg = {{"Privati", 11}}, V sch = {{"qtaTerzi", 100}})
{
    return [=](Fixture &f, qint64 sa) {
        const qint64 r = f.rif(sa, "170405", sch);
        const qint64 m = f.modRif(r, 4, mg);
        for (const auto &[code, q] : ops)
            f.opRif(m, code[0] == 'R' ? 1 : 2, code, q);
    };
}

// A complete authorisation (R13) with the overrides given.
Build aut(V over = {})
{
    return [=](Fixture &f, qint64 sa) {
        V v{{"saID", sa}, {"suEstremi", "AUT-1"}, {"suDataRil", "2015-03-01"}, {"suDataScad", "2025-03-01"},
            {"suEnte", 1}, {"suTipo", 1}, {"suRecupero", "0000000000001"}, {"suSmaltimento", ""}};
        for (auto it = over.begin(); it != over.end(); ++it)
            v.insert(it.key(), it.value());
        f.insert("SaAut", v);
    };
}

Build setMat(const char *column, int kgWhole)
{
    return [=](Fixture &f, qint64 sa) {
        const QString unit = QString::fromLatin1(column).replace("msQta", "msUmi");
        f.db->execute(QStringLiteral("UPDATE SezAnag SET %1 = ?, %2 = 1 WHERE (saID = ?)")
                          .arg(QLatin1String(column), unit),
                      {Fixture::kg(kgWhole), sa});
    };
}
} // namespace

class TestRulesSections : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void intermediation();
    void packaging();
    void vehicles();
    void electrical();
    void authorisations();
    void materials();
};

void TestRulesSections::intermediation()
{
    Fixture f;
    QVERIFY(f.ok());
    auto scheda = [](int qta, int uo, int ud) {
        return [=](Fixture &f, qint64 sa) {
            const qint64 id = f.insert("SezInt", Fixture::qty({{"saID", sa}, {"rifCod", "170405"}, {"intQta", qta}}));
            f.insert("ModInt", Fixture::qty({{"intID", id}, {"tipoMod", 1}, {"qtaMod", uo}}));
            f.insert("ModInt", Fixture::qty({{"intID", id}, {"tipoMod", 2}, {"qtaMod", ud}}));
        };
    };
    const QString first = "La quantità complessivamente intermediata deve essere uguale";
    const QString S = "E Scheda INT codice: 170405";
    const QString failures = runCases(f, {
        {"UD short", scheda(100, 100, 50), first, S},
        {"UO short", scheda(100, 50, 100), first, S},
        {"both within 5%", scheda(100, 96, 104), first, {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));

    const qint64 sa = f.declaration("LINE");
    scheda(4000, 4000, 2000)(f, sa);
    const QString sp(11, u' ');
    QCOMPARE(Fixture::block(f.runOne(sa).lines, first),
             (QStringList{"**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!",
                          "---------> Scheda INT codice: 170405", sp + first,
                          sp + "alla somma delle quantità riportate nei moduli UO e",
                          sp + "alla somma delle quantità riportate nei moduli UD.",
                          sp + "Somma UO: 4 t - Somma UD: 2 t - q.ta commerc.: 4 t", sp}));
}

void TestRulesSections::packaging()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString S = "Scheda IMB codice rifiuto: 150101";
    const QString noMan = "La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione";
    const QString foreign = "E’ stata indicata la provenienza estera del rifiuto";
    const QString prod = "E' stato indicato un rifiuto prodotto con codice non compatibile";
    const QString rec = "E' stato indicato un rifiuto ricevuto con codice non compatibile con gli imballaggi.";
    const QString zero = "La quantità in origine (ricevuto + prodotto) è ZERO,";
    const QString pub = "La quantità ricevuta da terzi da superficie pubblica dev'essere uguale";
    const QString priv = "La quantità ricevuta da terzi da superficie privata dev'essere uguale";
    const QString dr = "La quantità del rifiuto consegnato a terzi della scheda dev'essere uguale";
    const QString none = "Dev'essere indicata almeno una tra le attività di origine e destinazione del rifiuto,";
    const QString multiRows = "Non è stata indicata un’attività di trattamento imballaggi multimateriale,";
    const QString multiAct = "E’ stata indicata un’attività di trattamento imballaggi multimateriale,";
    const V rtPub{{"mbFlag", 0}, {"qtaMod", 100}};
    const Mod mgImb{4, "150101", {}};
    const std::vector<Op> mgOp{{1, 1, "R3", 100}};

    const QString failures = runCases(f, {
        {"received, nothing done", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", rtPub}}), noMan, "E " + S},
        {"received and managed", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", rtPub}, mgImb}, mgOp), noMan, {}},
        {"foreign RT-IMB without treatment", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", {{"mbFlag", 0}, {"qtaMod", 100}, {"nazID", 5}}}}),
         foreign, "W " + S + " modulo RT-IMB n. 1"},
        {"foreign RT-IMB with treatment", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", {{"mbFlag", 0}, {"qtaMod", 100}, {"nazID", 5}, {"discDep", 2}}}}),
         foreign, {}},
        {"produced 160103", stream(Imb, {}, {{3, "160103", 10}}), prod, "W Scheda IMB codice rifiuto: 160103"},
        {"produced 191204", stream(Imb, {}, {{3, "191204", 10}}), prod, {}},
        {"received 160103", stream(Imb, {}, {{2, "160103", 10}}), rec, "W Scheda IMB codice rifiuto: 160103"},
        {"received 170405", stream(Imb, {}, {{2, "170405", 10}}), rec, {}},
        {"delivered from nothing", stream(Imb, {{"qtaTerzi", 10}}, {}, {{2, "150101", {{"qtaMod", 10}}}}), zero + "|mentre la quantità conferita", "W " + S},
        {"treated from nothing", stream(Imb, {}, {}, {{4, "150101", {}}}, {{0, 1, "R3", 10}}), zero + "|mentre la somma", "W " + S},
        {"carried from nothing", stream(Imb, {}, {}, {{3, "150101", {}}}), zero + "|la quantità trasportata", "W " + S},
        {"delivered from production", stream(Imb, {{"qtaTerzi", 10}}, {{3, "150101", 10}}, {{2, "150101", {{"qtaMod", 10}}}}), zero + "|mentre la quantità conferita", {}},
        {"public short", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", {{"mbFlag", 0}, {"qtaMod", 50}}}, mgImb}, mgOp), pub, "E " + S},
        {"public balanced", stream(Imb, {}, {{1, "150101", 100}}, {{1, "150101", rtPub}, mgImb}, mgOp), pub, {}},
        {"private on public modules", stream(Imb, {}, {{2, "150101", 100}}, {{1, "150101", rtPub}, mgImb}, mgOp), priv, "E " + S},
        {"private balanced", stream(Imb, {}, {{2, "150101", 100}}, {{1, "150101", {{"mbFlag", 1}, {"qtaMod", 100}}}, mgImb}, mgOp), priv, {}},
        {"delivered short", stream(Imb, {{"qtaTerzi", 100}}, {{3, "150101", 100}}, {{2, "150101", {{"qtaMod", 50}}}}), dr, "E Scheda IMB"},
        {"delivered balanced", stream(Imb, {{"qtaTerzi", 100}}, {{3, "150101", 100}}, {{2, "150101", {{"qtaMod", 100}}}}), dr, {}},
        {"code with carriers only", stream(Imb, {}, {}, {{3, "150101", {}}}), none, "W " + S},
        {"code delivered", stream(Imb, {{"qtaTerzi", 10}}, {}, {{2, "150101", {{"qtaMod", 10}}}}), none, {}},
        {"multi-material rows, no activity", stream(Imb, {}, {{4, "150106", 10}}), multiRows, "W Scheda IMB"},
        {"multi-material rows and activity", stream(Imb, {}, {{4, "150106", 10}}, {{4, "150106", {{"mbFlag", 1}}}}, {{0, 1, "R3", 10}}), multiRows, {}},
        {"multi-material activity, no rows", stream(Imb, {}, {{3, "150106", 10}}, {{4, "150106", {{"mbFlag", 1}}}}, {{0, 1, "R3", 10}}), multiAct, "W Scheda IMB"},
        {"single-material activity", stream(Imb, {}, {{3, "150106", 10}}, {{4, "150106", {}}}, {{0, 1, "R3", 10}}), multiAct, {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

void TestRulesSections::vehicles()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString S = "Scheda AUT";
    const QString dr = "la quantità del rifiuto consegnato a terzi della scheda,";
    const QString dis = "la quantità a smaltimento svolta presso terzi indicata in";
    const QString mat = "la quantità a recupero di materia svolta presso terzi indicata in";
    const QString ene = "la quantità a recupero di energia svolta presso terzi indicata in";
    const QString zero = "la quantità in origine (ricevuto + prodotto) è ZERO";
    const QString noDest = "La somma delle quantità in origine (ricevuto + prodotto) è DIVERSA DA ZERO,";
    const QString allZero = "La somma delle quantità in origine, destinazione,";
    const QString noOrig = "La somma delle quantità in origine (ricevuto + prodotto) è ZERO,";
    const QString noSum = "La somma delle quantità in riepilogo attività";
    const QString foreign = "E’ stata indicata la provenienza estera del rifiuto e non è stato specificato";
    const QString z104 = "Per il CER 160104 la quantità ricevuta è ZERO.";
    const QString split = "la quantità specificata è diversa dalla somma delle quantità";
    const QString rt = "la quantità ricevuta da terzi dev'essere uguale";
    const QString noMan = "La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione";
    const QString drSplit = "la quantità conferita nell'anno dev'essere uguale alla somma";
    const V aut{{"vfuTipo", 1}};
    auto with = [&](V extra) { V v = aut; for (auto it = extra.begin(); it != extra.end(); ++it) v.insert(it.key(), it.value()); return v; };
    const std::vector<Row> received{{1, "160106", 100}};
    const Mod rt100{1, "160106", {{"qtaMod", 100}}};
    const Mod dr100{2, "160106", {{"qtaMod", 100}}};

    const QString failures = runCases(f, {
        {"delivered short", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, {2, "160106", {{"qtaMod", 50}}}}), dr, "W " + S},
        {"delivered balanced", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, dr100}), dr, {}},
        {"disposal against D rows", stream(Vfu, with({{"qtaSmalt", 100}}), received, {rt100, dr100}, {{1, 2, "D15", 50}}), dis, "W " + S},
        {"disposal balanced", stream(Vfu, with({{"qtaSmalt", 100}}), received, {rt100, dr100}, {{1, 2, "D15", 100}}), dis, {}},
        {"material against R1", stream(Vfu, with({{"qtaRecMat", 100}}), received, {rt100, dr100}, {{1, 1, "R1", 100}}), mat, "W " + S},
        {"material against R4", stream(Vfu, with({{"qtaRecMat", 100}}), received, {rt100, dr100}, {{1, 1, "R4", 100}}), mat, {}},
        {"energy against R4", stream(Vfu, with({{"qtaRecEner", 100}}), received, {rt100, dr100}, {{1, 1, "R4", 100}}), ene, "W " + S},
        {"energy against R1", stream(Vfu, with({{"qtaRecEner", 100}}), received, {rt100, dr100}, {{1, 1, "R1", 100}}), ene, {}},
        {"delivered from nothing", stream(Vfu, with({{"qtaTerzi", 10}}), {}, {{2, "160106", {{"qtaMod", 10}}}}), zero + "|mentre la quantità conferita", "W " + S},
        {"delivered from received", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, dr100}), zero + "|mentre la quantità conferita", {}},
        {"treated from nothing", stream(Vfu, aut, {}, {{4, "160106", {}}}, {{0, 1, "R4", 10}}), zero + "|mentre la somma", "W " + S},
        {"treated from received", stream(Vfu, aut, received, {rt100, {4, "160106", {}}}, {{1, 1, "R4", 100}}), zero + "|mentre la somma", {}},
        {"origin, nothing after", stream(Vfu, aut, received, {rt100}), noDest, "W " + S},
        {"origin and stock", stream(Vfu, with({{"qtaGiac", 100}}), received, {rt100}), noDest, {}},
        {"all zero", stream(Vfu, aut), allZero, "E " + S},
        {"a row is enough", stream(Vfu, aut, {{2, "160117", 1}}), allZero, {}},
        {"stock without origin", stream(Vfu, with({{"qtaGiac", 10}})), noOrig, "W " + S},
        {"stock with origin", stream(Vfu, with({{"qtaGiac", 10}}), {{2, "160117", 10}}), noOrig, {}},
        {"no summary", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, dr100}), noSum, "W " + S},
        {"summary given", stream(Vfu, with({{"qtaTerzi", 100}, {"qtaProprio", 100}}), received, {rt100, dr100}), noSum, {}},
        {"foreign RT-VEIC without treatment", stream(Vfu, aut, {{1, "160104", 100}}, {{1, "160104", {{"qtaMod", 100}, {"nazID", 5}}}}),
         foreign, "E Scheda AUT codice rifiuto: 160104 modulo RT-VEIC n. 1"},
        {"foreign RT-VEIC with treatment", stream(Vfu, aut, {{1, "160104", 100}}, {{1, "160104", {{"qtaMod", 100}, {"nazID", 5}, {"qtaDep", 100}}}}), foreign, {}},
        {"160104 received zero", stream(Vfu, aut, {{1, "160104", 0}}), z104, "W " + S},
        {"160104 received", stream(Vfu, aut, {{1, "160104", 10}}, {{1, "160104", {{"qtaMod", 10}}}}), z104, {}},
        {"1980 split short", stream(Vfu, with({{"qta104", 100}, {"qtaPre80", 50}, {"qtaPost80", 40}})), split, "E " + S},
        {"1980 split balanced", stream(Vfu, with({{"qta104", 100}, {"qtaPre80", 50}, {"qtaPost80", 50}})), split, {}},
        // FRA keeps its shredder fluff in qtaPost80 and has no split to check.
        {"FRA fluff is no split", stream(Vfu, {{"vfuTipo", 3}, {"qtaPost80", 40}}), split, {}},
        {"RT-VEIC short", stream(Vfu, aut, received, {{1, "160106", {{"qtaMod", 50}}}}), rt, "E Scheda AUT codice rifiuto: 160106"},
        {"RT-VEIC balanced", stream(Vfu, aut, received, {rt100}), rt, {}},
        {"received, nothing done", stream(Vfu, aut, received, {rt100}), noMan, "E Scheda AUT codice rifiuto: 160106"},
        {"received and managed", stream(Vfu, aut, received, {rt100, {4, "160106", {}}}, {{1, 1, "R4", 100}}), noMan, {}},
        {"DR-VEIC split short", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, dr100}, {{1, 1, "R4", 50}}), drSplit,
         "W Scheda AUT codice rifiuto: 160106 modulo DR-VEIC n. 1"},
        {"DR-VEIC split balanced", stream(Vfu, with({{"qtaTerzi", 100}}), received, {rt100, dr100}, {{1, 1, "R4", 100}}), drSplit, {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

void TestRulesSections::electrical()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString S = "Scheda TRA-RAEE";
    const QString foreign = "E’ stata indicata la provenienza estera del rifiuto e non è stato specificato";
    const QString drSplit = "la quantità conferita nell'anno dev'essere uguale alla somma";
    const QString rt = "La quantità ricevuta da terzi dev'essere uguale";
    const QString zero = "la quantità in origine (ricevuto + prodotto) è ZERO";
    const QString noMan = "La quantità ricevuta è > 0, ma non è stata dichiarata nessuna attività di gestione";
    const QString allZero = "La somma delle quantità in origine, destinazione e dei moduli MG-RAEE è ZERO.";
    const QString noOrig = "La somma delle quantità in origine (ricevuto + prodotto) è ZERO,";
    const QString noDest = "La somma delle quantità in origine (ricevuto + prodotto) è DIVERSA DA ZERO,";
    const QString dr = "la quantità del rifiuto consegnato a terzi della scheda,";
    const V tra{{"srTipo", 1}, {"srRAEE", 1}};
    const std::vector<Row> received{{1, "200135", 100}};
    const Mod rt100{1, "200135", {{"qtaMod", 100}}};
    const Mod mg{4, "200135", {}};
    const std::vector<Op> mgOp{{1, 1, "R4", 100}};

    QString failures = runCases(f, {
        {"foreign RT-RAEE without treatment", stream(Raee, tra, received, {{1, "200135", {{"qtaMod", 100}, {"nazID", 5}}}, mg}, mgOp),
         foreign, "E Scheda TRA-RAEE codice rifiuto: 200135 modulo RT-RAEE n. 1"},
        {"foreign RT-RAEE with treatment", stream(Raee, tra, received, {{1, "200135", {{"qtaMod", 100}, {"nazID", 5}, {"qtaSmalt", 100}}}, mg}, mgOp), foreign, {}},
        {"DR-RAEE split short", stream(Raee, tra, {{1, "200135", 100}, {3, "200135", 100}}, {rt100, {2, "200135", {{"qtaMod", 100}}}}, {{1, 1, "R4", 40}}),
         drSplit, "W Scheda TRA-RAEE codice rifiuto: 200135 modulo DR-RAEE n. 1"},
        {"DR-RAEE split balanced", stream(Raee, tra, {{1, "200135", 100}, {3, "200135", 100}}, {rt100, {2, "200135", {{"qtaMod", 100}}}}, {{1, 1, "R4", 100}}), drSplit, {}},
        {"RT-RAEE short", stream(Raee, tra, received, {{1, "200135", {{"qtaMod", 10}}}, mg}, mgOp), rt, "E Scheda TRA-RAEE codice rifiuto: 200135"},
        {"RT-RAEE balanced", stream(Raee, tra, received, {rt100, mg}, mgOp), rt, {}},
        {"treated from nothing", stream(Raee, tra, {}, {mg}, {{0, 1, "R4", 10}}), zero, "W " + S},
        {"treated from received", stream(Raee, tra, received, {rt100, mg}, mgOp), zero, {}},
        {"received, nothing done", stream(Raee, tra, received, {rt100}), noMan, "E Scheda TRA-RAEE codice rifiuto: 200135"},
        {"received and managed", stream(Raee, tra, received, {rt100, mg}, mgOp), noMan, {}},
        {"all zero", stream(Raee, tra), allZero, "E " + S},
        {"stock only", stream(Raee, {{"srTipo", 1}, {"qtaGiac", 5}}), allZero, {}},
        {"delivered without origin", stream(Raee, tra, {{3, "200135", 10}}, {{2, "200135", {{"qtaMod", 10}}}}), noOrig, "W " + S},
        {"delivered with origin", stream(Raee, tra, {{2, "200135", 10}, {3, "200135", 10}}, {{2, "200135", {{"qtaMod", 10}}}}), noOrig, {}},
        {"origin, nothing after", stream(Raee, tra, {{2, "200135", 10}}), noDest, "W " + S},
        {"origin and stock", stream(Raee, {{"srTipo", 1}, {"qtaGiac", 10}}, {{2, "200135", 10}}), noDest, {}},
        {"delivered short", stream(Raee, tra, {{2, "200135", 100}, {3, "200135", 100}}, {{2, "200135", {{"qtaMod", 50}}}}), dr, "W " + S},
        {"delivered balanced", stream(Raee, tra, {{2, "200135", 100}, {3, "200135", 100}}, {{2, "200135", {{"qtaMod", 100}}}}), dr, {}},
        {"same code on TRA and CR",
         all({stream(Raee, {{"srTipo", 1}, {"qtaGiac", 10}}, {{2, "200135", 10}}), stream(Raee, {{"srTipo", 2}, {"qtaGiac", 10}}, {{2, "200135", 10}})}),
         "Il codice CER 200135 è presente sia nella scheda TRA che nella scheda CR.", "W Scheda TRA-RAEE e scheda CR-RAEE"},
        {"different codes on TRA and CR",
         all({stream(Raee, {{"srTipo", 1}, {"qtaGiac", 10}}, {{2, "200135", 10}}), stream(Raee, {{"srTipo", 2}, {"qtaGiac", 10}}, {{2, "200136", 10}})}),
         "Il codice CER 200135 è presente sia nella scheda TRA che nella scheda CR.", {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));

    // The balance remark ends with its comparison line.
    const qint64 sa = f.declaration("LINE");
    stream(Raee, tra, {{2, "200135", 3000}, {3, "200135", 3000}}, {{2, "200135", {{"qtaMod", 1500}}}})(f, sa);
    const QString sp(11, u' ');
    QCOMPARE(Fixture::block(f.runOne(sa).lines, dr),
             (QStringList{"ATTENZIONE Il dato va verificato al fine di essere sicuri della sua correttezza!",
                          "---------> Scheda TRA-RAEE", sp + dr, sp + "dev'essere uguale alla somma delle quantità",
                          sp + "di tutti i moduli DR_RAEE allegati alla stessa.",
                          sp + "Somma DR-RAEE: 1.500 Kg - Quantità consegnata: 3.000 Kg", sp}));
}

void TestRulesSections::authorisations()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString S = "Scheda SA-AUT";
    const QString E = "E " + S, W = "W " + S;
    const Build mg13 = rifMG({{"R13", 100}});
    auto with = [&](V over, Build more = {}) { return all({mg13, aut(over), more ? more : Build([](Fixture &, qint64) {})}); };
    const Build vfuScheda = stream(Vfu, {{"vfuTipo", 1}, {"qtaGiac", 1}}, {{2, "160117", 1}});
    const Build traScheda = stream(Raee, {{"srTipo", 1}, {"qtaGiac", 1}}, {{2, "200135", 1}});

    const QString failures = runCases(f, {
        {"incomplete", with({{"suEstremi", ""}}), "La scheda SA-AUT risulta incompleta.", E},
        {"no operations", with({{"suRecupero", "0000"}}), "La scheda SA-AUT risulta incompleta.", E},
        {"complete", with({}), "La scheda SA-AUT risulta incompleta.", {}},
        {"no issuer", with({{"suEnte", 0}}), "Nella scheda SA-AUT non è stato indicato l'ente che ha rilasciato l'autorizzazione.", W},
        {"issuer", with({}), "Nella scheda SA-AUT non è stato indicato l'ente che ha rilasciato l'autorizzazione.", {}},
        {"expired 31/12 of the year before", with({{"suDataScad", "2018-12-31"}}), "Nella scheda SA-AUT la data di scadenza è antecedente all'anno di riferimento.", W},
        {"expiring 1/1 of the year", with({{"suDataScad", "2019-01-01"}}), "Nella scheda SA-AUT la data di scadenza è antecedente all'anno di riferimento.", {}},
        {"issued the year after", with({{"suDataRil", "2020-01-01"}}), "Nella scheda SA-AUT la data di rilascio è successiva all'anno di riferimento.", W},
        {"issued 31/12 of the year", with({{"suDataRil", "2019-12-31"}}), "Nella scheda SA-AUT la data di rilascio è successiva all'anno di riferimento.", {}},
        {"incineration without capacity", with({{"Incenerimento", 1}}), "Nella scheda SA-AUT è stata indicata un'attività di incenerimento,", W},
        {"incineration with capacity", with({{"Incenerimento", 1}, {"incQta", 1000}}), "Nella scheda SA-AUT è stata indicata un'attività di incenerimento,", {}},
        {"co-incineration without capacity", with({{"Coincenerimento", 1}}), "Nella scheda SA-AUT è stata indicata un'attività di coincenerimento,", W},
        {"co-incineration with capacity", with({{"Coincenerimento", 1}, {"conQta", 1000}}), "Nella scheda SA-AUT è stata indicata un'attività di coincenerimento,", {}},
        {"every operation", with({{"suRecupero", "1111111111111"}, {"suSmaltimento", "111111111111111"}}),
         "Nella scheda SA-AUT sono state indicate tutte le operazioni di recupero e di smaltimento autorizzate.", E},
        {"all but D15", with({{"suRecupero", "1111111111111"}, {"suSmaltimento", "111111111111110"}}),
         "Nella scheda SA-AUT sono state indicate tutte le operazioni di recupero e di smaltimento autorizzate.", {}},
        {"VFU plant without VFU", with({{"suVFU", 1}}), "Nella scheda SA-AUT è stato indicato un impianto di gestione di VFU", W},
        {"VFU plant with VFU", with({{"suVFU", 1}}, vfuScheda), "Nella scheda SA-AUT è stato indicato un impianto di gestione di VFU", {}},
        {"RAEE plant with CR only", with({{"suRAEE", 1}}, stream(Raee, {{"srTipo", 2}, {"qtaGiac", 1}}, {{2, "200135", 1}})),
         "Nella scheda SA-AUT è stato indicato un impianto di gestione di RAEE", W},
        {"RAEE plant with TRA", with({{"suRAEE", 1}}, traScheda), "Nella scheda SA-AUT è stato indicato un impianto di gestione di RAEE", {}},
        {"landfill data, no landfilling", with({{"crClass1", 7}, {"suSmaltimento", "1"}}),
         "Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,|ma non è presente alcuna", W},
        {"landfill data and landfilling", all({rifMG({{"D1", 10}}, {{"Privati", 1}, {"qtaDep", 10}, {"discDep", 7}}), aut({{"crClass1", 7}, {"suSmaltimento", "1"}})}),
         "Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,|ma non è presente alcuna", {}},
        {"no authorised quantity", with({}), "Nella scheda SA-AUT non è stata indicata la quantità", W},
        {"residual capacity given", with({{"crQta1", 500}}), "Nella scheda SA-AUT non è stata indicata la quantità", {}},
        {"authorisation without MG", all({[](Fixture &f, qint64 sa) { f.rif(sa, "170405", {{"qtaProd", 1}, {"qtaCons", 1}}); }, aut()}),
         "E' stata valorizzata la scheda SA-AUT e non è stato compilato nessun modulo MG.", W},
        {"authorisation with MG", with({}), "E' stata valorizzata la scheda SA-AUT e non è stato compilato nessun modulo MG.", {}},
        {"incinerator, no R1/D10 in MG", with({{"Incenerimento", 1}}), "Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento", W},
        {"incinerator, D10 in MG", all({rifMG({{"D10", 10}}), aut({{"Incenerimento", 1}})}), "Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento", {}},
        {"incinerator, R1/D10 not authorised", with({{"Coincenerimento", 1}}), "Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento,", W},
        {"incinerator, D10 authorised", with({{"Coincenerimento", 1}, {"suSmaltimento", "0000000001"}}), "Nella scheda SA-AUT è stato indicato un impianto di incenerimento/coincenerimento,", {}},
        {"R1 authorised, no incinerator", with({{"suRecupero", "1"}}), "Nella scheda SA-AUT è stata indicata l’attività R1 o D10 tra le operazioni autorizzate,", W},
        {"R1 authorised, co-incinerator", with({{"suRecupero", "1"}, {"Coincenerimento", 1}}), "Nella scheda SA-AUT è stata indicata l’attività R1 o D10 tra le operazioni autorizzate,", {}},
        {"landfill type, no D1/D5/D12", with({{"crClass2", 8}}), "Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,|ma non è presente l’attività", W},
        {"landfill type and D5", with({{"crClass2", 8}, {"suSmaltimento", "00001"}}), "Nella scheda SA-AUT è stata indicata la capacità residua o il tipo di discarica,|ma non è presente l’attività", {}},
        {"D12 without landfill type", with({{"suSmaltimento", "000000000001"}}), "Nella scheda SA-AUT è stata indicata l’attività D1 o D5 o D12 tra le operazioni", W},
        {"D12 with landfill type", with({{"suSmaltimento", "000000000001"}, {"crClass3", 6}}), "Nella scheda SA-AUT è stata indicata l’attività D1 o D5 o D12 tra le operazioni", {}},
        {"VFU without VFU plant", with({}, vfuScheda), "E' stata compilata la Comunicazione VFU, ma nella scheda SA-AUT", W},
        {"VFU with VFU plant", with({{"suVFU", 1}}, vfuScheda), "E' stata compilata la Comunicazione VFU, ma nella scheda SA-AUT", {}},
        {"TRA without RAEE plant", with({}, traScheda), "E' stata compilata la scheda TRA-RAEE ma nella scheda SA-AUT", W},
        {"TRA with RAEE plant", with({{"suRAEE", 1}}, traScheda), "E' stata compilata la scheda TRA-RAEE ma nella scheda SA-AUT", {}},
        {"MG landfilling, no landfill data", all({rifMG({{"D1", 10}}, {{"Privati", 1}, {"qtaDep", 10}, {"discDep", 7}}), aut({{"suSmaltimento", "1"}})}),
         "Nel modulo di gestione MG sono stati valorizzati i campi relativi", E},
        {"MG landfilling with residual capacity", all({rifMG({{"D1", 10}}, {{"Privati", 1}, {"qtaDep", 10}, {"discDep", 7}}), aut({{"suSmaltimento", "1"}, {"crQta1", 100}})}),
         "Nel modulo di gestione MG sono stati valorizzati i campi relativi", {}},
        {"urban collection", with({}, [](Fixture &f, qint64 sa) {
             const qint64 r = f.rif(sa, "200301", {{"qtaTerzi", 10}});
             f.modRif(r, 1, {{"Privati", 1}, {"qtaMod", 10}}); }),
         "Si ricorda che la compilazione della dichiarazione relativa alla raccolta dei rifiuti urbani", E},
        {"urban waste from a company", with({}, [](Fixture &f, qint64 sa) {
             const qint64 r = f.rif(sa, "200301", {{"qtaTerzi", 10}});
             f.modRif(r, 1, {{"qtaMod", 10}}); }),
         "Si ricorda che la compilazione della dichiarazione relativa alla raccolta dei rifiuti urbani", {}},
        {"MG recovery not authorised", with({{"suRecupero", ""}, {"suSmaltimento", "000000000000001"}}),
         "Nei moduli di gestione compilati sono indicate attività di recupero da R1 a R13", W},
        {"MG recovery authorised", with({}), "Nei moduli di gestione compilati sono indicate attività di recupero da R1 a R13", {}},
        {"MG disposal not authorised", all({rifMG({{"D15", 10}}, {{"Privati", 10}}), aut()}),
         "Nei moduli di gestione compilati sono indicate attività di smaltimento da D1 a D15", W},
        {"MG disposal authorised", all({rifMG({{"D15", 10}}, {{"Privati", 10}}), aut({{"suSmaltimento", "000000000000001"}})}),
         "Nei moduli di gestione compilati sono indicate attività di smaltimento da D1 a D15", {}},
        {"MG R1 without incinerator", all({rifMG({{"R1", 10}}, {{"Privati", 3}}), aut({{"suRecupero", "1"}})}),
         "Nel modulo di gestione MG è stata indicata l'attività di R1 o D10, ma nella", W},
        {"MG R1 with co-incinerator", all({rifMG({{"R1", 10}}, {{"Privati", 3}}), aut({{"suRecupero", "1"}, {"Coincenerimento", 1}})}),
         "Nel modulo di gestione MG è stata indicata l'attività di R1 o D10, ma nella", {}},
        {"MG without authorisation", mg13, "Non è stata valorizzata alcuna scheda SA-AUT ed è stato compilato il modulo MG.", E},
        {"MG of a packaging scheda without authorisation", stream(Imb, {}, {{3, "150101", 10}}, {{4, "150101", {}}}, {{0, 1, "R3", 10}}),
         "Non è stata valorizzata alcuna scheda SA-AUT ed è stato compilato il modulo MG.", E},
        {"neither MG nor authorisation", [](Fixture &f, qint64 sa) { f.rif(sa, "170405", {{"qtaProd", 1}, {"qtaCons", 1}}); },
         "Non è stata valorizzata alcuna scheda SA-AUT ed è stato compilato il modulo MG.", {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));

    // The urban-collection remark ends with the site address of the settings file.
    QVERIFY(f.app->writeText("Qor", "SitoRifiutiUrbani", " esempio.invalid/urbani "));
    const qint64 sa = f.declaration("URBANI");
    with({}, [](Fixture &f, qint64 sa) {
        const qint64 r = f.rif(sa, "200301", {{"qtaTerzi", 10}});
        f.modRif(r, 1, {{"Privati", 1}, {"qtaMod", 10}}); })(f, sa);
    const QString first = "Si ricorda che la compilazione della dichiarazione relativa alla raccolta dei rifiuti urbani";
    const QStringList b = Fixture::block(f.runOne(sa).lines, first);
    QVERIFY(b.size() >= 4);
    QCOMPARE(b.at(3), QString(11, u' ') + "va effettuata obbligatoriamente per via telematica tramite il sito esempio.invalid/urbani");
}

void TestRulesSections::materials()
{
    Fixture f;
    QVERIFY(f.ok());
    const QString noRec = "E' stata compilata la scheda MAT, ma non è presente nessun modulo MG con attività";
    const QString dup = "Sono presenti quantità per uno stesso materiale sia nella scheda MAT";
    const Build produced = [](Fixture &f, qint64 sa) { f.rif(sa, "170405", {{"qtaProd", 1}, {"qtaCons", 1}}); };
    const QString failures = runCases(f, {
        {"MAT without recovery", all({setMat("msQta06", 10), produced}), noRec, "E Scheda MAT"},
        {"MAT with disposal only", all({setMat("msQta06", 10), rifMG({{"D15", 10}}, {{"Privati", 10}})}), noRec, "E Scheda MAT"},
        {"MAT with recovery", all({setMat("msQta06", 10), rifMG({{"R13", 10}})}), noRec, {}},
        // Materials are numbered per section: MAT 06 (plastics) is TRA-RAEE 02,
        // MAT 10 (paper) is IMB 04; equal column numbers mean nothing.
        {"MAT and TRA-RAEE, same material", all({setMat("msQta06", 10), rifMG({{"R13", 10}}),
             stream(Raee, {{"srTipo", 1}, {"qtaGiac", 1}, {"msQta02", 5}}, {{2, "200135", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda TRA della",
         "W Scheda MAT e riquadro materiali secondari in scheda TRA-RAEE"},
        {"MAT and TRA-RAEE, same column, other material", all({setMat("msQta06", 10), rifMG({{"R13", 10}}),
             stream(Raee, {{"srTipo", 1}, {"qtaGiac", 1}, {"msQta06", 5}}, {{2, "200135", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda TRA della", {}},
        {"MAT and CR-RAEE, same material", all({setMat("msQta06", 10), rifMG({{"R13", 10}}),
             stream(Raee, {{"srTipo", 2}, {"qtaGiac", 1}, {"msQta02", 5}}, {{2, "200135", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda TRA della", {}},
        {"MAT and IMB, same material", all({setMat("msQta10", 10), rifMG({{"R13", 10}}),
             stream(Imb, {{"msQta04", 3}}, {{3, "150101", 1}}, {{4, "150101", {}}}, {{0, 1, "R3", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda Imballaggi,",
         "W Scheda MAT e riquadro materiali secondari in scheda IMB"},
        {"MAT and IMB, same column, other material", all({setMat("msQta07", 10), rifMG({{"R13", 10}}),
             stream(Imb, {{"msQta07", 3}}, {{3, "150101", 1}}, {{4, "150101", {}}}, {{0, 1, "R3", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda Imballaggi,", {}},
        {"MAT and IMB, material below 06", all({setMat("msQta05", 10), rifMG({{"R13", 10}}),
             stream(Imb, {{"msQta05", 3}}, {{3, "150101", 1}}, {{4, "150101", {}}}, {{0, 1, "R3", 1}})}),
         dup + "|che nel riquadro relativo ai materiali presente nella scheda Imballaggi,", {}},
    });
    QVERIFY2(failures.isEmpty(), qPrintable(failures));
}

QTEST_GUILESS_MAIN(TestRulesSections)
#include "tst_rules_sections.moc"
