#include "sections/saaut/saaut.h"

#include "sections/codes.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QSqlQuery>

namespace saaut {

namespace {

using fields::Field;
using fields::Kind;

Field make(const char *name, const char *caption, Kind kind, int length = 0)
{
    Field f;
    f.name = QString::fromLatin1(name);
    f.caption = QString::fromUtf8(caption);
    f.kind = kind;
    f.length = length;
    return f;
}

Field grouped(Field f, const char *group)
{
    f.group = QString::fromUtf8(group);
    return f;
}

QString dateKey(const fields::Record &r, const char *name)
{
    return r.value(QString::fromLatin1(name)).toString().trimmed().remove(u'-');
}

qint64 num(const fields::Record &r, const char *name)
{
    return r.value(QString::fromLatin1(name)).toLongLong();
}

bool ticked(const fields::Record &r, const char *name)
{
    return r.value(QString::fromLatin1(name)).toInt() != 0;
}

} // namespace

const QStringList &issuingBodies()
{
    static const QStringList l = {QString(), QStringLiteral("Provincia"), QStringLiteral("Regione"),
                                  QStringLiteral("Ministero Ambiente ")};
    return l;
}

const QStringList &types()
{
    static const QStringList l = {
        QString(),
        QStringLiteral("Autorizzazione unica per nuovi impianti di recupero/smaltimento - Art.208 del D.Lgs. n. 152/2006 e s.m.i."),
        QStringLiteral("Autorizzazione all'esercizio di operazioni di recupero e/o smaltimento di rifiuti con impianti mobili"),
        QStringLiteral("Autorizzazione al trattamento di rifiuti liquidi in impianti di trattamento di acque reflue urbane"),
        QStringLiteral("Autorizzazione alla realizzazione di impianti di ricerca e sperimentazione"),
        QStringLiteral("Autorizzazione Integrata Ambientale - Art. 29-ter e Art. 213 del D.Lgs. 152/2006 e s.m.i."),
        QStringLiteral("Oper. di recupero mediante Comunicazione in \"Procedura Semplificata\" e autorizzazione unica ambientale (AUA)")};
    return l;
}

const fields::Table &fieldTable()
{
    static const fields::Table t = [] {
        fields::Table t;
        t << make("suEstremi", "Estremi dell'autorizzazione", Kind::Text, 20)
          << make("suDataRil", "Data di rilascio", Kind::Date)
          << make("suDataScad", "Data di scadenza", Kind::Date);
        Field ente = make("suEnte", "Ente di rilascio", Kind::Option);
        ente.options = issuingBodies().mid(1);
        Field tipo = make("suTipo", "Tipo di autorizzazione", Kind::Option);
        tipo.options = types().mid(1);
        t << ente << tipo;
        t << make("suRinnovo", "Rinnovo mediante autocertificazione (impresa registrata EMAS o certificata ISO 14001)",
                  Kind::Check)
          << make("suVFU", "Impianto di gestione di veicoli fuori uso", Kind::Check)
          << make("suRAEE", "Impianto di gestione di RAEE", Kind::Check);
        const char *inc = "Incenerimento";
        const char *con = "Coincenerimento";
        t << grouped(make("Incenerimento", "Impianto di incenerimento", Kind::Check), inc)
          << grouped(make("incQta", "Capacità complessiva autorizzata (t/anno):", Kind::Integer, 9), inc)
          << grouped(make("incRifP", "di cui rifiuti pericolosi (t/anno):", Kind::Integer, 9), inc)
          << grouped(make("incRifNP", "di cui rifiuti non pericolosi (t/anno):", Kind::Integer, 9), inc)
          << grouped(make("Coincenerimento", "Impianto di coincenerimento", Kind::Check), con)
          << grouped(make("conQta", "Capacità complessiva autorizzata (t/anno):", Kind::Integer, 9), con)
          << grouped(make("conRifP", "di cui rifiuti pericolosi (t/anno):", Kind::Integer, 9), con)
          << grouped(make("conRifNP", "di cui rifiuti non pericolosi (t/anno):", Kind::Integer, 9), con);
        // Landfills: row i is the landfill class of codes::saAutLandfillClass(i).
        const char *dis = "Discarica";
        const char *classCaptions[] = {"Discarica per rifiuti inerti", "Discarica per rifiuti non pericolosi",
                                       "Discarica per rifiuti pericolosi"};
        const char *classNames[] = {"crClass1", "crClass2", "crClass3"};
        const char *qtaNames[] = {"crQta1", "crQta2", "crQta3"};
        for (int i = 0; i < 3; ++i)
            t << grouped(make(classNames[i], classCaptions[i], Kind::Integer, 1), dis)
              << grouped(make(qtaNames[i], "capacità residua (m³):", Kind::Integer, 9), dis);
        t << make("suRecupero", "Operazioni di recupero", Kind::Text, 15)
          << make("suSmaltimento", "Operazioni di smaltimento", Kind::Text, 15);
        return t;
    }();
    return t;
}

QVector<bool> readFlags(const QVariant &stored, int count)
{
    const QString s = (stored.isNull() ? QString() : stored.toString()) + QStringLiteral("000000000000000");
    QVector<bool> out(count);
    for (int i = 0; i < count && i < 15; ++i)
        out[i] = s.at(i) == u'1';
    return out;
}

QString writeFlags(const QVector<bool> &ticked)
{
    QString s;
    for (bool b : ticked)
        s += b ? u'1' : u'0';
    return s;
}

QVector<qint64> ids(AppContext &ctx, qint64 saID)
{
    QVector<qint64> out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT suID FROM SaAut WHERE (saID = ?) ORDER BY suID"), {saID});
    while (q.next())
        out << q.value(0).toLongLong();
    return out;
}

fields::Record blank()
{
    fields::Record r;
    for (const Field &f : fieldTable()) {
        switch (f.kind) {
        case Kind::Check:
        case Kind::Option: r.insert(f.name, 0); break;
        case Kind::Integer: r.insert(f.name, QVariant()); break;
        default: r.insert(f.name, QString());
        }
    }
    r.insert(QStringLiteral("suRecupero"), writeFlags(QVector<bool>(RecoveryCount)));
    r.insert(QStringLiteral("suSmaltimento"), writeFlags(QVector<bool>(DisposalCount)));
    return r;
}

fields::Record load(AppContext &ctx, qint64 suID, bool *found)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM SaAut WHERE (suID = ?)"), {suID});
    const bool ok = q.next();
    if (found)
        *found = ok;
    if (!ok)
        return blank();
    QVariantMap row = dbClass::rowMap(q);
    fields::Record r = fields::fromStore(fieldTable(), row);
    // The flag strings are brought to one character per box.
    r.insert(QStringLiteral("suRecupero"), writeFlags(readFlags(r.value(QStringLiteral("suRecupero")), RecoveryCount)));
    r.insert(QStringLiteral("suSmaltimento"),
             writeFlags(readFlags(r.value(QStringLiteral("suSmaltimento")), DisposalCount)));
    return r;
}

