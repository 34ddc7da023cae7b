// Scheda IMB: code entry rules in order with their texts, the 150104 split,
// rows rewritten on save, row and scheda deletion with their modules, module
// attachment by code and surface, the RT-IMB treatment choice, and what the
// verification reads from data entered here.

#include "../testdb.h"
#include "sections/codes.h"
#include "refdata/lookups.h"
#include "sections/imb/imb.h"

#include <QSqlQuery>

using fields::Record;

namespace {

imb::Row row(int pos, const char *code, int allAcc = 0, qlonglong qta = 1000, int umi = 1)
{
    imb::Row r;
    r.posizione = pos;
    r.rifCod = QString::fromLatin1(code);
    r.allAcc = allAcc;
    r.qta = qta;
    r.umi = umi;
    return r;
}

Record rtItaly(const char *codFisc, qlonglong qta)
{
    Record r = waste::blank(imb::module(codes::RT));
    r.insert(QStringLiteral("CodFisc"), QString::fromLatin1(codFisc));
    r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI MARIO"));
    r.insert(QStringLiteral("prvIstat"), 15);
    r.insert(QStringLiteral("comIstat"), 146);
    r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
    r.insert(QStringLiteral("qtaMod"), qta);
    return r;
}

} // namespace

class TestImb : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;

    AppContext &ctx() { return *t.ctx; }
    qint64 count(const QString &sql, const QVariantList &p = {})
    {
        return t.db->scalar(sql, p).toLongLong();
    }
    qint64 newDeclaration()
    {
        return t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                           {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")}});
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = newDeclaration();
        QVERIFY(saID > 0);
    }
    void init() { t.msg.clear(); }

    void splitCodeTypedAndShown()
    {
        QString c;
        int a = -1;
        QVERIFY(imb::parseCode(QStringLiteral("150104-a"), &c, &a));
        QCOMPARE(c, QStringLiteral("150104"));
        QCOMPARE(a, 1);
        QVERIFY(imb::parseCode(QStringLiteral("150104-C"), &c, &a));
        QCOMPARE(a, 0);
        QVERIFY(!imb::parseCode(QStringLiteral("150104"), &c, &a)); // the metal is part of the code
        QVERIFY(!imb::parseCode(QStringLiteral("15010"), &c, &a));
        QVERIFY(!imb::parseCode(QStringLiteral("150104-B"), &c, &a));
        QCOMPARE(imb::displayCode(QStringLiteral("150104"), 1), QStringLiteral("150104-A"));
        QCOMPARE(imb::displayCode(QStringLiteral("150104"), 0), QStringLiteral("150104-C"));
        QCOMPARE(imb::displayCode(QStringLiteral("150101"), 1), QStringLiteral("150101"));
    }

    void codeEntryRulesInOrder()
    {
        const QVector<imb::Row> rows{row(codes::ImbPublic, "150101"), row(codes::ImbPublic, "150104", 1)};
        // 1. unknown code (and 150104 without its metal)
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("999999"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto errato."));
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("150104"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto errato."));
        // 2. a heading is not selectable
        t.msg.clear();
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("150100"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto non selezionabile: 150100"));
        // 3. duplicates in the group, except 150104; another group may repeat it
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("150101"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto già presente nella sezione."));
        t.msg.clear();
        QVERIFY(imb::codeEntry(ctx(), codes::ImbPrivate, QStringLiteral("150101"), rows));
        QVERIFY(imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("150104-A"), rows));
        QVERIFY(imb::codeEntry(ctx(), codes::ImbPublic, QStringLiteral("150104-C"), rows));
        QVERIFY(t.msg.shown.isEmpty());
        // 4. compatibility: "15", "17", "19", "20" pass silently; others ask, No by default
        QVERIFY(imb::codeEntry(ctx(), codes::ImbMonomaterial, QStringLiteral("170405"), rows));
        QVERIFY(imb::codeEntry(ctx(), codes::ImbMonomaterial, QStringLiteral("200101"), rows));
        QVERIFY(t.msg.shown.isEmpty());
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbMonomaterial, QStringLiteral("160214"), rows));
        QCOMPARE(t.msg.shown.last().kind, ScriptedMessages::Kind::Question);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, è stato indicato un rifiuto prodotto con codice non "
                                              "compatibile\ncon i rifiuti derivanti dalla gestione degli "
                                              "imballaggi.\n\nConfermi codice digitato?"));
        t.msg.answer({true});
        QVERIFY(imb::codeEntry(ctx(), codes::ImbMultimaterial, QStringLiteral("160214"), rows));
        t.msg.answer({false});
        QVERIFY(!imb::codeEntry(ctx(), codes::ImbPrivate, QStringLiteral("160214"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, è stato indicato un codice rifiuto ricevuto non "
                                              "compatibile con gli imballaggi.\n\nConfermi codice digitato?"));
    }

    void rowsRewrittenOnSave()
    {
        const qint64 sa = newDeclaration();
        Record r = imb::blank();
        r.insert(QStringLiteral("qtaTerzi"), qlonglong(2500));
        r.insert(QStringLiteral("umiTerzi"), 2);
        r.insert(QStringLiteral("msQta03"), qlonglong(7));
        QVector<imb::Row> rows{row(codes::ImbPublic, "150104", 1, 1000), row(codes::ImbPublic, "150104", 0, 2000),
                               row(codes::ImbPublic, "150104", 1, 3000), row(codes::ImbMultimaterial, "191204"),
                               row(codes::ImbPrivate, "")};
        QCOMPARE(imb::saveCheck(ctx(), r, rows), -1);
        const qint64 si = imb::save(ctx(), sa, 0, r, rows);
        QVERIFY(si > 0);
        QCOMPARE(imb::schedaId(ctx(), sa), si);
        const Record back = imb::load(ctx(), si);
        QCOMPARE(back.value(QStringLiteral("qtaTerzi")).toLongLong(), 2500);
        QCOMPARE(back.value(QStringLiteral("umiTerzi")).toInt(), 2);
        QCOMPARE(back.value(QStringLiteral("msQta03")).toLongLong(), 7);
        QVector<imb::Row> stored = imb::loadRows(ctx(), si);
        QCOMPARE(stored.size(), 4); // the empty line is not written
        QCOMPARE(imb::displayCode(stored[0].rifCod, stored[0].allAcc), QStringLiteral("150104-A"));
        QCOMPARE(imb::displayCode(stored[1].rifCod, stored[1].allAcc), QStringLiteral("150104-C"));
        QCOMPARE(stored[3].posizione, int(codes::ImbMultimaterial));

        // A second save writes the grids again: no row is doubled, a removed line is gone.
        stored.remove(2);
        QVERIFY(imb::save(ctx(), sa, si, r, stored) == si);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecImb WHERE siID = ?"), {si}), 3);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM SezImb WHERE saID = ?"), {sa}), 1);

        // Too large a quantity, on the scheda or on a row, is refused.
        r.insert(QStringLiteral("msQta07"), qlonglong(10000000000LL));
        QCOMPARE(imb::saveCheck(ctx(), r, stored),
                 fields::position(imb::schedaFields(), QStringLiteral("msQta07")));
        r.insert(QStringLiteral("msQta07"), qlonglong(0));
        stored[1].qta = 10000000000LL;
        QCOMPARE(imb::saveCheck(ctx(), r, stored), int(imb::schedaFields().size()) + 1);
        QVERIFY(t.msg.last().contains(QStringLiteral("9.999.999,999")));
    }

    void modulesAttachedByCodeAndSurface()
    {
        const qint64 sa = newDeclaration();
        const qint64 si = imb::save(ctx(), sa, 0, imb::blank(),
                                    {row(codes::ImbPublic, "150101", 0, 3000), row(codes::ImbPrivate, "150101", 0, 2, 2),
                                     row(codes::ImbMonomaterial, "191204", 0, 500)});
        QVERIFY(si > 0);
        QVector<imb::Attachable> rt = imb::attachable(ctx(), si, codes::RT);
        QCOMPARE(rt.size(), 2);
        QVERIFY(rt[0].label.startsWith(QStringLiteral("150101 da sup. pubblica")));
        QVERIFY(rt[1].label.startsWith(QStringLiteral("150101 da sup. privata")));
        QCOMPARE(rt[1].totQta, 2000); // tonnes brought to kilograms

        const waste::ModuleKind &m = imb::module(codes::RT);
        const qint64 pub = waste::save(ctx(), m, si, 0, QStringLiteral("150101"), rtItaly("RSSMRA80A01H501U", 3000),
                                       {}, rt[0].attachment());
        const qint64 priv = waste::save(ctx(), m, si, 0, QStringLiteral("150101"), rtItaly("VRDLGU70B02F205X", 2000000),
                                        {}, rt[1].attachment());
        QVERIFY(pub > 0 && priv > 0);
        QCOMPARE(waste::ids(ctx(), m, si, rt[0].attachment()), QVector<qint64>{pub});
        QCOMPARE(waste::ids(ctx(), m, si, rt[1].attachment()), QVector<qint64>{priv});
        QCOMPARE(count(QStringLiteral("SELECT mbFlag FROM ModImb WHERE mbID = ?"), {priv}),
                 qint64(codes::SurfacePrivate));
        rt = imb::attachable(ctx(), si, codes::RT);
        QCOMPARE(rt[0].moduli, 1);
        // The counterpart goes to the register.
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE CodFisc = 'VRDLGU70B02F205X'")), 1);

        // DR, TE, MG offer the packaging codes of the list with the codes of the scheda.
        const QVector<imb::Attachable> dr = imb::attachable(ctx(), si, codes::DR);
        QStringList codesOffered;
        for (const imb::Attachable &a : dr)
            codesOffered << a.rifCod;
        QVERIFY(codesOffered.contains(QStringLiteral("150109")));
        QVERIFY(codesOffered.contains(QStringLiteral("191204")));
        QCOMPARE(codesOffered.count(QStringLiteral("150101")), 1);
        QCOMPARE(dr[codesOffered.indexOf(QStringLiteral("150101"))].totQta, 5000);

        // MG-IMB: operation rows in RecModImb, rewritten whole; its messages are MG's.
        const waste::ModuleKind &mg = imb::module(codes::MG);
        Record g = waste::blank(mg);
        QVERIFY(!waste::saveCheck(ctx(), mg, si, 0, QStringLiteral("191204"), g).ok());
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione,\ninserire almeno una quantità."));
        g.insert(QStringLiteral("mbFlag"), 1);
        QVector<waste::OpRow> ops{{codes::GridRecupero, QStringLiteral("R3"), qlonglong(400), 1},
                                  {codes::GridRecupero, QString(), QVariant(), 1}};
        QVERIFY(waste::saveCheck(ctx(), mg, si, 0, QStringLiteral("191204"), g, ops).ok());
        const qint64 mgId = waste::save(ctx(), mg, si, 0, QStringLiteral("191204"), g, ops,
                                        {{QStringLiteral("rifCod"), QStringLiteral("191204")}});
        QVERIFY(mgId > 0);
        QVERIFY(waste::save(ctx(), mg, si, mgId, QStringLiteral("191204"), g, ops) == mgId);
        QCOMPARE(waste::loadOperations(ctx(), mg, mgId).size(), 1);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecRif")), 0);
        t.msg.clear();
        t.msg.answer({true});
        QVERIFY(waste::remove(ctx(), mg, mgId));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino modulo MG-IMB\nsei sicuro?"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecModImb WHERE mbID = ?"), {mgId}), 0);
    }

    void rtImbForeignTreatmentChoice()
    {
        const waste::ModuleKind &m = imb::module(codes::RT);
        QVERIFY(fields::find(m.fields, QStringLiteral("Privati")) == nullptr);
        QVERIFY(fields::find(m.fields, QStringLiteral("qtaInc")) == nullptr);
        Record r = waste::blank(m);
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("FR12345678901"));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("DUPONT SA"));
        r.insert(QStringLiteral("estero"), int(waste::SideEstero));
        r.insert(QStringLiteral("nazID"), 215);
        r.insert(QStringLiteral("qtaMod"), qlonglong(1000));
        const int treatment = fields::position(m.fields, QStringLiteral("discDep"));
        QCOMPARE(waste::saveCheck(ctx(), m, 1, 0, QStringLiteral("150101"), r).field, treatment);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, tipologia di trattamento richiesta."));
        r.insert(QStringLiteral("discDep"), 2);
        QVERIFY(waste::saveCheck(ctx(), m, 1, 0, QStringLiteral("150101"), r).ok());
        // From Italy the choice is closed and written empty.
        Record it = rtItaly("RSSMRA80A01H501U", 10);
        it.insert(QStringLiteral("discDep"), 3);
        QVERIFY(waste::saveCheck(ctx(), m, 1, 0, QStringLiteral("150101"), it).ok());
        QCOMPARE(waste::withClosedCleared(m, QStringLiteral("150101"), it).value(QStringLiteral("discDep")).toInt(), 0);
    }

    void deletionsTakeTheirModules()
    {
        const qint64 sa = newDeclaration();
        const qint64 si = imb::save(ctx(), sa, 0, imb::blank(),
                                    {row(codes::ImbPublic, "150102"), row(codes::ImbPrivate, "150102"),
                                     row(codes::ImbMonomaterial, "150103")});
        const QVector<imb::Row> rows = imb::loadRows(ctx(), si);
        const waste::ModuleKind &rt = imb::module(codes::RT);
        const waste::ModuleKind &te = imb::module(codes::TE);
        const waste::Attachment pub{{QStringLiteral("rifCod"), QStringLiteral("150102")},
                                    {QStringLiteral("mbFlag"), int(codes::SurfacePublic)}};
        const waste::Attachment priv{{QStringLiteral("rifCod"), QStringLiteral("150102")},
                                     {QStringLiteral("mbFlag"), int(codes::SurfacePrivate)}};
        QVERIFY(waste::save(ctx(), rt, si, 0, QStringLiteral("150102"), rtItaly("RSSMRA80A01H501U", 1), {}, pub) > 0);
        QVERIFY(waste::save(ctx(), rt, si, 0, QStringLiteral("150102"), rtItaly("RSSMRA80A01H501U", 1), {}, priv) > 0);
        Record carrier = waste::blank(te);
        carrier.insert(QStringLiteral("CodFisc"), QStringLiteral("00488410010"));
        carrier.insert(QStringLiteral("RagSoc"), QStringLiteral("TRASPORTI SRL"));
        QVERIFY(waste::save(ctx(), te, si, 0, QStringLiteral("150102"), carrier, {},
                            {{QStringLiteral("rifCod"), QStringLiteral("150102")}}) > 0);

        // No: nothing goes.
        t.msg.answer({false});
        QVERIFY(!imb::removeRow(ctx(), si, rows[0]));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino rifiuto selezionato ed i relativi moduli,\nsei sicuro?"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecImb WHERE siID = ?"), {si}), 3);
        // The public row goes with its RT-IMB module; the private one and the
        // carrier of the code stay while the code is still on the scheda.
        t.msg.answer({true});
        QVERIFY(imb::removeRow(ctx(), si, rows[0]));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModImb WHERE siID = ? AND mbFlag = ?"),
                       {si, int(codes::SurfacePublic)}),
                 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModImb WHERE siID = ?"), {si}), 2);
        t.msg.answer({true});
        QVERIFY(imb::removeRow(ctx(), si, rows[1]));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModImb WHERE siID = ?"), {si}), 0);

        // The scheda goes with everything below it.
        t.msg.answer({true});
        QVERIFY(imb::remove(ctx(), si));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda IMB e relativi moduli,\nsei sicuro?"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecImb WHERE siID = ?"), {si}), 0);
        QCOMPARE(imb::schedaId(ctx(), sa), 0);
    }

    // A stored row given another code on the form takes its modules along on
    // save: RT-IMB those of its surface while no row of its group keeps the
    // old code, the other types while no row of the scheda keeps it.
    void modulesFollowAChangedCode()
    {
        const qint64 sa = newDeclaration();
        const qint64 si = imb::save(ctx(), sa, 0, imb::blank(),
                                    {row(codes::ImbPublic, "150102"), row(codes::ImbPrivate, "150102"),
                                     row(codes::ImbMonomaterial, "150104", 1)});
        auto attach = [](const char *code, int surface = -1) {
            waste::Attachment a{{QStringLiteral("rifCod"), QString::fromLatin1(code)}};
            if (surface >= 0)
                a.insert(QStringLiteral("mbFlag"), surface);
            return a;
        };
        const waste::ModuleKind &rt = imb::module(codes::RT);
        const waste::ModuleKind &te = imb::module(codes::TE);
        const qint64 rtPub = waste::save(ctx(), rt, si, 0, QStringLiteral("150102"), rtItaly("RSSMRA80A01H501U", 1), {},
                                         attach("150102", codes::SurfacePublic));
        const qint64 rtPriv = waste::save(ctx(), rt, si, 0, QStringLiteral("150102"), rtItaly("RSSMRA80A01H501U", 1), {},
                                          attach("150102", codes::SurfacePrivate));
        Record carrier = waste::blank(te);
        carrier.insert(QStringLiteral("CodFisc"), QStringLiteral("00488410010"));
        carrier.insert(QStringLiteral("RagSoc"), QStringLiteral("TRASPORTI SRL"));
        const qint64 teId = waste::save(ctx(), te, si, 0, QStringLiteral("150102"), carrier, {}, attach("150102"));
        const qint64 teMetal = waste::save(ctx(), te, si, 0, QStringLiteral("150104"), carrier, {}, attach("150104"));
        QVERIFY(rtPub > 0 && rtPriv > 0 && teId > 0 && teMetal > 0);
        auto codeOf = [&](qint64 mbID) {
            return t.db->scalar(QStringLiteral("SELECT rifCod FROM ModImb WHERE mbID = ?"), {mbID}).toString();
        };

        // The public row becomes 150101: its RT-IMB follows; the private one and
        // the carrier stay with 150102, still on the private row.
        QVector<imb::Row> rows = imb::loadRows(ctx(), si);
        rows[0].rifCod = QStringLiteral("150101");
        QCOMPARE(imb::save(ctx(), sa, si, imb::blank(), rows), si);
        QCOMPARE(codeOf(rtPub), QStringLiteral("150101"));
        QCOMPARE(count(QStringLiteral("SELECT mbFlag FROM ModImb WHERE mbID = ?"), {rtPub}), qint64(codes::SurfacePublic));
        QCOMPARE(codeOf(rtPriv), QStringLiteral("150102"));
        QCOMPARE(codeOf(teId), QStringLiteral("150102"));

        // The two received rows swap codes in one save: each RT-IMB goes with
        // its row; the carrier of 150102 stays, the code being still there.
        rows = imb::loadRows(ctx(), si);
        rows[0].rifCod = QStringLiteral("150102");
        rows[1].rifCod = QStringLiteral("150101");
        QCOMPARE(imb::save(ctx(), sa, si, imb::blank(), rows), si);
        QCOMPARE(codeOf(rtPub), QStringLiteral("150102"));
        QCOMPARE(codeOf(rtPriv), QStringLiteral("150101"));
        QCOMPARE(codeOf(teId), QStringLiteral("150102"));

        // The last row of 150102 changes: the carrier follows.
        rows = imb::loadRows(ctx(), si);
        rows[0].rifCod = QStringLiteral("150107");
        QCOMPARE(imb::save(ctx(), sa, si, imb::blank(), rows), si);
        QCOMPARE(codeOf(rtPub), QStringLiteral("150107"));
        QCOMPARE(codeOf(teId), QStringLiteral("150107"));

        // Another metal of 150104 is the same code: nothing moves.
        rows = imb::loadRows(ctx(), si);
        QCOMPARE(rows[2].rifCod, QStringLiteral("150104"));
        rows[2].allAcc = 0;
        QCOMPARE(imb::save(ctx(), sa, si, imb::blank(), rows), si);
        QCOMPARE(codeOf(teMetal), QStringLiteral("150104"));
        QCOMPARE(imb::loadRows(ctx(), si)[2].allAcc, 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModImb WHERE siID = ?"), {si}), 4);
    }

    void insListOffersBothMetals()
    {
        const QVector<refdata::PickRow> list = imb::wasteTable(ctx());
        QStringList offered;
        for (const refdata::PickRow &r : list)
            offered << r.code;
        QVERIFY(!offered.contains(QStringLiteral("150104")));
        const int a = offered.indexOf(QStringLiteral("150104-A"));
        QVERIFY(a > 0);
        QCOMPARE(offered.value(a + 1), QStringLiteral("150104-C"));
        QCOMPARE(offered.value(a - 1), QStringLiteral("150103"));
        QCOMPARE(list.size(), refdata::wasteTable(*t.db).size() + 1);
        // What the list gives is accepted as typed.
        QString code;
        int allAcc = -1;
        QVERIFY(imb::parseCode(offered[a + 1], &code, &allAcc));
        QCOMPARE(code, QStringLiteral("150104"));
        QCOMPARE(allAcc, 0);
    }

    void rtModulesAgainstTheirRow()
    {
        const qint64 sa = newDeclaration();
        const qint64 si = imb::save(ctx(), sa, 0, imb::blank(),
                                    {row(codes::ImbPublic, "150101", 0, 1000000), row(codes::ImbPrivate, "150101", 0, 2000, 2),
                                     row(codes::ImbMonomaterial, "150101", 0, 7000000)});
        const waste::ModuleKind &m = imb::module(codes::RT);
        const waste::Attachment pub{{QStringLiteral("rifCod"), QStringLiteral("150101")},
                                    {QStringLiteral("mbFlag"), int(codes::SurfacePublic)}};
        QVERIFY(!imb::rtRowBalance(ctx(), si, QStringLiteral("150101"), codes::SurfacePublic).matches());
        QVERIFY(waste::save(ctx(), m, si, 0, QStringLiteral("150101"), rtItaly("RSSMRA80A01H501U", 400000), {}, pub) > 0);
        imb::RowBalance b = imb::rtRowBalance(ctx(), si, QStringLiteral("150101"), codes::SurfacePublic);
        QCOMPARE(b.row, Qty::fromInt(1000)); // the produced row of the code does not count
        QCOMPARE(b.modules, Qty::fromInt(400));
        QVERIFY(!b.matches());
        Record second = rtItaly("RSSMRA80A01H501U", 1000);
        second.insert(QStringLiteral("umiMod"), 2); // 1 t
        QVERIFY(waste::save(ctx(), m, si, 0, QStringLiteral("150101"), second, {}, pub) > 0);
        QVERIFY(!imb::rtRowBalance(ctx(), si, QStringLiteral("150101"), codes::SurfacePublic).matches()); // 1400 kg
        t.db->execute(QStringLiteral("UPDATE ModImb SET qtaMod = 1000 WHERE siID = ? AND qtaMod = 400000"), {si});
        b = imb::rtRowBalance(ctx(), si, QStringLiteral("150101"), codes::SurfacePublic);
        QCOMPARE(b.modules, Qty::fromInt(1001)); // within 5 %
        QVERIFY(b.matches());
        // The private surface has its own row (2 t) and no module yet.
        b = imb::rtRowBalance(ctx(), si, QStringLiteral("150101"), codes::SurfacePrivate);
        QCOMPARE(b.row, Qty::fromInt(2000));
        QVERIFY(!b.matches());
    }
};

QTEST_GUILESS_MAIN(TestImb)
#include "test_imb.moc"
