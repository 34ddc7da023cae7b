#include "print/elenco.h"

#include "print/printcommon.h"
#include "sections/anag/schede.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/tree/tree.h"
#include "verify/outcome.h"

#include <QFile>
#include <QHash>
#include <QSqlQuery>
#include <algorithm>

namespace print {
namespace {

// Page geometry in millimetres (A4 landscape: 297 x 210).
constexpr double Left = 10, Right = 287, BodyTop = 35, BodyBottom = 196;
constexpr double LineStep = 3.6, RowPadding = 1.6, FontSize = 8;

struct Column {
    const char *title;
    double x, width;
    QString ElencoRow::*field;
};

const Column columns[] = {
    {"Ragione sociale", 10, 58, &ElencoRow::ragSoc},
    {"Codice fiscale", 70, 30, &ElencoRow::codFisc},
    {"Unità locale", 102, 48, &ElencoRow::unita},
    {"Comune", 152, 36, &ElencoRow::comune},
    {"Schede presenti", 190, 32, &ElencoRow::schede},
    {"Compilata", 224, 16, &ElencoRow::compilata},
    {"Verifica", 242, 22, &ElencoRow::verifica},
    {"Esportazione", 266, 21, &ElencoRow::esportazione},
};

} // namespace

// The order of the list: the company name whatever its case and the blanks
// around it, then the name as written, the tax code and the key. SezAnag has
// an index on the first three (the schema's), so each window of the list is a
// short walk of it whatever the number of declarations.
const QString ElencoOrder[4] = {
    QStringLiteral("lower(trim(COALESCE(SezAnag.RagSoc, '')))"),
    QStringLiteral("COALESCE(SezAnag.RagSoc, '')"),
    QStringLiteral("COALESCE(SezAnag.CodFisc, '')"),
    QStringLiteral("SezAnag.saID"),
};

QHash<qint64, QString> schedePresent(dbClass &db, qint64 saID)
{
    return schedePresent(db, saID > 0 ? QList<qint64>{saID} : QList<qint64>{});
}

QHash<qint64, QString> schedePresent(dbClass &db, const QList<qint64> &saIDs)
{
    // Counted as the summary of SA1 and the exchange file count them.
    // The schede alone (the list names no module), and of the declaration
    // only its materials.
    tree::ReadOptions options;
    options.window = std::max<int>(1, int(std::min<qsizetype>(saIDs.size(), 500)));
    options.tables = QStringList{QStringLiteral("SezAnag")};
    options.columns.insert(QStringLiteral("SezAnag"), {});
    anag::addCountColumns(options, anag::Counted::Schede);
    tree::Reader reader(db.database(dbClass::Which::Current), options);
    if (saIDs.isEmpty())
        reader.selectAll();
    else
        reader.select(saIDs);
    QHash<qint64, QString> out;
    while (const tree::Node *d = reader.next()) {
        const QString present = anag::schedePresent(anag::countSchede(*d));
        if (!present.isEmpty())
            out.insert(d->key(), present);
    }
    if (reader.failed())
        db.messages().errorReport({}, reader.errorCode(), reader.error(), QStringLiteral("print.schedePresent"));
    return out;
}

namespace {

struct PlacedRow {
    QList<QStringList> cells;   // wrapped lines per column
    double height;
};

void pageHeader(clsPDFCreator &pdf, const QString &subtitle, const QDateTime &printed)
{
    pdf.setFont(Bold, 14);
    pdf.text(Left, 16, QStringLiteral("Elenco dichiarazioni"));
    pdf.setFont(Regular, 8);
    pdf.text(Right, 16,
             QStringLiteral("Stampato il ") + printed.toString(QStringLiteral("dd/MM/yyyy"))
                 + QStringLiteral(" alle ") + printed.toString(QStringLiteral("HH:mm")),
             clsPDFCreator::AlignRight);
    pdf.setFont(Regular, 10);
    pdf.text(Left, 22, subtitle);
    pdf.setLineWidth(0.4);
    pdf.line(Left, 25, Right, 25);
    pdf.setFont(Bold, FontSize);
    for (const Column &c : columns)
        pdf.text(c.x, 30, QString::fromUtf8(c.title));
    pdf.setLineWidth(0.2);
    pdf.line(Left, 32, Right, 32);
}

void pageFooter(clsPDFCreator &pdf, int page, int pages)
{
    pdf.setLineWidth(0.2);
    pdf.line(Left, 199, Right, 199);
    pdf.setFont(Regular, FontSize);
    pdf.text(Left, 203, QStringLiteral("Qor 2019"));
    pdf.text(Right, 203,
             QStringLiteral("Pagina ") + QString::number(page) + QStringLiteral(" di ")
                 + QString::number(pages),
             clsPDFCreator::AlignRight);
}

} // namespace

Chamber chamberOf(dbClass &db, const QString &sigla)
{
    Chamber c;
    bool ok = false;
    QSqlQuery q = db.query(
        QStringLiteral("SELECT Province.prvCCIAA, Province_1.prvDesc FROM Province INNER JOIN Province "
                       "AS Province_1 ON Province.prvCCIAA = Province_1.prvIstat "
                       "WHERE (Province.prvSigla = ?)"),
        {sigla.trimmed().toUpper()}, dbClass::Which::Current, &ok);
    if (ok && q.next()) {
        c.code = q.value(0).toInt();
        c.name = q.value(1).toString();
    }
    return c;
}

namespace {

// The outcome table is made by the first verification; reading never makes it.
bool hasOutcomeTable(dbClass &db)
{
    const QStringList tables = db.database(dbClass::Which::Current).tables();
    return std::any_of(tables.cbegin(), tables.cend(), [](const QString &t) {
        return t.compare(QLatin1String("VerEsito"), Qt::CaseInsensitive) == 0;
    });
}

} // namespace

QString elencoWindowSql(bool outcomes, int chamber, bool after)
{
    QString sql = QStringLiteral(
        "SELECT SezAnag.saID, SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.Via, SezAnag.Civico, "
        "SezAnag.Cap, SezAnag.ExpID, Comuni.comDesc, Province.prvSigla, expTab.expData, SezAnag.saDataComp, "
        "%1, %2, %3, %4 "
        "FROM SezAnag LEFT JOIN Comuni ON (SezAnag.comIstat = Comuni.comIstat) AND "
        "(SezAnag.prvIstat = Comuni.prvIstat) LEFT JOIN Province ON SezAnag.prvIstat = "
        "Province.prvIstat LEFT JOIN expTab ON SezAnag.ExpID = expTab.expID ")
                      .arg(ElencoOrder[0], ElencoOrder[1], ElencoOrder[2],
                           outcomes ? QStringLiteral("VerEsito.esito, VerEsito.verData")
                                    : QStringLiteral("NULL, NULL"));
    if (outcomes)
        sql += QStringLiteral("LEFT JOIN VerEsito ON SezAnag.saID = VerEsito.saID ");
    QStringList where;
    // the chamber's own index would make the store sort its declarations
    // again for every window ("+" keeps it off it): walking the order's
    // index from window to window reads each declaration once
    if (chamber > 0)
        where.append(QStringLiteral("+Comuni.comCCIAA = ?"));
    const QString order = QStringList(std::begin(ElencoOrder), std::end(ElencoOrder)).join(QStringLiteral(", "));
    // keyset paging: a window starts after the last row of the one before;
    // the first term alone lets the store start its walk of the index there
    if (after)
        where.append(QStringLiteral("%1 >= ? AND (%2) > (?, ?, ?, ?)").arg(ElencoOrder[0], order));
    if (!where.isEmpty())
        sql += QStringLiteral("WHERE ") + where.join(QStringLiteral(" AND ")) + u' ';
    return sql + QStringLiteral("ORDER BY ") + order + QStringLiteral(" LIMIT ?");
}

qint64 elencoCount(dbClass &db, int chamber)
{
    if (chamber <= 0)
        return db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag")).toLongLong();
    return db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag JOIN Comuni ON (SezAnag.comIstat = "
                                    "Comuni.comIstat) AND (SezAnag.prvIstat = Comuni.prvIstat) "
                                    "WHERE Comuni.comCCIAA = ?"),
                     {chamber})
        .toLongLong();
}

