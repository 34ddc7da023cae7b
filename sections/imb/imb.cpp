#include "sections/imb/imb.h"

#include "refdata/lookups.h"
#include "sections/codes.h"
#include "sections/rif/scheda.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/qty.h"
#include "shell/transaction.h"

#include <QSet>
#include <QSqlQuery>

namespace imb {

namespace {

fields::Field qty(const QString &name, const QString &unit, const QString &caption, const QString &group)
{
    return fields::quantity(name, unit, caption, group);
}

// Kilograms in thousandths: unit 1 as it is, any other unit times 1000.
const char *const KgSum = "SUM(CASE WHEN RecImb.umi = 1 THEN RecImb.qta ELSE RecImb.qta * 1000 END)";

} // namespace

const fields::Table &schedaFields()
{
    static const fields::Table t = [] {
        fields::Table t;
        t << qty(QStringLiteral("qtaTerzi"), QStringLiteral("umiTerzi"), QStringLiteral("Quantità consegnata a terzi"),
                 QStringLiteral("Rifiuto consegnato a terzi"));
        t << qty(QStringLiteral("qtaGiac"), QStringLiteral("umiGiac"), QStringLiteral("Rifiuti in giacenza al 31/12"),
                 QStringLiteral("Rifiuti in giacenza al 31/12"));
        fields::addMaterials(t, codes::imbMaterials(), QStringLiteral("Materiali secondari"));
        return t;
    }();
    return t;
}

fields::Record blank()
{
    fields::Record r;
    fields::defaultQuantities(schedaFields(), r);
    return r;
}

qint64 schedaId(AppContext &ctx, qint64 saID)
{
    return ctx.db.scalar(QStringLiteral("SELECT siID FROM SezImb WHERE (saID = ?) ORDER BY siID"), {saID})
        .toLongLong();
}

fields::Record load(AppContext &ctx, qint64 siID)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM SezImb WHERE (siID = ?)"), {siID});
    if (!q.next())
        return blank();
    QVariantMap row = dbClass::rowMap(q);
    fields::Record r = fields::fromStore(schedaFields(), row);
    fields::defaultQuantities(schedaFields(), r);
    return r;
}

QString displayCode(const QString &rifCod, int allAcc)
{
    if (rifCod == codes::splitCode())
        return rifCod + (allAcc ? QStringLiteral("-A") : QStringLiteral("-C"));
    return rifCod;
}

bool parseCode(const QString &typed, QString *rifCod, int *allAcc)
{
    const QString t = typed.trimmed().toUpper();
    *allAcc = 0;
    if (t == codes::splitCode() + QStringLiteral("-A")) {
        *rifCod = codes::splitCode();
        *allAcc = 1;
        return true;
    }
    if (t == codes::splitCode() + QStringLiteral("-C")) {
        *rifCod = codes::splitCode();
        return true;
    }
    *rifCod = t;
    if (t.size() != 6 || t == codes::splitCode())
        return false;
    for (QChar c : t)
        if (!c.isDigit())
            return false;
    return true;
}

QVector<Row> loadRows(AppContext &ctx, qint64 siID)
{
    QVector<Row> out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT riID, Posizione, rifCod, allAcc, qta, umi FROM RecImb "
                                              "WHERE (siID = ?) ORDER BY Posizione, riID"),
                               {siID});
    while (q.next()) {
        Row r;
        r.id = q.value(0).toLongLong();
        r.posizione = q.value(1).toInt();
        r.rifCod = q.value(2).toString();
        r.allAcc = q.value(3).toInt() ? 1 : 0;
        r.qta = q.value(4).toLongLong();
        r.umi = q.value(5).toInt() == 2 ? 2 : 1;
        out << r;
    }
    return out;
}

QString groupCaption(int posizione)
{
    switch (posizione) {
    case codes::ImbPublic: return QStringLiteral("Rifiuto ricevuto da superficie pubblica");
    case codes::ImbPrivate: return QStringLiteral("Rifiuto ricevuto da superficie privata");
    case codes::ImbMonomaterial:
        return QStringLiteral("Rifiuto prodotto nell'unità locale da trattamento imballaggi monomateriale");
    case codes::ImbMultimaterial:
        return QStringLiteral("Rifiuto prodotto nell'unità locale da trattamento imballaggi multimateriale");
    }
    return {};
}

