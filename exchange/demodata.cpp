#include "exchange/demodata.h"

#include "sections/codes.h"
#include "sections/stream/stream.h"
#include "shell/dbclass.h"
#include "shell/transaction.h"

#include <QRandomGenerator>
#include <algorithm>
#include <QSqlQuery>
#include <QVariantMap>
#include <vector>

namespace exch::demo {

QString companyCode(quint64 tenDigits)
{
    const QString s = QString::number(tenDigits % 10000000000ULL).rightJustified(10, u'0');
    int sum = 0;
    for (int i = 0; i < 10; ++i) {
        int d = s.at(i).digitValue();
        if (i % 2 == 1) {   // positions 2, 4, ... counted from 1
            d *= 2;
            if (d > 9)
                d -= 9;
        }
        sum += d;
    }
    return s + QString::number((100 - sum) % 10);
}

namespace {

constexpr int Odd[26] = {1, 0, 5, 7, 9, 13, 15, 17, 19, 21, 2, 4, 18, 20, 11, 3, 6, 8, 12, 14, 16, 10, 22, 25, 24, 23};

int charValue(QChar c) { return c.isDigit() ? c.digitValue() : c.unicode() - 'A'; }

} // namespace

QString personCode(const QString &first15)
{
    int sum = 0;
    for (int i = 0; i < 15; ++i) {
        const int v = charValue(first15.at(i));
        sum += (i % 2 == 1) ? v : Odd[v];
    }
    return first15 + QChar(char16_t('A' + sum % 26));
}

bool checkCharacterRight(const QString &code)
{
    if (code.size() == 11)
        return companyCode(code.left(10).toULongLong()) == code;
    if (code.size() == 16)
        return personCode(code.left(15)) == code;
    return false;
}

namespace {

const char *const CompanyWords[] = {"ECOSERVIZI", "METALLURGICA", "AUTODEMOLIZIONI", "TRASPORTI",
                                    "RECUPERI", "PLASTICHE", "CARTIERA", "OFFICINE", "FONDERIA",
                                    "AMBIENTE", "LOGISTICA", "ELETTROMECCANICA"};
const char *const Names[] = {"ROSSI", "BIANCHI", "FERRARI", "ESPOSITO", "RICCI", "MARINO",
                             "GRECO", "BRUNO", "GALLO", "CONTI", "DE LUCA", "MANCINI"};
const char *const FirstNames[] = {"MARCO", "GIULIA", "LUCA", "FRANCESCA", "ANDREA", "CHIARA",
                                  "PAOLO", "ELENA", "MATTEO", "SARA"};
const char *const Streets[] = {"VIA ROMA", "VIA GARIBALDI", "VIA DELL'INDUSTRIA", "VIA MAZZINI",
                               "VIALE EUROPA", "VIA DELLE FORNACI", "VIA CAVOUR",
                               "STRADA PROVINCIALE 12", "VIA DELL'ARTIGIANATO", "PIAZZA DUOMO"};
const char *const Forms[] = {"S.R.L.", "S.P.A.", "S.N.C.", "S.A.S."};

struct Place {
    int prv, com;
    QString cap;
};

class Gen {
public:
    Gen(dbClass &db, const Options &o) : db_(db), o_(o), rnd_(o.seed) {}

    bool load();
    bool declaration(int n, qint64 *id);
    QString error;

private:
    template <size_t N> QString pick(const char *const (&a)[N])
    {
        return QString::fromLatin1(a[rnd_.bounded(int(N))]);
    }
    template <typename T> const T &pick(const std::vector<T> &v) { return v[size_t(rnd_.bounded(int(v.size())))]; }
    int between(int lo, int hi) { return lo + rnd_.bounded(hi - lo + 1); }
    qint64 milli(qint64 loKg, qint64 hiKg) { return (loKg + qint64(rnd_.bounded(quint64(hiKg - loKg + 1)))) * 1000 + rnd_.bounded(1000); }
    bool chance(int percent) { return rnd_.bounded(100) < percent; }

