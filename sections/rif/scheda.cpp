#include "sections/rif/scheda.h"

#include "refdata/lookups.h"
#include "sections/codes.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/qty.h"

#include <QSqlQuery>

namespace waste {

QString stateFlagMessage()
{
    return QStringLiteral("Attenzione, selezionare almeno uno \"STATO FISICO\"");
}

QString noQuantityQuestion()
{
    return QStringLiteral("Attenzione, nessuna quantità inserita, salvo lo stesso la scheda?");
}

QString tooLargeMessage()
{
    return QStringLiteral("Attenzione, quantità troppo grande: il valore massimo ammesso è "
                          "9.999.999,999.");
}

QString unknownCodeMessage(const QString &code)
{
    return QStringLiteral("Attenzione, codice rifiuto non trovato: ") + code;
}

const QStringList &stateColumns()
{
    static const QStringList l = {QStringLiteral("sfSolidoP"),   QStringLiteral("sfSolidoNP"),
                                  QStringLiteral("sfFangoso"),   QStringLiteral("sfLiquido"),
                                  QStringLiteral("sfAeriforme"), QStringLiteral("sfVischioso"),
                                  QStringLiteral("sfAltro")};
    return l;
}

QVector<qint64> ids(AppContext &ctx, const SchedaKind &s, qint64 saID)
{
    QVector<qint64> out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT %1 FROM %2 WHERE (saID = ?) ORDER BY rifCod, %1")
                                   .arg(s.key, s.table),
                               {saID});
    while (q.next())
        out << q.value(0).toLongLong();
    return out;
}

QVector<SchedaRow> list(AppContext &ctx, const SchedaKind &s, qint64 saID)
{
    QVector<SchedaRow> out;
    QSqlQuery q = ctx.db.query(
        QStringLiteral("SELECT %2.%1, %2.rifCod, Rifiuti.rifDesc, Rifiuti.rifClass FROM %2 "
                       "INNER JOIN Rifiuti ON %2.rifCod = Rifiuti.rifCod WHERE (%2.saID = ?) "
                       "ORDER BY %2.rifCod, %2.%1")
            .arg(s.key, s.table),
        {saID});
    while (q.next())
        out.append({q.value(0).toLongLong(), q.value(1).toString(), q.value(2).toString(),
                    q.value(3).toString()});
    return out;
}

fields::Record blank(const SchedaKind &s)
{
    fields::Record r;
    for (const fields::Field &f : s.fields) {
        switch (f.kind) {
        case fields::Kind::Check: r.insert(f.name, 0); break;
        case fields::Kind::Quantity:
            r.insert(f.name, qlonglong(0));
            r.insert(f.name2, 1);
            break;
        default: r.insert(f.name, QString());
        }
    }
    return r;
}

fields::Record load(AppContext &ctx, const SchedaKind &s, qint64 id, bool *found)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?)").arg(s.table, s.key),
                               {id});
    QVariantMap row;
    const bool ok = q.next();
    if (ok) {
        row = dbClass::rowMap(q);
        ctx.app.writeText(QStringLiteral("Qor"), s.settingsKey, QString::number(id));
    }
    if (found)
        *found = ok;
    return ok ? fields::fromStore(s.fields, row) : blank(s);
}

QString wasteDescription(AppContext &ctx, const QString &code)
{
    if (code.isEmpty())
        return {};
    return ctx.db.scalar(QStringLiteral("SELECT rifDesc FROM Rifiuti WHERE (rifCod = ?)"), {code})
        .toString();
}

CodeExit codeExit(AppContext &ctx, const SchedaKind &s, qint64 saID, qint64 id, const QString &code)
{
    if (code.isEmpty())
        return CodeExit::Ok;
    if (!refdata::wasteCodeExists(ctx.db, code)) {
        ctx.msg.information(unknownCodeMessage(code));
        return CodeExit::Refused;
    }
    if (!refdata::wasteCodeSelectable(code, ctx.app.wasteCodeLevel(), false, ctx.msg))
        return CodeExit::Refused;
    if (id == 0) {
        const int n = ctx.db.scalar(QStringLiteral("SELECT COUNT(%1) FROM %2 WHERE (saID = ? AND rifCod = ?)")
                                        .arg(s.key, s.table),
                                    {saID, code})
                          .toInt();
        if (n > 0 && !ctx.msg.question(s.repeated))
            return CodeExit::Abandoned;
    }
    return CodeExit::Ok;
}