QString incompatibleQuestion(int posizione)
{
    const QString head = posizione < codes::ImbMonomaterial
                             ? QStringLiteral("Attenzione, è stato indicato un codice rifiuto ricevuto non "
                                              "compatibile con gli imballaggi.")
                             : QStringLiteral("Attenzione, è stato indicato un rifiuto prodotto con codice non "
                                              "compatibile\ncon i rifiuti derivanti dalla gestione degli imballaggi.");
    return head + QStringLiteral("\n\nConfermi codice digitato?");
}

bool codeEntry(AppContext &ctx, int posizione, const QString &typed, const QVector<Row> &rows)
{
    QString code;
    int allAcc = 0;
    // 150104 stands only with its metal; anything that is not a code of the
    // waste table is the same mistake to the user.
    if (!parseCode(typed, &code, &allAcc) || !refdata::wasteCodeExists(ctx.db, code)) {
        ctx.msg.information(QStringLiteral("Attenzione, codice rifiuto errato."));
        return false;
    }
    if (!refdata::wasteCodeSelectable(code, ctx.app.wasteCodeLevel(), false, ctx.msg))
        return false;
    if (code != codes::splitCode())
        for (const Row &r : rows)
            if (r.posizione == posizione && r.rifCod == code) {
                ctx.msg.information(QStringLiteral("Attenzione, codice rifiuto già presente nella sezione."));
                return false;
            }
    static const QStringList compatible = {QStringLiteral("15"), QStringLiteral("17"), QStringLiteral("19"),
                                           QStringLiteral("20")};
    if (!compatible.contains(code.left(2)) && !ctx.msg.question(incompatibleQuestion(posizione)))
        return false;
    return true;
}

int saveCheck(AppContext &ctx, const fields::Record &r, const QVector<Row> &rows)
{
    const int big = waste::firstTooLarge(schedaFields(), r);
    if (big >= 0) {
        ctx.msg.information(waste::tooLargeMessage());
        return big;
    }
    for (int i = 0; i < rows.size(); ++i)
        if (rows[i].qta > Qty::FileMaxMilli || rows[i].qta < -Qty::FileMaxMilli) {
            ctx.msg.information(waste::tooLargeMessage());
            return int(schedaFields().size()) + i;
        }
    const int noUnit = fields::firstUnitMissing(schedaFields(), r, ctx.msg);
    if (noUnit >= 0)
        return noUnit;
    for (int i = 0; i < rows.size(); ++i)
        if (rows[i].qta != 0 && rows[i].umi != 1 && rows[i].umi != 2) {
            ctx.msg.information(fields::unitMissingMessage(displayCode(rows[i].rifCod, rows[i].allAcc)));
            return int(schedaFields().size()) + i;
        }
    return -1;
}

namespace {

int surfaceOf(int posizione)
{
    return posizione == codes::ImbPublic ? codes::SurfacePublic : codes::SurfacePrivate;
}

// Modules of a stored row whose code was changed follow the new code; the
// RT-IMB modules go by the row's surface (public or private group).
QVector<QPair<qint64, QString>> followingModules(AppContext &ctx, qint64 siID, const QVector<Row> &rows)
{
    QVector<waste::EditedRow> edited;
    for (const Row &r : rows)
        edited.append({r.id, r.posizione < codes::ImbMonomaterial ? r.posizione : 0, r.rifCod});
    return waste::followingModules(ctx.db, {QStringLiteral("RecImb"), QStringLiteral("riID"), QStringLiteral("siID"),
                                            QStringLiteral("ModImb"), QStringLiteral("mbID")},
                                   siID, edited, [](int group) {
                                       return QPair<QString, QVariantList>(QStringLiteral("mbFlag = ?"),
                                                                           {surfaceOf(group)});
                                   });
}

} // namespace