    QString company() { return pick(Names) + u' ' + pick(CompanyWords) + u' ' + pick(Forms); }
    QString person15()
    {
        QString s;
        for (int i = 0; i < 6; ++i)
            s += QChar(char16_t('A' + rnd_.bounded(26)));
        s += QString::number(between(50, 99));
        s += QChar(char16_t("ABCDEHLMPRST"[rnd_.bounded(12)]));
        s += QString::number(between(1, 71)).rightJustified(2, u'0');
        s += QChar(char16_t('A' + rnd_.bounded(26)));
        s += QString::number(between(1, 999)).rightJustified(3, u'0');
        return s;
    }
    QString taxCode() { return chance(80) ? companyCode(rnd_.generate64()) : personCode(person15()); }

    void address(QVariantMap &m, const char *prefix = "")
    {
        const Place &p = pick(places_);
        const QString pre = QString::fromLatin1(prefix);
        m.insert(pre + (pre.isEmpty() ? QStringLiteral("prvIstat") : QStringLiteral("PrvIstat")), p.prv);
        m.insert(pre + (pre.isEmpty() ? QStringLiteral("comIstat") : QStringLiteral("ComIstat")), p.com);
        m.insert(pre + QStringLiteral("Via"), pick(Streets));
        m.insert(pre + QStringLiteral("Civico"), QString::number(between(1, 250)));
        m.insert(pre + QStringLiteral("Cap"), p.cap);
    }
    // Counterpart of a module; one in ten is foreign where a foreign party
    // is allowed.
    void counterpart(QVariantMap &m, bool foreignAllowed = true)
    {
        m.insert(QStringLiteral("CodFisc"), taxCode());
        m.insert(QStringLiteral("RagSoc"), company());
        if (chance(10) && foreignAllowed) {
            m.insert(QStringLiteral("nazID"), pick(nations_));
            m.insert(QStringLiteral("Via"), QStringLiteral("RUE DU PORT"));
            m.insert(QStringLiteral("Civico"), QString::number(between(1, 90)));
            m.insert(QStringLiteral("RegCE"), QStringLiteral("B1010"));
        } else {
            address(m);
        }
    }
    qint64 insert(const QString &t, const QVariantMap &m)
    {
        const qint64 id = db_.insertRow(t, m);
        if (id < 0)
            error = QStringLiteral("inserimento in ") + t + QStringLiteral(" non riuscito");
        return id;
    }
    // Operation rows R.. / D.. of a module, one per code; the recovery and
    // disposal totals are added to *recovery and *disposal when given. The
    // rows of an MG module stand in its recovery or disposal grid
    // (Posizione), those of a DR module in its one grid of destinations.
    bool operations(const QString &table, const char *parentKey, qint64 parent, int count, qint64 total,
                    bool mg, qint64 *recovery = nullptr, qint64 *disposal = nullptr)
    {
        QStringList used;
        qint64 left = total;
        for (int i = 1; i <= count; ++i) {
            QString code;
            // The first is a recovery operation: a module of a recovery plant.
            do
                code = i == 1 || chance(50) ? QStringLiteral("R%1").arg(between(1, 13))
                                            : QStringLiteral("D%1").arg(between(1, 15));
            while (used.contains(code));
            used << code;
            const qint64 q = i == count ? left : left / (count - i + 1);
            left -= q;
            if (qint64 *sum = code.startsWith(u'R') ? recovery : disposal)
                *sum += q;
            const int grid = !mg ? 1 : code.startsWith(u'R') ? codes::GridRecupero : codes::GridSmaltimento;
            if (insert(table, {{QString::fromLatin1(parentKey), parent}, {QStringLiteral("Posizione"), grid},
                               {QStringLiteral("Codice"), code}, {QStringLiteral("qta"), q},
                               {QStringLiteral("umi"), q ? 1 : 0}}) < 0)
                return false;
        }
        return true;
    }
    // Rows of a scheda in its frames (Posizione 1..frames, the last frame
    // taking the rows beyond), with their modules; RT modules go to the rows
    // of the frames of waste received from third parties (1..received).
    bool family(const QString &suffix, const char *parentKey, qint64 parent,
                const std::vector<QString> &codes, bool imb, int frames, int received, qint64 *delivered);
    // The scheda's amount consigned to third parties, once its DR modules are known.
    bool setDelivered(const QString &table, const QString &key, qint64 id, qint64 milli)
    {
        if (db_.updateRow(table, key, id, {{QStringLiteral("qtaTerzi"), milli},
                                           {QStringLiteral("umiTerzi"), milli ? 1 : 0}}))
            return true;
        error = QStringLiteral("aggiornamento di ") + table + QStringLiteral(" non riuscito");
        return false;
    }
    bool rif(qint64 saID, bool error);

