#include "exchange/layouts.h"

#include "exchange/codepage.h"
#include "shell/dbstatement.h"
#include "shell/qty.h"

#include <QDate>
#include <QHash>
#include <QVarLengthArray>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

namespace exch {

int Field::size() const
{
    switch (enc) {
    case Enc::Flag: return 2;
    case Enc::Date: return 9;
    case Enc::Qty: return 12;
    case Enc::QtyUnit: return 14;
    default: return width + 1;
    }
}

int Layout::fieldsSize() const
{
    int n = 0;
    for (const Field &f : fields)
        n += f.size();
    return n;
}

namespace {

using Fields = std::vector<Field>;

Field make(const char *n, Enc e, int w, const char *unit = nullptr)
{
    const QString label = QString::fromLatin1(n);
    return {label.toLower(), e, w, unit ? QString::fromLatin1(unit).toLower() : QString(), {},
            label.startsWith(u'#') ? label.mid(1) : label};
}
Field T(const char *n, int w) { return make(n, Enc::Text, w); }
Field N(const char *n, int w) { return make(n, Enc::Number, w); }
Field F(const char *n) { return make(n, Enc::Flag, 1); }
Field D(const char *n) { return make(n, Enc::Date, 8); }
Field QU(const char *q, const char *u) { return make(q, Enc::QtyUnit, 13, u); }
// A quantity pair of a computed slot "#name" with unit "#nameu".
Field cQU(const QString &n) { return {n, Enc::QtyUnit, 13, n + u'u', {}}; }
Field X(const char *lit) { return {QStringLiteral("#fixed"), Enc::Fixed, int(qstrlen(lit)), {}, QString::fromLatin1(lit)}; }

void add(Fields &f, std::initializer_list<Field> more) { f.insert(f.end(), more); }

// Subject of a module: producer, destination or transporter. The families of
// packaging, electrical equipment and vehicles insert a Flag after the tax code.
void subject(Fields &f, const char *flagColumn = nullptr)
{
    f.push_back(T("CodFisc", 16));
    if (flagColumn)
        f.push_back(F(flagColumn));
    add(f, {T("RagSoc", 60), N("prvIstat", 3), N("comIstat", 3), T("Via", 30), T("Civico", 6),
            T("Cap", 5), QU("qtaMod", "umiMod"), T("#nazDesc", 20), T("RegCE", 6)});
}

void shortSubject(Fields &f)
{
    add(f, {T("CodFisc", 16), T("RagSoc", 60), N("prvIstat", 3), N("comIstat", 3), T("Via", 30),
            T("Civico", 6), T("#nazDesc", 20)});
}

void physicalStates(Fields &f)
{
    for (const char *s : {"sfSolidoP", "sfSolidoNP", "sfFangoso", "sfLiquido", "sfAeriforme",
                          "sfVischioso", "sfAltro"})
        f.push_back(F(s));
}

// Operation rows of a module: pairs (code, quantity with unit) numbered from
// the first pair of the line: "#cod1", "#qta1" + "#qta1u", ...
void pairs(Fields &f, int n)
{
    for (int i = 1; i <= n; ++i) {
        f.push_back({QStringLiteral("#cod%1").arg(i), Enc::Text, 5, {}, {}});
        f.push_back(cQU(QStringLiteral("#qta%1").arg(i)));
    }
}

// Start of the child records of the three families with a parent kind.
void raeeStart(Fields &f) { add(f, {T("#sKind", 3), N("#sCat", 2)}); }
void vfuStart(Fields &f) { f.push_back(T("#sKind", 3)); }

// RT and TE modules of the packaging, RAEE and vehicle families (IC, RC, VE).
// Decided: the two Number(1) fields of an RT module carry discDep and disc191
// (both 0/1); a TE module writes them as "0;0;". The inserted Flag is mbFlag
// for packaging and Privati for RAEE and vehicles.
void rtte(Fields &f, const char *flagColumn)
{
    add(f, {T("rifCod", 6), T("#kind", 2), N("#prog", 3)});
    subject(f, flagColumn);
    add(f, {N("discDep", 1), N("disc191", 1)});
}

// DR modules of the same families (ID, RD, VF). Decided: the subject block with
// its Flag, then the operation quantities of a DR module as in BB (qtaSmalt,
// qtaDep, qta191, qtaInc, qtaDisc), the flags discDep and disc191, the number of
// operation rows that follow as detail lines (Number(5)), and a space filler to
// the binding length (ID is two characters longer than RD and VF).
void dr(Fields &f, const char *flagColumn, int filler)
{
    add(f, {T("rifCod", 6), T("#kind", 2), N("#prog", 3)});
    subject(f, flagColumn);
    add(f, {QU("qtaSmalt", "umiSmalt"), QU("qtaDep", "umiDep"), QU("qta191", "umi191"),
            QU("qtaInc", "umiInc"), QU("qtaDisc", "umiDisc"), F("discDep"), F("disc191"),
            N("#nRows", 5), T("#filler", filler)});
}

// The columns of an MG module itself, carried by the second detail line of
// each of its pairs (BE, IF, RF, VH): the plant type (Privati, Number(2)), the
// stocks at 31/12 to recovery (qtaMod) and to disposal (qtaSmalt), the
// quantity landfilled (qtaDep) with its landfill class (discDep, Number(1)),
// the quantity landfilled under art. 191 (qta191) with its class (disc191,
// Number(1)), and a filler of 16 spaces: 80 characters, the place of four
// operation pairs. A DR module writes it with zeros and spaces.
void mgModule(Fields &f)
{
    add(f, {N("Privati", 2), QU("qtaMod", "umiMod"), QU("qtaSmalt", "umiSmalt"), QU("qtaDep", "umiDep"),
            N("discDep", 1), QU("qta191", "umi191"), N("disc191", 1), T("#mgFiller", 16)});
}

// Detail lines of the same families (IE/IF, RE/RF, VG/VH). Decided: a module's
// operation rows (of a DR or an MG module, in order of Posizione) go in pairs of
// lines: the first kind carries 9 (Codice, quantity) pairs, the second kind 6
// pairs, the columns of an MG module (mgModule above), and closes with the
// module's flag (mbFlag for packaging, Privati otherwise) and the number of its
// rows. Each line starts with the module's waste code, kind ("DR" or "MG"),
// progressive within its kind and the number of the pair of lines. A DR module
// numbers its pairs 1, 2, ... (more than 15 rows take two); an MG module
// writes each of its grids that has rows in pairs numbered with the grid (1
// recovery, 2 disposal, 3 disposal under art. 191), so the rows go back to
// their grid when read; a grid of more than 15 rows takes more pairs of the
// same number. Every DR and MG module writes at least one pair.
void detail1(Fields &f)
{
    add(f, {T("rifCod", 6), T("#kind", 2), N("#prog", 3), N("#seq", 2)});
    pairs(f, 9);
}
void detail2(Fields &f)
{
    add(f, {T("rifCod", 6), T("#kind", 2), N("#prog", 3), N("#seq", 2)});
    pairs(f, 6);
    mgModule(f);
    add(f, {F("#modFlag"), N("#nRows", 3)});
}

// The RIF family: every module record starts with the scheda's progressive
// and waste code (with the prefix, the 49-character key).
void rifStart(Fields &f) { add(f, {N("#sProg", 4), T("#sCod", 6)}); }

// Record keys of the field names, looked up once.
void keyed(Layout &l)
{
    for (Field &f : l.fields) {
        f.key = keyOf(f.name);
        if (!f.unit.isEmpty())
            f.unitKey = keyOf(f.unit);
    }
}

// Waste codes of the vehicle and electrical-equipment schede. The code lists
// of those schede (Codici types 4 to 6, 21 and 22) hold in codAlfa the
// six-digit waste code itself, the form that the grids store and that the
// rifCod fields of the records carry. Translating a stored code into the
// file's code is therefore the identity, both ways, and the writer and the
// reader copy rifCod as it is; the reference-data test keeps the lists to
// that form (six digits, present in Rifiuti).
std::vector<Layout> build()
{
    std::vector<Layout> v;
    auto L = [&](const char *code, int len, int key, const char *table, Fields f) {
        v.push_back({int(v.size()), QString::fromLatin1(code), len, key, QString::fromLatin1(table),
                     std::move(f)});
    };
    Fields f;

    // AA: anagrafica of the declaration.
    f = {T("attIstat", 6), N("REA", 9), N("Addetti", 5), T("RagSoc", 60), N("prvIstat", 3),
         N("comIstat", 3), T("Via", 30), T("Civico", 6), T("Cap", 5), T("PrefTel", 5),
         T("Telefono", 10), N("slPrvIstat", 3), N("slComIstat", 3), T("slVia", 30),
         T("slCivico", 6), T("slCap", 5), T("slPrefTel", 5), T("slTelefono", 10),
         T("saCognome", 25), T("saNome", 25), D("saDataComp"), N("Mesi", 2), F("saAnnulla"),
         D("saDataPrec")};
    L("AA", 338, 0, "SezAnag", f);

    // AB: counts of schede.
    f = {N("#nRif", 6), N("#nInt", 6), N("#nAut", 1), N("#nRot", 1), N("#nFra", 1),
         N("#nTra", 2), N("#nCr", 2), N("#nImb", 1), N("#nAu", 2), T("#filler", 184)};
    L("AB", 257, 37, "", f);

    // BA: scheda RIF. The four counts are those of RT, RE, TE and DR modules;
    // MG modules are not counted.
    f = {N("#prog", 4), T("rifCod", 6)};
    physicalStates(f);
    add(f, {QU("qtaProd", "UmiProd"), QU("qtaTerzi", "umiTerzi"), N("#nRT", 5),
            QU("qtaFuori", "umiFuori"), N("#nRE", 5), QU("qtaTras", "umiTras"), N("#nTE", 5),
            QU("qtaCons", "umiCons"), N("#nDR", 5), QU("qtaGiacRec", "umiGiacRec"),
            QU("qtaGiacSmalt", "umiGiacSmalt"), QU("qtaRec", "umiRec"),
            QU("qtaSmalt", "umiSmalt")});
    L("BA", 217, 37, "SezRif", f);

    // BB: RIF module RT, DR or TE. The Privati flag belongs to RT modules;
    // DR and TE modules write it "0;".
    f = {};
    rifStart(f);
    add(f, {T("#kind", 2), N("#prog", 5)});
    subject(f);
    add(f, {F("Privati"), QU("qtaSmalt", "umiSmalt"), QU("qtaDep", "umiDep"),
            QU("qta191", "umi191"), QU("qtaInc", "umiInc"), QU("qtaDisc", "umiDisc"),
            F("discDep"), F("disc191")});
    L("BB", 310, 49, "ModRif", f);

    // BC: RIF module RE.
    f = {};
    rifStart(f);
    add(f, {N("#prog", 5), N("prvIstat", 3), N("comIstat", 3), N("Privati", 1),
            QU("qtaMod", "umiMod")});
    L("BC", 83, 49, "ModRif", f);

    // BD, BE: RIF module MG with its RecRif rows. Decided: as the detail lines
    // of the other families, in pairs of lines: kind "MG", the module's
    // progressive among the MG modules of the scheda (Number(5)), the number of
    // the pair, which is the grid of its rows (Number(2)), then 9 (BD) or 6
    // (BE) pairs of operation code Text(5) and quantity with unit; BE goes on
    // with the columns of the module (mgModule) and closes with the number of
    // rows of the module (Number(2)). Every MG module writes at least one pair.
    f = {};
    rifStart(f);
    add(f, {T("#kind", 2), N("#prog", 5), N("#seq", 2)});
    pairs(f, 9);
    L("BD", 245, 49, "RecRif", f);
    f = {};
    rifStart(f);
    add(f, {T("#kind", 2), N("#prog", 5), N("#seq", 2)});
    pairs(f, 6);
    mgModule(f);
    f.push_back(N("#nRows", 2));
    L("BE", 268, 49, "RecRif", f);

    // DA: scheda INT. Decided: the two counts are UO and UD modules.
    f = {N("#prog", 4), T("rifCod", 6)};
    physicalStates(f);
    add(f, {QU("intQta", "intUmi"), N("#nUO", 5), N("#nUD", 5)});
    L("DA", 93, 37, "SezInt", f);

    // DB: INT module UO or UD.
    f = {};
    rifStart(f);
    add(f, {T("#kind", 2), N("#prog", 5)});
    shortSubject(f);
    f.push_back(QU("qtaMod", "umiMod"));
    L("DB", 221, 49, "ModInt", f);

    // RA: scheda RAEE. Decided: the counts are, in order, the RB rows, the RT
    // modules, the TE modules and the DR modules; MG modules are not counted.
    f = {T("#sKind", 3), N("srRAEE", 2), F("srStima"), N("#nRows", 5), QU("srQta", "srUmi"),
         N("#nRT", 5), N("#nTE", 5), F("srUL"), N("#nDR", 5), QU("qtaGiac", "umiGiac"),
         QU("qtaSmalt", "umiSmalt"), QU("qtaRecMat", "umiRecMat"),
         QU("qtaRecEner", "umiRecEner"), QU("qtaAppInt", "umiAppInt")};
    L("RA", 160, 37, "SezRaee", f);

    f = {};
    raeeStart(f);
    add(f, {T("#pos", 2), T("rifCod", 6), QU("qta", "umi")});
    L("RB", 72, 44, "RecRaee", f);
    f = {};
    raeeStart(f);
    rtte(f, "Privati");
    L("RC", 240, 44, "ModRaee", f);
    f = {};
    raeeStart(f);
    dr(f, "Privati", 152);
    L("RD", 469, 44, "ModRaee", f);
    f = {};
    raeeStart(f);
    detail1(f);
    L("RE", 245, 44, "RecModRaee", f);
    f = {};
    raeeStart(f);
    detail2(f);
    L("RF", 271, 44, "RecModRaee", f);

    // VC: scheda VFU. Decided: the counts are the VD rows, the RT, TE and DR
    // modules; "#own1..3" and "#veh1..3" are the slots whose content depends
    // on the kind of scheda.
    f = {T("#sKind", 3), QU("qtaTerzi", "umiTerzi"), N("#nRows", 5), N("#nRT", 5),
         N("#nTE", 5), N("#nDR", 5), X("0"), cQU(QStringLiteral("#own1")),
         cQU(QStringLiteral("#own2")), cQU(QStringLiteral("#own3")), QU("qtaSmalt", "umiSmalt"),
         QU("qtaRecMat", "umiRecMat"), QU("qtaRecEner", "umiRecEner"), QU("qtaGiac", "umiGiac"),
         cQU(QStringLiteral("#veh1")), cQU(QStringLiteral("#veh2")), cQU(QStringLiteral("#veh3"))};
    L("VC", 225, 37, "SezVfu", f);
    f = {};
    vfuStart(f);
    add(f, {T("#pos", 2), T("rifCod", 6), QU("qta", "umi")});
    L("VD", 69, 41, "RecVfu", f);
    f = {};
    vfuStart(f);
    rtte(f, "Privati");
    L("VE", 237, 41, "ModVfu", f);
    f = {};
    vfuStart(f);
    dr(f, "Privati", 152);
    L("VF", 466, 41, "ModVfu", f);
    f = {};
    vfuStart(f);
    detail1(f);
    L("VG", 242, 41, "RecModVfu", f);
    f = {};
    vfuStart(f);
    detail2(f);
    L("VH", 268, 41, "RecModVfu", f);

    // IA: scheda IMB. Decided: the four counts are the IB rows, the RT, TE and
    // DR modules; MG modules are not counted.
    f = {QU("qtaTerzi", "umiTerzi"), N("#nRows", 5), N("#nRT", 5), N("#nTE", 5), N("#nDR", 5),
         QU("qtaGiac", "umiGiac")};
    L("IA", 93, 37, "SezImb", f);
    f = {T("rifCod", 6), T("allAcc", 1), T("#pos", 2), QU("qta", "umi")};
    L("IB", 67, 37, "RecImb", f);
    f = {};
    rtte(f, "mbFlag");
    L("IC", 233, 37, "ModImb", f);
    f = {};
    dr(f, "mbFlag", 154);
    L("ID", 464, 37, "ModImb", f);
    f = {};
    detail1(f);
    L("IE", 238, 37, "RecModImb", f);
    f = {};
    detail2(f);
    L("IF", 264, 37, "RecModImb", f);

    // MA: materials, a label (kind and category) and 21 slots. The
    // declaration's own MA ("RIF;00;") is written for every declaration.
    f = {T("#mKind", 3), N("#mCat", 2)};
    for (int i = 1; i <= 21; ++i)
        f.push_back(cQU(QStringLiteral("#m%1").arg(i)));
    L("MA", 342, 37, "", f);

    // AU: scheda SA-AUT.
    f = {N("#prog", 4), T("suEstremi", 20), D("suDataRil"), D("suDataScad"), N("suEnte", 1),
         N("suTipo", 1), F("suRinnovo"), T("#recupero", 50), T("#smaltimento", 50), F("suVFU"),
         F("suRAEE"), F("Incenerimento"), N("incQta", 9), N("incRifP", 9), N("incRifNP", 9),
         F("Coincenerimento"), N("conQta", 9), N("conRifP", 9), N("conRifNP", 9),
         N("crClass1", 1), N("crQta1", 9), N("crClass2", 1), N("crQta2", 9), N("crClass3", 1),
         N("crQta3", 9), D("emasData"), T("emasNumb", 9), D("iso14000")};
    L("AU", 325, 37, "SaAut", f);
    for (Layout &l : v)
        keyed(l);
    return v;
}

Layout buildHeader()
{
    Fields f = {X("XX"), T("#version", 7), N("#recVersion", 2), T("#date", 8), T("#time", 6),
                N("#total", 8)};
    for (int i = 0; i < RecordTypes; ++i)
        f.push_back({QStringLiteral("#c%1").arg(i), Enc::Number, 5, {}, {}});
    add(f, {T("codFisc", 16), T("RagSoc", 60), T("via", 30), T("civico", 10), T("cap", 5),
            T("comDesc", 30), T("prvSigla", 2), T("prefTel", 5), T("telefono", 10),
            T("email", 60), T("#control", 30)});
    Layout h{-1, QStringLiteral("XX"), HeaderLength, 0, QString(), f};
    keyed(h);
    return h;
}

} // namespace

const std::vector<int> &mgModuleKeys()
{
    static const std::vector<int> v = [] {
        Fields f;
        mgModule(f);
        std::vector<int> k;
        for (const Field &x : f)
            if (!x.computed()) {
                k.push_back(keyOf(x.name));
                if (!x.unit.isEmpty())
                    k.push_back(keyOf(x.unit));
            }
        return k;
    }();
    return v;
}

const Layout &header()
{
    static const Layout h = buildHeader();
    return h;
}

const std::vector<Layout> &layouts()
{
    static const std::vector<Layout> v = build();
    return v;
}

const Layout &layout(int index) { return layouts().at(size_t(index)); }

const Layout *layout(QByteArrayView code)
{
    // Codes are two capital letters: a table of 26 x 26.
    static const std::array<const Layout *, 26 * 26> byCode = [] {
        std::array<const Layout *, 26 * 26> t{};
        for (const Layout &l : layouts())
            t[size_t((l.code.at(0).unicode() - 'A') * 26 + l.code.at(1).unicode() - 'A')] = &l;
        return t;
    }();
    if (code.size() != 2 || code[0] < 'A' || code[0] > 'Z' || code[1] < 'A' || code[1] > 'Z')
        return nullptr;
    return byCode[size_t((code[0] - 'A') * 26 + code[1] - 'A')];
}

// ---- encoders ----
//
// Each encoder writes its field, terminator included, at p and moves p past
// it; one that fails (a value that does not fit) writes nothing.

namespace {

// w digits of a non-negative number with leading zeros; false when wider.
bool digits(qint64 n, int w, char *&p)
{
    char buf[24];
    int i = 0;
    do {
        buf[i++] = char('0' + n % 10);
        n /= 10;
    } while (n > 0 && i < 24);
    if (n > 0 || i > w)
        return false;
    for (int k = i; k < w; ++k)
        *p++ = '0';
    while (i > 0)
        *p++ = buf[--i];
    return true;
}

// A QVariant as a value: whole numbers stay numbers, anything else is its
// text, kept in *store.
Val valOf(const QVariant &v, QByteArray *store)
{
    if (!v.isValid() || v.isNull())
        return {};
    if (dbStatement::isInteger(v))
        return Val::of(v.toLongLong());
    *store = v.toString().toUtf8();
    return Val::text(*store);
}

bool isAscii(const char *p, qsizetype n)
{
    for (qsizetype i = 0; i < n; ++i)
        if (uchar(p[i]) >= 0x80)
            return false;
    return true;
}

// Text: at most w characters without line breaks, through the code page,
// padded with spaces.
void textInto(const Val &v, int w, char *&p)
{
    int n = 0;
    if (v.isInt()) {
        char buf[24];
        const int len = std::snprintf(buf, sizeof buf, "%lld", static_cast<long long>(v.i));
        for (; n < len && n < w; ++n)
            *p++ = buf[n];
    } else if (v.isText() && isAscii(v.s, v.n)) {
        for (int i = 0; i < v.n && n < w; ++i) {
            const char c = v.s[i];
            if (c == '\r' || c == '\n')
                continue;
            *p++ = c;
            ++n;
        }
    } else if (v.isText()) {
        for (QChar c : v.toString()) {
            if (n == w)
                break;
            if (c == u'\r' || c == u'\n')
                continue;
            *p++ = cp1252::fromUnicode(c.unicode());
            ++n;
        }
    }
    for (; n < w; ++n)
        *p++ = ' ';
    *p++ = ';';
}

bool numberInto(const Val &v, int w, char *&p)
{
    qint64 n = 0;
    if (v.isInt()) {
        n = v.i;
    } else if (v.isText()) {
        bool ok = false;
        n = v.toVariant().toLongLong(&ok);
        if (!ok) {
            const QString s = v.toString().trimmed();
            n = s.isEmpty() ? 0 : s.toLongLong(&ok);
            if (!s.isEmpty() && !ok)
                return false;
        }
    }
    if (n < 0 || !digits(n, w, p))
        return false;
    *p++ = ';';
    return true;
}

void flagInto(const Val &v, char *&p)
{
    *p++ = v.toInt() != 0 ? '1' : '0';
    *p++ = ';';
}

// Two digits at p as a number, -1 when they are not digits.
int twoDigits(const char *p)
{
    return p[0] >= '0' && p[0] <= '9' && p[1] >= '0' && p[1] <= '9' ? (p[0] - '0') * 10 + p[1] - '0' : -1;
}

bool dateInto(const Val &v, char *&p)
{
    // A stored date, "yyyy-MM-dd", is read here; any other text as QDate
    // reads an ISO date.
    if (v.isText() && v.n == 10 && v.s[4] == '-' && v.s[7] == '-') {
        const int c = twoDigits(v.s), y = twoDigits(v.s + 2), m = twoDigits(v.s + 5), d = twoDigits(v.s + 8);
        if (c >= 10 && y >= 0 && m >= 0 && d >= 0) {
            if (!QDate::isValid(c * 100 + y, m, d))
                return false;
            const char out[9] = {v.s[0], v.s[1], v.s[2], v.s[3], v.s[5], v.s[6], v.s[8], v.s[9], ';'};
            std::memcpy(p, out, 9);
            p += 9;
            return true;
        }
    }
    const QString s = v.toString();
    if (v.isNull() || s.trimmed().isEmpty()) {
        std::memcpy(p, "        ;", 9);
        p += 9;
        return true;
    }
    const QDate d = QDate::fromString(s.left(10), Qt::ISODate);
    if (!d.isValid() || d.year() < 1000 || d.year() > 9999)
        return false;
    std::memcpy(p, d.toString(QStringLiteral("yyyyMMdd")).toLatin1().constData(), 8);
    p[8] = ';';
    p += 9;
    return true;
}

qint64 milliOf(const Val &v)
{
    return v.isInt() ? v.i : Qty::fromStore(v.toVariant()).toMilli();
}

bool quantityMilli(qint64 m, char *&p)
{
    if (m < 0 || m > Qty::FileMaxMilli)
        return false;
    digits(m / 1000, 7, p);
    *p++ = ',';
    digits(m % 1000, 3, p);
    *p++ = ';';
    return true;
}

bool quantityUnitInto(const Val &milli, const Val &unit, char *&p)
{
    const qint64 m = milliOf(milli);
    if (m < 0 || m > Qty::FileMaxMilli)
        return false;
    char u = '0';
    if (m != 0 && !unit.isNull()) {
        if (unit.isInt() && unit.i >= 0) {
            qint64 n = unit.i;
            while (n >= 10)
                n /= 10;
            u = char('0' + n);
        } else {
            const QString s = unit.toString();
            if (s.isEmpty() || cp1252::fromUnicode(s.at(0).unicode()) == '?')
                return false;
            u = cp1252::fromUnicode(s.at(0).unicode());
        }
    }
    quantityMilli(m, p);
    *p++ = u;
    *p++ = ';';
    return true;
}

// Runs an encoder on a buffer and appends what it wrote.
template <typename F>
bool appended(QByteArray &out, F &&encode)
{
    char buf[512];
    char *p = buf;
    const bool ok = encode(p);
    out.append(buf, p - buf);
    return ok;
}

} // namespace

QByteArray text(const QVariant &v, int w)
{
    QByteArray store, b;
    b.resize(w + 1);
    char *p = b.data();
    textInto(valOf(v, &store), w, p);
    return b;
}

bool number(const QVariant &v, int w, QByteArray &out)
{
    QByteArray store;
    return appended(out, [&](char *&p) { return numberInto(valOf(v, &store), w, p); });
}

QByteArray flag(const QVariant &v)
{
    QByteArray store, b;
    appended(b, [&](char *&p) {
        flagInto(valOf(v, &store), p);
        return true;
    });
    return b;
}

bool date(const QVariant &v, QByteArray &out)
{
    QByteArray store;
    return appended(out, [&](char *&p) { return dateInto(valOf(v, &store), p); });
}

bool quantity(const QVariant &milliValue, QByteArray &out)
{
    QByteArray store;
    return appended(out, [&](char *&p) { return quantityMilli(milliOf(valOf(milliValue, &store)), p); });
}

bool quantityUnit(const QVariant &milliValue, const QVariant &unit, QByteArray &out)
{
    QByteArray s1, s2;
    return appended(out, [&](char *&p) { return quantityUnitInto(valOf(milliValue, &s1), valOf(unit, &s2), p); });
}

namespace {

bool encodeInto(const Field &f, const Record &row, char *&p, QString *why)
{
    const Val v = f.enc == Enc::Fixed ? Val() : row.get(f.key);
    bool ok = true;
    switch (f.enc) {
    case Enc::Text: textInto(v, f.width, p); break;
    case Enc::Number:
        ok = numberInto(v, f.width, p);
        if (!ok && why)
            *why = QStringLiteral("il numero %1 supera %2 cifre").arg(v.toString()).arg(f.width);
        break;
    case Enc::Flag: flagInto(v, p); break;
    case Enc::Date:
        ok = dateInto(v, p);
        if (!ok && why)
            *why = QStringLiteral("la data %1 non è valida").arg(v.toString());
        break;
    case Enc::Qty:
    case Enc::QtyUnit:
        ok = f.enc == Enc::Qty ? quantityMilli(milliOf(v), p) : quantityUnitInto(v, row.get(f.unitKey), p);
        if (!ok && why)
            *why = QStringLiteral("la quantità %1 non è compresa tra 0 e 9.999.999,999")
                       .arg(Qty::fromStore(v.toVariant()).format());
        break;
    case Enc::Fixed:
        for (QChar c : f.literal)
            *p++ = char(c.unicode());
        *p++ = ';';
        break;
    }
    return ok;
}

} // namespace

bool encodeField(const Field &f, const Record &row, QByteArray &out, QString *why)
{
    const qsizetype at = out.size();
    out.resize(at + f.size());
    char *p = out.data() + at;
    const bool ok = encodeInto(f, row, p, why);
    out.resize(p - out.constData());
    return ok;
}

bool encodeField(const Field &f, const QVariantMap &row, QByteArray &out, QString *why)
{
    return encodeField(f, Record::fromMap(row), out, why);
}

bool encodeFields(const Layout &l, const Record &row, QByteArray &line, QString *field, QString *why)
{
    const qsizetype at = line.size();
    line.resize(at + l.fieldsSize());
    char *p = line.data() + at;
    for (const Field &f : l.fields)
        if (!encodeInto(f, row, p, why)) {
            line.resize(p - line.constData());
            if (field)
                *field = f.label.isEmpty() ? f.name.mid(f.name.startsWith(u'#') ? 1 : 0) : f.label;
            return false;
        }
    return true;
}

bool encodeFields(const Layout &l, const QVariantMap &row, QByteArray &line, QString *field,
                  QString *why)
{
    return encodeFields(l, Record::fromMap(row), line, field, why);
}

namespace {

// A whole number of a field: plain digits are read here, anything else as
// QByteArray::toLongLong() reads it (0 when it is not a number).
qint64 toInt64(const char *p, qsizetype n)
{
    if (n > 0 && n <= 18) {
        qint64 v = 0;
        unsigned bad = 0;
        for (qsizetype i = 0; i < n; ++i) {
            const unsigned d = unsigned(uchar(p[i])) - '0';
            bad |= d > 9;
            v = v * 10 + d;
        }
        if (!bad)
            return v;
    }
    return QByteArray::fromRawData(p, n).trimmed().toLongLong();
}

qint64 decodeQty(const char *p, qsizetype n)
{
    // "0001234,500": seven digits, comma, three digits.
    if (n == 11 && p[7] == ',') {
        qint64 v = 0;
        unsigned bad = 0;
        auto digit = [&](int i) {
            const unsigned d = unsigned(uchar(p[i])) - '0';
            bad |= d > 9;
            v = v * 10 + d;
        };
        for (int i = 0; i < 7; ++i)
            digit(i);
        for (int i = 8; i < 11; ++i)
            digit(i);
        if (!bad)
            return v;
    }
    const char *comma = static_cast<const char *>(memchr(p, ',', size_t(n)));
    if (!comma)
        return 0;
    const qsizetype whole = comma - p;
    return toInt64(p, whole) * 1000 + toInt64(comma + 1, std::min<qsizetype>(3, n - whole - 1));
}

// "yyyyMMdd" as "yyyy-MM-dd"; empty when it is not a date.
QString isoDate(const char *p, qsizetype n)
{
    bool digits = n == 8;
    for (qsizetype i = 0; digits && i < n; ++i)
        digits = p[i] >= '0' && p[i] <= '9';
    const int y = digits ? int(toInt64(p, 4)) : 0;
    if (!digits || y < 1000)
        return QDate::fromString(QString::fromLatin1(p, n), QStringLiteral("yyyyMMdd")).toString(Qt::ISODate);
    if (!QDate::isValid(y, int(toInt64(p + 4, 2)), int(toInt64(p + 6, 2))))
        return QString();
    const char iso[10] = {p[0], p[1], p[2], p[3], '-', p[4], p[5], '-', p[6], p[7]};
    return QString::fromLatin1(iso, 10);
}

// Text of a field through the code page, as UTF-8, without its trailing
// spaces; null when blank. ASCII stays where it is, in the line.
void keepText(Record &out, int k, const char *p, qsizetype n)
{
    while (n > 0 && p[n - 1] == ' ')
        --n;
    if (n == 0) {
        out.setNull(k);
        return;
    }
    if (isAscii(p, n)) {
        out.set(k, Val::text(QByteArrayView(p, n)));
        return;
    }
    QVarLengthArray<char, 1024> b;
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t c = cp1252::toUnicode(static_cast<unsigned char>(p[i]));
        if (c < 0x80) {
            b.append(char(c));
        } else if (c < 0x800) {
            b.append(char(0xC0 | (c >> 6)));
            b.append(char(0x80 | (c & 0x3F)));
        } else {
            b.append(char(0xE0 | (c >> 12)));
            b.append(char(0x80 | ((c >> 6) & 0x3F)));
            b.append(char(0x80 | (c & 0x3F)));
        }
    }
    out.keep(k, QByteArrayView(b.constData(), b.size()));
}

// A text trimmed as QString::trimmed() trims it.
void keepTrimmed(Record &out, int k, const char *p, qsizetype n)
{
    if (!isAscii(p, n)) {
        out.keep(k, cp1252::decode(QByteArray::fromRawData(p, n)).trimmed());
        return;
    }
    auto space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    while (n > 0 && space(p[n - 1]))
        --n;
    while (n > 0 && space(p[0])) {
        ++p;
        --n;
    }
    out.set(k, Val::text(QByteArrayView(p, n)));
}

} // namespace

