// Mutated exchange files, built from a valid one: each is either refused with
// nothing written or loaded whole. The header is recounted after each
// mutation, so that the mutants get past the counters and reach the checks of
// structure and the loader.

#include "exchange/demodata.h"
#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "exchange/layouts.h"
#include "exchange/reader.h"
#include "fixture.h"
#include "shell/schema/schema.h"

#include <QBuffer>
#include <QCryptographicHash>
#include <QRandomGenerator>
#include <QSqlQuery>
#include <QSqlRecord>

using namespace exch;

namespace {

// A digest of every row of every table the import may write.
QByteArray digest(dbClass &db)
{
    QCryptographicHash h(QCryptographicHash::Sha1);
    for (const schema::Table &t : schema::tables()) {
        if (t.reference)
            continue;
        QSqlQuery q = db.query(QStringLiteral("SELECT * FROM ") + t.name + QStringLiteral(" ORDER BY 1"));
        h.addData(t.name.toUtf8());
        while (q.next())
            for (int i = 0; i < q.record().count(); ++i)
                h.addData((q.value(i).toString() + u'|').toUtf8());
    }
    return h.result();
}

// Recounts the record types and the total of the header and its control value.
QByteArray reheader(const QList<QByteArray> &lines)
{
    QByteArray head = lines.value(0);
    if (head.size() < HeaderLength)
        return lines.join("\r\n");
    int counts[RecordTypes] = {};
    qint32 total = 0;
    for (int i = 1; i < lines.size(); ++i)
        if (const Layout *l = layout(QByteArrayView(lines[i]).first(std::min<qsizetype>(2, lines[i].size())))) {
            ++counts[l->index];
            ++total;
        }
    head.replace(30, 8, QByteArray::number(total).rightJustified(8, '0'));
    for (int i = 0; i < RecordTypes; ++i)
        head.replace(39 + 6 * i, 5, QByteArray::number(counts[i]).rightJustified(5, '0'));
    head.replace(455, 4, QByteArray::number(expClass::controlValue(head.left(30), total)).rightJustified(4, '0'));
    QList<QByteArray> out = lines;
    out[0] = head;
    return out.join("\r\n");
}

} // namespace

class Fuzz : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    QList<QByteArray> lines;   // the valid file, without line ends

