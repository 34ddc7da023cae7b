#include "print/schedeprint.h"

#include "print/fieldprint.h"
#include "print/printcommon.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/int/int.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "sections/stream/stream.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "sections/mat/mat.h"
#include "shell/qty.h"
#include "shell/tree/tree.h"

#include <QHash>
#include <QMap>
#include <QSqlQuery>
#include <algorithm>
#include <functional>
#include <tuple>

namespace print {
namespace {

// Physical state flags of a scheda RIF, in the order of the form.
const std::pair<const char *, const char *> physicalStates[] = {
    {"sfSolidoP", "Solido polverulento"},  {"sfSolidoNP", "Solido non polverulento"},
    {"sfFangoso", "Fangoso palabile"},     {"sfLiquido", "Liquido"},
    {"sfAeriforme", "Aeriforme"},          {"sfVischioso", "Vischioso e sciropposo"},
    {"sfAltro", "Altro"},
};

QString u8(const char *s) { return QString::fromUtf8(s); }

// Reads one row of the declaration tree by column name.
struct Row {
    const tree::Node &n;
    QVariant value(const char *c) const { return n.value(QLatin1String(c)); }
    QString text(const char *c) const { return value(c).toString().trimmed(); }
    int num(const char *c) const { return value(c).toInt(); }
    QString flag(const char *c) const { return num(c) != 0 ? QStringLiteral("X") : QString(); }
    QString qty(const char *q_, const char *u) const { return quantityText(value(q_), value(u)); }
};

FormField heading(const QString &text) { return {text, {}, 0}; }
FormField heading(const char *text) { return heading(u8(text)); }

void appendPhysicalState(FormFrame &f, const Row &r)
{
    f.rows.append({heading("STATO FISICO")});
    FormRow states;
    for (const auto &[column, caption] : physicalStates) {
        states.append({u8(caption), r.flag(column), 38});
        if (states.size() == 4) {
            f.rows.append(states);
            states.clear();
        }
    }
    f.rows.append(states);
}

QString number(const Row &r, const char *column)
{
    const QVariant v = r.value(column);
    return v.isNull() || v.toLongLong() == 0 ? QString() : Qty::fromInt(v.toLongLong()).format(0);
}

// Operation codes of a Codici type in list order.
QStringList operationCodes(dbClass &db, int type)
{
    QStringList codes;
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = ?) ORDER BY codNumb"), {type},
                           dbClass::Which::Current, &ok);
    while (ok && q.next())
        codes.append(q.value(0).toString().trimmed());
    return codes;
}

// The columns of an ORDER BY list, "rifCod, mbFlag, mbID".
QStringList columnList(const QString &order)
{
    return order.split(u',', Qt::SkipEmptyParts).replaceInStrings(QStringLiteral(" "), QString());
}

// The rows of a table under n in the order of an ORDER BY list of its
// columns (empty: by key).
std::vector<const tree::Node *> rowsOf(const tree::Node &n, const QString &table, const QString &order = {})
{
    return tree::sortedChildren(n, table, columnList(order));
}

// A value of a row by column name.
QVariant at(const tree::Node *row, const char *column) { return row->value(QLatin1String(column)); }

// Whether a stored value equals a number as the store compares them (a null
// or a text equals none).
bool isNumber(const QVariant &v, qint64 n) { return tree::compareValues(v, QVariant(n)) == 0; }

// Waste descriptions by code, each read once.
class Descriptions {
public:
    explicit Descriptions(dbClass &db) : ctx_{db.app(), db, db.messages()} {}
    QString of(const QVariant &code)
    {
        const QString key = code.toString();
        auto it = known_.constFind(key);
        if (it == known_.cend())
            it = known_.insert(key, waste::wasteDescription(ctx_, key).trimmed());
        return *it;
    }

private:
    AppContext ctx_;
    QHash<QString, QString> known_;
};

// Where the modules of a scheda kind come from: the kind of each type
// (tipoMod 1..types) and the order they are listed and numbered in within
// their type, that of the exchange file.
struct ModuleFamily {
    std::function<const waste::ModuleKind &(int)> kind;
    int types = 0;
    QString order; // empty: the kind's own order
};

