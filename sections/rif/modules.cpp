#include "sections/rif/modules.h"

#include "refdata/lookups.h"
#include "refdata/validators.h"
#include "sections/anag/register.h"
#include "sections/codes.h"
#include "sections/rif/scheda.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qty.h"
#include "shell/transaction.h"

#include <QSet>
#include <QSqlQuery>

namespace waste {

namespace {

const QString EsteroField = QStringLiteral("estero");

bool isQuantity(const fields::Field &f) { return f.kind == fields::Kind::Quantity; }

void setEmpty(const fields::Field &f, fields::Record &r)
{
    switch (f.kind) {
    case fields::Kind::Check:
    case fields::Kind::Option: r.insert(f.name, 0); break;
    case fields::Kind::Quantity:
        r.insert(f.name, QVariant());
        r.insert(f.name2, 0);
        break;
    case fields::Kind::Municipality:
        r.insert(f.name, 0);
        r.insert(f.name2, 0);
        break;
    case fields::Kind::Integer:
    case fields::Kind::Decimal: r.insert(f.name, QVariant()); break;
    default: r.insert(f.name, QString());
    }
}

Qty kgOf(const fields::Record &r, const fields::Field &f)
{
    return Qty::fromMilli(r.value(f.name).toLongLong()).kg(r.value(f.name2).toInt());
}

QString attention(const QString &line) { return QStringLiteral("Attenzione,\n") + line; }

QString landfillNoQuantity()
{
    return attention(QStringLiteral("è stata indicata la classificazione della discarica, ma non la "
                                    "quantità depositata."));
}

} // namespace

const QStringList &italySide()
{
    static const QStringList l = {QStringLiteral("prvIstat"), QStringLiteral("Provincia"),
                                  QStringLiteral("Via"), QStringLiteral("Civico"),
                                  QStringLiteral("Cap")};
    return l;
}

const QStringList &abroadSide()
{
    static const QStringList l = {QStringLiteral("nazID"), QStringLiteral("RegCE")};
    return l;
}

QString privateQuestion()
{
    return QStringLiteral("Attenzione, esiste già un modulo \"Privati\" per il comune selezionato.\n"
                          "Vuoi modificarlo?");
}

QString privateName() { return QStringLiteral("*** Privati ***"); }

int optionCode(const ModuleKind &m, const QString &name, int index)
{
    if (index < 0)
        return 0;
    const auto it = m.optionCodes.constFind(name);
    if (it == m.optionCodes.cend())
        return index + 1;
    return index < it->size() ? it->at(index) : 0;
}

int optionIndex(const ModuleKind &m, const QString &name, int code)
{
    const auto it = m.optionCodes.constFind(name);
    if (it == m.optionCodes.cend())
        return code - 1;
    return it->indexOf(code);
}

bool fieldEnabled(const ModuleKind &m, const QString &wasteCode, const fields::Record &r,
                  const QString &name)
{
    const bool priv = m.privati && r.value(QStringLiteral("Privati")).toInt() != 0;
    const bool abroad = m.sides && r.value(EsteroField).toInt() == SideEstero;
    // A private module stands for the private persons of one municipality:
    // no company, no street.
    if (priv && (name == QLatin1String("CodFisc") || name == QLatin1String("RagSoc")
                 || name == QLatin1String("Via") || name == QLatin1String("Civico")
                 || name == QLatin1String("Cap")))
        return false;
    if (m.sides) {
        // Private persons stand for a municipality: always on the Italian side.
        if (name == EsteroField)
            return !priv;
        if (italySide().contains(name))
            return !abroad || priv;
        if (abroadSide().contains(name))
            return abroad && !priv;
    }
    if (m.treatment.contains(name))
        return abroad && !priv;
    if (m.urbanFlag && name == QLatin1String("discDep"))
        return codes::isUrbanOriginCode(wasteCode);
    if (m.batteryFrame && name == QLatin1String("disc191"))
        return codes::isBatteryCode(wasteCode);
    return true;
}

fields::Record withClosedCleared(const ModuleKind &m, const QString &wasteCode, fields::Record r)
{
    const fields::Record before = r;
    if (m.sides && m.privati && before.value(QStringLiteral("Privati")).toInt() != 0)
        r.insert(EsteroField, int(SideItalia));
    for (const fields::Field &f : m.fields)
        if (!fieldEnabled(m, wasteCode, r, f.name))
            setEmpty(f, r);
    return r;
}

QVector<qint64> ids(AppContext &ctx, const ModuleKind &m, qint64 parentId, const Attachment &a)
{
    QVector<qint64> out;
    QString where;
    QVariantList params{parentId, m.tipoMod};
    for (const QString &c : m.attach)
        if (a.contains(c)) {
            where += QStringLiteral(" AND %1 = ?").arg(c);
            params << a.value(c);
        }
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT %1 FROM %2 WHERE (%3 = ? AND tipoMod = ?%5) ORDER BY %4")
                                   .arg(m.key, m.table, m.parentKey, m.orderBy, where),
                               params);
    while (q.next())
        out << q.value(0).toLongLong();
    return out;
}

