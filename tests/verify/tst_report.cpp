// The report's layout and the comparison line of balance remarks.

#include "verify/report.h"

#include <QFile>
#include <QTemporaryDir>
#include <QTest>

using namespace verify;

class TestReport : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void comparisonLine_data();
    void comparisonLine();
    void threePairs();
    void toleranceBoundaries();
    void layout();
    void openFailure();
};

void TestReport::comparisonLine_data()
{
    QTest::addColumn<qint64>("aMilli");
    QTest::addColumn<qint64>("bMilli");
    QTest::addColumn<QString>("expected");
    const QString pre(11, u' ');
    // Whole tonnes on both sides: tonnes.
    QTest::newRow("12000/3000") << 12000000LL << 3000000LL << pre + "A: 12 t - B: 3 t";
    // One value not a whole tonne: kilograms, decimals cut where zero.
    QTest::newRow("12500/3000") << 12500000LL << 3000000LL << pre + "A: 12.500 Kg - B: 3.000 Kg";
    // Zero counts as whole and stays "0".
    QTest::newRow("0/2000") << 0LL << 2000000LL << pre + "A: 0 t - B: 2 t";
    QTest::newRow("0/0") << 0LL << 0LL << pre + "A: 0 t - B: 0 t";
    // Decimals keep the whole line in kilograms with three decimals.
    QTest::newRow("decimals") << 1234567LL << 1000000LL << pre + "A: 1.234,567 Kg - B: 1.000 Kg";
    QTest::newRow("small") << 500000LL << 105000LL << pre + "A: 500 Kg - B: 105 Kg";
    QTest::newRow("million") << 1000000000LL << 1000000LL << pre + "A: 1.000 t - B: 1 t";
    QTest::newRow("fraction") << 500LL << 0LL << pre + "A: 0,500 Kg - B: 0 Kg";
}

void TestReport::comparisonLine()
{
    QFETCH(qint64, aMilli);
    QFETCH(qint64, bMilli);
    QFETCH(QString, expected);
    QCOMPARE(verify::comparisonLine({{QStringLiteral("A"), Qty::fromMilli(aMilli)},
                                     {QStringLiteral("B"), Qty::fromMilli(bMilli)}}),
             expected);
}

void TestReport::threePairs()
{
    QCOMPARE(verify::comparisonLine({{QStringLiteral("Somma UO"), Qty::fromInt(1000)},
                                     {QStringLiteral("Somma UD"), Qty::fromInt(2000)},
                                     {QStringLiteral("q.ta commerc."), Qty::fromInt(4000)}}),
             QString(11, u' ') + "Somma UO: 1 t - Somma UD: 2 t - q.ta commerc.: 4 t");
}

void TestReport::toleranceBoundaries()
{
    // Declared 100 kg: parts of 105 kg pass (exactly 5%), 105.001 kg do not.
    QVERIFY(toleranceMatch(Qty::fromInt(100), Qty::fromInt(105)));
    QVERIFY(!toleranceMatch(Qty::fromInt(100), Qty::fromMilli(105001)));
    QVERIFY(!toleranceMatch(Qty::fromInt(100), Qty::fromInt(106)));
    QVERIFY(toleranceMatch(Qty::fromInt(100), Qty::fromInt(95)));
    QVERIFY(!toleranceMatch(Qty::fromInt(100), Qty::fromMilli(94999)));
    // A zero declaration never matches a non-zero sum.
    QVERIFY(!toleranceMatch(Qty{}, Qty::fromMilli(1)));
    QVERIFY(toleranceMatch(Qty{}, Qty{}));
}

void TestReport::layout()
{
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("r.txt"));
    {
        Report r;
        QVERIFY(r.open(path));
        r.beginDeclaration({QStringLiteral("Ditta"), QStringLiteral("CF1"), QStringLiteral("Comune"),
                            QStringLiteral("Prov"), QStringLiteral("Via X"), QStringLiteral("3"),
                            QStringLiteral("99")});
        QCOMPARE(r.remarkLevel(), 0);
        r.remark({Class::Warning, {"riga uno", "riga due"}}, QStringLiteral("Soggetto"));
        QCOMPARE(r.remarkLevel(), 1);
        r.remark({Class::Error, {"errore"}}, QStringLiteral("S2"),
                 {{QStringLiteral("L1"), Qty::fromInt(1)}, {QStringLiteral("L2"), Qty::fromInt(2)}});
        QCOMPARE(r.remarkLevel(), 2);
        r.remark({Class::Warning, {"dopo"}}, QStringLiteral("S3"));
        QCOMPARE(r.remarkLevel(), 2); // a warning never lowers an error
        r.beginDeclaration({QStringLiteral("Pulita")});
        QCOMPARE(r.remarkLevel(), 0);
    }
    QFile f(path);
    QVERIFY(f.open(QIODevice::ReadOnly));
    const QByteArray expected =
        "******************* ATTENZIONE *******************\r\n"
        "Si ricorda che il programma non segnala errori se\r\n"
        "il controllo evidenzia differenze inferiori al 5%.\r\n"
        "**************************************************\r\n"
        "\r\n"
        "\r\n"
        "------------ CONTROLLO DI CONGRUENZA ------------\r\n"
        "Nome o Ragione sociale: Ditta\r\n"
        "Codice fiscale: CF1\r\n"
        "Unit\xc3\xa0 locale sita in:\r\n"
        "Comune: Comune\r\n"
        "Provincia: Prov\r\n"
        "Via: Via X Civico: 3\r\n"
        "REA: 99\r\n"
        "------------ ELENCO ERRORI RILEVATI ------------\r\n"
        "\r\n"
        "ATTENZIONE Il dato va verificato al fine di essere sicuri della sua correttezza!\r\n"
        "---------> Soggetto\r\n"
        "           riga uno\r\n"
        "           riga due\r\n"
        "           \r\n"
        "**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!\r\n"
        "---------> S2\r\n"
        "           errore\r\n"
        "           L1: 1 Kg - L2: 2 Kg\r\n"
        "           \r\n"
        "ATTENZIONE Il dato va verificato al fine di essere sicuri della sua correttezza!\r\n"
        "---------> S3\r\n"
        "           dopo\r\n"
        "           \r\n";
    QCOMPARE(f.readAll(), expected);
}

void TestReport::openFailure()
{
    QTemporaryDir dir;
    Report r;
    QVERIFY(!r.open(dir.filePath(QStringLiteral("missing/folder/r.txt"))));
    QCOMPARE(Report::openFailureText(),
             QStringLiteral("Attenzione, errore apertura file notifica errori.\r"
                            "Verificare se si dispone dei permessi di scrittura.\r\r"
                            "Operazione annullata."));
}

QTEST_GUILESS_MAIN(TestReport)
#include "tst_report.moc"
