// The printed list of declarations and the printed declaration, on a test
// database: what is read, how it is paginated, that no text overlaps, and the
// "qor print" command.

#include "pdftestutil.h"
#include "print/dichiarazione.h"
#include "print/elenco.h"
#include "print/printcommon.h"
#include "print/fieldprint.h"
#include "print/schedeprint.h"
#include "refdata/template.h"
#include "sections/codes.h"
#include "sections/stream/stream.h"
#include "shell/cli.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "verify/engine.h"
#include "verify/outcome.h"

#include <QBuffer>
#include <QRegularExpression>
#include <QFile>
#include <QFileInfo>
#include <QSet>
#include <QSqlQuery>
#include <QTemporaryDir>
#include <QtTest>

using namespace pdftest;

namespace {

QByteArray readFile(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

QByteArray latin(const QString &s) { return clsPDFCreator::toWinAnsi(s); }

bool anyContains(const QList<QByteArray> &texts, const QByteArray &what)
{
    for (const QByteArray &t : texts)
        if (t.contains(what))
            return true;
    return false;
}

// Value of the field with that caption in a frame ("<assente>" when none).
QString field(const print::FormFrame &f, const QString &caption)
{
    for (const print::FormRow &r : f.rows)
        for (const print::FormField &x : r)
            if (x.caption == caption)
                return x.value;
    return QStringLiteral("<assente>");
}

bool isHeading(const print::FormRow &r) { return r.size() == 1 && r.first().width <= 0; }

// The headings inside a frame, and for each the values of the fields under
// it ("" for the fields before the first heading), joined by "|".
QStringList outline(const print::FormFrame &f)
{
    QStringList out{QString()};
    for (const print::FormRow &r : f.rows) {
        if (isHeading(r)) {
            out.append(r.first().caption + u':');
            continue;
        }
        for (const print::FormField &x : r)
            if (!x.value.isEmpty())
                out.last() += u'|' + x.value;
    }
    return out;
}

QStringList titlesOf(const QList<print::FormFrame> &frames)
{
    QStringList t;
    for (const print::FormFrame &f : frames)
        t.append(f.title);
    return t;
}

// A declaration of these frames, written in memory.
QByteArray declaration(const QList<print::FormFrame> &frames)
{
    return declarationPdf({QStringLiteral("Ditta"), {}}, frames);
}

} // namespace

class TestPrintLayouts : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void listReadsDeclarations();
    void listIsPaginatedWithoutOverlaps();
    void listShowsLastVerification();
    void listOrderHoldsAcrossWindows();
    void listWindowWalksAnIndex();
    void listPagesCountedBeforeDrawn();
    void listPrintReportsProgressAndStops();
    void declarationPrintsAnagrafica();
    void declarationPrintsSchedeRif();
    void declarationPrintsSaAutAndInt();
    void declarationPrintsImb();
    void declarationPrintsVfuAndRaee();
    void fieldsFillRows();
    void tallFramesGoOnNextPages();
    void wrapping();
    void commandLine();

private:
    // Adds a row: columns "a,b,c" with their values; returns the new key.
    qint64 add(const char *table, const char *columns, const QVariantList &values);
    qint64 addDeclaration(const QString &cf, const QString &name, int prv, int com, qint64 expID = 0);

    QTemporaryDir dir_;
    QString dbPath_;
    std::unique_ptr<qorClass> app_;
    ScriptedMessages msg_;
    std::unique_ptr<dbClass> db_;
    qint64 first_ = 0, forli_ = 0;
};

qint64 TestPrintLayouts::add(const char *table, const char *columns, const QVariantList &values)
{
    QVariantMap row;
    const QStringList names = QString::fromLatin1(columns).split(u',');
    for (int i = 0; i < names.size(); ++i)
        row.insert(names.at(i), values.value(i));
    return db_->insertRow(QString::fromLatin1(table), row);
}

qint64 TestPrintLayouts::addDeclaration(const QString &cf, const QString &name, int prv, int com, qint64 expID)
{
    return add("SezAnag",
               "saAnno,CodFisc,RagSoc,prvIstat,comIstat,Via,Civico,Cap,slPrvIstat,slComIstat,slVia,attIstat,Addetti,"
               "Mesi,saCognome,saNome,saDataComp,saAnnulla,saExp,ExpID",
               {2019, cf, name, prv, com, QStringLiteral("Via dell'Artigianato"), QStringLiteral("12/bis"),
                QStringLiteral("47121"), prv, com, QStringLiteral("Piazza Saffi"), QStringLiteral("381100"), 12, 12,
                QStringLiteral("Nicolò"), QStringLiteral("Mattia"), QStringLiteral("2019-03-15"), 0, 0, expID});
}

void TestPrintLayouts::initTestCase()
{
    QVERIFY(dir_.isValid());
    qputenv("QOR_DATA", dir_.filePath(QStringLiteral("data")).toUtf8());
    dbPath_ = dir_.filePath(QStringLiteral("prova.db"));
    app_ = std::make_unique<qorClass>(dir_.filePath(QStringLiteral("data")));
    QString error;
    QVERIFY2(refdata::createDatabase(dbPath_, app_->refdataFolder(), &error), qPrintable(error));
    db_ = std::make_unique<dbClass>(*app_, msg_);
    db_->setCurrentPath(dbPath_);
    QVERIFY(db_->connect());

    // Forlì (40/12, chamber 40), Milano (15/146), Roma (58/91)
    first_ = addDeclaration(QStringLiteral("01234567890"),
                            QStringLiteral("Società Cooperativa “Il Melograno” di Rossi & Figli S.n.c. "
                                           "(già Verdi) con un nome molto lungo"),
                            15, 146);
    QVERIFY(db_->execute(QStringLiteral("INSERT INTO expTab (expID, expData, expProv, expSaID, expDic) "
                                        "VALUES (7, '2019-04-02T10:00:00', 40, 0, 1)")));
    forli_ = addDeclaration(QStringLiteral("RSSMRA80A01F205X"), QStringLiteral("Mario Rossi"), 40, 12, 7);
    addDeclaration(QStringLiteral("09876543210"), QStringLiteral("Euro € Servizi"), 58, 91);
    for (int i = 0; i < 60; ++i)
        addDeclaration(QStringLiteral("ZZ%1").arg(i, 5, 10, QChar(u'0')), QStringLiteral("Ditta %1").arg(i), 15, 146);
    for (const char *sql : {"INSERT INTO SezRif (saID, rifCod) VALUES (?, '150101')",
                            "INSERT INTO SezRif (saID, rifCod) VALUES (?, '150102')",
                            "INSERT INTO SaAut (saID) VALUES (?)",
                            "INSERT INTO SezVfu (saID, vfuTipo) VALUES (?, 3)",
                            "INSERT INTO SezRaee (saID, srTipo, srRAEE) VALUES (?, 1, 2)"})
        QVERIFY(db_->execute(QString::fromLatin1(sql), {first_}));
}

void TestPrintLayouts::cleanupTestCase()
{
    db_.reset();
}

void TestPrintLayouts::listPrintReportsProgressAndStops()
{
    QVERIFY(db_->execute(QStringLiteral("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 450) "
                                        "INSERT INTO SezAnag (saAnno, RagSoc, CodFisc) "
                                        "SELECT 2019, 'DITTA IN SERIE ' || i, printf('%011d', i) FROM n")));
    const qint64 declarations = print::elencoCount(*db_, 0);
    QVERIFY(declarations > 450);
    QTemporaryDir dir;
    const QString path = dir.filePath(QStringLiteral("elenco.pdf"));

    // Both passes reported, in order, up to the whole.
    QList<qint64> done;
    QSet<qint64> totals;
    bool cancelled = true;
    QString error;
    QVERIFY2(print::printElenco(*db_, 0, QStringLiteral("Tutte"), path, &error,
                                [&](qint64 d, qint64 t) {
                                    done << d;
                                    totals << t;
                                    return true;
                                },
                                &cancelled),
             qPrintable(error));
    QVERIFY(!cancelled);
    QVERIFY(QFileInfo(path).size() > 0);
    QVERIFY(done.size() >= 2 * 450 / 100);
    QVERIFY(std::is_sorted(done.begin(), done.end()));
    QCOMPARE(done.last(), 2 * declarations);
    QCOMPARE(totals, QSet<qint64>{2 * declarations});

    // Stopped at the first report: no file, the reason, no further report.
    int calls = 0;
    QVERIFY(!print::printElenco(*db_, 0, QStringLiteral("Tutte"), path, &error,
                                [&](qint64, qint64) {
                                    ++calls;
                                    return false;
                                },
                                &cancelled));
    QVERIFY(cancelled);
    QCOMPARE(calls, 1);
    QCOMPARE(error, QStringLiteral("Stampa annullata dall'utente"));
    QVERIFY(!QFile::exists(path));
    QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezAnag WHERE RagSoc LIKE 'DITTA IN SERIE %'")));
}

