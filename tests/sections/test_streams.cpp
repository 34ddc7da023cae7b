// Vehicle and electrical-equipment schede, scheda MAT: save rules, rows by
// frame restricted to the admitted codes, modules attached to a waste row,
// cascade deletes, and remarks of each verification group raised by data
// entered through these functions (IMB included).

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/mat/mat.h"
#include "sections/stream/stream.h"
#include "verify/engine.h"

#include <QFile>

using fields::Record;

namespace {

stream::Row row(int pos, const char *code, qlonglong qta = 1000, int umi = 1)
{
    stream::Row r;
    r.posizione = pos;
    r.rifCod = QString::fromLatin1(code);
    r.qta = qta;
    r.umi = umi;
    return r;
}

Record rt(const waste::ModuleKind &m, qlonglong qta)
{
    Record r = waste::blank(m);
    r.insert(QStringLiteral("CodFisc"), QStringLiteral("RSSMRA80A01H501U"));
    r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI MARIO"));
    r.insert(QStringLiteral("prvIstat"), 15);
    r.insert(QStringLiteral("comIstat"), 146);
    r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
    r.insert(QStringLiteral("qtaMod"), qta);
    return r;
}

Record rt_(const waste::ModuleKind &m, qlonglong qta) { return rt(m, qta); }

waste::Attachment code(const char *c) { return {{QStringLiteral("rifCod"), QString::fromLatin1(c)}}; }

} // namespace

class TestStreams : public QObject {
    Q_OBJECT
    TestDb t;

