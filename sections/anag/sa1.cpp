#include "sections/anag/sa1.h"

#include "sections/anag/schede.h"

#include "refdata/lookups.h"
#include "refdata/validators.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QDate>
#include <QSqlQuery>

namespace sa1 {

using fields::Field;
using fields::Kind;

namespace {
const QString Digits = QStringLiteral("0-9");
const QString Alnum = QStringLiteral("A-Za-z0-9");
const QString Ua = QStringLiteral("Dichiarante");
const QString Ul = QStringLiteral("Unità locale");
const QString Sl = QStringLiteral("Sede legale");
const QString Rl = QStringLiteral("Rappresentante legale o suo delegato");

Field f(int index, const char *name, const QString &caption, Kind kind, int length, const QString &required,
        const QString &group, int row, int col, int span = 1)
{
    Field x = fields::text(index, name, caption, length, row, col, {}, false, span);
    x.kind = kind;
    x.required = required;
    x.group = group;
    return x;
}
} // namespace

const fields::Table &fieldTable()
{
    static const fields::Table t = [] {
        fields::Table t;
        Field cf = f(0, "CodFisc", QStringLiteral("Codice fiscale:"), Kind::Text, 16,
                     QStringLiteral("Attenzione, Codice fiscale richiesto."), Ua, 0, 0);
        cf.chars = Alnum;
        cf.upper = true;
        t << cf;
        t << f(1, "RagSoc", QStringLiteral("Nome o ragione sociale:"), Kind::Text, 60,
               QStringLiteral("Attenzione, nome o ragione sociale richiesto."), Ua, 0, 1, 2);
        t.last().upper = true;
        t << f(2, "REA", QStringLiteral("Numero iscrizione REA:"), Kind::Integer, 9, {}, Ua, 1, 0);

        fields::addMunicipality(t, "prvIstat", "comIstat", "ulProv", 3, 0,
                                QStringLiteral("Attenzione, comune unità locale richiesto."), Ul);
        t << f(4, "Via", QStringLiteral("Via:"), Kind::Text, 30,
               QStringLiteral("Attenzione, campo via dell'unità locale richiesto."), Ul, 1, 0);
        t.last().upper = true;
        t << f(5, "Civico", QStringLiteral("Numero civico:"), Kind::Text, 6, {}, Ul, 1, 1);
        t.last().upper = true;
        t << f(6, "Cap", QStringLiteral("C.A.P.:"), Kind::Text, 5, {}, Ul, 1, 2);
        t.last().chars = Digits;
        t << f(7, "PrefTel", QStringLiteral("Prefisso:"), Kind::Text, 5, {}, Ul, 2, 0);
        t.last().chars = Digits;
        t << f(8, "Telefono", QStringLiteral("Telefono:"), Kind::Text, 10, {}, Ul, 2, 1);
        t.last().chars = Digits;
        t << f(9, "attIstat", QStringLiteral("Codice ISTAT attività prevalente nell'unità locale:"), Kind::Activity, 6,
               QStringLiteral("Attenzione codice attività economica richiesto."), Ul, 3, 0, 3);
        t << f(10, "Addetti", QStringLiteral("Totale addetti unità locale:"), Kind::Integer, 6,
               QStringLiteral("Attenzione, campo numero addetti richiesto."), Ul, 4, 0);
        t << f(11, "Mesi", QStringLiteral("Mesi di attività nell'anno:"), Kind::Integer, 2, {}, Ul, 4, 1);

        fields::addMunicipality(t, "slPrvIstat", "slComIstat", "slProv", 12, 0,
                                QStringLiteral("Attenzione, comune sede legale richiesto."), Sl);
        t << f(13, "slVia", QStringLiteral("Via:"), Kind::Text, 30,
               QStringLiteral("Attenzione, campo via sede legale richiesto."), Sl, 1, 0);
        t.last().upper = true;
        t << f(14, "slCivico", QStringLiteral("Numero civico:"), Kind::Text, 6, {}, Sl, 1, 1);
        t.last().upper = true;
        t << f(15, "slCap", QStringLiteral("C.A.P.:"), Kind::Text, 5, {}, Sl, 1, 2);
        t.last().chars = Digits;
        t << f(16, "slPrefTel", QStringLiteral("Prefisso:"), Kind::Text, 5, {}, Sl, 2, 0);
        t.last().chars = Digits;
        t << f(17, "slTelefono", QStringLiteral("Telefono:"), Kind::Text, 10, {}, Sl, 2, 1);
        t.last().chars = Digits;

        t << f(18, "saCognome", QStringLiteral("Cognome:"), Kind::Text, 25,
               QStringLiteral("Attenzione, campo cognome legale rappresentante richiesto."), Rl, 0, 0);
        t.last().upper = true;
        t << f(19, "saNome", QStringLiteral("Nome:"), Kind::Text, 25,
               QStringLiteral("Attenzione, campo nome rappresentante legale richiesto."), Rl, 0, 1);
        t.last().upper = true;
        t << f(20, "saDataComp", QStringLiteral("Data:"), Kind::Date, 10,
               QStringLiteral("Attenzione, data di compilazione richiesta."), Rl, 1, 0);
        t << f(-1, "saAnnulla", QStringLiteral("Annulla e sostituisce la precedente del:"), Kind::Check, 0, {}, Rl, 2, 0);
        t << f(21, "saDataPrec", QString(), Kind::Date, 10, {}, Rl, 2, 1);
        return t;
    }();
    return t;
}

bool fieldExit(AppContext &ctx, const QString &name, fields::Record &r)
{
    const QString n = name.toLower();
    if (n == QLatin1String("codfisc"))
        return refdata::checkTaxCode(r.value(QStringLiteral("CodFisc")).toString(), false, false, ctx.msg);
    if (n == QLatin1String("cap") || n == QLatin1String("slcap"))
        return refdata::checkPostcode(r.value(name).toString().trimmed(), ctx.msg);
    if (n == QLatin1String("attistat")) {
        const QString code = r.value(QStringLiteral("attIstat")).toString().trimmed();
        if (code.isEmpty() || refdata::activityExists(ctx.db, code))
            return true;
        ctx.msg.information(QStringLiteral("Attenzione, codice Istat Attività errato."));
        r.insert(QStringLiteral("attIstat"), QString());
        return false;
    }
    if (n == QLatin1String("addetti")) {
        const QVariant v = r.value(QStringLiteral("Addetti"));
        if (!v.isNull() && v.toLongLong() > 99)
            return !ctx.msg.question(QStringLiteral("Attenzione, verificare numero addetti."));
        return true;
    }
    if (n == QLatin1String("mesi")) {
        const QVariant v = r.value(QStringLiteral("Mesi"));
        if (v.isNull() || !v.isValid())
            return true;
        if (v.toLongLong() < 1 || v.toLongLong() > 12) {
            ctx.msg.information(QStringLiteral("Attenzione, mesi di attività errati."));
            r.insert(QStringLiteral("Mesi"), 0LL);
            return false;
        }
        return true;
    }
    if (n == QLatin1String("sadatacomp")) {
        const QDate d = QDate::fromString(r.value(QStringLiteral("saDataComp")).toString(), Qt::ISODate);
        if (d.isValid() && d.year() != ctx.app.year())
            return !ctx.msg.question(QStringLiteral("Attenzione, verificare la data della dichiarazione."));
        return true;
    }
    return true;
}

int saveCheck(AppContext &ctx, const fields::Record &r)
{
    const fields::Table &t = fieldTable();
    const int missing = fields::firstMissing(t, r, ctx.msg);
    if (missing >= 0)
        return missing;
    if (r.value(QStringLiteral("saAnnulla")).toInt()) {
        const QString prec = r.value(QStringLiteral("saDataPrec")).toString();
        if (prec.isEmpty()) {
            ctx.msg.information(QStringLiteral("Attenzione, data precedente dichiarazione da annullare richiesta."));
            return fields::position(t, QStringLiteral("saDataPrec"));
        }
        if (prec > r.value(QStringLiteral("saDataComp")).toString()) { // ISO dates compare as text
            ctx.msg.information(QStringLiteral("Attenzione, data precedente dichiarazione > data dichiarazione."));
            return fields::position(t, QStringLiteral("saDataPrec"));
        }
    }
    return -1;
}

fields::Record load(AppContext &ctx, qint64 saID, bool *found)
{
    bool ok = false;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"), {saID},
                               dbClass::Which::Current, &ok);
    QVariantMap row;
    const bool have = ok && q.next();
    if (have) {
        row = dbClass::rowMap(q);
    }
    if (found)
        *found = have;
    fields::Record r = fields::fromStore(fieldTable(), row);
    r.insert(QStringLiteral("ExpID"), row.value(QStringLiteral("ExpID")).toLongLong());
    return r;
}

