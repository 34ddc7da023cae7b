#include "exchange/demodata.h"

#include "sections/anag/register.h"
#include "sections/codes.h"
#include "sections/stream/stream.h"
#include "shell/dbclass.h"
#include "shell/transaction.h"
#include "shell/tree/tree.h"

#include <QHash>
#include <QRandomGenerator>
#include <algorithm>
#include <deque>
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
    Gen(dbClass &db, const Options &o)
        : db_(db), o_(o), rnd_(o.seed), writer_(db.current(), tree::Writer::Undo::Caller),
          register_(db, anag::CounterpartRegister::Mode::Queued)
    {
    }

    bool load();
    bool declaration(int n, qint64 *id);
    // Writes the companies met into the register, before the run commits.
    bool finish()
    {
        if (register_.flush() >= 0)
            return true;
        error = QStringLiteral("anagrafica ditte non aggiornata");
        return false;
    }
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
    // A row of the declaration being built, under its parent (the
    // declaration itself has none); the keys come when it is written.
    tree::Node *row(tree::Node *parent, const QString &t, const QVariantMap &m);
    bool write(tree::Node &declaration, qint64 *id);
    // Operation rows R.. / D.. of a module, one per code; the recovery and
    // disposal totals are added to *recovery and *disposal when given. The
    // rows of an MG module stand in its recovery or disposal grid
    // (Posizione), those of a DR module in its one grid of destinations.
    bool operations(const QString &table, tree::Node *parent, int count, qint64 total,
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
            if (!row(parent, table, {{QStringLiteral("Posizione"), grid}, {QStringLiteral("Codice"), code},
                                     {QStringLiteral("qta"), q}, {QStringLiteral("umi"), q ? 1 : 0}}))
                return false;
        }
        return true;
    }
    // Rows of a scheda in its frames (Posizione 1..frames, the last frame
    // taking the rows beyond), with their modules; RT modules go to the rows
    // of the frames of waste received from third parties (1..received).
    bool family(const QString &suffix, tree::Node *parent, const std::vector<QString> &codes, bool imb,
                int frames, int received, qint64 *delivered);
    // The scheda's amount consigned to third parties, once its DR modules are known.
    static void setDelivered(tree::Node &scheda, qint64 milli)
    {
        scheda.set(QStringLiteral("qtaTerzi"), milli);
        scheda.set(QStringLiteral("umiTerzi"), milli ? 1 : 0);
    }
    bool rif(tree::Node *sa, bool error);

    dbClass &db_;
    Options o_;
    QRandomGenerator rnd_;
    std::vector<Place> places_;
    std::vector<QString> wastes_, activities_, imbCodes_, traCodes_, crCodes_;
    std::vector<QString> vfuCodes_[3];
    std::vector<int> nations_;
    // One writer and one register for the run (a failure rolls the whole run
    // back: no savepoint per declaration); the rows of the declaration
    // being built, kept from one declaration to the next (used_ of them are
    // the current one's).
    tree::Writer writer_;
    anag::CounterpartRegister register_;
    std::deque<tree::Node> rows_;
    size_t used_ = 0;
    QHash<QString, const schema::Table *> tables_;
};

tree::Node *Gen::row(tree::Node *parent, const QString &t, const QVariantMap &m)
{
    const schema::Table *&table = tables_[t];
    if (!table)
        table = schema::table(t);
    if (used_ == rows_.size())
        rows_.emplace_back();
    tree::Node &n = rows_[used_++];
    n.table = table;
    n.values.clear(); // keeps its room for the next row
    n.values.resize(table ? qsizetype(table->columns.size()) : 0);
    n.children.clear();
    for (auto it = m.begin(); it != m.end(); ++it) {
        const int i = table ? n.index(it.key()) : -1;
        if (i < 0) {
            error = QStringLiteral("inserimento in ") + t + QStringLiteral(" non riuscito: colonna ") + it.key();
            return nullptr;
        }
        n.values[i] = it.value();
    }
    if (parent)
        parent->children.push_back(&n);
    return &n;
}