    dbClass &db_;
    Options o_;
    QRandomGenerator rnd_;
    std::vector<Place> places_;
    std::vector<QString> wastes_, activities_, imbCodes_, traCodes_, crCodes_;
    std::vector<QString> vfuCodes_[3];
    std::vector<int> nations_;
};

bool Gen::load()
{
    auto list = [&](const QString &sql, std::vector<QString> &out) {
        QSqlQuery q = db_.query(sql);
        while (q.next())
            out.push_back(q.value(0).toString());
        return !out.empty();
    };
    QSqlQuery q = db_.query(QStringLiteral("SELECT prvIstat, comIstat, comCap FROM Comuni WHERE "
                                           "(newComIstat IS NULL AND NOT comCap IS NULL) ORDER BY prvIstat, comIstat"));
    int i = 0;
    while (q.next())
        if (i++ % 37 == 0)   // a spread of the country
            places_.push_back({q.value(0).toInt(), q.value(1).toInt(), q.value(2).toString()});
    QSqlQuery n = db_.query(QStringLiteral("SELECT nazID FROM Nazioni ORDER BY nazID"));
    while (n.next())
        nations_.push_back(n.value(0).toInt());
    const bool ok =
        !places_.empty() && !nations_.empty() &&
        list(QStringLiteral("SELECT rifCod FROM Rifiuti WHERE (rifClass = 'NP' OR rifClass = 'P') ORDER BY rifCod"), wastes_) &&
        list(QStringLiteral("SELECT attCod FROM Attivita ORDER BY attCod"), activities_) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 31) ORDER BY codNumb"), imbCodes_) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 21 AND NOT codAlfa IS NULL) ORDER BY codNumb"), traCodes_) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 22 AND NOT codAlfa IS NULL) ORDER BY codNumb"), crCodes_) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 4) ORDER BY codNumb"), vfuCodes_[0]) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 5) ORDER BY codNumb"), vfuCodes_[1]) &&
        list(QStringLiteral("SELECT codAlfa FROM Codici WHERE (codType = 6) ORDER BY codNumb"), vfuCodes_[2]);
    if (!ok)
        error = QStringLiteral("tabelle di riferimento vuote");
    return ok;
}

