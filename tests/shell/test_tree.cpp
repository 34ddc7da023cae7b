// The declaration tree read and written whole: what the reader streams out of
// one store and the writer puts into another is the same tree, whatever the
// window; a declaration the store refuses leaves nothing; the comparison sees
// a change in any column of any table.

#include "../testutil.h"
#include "exchange/demodata.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/schema/schema.h"
#include "shell/transaction.h"
#include "shell/tree/tree.h"

#include <QSqlError>
#include <QFile>
#include <QSqlQuery>
#include <QThread>
#include <functional>
#include <memory>

namespace {

QString s(const char *t) { return QString::fromUtf8(t); }

struct Store {
    std::unique_ptr<dbClass> db;
    bool open(qorClass &app, Messages &msg, const QString &path)
    {
        db = std::make_unique<dbClass>(app, msg);
        db->setCurrentPath(path);
        return db->connect();
    }
    QSqlDatabase c() const { return db->current(); }
    int count(const QString &table) const { return db->scalar(QStringLiteral("SELECT COUNT(*) FROM ") + table, {}).toInt(); }
};

QStringList dumpAll(const QSqlDatabase &db, tree::ReadOptions o = {}, const QList<qint64> *keys = nullptr)
{
    tree::Reader r(db, o);
    if (keys)
        r.select(*keys);
    else
        r.selectAll();
    QStringList out;
    while (tree::Node *n = r.next())
        out << tree::dump(*n).join(u'\n');
    if (r.failed())
        qWarning("%s", qPrintable(r.error()));
    return out;
}

} // namespace

class TestTree : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    Store src;
    QList<qint64> ids;

    // Copies every declaration of the source into a fresh store.
    bool copyInto(Store &dst, const QString &name, int window)
    {
        if (!dst.open(*app, msg, testutil::freshDatabase(dir, name)))
            return false;
        tree::Reader r(src.c(), {window, {}, {}});
        r.selectAll();
        tree::Writer w(dst.c());
        dbTransaction tx(dst.c());
        while (tree::Node *n = r.next())
            if (w.write(*n) < 0)
                return false;
        return !r.failed() && tx.commit();
    }