// Writes the declaration whole, its modules' counterparts going to the
// register of companies as the modules' forms and the import put them.
bool Gen::write(tree::Node &declaration, qint64 *id)
{
    *id = writer_.write(declaration, [this](tree::Node &n) {
        return !n.table->name.startsWith(QLatin1String("Mod"))
               || register_.add(anag::counterpartOf(n)) != anag::Registered::Failed;
    });
    used_ = 0;
    if (*id >= 0)
        return true;
    error = writer_.error().isEmpty() ? QStringLiteral("anagrafica ditte non aggiornata")
                                      : QStringLiteral("scrittura della dichiarazione non riuscita: ") + writer_.error();
    return false;
}

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
bool Gen::rif(tree::Node *sa, bool error)
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
    QVariantMap s{{QStringLiteral("rifCod"), code},
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
    tree::Node *const scheda = row(sa, QStringLiteral("SezRif"), s);
    if (!scheda)
        return false;
    // Private persons are Italian.
    auto module = [&](int tipo, qint64 q, int privati) {
        QVariantMap m{{QStringLiteral("tipoMod"), tipo},
                      {QStringLiteral("qtaMod"), q}, {QStringLiteral("umiMod"), 1},
                      {QStringLiteral("Privati"), privati}};
        counterpart(m, privati == 0);
        // Waste received from abroad by a unit that manages it (MG module):
        // the RT module says how it was treated.
        if (tipo == 1 && o_.everySection && m.contains(QStringLiteral("nazID"))) {
            m.insert(QStringLiteral("qtaSmalt"), q);
            m.insert(QStringLiteral("umiSmalt"), 1);
        }
        return row(scheda, QStringLiteral("ModRif"), m);
    };
    // Municipal waste (chapter 20) from private persons is declared elsewhere.
    for (qint64 q : rt)
        if (!module(1, q, chance(30) && !code.startsWith(QLatin1String("20")) ? 1 : 0))
            return false;
    for (qint64 q : dr) {
        tree::Node *m = module(2, q, 0);
        if (!m)
            return false;
        m->set(QStringLiteral("qtaSmalt"), q);
        m->set(QStringLiteral("umiSmalt"), 1);
    }
    if (!module(3, cons, 0))
        return false;
    if (o_.everySection) {
        const tree::Node *re = row(scheda, QStringLiteral("ModRif"),
                                   {{QStringLiteral("tipoMod"), 5},
                                    {QStringLiteral("prvIstat"), places_.front().prv},
                                    {QStringLiteral("comIstat"), places_.front().com},
                                    {QStringLiteral("qtaMod"), qint64(1500)}, {QStringLiteral("umiMod"), 2}});
        tree::Node *mg = re ? row(scheda, QStringLiteral("ModRif"), {{QStringLiteral("tipoMod"), 4}}) : nullptr;
        // What the unit recovered and disposed of is what its MG module did.
        qint64 recovered = 0, disposed = 0;
        if (!mg || !operations(QStringLiteral("RecRif"), mg, 21, prod, true, &recovered, &disposed))
            return false;
        scheda->set(QStringLiteral("qtaRec"), recovered);
        scheda->set(QStringLiteral("umiRec"), recovered ? 1 : 0);
        scheda->set(QStringLiteral("qtaSmalt"), disposed);
        scheda->set(QStringLiteral("umiSmalt"), disposed ? 1 : 0);
    }
    return true;
}