qint64 save(AppContext &ctx, qint64 saID, const fields::Record &r, int *failedField)
{
    const int bad = saveCheck(ctx, r);
    if (failedField)
        *failedField = bad;
    if (bad >= 0)
        return 0;
    QVariantMap v = fields::storeValues(fieldTable(), r);
    // The form keeps the previous date only while the box is ticked.
    if (!v.value(QStringLiteral("saAnnulla")).toInt())
        v.insert(QStringLiteral("saDataPrec"), QVariant(QMetaType(QMetaType::QString)));
    v.insert(QStringLiteral("ExpID"), 0);
    v.insert(QStringLiteral("saExp"), 0);
    if (saID <= 0) {
        v.insert(QStringLiteral("saAnno"), ctx.app.year());
        const qint64 id = ctx.db.insertRow(QStringLiteral("SezAnag"), v);
        return id > 0 ? id : 0;
    }
    return ctx.db.updateRow(QStringLiteral("SezAnag"), QStringLiteral("saID"), saID, v) ? saID : 0;
}

bool remove(AppContext &ctx, qint64 saID)
{
    const fields::Record r = load(ctx, saID);
    const QString what = QStringLiteral("dichiarazione: ")
                         + label(r.value(QStringLiteral("RagSoc")).toString(), r.value(QStringLiteral("Via")).toString(),
                                 r.value(QStringLiteral("Civico")).toString(), QString());
    if (!fields::confirmDelete(ctx.msg, what))
        return false;
    return ctx.db.execute(QStringLiteral("DELETE FROM SezAnag WHERE (saID = ?)"), {saID});
}

