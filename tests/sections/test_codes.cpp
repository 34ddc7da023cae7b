#include "sections/codes.h"

#include <QTest>

class TestCodes : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void wasteFamilies()
    {
        QVERIFY(codes::isPackagingCode(QStringLiteral("150101")));
        QVERIFY(codes::isPackagingCode(QStringLiteral("150109")));
        QVERIFY(!codes::isPackagingCode(QStringLiteral("150110")));
        QVERIFY(!codes::isPackagingCode(QStringLiteral("150100")));
        QVERIFY(codes::isElectricalCode(QStringLiteral("160210")));
        QVERIFY(codes::isElectricalCode(QStringLiteral("160216")));
        QVERIFY(!codes::isElectricalCode(QStringLiteral("160217")));
        QVERIFY(!codes::isElectricalCode(QStringLiteral("160209")));
        for (const char *c : {"200121", "200123", "200135", "200136"})
            QVERIFY(codes::isElectricalCode(QString::fromLatin1(c)));
        QVERIFY(!codes::isElectricalCode(QStringLiteral("200122")));
        QVERIFY(codes::isUrbanOriginCode(QStringLiteral("191212")));
        QVERIFY(codes::isUrbanOriginCode(QStringLiteral("190503")));
        QVERIFY(!codes::isUrbanOriginCode(QStringLiteral("190502")));
        QVERIFY(codes::isBatteryCode(QStringLiteral("160601")));
        QVERIFY(codes::isBatteryCode(QStringLiteral("160605")));
        QVERIFY(!codes::isBatteryCode(QStringLiteral("160606")));
        QVERIFY(!codes::isBatteryCode(QStringLiteral("160600")));
        QVERIFY(codes::isBatteryCode(QStringLiteral("200134")));
    }

    void choiceLists()
    {
        QCOMPARE(codes::mgPlantTypes().size(), 13);
        QCOMPARE(codes::mgPlantTypes().at(codes::PlantInceneritore - 1), QStringLiteral("Inceneritore (D10)"));
        QCOMPARE(codes::mgPlantTypes().at(codes::PlantDiscarica - 1), QStringLiteral("Discarica (D1,D5,D12)"));
        QCOMPARE(codes::reActivities()[0].first, 4);
        QCOMPARE(codes::reActivities()[1].first, 2);
    }
};

QTEST_GUILESS_MAIN(TestCodes)
#include "test_codes.moc"