// Waste rows of a packaging, electrical-equipment or vehicle scheda and
// their modules. A row received from third parties (IMB: positions 1 and 2,
// public and private surface; the others: position 1) has its RT module of
// the same amount; every row goes to a destination (DR) with its operations;
// all the family's counterparts are Italian. *delivered: the DR total, the
// scheda's "consigned to third parties".
bool Gen::family(const QString &suffix, tree::Node *parent, const std::vector<QString> &codes, bool imb,
                 int frames, int receivedFrames, qint64 *delivered)
{
    const QString rec = QStringLiteral("Rec") + suffix, mod = QStringLiteral("Mod") + suffix;
    const int nRows = o_.everySection ? 4 : between(1, 3);
    *delivered = 0;
    for (int i = 0; i < nRows; ++i) {
        const QString code = codes[size_t(i) % codes.size()];
        const qint64 qta = milli(100, 8000);
        const int pos = std::min(i + 1, frames);
        QVariantMap r{{QStringLiteral("Posizione"), pos},
                      {QStringLiteral("rifCod"), code}, {QStringLiteral("qta"), qta},
                      {QStringLiteral("umi"), 1}};
        if (imb)
            r.insert(QStringLiteral("allAcc"), i % 2);
        if (!row(parent, rec, r))
            return false;
        const bool received = pos <= receivedFrames;
        for (int tipo = 1; tipo <= 4; ++tipo) {
            if (tipo == 1 && !received)
                continue;
            if (!o_.everySection && tipo != 1 && tipo != 2)
                continue;
            QVariantMap m{{QStringLiteral("rifCod"), code}, {QStringLiteral("tipoMod"), tipo}};
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
            tree::Node *module = row(parent, mod, m);
            if (!module)
                return false;
            if ((tipo == 2 || tipo == 4)
                && !operations(QStringLiteral("RecMod") + suffix, module, tipo == 4 && o_.everySection ? 20 : 2,
                               qta, tipo == 4))
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
    tree::Node *const sa = row(nullptr, QStringLiteral("SezAnag"), a);
    if (!sa)
        return false;
    if (err && kindOfError == 2)   // the company section alone
        return write(*sa, id);

    if (o_.everySection || chance(40)) {
        if (!row(sa, QStringLiteral("SaAut"),
                 {{QStringLiteral("suEstremi"), QStringLiteral("AUT/%1/2016").arg(between(1, 999))},
                    {QStringLiteral("suDataRil"), QStringLiteral("2016-05-10")}, {QStringLiteral("suDataScad"), QStringLiteral("2026-05-09")},
                    {QStringLiteral("suEnte"), 2}, {QStringLiteral("suTipo"), 1}, {QStringLiteral("suRecupero"), QStringLiteral("1010000000001")},
                    {QStringLiteral("suSmaltimento"), QStringLiteral("000000000000001")}, {QStringLiteral("Incenerimento"), 1},
                    {QStringLiteral("incQta"), 12000}, {QStringLiteral("crClass1"), codes::LandfillNonPericolosi}, {QStringLiteral("crQta1"), 50000},
                    {QStringLiteral("emasData"), QStringLiteral("2017-01-31")}, {QStringLiteral("emasNumb"), QStringLiteral("IT-001234")}}))
            return false;
    }
    const int nRif = o_.everySection ? 2 : between(1, 3);
    for (int i = 0; i < nRif; ++i)
        if (!rif(sa, err && kindOfError == 0 && i == 0))
            return false;
    if (o_.everySection || chance(20)) {
        tree::Node *const scheda = row(sa, QStringLiteral("SezInt"),
                                       {{QStringLiteral("rifCod"), pick(wastes_)}, {QStringLiteral("sfSolidoP"), 1},
                                        {QStringLiteral("intQta"), qint64(4200000)}, {QStringLiteral("intUmi"), 1}});
        if (!scheda)
            return false;
        for (int t : {1, 2}) {
            QVariantMap m{{QStringLiteral("tipoMod"), t},
                          {QStringLiteral("qtaMod"), qint64(4200000)}, {QStringLiteral("umiMod"), 1}};
            counterpart(m);
            m.remove(QStringLiteral("RegCE"));   // no cross-border code on INT modules
            if (!row(scheda, QStringLiteral("ModInt"), m))
                return false;
        }
    }
    if (o_.everySection || chance(15)) {
        tree::Node *const scheda = row(sa, QStringLiteral("SezImb"),
                                       {{QStringLiteral("msQta02"), qint64(77000)}, {QStringLiteral("msUmi02"), 1}});
        qint64 delivered = 0;
        if (!scheda || !family(QStringLiteral("Imb"), scheda, imbCodes_, true, codes::ImbMultimaterial,
                               codes::ImbPrivate, &delivered))
            return false;
        setDelivered(*scheda, delivered);
    }
    for (int t : {1, 2}) {
        if (!o_.everySection && !chance(10))
            continue;
        tree::Node *const scheda = row(sa, QStringLiteral("SezRaee"),
                                       {{QStringLiteral("srTipo"), t},
                                    {QStringLiteral("srRAEE"), between(1, 6)}, {QStringLiteral("srStima"), 1},
                                    {QStringLiteral("srQta"), milli(100, 900)}, {QStringLiteral("srUmi"), 1},
                                    {QStringLiteral("msQta01"), qint64(5500)}, {QStringLiteral("msUmi01"), 1}});
        qint64 delivered = 0;
        // A CR scheda has its one frame; TRA three, the first the waste received.
        if (!scheda
            || !family(QStringLiteral("Raee"), scheda, t == 1 ? traCodes_ : crCodes_, false,
                       int(stream::raee(t).frames.size()), 1, &delivered))
            return false;
    }
    for (int t : {1, 2, 3}) {
        if (!o_.everySection && !chance(8))
            continue;
        // The vehicles of code 160104 (qta104) split by registration before
        // and after 1980; a FRA scheda has no registrations before 1980.
        QVariantMap v{{QStringLiteral("vfuTipo"), t},
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
        tree::Node *const scheda = row(sa, QStringLiteral("SezVfu"), v);
        qint64 delivered = 0;
        if (!scheda
            || !family(QStringLiteral("Vfu"), scheda, vfuCodes_[t - 1], false, int(stream::vfu(t).frames.size()),
                       codes::VfuReceived, &delivered))
            return false;
        setDelivered(*scheda, delivered);
    }
    return write(*sa, id);
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
    if (!g.finish() || !tx.commit()) {
        if (error)
            *error = g.error.isEmpty() ? tx.error() : g.error;
        return false;
    }
    return true;
}

} // namespace exch::demo
