// Scheda SA-AUT: the flag strings, the combined required message, the date
// checks at the bounds of the reference year and the warnings question.

#include "../testdb.h"
#include "sections/saaut/saaut.h"

using fields::Record;

namespace {

Record complete()
{
    Record r = saaut::blank();
    r.insert(QStringLiteral("suEstremi"), QStringLiteral("AUT 12/2015"));
    r.insert(QStringLiteral("suDataRil"), QStringLiteral("2015-06-01"));
    r.insert(QStringLiteral("suDataScad"), QStringLiteral("2025-05-31"));
    r.insert(QStringLiteral("suEnte"), 2);
    r.insert(QStringLiteral("suTipo"), 1);
    r.insert(QStringLiteral("suRecupero"), QStringLiteral("0000000000001"));
    return r;
}

int pos(const char *n) { return fields::position(saaut::fieldTable(), QString::fromLatin1(n)); }

} // namespace

class TestSaAut : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;
    AppContext &ctx() { return *t.ctx; }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.db->insertRow(QStringLiteral("SezAnag"), {{QStringLiteral("CodFisc"), QStringLiteral("00488410010")}});
        QVERIFY(saID > 0);
    }
    void init() { t.msg.clear(); }

    void flagStrings()
    {
        const QVector<bool> one = saaut::readFlags(QStringLiteral("1"), saaut::RecoveryCount);
        QCOMPARE(one.size(), 13);
        QVERIFY(one[0]);
        QCOMPARE(one.count(true), 1);
        QCOMPARE(saaut::readFlags(QVariant(), saaut::DisposalCount).count(true), 0);
        const QVector<bool> d = saaut::readFlags(QStringLiteral("000000000000001"), saaut::DisposalCount);
        QVERIFY(d[14]);
        QCOMPARE(saaut::writeFlags(d), QStringLiteral("000000000000001"));
        QCOMPARE(saaut::issuingBodies().at(3), QStringLiteral("Ministero Ambiente "));
        QVERIFY(saaut::types().first().isEmpty());
        QCOMPARE(saaut::types().size(), 7);
    }

    void allRequiredInOneBox()
    {
        QCOMPARE(saaut::saveCheck(ctx(), saaut::blank()), pos("suEstremi"));
        QCOMPARE(t.msg.shown.size(), 1);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione i seguenti dati sono obbligatori:\n"
                                              "Estremi dell'autorizzazione\nData di rilascio\nData di scadenza\n"
                                              "Tipo di autorizzazione\n"
                                              "Operazioni di recupero/smaltimento contenute nell'autorizzazione"));
        // Missing data and wrong date order share the box.
        t.msg.clear();
        Record r = complete();
        r.insert(QStringLiteral("suEstremi"), QString());
        r.insert(QStringLiteral("suDataScad"), QStringLiteral("2015-05-31"));
        QCOMPARE(saaut::saveCheck(ctx(), r), pos("suEstremi"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione i seguenti dati sono obbligatori:\n"
                                              "Estremi dell'autorizzazione\n"
                                              "Data di rilascio e data di scadenza incongruenti."));
        r.insert(QStringLiteral("suEstremi"), QStringLiteral("X"));
        QCOMPARE(saaut::saveCheck(ctx(), r), pos("suDataScad"));
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione,\nData di rilascio e data di scadenza incongruenti."));
        // A disposal operation alone is an operation.
        r = complete();
        r.insert(QStringLiteral("suRecupero"), QString());
        r.insert(QStringLiteral("suSmaltimento"), QStringLiteral("000000000000001"));
        t.msg.clear();
        QCOMPARE(saaut::saveCheck(ctx(), r), -1);
        QVERIFY(t.msg.shown.isEmpty());
    }

    void datesAtTheYearsBounds()
    {
        Record r = complete();
        r.insert(QStringLiteral("suDataRil"), QStringLiteral("2019-01-01"));
        r.insert(QStringLiteral("suDataScad"), QStringLiteral("2019-01-01")); // equal: accepted
        QCOMPARE(saaut::saveCheck(ctx(), r), -1);
        QVERIFY(t.msg.shown.isEmpty());

        r.insert(QStringLiteral("suDataRil"), QStringLiteral("2018-01-01"));
        r.insert(QStringLiteral("suDataScad"), QStringLiteral("2018-12-31"));
        t.msg.answer({true});
        QCOMPARE(saaut::saveCheck(ctx(), r), -1);
        QCOMPARE(t.msg.last(), QStringLiteral("Attenzione,\nLa data di scadenza è antecedente all'anno di riferimento.\n"
                                              "Procedo con il salvataggio?"));
        t.msg.clear();
        r.insert(QStringLiteral("suDataRil"), QStringLiteral("2019-12-31"));
        r.insert(QStringLiteral("suDataScad"), QStringLiteral("2020-01-01"));
        QCOMPARE(saaut::saveCheck(ctx(), r), -1);
        QVERIFY(t.msg.shown.isEmpty());
        r.insert(QStringLiteral("suDataRil"), QStringLiteral("2020-01-01"));
        t.msg.answer({false});
        QCOMPARE(saaut::saveCheck(ctx(), r), pos("suDataRil"));
        QVERIFY(t.msg.last().contains(QStringLiteral("La data di rilascio è successiva all'anno di riferimento.")));
    }

    void capacityWarnings()
    {
        Record r = complete();
        r.insert(QStringLiteral("suEnte"), 0);
        r.insert(QStringLiteral("Incenerimento"), 1);
        r.insert(QStringLiteral("Coincenerimento"), 1);
        r.insert(QStringLiteral("conQta"), 100LL);
        r.insert(QStringLiteral("conRifP"), 60LL);
        r.insert(QStringLiteral("conRifNP"), 41LL);
        t.msg.answer({false});
        QCOMPARE(saaut::saveCheck(ctx(), r), pos("suEnte"));
        const QString sum = QStringLiteral("La somma delle capacità autorizzate per rifiuti pericolosi e non pericolosi "
                                           "risulta superiore alla capacità complessiva.");
        QCOMPARE(t.msg.last(),
                 QStringLiteral("Attenzione,\nL'ente di rilascio non è stato inserito.\n"
                                "Se l'impianto svolge attività di incenerimento indicare la capacità autorizzata nei "
                                "campi ad essa relativi.\n")
                     + sum + QStringLiteral("\nProcedo con il salvataggio?"));
        // Within the total, and an unticked block is not looked at.
        r.insert(QStringLiteral("suEnte"), 1);
        r.insert(QStringLiteral("Incenerimento"), 0);
        r.insert(QStringLiteral("conRifNP"), 40LL);
        t.msg.clear();
        QCOMPARE(saaut::saveCheck(ctx(), r), -1);
        QVERIFY(t.msg.shown.isEmpty());
    }

    void saveLoadAndRefusedWarnings()
    {
        Record r = complete();
        r.insert(QStringLiteral("suSmaltimento"), QStringLiteral("100000000000010"));
        r.insert(QStringLiteral("crClass2"), 7LL);
        r.insert(QStringLiteral("crQta2"), 999999999LL);
        r.insert(QStringLiteral("suVFU"), 1);
        const qint64 id = saaut::save(ctx(), saID, 0, r);
        QVERIFY(id > 0);
        QCOMPARE(saaut::ids(ctx(), saID), QVector<qint64>{id});
        Record back = saaut::load(ctx(), id);
        for (const char *k : {"suEstremi", "suDataRil", "suDataScad", "suEnte", "suTipo", "suRecupero", "suSmaltimento",
                              "crClass2", "crQta2", "suVFU"})
            QCOMPARE(back.value(QString::fromLatin1(k)).toString(), r.value(QString::fromLatin1(k)).toString());

        // Answering No to the warnings writes nothing.
        back.insert(QStringLiteral("suEnte"), 0);
        back.insert(QStringLiteral("suEstremi"), QStringLiteral("CHANGED"));
        t.msg.answer({false});
        int failed = -1;
        QCOMPARE(saaut::checkAndSave(ctx(), saID, id, back, &failed), 0);
        QCOMPARE(failed, pos("suEnte"));
        QCOMPARE(saaut::load(ctx(), id).value(QStringLiteral("suEstremi")).toString(), QStringLiteral("AUT 12/2015"));
        t.msg.answer({true});
        QCOMPARE(saaut::checkAndSave(ctx(), saID, id, back, &failed), id);
        QCOMPARE(saaut::load(ctx(), id).value(QStringLiteral("suEstremi")).toString(), QStringLiteral("CHANGED"));

        // Capacities beyond nine digits are refused.
        r.insert(QStringLiteral("incQta"), 1000000000LL);
        QCOMPARE(saaut::saveCheck(ctx(), r), pos("incQta"));

        t.msg.answer({true});
        QVERIFY(saaut::remove(ctx(), id));
        QVERIFY(saaut::ids(ctx(), saID).isEmpty());
    }
};

QTEST_GUILESS_MAIN(TestSaAut)
#include "test_saaut.moc"