// A scheda RIF whose totals match its modules: received = sum of RT,
// delivered to transport = sum of TE, consigned = sum of DR; produced +
// received = consigned + stock. With error, the consigned amount is 20% short
// of what its DR modules carry.
bool Gen::rif(qint64 saID, bool error)
{
    const QString code = pick(wastes_);
    const qint64 prod = milli(500, 90000);
    const int nRT = o_.everySection ? 2 : between(0, 2), nDR = o_.everySection ? 2 : between(1, 2);
    std::vector<qint64> rt, dr;
    qint64 terzi = 0;
    for (int i = 0; i < nRT; ++i)
        terzi += rt.emplace_back(milli(10, 5000));
    const qint64 giac = (prod + terzi) / 20;
    qint64 cons = prod + terzi - giac;
    qint64 left = cons;
    if (error)
        cons = cons * 8 / 10;
    for (int i = 0; i < nDR; ++i) {
        const qint64 q = i == nDR - 1 ? left : left / 2;
        dr.push_back(q);
        left -= q;
    }
    QVariantMap s{{QStringLiteral("saID"), saID}, {QStringLiteral("rifCod"), code},
                  {QStringLiteral("sfSolidoNP"), 1}, {QStringLiteral("sfFangoso"), chance(20) ? 1 : 0},
                  {QStringLiteral("qtaProd"), prod}, {QStringLiteral("UmiProd"), 1},
                  {QStringLiteral("qtaTerzi"), terzi}, {QStringLiteral("umiTerzi"), terzi ? 1 : 0},
                  {QStringLiteral("qtaTras"), cons}, {QStringLiteral("umiTras"), 1},
                  {QStringLiteral("qtaCons"), cons}, {QStringLiteral("umiCons"), 1},
                  {QStringLiteral("qtaGiacRec"), giac}, {QStringLiteral("umiGiacRec"), 1}};
    if (o_.everySection) {
        s.insert(QStringLiteral("qtaFuori"), qint64(1500));
        s.insert(QStringLiteral("umiFuori"), 2);
    }
    const qint64 rifID = insert(QStringLiteral("SezRif"), s);
    if (rifID < 0)
        return false;
    // Private persons are Italian.
    auto module = [&](int tipo, qint64 q, int privati) {
        QVariantMap m{{QStringLiteral("rifID"), rifID}, {QStringLiteral("tipoMod"), tipo},
                      {QStringLiteral("qtaMod"), q}, {QStringLiteral("umiMod"), 1},
                      {QStringLiteral("Privati"), privati}};
        counterpart(m, privati == 0);
        // Waste received from abroad by a unit that manages it (MG module):
        // the RT module says how it was treated.
        if (tipo == 1 && o_.everySection && m.contains(QStringLiteral("nazID"))) {
            m.insert(QStringLiteral("qtaSmalt"), q);
            m.insert(QStringLiteral("umiSmalt"), 1);
        }
        return insert(QStringLiteral("ModRif"), m);
    };
    // Municipal waste (chapter 20) from private persons is declared elsewhere.
    for (qint64 q : rt)
        if (module(1, q, chance(30) && !code.startsWith(QLatin1String("20")) ? 1 : 0) < 0)
            return false;
    for (qint64 q : dr) {
        const qint64 id = module(2, q, 0);
        if (id < 0 || !db_.updateRow(QStringLiteral("ModRif"), QStringLiteral("mrID"), id,
                                     {{QStringLiteral("qtaSmalt"), q}, {QStringLiteral("umiSmalt"), 1}}))
            return false;
    }
    if (module(3, cons, 0) < 0)
        return false;
    if (o_.everySection) {
        const qint64 re = insert(QStringLiteral("ModRif"),
                                 {{QStringLiteral("rifID"), rifID}, {QStringLiteral("tipoMod"), 5},
                                  {QStringLiteral("prvIstat"), places_.front().prv},
                                  {QStringLiteral("comIstat"), places_.front().com},
                                  {QStringLiteral("qtaMod"), qint64(1500)}, {QStringLiteral("umiMod"), 2}});
        const qint64 mg = insert(QStringLiteral("ModRif"), {{QStringLiteral("rifID"), rifID}, {QStringLiteral("tipoMod"), 4}});
        // What the unit recovered and disposed of is what its MG module did.
        qint64 recovered = 0, disposed = 0;
        if (re < 0 || mg < 0 || !operations(QStringLiteral("RecRif"), "mrID", mg, 21, prod, true, &recovered, &disposed)
            || !db_.updateRow(QStringLiteral("SezRif"), QStringLiteral("rifID"), rifID,
                              {{QStringLiteral("qtaRec"), recovered}, {QStringLiteral("umiRec"), recovered ? 1 : 0},
                               {QStringLiteral("qtaSmalt"), disposed}, {QStringLiteral("umiSmalt"), disposed ? 1 : 0}}))
            return false;
    }
    return true;
}

