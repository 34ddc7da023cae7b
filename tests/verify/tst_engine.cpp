// The verification run: selection, order, headers, export marks, the SA1
// rules and the command line.

#include "fixture.h"

#include "shell/cli.h"

#include <QFile>
#include <QTest>

using verify::Mode;

namespace {
const QString Activity = QStringLiteral("Codice ISTAT dell'attività prevalente nell'unità locale errato o mancante.");
const QString OnlyAnag = QStringLiteral("La dichiarazione contiene solo la sezione anagrafica.");
const QString StockNoProd = QStringLiteral("E' presente la quantità in giacenza presso il produttore");
}

class TestEngine : public QObject {
    Q_OBJECT
private:
    // A declaration that passes every rule: produced and delivered, one DR module.
    qint64 clean(Fixture &f, const QString &cf, const QString &name = QStringLiteral("Ditta"))
    {
        const qint64 sa = f.declaration(cf, name);
        const qint64 r = f.rif(sa, QStringLiteral("170405"), {{"qtaProd", 1000}, {"qtaCons", 1000}});
        f.modRif(r, 2, {{"qtaMod", 1000}});
        return sa;
    }
    // Warnings only: stock at the producer without production, balanced otherwise.
    qint64 warningsOnly(Fixture &f, const QString &cf)
    {
        const qint64 sa = f.declaration(cf);
        const qint64 r = f.rif(sa, QStringLiteral("170405"),
                               {{"qtaTerzi", 1000}, {"qtaCons", 900}, {"qtaGiacRec", 100}});
        f.modRif(r, 1, {{"qtaMod", 1000}});
        f.modRif(r, 2, {{"qtaMod", 900}});
        return sa;
    }

private Q_SLOTS:
    void cleanRunHasPreambleOnly();
    void exportMarks();
    void orderAndHeaders();
    void currentDeclarationEvenIfExported();
    void modesAndExportedFilter();
    void sa1Rules();
    void progressAndStop();
    void readByKeyReportedInOrder();
    void reportCannotBeOpened();
    void commandLine();
};

void TestEngine::cleanRunHasPreambleOnly()
{
    Fixture f;
    QVERIFY(f.ok());
    clean(f, QStringLiteral("AAA"));
    clean(f, QStringLiteral("BBB"));
    const auto r = f.run(Mode::All, 0);
    QCOMPARE(r.progress.done, 2);
    QCOMPARE(r.progress.withoutRemarks, 2);
    QVERIFY(!r.result);
    QCOMPARE(r.bytes, QByteArray("******************* ATTENZIONE *******************\r\n"
                                 "Si ricorda che il programma non segnala errori se\r\n"
                                 "il controllo evidenzia differenze inferiori al 5%.\r\n"
                                 "**************************************************\r\n"
                                 "\r\n"));
}

void TestEngine::exportMarks()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 warn = warningsOnly(f, QStringLiteral("AAA"));
    const qint64 err = f.declaration(QStringLiteral("BBB")); // only the anagrafica: an error
    const qint64 ok = clean(f, QStringLiteral("CCC"));
    // A mark left from an earlier run is cleared first.
    QVERIFY(f.db->execute(QStringLiteral("UPDATE SezAnag SET saExp = 1")));
    const auto r = f.run(Mode::All, 0, false, true);
    QVERIFY(r.result);
    QCOMPARE(Fixture::find(r.lines, StockNoProd).size(), 1);
    QVERIFY(f.exportable(warn));
    QVERIFY(!f.exportable(err));
    QVERIFY(f.exportable(ok));
    QCOMPARE(r.progress.withRemarks, 2);
    QCOMPARE(r.progress.withErrors, 1);

    // Without markExportable nothing is touched.
    QVERIFY(f.db->execute(QStringLiteral("UPDATE SezAnag SET saExp = 0")));
    f.run(Mode::All, 0, false, false);
    QVERIFY(!f.exportable(warn));
}

