// The schede and modules of a declaration are counted once: the summary beside
// the anagrafica, the counts of the exchange file (record AB) and the list of
// schede present must give the same figures for every kind the counting
// knows. Each kind is put twice into a declaration of its own.

#include "exchange/expclass.h"
#include "exchange/layouts.h"
#include "fixture.h"
#include "print/elenco.h"
#include "sections/anag/sa1.h"
#include "sections/anag/schede.h"
#include "shell/context.h"

#include <QHash>
#include <map>

using anag::Count;
using namespace exch;

namespace {

// How to add a row of each kind: its table, the column telling its kind and
// the value, and the field of record AB that counts it ("" when none). A
// module hangs from a scheda of the table before it in its chain.
struct Kind {
    Count count;
    const char *table, *column;
    int value;
    const char *ab;
};
const Kind kinds[] = {
    {Count::SaAut, "SaAut", nullptr, 0, "#nau"},
    {Count::Rif, "SezRif", nullptr, 0, "#nrif"},
    {Count::ModRT, "ModRif", "tipoMod", 1, ""},
    {Count::ModDR, "ModRif", "tipoMod", 2, ""},
    {Count::ModTE, "ModRif", "tipoMod", 3, ""},
    {Count::ModMG, "ModRif", "tipoMod", 4, ""},
    {Count::ModRE, "ModRif", "tipoMod", 5, ""},
    {Count::Mat, "SezAnag", "msQta01", 1500, ""},
    {Count::Int, "SezInt", nullptr, 0, "#nint"},
    {Count::ModUO, "ModInt", "tipoMod", 1, ""},
    {Count::ModUD, "ModInt", "tipoMod", 2, ""},
    {Count::Aut, "SezVfu", "vfuTipo", 1, "#naut"},
    {Count::Rot, "SezVfu", "vfuTipo", 2, "#nrot"},
    {Count::Fra, "SezVfu", "vfuTipo", 3, "#nfra"},
    {Count::ModVeic, "ModVfu", "tipoMod", 1, ""},
    {Count::Imb, "SezImb", nullptr, 0, "#nimb"},
    {Count::ModImb, "ModImb", "tipoMod", 1, ""},
    {Count::TraRaee, "SezRaee", "srTipo", 1, "#ntra"},
    {Count::CrRaee, "SezRaee", "srTipo", 2, "#ncr"},
    {Count::ModRaee, "ModRaee", "tipoMod", 1, ""},
    // Kinds outside the codes: the file writes such schede as FRA and CR.
    {Count::VfuOther, "SezVfu", "vfuTipo", 0, "#nfra"},
    {Count::RaeeOther, "SezRaee", "srTipo", 7, "#ncr"},
};

const Kind *kindOf(Count c)
{
    for (const Kind &k : kinds)
        if (k.count == c)
            return &k;
    return nullptr;
}

// The scheda kind a module table hangs from.
Count schedaOf(const QString &moduleTable)
{
    static const QHash<QString, Count> parents = {{QStringLiteral("ModRif"), Count::Rif},
                                                  {QStringLiteral("ModInt"), Count::Int},
                                                  {QStringLiteral("ModVfu"), Count::Aut},
                                                  {QStringLiteral("ModImb"), Count::Imb},
                                                  {QStringLiteral("ModRaee"), Count::TraRaee}};
    return parents.value(moduleTable, Count::Kinds);
}

QString s(const char *t) { return QString::fromLatin1(t); }

int value(const std::map<Count, int> &m, Count c)
{
    const auto it = m.find(c);
    return it == m.end() ? 0 : it->second;
}

} // namespace

class SchedeCounts : public QObject {
    Q_OBJECT
    QTemporaryDir dir;
    std::unique_ptr<TestDb> t;
    std::unique_ptr<AppContext> ctx;

    qint64 declaration()
    {
        return t->db.insertRow(s("SezAnag"), {{s("CodFisc"), s("RSSMRA80A01H501U")}, {s("RagSoc"), s("DITTA")}});
    }

    // Adds n rows of kind k under the declaration; a module's scheda once.
    bool add(qint64 saID, const Kind &k, int n)
    {
        const schema::Table *table = schema::table(s(k.table));
        if (!table)
            return false;
        if (table->name == QLatin1String("SezAnag"))
            return t->db.execute(QStringLiteral("UPDATE SezAnag SET %1 = ? WHERE saID = ?").arg(s(k.column)),
                                 {k.value, saID});
        qint64 parent = saID;
        if (table->parent != QLatin1String("SezAnag")) {
            const Kind *scheda = kindOf(schedaOf(table->name));
            parent = scheda ? insert(*scheda, saID) : -1;
        }
        for (int i = 0; i < n; ++i)
            if (insert(k, parent) <= 0)
                return false;
        return parent > 0;
    }