qint64 save(AppContext &ctx, qint64 saID, qint64 siID, const fields::Record &r, const QVector<Row> &rows)
{
    const QVector<QPair<qint64, QString>> moves = followingModules(ctx, siID, rows);
    const QVariantMap values = fields::storeValues(schedaFields(), r);
    // The scheda, its rows and the modules that follow them: all or nothing.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return 0;
    qint64 key = siID;
    if (siID == 0) {
        QVariantMap v = values;
        v.insert(QStringLiteral("saID"), saID);
        key = ctx.db.insertRow(QStringLiteral("SezImb"), v);
        if (key <= 0)
            return 0;
    } else if (!ctx.db.updateRow(QStringLiteral("SezImb"), QStringLiteral("siID"), siID, values)) {
        return 0;
    }
    if (!ctx.db.execute(QStringLiteral("DELETE FROM RecImb WHERE (siID = ?)"), {key}))
        return 0;
    for (const Row &row : rows) {
        if (row.rifCod.isEmpty())
            continue;
        const QVariantMap v{{QStringLiteral("siID"), key},
                            {QStringLiteral("Posizione"), row.posizione},
                            {QStringLiteral("rifCod"), row.rifCod},
                            {QStringLiteral("allAcc"), row.rifCod == codes::splitCode() ? row.allAcc : 0},
                            {QStringLiteral("qta"), row.qta},
                            {QStringLiteral("umi"), row.umi == 2 ? 2 : 1}};
        if (ctx.db.insertRow(QStringLiteral("RecImb"), v) < 0)
            return 0;
    }
    for (const auto &[module, code] : moves)
        if (!ctx.db.execute(QStringLiteral("UPDATE ModImb SET rifCod = ? WHERE (mbID = ?)"), {code, module}))
            return 0;
    return tx.commit(ctx.msg) ? key : 0;
}

bool removeRow(AppContext &ctx, qint64 siID, const Row &row)
{
    if (!fields::confirmDelete(ctx.msg, QStringLiteral("rifiuto selezionato ed i relativi moduli,")))
        return false;
    // The row and the modules left without a row go together.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return false;
    if (row.id > 0 && !ctx.db.execute(QStringLiteral("DELETE FROM RecImb WHERE (riID = ?)"), {row.id}))
        return false;
    if (siID <= 0 || row.rifCod.isEmpty())
        return tx.commit(ctx.msg);
    const bool received = row.posizione < codes::ImbMonomaterial;
    // RT-IMB modules follow the received row of their surface.
    if (received) {
        const int left = ctx.db.scalar(QStringLiteral("SELECT COUNT(riID) FROM RecImb WHERE (siID = ? AND "
                                                      "rifCod = ? AND Posizione = ?)"),
                                       {siID, row.rifCod, row.posizione})
                             .toInt();
        const int surface = surfaceOf(row.posizione);
        if (left == 0
            && !ctx.db.execute(QStringLiteral("DELETE FROM ModImb WHERE (siID = ? AND tipoMod = ? AND rifCod = ? "
                                              "AND mbFlag = ?)"),
                               {siID, int(codes::RT), row.rifCod, surface}))
            return false;
    }
    const int left = ctx.db.scalar(QStringLiteral("SELECT COUNT(riID) FROM RecImb WHERE (siID = ? AND rifCod = ?)"),
                                   {siID, row.rifCod})
                         .toInt();
    if (left == 0
        && !ctx.db.execute(QStringLiteral("DELETE FROM ModImb WHERE (siID = ? AND rifCod = ?)"), {siID, row.rifCod}))
        return false;
    return tx.commit(ctx.msg);
}

bool remove(AppContext &ctx, qint64 siID)
{
    if (siID <= 0 || !fields::confirmDelete(ctx.msg, QStringLiteral("scheda IMB e relativi moduli,")))
        return false;
    return ctx.db.execute(QStringLiteral("DELETE FROM SezImb WHERE (siID = ?)"), {siID});
}