void TestPrintLayouts::listReadsDeclarations()
{
    QList<print::ElencoRow> rows;
    QVERIFY(print::readElenco(*db_, 0, &rows));
    QCOMPARE(rows.size(), 63);
    // order of company name, whatever its case: "Ditta 0" .. "Ditta 59", then the others
    QCOMPARE(rows.at(0).ragSoc, QStringLiteral("Ditta 0"));
    QCOMPARE(rows.at(60).codFisc, QStringLiteral("09876543210"));
    QCOMPARE(rows.at(61).saID, forli_);
    QCOMPARE(rows.at(62).saID, first_);
    QCOMPARE(rows.at(62).schede, QStringLiteral("SA-AUT, RIF (2), FRA, TRA-RAEE"));
    QCOMPARE(rows.at(62).unita, QStringLiteral("Via dell'Artigianato, 12/bis - 47121"));
    QCOMPARE(rows.at(62).comune, QStringLiteral("MILANO (MI)"));
    QCOMPARE(rows.at(62).esportazione, QStringLiteral("non esportata"));
    QCOMPARE(rows.at(62).compilata, QStringLiteral("15/03/2019"));
    QCOMPARE(rows.at(62).verifica, QStringLiteral("non verificata"));
    QCOMPARE(rows.at(60).schede, QStringLiteral("nessuna"));
    QCOMPARE(rows.at(61).esportazione, QStringLiteral("n. 7 del 02/04/2019"));
    QCOMPARE(rows.at(61).comune, QStringLiteral("FORLÌ (FC)"));
    // a lower-case name sorts among the others, not after them
    const qint64 lower = addDeclaration(QStringLiteral("LLL00000001"), QStringLiteral("ditta 00"), 15, 146);
    QVERIFY(print::readElenco(*db_, 0, &rows));
    QCOMPARE(rows.at(1).saID, lower);
    QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezAnag WHERE (saID = ?)"), {lower}));

    const print::Chamber fc = print::chamberOf(*db_, QStringLiteral("fc"));
    QCOMPARE(fc.code, 40);
    QCOMPARE(fc.name, QStringLiteral("FORLÌ-CESENA"));
    QCOMPARE(print::chamberOf(*db_, QStringLiteral("SU")).code, 92);   // chamber of another province
    QCOMPARE(print::chamberOf(*db_, QStringLiteral("XX")).code, 0);
    QVERIFY(print::readElenco(*db_, 40, &rows));
    QCOMPARE(rows.size(), 1);
    QCOMPARE(rows.at(0).saID, forli_);
    QVERIFY(print::readElenco(*db_, 1, &rows));   // Torino: nobody
    QVERIFY(rows.isEmpty());
}

void TestPrintLayouts::listIsPaginatedWithoutOverlaps()
{
    QList<print::ElencoRow> rows;
    QVERIFY(print::readElenco(*db_, 0, &rows));
    QByteArray doc;
    QBuffer buf(&doc);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    print::setupElenco(pdf);
    QVERIFY(pdf.open(&buf));
    QVERIFY(print::writeElenco(pdf, rows, QStringLiteral("Tutte le dichiarazioni"),
                               QDateTime(QDate(2019, 5, 6), QTime(7, 8))));
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
    QCOMPARE(pdf.pageCount(), 3);
    QVERIFY(object(doc, 3).contains("/Rotate 90"));
    for (int p = 0; p < 3; ++p) {
        const QList<QByteArray> t = shownTexts(doc, p);
        QVERIFY(t.contains("Elenco dichiarazioni"));
        QVERIFY(t.contains("Ragione sociale"));
        QVERIFY(t.contains(latin(QStringLiteral("Unità locale"))));
        QVERIFY(t.contains("Pagina " + QByteArray::number(p + 1) + " di 3"));
        QVERIFY(t.contains("Stampato il 06/05/2019 alle 07:08"));
    }
    const QList<QByteArray> last = shownTexts(doc, 2);
    // the long company name is wrapped, not cut: its pieces add up to the whole
    QByteArray name;
    for (const QByteArray &t : last)
        if (name.isEmpty() ? t.startsWith(latin(QStringLiteral("Società"))) : !name.endsWith("lungo"))
            name += (name.isEmpty() ? "" : " ") + t;
    QCOMPARE(name, latin(rows.at(62).ragSoc));
    QVERIFY(anyContains(last, latin(QStringLiteral("FORLÌ (FC)"))));
    QVERIFY(anyContains(last, "n. 7 del"));
    for (const char *column : {"Compilata", "Verifica", "Esportazione"})
        QVERIFY2(shownTexts(doc, 0).contains(column), column);
    QVERIFY(last.contains("15/03/2019"));
    QVERIFY(anyContains(last, "non verificata"));
    QVERIFY(shownTexts(doc, 2).contains("Totale dichiarazioni: 63"));
    QVERIFY(!anyContains(shownTexts(doc, 1), "Totale"));

    // an empty list still prints its page
    QByteArray empty;
    QBuffer eb(&empty);
    eb.open(QIODevice::WriteOnly);
    clsPDFCreator e;
    print::setupElenco(e);
    e.open(&eb);
    QVERIFY(print::writeElenco(e, {}, QStringLiteral("x"), QDateTime::currentDateTime()));
    QCOMPARE(e.pageCount(), 1);
    QVERIFY(shownTexts(empty, 0).contains("Nessuna dichiarazione."));
    QVERIFY(shownTexts(empty, 0).contains("Pagina 1 di 1"));
}

// The list shows what the last verification of each declaration found, kept
// apart from the declaration and gone with it; an archive without the table
// gains it.
void TestPrintLayouts::listShowsLastVerification()
{
    auto shown = [this](qint64 saID) {
        QList<print::ElencoRow> rows;
        if (!print::readElenco(*db_, 0, &rows))
            return QStringLiteral("<lettura non riuscita>");
        for (const print::ElencoRow &r : rows)
            if (r.saID == saID)
                return r.verifica;
        return QStringLiteral("<assente>");
    };
    const QString today = QDate::currentDate().toString(QStringLiteral("dd/MM/yyyy"));
    const qint64 sa = addDeclaration(QStringLiteral("VVV00000001"), QStringLiteral("Da verificare"), 40, 12);
    QCOMPARE(shown(sa), QStringLiteral("non verificata"));
    for (const bool forExport : {false, true}) {
        verify::Engine engine(*db_, msg_);
        QVERIFY(engine.openReport(dir_.filePath(QStringLiteral("verifica.txt"))));
        engine.run(verify::Mode::Declaration, sa, true, forExport);
        QVERIFY(!engine.failed());
        const verify::Progress &p = engine.progress();
        QCOMPARE(p.done, 1);
        const QString outcome = p.withErrors     ? QStringLiteral("errori")
                                : p.withRemarks  ? QStringLiteral("avvisi")
                                                 : QStringLiteral("nessuna segnalazione");
        QCOMPARE(shown(sa), outcome + QStringLiteral(" (") + today + u')');
    }
    // a later run replaces the outcome; every level has its words
    QVERIFY(verify::recordOutcome(*db_, sa, 0, QDate(2019, 3, 4)));
    QCOMPARE(shown(sa), QStringLiteral("nessuna segnalazione (04/03/2019)"));
    QVERIFY(verify::recordOutcome(*db_, sa, 1, QDate(2019, 3, 5)));
    QCOMPARE(shown(sa), QStringLiteral("avvisi (05/03/2019)"));

    QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezAnag WHERE (saID = ?)"), {sa}));
    QCOMPARE(db_->scalar(QStringLiteral("SELECT COUNT(*) FROM VerEsito WHERE (saID = ?)"), {sa}).toInt(), 0);
    QVERIFY(db_->execute(QStringLiteral("DROP TABLE VerEsito")));
    QCOMPARE(shown(forli_), QStringLiteral("non verificata"));
    QVERIFY(verify::recordOutcome(*db_, forli_, 2, QDate(2019, 3, 6)));
    QCOMPARE(shown(forli_), QStringLiteral("errori (06/03/2019)"));
    QVERIFY(db_->execute(QStringLiteral("DELETE FROM VerEsito")));
}

