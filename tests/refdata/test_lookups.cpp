// Reference lookups on the real reference data.

#include "../testdb.h"
#include "refdata/lookups.h"

#include <QSqlQuery>

using namespace refdata;

class TestLookups : public QObject {
    Q_OBJECT
    TestDb t;
private Q_SLOTS:
    void initTestCase() { QVERIFY(t.open()); }
    void init() { t.msg.clear(); }

    void prefixSearchInNameOrder()
    {
        MunicipalitySearch s(*t.db, t.msg);
        const int n = s.search(QStringLiteral("roma"));
        QVERIFY(n >= 3);
        QString prev;
        for (const auto &r : s.rows()) {
            QVERIFY2(r.comDesc.startsWith(QLatin1String("ROMA")), qPrintable(r.comDesc));
            QVERIFY(prev <= r.comDesc);
            prev = r.comDesc;
        }
        QCOMPARE(s.rows()[0].comDesc, QStringLiteral("ROMA"));
        QCOMPARE(s.rows()[0].prvSigla, QStringLiteral("RM"));
        QCOMPARE(s.rows()[0].key(), s.rows()[0].prvIstat * 1000 + s.rows()[0].comIstat);
        QVERIFY(t.msg.shown.isEmpty());

        // The same text again runs no query; a different one does.
        const int q = s.queryCount();
        QCOMPARE(s.search(QStringLiteral("roma")), n);
        QCOMPARE(s.queryCount(), q);
        QVERIFY(s.search(QStringLiteral("ROMA")) == n);
        QCOMPARE(s.queryCount(), q + 1);
    }

