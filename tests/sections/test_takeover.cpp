// Takeover from the previous-year database: a previous year's database is
// built here with the same schema, filled by hand and by the demo generator,
// and taken over into a fresh current-year database.

#include "../testutil.h"
#include "exchange/demodata.h"
#include "refdata/lookups.h"
#include "sections/takeover/takeover.h"
#include "shell/cli.h"
#include "shell/context.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"
#include "shell/tree/tree.h"

#include <QCryptographicHash>
#include <QFile>
#include <QFileInfo>
#include <QSqlQuery>
#include <QSqlRecord>
#include <QThread>
#include <algorithm>
#include <memory>

using takeover::Result;

namespace {

QString s(const char *t) { return QString::fromUtf8(t); }

// A current-year and a previous-year database in their own folder.
struct Pair {
    QTemporaryDir dir;
    std::unique_ptr<qorClass> app;
    ScriptedMessages msg;
    std::unique_ptr<dbClass> db;
    std::unique_ptr<AppContext> ctx;
    QString prev, cur;

    // Copies the empty template twice; the previous year is filled by fill().
    bool make(const QString &templ, const std::function<bool(dbClass &)> &fill)
    {
        app = std::make_unique<qorClass>(dir.path());
        prev = dir.filePath(QStringLiteral("Qor2018.db"));
        cur = dir.filePath(QStringLiteral("Qor2019.db"));
        if (!QFile::copy(templ, prev) || !QFile::copy(templ, cur))
            return false;
        {
            dbClass w(*app, msg);
            w.setCurrentPath(prev);
            if (!w.connect() || !fill(w))
                return false;
        }
        return open();
    }
    bool open()
    {
        ctx.reset();
        db = std::make_unique<dbClass>(*app, msg);
        db->setCurrentPath(cur);
        db->setPreviousPath(prev);
        if (!db->connect())
            return false;
        ctx = std::make_unique<AppContext>(AppContext{*app, *db, msg});
        msg.clear();
        return true;
    }
    int count(const QString &sql, dbClass::Which w = dbClass::Which::Current)
    {
        return db->scalar(sql, {}, w).toInt();
    }
    QVariantMap row(const QString &sql, const QVariantList &params = {}, dbClass::Which w = dbClass::Which::Current)
    {
        QSqlQuery q = db->query(sql, params, w);
        QVariantMap m;
        if (q.next())
            for (int i = 0; i < q.record().count(); ++i)
                m.insert(q.record().fieldName(i), q.value(i));
        return m;
    }
};

QVariantMap declaration(const QVariantMap &over = {})
{
    QVariantMap v{{s("saAnno"), 2018},           {s("CodFisc"), s("00488410010")},   {s("RagSoc"), s("ACME SPA")},
                  {s("REA"), 123456},            {s("prvIstat"), 1},                 {s("comIstat"), 272},
                  {s("Via"), s("VIA ROMA")},     {s("Civico"), s("1")},              {s("Cap"), s("10100")},
                  {s("attIstat"), s("381100")},  {s("Addetti"), 10},                 {s("Mesi"), 12},
                  {s("slPrvIstat"), 1},          {s("slComIstat"), 272},             {s("slVia"), s("CORSO FRANCIA")},
                  {s("slCivico"), s("5")},       {s("slCap"), s("10138")},           {s("slPrefTel"), s("011")},
                  {s("slTelefono"), s("555123")}, {s("saCognome"), s("ROSSI")},      {s("saNome"), s("MARIO")},
                  {s("saDataComp"), s("2018-03-15")}, {s("saDataPrec"), s("2017-04-01")}, {s("saAnnulla"), 1},
                  {s("saExp"), 1},               {s("ExpID"), 7},                    {s("msQta06"), 1500},
                  {s("msUmi06"), 2}};
    for (auto it = over.begin(); it != over.end(); ++it)
        v.insert(it.key(), it.value());
    return v;
}

// A declaration with one RIF scheda: a DR module with a counterpart and an
// MG module with one recovery row.
qint64 rifDeclaration(dbClass &w, const QVariantMap &over = {}, const QString &operation = s("R3"))
{
    const qint64 sa = w.insertRow(s("SezAnag"), declaration(over));
    const qint64 rif = w.insertRow(s("SezRif"), {{s("saID"), sa}, {s("rifCod"), s("150101")}, {s("sfSolidoNP"), 1},
                                               {s("qtaProd"), 12500}, {s("umiProd"), 2}, {s("qtaCons"), 12000},
                                               {s("umiCons"), 2}});
    w.insertRow(s("ModRif"), {{s("rifID"), rif}, {s("tipoMod"), 2}, {s("CodFisc"), s("01234567890")},
                              {s("RagSoc"), s("RECUPERI SRL")}, {s("Via"), s("VIA PO")}, {s("Civico"), s("2")},
                              {s("Cap"), s("10000")}, {s("prvIstat"), 1}, {s("comIstat"), 151},
                              {s("qtaMod"), 12000}, {s("umiMod"), 2}});
    const qint64 mg = w.insertRow(s("ModRif"), {{s("rifID"), rif}, {s("tipoMod"), 4}, {s("Privati"), 3},
                                                {s("discDep"), 7}, {s("qtaDep"), 100}, {s("umiDep"), 1}});
    w.insertRow(s("RecRif"), {{s("mrID"), mg}, {s("Posizione"), 1}, {s("Codice"), operation}, {s("qta"), 500},
                              {s("umi"), 1}});
    w.insertRow(s("SezInt"), {{s("saID"), sa}, {s("rifCod"), s("170405")}, {s("sfSolidoNP"), 1},
                              {s("intQta"), 3000}, {s("intUmi"), 1}});
    return sa;
}

QByteArray fileHash(const QString &path)
{
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? QCryptographicHash::hash(f.readAll(), QCryptographicHash::Sha256) : QByteArray();
}

QList<qint64> allIds(dbClass &db)
{
    QList<qint64> ids;
    QSqlQuery q = db.query(s("SELECT saID FROM SezAnag ORDER BY saID"), {}, dbClass::Which::Previous);
    while (q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

// Rows of a table ordered by key, as text, without the columns a takeover
// changes on purpose (keys, quantities, places).
QStringList structureRows(dbClass &db, const schema::Table &t, dbClass::Which w)
{
    QStringList cols;
    for (const schema::Column &c : t.columns) {
        const bool place = c.name.contains(QLatin1String("Istat")) || c.name.endsWith(QLatin1String("Cap"));
        if (c.type != schema::Type::Counter && c.type != schema::Type::Qty && c.name != t.parentKey && !place)
            cols << c.name;
    }
    QStringList out;
    QSqlQuery q = db.query(QStringLiteral("SELECT %1 FROM %2 ORDER BY %3").arg(cols.join(u','), t.name, t.key), {}, w);
    while (q.next()) {
        QStringList v;
        for (int i = 0; i < cols.size(); ++i)
            v << (q.value(i).isNull() ? s("<null>") : q.value(i).toString());
        out << v.join(u'|');
    }
    out.sort();
    return out;
}

} // namespace

class TestTakeover : public QObject {
    Q_OBJECT
    QTemporaryDir base;
    QString templ;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(base.isValid());
        templ = testutil::freshDatabase(base, s("template.db"));
        QVERIFY(QFileInfo::exists(templ));
    }

    void listShowsSchedeAndFilters()
    {
        Pair p;
        qint64 bare = 0;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            rifDeclaration(w);
            bare = w.insertRow(s("SezAnag"), declaration({{s("CodFisc"), s("RSSMRA80A01H501U")},
                                                          {s("RagSoc"), s("Bianchi Luigi")},
                                                          {s("prvIstat"), 15}, {s("comIstat"), 146},
                                                          {s("msQta06"), QVariant()}}));
            // A municipality suppressed since: listed under its successor.
            w.insertRow(s("SezAnag"), declaration({{s("RagSoc"), s("ZETA SNC")}, {s("comIstat"), 5}}));
            return bare > 0;
        }));
        QVector<takeover::Line> lines;
        QVERIFY(takeover::readPrevious(*p.db, p.msg, lines));
        QCOMPARE(lines.size(), 3);
        // Ordered by name; the schede as the list shows them.
        QCOMPARE(lines[0].ragSoc, s("ACME SPA"));
        QCOMPARE(lines[0].schede, s("RIF 1, MAT, INT 1"));
        QCOMPARE(lines[0].comDesc.toUpper(), s("TORINO"));
        QCOMPARE(lines[0].prvSigla, s("TO"));
        QCOMPARE(lines[1].saID, bare);
        QCOMPARE(lines[1].schede, s("solo anagrafica"));
        QCOMPARE(lines[1].prvSigla, s("MI"));
        QCOMPARE(lines[2].comIstat, 317);
        QVERIFY(!lines[2].comDesc.isEmpty());
        QVERIFY(!lines[0].present && !lines[1].present && !lines[2].present);

        auto shown = [&](const takeover::Filter &f) {
            QStringList names;
            for (const takeover::Line &l : lines)
                if (takeover::matches(l, f))
                    names << l.ragSoc;
            return names;
        };
        QCOMPARE(shown({s("bianchi"), {}, 0}), QStringList{s("Bianchi Luigi")});
        QCOMPARE(shown({{}, s("00488"), 0}), (QStringList{s("ACME SPA"), s("ZETA SNC")}));
        QCOMPARE(shown({s("acme"), s("rss"), 0}), QStringList());
        const refdata::Chamber to = refdata::competentChamber(*p.db, p.msg, s("to"));
        const refdata::Chamber mi = refdata::competentChamber(*p.db, p.msg, s("MI"));
        QVERIFY(to.code > 0 && mi.code > 0 && to.code != mi.code);
        QCOMPARE(shown({{}, {}, to.code}), (QStringList{s("ACME SPA"), s("ZETA SNC")}));
        QCOMPARE(shown({{}, {}, mi.code}), QStringList{s("Bianchi Luigi")});
    }

    void anagraficaOnly()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) { return rifDeclaration(w) > 0; }));
        // The company is already in this year's register: left as it is.
        QVERIFY(p.db->execute(s("INSERT INTO Ditte (CodFisc, RagSoc) VALUES ('00488410010', 'NOME DEL REGISTRO')")));
        const Result r = takeover::run(*p.ctx, allIds(*p.db), {});
        QCOMPARE(r.status, Result::Done);
        QCOMPARE(r.taken, 1);
        QCOMPARE(r.skipped, 0);
        QCOMPARE(r.companies, 0);
        QCOMPARE(r.newIds.size(), 1);
        const QVariantMap a = p.row(s("SELECT * FROM SezAnag WHERE (saID = ?)"), {r.newIds.first()});
        QCOMPARE(a.value(s("saAnno")).toInt(), 2019);
        for (const char *c : {"saDataComp", "saDataPrec", "msQta06", "msUmi06"})
            QVERIFY2(a.value(s(c)).isNull(), c);
        for (const char *c : {"saAnnulla", "saExp", "ExpID"})
            QVERIFY2(!a.value(s(c)).isNull() && a.value(s(c)).toInt() == 0, c);
        QCOMPARE(a.value(s("RagSoc")).toString(), s("ACME SPA"));
        QCOMPARE(a.value(s("REA")).toInt(), 123456);
        QCOMPARE(a.value(s("attIstat")).toString(), s("381100"));
        QCOMPARE(a.value(s("slVia")).toString(), s("CORSO FRANCIA"));
        QCOMPARE(a.value(s("saCognome")).toString(), s("ROSSI"));
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezRif")), 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezInt")), 0);
        QCOMPARE(p.db->scalar(s("SELECT RagSoc FROM Ditte WHERE CodFisc = '00488410010'")).toString(),
                 s("NOME DEL REGISTRO"));
        // The counterpart of a module is not touched without the structure.
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Ditte")), 1);

        // Again: already present (so listed), nothing added.
        QVector<takeover::Line> lines;
        QVERIFY(takeover::readPrevious(*p.db, p.msg, lines));
        QCOMPARE(lines.size(), 1);
        QVERIFY(lines[0].present);
        const Result again = takeover::run(*p.ctx, allIds(*p.db), {true, false});
        QCOMPARE(again.taken, 0);
        QCOMPARE(again.skipped, 1);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 1);
    }

    void companyGoesToTheRegisterAtItsOffice()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            w.insertRow(s("SezAnag"), declaration());
            // No registered office: the local unit stands for it.
            return w.insertRow(s("SezAnag"), declaration({{s("CodFisc"), s("11111111111")}, {s("RagSoc"), s("BETA")},
                                                          {s("slComIstat"), QVariant()}, {s("slVia"), QVariant()}})) > 0;
        }));
        const Result r = takeover::run(*p.ctx, allIds(*p.db), {});
        QCOMPARE(r.taken, 2);
        QCOMPARE(r.companies, 2);
        const QVariantMap acme = p.row(s("SELECT * FROM Ditte WHERE CodFisc = ?"), {s("00488410010")});
        QCOMPARE(acme.value(s("Via")).toString(), s("CORSO FRANCIA"));
        QCOMPARE(acme.value(s("Civico")).toString(), s("5"));
        QCOMPARE(acme.value(s("Telefono")).toString(), s("555123"));
        QCOMPARE(acme.value(s("comIstat")).toInt(), 272);
        const QVariantMap beta = p.row(s("SELECT * FROM Ditte WHERE CodFisc = ?"), {s("11111111111")});
        QCOMPARE(beta.value(s("Via")).toString(), s("VIA ROMA"));
        QCOMPARE(beta.value(s("Cap")).toString(), s("10100"));
    }

    void structureOfEverySection()
    {
        Pair p;
        QList<qint64> demoIds;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            exch::demo::Options o;
            o.declarations = 4;
            o.everySection = true;
            QString error;
            const bool ok = exch::demo::generate(w, o, &demoIds, &error);
            if (!ok)
                qWarning("%s", qPrintable(error));
            return ok && rifDeclaration(w) > 0;
        }));
        const QByteArray before = fileHash(p.prev);
        const QDateTime stamp = QFileInfo(p.prev).lastModified();
        QThread::msleep(20);

        const QList<qint64> ids = allIds(*p.db);
        QCOMPARE(ids.size(), 5);
        const Result r = takeover::run(*p.ctx, ids, {true, false});
        QCOMPARE(r.status, Result::Done);
        QCOMPARE(r.taken, 5);

        // Every table of the tree: the same rows, keys and parents aside, and
        // not one quantity left.
        int tables = 0;
        for (const schema::Table &t : schema::tables()) {
            if (t.parent.isEmpty() && t.name != s("SezAnag"))
                continue;
            ++tables;
            const QStringList was = structureRows(*p.db, t, dbClass::Which::Previous);
            if (t.name != s("SezAnag")) {
                QVERIFY2(!was.isEmpty(), qPrintable(t.name));
                QCOMPARE(structureRows(*p.db, t, dbClass::Which::Current), was);
            }
            for (const schema::Column &c : t.columns)
                if (c.type == schema::Type::Qty)
                    QVERIFY2(p.count(QStringLiteral("SELECT COUNT(*) FROM %1 WHERE %2 IS NOT NULL").arg(t.name, c.name)) == 0,
                             qPrintable(t.name + u'.' + c.name));
        }
        QCOMPARE(tables, 19);
        // Units (compared above with the other columns) stay for the user to
        // fill the quantities in again; the operation rows are all there.
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM RecRif WHERE qta IS NULL AND umi > 0")),
                 p.count(s("SELECT COUNT(*) FROM RecRif WHERE qta IS NOT NULL AND umi > 0"), dbClass::Which::Previous));
        // The tree hangs from the new rows.
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezRif WHERE saID NOT IN (SELECT saID FROM SezAnag)")), 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 5);
        // Every counterpart with a tax code is in the register.
        for (const char *m : {"ModRif", "ModInt", "ModImb", "ModVfu", "ModRaee"}) {
            QSqlQuery q = p.db->query(QStringLiteral("SELECT DISTINCT CodFisc FROM %1 WHERE CodFisc <> ''").arg(s(m)), {},
                                      dbClass::Which::Previous);
            int n = 0;
            while (q.next()) {
                ++n;
                QVERIFY2(p.count(s("SELECT COUNT(*) FROM Ditte WHERE CodFisc = '") + q.value(0).toString() + u'\'') == 1,
                         qPrintable(q.value(0).toString()));
            }
            QVERIFY2(n > 0, m);
        }
        const int companies = p.count(s("SELECT COUNT(*) FROM Ditte"));
        QCOMPARE(r.companies, companies);

        // A second run finds everything present and adds nothing.
        const Result again = takeover::run(*p.ctx, ids, {true, false});
        QCOMPARE(again.status, Result::Done);
        QCOMPARE(again.taken, 0);
        QCOMPARE(again.skipped, 5);
        QCOMPARE(again.companies, 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 5);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Ditte")), companies);

        // The previous year's file was only read.
        p.db->disconnect();
        QCOMPARE(fileHash(p.prev), before);
        QCOMPARE(QFileInfo(p.prev).lastModified(), stamp);
    }

    void municipalitiesChangedSinceLastYear()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            // (1,5) and (1,138) became (1,317), (1,151) became (1,318).
            return rifDeclaration(w, {{s("comIstat"), 5}, {s("slComIstat"), 138}, {s("Civico"), QVariant()}}) > 0;
        }));
        const Result r = takeover::run(*p.ctx, allIds(*p.db), {true, false});
        QCOMPARE(r.taken, 1);
        const QVariantMap a = p.row(s("SELECT * FROM SezAnag"));
        QCOMPARE(a.value(s("prvIstat")).toInt(), 1);
        QCOMPARE(a.value(s("comIstat")).toInt(), 317);
        QCOMPARE(a.value(s("Cap")).toString(), s("10039"));
        QCOMPARE(a.value(s("slComIstat")).toInt(), 317);
        QCOMPARE(a.value(s("slCap")).toString(), s("10039"));
        const QVariantMap dr = p.row(s("SELECT * FROM ModRif WHERE tipoMod = 2"));
        QCOMPARE(dr.value(s("comIstat")).toInt(), 318);
        QCOMPARE(dr.value(s("Cap")).toString(), s("10089"));
        QCOMPARE(p.row(s("SELECT comIstat FROM Ditte WHERE CodFisc = '01234567890'")).value(s("comIstat")).toInt(), 318);
        QCOMPARE(p.row(s("SELECT comIstat FROM Ditte WHERE CodFisc = '00488410010'")).value(s("comIstat")).toInt(), 317);

        // Present is decided on the new codes: last year's (1,5) with no
        // street number matches this year's (1,317) with a null number.
        const Result again = takeover::run(*p.ctx, allIds(*p.db), {});
        QCOMPARE(again.skipped, 1);
        QCOMPARE(again.taken, 0);
    }

    void oneTransactionPerDeclaration()
    {
        Pair p;
        QList<qint64> ids;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            ids << rifDeclaration(w, {{s("RagSoc"), s("PRIMA")}});
            ids << rifDeclaration(w, {{s("RagSoc"), s("SECONDA")}, {s("CodFisc"), s("22222222222")}}, s("R99"));
            ids << rifDeclaration(w, {{s("RagSoc"), s("TERZA")}, {s("CodFisc"), s("33333333333")}});
            return true;
        }));
        // The store refuses the operation row of the second declaration,
        // after its company, SA1 row, scheda and modules were written.
        QVERIFY(p.db->execute(s("CREATE TRIGGER guasto BEFORE INSERT ON RecRif WHEN NEW.Codice = 'R99' "
                                "BEGIN SELECT RAISE(ABORT, 'guasto simulato'); END")));
        const Result r = takeover::run(*p.ctx, ids, {true, false});
        QCOMPARE(r.status, Result::Failed);
        QCOMPARE(r.taken, 1);
        QCOMPARE(r.companies, 2); // the first declaration's company and its counterpart
        QVERIFY(!p.msg.shown.isEmpty());
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 1);
        QCOMPARE(p.row(s("SELECT RagSoc FROM SezAnag")).value(s("RagSoc")).toString(), s("PRIMA"));
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezRif")), 1);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM ModRif")), 2);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM RecRif")), 1);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Ditte WHERE CodFisc = '22222222222'")), 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Ditte")), 2);

        // The connection is usable again and the fault gone: the rest comes.
        QVERIFY(p.db->execute(s("DROP TRIGGER guasto")));
        const Result rest = takeover::run(*p.ctx, ids, {true, false});
        QCOMPARE(rest.status, Result::Done);
        QCOMPARE(rest.taken, 2);
        QCOMPARE(rest.skipped, 1);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM RecRif")), 3);
    }

    // The companies go to the register at the end of the run: when the
    // register refuses them, no declaration is kept without its companies.
    void registerRefusingKeepsNothing()
    {
        Pair p;
        QList<qint64> ids;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            ids << rifDeclaration(w, {{s("RagSoc"), s("PRIMA")}});
            ids << rifDeclaration(w, {{s("RagSoc"), s("SECONDA")}, {s("CodFisc"), s("22222222222")}});
            return true;
        }));
        QVERIFY(p.db->execute(s("CREATE TRIGGER guasto BEFORE INSERT ON Ditte "
                                "BEGIN SELECT RAISE(ABORT, 'guasto simulato'); END")));
        const Result r = takeover::run(*p.ctx, ids, {true, false});
        QCOMPARE(r.status, Result::Failed);
        QCOMPARE(r.taken, 0);
        QCOMPARE(r.companies, 0);
        QVERIFY(r.newIds.isEmpty());
        QVERIFY(!p.msg.shown.isEmpty());
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM ModRif")), 0);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Ditte")), 0);
    }

    void cancelBetweenDeclarations()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            for (const char *n : {"UNO", "DUE", "TRE"})
                rifDeclaration(w, {{s("RagSoc"), s(n)}});
            return true;
        }));
        QList<int> seen;
        const Result r = takeover::run(*p.ctx, allIds(*p.db), {true, false}, [&](int done, int total) {
            seen << done;
            return total == 3 && done < 2;
        });
        QCOMPARE(r.status, Result::Cancelled);
        QCOMPARE(r.taken, 2);
        QCOMPARE(seen, (QList<int>{0, 1, 2}));
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 2);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM RecRif")), 2);
    }

    // Read by key, taken in whatever order: the new declarations come back
    // in the order asked for (the list's, by name), the first being the one
    // the main list goes to.
    void newDeclarationsInTheOrderAsked()
    {
        Pair p;
        QList<qint64> asked;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            for (const char *n : {"UNO", "DUE", "TRE"})
                asked.prepend(rifDeclaration(w, {{s("RagSoc"), s(n)}}));
            return true;
        }));
        const Result r = takeover::run(*p.ctx, asked, {true, false});
        QCOMPARE(r.status, Result::Done);
        QStringList names;
        for (qint64 id : r.newIds)
            names << p.row(s("SELECT RagSoc FROM SezAnag WHERE (saID = ?)"), {id}).value(s("RagSoc")).toString();
        QCOMPARE(names, (QStringList{s("TRE"), s("DUE"), s("UNO")}));
    }

    // More declarations than last year's store is read at a time: each is
    // taken whole and the new ones come back in the order asked; a stop far
    // into the run keeps the ones before it.
    void manyDeclarationsTakenWholeAcrossReads()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            exch::demo::Options o;
            o.declarations = 300;
            return exch::demo::generate(w, o);
        }));
        QList<qint64> asked = allIds(*p.db);
        QCOMPARE(asked.size(), 300);
        std::reverse(asked.begin(), asked.end());
        // The first declaration waits a while: the reading side has time to
        // run ahead as far as it may.
        const Result r = takeover::run(*p.ctx, asked, {true, false}, [](int done, int) {
            if (done == 0)
                QThread::msleep(200);
            return true;
        });
        QVERIFY2(r.status == Result::Done, qPrintable(p.msg.texts().join(u'\n')));
        QCOMPARE(r.taken, 300);
        QCOMPARE(r.newIds.size(), 300);
        // The declaration row is renewed for the new year: its schede are
        // what must arrive unchanged but for their quantities.
        const tree::Ignore renewed = [](const schema::Table &t, const schema::Column &c) {
            return c.type == schema::Type::Qty || t.name == QLatin1String("SezAnag");
        };
        tree::Reader was(p.db->previous()), now(p.db->current());
        was.select(asked);
        now.select(r.newIds);
        for (int i = 0; i < 300; ++i) {
            const tree::Node *a = was.next(), *b = now.next();
            QVERIFY(a && b);
            QCOMPARE(b->value(s("RagSoc")), a->value(s("RagSoc")));
            QCOMPARE(tree::difference(*a, *b, renewed), QString());
        }

        QVERIFY(p.db->execute(s("DELETE FROM SezAnag")));
        const Result stopped = takeover::run(*p.ctx, asked, {true, false}, [](int done, int) { return done < 200; });
        QCOMPARE(stopped.status, Result::Cancelled);
        QCOMPARE(stopped.taken, 200);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 200);
    }

    void userData()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            return w.execute(s("INSERT INTO Setup (codFisc, RagSoc, via, civico, cap, prvIstat, comIstat, email) "
                               "VALUES ('00488410010', 'STUDIO VERDI', 'VIA ROMA', '3', '10100', 1, 272, "
                               "'studio@verdi.it')"));
        }));
        const Result r = takeover::run(*p.ctx, {}, {false, true});
        QCOMPARE(r.status, Result::Done);
        QCOMPARE(r.setup, Result::Setup::Taken);
        const QVariantMap u = p.row(s("SELECT * FROM Setup"));
        QCOMPARE(u.value(s("RagSoc")).toString(), s("STUDIO VERDI"));
        QCOMPARE(u.value(s("email")).toString(), s("studio@verdi.it"));
        QCOMPARE(u.value(s("comIstat")).toInt(), 272);
        // The user's data of this year are never overwritten.
        QVERIFY(p.db->execute(s("UPDATE Setup SET RagSoc = 'NUOVO NOME'")));
        QCOMPARE(takeover::run(*p.ctx, {}, {false, true}).setup, Result::Setup::AlreadyThere);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM Setup")), 1);
        QCOMPARE(p.row(s("SELECT RagSoc FROM Setup")).value(s("RagSoc")).toString(), s("NUOVO NOME"));
    }

    void unusablePreviousYear_data()
    {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("not a database") << QByteArray(4096, 'x');
        QTest::newRow("cut short") << QByteArray();       // the first pages of a real one only
        QTest::newRow("no tables") << QByteArray("-");    // an SQLite file of another program
    }
    void unusablePreviousYear()
    {
        QFETCH(QByteArray, content);
        Pair p;
        QVERIFY(p.make(templ, [](dbClass &w) { return w.insertRow(s("SezAnag"), declaration()) > 0; }));
        p.db->disconnect();
        if (content.isEmpty()) {
            QVERIFY(QFile::resize(p.prev, 4 * 4096));
        } else if (content == "-") {
            QFile::remove(p.prev);
            QSqlDatabase other = QSqlDatabase::addDatabase(s("QSQLITE"), s("other"));
            other.setDatabaseName(p.prev);
            QVERIFY(other.open());
            QVERIFY(QSqlQuery(other).exec(s("CREATE TABLE Clienti (nome TEXT)")));
            other.close();
            other = QSqlDatabase();
            QSqlDatabase::removeDatabase(s("other"));
        } else {
            QFile f(p.prev);
            QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
            f.write(content);
        }
        const QByteArray before = fileHash(p.prev);
        QVERIFY(p.open());
        p.msg.clear();
        QVector<takeover::Line> lines;
        const bool listed = takeover::readPrevious(*p.db, p.msg, lines);
        const Result r = takeover::run(*p.ctx, {1}, {true, true});
        QVERIFY(!listed);
        QVERIFY(p.msg.texts().contains(takeover::openErrorText()));
        QVERIFY(r.status == Result::NotOpen || r.status == Result::Failed);
        QCOMPARE(r.taken, 0);
        QVERIFY(r.setup != Result::Setup::Taken);
        for (const char *t : {"SezAnag", "Ditte", "Setup"})
            QVERIFY2(p.count(QStringLiteral("SELECT COUNT(*) FROM %1").arg(s(t))) == 0, t);
        p.db->disconnect();
        QCOMPARE(fileHash(p.prev), before);
    }

    void commandLine()
    {
        Pair p;
        QVERIFY(p.make(templ, [&](dbClass &w) {
            rifDeclaration(w);
            return w.insertRow(s("SezAnag"), declaration({{s("CodFisc"), s("44444444444")}, {s("RagSoc"), s("MILANESE")},
                                                          {s("prvIstat"), 15}, {s("comIstat"), 146}})) > 0;
        }));
        p.db->disconnect();
        qputenv("QOR_DATA", p.dir.filePath(s("cli-data")).toLocal8Bit());
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente")}), int(cli::Usage));
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente"), p.prev, s("--bho")}), int(cli::Usage));
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente"), p.dir.filePath(s("manca.db"))}),
                 int(cli::Refused));
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente"), p.prev, s("--provincia"), s("ZZ")}),
                 int(cli::Usage));
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente"), p.prev, s("--provincia"), s("MI")}),
                 int(cli::Ok));
        QVERIFY(p.open());
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 1);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag WHERE RagSoc = 'MILANESE'")), 1);
        p.db->disconnect();
        QCOMPARE(cli::riporta({s("--db"), p.cur, s("--anno-precedente"), p.prev, s("--struttura")}), int(cli::Ok));
        QVERIFY(p.open());
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM SezAnag")), 2);
        QCOMPARE(p.count(s("SELECT COUNT(*) FROM RecRif WHERE qta IS NULL")), 1);
        p.db->disconnect();
        qunsetenv("QOR_DATA");
    }
};

QTEST_GUILESS_MAIN(TestTakeover)
#include "test_takeover.moc"