fields::Record blank(const ModuleKind &m)
{
    fields::Record r;
    for (const fields::Field &f : m.fields) {
        switch (f.kind) {
        case fields::Kind::Check:
        case fields::Kind::Option: r.insert(f.name, 0); break;
        case fields::Kind::Quantity:
            r.insert(f.name, qlonglong(0));
            r.insert(f.name2, 1);
            break;
        case fields::Kind::Municipality:
            r.insert(f.name, 0);
            r.insert(f.name2, 0);
            break;
        case fields::Kind::Province: break;
        default: r.insert(f.name, QString());
        }
    }
    if (m.sides)
        r.insert(EsteroField, int(SideItalia));
    return r;
}

fields::Record load(AppContext &ctx, const ModuleKind &m, qint64 id, bool *found)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?)").arg(m.table, m.key), {id});
    const bool ok = q.next();
    if (found)
        *found = ok;
    return ok ? fromRow(m, dbClass::rowMap(q)) : blank(m);
}

fields::Record fromRow(const ModuleKind &m, const QVariantMap &row)
{
    fields::Record r = fields::fromStore(m.fields, row);
    fields::defaultQuantities(m.fields, r);
    if (m.sides)
        r.insert(EsteroField, r.value(QStringLiteral("nazID")).toInt() > 0 ? int(SideEstero) : int(SideItalia));
    // Options hold their position (1, 2, ...) in the record, as on the form.
    for (auto it = m.optionCodes.cbegin(); it != m.optionCodes.cend(); ++it)
        r.insert(it.key(), optionIndex(m, it.key(), r.value(it.key()).toInt()) + 1);
    return r;
}

QVector<OpRow> loadOperations(AppContext &ctx, qint64 mrID)
{
    return loadOperations(ctx, rif::module(codes::MG), mrID);
}

QVector<OpRow> loadOperations(AppContext &ctx, const ModuleKind &m, qint64 id)
{
    QVector<OpRow> out;
    if (m.opTable.isEmpty())
        return out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT Posizione, Codice, qta, umi FROM %1 WHERE "
                                              "(%2 = ?) ORDER BY Posizione, Codice")
                                   .arg(m.opTable, m.key),
                               {id});
    while (q.next())
        out << opRow(q.value(0), q.value(1), q.value(2), q.value(3));
    return out;
}

OpRow opRow(const QVariant &posizione, const QVariant &codice, const QVariant &qta, const QVariant &umi)
{
    OpRow o;
    o.posizione = posizione.toInt();
    o.codice = codice.toString();
    o.qta = qta.isNull() ? QVariant() : QVariant(qta.toLongLong());
    o.umi = umi.toInt() == 2 ? 2 : 1;
    return o;
}

qint64 privateModuleFor(AppContext &ctx, const ModuleKind &m, qint64 parentId, int prvIstat,
                        int comIstat, qint64 exceptId)
{
    if (!m.privati || prvIstat <= 0 || comIstat <= 0)
        return 0;
    return ctx.db
        .scalar(QStringLiteral("SELECT %1 FROM %2 WHERE (%3 = ? AND tipoMod = ? AND Privati <> 0 AND "
                               "prvIstat = ? AND comIstat = ? AND %1 <> ?) ORDER BY %1")
                    .arg(m.key, m.table, m.parentKey),
                {parentId, m.tipoMod, prvIstat, comIstat, exceptId})
        .toLongLong();
}