const waste::ModuleKind &module(int tipoMod)
{
    static const QVector<waste::ModuleKind> kinds = [] {
        QVector<waste::ModuleKind> v(5);
        auto from = [](int tipo, const char *title) {
            waste::ModuleKind m = rif::module(tipo);
            m.table = QStringLiteral("ModImb");
            m.key = QStringLiteral("mbID");
            m.parentKey = QStringLiteral("siID");
            m.code += QStringLiteral("-IMB");
            m.title = QString::fromUtf8(title);
            m.listTitle = QStringLiteral("Lista dei moduli ") + m.code;
            m.orderBy = QStringLiteral("mbID");
            m.attach = {QStringLiteral("rifCod")};
            return m;
        };
        auto drop = [](waste::ModuleKind &m, const QStringList &names) {
            for (const QString &n : names)
                m.fields.remove(fields::position(m.fields, n));
        };

        waste::ModuleKind rt = from(codes::RT, "Modulo RT-IMB - Rifiuti di imballaggio ricevuti da terzi");
        rt.attach << QStringLiteral("mbFlag");
        rt.privati = rt.urbanFlag = rt.batteryFrame = false;
        const int frame = fields::position(rt.fields, rt.treatment.first());
        const QString group = rt.fields[frame].group;
        drop(rt, rt.treatment + QStringList{QStringLiteral("Privati"), QStringLiteral("discDep"),
                                            QStringLiteral("disc191")});
        fields::Field t;
        t.name = QStringLiteral("discDep");
        t.caption = QStringLiteral("Trattamento previsto:");
        t.kind = fields::Kind::Option;
        t.options = codes::imbTreatments();
        t.required = QStringLiteral("Attenzione, tipologia di trattamento richiesta.");
        t.group = group;
        rt.fields.insert(fields::position(rt.fields, QStringLiteral("qtaMod")) + 1, t);
        // One choice, open only for waste from abroad; no sum to balance.
        rt.treatment = {QStringLiteral("discDep")};
        rt.treatmentMessage.clear();
        v[codes::RT] = rt;

        waste::ModuleKind dr = from(codes::DR, "Modulo DR-IMB - Rifiuti di imballaggio conferiti a terzi");
        dr.opTable = QStringLiteral("RecModImb");
        v[codes::DR] = dr;

        waste::ModuleKind te = from(codes::TE, "Modulo TE-IMB - Rifiuti di imballaggio trasportati da terzi");
        te.orderBy = QStringLiteral("RagSoc, mbID");
        te.newLine = QStringLiteral("[Nuovo]");
        v[codes::TE] = te;

        waste::ModuleKind mg = from(codes::MG, "Modulo MG-IMB - Operazioni di gestione rifiuti di imballaggio "
                                               "svolte nell'unità locale");
        mg.opTable = QStringLiteral("RecModImb");
        mg.deleteWhat = QStringLiteral("modulo MG-IMB");
        fields::Field multi;
        multi.name = QStringLiteral("mbFlag");
        multi.caption = QStringLiteral("Attività di trattamento imballaggi multimateriale");
        multi.kind = fields::Kind::Check;
        mg.fields.insert(1, multi);
        v[codes::MG] = mg;
        return v;
    }();
    return kinds[tipoMod >= codes::RT && tipoMod <= codes::MG ? tipoMod : codes::RT];
}

waste::Attachment Attachable::attachment() const
{
    waste::Attachment a{{QStringLiteral("rifCod"), rifCod}};
    if (surface >= 0)
        a.insert(QStringLiteral("mbFlag"), surface);
    return a;
}