void decodeLine(const Layout &l, QByteArrayView line, Record &m)
{
    m.clear();
    qsizetype pos = 0;
    const char *data = line.data();
    const qsizetype size = line.size();
    // The part of a field inside the line (a short line gives short fields).
    auto field = [&](qsizetype at, qsizetype n, qsizetype *len) {
        if (at >= size) {
            *len = 0;
            return data + size;
        }
        *len = std::min(n, size - at);
        return data + at;
    };
    if (l.index >= 0) {
        qsizetype n = 0;
        const char *p = field(3, 4, &n);
        m.set(key<"#year">(), toInt64(p, n));
        p = field(8, 16, &n);
        keepTrimmed(m, key<"#codfisc">(), p, n);
        p = field(25, 15, &n);
        if (isAscii(p, n))
            m.set(key<"#key">(), Val::text(QByteArrayView(p, n)));
        else
            m.keep(key<"#key">(), QString::fromLatin1(p, n));
        pos = PrefixLength;
    }
    for (const Field &f : l.fields) {
        const int w = f.size() - 1;
        qsizetype n = 0;
        const char *p = field(pos, w, &n);
        pos += f.size();
        switch (f.enc) {
        case Enc::Text: keepText(m, f.key, p, n); break;
        case Enc::Number: m.set(f.key, toInt64(p, n)); break;
        case Enc::Flag: m.set(f.key, (n == 1 && p[0] == '1') ? 1 : 0); break;
        case Enc::Date: {
            // A date that is not one reads as null.
            const QString iso = QByteArray::fromRawData(p, n).trimmed().isEmpty() ? QString() : isoDate(p, n);
            if (iso.isEmpty())
                m.setNull(f.key);
            else
                m.keep(f.key, iso);
            break;
        }
        case Enc::Qty: m.set(f.key, decodeQty(p, n)); break;
        case Enc::QtyUnit:
            m.set(f.key, decodeQty(p, std::min<qsizetype>(11, n)));
            m.set(f.unitKey, n > 12 ? toInt64(p + 12, 1) : 0);
            break;
        case Enc::Fixed: break;
        }
    }
}

QVariantMap decodeLine(const Layout &l, const QByteArray &line)
{
    Record r;
    decodeLine(l, line, r);
    return r.toMap();
}

} // namespace exch