// The grids of operation rows of a module as its form shows them: an MG
// module has one per tab, each printed before the frame sharing its tab
// (named by one of its fields); a DR module of the special streams has one
// grid of destination operations under its fields.
struct OperationGrid {
    int posizione; // the rows' Posizione; 0: every row
    QString heading;
    const char *frameOf; // nullptr: after the fields
};

QList<OperationGrid> gridsOf(const waste::ModuleKind &m)
{
    if (m.operations)
        return {{codes::GridRecupero, codes::mgGridHeading(codes::GridRecupero), "qtaDep"},
                {codes::GridSmaltimento, codes::mgGridHeading(codes::GridSmaltimento), "qtaDep"},
                {codes::GridSmaltimento191, codes::mgGridHeading(codes::GridSmaltimento191), "qta191"}};
    if (!m.opTable.isEmpty())
        return {{0, codes::destinationGridHeading(), nullptr}};
    return {};
}

// The MG grid an operation row prints in: the one its Posizione names, as
// long as the code is of the grid's kind (R recovery, D disposal); rows
// written with a running Posizione go by the kind of their code.
int mgGridOf(const waste::OpRow &o)
{
    const bool recovery = o.codice.trimmed().startsWith(u'R');
    if (o.posizione == codes::GridRecupero && recovery)
        return codes::GridRecupero;
    if ((o.posizione == codes::GridSmaltimento || o.posizione == codes::GridSmaltimento191) && !recovery)
        return o.posizione;
    return recovery ? codes::GridRecupero : codes::GridSmaltimento;
}

// A grid's rows, three operations with their quantities a line, the
// captions on the first line only.
void appendGrid(FormFrame &f, const OperationGrid &g, const QVector<waste::OpRow> &ops)
{
    f.rows.append({heading(g.heading)});
    FormRow row;
    for (const waste::OpRow &o : ops) {
        if (g.posizione != 0 && mgGridOf(o) != g.posizione)
            continue;
        const bool first = f.rows.last().size() == 1; // still the line under the heading
        row.append({first ? u8("Operazione") : QString(), o.codice.trimmed(), 20});
        row.append({first ? u8("Quantità") : QString(), quantityText(o.qta, o.umi), 33});
        if (row.size() == 6) {
            f.rows.append(row);
            row.clear();
        }
    }
    if (!row.isEmpty())
        f.rows.append(row);
}

// One module as its form shows it: number (and, for the modules tied to a
// waste code of their scheda, that code and an RT-IMB module's surface), the
// fields by frame, the operation grids. Both sides of Italia/Estero print; a
// frame the form opens only for other waste codes (urban origin, portable
// batteries) prints only when it holds a value.
FormFrame moduleFrame(dbClass &db, const waste::ModuleKind &m, const tree::Node &module, int number,
                      const QString &code, const QVariantMap &attached, const QString &subject)
{
    const fields::Record r = waste::fromRow(m, rowMap(module));
    FormFrame f{subject, {{heading(m.title)}}};
    f.part = subject;
    FormRow head{boxedField(u8("n° progressivo Modulo ") + m.code, QString::number(number), 12)};
    if (!attached.isEmpty())
        head.append(boxedField(u8("Codice rifiuto:"), code, 18));
    if (attached.contains(QStringLiteral("mbFlag")))
        head.append(boxedField(u8("Provenienza"), imbSurface(attached.value(QStringLiteral("mbFlag")).toInt()), 30));
    // a field prints unless its frame is for other waste codes (and it is empty)
    fields::Record italy = r, abroad = r;
    italy.insert(QStringLiteral("Privati"), 0);
    italy.insert(QStringLiteral("estero"), int(waste::SideItalia));
    abroad.insert(QStringLiteral("Privati"), 0);
    abroad.insert(QStringLiteral("estero"), int(waste::SideEstero));
    const auto open = [&](const fields::Field &x) {
        return waste::fieldEnabled(m, code, italy, x.name) || waste::fieldEnabled(m, code, abroad, x.name);
    };
    QList<OperationGrid> grids = gridsOf(m);
    QVector<waste::OpRow> ops;
    if (!grids.isEmpty() && !m.opTable.isEmpty())
        for (const tree::Node *o : rowsOf(module, m.opTable, QStringLiteral("Posizione, Codice")))
            ops.append(waste::opRow(at(o, "Posizione"), at(o, "Codice"), at(o, "qta"), at(o, "umi")));
    const QList<FieldFrame> frames = fieldFrames(db, m.fields, r, open);
    for (int i = 0; i < frames.size(); ++i) {
        const FieldFrame &g = frames.at(i);
        while (!grids.isEmpty() && grids.first().frameOf) {
            const fields::Field *x = fields::find(m.fields, QString::fromLatin1(grids.first().frameOf));
            if (!x || x->group != g.group)
                break;
            appendGrid(f, grids.takeFirst(), ops);
        }
        if (i == 0 && g.title.isEmpty()) {
            // the fields outside any frame stand beside the number
            head.append(g.fields);
            continue;
        }
        if (!g.title.isEmpty())
            f.rows.append({heading(g.title)});
        f.rows.append(packed(g.fields));
    }
    f.rows = f.rows.mid(0, 1) + packed(head) + f.rows.mid(1);
    for (const OperationGrid &g : grids)
        appendGrid(f, g, ops);
    return f;
}

