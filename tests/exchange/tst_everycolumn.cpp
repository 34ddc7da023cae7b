// Every stored value travels: one declaration whose every table of the
// declaration tree holds rows of every kind, with every column filled with a
// distinctive value that fits its column and its field in the file, is
// exported and imported into an empty database; all columns of all rows must
// come back. The tables and columns are those of the schema, not a list kept
// here; what the file does not carry is the exception list below, each entry
// with its reason.

#include "exchange/expclass.h"
#include "exchange/importer.h"
#include "fixture.h"
#include "sections/codes.h"
#include "shell/schema/schema.h"

#include <QSqlQuery>
#include <QSqlRecord>

using namespace exch;

namespace {

// A column the file does not carry, for the rows of one kind of its table
// (kind 0: every row). The kind is tipoMod for modules, vfuTipo and srTipo
// for the vehicle and RAEE schede.
struct NotCarried {
    const char *table;
    int kind;
    QStringList columns;
    const char *reason;
};

QStringList cols(std::initializer_list<const char *> names)
{
    QStringList l;
    for (const char *n : names)
        l << QString::fromLatin1(n);
    return l;
}

const QStringList Subject = cols({"CodFisc", "RagSoc", "Via", "Civico", "Cap", "prvIstat", "comIstat", "nazID", "RegCE"});
const QStringList Treatment = cols({"qtaSmalt", "umiSmalt", "qtaDep", "umiDep", "qta191", "umi191", "qtaInc", "umiInc",
                                    "qtaDisc", "umiDisc"});

const std::vector<NotCarried> &exceptions()
{
    static const std::vector<NotCarried> v = {
        {"SezAnag", 0, cols({"saExp", "ExpID", "CodFiscAnno"}), "state of the local export, not of the declaration"},
        {"SezVfu", 0, cols({"vfuAut208", "vfuAut216"}), "the VC record has no field for the authorisations"},
        {"SezVfu", 2, cols({"qtaPre80", "umiPre80", "qtaPost80", "umiPost80", "qta104", "umi104"}),
         "the vehicle split belongs to AUT (and qtaPost80 to FRA); ROT writes zeros"},
        {"SezVfu", 3, cols({"qtaPre80", "umiPre80", "qta104", "umi104"}), "FRA carries only qtaPost80 of the split"},
        {"ModRif", 2, cols({"Privati"}), "BB writes Privati for RT modules only"},
        {"ModRif", 3, cols({"Privati"}), "BB writes Privati for RT modules only"},
        {"ModRif", 4, Subject + cols({"qtaInc", "umiInc", "qtaDisc", "umiDisc"}),
         "an MG module has no counterpart and no incineration or landfill-only quantities"},
        {"ModRif", 5, Subject.mid(0, 5) + cols({"nazID", "RegCE", "discDep", "disc191"}) + Treatment,
         "BC carries only the municipality, the activity and the quantity"},
        {"ModInt", 0, cols({"Cap"}), "the short subject block of DB has no postcode"},
    };
    return v;
}

// The module tables of the three families share these exceptions.
bool familyException(const QString &table, int kind, const QString &column)
{
    if (!table.startsWith(QLatin1String("Mod")) || table == QLatin1String("ModRif") || table == QLatin1String("ModInt"))
        return false;
    const bool imb = table == QLatin1String("ModImb");
    // Packaging modules put mbFlag where the others put Privati.
    if (imb && kind != 4 && column.compare(QLatin1String("Privati"), Qt::CaseInsensitive) == 0)
        return true;   // the subject's flag is mbFlag
    if ((kind == 1 || kind == 3) && Treatment.contains(column, Qt::CaseInsensitive))
        return true;   // IC, RC, VE carry no treatment quantities
    if (kind == 3 && (column == QLatin1String("discDep") || column == QLatin1String("disc191")))
        return true;   // a TE module writes "0;0;"
    if (kind == 4 && (Subject + cols({"qtaInc", "umiInc", "qtaDisc", "umiDisc"})).contains(column, Qt::CaseInsensitive))
        return true;   // an MG module has no counterpart
    return false;
}

// Material columns of a scheda whose material has no slot in its MA record.
bool noMaterialSlot(const QString &table, const QString &column)
{
    using codes::MatKind;
    if (!column.startsWith(QLatin1String("ms")))
        return false;
    const MatKind k = table == QLatin1String("SezImb") ? MatKind::Imb
                      : table == QLatin1String("SezRaee") ? MatKind::Raee
                      : table == QLatin1String("SezVfu") ? MatKind::Vfu : MatKind::Declaration;
    const int n = column.right(2).toInt();
    const int *slots = codes::materialSlots(k);
    return std::find(slots, slots + 21, n) == slots + 21;
}

bool carried(const schema::Table &t, int kind, const schema::Column &c)
{
    if (c.name == t.key || c.name == t.parentKey || c.type == schema::Type::Counter)
        return false;   // keys are the store's own
    for (const NotCarried &e : exceptions())
        if (t.name == QLatin1String(e.table) && (e.kind == 0 || e.kind == kind) &&
            e.columns.contains(c.name, Qt::CaseInsensitive))
            return false;
    return !familyException(t.name, kind, c.name) && !noMaterialSlot(t.name, c.name);
}

QString kindColumn(const schema::Table &t)
{
    if (schema::column(t, QStringLiteral("tipoMod")))
        return QStringLiteral("tipoMod");
    if (t.name == QLatin1String("SezVfu"))
        return QStringLiteral("vfuTipo");
    if (t.name == QLatin1String("SezRaee"))
        return QStringLiteral("srTipo");
    return {};
}

// Fills a row of a table with distinctive values within each column's domain.
class Filler {
public:
    explicit Filler(dbClass &db) : db_(db)
    {
        // A municipality that no renewal changes, a nation whose description
        // is told apart by its first 20 characters.
        QSqlQuery q = db.query(QStringLiteral(
            "SELECT prvIstat, comIstat FROM Comuni WHERE newComIstat IS NULL AND prvIstat < 1000 AND comIstat < 1000 "
            "AND NOT EXISTS (SELECT 1 FROM ComConv WHERE prvOld = Comuni.prvIstat AND comOld = Comuni.comIstat) "
            "ORDER BY prvIstat DESC, comIstat DESC"));
        if (q.next()) {
            prv_ = q.value(0).toInt();
            com_ = q.value(1).toInt();
        }
        QSqlQuery n = db.query(QStringLiteral("SELECT nazID, nazDesc FROM Nazioni ORDER BY nazID DESC"));
        QHash<QString, int> seen;
        QList<std::pair<int, QString>> all;
        while (n.next()) {
            const QString d = n.value(1).toString().left(20).trimmed();
            seen[d]++;
            all << std::pair{n.value(0).toInt(), d};
        }
        for (const auto &[id, d] : all)
            if (seen[d] == 1 && !d.isEmpty()) {
                nation_ = id;
                break;
            }
    }
    bool ok() const { return prv_ > 0 && nation_ > 0; }