// The list is read a window at a time in the order of the SQL; it must be
// the order the list always had: the rows by name, tax code and key, then
// sorted again (stably) by the name trimmed and whatever its case.
void TestPrintLayouts::listOrderHoldsAcrossWindows()
{
    QList<qint64> added;
    int n = 0;
    for (const char *name : {"beta", "Beta", "BETA", "  alfa", "Alfa", "alfa ", "ALFA", "Gamma", "Gamma", "gamma",
                             "delta", "Delta", "", "_x", "Ditta 1", "DITTA 1", "ditta 10"}) {
        for (const char *cf : {"BBB", "AAA"})
            added.append(addDeclaration(QString::fromLatin1(cf) + QString::number(n / 3), QString::fromLatin1(name),
                                        n % 2 ? 40 : 15, n % 2 ? 12 : 146));
        ++n;
    }
    const int milano = print::chamberOf(*db_, QStringLiteral("MI")).code;
    for (const int chamber : {0, milano}) {
        // the rows as the list read them before it was read in windows
        QString sql = QStringLiteral("SELECT SezAnag.saID, SezAnag.RagSoc FROM SezAnag LEFT JOIN Comuni ON "
                                     "(SezAnag.comIstat = Comuni.comIstat) AND (SezAnag.prvIstat = Comuni.prvIstat) ");
        if (chamber > 0)
            sql += QStringLiteral("WHERE (Comuni.comCCIAA = %1) ").arg(chamber);
        QSqlQuery q = db_->query(sql + QStringLiteral("ORDER BY SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.saID"));
        QList<std::pair<qint64, QString>> before;
        while (q.next())
            before.append({q.value(0).toLongLong(), q.value(1).toString()});
        std::stable_sort(before.begin(), before.end(), [](const auto &a, const auto &b) {
            return a.second.trimmed().compare(b.second.trimmed(), Qt::CaseInsensitive) < 0;
        });
        QList<qint64> expected;
        for (const auto &r : before)
            expected.append(r.first);
        QVERIFY(expected.size() > 40);
        // windows that end inside groups of equal names, and one for all
        for (const int window : {1, 2, 3, 7, 500}) {
            QList<qint64> got;
            QVERIFY(print::forEachElencoRow(*db_, chamber, [&got](const print::ElencoRow &r) { got.append(r.saID); },
                                            window));
            QCOMPARE(got, expected);
        }
    }
    // the rows of each window get their own schede
    QList<print::ElencoRow> rows;
    QVERIFY(print::forEachElencoRow(*db_, 0, [&rows](const print::ElencoRow &r) { rows.append(r); }, 2));
    for (const print::ElencoRow &r : rows)
        QCOMPARE(r.schede, r.saID == first_ ? QStringLiteral("SA-AUT, RIF (2), FRA, TRA-RAEE")
                                            : QStringLiteral("nessuna"));
    for (qint64 id : added)
        QVERIFY(db_->execute(QStringLiteral("DELETE FROM SezAnag WHERE (saID = ?)"), {id}));
}

// Each window walks the order's index from where the last one ended: no sort
// of the whole selection per window, whatever is asked.
void TestPrintLayouts::listWindowWalksAnIndex()
{
    const int milano = print::chamberOf(*db_, QStringLiteral("MI")).code;
    for (const bool outcomes : {false, true})
        for (const int chamber : {0, milano})
            for (const bool after : {false, true}) {
                QVariantList params;
                if (chamber > 0)
                    params.append(chamber);
                if (after)
                    params << QStringLiteral("ditta") << QStringLiteral("ditta") << QStringLiteral("Ditta")
                           << QStringLiteral("ZZ") << 1;
                params.append(10);
                if (outcomes)
                    QVERIFY(verify::ensureOutcomeTable(*db_));
                bool ok = false;
                QSqlQuery q = db_->query(QStringLiteral("EXPLAIN QUERY PLAN ")
                                             + print::elencoWindowSql(outcomes, chamber, after),
                                         params, dbClass::Which::Current, &ok);
                QVERIFY(ok);
                QStringList plan;
                while (q.next())
                    plan.append(q.value(3).toString());
                const QString text = plan.join(u'\n');
                QVERIFY2(!text.contains(QStringLiteral("TEMP B-TREE")), qPrintable(text));
                QVERIFY2(text.contains(after ? QStringLiteral("SEARCH SezAnag USING INDEX")
                                             : QStringLiteral("SCAN SezAnag USING INDEX")),
                         qPrintable(text));
            }
}

// The footers carry the page count, so the list is laid out twice: a list
// that changes in between is refused, not printed with wrong numbers.
void TestPrintLayouts::listPagesCountedBeforeDrawn()
{
    QList<print::ElencoRow> rows;
    QVERIFY(print::readElenco(*db_, 0, &rows));
    int runs = 0;
    QByteArray doc;
    QBuffer buf(&doc);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    print::setupElenco(pdf);
    QVERIFY(pdf.open(&buf));
    QString error;
    QVERIFY(!print::writeElencoFrom(
        pdf,
        [&](const print::ElencoVisit &visit) {
            for (qsizetype i = 0; i < rows.size() - (runs ? 40 : 0); ++i)
                visit(rows.at(i));
            ++runs;
            return true;
        },
        QStringLiteral("x"), QDateTime::currentDateTime(), &error));
    QCOMPARE(runs, 2);
    QVERIFY2(error.contains(QStringLiteral("cambiate durante la stampa")), qPrintable(error));

    // a failed reading ends the print with its reason
    clsPDFCreator other;
    print::setupElenco(other);
    QBuffer sink;
    sink.open(QIODevice::WriteOnly);
    QVERIFY(other.open(&sink));
    QVERIFY(!print::writeElencoFrom(other, [](const print::ElencoVisit &) { return false; }, QStringLiteral("x"),
                                QDateTime::currentDateTime(), &error));
    QCOMPARE(error, QStringLiteral("Lettura delle dichiarazioni non riuscita."));
}

void TestPrintLayouts::declarationPrintsAnagrafica()
{
    QList<print::FormFrame> frames;
    print::PageHeading heading;
    QVERIFY(!print::sa1Frames(*db_, 99999, &frames, &heading));
    QVERIFY(print::sa1Frames(*db_, forli_, &frames, &heading));
    QCOMPARE(heading.company, QStringLiteral("Mario Rossi - C.F. RSSMRA80A01F205X"));
    QCOMPARE(frames.first().title, QStringLiteral("SA1 - Sezione anagrafica"));

    const QString path = dir_.filePath(QStringLiteral("dich.pdf"));
    QString error;
    QCOMPARE(print::printDichiarazione(*db_, forli_, path, &error), print::DeclarationResult::Ok);
    const QByteArray doc = readFile(path);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
    const QList<QByteArray> t = shownTexts(doc, 0);
    for (const QString &s : {QStringLiteral("SA1 - Sezione anagrafica"), QStringLiteral("FORLÌ"),
                             QStringLiteral("FC"), QStringLiteral("38.11.00"), QStringLiteral("Nicolò"),
                             QStringLiteral("15/03/2019"), QStringLiteral("Sì (n. 7)"),
                             QStringLiteral("Codice ISTAT attività prevalente nell'unità locale:"),
                             QStringLiteral("Rappresentante legale o suo delegato"), QStringLiteral("Pagina 1 di 1")})
        QVERIFY2(t.contains(latin(s)), qPrintable(s));
    QVERIFY(!t.contains(latin(QStringLiteral("Annulla e sostituisce la precedente del:"))));
    QCOMPARE(print::printDichiarazione(*db_, 99999, path, &error), print::DeclarationResult::NotFound);

    // the declaration with every scheda lists them
    QVERIFY(print::sa1Frames(*db_, first_, &frames, &heading));
    QString schede;
    for (const print::FormFrame &f : frames)
        if (f.title == QStringLiteral("Schede presenti"))
            schede = f.rows.first().first().value;
    QCOMPARE(schede, QStringLiteral("SA-AUT, RIF (2), FRA, TRA-RAEE"));
    QCOMPARE(print::activityCode(QStringLiteral("381100")), QStringLiteral("38.11.00"));
    QCOMPARE(print::activityCode(QStringLiteral("3811")), QStringLiteral("3811"));
}