void TestEngine::orderAndHeaders()
{
    Fixture f;
    QVERIFY(f.ok());
    // Inserted out of order: tax code, then name, then saID decide.
    const qint64 b = f.declaration(QStringLiteral("BBB"), QStringLiteral("Beta"));
    const qint64 a2 = f.declaration(QStringLiteral("AAA"), QStringLiteral("Zeta"));
    const qint64 a1 = f.declaration(QStringLiteral("AAA"), QStringLiteral("Alfa"));
    const qint64 a3 = f.declaration(QStringLiteral("AAA"), QStringLiteral("Zeta"));
    const auto r = f.run(Mode::All, 0);
    QStringList names;
    for (const QString &l : r.lines)
        if (l.startsWith(QLatin1String("Nome o Ragione sociale: ")))
            names << l.mid(24);
    QCOMPARE(names, (QStringList{"Alfa", "Zeta", "Zeta", "Beta"}));
    // One header per declaration, each followed by its own remark.
    QCOMPARE(r.lines.count(QStringLiteral("------------ CONTROLLO DI CONGRUENZA ------------")), 4);
    QCOMPARE(Fixture::find(r.lines, OnlyAnag).size(), 4);
    const int first = r.lines.indexOf(QStringLiteral("Nome o Ragione sociale: Alfa"));
    QCOMPARE(r.lines.mid(first - 2, 16),
             (QStringList{QString(), "------------ CONTROLLO DI CONGRUENZA ------------",
                          "Nome o Ragione sociale: Alfa", "Codice fiscale: AAA",
                          "Unità locale sita in:", "Comune: AGLIÈ", "Provincia: TORINO",
                          "Via: Via Roma Civico: 10", "REA: 123456",
                          "------------ ELENCO ERRORI RILEVATI ------------", QString(),
                          "**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!",
                          "---------> Scheda SA1", QString(11, u' ') + OnlyAnag,
                          QString(11, u' ') + "Dev'essere almeno valorizzata una scheda delle sezioni Rifiuto",
                          QString(11, u' ') + "o Intermediazione o V.F.U. o Imballaggi o R.A.E.E."}));
    Q_UNUSED(a1) Q_UNUSED(a2) Q_UNUSED(a3) Q_UNUSED(b)
}

void TestEngine::currentDeclarationEvenIfExported()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 sa = f.declaration(QStringLiteral("AAA"), QStringLiteral("Esportata"),
                                    {{"ExpID", 7}});
    f.declaration(QStringLiteral("BBB"), QStringLiteral("Altra"));
    // Mode "all" skips exported declarations unless asked.
    auto r = f.run(Mode::All, 0, false);
    QVERIFY(!r.lines.contains(QStringLiteral("Nome o Ragione sociale: Esportata")));
    QVERIFY(r.lines.contains(QStringLiteral("Nome o Ragione sociale: Altra")));
    r = f.run(Mode::All, 0, true);
    QVERIFY(r.lines.contains(QStringLiteral("Nome o Ragione sociale: Esportata")));
    // The current declaration alone, with the exported ones included.
    r = f.runOne(sa);
    QCOMPARE(r.progress.done, 1);
    QVERIFY(r.lines.contains(QStringLiteral("Nome o Ragione sociale: Esportata")));
    QVERIFY(!r.lines.contains(QStringLiteral("Nome o Ragione sociale: Altra")));
}