// The modules of a scheda by type, numbered within their type (and, where
// each module names its own waste code, within that code and its place of
// origin) as the verification report numbers them. `code`: the scheda's
// waste code (RIF, INT); empty where each module names its own. `scheda`:
// the scheda as the headings name it, "Scheda RIF codice: 010101".
void appendModules(dbClass &db, const ModuleFamily &family, const tree::Node &parent, const QString &code,
                   const QString &scheda, QList<FormFrame> *frames)
{
    for (int type = 1; type <= family.types; ++type) {
        const waste::ModuleKind &m = family.kind(type);
        const QStringList &attach = m.attach;
        int n = 0;
        QVariantMap previous;
        for (const tree::Node *module : rowsOf(parent, m.table, family.order.isEmpty() ? m.orderBy : family.order)) {
            if (!isNumber(at(module, "tipoMod"), type))
                continue;
            QVariantMap attached;
            for (const QString &a : attach)
                attached.insert(a, module->value(a));
            if (attached != previous)
                n = 0;
            previous = attached;
            const QString own = attached.value(QStringLiteral("rifCod")).toString().trimmed();
            const QString subject = (attach.isEmpty() ? scheda : scheda + QStringLiteral(" codice rifiuto: ") + own)
                                    + QStringLiteral(" modulo ") + m.code + QStringLiteral(" n. ")
                                    + QString::number(++n);
            frames->append(moduleFrame(db, m, *module, n, attach.isEmpty() ? code : own, attached, subject));
        }
    }
}

// The waste rows of a frame of a scheda: code, description, quantity, the
// captions on the first line only.
struct WasteRow {
    QString code, description, quantity;
};
FormFrame wasteRowsFrame(const QString &title, const QList<WasteRow> &rows)
{
    FormFrame f{title, {}};
    for (const WasteRow &w : rows) {
        const bool first = f.rows.isEmpty();
        f.rows.append({{first ? u8("Cod. CER") : QString(), w.code, 18},
                       {first ? u8("Descrizione") : QString(), w.description, 122},
                       {first ? u8("Quantità") : QString(), w.quantity, 30}});
    }
    return f;
}

// The frames from `first` on make up one scheda called `name`: the first is
// its line in the index; those not of a module of it belong to the scheda.
void markScheda(QList<FormFrame> *frames, qsizetype first, const QString &name)
{
    if (first >= frames->size())
        return;
    (*frames)[first].index = name;
    for (qsizetype i = first; i < frames->size(); ++i)
        if ((*frames)[i].part.isEmpty())
            (*frames)[i].part = name;
}

