#include "refdata/validators.h"

#include "shell/messages.h"

namespace refdata {

namespace {
bool isDigit(QChar c) { return c >= u'0' && c <= u'9'; }
bool isLetter(QChar c) { return c >= u'A' && c <= u'Z'; }
} // namespace

QString normalizedTaxCode(const QString &typed)
{
    return typed.trimmed().toUpper();
}

bool taxCodeFormOk(const QString &code)
{
    if (code.size() == 11) {
        for (QChar c : code)
            if (!isDigit(c))
                return false;
        return true;
    }
    if (code.size() == 16) {
        static const char pattern[] = "LLLLLLDDLDDLDDDL";
        for (int i = 0; i < 16; ++i) {
            const bool ok = pattern[i] == 'L' ? isLetter(code[i]) : isDigit(code[i]);
            if (!ok)
                return false;
        }
        return true;
    }
    return false;
}

QChar taxCodeCheckChar(const QString &code)
{
    if (!taxCodeFormOk(code))
        return {};
    if (code.size() == 11) {
        int s = 0;
        for (int i = 1; i <= 10; ++i) {
            int d = code[i - 1].unicode() - u'0';
            if (i % 2 == 0) {
                d *= 2;
                if (d > 9)
                    d -= 9;
            }
            s += d;
        }
        return QChar(u'0' + (100 - s) % 10);
    }
    static const int odd[26] = {1, 0, 5, 7, 9, 13, 15, 17, 19, 21, 2, 4, 18,
                                20, 11, 3, 6, 8, 12, 14, 16, 10, 22, 25, 24, 23};
    int s = 0;
    for (int i = 1; i <= 15; ++i) {
        const QChar c = code[i - 1];
        const int v = isLetter(c) ? c.unicode() - u'A' : c.unicode() - u'0';
        s += (i % 2 == 0) ? v : odd[v];
    }
    return QChar(u'A' + s % 26);
}

bool checkTaxCode(const QString &typed, bool emptyAllowed, bool confirmOnly, Messages &msg)
{
    const QString code = normalizedTaxCode(typed);
    if (code.isEmpty()) {
        if (emptyAllowed)
            return true;
        msg.critical(QStringLiteral("Attenzione, campo codice fiscale richiesto!"));
        return false;
    }
    if (!taxCodeFormOk(code)) {
        if (confirmOnly)
            return msg.question(QStringLiteral("Attenzione, codice fiscale formalmente errato,\r"
                                               "confermi codice digiato?"));
        msg.critical(QStringLiteral("Attenzione, campo codice fiscale formalmente errato!"));
        return false;
    }
    if (confirmOnly)
        return true;
    if (taxCodeCheckChar(code) != code.back()) {
        msg.beep();
        return msg.question(QStringLiteral("Attenzione, codice fiscale errato,\rconfermi codice digiato?"));
    }
    return true;
}

bool checkPostcode(const QString &value, Messages &msg)
{
    if (value.isEmpty() || value.size() == 5)
        return true;
    msg.information(QStringLiteral("Attenzione, C.A.P. digitato formalmente errato."));
    return false;
}

} // namespace refdata
