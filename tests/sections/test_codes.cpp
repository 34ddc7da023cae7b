#include "sections/codes.h"

#include <QSet>
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

    // Each section's captions come from the slots of the materials record: the
    // packaging frame must read exactly as on the paper form, every section
    // must have one caption per column of its slot table.
    void materials()
    {
        QCOMPARE(codes::imbMaterials(),
                 QStringList({"Altro", "Legno", "Plastica", "Carta e cartone", "Rottami in alluminio",
                              "Rottami in vetro", "Rottami di ferro e acciaio"}));
        QCOMPARE(codes::matMaterials().size(), 20);
        QCOMPARE(codes::sectionMaterials(codes::MatKind::Raee).size(), 7);
        QCOMPARE(codes::sectionMaterials(codes::MatKind::Vfu).size(), 8);
        QCOMPARE(QSet<QString>(codes::matMaterials().begin(), codes::matMaterials().end()).size(), 20);
        using K = codes::MatKind;
        // Plastics: MAT 06, TRA-RAEE 02; paper: MAT 10, IMB 04; MAT 19 has no slot
        // in the packaging box.
        QCOMPARE(codes::sameMaterial(K::Declaration, 6, K::Raee), 2);
        QCOMPARE(codes::sameMaterial(K::Declaration, 10, K::Imb), 4);
        QCOMPARE(codes::sameMaterial(K::Declaration, 19, K::Imb), 0);
        QCOMPARE(codes::matMaterials().at(5), QStringLiteral("Plastica"));
    }
};

QTEST_GUILESS_MAIN(TestCodes)
#include "test_codes.moc"