void TestEngine::modesAndExportedFilter()
{
    Fixture f;
    QVERIFY(f.ok());
    f.declaration(QStringLiteral("TO1"), QStringLiteral("Torino"));
    // Vercelli (province 2): another chamber.
    f.declaration(QStringLiteral("VC1"), QStringLiteral("Vercelli"),
                  {{"prvIstat", 2}, {"comIstat", 2}});
    const qint64 toExported = f.declaration(QStringLiteral("TO2"), QStringLiteral("Torino esportata"),
                                            {{"ExpID", 3}});
    auto r = f.run(Mode::Chamber, 1, false);
    QCOMPARE(r.progress.done, 1);
    QVERIFY(r.lines.contains(QStringLiteral("Nome o Ragione sociale: Torino")));
    r = f.run(Mode::Chamber, 1, true);
    QCOMPARE(r.progress.done, 2);
    r = f.run(Mode::Chamber, 2, true);
    QCOMPARE(r.progress.done, 1);
    QVERIFY(r.lines.contains(QStringLiteral("Nome o Ragione sociale: Vercelli")));
    // Mode "one declaration" with the exported filter still applies the filter.
    r = f.run(Mode::Declaration, toExported, false);
    QCOMPARE(r.progress.done, 0);
}

void TestEngine::sa1Rules()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 unknown = f.declaration(QStringLiteral("AAA"), QStringLiteral("Ditta"),
                                         {{"attIstat", "999999"}});
    f.rif(unknown, QStringLiteral("170405"), {{"qtaGiacRec", 10}});
    auto r = f.runOne(unknown);
    QCOMPARE(Fixture::find(r.lines, Activity), QStringList{"E Scheda SA1 | " + Activity});
    // The SA1 remark comes before the remarks of the sections.
    QVERIFY(r.lines.indexOf(QString(11, u' ') + StockNoProd) > 0);
    QVERIFY(r.lines.indexOf(QString(11, u' ') + Activity) < r.lines.indexOf(QString(11, u' ') + StockNoProd));
    QVERIFY(Fixture::find(r.lines, OnlyAnag).isEmpty());

    const qint64 missing = f.declaration(QStringLiteral("BBB"), QStringLiteral("Ditta"),
                                         {{"attIstat", QVariant()}});
    f.rif(missing, QStringLiteral("170405"), {{"qtaProd", 10}, {"qtaGiacRec", 10}});
    QCOMPARE(Fixture::find(f.runOne(missing).lines, Activity).size(), 1);

    const qint64 good = clean(f, QStringLiteral("CCC"));
    QVERIFY(Fixture::find(f.runOne(good).lines, Activity).isEmpty());

    // A scheda of any section is enough to avoid the "only anagrafica" error.
    const qint64 withInt = f.declaration(QStringLiteral("DDD"));
    f.insert(QStringLiteral("SezInt"), Fixture::qty({{"saID", withInt}, {"rifCod", "170405"}, {"intQta", 0}}));
    QVERIFY(Fixture::find(f.runOne(withInt).lines, OnlyAnag).isEmpty());
    const qint64 withImb = f.declaration(QStringLiteral("EEE"));
    f.insert(QStringLiteral("SezImb"), {{"saID", withImb}});
    QVERIFY(Fixture::find(f.runOne(withImb).lines, OnlyAnag).isEmpty());
}

void TestEngine::progressAndStop()
{
    Fixture f;
    QVERIFY(f.ok());
    for (const char *cf : {"A1", "A2", "A3"})
        f.declaration(QString::fromLatin1(cf));
    verify::Engine engine(*f.db, f.msg);
    QVERIFY(engine.openReport(f.app->reportPath()));
    QList<int> seen, totals;
    const bool result = engine.run(Mode::All, 0, true, true, [&](const verify::Progress &p) -> bool {
        seen << p.done;
        totals << p.total;
        return p.done < 2; // stop after the second declaration
    });
    QCOMPARE(totals, (QList<int>{3, 3}));
    QVERIFY(result);
    QVERIFY(engine.cancelled());
    QCOMPARE(seen, (QList<int>{1, 2}));
    QCOMPARE(engine.progress().withRemarks, 2);
}