void TestPrintLayouts::declarationPrintsSchedeRif()
{
    const qint64 sa = addDeclaration(QStringLiteral("AAA00000001"), QStringLiteral("Rifiuti e moduli"), 58, 91);
    auto addScheda = [&](const char *code) {
        return add("SezRif", "saID,rifCod,sfLiquido,qtaProd,umiProd,qtaCons,umiCons",
                   {sa, QString::fromLatin1(code), 1, 1234500, 1, 2000, 2});
    };
    const qint64 battery = addScheda("160601");
    const qint64 paper = addScheda("150101");   // printed first: order of waste code
    auto module = [&](qint64 rif, int type, const char *columns, const QVariantList &v) {
        return add("ModRif", (QByteArray("rifID,tipoMod,") + columns).constData(), QVariantList{rif, type} + v);
    };
    module(paper, 1, "Privati,prvIstat,comIstat", {1, 15, 146});
    // urban origin ticked on a code the form does not ask it for (as an imported file may carry it)
    module(paper, 1, "Privati,RagSoc,qtaMod,umiMod,discDep", {0, QStringLiteral("Conferente"), 1000000, 1, 1});
    module(paper, 3, "RagSoc", {QStringLiteral("Trasporti & C.")});
    const qint64 mg = module(paper, 4, "Privati,qtaDep,umiDep,discDep", {1, 5000, 1, 6});
    add("RecRif", "mrID,Posizione,Codice,qta,umi", {mg, 1, QStringLiteral("R3"), 1500, 2});
    module(paper, 5, "Privati,prvIstat,comIstat", {2, 40, 12});
    module(battery, 1, "RagSoc,disc191", {QStringLiteral("Pile"), 1});

    QList<print::FormFrame> frames;
    QVERIFY(print::rifFrames(*db_, sa, &frames));
    QStringList titles;
    for (const print::FormFrame &f : frames)
        titles.append(f.title);
    const QStringList scheda{QStringLiteral("Scheda RIF - Rifiuti"), QStringLiteral("ORIGINE DEL RIFIUTO"),
                             QStringLiteral("TRASPORTO DEL RIFIUTO"), QStringLiteral("DESTINAZIONE DEL RIFIUTO"),
                             QStringLiteral("OPERAZIONI DI RECUPERO O SMALTIMENTO SVOLTE NELL'UNITA' LOCALE")};
    // a module is headed by its scheda, type and number within the scheda, as
    // the verification report names it, then the title of its form
    const QString paperModule = QStringLiteral("Scheda RIF codice: 150101 modulo ");
    const QStringList expected = scheda
                                 + QStringList{paperModule + QStringLiteral("RT n. 1"), paperModule + QStringLiteral("RT n. 2"),
                                               paperModule + QStringLiteral("TE n. 1"), paperModule + QStringLiteral("MG n. 1"),
                                               paperModule + QStringLiteral("RE n. 1")}
                                 + scheda + QStringList{QStringLiteral("Scheda RIF codice: 160601 modulo RT n. 1")};
    QCOMPARE(titles, expected);
    QCOMPARE(outline(frames[5]).at(1).section(u':', 0, 0), QStringLiteral("Modulo RT - Rifiuti ricevuti da terzi"));
    QCOMPARE(outline(frames[9]).at(1).section(u':', 0, 0),
             QStringLiteral("Modulo RE - Rifiuti prodotti fuori dall'unità locale"));
    // every frame of a scheda belongs to it, the first one opens its line in the index
    QCOMPARE(frames[0].index, QStringLiteral("Scheda RIF codice: 150101"));
    QCOMPARE(frames[3].part, QStringLiteral("Scheda RIF codice: 150101"));
    QVERIFY(frames[3].index.isEmpty());
    QCOMPARE(frames[7].part, frames[7].title);
    QCOMPARE(frames[10].index, QStringLiteral("Scheda RIF codice: 160601"));

    QCOMPARE(field(frames[0], QStringLiteral("Codice rifiuto:")), QStringLiteral("150101"));
    QCOMPARE(field(frames[0], QStringLiteral("Liquido")), QStringLiteral("X"));
    QCOMPARE(field(frames[0], QStringLiteral("Aeriforme")), QString());
    QCOMPARE(field(frames[1], QStringLiteral("Rifiuto prodotto nell'Unità Locale")), QStringLiteral("1.234,500 Kg"));
    QCOMPARE(field(frames[2], QStringLiteral("Rifiuto trasportato da terzi")), QStringLiteral("X"));
    QCOMPARE(field(frames[3], QStringLiteral("Rifiuto consegnato a terzi per operazioni di recupero o smaltimento")),
             QStringLiteral("2,000 t"));
    // RT: the non-private module first, numbered 1; the private one is number 2
    QCOMPARE(field(frames[5], QStringLiteral("n° progressivo Modulo RT")), QStringLiteral("1"));
    QCOMPARE(field(frames[5], QStringLiteral("Nome o ragione sociale:")), QStringLiteral("Conferente"));
    QCOMPARE(field(frames[6], QStringLiteral("n° progressivo Modulo RT")), QStringLiteral("2"));
    QCOMPARE(field(frames[6], QStringLiteral("Privati")), QStringLiteral("X"));
    QCOMPARE(field(frames[6], QStringLiteral("Comune:")), QStringLiteral("MILANO"));
    QCOMPARE(field(frames[5], QStringLiteral("Specificare se la quantità indicata nel modulo è relativa a pile e "
                                             "accumulatori portatili:")),
             QStringLiteral("<assente>"));
    QCOMPARE(field(frames[5], QStringLiteral("Barrare se la quantità indicata nel modulo è relativa a rifiuti di origine "
                                             "urbana")),
             QStringLiteral("X"));
    QCOMPARE(field(frames[8], QStringLiteral("Tipologia impianto:")), QStringLiteral("Discarica (D1,D5,D12)"));
    QCOMPARE(field(frames[8], QStringLiteral("Classificazione della discarica (D.Lgs. 36/2003):")),
             QStringLiteral("rifiuti inerti"));
    QCOMPARE(field(frames[8], QStringLiteral("Operazione")), QStringLiteral("R3"));
    QCOMPARE(field(frames[8], QStringLiteral("Quantità")), QStringLiteral("1,500 t"));
    // the activity stands in its frame, titled as on the form
    QVERIFY(outline(frames[9]).contains(QStringLiteral("Attività che ha originato il rifiuto:|assistenza sanitaria")));
    QCOMPARE(field(frames[9], QStringLiteral("Provincia di:")), QStringLiteral("FC"));
    QCOMPARE(field(frames[15], QStringLiteral("Specificare se la quantità indicata nel modulo è relativa a pile e "
                                              "accumulatori portatili:")),
             QStringLiteral("Sì"));

    QCOMPARE(print::quantityText(QVariant(), 1), QString());
    QCOMPARE(print::quantityText(9999999999LL, 1), QStringLiteral("9.999.999,999 Kg"));

    // the whole declaration on paper: pages numbered, nothing overlapping
    const QString path = dir_.filePath(QStringLiteral("rif.pdf"));
    QString error;
    QCOMPARE(print::printDichiarazione(*db_, sa, path, &error), print::DeclarationResult::Ok);
    const QByteArray doc = readFile(path);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
    const int pages = pageCount(doc);
    QVERIFY(pages > 2);
    QVERIFY(shownTexts(doc, pages - 1).contains("Pagina " + QByteArray::number(pages) + " di " + QByteArray::number(pages)));
}

