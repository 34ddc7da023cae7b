// Everything a declaration stores reaches its print. The declaration tree is
// read from the table definitions: one row of every table under SezAnag (one
// per kind where a column says the kind: vehicle and RAEE schede, module
// types, the frames and grids that hold rows), every column filled with a
// value of its own that respects its type and width. The field table of the
// row's form says what each column is; a free value (text, date, quantity,
// number) must be found among the texts drawn in the PDF, a coded one (a tick,
// a choice, a municipality) must change the print when it is emptied.

#include "pdftestutil.h"
#include "print/dichiarazione.h"
#include "refdata/template.h"
#include "sections/anag/sa1.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/int/int.h"
#include "sections/mat/mat.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "sections/saaut/saaut.h"
#include "sections/stream/stream.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QBuffer>
#include <QSqlDatabase>
#include <QTemporaryDir>
#include <QtTest>

using namespace pdftest;

namespace {

// Columns that are stored but deliberately not printed, and why.
const QHash<QString, const char *> &notPrinted()
{
    static const QHash<QString, const char *> h = {
        {QStringLiteral("SezAnag.saExp"), "the mark of an export in progress, not a datum of the declaration"},
        {QStringLiteral("SezAnag.CodFiscAnno"), "kept for archives of earlier editions; the program neither "
                                                "writes nor reads it"},
    };
    return h;
}

// Material columns past the materials a section has (SezImb and SezRaee keep
// fifteen, for seven materials): no form, file record or check uses them.
bool pastMaterials(const QString &table, const QString &column)
{
    if (!column.startsWith(QLatin1String("msQta")) && !column.startsWith(QLatin1String("msUmi")))
        return false;
    const codes::MatKind kind = table == QLatin1String("SezImb")    ? codes::MatKind::Imb
                                : table == QLatin1String("SezRaee") ? codes::MatKind::Raee
                                : table == QLatin1String("SezVfu")  ? codes::MatKind::Vfu
                                                                    : codes::MatKind::Declaration;
    return column.right(2).toInt() > codes::sectionMaterials(kind).size();
}

// How a filled value is looked for in the print.
enum class Check {
    Found,   // a drawn text holds it
    Changes, // emptying the column changes the print
};

struct Expectation {
    QString table, column;
    Check check;
    QString text;        // Found: the text as printed
    bool within = false; // a text may stand inside a longer one ("051/123456")
};

QByteArray latin(const QString &s) { return clsPDFCreator::toWinAnsi(s); }

// Where a row's fields are described: the form of its table and kind.
struct Context {
    const stream::StreamSpec *spec = nullptr; // vehicle and RAEE schede
    const waste::ModuleKind *module = nullptr;
};

} // namespace

class TestPrintComplete : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void everyColumnIsPrinted();

private:
    const fields::Table *fieldsOf(const QString &table, const Context &c) const;
    void fill(const schema::Table &t, const fields::Table *form, const QStringList &attach, QVariantMap *row);
    qint64 insert(const schema::Table &t, qint64 parent, const Context &c, QVariantMap row);
    void children(const schema::Table &parent, qint64 key, const Context &c);
    QList<QByteArray> printed();

    QString token(bool digits)
    {
        ++texts_;
        return (digits ? QStringLiteral("9") : QStringLiteral("Q")) + QString::number(texts_).rightJustified(4, u'0');
    }

    QTemporaryDir dir_;
    std::unique_ptr<qorClass> app_;
    ScriptedMessages msg_;
    std::unique_ptr<dbClass> db_;
    qint64 saID_ = 0;
    int texts_ = 0, numbers_ = 100, quantities_ = 0, days_ = 0;
    int nazione_ = 0;
    QList<int> categories_;
    QList<Expectation> expected_;
};

const fields::Table *TestPrintComplete::fieldsOf(const QString &table, const Context &c) const
{
    static const fields::Table declaration = sa1::fieldTable() + mat::schedaFields();
    if (c.module && table == c.module->table)
        return &c.module->fields;
    if (c.spec && table == c.spec->table)
        return &c.spec->fields;
    if (table == QLatin1String("SezAnag"))
        return &declaration;
    if (table == QLatin1String("SaAut"))
        return &saaut::fieldTable();
    if (table == QLatin1String("SezRif"))
        return &rif::scheda().fields;
    if (table == QLatin1String("SezInt"))
        return &intsec::scheda().fields;
    if (table == QLatin1String("SezImb"))
        return &imb::schedaFields();
    return nullptr; // rows of a scheda or of a module grid: the schema says it all
}

