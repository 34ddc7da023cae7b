// Scheda RIF and INT with their modules: the save rules in their order with
// their exact texts, persistence and deletion, on a fresh database.

#include "../testdb.h"
#include "sections/anag/sa1.h"
#include "sections/codes.h"
#include "sections/int/int.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"

#include <QSqlQuery>

using fields::Record;

namespace {

qint64 count(dbClass &db, const QString &sql, const QVariantList &p = {})
{
    return db.scalar(sql, p).toLongLong();
}

Record rifScheda(const char *code, qlonglong prodMilli = 1000)
{
    Record r = waste::blank(rif::scheda());
    r.insert(QStringLiteral("rifCod"), QString::fromLatin1(code));
    r.insert(QStringLiteral("sfLiquido"), 1);
    r.insert(QStringLiteral("qtaProd"), prodMilli);
    return r;
}

Record rtItaly(const char *codFisc = "RSSMRA80A01H501U")
{
    Record r = waste::blank(rif::module(codes::RT));
    r.insert(QStringLiteral("CodFisc"), QString::fromLatin1(codFisc));
    r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI MARIO"));
    r.insert(QStringLiteral("prvIstat"), 15);
    r.insert(QStringLiteral("comIstat"), 146);
    r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
    r.insert(QStringLiteral("Cap"), QStringLiteral("20100"));
    r.insert(QStringLiteral("qtaMod"), qlonglong(5000));
    return r;
}

Record rtAbroad(qlonglong received, int unit)
{
    Record r = waste::blank(rif::module(codes::RT));
    r.insert(QStringLiteral("CodFisc"), QStringLiteral("FR12345678901"));
    r.insert(QStringLiteral("RagSoc"), QStringLiteral("DUPONT SA"));
    r.insert(QStringLiteral("estero"), int(waste::SideEstero));
    r.insert(QStringLiteral("nazID"), 215);
    r.insert(QStringLiteral("qtaMod"), received);
    r.insert(QStringLiteral("umiMod"), unit);
    return r;
}

int pos(const waste::ModuleKind &m, const char *name)
{
    return fields::position(m.fields, QString::fromLatin1(name));
}

} // namespace