int saveCheck(AppContext &ctx, const fields::Record &r)
{
    const fields::Table &t = fieldTable();
    auto pos = [&t](const char *n) { return fields::position(t, QString::fromLatin1(n)); };

    // 1. Ticked operations, recovery and disposal together.
    int operations = 0;
    for (bool b : readFlags(r.value(QStringLiteral("suRecupero")), RecoveryCount))
        operations += b;
    for (bool b : readFlags(r.value(QStringLiteral("suSmaltimento")), DisposalCount))
        operations += b;

    // 2. Required data.
    const QString rilascio = dateKey(r, "suDataRil");
    const QString scadenza = dateKey(r, "suDataScad");
    QStringList missing;
    int field = -1;
    auto need = [&](bool absent, const char *line, int at) {
        if (!absent)
            return;
        missing << QString::fromUtf8(line);
        if (field < 0)
            field = at;
    };
    need(r.value(QStringLiteral("suEstremi")).toString().trimmed().isEmpty(), "Estremi dell'autorizzazione",
         pos("suEstremi"));
    need(rilascio.isEmpty(), "Data di rilascio", pos("suDataRil"));
    need(scadenza.isEmpty(), "Data di scadenza", pos("suDataScad"));
    need(r.value(QStringLiteral("suTipo")).toInt() < 1, "Tipo di autorizzazione", pos("suTipo"));
    need(operations == 0, "Operazioni di recupero/smaltimento contenute nell'autorizzazione", pos("suRecupero"));
    QString text;
    if (!missing.isEmpty())
        text = QStringLiteral("Attenzione i seguenti dati sono obbligatori:\n") + missing.join(u'\n');

    // 3. Date order, in the same box.
    if (!rilascio.isEmpty() && !scadenza.isEmpty() && scadenza < rilascio) {
        if (text.isEmpty())
            text = QStringLiteral("Attenzione,");
        text += QStringLiteral("\nData di rilascio e data di scadenza incongruenti.");
        if (field < 0)
            field = pos("suDataScad");
    }
    if (!text.isEmpty()) {
        ctx.msg.information(text);
        return field;
    }

    // Capacities beyond their nine digits cannot be stored.
    for (const char *n : {"incQta", "incRifP", "incRifNP", "conQta", "conRifP", "conRifNP", "crQta1", "crQta2",
                          "crQta3"})
        if (num(r, n) < 0 || num(r, n) > 999999999) {
            ctx.msg.information(QStringLiteral("Attenzione, valore troppo grande: il massimo ammesso è 999.999.999."));
            return pos(n);
        }

    // 4. Warnings.
    const QString year = QString::number(ctx.app.year());
    QStringList warnings;
    int warnField = -1;
    auto warn = [&](bool when, const char *line, int at) {
        if (!when)
            return;
        warnings << QString::fromUtf8(line);
        if (warnField < 0)
            warnField = at;
    };
    warn(r.value(QStringLiteral("suEnte")).toInt() < 1, "L'ente di rilascio non è stato inserito.", pos("suEnte"));
    warn(scadenza < year + QStringLiteral("0101"), "La data di scadenza è antecedente all'anno di riferimento.",
         pos("suDataScad"));
    warn(rilascio > year + QStringLiteral("1231"), "La data di rilascio è successiva all'anno di riferimento.",
         pos("suDataRil"));
    const bool inc = ticked(r, "Incenerimento");
    const bool con = ticked(r, "Coincenerimento");
    warn(inc && num(r, "incQta") <= 0,
         "Se l'impianto svolge attività di incenerimento indicare la capacità autorizzata nei campi ad essa relativi.",
         pos("incQta"));
    warn(con && num(r, "conQta") <= 0,
         "Se l'impianto svolge attività di coincenerimento indicare la capacità autorizzata nei campi ad essa "
         "relativi.",
         pos("conQta"));
    const char *sumLine = "La somma delle capacità autorizzate per rifiuti pericolosi e non pericolosi risulta "
                          "superiore alla capacità complessiva.";
    warn(inc && num(r, "incRifP") + num(r, "incRifNP") > num(r, "incQta"), sumLine, pos("incRifP"));
    warn(con && num(r, "conRifP") + num(r, "conRifNP") > num(r, "conQta"), sumLine, pos("conRifP"));
    if (!warnings.isEmpty()
        && !ctx.msg.question(QStringLiteral("Attenzione,\n") + warnings.join(u'\n')
                             + QStringLiteral("\nProcedo con il salvataggio?")))
        return warnField;
    return -1;
}

qint64 save(AppContext &ctx, qint64 saID, qint64 suID, const fields::Record &r)
{
    QVariantMap values = fields::storeValues(fieldTable(), r);
    if (suID == 0) {
        values.insert(QStringLiteral("saID"), saID);
        return qMax<qint64>(0, ctx.db.insertRow(QStringLiteral("SaAut"), values));
    }
    return ctx.db.updateRow(QStringLiteral("SaAut"), QStringLiteral("suID"), suID, values) ? suID : 0;
}

qint64 checkAndSave(AppContext &ctx, qint64 saID, qint64 suID, const fields::Record &r, int *failedField)
{
    const int f = saveCheck(ctx, r);
    if (failedField)
        *failedField = f;
    return f >= 0 ? 0 : save(ctx, saID, suID, r);
}

bool remove(AppContext &ctx, qint64 suID)
{
    if (suID <= 0 || !fields::confirmDelete(ctx.msg, QStringLiteral("scheda SA-AUT corrente,")))
        return false;
    return ctx.db.execute(QStringLiteral("DELETE FROM SaAut WHERE (suID = ?)"), {suID});
}

} // namespace saaut