// Fills every column of a row that its form (or, without one, its type)
// gives a value, and notes how the print must show it.
void TestPrintComplete::fill(const schema::Table &t, const fields::Table *form, const QStringList &attach,
                             QVariantMap *row)
{
    auto expect = [&](const QString &column, Check check, const QString &text = {}, bool within = false) {
        expected_.append({t.name, column, check, text, within});
    };
    auto quantity = [&](const QString &qta, const QString &umi) {
        ++quantities_;
        const int unit = quantities_ % 2 ? 1 : 2;
        row->insert(qta, qlonglong(quantities_) * 1000 + 7);
        row->insert(umi, unit);
        const QString text = QString::number(quantities_) + QStringLiteral(",007 ") + (unit == 1 ? "Kg" : "t");
        expect(qta, Check::Found, text);
        expect(umi, Check::Found, text);
    };
    auto date = [&](const QString &column) {
        const QDate d = QDate(2018, 1, 1).addDays(++days_);
        row->insert(column, d.toString(Qt::ISODate));
        expect(column, Check::Found, d.toString(QStringLiteral("dd/MM/yyyy")));
    };
    auto coded = [&](const QString &column, const QVariant &value) {
        row->insert(column, value);
        expect(column, Check::Changes);
    };

    for (size_t i = 0; i < t.columns.size(); ++i) {
        const schema::Column &col = t.columns[i];
        const QString &name = col.name;
        if (name == t.key || name == t.parentKey || row->contains(name)
            || notPrinted().contains(t.name + u'.' + name) || pastMaterials(t.name, name))
            continue;
        const fields::Field *f = form ? fields::find(*form, name) : nullptr;
        if (form && !f) {
            // the second column of a pair is filled with the first
            const bool second = std::any_of(form->cbegin(), form->cend(),
                                             [&](const fields::Field &x) { return x.name2 == name; });
            if (second)
                continue;
            // where the form depends on the row's kind, a column the form of
            // this kind does not have stays empty, unless it ties a module to
            // its scheda's row; elsewhere the column's type says what to fill
            const bool kinded = std::any_of(t.columns.cbegin(), t.columns.cend(), [](const schema::Column &c) {
                return c.name == QLatin1String("tipoMod") || c.name == QLatin1String("vfuTipo")
                       || c.name == QLatin1String("srTipo");
            });
            if (kinded && !attach.contains(name))
                continue;
        }
        if (name == QLatin1String("nazID")) {
            coded(name, nazione_);
        } else if (name == QLatin1String("srRAEE")) {
            coded(name, categories_.takeFirst());
        } else if (name == QLatin1String("mbFlag")) {
            coded(name, int(codes::SurfacePrivate));
        } else if (name.startsWith(QLatin1String("crClass"))) {
            coded(name, codes::saAutLandfillClass(name.right(1).toInt()));
        } else if (name == QLatin1String("suRecupero") || name == QLatin1String("suSmaltimento")) {
            coded(name, QStringLiteral("101"));
        } else if (f) {
            switch (f->kind) {
            case fields::Kind::Text:
            case fields::Kind::Activity: {
                const QString v = token(f->chars == QLatin1String("0-9")).left(col.length > 0 ? col.length : 99);
                row->insert(name, v);
                expect(name, Check::Found, v, true);
                break;
            }
            case fields::Kind::Integer:
                if (f->length >= 3) {
                    row->insert(name, ++numbers_);
                    expect(name, Check::Found, QString::number(numbers_));
                } else {
                    coded(name, 1);
                }
                break;
            case fields::Kind::Decimal:
                row->insert(name, qlonglong(++numbers_) * 1000);
                expect(name, Check::Found, QString::number(numbers_));
                break;
            case fields::Kind::Quantity: quantity(name, f->name2); break;
            case fields::Kind::Date: date(name); break;
            case fields::Kind::Check: coded(name, 1); break;
            case fields::Kind::Option: coded(name, 1); break;
            case fields::Kind::Municipality:
                coded(name, 40); // Forlì
                coded(f->name2, 12);
                break;
            case fields::Kind::Province: break;
            }
        } else {
            switch (col.type) {
            case schema::Type::Text: {
                // an operation code is of its grid's kind: recovery or disposal
                const int grid = row->value(QStringLiteral("Posizione")).toInt();
                QString v = token(false);
                if (name == QLatin1String("Codice"))
                    v[0] = grid == codes::GridSmaltimento || grid == codes::GridSmaltimento191 ? u'D' : u'R';
                row->insert(name, v);
                expect(name, Check::Found, v, true);
                break;
            }
            case schema::Type::Qty: quantity(name, t.columns[i + 1].name); break;
            case schema::Type::Date: date(name); break;
            case schema::Type::Int:
            case schema::Type::Flag: coded(name, 1); break;
            case schema::Type::Counter:
            case schema::Type::DateTime: break;
            }
        }
    }
}

