// The declarations list read in pages through its index, and the indexes the
// list and the "already present" test of import and takeover go through.

#include "../pgstore.h"
#include "../testdb.h"
#include "exchange/importer.h"
#include "shell/gui/declmodel.h"
#include "shell/gui/dichiarazioni.h"
#include "shell/schema/schema.h"

#include <QItemSelectionModel>
#include <QSet>
#include <QSqlQuery>
#include <QTableView>
#include <algorithm>
#include <optional>

namespace {
// What the engine says it will do with a statement, all steps in one line.
QString plan(dbClass &db, const QString &sql, const QVariantList &params)
{
    QSqlQuery q(db.current());
    q.prepare(QStringLiteral("EXPLAIN QUERY PLAN ") + sql);
    for (const QVariant &v : params)
        q.addBindValue(v);
    if (!q.exec())
        return QStringLiteral("error: ") + q.lastError().text();
    QStringList steps;
    while (q.next())
        steps << q.value(3).toString();
    return steps.join(QStringLiteral(" | "));
}

struct Decl {
    std::optional<QString> ragSoc, codFisc;
    QString via;
    qint64 id = 0;
};

// Inserts declarations; a null name or tax code stays null.
void insert(dbClass &db, std::vector<Decl> &ds, int prv = 0, int com = 0)
{
    QSqlDatabase c = db.current();
    c.transaction();
    for (Decl &d : ds) {
        QVariantMap row{{QStringLiteral("saAnno"), 2019}, {QStringLiteral("Via"), d.via}};
        if (d.ragSoc)
            row.insert(QStringLiteral("RagSoc"), *d.ragSoc);
        if (d.codFisc)
            row.insert(QStringLiteral("CodFisc"), *d.codFisc);
        if (prv) {
            row.insert(QStringLiteral("prvIstat"), prv);
            row.insert(QStringLiteral("comIstat"), com);
        }
        d.id = db.insertRow(QStringLiteral("SezAnag"), row);
        QVERIFY(d.id > 0);
    }
    c.commit();
}

// Order of the list: name, tax code, key; a missing value before any other
// (after any other on PostgreSQL).
bool nullsLast = false;
bool listOrder(const Decl &a, const Decl &b)
{
    auto cmp = [](const std::optional<QString> &x, const std::optional<QString> &y) {
        if (!x || !y)
            return (int(bool(x)) - int(bool(y))) * (nullsLast ? -1 : 1);
        return QString::compare(*x, *y);
    };
    if (int c = cmp(a.ragSoc, b.ragSoc))
        return c < 0;
    if (int c = cmp(a.codFisc, b.codFisc))
        return c < 0;
    return a.id < b.id;
}

bool shownBy(const Decl &d, const QString &filter)
{
    return DeclarationList::label(d.ragSoc.value_or(QString()), QString(), d.via, QString()).contains(filter, Qt::CaseInsensitive)
        || d.codFisc.value_or(QString()).contains(filter, Qt::CaseInsensitive);
}

// More declarations than three pages of the list, with repeated and missing
// names and tax codes, and texts holding the wildcards of LIKE.
std::vector<Decl> sample()
{
    const std::optional<QString> names[] = {std::nullopt, QStringLiteral("ALFA SRL"), QStringLiteral("BETA 50% SPA"),
                                            QStringLiteral("BETA_2 SNC"), QStringLiteral("ZETA!")};
    const std::optional<QString> codes[] = {std::nullopt, QStringLiteral("00488410010"), QStringLiteral("01234567897"),
                                            QStringLiteral("")};
    std::vector<Decl> ds;
    for (int i = 0; i < 3 * DeclarationModel::PageSize + 17; ++i)
        ds.push_back({names[(i * 7) % 5], codes[(i * 3) % 4], i % 11 ? QStringLiteral("VIA ROMA") : QStringLiteral("PIAZZA 50%")});
    return ds;
}
} // namespace

