// Everything a declaration stores reaches its print. The declaration tree is
// read from the table definitions: one row of every table under SezAnag (one
// per kind where a column says the kind: vehicle and RAEE schede, module
// types, the frames and grids that hold rows), every column filled with a
// value of its own that respects its type and width. The field table of the
// row's form says what each column is; a free value (text, date, quantity,
// number) must be found among the texts drawn in the PDF, a coded one (a tick,
// a choice, a municipality) must change the print when it is emptied.

#include "../testdb.h"
#include "pdftestutil.h"
#include "print/dichiarazione.h"
#include "sections/anag/sa1.h"
#include "sections/codes.h"
#include "sections/imb/imb.h"
#include "sections/int/int.h"
#include "sections/mat/mat.h"
#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "sections/saaut/saaut.h"
#include "sections/stream/stream.h"
#include "shell/schema/schema.h"

#include <QFile>
#include <QSqlDatabase>
#include <QSqlQuery>
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

bool anyStartsWith(const QList<QByteArray> &texts, const QByteArray &what)
{
    return std::any_of(texts.cbegin(), texts.cend(), [&](const QByteArray &t) { return t.startsWith(what); });
}

// Where a row's fields are described: the form of its table and kind.
struct Context {
    const stream::StreamSpec *streamKind = nullptr; // vehicle and RAEE schede
    const waste::ModuleKind *module = nullptr;
};

} // namespace

class TestPrintComplete : public QObject {
    Q_OBJECT
private Q_SLOTS:
    void initTestCase();
    void cleanupTestCase();
    void everyColumnIsPrinted();
    void everyPageSaysWhereItBelongs();
    void closingBlockToSign();

private:
    const fields::Table *fieldsOf(const QString &table, const Context &c) const;
    void fill(const schema::Table &t, const fields::Table *form, const QStringList &attach, QVariantMap *row);
    qint64 insert(const schema::Table &t, qint64 parent, const Context &c, QVariantMap row);
    void children(const schema::Table &parent, qint64 key, const Context &c);
    QList<QByteArray> printed();
    // The declaration printed into a file: the PDF, checked by the writer's
    // own structure test and qpdf.
    QByteArray printedFile(qint64 saID);

    QString token(bool digits)
    {
        ++texts_;
        return (digits ? QStringLiteral("9") : QStringLiteral("Q")) + QString::number(texts_).rightJustified(4, u'0');
    }

    TestDb store_;
    dbClass *db_ = nullptr;
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
    if (c.streamKind && table == c.streamKind->table)
        return &c.streamKind->fields;
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
    return db_->insertRow(t.name, row);
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
                else if (c.streamKind && t.name == c.streamKind->modTable && type <= codes::MG)
                    m = &stream::module(*c.streamKind, type);
                if (!m)
                    break;
                rows.append({{c.streamKind, m}, {{QStringLiteral("tipoMod"), type}}});
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
            const int frames = c.streamKind ? int(c.streamKind->frames.size()) : 4;
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
    QVERIFY(store_.open());
    db_ = store_.db.get();
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
    store_.db.reset();
}