qint64 TestPrintComplete::insert(const schema::Table &t, qint64 parent, const Context &c, QVariantMap row)
{
    if (!t.parentKey.isEmpty())
        row.insert(t.parentKey, parent);
    fill(t, fieldsOf(t.name, c), c.module ? c.module->attach : QStringList(), &row);
    // option fields of a module keep their own codes (landfill classes, RE activities)
    if (c.module)
        for (auto it = c.module->optionCodes.cbegin(); it != c.module->optionCodes.cend(); ++it)
            if (row.contains(it.key()))
                row.insert(it.key(), waste::optionCode(*c.module, it.key(), 0));
    const qint64 key = db_->insertRow(t.name, row);
    return key;
}

// The rows under a parent row: every kind a child table knows.
void TestPrintComplete::children(const schema::Table &parent, qint64 key, const Context &c)
{
    for (const schema::Table &t : schema::tables()) {
        if (t.parent != parent.name)
            continue;
        QList<std::pair<Context, QVariantMap>> rows;
        if (t.name == QLatin1String("SezVfu")) {
            for (int k : {1, 2, 3})
                rows.append({{&stream::vfu(k), nullptr}, {{QStringLiteral("vfuTipo"), k}}});
        } else if (t.name == QLatin1String("SezRaee")) {
            for (int k : {codes::RaeeTra, codes::RaeeCr})
                rows.append({{&stream::raee(k), nullptr}, {{QStringLiteral("srTipo"), k}}});
        } else if (schema::column(t, QStringLiteral("tipoMod"))) {
            for (int type = 1;; ++type) {
                const waste::ModuleKind *m = nullptr;
                if (t.name == QLatin1String("ModRif") && type <= codes::RE)
                    m = &rif::module(type);
                else if (t.name == QLatin1String("ModInt") && type <= codes::UD)
                    m = &intsec::module(type);
                else if (t.name == QLatin1String("ModImb") && type <= codes::MG)
                    m = &imb::module(type);
                else if (c.spec && t.name == c.spec->modTable && type <= codes::MG)
                    m = &stream::module(*c.spec, type);
                if (!m)
                    break;
                rows.append({{c.spec, m}, {{QStringLiteral("tipoMod"), type}}});
            }
        } else if (c.module) {
            // operation rows: one in each grid of the module, none where it has no grid
            if (c.module->opTable != t.name)
                continue;
            const QList<int> grids = c.module->operations
                                         ? QList<int>{codes::GridRecupero, codes::GridSmaltimento, codes::GridSmaltimento191}
                                         : QList<int>{0};
            for (const int grid : grids)
                rows.append({c, {{QStringLiteral("Posizione"), grid}}});
        } else if (schema::column(t, QStringLiteral("Posizione"))) {
            // rows of a scheda: one in each of its frames
            const int frames = c.spec ? int(c.spec->frames.size()) : 4;
            for (int p = 1; p <= frames; ++p)
                rows.append({c, {{QStringLiteral("Posizione"), p}}});
            // the metal split (allAcc) shows on code 150104 only
            if (t.name == QLatin1String("RecImb"))
                QVERIFY(db_->insertRow(t.name, {{t.parentKey, key}, {QStringLiteral("Posizione"), 1},
                                                {QStringLiteral("rifCod"), codes::splitCode()},
                                                {QStringLiteral("allAcc"), 1}}) > 0);
        } else {
            rows.append({c, {}});
        }
        for (const auto &[context, values] : rows) {
            const qint64 child = insert(t, key, context, values);
            QVERIFY2(child > 0, qPrintable(t.name));
            children(t, child, context);
        }
    }
}

