#include "sections/stream/stream.h"

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

namespace stream {

namespace {

fields::Field qty(const char *name, const char *unit, const char *caption, const char *group)
{
    return fields::quantity(QString::fromLatin1(name), QString::fromLatin1(unit), QString::fromUtf8(caption),
                            QString::fromUtf8(group));
}

fields::Field check(const char *name, const char *caption, const char *group)
{
    fields::Field f;
    f.name = QString::fromLatin1(name);
    f.caption = QString::fromUtf8(caption);
    f.kind = fields::Kind::Check;
    f.group = QString::fromUtf8(group);
    return f;
}

void materials(fields::Table &t, const QStringList &names)
{
    fields::addMaterials(t, names, QStringLiteral("Materiali secondari"));
}

const char *const Summary = "RIEPILOGO ATTIVITA'";

StreamSpec vfuSpec(int tipo)
{
    static const char *const names[] = {"", "AUT", "ROT", "FRA"};
    static const char *const titles[] = {"", "Scheda AUT - Autodemolizione", "Scheda ROT - Rottamazione",
                                         "Scheda FRA - Frantumazione"};
    StreamSpec s;
    s.name = QString::fromLatin1(names[tipo]);
    s.title = QString::fromUtf8(titles[tipo]);
    s.table = QStringLiteral("SezVfu");
    s.key = QStringLiteral("vfuID");
    s.kindColumn = QStringLiteral("vfuTipo");
    s.kind = tipo;
    s.rowTable = QStringLiteral("RecVfu");
    s.rowKey = QStringLiteral("rvID");
    s.frames = {QStringLiteral("Rifiuti ricevuti da terzi"), QStringLiteral("Rifiuti prodotti dall'impianto")};
    s.rtFrames = codes::VfuReceived;
    s.codType = 3 + tipo; // 4 AUT, 5 ROT, 6 FRA
    s.modTable = QStringLiteral("ModVfu");
    s.modKey = QStringLiteral("mvID");
    s.opTable = QStringLiteral("RecModVfu");
    s.suffix = QStringLiteral("-VEIC");
    const char *auth = "Impianto autorizzato ai sensi del D.Lgs. 152/2006";
    s.fields << check("vfuAut208", "art. 208 (autorizzazione ordinaria)", auth)
             << check("vfuAut216", "art. 216 (procedura semplificata)", auth);
    s.fields << qty("qtaTerzi", "umiTerzi", "Quantità consegnata a terzi", "Destinazione del rifiuto")
             << qty("qtaGiac", "umiGiac", "Giacenza al 31/12", "Destinazione del rifiuto");
    s.fields << qty("qtaProprio", "umiProprio", "Quantità prodotta dall'attività di trattamento", Summary)
             << qty("qtaRecMat", "umiRecMat", "Quantità avviata a recupero di materia", Summary)
             << qty("qtaRecEner", "umiRecEner", "Quantità avviata a recupero di energia", Summary)
             << qty("qtaSmalt", "umiSmalt", "Quantità avviata a smaltimento", Summary);
    if (codes::vehicleSplit1980(tipo))
        // The vehicles of code 160104 split by registration: the fields the
        // verification names "precedente al 1980" and "successivo al 1980".
        s.fields << qty("qta104", "umi104", "Veicoli fuori uso (CER 160104)", "Veicoli trattati")
                 << qty("qtaPre80", "umiPre80", "di cui precedente al 1980", "Veicoli trattati")
                 << qty("qtaPost80", "umiPost80", "di cui successivo al 1980", "Veicoli trattati");
    else if (tipo == Fra)
        s.fields << qty("qtaPost80", "umiPost80", "Quantità di rifiuti da frantumazione (fluff)", Summary);
    materials(s.fields, codes::sectionMaterials(codes::MatKind::Vfu));
    return s;
}

StreamSpec raeeSpec(int tipo)
{
    StreamSpec s;
    s.name = tipo == codes::RaeeTra ? QStringLiteral("TRA-RAEE") : QStringLiteral("CR-RAEE");
    s.title = tipo == codes::RaeeTra ? QStringLiteral("Scheda TRA-RAEE - Impianti di trattamento")
                                     : QStringLiteral("Scheda CR-RAEE - Centri di raccolta");
    s.table = QStringLiteral("SezRaee");
    s.key = QStringLiteral("srID");
    s.kindColumn = QStringLiteral("srTipo");
    s.kind = tipo;
    s.categories = true;
    s.rowTable = QStringLiteral("RecRaee");
    s.rowKey = QStringLiteral("rsrID");
    // A collection centre has one frame: the exchange file carries no frame
    // for its rows, which come back in the first.
    s.frames = {QStringLiteral("Rifiuti ricevuti da terzi")};
    if (tipo == codes::RaeeTra)
        s.frames << QStringLiteral("Rifiuti prodotti nell'unità locale") << QStringLiteral("Rifiuti consegnati a terzi");
    s.rtFrames = qMin(2, int(s.frames.size()));
    s.codType = tipo == codes::RaeeTra ? 21 : 22;
    s.modTable = QStringLiteral("ModRaee");
    s.modKey = QStringLiteral("msrID");
    s.opTable = QStringLiteral("RecModRaee");
    s.suffix = QStringLiteral("-RAEE");
    fields::Field cat;
    cat.name = QStringLiteral("srRAEE");
    cat.caption = QStringLiteral("Categoria RAEE:");
    cat.kind = fields::Kind::Option; // the choices are read from Codici (raeeCategories)
    cat.required = QStringLiteral("Attenzione, categoria RAEE richiesta.");
    s.fields << cat;
    const char *head = "Quantità complessiva";
    s.fields << qty("srQta", "srUmi", "Quantità complessiva di RAEE", head)
             << check("srStima", "Quantità stimata", head)
             << check("srUL", "RAEE prodotti nell'unità locale", head);
    s.fields << qty("qtaGiac", "umiGiac", "Giacenza al 31/12", "Destinazione del rifiuto");
    s.fields << qty("qtaRecMat", "umiRecMat", "Quantità avviata a recupero di materia", Summary)
             << qty("qtaRecEner", "umiRecEner", "Quantità avviata a recupero di energia", Summary)
             << qty("qtaSmalt", "umiSmalt", "Quantità avviata a smaltimento", Summary)
             << qty("qtaAppInt", "umiAppInt", "Apparecchiature intere avviate al reimpiego", Summary);
    // both kinds hand over secondary materials, in the same columns
    materials(s.fields, codes::sectionMaterials(codes::MatKind::Raee));
    return s;
}

// Kilograms in thousandths: unit 1 as it is, any other unit times 1000.
QString kgSum(const QString &table)
{
    return QStringLiteral("SUM(CASE WHEN %1.umi = 1 THEN %1.qta ELSE %1.qta * 1000 END)").arg(table);
}

} // namespace

const StreamSpec &vfu(int vfuTipo)
{
    static const QVector<StreamSpec> v{vfuSpec(Aut), vfuSpec(Aut), vfuSpec(Rot), vfuSpec(Fra)};
    return v[vfuTipo >= Aut && vfuTipo <= Fra ? vfuTipo : Aut];
}

const StreamSpec &raee(int srTipo)
{
    static const QVector<StreamSpec> v{raeeSpec(codes::RaeeTra), raeeSpec(codes::RaeeTra), raeeSpec(codes::RaeeCr)};
    return v[srTipo == codes::RaeeCr ? codes::RaeeCr : codes::RaeeTra];
}

QVector<QPair<int, QString>> raeeCategories(dbClass &db)
{
    QVector<QPair<int, QString>> out;
    for (const refdata::CodeRow &c : refdata::codeList(db, refdata::CodeList::Type91))
        out.append({c.numb, QString::number(c.numb) + QStringLiteral(" - ") + c.desc.trimmed()});
    return out;
}

QString raeeCategoryText(dbClass &db, int srRAEE)
{
    for (const auto &[code, text] : raeeCategories(db))
        if (code == srRAEE)
            return text;
    return {};
}

int framePosition(const StreamSpec &s, int posizione)
{
    return qBound(1, posizione, int(s.frames.size()));
}

QVector<qint64> ids(AppContext &ctx, const StreamSpec &s, qint64 saID)
{
    QVector<qint64> out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT %1 FROM %2 WHERE (saID = ? AND %3 = ?) ORDER BY %4%1")
                                   .arg(s.key, s.table, s.kindColumn,
                                        s.categories ? QStringLiteral("srRAEE, ") : QString()),
                               {saID, s.kind});
    while (q.next())
        out << q.value(0).toLongLong();
    return out;
}