private Q_SLOTS:
    void initTestCase()
    {
        app = std::make_unique<qorClass>(dir.path());
        QVERIFY(src.open(*app, msg, testutil::freshDatabase(dir)));
        exch::demo::Options o;
        o.declarations = 7;
        o.everySection = true;
        QString error;
        QVERIFY2(exch::demo::generate(*src.db, o, &ids, &error), qPrintable(error));
        // Every table of the tree has rows to carry.
        for (const schema::Table *t : tree::tables())
            QVERIFY2(src.count(t->name) > 0, qPrintable(t->name));
    }

    // Every column of every table survives reading and writing, with any
    // window, and the copy reads back as the source.
    void copyIsTheSameTree_data()
    {
        QTest::addColumn<int>("window");
        QTest::newRow("one declaration") << 1;
        QTest::newRow("uneven") << 3;
        QTest::newRow("all at once") << 1000;
    }
    void copyIsTheSameTree()
    {
        QFETCH(int, window);
        Store dst;
        QVERIFY(copyInto(dst, QStringLiteral("copy%1.db").arg(window), window));
        for (const schema::Table *t : tree::tables())
            QCOMPARE(dst.count(t->name), src.count(t->name));
        const QStringList was = dumpAll(src.c());
        QCOMPARE(was.size(), ids.size());
        QCOMPARE(dumpAll(dst.c(), {2, {}, {}}), was);
        // No value of the source is lost to the dump: every column of every
        // table appears non-null somewhere, or is null in the whole table.
        for (const schema::Table *t : tree::tables())
            for (const schema::Column &c : t->columns) {
                const int filled = src.db->scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 IS NOT NULL").arg(t->name, c.name), {}).toInt();
                const int copied = dst.db->scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 IS NOT NULL").arg(t->name, c.name), {}).toInt();
                QVERIFY2(filled == copied, qPrintable(t->name + u'.' + c.name));
            }
    }

    // A selection comes in its own order, whatever the window; keys not in
    // the store are passed over.
    void selectionOrder()
    {
        QList<qint64> keys{ids.at(4), 999999, ids.at(0), ids.at(6), ids.at(2)};
        const QStringList all = dumpAll(src.c());
        const QStringList want{all.at(4), all.at(0), all.at(6), all.at(2)};
        for (int window : {1, 2, 5, 50})
            QCOMPARE(dumpAll(src.c(), {window, {}, {}}, &keys), want);
    }

    // Read ahead on a thread of its own, a selection comes as the reader
    // gives it, whatever the window: also to a caller that takes its time
    // over each declaration, while the reading side runs ahead as far as it
    // may. A caller that stops early is not kept waiting; one with a
    // transaction of its own open does not read ahead; a store the second
    // connection cannot read says so.
    void readingAheadGivesWhatTheReaderGives()
    {
        const QList<qint64> keys{ids.at(4), 999999, ids.at(0), ids.at(6), ids.at(2), ids.at(1), ids.at(5), ids.at(3)};
        const QStringList want = dumpAll(src.c(), {}, &keys);
        QCOMPARE(want.size(), 7);
        for (int window : {1, 2, 3, 5, 256})
            for (bool slow : {false, true}) {
                tree::ReaderAhead r(src.c(), {window, {}, {}}, keys);
                QStringList got;
                while (tree::Node *n = r.next()) {
                    if (slow)
                        QThread::msleep(15);
                    got << tree::dump(*n).join(u'\n');
                }
                QVERIFY2(!r.failed(), qPrintable(r.error()));
                QCOMPARE(got, want);
            }
        {
            tree::ReaderAhead none(src.c(), {}, {});
            QVERIFY(!none.next());
            QVERIFY(!none.failed());
            tree::ReaderAhead early(src.c(), {2, {}, {}}, keys);
            QVERIFY(early.next());
        }

        QVERIFY(tree::ReaderAhead::readsAhead(src.c()));
        {
            dbTransaction tx(src.c());
            QVERIFY(tx.isActive());
            QVERIFY(!tree::ReaderAhead::readsAhead(src.c()));
        }

        const QString gone = dir.filePath(QStringLiteral("gone.db"));
        QVERIFY(QFile::copy(testutil::freshDatabase(dir, QStringLiteral("soon-gone.db")), gone));
        Store g;
        QVERIFY(g.open(*app, msg, gone));
        QVERIFY(QFile::remove(gone));
        tree::ReaderAhead lost(g.c(), {}, keys);
        QVERIFY(!lost.next());
        QVERIFY(lost.failed());
        QVERIFY(!lost.error().isEmpty());
    }

    // One reader asked for the whole store, then for a selection, then for
    // the whole store again reads what a new reader would each time.
    void selectionsOneAfterAnother()
    {
        const QList<qint64> keys{ids.at(5), ids.at(1), ids.at(3)};
        const QStringList all = dumpAll(src.c(), {2, {}, {}});
        const QStringList some = dumpAll(src.c(), {2, {}, {}}, &keys);
        tree::Reader r(src.c(), {2, {}, {}});
        auto drain = [&] {
            QStringList out;
            while (tree::Node *n = r.next())
                out << tree::dump(*n).join(u'\n');
            return out;
        };
        r.selectAll();
        QCOMPARE(drain(), all);
        r.select(keys);
        QCOMPARE(drain(), some);
        r.selectAll();
        QCOMPARE(drain(), all);
        QVERIFY(!r.failed());
    }

    // A subset of tables and columns: the ancestors come, the rest does not;
    // keys and parent keys are always read.
    void subset()
    {
        tree::ReadOptions o{4, {s("RecRif")}, {{s("ModRif"), {s("tipoMod")}}}};
        tree::Reader r(src.c(), o);
        r.selectAll();
        QSet<QString> seen;
        int mod = 0;
        std::function<void(const tree::Node &)> walk = [&](const tree::Node &n) {
            seen.insert(n.table->name);
            if (n.table->name == s("ModRif")) {
                ++mod;
                QVERIFY(n.key() > 0);
                QVERIFY(n.value(s("rifID")).toLongLong() > 0);
                QVERIFY(n.value(s("tipoMod")).toInt() > 0);
                QVERIFY(n.value(s("RagSoc")).isNull());
            }
            for (const tree::Node *c : n.children)
                walk(*c);
        };
        while (const tree::Node *n = r.next())
            walk(*n);
        QVERIFY(!r.failed());
        QCOMPARE(seen, (QSet<QString>{s("SezAnag"), s("SezRif"), s("ModRif"), s("RecRif")}));
        QCOMPARE(mod, src.count(s("ModRif")));
    }

    // Texts read as their UTF-8 bytes make the same tree, whatever the
    // window, the bytes being those of the store's text.
    void utf8TextsReadTheSameTree()
    {
        const QStringList want = dumpAll(src.c());
        for (int window : {1, 3, 1000}) {
            tree::ReadOptions o{window, {}, {}};
            o.utf8Texts = true;
            QCOMPARE(dumpAll(src.c(), o), want);
        }
        tree::ReadOptions o;
        o.utf8Texts = true;
        tree::Reader r(src.c(), o);
        r.selectAll();
        const tree::Node *sa = r.next();
        QVERIFY(sa);
        const QVariant rag = sa->value(s("RagSoc"));
        QCOMPARE(rag.typeId(), int(QMetaType::QByteArray));
        QCOMPARE(rag.toByteArray(), src.db->scalar(s("SELECT RagSoc FROM SezAnag WHERE saID = ?"), {sa->key()}).toString().toUtf8());
    }

    // Each parent's rows come by key, in whatever order the store gives
    // them: here it reads its tables backwards (a pragma SQLite keeps for
    // finding code that leans on an order nobody asked for).
    void childrenByKeyWhateverTheStoreOrder()
    {
        auto keys = [&](tree::ReadOptions o) {
            tree::Reader r(src.c(), o);
            r.selectAll();
            QStringList out;
            std::function<void(const tree::Node &)> walk = [&](const tree::Node &n) {
                out << n.table->name + u' ' + QString::number(n.key());
                for (const tree::Node *c : n.children)
                    walk(*c);
            };
            while (const tree::Node *n = r.next())
                walk(*n);
            return out;
        };
        const QStringList want = keys({3, {}, {}});
        QVERIFY(want.size() > 100);
        // The walk lists every parent's rows of one table by key.
        QVERIFY(QSqlQuery(src.c()).exec(s("PRAGMA reverse_unordered_selects = ON")));
        const QStringList got = keys({3, {}, {}});
        QVERIFY(QSqlQuery(src.c()).exec(s("PRAGMA reverse_unordered_selects = OFF")));
        QCOMPARE(got, want);
        for (qsizetype i = 1; i < want.size(); ++i) {
            const QStringList a = want.at(i - 1).split(u' '), b = want.at(i).split(u' ');
            QVERIFY2(a.at(0) != b.at(0) || a.at(1).toLongLong() < b.at(1).toLongLong() || b.at(0) == s("SezAnag"),
                     qPrintable(want.at(i - 1) + s(" / ") + want.at(i)));
        }
    }

    // A column is found by name in any case, for every column of every
    // table; a name the table lacks is not found.
    void columnsByName()
    {
        for (const schema::Table *t : tree::tables()) {
            const tree::Node n{t, {}, {}};
            for (size_t i = 0; i < t->columns.size(); ++i) {
                const QString &name = t->columns[i].name;
                QCOMPARE(n.index(name), int(i));
                QCOMPARE(n.index(name.toUpper()), int(i));
                QCOMPARE(n.index(name.toLower()), int(i));
            }
            QCOMPARE(n.index(s("nessunaColonna")), -1);
            QCOMPARE(n.index(s("RagSocè")), -1);
            QCOMPARE(n.index(QString()), -1);
        }
        const tree::Node module{schema::table(s("ModRif")), {}, {}};
        QCOMPARE(module.index(s("slPrvIstat")), -1);
    }

    // Copies stay whole and in place while kept, across the ends of blocks
    // and for texts longer than a block, and again after a clear.
    void textBlocksKeepEveryCopy()
    {
        tree::TextBlocks blocks;
        for (int round = 0; round < 2; ++round) {
            std::vector<std::pair<const char *, QByteArray>> kept;
            for (int i = 0; i < 3000; ++i) {
                // Sizes from 0 to 200 bytes, and now and then one of 100 kB.
                const QByteArray text = i % 997 == 5 ? QByteArray(100 * 1024, char('a' + round))
                                                     : QByteArray(i % 201, char('A' + i % 26));
                kept.emplace_back(blocks.copy(text), text);
            }
            for (const auto &[at, text] : kept)
                QVERIFY(QByteArrayView(at, text.size()) == text);
            blocks.clear();
        }
    }

    // The rows of a window are used again by the next one: whatever the
    // consumer did to them (a value set in a column not read, a value
    // added, children taken away), the next declarations come as read.
    void rowsUsedAgainComeClean()
    {
        tree::ReadOptions o{2, {}, {{s("ModRif"), {s("tipoMod")}}}};
        const QStringList want = dumpAll(src.c(), o);
        tree::Reader r(src.c(), o);
        r.selectAll();
        QStringList got;
        std::function<void(tree::Node &)> spoil = [&](tree::Node &n) {
            for (tree::Node *c : n.children)
                spoil(*c);
            n.set(s("RagSoc"), s("SPORCO"));
            if (n.table->name == s("SezAnag"))
                n.values.append(42);
            n.children.clear();
        };
        while (tree::Node *n = r.next()) {
            got << tree::dump(*n).join(u'\n');
            spoil(*n);
        }
        QVERIFY(!r.failed());
        QCOMPARE(got, want);
    }

    // Last year's store may lack a column this edition added: it reads as
    // empty, the rest as it is.
    void columnMissingFromTheStore()
    {
        const schema::Table &rif = *schema::table(s("SezRif"));
        const schema::Column *added = nullptr;
        for (const schema::Column &c : rif.columns)
            if (c.type == schema::Type::Qty)
                added = &c;
        QVERIFY(added);
        Store old;
        QVERIFY(copyInto(old, s("old.db"), 50));
        QVERIFY(old.db->execute(QStringLiteral("ALTER TABLE SezRif DROP COLUMN ") + added->name));
        const tree::Ignore skip = [&](const schema::Table &t, const schema::Column &c) { return &t == &rif && &c == added; };
        tree::Reader a(src.c()), b(old.c());
        a.selectAll();
        b.selectAll();
        int rows = 0;
        for (tree::Node *x = a.next(), *y = b.next(); x || y; x = a.next(), y = b.next()) {
            QVERIFY(x && y);
            QCOMPARE(tree::difference(*x, *y, skip), QString());
            for (const tree::Node *c : y->children)
                if (c->table == &rif) {
                    ++rows;
                    QVERIFY(c->value(added->name).isNull());
                }
        }
        QVERIFY(!a.failed() && !b.failed());
        QCOMPARE(rows, src.count(s("SezRif")));
    }

    // A declaration refused half-way, by the transform or by the store,
    // leaves nothing behind; the ones before it stay once the enclosing
    // transaction commits.
    void refusedDeclarationLeavesNothing()
    {
        Store dst;
        QVERIFY(dst.open(*app, msg, testutil::freshDatabase(dir, s("refused.db"))));
        tree::Writer w(dst.c());
        dbTransaction tx(dst.c());
        {
            tree::Reader r(src.c());
            r.select({ids.first()});
            tree::Node *first = r.next();
            QVERIFY(first && !first->children.empty());
            const schema::Table *victim = first->children.back()->table;
            QCOMPARE(w.write(*first, [&](tree::Node &n) { return n.table != victim; }), qint64(-1));
            QVERIFY(w.error().isEmpty());
            QCOMPARE(dst.count(s("SezAnag")), 0);
            QCOMPARE(dst.count(victim->name), 0);
        }
        // From the second declaration on, the store refuses the operation
        // rows of RAEE modules.
        QVERIFY(dst.db->execute(s("CREATE TRIGGER guasto BEFORE INSERT ON RecModRaee "
                                  "WHEN (SELECT COUNT(*) FROM SezAnag) >= 2 "
                                  "BEGIN SELECT RAISE(ABORT, 'guasto simulato'); END")));
        tree::Reader r(src.c(), {3, {}, {}});
        r.selectAll();
        int refused = 0;
        while (tree::Node *n = r.next())
            if (w.write(*n) < 0) {
                ++refused;
                QVERIFY2(w.error().contains(s("guasto simulato")), qPrintable(w.error()));
            }
        QVERIFY(!r.failed());
        QVERIFY(refused > 0);
        QVERIFY(tx.commit());
        QCOMPARE(dst.count(s("SezAnag")), ids.size() - refused);
        // Nothing hangs from a declaration that is not there.
        for (const schema::Table *t : tree::tables())
            if (!t->parent.isEmpty())
                QCOMPARE(dst.db->scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 NOT IN (SELECT %3 FROM %4)")
                                            .arg(t->name, t->parentKey, schema::table(t->parent)->key, t->parent), {})
                             .toInt(),
                         0);
    }

    // A writer whose caller undoes everything on a failure keeps no savepoint
    // per declaration: inside a transaction the rows written before the
    // refused one stay until the caller rolls back; outside one, the
    // declaration is still written whole or not at all.
    void undoneByTheCaller()
    {
        Store dst;
        QVERIFY(dst.open(*app, msg, testutil::freshDatabase(dir, s("caller.db"))));
        tree::Writer w(dst.c(), tree::Writer::Undo::Caller);
        tree::Reader r(src.c());
        r.select({ids.first()});
        tree::Node *first = r.next();
        QVERIFY(first && !first->children.empty());
        const schema::Table *victim = first->children.back()->table;
        auto refuse = [&](tree::Node &n) { return n.table != victim; };
        QCOMPARE(w.write(*first, refuse), qint64(-1));
        QCOMPARE(dst.count(s("SezAnag")), 0);
        {
            dbTransaction tx(dst.c());
            QCOMPARE(w.write(*first, refuse), qint64(-1));
            QCOMPARE(dst.count(s("SezAnag")), 1);
        }
        QCOMPARE(dst.count(s("SezAnag")), 0);
        dbTransaction tx(dst.c());
        QVERIFY(w.write(*first) > 0);
        QVERIFY(tx.commit());
        QVERIFY(dst.count(victim->name) > 0);
        tree::Reader back(dst.c());
        back.selectAll();
        const tree::Node *copy = back.next();
        QVERIFY(copy);
        tree::Reader again(src.c());
        again.select({ids.first()});
        QCOMPARE(tree::difference(*again.next(), *copy), QString());
    }

    // A writer told that byte arrays are UTF-8 texts stores them as texts:
    // every declaration with each text handed over as bytes reads back the
    // same, and no column of any table holds a blob.
    void utf8TextsAreStoredAsTexts()
    {
        Store dst;
        QVERIFY(dst.open(*app, msg, testutil::freshDatabase(dir, s("utf8.db"))));
        tree::Writer w(dst.c());
        w.setUtf8Texts(true);
        dbTransaction tx(dst.c());
        tree::Reader r(src.c());
        r.selectAll();
        int texts = 0;
        std::function<void(tree::Node &)> toBytes = [&](tree::Node &n) {
            for (QVariant &v : n.values)
                if (v.typeId() == QMetaType::QString && !v.isNull()) {
                    v = v.toString().toUtf8();
                    ++texts;
                }
            for (tree::Node *c : n.children)
                toBytes(*c);
        };
        while (tree::Node *n = r.next()) {
            toBytes(*n);
            QVERIFY2(w.write(*n) > 0, qPrintable(w.error()));
        }
        QVERIFY(tx.commit());
        QVERIFY(texts > 0);
        QCOMPARE(dumpAll(dst.c()), dumpAll(src.c()));
        for (const schema::Table *t : tree::tables())
            for (const schema::Column &c : t->columns)
                QVERIFY2(dst.db->scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE typeof(%2) = 'blob'")
                                            .arg(t->name, c.name), {}).toInt() == 0,
                         qPrintable(t->name + u'.' + c.name));
    }

    // The rows of one table under a node, sorted by any of its columns, come
    // in the order the store's ORDER BY gives them, with nulls, whole and
    // real numbers and texts mixed in one column.
    void sortedChildrenAsTheStoreSorts()
    {
        Store st;
        QVERIFY(copyInto(st, QStringLiteral("sorted.db"), 1000));
        QSqlQuery mix(st.c());
        QVERIFY(mix.exec(QStringLiteral("UPDATE ModRif SET tipoMod = CASE mrID % 4 WHEN 0 THEN NULL WHEN 1 THEN 'x' "
                                        "WHEN 2 THEN 2.5 ELSE tipoMod END, RagSoc = CASE mrID % 3 WHEN 0 THEN NULL "
                                        "WHEN 1 THEN 7 ELSE RagSoc END")));
        QStringList wrong;
        int sorts = 0;
        std::function<void(const tree::Node &)> visit = [&](const tree::Node &n) {
            for (const schema::Table *t : tree::tables()) {
                if (t->parent.compare(n.table->name, Qt::CaseInsensitive) != 0)
                    continue;
                for (const schema::Column &c : t->columns) {
                    QList<qint64> store, sorted;
                    QSqlQuery q(st.c());
                    q.prepare(QStringLiteral("SELECT \"%1\" FROM %2 WHERE (\"%3\" = ?) ORDER BY \"%4\", \"%1\"")
                                  .arg(t->key, t->name, t->parentKey, c.name));
                    q.addBindValue(n.key());
                    if (!q.exec())
                        wrong << q.lastError().text();
                    while (q.next())
                        store << q.value(0).toLongLong();
                    for (const tree::Node *row : tree::sortedChildren(n, t->name, {c.name}))
                        sorted << row->key();
                    if (sorted != store)
                        wrong << t->name + u'.' + c.name;
                    sorts += store.size() > 1;
                }
            }
            for (const tree::Node *child : n.children)
                visit(*child);
        };
        tree::Reader r(st.c());
        r.selectAll();
        while (const tree::Node *n = r.next())
            visit(*n);
        QVERIFY(!r.failed());
        QVERIFY(sorts > 100);
        QVERIFY2(wrong.isEmpty(), qPrintable(wrong.join(u' ')));
    }

    // A change in any column of any table shows, named; an ignored column
    // does not.
    void comparisonSeesEveryColumn()
    {
        tree::Reader ra(src.c()), rb(src.c());
        ra.select({ids.first()});
        rb.select({ids.first()});
        tree::Node *a = ra.next(), *b = rb.next();
        QVERIFY(a && b);
        QCOMPARE(tree::difference(*a, *b), QString());
        // The first row of each table in the declaration.
        QHash<const schema::Table *, tree::Node *> first;
        std::function<void(tree::Node &)> walk = [&](tree::Node &n) {
            if (!first.contains(n.table))
                first.insert(n.table, &n);
            for (tree::Node *c : n.children)
                walk(*c);
        };
        walk(*b);
        QCOMPARE(first.size(), qsizetype(tree::tables().size()));
        for (tree::Node *node : std::as_const(first))
            for (size_t i = 0; i < node->table->columns.size(); ++i) {
                const schema::Column &c = node->table->columns[i];
                if (c.name == node->table->key || c.name == node->table->parentKey)
                    continue;
                const QVariant was = node->values.at(qsizetype(i));
                node->values[qsizetype(i)] = was.isNull() ? QVariant(7) : QVariant(was.toString() + u'x');
                const QString d = tree::difference(*a, *b);
                QVERIFY2(d.contains(node->table->name + u':') && d.contains(c.name + u'='),
                         qPrintable(node->table->name + u'.' + c.name));
                const tree::Ignore skip = [&](const schema::Table &t, const schema::Column &col) {
                    return &t == node->table && &col == &c;
                };
                QCOMPARE(tree::difference(*a, *b, skip), QString());
                node->values[qsizetype(i)] = was;
            }
    }
};

QTEST_GUILESS_MAIN(TestTree)
#include "test_tree.moc"