class TestDeclIndex : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void everyRowSitsWhereTheOrderPutsIt_data()
    {
        QTest::addColumn<bool>("postgres");
        QTest::newRow("SQLite") << false;
        QTest::newRow("PostgreSQL") << true;
    }

    void everyRowSitsWhereTheOrderPutsIt()
    {
        QFETCH(bool, postgres);
        TestDb t;
        const QString url = qEnvironmentVariable("QOR_TEST_PG_URL");
        if (postgres) {
            if (url.isEmpty())
                QSKIP("QOR_TEST_PG_URL not set");
            const QString built = freshPgStore(url, QStringLiteral("declindex"), schema::dbVersion());
            QVERIFY2(built.isEmpty(), qPrintable(built));
            t.app = std::make_unique<qorClass>(t.dir.path());
            t.db = std::make_unique<dbClass>(*t.app, t.msg);
            t.db->setCurrentPath(url);
            QVERIFY(t.db->connect());
        } else {
            QVERIFY(t.open());
        }
        nullsLast = postgres;
        std::vector<Decl> ds = sample();
        insert(*t.db, ds);
        DeclarationModel m(*t.db);
        for (const QString &filter : {QString(), QStringLiteral("beta"), QStringLiteral("0%"), QStringLiteral("A_2"),
                                     QStringLiteral("!"), QStringLiteral("0123"), QStringLiteral("srl - u. l.: via r"),
                                     QStringLiteral("nessuna")}) {
            std::vector<Decl> want;
            std::copy_if(ds.begin(), ds.end(), std::back_inserter(want),
                         [&](const Decl &d) { return filter.isEmpty() || shownBy(d, filter); });
            std::sort(want.begin(), want.end(), listOrder);
            m.reload(filter);
            QCOMPARE(m.rowCount(), int(want.size()));
            // backwards: pages are read out of order, as a jump to the end does
            QSet<qint64> seen;
            for (int r = int(want.size()) - 1; r >= 0; --r) {
                // The server's collation may order texts otherwise than by
                // code point: there each row must only be found where it is.
                if (!postgres)
                    QCOMPARE(m.idAt(r), want[size_t(r)].id);
                QCOMPARE(m.rowOf(m.idAt(r)), r);
                seen << m.idAt(r);
            }
            QCOMPARE(seen.size(), int(want.size()));
            for (const Decl &d : want)
                QVERIFY(seen.contains(d.id));
            for (const Decl &d : ds)
                if (!filter.isEmpty() && !shownBy(d, filter))
                    QCOMPARE(m.rowOf(d.id), -1);
        }
    }

    void theListHighlightsADeclarationFarDown()
    {
        TestDb t;
        QVERIFY(t.open());
        std::vector<Decl> ds = sample();
        insert(*t.db, ds);
        nullsLast = false;
        std::sort(ds.begin(), ds.end(), listOrder);
        DeclarationList l(*t.ctx);
        l.resize(500, 300);
        l.show();
        l.reload();
        QCOMPARE(l.currentId(), ds.front().id);
        const size_t far = ds.size() - 5;
        l.setCurrentId(ds[far].id);
        QCOMPARE(l.currentId(), ds[far].id);
        QCOMPARE(l.view()->currentIndex().row(), int(far));
        QVERIFY(l.view()->selectionModel()->isRowSelected(int(far), {}));
        QCOMPARE(t.app->readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(ds[far].id));
        // the row is scrolled into view
        QVERIFY(l.view()->viewport()->rect().intersects(l.view()->visualRect(l.view()->currentIndex())));
        // The keys of a list: End, Home, the pages, the arrows; the current
        // cell stays in the first column.
        const struct {
            Qt::Key key;
            qint64 expected; // 0: any other than before
        } keys[] = {{Qt::Key_End, ds.back().id}, {Qt::Key_Home, ds.front().id}, {Qt::Key_PageDown, 0},
                    {Qt::Key_Right, -1}, {Qt::Key_Down, 0}, {Qt::Key_Up, 0}};
        for (const auto &k : keys) {
            const qint64 before = l.currentId();
            QTest::keyClick(l.view(), k.key);
            if (k.expected > 0)
                QCOMPARE(l.currentId(), k.expected);
            else if (k.expected == 0)
                QVERIFY(l.currentId() != before);
            else
                QCOMPARE(l.currentId(), before);
            QCOMPARE(l.view()->currentIndex().column(), 0);
            QCOMPARE(t.app->readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID")), int(l.currentId()));
        }
    }

    void theListAndThePresenceTestUseTheirIndexes()
    {
        TestDb t;
        QVERIFY(t.open());
        // A big city: every declaration in the same municipality.
        std::vector<Decl> ds;
        for (int i = 0; i < 3000; ++i)
            ds.push_back({QStringLiteral("DITTA %1").arg(i), QStringLiteral("%1").arg(i, 11, 10, QChar(u'0')),
                          QStringLiteral("VIA ROMA")});
        insert(*t.db, ds, 15, 146);
        DeclarationModel m(*t.db);
        const exch::DeclarationIdentity byCode{QStringLiteral("00000001234"), QStringLiteral("DITTA 1234"),
                                               QStringLiteral("VIA ROMA"), QString(), 15, 146};
        const exch::DeclarationIdentity noCode{QString(), QStringLiteral("DITTA 1234"), QStringLiteral("VIA ROMA"),
                                               QString(), 15, 146};
        // with the engine's guesses, then with the statistics of ANALYZE
        for (bool analyzed : {false, true}) {
            if (analyzed)
                QVERIFY(t.db->execute(QStringLiteral("ANALYZE")));
            const exch::PresenceTest p = exch::presenceTest(byCode);
            const QString pp = plan(*t.db, p.sql, p.params);
            // a search keyed on the tax code (alone or after the name), never on the place
            QVERIFY2(pp.contains(QStringLiteral("SEARCH SezAnag USING INDEX")) && pp.contains(QStringLiteral("CodFisc=?)"))
                         && !pp.contains(QStringLiteral("prvIstat=")),
                     qPrintable(pp));
            QCOMPARE(exch::presentDeclaration(*t.db, byCode), ds[1234].id);
            const exch::PresenceTest n = exch::presenceTest(noCode);
            const QString np = plan(*t.db, n.sql, n.params);
            QVERIFY2(np.contains(QStringLiteral("SEARCH SezAnag")) && !np.contains(QStringLiteral("SCAN ")), qPrintable(np));
            // The list reads its pages in index order, never sorting the table.
            for (const QString &filter : {QString(), QStringLiteral("ditta 12")}) {
                m.reload(filter);
                QVariantList params;
                for (int i = 0; !filter.isEmpty() && i < 2; ++i)
                    params << QStringLiteral("%DITTA 12%");
                const QString lp = plan(*t.db, m.pageSql(), params << 256 << 0);
                QVERIFY2(lp.contains(QStringLiteral("SCAN SezAnag USING INDEX")) && !lp.contains(QStringLiteral("TEMP B-TREE")),
                         qPrintable(lp));
            }
        }
    }

    void theIdentityOfAPresentDeclaration()
    {
        TestDb t;
        QVERIFY(t.open());
        const exch::DeclarationIdentity stored{QStringLiteral("00488410010"), QStringLiteral("ALFA SRL"),
                                               QStringLiteral("VIA ROMA"), QVariant(), 15, 146};
        const qint64 id = t.db->insertRow(QStringLiteral("SezAnag"),
            {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), stored.codFisc}, {QStringLiteral("RagSoc"), stored.ragSoc},
             {QStringLiteral("Via"), stored.via}, {QStringLiteral("prvIstat"), 15}, {QStringLiteral("comIstat"), 146}});
        QVERIFY(id > 0);
        // A blank number matches the missing one.
        exch::DeclarationIdentity same = stored;
        same.civico = QString();
        QCOMPARE(exch::presentDeclaration(*t.db, same), id);
        // Every part of the identity counts: one differing, none present.
        QVariant exch::DeclarationIdentity::*const parts[] = {
            &exch::DeclarationIdentity::codFisc, &exch::DeclarationIdentity::ragSoc, &exch::DeclarationIdentity::via,
            &exch::DeclarationIdentity::civico, &exch::DeclarationIdentity::prvIstat, &exch::DeclarationIdentity::comIstat};
        for (auto part : parts) {
            exch::DeclarationIdentity other = stored;
            other.*part = (stored.*part).isNull() || (stored.*part).typeId() == QMetaType::QString
                ? QVariant(QStringLiteral("1"))
                : QVariant(999);
            QCOMPARE(exch::presentDeclaration(*t.db, other), 0);
        }
    }

    void aDatabaseWithoutTheIndexesGetsThemOnConnecting()
    {
        TestDb t;
        QVERIFY(t.open());
        QStringList names;
        for (const schema::Table &tab : schema::tables())
            if (!tab.reference)
                for (const QString &sql : schema::indexStatements(tab, false))
                    names << sql.section(u' ', 2, 2);
        QVERIFY(names.contains(QStringLiteral("ix_SezAnag_2")));
        for (const QString &n : names)
            QVERIFY(t.db->execute(QStringLiteral("DROP INDEX ") + n));
        QVERIFY(t.db->connect());
        QStringList found;
        QSqlQuery q(t.db->current());
        QVERIFY(q.exec(QStringLiteral("SELECT name FROM sqlite_master WHERE type = 'index'")));
        while (q.next())
            found << q.value(0).toString();
        for (const QString &n : names)
            QVERIFY2(found.contains(n), qPrintable(n));
    }
};

QTEST_MAIN(TestDeclIndex)
#include "test_declindex.moc"
