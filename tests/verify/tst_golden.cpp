// A whole report compared byte for byte with a reviewed reference file.
// Set QOR_WRITE_GOLDEN=1 to write the reference from the current output
// (then review the file before committing it).

#include "fixture.h"

#include <QFile>
#include <QTest>

class TestGolden : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void wholeReport();
};

void TestGolden::wholeReport()
{
    Fixture f;
    QVERIFY(f.ok());

    // Company A, first declaration: RIF with modules, SA-AUT, INT.
    const qint64 a1 = f.declaration("01234567890", "Alfa Recuperi Srl");
    const qint64 r1 = f.rif(a1, "170405", {{"qtaTerzi", 12000}, {"qtaCons", 2500}, {"qtaRec", 9500}});
    f.modRif(r1, 1, {{"qtaMod", 3000}});
    f.modRif(r1, 1, {{"Privati", 1}, {"prvIstat", 1}, {"comIstat", 1}, {"qtaMod", 10000}});
    f.modRif(r1, 2, {{"nazID", 5}, {"qtaMod", 2500}, {"qtaDep", 1000}});
    const qint64 mg = f.modRif(r1, 4, {{"Privati", 9}});
    f.opRif(mg, 1, "R13", 9500);
    f.insert("SaAut", {{"saID", a1}, {"suEstremi", ""}, {"suDataRil", "2015-03-01"},
                       {"suDataScad", "2018-06-30"}, {"suEnte", 2}, {"suTipo", 1},
                       {"suRecupero", "0000000000001"}, {"crQta1", 100}, {"crClass1", 7},
                       {"suSmaltimento", "1"}});
    const qint64 i1 = f.insert("SezInt", Fixture::qty({{"saID", a1}, {"rifCod", "191204"}, {"intQta", 1000}}));
    f.insert("ModInt", Fixture::qty({{"intID", i1}, {"tipoMod", 1}, {"qtaMod", 1000}}));
    f.insert("ModInt", {{"intID", i1}, {"tipoMod", 2}, {"qtaMod", 1234567}, {"umiMod", 1}});

    // Company A, second declaration: clean, leaves no trace.
    const qint64 a2 = f.declaration("01234567890", "Alfa Recuperi Srl");
    const qint64 r2 = f.rif(a2, "170405", {{"qtaProd", 500}, {"qtaCons", 500}});
    f.modRif(r2, 2, {{"qtaMod", 500}});

    // Company B: packaging, MAT and an empty vehicle scheda; unknown activity.
    const qint64 b = f.declaration("09876543210", "Beta Imballaggi Spa", {{"attIstat", "000000"}});
    f.db->execute("UPDATE SezAnag SET msQta08 = 5000, msUmi08 = 1 WHERE (saID = ?)", {b});
    const qint64 si = f.insert("SezImb", Fixture::qty({{"saID", b}, {"qtaTerzi", 2}, {"umiTerzi", 2}, {"msQta01", 1}}));
    f.insert("RecImb", {{"siID", si}, {"Posizione", 1}, {"rifCod", "150101"}, {"qta", 2000000}, {"umi", 1}});
    f.insert("ModImb", {{"siID", si}, {"tipoMod", 1}, {"rifCod", "150101"}, {"mbFlag", 0}, {"qtaMod", 2000}, {"umiMod", 2}});
    f.insert("ModImb", {{"siID", si}, {"tipoMod", 2}, {"rifCod", "150101"}, {"qtaMod", 1500000}, {"umiMod", 1}});
    f.insert("SezVfu", {{"saID", b}, {"vfuTipo", 3}});

    // Company C: nothing but the anagrafica.
    f.declaration("11111111111", "Gamma Servizi", {{"Via", "Corso Francia"}, {"Civico", "2/b"}});

    const auto run = f.run(verify::Mode::All, 0);
    QVERIFY(run.result);
    const QString golden = QFINDTESTDATA("golden/report.txt");
    if (qEnvironmentVariable("QOR_WRITE_GOLDEN") == QLatin1String("1")) {
        QFile out(QStringLiteral(QOR_GOLDEN_DIR "/report.txt"));
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(run.bytes);
        QSKIP("reference written");
    }
    QFile ref(golden);
    QVERIFY2(ref.open(QIODevice::ReadOnly), "golden/report.txt missing");
    const QByteArray expected = ref.readAll();
    if (run.bytes != expected) {
        const QList<QByteArray> got = run.bytes.split('\n'), want = expected.split('\n');
        for (int i = 0; i < qMin(got.size(), want.size()); ++i)
            QCOMPARE(QString::fromUtf8(got[i]), QString::fromUtf8(want[i]));
        QCOMPARE(got.size(), want.size());
    }
}

QTEST_GUILESS_MAIN(TestGolden)
#include "tst_golden.moc"
