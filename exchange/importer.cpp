#include "exchange/importer.h"

#include "exchange/layouts.h"
#include "refdata/lookups.h"
#include "exchange/statements.h"
#include "shell/schema/schema.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QFile>
#include <QHash>
#include <QSqlError>
#include <QSqlQuery>

namespace exch {

namespace {

QString lc(const char *s) { return QString::fromLatin1(s); }

int kindCode(const QString &k)
{
    if (k == QLatin1String("RT") || k == QLatin1String("UO"))
        return 1;
    if (k == QLatin1String("DR") || k == QLatin1String("UD"))
        return 2;
    if (k == QLatin1String("TE"))
        return 3;
    if (k == QLatin1String("MG"))
        return 4;
    return 0;
}

// Flag string of the authorised operations ("R1,R3" -> "101000000000000").
QString operationFlags(const QVariant &list, QChar letter)
{
    QString flags(15, u'0');
    for (const QString &op : list.toString().split(u',', Qt::SkipEmptyParts)) {
        const QString t = op.trimmed();
        bool ok = false;
        const int i = t.mid(1).toInt(&ok);
        if (t.startsWith(letter) && ok && i >= 1 && i <= 15)
            flags[i - 1] = u'1';
    }
    return flags;
}

class Loader {
public:
    Loader(dbClass &db, Messages &msg) : db_(db), st_(db.current(), msg), conv_(db)
    {
        QSqlQuery q = db_.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni ORDER BY nazID"));
        while (q.next()) {
            // The file carries the first 20 characters of the description.
            const QString d = q.value(1).toString().left(20).trimmed();
            if (!nations_.contains(d))
                nations_.insert(d, q.value(0));
        }
    }

    // One line of the load pass; false on a database failure.
    bool line(const Layout &l, const QByteArray &bytes);
    // The load runs in one transaction with a savepoint per declaration: a
    // declaration is kept whole or not at all.
    bool begin() { return db_.current().transaction(); }
    bool finishDeclaration();
    void rollback();
    bool end() { return db_.current().commit(); }
    int imported = 0, skipped = 0, contained = 0;

private:
    QVariantMap columns(const Layout &l, const QVariantMap &v) const;
    qint64 insert(const QString &table, const QVariantMap &values);
    bool subjectRow(QVariantMap &row, const QVariantMap &v);
    bool pairs(const QVariantMap &v, int count, const QString &table, const QString &parentKey,
               qint64 parent);
    bool declaration(const QVariantMap &v, const Layout &l);
    bool family(const Layout &l, const QVariantMap &v);

    bool update(const QString &table, const QString &key, qint64 id, const QVariantMap &values);
    // Savepoint commands run unprepared: PostgreSQL cannot prepare them.
    bool savepoint(const char *sql)
    {
        QSqlQuery q(db_.current());
        if (q.exec(QString::fromLatin1(sql)))
            return true;
        db_.messages().errorReport({}, dbClass::errorCode(q.lastError()), q.lastError().text(),
                                   QString::fromLatin1(sql));
        return false;
    }