private Q_SLOTS:
    void initTestCase()
    {
        TestDb t(dir.path(), QStringLiteral("source.db"));
        QVERIFY(t.ok);
        demo::Options o;
        o.declarations = 3;
        o.everySection = true;
        o.withErrors = false;
        QList<qint64> ids;
        QString error;
        QVERIFY2(demo::generate(t.db, o, &ids, &error), qPrintable(error));
        const QString path = dir.filePath(QStringLiteral("source.000"));
        QCOMPARE(exportDeclarations(t.db, t.msg, path, ids), ExportResult::Done);
        QByteArray bytes = readAll(path);
        QVERIFY(bytes.endsWith("\r\n"));
        bytes.chop(2);
        lines = bytes.split('\n');
        for (QByteArray &l : lines)
            l.chop(1);   // CR
        QVERIFY(lines.size() > 100);
    }

    void mutantsAreRefusedWholeOrLoadedWhole()
    {
        TestDb t(dir.path(), QStringLiteral("target.db"));
        QVERIFY(t.ok);
        const QByteArray empty = digest(t.db);
        QRandomGenerator rnd(13);
        const QString path = dir.filePath(QStringLiteral("mutant.000"));
        int refused = 0, loaded = 0, failed = 0;
        for (int run = 0; run < 400; ++run) {
            QList<QByteArray> m = lines;
            const int a = 1 + int(rnd.bounded(m.size() - 1)), b = 1 + int(rnd.bounded(m.size() - 1));
            const int pick = int(rnd.bounded(10)), what = pick < 6 ? pick : pick < 9 ? 6 : 7;
            QByteArray bytes;
            switch (what) {
            case 0: m.swapItemsAt(a, b); break;
            case 1: m.removeAt(a); break;
            case 2: m.insert(b, m[a]); break;
            case 3:   // a byte of a line changed
                if (m[a].size() > 3)
                    m[a][3 + int(rnd.bounded(m[a].size() - 3))] = char(32 + rnd.bounded(95));
                break;
            case 4: {   // a line given the type code of another
                const Layout &l = layouts()[size_t(rnd.bounded(int(layouts().size())))];
                m[a].replace(0, 2, l.code.toLatin1());
                break;
            }
            case 5: m = m.mid(0, a); break;
            case 6:   // (most often) a line moved a little earlier, inside its declaration mostly
                if (rnd.bounded(2)) {
                    m.move(a, std::max(1, a - 1 - int(rnd.bounded(8))));
                } else {   // or to just before the scheda it hangs from
                    int p = a - 1;
                    while (p > 1 && !QByteArrayView(m[p]).first(2).toByteArray().contains('A') && !m[p].startsWith("VC"))
                        --p;
                    m.move(a, p);
                }
                break;
            case 7: {   // a two-letter code of the line (kind, label, row code) changed
                static const char *const codes[] = {"RT", "DR", "TE", "MG", "UO", "UD", "TR", "CR", "AU", "FR",
                                                    "IM", "RI", "PP", "XX", "  "};
                if (m[a].size() > 45)
                    m[a].replace(41 + int(rnd.bounded(m[a].size() - 43)), 2, codes[rnd.bounded(15)]);
                break;
            }
            }
            bytes = reheader(m) + "\r\n";
            if (run % 50 == 49)   // now and then a cut inside a line
                bytes.truncate(int(rnd.bounded(bytes.size())));
            QVERIFY(writeAll(path, bytes));
            t.msg.clear();
            const ImportResult r = importFile(t.db, t.msg, path);
            const QByteArray after = digest(t.db);
            const QString why = QStringLiteral("mutant %1 (kind %2, lines %3 %4): %5 %6")
                                    .arg(run).arg(what).arg(a).arg(b).arg(r.check.text(), t.msg.texts().join(u' '));
            if (r.status == ImportResult::Done) {
                ++loaded;
                QVERIFY2(r.imported + r.skipped == r.contained, qPrintable(why));
                QVERIFY2(r.imported == 0 || after != empty, qPrintable(why));
                // Start again from an empty store.
                QVERIFY(t.db.execute(QStringLiteral("DELETE FROM SezAnag")));
                QVERIFY(t.db.execute(QStringLiteral("DELETE FROM Ditte")));
                QCOMPARE(digest(t.db), empty);
            } else {
                r.status == ImportResult::Refused ? ++refused : ++failed;
                QVERIFY2(after == empty, qPrintable(why));
            }
        }
        qInfo("refused %d, loaded %d, failed %d", refused, loaded, failed);
        // The mutations reach both outcomes, and the checking pass, not the
        // loader, refuses the faults.
        QVERIFY(refused > 100);
        QVERIFY(loaded > 10);
        QVERIFY2(failed == 0, qPrintable(QString::number(failed)));
    }

    // The faults the loader would meet, one for each kind of child: the first
    // line of the kind moved before the first record it hangs from.
    void orphansAreRefusedByTheCheck_data()
    {
        QTest::addColumn<QByteArray>("child");
        QTest::addColumn<QByteArray>("parent");
        for (const char *c : {"IB", "IC", "ID", "IE", "IF"})
            QTest::newRow(c) << QByteArray(c) << QByteArray("IA");
        for (const char *c : {"RE", "RF"})
            QTest::newRow(c) << QByteArray(c) << QByteArray("RD");
        for (const char *c : {"VG", "VH"})
            QTest::newRow(c) << QByteArray(c) << QByteArray("VF");
        QTest::newRow("BE") << QByteArray("BE") << QByteArray("BD");
        QTest::newRow("IF-IE") << QByteArray("IF") << QByteArray("IE");
    }
    void orphansAreRefusedByTheCheck()
    {
        QFETCH(QByteArray, child);
        QFETCH(QByteArray, parent);
        QList<QByteArray> m = lines;
        int c = -1, p = -1;
        for (int i = 1; i < m.size() && c < 0; ++i) {
            if (p < 0 && m[i].startsWith(parent))
                p = i;
            if (p >= 0 && m[i].startsWith(child))
                c = i;
        }
        QVERIFY(p > 0 && c > p);
        m.move(c, p);
        const QString path = dir.filePath(QStringLiteral("orphan.000"));
        QVERIFY(writeAll(path, reheader(m) + "\r\n"));
        const CheckResult r = checkFile(path);
        QVERIFY(!r.ok);
        QCOMPARE(r.text(), QStringLiteral("Record figlio senza il record da cui dipende. (riga n. %1)").arg(p + 1));
    }

    void unknownLabelsAreRefusedByTheCheck()
    {
        // An MA line of an unknown label, or of a kind whose scheda is missing.
        for (const QByteArray &label : {QByteArray("ZZZ"), QByteArray("IMB")}) {
            QList<QByteArray> m = lines;
            int a = 1;
            while (!m[a].startsWith("MA"))
                ++a;
            m[a].replace(41, 3, label);
            const QString path = dir.filePath(QStringLiteral("label.000"));
            QVERIFY(writeAll(path, reheader(m) + "\r\n"));
            const CheckResult r = checkFile(path);
            QVERIFY(!r.ok);
            QCOMPARE(r.line, a + 1);
        }
    }

    void overlongLinesAreRefusedAtOnce()
    {
        // A file without line ends, a first line of zeros, an endless line
        // after a good header: refused with the line number, without reading
        // the rest.
        const QString noEnds = dir.filePath(QStringLiteral("noends.000"));
        QVERIFY(writeAll(noEnds, QByteArray(8 << 20, 'A')));
        CheckResult c = checkFile(noEnds);
        QVERIFY(!c.ok);
        QCOMPARE(c.line, 1);
        const QString longLine = dir.filePath(QStringLiteral("long.000"));
        QVERIFY(writeAll(longLine, reheader(lines.mid(0, 3)) + "\r\n" + lines[3] + QByteArray(8 << 20, 'x') + "\r\n"));
        c = checkFile(longLine);
        QVERIFY(!c.ok);
        QCOMPARE(c.text(), QStringLiteral("Lunghezza record errata. (riga n. 4)"));
        if (QFile::exists(QStringLiteral("/dev/zero"))) {
            c = checkFile(QStringLiteral("/dev/zero"));
            QVERIFY(!c.ok);
            QCOMPARE(c.line, 1);
        }
        // The reader's bound itself: one line too long ends the reading.
        QByteArray data = "short\n" + QByteArray(maxLineLength() + 2, 'y') + "\nafter\n";
        QBuffer buf(&data);
        QVERIFY(buf.open(QIODevice::ReadOnly));
        LineReader r(buf, maxLineLength());
        QByteArrayView v;
        QVERIFY(r.next(v));
        QCOMPARE(v.toByteArray(), QByteArray("short"));
        QVERIFY(!r.next(v));
        QVERIFY(r.tooLong());
    }
};

QTEST_GUILESS_MAIN(Fuzz)
#include "tst_fuzz.moc"