fields::Record blank(const StreamSpec &s)
{
    fields::Record r;
    for (const fields::Field &f : s.fields) {
        if (f.kind == fields::Kind::Quantity) {
            r.insert(f.name, qlonglong(0));
            r.insert(f.name2, 1);
        } else {
            r.insert(f.name, 0);
        }
    }
    return r;
}

fields::Record load(AppContext &ctx, const StreamSpec &s, qint64 id)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM %1 WHERE (%2 = ?)").arg(s.table, s.key), {id});
    return q.next() ? fromRow(s, dbClass::rowMap(q)) : blank(s);
}

fields::Record fromRow(const StreamSpec &s, const QVariantMap &row)
{
    fields::Record r = fields::fromStore(s.fields, row);
    fields::defaultQuantities(s.fields, r);
    for (const fields::Field &f : s.fields)
        if (f.kind != fields::Kind::Quantity && r.value(f.name).isNull())
            r.insert(f.name, 0);
    return r;
}

QVector<Row> loadRows(AppContext &ctx, const StreamSpec &s, qint64 id)
{
    QVector<Row> out;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT %1, Posizione, rifCod, qta, umi FROM %2 WHERE (%3 = ?) "
                                              "ORDER BY Posizione, rifCod")
                                   .arg(s.rowKey, s.rowTable, s.key),
                               {id});
    while (q.next()) {
        Row r;
        r.id = q.value(0).toLongLong();
        r.posizione = framePosition(s, q.value(1).toInt());
        r.rifCod = q.value(2).toString();
        r.qta = q.value(3).toLongLong();
        r.umi = q.value(4).toInt() == 2 ? 2 : 1;
        out << r;
    }
    return out;
}

