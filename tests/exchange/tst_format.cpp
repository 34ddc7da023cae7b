// The record layouts and the field encoders of the exchange file.

#include "exchange/codepage.h"
#include "exchange/expclass.h"
#include "exchange/layouts.h"
#include "shell/qty.h"

#include <QDate>
#include <QRandomGenerator>
#include <QTest>

using namespace exch;

class Format : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void layoutsAddUpToTheirLineLengths()
    {
        const char *codes[] = {"AA", "AB", "BA", "BB", "BC", "BD", "BE", "DA", "DB", "RA",
                               "RB", "RC", "RD", "RE", "RF", "VC", "VD", "VE", "VF", "VG",
                               "VH", "IA", "IB", "IC", "ID", "IE", "IF", "MA", "AU"};
        const int lengths[] = {338, 257, 217, 310, 83, 245, 268, 93, 221, 160, 72, 240, 469, 245, 271,
                               225, 69, 237, 466, 242, 268, 93, 67, 233, 464, 238, 264, 342, 325};
        const int keys[] = {0, 37, 37, 49, 49, 49, 49, 37, 49, 37, 44, 44, 44, 44, 44,
                            37, 41, 41, 41, 41, 41, 37, 37, 37, 37, 37, 37, 37, 37};
        QCOMPARE(int(layouts().size()), RecordTypes);
        for (int i = 0; i < RecordTypes; ++i) {
            const Layout &l = layout(i);
            QCOMPARE(l.code, QString::fromLatin1(codes[i]));
            QCOMPARE(l.index, i);
            QCOMPARE(l.length, lengths[i]);
            QCOMPARE(l.keyLength, keys[i]);
            QVERIFY2(PrefixLength + l.fieldsSize() == l.length, codes[i]);
            QCOMPARE(layout(QByteArray(codes[i])), &l);
        }
        QCOMPARE(header().fieldsSize(), HeaderLength);
        QVERIFY(!layout(QByteArray("XX")));
        QVERIFY(!layout(QByteArray("ZZ")));
    }

    // The family start of a child record is exactly the part of its parent's
    // line that its key covers.
    void familyStartsMatchTheirKeys()
    {
        auto prefixPart = [](const char *code) {
            int n = PrefixLength;
            const Layout *l = layout(QByteArray(code));
            for (const Field &f : l->fields) {
                if (n >= 3 + l->keyLength)
                    break;
                n += f.size();
            }
            return n;
        };
        QCOMPARE(prefixPart("BB"), 3 + 49 + 1);
        QCOMPARE(prefixPart("DB"), 3 + 49 + 1);
        QCOMPARE(prefixPart("RC"), 3 + 44 + 1);
        QCOMPARE(prefixPart("VE"), 3 + 41 + 1);
    }

    void windows1252()
    {
        QCOMPARE(cp1252::encode(QStringLiteral("€‚ƒ„…†‡ˆ‰Š‹ŒŽ‘’“”•–—˜™š›œžŸ")),
                 QByteArray("\x80\x82\x83\x84\x85\x86\x87\x88\x89\x8a\x8b\x8c\x8e\x91\x92\x93\x94"
                            "\x95\x96\x97\x98\x99\x9a\x9b\x9c\x9e\x9f"));
        QCOMPARE(cp1252::encode(QStringLiteral("àèéìòù°ÀÈ")), QByteArray("\xe0\xe8\xe9\xec\xf2\xf9\xb0\xc0\xc8"));
        // Not Latin-1: U+0080 has no byte; characters outside the page are '?'.
        QCOMPARE(cp1252::encode(QString(QChar(0x80)) + QStringLiteral("ŁА")), QByteArray("???"));
        for (int b = 0; b < 256; ++b) {
            const char16_t u = cp1252::toUnicode(uchar(b));
            if (b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D)
                continue;
            QCOMPARE(uchar(cp1252::fromUnicode(u)), uchar(b));
        }
        QCOMPARE(cp1252::decode("\x80\x93x\x94"), QStringLiteral("€“x”"));
    }

    void encoders()
    {
        QCOMPARE(text(QStringLiteral("ABC"), 3), QByteArray("ABC;"));
        QCOMPARE(text(QStringLiteral("ABCD"), 3), QByteArray("ABC;"));
        QCOMPARE(text(QStringLiteral("A\r\nB"), 4), QByteArray("AB  ;"));
        QCOMPARE(text(QVariant(), 2), QByteArray("  ;"));
        QCOMPARE(text(QStringLiteral("Caffè"), 6), QByteArray("Caff\xe8 ;"));

        QByteArray b;
        QVERIFY(number(42, 5, b));
        QVERIFY(number(QVariant(), 3, b));
        QVERIFY(number(99999, 5, b));
        QCOMPARE(b, QByteArray("00042;000;99999;"));
        QVERIFY(!number(100000, 5, b));
        QVERIFY(!number(-1, 5, b));
        QVERIFY(!number(QStringLiteral("12a"), 5, b));

        QCOMPARE(flag(1), QByteArray("1;"));
        QCOMPARE(flag(0), QByteArray("0;"));
        QCOMPARE(flag(QVariant()), QByteArray("0;"));

        b.clear();
        QVERIFY(date(QStringLiteral("2019-03-15"), b));
        QVERIFY(date(QVariant(), b));
        QCOMPARE(b, QByteArray("20190315;        ;"));
        QVERIFY(!date(QStringLiteral("15/03/2019"), b));

        b.clear();
        QVERIFY(quantity(qint64(1234500), b));   // 1234,5 kg in thousandths
        QVERIFY(quantity(QVariant(), b));
        QVERIFY(quantity(qint64(9999999999), b));
        QCOMPARE(b, QByteArray("0001234,500;0000000,000;9999999,999;"));
        QVERIFY(!quantity(qint64(10000000000), b));
        QVERIFY(!quantity(qint64(-1), b));

        b.clear();
        QVERIFY(quantityUnit(qint64(7), 2, b));
        QVERIFY(quantityUnit(qint64(0), 1, b));          // a zero amount has no unit
        QVERIFY(quantityUnit(QVariant(), 2, b));
        QVERIFY(quantityUnit(qint64(5000), QVariant(), b)); // nor has a null unit
        QCOMPARE(b, QByteArray("0000000,007;2;0000000,000;0;0000000,000;0;0000005,000;0;"));
    }

    void controlValueOfTheHeader()
    {
        // 1124 + sum of i * code of the i-th character = 25280.
        QCOMPARE(expClass::controlValue("XX;6.02/18;01;20190315;093000;", 1124), 5280);
        QCOMPARE(expClass::controlValue("XX;6.02/18;01;20190315;093000;", 1125), 5281);
    }

    // Generated column values -> encode -> decode -> the same values, for every
    // field of every layout.
    void everyLayoutRoundTrips()
    {
        QRandomGenerator rnd(5);
        const QString alphabet = QStringLiteral("ABCXYZ abcxyz0189'.,-/àèéìòù€“”’°");
        for (int round = 0; round < 200; ++round) {
            for (const Layout &l : layouts()) {
                QVariantMap in;
                for (const Field &f : l.fields) {
                    switch (f.enc) {
                    case Enc::Text: {
                        QString s;
                        const int n = rnd.bounded(f.width + 1);
                        for (int i = 0; i < n; ++i)
                            s += alphabet.at(rnd.bounded(alphabet.size()));
                        while (s.endsWith(u' '))
                            s.chop(1);
                        in.insert(f.name, s.isEmpty() ? QVariant() : QVariant(s));
                        break;
                    }
                    case Enc::Number: {
                        qint64 max = 1;
                        for (int i = 0; i < f.width; ++i)
                            max *= 10;
                        in.insert(f.name, qint64(rnd.bounded(quint64(max))));
                        break;
                    }
                    case Enc::Flag: in.insert(f.name, rnd.bounded(2)); break;
                    case Enc::Date:
                        in.insert(f.name, rnd.bounded(4) == 0 ? QVariant()
                                          : QVariant(QDate(1990, 1, 1).addDays(rnd.bounded(20000)).toString(Qt::ISODate)));
                        break;
                    case Enc::Qty:
                    case Enc::QtyUnit: {
                        const qint64 q = rnd.bounded(3) == 0 ? 0 : qint64(rnd.bounded(quint64(::Qty::FileMaxMilli + 1)));
                        in.insert(f.name, q);
                        if (f.enc == Enc::QtyUnit)
                            in.insert(f.unit, q == 0 ? 0 : 1 + rnd.bounded(2));
                        break;
                    }
                    case Enc::Fixed: break;
                    }
                }
                QByteArray line = l.code.toLatin1() + ";2019;12345678901     ;190315093000001;";
                QString field, why;
                QVERIFY2(encodeFields(l, in, line, &field, &why), qPrintable(field + why));
                QCOMPARE(line.size(), l.length);
                const QVariantMap out = decodeLine(l, line);
                for (auto it = in.begin(); it != in.end(); ++it)
                    QVERIFY2(out.value(it.key()) == it.value(),
                             qPrintable(l.code + u' ' + it.key() + u' ' + it.value().toString() + u'/' +
                                        out.value(it.key()).toString()));
                QCOMPARE(out.value(QStringLiteral("#codfisc")).toString(), QStringLiteral("12345678901"));
            }
        }
    }
};

QTEST_GUILESS_MAIN(Format)
#include "tst_format.moc"