void TestPrintLayouts::declarationPrintsSaAutAndInt()
{
    const qint64 sa = addDeclaration(QStringLiteral("AAA00000002"), QStringLiteral("Autorizzata"), 58, 91);
    QVERIFY(add("SaAut", "saID,suEstremi,suDataRil,suEnte,suTipo,suRecupero,suSmaltimento,Incenerimento,incQta",
                {sa, QStringLiteral("Det. 12/2015"), QStringLiteral("2015-06-01"), 3, 6, QStringLiteral("1000000000001"),
                 QStringLiteral("000000000000001"), 1, 150000}) > 0);
    const qint64 intID = add("SezInt", "saID,rifCod,sfAltro,intQta,intUmi", {sa, QStringLiteral("170405"), 1, 25000000, 1});
    for (int type : {2, 1, 2})
        QVERIFY(add("ModInt", "intID,tipoMod,RagSoc,nazID,qtaMod,umiMod",
                    {intID, type, QStringLiteral("Parte %1").arg(type), 203, 25, 2}) > 0);

    QList<print::FormFrame> frames;
    QVERIFY(print::saAutFrames(*db_, sa, &frames));
    QCOMPARE(frames.size(), 1);
    QCOMPARE(field(frames[0], QStringLiteral("Ente di rilascio")), QStringLiteral("Ministero Ambiente "));
    QCOMPARE(field(frames[0], QStringLiteral("Data di rilascio")), QStringLiteral("01/06/2015"));
    QCOMPARE(field(frames[0], QStringLiteral("Data di scadenza")), QString());
    QVERIFY(field(frames[0], QStringLiteral("Tipo di autorizzazione")).startsWith(QStringLiteral("Oper. di recupero")));
    QCOMPARE(field(frames[0], QStringLiteral("Recupero")), QStringLiteral("R1, R13"));   // short string: rest unticked
    QCOMPARE(field(frames[0], QStringLiteral("Smaltimento")), QStringLiteral("D15"));
    QCOMPARE(field(frames[0], QStringLiteral("Incenerimento: capacità autorizzata")), QStringLiteral("150.000 t/anno"));
    QCOMPARE(field(frames[0], QStringLiteral("Coincenerimento: capacità autorizzata")), QStringLiteral("<assente>"));
    QCOMPARE(print::tickedOperations(QString(), {QStringLiteral("R1")}), QString());
    QCOMPARE(print::tickedOperations(QStringLiteral("01"), {QStringLiteral("R1"), QStringLiteral("R2"), QStringLiteral("R3")}),
             QStringLiteral("R2"));

    frames.clear();
    QVERIFY(print::intFrames(*db_, sa, &frames));
    QCOMPARE(frames.size(), 4);
    QCOMPARE(frames[0].title, QStringLiteral("Scheda INT - Totale rifiuti commercializzati ed intermediati senza detenzione"));
    QCOMPARE(field(frames[0], QStringLiteral("Quantità complessivamente intermediata:")), QStringLiteral("25.000,000 Kg"));
    QCOMPARE(field(frames[0], QStringLiteral("Altro")), QStringLiteral("X"));
    QCOMPARE(frames[1].title, QStringLiteral("Scheda INT codice: 170405 modulo UO n. 1"));
    QCOMPARE(field(frames[1], QStringLiteral("Quantità acquisita nell'anno:")), QStringLiteral("0,025 t"));
    QCOMPARE(frames[2].title, QStringLiteral("Scheda INT codice: 170405 modulo UD n. 1"));
    QCOMPARE(frames[3].title, QStringLiteral("Scheda INT codice: 170405 modulo UD n. 2"));
    QCOMPARE(field(frames[3], QStringLiteral("n° progressivo Modulo UD")), QStringLiteral("2"));
    QCOMPARE(field(frames[3], QStringLiteral("Paese estero (se di destinazione non nazionale)")), QStringLiteral("AUSTRIA"));

    const QString path = dir_.filePath(QStringLiteral("aut.pdf"));
    QString error;
    QCOMPARE(print::printDichiarazione(*db_, sa, path, &error), print::DeclarationResult::Ok);
    const QByteArray doc = readFile(path);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
}

void TestPrintLayouts::declarationPrintsImb()
{
    const qint64 sa = addDeclaration(QStringLiteral("AAA00000003"), QStringLiteral("Imballaggi"), 58, 91);
    const qint64 si = add("SezImb", "saID,qtaTerzi,umiTerzi,msQta02,msUmi02", {sa, 5000000, 1, 3000000, 1});
    for (const QVariantList &r : {QVariantList{1, QStringLiteral("150104"), 1}, QVariantList{1, QStringLiteral("150104"), 0},
                                  QVariantList{3, QStringLiteral("191204"), 0}})
        QVERIFY(add("RecImb", "siID,Posizione,rifCod,allAcc,qta,umi", QVariantList{si} + r + QVariantList{2000, 1}) > 0);
    const QString code = QStringLiteral("150104");
    add("ModImb", "siID,tipoMod,rifCod,mbFlag,discDep", {si, 1, code, 0, 2});
    const qint64 dr = add("ModImb", "siID,tipoMod,rifCod,RagSoc", {si, 2, code, QStringLiteral("Fonderia")});
    add("RecModImb", "mbID,Posizione,Codice,qta,umi", {dr, 1, QStringLiteral("R4"), 2000, 1});

    QList<print::FormFrame> frames;
    QVERIFY(print::imbFrames(*db_, sa, &frames));
    QStringList titles;
    for (const print::FormFrame &f : frames)
        titles.append(f.title);
    QCOMPARE(titles, QStringList({QStringLiteral("Scheda IMB - Gestione rifiuti da imballaggio"),
                                  QStringLiteral("Rifiuto ricevuto da superficie pubblica"),
                                  QStringLiteral("Rifiuto prodotto nell'unità locale da trattamento imballaggi monomateriale"),
                                  QStringLiteral("Destinazione del rifiuto"), QStringLiteral("Materiali secondari"),
                                  QStringLiteral("Scheda IMB codice rifiuto: 150104 modulo RT-IMB n. 1"),
                                  QStringLiteral("Scheda IMB codice rifiuto: 150104 modulo DR-IMB n. 1")}));
    // 150104 prints split by metal, in the order the rows were entered
    QCOMPARE(frames[1].rows.size(), 2);
    QCOMPARE(frames[1].rows[0][0].value, QStringLiteral("150104-A"));
    QCOMPARE(frames[1].rows[1][0].value, QStringLiteral("150104-C"));
    QCOMPARE(frames[1].rows[1][0].caption, QString());   // captions on the first line only
    QCOMPARE(frames[2].rows[0][0].value, QStringLiteral("191204"));
    QCOMPARE(frames[4].rows[1][1].caption, QStringLiteral("Legno"));
    QCOMPARE(frames[4].rows[1][1].value, QStringLiteral("3.000,000 Kg"));
    QCOMPARE(frames[5].rows[0][0].caption, QStringLiteral("Modulo RT-IMB - Rifiuti di imballaggio ricevuti da terzi"));
    QCOMPARE(frames[5].rows[1][0].caption, QStringLiteral("n° progressivo Modulo RT-IMB"));
    QCOMPARE(frames[5].rows[1][2].value, QStringLiteral("da sup. pubblica"));
    QCOMPARE(field(frames[5], QStringLiteral("Trattamento previsto:")), QStringLiteral("recupero di energia"));
    QCOMPARE(field(frames[5], QStringLiteral("Privati")), QStringLiteral("<assente>"));
    QCOMPARE(field(frames[6], QStringLiteral("Operazione")), QStringLiteral("R4"));
    QCOMPARE(outline(frames[6]).last(), QStringLiteral("Operazioni di destinazione:|R4|2,000 Kg"));

    const QString path = dir_.filePath(QStringLiteral("imb.pdf"));
    QString error;
    QCOMPARE(print::printDichiarazione(*db_, sa, path, &error), print::DeclarationResult::Ok);
    const QByteArray doc = readFile(path);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
}