QString notAdmittedMessage(const StreamSpec &s)
{
    return QStringLiteral("Attenzione, codice rifiuto non ammesso nella scheda ") + s.name + u'.';
}

bool codeEntry(AppContext &ctx, const StreamSpec &s, int posizione, const QString &code, const QVector<Row> &rows)
{
    if (!refdata::wasteCodeExists(ctx.db, code)) {
        ctx.msg.information(QStringLiteral("Attenzione, codice rifiuto errato."));
        return false;
    }
    if (!refdata::wasteCodeSelectable(code, ctx.app.wasteCodeLevel(), false, ctx.msg))
        return false;
    const bool admitted = ctx.db
                              .scalar(QStringLiteral("SELECT COUNT(*) FROM Codici WHERE (codType = ? AND codAlfa = ?)"),
                                      {s.codType, code})
                              .toInt()
                          > 0;
    if (!admitted) {
        ctx.msg.information(notAdmittedMessage(s));
        return false;
    }
    for (const Row &r : rows)
        if (r.posizione == posizione && r.rifCod == code) {
            ctx.msg.information(QStringLiteral("Attenzione, codice rifiuto già presente nella sezione."));
            return false;
        }
    return true;
}

int saveCheck(AppContext &ctx, const StreamSpec &s, qint64 saID, qint64 id, const fields::Record &r,
              const QVector<Row> &rows)
{
    const int big = waste::firstTooLarge(s.fields, r);
    if (big >= 0) {
        ctx.msg.information(waste::tooLargeMessage());
        return big;
    }
    for (int i = 0; i < rows.size(); ++i)
        if (rows[i].qta > Qty::FileMaxMilli || rows[i].qta < -Qty::FileMaxMilli) {
            ctx.msg.information(waste::tooLargeMessage());
            return int(s.fields.size()) + i;
        }
    const int noUnit = fields::firstUnitMissing(s.fields, r, ctx.msg);
    if (noUnit >= 0)
        return noUnit;
    for (int i = 0; i < rows.size(); ++i)
        if (rows[i].qta != 0 && rows[i].umi != 1 && rows[i].umi != 2) {
            ctx.msg.information(fields::unitMissingMessage(rows[i].rifCod));
            return int(s.fields.size()) + i;
        }
    if (s.categories) {
        const int cat = r.value(QStringLiteral("srRAEE")).toInt();
        const int pos = fields::position(s.fields, QStringLiteral("srRAEE"));
        if (cat <= 0) {
            ctx.msg.information(s.fields[pos].required);
            return pos;
        }
        const int other = ctx.db
                              .scalar(QStringLiteral("SELECT COUNT(srID) FROM SezRaee WHERE (saID = ? AND srTipo = ? "
                                                     "AND srRAEE = ? AND srID <> ?)"),
                                      {saID, s.kind, cat, id})
                              .toInt();
        if (other > 0) {
            ctx.msg.information(QStringLiteral("Attenzione, scheda ") + s.name
                                + QStringLiteral(" già presente per la categoria indicata."));
            return pos;
        }
    } else if (id == 0 && !ids(ctx, s, saID).isEmpty()) {
        ctx.msg.information(QStringLiteral("Attenzione, scheda ") + s.name
                            + QStringLiteral(" già presente nella dichiarazione."));
        return 0;
    }
    return -1;
}