namespace {

Check mgCheck(AppContext &ctx, const ModuleKind &m, qint64 id, const fields::Record &r,
              const QVector<OpRow> &ops)
{
    Check c;
    auto pos = [&m](const char *n) { return fields::position(m.fields, QString::fromLatin1(n)); };
    auto stop = [&](const QString &text, int field) {
        ctx.msg.information(text);
        c.field = field;
        return c;
    };
    for (const OpRow &o : ops) {
        const qint64 q = o.qta.toLongLong();
        if (q > Qty::FileMaxMilli || q < -Qty::FileMaxMilli)
            return stop(tooLargeMessage(), pos("Privati"));
        if (o.codice.isEmpty() && q != 0)
            return stop(QStringLiteral("Attenzione, indicare l'operazione di ogni quantità inserita "
                                       "nelle tabelle delle operazioni."),
                        pos("Privati"));
    }
    const bool dep = r.value(QStringLiteral("qtaDep")).toLongLong() > 0;
    const bool depClass = r.value(QStringLiteral("discDep")).toInt() > 0;
    const bool q191 = r.value(QStringLiteral("qta191")).toLongLong() > 0;
    const bool class191 = r.value(QStringLiteral("disc191")).toInt() > 0;
    if (depClass && !dep)
        return stop(landfillNoQuantity(), pos("qtaDep"));
    if (dep && !depClass)
        return stop(attention(QStringLiteral("è stata inserita una quantità in discarica senza indicare "
                                             "la relativa classificazione.")),
                    pos("discDep"));
    if (class191 && !q191)
        return stop(landfillNoQuantity(), pos("qta191"));
    if (q191 && !class191)
        return stop(attention(QStringLiteral("è stata inserita una quantità in discarica art. 191 senza "
                                             "indicare la relativa classificazione.")),
                    pos("disc191"));
    bool any = false;
    for (const fields::Field &f : m.fields)
        if (isQuantity(f) && r.value(f.name).toLongLong() > 0)
            any = true;
    for (const OpRow &o : ops)
        if (!o.codice.isEmpty() && o.qta.toLongLong() > 0)
            any = true;
    if (!any)
        return stop(attention(QStringLiteral("inserire almeno una quantità")
                              + (id > 0 ? QStringLiteral(" o eliminare il modulo") : QString())
                              + QStringLiteral(".")),
                    pos("Privati"));
    return c;
}

} // namespace

