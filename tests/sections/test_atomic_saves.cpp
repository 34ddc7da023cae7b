// Saves that write more than one row are whole or nothing: every write of
// every declaration table is made to fail in turn (the first, the second...
// until the save goes through), and after each failure the database is
// exactly as before the save and the user has been told. Driven over the
// saves of the schede with rows (packaging, vehicles, electrical equipment),
// their row and scheda deletions, and the modules of every kind.

#include "../testdb.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/int/int.h"
#include "sections/rif/modules.h"
#include "sections/stream/stream.h"
#include "shell/schema/schema.h"

#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>
#include <functional>

namespace {

// Runs the save once; true when it reports success.
using Save = std::function<bool(AppContext &)>;
struct Case {
    QString name;
    // Stores what the save starts from and gives the save.
    std::function<Save()> prepare;
};

QString parentTable(const QString &table)
{
    const schema::Table *t = schema::table(table);
    return t ? t->parent : QString();
}

} // namespace

class TestAtomicSaves : public QObject {
    Q_OBJECT
    TestDb t;
    qint64 saID = 0;
    int companies = 0;

    // Every row of every declaration table, in a stable order.
    QStringList snapshot()
    {
        QStringList out;
        for (const schema::Table &tb : schema::tables()) {
            if (tb.reference)
                continue;
            QSqlQuery q(t.db->current());
            if (!q.exec(QStringLiteral("SELECT * FROM ") + tb.name))
                continue;
            QStringList rows;
            while (q.next()) {
                QStringList v;
                for (int i = 0; i < q.record().count(); ++i)
                    v << (q.isNull(i) ? QStringLiteral("<null>") : q.value(i).toString());
                rows << tb.name + u':' + v.join(u'|');
            }
            rows.sort();
            out << rows;
        }
        return out;
    }

    bool sql(const QString &s)
    {
        QSqlQuery q(t.db->current());
        if (q.exec(s))
            return true;
        qWarning("%s: %s", qPrintable(s), qPrintable(q.lastError().text()));
        return false;
    }

    // Every insert, update and delete on a declaration table counts as one
    // write; the write numbered failAt fails as the store would.
    bool armWrites()
    {
        if (!sql(QStringLiteral("CREATE TEMP TABLE qor_writes (n INTEGER, failAt INTEGER)"))
            || !sql(QStringLiteral("INSERT INTO qor_writes VALUES (0, 0)")))
            return false;
        for (const schema::Table &tb : schema::tables()) {
            if (tb.reference)
                continue;
            for (const char *op : {"INSERT", "UPDATE", "DELETE"})
                if (!sql(QStringLiteral("CREATE TEMP TRIGGER qor_fail_%1_%2 BEFORE %2 ON %1 BEGIN "
                                        "UPDATE qor_writes SET n = n + 1; "
                                        "SELECT RAISE(ABORT, 'scrittura fallita di prova') FROM qor_writes "
                                        "WHERE n = failAt; END")
                             .arg(tb.name, QLatin1String(op))))
                    return false;
        }
        return true;
    }
    void failAt(int n) { sql(QStringLiteral("UPDATE qor_writes SET n = 0, failAt = %1").arg(n)); }
    int writes() { return t.db->scalar(QStringLiteral("SELECT n FROM qor_writes")).toInt(); }

    qint64 parentOf(const waste::ModuleKind &m)
    {
        const QString parent = parentTable(m.table);
        const schema::Table *p = schema::table(parent);
        QVariantMap v{{p->parentKey, saID}};
        if (parent == QLatin1String("SezRif") || parent == QLatin1String("SezInt"))
            v.insert(QStringLiteral("rifCod"), QStringLiteral("150101"));
        return t.db->insertRow(parent, v);
    }

    waste::Attachment attachmentOf(const waste::ModuleKind &m)
    {
        waste::Attachment a;
        for (const QString &c : m.attach)
            a.insert(c, c == QLatin1String("rifCod") ? QVariant(QStringLiteral("150101")) : QVariant(0));
        return a;
    }