    qint64 add(const QString &table, const QVariantMap &fixed)
    {
        const schema::Table &t = *schema::table(table);
        QVariantMap row;
        for (const schema::Column &c : t.columns) {
            if (c.type == schema::Type::Counter)
                continue;
            row.insert(c.name, fixed.contains(c.name) ? fixed.value(c.name) : value(t, c, fixed));
        }
        return db_.insertRow(table, row);
    }

private:
    QVariant value(const schema::Table &t, const schema::Column &c, const QVariantMap &fixed)
    {
        const int n = ++n_;
        const QString name = c.name.toLower();
        const int kind = fixed.value(kindColumn(t)).toInt();
        if (name.startsWith(QLatin1String("umi")) || name.startsWith(QLatin1String("msumi")) || name == QLatin1String("srumi") ||
            name == QLatin1String("intumi"))
            return 1 + n % 2;
        if (name == QLatin1String("prvistat") || name == QLatin1String("slprvistat"))
            return prv_;
        if (name == QLatin1String("comistat") || name == QLatin1String("slcomistat"))
            return com_;
        if (name == QLatin1String("nazid"))
            return nation_;
        if (name == QLatin1String("saanno"))
            return 2019;
        if (name == QLatin1String("privati")) {
            if (t.name == QLatin1String("ModRif"))
                return kind == 4 ? 11 : kind == 5 ? 5 : 1;
            return kind == 4 ? 12 : 1;   // plant type of MG, the subject's flag otherwise
        }
        if (name == QLatin1String("discdep") || name == QLatin1String("disc191"))
            return kind == 4 ? (name == QLatin1String("discdep") ? 7 : 8) : 1;
        if (name == QLatin1String("surecupero"))
            return QStringLiteral("101000000000100");
        if (name == QLatin1String("susmaltimento"))
            return QStringLiteral("010000000000011");
        if (name == QLatin1String("allacc") || name == QLatin1String("mbflag"))
            return 1;
        if (name == QLatin1String("mesi"))
            return 11;
        switch (c.type) {
        case schema::Type::Flag: return 1;
        case schema::Type::Qty: return qint64(n) * 7919 % 9999999 + 1;
        case schema::Type::Date: return QDate(2018, 1, 1).addDays(n).toString(Qt::ISODate);
        case schema::Type::DateTime: return QDateTime(QDate(2018, 1, 1).addDays(n), QTime(1, 2, 3)).toString(Qt::ISODate);
        case schema::Type::Int: return 1 + n % 9;
        case schema::Type::Text: {
            // Upper case, the column's full width, no trailing space.
            QString s = c.name.toUpper().left(std::max(1, c.length - 3)) + QString::number(n % 1000);
            s = s.right(std::min<int>(s.size(), c.length > 0 ? c.length : 20));
            while (c.length > 0 && s.size() < c.length)
                s.prepend(u'Q');
            return s;
        }
        case schema::Type::Counter: break;
        }
        return {};
    }

