#include "print/schedeprint.h"

#include "print/printcommon.h"
#include "sections/codes.h"
#include "shell/dbclass.h"
#include "shell/qty.h"

#include <QSqlQuery>
#include <QSqlRecord>

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

// Reads one row of a query by column name.
struct Row {
    const QSqlQuery &q;
    QString text(const char *c) const { return q.value(QLatin1String(c)).toString().trimmed(); }
    int num(const char *c) const { return q.value(QLatin1String(c)).toInt(); }
    QString flag(const char *c) const { return num(c) != 0 ? QStringLiteral("X") : QString(); }
    QString qty(const char *q_, const char *u) const
    {
        return quantityText(q.value(QLatin1String(q_)), q.value(QLatin1String(u)));
    }
};

FormField heading(const char *text) { return {u8(text), {}, 0}; }

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

QString number(const QSqlQuery &q, const char *column)
{
    const QVariant v = q.value(QLatin1String(column));
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

struct Place {
    QString comune, sigla;
};

Place placeOf(dbClass &db, int prv, int com)
{
    if (prv <= 0 || com <= 0)
        return {};
    const dbClass::Municipality m = db.municipality(prv, com);
    return m.found ? Place{m.comDesc, m.prvSigla} : Place{};
}

QString nation(dbClass &db, int nazID)
{
    if (nazID <= 0)
        return {};
    return db.scalar(QStringLiteral("SELECT nazDesc FROM Nazioni WHERE (nazID = ?)"), {nazID}).toString();
}

bool isBatteryCode(const QString &code)
{
    return (code > QLatin1String("160600") && code < QLatin1String("160606"))
           || code == QLatin1String("200133") || code == QLatin1String("200134");
}

bool isUrbanOriginCode(const QString &code)
{
    return code.startsWith(QLatin1String("1912")) || code == QLatin1String("190501")
           || code == QLatin1String("190503");
}

// Where a module hangs: a scheda RIF, or a waste code of the scheda IMB
// (whose modules print their code, and for RT-IMB the surface of origin).
struct ModuleOwner {
    bool imb = false;
    QString code;      // as printed ("150104-A" for aluminium)
    QString surface;   // RT-IMB: "da sup. pubblica" / "da sup. privata"
};

QString moduleName(const char *kind, const ModuleOwner &o)
{
    return QString::fromLatin1(kind) + (o.imb ? QStringLiteral("-IMB") : QString());
}

FormRow firstModuleRow(const char *kind, const ModuleOwner &o, int number)
{
    FormRow row{{u8("n° progressivo Modulo ") + moduleName(kind, o), QString::number(number), 35}};
    if (o.imb) {
        row.append({u8("Codice rifiuto:"), o.code, 30});
        if (!o.surface.isEmpty())
            row.append({u8("Provenienza"), o.surface, 40});
    }
    return row;
}

// Operation rows (code and quantity) of an MG or DR-IMB module, three a line.
void appendOperations(dbClass &db, FormFrame &f, const QString &table, const QString &key, qint64 id)
{
    bool ok = false;
    QSqlQuery ops = db.query(QStringLiteral("SELECT Codice, qta, umi FROM %1 WHERE (%2 = ?) ORDER BY Posizione, Codice")
                                 .arg(table, key),
                             {id}, dbClass::Which::Current, &ok);
    FormRow row;
    while (ok && ops.next()) {
        row.append({u8("Operazione"), ops.value(0).toString(), 20});
        row.append({u8("Quantità"), quantityText(ops.value(1), ops.value(2)), 33});
        if (row.size() == 6) {
            f.rows.append(row);
            row.clear();
        }
    }
    if (!row.isEmpty())
        f.rows.append(row);
}

// RT and DR share their layout; the texts differ.
FormFrame counterpartModule(dbClass &db, const Row &r, qint64 id, int number, bool rt, const ModuleOwner &o)
{
    const Place p = placeOf(db, r.num("prvIstat"), r.num("comIstat"));
    FormFrame f{u8("Modulo ") + moduleName(rt ? "RT" : "DR", o)
                    + (rt ? u8(" - Rifiuti ricevuti da terzi") : u8(" - Rifiuti conferiti a terzi")),
                {}};
    FormRow first = firstModuleRow(rt ? "RT" : "DR", o, number);
    if (rt && !o.imb)
        first.append({u8("Privati"), r.flag("Privati"), 15});
    f.rows.append(first);
    f.rows.append({heading(rt ? "Impresa o Ente che ha conferito il rifiuto" : "Soggetto destinatario del rifiuto")});
    f.rows.append({{u8("Codice fiscale:"), r.text("CodFisc"), 45}, {u8("Nome o ragione sociale:"), r.text("RagSoc"), 128}});
    f.rows.append({heading(rt ? "Sede unità locale di provenienza del rifiuto (se di provenienza nazionale)"
                              : "Sede impianto di destinazione (se di destinazione nazionale)")});
    f.rows.append({{u8("Comune:"), p.comune, 65}, {u8("Provincia:"), p.sigla, 15}, {u8("Via:"), r.text("Via"), 55},
                   {u8("N. civico:"), r.text("Civico"), 15}, {u8("C.A.P.:"), r.text("Cap"), 14}});
    f.rows.append({heading(rt ? "Nel caso in cui il rifiuto sia di provenienza non nazionale"
                              : "Nel caso in cui il rifiuto abbia destinazione non nazionale indicare")});
    f.rows.append({{u8("Paese estero:"), nation(db, r.num("nazID")), 80},
                   {u8("Codice regolamento (CE) 1013/2006:"), r.text("RegCE"), 45}});
    f.rows.append({{rt ? u8("Quantità ricevuta nell'anno:") : u8("Quantità conferita nell'anno:"),
                    r.qty("qtaMod", "umiMod"), 55}});
    if (rt && o.imb) {
        f.rows.append({{u8("Tipologia di trattamento prevista sui rifiuti ricevuti dall'estero:"),
                        imbTreatment(r.num("discDep")), 80}});
    } else if (rt) {
        f.rows.append({heading("Tipologia di trattamento prevista sui rifiuti ricevuti dall'estero:")});
        f.rows.append({{u8("recupero di materia:"), r.qty("qtaDep", "umiDep"), 55},
                       {u8("recupero di energia:"), r.qty("qta191", "umi191"), 55},
                       {u8("incenerimento:"), r.qty("qtaInc", "umiInc"), 55}});
        f.rows.append({{u8("discarica:"), r.qty("qtaDisc", "umiDisc"), 55},
                       {u8("altre operazioni di smaltimento:"), r.qty("qtaSmalt", "umiSmalt"), 55}});
        if (isUrbanOriginCode(o.code))
            f.rows.append({{u8("Barrare se la quantità indicata nel modulo è relativa a rifiuti di origine urbana"),
                            r.flag("discDep"), 10}});
        if (isBatteryCode(o.code))
            f.rows.append({{u8("Specificare se la quantità indicata nel modulo è relativa a pile e accumulatori "
                               "portatili:"),
                            r.num("disc191") == 1 ? u8("Sì") : u8("No"), 15}});
    } else {
        f.rows.append({heading("Indicare l'attività svolta a destinazione")});
        f.rows.append({{u8("Quantità a recupero di materia:"), r.qty("qtaDep", "umiDep"), 55},
                       {u8("Quantità a recupero di energia:"), r.qty("qta191", "umi191"), 55},
                       {u8("Quantità a incenerimento:"), r.qty("qtaInc", "umiInc"), 55}});
        f.rows.append({{u8("Quantità avviata in discarica:"), r.qty("qtaDisc", "umiDisc"), 55},
                       {u8("Quantità ad altre operazioni di smaltimento:"), r.qty("qtaSmalt", "umiSmalt"), 55}});
        if (o.imb) {
            f.rows.append({heading("Operazioni di recupero e di smaltimento")});
            appendOperations(db, f, QStringLiteral("RecModImb"), QStringLiteral("mbID"), id);
        }
    }
    return f;
}

FormFrame teModule(const Row &r, int number, const ModuleOwner &o)
{
    return {u8("Modulo ") + moduleName("TE", o) + u8(" - Rifiuti trasportati da terzi"),
            {firstModuleRow("TE", o, number),
             {heading("Trasportatore")},
             {{u8("Codice fiscale:"), r.text("CodFisc"), 45}, {u8("Nome o ragione sociale:"), r.text("RagSoc"), 128}}}};
}

FormFrame mgModule(dbClass &db, const Row &r, qint64 id, int number, const ModuleOwner &o)
{
    FormFrame f{u8("Modulo ") + moduleName("MG", o) + u8(" - Operazioni di gestione rifiuti svolte nell'unità locale"),
                {}};
    f.rows.append(firstModuleRow("MG", o, number));
    f.rows.append({{u8("Tipologia impianto:"), mgPlantType(r.num("Privati")), 176}});
    f.rows.append({heading("Operazioni di recupero e di smaltimento")});
    if (o.imb)
        appendOperations(db, f, QStringLiteral("RecModImb"), QStringLiteral("mbID"), id);
    else
        appendOperations(db, f, QStringLiteral("RecRif"), QStringLiteral("mrID"), id);
    f.rows.append({heading("Deposito definitivo effettuato nell'unità locale (operazioni D1, D5, D12)")});
    f.rows.append({{u8("Quantità depositata in discarica nell'anno:"), r.qty("qtaDep", "umiDep"), 55},
                   {u8("Classificazione della discarica (D.Lgs. 36/2003):"), landfillClass(r.num("discDep")), 60}});
    f.rows.append({heading("Smaltimento art. 191")});
    f.rows.append({{u8("Quantità depositata in discarica nell'anno:"), r.qty("qta191", "umi191"), 55},
                   {u8("Classificazione della discarica (D.Lgs. 36/2003):"), landfillClass(r.num("disc191")), 60}});
    f.rows.append({heading("Giacenza al 31/12")});
    f.rows.append({{u8("Quantità in giacenza al 31/12 da avviare a recupero"), r.qty("qtaMod", "umiMod"), 75},
                   {u8("Quantità in giacenza al 31/12 da avviare a smaltimento"), r.qty("qtaSmalt", "umiSmalt"), 75}});
    return f;
}

FormFrame reModule(dbClass &db, const Row &r, int number)
{
    const Place p = placeOf(db, r.num("prvIstat"), r.num("comIstat"));
    return {u8("Modulo RE - Rifiuti prodotti fuori dall'unità locale"),
            {{{u8("n° progressivo Modulo RE"), QString::number(number), 35}},
             {heading("Area di provenienza del rifiuto")},
             {{u8("Comune:"), p.comune, 100}, {u8("Provincia di:"), p.sigla, 20}},
             {{u8("Attività che ha originato il rifiuto"), reActivity(r.num("Privati")), 100},
              {u8("Quantità prodotta fuori dell'unità locale:"), r.qty("qtaMod", "umiMod"), 55}}}};
}

FormFrame intModule(dbClass &db, const Row &r, int number, bool uo)
{
    const Place p = placeOf(db, r.num("prvIstat"), r.num("comIstat"));
    FormFrame f{uo ? u8("Modulo UO - Elenco Unità Locali di origine del rifiuto")
                   : u8("Modulo UD - Elenco unità locali di destinazione del rifiuto"),
                {}};
    f.rows.append({{uo ? u8("n° progressivo Modulo UO") : u8("n° progressivo Modulo UD"), QString::number(number), 35}});
    f.rows.append({heading(uo ? "Unità locale di origine" : "Unità locale di destinazione")});
    f.rows.append({{u8("Codice fiscale:"), r.text("CodFisc"), 45}, {u8("Nome o ragione sociale:"), r.text("RagSoc"), 128}});
    f.rows.append({heading(uo ? "Indirizzo (se di origine nazionale)" : "Indirizzo (se di destinazione nazionale)")});
    f.rows.append({{u8("Comune:"), p.comune, 65}, {u8("Provincia:"), p.sigla, 15}, {u8("Via:"), r.text("Via"), 55},
                   {u8("N. civico:"), r.text("Civico"), 15}, {u8("C.A.P.:"), r.text("Cap"), 14}});
    f.rows.append({{uo ? u8("Paese estero (se di origine non nazionale)")
                       : u8("Paese estero (se di destinazione non nazionale)"),
                    nation(db, r.num("nazID")), 80},
                   {uo ? u8("Quantità acquisita nell'anno:") : u8("Quantità ceduta nell'anno:"),
                    r.qty("qtaMod", "umiMod"), 55}});
    return f;
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

bool saAutFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT * FROM SaAut WHERE (saID = ?) ORDER BY suID"), {saID},
                           dbClass::Which::Current, &ok);
    if (!ok)
        return false;
    const QStringList recovery = operationCodes(db, 1), disposal = operationCodes(db, 2);
    int n = 0;
    while (q.next()) {
        const Row r{q};
        FormFrame f{u8("SA-AUT - Autorizzazioni"), {}};
        f.rows.append({{u8("n° progressivo Scheda SA-AUT"), QString::number(++n), 40},
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
        if (r.num("Incenerimento") != 0)
            f.rows.append({{u8("Incenerimento: capacità autorizzata"), number(q, "incQta"), 55},
                           {u8("di cui rifiuti pericolosi"), number(q, "incRifP"), 55},
                           {u8("di cui rifiuti non pericolosi"), number(q, "incRifNP"), 55}});
        if (r.num("Coincenerimento") != 0)
            f.rows.append({{u8("Coincenerimento: capacità autorizzata"), number(q, "conQta"), 55},
                           {u8("di cui rifiuti pericolosi"), number(q, "conRifP"), 55},
                           {u8("di cui rifiuti non pericolosi"), number(q, "conRifNP"), 55}});
        frames->append(f);
    }
    return true;
}

bool intFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    bool ok = false;
    QSqlQuery s = db.query(QStringLiteral("SELECT SezInt.*, Rifiuti.rifDesc FROM SezInt LEFT JOIN Rifiuti ON "
                                          "SezInt.rifCod = Rifiuti.rifCod WHERE (SezInt.saID = ?) "
                                          "ORDER BY SezInt.rifCod, SezInt.intID"),
                           {saID}, dbClass::Which::Current, &ok);
    if (!ok)
        return false;
    int number = 0;
    while (s.next()) {
        const Row r{s};
        FormFrame f{u8("Scheda INT - Totale rifiuti commercializzati ed intermediati senza detenzione"), {}};
        f.rows.append({{u8("n° progressivo Scheda INT"), QString::number(++number), 35},
                       {u8("Codice rifiuto:"), r.text("rifCod"), 25},
                       {u8("Descrizione"), r.text("rifDesc"), 110}});
        appendPhysicalState(f, r);
        f.rows.append({{u8("Quantità complessivamente intermediata:"), r.qty("intQta", "intUmi"), 55}});
        frames->append(f);
        for (int type = 1; type <= 2; ++type) {
            QSqlQuery m = db.query(QStringLiteral("SELECT * FROM ModInt WHERE (intID = ? AND tipoMod = ?) ORDER BY miID"),
                                   {s.value(QStringLiteral("intID")), type}, dbClass::Which::Current, &ok);
            if (!ok)
                return false;
            int n = 0;
            while (m.next())
                frames->append(intModule(db, Row{m}, ++n, type == 1));
        }
    }
    return true;
}

QString imbWasteCode(const QString &code, int allAcc)
{
    if (code == QLatin1String("150104"))
        return code + (allAcc == 1 ? QStringLiteral("-A") : QStringLiteral("-C"));
    return code;
}

QString imbTreatment(int code)
{
    return codes::listText(codes::imbTreatments(), code);
}

QString imbSurface(int mbFlag)
{
    return mbFlag == codes::SurfacePrivate ? u8("da sup. privata") : u8("da sup. pubblica");
}

bool imbFrames(dbClass &db, qint64 saID, QList<FormFrame> *frames)
{
    // the groups of waste rows, by Posizione from 1 in the order of the scheda
    static const char *const groups[] = {
        "Rifiuto ricevuto da superficie pubblica",
        "Rifiuto ricevuto da superficie privata",
        "Rifiuto prodotto nell'unità locale da trattamento imballaggi monomateriale",
        "Rifiuto prodotto nell'unità locale da trattamento imballaggi multimateriale",
    };
    // secondary materials, msQta01.. in the order of the codes module
    const QStringList &materials = codes::imbMaterials();
    bool ok = false;
    QSqlQuery s = db.query(QStringLiteral("SELECT * FROM SezImb WHERE (saID = ?) ORDER BY siID"), {saID},
                           dbClass::Which::Current, &ok);
    if (!ok)
        return false;
    while (s.next()) {
        const Row r{s};
        const qint64 siID = s.value(QStringLiteral("siID")).toLongLong();
        frames->append({u8("Scheda IMB - Gestione rifiuti da imballaggio"),
                        {{heading("COMUNICAZIONE IMBALLAGGI")}, {heading("Sezione gestori rifiuti di imballaggio")}}});
        for (int g = 1; g <= 4; ++g) {
            QSqlQuery rows = db.query(QStringLiteral("SELECT RecImb.rifCod, RecImb.allAcc, RecImb.qta, RecImb.umi, "
                                                     "Rifiuti.rifDesc FROM RecImb LEFT JOIN Rifiuti ON RecImb.rifCod = "
                                                     "Rifiuti.rifCod WHERE (RecImb.siID = ? AND RecImb.Posizione = ?) "
                                                     "ORDER BY RecImb.Posizione, RecImb.riID"),
                                      {siID, g}, dbClass::Which::Current, &ok);
            if (!ok)
                return false;
            FormFrame group{u8(groups[g - 1]), {}};
            while (rows.next()) {
                const bool first = group.rows.isEmpty();
                group.rows.append({{first ? u8("Cod. CER") : QString(),
                                    imbWasteCode(rows.value(0).toString().trimmed(), rows.value(1).toInt()), 25},
                                   {first ? u8("Descrizione") : QString(), rows.value(4).toString(), 100},
                                   {first ? u8("Quantità") : QString(), quantityText(rows.value(2), rows.value(3)), 45}});
            }
            if (!group.rows.isEmpty())
                frames->append(group);
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

        // modules by type, then waste code and surface, numbered within their type
        for (int type = 1; type <= 4; ++type) {
            QSqlQuery m = db.query(QStringLiteral("SELECT * FROM ModImb WHERE (siID = ? AND tipoMod = ?) "
                                                  "ORDER BY rifCod, mbFlag, mbID"),
                                   {siID, type}, dbClass::Which::Current, &ok);
            if (!ok)
                return false;
            int n = 0;
            while (m.next()) {
                const Row mr{m};
                const qint64 mbID = m.value(QStringLiteral("mbID")).toLongLong();
                // a module names the code only: 150104 stays whole here
                const ModuleOwner owner{true, mr.text("rifCod"), type == 1 ? imbSurface(mr.num("mbFlag")) : QString()};
                ++n;
                switch (type) {
                case 1: frames->append(counterpartModule(db, mr, mbID, n, true, owner)); break;
                case 2: frames->append(counterpartModule(db, mr, mbID, n, false, owner)); break;
                case 3: frames->append(teModule(mr, n, owner)); break;
                case 4: frames->append(mgModule(db, mr, mbID, n, owner)); break;
                }
            }
        }
    }
    return true;
}

QString mgPlantType(int code)
{
    return codes::mgPlantText(code);
}

QString landfillClass(int code)
{
    return codes::landfillText(code);
}

QString reActivity(int code)
{
    return codes::reActivityText(code);
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
    bool ok = false;
    QSqlQuery s = db.query(QStringLiteral("SELECT SezRif.*, Rifiuti.rifDesc FROM SezRif LEFT JOIN Rifiuti ON "
                                          "SezRif.rifCod = Rifiuti.rifCod WHERE (SezRif.saID = ?) "
                                          "ORDER BY SezRif.rifCod, SezRif.rifID"),
                           {saID}, dbClass::Which::Current, &ok);
    if (!ok)
        return false;
    int number = 0;
    while (s.next()) {
        const Row r{s};
        const qint64 rifID = s.value(QStringLiteral("rifID")).toLongLong();
        const QString code = r.text("rifCod");
        FormFrame head{u8("Scheda RIF - Rifiuti"), {}};
        head.rows.append({{u8("n° progressivo Scheda RIF"), QString::number(++number), 35},
                          {u8("Codice rifiuto:"), code, 25},
                          {u8("Descrizione"), r.text("rifDesc"), 110}});
        appendPhysicalState(head, r);
        frames->append(head);

        const qint64 carriers = db.scalar(QStringLiteral("SELECT COUNT(*) FROM ModRif WHERE (rifID = ? AND tipoMod = 3)"),
                                          {rifID}).toLongLong();
        frames->append({u8("ORIGINE DEL RIFIUTO"),
                        {{{u8("Rifiuto prodotto nell'Unità Locale"), r.qty("qtaProd", "umiProd"), 55},
                          {u8("Rifiuto ricevuto da terzi"), r.qty("qtaTerzi", "umiTerzi"), 55},
                          {u8("Rifiuto prodotto fuori dall'Unità Locale"), r.qty("qtaFuori", "umiFuori"), 55}}}});
        frames->append({u8("TRASPORTO DEL RIFIUTO"),
                        {{{u8("Rifiuto trasportato dal dichiarante"), r.qty("qtaTras", "umiTras"), 55},
                          {u8("Rifiuto trasportato da terzi"), carriers > 0 ? u8("X") : QString(), 10}}}});
        frames->append({u8("DESTINAZIONE DEL RIFIUTO"),
                        {{{u8("Rifiuto consegnato a terzi per operazioni di recupero o smaltimento"),
                           r.qty("qtaCons", "umiCons"), 55}},
                         {heading("Rifiuto in giacenza presso il produttore al 31/12/aaaa in attesa di essere "
                                  "conferito a terzi")},
                         {{u8("da avviare a recupero"), r.qty("qtaGiacRec", "umiGiacRec"), 55},
                          {u8("da avviare a smaltimento"), r.qty("qtaGiacSmalt", "umiGiacSmalt"), 55}}}});
        frames->append({u8("OPERAZIONI DI RECUPERO O SMALTIMENTO SVOLTE NELL'UNITA' LOCALE"),
                        {{{u8("Quantità complessiva di rifiuto avviato a recupero"), r.qty("qtaRec", "umiRec"), 75},
                          {u8("Quantità complessiva di rifiuto avviato a smaltimento"), r.qty("qtaSmalt", "umiSmalt"),
                           75}}}});

        // modules: RT (non-private first), DR, TE, MG, RE; numbered within their type
        for (int type = 1; type <= 5; ++type) {
            const QString order = type == 1 ? QStringLiteral("Privati, mrID") : QStringLiteral("mrID");
            QSqlQuery m = db.query(QStringLiteral("SELECT * FROM ModRif WHERE (rifID = ? AND tipoMod = ?) ORDER BY ")
                                       + order,
                                   {rifID, type}, dbClass::Which::Current, &ok);
            if (!ok)
                return false;
            int n = 0;
            const ModuleOwner owner{false, code, {}};
            while (m.next()) {
                const Row mr{m};
                const qint64 mrID = m.value(QStringLiteral("mrID")).toLongLong();
                ++n;
                switch (type) {
                case 1: frames->append(counterpartModule(db, mr, mrID, n, true, owner)); break;
                case 2: frames->append(counterpartModule(db, mr, mrID, n, false, owner)); break;
                case 3: frames->append(teModule(mr, n, owner)); break;
                case 4: frames->append(mgModule(db, mr, mrID, n, owner)); break;
                case 5: frames->append(reModule(db, mr, n)); break;
                }
            }
        }
    }
    return true;
}

} // namespace print