// Waste rows of a packaging, electrical-equipment or vehicle scheda and
// their modules. A row received from third parties (IMB: positions 1 and 2,
// public and private surface; the others: position 1) has its RT module of
// the same amount; every row goes to a destination (DR) with its operations;
// all the family's counterparts are Italian. *delivered: the DR total, the
// scheda's "consigned to third parties".
bool Gen::family(const QString &suffix, const char *parentKey, qint64 parent,
                 const std::vector<QString> &codes, bool imb, int frames, int receivedFrames, qint64 *delivered)
{
    const QString rec = QStringLiteral("Rec") + suffix, mod = QStringLiteral("Mod") + suffix;
    const int nRows = o_.everySection ? 4 : between(1, 3);
    *delivered = 0;
    for (int i = 0; i < nRows; ++i) {
        const QString code = codes[size_t(i) % codes.size()];
        const qint64 qta = milli(100, 8000);
        const int pos = std::min(i + 1, frames);
        QVariantMap r{{QString::fromLatin1(parentKey), parent}, {QStringLiteral("Posizione"), pos},
                      {QStringLiteral("rifCod"), code}, {QStringLiteral("qta"), qta},
                      {QStringLiteral("umi"), 1}};
        if (imb)
            r.insert(QStringLiteral("allAcc"), i % 2);
        if (insert(rec, r) < 0)
            return false;
        const bool received = pos <= receivedFrames;
        for (int tipo = 1; tipo <= 4; ++tipo) {
            if (tipo == 1 && !received)
                continue;
            if (!o_.everySection && tipo != 1 && tipo != 2)
                continue;
            QVariantMap m{{QString::fromLatin1(parentKey), parent}, {QStringLiteral("rifCod"), code},
                          {QStringLiteral("tipoMod"), tipo}};
            // Packaging: the surface of an RT module is the row's (position 2
            // is the private one).
            m.insert(imb ? QStringLiteral("mbFlag") : QStringLiteral("Privati"), i % 2);
            if (tipo != 4) {
                counterpart(m, false);
                m.insert(QStringLiteral("qtaMod"), qta);
                m.insert(QStringLiteral("umiMod"), 1);
            }
            if (tipo == 2) {
                m.insert(QStringLiteral("qtaDep"), qint64(250));
                m.insert(QStringLiteral("umiDep"), 1);
                m.insert(QStringLiteral("discDep"), 1);
                *delivered += qta;
            }
            const qint64 id = insert(mod, m);
            if (id < 0)
                return false;
            if ((tipo == 2 || tipo == 4)
                && !operations(QStringLiteral("RecMod") + suffix,
                               imb ? "mbID" : suffix == QLatin1String("Raee") ? "msrID" : "mvID", id,
                               tipo == 4 && o_.everySection ? 20 : 2, qta, tipo == 4))
                return false;
        }
    }
    return true;
}