void TestPrintComplete::initTestCase()
{
    QVERIFY(dir_.isValid());
    qputenv("QOR_DATA", dir_.filePath(QStringLiteral("data")).toUtf8());
    const QString path = dir_.filePath(QStringLiteral("completa.db"));
    app_ = std::make_unique<qorClass>(dir_.filePath(QStringLiteral("data")));
    QString error;
    QVERIFY2(refdata::createDatabase(path, app_->refdataFolder(), &error), qPrintable(error));
    db_ = std::make_unique<dbClass>(*app_, msg_);
    db_->setCurrentPath(path);
    QVERIFY(db_->connect());
    nazione_ = db_->scalar(QStringLiteral("SELECT MIN(nazID) FROM Nazioni WHERE (nazID > 0)")).toInt();
    QVERIFY(nazione_ > 0);
    for (const auto &[code, text] : stream::raeeCategories(*db_))
        categories_.append(code);
    QVERIFY(categories_.size() >= 2);

    const schema::Table *sezAnag = schema::table(QStringLiteral("SezAnag"));
    QVERIFY(sezAnag);
    saID_ = insert(*sezAnag, 0, {}, {});
    QVERIFY(saID_ > 0);
    children(*sezAnag, saID_, {});
}

void TestPrintComplete::cleanupTestCase()
{
    db_.reset();
}

QList<QByteArray> TestPrintComplete::printed()
{
    QList<print::FormFrame> frames;
    print::PageHeading heading;
    if (!print::sa1Frames(*db_, saID_, &frames, &heading))
        return {};
    QByteArray doc;
    QBuffer b(&doc);
    b.open(QIODevice::WriteOnly);
    clsPDFCreator pdf;
    print::setupDeclaration(pdf);
    pdf.open(&b);
    if (!print::writeDeclaration(pdf, heading, frames, QDateTime(QDate(2019, 4, 1), QTime(9, 0))))
        return {};
    QList<QByteArray> texts;
    for (int page = 0; page < pdf.pageCount(); ++page)
        texts += shownTexts(doc, page);
    return texts;
}

void TestPrintComplete::everyColumnIsPrinted()
{
    // every table of the tree has rows
    QSet<QString> filled;
    for (const Expectation &e : std::as_const(expected_))
        filled.insert(e.table);
    for (const schema::Table &t : schema::tables()) {
        if (t.parent.isEmpty() && t.name != QLatin1String("SezAnag"))
            continue;
        QVERIFY2(filled.contains(t.name), qPrintable(t.name));
    }

    const QList<QByteArray> texts = printed();
    QVERIFY(!texts.isEmpty());
    QSet<QString> checked;
    for (const Expectation &e : std::as_const(expected_)) {
        checked.insert(e.table + u'.' + e.column);
        if (e.check != Check::Found)
            continue;
        const QByteArray want = latin(e.text);
        const bool found = std::any_of(texts.cbegin(), texts.cend(), [&](const QByteArray &t) {
            return t == want || t.startsWith(want + ' ') || (e.within && t.contains(want));
        });
        QVERIFY2(found, qPrintable(e.table + u'.' + e.column + QStringLiteral(": ") + e.text));
    }

    // a coded column emptied in every row changes the print
    QSqlDatabase db = db_->database(dbClass::Which::Current);
    for (const QString &tc : std::as_const(checked)) {
        const QString table = tc.section(u'.', 0, 0), column = tc.section(u'.', 1);
        const bool coded = std::any_of(expected_.cbegin(), expected_.cend(), [&](const Expectation &e) {
            return e.table == table && e.column == column && e.check == Check::Changes;
        });
        if (!coded)
            continue;
        const schema::Column *c = schema::column(*schema::table(table), column);
        const QVariant empty = c->type == schema::Type::Text ? QVariant() : QVariant(0);
        QVERIFY(db.transaction());
        QVERIFY(db_->execute(QStringLiteral("UPDATE %1 SET %2 = ?").arg(table, column), {empty}));
        const QList<QByteArray> without = printed();
        QVERIFY(db.rollback());
        QVERIFY2(!without.isEmpty() && without != texts, qPrintable(tc));
    }

    // and every column of the tree is accounted for
    for (const schema::Table &t : schema::tables()) {
        if (t.parent.isEmpty() && t.name != QLatin1String("SezAnag"))
            continue;
        for (const schema::Column &c : t.columns) {
            const QString tc = t.name + u'.' + c.name;
            if (c.name == t.key || c.name == t.parentKey || notPrinted().contains(tc) || pastMaterials(t.name, c.name))
                continue;
            // the kind columns and positions lay the print out: the headings show them
            if (c.name == QLatin1String("tipoMod") || c.name == QLatin1String("vfuTipo")
                || c.name == QLatin1String("srTipo") || c.name == QLatin1String("Posizione"))
                continue;
            QVERIFY2(checked.contains(tc), qPrintable(tc + QStringLiteral(" is filled by no form")));
        }
    }
}

QTEST_GUILESS_MAIN(TestPrintComplete)
#include "tst_printcomplete.moc"