int firstTooLarge(const fields::Table &t, const fields::Record &r)
{
    for (int i = 0; i < t.size(); ++i) {
        const fields::Field &f = t[i];
        if (f.kind != fields::Kind::Quantity && f.kind != fields::Kind::Decimal
            && f.kind != fields::Kind::Integer)
            continue;
        const QVariant v = r.value(f.name);
        if (v.isNull() || !v.isValid())
            continue;
        const qint64 n = v.toLongLong();
        // Quantities are thousandths; whole numbers have their own digits.
        qint64 max = Qty::FileMaxMilli;
        if (f.kind == fields::Kind::Integer) {
            max = 1;
            for (int d = 0; d < (f.length > 0 ? f.length : 9); ++d)
                max *= 10;
            max -= 1;
        }
        if (n > max || n < -max)
            return i;
    }
    return -1;
}

int saveCheck(AppContext &ctx, const SchedaKind &s, const fields::Record &r)
{
    const int codePos = fields::position(s.fields, QStringLiteral("rifCod"));
    const QString code = r.value(QStringLiteral("rifCod")).toString().trimmed();
    if (code.isEmpty()) {
        ctx.msg.information(s.fields[codePos].required);
        return codePos;
    }
    if (!refdata::wasteCodeExists(ctx.db, code)) {
        ctx.msg.information(unknownCodeMessage(code));
        return codePos;
    }
    bool anyFlag = false;
    for (const QString &c : stateColumns())
        anyFlag = anyFlag || r.value(c).toInt() != 0;
    if (!anyFlag) {
        ctx.msg.information(stateFlagMessage());
        return fields::position(s.fields, stateColumns().first());
    }
    const int big = firstTooLarge(s.fields, r);
    if (big >= 0) {
        ctx.msg.information(tooLargeMessage());
        return big;
    }
    if (!s.askNoQuantity) {
        // The quantity of the scheda is required by its own field.
        fields::Table quantities;
        for (const fields::Field &f : s.fields)
            if (f.kind == fields::Kind::Quantity)
                quantities << f;
        fields::Record rq = r;
        for (const fields::Field &f : quantities)
            if (rq.value(f.name).toLongLong() == 0)
                rq.insert(f.name, QVariant());
        const int p = fields::firstMissing(quantities, rq, ctx.msg);
        return p < 0 ? -1 : fields::position(s.fields, quantities[p].name);
    }
    int firstQty = -1;
    for (int i = 0; i < s.fields.size(); ++i) {
        const fields::Field &f = s.fields[i];
        if (f.kind != fields::Kind::Quantity)
            continue;
        if (firstQty < 0)
            firstQty = i;
        if (r.value(f.name).toLongLong() > 0)
            return -1;
    }
    if (ctx.msg.question(noQuantityQuestion()))
        return -1;
    return firstQty;
}

qint64 save(AppContext &ctx, const SchedaKind &s, qint64 saID, qint64 id, const fields::Record &r)
{
    QVariantMap values = fields::storeValues(s.fields, r);
    if (id == 0) {
        values.insert(QStringLiteral("saID"), saID);
        const qint64 key = ctx.db.insertRow(s.table, values);
        if (key <= 0)
            return 0;
        ctx.app.writeText(QStringLiteral("Qor"), s.settingsKey, QString::number(key));
        return key;
    }
    return ctx.db.updateRow(s.table, s.key, id, values) ? id : 0;
}

bool remove(AppContext &ctx, const SchedaKind &s, qint64 id)
{
    if (id <= 0 || !fields::confirmDelete(ctx.msg, s.deleteWhat))
        return false;
    // The store removes the modules and their rows with the scheda.
    return ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(s.table, s.key), {id});
}

} // namespace waste