    qint64 insert(const Kind &k, qint64 parent)
    {
        const schema::Table *table = schema::table(s(k.table));
        QVariantMap row{{table->parentKey, parent}};
        if (k.column)
            row.insert(s(k.column), k.value);
        if (schema::column(*table, s("rifCod")))
            row.insert(s("rifCod"), s("170405"));
        return t->db.insertRow(table->name, row);
    }

    QVariantMap abRecord(qint64 saID)
    {
        const QString path = dir.filePath(QStringLiteral("counts-%1.000").arg(saID));
        if (exportDeclarations(t->db, t->msg, path, {saID}) != ExportResult::Done)
            return {};
        for (const QByteArray &line : readAll(path).split('\n'))
            if (line.startsWith("AB;"))
                return decodeLine(layout(rt::AB), line.chopped(1));
        return {};
    }

private Q_SLOTS:
    void initTestCase()
    {
        t = std::make_unique<TestDb>(dir.path());
        QVERIFY(t->ok);
        ctx = std::make_unique<AppContext>(AppContext{t->app, t->db, t->msg});
    }

    void everyKindIsTested()
    {
        for (const anag::CountName &n : anag::countNames())
            QVERIFY2(kindOf(n.count), n.summary ? n.summary : n.scheda);
    }

    void summaryFileAndListAgree()
    {
        for (const Kind &k : kinds) {
            const QString what = s(k.table) + u'.' + (k.column ? s(k.column) : QString()) + u'=' +
                                 QString::number(k.value);
            const qint64 sa = declaration();
            QVERIFY2(add(sa, k, 2), qPrintable(what));
            // What the row and, for a module, its scheda should count.
            const int rows = k.count == Count::Mat ? 1 : 2;
            std::map<Count, int> expected{{k.count, rows}};
            const Count scheda = schedaOf(s(k.table));
            if (scheda != Count::Kinds)
                expected[scheda] = 1;

            anag::SchedeCount counted;
            QVERIFY(anag::countSchede(t->db.current(), sa, &counted));
            for (int c = 0; c < int(Count::Kinds); ++c)
                QVERIFY2(counted[Count(c)] == value(expected, Count(c)),
                         qPrintable(what + QStringLiteral(": count %1 is %2").arg(c).arg(counted[Count(c)])));

            // The summary beside the anagrafica: every line from the count.
            QHash<QString, int> summary;
            for (const sa1::SummaryLine &l : sa1::summary(*ctx, sa))
                summary.insert(l.what, l.count);
            for (const anag::CountName &n : anag::countNames())
                if (n.summary)
                    QVERIFY2(summary.value(s(n.summary), -1) == value(expected, n.count),
                             qPrintable(what + QStringLiteral(": ") + s(n.summary)));

            // Record AB: the kind's own field, the others zero.
            const QVariantMap ab = abRecord(sa);
            QVERIFY2(!ab.isEmpty(), qPrintable(what + u'\n' + t->msg.texts().join(u'\n')));
            for (const Kind &other : kinds) {
                if (!*other.ab)
                    continue;
                int want = 0;
                for (const auto &[c, n] : expected)
                    if (const Kind *e = kindOf(c); e && qstrcmp(e->ab, other.ab) == 0)
                        want += n;
                QVERIFY2(ab.value(s(other.ab)).toInt() == want,
                         qPrintable(what + QStringLiteral(": ") + s(other.ab) + QStringLiteral(" is ") +
                                    ab.value(s(other.ab)).toString()));
            }

            // The list of schede present.
            QStringList present;
            for (const anag::CountName &n : anag::countNames())
                if (n.scheda && value(expected, n.count))
                    present << (value(expected, n.count) > 1
                                    ? s(n.scheda) + QStringLiteral(" (%1)").arg(value(expected, n.count))
                                    : s(n.scheda));
            QCOMPARE(anag::schedePresent(counted), present.join(QStringLiteral(", ")));
            // ... as the printed list of declarations shows it.
            QCOMPARE(print::schedePresent(t->db, QList<qint64>{sa}).value(sa), present.join(QStringLiteral(", ")));
        }
        QVERIFY2(t->msg.shown.isEmpty(), qPrintable(t->msg.texts().join(u'\n')));
    }

    void declarationNotStoredCountsNothing()
    {
        anag::SchedeCount counted;
        counted[Count::Rif] = 5;
        QVERIFY(anag::countSchede(t->db.current(), 999999, &counted));
        QCOMPARE(anag::schedePresent(counted), QString());
    }
};

QTEST_GUILESS_MAIN(SchedeCounts)
#include "tst_schedecounts.moc"