namespace {

// Modules of a stored row whose code was changed follow the new code; rows
// of the received frames make one group for the RT modules.
QVector<QPair<qint64, QString>> followingModules(AppContext &ctx, const StreamSpec &s, qint64 id,
                                                 const QVector<Row> &rows)
{
    QVector<waste::EditedRow> edited;
    for (const Row &r : rows)
        edited.append({r.id, framePosition(s, r.posizione) <= s.rtFrames ? 1 : 0, r.rifCod});
    return waste::followingModules(ctx.db, {s.rowTable, s.rowKey, s.key, s.modTable, s.modKey}, id, edited,
                                   [](int) { return QPair<QString, QVariantList>(); });
}

} // namespace

qint64 save(AppContext &ctx, const StreamSpec &s, qint64 saID, qint64 id, const fields::Record &r,
            const QVector<Row> &rows)
{
    const QVector<QPair<qint64, QString>> moves = followingModules(ctx, s, id, rows);
    const QVariantMap values = fields::storeValues(s.fields, r);
    // The scheda, its rows and the modules that follow them: all or nothing.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return 0;
    qint64 key = id;
    if (id == 0) {
        QVariantMap v = values;
        v.insert(QStringLiteral("saID"), saID);
        v.insert(s.kindColumn, s.kind);
        key = ctx.db.insertRow(s.table, v);
        if (key <= 0)
            return 0;
    } else if (!ctx.db.updateRow(s.table, s.key, id, values)) {
        return 0;
    }
    if (!ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(s.rowTable, s.key), {key}))
        return 0;
    for (const Row &row : rows) {
        if (row.rifCod.isEmpty())
            continue;
        const QVariantMap v{{s.key, key},
                            {QStringLiteral("Posizione"), framePosition(s, row.posizione)},
                            {QStringLiteral("rifCod"), row.rifCod},
                            {QStringLiteral("qta"), row.qta},
                            {QStringLiteral("umi"), row.umi == 2 ? 2 : 1}};
        if (ctx.db.insertRow(s.rowTable, v) < 0)
            return 0;
    }
    for (const auto &[module, code] : moves)
        if (!ctx.db.execute(QStringLiteral("UPDATE %1 SET rifCod = ? WHERE (%2 = ?)").arg(s.modTable, s.modKey),
                            {code, module}))
            return 0;
    return tx.commit(ctx.msg) ? key : 0;
}

bool removeRow(AppContext &ctx, const StreamSpec &s, qint64 id, const Row &row)
{
    if (!fields::confirmDelete(ctx.msg, QStringLiteral("rifiuto selezionato ed i relativi moduli,")))
        return false;
    // The row and the modules left without a row go together.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return false;
    if (row.id > 0
        && !ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(s.rowTable, s.rowKey), {row.id}))
        return false;
    if (id <= 0 || row.rifCod.isEmpty())
        return tx.commit(ctx.msg);
    // RT modules follow the received rows of the code, the others any row.
    const int leftReceived = ctx.db.scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE (%2 = ? AND rifCod = ? AND "
                                                          "Posizione <= ?)")
                                               .arg(s.rowTable, s.key),
                                           {id, row.rifCod, s.rtFrames})
                                 .toInt();
    if (leftReceived == 0
        && !ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ? AND rifCod = ? AND tipoMod = ?)")
                               .arg(s.modTable, s.key),
                           {id, row.rifCod, int(codes::RT)}))
        return false;
    const int left = ctx.db.scalar(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE (%2 = ? AND rifCod = ?)")
                                       .arg(s.rowTable, s.key),
                                   {id, row.rifCod})
                         .toInt();
    if (left == 0
        && !ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ? AND rifCod = ?)").arg(s.modTable, s.key),
                           {id, row.rifCod}))
        return false;
    return tx.commit(ctx.msg);
}