namespace rif {

namespace {

fields::Field quantity(const char *name, const char *unit, const char *caption, const char *group)
{
    return fields::quantity(QString::fromLatin1(name), QString::fromLatin1(unit), QString::fromUtf8(caption),
                            QString::fromUtf8(group));
}

} // namespace

// Field tables shared with scheda INT: the code and the seven flags.
fields::Table codeAndStateFields()
{
    fields::Table t;
    fields::Field code;
    code.name = QStringLiteral("rifCod");
    code.caption = QStringLiteral("Codice rifiuto:");
    code.kind = fields::Kind::Text;
    code.length = 6;
    code.chars = QStringLiteral("0-9");
    code.required = QStringLiteral("Attenzione, codice rifiuto obbligatorio.");
    t << code;
    static const char *captions[] = {"Solido polverulento", "Solido non polverulento",
                                     "Fangoso palabile",    "Liquido",
                                     "Aeriforme",           "Vischioso e sciropposo",
                                     "Altro"};
    for (int i = 0; i < 7; ++i) {
        fields::Field f;
        f.name = waste::stateColumns()[i];
        f.caption = QString::fromUtf8(captions[i]);
        f.kind = fields::Kind::Check;
        f.group = QStringLiteral("STATO FISICO");
        t << f;
    }
    return t;
}

const waste::SchedaKind &scheda()
{
    static const waste::SchedaKind s = [] {
        waste::SchedaKind s;
        s.table = QStringLiteral("SezRif");
        s.key = QStringLiteral("rifID");
        s.name = QStringLiteral("RIF");
        s.title = QStringLiteral("Scheda RIF - Rifiuti");
        s.listTitle = QStringLiteral("Lista delle schede RIF inserite");
        s.listTip = QStringLiteral("Apre lista delle schede RIF inserite");
        s.repeated = QStringLiteral("Attenzione, scheda rifiuto già presente,\nvuoi inserirne una nuova?");
        s.deleteWhat = QStringLiteral("scheda RIF e relativi moduli,");
        s.settingsKey = QStringLiteral("RifID");
        s.askNoQuantity = true;
        s.fields = codeAndStateFields();
        const char *origine = "ORIGINE DEL RIFIUTO";
        const char *trasporto = "TRASPORTO DEL RIFIUTO";
        const char *destinazione = "DESTINAZIONE DEL RIFIUTO";
        const char *operazioni = "OPERAZIONI DI RECUPERO O SMALTIMENTO SVOLTE NELL'UNITA' LOCALE";
        s.fields << quantity("qtaProd", "umiProd", "Rifiuto prodotto nell'Unità Locale", origine)
                 << quantity("qtaTerzi", "umiTerzi", "Rifiuto ricevuto da terzi", origine)
                 << quantity("qtaFuori", "umiFuori", "Rifiuto prodotto fuori dall'Unità Locale", origine)
                 << quantity("qtaTras", "umiTras", "Rifiuto trasportato dal dichiarante", trasporto)
                 << quantity("qtaCons", "umiCons",
                             "Rifiuto consegnato a terzi per operazioni di recupero o smaltimento",
                             destinazione)
                 << quantity("qtaGiacRec", "umiGiacRec", "da avviare a recupero", destinazione)
                 << quantity("qtaGiacSmalt", "umiGiacSmalt", "da avviare a smaltimento", destinazione)
                 << quantity("qtaRec", "umiRec", "Quantità complessiva di rifiuto avviato a recupero",
                             operazioni)
                 << quantity("qtaSmalt", "umiSmalt",
                             "Quantità complessiva di rifiuto avviato a smaltimento", operazioni);
        return s;
    }();
    return s;
}

QString mgNotice(const QString &code)
{
    if (codes::isPackagingCode(code))
        return QStringLiteral("ATTENZIONE:\n"
                              "soggetti che effettuano attività di gestione di rifiuti di imballaggio\n"
                              "non devono compilare la scheda RIF, ma sono tenuti alla compilazione della\n"
                              "\"Comunicazione Imballaggi - Sezione gestori rifiuti di imballaggio\"");
    if (codes::isElectricalCode(code))
        return QStringLiteral("ATTENZIONE:\n"
                              "si ricorda che i soggetti che effettuano attività di gestione dei rifiuti di apparecchiature\n"
                              "elettriche ed elettroniche rientranti nel campo di applicazione del D.Lgs. 151/2005\n"
                              "devono compilare la \"Comunicazione RAEE\"");
    return {};
}

} // namespace rif