class TestWaste : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;

    AppContext &ctx() { return *t.ctx; }

    qint64 newScheda(const char *code)
    {
        const qint64 id = waste::save(ctx(), rif::scheda(), saID, 0, rifScheda(code));
        return id;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.db->insertRow(QStringLiteral("SezAnag"),
                               {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
        QVERIFY(saID > 0);
    }
    void init() { t.msg.clear(); }

    void schedaSaveRulesInOrder()
    {
        const waste::SchedaKind &s = rif::scheda();
        Record r = waste::blank(s);
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("rifCod")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto obbligatorio."));

        r.insert(QStringLiteral("rifCod"), QStringLiteral("170101"));
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("sfSolidoP")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, selezionare almeno uno \"STATO FISICO\""));

        // No quantity above zero (a negative one counts as none): the question; No keeps it unsaved.
        r.insert(QStringLiteral("sfAltro"), 1);
        r.insert(QStringLiteral("qtaProd"), qlonglong(-5000));
        t.msg.answer({false});
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("qtaProd")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, nessuna quantità inserita, salvo lo stesso la scheda?"));
        t.msg.answer({true});
        QCOMPARE(waste::saveCheck(ctx(), s, r), -1);

        // Any quantity above zero, wherever it stands, passes without asking.
        t.msg.clear();
        r.insert(QStringLiteral("qtaSmalt"), qlonglong(1));
        QCOMPARE(waste::saveCheck(ctx(), s, r), -1);
        QVERIFY(t.msg.shown.isEmpty());

        // What the exchange file cannot carry is refused.
        r.insert(QStringLiteral("qtaRec"), qlonglong(10000000000LL));
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("qtaRec")));
        QVERIFY(t.msg.last().contains(QStringLiteral("9.999.999,999")));
    }

    void schedaRoundTripAndOrder()
    {
        const waste::SchedaKind &s = rif::scheda();
        Record r = rifScheda("170405", 1234567);
        r.insert(QStringLiteral("umiProd"), 2);
        r.insert(QStringLiteral("sfFangoso"), 1);
        r.insert(QStringLiteral("qtaGiacSmalt"), qlonglong(9999999999LL));
        const qint64 a = waste::save(ctx(), s, saID, 0, r);
        QVERIFY(a > 0);
        bool found = false;
        const Record back = waste::load(ctx(), s, a, &found);
        QVERIFY(found);
        for (const QString &k : {QStringLiteral("rifCod"), QStringLiteral("qtaProd"), QStringLiteral("umiProd"),
                                 QStringLiteral("sfFangoso"), QStringLiteral("sfLiquido"), QStringLiteral("sfAltro"),
                                 QStringLiteral("qtaGiacSmalt")})
            QCOMPARE(back.value(k).toString(), r.value(k).toString());
        QCOMPARE(t.app->readText(QStringLiteral("Qor"), QStringLiteral("RifID")), QString::number(a));

        // Two schede with one code: listed by key, after lower codes.
        const qint64 b = waste::save(ctx(), s, saID, 0, rifScheda("170405"));
        const qint64 c = waste::save(ctx(), s, saID, 0, rifScheda("010101"));
        const QVector<qint64> ids = waste::ids(ctx(), s, saID);
        QVERIFY(ids.indexOf(c) < ids.indexOf(a));
        QVERIFY(ids.indexOf(a) < ids.indexOf(b));
        const QVector<waste::SchedaRow> l = waste::list(ctx(), s, saID);
        QCOMPARE(l.size(), ids.size());
        QCOMPARE(l.first().code, QStringLiteral("010101"));
        QVERIFY(!l.first().desc.isEmpty());
    }

    void codeEntry()
    {
        const waste::SchedaKind &s = rif::scheda();
        QCOMPARE(waste::codeExit(ctx(), s, saID, 0, QStringLiteral("999999")), waste::CodeExit::Refused);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto non trovato: 999999"));
        // A chapter heading is not a waste code one can declare.
        QCOMPARE(waste::codeExit(ctx(), s, saID, 0, QStringLiteral("010000")), waste::CodeExit::Refused);

        const qint64 id = newScheda("020101");
        t.msg.clear();
        t.msg.answer({false});
        QCOMPARE(waste::codeExit(ctx(), s, saID, 0, QStringLiteral("020101")), waste::CodeExit::Abandoned);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, scheda rifiuto già presente,\nvuoi inserirne una nuova?"));
        t.msg.answer({true});
        QCOMPARE(waste::codeExit(ctx(), s, saID, 0, QStringLiteral("020101")), waste::CodeExit::Ok);
        // Editing the scheda that has the code asks nothing.
        t.msg.clear();
        QCOMPARE(waste::codeExit(ctx(), s, saID, id, QStringLiteral("020101")), waste::CodeExit::Ok);
        QVERIFY(t.msg.shown.isEmpty());
    }

    void mgNotices()
    {
        QVERIFY(rif::mgNotice(QStringLiteral("150101")).contains(QStringLiteral("Comunicazione Imballaggi")));
        QVERIFY(rif::mgNotice(QStringLiteral("150109")).startsWith(QStringLiteral("ATTENZIONE:\nsoggetti")));
        QVERIFY(rif::mgNotice(QStringLiteral("150110")).isEmpty());
        QVERIFY(rif::mgNotice(QStringLiteral("160210")).endsWith(QStringLiteral("devono compilare la \"Comunicazione RAEE\"")));
        QVERIFY(!rif::mgNotice(QStringLiteral("160216")).isEmpty());
        QVERIFY(rif::mgNotice(QStringLiteral("160217")).isEmpty());
    }

    void rtRequiredBySide()
    {
        const waste::ModuleKind &m = rif::module(codes::RT);
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        Record r = waste::blank(m);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "CodFisc"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, Codice fiscale richiesto."));
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("RSSMRA80A01H501U"));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "RagSoc"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo nome o ragione sociale richiesto."));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI"));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "prvIstat"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo comune richiesto."));
        r.insert(QStringLiteral("prvIstat"), 15);
        r.insert(QStringLiteral("comIstat"), 146);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "Via"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo via richiesto."));
        r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "qtaMod"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, quantità richiesta."));

        // From abroad the address is not asked, the country is.
        r.insert(QStringLiteral("estero"), int(waste::SideEstero));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "nazID"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, Paese estero richiesto."));

        // Private persons: no tax code or name, the municipality is required.
        Record p = waste::blank(m);
        p.insert(QStringLiteral("Privati"), 1);
        p.insert(QStringLiteral("qtaMod"), qlonglong(1000));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, p).field, pos(m, "prvIstat"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, campo comune richiesto."));
    }

    void rtPostcodeAndRegulationCode()
    {
        const waste::ModuleKind &m = rif::module(codes::RT);
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        Record r = rtItaly();
        r.insert(QStringLiteral("Cap"), QStringLiteral("2010"));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "Cap"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        r.insert(QStringLiteral("Cap"), QString());
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, r).ok());

        Record a = rtAbroad(1000000, 1);
        a.insert(QStringLiteral("RegCE"), QStringLiteral("B9999"));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, a).field, pos(m, "RegCE"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, Codice regolamento (CE) 1013/2006 errato."));
        a.insert(QStringLiteral("RegCE"), QStringLiteral("B1010"));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, a).ok());
    }

    void rtForeignToleranceInKilograms()
    {
        const waste::ModuleKind &m = rif::module(codes::RT);
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        // 1.000 kg received; parts 1,05 t (0,5 t + 550 kg): within 5 %.
        Record r = rtAbroad(1000000, 1);
        r.insert(QStringLiteral("qtaDep"), qlonglong(500));
        r.insert(QStringLiteral("umiDep"), 2);
        r.insert(QStringLiteral("qtaSmalt"), qlonglong(550000));
        r.insert(QStringLiteral("umiSmalt"), 1);
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, r).ok());
        // 1,051 t: refused, cursor on the first treatment quantity.
        r.insert(QStringLiteral("qtaSmalt"), qlonglong(551000));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "qtaDep"));
        QCOMPARE(t.msg.last(), QStringLiteral("La quantità ricevuta dall'estero nell'anno dev'essere uguale alla "
                                              "somma delle quantità relative alle attività di trattamento."));
        // No treatment quantity: a shipment for transport only, nothing to match.
        Record none = rtAbroad(1000000, 1);
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, none).ok());
        // The same parts from Italy are not asked and are written empty.
        r.insert(QStringLiteral("estero"), int(waste::SideItalia));
        r.insert(QStringLiteral("prvIstat"), 15);
        r.insert(QStringLiteral("comIstat"), 146);
        r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, r).ok());
        const qint64 id = waste::save(ctx(), m, rifID, 0, code, r);
        QVERIFY(id > 0);
        QSqlQuery q = t.db->query(QStringLiteral("SELECT qtaSmalt, nazID, Via FROM ModRif WHERE (mrID = ?)"), {id});
        QVERIFY(q.next());
        QVERIFY(q.value(0).isNull());
        QCOMPARE(q.value(1).toInt(), 0);
        QCOMPARE(q.value(2).toString(), QStringLiteral("VIA ROMA"));

        // DR: the same rule with its own text.
        const waste::ModuleKind &dr = rif::module(codes::DR);
        Record d = rtAbroad(1000, 2);
        d.insert(QStringLiteral("qtaDisc"), qlonglong(900000));
        QCOMPARE(waste::saveCheck(ctx(), dr, rifID, 0, code, d).field, pos(dr, "qtaDep"));
        QVERIFY(t.msg.last().startsWith(QStringLiteral("La quantità conferita all'estero nell'anno")));
        d.insert(QStringLiteral("qtaDisc"), qlonglong(950000));
        QVERIFY(waste::saveCheck(ctx(), dr, rifID, 0, code, d).ok());
    }

    void rtFramesByWasteCode()
    {
        const waste::ModuleKind &m = rif::module(codes::RT);
        const qint64 rifID = newScheda("160601");
        Record r = rtItaly();
        r.insert(QStringLiteral("discDep"), 1);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, QStringLiteral("160601"), r).field, pos(m, "disc191"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, specificare almeno un'opzione nell'ultimo riquadro."));
        r.insert(QStringLiteral("disc191"), int(codes::BatteryNo));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, QStringLiteral("160601"), r).ok());
        // Not an urban-origin code: the flag is not kept.
        const qint64 id = waste::save(ctx(), m, rifID, 0, QStringLiteral("160601"), r);
        Record back = waste::load(ctx(), m, id);
        QCOMPARE(back.value(QStringLiteral("discDep")).toInt(), 0);
        QCOMPARE(back.value(QStringLiteral("disc191")).toInt(), int(codes::BatteryNo));
        QVERIFY(waste::fieldEnabled(m, QStringLiteral("191212"), r, QStringLiteral("discDep")));
        QVERIFY(!waste::fieldEnabled(m, QStringLiteral("191212"), r, QStringLiteral("disc191")));
    }

    void rtPrivateModulePerMunicipality()
    {
        const waste::ModuleKind &m = rif::module(codes::RT);
        const qint64 rifID = newScheda("200301");
        const QString code = QStringLiteral("200301");
        const qint64 firm = waste::save(ctx(), m, rifID, 0, code, rtItaly());
        Record p = waste::blank(m);
        p.insert(QStringLiteral("Privati"), 1);
        p.insert(QStringLiteral("CodFisc"), QStringLiteral("SHOULDNOTSTAY"));
        p.insert(QStringLiteral("prvIstat"), 1);
        p.insert(QStringLiteral("comIstat"), 272);
        p.insert(QStringLiteral("qtaMod"), qlonglong(700));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, p).ok());
        const qint64 priv = waste::save(ctx(), m, rifID, 0, code, p);
        QVERIFY(priv > 0);
        QVERIFY(waste::load(ctx(), m, priv).value(QStringLiteral("CodFisc")).toString().isEmpty());
        const qint64 firm2 = waste::save(ctx(), m, rifID, 0, code, rtItaly("BNCLGU70B02F205X"));
        // Listing order: companies first, then private persons.
        QCOMPARE(waste::ids(ctx(), m, rifID), (QVector<qint64>{firm, firm2, priv}));
        QCOMPARE(waste::list(ctx(), m, rifID).last().texts.at(1), waste::privateName());

        QCOMPARE(waste::privateModuleFor(ctx(), m, rifID, 1, 272, 0), priv);
        QCOMPARE(waste::privateModuleFor(ctx(), m, rifID, 1, 272, priv), 0);
        t.msg.clear();
        t.msg.answer({true});
        waste::Check c = waste::saveCheck(ctx(), m, rifID, 0, code, p);
        QCOMPARE(c.moveTo, priv);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, esiste già un modulo \"Privati\" per il comune selezionato.\n"
                                              "Vuoi modificarlo?"));
        t.msg.answer({false});
        c = waste::saveCheck(ctx(), m, rifID, 0, code, p);
        QCOMPARE(c.moveTo, 0);
        QCOMPARE(c.field, pos(m, "prvIstat"));
        // Editing the private module itself is fine.
        QVERIFY(waste::saveCheck(ctx(), m, rifID, priv, code, p).ok());
    }

    void counterpartRegistered()
    {
        const waste::ModuleKind &m = rif::module(codes::TE);
        const qint64 rifID = newScheda("170405");
        t.db->insertRow(QStringLiteral("Ditte"), {{QStringLiteral("CodFisc"), QStringLiteral("01234567890")},
                                                  {QStringLiteral("RagSoc"), QStringLiteral("PRIMO NOME")}});
        Record r = waste::blank(m);
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("01234567890"));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("ALTRO NOME"));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, QStringLiteral("170405"), r).ok());
        QVERIFY(waste::save(ctx(), m, rifID, 0, QStringLiteral("170405"), r) > 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT RagSoc FROM Ditte WHERE (CodFisc = ?)"),
                              {QStringLiteral("01234567890")}).toString(),
                 QStringLiteral("PRIMO NOME"));
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("09876543210"));
        QVERIFY(waste::save(ctx(), m, rifID, 0, QStringLiteral("170405"), r) > 0);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT RagSoc FROM Ditte WHERE (CodFisc = ?)"),
                              {QStringLiteral("09876543210")}).toString(),
                 QStringLiteral("ALTRO NOME"));
        // TE and RE are deleted from their list.
        t.msg.clear();
        QVERIFY(!waste::remove(ctx(), m, waste::ids(ctx(), m, rifID).first()));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino modulo selezionato\nsei sicuro?"));
    }

    void mgChecks()
    {
        const waste::ModuleKind &m = rif::module(codes::MG);
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        const QString head = QStringLiteral("Attenzione,\n");
        Record r = waste::blank(m);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "Privati"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("inserire almeno una quantità."));

        r.insert(QStringLiteral("discDep"), 3); // rifiuti pericolosi
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "qtaDep"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("è stata indicata la classificazione della discarica, ma non la quantità depositata."));
        r.insert(QStringLiteral("discDep"), 0);
        r.insert(QStringLiteral("qtaDep"), qlonglong(1000));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "discDep"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("è stata inserita una quantità in discarica senza indicare la relativa classificazione."));
        r.insert(QStringLiteral("discDep"), 1);
        r.insert(QStringLiteral("qta191"), qlonglong(1));
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "disc191"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("è stata inserita una quantità in discarica art. 191 senza indicare la relativa classificazione."));
        r.insert(QStringLiteral("qta191"), qlonglong(0));
        r.insert(QStringLiteral("disc191"), 2);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "qta191"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("è stata indicata la classificazione della discarica, ma non la quantità depositata."));

        // A module with grid rows only is fine; its rows are written with their grid.
        Record g = waste::blank(m);
        g.insert(QStringLiteral("Privati"), int(codes::PlantRiservaR13));
        const QVector<waste::OpRow> ops = {{codes::GridRecupero, QStringLiteral("R13"), qlonglong(2500), 2},
                                           {codes::GridSmaltimento, QStringLiteral("D15"), qlonglong(10), 1},
                                           {codes::GridSmaltimento191, QString(), QVariant(), 1}};
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, g, ops).ok());
        const qint64 id = waste::save(ctx(), m, rifID, 0, code, g, ops);
        QVERIFY(id > 0);
        QVector<waste::OpRow> back = waste::loadOperations(ctx(), id);
        QCOMPARE(back.size(), 2);
        QCOMPARE(back[0].codice, QStringLiteral("R13"));
        QCOMPARE(back[0].qta.toLongLong(), 2500LL);
        QCOMPARE(back[0].umi, 2);
        QCOMPARE(back[1].posizione, int(codes::GridSmaltimento));
        QCOMPARE(waste::load(ctx(), m, id).value(QStringLiteral("Privati")).toInt(), int(codes::PlantRiservaR13));
        Record l = g;
        l.insert(QStringLiteral("qtaDep"), qlonglong(1));
        l.insert(QStringLiteral("discDep"), 2);
        QCOMPARE(waste::save(ctx(), m, rifID, id, code, l, ops), id);
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT discDep FROM ModRif WHERE (mrID = ?)"), {id}).toInt(),
                 int(codes::LandfillNonPericolosi));
        QCOMPARE(waste::load(ctx(), m, id).value(QStringLiteral("discDep")).toInt(), 2);

        // A saved module emptied: the message suggests deleting it; rows rewritten whole.
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, id, code, g, {}).field, pos(m, "Privati"));
        QCOMPARE(t.msg.last(), head + QStringLiteral("inserire almeno una quantità o eliminare il modulo."));
        // A quantity without its operation would be lost: refused.
        QVERIFY(!waste::saveCheck(ctx(), m, rifID, id, code, g, {{codes::GridRecupero, QString(), qlonglong(5), 1}}).ok());
        QVERIFY(waste::save(ctx(), m, rifID, id, code, g, {ops[1]}) == id);
        QCOMPARE(waste::loadOperations(ctx(), id).size(), 1);
    }

    void reUniqueMunicipalityAndActivity()
    {
        const waste::ModuleKind &m = rif::module(codes::RE);
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        Record r = waste::blank(m);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "prvIstat"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, comune di provenienza del rifiuto richiesto."));
        r.insert(QStringLiteral("prvIstat"), 15);
        r.insert(QStringLiteral("comIstat"), 146);
        r.insert(QStringLiteral("Privati"), 1); // first option on the form: stored as 4
        QCOMPARE(waste::optionCode(m, QStringLiteral("Privati"), 0), 4);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "qtaMod"));
        r.insert(QStringLiteral("qtaMod"), qlonglong(1000));
        const qint64 first = waste::save(ctx(), m, rifID, 0, code, r);
        QVERIFY(first > 0);
        QCOMPARE(waste::saveCheck(ctx(), m, rifID, 0, code, r).field, pos(m, "prvIstat"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, comune ed attività già presente nella lista"));
        QVERIFY(waste::saveCheck(ctx(), m, rifID, first, code, r).ok());
        QCOMPARE(t.db->scalar(QStringLiteral("SELECT Privati FROM ModRif WHERE (mrID = ?)"), {first}).toInt(), 4);
        QCOMPARE(waste::load(ctx(), m, first).value(QStringLiteral("Privati")).toInt(), 1);
        r.insert(QStringLiteral("Privati"), 2);
        QVERIFY(waste::saveCheck(ctx(), m, rifID, 0, code, r).ok());
        QCOMPARE(waste::list(ctx(), m, rifID).first().texts,
                 (QStringList{QStringLiteral("MILANO"), QStringLiteral("MI"),
                              QStringLiteral("cantieri temporanei e mobili (anche di bonifica)"),
                              QStringLiteral("1 Kg")}));
    }

    void deleteSchedaLeavesNothing()
    {
        const qint64 rifID = newScheda("170405");
        const QString code = QStringLiteral("170405");
        QVERIFY(waste::save(ctx(), rif::module(codes::RT), rifID, 0, code, rtItaly()) > 0);
        Record g = waste::blank(rif::module(codes::MG));
        QVERIFY(waste::save(ctx(), rif::module(codes::MG), rifID, 0, code, g,
                            {{codes::GridRecupero, QStringLiteral("R5"), qlonglong(1), 1}}) > 0);
        t.msg.clear();
        t.msg.answer({false});
        QVERIFY(!waste::remove(ctx(), rif::scheda(), rifID));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda RIF e relativi moduli,\nsei sicuro?"));
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM ModRif WHERE (rifID = ?)"), {rifID}), 2);
        t.msg.answer({true});
        QVERIFY(waste::remove(ctx(), rif::scheda(), rifID));
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM SezRif WHERE (rifID = ?)"), {rifID}), 0);
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM ModRif WHERE (rifID = ?)"), {rifID}), 0);
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM RecRif WHERE mrID NOT IN (SELECT mrID FROM ModRif)")), 0);
    }

    void schedaInt()
    {
        const waste::SchedaKind &s = intsec::scheda();
        Record r = waste::blank(s);
        r.insert(QStringLiteral("rifCod"), QStringLiteral("170405"));
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("sfSolidoP")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, selezionare almeno uno \"STATO FISICO\""));
        r.insert(QStringLiteral("sfSolidoNP"), 1);
        QCOMPARE(waste::saveCheck(ctx(), s, r), fields::position(s.fields, QStringLiteral("intQta")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, quantità richiesta."));
        r.insert(QStringLiteral("intQta"), qlonglong(12000));
        QCOMPARE(waste::saveCheck(ctx(), s, r), -1);
        const qint64 intID = waste::save(ctx(), s, saID, 0, r);
        QVERIFY(intID > 0);
        t.msg.answer({true});
        QCOMPARE(waste::codeExit(ctx(), s, saID, 0, QStringLiteral("170405")), waste::CodeExit::Ok);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, scheda INT già presente,\nvuoi inserirne una nuova?"));

        const waste::ModuleKind &ud = intsec::module(codes::UD);
        QCOMPARE(ud.title, QStringLiteral("Modulo UD - Elenco unità locali di destinazione del rifiuto"));
        Record u = waste::blank(ud);
        u.insert(QStringLiteral("CodFisc"), QStringLiteral("11122233344"));
        u.insert(QStringLiteral("RagSoc"), QStringLiteral("DESTINO SRL"));
        u.insert(QStringLiteral("estero"), int(waste::SideEstero));
        u.insert(QStringLiteral("nazID"), 215);
        u.insert(QStringLiteral("qtaMod"), qlonglong(3000));
        QVERIFY(waste::saveCheck(ctx(), ud, intID, 0, QStringLiteral("170405"), u).ok());
        const qint64 miID = waste::save(ctx(), ud, intID, 0, QStringLiteral("170405"), u);
        QVERIFY(miID > 0);
        QCOMPARE(waste::load(ctx(), ud, miID).value(QStringLiteral("estero")).toInt(), int(waste::SideEstero));
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE (CodFisc = ?)"), {QStringLiteral("11122233344")}), 1);
        u.insert(QStringLiteral("estero"), int(waste::SideItalia));
        u.insert(QStringLiteral("prvIstat"), 15);
        u.insert(QStringLiteral("comIstat"), 146);
        u.insert(QStringLiteral("Via"), QStringLiteral("VIA VERDI"));
        u.insert(QStringLiteral("Cap"), QStringLiteral("201"));
        QVERIFY(!waste::saveCheck(ctx(), ud, intID, miID, QStringLiteral("170405"), u).ok());
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));

        t.msg.answer({true});
        QVERIFY(waste::remove(ctx(), s, intID));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda INT e relativi moduli\nsei sicuro?"));
        QCOMPARE(count(*t.db, QStringLiteral("SELECT COUNT(*) FROM ModInt WHERE (intID = ?)"), {intID}), 0);
    }

    void summaryCountsModulesByType()
    {
        const qint64 sa = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("X")}});
        const qint64 rifID = waste::save(ctx(), rif::scheda(), sa, 0, rifScheda("170405"));
        const QString code = QStringLiteral("170405");
        QVERIFY(waste::save(ctx(), rif::module(codes::RT), rifID, 0, code, rtItaly()) > 0);
        QVERIFY(waste::save(ctx(), rif::module(codes::RT), rifID, 0, code, rtItaly("BNCLGU70B02F205X")) > 0);
        Record te = waste::blank(rif::module(codes::TE));
        te.insert(QStringLiteral("CodFisc"), QStringLiteral("01234567890"));
        te.insert(QStringLiteral("RagSoc"), QStringLiteral("VETTORE"));
        QVERIFY(waste::save(ctx(), rif::module(codes::TE), rifID, 0, code, te) > 0);
        QHash<QString, int> n;
        for (const sa1::SummaryLine &l : sa1::summary(ctx(), sa))
            n.insert(l.what, l.count);
        QCOMPARE(n.value(QStringLiteral("Schede RIF")), 1);
        QCOMPARE(n.value(QStringLiteral("Moduli RT")), 2);
        QCOMPARE(n.value(QStringLiteral("Moduli TE")), 1);
        QCOMPARE(n.value(QStringLiteral("Moduli DR")), 0);
    }
};

QTEST_GUILESS_MAIN(TestWaste)
#include "test_waste.moc"