Check saveCheck(AppContext &ctx, const ModuleKind &m, qint64 parentId, qint64 id,
                const QString &wasteCode, const fields::Record &rIn, const QVector<OpRow> &ops)
{
    Check c;
    const fields::Record r = withClosedCleared(m, wasteCode, rIn);
    const int big = firstTooLarge(m.fields, r);
    if (big >= 0) {
        ctx.msg.information(tooLargeMessage());
        c.field = big;
        return c;
    }
    if (m.operations)
        return mgCheck(ctx, m, id, r, ops);

    // 1. Required fields of what is open; a quantity of 0 counts as missing.
    fields::Table open;
    fields::Record rq = r;
    for (const fields::Field &f : m.fields) {
        if (!fieldEnabled(m, wasteCode, r, f.name))
            continue;
        open << f;
        if (isQuantity(f) && rq.value(f.name).toLongLong() == 0)
            rq.insert(f.name, QVariant());
    }
    const int miss = fields::firstMissing(open, rq, ctx.msg);
    if (miss >= 0) {
        c.field = fields::position(m.fields, open[miss].name);
        return c;
    }
    // 2. Postcode.
    const int capPos = fields::position(m.fields, QStringLiteral("Cap"));
    if (capPos >= 0 && !refdata::checkPostcode(r.value(QStringLiteral("Cap")).toString().trimmed(), ctx.msg)) {
        c.field = capPos;
        return c;
    }
    // 3. Code under Regulation (EC) 1013/2006.
    const QString regCE = r.value(QStringLiteral("RegCE")).toString().trimmed();
    if (!regCE.isEmpty() && !refdata::regCEExists(ctx.db, regCE)) {
        ctx.msg.information(QStringLiteral("Attenzione, Codice regolamento (CE) 1013/2006 errato."));
        c.field = fields::position(m.fields, QStringLiteral("RegCE"));
        return c;
    }
    // 4. From abroad: the treatment quantities add up to the quantity of the
    // module, within the tolerance. Checked once any of them is entered.
    if (!m.treatment.isEmpty() && !m.treatmentMessage.isEmpty()
        && r.value(EsteroField).toInt() == SideEstero) {
        Qty sum;
        bool entered = false;
        for (const QString &n : m.treatment) {
            const fields::Field *f = fields::find(m.fields, n);
            entered = entered || r.value(n).toLongLong() != 0;
            sum += kgOf(r, *f);
        }
        const Qty total = kgOf(r, *fields::find(m.fields, QStringLiteral("qtaMod")));
        if (entered && !toleranceMatch(total, sum)) {
            ctx.msg.information(m.treatmentMessage);
            c.field = fields::position(m.fields, m.treatment.first());
            return c;
        }
    }
    // 5. Battery codes: one of the two answers.
    if (m.batteryFrame && codes::isBatteryCode(wasteCode)) {
        const int a = r.value(QStringLiteral("disc191")).toInt();
        if (a != codes::BatteryYes && a != codes::BatteryNo) {
            ctx.msg.information(QStringLiteral("Attenzione, specificare almeno un'opzione nell'ultimo riquadro."));
            c.field = fields::position(m.fields, QStringLiteral("disc191"));
            return c;
        }
    }
    // One private module per municipality.
    if (m.privati && r.value(QStringLiteral("Privati")).toInt() != 0) {
        const qint64 other = privateModuleFor(ctx, m, parentId, r.value(QStringLiteral("prvIstat")).toInt(),
                                              r.value(QStringLiteral("comIstat")).toInt(), id);
        if (other > 0) {
            if (ctx.msg.question(privateQuestion()))
                c.moveTo = other;
            else
                c.field = fields::position(m.fields, QStringLiteral("prvIstat"));
            return c;
        }
    }
    // One module per municipality and activity.
    if (m.uniquePlace) {
        const int n = ctx.db
                          .scalar(QStringLiteral("SELECT COUNT(%1) FROM %2 WHERE (%3 = ? AND tipoMod = ? AND "
                                                 "prvIstat = ? AND comIstat = ? AND Privati = ? AND %1 <> ?)")
                                      .arg(m.key, m.table, m.parentKey),
                                  {parentId, m.tipoMod, r.value(QStringLiteral("prvIstat")).toInt(),
                                   r.value(QStringLiteral("comIstat")).toInt(),
                                   optionCode(m, QStringLiteral("Privati"), r.value(QStringLiteral("Privati")).toInt() - 1),
                                   id})
                          .toInt();
        if (n > 0) {
            ctx.msg.information(QStringLiteral("Attenzione, comune ed attività già presente nella lista"));
            c.field = fields::position(m.fields, QStringLiteral("prvIstat"));
            return c;
        }
    }
    return c;
}

qint64 save(AppContext &ctx, const ModuleKind &m, qint64 parentId, qint64 id,
            const QString &wasteCode, const fields::Record &rIn, const QVector<OpRow> &ops,
            const Attachment &a)
{
    const fields::Record r = withClosedCleared(m, wasteCode, rIn);
    QVariantMap values = fields::storeValues(m.fields, r);
    for (const QString &c : m.attach)
        if (a.contains(c))
            values.insert(c, a.value(c));
    for (auto it = m.optionCodes.cbegin(); it != m.optionCodes.cend(); ++it)
        values.insert(it.key(), optionCode(m, it.key(), r.value(it.key()).toInt() - 1));
    // The module, its rows and its counterpart are saved whole or not at all.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return 0;
    qint64 key = id;
    if (id == 0) {
        values.insert(m.parentKey, parentId);
        values.insert(QStringLiteral("tipoMod"), m.tipoMod);
        key = ctx.db.insertRow(m.table, values);
        if (key <= 0)
            return 0;
    } else if (!ctx.db.updateRow(m.table, m.key, id, values)) {
        return 0;
    }
    if (!m.opTable.isEmpty()) {
        // The rows are rewritten whole from the grids.
        if (!ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(m.opTable, m.key), {key}))
            return 0;
        for (const OpRow &o : ops) {
            if (o.codice.isEmpty())
                continue;
            QVariantMap row{{m.key, key},
                            {QStringLiteral("Posizione"), o.posizione},
                            {QStringLiteral("Codice"), o.codice.left(5)},
                            {QStringLiteral("qta"), o.qta.isNull() ? QVariant(qlonglong(0)) : o.qta},
                            {QStringLiteral("umi"), o.umi}};
            if (ctx.db.insertRow(m.opTable, row) < 0)
                return 0;
        }
    }
    if (m.counterpart && !r.value(QStringLiteral("CodFisc")).toString().trimmed().isEmpty()) {
        if (anag::registerCounterpart(ctx.db, anag::companyFrom(r)) == anag::Registered::Failed)
            return 0;
    }
    return tx.commit(ctx.msg) ? key : 0;
}

