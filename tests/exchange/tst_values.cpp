// Values on their way between the store and the file: records and row sets,
// the fields that the quick paths of the encoders and decoders must read and
// write exactly as the general ones, and the lines of a file read in blocks.

#include "exchange/layouts.h"
#include "exchange/reader.h"
#include "exchange/record.h"
#include "shell/dbstatement.h"

#include <QBuffer>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QTest>

using namespace exch;

namespace {

// Offset of a field in a line of its layout (prefix included).
int offsetOf(const Layout &l, const char *name)
{
    int at = PrefixLength;
    for (const Field &f : l.fields) {
        if (f.name == QLatin1String(name))
            return at;
        at += f.size();
    }
    return -1;
}

// A line of a layout with every field blank or zero, the given fields
// overwritten with raw text.
QByteArray lineWith(const Layout &l, std::initializer_list<std::pair<const char *, QByteArray>> raw)
{
    QByteArray line = l.code.toLatin1() + ";2019;12345678901     ;190315093000001;";
    QString field, why;
    encodeFields(l, Record(), line, &field, &why);
    for (const auto &[name, text] : raw)
        line.replace(offsetOf(l, name), text.size(), text);
    return line;
}

} // namespace

class Values : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void recordsKeepWhatTheyAreGiven()
    {
        const int a = keyOf(u"a"), b = keyOf(u"b"), c = keyOf(u"c");
        QCOMPARE(keyOf(u"A"), a);
        Record r;
        QByteArray source("kept");
        r.keep(a, source);
        source[0] = 'X';
        QCOMPARE(r.get(a).bytes(), QByteArrayView("kept"));
        // A text copied within the record while the record grows.
        for (int i = 0; i < 200; ++i) {
            r.copy(b, r, a);
            r.keep(c, QByteArray(100, 'z'));
        }
        QCOMPARE(r.get(b).bytes(), QByteArrayView("kept"));
        r.copy(c, r, keyOf(u"never-set"));
        QVERIFY(r.has(c) && r.get(c).isNull());

        Record m;
        m.set(a, 7);
        m.merge(r);
        r.clear();
        r.keep(a, QByteArrayView("other"));
        QCOMPARE(m.get(a).bytes(), QByteArrayView("kept"));   // the merged text is m's own
        QVERIFY(!r.has(b));
        QVERIFY(r.get(b).isNull());

        const QVariantMap map = Record::fromMap({{QStringLiteral("n"), 5}, {QStringLiteral("s"), QStringLiteral("è")},
                                                 {QStringLiteral("z"), QVariant()}})
                                    .toMap();
        QCOMPARE(map.value(QStringLiteral("n")).toLongLong(), 5);
        QCOMPARE(map.value(QStringLiteral("s")).toString(), QStringLiteral("è"));
        QVERIFY(map.contains(QStringLiteral("z")) && map.value(QStringLiteral("z")).isNull());
    }

    void rowSetsOutliveTheirStatementsRow()
    {
        QTemporaryDir dir;
        {
            QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), QStringLiteral("rows"));
            db.setDatabaseName(dir.filePath(QStringLiteral("r.db")));
            QVERIFY(db.open());
            dbStatement st(db, QStringLiteral("SELECT 9 AS skip, 1 AS n, 'uno' AS t, 2 AS n UNION ALL "
                                              "SELECT 9, 3, NULL, 4 ORDER BY 2"));
            QVERIFY(st.exec());
            RowSet set;
            set.columnsOf(st, 1);
            while (st.next())
                set.append(st, 1);
            QCOMPARE(set.rows(), 2);
            const int n = keyOf(u"n"), t = keyOf(u"t");
            QVERIFY(!set.hasColumn(keyOf(u"skip")));
            QCOMPARE(set.value(0, n).i, 2);   // of two columns of one name, the later
            QCOMPARE(set.value(0, t).bytes(), QByteArrayView("uno"));
            QVERIFY(set.value(1, t).isNull());

            // A record reads its row in place; what is set in it comes first.
            Record r;
            r.setBase(&set, 1);
            QCOMPARE(r.get(n).i, 4);
            QVERIFY(r.has(t));
            r.set(n, 10);
            QCOMPARE(r.get(n).i, 10);
            Record other;
            other.copy(keyOf(u"copy"), r, n);
            QCOMPARE(other.get(keyOf(u"copy")).i, 10);
            r.clear();
            QVERIFY(!r.has(t));
        }
        QSqlDatabase::removeDatabase(QStringLiteral("rows"));
    }

    void oddFieldsDecodeAsTheGeneralParsersRead()
    {
        const Layout &au = *layout(QByteArrayView("AU"));
        const QByteArray line = lineWith(au, {{"#prog", "  12;"},
                                              {"incqta", "00000001a;"},
                                              {"sudataril", "20190231;"},
                                              {"sudatascad", "09990101;"},
                                              {"suestremi", QByteArray("Caff\xe8 \x80 uno").leftJustified(20) + ';'}});
        QCOMPARE(line.size(), au.length);
        const QVariantMap v = decodeLine(au, line);
        QCOMPARE(v.value(QStringLiteral("#prog")).toLongLong(), 12);     // leading blank
        QCOMPARE(v.value(QStringLiteral("incqta")).toLongLong(), 0);     // not a number
        QVERIFY(v.value(QStringLiteral("sudataril")).toString().isEmpty());   // not a date
        QCOMPARE(v.value(QStringLiteral("sudatascad")).toString(), QStringLiteral("0999-01-01"));
        QCOMPARE(v.value(QStringLiteral("suestremi")).toString(), QStringLiteral("Caffè € uno"));
        QVERIFY(v.value(QStringLiteral("emasnumb")).isNull());           // blank text

        const Layout &ra = *layout(QByteArrayView("RA"));
        const QByteArray qty = lineWith(ra, {{"srqta", "   1234,5  ;2;"}, {"qtagiac", "0000012,345;t;"}});
        const QVariantMap q = decodeLine(ra, qty);
        QCOMPARE(q.value(QStringLiteral("srqta")).toLongLong(), 1234005);   // "5" read as 5 thousandths
        QCOMPARE(q.value(QStringLiteral("srumi")).toLongLong(), 2);
        QCOMPARE(q.value(QStringLiteral("qtagiac")).toLongLong(), 12345);
        QCOMPARE(q.value(QStringLiteral("umigiac")).toLongLong(), 0);      // a unit that is not a digit

        // The tax code of the prefix is trimmed on both sides, tabs included.
        QByteArray tabbed = qty;
        tabbed.replace(8, 16, "\t 0123456789  \t ");
        QCOMPARE(decodeLine(ra, tabbed).value(QStringLiteral("#codfisc")).toString(), QStringLiteral("0123456789"));
    }

    void oddValuesEncodeAsBefore()
    {
        QByteArray b;
        QVERIFY(date(QStringLiteral("2019-03-15T10:11:12"), b));
        QVERIFY(!date(QStringLiteral("2019-02-30"), b));
        QVERIFY(!date(QStringLiteral("0999-01-01"), b));
        QVERIFY(!date(20190315, b));
        QCOMPARE(b, QByteArray("20190315;"));

        QCOMPARE(text(qint64(-42), 4), QByteArray("-42 ;"));
        QCOMPARE(text(qint64(123456), 3), QByteArray("123;"));
        QCOMPARE(text(QStringLiteral("è\r\n€ŁAB"), 4), QByteArray("\xe8\x80?A;"));

        b.clear();
        QVERIFY(quantityUnit(qint64(1000), QStringLiteral("t"), b));
        QVERIFY(quantityUnit(qint64(1000), qint64(25), b));
        QVERIFY(!quantityUnit(qint64(1000), QString(), b));
        QVERIFY(!quantityUnit(qint64(1000), QStringLiteral("Ł"), b));
        QVERIFY(!quantityUnit(qint64(-1), 1, b));
        QCOMPARE(b, QByteArray("0000001,000;t;0000001,000;2;"));
        QVERIFY(quantity(QStringLiteral("1.5"), b));   // a store that gives decimal text
        QCOMPARE(b.right(12), QByteArray("0000001,500;"));
        QVERIFY(number(QStringLiteral(" 17 "), 3, b));
        QCOMPARE(b.right(4), QByteArray("017;"));
    }

    void layoutsByCode()
    {
        QCOMPARE(layout(QByteArrayView("IF"))->index, int(rt::IF));
        QCOMPARE(layout(QByteArrayView("AU"))->code, QStringLiteral("AU"));
        for (const char *code : {"if", "A", "AAA", "", "A;", "XX"})
            QVERIFY2(!layout(QByteArrayView(code)), code);
    }

    void linesAcrossBlocks()
    {
        // A line cut by the 1 MiB block, a line without its end at the end
        // of the file, an empty line, a CR inside a line.
        QByteArray file;
        QList<QByteArray> expected;
        int i = 0;
        while (file.size() < (1 << 20) + 5000) {
            const QByteArray l = QByteArray::number(i).leftJustified(300 + i % 7, 'x');
            ++i;
            expected << l;
            file += l + "\r\n";
        }
        expected << QByteArray() << QByteArray("in\rside") << QByteArray("last");
        file += "\r\n" "in\rside\n" "last";
        QBuffer in(&file);
        QVERIFY(in.open(QIODevice::ReadOnly));
        LineReader reader(in);
        QByteArrayView line;
        int n = 0;
        while (reader.next(line)) {
            QVERIFY2(n < expected.size(), "too many lines");
            QCOMPARE(line.toByteArray(), expected[n]);
            ++n;
        }
        QCOMPARE(n, expected.size());
    }
};

QTEST_GUILESS_MAIN(Values)
#include "tst_values.moc"