bool forEachElencoRow(dbClass &db, int chamber, const ElencoVisit &visit, int window,
                      const std::function<bool()> &goOn)
{
    const bool outcomes = hasOutcomeTable(db);
    const QString first = elencoWindowSql(outcomes, chamber, false);
    const QString next = elencoWindowSql(outcomes, chamber, true);
    QList<ElencoRow> rows;
    QVariantList last;   // the order's values of the last row read
    for (;;) {
        if (goOn && !goOn())
            return false;
        QVariantList params;
        if (chamber > 0)
            params.append(chamber);
        if (!last.isEmpty())
            params << last.first() << last;
        params.append(window);
        bool ok = false;
        QSqlQuery q = db.query(last.isEmpty() ? first : next, params, dbClass::Which::Current, &ok);
        if (!ok)
            return false;
        rows.clear();
        while (q.next()) {
            ElencoRow r;
            r.saID = q.value(0).toLongLong();
            r.ragSoc = q.value(1).toString();
            r.codFisc = q.value(2).toString();
            r.unita = q.value(3).toString();
            const QString civico = q.value(4).toString().trimmed();
            if (!civico.isEmpty())
                r.unita += QStringLiteral(", ") + civico;
            const QString cap = q.value(5).toString().trimmed();
            if (!cap.isEmpty())
                r.unita += QStringLiteral(" - ") + cap;
            r.comune = q.value(7).toString();
            const QString sigla = q.value(8).toString();
            if (!sigla.isEmpty())
                r.comune += QStringLiteral(" (") + sigla + u')';
            const qint64 exp = q.value(6).toLongLong();
            r.esportazione = exp > 0 ? QStringLiteral("n. ") + QString::number(exp) + QStringLiteral(" del ")
                                           + italianDate(q.value(9).toString())
                                     : QStringLiteral("non esportata");
            r.compilata = italianDate(q.value(10).toString().trimmed());
            r.verifica = verify::outcomeText(verify::outcomeOf(q.value(14), q.value(15)));
            last = {q.value(11), q.value(12), q.value(13), r.saID};
            rows.append(r);
        }
        if (rows.isEmpty())
            return true;
        QList<qint64> keys;
        keys.reserve(rows.size());
        for (const ElencoRow &r : std::as_const(rows))
            keys.append(r.saID);
        const QHash<qint64, QString> schede = schedePresent(db, keys);
        for (ElencoRow &r : rows) {
            r.schede = schede.value(r.saID, QStringLiteral("nessuna"));
            visit(r);
        }
        if (rows.size() < window)
            return true;
    }
}