bool remove(AppContext &ctx, const ModuleKind &m, qint64 id)
{
    if (id <= 0)
        return false;
    const QString what = !m.deleteWhat.isEmpty() ? m.deleteWhat
                         : m.listDelete      ? QStringLiteral("modulo selezionato")
                                             : QStringLiteral("modulo corrente,");
    if (!fields::confirmDelete(ctx.msg, what))
        return false;
    return ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(m.table, m.key), {id});
}

QStringList listColumns(const ModuleKind &m)
{
    if (m.operations)
        return {QStringLiteral("Modulo"), QStringLiteral("Tipologia impianto")};
    if (m.uniquePlace)
        return {QStringLiteral("Comune"), QStringLiteral("Provincia"), QStringLiteral("Attività"),
                QStringLiteral("Quantità")};
    if (!m.sides)
        return {QStringLiteral("Codice fiscale"), QStringLiteral("Ragione sociale")};
    return {QStringLiteral("Codice fiscale"), QStringLiteral("Ragione sociale"),
            QStringLiteral("Comune / Paese"), QStringLiteral("Quantità")};
}

QVector<ModuleRow> list(AppContext &ctx, const ModuleKind &m, qint64 parentId, const Attachment &a)
{
    QVector<ModuleRow> out;
    int n = 0;
    for (qint64 id : ids(ctx, m, parentId, a)) {
        ++n;
        const fields::Record r = load(ctx, m, id);
        ModuleRow row{id, {}};
        const int prv = r.value(QStringLiteral("prvIstat")).toInt();
        const int com = r.value(QStringLiteral("comIstat")).toInt();
        const dbClass::Municipality mun = ctx.db.municipality(prv, com);
        const QString qty = Qty::fromMilli(r.value(QStringLiteral("qtaMod")).toLongLong())
                                .format(m.uniquePlace ? 0 : 3)
                            + u' ' + unitText(r.value(QStringLiteral("umiMod")).toInt());
        if (m.operations) {
            const int plant = r.value(QStringLiteral("Privati")).toInt();
            row.texts << QString::number(n)
                      << (plant >= 1 && plant <= codes::mgPlantTypes().size() ? codes::mgPlantTypes()[plant - 1]
                                                                               : QString());
        } else if (m.uniquePlace) {
            const fields::Field *f = fields::find(m.fields, QStringLiteral("Privati"));
            const int i = r.value(QStringLiteral("Privati")).toInt() - 1;
            const QString act = i >= 0 && i < f->options.size() ? f->options[i] : QString();
            row.texts << mun.comDesc << mun.prvSigla << act << qty;
        } else {
            const bool priv = m.privati && r.value(QStringLiteral("Privati")).toInt() != 0;
            row.texts << r.value(QStringLiteral("CodFisc")).toString()
                      << (priv ? privateName() : r.value(QStringLiteral("RagSoc")).toString());
            if (m.sides) {
                QString place = mun.comDesc;
                if (r.value(EsteroField).toInt() == SideEstero)
                    place = ctx.db.scalar(QStringLiteral("SELECT nazDesc FROM Nazioni WHERE (nazID = ?)"),
                                          {r.value(QStringLiteral("nazID")).toInt()})
                                .toString();
                row.texts << place << qty;
            }
        }
        out << row;
    }
    return out;
}

