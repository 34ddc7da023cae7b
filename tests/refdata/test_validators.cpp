// Tax-code and postcode checks. The check characters are compared with codes
// built here by an independent computation, not with the code under test.

#include "refdata/validators.h"
#include "shell/messages.h"

#include <QRandomGenerator>
#include <QTest>

using refdata::checkPostcode;
using refdata::checkTaxCode;

namespace {

// Company code: Luhn-style check digit computed on the sum of weighted digits.
QString companyCode(QRandomGenerator &g)
{
    QString s;
    int sum = 0;
    for (int i = 0; i < 10; ++i) {
        const int d = g.bounded(10);
        s += QChar(u'0' + d);
        // Weight 2 on the 2nd, 4th, ... digit; the digits of the product added.
        const int w = (i % 2 == 1) ? d * 2 : d;
        sum += w / 10 + w % 10;
    }
    s += QChar(u'0' + (10 - sum % 10) % 10);
    return s;
}

// Personal code: odd positions (1st, 3rd, ...) use the published conversion
// table written by characters, even positions the plain value.
QString personalCode(QRandomGenerator &g)
{
    static const QHash<QChar, int> oddValue = [] {
        QHash<QChar, int> h;
        const char *letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        const int values[26] = {1, 0, 5, 7, 9, 13, 15, 17, 19, 21, 2, 4, 18,
                                20, 11, 3, 6, 8, 12, 14, 16, 10, 22, 25, 24, 23};
        for (int i = 0; i < 26; ++i)
            h.insert(QChar::fromLatin1(letters[i]), values[i]);
        const char *digits = "0123456789";
        for (int i = 0; i < 10; ++i)
            h.insert(QChar::fromLatin1(digits[i]), values[i]); // digits read as A..J
        return h;
    }();
    const QString pattern = QStringLiteral("LLLLLLDDLDDLDDD");
    QString s;
    int sum = 0;
    for (int i = 0; i < 15; ++i) {
        const QChar c = pattern[i] == u'L' ? QChar(u'A' + g.bounded(26)) : QChar(u'0' + g.bounded(10));
        s += c;
        const int plain = c.isDigit() ? c.digitValue() : c.unicode() - 'A';
        sum += (i % 2 == 0) ? oddValue.value(c) : plain;
    }
    s += QChar(u'A' + sum % 26);
    return s;
}

QString breakLast(const QString &code)
{
    QString s = code;
    const QChar c = s.back();
    if (c.isDigit())
        s.back() = QChar(u'0' + (c.digitValue() + 1) % 10);
    else
        s.back() = QChar(u'A' + (c.unicode() - 'A' + 1) % 26);
    return s;
}

} // namespace

class TestValidators : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void generatedCodesPassAndBrokenOnesAsk()
    {
        QRandomGenerator g(20190211);
        for (int n = 0; n < 2000; ++n) {
            for (const QString &code : {companyCode(g), personalCode(g)}) {
                ScriptedMessages m;
                QVERIFY2(checkTaxCode(code, false, false, m), qPrintable(code));
                QVERIFY2(m.shown.isEmpty(), qPrintable(code));
                QCOMPARE(refdata::taxCodeCheckChar(code), code.back());

                const QString bad = breakLast(code);
                ScriptedMessages q;
                QVERIFY2(!checkTaxCode(bad, false, false, q), qPrintable(bad)); // No answered
                QCOMPARE(q.beeps, 1);
                QCOMPARE(q.texts(), QStringList{QStringLiteral("Attenzione, codice fiscale errato,\r"
                                                               "confermi codice digiato?")});
                QCOMPARE(q.shown[0].kind, ScriptedMessages::Kind::Question);
            }
        }
    }

    void knownCodes()
    {
        ScriptedMessages m;
        // Published examples of both kinds.
        QVERIFY(checkTaxCode(QStringLiteral("RSSMRA85T10A562S"), false, false, m));
        QVERIFY(checkTaxCode(QStringLiteral("00488410010"), false, false, m));
        QVERIFY(m.shown.isEmpty());
    }

    void trimmedAndUpperCased()
    {
        ScriptedMessages m;
        QVERIFY(checkTaxCode(QStringLiteral("  rssmra85t10a562s "), false, false, m));
        QVERIFY(m.shown.isEmpty());
    }

    void emptyCode()
    {
        ScriptedMessages m;
        QVERIFY(!checkTaxCode(QStringLiteral("   "), false, false, m));
        QCOMPARE(m.last(), QStringLiteral("Attenzione, campo codice fiscale richiesto!"));
        QCOMPARE(m.shown[0].kind, ScriptedMessages::Kind::Critical);
        ScriptedMessages e;
        QVERIFY(checkTaxCode(QString(), true, false, e));
        QVERIFY(e.shown.isEmpty());
    }

    void wrongFormIsAHardRefusalUnlessConfirmOnly()
    {
        // Letter at position 7 (homonym substitution), and wrong lengths.
        for (const QString &code : {QStringLiteral("RSSMRAL5T10A562S"), QStringLiteral("RSSMRA85T10A562"),
                                    QStringLiteral("004884100101"), QStringLiteral("0048841001A")}) {
            ScriptedMessages m;
            m.answer({true});
            QVERIFY(!checkTaxCode(code, false, false, m));
            QCOMPARE(m.texts(), QStringList{QStringLiteral("Attenzione, campo codice fiscale formalmente errato!")});
            QCOMPARE(m.shown[0].kind, ScriptedMessages::Kind::Critical);
            QCOMPARE(m.beeps, 0);

            ScriptedMessages yes;
            yes.answer({true});
            QVERIFY(checkTaxCode(code, false, true, yes));
            QCOMPARE(yes.texts(), QStringList{QStringLiteral("Attenzione, codice fiscale formalmente errato,\r"
                                                             "confermi codice digiato?")});
            ScriptedMessages no;
            QVERIFY(!checkTaxCode(code, false, true, no));
        }
    }

    void wrongCheckCharacter()
    {
        ScriptedMessages yes;
        yes.answer({true});
        QVERIFY(checkTaxCode(QStringLiteral("00488410011"), false, false, yes));
        QCOMPARE(yes.beeps, 1);
        // confirmOnly: the check character is not examined.
        ScriptedMessages c;
        QVERIFY(checkTaxCode(QStringLiteral("00488410011"), false, true, c));
        QVERIFY(checkTaxCode(QStringLiteral("RSSMRA85T10A562A"), false, true, c));
        QVERIFY(c.shown.isEmpty());
        QCOMPARE(c.beeps, 0);
    }

    void postcode()
    {
        ScriptedMessages m;
        QVERIFY(checkPostcode(QString(), m));
        QVERIFY(checkPostcode(QStringLiteral("00100"), m));
        QVERIFY(m.shown.isEmpty());
        QVERIFY(!checkPostcode(QStringLiteral("0010"), m));
        QCOMPARE(m.last(), QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
        QCOMPARE(m.shown[0].kind, ScriptedMessages::Kind::Information);
    }
};

QTEST_GUILESS_MAIN(TestValidators)
#include "test_validators.moc"