// A scheda of the vehicle or electrical-equipment section: number and the
// fields outside any frame, the waste rows of each of its frames, its own
// frames of fields, then its modules.
void streamFrames(dbClass &db, const stream::StreamSpec &s, const tree::Node &declaration, QList<FormFrame> *frames)
{
    // by category (RAEE), then key
    std::vector<const tree::Node *> schede;
    for (const tree::Node *n : rowsOf(declaration, s.table, s.categories ? QStringLiteral("srRAEE") : QString()))
        if (isNumber(n->value(s.kindColumn), s.kind))
            schede.push_back(n);
    Descriptions descriptions(db);
    int number = 0;
    for (const tree::Node *scheda : schede) {
        const qsizetype first = frames->size();
        // a kind with several schede (one per RAEE category) numbers them
        const QString name = u8("Scheda ") + s.name
                             + (schede.size() > 1 ? u8(" n. ") + QString::number(number + 1) : QString());
        const fields::Record r = stream::fromRow(s, rowMap(*scheda));
        FormRow head{boxedField(u8("n° progressivo Scheda ") + s.name, QString::number(++number), 12)};
        QList<FieldFrame> groups = fieldFrames(db, s.fields, r);
        if (!groups.isEmpty() && groups.first().title.isEmpty())
            head.append(groups.takeFirst().fields);
        frames->append({s.title, packed(head), true});

        // by frame; a Posizione past the scheda's frames counts as its last
        QMap<int, QList<WasteRow>> rows;
        for (const tree::Node *w : rowsOf(*scheda, s.rowTable, QStringLiteral("Posizione, rifCod"))) {
            const QVariant code = at(w, "rifCod");
            rows[std::clamp(at(w, "Posizione").toInt(), 1, int(s.frames.size()))].append(
                {code.toString().trimmed(), descriptions.of(code), quantityText(at(w, "qta"), at(w, "umi"))});
        }
        for (auto it = rows.cbegin(); it != rows.cend(); ++it)
            frames->append(wasteRowsFrame(s.frames.at(it.key() - 1), it.value()));
        for (const FieldFrame &g : groups)
            frames->append({g.title, packed(g.fields)});

        const ModuleFamily family{[&s](int t) -> const waste::ModuleKind & { return stream::module(s, t); },
                                  codes::MG, QStringLiteral("rifCod, ") + s.modKey};
        appendModules(db, family, *scheda, {}, name, frames);
        markScheda(frames, first, name);
    }
}

} // namespace

QString issuingBody(int code)
{
    switch (code) {
    case 1: return u8("Provincia");
    case 2: return u8("Regione");
    case 3: return u8("Ministero Ambiente ");
    default: return {};
    }
}

QString authorisationType(int code)
{
    static const char *const types[] = {
        "Autorizzazione unica per nuovi impianti di recupero/smaltimento - Art.208 del D.Lgs. n. 152/2006 e s.m.i.",
        "Autorizzazione all'esercizio di operazioni di recupero e/o smaltimento di rifiuti con impianti mobili",
        "Autorizzazione al trattamento di rifiuti liquidi in impianti di trattamento di acque reflue urbane",
        "Autorizzazione alla realizzazione di impianti di ricerca e sperimentazione",
        "Autorizzazione Integrata Ambientale - Art. 29-ter e Art. 213 del D.Lgs. 152/2006 e s.m.i.",
        "Oper. di recupero mediante Comunicazione in \"Procedura Semplificata\" e autorizzazione unica ambientale "
        "(AUA)",
    };
    return code >= 1 && code <= 6 ? u8(types[code - 1]) : QString();
}

QString tickedOperations(const QString &stored, const QStringList &codes)
{
    const QString flags = (stored + QStringLiteral("000000000000000")).left(15);
    QStringList ticked;
    for (int i = 0; i < codes.size() && i < flags.size(); ++i)
        if (flags.at(i) == u'1')
            ticked.append(codes.at(i));
    return ticked.join(QStringLiteral(", "));
}

bool withDeclaration(dbClass &db, qint64 saID, const std::function<bool(const tree::Node &)> &build)
{
    tree::Reader reader(db.database(dbClass::Which::Current));
    reader.select({saID});
    const tree::Node *declaration = reader.next();
    if (reader.failed())
        db.messages().errorReport({}, reader.errorCode(), reader.error(), QStringLiteral("print.withDeclaration"));
    return declaration && build(*declaration);
}

QVariantMap rowMap(const tree::Node &row)
{
    QVariantMap m;
    for (qsizetype i = 0; i < qsizetype(row.table->columns.size()); ++i)
        m.insert(row.table->columns.at(i).name, row.values.value(i));
    return m;
}

bool saAutFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return saAutFrames(db, d, frames); });
}