QVector<QPair<qint64, QString>> followingModules(dbClass &db, const RowTables &t, qint64 parent,
                                                 const QVector<EditedRow> &rows, const RtCondition &rtModules)
{
    QVector<QPair<qint64, QString>> moves;
    if (parent <= 0)
        return moves;
    QHash<qint64, QString> stored;
    QSqlQuery q = db.query(QStringLiteral("SELECT %1, rifCod FROM %2 WHERE (%3 = ?)").arg(t.rowKey, t.rowTable, t.parentKey),
                           {parent});
    while (q.next())
        stored.insert(q.value(0).toLongLong(), q.value(1).toString());
    QSet<qint64> claimed;
    auto claim = [&](const QString &where, const QVariantList &params, const QString &to) {
        QSqlQuery m = db.query(QStringLiteral("SELECT %1 FROM %2 WHERE (%3 = ? AND rifCod = ? AND %4)")
                                   .arg(t.modKey, t.modTable, t.parentKey, where),
                               params);
        while (m.next()) {
            const qint64 k = m.value(0).toLongLong();
            if (!claimed.contains(k)) {
                claimed.insert(k);
                moves.append({k, to});
            }
        }
    };
    for (const EditedRow &r : rows) {
        const QString from = stored.value(r.id);
        if (r.id <= 0 || from.isEmpty() || r.rifCod.isEmpty() || from == r.rifCod)
            continue;
        bool keptInGroup = false, kept = false;
        for (const EditedRow &o : rows)
            if (o.rifCod == from) {
                kept = true;
                keptInGroup = keptInGroup || o.group == r.group;
            }
        if (r.group != 0 && !keptInGroup) {
            const auto [where, values] = rtModules(r.group);
            claim(where.isEmpty() ? QStringLiteral("tipoMod = ?") : QStringLiteral("tipoMod = ? AND ") + where,
                  QVariantList{parent, from, int(codes::RT)} + values, r.rifCod);
        }
        if (!kept)
            claim(QStringLiteral("tipoMod <> ?"), {parent, from, int(codes::RT)}, r.rifCod);
    }
    return moves;
}

} // namespace waste