bool Gen::declaration(int n, qint64 *id)
{
    const bool err = o_.withErrors && n % 5 == 4;
    const int kindOfError = n / 5 % 3;
    const QString cf = companyCode(rnd_.generate64());
    QVariantMap a{{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), cf},
                  {QStringLiteral("RagSoc"), company()}, {QStringLiteral("REA"), between(100000, 999999)},
                  {QStringLiteral("attIstat"), pick(activities_)}, {QStringLiteral("Addetti"), between(1, 250)},
                  {QStringLiteral("Mesi"), 12}, {QStringLiteral("PrefTel"), QStringLiteral("0") + QString::number(between(10, 99))},
                  {QStringLiteral("Telefono"), QString::number(between(1000000, 9999999))},
                  {QStringLiteral("saCognome"), pick(Names)}, {QStringLiteral("saNome"), pick(FirstNames)},
                  {QStringLiteral("saDataComp"), QStringLiteral("2019-%1-%2").arg(between(1, 4), 2, 10, QChar(u'0')).arg(between(1, 28), 2, 10, QChar(u'0'))},
                  {QStringLiteral("ExpID"), 0}};
    address(a);
    address(a, "sl");
    a.insert(QStringLiteral("slPrefTel"), a.value(QStringLiteral("PrefTel")));
    a.insert(QStringLiteral("slTelefono"), a.value(QStringLiteral("Telefono")));
    if (err && kindOfError == 1)
        a.insert(QStringLiteral("attIstat"), QStringLiteral("999999"));   // no such activity
    // Scheda MAT belongs to recovery plants: only declarations with MG
    // modules (every kind of scheda and module) have one.
    for (int m : {1, 3, 8, 15, 20})
        if (o_.everySection) {
            const QString k = QString::number(m).rightJustified(2, u'0');
            a.insert(QStringLiteral("msQta") + k, milli(1, 900));
            a.insert(QStringLiteral("msUmi") + k, 1);
        }
    const qint64 saID = insert(QStringLiteral("SezAnag"), a);
    if (saID < 0)
        return false;
    *id = saID;
    if (err && kindOfError == 2)   // the company section alone
        return true;

    if (o_.everySection || chance(40)) {
        if (insert(QStringLiteral("SaAut"),
                   {{QStringLiteral("saID"), saID}, {QStringLiteral("suEstremi"), QStringLiteral("AUT/%1/2016").arg(between(1, 999))},
                    {QStringLiteral("suDataRil"), QStringLiteral("2016-05-10")}, {QStringLiteral("suDataScad"), QStringLiteral("2026-05-09")},
                    {QStringLiteral("suEnte"), 2}, {QStringLiteral("suTipo"), 1}, {QStringLiteral("suRecupero"), QStringLiteral("1010000000001")},
                    {QStringLiteral("suSmaltimento"), QStringLiteral("000000000000001")}, {QStringLiteral("Incenerimento"), 1},
                    {QStringLiteral("incQta"), 12000}, {QStringLiteral("crClass1"), codes::LandfillNonPericolosi}, {QStringLiteral("crQta1"), 50000},
                    {QStringLiteral("emasData"), QStringLiteral("2017-01-31")}, {QStringLiteral("emasNumb"), QStringLiteral("IT-001234")}}) < 0)
            return false;
    }
    const int nRif = o_.everySection ? 2 : between(1, 3);
    for (int i = 0; i < nRif; ++i)
        if (!rif(saID, err && kindOfError == 0 && i == 0))
            return false;
    if (o_.everySection || chance(20)) {
        const qint64 intID = insert(QStringLiteral("SezInt"),
                                    {{QStringLiteral("saID"), saID}, {QStringLiteral("rifCod"), pick(wastes_)},
                                     {QStringLiteral("sfSolidoP"), 1}, {QStringLiteral("intQta"), qint64(4200000)},
                                     {QStringLiteral("intUmi"), 1}});
        if (intID < 0)
            return false;
        for (int t : {1, 2}) {
            QVariantMap m{{QStringLiteral("intID"), intID}, {QStringLiteral("tipoMod"), t},
                          {QStringLiteral("qtaMod"), qint64(4200000)}, {QStringLiteral("umiMod"), 1}};
            counterpart(m);
            m.remove(QStringLiteral("RegCE"));   // no cross-border code on INT modules
            if (insert(QStringLiteral("ModInt"), m) < 0)
                return false;
        }
    }
    if (o_.everySection || chance(15)) {
        const qint64 siID = insert(QStringLiteral("SezImb"),
                                   {{QStringLiteral("saID"), saID}, {QStringLiteral("msQta02"), qint64(77000)},
                                    {QStringLiteral("msUmi02"), 1}});
        qint64 delivered = 0;
        if (siID < 0 || !family(QStringLiteral("Imb"), "siID", siID, imbCodes_, true, codes::ImbMultimaterial,
                                     codes::ImbPrivate, &delivered)
            || !setDelivered(QStringLiteral("SezImb"), QStringLiteral("siID"), siID, delivered))
            return false;
    }
    for (int t : {1, 2}) {
        if (!o_.everySection && !chance(10))
            continue;
        const qint64 srID = insert(QStringLiteral("SezRaee"),
                                   {{QStringLiteral("saID"), saID}, {QStringLiteral("srTipo"), t},
                                    {QStringLiteral("srRAEE"), between(1, 6)}, {QStringLiteral("srStima"), 1},
                                    {QStringLiteral("srQta"), milli(100, 900)}, {QStringLiteral("srUmi"), 1},
                                    {QStringLiteral("msQta01"), qint64(5500)}, {QStringLiteral("msUmi01"), 1}});
        qint64 delivered = 0;
        // A CR scheda has its one frame; TRA three, the first the waste received.
        if (srID < 0
            || !family(QStringLiteral("Raee"), "srID", srID, t == 1 ? traCodes_ : crCodes_, false,
                       int(stream::raee(t).frames.size()), 1, &delivered))
            return false;
    }
    for (int t : {1, 2, 3}) {
        if (!o_.everySection && !chance(8))
            continue;
        // The vehicles of code 160104 (qta104) split by registration before
        // and after 1980; a FRA scheda has no registrations before 1980.
        QVariantMap v{{QStringLiteral("saID"), saID}, {QStringLiteral("vfuTipo"), t},
                      {QStringLiteral("qtaProprio"), qint64(3000)}, {QStringLiteral("umiProprio"), 2},
                      {QStringLiteral("qtaGiac"), qint64(12500)}, {QStringLiteral("umiGiac"), 1},
                      {QStringLiteral("msQta07"), qint64(1000)}, {QStringLiteral("msUmi07"), 1}};
        if (t != 2) {
            v.insert(QStringLiteral("qtaPost80"), qint64(14000));
            v.insert(QStringLiteral("umiPost80"), 1);
        }
        if (t == 1) {
            v.insert(QStringLiteral("qtaPre80"), qint64(2000));
            v.insert(QStringLiteral("umiPre80"), 1);
        }
        if (t != 2) {
            v.insert(QStringLiteral("qta104"), qint64(t == 1 ? 16000 : 14000));
            v.insert(QStringLiteral("umi104"), 1);
        }
        const qint64 vfuID = insert(QStringLiteral("SezVfu"), v);
        qint64 delivered = 0;
        if (vfuID < 0
            || !family(QStringLiteral("Vfu"), "vfuID", vfuID, vfuCodes_[t - 1], false, int(stream::vfu(t).frames.size()),
                       codes::VfuReceived, &delivered)
            || !setDelivered(QStringLiteral("SezVfu"), QStringLiteral("vfuID"), vfuID, delivered))
            return false;
    }
    return true;
}

} // namespace

