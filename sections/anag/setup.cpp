#include "sections/anag/setup.h"

#include "refdata/validators.h"
#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QRegularExpression>
#include <QSqlQuery>

namespace anag {

const fields::Table &setupFields()
{
    static const fields::Table t = [] {
        using fields::text;
        const QString digits = QStringLiteral("0-9");
        fields::Table t;
        t << text(0, "codFisc", QStringLiteral("Codice fiscale:"), 16, 0, 0, QStringLiteral("A-Za-z0-9"), true);
        t << text(1, "RagSoc", QStringLiteral("Nome o ragione sociale:"), 60, 1, 0, {}, true, 3);
        fields::addMunicipality(t, "prvIstat", "comIstat", "prov", 2, 2);
        t << text(3, "via", QStringLiteral("Via:"), 30, 3, 0, {}, true);
        t << text(4, "civico", QStringLiteral("Numero civico:"), 10, 3, 1, {}, true);
        t << text(5, "cap", QStringLiteral("C.A.P.:"), 5, 3, 2, digits, false);
        t << text(6, "prefTel", QStringLiteral("Prefisso:"), 5, 4, 0, digits, false);
        t << text(7, "telefono", QStringLiteral("Telefono:"), 10, 4, 1, digits, false);
        t << text(8, "email", QStringLiteral("E-mail:"), 60, 5, 0, QStringLiteral("!-~"), false, 3);
        return t;
    }();
    return t;
}

fields::Record loadSetup(dbClass &db, dbClass::Which which, bool *found)
{
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT * FROM Setup"), {}, which, &ok);
    QVariantMap row;
    const bool have = ok && q.next();
    if (have) {
        row = dbClass::rowMap(q);
    }
    if (found)
        *found = have;
    return fields::fromStore(setupFields(), row);
}

bool emailFormOk(const QString &email)
{
    static const QRegularExpression re(QStringLiteral("^[^@\\s]+@[^@\\s.]+(\\.[^@\\s.]+)+$"));
    return re.match(email).hasMatch();
}

int setupCheck(AppContext &ctx, const fields::Record &r)
{
    const fields::Table &t = setupFields();
    if (!refdata::checkTaxCode(r.value(QStringLiteral("codFisc")).toString(), true, false, ctx.msg))
        return fields::position(t, QStringLiteral("codFisc"));
    if (!refdata::checkPostcode(r.value(QStringLiteral("cap")).toString().trimmed(), ctx.msg))
        return fields::position(t, QStringLiteral("cap"));
    const QString mail = r.value(QStringLiteral("email")).toString().trimmed();
    if (!mail.isEmpty() && !emailFormOk(mail)) {
        ctx.msg.information(QStringLiteral("Attenzione, indirizzo e-mail formalmente errato."));
        return fields::position(t, QStringLiteral("email"));
    }
    return -1;
}

bool saveSetup(AppContext &ctx, const fields::Record &r, int *failedField)
{
    const int bad = setupCheck(ctx, r);
    if (failedField)
        *failedField = bad;
    if (bad >= 0)
        return false;
    const QVariantMap v = fields::storeValues(setupFields(), r);
    QStringList cols, sets;
    QVariantList params;
    for (auto it = v.begin(); it != v.end(); ++it) {
        cols << it.key();
        sets << it.key() + QStringLiteral(" = ?");
        params << it.value();
    }
    const QVariant count = ctx.db.scalar(QStringLiteral("SELECT COUNT(*) FROM Setup"));
    bool ok = count.isValid();
    if (ok) {
        // One row only: an empty table gets it, otherwise the row is rewritten.
        QSqlQuery q(ctx.db.current());
        const QString sql = count.toInt() == 0
                                ? QStringLiteral("INSERT INTO Setup (%1) VALUES (%2)")
                                      .arg(cols.join(QStringLiteral(", ")),
                                           QStringList(cols.size(), QStringLiteral("?")).join(QStringLiteral(", ")))
                                : QStringLiteral("UPDATE Setup SET %1").arg(sets.join(QStringLiteral(", ")));
        ok = q.prepare(sql) && dbClass::bindAll(q, params) && q.exec();
    }
    if (!ok)
        ctx.msg.critical(QStringLiteral("Attenzione,\nerrore in aggiornamento della base dati.\n\n"
                                        "Verificare se si dispone dei permessi di scrittura."));
    return ok;
}

} // namespace anag
