// The export engine: a golden file written by hand field by field, and the
// rules around writing (renewal of municipalities, values that do not fit,
// cancel, the empty file, the prefix of every line).

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/layouts.h"
#include "exchange/reader.h"
#include "fixture.h"

#include <QSqlQuery>

#include <algorithm>

using namespace exch;

namespace {

QByteArray sp(int n) { return QByteArray(n, ' '); }
QByteArray pad(const char *s, int w) { return QByteArray(s).leftJustified(w, ' '); }
QByteArray times(const QByteArray &s, int n)
{
    QByteArray r;
    for (int i = 0; i < n; ++i)
        r += s;
    return r;
}
const QByteArray Z = "0000000,000;0;";
const QByteArray EmptyPair = "     ;0000000,000;0;";

QDateTime fixedClock() { return QDateTime(QDate(2019, 3, 15), QTime(9, 30, 0)); }

qint64 add(dbClass &db, const char *table, const QVariantMap &m)
{
    const qint64 id = db.insertRow(QString::fromLatin1(table), m);
    if (id < 0)
        qWarning() << "insert into" << table << "failed";
    return id;
}

using V = QVariantMap;

// One small declaration with one record of every kind.
qint64 smallDeclaration(dbClass &db)
{
    const qint64 sa = add(db, "SezAnag", V{
        {"CodFisc", "01234567897"}, {"attIstat", "381100"}, {"REA", 123456}, {"Addetti", 12},
        {"RagSoc", "ROSSI RECUPERI S.R.L."}, {"prvIstat", 1}, {"comIstat", 272}, {"Via", "VIA ROMA"},
        {"Civico", "1"}, {"Cap", "10100"}, {"PrefTel", "011"}, {"Telefono", "5550000"},
        {"slPrvIstat", 1}, {"slComIstat", 5}, {"saCognome", "ROSSI"}, {"saNome", "MARIO"},
        {"saDataComp", "2019-03-01"}, {"Mesi", 12}, {"msQta01", 1500}, {"msUmi01", 1}});
    add(db, "SaAut", V{{"saID", sa}, {"suEstremi", "AUT/1/2016"}, {"suDataRil", "2016-05-10"},
                       {"suDataScad", "2026-05-09"}, {"suEnte", 2}, {"suTipo", 1},
                       {"suRecupero", "1010000000001"}, {"suSmaltimento", "000000000000001"},
                       {"Incenerimento", 1}, {"incQta", 12000}, {"crClass1", 2}, {"crQta1", 50000}});
    const qint64 rif = add(db, "SezRif", V{
        {"saID", sa}, {"rifCod", "150101"}, {"sfSolidoNP", 1}, {"qtaProd", 1000000}, {"UmiProd", 1},
        {"qtaTerzi", 200000}, {"umiTerzi", 1}, {"qtaFuori", 1500}, {"umiFuori", 2},
        {"qtaCons", 1100000}, {"umiCons", 1}, {"qtaGiacRec", 100000}, {"umiGiacRec", 1}});
    add(db, "ModRif", V{{"rifID", rif}, {"tipoMod", 1}, {"Privati", 1}, {"CodFisc", "BNCLRA70A41F205Z"},
                        {"RagSoc", "BIANCHI LAURA"}, {"prvIstat", 1}, {"comIstat", 272}, {"Via", "VIA PO"},
                        {"Civico", "3"}, {"Cap", "10124"}, {"qtaMod", 200000}, {"umiMod", 1}});
    add(db, "ModRif", V{{"rifID", rif}, {"tipoMod", 5}, {"prvIstat", 1}, {"comIstat", 272},
                        {"qtaMod", 1500}, {"umiMod", 2}});
    const qint64 mg = add(db, "ModRif", V{{"rifID", rif}, {"tipoMod", 4}, {"Privati", 11}, {"qtaMod", 50000},
                                           {"umiMod", 1}, {"qtaSmalt", 20}, {"umiSmalt", 2}, {"qtaDep", 10000},
                                           {"umiDep", 1}, {"discDep", 7}});
    add(db, "RecRif", V{{"mrID", mg}, {"Posizione", 2}, {"Codice", "D15"}, {"qta", 400000}, {"umi", 1}});
    add(db, "RecRif", V{{"mrID", mg}, {"Posizione", 1}, {"Codice", "R13"}, {"qta", 600000}, {"umi", 1}});

    const qint64 in = add(db, "SezInt", V{{"saID", sa}, {"rifCod", "170405"}, {"sfSolidoP", 1},
                                          {"intQta", 4200000}, {"intUmi", 1}});
    add(db, "ModInt", V{{"intID", in}, {"tipoMod", 1}, {"CodFisc", "12345678903"},
                        {"RagSoc", "VERDI METALLI S.P.A."}, {"Via", "RUE DU PORT"}, {"Civico", "9"},
                        {"nazID", 215}, {"qtaMod", 4200000}, {"umiMod", 1}});

    const qint64 si = add(db, "SezImb", V{{"saID", sa}, {"qtaTerzi", 50000}, {"umiTerzi", 1},
                                          {"msQta02", 77000}, {"msUmi02", 1}});
    add(db, "RecImb", V{{"siID", si}, {"rifCod", "150101"}, {"allAcc", 1}, {"Posizione", 2},
                        {"qta", 50000}, {"umi", 1}});
    add(db, "ModImb", V{{"siID", si}, {"rifCod", "150101"}, {"tipoMod", 2}, {"mbFlag", 0},
                        {"CodFisc", "12345678903"}, {"RagSoc", "VERDI METALLI S.P.A."},
                        {"qtaMod", 50000}, {"umiMod", 1}, {"qtaDep", 250}, {"umiDep", 1}, {"discDep", 1}});
    add(db, "ModImb", V{{"siID", si}, {"rifCod", "150101"}, {"tipoMod", 1}, {"mbFlag", 1},
                        {"CodFisc", "12345678903"}, {"RagSoc", "VERDI METALLI S.P.A."}, {"prvIstat", 1},
                        {"comIstat", 272}, {"Via", "VIA PO"}, {"Civico", "3"}, {"Cap", "10124"},
                        {"qtaMod", 50000}, {"umiMod", 1}});
    const qint64 mbDR = db.scalar(QStringLiteral("SELECT mbID FROM ModImb WHERE (tipoMod = 2)")).toLongLong();
    add(db, "RecModImb", V{{"mbID", mbDR}, {"Posizione", 1}, {"Codice", "R3"}, {"qta", 50000}, {"umi", 1}});

    const qint64 sr = add(db, "SezRaee", V{{"saID", sa}, {"srTipo", 1}, {"srRAEE", 3}, {"srStima", 1},
                                           {"srQta", 800000}, {"srUmi", 1}, {"msQta01", 5500}, {"msUmi01", 1}});
    add(db, "RecRaee", V{{"srID", sr}, {"Posizione", 1}, {"rifCod", "200135"}, {"qta", 800000}, {"umi", 1}});
    add(db, "ModRaee", V{{"srID", sr}, {"rifCod", "200135"}, {"tipoMod", 1}, {"Privati", 1},
                         {"CodFisc", "BNCLRA70A41F205Z"}, {"RagSoc", "BIANCHI LAURA"}, {"prvIstat", 1},
                         {"comIstat", 272}, {"qtaMod", 800000}, {"umiMod", 1}, {"disc191", 1}});
    add(db, "ModRaee", V{{"srID", sr}, {"rifCod", "200135"}, {"tipoMod", 2}, {"CodFisc", "12345678903"},
                         {"RagSoc", "VERDI METALLI S.P.A."}, {"qtaMod", 800000}, {"umiMod", 1}});

    const qint64 vf = add(db, "SezVfu", V{{"saID", sa}, {"vfuTipo", 1}, {"qtaTerzi", 9000000}, {"umiTerzi", 1},
                                          {"qtaProprio", 3000}, {"umiProprio", 2}, {"qtaGiac", 12500},
                                          {"umiGiac", 1}, {"qtaPre80", 2000}, {"umiPre80", 1},
                                          {"qtaPost80", 14000}, {"umiPost80", 1}, {"qta104", 500},
                                          {"umi104", 1}, {"msQta07", 1000}, {"msUmi07", 1}});
    add(db, "RecVfu", V{{"vfuID", vf}, {"Posizione", 1}, {"rifCod", "160104"}, {"qta", 9000000}, {"umi", 1}});
    add(db, "ModVfu", V{{"vfuID", vf}, {"rifCod", "160104"}, {"tipoMod", 1}, {"CodFisc", "12345678903"},
                        {"RagSoc", "VERDI METALLI S.P.A."}, {"qtaMod", 9000000}, {"umiMod", 1}});
    const qint64 mv = add(db, "ModVfu", V{{"vfuID", vf}, {"rifCod", "160104"}, {"tipoMod", 2},
                                          {"CodFisc", "12345678903"}, {"RagSoc", "VERDI METALLI S.P.A."},
                                          {"qtaMod", 9000000}, {"umiMod", 1}});
    add(db, "RecModVfu", V{{"mvID", mv}, {"Posizione", 1}, {"Codice", "R4"}, {"qta", 9000000}, {"umi", 1}});
    return sa;
}

QList<QByteArray> goldenLines()
{
    const QByteArray p = ";2019;01234567897     ;190315093000100;";   // after the type code
    const QByteArray verdi = pad("12345678903", 16) + ';';
    const QByteArray verdiName = pad("VERDI METALLI S.P.A.", 60) + ';';
    const QByteArray bianchi = pad("BNCLRA70A41F205Z", 16) + ';';
    const QByteArray bianchiName = pad("BIANCHI LAURA", 60) + ';';
    const QByteArray noAddress = "000;000;" + sp(30) + ';' + sp(6) + ';' + sp(5) + ';';
    const QByteArray viaPo = "001;272;" + pad("VIA PO", 30) + ';' + pad("3", 6) + ';' + "10124;";
    const QByteArray noNation = sp(20) + ';' + sp(6) + ';';
    QList<QByteArray> l;
    l << "AA" + p + "381100;" + "000123456;" + "00012;" + pad("ROSSI RECUPERI S.R.L.", 60) + ';' + "001;272;" +
             pad("VIA ROMA", 30) + ';' + pad("1", 6) + ';' + "10100;" + pad("011", 5) + ';' + pad("5550000", 10) + ';' +
             "001;317;" /* ALICE SUPERIORE renewed as VAL DI CHY */ + sp(30) + ';' + sp(6) + ';' + sp(5) + ';' +
             sp(5) + ';' + sp(10) + ';' + pad("ROSSI", 25) + ';' + pad("MARIO", 25) + ';' + "20190301;" + "12;" +
             "0;" + sp(8) + ';';
    l << "AB" + p + "000001;" + "000001;" + "1;0;0;" + "01;00;" + "1;" + "01;" + sp(184) + ';';
    l << "AU" + p + "0001;" + pad("AUT/1/2016", 20) + ';' + "20160510;" + "20260509;" + "2;1;0;" +
             pad("R1,R3,R13", 50) + ';' + pad("D15", 50) + ';' + "0;0;1;" + "000012000;000000000;000000000;" + "0;" +
             "000000000;000000000;000000000;" + "2;000050000;" + "0;000000000;" + "0;000000000;" + sp(8) + ';' +
             sp(9) + ';' + sp(8) + ';';
    l << "BA" + p + "0001;150101;" + "0;1;0;0;0;0;0;" + "0001000,000;1;" + "0000200,000;1;" + "00001;" +
             "0000001,500;2;" + "00001;" + Z + "00000;" + "0001100,000;1;" + "00000;" + "0000100,000;1;" + Z + Z + Z;
    l << "BB" + p + "0001;150101;" + "RT;00001;" + bianchi + bianchiName + viaPo + "0000200,000;1;" + noNation +
             "1;" + Z + Z + Z + Z + Z + "0;0;";
    l << "BC" + p + "0001;150101;" + "00001;" + "001;272;" + "0;" + "0000001,500;2;";
    // One pair of lines per grid of the MG module: 01 recovery, 02 disposal.
    l << "BD" + p + "0001;150101;" + "MG;00001;01;" + "R13  ;0000600,000;1;" + times(EmptyPair, 8);
    // The second line of a pair carries the module's own columns.
    const QByteArray mgCols = "11;" + QByteArray("0000050,000;1;") + "0000000,020;2;" + "0000010,000;1;" + "7;" + Z +
                              "0;" + sp(16) + ';';
    const QByteArray noMg = "00;" + times(Z, 3) + "0;" + Z + "0;" + sp(16) + ';';
    l << "BE" + p + "0001;150101;" + "MG;00001;01;" + times(EmptyPair, 6) + mgCols + "02;";
    l << "BD" + p + "0001;150101;" + "MG;00001;02;" + "D15  ;0000400,000;1;" + times(EmptyPair, 8);
    l << "BE" + p + "0001;150101;" + "MG;00001;02;" + times(EmptyPair, 6) + mgCols + "02;";
    l << "MA" + p + "RIF;00;" + "0000001,500;1;" + times(Z, 20);
    l << "DA" + p + "0001;170405;" + "1;0;0;0;0;0;0;" + "0004200,000;1;" + "00001;00000;";
    l << "DB" + p + "0001;170405;" + "UO;00001;" + verdi + verdiName + "000;000;" + pad("RUE DU PORT", 30) + ';' +
             pad("9", 6) + ';' + pad("FRANCIA", 20) + ';' + "0004200,000;1;";
    l << "IA" + p + "0000050,000;1;" + "00001;00001;00000;00001;" + Z;
    l << "IB" + p + "150101;" + "1;" + "RX;" + "0000050,000;1;";
    l << "IC" + p + "150101;RT;001;" + verdi + "1;" + verdiName + viaPo + "0000050,000;1;" + noNation + "0;0;";
    l << "ID" + p + "150101;DR;001;" + verdi + "0;" + verdiName + noAddress + "0000050,000;1;" + noNation + Z +
             "0000000,250;1;" + Z + Z + Z + "1;0;" + "00001;" + sp(154) + ';';
    l << "IE" + p + "150101;DR;001;01;" + "R3   ;0000050,000;1;" + times(EmptyPair, 8);
    l << "IF" + p + "150101;DR;001;01;" + times(EmptyPair, 6) + noMg + "0;" + "001;";
    l << "MA" + p + "IMB;00;" + times(Z, 5) + "0000077,000;1;" + times(Z, 15);
    l << "RA" + p + "TRA;03;" + "1;" + "00001;" + "0000800,000;1;" + "00001;00000;" + "0;" + "00001;" + times(Z, 5);
    l << "RB" + p + "TRA;03;" + "DR;" + "200135;" + "0000800,000;1;";
    l << "RC" + p + "TRA;03;" + "200135;RT;001;" + bianchi + "1;" + bianchiName + "001;272;" + sp(30) + ';' +
             sp(6) + ';' + sp(5) + ';' + "0000800,000;1;" + noNation + "0;1;";
    l << "RD" + p + "TRA;03;" + "200135;DR;001;" + verdi + "0;" + verdiName + noAddress + "0000800,000;1;" +
             noNation + times(Z, 5) + "0;0;" + "00000;" + sp(152) + ';';
    l << "RE" + p + "TRA;03;" + "200135;DR;001;01;" + times(EmptyPair, 9);
    l << "RF" + p + "TRA;03;" + "200135;DR;001;01;" + times(EmptyPair, 6) + noMg + "0;" + "000;";
    l << "MA" + p + "TRA;03;" + times(Z, 6) + "0000005,500;1;" + times(Z, 14);
    l << "VC" + p + "AUT;" + "0009000,000;1;" + "00001;00001;00000;00001;" + "0;" + Z + Z + "0000003,000;2;" + Z +
             Z + Z + "0000012,500;1;" + "0000002,000;1;" + "0000014,000;1;" + "0000000,500;1;";
    l << "VD" + p + "AUT;" + "RT;" + "160104;" + "0009000,000;1;";
    l << "VE" + p + "AUT;" + "160104;RT;001;" + verdi + "0;" + verdiName + noAddress + "0009000,000;1;" + noNation +
             "0;0;";
    l << "VF" + p + "AUT;" + "160104;DR;001;" + verdi + "0;" + verdiName + noAddress + "0009000,000;1;" + noNation +
             times(Z, 5) + "0;0;" + "00001;" + sp(152) + ';';
    l << "VG" + p + "AUT;" + "160104;DR;001;01;" + "R4   ;0009000,000;1;" + times(EmptyPair, 8);
    l << "VH" + p + "AUT;" + "160104;DR;001;01;" + times(EmptyPair, 6) + noMg + "0;" + "001;";
    l << "MA" + p + "AUT;00;" + times(Z, 13) + "0000001,000;1;" + times(Z, 7);
    return l;
}

} // namespace