bool saAutFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    const QStringList recovery = operationCodes(db, 1), disposal = operationCodes(db, 2);
    int n = 0;
    // in order of key, as the tree holds them
    for (const tree::Node *row : declaration.children) {
        if (row->table->name != QLatin1String("SaAut"))
            continue;
        const Row r{*row};
        const auto amount = [&r](const char *column, const char *unit) {
            const QString n = number(r, column);
            return n.isEmpty() ? n : n + u' ' + u8(unit);
        };
        const QString name = u8("Scheda SA-AUT n. ") + QString::number(++n);
        FormFrame f{name + u8(" - Autorizzazioni"), {}};
        f.rows.append({{u8("n° progressivo Scheda SA-AUT"), QString::number(n), 40},
                       {u8("Estremi dell'autorizzazione"), r.text("suEstremi"), 60},
                       {u8("Data di rilascio"), italianDate(r.text("suDataRil")), 32},
                       {u8("Data di scadenza"), italianDate(r.text("suDataScad")), 32}});
        f.rows.append({{u8("Ente di rilascio"), issuingBody(r.num("suEnte")), 60},
                       {u8("Rinnovo con autocertificazione"), r.flag("suRinnovo"), 10}});
        f.rows.append({{u8("Tipo di autorizzazione"), authorisationType(r.num("suTipo")), 176}});
        f.rows.append({{u8("Veicoli fuori uso"), r.flag("suVFU"), 25}, {u8("RAEE"), r.flag("suRAEE"), 25},
                       {u8("Incenerimento"), r.flag("Incenerimento"), 25},
                       {u8("Coincenerimento"), r.flag("Coincenerimento"), 25}});
        f.rows.append({heading("Operazioni di recupero/smaltimento contenute nell'autorizzazione")});
        f.rows.append({{u8("Recupero"), tickedOperations(r.text("suRecupero"), recovery), 176}});
        f.rows.append({{u8("Smaltimento"), tickedOperations(r.text("suSmaltimento"), disposal), 176}});
        // a block prints when ticked or when it holds a capacity
        for (const auto &[flag, total, hazardous, other] :
             {std::tuple{"Incenerimento", "incQta", "incRifP", "incRifNP"},
              std::tuple{"Coincenerimento", "conQta", "conRifP", "conRifNP"}}) {
            const FormRow row{{u8(flag) + u8(": capacità autorizzata"), amount(total, "t/anno"), 55},
                              {u8("di cui rifiuti pericolosi"), amount(hazardous, "t/anno"), 55},
                              {u8("di cui rifiuti non pericolosi"), amount(other, "t/anno"), 55}};
            if (r.num(flag) != 0
                || std::any_of(row.cbegin(), row.cend(), [](const FormField &x) { return !x.value.isEmpty(); }))
                f.rows.append(row);
        }
        // landfills: the class each pair holds, with its residual capacity
        QList<FormRow> landfills;
        for (const auto &[cls, qta] : {std::pair{"crClass1", "crQta1"}, {"crClass2", "crQta2"}, {"crClass3", "crQta3"}}) {
            const int code = r.num(cls);
            const QString capacity = amount(qta, "m³");
            if (code == 0 && capacity.isEmpty())
                continue;
            const QString text = codes::landfillText(code);
            landfills.append({{u8("Classe di discarica"), text.isEmpty() ? QString::number(code) : text, 110},
                              {u8("Capacità residua"), capacity, 55}});
        }
        if (!landfills.isEmpty()) {
            f.rows.append({heading("Discarica")});
            f.rows.append(landfills);
        }
        f.rows.append({{u8("Registrazione EMAS: data"), italianDate(r.text("emasData")), 40},
                       {u8("numero"), r.text("emasNumb"), 40},
                       {u8("Certificazione ISO 14000: data"), italianDate(r.text("iso14000")), 45}});
        f.part = name;
        f.index = name;
        frames->append(f);
    }
    return true;
}

bool matFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return matFrames(db, d, frames); });
}