bool readElenco(dbClass &db, int chamber, QList<ElencoRow> *rows)
{
    rows->clear();
    return forEachElencoRow(db, chamber, [rows](const ElencoRow &r) { rows->append(r); });
}

void setupElenco(clsPDFCreator &pdf)
{
    pdf.setUnit(clsPDFCreator::Millimetres);
    pdf.setPaperSize(clsPDFCreator::A4, clsPDFCreator::Landscape);
    pdf.setTitle(QStringLiteral("Elenco dichiarazioni"));
    pdf.setAuthor(QStringLiteral("Qor 2019"));
}

namespace {

// Lays the rows out page by page: a row goes on the next page when it does
// not fit, and so does the closing count line. Without `drawing` it only
// counts (the first pass, for the page count every footer shows); with it,
// it draws the pages, which must number *pages.
struct Drawing {
    const QString &subtitle;
    const QDateTime &printed;
    int pages;
};

bool layOut(clsPDFCreator &pdf, const ElencoSource &source, const Drawing *drawing, int *pages,
            qint64 *count)
{
    int page = 0;
    double y = BodyTop;
    qint64 n = 0;
    auto newPage = [&] {
        if (drawing) {
            if (page > 0)
                pdf.endPage();
            pdf.beginPage();
            pageHeader(pdf, drawing->subtitle, drawing->printed);
            pageFooter(pdf, page + 1, drawing->pages);
        }
        ++page;
        y = BodyTop;
    };
    newPage();
    if (drawing)
        pdf.setStrokeGray(0.6);
    QList<QStringList> cells;
    const bool read = source([&](const ElencoRow &r) {
        pdf.setFont(Regular, FontSize);
        cells.clear();
        int lines = 1;
        for (const Column &c : columns) {
            cells.append(wrapText(pdf, r.*(c.field), c.width - 1));
            lines = std::max(lines, int(cells.last().size()));
        }
        const double height = lines * LineStep + RowPadding;
        if (y + height > BodyBottom && y > BodyTop) {
            newPage();
            if (drawing)
                pdf.setStrokeGray(0.6);
        }
        if (drawing) {
            pdf.setFont(Regular, FontSize);
            for (int c = 0; c < cells.size(); ++c)
                for (int l = 0; l < cells.at(c).size(); ++l)
                    pdf.text(columns[c].x, y + l * LineStep, cells.at(c).at(l));
            pdf.setLineWidth(0.1);
            pdf.line(Left, y + height - LineStep + 0.4, Right, y + height - LineStep + 0.4);
        }
        y += height;
        ++n;
    });
    if (!read)
        return false;
    const double totalHeight = 8;   // the closing count line
    if (drawing)
        pdf.setStrokeGray(0);
    if (y + totalHeight > BodyBottom && y > BodyTop)
        newPage();
    if (drawing) {
        pdf.setFont(Bold, 9);
        pdf.text(Left, y + 3,
                 n == 0 ? QStringLiteral("Nessuna dichiarazione.")
                        : QStringLiteral("Totale dichiarazioni: ") + QString::number(n));
    }
    *pages = page;
    *count = n;
    return true;
}

} // namespace