class Export : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void goldenFile()
    {
        TestDb t(dir.path(), QStringLiteral("golden.db"));
        QVERIFY(t.ok);
        const qint64 sa = smallDeclaration(t.db);
        QCOMPARE(sa, qint64(1));
        expClass e(t.db, t.msg);
        e.setClock(fixedClock);
        const QString path = dir.filePath(QStringLiteral("golden.000"));
        QVERIFY(e.open(path));
        QVERIFY(e.write(sa));
        QVERIFY(e.close());
        QVERIFY2(t.msg.shown.isEmpty(), qPrintable(t.msg.texts().join(u'\n')));

        const QList<QByteArray> expected = goldenLines();
        QByteArray head = "XX;6.02/18;01;20190315;093000;" + QByteArray("00000034;") + times("00001;", 5) + "00002;00002;" + times("00001;", 20) +
                          "00004;" + "00001;" + sp(16) + ';' + sp(60) + ';' + sp(30) + ';' + sp(10) + ';' +
                          sp(5) + ';' + sp(30) + ';' + sp(2) + ';' + sp(5) + ';' + sp(10) + ';' + sp(60) + ';' +
                          pad("00004190", 30) + ';';
        QCOMPARE(head.size(), 482);
        const QList<QByteArray> got = readAll(path).split('\n');
        QCOMPARE(got.size(), expected.size() + 2);   // header, lines, empty rest after the last CR LF
        QCOMPARE(got.last(), QByteArray());
        QCOMPARE(got.first(), head + '\r');
        for (int i = 0; i < expected.size(); ++i) {
            QCOMPARE(expected[i].size(), layout(expected[i].left(2))->length);
            QCOMPARE(got[i + 1], expected[i] + '\r');
        }
        QVERIFY(checkFile(path).ok);
        // The renewal changes the file, never the database.
        QCOMPARE(t.db.scalar(QStringLiteral("SELECT slComIstat FROM SezAnag")).toInt(), 5);
    }

    void emptyExportIsTheHeaderOnly()
    {
        TestDb t(dir.path(), QStringLiteral("empty.db"));
        QVERIFY(t.ok);
        const QString path = dir.filePath(QStringLiteral("empty.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, {}), ExportResult::Done);
        const QByteArray f = readAll(path);
        QCOMPARE(f.size(), 484);
        QVERIFY(f.endsWith("\r\n"));
        QCOMPARE(f.mid(30, 9), QByteArray("00000000;"));
        QCOMPARE(f.mid(39, 174), times("00000;", 29));
        const CheckResult c = checkFile(path);
        QVERIFY(c.ok);
        QCOMPARE(c.declarations, 0);
    }

    void everyLineCarriesTheDeclarationPrefix()
    {
        TestDb t(dir.path(), QStringLiteral("prefix.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 3;
        o.everySection = true;
        QList<qint64> ids;
        QVERIFY(demo::generate(t.db, o, &ids));
        const QString path = dir.filePath(QStringLiteral("prefix.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, ids), ExportResult::Done);
        QByteArray common;
        int declarations = 0;
        const QList<QByteArray> lines = readAll(path).split('\n');
        for (int i = 1; i < lines.size() - 1; ++i) {
            const QByteArray &l = lines[i];
            QVERIFY(l.endsWith('\r'));
            QCOMPARE(l.size() - 1, layout(l.left(2))->length);
            QCOMPARE(l.mid(2, 6), QByteArray(";2019;"));
            QCOMPARE(l.at(24), ';');
            QCOMPARE(l.at(40), ';');
            if (l.startsWith("AA")) {
                QVERIFY(l.mid(3, 37) != common);
                common = l.mid(3, 37);
                ++declarations;
            }
            QCOMPARE(l.mid(3, 37), common);
        }
        QCOMPARE(declarations, 3);
        QVERIFY(checkFile(path).ok);
    }

    void windowedReadingWritesWhatSingleReadingWrites()
    {
        // exportDeclarations reads the declarations a window at a time; a
        // declaration written by its key is read alone. Both must give the
        // same bytes, in a shuffled order that is not the order of the keys,
        // with windows that do not divide the selection, with every kind of
        // scheda and module.
        TestDb t(dir.path(), QStringLiteral("run.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 6;
        o.everySection = true;
        QList<qint64> ids;
        QVERIFY(demo::generate(t.db, o, &ids));
        o.everySection = false;
        o.seed = 7;
        QList<qint64> more;
        QVERIFY(demo::generate(t.db, o, &more));
        ids += more;
        std::reverse(ids.begin(), ids.begin() + 4);
        std::swap(ids[5], ids[9]);
        const QDateTime fixed(QDate(2020, 3, 2), QTime(10, 11, 12));

        const QString byRun = dir.filePath(QStringLiteral("run.000"));
        expClass a(t.db, t.msg);
        a.setClock([&] { return fixed; });
        a.setWindow(3);
        QCOMPARE(exportDeclarations(t.db, t.msg, byRun, ids, {}, &a), ExportResult::Done);

        const QString oneByOne = dir.filePath(QStringLiteral("onebyone.000"));
        expClass b(t.db, t.msg);
        b.setClock([&] { return fixed; });
        QVERIFY(b.open(oneByOne));
        for (qint64 id : ids)
            QVERIFY(b.write(id));
        QVERIFY(b.close());

        const QByteArray run = readAll(byRun);
        QVERIFY(run.size() > 12 * 1000);
        QCOMPARE(run, readAll(oneByOne));
    }

    void valueThatDoesNotFitStopsTheExport()
    {
        TestDb t(dir.path(), QStringLiteral("big.db"));
        QVERIFY(t.ok);
        const qint64 sa = smallDeclaration(t.db);
        // 10.000.000 kg needs eight integer digits.
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezRif SET qtaTerzi = ?"), {qint64(10000000000)}));
        const QString path = dir.filePath(QStringLiteral("big.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, {sa}), ExportResult::Failed);
        QVERIFY(!QFile::exists(path));
        QCOMPARE(t.msg.shown.size(), 1);
        const QString m = t.msg.last();
        QVERIFY2(m.contains(QStringLiteral("01234567897")) && m.contains(QStringLiteral("RIF 150101")) &&
                     m.contains(QStringLiteral("campo qtaTerzi")),
                 qPrintable(m));

        // A number wider than its field.
        t.msg.clear();
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezRif SET qtaTerzi = 0")));
        QVERIFY(t.db.execute(QStringLiteral("UPDATE SezAnag SET Addetti = 123456")));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, {sa}), ExportResult::Failed);
        QVERIFY(!QFile::exists(path));
        QVERIFY(t.msg.last().contains(QStringLiteral("SA1")));
        QVERIFY(t.msg.last().contains(QStringLiteral("campo Addetti")));
    }

    void rowsGoInTheOrderOfTheFile()
    {
        // Rows stored in another order than the file's: the file sorts them
        // (schede RIF by code, modules by kind and flag, schede RAEE by kind
        // and category, schede VFU by kind).
        TestDb t(dir.path(), QStringLiteral("order.db"));
        QVERIFY(t.ok);
        const qint64 sa = add(t.db, "SezAnag", V{{"CodFisc", "01234567897"}});
        add(t.db, "SezRif", V{{"saID", sa}, {"rifCod", "200101"}});
        const qint64 rif = add(t.db, "SezRif", V{{"saID", sa}, {"rifCod", "150101"}});
        for (const auto &[kind, privati, name] : {std::tuple{3, 0, "TRASPORTI"}, {1, 1, "PRIVATO"},
                                                  {1, 0, "DITTA"}, {2, 0, "DESTINO"}})
            add(t.db, "ModRif", V{{"rifID", rif}, {"tipoMod", kind}, {"Privati", privati}, {"RagSoc", name}});
        for (const auto &[kind, category] : {std::pair{2, 1}, {1, 3}, {1, 2}})
            add(t.db, "SezRaee", V{{"saID", sa}, {"srTipo", kind}, {"srRAEE", category}});
        for (int kind : {3, 1, 2})
            add(t.db, "SezVfu", V{{"saID", sa}, {"vfuTipo", kind}});

        const QString path = dir.filePath(QStringLiteral("order.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, {sa}), ExportResult::Done);
        QList<QByteArray> got;
        for (const QByteArray &l : readAll(path).split('\n')) {
            const QByteArray type = l.left(2);
            if (type == "BA")
                got << "BA " + l.mid(46, 6);
            else if (type == "BB")
                for (const char *name : {"TRASPORTI", "PRIVATO", "DITTA", "DESTINO"})
                    if (l.contains(name))
                        got << QByteArray("BB ") + name;
            if (type == "RA")
                got << "RA " + l.mid(41, 3) + l.mid(45, 2);
            else if (type == "VC")
                got << "VC " + l.mid(41, 3);
        }
        QCOMPARE(got, QList<QByteArray>({"BA 150101", "BB DITTA", "BB PRIVATO", "BB DESTINO", "BB TRASPORTI",
                                         "BA 200101", "RA TRA02", "RA TRA03", "RA CRR01", "VC AUT", "VC ROT",
                                         "VC FRA"}));
    }

    void missingDeclarationStopsTheExport()
    {
        // The reader passes over a key the store does not hold; the export
        // must not: a declaration chosen and gone is an error, wherever it
        // falls in a window.
        TestDb t(dir.path(), QStringLiteral("missing.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 5;
        QList<qint64> ids;
        QVERIFY(demo::generate(t.db, o, &ids));
        for (qsizetype at : {qsizetype(0), qsizetype(3), ids.size()}) {
            QList<qint64> chosen = ids;
            chosen.insert(at, 999999);
            t.msg.clear();
            const QString path = dir.filePath(QStringLiteral("missing.000"));
            expClass e(t.db, t.msg);
            e.setWindow(2);
            QCOMPARE(exportDeclarations(t.db, t.msg, path, chosen, {}, &e), ExportResult::Failed);
            QVERIFY(!QFile::exists(path));
            QCOMPARE(t.msg.texts(), QStringList{QStringLiteral(
                                        "Attenzione, dichiarazione 999999 non trovata: esportazione interrotta.")});
        }
    }

    void cancelDeletesTheFile()
    {
        TestDb t(dir.path(), QStringLiteral("cancel.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 5;
        QList<qint64> ids;
        QVERIFY(demo::generate(t.db, o, &ids));
        const QString path = dir.filePath(QStringLiteral("cancel.000"));
        int calls = 0;
        const auto r = exportDeclarations(t.db, t.msg, path, ids, [&](qint64 done, qint64 total) {
            ++calls;
            return !(done == 2 && total == 5);
        });
        QCOMPARE(r, ExportResult::Cancelled);
        QCOMPARE(calls, 2);
        QVERIFY(!QFile::exists(path));
    }

    void openFailureMessage()
    {
        TestDb t(dir.path(), QStringLiteral("open.db"));
        QVERIFY(t.ok);
        expClass e(t.db, t.msg);
        const QString path = dir.filePath(QStringLiteral("missing/folder/x.000"));
        QVERIFY(!e.open(path));
        QVERIFY(t.msg.last().startsWith(QStringLiteral("Errore apertura file di esportazione: ") + path + QStringLiteral("\r\n")));
    }
};

QTEST_GUILESS_MAIN(Export)
#include "tst_export.moc"