    AppContext &ctx() { return *t.ctx; }
    qint64 count(const QString &sql, const QVariantList &p = {}) { return t.db->scalar(sql, p).toLongLong(); }
    qint64 newDeclaration()
    {
        // A seat in a known municipality: the verification reads the declarations with it.
        return t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                                           {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")},
                                                           {QStringLiteral("prvIstat"), 15},
                                                           {QStringLiteral("comIstat"), 146}});
    }
    QString report(qint64 saID)
    {
        verify::Engine e(*t.db, t.msg);
        const QString path = t.dir.filePath(QStringLiteral("report.txt"));
        if (!e.openReport(path))
            return {};
        e.run(verify::Mode::Declaration, saID, true, false);
        QFile f(path);
        return f.open(QIODevice::ReadOnly) ? QString::fromUtf8(f.readAll()) : QString();
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init() { t.msg.clear(); }

    // The form offers the before/after-1980 split exactly on the vehicle
    // schede that the file and the verification treat as carrying it.
    void vehicleSplitOnFormFileAndCheckAlike()
    {
        for (int tipo : {stream::Aut, stream::Rot, stream::Fra}) {
            bool pre = false, n104 = false;
            for (const fields::Field &f : stream::vfu(tipo).fields) {
                pre = pre || f.name == QLatin1String("qtaPre80");
                n104 = n104 || f.name == QLatin1String("qta104");
            }
            QCOMPARE(pre, codes::vehicleSplit1980(tipo));
            QCOMPARE(n104, codes::vehicleSplit1980(tipo));
        }
    }

    void vfuCodesByKindAndFrame()
    {
        const stream::StreamSpec &aut = stream::vfu(stream::Aut);
        QVector<stream::Row> rows{row(codes::VfuReceived, "160104")};
        QVERIFY(!stream::codeEntry(ctx(), aut, codes::VfuReceived, QStringLiteral("999999"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto errato."));
        // Admitted on AUT (type 4) but not on RIF-only codes.
        QVERIFY(!stream::codeEntry(ctx(), aut, codes::VfuReceived, QStringLiteral("010101"), rows));
        QCOMPARE(t.msg.last(), stream::notAdmittedMessage(aut));
        QVERIFY(!stream::codeEntry(ctx(), aut, codes::VfuReceived, QStringLiteral("160104"), rows));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto già presente nella sezione."));
        t.msg.clear();
        QVERIFY(stream::codeEntry(ctx(), aut, codes::VfuProduced, QStringLiteral("160104"), rows));
        QVERIFY(stream::codeEntry(ctx(), aut, codes::VfuReceived, QStringLiteral("130205"), rows));
        QVERIFY(t.msg.shown.isEmpty());
        // The list of each kind is its own: a code of the electrical list is not a vehicle code.
        QVERIFY(!stream::codeEntry(ctx(), stream::raee(codes::RaeeTra), 1, QStringLiteral("160104"), {}));
        QVERIFY(stream::codeEntry(ctx(), stream::raee(codes::RaeeTra), 1, QStringLiteral("160214"), {}));
    }

    void vfuOneSchedaPerKindRowsRewrittenModulesAttached()
    {
        const qint64 sa = newDeclaration();
        const stream::StreamSpec &aut = stream::vfu(stream::Aut);
        Record r = stream::blank(aut);
        r.insert(QStringLiteral("vfuAut208"), 1);
        r.insert(QStringLiteral("qtaPre80"), qlonglong(1500));
        QVector<stream::Row> rows{row(codes::VfuReceived, "160104", 3000), row(codes::VfuProduced, "160107", 2, 2),
                                  row(codes::VfuProduced, "")};
        QCOMPARE(stream::saveCheck(ctx(), aut, sa, 0, r, rows), -1);
        const qint64 id = stream::save(ctx(), aut, sa, 0, r, rows);
        QVERIFY(id > 0);
        QCOMPARE(count(QStringLiteral("SELECT vfuTipo FROM SezVfu WHERE vfuID = ?"), {id}), 1);
        QCOMPARE(stream::load(ctx(), aut, id).value(QStringLiteral("qtaPre80")).toLongLong(), 1500);
        QCOMPARE(stream::loadRows(ctx(), aut, id).size(), 2);
        QVERIFY(stream::save(ctx(), aut, sa, id, r, stream::loadRows(ctx(), aut, id)) == id);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecVfu WHERE vfuID = ?"), {id}), 2);
        // One AUT per declaration; a ROT may stand beside it.
        QVERIFY(stream::saveCheck(ctx(), aut, sa, 0, r, {}) >= 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, scheda AUT già presente nella dichiarazione."));
        QCOMPARE(stream::saveCheck(ctx(), stream::vfu(stream::Rot), sa, 0, stream::blank(stream::vfu(stream::Rot)), {}),
                 -1);

        // RT-VEIC is offered the received rows only; the others every row.
        const QVector<stream::Attachable> forRt = stream::attachable(ctx(), aut, id, codes::RT);
        QCOMPARE(forRt.size(), 1);
        QCOMPARE(forRt[0].rifCod, QStringLiteral("160104"));
        QCOMPARE(stream::attachable(ctx(), aut, id, codes::MG).size(), 2);
        QCOMPARE(stream::attachable(ctx(), aut, id, codes::MG)[1].totQta, 2000);
        const waste::ModuleKind &m = stream::module(aut, codes::RT);
        QCOMPARE(m.code, QStringLiteral("RT-VEIC"));
        QVERIFY(fields::find(m.fields, QStringLiteral("Privati")) == nullptr);
        const qint64 mod = waste::save(ctx(), m, id, 0, QStringLiteral("160104"), rt(m, 1000), {}, code("160104"));
        QVERIFY(mod > 0);
        QCOMPARE(waste::ids(ctx(), m, id, code("160104")), QVector<qint64>{mod});
        QVERIFY(waste::ids(ctx(), m, id, code("160107")).isEmpty());
        QCOMPARE(stream::attachable(ctx(), aut, id, codes::RT)[0].moduli, 1);
        // DR-VEIC rows go to RecModVfu.
        const waste::ModuleKind &dr = stream::module(aut, codes::DR);
        Record d = rt(dr, 2000);
        const qint64 drId = waste::save(ctx(), dr, id, 0, QStringLiteral("160107"), d,
                                        {{1, QStringLiteral("R4"), qlonglong(2000), 1}}, code("160107"));
        QVERIFY(drId > 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecModVfu WHERE mvID = ?"), {drId}), 1);

        // The verification reads what was written: received 3000 kg, RT-VEIC 1000 kg.
        QVERIFY(report(sa).contains(QStringLiteral("alla somma delle quantità indicate nei moduli RT-VEIC.")));

        // CANC on the produced row: its DR-VEIC module goes with it; the received row keeps its module.
        const QVector<stream::Row> stored = stream::loadRows(ctx(), aut, id);
        t.msg.answer({true});
        QVERIFY(stream::removeRow(ctx(), aut, id, stored[1]));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino rifiuto selezionato ed i relativi moduli,\nsei sicuro?"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModVfu WHERE mvID = ?"), {drId}), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModVfu WHERE mvID = ?"), {mod}), 1);
        QCOMPARE(stream::loadRows(ctx(), aut, id).size(), 1);

        // Deleting the scheda takes its rows, modules and their rows.
        t.msg.answer({true});
        QVERIFY(stream::remove(ctx(), aut, id));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda AUT e relativi moduli,\nsei sicuro?"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecVfu WHERE vfuID = ?"), {id}), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModVfu WHERE vfuID = ?"), {id}), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecModVfu WHERE mvID = ?"), {drId}), 0);
    }

    void raeeOnePerCategoryAndCascade()
    {
        const qint64 sa = newDeclaration();
        const stream::StreamSpec &tra = stream::raee(codes::RaeeTra);
        Record r = stream::blank(tra);
        QCOMPARE(stream::saveCheck(ctx(), tra, sa, 0, r, {}), fields::position(tra.fields, QStringLiteral("srRAEE")));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, categoria RAEE richiesta."));
        r.insert(QStringLiteral("srRAEE"), 3);
        r.insert(QStringLiteral("msQta02"), qlonglong(10000000000LL));
        QCOMPARE(stream::saveCheck(ctx(), tra, sa, 0, r, {}), fields::position(tra.fields, QStringLiteral("msQta02")));
        r.insert(QStringLiteral("msQta02"), qlonglong(500));
        const QVector<stream::Row> rows{row(1, "160214", 4000), row(3, "160214", 1000)};
        QCOMPARE(stream::saveCheck(ctx(), tra, sa, 0, r, rows), -1);
        const qint64 id = stream::save(ctx(), tra, sa, 0, r, rows);
        QVERIFY(id > 0);
        // Same kind and category refused, another category or the CR kind accepted.
        QVERIFY(stream::saveCheck(ctx(), tra, sa, 0, r, {}) >= 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, scheda TRA-RAEE già presente per la categoria indicata."));
        QCOMPARE(stream::saveCheck(ctx(), tra, sa, id, r, {}), -1); // itself
        QCOMPARE(stream::saveCheck(ctx(), stream::raee(codes::RaeeCr), sa, 0, r, {}), -1);
        r.insert(QStringLiteral("srRAEE"), 4);
        QCOMPARE(stream::saveCheck(ctx(), tra, sa, 0, r, {}), -1);

        // RT-RAEE on the origin rows (Posizione < 3); the third frame is not offered.
        QCOMPARE(stream::attachable(ctx(), tra, id, codes::RT).size(), 1);
        QCOMPARE(stream::attachable(ctx(), tra, id, codes::RT)[0].totQta, 4000);
        const waste::ModuleKind &m = stream::module(tra, codes::RT);
        QCOMPARE(m.code, QStringLiteral("RT-RAEE"));
        QVERIFY(waste::save(ctx(), m, id, 0, QStringLiteral("160214"), rt(m, 1000), {}, code("160214")) > 0);
        const waste::ModuleKind &mg = stream::module(tra, codes::MG);
        const qint64 mgId = waste::save(ctx(), mg, id, 0, QStringLiteral("160214"), waste::blank(mg),
                                        {{codes::GridRecupero, QStringLiteral("R4"), qlonglong(10), 1}}, code("160214"));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecModRaee WHERE msrID = ?"), {mgId}), 1);

        QVERIFY(report(sa).contains(QStringLiteral("alla somma delle quantità indicate nei moduli RT-RAEE.")));

        t.msg.answer({true});
        QVERIFY(stream::remove(ctx(), tra, id));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModRaee WHERE srID = ?"), {id}), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecModRaee WHERE msrID = ?"), {mgId}), 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecRaee WHERE srID = ?"), {id}), 0);
    }

    // The exchange file carries no frame for the rows of a CR-RAEE scheda:
    // the scheda has one frame, and whatever stands elsewhere shows and is
    // written in it.
    void crRaeeHasOneFrame()
    {
        const stream::StreamSpec &cr = stream::raee(codes::RaeeCr);
        QCOMPARE(cr.frames.size(), 1);
        QCOMPARE(cr.rtFrames, 1);
        QCOMPARE(stream::raee(codes::RaeeTra).frames.size(), 3);
        const qint64 sa = newDeclaration();
        Record r = stream::blank(cr);
        r.insert(QStringLiteral("srRAEE"), 2);
        const qint64 id = stream::save(ctx(), cr, sa, 0, r, {row(1, "200135", 700), row(3, "160214", 300)});
        QVERIFY(id > 0);
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM RecRaee WHERE srID = ? AND Posizione <> 1"), {id}), 0);
        // A row stored in another frame by an earlier version is shown in the one frame.
        QVERIFY(t.db->insertRow(QStringLiteral("RecRaee"), {{QStringLiteral("srID"), id},
                                                            {QStringLiteral("Posizione"), 2},
                                                            {QStringLiteral("rifCod"), QStringLiteral("200123")},
                                                            {QStringLiteral("qta"), 5},
                                                            {QStringLiteral("umi"), 1}})
                > 0);
        const QVector<stream::Row> rows = stream::loadRows(ctx(), cr, id);
        QCOMPARE(rows.size(), 3);
        for (const stream::Row &x : rows)
            QCOMPARE(x.posizione, 1);
        // Every row of a collection centre is waste received: RT-RAEE is offered all.
        QCOMPARE(stream::attachable(ctx(), cr, id, codes::RT).size(), 2);
        QCOMPARE(stream::save(ctx(), cr, sa, id, r, rows), id);
        QCOMPARE(stream::attachable(ctx(), cr, id, codes::RT).size(), 3);
    }

    void raeeCategoriesFromTheCodeList()
    {
        const QVector<QPair<int, QString>> cats = stream::raeeCategories(ctx().db);
        QCOMPARE(cats.size(), 6);
        QCOMPARE(cats.first().first, 1);
        QCOMPARE(cats.first().second, QStringLiteral("1 - Apparecchiature per lo scambio di temperatura"));
        QCOMPARE(cats.last().first, 6);
        QCOMPARE(stream::raeeCategoryText(ctx().db, 3), QStringLiteral("3 - Lampade"));
        QVERIFY(stream::raeeCategoryText(ctx().db, 7).isEmpty());
    }

    // A stored row given another code on the form takes its modules along on
    // save: RT modules while no received row keeps the old code, the other
    // types while no row of the scheda keeps it. CANC follows the same split.
    void modulesFollowAChangedCode()
    {
        const qint64 sa = newDeclaration();
        const stream::StreamSpec &rot = stream::vfu(stream::Rot);
        const qint64 id = stream::save(ctx(), rot, sa, 0, stream::blank(rot),
                                       {row(codes::VfuReceived, "160117"), row(codes::VfuReceived, "160106"),
                                        row(codes::VfuProduced, "160117")});
        QVERIFY(id > 0);
        const waste::ModuleKind &rt = stream::module(rot, codes::RT);
        const waste::ModuleKind &dr = stream::module(rot, codes::DR);
        const waste::ModuleKind &te = stream::module(rot, codes::TE);
        const qint64 rtScrap = waste::save(ctx(), rt, id, 0, QStringLiteral("160117"), rt_(rt, 1000), {}, code("160117"));
        const qint64 drScrap = waste::save(ctx(), dr, id, 0, QStringLiteral("160117"), rt_(dr, 1000),
                                           {{1, QStringLiteral("R4"), qlonglong(1000), 1}}, code("160117"));
        Record carrier = waste::blank(te);
        carrier.insert(QStringLiteral("CodFisc"), QStringLiteral("00488410010"));
        carrier.insert(QStringLiteral("RagSoc"), QStringLiteral("TRASPORTI SRL"));
        const qint64 teCar = waste::save(ctx(), te, id, 0, QStringLiteral("160106"), carrier, {}, code("160106"));
        QVERIFY(rtScrap > 0 && drScrap > 0 && teCar > 0);
        auto codeOf = [&](qint64 mvID) {
            return t.db->scalar(QStringLiteral("SELECT rifCod FROM ModVfu WHERE mvID = ?"), {mvID}).toString();
        };

        // The received 160117 becomes 160118: RT-VEIC follows, DR-VEIC stays
        // with the produced row; 160106 becomes 191001 and its carrier follows.
        QVector<stream::Row> rows = stream::loadRows(ctx(), rot, id);
        QCOMPARE(rows[1].rifCod, QStringLiteral("160117"));
        rows[1].rifCod = QStringLiteral("160118");
        rows[0].rifCod = QStringLiteral("191001");
        QCOMPARE(stream::save(ctx(), rot, sa, id, stream::blank(rot), rows), id);
        QCOMPARE(codeOf(rtScrap), QStringLiteral("160118"));
        QCOMPARE(codeOf(drScrap), QStringLiteral("160117"));
        QCOMPARE(codeOf(teCar), QStringLiteral("191001"));
        QCOMPARE(waste::loadOperations(ctx(), dr, drScrap).size(), 1);

        // The last row of 160117, a produced one, changes: DR-VEIC follows it,
        // RT-VEIC is not tied to it.
        rows = stream::loadRows(ctx(), rot, id);
        QCOMPARE(rows[2].rifCod, QStringLiteral("160117"));
        rows[2].rifCod = QStringLiteral("160119");
        QCOMPARE(stream::save(ctx(), rot, sa, id, stream::blank(rot), rows), id);
        QCOMPARE(codeOf(drScrap), QStringLiteral("160119"));
        QCOMPARE(codeOf(rtScrap), QStringLiteral("160118"));

        // The produced row takes the code of a received one; then CANC on the
        // received row: the code stays on the produced row only, so its RT-VEIC
        // module goes and its DR-VEIC module stays.
        rows = stream::loadRows(ctx(), rot, id);
        rows[2].rifCod = QStringLiteral("160118");
        QCOMPARE(stream::save(ctx(), rot, sa, id, stream::blank(rot), rows), id);
        QCOMPARE(codeOf(drScrap), QStringLiteral("160118"));
        rows = stream::loadRows(ctx(), rot, id);
        QCOMPARE(rows[0].rifCod, QStringLiteral("160118"));
        QCOMPARE(rows[0].posizione, int(codes::VfuReceived));
        t.msg.answer({true});
        QVERIFY(stream::removeRow(ctx(), rot, id, rows[0]));
        QCOMPARE(count(QStringLiteral("SELECT COUNT(*) FROM ModVfu WHERE mvID = ?"), {rtScrap}), 0);
        QCOMPARE(codeOf(drScrap), QStringLiteral("160118"));
    }

    void matOnTheDeclaration()
    {
        const qint64 sa = newDeclaration();
        QVERIFY(!mat::present(ctx(), sa));
        Record r = mat::blank();
        r.insert(QStringLiteral("msQta20"), qlonglong(10000000000LL));
        QCOMPARE(mat::saveCheck(ctx(), r), fields::position(mat::schedaFields(), QStringLiteral("msQta20")));
        r.insert(QStringLiteral("msQta20"), qlonglong(0));
        r.insert(QStringLiteral("msQta07"), qlonglong(1250));
        r.insert(QStringLiteral("msUmi07"), 2);
        QCOMPARE(mat::saveCheck(ctx(), r), -1);
        QVERIFY(mat::save(ctx(), sa, r));
        QVERIFY(mat::present(ctx(), sa));
        const Record back = mat::load(ctx(), sa);
        QCOMPARE(back.value(QStringLiteral("msQta07")).toLongLong(), 1250);
        QCOMPARE(back.value(QStringLiteral("msUmi07")).toInt(), 2);
        // Untouched materials stay empty in the store.
        QVERIFY(t.db->scalar(QStringLiteral("SELECT msQta01 FROM SezAnag WHERE saID = ?"), {sa}).isNull());
        // Without any MG module with recovery operations the MAT remark comes.
        QVERIFY(report(sa).contains(QStringLiteral("E' stata compilata la scheda MAT, ma non è presente nessun modulo MG")));
        t.msg.answer({false});
        QVERIFY(!mat::remove(ctx(), sa));
        QVERIFY(mat::present(ctx(), sa));
        t.msg.answer({true});
        QVERIFY(mat::remove(ctx(), sa));
        QCOMPARE(t.msg.last(), QStringLiteral("Elimino scheda MAT,\nsei sicuro?"));
        QVERIFY(!mat::present(ctx(), sa));
    }

    void imbBalanceRemarkFromEnteredData()
    {
        const qint64 sa = newDeclaration();
        imb::Row pub;
        pub.posizione = codes::ImbPublic;
        pub.rifCod = QStringLiteral("150101");
        pub.qta = 3000;
        const qint64 si = imb::save(ctx(), sa, 0, imb::blank(), {pub});
        const waste::ModuleKind &m = imb::module(codes::RT);
        const waste::Attachment a{{QStringLiteral("rifCod"), QStringLiteral("150101")},
                                  {QStringLiteral("mbFlag"), int(codes::SurfacePublic)}};
        QVERIFY(waste::save(ctx(), m, si, 0, QStringLiteral("150101"), rt(m, 1000), {}, a) > 0);
        const QString text = report(sa);
        QVERIFY(text.contains(QStringLiteral("La quantità ricevuta da terzi da superficie pubblica dev'essere uguale")));
        QVERIFY(!text.contains(QStringLiteral("La quantità ricevuta da terzi da superficie privata")));
    }
};

QTEST_GUILESS_MAIN(TestStreams)
#include "test_streams.moc"