namespace rif {

namespace {

using fields::Field;
using fields::Kind;

Field text(const char *name, const char *caption, int length, const char *required = "",
           const char *chars = "", bool upper = false)
{
    Field f;
    f.name = QString::fromLatin1(name);
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Text;
    f.length = length;
    f.required = QString::fromUtf8(required);
    f.chars = QString::fromLatin1(chars);
    f.upper = upper;
    return f;
}

Field qty(const char *name, const char *unit, const char *caption, const char *required = "")
{
    Field f;
    f.name = QString::fromLatin1(name);
    f.name2 = QString::fromLatin1(unit);
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Quantity;
    f.length = 7;
    f.decimals = 3;
    f.required = QString::fromUtf8(required);
    return f;
}

Field option(const char *name, const char *caption, const QStringList &options, const char *required = "")
{
    Field f;
    f.name = QString::fromLatin1(name);
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Option;
    f.options = options;
    f.required = QString::fromUtf8(required);
    return f;
}

Field check(const char *name, const char *caption)
{
    Field f;
    f.name = QString::fromLatin1(name);
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Check;
    return f;
}

Field municipality(const char *caption, const char *required)
{
    Field f;
    f.name = QStringLiteral("prvIstat");
    f.name2 = QStringLiteral("comIstat");
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Municipality;
    f.required = QString::fromUtf8(required);
    return f;
}

Field province(const char *caption)
{
    Field f;
    f.name = QStringLiteral("Provincia");
    f.name2 = QStringLiteral("prvIstat");
    f.caption = QString::fromUtf8(caption);
    f.kind = Kind::Province;
    f.stored = false;
    return f;
}

Field grouped(Field f, const char *group)
{
    f.group = QString::fromUtf8(group);
    return f;
}

const char *CodFiscRequired = "Attenzione, Codice fiscale richiesto.";
const char *RagSocRequired = "Attenzione, campo nome o ragione sociale richiesto.";
const char *QtyRequired = "Attenzione, quantità richiesta.";

} // namespace

// Counterpart with address, Italian or foreign: the part RT, DR, UO and UD share.
// Names and streets are upper-cased as in SA1, so that a company is written
// the same way in every module, in the register and in the file.
fields::Table counterpartFields(const char *frame, const char *italyFrame, const char *abroadFrame,
                                const char *countryCaption, bool regCE)
{
    fields::Table t;
    t << grouped(text("CodFisc", "Codice fiscale:", 16, CodFiscRequired, "A-Za-z0-9", true), frame)
      << grouped(text("RagSoc", "Nome o ragione sociale:", 60, RagSocRequired, "", true), frame);
    Field side = grouped(option("estero", "", {QStringLiteral("Italia"), QStringLiteral("Estero")}), frame);
    side.stored = false;
    t << side;
    t << grouped(municipality("Comune:", "Attenzione, campo comune richiesto."), italyFrame)
      << grouped(province("Provincia:"), italyFrame)
      << grouped(text("Via", "Via:", 30, "Attenzione, campo via richiesto.", "", true), italyFrame)
      << grouped(text("Civico", "N. civico:", 6, "", "", true), italyFrame)
      << grouped(text("Cap", "C.A.P.:", 5, "", "0-9"), italyFrame);
    t << grouped(option("nazID", countryCaption, {}, "Attenzione, Paese estero richiesto."), abroadFrame);
    if (regCE)
        t << grouped(text("RegCE", "Codice regolamento (CE) 1013/2006:", 6, "", "A-Za-z0-9", true),
                     abroadFrame);
    return t;
}

const waste::ModuleKind &module(int tipoMod)
{
    static const QVector<waste::ModuleKind> kinds = [] {
        QVector<waste::ModuleKind> v(6);
        auto base = [](int tipo, const char *code, const char *title) {
            waste::ModuleKind m;
            m.table = QStringLiteral("ModRif");
            m.key = QStringLiteral("mrID");
            m.parentKey = QStringLiteral("rifID");
            m.tipoMod = tipo;
            m.code = QString::fromLatin1(code);
            m.title = QString::fromUtf8(title);
            m.listTitle = QStringLiteral("Lista dei moduli ") + m.code;
            m.orderBy = QStringLiteral("mrID");
            return m;
        };

        waste::ModuleKind rt = base(codes::RT, "RT", "Modulo RT - Rifiuti ricevuti da terzi");
        rt.orderBy = QStringLiteral("Privati, mrID");
        rt.privati = rt.counterpart = rt.sides = rt.urbanFlag = rt.batteryFrame = true;
        rt.fields << check("Privati", "Privati");
        rt.fields << counterpartFields("Impresa o Ente che ha conferito il rifiuto",
                                       "Sede unità locale di provenienza del rifiuto (se di provenienza nazionale)",
                                       "Nel caso in cui il rifiuto sia di provenienza non nazionale",
                                       "Paese estero:", true);
        rt.fields << grouped(qty("qtaMod", "umiMod", "Quantità ricevuta nell'anno:", QtyRequired), "Quantità");
        const char *rtFrame = "Da compilare in caso di rifiuti ricevuti per attività di gestione (escluso in caso di trasporto)";
        rt.fields << grouped(qty("qtaDep", "umiDep", "recupero di materia:"), rtFrame)
                  << grouped(qty("qta191", "umi191", "recupero di energia:"), rtFrame)
                  << grouped(qty("qtaInc", "umiInc", "incenerimento:"), rtFrame)
                  << grouped(qty("qtaDisc", "umiDisc", "discarica:"), rtFrame)
                  << grouped(qty("qtaSmalt", "umiSmalt", "altre operazioni di smaltimento:"), rtFrame);
        rt.treatment = {QStringLiteral("qtaDep"), QStringLiteral("qta191"), QStringLiteral("qtaInc"),
                        QStringLiteral("qtaDisc"), QStringLiteral("qtaSmalt")};
        rt.treatmentMessage = QStringLiteral("La quantità ricevuta dall'estero nell'anno dev'essere uguale alla somma "
                                             "delle quantità relative alle attività di trattamento.");
        rt.fields << grouped(check("discDep", "Barrare se la quantità indicata nel modulo è relativa a rifiuti di origine urbana"),
                             "Rifiuti di origine urbana");
        rt.fields << grouped(option("disc191",
                                    "Specificare se la quantità indicata nel modulo è relativa a pile e "
                                    "accumulatori portatili:",
                                    {QStringLiteral("Sì"), QStringLiteral("No")}),
                             "Se il modulo è relativo a un CER da 160601 a 160605, 200133 e 200134");
        v[codes::RT] = rt;

        waste::ModuleKind dr = base(codes::DR, "DR", "Modulo DR - Rifiuti conferiti a terzi");
        dr.counterpart = dr.sides = true;
        dr.fields << counterpartFields("Soggetto destinatario del rifiuto",
                                       "Sede impianto di destinazione (se di destinazione nazionale)",
                                       "Nel caso in cui il rifiuto abbia destinazione non nazionale indicare",
                                       "Paese estero:", true);
        dr.fields << grouped(qty("qtaMod", "umiMod", "Quantità conferita nell'anno:", QtyRequired), "Quantità");
        const char *drFrame = "Indicare l'attività svolta a destinazione";
        dr.fields << grouped(qty("qtaDep", "umiDep", "Quantità a recupero di materia:"), drFrame)
                  << grouped(qty("qta191", "umi191", "Quantità a recupero di energia:"), drFrame)
                  << grouped(qty("qtaInc", "umiInc", "Quantità a incenerimento:"), drFrame)
                  << grouped(qty("qtaDisc", "umiDisc", "Quantità avviata in discarica:"), drFrame)
                  << grouped(qty("qtaSmalt", "umiSmalt", "Quantità ad altre operazioni di smaltimento:"), drFrame);
        dr.treatment = rt.treatment;
        dr.treatmentMessage = QStringLiteral("La quantità conferita all'estero nell'anno dev'essere uguale alla "
                                             "somma delle quantità relative alle attività svolte a destinazione.");
        v[codes::DR] = dr;

        waste::ModuleKind te = base(codes::TE, "TE", "Modulo TE - Rifiuti trasportati da terzi");
        te.counterpart = te.listDelete = true;
        te.fields << grouped(text("CodFisc", "Codice fiscale:", 16, CodFiscRequired, "A-Za-z0-9", true), "Trasportatore")
                  << grouped(text("RagSoc", "Nome o ragione sociale:", 60, RagSocRequired, "", true), "Trasportatore");
        v[codes::TE] = te;

        waste::ModuleKind mg = base(codes::MG, "MG", "Modulo MG - Operazioni di gestione rifiuti svolte nell'unità locale");
        mg.operations = true;
        mg.opTable = QStringLiteral("RecRif");
        QStringList landfill;
        for (const auto &[code, caption] : codes::landfillClasses())
            landfill << QString::fromUtf8(caption);
        const char *depFrame = "Deposito definitivo effettuato nell'unità locale (operazioni D1, D5, D12)";
        // The art. 191 tab has the same frame; its name differs by a blank so the two stay apart.
        const char *dep191Frame = "Deposito definitivo effettuato nell'unità locale (operazioni D1, D5, D12) ";
        mg.fields << option("Privati", "Tipologia impianto:", codes::mgPlantTypes())
                  << grouped(qty("qtaDep", "umiDep", "Quantità depositata in discarica nell'anno:"), depFrame)
                  << grouped(option("discDep", "Classificazione della discarica (D.Lgs. 36/2003):", landfill), depFrame)
                  << grouped(qty("qta191", "umi191", "Quantità depositata in discarica nell'anno:"), dep191Frame)
                  << grouped(option("disc191", "Classificazione della discarica (D.Lgs. 36/2003):", landfill), dep191Frame)
                  << grouped(qty("qtaMod", "umiMod", "Quantità in giacenza al 31/12 da avviare a recupero"),
                             "Giacenza al 31/12")
                  << grouped(qty("qtaSmalt", "umiSmalt", "Quantità in giacenza al 31/12 da avviare a smaltimento"),
                             "Giacenza al 31/12");
        QVector<int> landfillCodes;
        for (const auto &[code, caption] : codes::landfillClasses())
            landfillCodes << code;
        mg.optionCodes.insert(QStringLiteral("discDep"), landfillCodes);
        mg.optionCodes.insert(QStringLiteral("disc191"), landfillCodes);
        v[codes::MG] = mg;

        waste::ModuleKind re = base(codes::RE, "RE", "Modulo RE - Rifiuti prodotti fuori dall'unità locale");
        re.uniquePlace = re.listDelete = true;
        QStringList activities;
        for (const auto &[code, caption] : codes::reActivities())
            activities << QString::fromUtf8(caption);
        re.fields << grouped(municipality("Comune:", "Attenzione, comune di provenienza del rifiuto richiesto."),
                             "Area di provenienza del rifiuto")
                  << grouped(province("Provincia di:"), "Area di provenienza del rifiuto")
                  << grouped(option("Privati", "", activities), "Attività che ha originato il rifiuto")
                  << qty("qtaMod", "umiMod", "Quantità prodotta fuori dell'unità locale:", QtyRequired);
        QVector<int> activityCodes;
        for (const auto &[code, caption] : codes::reActivities())
            activityCodes << code;
        re.optionCodes.insert(QStringLiteral("Privati"), activityCodes);
        v[codes::RE] = re;
        return v;
    }();
    return kinds[tipoMod >= 1 && tipoMod <= 5 ? tipoMod : 1];
}

} // namespace rif
