// Export -> import -> export of generated declarations covering every
// section and module kind, and the import rules around it.

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "fixture.h"

#include <QSqlQuery>
#include <QSqlRecord>

using namespace exch;

namespace {

QList<qint64> allDeclarations(dbClass &db)
{
    QList<qint64> ids;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag ORDER BY CodFisc, saID"));
    while (q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

qint64 count(dbClass &db, const QString &table)
{
    return db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + table).toLongLong();
}

const QStringList TreeTables = {
    QStringLiteral("SezAnag"), QStringLiteral("SaAut"),   QStringLiteral("SezRif"),
    QStringLiteral("ModRif"),  QStringLiteral("RecRif"),  QStringLiteral("SezInt"),
    QStringLiteral("ModInt"),  QStringLiteral("SezImb"),  QStringLiteral("RecImb"),
    QStringLiteral("ModImb"),  QStringLiteral("RecModImb"), QStringLiteral("SezRaee"),
    QStringLiteral("RecRaee"), QStringLiteral("ModRaee"), QStringLiteral("RecModRaee"),
    QStringLiteral("SezVfu"),  QStringLiteral("RecVfu"),  QStringLiteral("ModVfu"),
    QStringLiteral("RecModVfu")};

// The rows of statements taking a declaration's saID, as text lines.
template <size_t N>
QStringList rowsAsText(dbClass &db, const char *const (&statements)[N], qint64 saID)
{
    QStringList out;
    for (const char *sql : statements) {
        QSqlQuery q = db.query(QString::fromLatin1(sql), {saID});
        while (q.next()) {
            QStringList values;
            for (int i = 0; i < q.record().count(); ++i)
                values << q.value(i).toString();
            out << values.join(u'|');
        }
    }
    return out;
}

// The waste rows and the modules of the special-stream schede of a
// declaration, as text lines in a fixed order: what the forms show and the
// modules hang from (scheda kind, frame, code).
QStringList streamRows(dbClass &db, qint64 saID)
{
    static const char *const statements[] = {
        "SELECT 'IMB', RecImb.Posizione, RecImb.rifCod, RecImb.allAcc, RecImb.qta, RecImb.umi FROM RecImb "
        "INNER JOIN SezImb ON RecImb.siID = SezImb.siID WHERE (SezImb.saID = ?) "
        "ORDER BY RecImb.Posizione, RecImb.rifCod, RecImb.allAcc, RecImb.qta",
        "SELECT SezRaee.srTipo, SezRaee.srRAEE, RecRaee.Posizione, RecRaee.rifCod, RecRaee.qta, RecRaee.umi "
        "FROM RecRaee INNER JOIN SezRaee ON RecRaee.srID = SezRaee.srID WHERE (SezRaee.saID = ?) "
        "ORDER BY SezRaee.srTipo, SezRaee.srRAEE, RecRaee.Posizione, RecRaee.rifCod",
        "SELECT SezVfu.vfuTipo, RecVfu.Posizione, RecVfu.rifCod, RecVfu.qta, RecVfu.umi FROM RecVfu "
        "INNER JOIN SezVfu ON RecVfu.vfuID = SezVfu.vfuID WHERE (SezVfu.saID = ?) "
        "ORDER BY SezVfu.vfuTipo, RecVfu.Posizione, RecVfu.rifCod",
        "SELECT 'IMB', ModImb.tipoMod, ModImb.rifCod, ModImb.mbFlag, COALESCE(ModImb.qtaMod, 0) FROM ModImb "
        "INNER JOIN SezImb ON ModImb.siID = SezImb.siID WHERE (SezImb.saID = ?) "
        "ORDER BY ModImb.rifCod, ModImb.tipoMod, ModImb.mbFlag, ModImb.qtaMod",
        "SELECT SezRaee.srTipo, ModRaee.tipoMod, ModRaee.rifCod, COALESCE(ModRaee.qtaMod, 0) FROM ModRaee "
        "INNER JOIN SezRaee ON ModRaee.srID = SezRaee.srID WHERE (SezRaee.saID = ?) "
        "ORDER BY SezRaee.srTipo, ModRaee.rifCod, ModRaee.tipoMod, ModRaee.qtaMod",
        "SELECT SezVfu.vfuTipo, ModVfu.tipoMod, ModVfu.rifCod, COALESCE(ModVfu.qtaMod, 0) FROM ModVfu "
        "INNER JOIN SezVfu ON ModVfu.vfuID = SezVfu.vfuID WHERE (SezVfu.saID = ?) "
        "ORDER BY SezVfu.vfuTipo, ModVfu.rifCod, ModVfu.tipoMod, ModVfu.qtaMod"};
    return rowsAsText(db, statements, saID);
}

// The operation rows of the MG and DR modules of a declaration: module kind,
// waste code, grid (Posizione), operation code and quantity.
QStringList operationRows(dbClass &db, qint64 saID)
{
    static const char *const statements[] = {
        "SELECT 'RIF', ModRif.tipoMod, SezRif.rifCod, RecRif.Posizione, RecRif.Codice, RecRif.qta, RecRif.umi "
        "FROM (RecRif INNER JOIN ModRif ON RecRif.mrID = ModRif.mrID) INNER JOIN SezRif ON ModRif.rifID = SezRif.rifID "
        "WHERE (SezRif.saID = ?) ORDER BY SezRif.rifCod, RecRif.Posizione, RecRif.Codice",
        "SELECT 'IMB', ModImb.tipoMod, ModImb.rifCod, RecModImb.Posizione, RecModImb.Codice, RecModImb.qta, RecModImb.umi "
        "FROM (RecModImb INNER JOIN ModImb ON RecModImb.mbID = ModImb.mbID) INNER JOIN SezImb ON ModImb.siID = SezImb.siID "
        "WHERE (SezImb.saID = ?) ORDER BY ModImb.rifCod, ModImb.tipoMod, RecModImb.Posizione, RecModImb.Codice",
        "SELECT SezRaee.srTipo, ModRaee.tipoMod, ModRaee.rifCod, RecModRaee.Posizione, RecModRaee.Codice, RecModRaee.qta "
        "FROM (RecModRaee INNER JOIN ModRaee ON RecModRaee.msrID = ModRaee.msrID) INNER JOIN SezRaee ON ModRaee.srID = SezRaee.srID "
        "WHERE (SezRaee.saID = ?) ORDER BY SezRaee.srTipo, ModRaee.rifCod, ModRaee.tipoMod, RecModRaee.Posizione, RecModRaee.Codice",
        "SELECT SezVfu.vfuTipo, ModVfu.tipoMod, ModVfu.rifCod, RecModVfu.Posizione, RecModVfu.Codice, RecModVfu.qta "
        "FROM (RecModVfu INNER JOIN ModVfu ON RecModVfu.mvID = ModVfu.mvID) INNER JOIN SezVfu ON ModVfu.vfuID = SezVfu.vfuID "
        "WHERE (SezVfu.saID = ?) ORDER BY SezVfu.vfuTipo, ModVfu.rifCod, ModVfu.tipoMod, RecModVfu.Posizione, RecModVfu.Codice"};
    return rowsAsText(db, statements, saID);
}

} // namespace

class RoundTrip : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void everySectionSurvivesTheRoundTrip()
    {
        TestDb a(dir.path(), QStringLiteral("a.db"));
        QVERIFY(a.ok);
        demo::Options o;
        o.declarations = 4;
        o.everySection = true;
        o.withErrors = false;
        QString error;
        QVERIFY2(demo::generate(a.db, o, nullptr, &error), qPrintable(error));
        // Disposal rows in the art. 191 grid of an MG module of every family:
        // the grid must survive the file.
        for (const char *sql : {"UPDATE RecRif SET Posizione = 3 WHERE rrID IN (SELECT MIN(rrID) FROM RecRif WHERE Codice LIKE 'D%' GROUP BY mrID)",
                                "UPDATE RecModImb SET Posizione = 3 WHERE Codice LIKE 'D%' AND Posizione = 2",
                                "UPDATE RecModVfu SET Posizione = 3 WHERE Codice LIKE 'D%' AND Posizione = 2"})
            QVERIFY(a.db.execute(QString::fromLatin1(sql)));
        QVERIFY(a.db.scalar(QStringLiteral("SELECT COUNT(*) FROM RecRif WHERE Posizione = 3")).toInt() > 0);
        const QString f1 = dir.filePath(QStringLiteral("one.000"));
        QCOMPARE(exportDeclarations(a.db, a.msg, f1, allDeclarations(a.db)), ExportResult::Done);
        QVERIFY2(a.msg.shown.isEmpty(), qPrintable(a.msg.texts().join(u'\n')));