void TestPrintLayouts::declarationPrintsVfuAndRaee()
{
    const qint64 sa = addDeclaration(QStringLiteral("AAA00000004"), QStringLiteral("Veicoli e apparecchiature"), 58, 91);
    const QString vehicles = QStringLiteral("160104"), drained = QStringLiteral("160106");
    // FRA stored first: the vehicle schede print AUT, ROT, FRA
    QVERIFY(add("SezVfu", "saID,vfuTipo,qtaPost80,umiPost80", {sa, codes::VfuFra, 7000000, 1}) > 0);
    const qint64 aut = add("SezVfu", "saID,vfuTipo,vfuAut208,qtaPre80,umiPre80,qtaTerzi,umiTerzi,msQta01,msUmi01",
                           {sa, codes::VfuAut, 1, 2000, 2, 1500000, 1, 800000, 1});
    auto row = [&](const char *table, const char *key, qint64 id, int pos, const QString &code, qint64 qta, int umi) {
        QVERIFY(add(table, (QByteArray(key) + ",Posizione,rifCod,qta,umi").constData(), {id, pos, code, qta, umi}) > 0);
    };
    row("RecVfu", "vfuID", aut, codes::VfuProduced, QStringLiteral("160103"), 300000, 1);
    row("RecVfu", "vfuID", aut, codes::VfuReceived, drained, 2500000, 1);
    row("RecVfu", "vfuID", aut, codes::VfuReceived, vehicles, 4000, 2);
    const char *counterpart = "vfuID,tipoMod,rifCod,CodFisc,RagSoc,prvIstat,comIstat,qtaMod,umiMod";
    QVERIFY(add("ModVfu", counterpart, {aut, codes::RT, drained, QStringLiteral("01234567890"),
                                         QStringLiteral("Secondo conferente"), 15, 146, 2500000, 1}) > 0);
    QVERIFY(add("ModVfu", counterpart, {aut, codes::RT, vehicles, QStringLiteral("RSSMRA80A01F205X"),
                                         QStringLiteral("Primo conferente"), 40, 12, 4000, 2}) > 0);
    const qint64 dr = add("ModVfu", "vfuID,tipoMod,rifCod,RagSoc,qtaMod,umiMod,qtaDep,umiDep",
                          {aut, codes::DR, vehicles, QStringLiteral("Frantumatore"), 4000, 2, 4000, 2});
    QVERIFY(add("RecModVfu", "mvID,Posizione,Codice,qta,umi", {dr, 1, QStringLiteral("R4"), 4000, 2}) > 0);
    QVERIFY(add("ModVfu", "vfuID,tipoMod,rifCod,RagSoc", {aut, codes::TE, vehicles, QStringLiteral("Trasporti & C.")}) > 0);
    const qint64 mg = add("ModVfu", "vfuID,tipoMod,rifCod,Privati,qtaDep,umiDep,discDep,qta191,umi191,disc191",
                          {aut, codes::MG, vehicles, codes::PlantRiservaR13, 100, 1, codes::LandfillNonPericolosi, 200, 1,
                           codes::LandfillPericolosi});
    for (const QVariantList &op : {QVariantList{codes::GridSmaltimento191, QStringLiteral("D1"), 700},
                                   QVariantList{codes::GridRecupero, QStringLiteral("R13"), 1500}})
        QVERIFY(add("RecModVfu", "mvID,Posizione,Codice,qta,umi", QVariantList{mg} + op + QVariantList{1}) > 0);

    // CR stored first: TRA prints before it
    QVERIFY(add("SezRaee", "saID,srTipo,srRAEE,srQta,srUmi", {sa, codes::RaeeCr, 1, 1000, 1}) > 0);
    const qint64 tra = add("SezRaee", "saID,srTipo,srRAEE,srStima,srQta,srUmi,msQta05,msUmi05",
                           {sa, codes::RaeeTra, 2, 1, 12000, 2, 50000, 1});
    row("RecRaee", "srID", tra, 1, QStringLiteral("200136"), 12000, 2);
    row("RecRaee", "srID", tra, 3, QStringLiteral("160216"), 500, 1);
    QVERIFY(add("ModRaee", "srID,tipoMod,rifCod,RagSoc,nazID,RegCE,qtaMod,umiMod,qtaDep,umiDep",
                {tra, codes::RT, QStringLiteral("200136"), QStringLiteral("Recycling GmbH"), 203, QStringLiteral("B1010"),
                 12000, 2, 12000, 2}) > 0);
    QVERIFY(add("SezImb", "saID,qtaTerzi,umiTerzi", {sa, 1000, 1}) > 0);

    QList<print::FormFrame> frames;
    QVERIFY(print::vfuFrames(*db_, sa, &frames));
    const QString vfuMg = QStringLiteral("Modulo MG-VEIC - Scheda AUT - Operazioni di gestione svolte nell'unità locale");
    const QStringList vfuFrames{QStringLiteral("Impianto autorizzato ai sensi del D.Lgs. 152/2006"),
                                QStringLiteral("Destinazione del rifiuto"), QStringLiteral("RIEPILOGO ATTIVITA'")};
    const QString autModule = QStringLiteral("Scheda AUT codice rifiuto: ");
    const QStringList expected = QStringList{QStringLiteral("Scheda AUT - Autodemolizione")}
                 + QStringList{QStringLiteral("Rifiuti ricevuti da terzi"), QStringLiteral("Rifiuti prodotti dall'impianto")}
                 + vfuFrames + QStringList{QStringLiteral("Veicoli trattati"), QStringLiteral("Materiali secondari")}
                 + QStringList{autModule + vehicles + QStringLiteral(" modulo RT-VEIC n. 1"),
                               autModule + drained + QStringLiteral(" modulo RT-VEIC n. 1"),
                               autModule + vehicles + QStringLiteral(" modulo DR-VEIC n. 1"),
                               autModule + vehicles + QStringLiteral(" modulo TE-VEIC n. 1"),
                               autModule + vehicles + QStringLiteral(" modulo MG-VEIC n. 1"),
                               QStringLiteral("Scheda FRA - Frantumazione")}
                 + vfuFrames + QStringList{QStringLiteral("Materiali secondari")};
    QCOMPARE(titlesOf(frames), expected);
    QCOMPARE(field(frames[0], QStringLiteral("n° progressivo Scheda AUT")), QStringLiteral("1"));
    // rows of a frame by waste code, with their description
    QCOMPARE(frames[1].rows.size(), 2);
    QCOMPARE(frames[1].rows[0][0].value, vehicles);
    QCOMPARE(frames[1].rows[0][1].value, QStringLiteral("veicoli fuori uso"));
    QCOMPARE(frames[1].rows[0][2].value, QStringLiteral("4,000 t"));
    QCOMPARE(frames[1].rows[1][2].value, QStringLiteral("2.500,000 Kg"));
    QCOMPARE(frames[2].rows[0][0].value, QStringLiteral("160103"));
    QCOMPARE(field(frames[3], QStringLiteral("art. 208 (autorizzazione ordinaria)")), QStringLiteral("X"));
    QCOMPARE(field(frames[3], QStringLiteral("art. 216 (procedura semplificata)")), QString());
    QCOMPARE(field(frames[4], QStringLiteral("Quantità consegnata a terzi")), QStringLiteral("1.500,000 Kg"));
    // vehicles and materials under the captions of the scheda's form
    auto caption = [](const stream::StreamSpec &s, const char *column) {
        return fields::find(s.fields, QString::fromLatin1(column))->caption;
    };
    QCOMPARE(field(frames[6], caption(stream::vfu(codes::VfuAut), "qtaPre80")), QStringLiteral("2,000 t"));
    QCOMPARE(field(frames[7], caption(stream::vfu(codes::VfuAut), "msQta01")), QStringLiteral("800,000 Kg"));
    QCOMPARE(field(frames[7], caption(stream::vfu(codes::VfuAut), "msQta08")), QString());

    // modules of a type numbered by waste code, then key; each names its code
    QCOMPARE(field(frames[8], QStringLiteral("n° progressivo Modulo RT-VEIC")), QStringLiteral("1"));
    QCOMPARE(field(frames[8], QStringLiteral("Codice rifiuto:")), vehicles);
    QCOMPARE(field(frames[8], QStringLiteral("Nome o ragione sociale:")), QStringLiteral("Primo conferente"));
    QCOMPARE(field(frames[8], QStringLiteral("Comune:")), QStringLiteral("FORLÌ"));
    QCOMPARE(field(frames[8], QStringLiteral("Provincia:")), QStringLiteral("FC"));
    QCOMPARE(field(frames[8], QStringLiteral("Quantità ricevuta nell'anno:")), QStringLiteral("4,000 t"));
    QCOMPARE(field(frames[8], QStringLiteral("Privati")), QStringLiteral("<assente>"));       // not on RT-VEIC
    QCOMPARE(field(frames[8], QStringLiteral("Paese estero:")), QString());   // an Italian one
    QCOMPARE(field(frames[9], QStringLiteral("n° progressivo Modulo RT-VEIC")), QStringLiteral("1")); // by code
    QCOMPARE(field(frames[9], QStringLiteral("Codice rifiuto:")), drained);
    QCOMPARE(outline(frames[10]).last(), QStringLiteral("Operazioni di destinazione:|R4|4,000 t"));
    QCOMPARE(field(frames[10], QStringLiteral("Quantità a recupero di materia:")), QStringLiteral("4,000 t"));
    QCOMPARE(field(frames[11], QStringLiteral("Nome o ragione sociale:")), QStringLiteral("Trasporti & C."));
    // MG: the plant and landfill codes as their texts, each grid before the frame of its tab
    QCOMPARE(field(frames[12], QStringLiteral("Tipologia impianto:")), QStringLiteral("Impianto per la messa in riserva (R13)"));
    const QString landfill = QStringLiteral("Deposito definitivo effettuato nell'unità locale (operazioni D1, D5, D12):");
    QCOMPARE(outline(frames[12]),
             QStringList({QString(), vfuMg + QStringLiteral(":|1|") + vehicles + QStringLiteral("|Impianto per la messa in riserva (R13)"),
                          QStringLiteral("Operazioni di recupero:|R13|1,500 Kg"),
                          QStringLiteral("Operazioni di smaltimento:"),
                          landfill + QStringLiteral("|0,100 Kg|rifiuti non pericolosi"),
                          QStringLiteral("Smaltimento art. 191:|D1|0,700 Kg"),
                          landfill + QStringLiteral("|0,200 Kg|rifiuti pericolosi"),
                          QStringLiteral("Giacenza al 31/12:")}));
    QCOMPARE(field(frames[13], QStringLiteral("n° progressivo Scheda FRA")), QStringLiteral("1"));
    QCOMPARE(field(frames[16], QStringLiteral("Quantità di rifiuti da frantumazione (fluff)")),
             QStringLiteral("7.000,000 Kg"));

    frames.clear();
    QVERIFY(print::raeeFrames(*db_, sa, &frames));
    const QStringList raeeFrames{QStringLiteral("Quantità complessiva"), QStringLiteral("Destinazione del rifiuto"),
                                 QStringLiteral("RIEPILOGO ATTIVITA'")};
    const QStringList raee = QStringList({QStringLiteral("Scheda TRA-RAEE - Impianti di trattamento"),
                          QStringLiteral("Rifiuti ricevuti da terzi"), QStringLiteral("Rifiuti consegnati a terzi")})
                 + raeeFrames
                 + QStringList({QStringLiteral("Materiali secondari"),
                                QStringLiteral("Scheda TRA-RAEE codice rifiuto: 200136 modulo RT-RAEE n. 1"),
                                QStringLiteral("Scheda CR-RAEE - Centri di raccolta")})
                 + raeeFrames + QStringList{QStringLiteral("Materiali secondari")};
    QCOMPARE(titlesOf(frames), raee);
    // the category as its text in the code list of the store
    QCOMPARE(field(frames[0], QStringLiteral("Categoria RAEE:")),
             QStringLiteral("2 - Schermi, monitor ed apparecchiature dotate di schermi con una superficie superiore a 100 cm2"));
    QCOMPARE(field(frames[3], QStringLiteral("Quantità stimata")), QStringLiteral("X"));
    QCOMPARE(field(frames[3], QStringLiteral("Quantità complessiva di RAEE")), QStringLiteral("12,000 t"));
    QCOMPARE(field(frames[6], caption(stream::raee(codes::RaeeTra), "msQta05")), QStringLiteral("50,000 Kg"));
    // from abroad: the country and the treatment, no Italian address
    QCOMPARE(field(frames[7], QStringLiteral("Paese estero:")), QStringLiteral("AUSTRIA"));
    QCOMPARE(field(frames[7], QStringLiteral("Codice regolamento (CE) 1013/2006:")), QStringLiteral("B1010"));
    QCOMPARE(field(frames[7], QStringLiteral("recupero di materia:")), QStringLiteral("12,000 t"));
    QCOMPARE(field(frames[7], QStringLiteral("Comune:")), QString());
    QCOMPARE(field(frames[8], QStringLiteral("Categoria RAEE:")).left(4), QStringLiteral("1 - "));

    // on paper: after INT in the order of the list of schede, accents and all
    const QString path = dir_.filePath(QStringLiteral("vfu.pdf"));
    QString error;
    QCOMPARE(print::printDichiarazione(*db_, sa, path, &error), print::DeclarationResult::Ok);
    const QByteArray doc = readFile(path);
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
    QVERIFY(anyContains(shownTexts(doc, 0), "AUT, FRA, IMB, TRA-RAEE, CR-RAEE"));
    int rc = -1;
    QByteArray text;
    QVERIFY2(pdftest::run(QStringLiteral("pdftotext"), {QStringLiteral("-layout"), path, QStringLiteral("-")}, &rc, &text),
             "pdftotext (poppler-utils) is needed");
    QCOMPARE(rc, 0);
    const QString t = QString::fromUtf8(text);
    qsizetype at = 0;
    for (const char *title : {"Scheda AUT - Autodemolizione", "Modulo MG-VEIC", "Scheda FRA - Frantumazione",
                              "Scheda IMB", "Scheda TRA-RAEE - Impianti di trattamento", "Modulo RT-RAEE",
                              "Scheda CR-RAEE - Centri di raccolta"}) {
        const qsizetype next = t.indexOf(QLatin1String(title), at);
        QVERIFY2(next > at, title);
        at = next;
    }
    for (const QString &s : {QStringLiteral("n° progressivo Modulo DR-VEIC"), QStringLiteral("FORLÌ"),
                             QStringLiteral("Quantità ricevuta nell'anno:"), QStringLiteral("Impianto per la messa in riserva (R13)"),
                             QStringLiteral("Apparecchiature intere avviate al reimpiego")})
        QVERIFY2(t.contains(s), qPrintable(s));
    QVERIFY(pdftest::run(QStringLiteral("qpdf"), {QStringLiteral("--check"), path}, &rc, &text));
    QVERIFY2(rc == 0, text.constData());
}