bool matFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    const fields::Record materials = mat::fromRow(rowMap(declaration));
    if (!mat::present(materials))
        return true;
    const qsizetype first = frames->size();
    for (const FieldFrame &g : fieldFrames(db, mat::schedaFields(), materials))
        frames->append({u8("Scheda MAT - ") + g.title, packed(g.fields)});
    markScheda(frames, first, u8("Scheda MAT"));
    return true;
}

bool intFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return intFrames(db, d, frames); });
}

bool intFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    const ModuleFamily modules{intsec::module, codes::UD, {}};
    Descriptions descriptions(db);
    int number = 0;
    for (const tree::Node *scheda : rowsOf(declaration, QStringLiteral("SezInt"), QStringLiteral("rifCod"))) {
        const Row r{*scheda};
        const qsizetype first = frames->size();
        const QString name = u8("Scheda INT codice: ") + r.text("rifCod");
        FormFrame f{u8("Scheda INT - Totale rifiuti commercializzati ed intermediati senza detenzione"), {}};
        f.rows.append({{u8("n° progressivo Scheda INT"), QString::number(++number), 35},
                       {u8("Codice rifiuto:"), r.text("rifCod"), 25},
                       {u8("Descrizione"), descriptions.of(r.value("rifCod")), 110}});
        appendPhysicalState(f, r);
        f.rows.append({{u8("Quantità complessivamente intermediata:"), r.qty("intQta", "intUmi"), 55}});
        frames->append(f);
        appendModules(db, modules, *scheda, r.text("rifCod"), name, frames);
        markScheda(frames, first, name);
    }
    return true;
}

QString imbSurface(int mbFlag)
{
    return mbFlag == codes::SurfacePrivate ? u8("da sup. privata") : u8("da sup. pubblica");
}

bool imbFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return imbFrames(db, d, frames); });
}

bool imbFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    // secondary materials, msQta01.. in the order of the codes module
    const QStringList &materials = codes::imbMaterials();
    const ModuleFamily modules{imb::module, codes::MG, QStringLiteral("rifCod, mbFlag, mbID")};
    Descriptions descriptions(db);
    for (const tree::Node *scheda : rowsOf(declaration, QStringLiteral("SezImb"))) {
        const Row r{*scheda};
        const qsizetype first = frames->size();
        frames->append({u8("Scheda IMB - Gestione rifiuti da imballaggio"),
                        {{heading("COMUNICAZIONE IMBALLAGGI")}, {heading("Sezione gestori rifiuti di imballaggio")}},
                        true});
        const std::vector<const tree::Node *> wasteRows = rowsOf(*scheda, QStringLiteral("RecImb"));
        for (int g = 1; g <= 4; ++g) {
            QList<WasteRow> group;
            for (const tree::Node *w : wasteRows) {
                if (!isNumber(at(w, "Posizione"), g))
                    continue;
                const QVariant code = at(w, "rifCod");
                group.append({imb::displayCode(code.toString().trimmed(), at(w, "allAcc").toInt()),
                              descriptions.of(code), quantityText(at(w, "qta"), at(w, "umi"))});
            }
            if (!group.isEmpty())
                frames->append(wasteRowsFrame(imb::groupCaption(g), group));
        }
        frames->append({u8("Destinazione del rifiuto"),
                        {{{u8("Rifiuto consegnato a terzi: Quantità consegnata a terzi"), r.qty("qtaTerzi", "umiTerzi"), 70},
                          {u8("Rifiuti in giacenza al 31/12"), r.qty("qtaGiac", "umiGiac"), 55}}}});
        FormFrame ms{u8("Materiali secondari"), {{heading("ai sensi dell'Art. 184-TER del D.L.GS. N. 152/2006")}}};
        FormRow row;
        for (int i = 0; i < materials.size(); ++i) {
            const QByteArray n = QByteArray::number(i + 1).rightJustified(2, '0');
            row.append({materials[i], r.qty(("msQta" + n).constData(), ("msUmi" + n).constData()), 55});
            if (row.size() == 3) {
                ms.rows.append(row);
                row.clear();
            }
        }
        ms.rows.append(row);
        frames->append(ms);

        // a module names the code only: 150104 stays whole there
        appendModules(db, modules, *scheda, {}, u8("Scheda IMB"), frames);
        markScheda(frames, first, u8("Scheda IMB"));
    }
    return true;
}

bool vfuFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return vfuFrames(db, d, frames); });
}

