// The verification of a generated mixed set compared byte for byte with a
// reviewed reference: the report, then the outcome recorded for each
// declaration and its export mark. Rows are added in an order that differs
// from the order the checks read them in (a lower waste code after a higher
// one, private persons after companies, position 1 after position 2), so the
// reference holds that order as well as every remark.
// Set QOR_WRITE_GOLDEN=1 to write the reference from the current output
// (then review the file before committing it).

#include "fixture.h"

#include "exchange/demodata.h"

#include <QFile>
#include <QSqlQuery>
#include <QTest>

class TestRead : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void generatedSet();
};

void TestRead::generatedSet()
{
    Fixture f;
    QVERIFY(f.ok());
    exch::demo::Options mixed;
    mixed.declarations = 15;
    QString error;
    QVERIFY2(exch::demo::generate(*f.db, mixed, nullptr, &error), qPrintable(error));
    exch::demo::Options every;
    every.declarations = 4;
    every.seed = 7;
    every.everySection = true;
    QVERIFY2(exch::demo::generate(*f.db, every, nullptr, &error), qPrintable(error));

    for (const char *sql : {
             // schede and modules added after the others, read before them
             "INSERT INTO SezRif (saID, rifCod, qtaProd, umiProd) SELECT saID, '010101', 1000, 1 "
             "FROM SezAnag WHERE saID % 3 = 0",
             "INSERT INTO ModRif (rifID, tipoMod, Privati, qtaMod, umiMod) SELECT rifID, 1, 1, 1500, 1 "
             "FROM SezRif WHERE rifID % 2 = 0",
             "INSERT INTO ModRif (rifID, tipoMod, Privati, qtaMod, umiMod) SELECT rifID, 1, 0, 250, 1 "
             "FROM SezRif WHERE rifID % 4 = 0",
             "INSERT INTO ModRif (rifID, tipoMod, nazID, qtaMod, umiMod, qtaDep, umiDep) "
             "SELECT rifID, 2, 5, 2, 2, 1000, 1 FROM SezRif WHERE rifID % 5 = 0",
             "INSERT INTO RecRif (mrID, Posizione, Codice, qta, umi) SELECT mrID, 1, 'D1', 700, 1 "
             "FROM ModRif WHERE tipoMod = 4",
             "INSERT INTO RecRif (mrID, Posizione, Codice, qta, umi) SELECT mrID, 1, 'R99', 3, 2 "
             "FROM ModRif WHERE tipoMod = 4 AND mrID % 2 = 1",
             "UPDATE ModRif SET Privati = NULL WHERE mrID % 11 = 0",
             "UPDATE ModRif SET qtaMod = qtaMod * 2 WHERE mrID % 7 = 0",
             "INSERT INTO SezInt (saID, rifCod, intQta, intUmi) SELECT saID, '020101', 400, 1 "
             "FROM SezInt WHERE intID % 2 = 0",
             "INSERT INTO ModInt (intID, tipoMod, qtaMod, umiMod) SELECT intID, 1, 300, 1 FROM SezInt",
             "INSERT INTO RecVfu (vfuID, Posizione, rifCod, qta, umi) SELECT vfuID, 1, '160104', 100, 1 FROM SezVfu",
             "INSERT INTO ModVfu (vfuID, tipoMod, rifCod, qtaMod, umiMod) SELECT vfuID, 1, '160104', 90, 1 FROM SezVfu",
             "INSERT INTO RecImb (siID, Posizione, rifCod, allAcc, qta, umi) SELECT siID, 1, '150102', 1, 800, 1 "
             "FROM SezImb",
             "INSERT INTO ModImb (siID, tipoMod, rifCod, mbFlag, qtaMod, umiMod) SELECT siID, 1, '150102', 1, 900, 1 "
             "FROM SezImb",
             "INSERT INTO RecModImb (mbID, Posizione, Codice, qta, umi) SELECT mbID, 1, 'R3', 50, 1 "
             "FROM ModImb WHERE tipoMod = 4",
             "INSERT INTO RecRaee (srID, Posizione, rifCod, qta, umi) SELECT srID, 1, '200135', 10, 1 FROM SezRaee",
             "INSERT INTO ModRaee (srID, tipoMod, rifCod, qtaMod, umiMod) SELECT srID, 2, '200135', 10, 2 FROM SezRaee",
             "UPDATE SaAut SET suRecupero = '1', crClass2 = 3 WHERE suID % 2 = 0",
         })
        QVERIFY2(f.db->execute(QString::fromLatin1(sql)), sql);

    const auto run = f.run(verify::Mode::All, 0, true, true);
    QVERIFY(run.result);
    QCOMPARE(run.progress.done, 19);
    QByteArray bytes = run.bytes + "--- esiti\r\n";
    bool ok = false;
    QSqlQuery q = f.db->query(QStringLiteral("SELECT SezAnag.saID, VerEsito.esito, SezAnag.saExp FROM SezAnag "
                                             "LEFT JOIN VerEsito ON VerEsito.saID = SezAnag.saID ORDER BY SezAnag.saID"),
                              {}, dbClass::Which::Current, &ok);
    QVERIFY(ok);
    while (q.next())
        bytes += QStringLiteral("%1 %2 %3\r\n")
                     .arg(q.value(0).toString(), q.value(1).toString(), q.value(2).toString())
                     .toUtf8();

    const QString golden = QFINDTESTDATA("golden/generated.txt");
    if (qEnvironmentVariable("QOR_WRITE_GOLDEN") == QLatin1String("1")) {
        QFile out(QStringLiteral(QOR_GOLDEN_DIR "/generated.txt"));
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(bytes);
        QSKIP("reference written");
    }
    QFile ref(golden);
    QVERIFY2(ref.open(QIODevice::ReadOnly), "golden/generated.txt missing");
    const QByteArray expected = ref.readAll();
    if (bytes != expected) {
        const QList<QByteArray> got = bytes.split('\n'), want = expected.split('\n');
        for (int i = 0; i < qMin(got.size(), want.size()); ++i)
            QCOMPARE(QString::fromUtf8(got[i]), QString::fromUtf8(want[i]));
        QCOMPARE(got.size(), want.size());
    }
}

QTEST_GUILESS_MAIN(TestRead)
#include "tst_read.moc"
