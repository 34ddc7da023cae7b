// Schede IMB, AUT, TRA-RAEE and MAT entered through their cores travel
// through the exchange file: export, import into an empty database, and the
// imported declaration reads back the same rows, modules and materials.

#include "../exchange/fixture.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/mat/mat.h"
#include "sections/stream/stream.h"
#include "shell/context.h"

using fields::Record;

namespace {

Record counterpart(const waste::ModuleKind &m, qlonglong qta)
{
    Record r = waste::blank(m);
    r.insert(QStringLiteral("CodFisc"), QStringLiteral("RSSMRA80A01H501U"));
    r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI MARIO"));
    r.insert(QStringLiteral("prvIstat"), 15);
    r.insert(QStringLiteral("comIstat"), 146);
    r.insert(QStringLiteral("Via"), QStringLiteral("VIA ROMA"));
    r.insert(QStringLiteral("Cap"), QStringLiteral("20100"));
    r.insert(QStringLiteral("qtaMod"), qta);
    return r;
}

waste::Attachment attach(const char *code) { return {{QStringLiteral("rifCod"), QString::fromLatin1(code)}}; }

} // namespace

class TestStreamsExchange : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void enteredDataSurvivesTheExchangeFile()
    {
        TestDb a(dir.path(), QStringLiteral("a.db"));
        QVERIFY(a.ok);
        AppContext ca{a.app, a.db, a.msg};
        QVERIFY(a.db.insertRow(QStringLiteral("Setup"),
                               {{QStringLiteral("codFisc"), QStringLiteral("00488410010")},
                                {QStringLiteral("RagSoc"), QStringLiteral("STUDIO SRL")},
                                {QStringLiteral("prvIstat"), 15},
                                {QStringLiteral("comIstat"), 146}})
                >= 0);
        const qint64 sa = a.db.insertRow(QStringLiteral("SezAnag"),
                                         {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")},
                                          {QStringLiteral("RagSoc"), QStringLiteral("ACME SPA")},
                                          {QStringLiteral("prvIstat"), 15},
                                          {QStringLiteral("comIstat"), 146},
                                          {QStringLiteral("slPrvIstat"), 15},
                                          {QStringLiteral("slComIstat"), 146},
                                          {QStringLiteral("attIstat"), QStringLiteral("381100")}});
        QVERIFY(sa > 0);

        // IMB: the split code on both metals, a private row, an RT-IMB module from a private surface.
        imb::Row alu{0, codes::ImbPublic, QStringLiteral("150104"), 1, 1500, 1};
        imb::Row steel{0, codes::ImbPublic, QStringLiteral("150104"), 0, 2500, 1};
        imb::Row priv{0, codes::ImbPrivate, QStringLiteral("150101"), 0, 3000, 2};
        Record s = imb::blank();
        s.insert(QStringLiteral("msQta05"), qlonglong(4321));
        const qint64 si = imb::save(ca, sa, 0, s, {alu, steel, priv});
        QVERIFY(si > 0);
        const waste::ModuleKind &rt = imb::module(codes::RT);
        QVERIFY(waste::save(ca, rt, si, 0, QStringLiteral("150101"), counterpart(rt, 3000000), {},
                            {{QStringLiteral("rifCod"), QStringLiteral("150101")},
                             {QStringLiteral("mbFlag"), int(codes::SurfacePrivate)}})
                > 0);

        // AUT with a received row and an RT-VEIC module; TRA-RAEE category 3 with a DR-RAEE module.
        const stream::StreamSpec &aut = stream::vfu(stream::Aut);
        Record v = stream::blank(aut);
        v.insert(QStringLiteral("qtaPre80"), qlonglong(700));
        const qint64 vfu = stream::save(ca, aut, sa, 0, v, {{0, codes::VfuReceived, QStringLiteral("160104"), 9000, 1}});
        const waste::ModuleKind &rtv = stream::module(aut, codes::RT);
        QVERIFY(waste::save(ca, rtv, vfu, 0, QStringLiteral("160104"), counterpart(rtv, 9000), {}, attach("160104")) > 0);
        const stream::StreamSpec &tra = stream::raee(codes::RaeeTra);
        Record r = stream::blank(tra);
        r.insert(QStringLiteral("srRAEE"), 3);
        r.insert(QStringLiteral("srQta"), qlonglong(5000));
        const qint64 sr = stream::save(ca, tra, sa, 0, r, {{0, 3, QStringLiteral("160214"), 5000, 1}});
        const waste::ModuleKind &dr = stream::module(tra, codes::DR);
        QVERIFY(waste::save(ca, dr, sr, 0, QStringLiteral("160214"), counterpart(dr, 5000),
                            {{1, QStringLiteral("R4"), qlonglong(5000), 1}}, attach("160214"))
                > 0);

        // MAT.
        Record m = mat::blank();
        m.insert(QStringLiteral("msQta09"), qlonglong(8000));
        QVERIFY(mat::save(ca, sa, m));

        const QString file = dir.filePath(QStringLiteral("x.000"));
        QCOMPARE(exch::exportDeclarations(a.db, a.msg, file, {sa}), exch::ExportResult::Done);

        TestDb b(dir.path(), QStringLiteral("b.db"));
        QVERIFY(b.ok);
        AppContext cb{b.app, b.db, b.msg};
        const exch::ImportResult res = exch::importFile(b.db, b.msg, file);
        QVERIFY2(res.status == exch::ImportResult::Done, qPrintable(res.check.text() + b.msg.texts().join(u'\n')));
        const qint64 sb = b.db.scalar(QStringLiteral("SELECT saID FROM SezAnag")).toLongLong();

        const qint64 sib = imb::schedaId(cb, sb);
        QVERIFY(sib > 0);
        QCOMPARE(imb::load(cb, sib).value(QStringLiteral("msQta05")).toLongLong(), 4321);
        QStringList shown;
        for (const imb::Row &x : imb::loadRows(cb, sib))
            shown << QStringLiteral("%1/%2/%3/%4").arg(x.posizione).arg(imb::displayCode(x.rifCod, x.allAcc)).arg(x.qta).arg(x.umi);
        shown.sort();
        QCOMPARE(shown, (QStringList{QStringLiteral("1/150104-A/1500/1"), QStringLiteral("1/150104-C/2500/1"),
                                     QStringLiteral("2/150101/3000/2")}));
        const QVector<imb::Attachable> rtb = imb::attachable(cb, sib, codes::RT);
        QCOMPARE(rtb.size(), 2);
        for (const imb::Attachable &x : rtb)
            QCOMPARE(x.moduli, x.surface == codes::SurfacePrivate ? 1 : 0);

        const QVector<qint64> vb = stream::ids(cb, aut, sb);
        QCOMPARE(vb.size(), 1);
        QCOMPARE(stream::load(cb, aut, vb[0]).value(QStringLiteral("qtaPre80")).toLongLong(), 700);
        QCOMPARE(stream::attachable(cb, aut, vb[0], codes::RT).value(0).moduli, 1);
        const QVector<qint64> rb = stream::ids(cb, tra, sb);
        QCOMPARE(rb.size(), 1);
        QCOMPARE(stream::load(cb, tra, rb[0]).value(QStringLiteral("srRAEE")).toInt(), 3);
        const QVector<qint64> drb = waste::ids(cb, dr, rb[0], attach("160214"));
        QCOMPARE(drb.size(), 1);
        QCOMPARE(waste::loadOperations(cb, dr, drb[0]).value(0).codice, QStringLiteral("R4"));

        QCOMPARE(mat::load(cb, sb).value(QStringLiteral("msQta09")).toLongLong(), 8000);
    }
};

QTEST_GUILESS_MAIN(TestStreamsExchange)
#include "test_streams_exchange.moc"