QVector<Attachable> attachable(AppContext &ctx, qint64 siID, int tipoMod)
{
    QVector<Attachable> out;
    if (tipoMod == codes::RT) {
        QHash<QString, int> counts;
        QSqlQuery c = ctx.db.query(QStringLiteral("SELECT rifCod, mbFlag, COUNT(mbID) AS Moduli FROM ModImb WHERE "
                                                  "(siID = ? AND tipoMod = ?) GROUP BY rifCod, mbFlag ORDER BY rifCod"),
                                   {siID, tipoMod});
        while (c.next())
            counts.insert(c.value(0).toString() + u'/' + QString::number(c.value(1).toInt()), c.value(2).toInt());
        QSqlQuery q = ctx.db.query(
            QStringLiteral("SELECT RecImb.rifCod, RecImb.Posizione, Rifiuti.rifDesc, %1 AS totQta FROM RecImb "
                           "LEFT JOIN Rifiuti ON RecImb.rifCod = Rifiuti.rifCod WHERE (RecImb.siID = ? AND "
                           "RecImb.Posizione < 3) GROUP BY RecImb.rifCod, RecImb.Posizione, Rifiuti.rifDesc "
                           "ORDER BY RecImb.rifCod, RecImb.Posizione")
                .arg(QLatin1String(KgSum)),
            {siID});
        while (q.next()) {
            Attachable a;
            a.rifCod = q.value(0).toString();
            a.surface = q.value(1).toInt() == codes::ImbPublic ? codes::SurfacePublic : codes::SurfacePrivate;
            a.label = a.rifCod + (a.surface == codes::SurfacePublic ? QStringLiteral(" da sup. pubblica")
                                                                    : QStringLiteral(" da sup. privata"))
                      + QStringLiteral(" - ") + q.value(2).toString();
            a.totQta = q.value(3).toLongLong();
            a.moduli = counts.value(a.rifCod + u'/' + QString::number(a.surface));
            out << a;
        }
        return out;
    }
    QHash<QString, int> counts;
    QSqlQuery c = ctx.db.query(QStringLiteral("SELECT rifCod, COUNT(mbID) AS Moduli FROM ModImb WHERE "
                                              "(siID = ? AND tipoMod = ?) GROUP BY rifCod"),
                               {siID, tipoMod});
    while (c.next())
        counts.insert(c.value(0).toString(), c.value(1).toInt());
    QSqlQuery q = ctx.db.query(
        QStringLiteral("SELECT u.Codice, Rifiuti.rifDesc, (SELECT %1 FROM RecImb WHERE (RecImb.siID = ? AND "
                       "RecImb.rifCod = u.Codice)) AS totQta FROM (SELECT DISTINCT Codici.codAlfa AS Codice FROM "
                       "Codici WHERE (Codici.codType = 31) UNION SELECT DISTINCT RecImb.rifCod AS Codice FROM RecImb "
                       "WHERE (RecImb.siID = ?)) u INNER JOIN Rifiuti ON u.Codice = Rifiuti.rifCod ORDER BY u.Codice")
            .arg(QLatin1String(KgSum)),
        {siID, siID});
    while (q.next()) {
        Attachable a;
        a.rifCod = q.value(0).toString();
        a.label = a.rifCod + QStringLiteral(" - ") + q.value(1).toString();
        a.totQta = q.value(2).toLongLong();
        a.moduli = counts.value(a.rifCod);
        out << a;
    }
    return out;
}

QString noWasteMessage() { return QStringLiteral("Nessun rifiuto trovato."); }

QVector<refdata::PickRow> wasteTable(AppContext &ctx)
{
    QVector<refdata::PickRow> out;
    for (const refdata::PickRow &r : refdata::wasteTable(ctx.db)) {
        if (r.code != codes::splitCode()) {
            out << r;
            continue;
        }
        for (int allAcc : {1, 0}) {
            refdata::PickRow metal = r;
            metal.code = displayCode(r.code, allAcc);
            out << metal;
        }
    }
    return out;
}

RowBalance rtRowBalance(AppContext &ctx, qint64 siID, const QString &rifCod, int surface)
{
    const int group = surface == codes::SurfacePrivate ? codes::ImbPrivate : codes::ImbPublic;
    RowBalance b;
    QSqlQuery rows = ctx.db.query(QStringLiteral("SELECT qta, umi FROM RecImb WHERE (siID = ? AND rifCod = ? AND "
                                                 "Posizione = ?)"),
                                  {siID, rifCod, group});
    while (rows.next())
        b.row += qtyKg(rows.value(0), rows.value(1));
    QSqlQuery mods = ctx.db.query(QStringLiteral("SELECT qtaMod, umiMod FROM ModImb WHERE (siID = ? AND tipoMod = ? AND "
                                                 "rifCod = ? AND mbFlag = ?)"),
                                  {siID, int(codes::RT), rifCod, surface});
    while (mods.next())
        b.modules += qtyKg(mods.value(0), mods.value(1));
    return b;
}

} // namespace imb