bool remove(AppContext &ctx, const StreamSpec &s, qint64 id)
{
    if (id <= 0
        || !fields::confirmDelete(ctx.msg, QStringLiteral("scheda ") + s.name + QStringLiteral(" e relativi moduli,")))
        return false;
    // The modules go first, by their scheda key; their rows follow them.
    dbTransaction tx(ctx.db.current());
    if (!tx.isActive(ctx.msg))
        return false;
    if (!ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(s.modTable, s.key), {id})
        || !ctx.db.execute(QStringLiteral("DELETE FROM %1 WHERE (%2 = ?)").arg(s.table, s.key), {id}))
        return false;
    return tx.commit(ctx.msg);
}

const waste::ModuleKind &module(const StreamSpec &s, int tipoMod)
{
    // Built once per scheda kind: VFU 1..3, RAEE 1..2.
    static QHash<QString, QVector<waste::ModuleKind>> built;
    auto it = built.find(s.name);
    if (it == built.end()) {
        QVector<waste::ModuleKind> v(5);
        static const char *const what[] = {"", "ricevuti da terzi", "conferiti a terzi", "trasportati da terzi",
                                           "- Operazioni di gestione svolte nell'unità locale"};
        for (int t = codes::RT; t <= codes::MG; ++t) {
            waste::ModuleKind m = rif::module(t);
            m.table = s.modTable;
            m.key = s.modKey;
            m.parentKey = s.key;
            m.code += s.suffix;
            m.title = QStringLiteral("Modulo ") + m.code + QStringLiteral(" - ")
                      + (t == codes::MG ? QStringLiteral("Scheda ") + s.name + u' ' + QString::fromUtf8(what[t])
                                        : QStringLiteral("Rifiuti ") + QString::fromUtf8(what[t]));
            m.listTitle = QStringLiteral("Lista dei moduli ") + m.code;
            // TE as TE-IMB: carriers by name, the list ending with "[Nuovo]".
            m.orderBy = t == codes::TE ? QStringLiteral("RagSoc, ") + s.modKey : s.modKey;
            if (t == codes::TE)
                m.newLine = QStringLiteral("[Nuovo]");
            m.attach = {QStringLiteral("rifCod")};
            // No private persons, no urban-origin or battery frame in these sections.
            if (t == codes::RT) {
                m.privati = m.urbanFlag = m.batteryFrame = false;
                for (const char *n : {"Privati", "discDep", "disc191"})
                    m.fields.remove(fields::position(m.fields, QString::fromLatin1(n)));
            }
            if (t == codes::DR || t == codes::MG)
                m.opTable = s.opTable;
            v[t] = m;
        }
        it = built.insert(s.name, std::move(v));
    }
    // Read through at(): the vector is never detached, so the reference stays valid.
    return it->at(tipoMod >= codes::RT && tipoMod <= codes::MG ? tipoMod : codes::RT);
}

QVector<Attachable> attachable(AppContext &ctx, const StreamSpec &s, qint64 id, int tipoMod)
{
    QVector<Attachable> out;
    QHash<QString, int> counts;
    QSqlQuery c = ctx.db.query(QStringLiteral("SELECT rifCod, COUNT(%1) FROM %2 WHERE (%3 = ? AND tipoMod = ?) "
                                              "GROUP BY rifCod")
                                   .arg(s.modKey, s.modTable, s.key),
                               {id, tipoMod});
    while (c.next())
        counts.insert(c.value(0).toString(), c.value(1).toInt());
    const int maxPos = tipoMod == codes::RT ? s.rtFrames : 99;
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT %1.rifCod, Rifiuti.rifDesc, %2 FROM %1 LEFT JOIN Rifiuti ON "
                                              "%1.rifCod = Rifiuti.rifCod WHERE (%1.%3 = ? AND %1.Posizione <= ?) "
                                              "GROUP BY %1.rifCod, Rifiuti.rifDesc ORDER BY %1.rifCod")
                                   .arg(s.rowTable, kgSum(s.rowTable), s.key),
                               {id, maxPos});
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

} // namespace stream
