#include "refdata/lookups.h"

#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QSqlQuery>
#include <utility>

namespace refdata {

namespace {

const QString comSelect = QStringLiteral(
    "SELECT Comuni.PrvIstat, Comuni.ComIstat, Comuni.ComDesc, Comuni.ComCap, Comuni.comCCIAA, "
    "Province.PrvDesc, Province.PrvSigla "
    "FROM Comuni INNER JOIN Province ON Comuni.PrvIstat = Province.PrvIstat ");

MunicipalityRow readMunicipality(const QSqlQuery &q)
{
    MunicipalityRow r;
    r.prvIstat = q.value(0).toInt();
    r.comIstat = q.value(1).toInt();
    r.comDesc = q.value(2).toString();
    r.comCap = q.value(3).toString();
    r.comCCIAA = q.value(4).toInt();
    r.prvDesc = q.value(5).toString();
    r.prvSigla = q.value(6).toString();
    return r;
}

// The typed text is a literal prefix: LIKE wildcards in it are escaped.
QString likePrefix(const QString &text)
{
    QString t = text.toUpper();
    t.replace(u'\\', QStringLiteral("\\\\"));
    t.replace(u'%', QStringLiteral("\\%"));
    t.replace(u'_', QStringLiteral("\\_"));
    return t + u'%';
}

bool exists(dbClass &db, const QString &sql, const QString &code)
{
    bool ok = false;
    QSqlQuery q = db.query(sql, {code}, dbClass::Which::Current, &ok);
    return ok && q.next();
}

} // namespace

int MunicipalitySearch::search(const QString &text, bool quiet)
{
    if (searched_ && text == last_)
        return int(rows_.size());
    last_ = text;
    searched_ = true;
    rows_.clear();
    ++queries_;
    bool ok = false;
    QSqlQuery q = db_.query(comSelect + QStringLiteral("WHERE (UPPER(Comuni.ComDesc) LIKE ? ESCAPE '\\') "
                                                       "ORDER BY Comuni.ComDesc, Comuni.PrvIstat"),
                            {likePrefix(text)}, dbClass::Which::Current, &ok);
    while (ok && q.next())
        rows_.append(readMunicipality(q));
    if (rows_.isEmpty() && !quiet)
        msg_.information(QStringLiteral("Attenzione, Comune non trovato!"));
    return int(rows_.size());
}

int MunicipalitySearch::lookup(int prvIstat, int comIstat)
{
    rows_.clear();
    searched_ = false;
    last_.clear();
    if (prvIstat <= 0 || comIstat <= 0)
        return 0;
    ++queries_;
    bool ok = false;
    QSqlQuery q = db_.query(comSelect + QStringLiteral("WHERE (Comuni.PrvIstat = ? AND Comuni.ComIstat = ?)"),
                            {prvIstat, comIstat}, dbClass::Which::Current, &ok);
    if (ok && q.next())
        rows_.append(readMunicipality(q));
    return int(rows_.size());
}

void MunicipalitySearch::clear()
{
    rows_.clear();
    last_.clear();
    searched_ = false;
}

int MunicipalitySearch::indexOfKey(int key) const
{
    for (int i = 0; i < rows_.size(); ++i)
        if (rows_[i].key() == key)
            return i;
    return -1;
}

bool pickerRequiredOk(bool required, bool hasSelection, const QString &msgRequired, Messages &msg)
{
    if (!required || hasSelection)
        return true;
    msg.information(msgRequired.isEmpty() ? QStringLiteral("Attenzione, campo Comune richiesto!")
                                          : msgRequired);
    return false;
}

QString chamberMessage(const QString &sigla, bool own, const QString &prvDesc, const QString &compDesc)
{
    const QString s = sigla.trimmed().toUpper();
    if (own) {
        if (s == QLatin1String("BL"))
            return QStringLiteral("Attenzione, la CCIAA di competenza per il comune di SAPPADA è UDINE.");
        if (s == QLatin1String("SS"))
            return QStringLiteral("Attenzione, la CCIAA di competenza per i comuni di BUDONI, SAN TEODORO è NUORO.");
        if (s == QLatin1String("OR"))
            return QStringLiteral("Attenzione, la CCIAA di competenza per i comuni di BOSA, FLUSSIO, LACONI, "
                                  "MAGOMADAS, MODOLO, MONTRESTA, SAGAMA, SUNI, NURRI, TINNURA è NUORO.");
        if (s == QLatin1String("LC"))
            return QStringLiteral("Attenzione, la CCIAA di competenza per il comune di TORRE DE' BUSI è BERGAMO.");
        return {};
    }
    QString m = QStringLiteral("Attenzione, la CCIAA di competenza per ") + prvDesc + QStringLiteral(" è: ")
                + compDesc + u'.';
    if (s == QLatin1String("BT"))
        m += QStringLiteral("\r(ad eccezione di Margherita di Savoia, San Ferdinando di Puglia e Trinitapoli"
                            "\rper i quali la CCIAA di competenza è FOGGIA)");
    else if (s == QLatin1String("SU"))
        m += QStringLiteral("\rad eccezione dei comuni di ESCALAPLANO, ESCOLCA, ESTERZILI, GENONI, GERGEI, "
                            "ISILI, NURAGUS, NURALLAO, NURRI, ORROLI, SADALI, SERRI, SEUI, SEULO, "
                            "VILLANOVA TULO per i quali la CCIAA di competenza è NUORO.");
    return m;
}

Chamber competentChamber(dbClass &db, Messages &msg, const QString &abbreviation)
{
    Chamber c;
    const QString sigla = abbreviation.trimmed().toUpper();
    bool ok = false;
    QSqlQuery q = db.query(
        QStringLiteral("SELECT Province.prvIstat, Province.prvDesc, Province.prvCCIAA, "
                       "Province_1.prvDesc AS CompCCIAA, Province_1.prvSigla AS CompSigla "
                       "FROM Province INNER JOIN Province AS Province_1 ON Province.prvCCIAA = "
                       "Province_1.prvIstat WHERE (UPPER(Province.prvSigla) = ?)"),
        {sigla}, dbClass::Which::Current, &ok);
    if (!ok || !q.next()) {
        c.message = QStringLiteral("Attenzione, sigla provincia digitata errata!");
        msg.information(c.message);
        return c;
    }
    const int prv = q.value(0).toInt();
    c.code = q.value(2).toInt();
    c.desc = q.value(3).toString();
    c.sigla = q.value(4).toString();
    c.message = chamberMessage(sigla, c.code == prv, q.value(1).toString(), c.desc);
    if (!c.message.isEmpty())
        msg.information(c.message);
    return c;
}

bool municipalitySuccessor(dbClass &db, int prvOld, int comOld, int &prvNew, int &comNew,
                           QString &capNew)
{
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT prvNew, comNew, capNew FROM ComConv "
                                          "WHERE (prvOld = ? AND comOld = ?)"),
                           {prvOld, comOld}, dbClass::Which::Current, &ok);
    if (!ok || !q.next())
        return false;
    prvNew = q.value(0).toInt();
    comNew = q.value(1).toInt();
    capNew = q.value(2).toString();
    return true;
}