        TestDb b(dir.path(), QStringLiteral("b.db"));
        QVERIFY(b.ok);
        const ImportResult r = importFile(b.db, b.msg, f1);
        QVERIFY2(r.status == ImportResult::Done, qPrintable(r.check.text() + b.msg.texts().join(u'\n')));
        QCOMPARE(r.contained, 4);
        QCOMPARE(r.imported, 4);
        QCOMPARE(r.skipped, 0);
        for (const QString &t : TreeTables)
            QVERIFY2(count(b.db, t) == count(a.db, t), qPrintable(t));
        // Every row comes back in its frame, with its modules: the rows of a
        // CR-RAEE scheda, which the file carries without a frame, included.
        QVERIFY(a.db.scalar(QStringLiteral("SELECT COUNT(*) FROM RecRaee INNER JOIN SezRaee ON RecRaee.srID = "
                                           "SezRaee.srID WHERE (SezRaee.srTipo = 2)"))
                    .toInt()
                > 1);
        const QList<qint64> before = allDeclarations(a.db), after = allDeclarations(b.db);
        QCOMPARE(after.size(), before.size());
        for (int i = 0; i < before.size(); ++i)
            QCOMPARE(streamRows(b.db, after[i]), streamRows(a.db, before[i]));
        // Every operation row comes back in its grid.
        for (int i = 0; i < before.size(); ++i)
            QCOMPARE(operationRows(b.db, after[i]), operationRows(a.db, before[i]));

        // The sender of the file is the user's own data, not part of a declaration.
        QSqlQuery setup = a.db.query(QStringLiteral("SELECT * FROM Setup"));
        QVERIFY(setup.next());
        QVariantMap row;
        for (int i = 0; i < setup.record().count(); ++i)
            row.insert(setup.record().fieldName(i), setup.value(i));
        QVERIFY(b.db.insertRow(QStringLiteral("Setup"), row) >= 0);

        const QString f2 = dir.filePath(QStringLiteral("two.000"));
        QCOMPARE(exportDeclarations(b.db, b.msg, f2, allDeclarations(b.db)), ExportResult::Done);
        const QByteArray one = readAll(f1), two = readAll(f2);
        QVERIFY(one.size() > 10000);
        const QList<QByteArray> l1 = masked(one, false).split('\n'), l2 = masked(two, false).split('\n');
        QCOMPARE(l2.size(), l1.size());
        for (int i = 0; i < l1.size(); ++i)
            QVERIFY2(l1[i] == l2[i], qPrintable(QStringLiteral("line %1\n%2\n%3").arg(i + 1)
                                                    .arg(QString::fromLatin1(l1[i]), QString::fromLatin1(l2[i]))));
    }
};

QTEST_GUILESS_MAIN(RoundTrip)
#include "tst_roundtrip.moc"