    dbClass &db_;
    Statements st_;
    refdata::comChanged conv_;
    QHash<QString, QVariant> nations_;
    bool inTransaction_ = false;
    bool skipping_ = false;
    qint64 saID_ = 0, rifID_ = 0, intID_ = 0, siID_ = 0, srID_ = 0, vfuID_ = 0;
    int vfuTipo_ = 0;
    qint64 drModule_ = 0, mgModule_ = 0;   // modules the detail lines go to
    int detailPos_ = 0;
};

QVariantMap Loader::columns(const Layout &l, const QVariantMap &v) const
{
    QVariantMap m;
    for (const Field &f : l.fields) {
        if (f.computed())
            continue;
        m.insert(f.name, v.value(f.name));
        if (f.enc == Enc::QtyUnit)
            m.insert(f.unit, v.value(f.unit));
    }
    return m;
}

qint64 Loader::insert(const QString &table, const QVariantMap &values)
{
    const schema::Table *t = schema::table(table);
    return st_.insert(table, t ? t->key : QString(), values);
}

bool Loader::update(const QString &table, const QString &key, qint64 id, const QVariantMap &values)
{
    QStringList sets;
    QVariantList params;
    for (auto it = values.begin(); it != values.end(); ++it) {
        sets << it.key() + QStringLiteral(" = ?");
        params << it.value();
    }
    params << id;
    return st_.run(QStringLiteral("UPDATE %1 SET %2 WHERE (%3 = ?)").arg(table, sets.join(QStringLiteral(", ")), key),
                   params) != nullptr;
}

bool Loader::subjectRow(QVariantMap &row, const QVariantMap &v)
{
    const QString naz = v.value(lc("#nazdesc")).toString();
    if (!naz.isEmpty())
        row.insert(lc("nazid"), nations_.value(naz));
    const QString cf = row.value(lc("codfisc")).toString().trimmed();
    if (cf.isEmpty())
        return true;
    QSqlQuery *q = st_.run(QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE (CodFisc = ?)"), {cf});
    if (!q || !q->next())
        return false;
    const bool present = q->value(0).toInt() > 0;
    q->finish();
    if (present)
        return true;
    QVariantMap company;
    for (const char *c : {"codfisc", "ragsoc", "via", "civico", "cap", "prvistat", "comistat"})
        if (row.contains(lc(c)))
            company.insert(lc(c), row.value(lc(c)));
    company.insert(lc("codfisc"), cf);
    return st_.insert(QStringLiteral("Ditte"), QString(), company) >= 0;
}

bool Loader::pairs(const QVariantMap &v, int count, const QString &table, const QString &parentKey,
                   qint64 parent)
{
    for (int i = 1; i <= count; ++i) {
        const QString k = QString::number(i);
        const QVariant code = v.value(QStringLiteral("#cod") + k);
        if (code.isNull())
            continue;
        QVariantMap r{{parentKey, parent},
                      {lc("Posizione"), ++detailPos_},
                      {lc("Codice"), code},
                      {lc("qta"), v.value(QStringLiteral("#qta") + k)},
                      {lc("umi"), v.value(QStringLiteral("#qta") + k + u'u')}};
        if (insert(table, r) < 0)
            return false;
    }
    return true;
}

bool Loader::finishDeclaration()
{
    if (inTransaction_) {
        inTransaction_ = false;
        return savepoint("RELEASE SAVEPOINT declaration");
    }
    return true;
}

void Loader::rollback()
{
    if (inTransaction_) {
        savepoint("ROLLBACK TO SAVEPOINT declaration");
        savepoint("RELEASE SAVEPOINT declaration");
        inTransaction_ = false;
        --imported;
    }
}

bool Loader::declaration(const QVariantMap &v, const Layout &l)
{
    if (!finishDeclaration())
        return false;
    ++contained;
    QVariantMap a = columns(l, v);
    a.insert(lc("codfisc"), v.value(lc("#codfisc")));
    a.insert(lc("saanno"), qorClass::Year);
    for (auto [p, c] : {std::pair{"prvistat", "comistat"}, {"slprvistat", "slcomistat"}}) {
        int prv = 0, com = 0;
        QString cap;
        if (conv_.lookup(a.value(lc(p)).toInt(), a.value(lc(c)).toInt(), prv, com, cap)) {
            a.insert(lc(p), prv);
            a.insert(lc(c), com);
        }
    }
    const PresenceTest present = presenceTest({a.value(lc("codfisc")), a.value(lc("ragsoc")), a.value(lc("via")),
                                               a.value(lc("civico")), a.value(lc("prvistat")),
                                               a.value(lc("comistat"))});
    QSqlQuery *q = st_.run(present.sql, present.params);
    if (!q)
        return false;
    skipping_ = q->next();
    q->finish();
    if (skipping_) {
        ++skipped;
        return true;
    }
    if (!savepoint("SAVEPOINT declaration"))
        return false;
    inTransaction_ = true;
    ++imported;
    saID_ = insert(QStringLiteral("SezAnag"), a);
    if (saID_ < 0)
        return false;
    rifID_ = intID_ = siID_ = srID_ = vfuID_ = drModule_ = mgModule_ = 0;
    return true;
}

// Modules and rows of the packaging, RAEE and vehicle schede.
bool Loader::family(const Layout &l, const QVariantMap &v)
{
    const QChar fam = l.code.at(0);
    const QChar rec = l.code.at(1);
    const bool imb = fam == u'I';
    const QString suffix = imb ? QStringLiteral("Imb") : fam == u'R' ? QStringLiteral("Raee")
                                                                     : QStringLiteral("Vfu");
    const QString parentKey = imb ? lc("siID") : fam == u'R' ? lc("srID") : lc("vfuID");
    const QString modKey = imb ? lc("mbID") : fam == u'R' ? lc("msrID") : lc("mvID");
    const qint64 parent = imb ? siID_ : fam == u'R' ? srID_ : vfuID_;
    const int base = imb || fam == u'R' ? 'C' : 'E';   // RT/TE, DR, detail 1, detail 2
    const int k = rec.unicode() - base;
    if (parent == 0)
        return false;
    if (k == 0 || k == 1) {
        QVariantMap m = columns(l, v);
        m.insert(parentKey, parent);
        m.insert(lc("tipomod"), kindCode(v.value(lc("#kind")).toString()));
        if (!subjectRow(m, v))
            return false;
        const qint64 id = insert(QStringLiteral("Mod") + suffix, m);
        if (id < 0)
            return false;
        if (k == 1) {
            drModule_ = id;
            detailPos_ = 0;
        }
        return true;
    }
    const bool mg = v.value(lc("#kind")).toString() == QLatin1String("MG");
    if (mg && k == 2 && v.value(lc("#seq")).toInt() == 1) {
        mgModule_ = insert(QStringLiteral("Mod") + suffix,
                           {{parentKey, parent}, {lc("rifCod"), v.value(lc("rifcod"))}, {lc("tipoMod"), 4}});
        if (mgModule_ < 0)
            return false;
        detailPos_ = 0;
    }
    const qint64 module = mg ? mgModule_ : drModule_;
    if (module == 0)
        return false;
    if (mg && k == 3
        && !update(QStringLiteral("Mod") + suffix, modKey, module,
                   {{imb ? lc("mbFlag") : lc("Privati"), v.value(lc("#modflag"))}}))
        return false;
    return pairs(v, k == 2 ? 9 : 10, QStringLiteral("RecMod") + suffix, modKey, module);
}

bool Loader::line(const Layout &l, const QByteArray &bytes)
{
    const QVariantMap v = decodeLine(l, bytes);
    const QString &code = l.code;
    if (code == QLatin1String("AA"))
        return declaration(v, l);
    if (skipping_ || code == QLatin1String("AB"))
        return true;
    const QChar fam = code.at(0);

    if (code == QLatin1String("AU")) {
        QVariantMap m = columns(l, v);
        m.insert(lc("said"), saID_);
        m.insert(lc("surecupero"), operationFlags(v.value(lc("#recupero")), u'R'));
        m.insert(lc("susmaltimento"), operationFlags(v.value(lc("#smaltimento")), u'D'));
        return insert(QStringLiteral("SaAut"), m) >= 0;
    }
    if (code == QLatin1String("BA") || code == QLatin1String("DA")) {
        QVariantMap m = columns(l, v);
        m.insert(lc("said"), saID_);
        qint64 &id = code == QLatin1String("BA") ? rifID_ : intID_;
        id = insert(l.table, m);
        return id >= 0;
    }
    if (code == QLatin1String("BB") || code == QLatin1String("BC") || code == QLatin1String("DB")) {
        const bool db = code == QLatin1String("DB");
        if ((db ? intID_ : rifID_) == 0)
            return false;
        QVariantMap m = columns(l, v);
        m.insert(db ? lc("intid") : lc("rifid"), db ? intID_ : rifID_);
        m.insert(lc("tipomod"), code == QLatin1String("BC") ? 5 : kindCode(v.value(lc("#kind")).toString()));
        if (code != QLatin1String("BC") && !subjectRow(m, v))
            return false;
        return insert(l.table == QLatin1String("ModInt") ? l.table : QStringLiteral("ModRif"), m) >= 0;
    }
    if (code == QLatin1String("BD") || code == QLatin1String("BE")) {
        if (rifID_ == 0)
            return false;
        if (code == QLatin1String("BD") && v.value(lc("#seq")).toInt() == 1) {
            mgModule_ = insert(QStringLiteral("ModRif"), {{lc("rifID"), rifID_}, {lc("tipoMod"), 4}});
            if (mgModule_ < 0)
                return false;
            detailPos_ = 0;
        }
        if (mgModule_ == 0)
            return false;
        return pairs(v, code == QLatin1String("BD") ? 9 : 10, QStringLiteral("RecRif"), lc("mrID"), mgModule_);
    }
    if (code == QLatin1String("IA")) {
        QVariantMap m = columns(l, v);
        m.insert(lc("said"), saID_);
        siID_ = insert(QStringLiteral("SezImb"), m);
        return siID_ >= 0;
    }
    if (code == QLatin1String("RA")) {
        QVariantMap m = columns(l, v);
        m.insert(lc("said"), saID_);
        m.insert(lc("srtipo"), v.value(lc("#skind")).toString() == QLatin1String("TRA") ? 1 : 2);
        srID_ = insert(QStringLiteral("SezRaee"), m);
        return srID_ >= 0;
    }
    if (code == QLatin1String("VC")) {
        QVariantMap m = columns(l, v);
        m.insert(lc("said"), saID_);
        const QString k = v.value(lc("#skind")).toString();
        vfuTipo_ = k == QLatin1String("AUT") ? 1 : k == QLatin1String("ROT") ? 2 : 3;
        m.insert(lc("vfutipo"), vfuTipo_);
        auto slot = [&](const char *s, const char *q, const char *u) {
            m.insert(lc(q), v.value(lc(s)));
            m.insert(lc(u), v.value(lc(s) + u'u'));
        };
        if (vfuTipo_ == 3) {
            slot("#own1", "qtaProprio", "umiProprio");
            slot("#own2", "qtaPost80", "umiPost80");
        } else {
            slot("#own3", "qtaProprio", "umiProprio");
        }
        if (vfuTipo_ == 1) {
            slot("#veh1", "qtaPre80", "umiPre80");
            slot("#veh2", "qtaPost80", "umiPost80");
            slot("#veh3", "qta104", "umi104");
        }
        vfuID_ = insert(QStringLiteral("SezVfu"), m);
        return vfuID_ >= 0;
    }
    if (code == QLatin1String("IB") || code == QLatin1String("RB") || code == QLatin1String("VD")) {
        const qint64 parent = fam == u'I' ? siID_ : fam == u'R' ? srID_ : vfuID_;
        if (parent == 0)
            return false;
        QVariantMap m = columns(l, v);
        m.insert(fam == u'I' ? lc("siid") : fam == u'R' ? lc("srid") : lc("vfuid"), parent);
        // Row codes back to frame positions. The file keeps positions only up to
        // its last distinct code (IMB "PP" is 4, RAEE "PP" 3, VFU "PP" 2) and none
        // on CR schede ("  ", loaded as 1); rows of equal position keep the file
        // order, which is the order they are written in again.
        const QString p = v.value(lc("#pos")).toString();
        int pos = 1;
        if (fam == u'I')
            pos = p == QLatin1String("RC") ? 1 : p == QLatin1String("RX") ? 2 : p == QLatin1String("P1") ? 3 : 4;
        else if (fam == u'R')
            pos = p.isEmpty() || p == QLatin1String("DR") ? 1 : p == QLatin1String("PR") ? 2 : 3;
        else
            pos = p == QLatin1String("RT") ? 1 : 2;
        m.insert(lc("posizione"), pos);
        return insert(l.table, m) >= 0;
    }
    if (code == QLatin1String("MA")) {
        const QString k = v.value(lc("#mkind")).toString();
        QString table = QStringLiteral("SezAnag"), key = lc("saID");
        qint64 id = saID_;
        MatKind mk = MatKind::Declaration;
        if (k == QLatin1String("IMB")) {
            table = QStringLiteral("SezImb"), key = lc("siID"), id = siID_, mk = MatKind::Imb;
        } else if (k == QLatin1String("TRA") || k == QLatin1String("CRR")) {
            table = QStringLiteral("SezRaee"), key = lc("srID"), id = srID_, mk = MatKind::Raee;
        } else if (k != QLatin1String("RIF")) {
            table = QStringLiteral("SezVfu"), key = lc("vfuID"), id = vfuID_, mk = MatKind::Vfu;
        }
        if (id == 0)
            return false;
        const int *slots = materialSlots(mk);
        QVariantMap m;
        for (int i = 0; i < 21; ++i) {
            if (slots[i] == 0)
                continue;
            const QString n = QString::number(slots[i]).rightJustified(2, u'0');
            const QString s = QStringLiteral("#m") + QString::number(i + 1);
            m.insert(QStringLiteral("msQta") + n, v.value(s));
            m.insert(QStringLiteral("msUmi") + n, v.value(s + u'u'));
        }
        return update(table, key, id, m);
    }
    return family(l, v);
}

} // namespace

PresenceTest presenceTest(const DeclarationIdentity &d)
{
    // Same tax code, place, name, street and number; a blank text matches a
    // null column.
    PresenceTest t;
    t.sql = QStringLiteral("SELECT saID FROM SezAnag WHERE (prvIstat = ? AND comIstat = ?");
    t.params = {d.prvIstat, d.comIstat};
    const std::pair<const char *, const QVariant *> texts[] = {
        {"CodFisc", &d.codFisc}, {"RagSoc", &d.ragSoc}, {"Via", &d.via}, {"Civico", &d.civico}};
    for (const auto &[c, x] : texts) {
        if (x->toString().isEmpty()) {
            t.sql += QStringLiteral(" AND (%1 IS NULL OR %1 = '')").arg(QLatin1String(c));
        } else {
            t.sql += QStringLiteral(" AND %1 = ?").arg(QLatin1String(c));
            t.params << *x;
        }
    }
    t.sql += u')';
    return t;
}

qint64 presentDeclaration(dbClass &db, const DeclarationIdentity &d)
{
    const PresenceTest t = presenceTest(d);
    bool ok = false;
    QSqlQuery q = db.query(t.sql, t.params, dbClass::Which::Current, &ok);
    if (!ok)
        return -1;
    return q.next() ? q.value(0).toLongLong() : 0;
}

bool registerCounterpart(dbClass &db, const QVariantMap &company)
{
    const QString cf = company.value(lc("codfisc")).toString().trimmed();
    if (cf.isEmpty())
        return true;
    const QVariant n = db.scalar(QStringLiteral("SELECT COUNT(*) FROM Ditte WHERE (CodFisc = ?)"), {cf});
    if (!n.isValid())
        return false;
    if (n.toInt() > 0)
        return true;
    QVariantMap row;
    for (auto it = company.begin(); it != company.end(); ++it)
        row.insert(it.key(), it.value());
    row.insert(lc("codfisc"), cf);
    return db.insertRow(QStringLiteral("Ditte"), row) >= 0;
}

ImportResult importFile(dbClass &db, Messages &msg, const QString &path, const Progress &progress)
{
    ImportResult r;
    r.check = checkFile(path);
    if (!r.check.ok) {
        r.status = ImportResult::Refused;
        return r;
    }
    r.contained = r.check.declarations;
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly)) {
        r.status = ImportResult::Refused;
        r.check.ok = false;
        r.check.message = QStringLiteral("Errore apertura file.");
        r.check.line = 0;
        return r;
    }
    f.readLine();
    // A larger page cache for the length of the load: the inserts touch the
    // tables and their indexes all over, and the default cache of about 2 MB
    // makes SQLite read the same pages again and again. Journal and
    // synchronous modes stay as they are: the committed data is as safe as
    // after any other write.
    struct Cache {
        QSqlDatabase db;
        QVariant before;
        explicit Cache(QSqlDatabase c) : db(c)
        {
            if (db.driverName() != QLatin1String("QSQLITE"))
                return;
            QSqlQuery q(db);
            if (q.exec(QStringLiteral("PRAGMA cache_size")) && q.next())
                before = q.value(0);
            q.exec(QStringLiteral("PRAGMA cache_size = -32768"));
        }
        ~Cache()
        {
            if (before.isValid())
                QSqlQuery(db).exec(QStringLiteral("PRAGMA cache_size = ") + QString::number(before.toLongLong()));
        }
    } cache(db.current());
    Loader loader(db, msg);
    if (!loader.begin()) {
        r.status = ImportResult::Failed;
        return r;
    }
    qint64 done = 0;
    int n = 1;
    while (!f.atEnd()) {
        const QByteArray line = chopLineEnd(f.readLine());
        ++n;
        const Layout *l = layout(line.left(2));
        if (!l) {   // the file changed since it was checked
            loader.rollback();
            loader.end();
            r.status = ImportResult::Refused;
            r.check.ok = false;
            r.check.message = QStringLiteral("Tipo record errato.");
            r.check.line = n;
            r.imported = loader.imported;
            r.skipped = loader.skipped;
            return r;
        }
        // An AA line closes the declaration before it: check for a cancel there,
        // so that what is kept is always whole declarations.
        if (l->code == QLatin1String("AA") && progress && !progress(done, r.check.total)) {
            const bool kept = loader.finishDeclaration() && loader.end();
            r.status = kept ? ImportResult::Cancelled : ImportResult::Failed;
            r.imported = loader.imported;
            r.skipped = loader.skipped;
            return r;
        }
        if (!loader.line(*l, line)) {
            loader.rollback();
            loader.end();
            msg.critical(QStringLiteral("Attenzione, importazione interrotta alla riga n. ") +
                         QString::number(n) + QStringLiteral(": la dichiarazione in corso non è stata caricata."));
            r.status = ImportResult::Failed;
            r.imported = loader.imported;
            r.skipped = loader.skipped;
            return r;
        }
        ++done;
    }
    if (!loader.finishDeclaration() || !loader.end()) {
        loader.rollback();
        db.current().rollback();
        r.status = ImportResult::Failed;
        r.imported = loader.imported;
        r.skipped = loader.skipped;
        return r;
    }
    if (progress)
        progress(done, r.check.total);
    r.imported = loader.imported;
    r.skipped = loader.skipped;
    r.status = ImportResult::Done;
    return r;
}

} // namespace exch