comChanged::comChanged(dbClass &db)
{
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT prvOld, comOld, prvNew, comNew, capNew FROM ComConv "
                                          "ORDER BY prvOld, comOld"),
                           {}, dbClass::Which::Current, &ok);
    while (ok && q.next()) {
        prvOld_.append(q.value(0).toInt());
        comOld_.append(q.value(1).toInt());
        prvNew_.append(q.value(2).toInt());
        comNew_.append(q.value(3).toInt());
        capNew_.append(q.value(4).toString());
    }
}

bool comChanged::lookup(int prvOld, int comOld, int &prvNew, int &comNew, QString &capNew) const
{
    // The arrays are sorted by (old province, old municipality): the first
    // entry not before the one sought, by halves (a run looks up every row).
    const std::pair<int, int> sought{prvOld, comOld};
    qsizetype lo = 0, hi = prvOld_.size();
    while (lo < hi) {
        const qsizetype mid = lo + (hi - lo) / 2;
        if (std::pair<int, int>{prvOld_[mid], comOld_[mid]} < sought)
            lo = mid + 1;
        else
            hi = mid;
    }
    if (lo == prvOld_.size() || prvOld_[lo] != prvOld || comOld_[lo] != comOld)
        return false;
    prvNew = prvNew_[lo];
    comNew = comNew_[lo];
    capNew = capNew_[lo];
    return true;
}

bool activityExists(dbClass &db, const QString &code)
{
    return exists(db, QStringLiteral("SELECT attCod FROM Attivita WHERE (attCod = ?)"), code);
}

bool regCEExists(dbClass &db, const QString &code)
{
    return exists(db, QStringLiteral("SELECT crcCod FROM CodRegCE WHERE (crcCod = ?)"), code);
}

bool wasteCodeExists(dbClass &db, const QString &code)
{
    return exists(db, QStringLiteral("SELECT rifCod FROM Rifiuti WHERE (rifCod = ?)"), code);
}

bool wasteCodeSelectable(const QString &code, int level, bool silent, Messages &msg)
{
    bool ok = true;
    if (level < 1)
        ok = !code.endsWith(QLatin1String("00"));
    else if (level < 3)
        ok = !code.endsWith(QLatin1String("0000"));
    if (!ok && !silent)
        msg.information(QStringLiteral("Attenzione, codice rifiuto non selezionabile: ") + code);
    return ok;
}

QString activityMasked(const QString &stored)
{
    const QString s = stored.trimmed();
    if (s.isEmpty())
        return {};
    QString out;
    for (int i = 0; i < s.size(); ++i) {
        if (i > 0 && i % 2 == 0 && i < 6)
            out += u'.';
        out += s[i];
    }
    return out;
}