bool generate(dbClass &db, const Options &options, QList<qint64> *ids, QString *error)
{
    Gen g(db, options);
    if (!g.load()) {
        if (error)
            *error = g.error;
        return false;
    }
    // All the declarations or none.
    dbTransaction tx(db.current());
    if (!tx.isActive()) {
        if (error)
            *error = tx.error();
        return false;
    }
    if (db.scalar(QStringLiteral("SELECT COUNT(*) FROM Setup")).toInt() == 0
        && db.insertRow(QStringLiteral("Setup"),
                        {{QStringLiteral("codFisc"), companyCode(1234567890)},
                         {QStringLiteral("RagSoc"), QStringLiteral("STUDIO AMBIENTE DEMO S.R.L.")},
                         {QStringLiteral("via"), QStringLiteral("VIA DELL'INDUSTRIA")},
                         {QStringLiteral("civico"), QStringLiteral("12/B")}, {QStringLiteral("cap"), QStringLiteral("10100")},
                         {QStringLiteral("prvIstat"), 1}, {QStringLiteral("comIstat"), 272},
                         {QStringLiteral("prefTel"), QStringLiteral("011")}, {QStringLiteral("telefono"), QStringLiteral("5551234")},
                         {QStringLiteral("email"), QStringLiteral("demo@example.it")}}) < 0) {
        if (error)
            *error = QStringLiteral("inserimento in Setup non riuscito");
        return false;
    }
    for (int i = 0; i < options.declarations; ++i) {
        qint64 id = 0;
        if (!g.declaration(i, &id)) {
            if (error)
                *error = g.error;
            return false;
        }
        if (ids)
            ids->append(id);
    }
    if (!tx.commit()) {
        if (error)
            *error = tx.error();
        return false;
    }
    return true;
}

} // namespace exch::demo