void TestPrintLayouts::fieldsFillRows()
{
    // a caption longer than its box widens the field; a value wider than its box widens the box
    const print::FormField check = print::boxedField(QStringLiteral("Una didascalia piuttosto lunga per una casella"), {}, 8);
    QCOMPARE(check.box, 8.0);
    QVERIFY(check.width >= print::captionWidth(check.caption));
    const print::FormField wide = print::boxedField(QStringLiteral("N."), QStringLiteral("1.234.567,890 Kg"), 10);
    QVERIFY(wide.box >= print::valueWidth(wide.value));
    QCOMPARE(wide.width, wide.box);
    QCOMPARE(print::boxedField(QString(), QString(2000, u'W'), 10).width, print::RowWidth);

    print::FormRow fields;
    for (int i = 0; i < 12; ++i)
        fields.append({QString::number(i), {}, double(10 + 7 * i)});
    fields.insert(5, {QStringLiteral("intera"), {}, print::RowWidth});
    const QList<print::FormRow> rows = print::packed(fields);
    print::FormRow again;
    for (const print::FormRow &r : rows) {
        double used = -print::FieldGap;
        for (const print::FormField &f : r)
            used += f.width + print::FieldGap;
        QVERIFY(used <= print::RowWidth + 1e-9);
        again += r;
    }
    QCOMPARE(again.size(), fields.size());
    for (int i = 0; i < fields.size(); ++i)
        QCOMPARE(again[i].caption, fields[i].caption);
    QCOMPARE(rows[0].size(), 5);   // 10 + 17 + 24 + 31 + 38 and the gaps
    QCOMPARE(rows[1].size(), 1);   // a field as wide as a row stands alone
    QCOMPARE(rows[2].size(), 3);   // 45 + 52 + 59 and the gaps: 66 more would not fit
}