bool writeElencoFrom(clsPDFCreator &pdf, const ElencoSource &source, const QString &subtitle,
                 const QDateTime &printed, QString *error)
{
    if (!addPrintFonts(pdf)) {
        if (error)
            *error = pdf.errorString();
        return false;
    }
    int pages = 0, drawnPages = 0;
    qint64 counted = 0, drawn = 0;
    if (!layOut(pdf, source, nullptr, &pages, &counted)) {
        if (error)
            *error = QStringLiteral("Lettura delle dichiarazioni non riuscita.");
        return false;
    }
    const Drawing drawing{subtitle, printed, pages};
    if (!layOut(pdf, source, &drawing, &drawnPages, &drawn)) {
        if (error)
            *error = QStringLiteral("Lettura delle dichiarazioni non riuscita.");
        return false;
    }
    // the footers were numbered after the first reading
    if (drawnPages != pages || drawn != counted) {
        if (error)
            *error = QStringLiteral("Le dichiarazioni sono cambiate durante la stampa: ripetere la stampa.");
        return false;
    }
    if (!pdf.finish()) {
        if (error)
            *error = pdf.errorString();
        return false;
    }
    return true;
}

bool writeElenco(clsPDFCreator &pdf, const QList<ElencoRow> &rows, const QString &subtitle,
                 const QDateTime &printed)
{
    return writeElencoFrom(
        pdf,
        [&rows](const ElencoVisit &visit) {
            for (const ElencoRow &r : rows)
                visit(r);
            return true;
        },
        subtitle, printed);
}

bool printElenco(dbClass &db, int chamber, const QString &subtitle, const QString &path, QString *error,
                 const ElencoProgress &progress, bool *cancelled)
{
    bool ok = false, stopped = false;
    const qint64 total = progress ? 2 * elencoCount(db, chamber) : 0;
    qint64 done = 0;
    // Each pass reports its rows as they are laid out; the user's stop is
    // seen before the next window is read.
    const auto source = [&](const ElencoVisit &visit) {
        const ElencoVisit counted = [&](const ElencoRow &r) {
            visit(r);
            if (progress && !stopped && ++done % 100 == 0 && !progress(std::min(done, total), total))
                stopped = true;
        };
        return forEachElencoRow(db, chamber, progress ? counted : visit, 500, [&] { return !stopped; });
    };
    {
        clsPDFCreator pdf;
        setupElenco(pdf);
        if (!pdf.open(path)) {
            if (error)
                *error = pdf.errorString();
            return false;
        }
        ok = writeElencoFrom(pdf, source, subtitle, QDateTime::currentDateTime(), error);
    }
    if (!ok)   // no half-written list left behind
        QFile::remove(path);
    else
        stopped = false; // asked after the last window: the list is whole
    if (stopped && error)
        *error = QStringLiteral("Stampa annullata dall'utente");
    if (cancelled)
        *cancelled = stopped;
    if (ok && progress)
        progress(total, total);
    return ok;
}

} // namespace print
