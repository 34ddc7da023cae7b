#include "shell/qty.h"

#include <QTest>

class TestQty : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void parseAndFormat_data()
    {
        QTest::addColumn<QString>("typed");
        QTest::addColumn<qint64>("milli");
        QTest::addColumn<QString>("shown");
        QTest::newRow("plain") << "1234" << qint64(1234000) << "1.234,000";
        QTest::newRow("comma decimals") << "1234,5" << qint64(1234500) << "1.234,500";
        QTest::newRow("thousands and decimals") << "1.234,567" << qint64(1234567) << "1.234,567";
        QTest::newRow("dot as decimal") << "0.25" << qint64(250) << "0,250";
        QTest::newRow("dot as thousands") << "1.000" << qint64(1000000) << "1.000,000";
        QTest::newRow("largest file value") << "9999999,999" << qint64(9999999999) << "9.999.999,999";
        QTest::newRow("empty is zero") << "" << qint64(0) << "0,000";
        QTest::newRow("negative") << "-3,5" << qint64(-3500) << "-3,500";
        QTest::newRow("blanks") << "  12,1 " << qint64(12100) << "12,100";
    }
    void parseAndFormat()
    {
        QFETCH(QString, typed);
        QFETCH(qint64, milli);
        QFETCH(QString, shown);
        auto q = Qty::parse(typed);
        QVERIFY(q.has_value());
        QCOMPARE(q->toMilli(), milli);
        QCOMPARE(q->format(), shown);
    }

    void parseRefusesWhatIsNotAQuantity()
    {
        for (const char *bad : {"12,3456", "abc", "1,2,3", "12a", "1e5"})
            QVERIFY2(!Qty::parse(QString::fromLatin1(bad)).has_value(), bad);
    }

    void noDriftOverManySums()
    {
        // 0,001 added a million times is exactly 1.000,000: no binary fractions.
        Qty sum;
        for (int i = 0; i < 1000000; ++i)
            sum += Qty::fromMilli(1);
        QCOMPARE(sum, Qty::fromInt(1000));
        QCOMPARE(Qty::fromMilli(100) + Qty::fromMilli(200), Qty::fromMilli(300));
    }

    void kilograms()
    {
        QCOMPARE(Qty::fromMilli(1500).kg(1), Qty::fromMilli(1500));
        QCOMPARE(Qty::fromMilli(1500).kg(2), Qty::fromInt(1500));
        // any unit other than 1 counts as tonnes, an empty amount as 0
        QCOMPARE(Qty::fromMilli(2).kg(0), Qty::fromInt(2));
        QCOMPARE(qtyKg(QVariant(), QVariant(2)), Qty());
        QCOMPARE(qtyKg(QVariant(qint64(1050)), QVariant(2)), Qty::fromInt(1050));
        QCOMPARE(Qty::fromStore(QVariant(QStringLiteral("1234.567"))).toMilli(), qint64(1234567));
    }

    void tolerance()
    {
        const Qty hundred = Qty::fromInt(100);
        QVERIFY(toleranceMatch(hundred, hundred));
        QVERIFY(toleranceMatch(hundred, Qty::fromInt(105)));          // exactly 5 %
        QVERIFY(toleranceMatch(hundred, Qty::fromInt(95)));
        QVERIFY(!toleranceMatch(hundred, Qty::fromMilli(105001)));    // just above
        QVERIFY(!toleranceMatch(hundred, Qty::fromInt(106)));
        QVERIFY(!toleranceMatch(Qty(), Qty::fromInt(1)));             // zero total never matches
        QVERIFY(toleranceMatch(Qty(), Qty()));
        // 1.000 kg received against parts of 1,05 t and 1,051 t
        const Qty received = Qty::fromInt(1000);
        QVERIFY(toleranceMatch(received, Qty::fromMilli(1050).kg(2)));
        QVERIFY(!toleranceMatch(received, Qty::fromMilli(1051).kg(2)));
        // large amounts do not overflow
        const Qty big = Qty::fromMilli(9999999999).kg(2);
        QVERIFY(toleranceMatch(big, big - Qty::fromInt(1)));
    }

    void units()
    {
        QCOMPARE(unitText(1), QStringLiteral("Kg"));
        QCOMPARE(unitText(2), QStringLiteral("t"));
        QCOMPARE(unitText(0), QString());
        QCOMPARE(unitText(3), QString());
        QCOMPARE(unitCode(QStringLiteral("Kg")), 1);
        QCOMPARE(unitCode(QStringLiteral("t")), 2);
        QCOMPARE(unitCode(QStringLiteral("kg")), 0);
        QCOMPARE(unitCode(QStringLiteral("T")), 0);
    }
};

QTEST_GUILESS_MAIN(TestQty)
#include "test_qty.moc"