// The declarations are read by key and the report lists them by tax code:
// the same bytes as when they are read in the report's order (no spool file
// to be had), and a run stopped early lists what it verified in that order.
void TestEngine::readByKeyReportedInOrder()
{
    Fixture f;
    QVERIFY(f.ok());
    for (const char *cf : {"D4", "B2", "A1", "C3", "E5"})
        f.declaration(QString::fromLatin1(cf), QString::fromLatin1(cf) + QStringLiteral(" SRL"));
    const QStringList spooled = f.run(Mode::All, 0).lines;
    Spool::enabled = false;
    const QStringList direct = f.run(Mode::All, 0).lines;
    Spool::enabled = true;
    QCOMPARE(spooled, direct);
    QStringList names;
    for (const QString &l : spooled)
        if (l.startsWith(QLatin1String("Codice fiscale: ")))
            names << l.mid(16);
    QCOMPARE(names, (QStringList{"A1", "B2", "C3", "D4", "E5"}));

    // Stopped after three: by key those are D4, B2 and A1.
    verify::Engine engine(*f.db, f.msg);
    QVERIFY(engine.openReport(f.app->reportPath()));
    engine.run(Mode::All, 0, true, false, [](const verify::Progress &p) { return p.done < 3; });
    QVERIFY(engine.cancelled());
    QFile file(f.app->reportPath());
    QVERIFY(file.open(QIODevice::ReadOnly));
    names.clear();
    for (const QString &l : QString::fromUtf8(file.readAll()).split(QStringLiteral("\r\n")))
        if (l.startsWith(QLatin1String("Codice fiscale: ")))
            names << l.mid(16);
    QCOMPARE(names, (QStringList{"A1", "B2", "D4"}));
}

void TestEngine::reportCannotBeOpened()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 sa = clean(f, QStringLiteral("AAA"));
    QVERIFY(f.db->execute(QStringLiteral("UPDATE SezAnag SET saExp = 1")));
    verify::Engine engine(*f.db, f.msg);
    QVERIFY(!engine.openReport(f.dir.filePath(QStringLiteral("no/such/dir/r.txt"))));
    QCOMPARE(f.msg.shown.size(), 1);
    QCOMPARE(f.msg.shown[0].kind, ScriptedMessages::Kind::Critical);
    QCOMPARE(f.msg.last(), QStringLiteral("Attenzione, errore apertura file notifica errori.\r"
                                          "Verificare se si dispone dei permessi di scrittura.\r\r"
                                          "Operazione annullata."));
    // No run without a report: the marks stay as they were.
    QVERIFY(!engine.run(Mode::All, 0, true, true));
    QVERIFY(f.exportable(sa));
}

void TestEngine::commandLine()
{
    Fixture f;
    QVERIFY(f.ok());
    const qint64 good = clean(f, QStringLiteral("AAA"));
    const qint64 bad = f.declaration(QStringLiteral("BBB"));
    const QString db = f.db->currentPath();
    f.db->disconnect();
    qputenv("QOR_DATA", f.dir.path().toUtf8());
    const QString report = f.dir.filePath(QStringLiteral("cli.txt"));

    QCOMPARE(cli::verify({"--db", db, "--dichiarazione", QString::number(good), "--report", report}), 0);
    QCOMPARE(cli::verify({"--db", db, "--dichiarazione", QString::number(bad), "--report", report}), 1);
    QCOMPARE(cli::verify({"--db", db, "--tutte"}), 1);
    QVERIFY(QFile::exists(f.dir.filePath(QStringLiteral("Qor2019Err.txt"))));
    QCOMPARE(cli::verify({"--db", db, "--provincia", "vc"}), 0); // no declaration there
    QCOMPARE(cli::verify({"--db", db, "--provincia", "to", "--anche-esportate"}), 1);
    // Usage errors.
    QCOMPARE(cli::verify({"--db", db}), 2);
    QCOMPARE(cli::verify({"--db", db, "--tutte", "--provincia", "TO"}), 2);
    QCOMPARE(cli::verify({"--db", db, "--dichiarazione", "x"}), 2);
    QCOMPARE(cli::verify({"--db", db, "--tutte", "--altro"}), 2);
    QCOMPARE(cli::verify({"--db", db, "--provincia", "ZZ"}), 2);
}

QTEST_GUILESS_MAIN(TestEngine)
#include "tst_engine.moc"