    void middleOfNameAndWildcardsFindNothing()
    {
        MunicipalitySearch s(*t.db, t.msg);
        QCOMPARE(s.search(QStringLiteral("OMA")), 0);
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral("Attenzione, Comune non trovato!")});
        QCOMPARE(s.search(QStringLiteral("%OMA")), 0);
        QCOMPARE(s.search(QStringLiteral("R_MA")), 0);
        QVERIFY(s.rows().isEmpty());
    }

    void apostrophe()
    {
        MunicipalitySearch s(*t.db, t.msg);
        QVERIFY(s.search(QStringLiteral("SANT'ANGELO LO")) >= 1);
        QCOMPARE(s.rows()[0].comDesc, QStringLiteral("SANT'ANGELO LODIGIANO"));
        QVERIFY(s.search(QStringLiteral("torre de' b")) >= 1);
        QCOMPARE(s.rows()[0].comDesc, QStringLiteral("TORRE DE' BUSI"));
    }

    void lookupByCodes()
    {
        MunicipalitySearch s(*t.db, t.msg);
        QVERIFY(s.search(QStringLiteral("MILANO")) >= 1);
        const auto milano = s.rows()[0];
        QCOMPARE(s.lookup(milano.prvIstat, milano.comIstat), 1);
        QCOMPARE(s.rows()[0].comDesc, QStringLiteral("MILANO"));
        QCOMPARE(s.rows()[0].comCap, QStringLiteral("20100"));
        QCOMPARE(s.lookup(milano.prvIstat, 999), 0);
        QCOMPARE(s.lookup(0, milano.comIstat), 0);
        QVERIFY(t.msg.shown.isEmpty());
    }

    void pickerRequired()
    {
        QVERIFY(pickerRequiredOk(false, false, {}, t.msg));
        QVERIFY(pickerRequiredOk(true, true, {}, t.msg));
        QVERIFY(t.msg.shown.isEmpty());
        QVERIFY(!pickerRequiredOk(true, false, {}, t.msg));
        QVERIFY(!pickerRequiredOk(true, false, QStringLiteral("Attenzione, comune sede legale richiesto."), t.msg));
        QCOMPARE(t.msg.texts(), (QStringList{QStringLiteral("Attenzione, campo Comune richiesto!"),
                                             QStringLiteral("Attenzione, comune sede legale richiesto.")}));
    }

    void chambers()
    {
        Chamber su = competentChamber(*t.db, t.msg, QStringLiteral("su"));
        QCOMPARE(su.code, 92);
        QCOMPARE(su.sigla, QStringLiteral("CA"));
        QVERIFY(su.message.startsWith(QStringLiteral("Attenzione, la CCIAA di competenza per ")));
        QVERIFY(su.message.contains(QStringLiteral(" è: ") + su.desc + QStringLiteral(".\rad eccezione dei comuni di "
                                                                                       "ESCALAPLANO, ")));
        QVERIFY(su.message.endsWith(QStringLiteral("VILLANOVA TULO per i quali la CCIAA di competenza è NUORO.")));
        QCOMPARE(t.msg.texts(), QStringList{su.message});

        t.msg.clear();
        Chamber bl = competentChamber(*t.db, t.msg, QStringLiteral("BL"));
        QCOMPARE(bl.code, 25);
        QCOMPARE(t.msg.texts(), QStringList{QStringLiteral(
                                    "Attenzione, la CCIAA di competenza per il comune di SAPPADA è UDINE.")});

        t.msg.clear();
        Chamber bt = competentChamber(*t.db, t.msg, QStringLiteral("BT"));
        QCOMPARE(bt.code, 72);
        QVERIFY(bt.message.endsWith(QStringLiteral(
            ".\r(ad eccezione di Margherita di Savoia, San Ferdinando di Puglia e Trinitapoli\r"
            "per i quali la CCIAA di competenza è FOGGIA)")));

        t.msg.clear();
        Chamber mi = competentChamber(*t.db, t.msg, QStringLiteral("MI"));
        QCOMPARE(mi.code, 15);
        QVERIFY(t.msg.shown.isEmpty()); // own chamber, no exception

        Chamber xx = competentChamber(*t.db, t.msg, QStringLiteral("XX"));
        QCOMPARE(xx.code, 0);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, sigla provincia digitata errata!"));

        for (const char *s : {"SS", "OR", "LC"})
            QVERIFY(chamberMessage(QString::fromLatin1(s).toLower(), true, {}, {}).contains(QStringLiteral("NUORO"))
                    || QString::fromLatin1(s) == QLatin1String("LC"));
        QCOMPARE(chamberMessage(QStringLiteral("lc"), true, {}, {}),
                 QStringLiteral("Attenzione, la CCIAA di competenza per il comune di TORRE DE' BUSI è BERGAMO."));
        QVERIFY(chamberMessage(QStringLiteral("OR"), true, {}, {}).contains(QStringLiteral("SUNI, NURRI, TINNURA")));
    }

    void successors()
    {
        QSqlQuery q(t.db->current());
        QVERIFY(q.exec(QStringLiteral("SELECT prvOld, comOld, prvNew, comNew, capNew FROM ComConv ORDER BY prvOld DESC, comOld DESC")));
        comChanged conv(*t.db);
        QCOMPARE(conv.size(), 437);
        int checked = 0;
        while (q.next()) {
            int p = -1, c = -1, p2 = -1, c2 = -1;
            QString cap, cap2;
            QVERIFY(conv.lookup(q.value(0).toInt(), q.value(1).toInt(), p, c, cap));
            QCOMPARE(p, q.value(2).toInt());
            QCOMPARE(c, q.value(3).toInt());
            QCOMPARE(cap, q.value(4).toString());
            QVERIFY(municipalitySuccessor(*t.db, q.value(0).toInt(), q.value(1).toInt(), p2, c2, cap2));
            QCOMPARE(p2, p);
            QCOMPARE(c2, c);
            ++checked;
        }
        QCOMPARE(checked, 437);
        int p = 7, c = 8;
        QString cap = QStringLiteral("keep");
        QVERIFY(!conv.lookup(15, 146, p, c, cap)); // Milano: never suppressed
        QVERIFY(!municipalitySuccessor(*t.db, 15, 146, p, c, cap));
        QVERIFY(!conv.lookup(999, 1, p, c, cap));
        QVERIFY(!conv.lookup(0, 0, p, c, cap));
        QCOMPARE(p, 7);
        QCOMPARE(c, 8);
        QCOMPARE(cap, QStringLiteral("keep"));
    }

    void existence()
    {
        QVERIFY(activityExists(*t.db, QStringLiteral("381100")));
        QVERIFY(!activityExists(*t.db, QStringLiteral("38.11.00")));
        QVERIFY(!activityExists(*t.db, QStringLiteral("' OR '1'='1")));
        QVERIFY(regCEExists(*t.db, QStringLiteral("B1010")));
        QVERIFY(!regCEExists(*t.db, QStringLiteral("B9999")));
        QVERIFY(wasteCodeExists(*t.db, QStringLiteral("200101")));
        QVERIFY(!wasteCodeExists(*t.db, QStringLiteral("209999")));
    }

    void selectableByLevel()
    {
        QVERIFY(!wasteCodeSelectable(QStringLiteral("200100"), 0, false, t.msg));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione, codice rifiuto non selezionabile: 200100"));
        QVERIFY(wasteCodeSelectable(QStringLiteral("200101"), 0, false, t.msg));
        QVERIFY(!wasteCodeSelectable(QStringLiteral("200100"), -1, true, t.msg));
        QVERIFY(!wasteCodeSelectable(QStringLiteral("200000"), 1, false, t.msg));
        QVERIFY(wasteCodeSelectable(QStringLiteral("200100"), 1, false, t.msg));
        QVERIFY(!wasteCodeSelectable(QStringLiteral("200000"), 2, true, t.msg));
        QVERIFY(wasteCodeSelectable(QStringLiteral("200000"), 3, false, t.msg));
        QVERIFY(wasteCodeSelectable(QStringLiteral("200100"), 7, false, t.msg));
        QCOMPARE(t.msg.shown.size(), 2);
    }

    void levelFromTheSettingsFile()
    {
        QVERIFY(t.app->writeText(QStringLiteral("Qor"), QStringLiteral("LivelloRifiuti"), QStringLiteral("2")));
        const qorClass restarted(t.dir.path());
        QCOMPARE(restarted.wasteCodeLevel(), 2);
        QVERIFY(!wasteCodeSelectable(QStringLiteral("200000"), restarted.wasteCodeLevel(), true, t.msg));
        QVERIFY(wasteCodeSelectable(QStringLiteral("200100"), restarted.wasteCodeLevel(), true, t.msg));
        QVERIFY(t.app->writeText(QStringLiteral("Qor"), QStringLiteral("LivelloRifiuti"), QString()));
        QCOMPARE(qorClass(t.dir.path()).wasteCodeLevel(), 0);
    }

    void pickListsAndCodes()
    {
        QCOMPARE(activityMasked(QStringLiteral("381100")), QStringLiteral("38.11.00"));
        QCOMPARE(activityStored(QStringLiteral("38.11.00")), QStringLiteral("381100"));
        const auto act = activityList(*t.db);
        QCOMPARE(act.size(), 1224);
        QVERIFY(act[0].code < act[1].code);
        const auto waste = wasteTable(*t.db);
        QCOMPARE(waste.size(), 973);
        QCOMPARE(waste[0].code, QStringLiteral("010000"));
        QCOMPARE(regCEList(*t.db).size(), 153);

        const auto ops = codeList(*t.db, CodeList::Types1and2);
        QCOMPARE(ops.size(), 28);
        QCOMPARE(ops.first().type, 1);
        QCOMPARE(ops.first().alfa, QStringLiteral("R1"));
        QCOMPARE(ops.last().type, 2);
        QCOMPARE(codeList(*t.db, CodeList::Type4).size(), 28);
        QCOMPARE(codeList(*t.db, CodeList::Type91).size(), 6);
        QCOMPARE(codeList(*t.db, CodeList::Type91)[0].numb, 1);
        QCOMPARE(codeList(*t.db, CodeList::Types11and12).size(), 28);
        QCOMPARE(codeList(*t.db, CodeList::Type21).size(), 11);
        QCOMPARE(typedWasteCodes(*t.db, 31).size(), 22);
    }

    // The vehicle and electrical-equipment code lists name waste codes as the
    // grids store them and the exchange file carries them: six digits, each a
    // code of the waste table. A list in another form would need translating.
    void streamCodeListsHoldWasteCodes()
    {
        QSqlQuery q(t.db->current());
        QVERIFY(q.exec(QStringLiteral(
            "SELECT codType, codAlfa FROM Codici WHERE codType IN (4, 5, 6, 21, 22) AND NOT codAlfa IS NULL "
            "AND (length(codAlfa) <> 6 OR NOT EXISTS (SELECT 1 FROM Rifiuti WHERE Rifiuti.rifCod = Codici.codAlfa))")));
        QStringList odd;
        while (q.next())
            odd << q.value(0).toString() + QLatin1Char(':') + q.value(1).toString();
        QVERIFY2(odd.isEmpty(), qPrintable(odd.join(QLatin1Char(' '))));
        QVERIFY(q.exec(QStringLiteral("SELECT COUNT(*) FROM Codici WHERE codType IN (4, 5, 6, 21, 22)")));
        QVERIFY(q.next());
        QCOMPARE(q.value(0).toInt(), 28 + 9 + 9 + 11 + 11);
    }
};

QTEST_GUILESS_MAIN(TestLookups)
#include "test_lookups.moc"