bool vfuFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    for (const int kind : {codes::VfuAut, codes::VfuRot, codes::VfuFra})
        streamFrames(db, stream::vfu(kind), declaration, frames);
    return true;
}

bool raeeFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return raeeFrames(db, d, frames); });
}

bool raeeFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    for (const int kind : {codes::RaeeTra, codes::RaeeCr})
        streamFrames(db, stream::raee(kind), declaration, frames);
    return true;
}

QString quantityText(const QVariant &qta, const QVariant &umi)
{
    if (qta.isNull())
        return {};
    const Qty q = Qty::fromStore(qta);
    if (q.isZero())
        return {};
    const QString unit = unitText(umi.toInt());
    return unit.isEmpty() ? q.format(3) : q.format(3) + u' ' + unit;
}

bool rifFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    return withDeclaration(db, saID, [&](const tree::Node &d) { return rifFrames(db, d, frames); });
}

bool rifFrames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames)
{
    const ModuleFamily modules{rif::module, codes::RE, {}};
    Descriptions descriptions(db);
    int number = 0;
    for (const tree::Node *scheda : rowsOf(declaration, QStringLiteral("SezRif"), QStringLiteral("rifCod"))) {
        const Row r{*scheda};
        const QString code = r.text("rifCod");
        const qsizetype first = frames->size();
        const QString name = u8("Scheda RIF codice: ") + code;
        FormFrame head{u8("Scheda RIF - Rifiuti"), {}};
        head.rows.append({{u8("n° progressivo Scheda RIF"), QString::number(++number), 35},
                          {u8("Codice rifiuto:"), code, 25},
                          {u8("Descrizione"), descriptions.of(r.value("rifCod")), 110}});
        appendPhysicalState(head, r);
        head.keepWithNext = true;
        frames->append(head);

        const std::vector<const tree::Node *> rifModules = rowsOf(*scheda, QStringLiteral("ModRif"));
        const bool carriers = std::any_of(rifModules.cbegin(), rifModules.cend(),
                                          [](const tree::Node *m) { return isNumber(at(m, "tipoMod"), codes::TE); });
        frames->append({u8("ORIGINE DEL RIFIUTO"),
                        {{{u8("Rifiuto prodotto nell'Unità Locale"), r.qty("qtaProd", "umiProd"), 55},
                          {u8("Rifiuto ricevuto da terzi"), r.qty("qtaTerzi", "umiTerzi"), 55},
                          {u8("Rifiuto prodotto fuori dall'Unità Locale"), r.qty("qtaFuori", "umiFuori"), 55}}}});
        frames->append({u8("TRASPORTO DEL RIFIUTO"),
                        {{{u8("Rifiuto trasportato dal dichiarante"), r.qty("qtaTras", "umiTras"), 55},
                          {u8("Rifiuto trasportato da terzi"), carriers ? u8("X") : QString(), 10}}}});
        frames->append({u8("DESTINAZIONE DEL RIFIUTO"),
                        {{{u8("Rifiuto consegnato a terzi per operazioni di recupero o smaltimento"),
                           r.qty("qtaCons", "umiCons"), 55}},
                         {heading(u8("Rifiuto in giacenza presso il produttore al 31/12/")
                                  + QString::number(qorClass::Year) + u8(" in attesa di essere conferito a terzi"))},
                         {{u8("da avviare a recupero"), r.qty("qtaGiacRec", "umiGiacRec"), 55},
                          {u8("da avviare a smaltimento"), r.qty("qtaGiacSmalt", "umiGiacSmalt"), 55}}}});
        frames->append({u8("OPERAZIONI DI RECUPERO O SMALTIMENTO SVOLTE NELL'UNITA' LOCALE"),
                        {{{u8("Quantità complessiva di rifiuto avviato a recupero"), r.qty("qtaRec", "umiRec"), 75},
                          {u8("Quantità complessiva di rifiuto avviato a smaltimento"), r.qty("qtaSmalt", "umiSmalt"),
                           75}}}});

        // RT (non-private first), DR, TE, MG, RE
        appendModules(db, modules, *scheda, code, name, frames);
        markScheda(frames, first, name);
    }
    return true;
}

} // namespace print