    dbClass &db_;
    int n_ = 0, prv_ = 0, com_ = 0, nation_ = 0;
};

// The carried columns of every row of a table, one text per row, sorted.
QStringList carriedRows(dbClass &db, const schema::Table &t)
{
    QStringList out;
    const QString kc = kindColumn(t);
    QSqlQuery q = db.query(QStringLiteral("SELECT * FROM ") + t.name);
    while (q.next()) {
        const QSqlRecord r = q.record();
        const int kind = kc.isEmpty() ? 0 : r.value(kc).toInt();
        QStringList values;
        for (const schema::Column &c : t.columns)
            if (carried(t, kind, c))
                values << c.name + u'=' + r.value(c.name).toString();
        out << values.join(u'|');
    }
    out.sort();
    return out;
}

} // namespace

class EveryColumn : public QObject {
    Q_OBJECT
    QTemporaryDir dir;

private Q_SLOTS:
    void everyColumnOfEveryTableTravels()
    {
        TestDb a(dir.path(), QStringLiteral("a.db"));
        QVERIFY(a.ok);
        Filler f(a.db);
        QVERIFY(f.ok());
        using V = QVariantMap;
        const qint64 sa = f.add(QStringLiteral("SezAnag"), V{{"saExp", 0}, {"ExpID", 0}});
        QVERIFY(sa > 0);
        const V up{{"saID", sa}};
        f.add(QStringLiteral("SaAut"), up);
        f.add(QStringLiteral("SaAut"), up);

        // Modules of every kind with their operation rows: the MG module's in
        // each of its three grids, the DR module's in its one.
        auto modules = [&](const char *modTable, const char *opTable, const char *parentKey, qint64 parent,
                           const char *modKey, int kinds, V extra) {
            for (int k = 1; k <= kinds; ++k) {
                V m = extra;
                m.insert(QString::fromLatin1(parentKey), parent);
                m.insert(QStringLiteral("tipoMod"), k);
                const qint64 id = f.add(QString::fromLatin1(modTable), m);
                QVERIFY(id > 0);
                if (!opTable || (k != 2 && k != 4) || (k == 2 && QByteArray(modTable) == "ModRif"))
                    continue;
                for (int p = 1; p <= (k == 4 ? 3 : 1); ++p)
                    f.add(QString::fromLatin1(opTable), V{{QString::fromLatin1(modKey), id}, {"Posizione", p}});
            }
        };
        const qint64 rif = f.add(QStringLiteral("SezRif"), up);
        modules("ModRif", "RecRif", "rifID", rif, "mrID", 5, {});
        const qint64 in = f.add(QStringLiteral("SezInt"), up);
        modules("ModInt", nullptr, "intID", in, "miID", 2, {});

        const qint64 si = f.add(QStringLiteral("SezImb"), up);
        for (int p = 1; p <= 4; ++p)
            f.add(QStringLiteral("RecImb"), V{{"siID", si}, {"Posizione", p}});
        modules("ModImb", "RecModImb", "siID", si, "mbID", 4, {});

        const qint64 tra = f.add(QStringLiteral("SezRaee"), V{{"saID", sa}, {"srTipo", 1}, {"srRAEE", 3}});
        f.add(QStringLiteral("SezRaee"), V{{"saID", sa}, {"srTipo", 2}, {"srRAEE", 4}});
        for (int p = 1; p <= 3; ++p)
            f.add(QStringLiteral("RecRaee"), V{{"srID", tra}, {"Posizione", p}});
        modules("ModRaee", "RecModRaee", "srID", tra, "msrID", 4, {});

        qint64 aut = 0;
        for (int k = 1; k <= 3; ++k) {
            const qint64 id = f.add(QStringLiteral("SezVfu"), V{{"saID", sa}, {"vfuTipo", k}});
            aut = aut ? aut : id;
        }
        for (int p = 1; p <= 2; ++p)
            f.add(QStringLiteral("RecVfu"), V{{"vfuID", aut}, {"Posizione", p}});
        modules("ModVfu", "RecModVfu", "vfuID", aut, "mvID", 4, {});

        // Every table of the declaration tree has rows.
        QStringList tree;
        for (const schema::Table &t : schema::tables())
            if (t.name == QLatin1String("SezAnag") || !t.parent.isEmpty()) {
                tree << t.name;
                QVERIFY2(a.db.scalar(QStringLiteral("SELECT COUNT(*) FROM ") + t.name).toInt() > 0, qPrintable(t.name));
            }
        QCOMPARE(tree.size(), 19);

        const QString path = dir.filePath(QStringLiteral("every.000"));
        QCOMPARE(exportDeclarations(a.db, a.msg, path, {sa}), ExportResult::Done);
        QVERIFY2(a.msg.shown.isEmpty(), qPrintable(a.msg.texts().join(u'\n')));
        TestDb b(dir.path(), QStringLiteral("b.db"));
        QVERIFY(b.ok);
        const ImportResult r = importFile(b.db, b.msg, path);
        QVERIFY2(r.status == ImportResult::Done, qPrintable(r.check.text() + b.msg.texts().join(u'\n')));
        QCOMPARE(r.imported, 1);

        for (const QString &name : tree) {
            const schema::Table &t = *schema::table(name);
            const QStringList before = carriedRows(a.db, t), after = carriedRows(b.db, t);
            QCOMPARE(after.size(), before.size());
            for (int i = 0; i < before.size(); ++i)
                QVERIFY2(after[i] == before[i], qPrintable(name + QStringLiteral("\nsent: ") + before[i] +
                                                           QStringLiteral("\ncame: ") + after[i]));
        }
    }
};

QTEST_GUILESS_MAIN(EveryColumn)
#include "tst_everycolumn.moc"