    // A module of the kind with a counterpart and, for MG, two operation rows.
    Case moduleCase(const waste::ModuleKind &m)
    {
        return {m.table + u' ' + m.code, [this, &m] { return moduleSave(m); }};
    }
    Save moduleSave(const waste::ModuleKind &m)
    {
        const qint64 parent = parentOf(m);
        fields::Record r = waste::blank(m);
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("RSSMRA85T10A562S"));
        r.insert(QStringLiteral("RagSoc"), QStringLiteral("ROSSI MARIO"));
        r.insert(QStringLiteral("prvIstat"), 15);
        r.insert(QStringLiteral("comIstat"), 146);
        r.insert(QStringLiteral("qtaMod"), 1000);
        QVector<waste::OpRow> ops;
        if (!m.opTable.isEmpty())
            for (int i = 1; i <= 2; ++i) {
                waste::OpRow o;
                o.posizione = i;
                o.codice = QStringLiteral("R%1").arg(i);
                o.qta = 500;
                o.umi = 1;
                ops << o;
            }
        const waste::Attachment a = attachmentOf(m);
        // A module stored before, so that the save updates and rewrites.
        const qint64 id = waste::save(*t.ctx, m, parent, 0, QStringLiteral("150101"), r, ops, a);
        // A counterpart new to the register each time: its row is one more write.
        r.insert(QStringLiteral("CodFisc"), QStringLiteral("%1").arg(10000000000LL + ++companies));
        return [=, &m](AppContext &ctx) {
            return id > 0 && waste::save(ctx, m, parent, id, QStringLiteral("150101"), r, ops, a) > 0;
        };
    }

    // A packaging scheda with two rows and a module of the first code.
    qint64 storedImb()
    {
        QVector<imb::Row> rows(2);
        rows[0].posizione = 1, rows[0].rifCod = QStringLiteral("150101"), rows[0].qta = 1000;
        rows[1].posizione = 2, rows[1].rifCod = QStringLiteral("150102"), rows[1].qta = 2000;
        const qint64 siID = imb::save(*t.ctx, saID, 0, fields::Record(), rows);
        const waste::ModuleKind &m = imb::module(codes::DR);
        waste::save(*t.ctx, m, siID, 0, QStringLiteral("150101"), waste::blank(m), {}, attachmentOf(m));
        return siID;
    }
    // A scheda of the kind with two rows and a module of the first code.
    qint64 storedStream(const stream::StreamSpec &s)
    {
        QVector<stream::Row> rows(2);
        rows[0].posizione = 1, rows[0].rifCod = QStringLiteral("160104"), rows[0].qta = 1000;
        rows[1].posizione = 1, rows[1].rifCod = QStringLiteral("160106"), rows[1].qta = 2000;
        fields::Record r = stream::blank(s);
        if (s.categories)
            r.insert(QStringLiteral("srRAEE"), 1);
        const qint64 id = stream::save(*t.ctx, s, saID, 0, r, rows);
        const waste::ModuleKind &m = stream::module(s, codes::DR);
        waste::save(*t.ctx, m, id, 0, QStringLiteral("160104"), waste::blank(m), {},
                    {{QStringLiteral("rifCod"), QStringLiteral("160104")}});
        return id;
    }

    QVector<Case> cases()
    {
        QVector<Case> out;
        // Packaging: a stored scheda whose row changes code, its module following.
        out << Case{QStringLiteral("IMB save"), [this] {
                        const qint64 siID = storedImb();
                        QVector<imb::Row> edited = imb::loadRows(*t.ctx, siID);
                        edited[0].rifCod = QStringLiteral("150103");
                        const imb::Row extra = edited[1];
                        edited.append(extra);
                        edited.last().id = 0, edited.last().posizione = 3;
                        return Save([=, this](AppContext &ctx) {
                            return imb::save(ctx, saID, siID, fields::Record(), edited) > 0;
                        });
                    }};
        out << Case{QStringLiteral("IMB row deletion"), [this] {
                        const qint64 siID = storedImb();
                        const imb::Row gone = imb::loadRows(*t.ctx, siID).value(0);
                        return Save([=](AppContext &ctx) {
                            static_cast<ScriptedMessages &>(ctx.msg).answer({true});
                            return imb::removeRow(ctx, siID, gone);
                        });
                    }};
        // Vehicles and electrical equipment, every kind.
        QVector<const stream::StreamSpec *> streams;
        for (int k : {stream::Aut, stream::Rot, stream::Fra})
            streams << &stream::vfu(k);
        for (int k : {1, 2})
            streams << &stream::raee(k);
        for (const stream::StreamSpec *s : streams) {
            out << Case{s->name + QStringLiteral(" save"), [this, s] {
                            const qint64 id = storedStream(*s);
                            QVector<stream::Row> edited = stream::loadRows(*t.ctx, *s, id);
                            edited[0].rifCod = QStringLiteral("160107");
                            const fields::Record r = stream::load(*t.ctx, *s, id);
                            return Save([=, this](AppContext &ctx) {
                                return stream::save(ctx, *s, saID, id, r, edited) > 0;
                            });
                        }};
            out << Case{s->name + QStringLiteral(" row deletion"), [this, s] {
                            const qint64 id = storedStream(*s);
                            const stream::Row gone = stream::loadRows(*t.ctx, *s, id).value(0);
                            return Save([=](AppContext &ctx) {
                                static_cast<ScriptedMessages &>(ctx.msg).answer({true});
                                return stream::removeRow(ctx, *s, id, gone);
                            });
                        }};
            out << Case{s->name + QStringLiteral(" deletion"), [this, s] {
                            const qint64 id = storedStream(*s);
                            return Save([=](AppContext &ctx) {
                                static_cast<ScriptedMessages &>(ctx.msg).answer({true});
                                return stream::remove(ctx, *s, id);
                            });
                        }};
        }
        // Modules of every kind of every scheda that write more than their
        // own row: a counterpart for the register, operation rows.
        QVector<const waste::ModuleKind *> kinds;
        for (int k : {codes::RT, codes::DR, codes::TE, codes::MG, codes::RE})
            kinds << &rif::module(k);
        for (int k : {codes::UO, codes::UD})
            kinds << &intsec::module(k);
        for (int k : {codes::RT, codes::DR, codes::TE, codes::MG})
            kinds << &imb::module(k);
        for (const stream::StreamSpec *s : streams)
            for (int k : {codes::RT, codes::DR, codes::TE, codes::MG})
                kinds << &stream::module(*s, k);
        for (const waste::ModuleKind *m : kinds)
            if (m->counterpart || !m->opTable.isEmpty())
                out << moduleCase(*m);
        return out;
    }

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(t.open());
        saID = t.addDeclaration();
        QVERIFY(saID > 0);
    }

    void failedWriteLeavesNothing()
    {
        const QVector<Case> all = cases();
        QVERIFY(armWrites());
        for (const Case &c : all) {
            failAt(0);
            const Save save = c.prepare();
            int n = 1;
            for (;; ++n) {
                QVERIFY2(n < 100, qPrintable(c.name));
                const QStringList before = snapshot();
                t.msg.clear();
                failAt(n);
                if (save(*t.ctx))
                    break;
                QVERIFY2(!t.msg.shown.isEmpty(), qPrintable(c.name + QStringLiteral(": failure not told")));
                QVERIFY2(snapshot() == before,
                         qPrintable(c.name + QStringLiteral(": write %1 failed, the rest stayed").arg(n)));
            }
            // Only saves that write more than once are worth the case.
            QVERIFY2(n > 2, qPrintable(c.name + QStringLiteral(": %1 writes").arg(n - 1)));
            QVERIFY2(writes() == n - 1, qPrintable(c.name));
        }
    }
};

QTEST_GUILESS_MAIN(TestAtomicSaves)
#include "test_atomic_saves.moc"