QList<QByteArray> TestPrintComplete::printed()
{
    QList<print::FormFrame> frames;
    print::PageHeading heading;
    if (!print::sa1Frames(*db_, saID_, &frames, &heading))
        return {};
    const QByteArray doc = declarationPdf(heading, frames, QDateTime(QDate(2019, 4, 1), QTime(9, 0)));
    QList<QByteArray> texts;
    for (int page = 0; page < pageCount(doc); ++page)
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
    QVERIFY(texts.contains("SA-AUT, RIF, MAT, INT, AUT, ROT, FRA, IMB, TRA-RAEE, CR-RAEE"));
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

QByteArray TestPrintComplete::printedFile(qint64 saID)
{
    const QString path = store_.dir.filePath(QStringLiteral("dichiarazione.pdf"));
    QString error;
    if (print::printDichiarazione(*db_, saID, path, &error) != print::DeclarationResult::Ok)
        return {};
    QFile f(path);
    if (!f.open(QIODevice::ReadOnly))
        return {};
    const QByteArray doc = f.readAll();
    if (!structureFault(doc).isEmpty() || !textOverlapFault(doc).isEmpty())
        return {};
    int rc = -1;
    QByteArray out;
    if (haveTool(QStringLiteral("qpdf"))
        && (!run(QStringLiteral("qpdf"), {QStringLiteral("--check"), path}, &rc, &out) || rc != 0))
        return {};
    return doc;
}

// A long declaration (60 schede RIF, each with modules) of a company with a
// 200-character name: every page names the company with its tax code and the
// local unit, every page after the first starts with the scheda or module it
// shows or goes on with, and the index on the first page gives the page where
// each scheda starts.
void TestPrintComplete::everyPageSaysWhereItBelongs()
{
    const QString name = QStringLiteral("CONSORZIO ").repeated(20).trimmed();
    const qint64 sa = db_->insertRow(QStringLiteral("SezAnag"),
                                     {{QStringLiteral("saAnno"), 2019}, {QStringLiteral("CodFisc"), QStringLiteral("01234567890")},
                                      {QStringLiteral("RagSoc"), name}, {QStringLiteral("prvIstat"), 40},
                                      {QStringLiteral("comIstat"), 12}, {QStringLiteral("Via"), QStringLiteral("VIA EMILIA")},
                                      {QStringLiteral("Civico"), QStringLiteral("7")}, {QStringLiteral("Cap"), QStringLiteral("47121")}});
    QVERIFY(sa > 0);
    bool ok = false;
    QSqlQuery codes = db_->query(QStringLiteral("SELECT rifCod FROM Rifiuti WHERE (LENGTH(rifCod) = 6) ORDER BY rifCod"), {},
                                 dbClass::Which::Current, &ok);
    QVERIFY(ok);
    QStringList schede;
    while (schede.size() < 60 && codes.next())
        schede.append(codes.value(0).toString());
    for (const QString &code : std::as_const(schede)) {
        const qint64 rif = db_->insertRow(QStringLiteral("SezRif"), {{QStringLiteral("saID"), sa}, {QStringLiteral("rifCod"), code},
                                                                     {QStringLiteral("qtaProd"), 1000}, {QStringLiteral("umiProd"), 1}});
        // schede of different lengths, so that pages break inside them
        QList<int> types(1 + schede.indexOf(code) % 3, codes::DR);
        if (schede.indexOf(code) % 2)
            types.append(codes::MG);
        for (const int type : types)
            QVERIFY(db_->insertRow(QStringLiteral("ModRif"), {{QStringLiteral("rifID"), rif}, {QStringLiteral("tipoMod"), type},
                                                              {QStringLiteral("RagSoc"), QStringLiteral("DESTINATARIO")}}) > 0);
    }

    const QByteArray doc = printedFile(sa);
    QVERIFY(!doc.isEmpty());
    const int pages = pageCount(doc);
    QVERIFY(pages > 60);
    const QByteArray unit = latin(QStringLiteral("Unità locale: VIA EMILIA 7 - 47121 FORLÌ (FC)"));
    QHash<QByteArray, int> firstPage; // a drawn text and the page it is first drawn on
    int goingOn = 0;                  // pages that go on with a scheda or module
    for (int p = 0; p < pages; ++p) {
        const QList<QByteArray> t = shownTexts(doc, p);
        for (const QByteArray &x : t)
            firstPage.insert(x, firstPage.value(x, p + 1));
        // the long name is shrunk and wrapped, the tax code still on the page
        const qsizetype at = t.indexOf(unit);
        QVERIFY2(at >= 2, qPrintable(QString::number(p + 1)));
        const QByteArray company = t.at(at - 2) + ' ' + t.at(at - 1);
        QCOMPARE(company, latin(name + QStringLiteral(" - C.F. 01234567890")));
        if (p == 0)
            continue;
        // the body starts after the footer
        qsizetype body = at + 1;
        while (body < t.size() && !t.at(body).startsWith("Pagina "))
            ++body;
        const QByteArray first = t.value(body + 1);
        QVERIFY2(first.startsWith("Scheda ") || first == "Sottoscrizione della dichiarazione",
                 qPrintable(QStringLiteral("pagina %1: %2").arg(p + 1).arg(QString::fromLatin1(first))));
        if (first.endsWith(" (segue)"))
            ++goingOn;
        // ... with what the page before showed: the module's heading or the scheda's code
        const QByteArray part = first.chopped(8);
        if (first.endsWith(" (segue)"))
            QVERIFY2(anyStartsWith(shownTexts(doc, p - 1), part)
                         || shownTexts(doc, p - 1).contains(part.mid(part.lastIndexOf(' ') + 1)),
                     part.constData());
    }

    QVERIFY(goingOn > 0);

    // the index, on the first page: each scheda starts on the page it says
    const QList<QByteArray> front = shownTexts(doc, 0);
    QVERIFY(front.contains("Indice delle schede"));
    for (const QString &code : std::as_const(schede)) {
        const qsizetype at = front.indexOf(latin(QStringLiteral("Scheda RIF codice: ") + code));
        QVERIFY2(at >= 0, qPrintable(code));
        QCOMPARE(front.at(at + 1), "pag. " + QByteArray::number(firstPage.value(code.toLatin1())));
        // its modules are headed by it, numbered within it by type
        const int n = int(schede.indexOf(code));
        QVERIFY(firstPage.contains(latin(QStringLiteral("Scheda RIF codice: %1 modulo DR n. %2").arg(code).arg(1 + n % 3))));
        QCOMPARE(firstPage.contains(latin(QStringLiteral("Scheda RIF codice: %1 modulo MG n. 1").arg(code))), n % 2 == 1);
    }
}

// The declaration ends with what its signing needs: place and date, the
// signature line and room for the stamp, and who compiled it when known.
void TestPrintComplete::closingBlockToSign()
{
    QVERIFY(db_->execute(QStringLiteral("DELETE FROM Setup")));
    auto lastPage = [this] {
        const QByteArray doc = printedFile(saID_);
        return shownTexts(doc, pageCount(doc) - 1);
    };
    QList<QByteArray> t = lastPage();
    qsizetype at = t.indexOf("Sottoscrizione della dichiarazione");
    QVERIFY(at > 0);
    t = t.mid(at);
    const QDate compiled = QDate::fromString(db_->scalar(QStringLiteral("SELECT saDataComp FROM SezAnag WHERE (saID = ?)"),
                                                         {saID_}).toString(), Qt::ISODate);
    QVERIFY(compiled.isValid());
    QCOMPARE(t.mid(1, 4), QList<QByteArray>({"Luogo", latin(QStringLiteral("FORLÌ")), "Data",
                                             compiled.toString(QStringLiteral("dd/MM/yyyy")).toLatin1()}));
    QVERIFY(t.contains("Firma del legale rappresentante"));
    QVERIFY(t.contains("Timbro della ditta"));
    QVERIFY(!t.contains("Dati di chi ha compilato la dichiarazione"));

    QVERIFY(db_->insertRow(QStringLiteral("Setup"), {{QStringLiteral("codFisc"), QStringLiteral("STDCNS80A01D704X")},
                                                      {QStringLiteral("RagSoc"), QStringLiteral("STUDIO CONSULENZE")},
                                                      {QStringLiteral("email"), QStringLiteral("studio@esempio.it")}}) >= 0);
    t = lastPage();
    for (const char *x : {"Dati di chi ha compilato la dichiarazione", "STDCNS80A01D704X", "STUDIO CONSULENZE",
                          "studio@esempio.it", "Firma del legale rappresentante"})
        QVERIFY2(t.contains(x), x);
    QVERIFY(db_->execute(QStringLiteral("DELETE FROM Setup")));
}

QTEST_GUILESS_MAIN(TestPrintComplete)
#include "tst_printcomplete.moc"