QString activityStored(const QString &masked)
{
    QString s = masked;
    s.remove(u'.');
    s.remove(u' ');
    s.remove(u'_');
    return s;
}

namespace {
QVector<PickRow> pick(dbClass &db, const QString &sql, bool withExtra)
{
    QVector<PickRow> out;
    bool ok = false;
    QSqlQuery q = db.query(sql, {}, dbClass::Which::Current, &ok);
    while (ok && q.next()) {
        PickRow r;
        r.code = q.value(0).toString();
        if (withExtra) {
            r.extra = q.value(1).toString();
            r.desc = q.value(2).toString();
        } else {
            r.desc = q.value(1).toString();
        }
        out.append(r);
    }
    return out;
}
} // namespace

QVector<PickRow> activityList(dbClass &db)
{
    return pick(db, QStringLiteral("SELECT attCod, attDesc FROM Attivita ORDER BY attCod"), false);
}

QVector<PickRow> regCEList(dbClass &db)
{
    return pick(db, QStringLiteral("SELECT crcCod, crcDesc FROM CodRegCE ORDER BY crcCod"), false);
}

QVector<PickRow> wasteTable(dbClass &db)
{
    return pick(db, QStringLiteral("SELECT RifCod, RifClass, RifDesc FROM Rifiuti ORDER BY RifCod"), true);
}

QVector<CodeRow> codeList(dbClass &db, CodeList which)
{
    // Each statement with the columns it yields, in this order: type, numb, alfa, desc.
    struct St {
        CodeList which;
        const char *sql;
        int type, numb, alfa, desc; // column positions, -1 absent
    };
    static const St table[] = {
        {CodeList::Type91, "SELECT codNumb, codDesc FROM Codici WHERE (codType = 91) ORDER BY codNumb", -1, 0, -1, 1},
        {CodeList::Types1and2, "SELECT codType, codAlfa, codDesc FROM Codici WHERE (codType > 0 AND codType < 3) "
                               "ORDER BY codType, codNumb", 0, -1, 1, 2},
        {CodeList::Type1, "SELECT codAlfa, codNumb, codDesc, codType From Codici WHERE codType = 1 "
                          "ORDER BY codType, codNumb", 3, 1, 0, 2},
        {CodeList::Type2, "SELECT codAlfa, codNumb, codDesc, codType From Codici WHERE codType = 2 "
                          "ORDER BY codType, codNumb", 3, 1, 0, 2},
        {CodeList::Type4, "SELECT codAlfa, codNumb FROM Codici WHERE codType = 4 ORDER BY codNumb", -1, 1, 0, -1},
        {CodeList::Type5, "SELECT codAlfa, codNumb FROM Codici WHERE codType = 5 ORDER BY codNumb", -1, 1, 0, -1},
        {CodeList::Type6, "SELECT codAlfa, codNumb FROM Codici WHERE codType = 6 ORDER BY codNumb", -1, 1, 0, -1},
        {CodeList::Types11and12, "SELECT codType, codAlfa, codDesc FROM Codici WHERE (codType > 10 AND codType < 13) "
                                 "ORDER BY codType, codNumb", 0, -1, 1, 2},
        {CodeList::Types11and12Unordered, "SELECT codAlfa, codNumb, codDesc, codType FROM Codici "
                                          "WHERE codType = 11 or codType = 12", 3, 1, 0, 2},
        {CodeList::Type21, "SELECT codAlfa, codNumb FROM Codici WHERE codType = 21 AND codAlfa Is Not Null "
                           "ORDER BY codNumb", -1, 1, 0, -1},
        {CodeList::Type22, "SELECT codAlfa, codNumb FROM Codici WHERE codType = 22 AND codAlfa Is Not Null "
                           "ORDER BY codNumb", -1, 1, 0, -1},
    };
    QVector<CodeRow> out;
    for (const St &s : table) {
        if (s.which != which)
            continue;
        bool ok = false;
        QSqlQuery q = db.query(QString::fromLatin1(s.sql), {}, dbClass::Which::Current, &ok);
        while (ok && q.next()) {
            CodeRow r;
            if (s.type >= 0) r.type = q.value(s.type).toInt();
            if (s.numb >= 0) r.numb = q.value(s.numb).toInt();
            if (s.alfa >= 0) r.alfa = q.value(s.alfa).toString();
            if (s.desc >= 0) r.desc = q.value(s.desc).toString();
            out.append(r);
        }
    }
    return out;
}

QVector<PickRow> typedWasteCodes(dbClass &db, int codType)
{
    QVector<PickRow> out;
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT DISTINCT Codici.codAlfa AS Codice, Rifiuti.rifDesc FROM Codici "
                                          "INNER JOIN Rifiuti ON Codici.codAlfa = Rifiuti.rifCod "
                                          "WHERE (Codici.codType = ?) ORDER BY Codici.codAlfa"),
                           {codType}, dbClass::Which::Current, &ok);
    while (ok && q.next())
        out.append({q.value(0).toString(), q.value(1).toString(), {}});
    return out;
}

} // namespace refdata