fields::Record newLocalUnit(const fields::Record &from)
{
    fields::Record r;
    for (const char *keep : {"CodFisc", "RagSoc", "REA", "slPrvIstat", "slComIstat", "slVia", "slCivico", "slCap",
                             "slPrefTel", "slTelefono"}) {
        const QString k = QString::fromLatin1(keep);
        r.insert(k, from.value(k));
    }
    return r;
}

void copyLocalUnit(fields::Record &r)
{
    for (const char *pair : {"prvIstat", "comIstat", "Via", "Civico", "Cap", "PrefTel", "Telefono"}) {
        const QString from = QString::fromLatin1(pair);
        r.insert(QStringLiteral("sl") + from[0].toUpper() + from.mid(1), r.value(from));
    }
}

QString label(const QString &ragSoc, const QString &via, const QString &civico, const QString &comDesc)
{
    QString ul = via.trimmed();
    if (!civico.trimmed().isEmpty())
        ul += u' ' + civico.trimmed();
    if (!comDesc.isEmpty())
        ul += (ul.isEmpty() ? QString() : QStringLiteral(", ")) + comDesc;
    return ragSoc + QStringLiteral(" - U. L.: ") + ul;
}

QVector<qint64> sameCompany(AppContext &ctx, qint64 saID)
{
    QVector<qint64> out;
    if (saID <= 0)
        return out;
    bool ok = false;
    QSqlQuery one = ctx.db.query(QStringLiteral("SELECT CodFisc FROM SezAnag WHERE (saID = ?)"), {saID},
                                 dbClass::Which::Current, &ok);
    if (!ok || !one.next())
        return out;
    const QString cf = one.value(0).toString();
    if (cf.isEmpty())
        return {saID};
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT saID FROM SezAnag WHERE (CodFisc = ?) ORDER BY saID"), {cf},
                               dbClass::Which::Current, &ok);
    while (ok && q.next())
        out.append(q.value(0).toLongLong());
    return out;
}

QString labelOf(AppContext &ctx, qint64 saID)
{
    bool ok = false;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT SezAnag.RagSoc, SezAnag.Via, SezAnag.Civico, Comuni.comDesc "
                                              "FROM SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = Comuni.prvIstat "
                                              "AND SezAnag.comIstat = Comuni.comIstat) WHERE (SezAnag.saID = ?)"),
                               {saID}, dbClass::Which::Current, &ok);
    if (!ok || !q.next())
        return {};
    return label(q.value(0).toString(), q.value(1).toString(), q.value(2).toString(), q.value(3).toString());
}

QVector<SummaryLine> summary(AppContext &ctx, qint64 saID)
{
    anag::SchedeCount n;
    QString error;
    qint64 code = 0;
    if (saID > 0 && !anag::countSchede(ctx.db.current(), saID, &n, &error, &code))
        ctx.msg.databaseErrorReport(QStringLiteral("Riepilogo delle schede"), code, error, QString());
    QVector<SummaryLine> out;
    for (const anag::CountName &k : anag::countNames())
        if (k.summary)
            out.append({QString::fromUtf8(k.summary), n[k.count]});
    return out;
}

} // namespace sa1