void TestPrintLayouts::tallFramesGoOnNextPages()
{
    print::FormFrame tall{QStringLiteral("Modulo lungo"), {}};
    for (int i = 0; i < 45; ++i) {
        if (i % 4 == 0)
            tall.rows.append({{QStringLiteral("Riquadro %1").arg(i / 4), {}, 0}});
        tall.rows.append({{QStringLiteral("Campo"), QString::number(i), 30}});
    }
    const print::FormFrame small{QStringLiteral("Breve"), {{{QStringLiteral("Campo"), QStringLiteral("x"), 30}}}};
    const QList<print::FormFrame> pieces = print::pageSized({small, tall, small});
    QVERIFY(pieces.size() >= 5);
    QCOMPARE(pieces.first().title, small.title);
    QCOMPARE(pieces.last().title, small.title);
    QCOMPARE(pieces[1].title, tall.title);
    QList<print::FormRow> rows;
    for (int i = 1; i + 1 < pieces.size(); ++i) {
        if (i > 1)
            QCOMPARE(pieces[i].title, tall.title + QStringLiteral(" (segue)"));
        QVERIFY(!isHeading(pieces[i].rows.last()));
        rows += pieces[i].rows;
    }
    QCOMPARE(rows.size(), tall.rows.size());
    for (int i = 0; i < rows.size(); ++i)
        QCOMPARE(rows[i].first().caption, tall.rows[i].first().caption);

    // on paper every piece stays within its page
    QByteArray doc;
    QBuffer buf(&doc);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    print::setupDeclaration(pdf);
    QVERIFY(pdf.open(&buf));
    QVERIFY(print::writeDeclaration(pdf, {QStringLiteral("Ditta"), {}}, {small, tall, small}, QDateTime::currentDateTime()));
    QCOMPARE(structureFault(doc), QString());
    QCOMPARE(textOverlapFault(doc), QString());
    QCOMPARE(pageCount(doc), pdf.pageCount());
    QVERIFY(pdf.pageCount() >= 3);
    QVERIFY(shownTexts(doc, pdf.pageCount() - 1).contains("Breve"));

    // a frame heading the next one is not left alone at the foot of a page
    print::FormFrame filler{QStringLiteral("Riempitivo"), {}};
    for (int i = 0; i < 18; ++i)
        filler.rows.append({{QStringLiteral("Campo"), QString::number(i), 30}});
    print::FormFrame head{QStringLiteral("Testata"), {{{QStringLiteral("Numero"), QStringLiteral("1"), 12}}}, true};
    const print::FormFrame next{QStringLiteral("Seguito"), {small.rows.first(), small.rows.first()}};
    auto pageOfHead = [&](const QList<print::FormFrame> &frames) {
        const QByteArray out = declaration(frames);
        for (int i = 0; i < pageCount(out); ++i)
            if (shownTexts(out, i).contains("Testata"))
                return i;
        return -1;
    };
    QCOMPARE(pageOfHead({filler, head, next}), 1);
    head.keepWithNext = false;
    QCOMPARE(pageOfHead({filler, head, next}), 0);
    // ... unless the two together would not fit on a page either
    head.keepWithNext = true;
    QCOMPARE(pageOfHead({filler, head, tall}), 0);

    // a value too long for its box: two lines at 6 points, or three at 5 cut short
    const QString words = QStringLiteral("rifiuti della preparazione e del trattamento di frutta, verdura, caffè e tè");
    const QString two = words + u' ' + words, many = QStringList(12, words).join(u' ');
    const QByteArray values = declaration({{QStringLiteral("Lunghi"),
                                            {{{QStringLiteral("Due righe"), two, 100}},
                                             {{QStringLiteral("Tre righe"), many, 100}}}}});
    QCOMPARE(textOverlapFault(values), QString());
    const QList<QByteArray> shown = shownTexts(values, 0);
    const qsizetype at = shown.indexOf("Due righe");
    QVERIFY(at >= 0);
    QCOMPARE(shown.at(at + 1) + ' ' + shown.at(at + 2), latin(two));
    QCOMPARE(shown.at(at + 3), QByteArray("Tre righe"));
    QVERIFY(shown.at(at + 6).endsWith("..."));
    QVERIFY(latin(many).startsWith(shown.at(at + 4) + ' ' + shown.at(at + 5)));
    const QByteArray content = pageContent(values);
    QVERIFY(content.contains("/R 6 Tf"));
    QVERIFY(content.contains("/R 5 Tf"));
}

void TestPrintLayouts::wrapping()
{
    QByteArray sink;
    QBuffer buf(&sink);
    buf.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    pdf.setUnit(clsPDFCreator::Points);
    pdf.open(&buf);
    print::addPrintFonts(pdf);
    pdf.setFont(print::Regular, 10);   // Arial: "a" 5.56 points, space 2.78
    QCOMPARE(print::wrapText(pdf, QStringLiteral("aa aa aa"), 30), QStringList({"aa aa", "aa"}));
    QCOMPARE(print::wrapText(pdf, QStringLiteral("aaaaaaaaaa"), 12), QStringList({"aa", "aa", "aa", "aa", "aa"}));
    QCOMPARE(print::wrapText(pdf, QString(), 12), QStringList({QString()}));
    const QString text = QStringLiteral("Società Cooperativa “Il Melograno” di Rossi & Figli S.n.c. (già Verdi)");
    const QStringList l = print::wrapText(pdf, text, 80);
    QVERIFY(l.size() > 2);
    for (const QString &s : l)
        QVERIFY(pdf.textWidth(s) <= 80);
    QCOMPARE(l.join(u' '), text);
    // the overlap check used above does see overlapping texts
    const QByteArray overlapping = build([](clsPDFCreator &p) {
        print::addPrintFonts(p);
        p.beginPage();
        p.setFont(print::Regular, 10);
        p.text(10, 10, QStringLiteral("Prima riga"));
        p.text(12, 12, QStringLiteral("Seconda"));
    });
    QVERIFY(!textOverlapFault(overlapping).isEmpty());
    QCOMPARE(print::italianDate(QStringLiteral("2019-04-02T10:00:00")), QStringLiteral("02/04/2019"));
}

void TestPrintLayouts::commandLine()
{
    const QString out = dir_.filePath(QStringLiteral("cli.pdf"));
    auto run = [&](QStringList args) { return cli::print(args); };
    QCOMPARE(run({}), int(cli::Usage));
    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--elenco"), QStringLiteral("--dichiarazione"),
                  QStringLiteral("1")}),
             int(cli::Usage));
    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--dichiarazione"), QStringLiteral("abc")}),
             int(cli::Usage));
    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--elenco"), QStringLiteral("--provincia"),
                  QStringLiteral("XX"), QStringLiteral("--out"), out}),
             int(cli::Refused));
    QVERIFY(!QFile::exists(out));
    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--dichiarazione"), QStringLiteral("99999"),
                  QStringLiteral("--out"), out}),
             int(cli::Refused));
    QCOMPARE(run({QStringLiteral("--db"), dir_.filePath(QStringLiteral("manca.db")), QStringLiteral("--elenco"),
                  QStringLiteral("--out"), out}),
             int(cli::Refused));

    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--elenco"), QStringLiteral("--provincia"),
                  QStringLiteral("FC"), QStringLiteral("--out"), out}),
             int(cli::Ok));
    const QByteArray doc = readFile(out);
    QCOMPARE(structureFault(doc), QString());
    QVERIFY(shownTexts(doc, 0).contains("Mario Rossi"));
    QVERIFY(shownTexts(doc, 0).contains("Totale dichiarazioni: 1"));
    QVERIFY(anyContains(shownTexts(doc, 0), latin(QStringLiteral("CCIAA di FORLÌ-CESENA"))));

    QCOMPARE(run({QStringLiteral("--db"), dbPath_, QStringLiteral("--dichiarazione"),
                  QString::number(first_), QStringLiteral("--out"), out}),
             int(cli::Ok));
    QVERIFY(shownTexts(readFile(out), 0).contains("01234567890"));

    if (haveTool(QStringLiteral("qpdf"))) {
        int rc = -1;
        QByteArray log;
        QVERIFY(pdftest::run(QStringLiteral("qpdf"), {QStringLiteral("--check"), out}, &rc, &log));
        QVERIFY2(rc == 0, log.constData());
    }
}

QTEST_GUILESS_MAIN(TestPrintLayouts)
#include "tst_printlayouts.moc"
