#include "print/elenco.h"

#include "print/printcommon.h"
#include "sections/mat/mat.h"
#include "shell/dbclass.h"
#include "verify/outcome.h"

#include <QHash>
#include <QSqlQuery>
#include <QSqlRecord>
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

QHash<qint64, QString> schedePresent(dbClass &db, qint64 saID)
{
    // scheda MAT is there when the declaration holds any of its materials
    QStringList anyMaterial;
    for (const fields::Field &f : mat::schedaFields())
        anyMaterial.append(QStringLiteral("COALESCE(%1, 0) <> 0").arg(f.name));
    const QString matFilter = u'(' + anyMaterial.join(QStringLiteral(" OR ")) + u')';
    const struct {
        const char *label, *table;
        QString filter;
    } kinds[] = {
        {"SA-AUT", "SaAut", QStringLiteral("1 = 1")},
        {"RIF", "SezRif", QStringLiteral("1 = 1")},
        {"MAT", "SezAnag", matFilter},
        {"INT", "SezInt", QStringLiteral("1 = 1")},
        {"AUT", "SezVfu", QStringLiteral("vfuTipo = 1")},
        {"ROT", "SezVfu", QStringLiteral("vfuTipo = 2")},
        {"FRA", "SezVfu", QStringLiteral("vfuTipo = 3")},
        {"IMB", "SezImb", QStringLiteral("1 = 1")},
        {"TRA-RAEE", "SezRaee", QStringLiteral("srTipo = 1")},
        {"CR-RAEE", "SezRaee", QStringLiteral("srTipo = 2")},
    };
    QHash<qint64, QStringList> found;
    for (const auto &k : kinds) {
        bool ok = false;
        QString sql = QStringLiteral("SELECT saID, COUNT(*) FROM %1 WHERE (%2")
                          .arg(QLatin1String(k.table), k.filter);
        QVariantList params;
        if (saID > 0) {
            sql += QStringLiteral(" AND saID = ?");
            params.append(saID);
        }
        sql += QStringLiteral(") GROUP BY saID");
        QSqlQuery q = db.query(sql, params, dbClass::Which::Current, &ok);
        while (ok && q.next()) {
            const qint64 n = q.value(1).toLongLong();
            const QString label = QLatin1String(k.label);
            found[q.value(0).toLongLong()].append(n > 1 ? label + QStringLiteral(" (") + QString::number(n) + u')'
                                                         : label);
        }
    }
    QHash<qint64, QString> out;
    for (auto it = found.cbegin(); it != found.cend(); ++it)
        out.insert(it.key(), it.value().join(QStringLiteral(", ")));
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

bool readElenco(dbClass &db, int chamber, QList<ElencoRow> *rows)
{
    rows->clear();
    QString sql = QStringLiteral(
        "SELECT SezAnag.saID, SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.Via, SezAnag.Civico, "
        "SezAnag.Cap, SezAnag.ExpID, Comuni.comDesc, Province.prvSigla, expTab.expData, SezAnag.saDataComp "
        "FROM SezAnag LEFT JOIN Comuni ON (SezAnag.comIstat = Comuni.comIstat) AND "
        "(SezAnag.prvIstat = Comuni.prvIstat) LEFT JOIN Province ON SezAnag.prvIstat = "
        "Province.prvIstat LEFT JOIN expTab ON SezAnag.ExpID = expTab.expID ");
    QVariantList params;
    if (chamber > 0) {
        sql += QStringLiteral("WHERE (Comuni.comCCIAA = ?) ");
        params.append(chamber);
    }
    sql += QStringLiteral("ORDER BY SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.saID");
    bool ok = false;
    QSqlQuery q = db.query(sql, params, dbClass::Which::Current, &ok);
    if (!ok)
        return false;
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
        rows->append(r);
    }
    const QHash<qint64, QString> schede = schedePresent(db);
    const QHash<qint64, verify::LastOutcome> outcomes = verify::lastOutcomes(db);
    for (ElencoRow &r : *rows) {
        r.schede = schede.value(r.saID, QStringLiteral("nessuna"));
        r.verifica = verify::outcomeText(outcomes.value(r.saID));
    }
    // by company name whatever its case, then tax code and key as read
    std::stable_sort(rows->begin(), rows->end(), [](const ElencoRow &a, const ElencoRow &b) {
        return a.ragSoc.trimmed().compare(b.ragSoc.trimmed(), Qt::CaseInsensitive) < 0;
    });
    return true;
}

void setupElenco(clsPDFCreator &pdf)
{
    pdf.setUnit(clsPDFCreator::Millimetres);
    pdf.setPaperSize(clsPDFCreator::A4, clsPDFCreator::Landscape);
    pdf.setTitle(QStringLiteral("Elenco dichiarazioni"));
    pdf.setAuthor(QStringLiteral("Qor 2019"));
}

bool writeElenco(clsPDFCreator &pdf, const QList<ElencoRow> &rows, const QString &subtitle,
                 const QDateTime &printed)
{
    if (!addPrintFonts(pdf))
        return false;

    // measure every row first: the page count goes in every footer
    pdf.setFont(Regular, FontSize);
    QList<PlacedRow> placed;
    for (const ElencoRow &r : rows) {
        PlacedRow p;
        int lines = 1;
        for (const Column &c : columns) {
            p.cells.append(wrapText(pdf, r.*(c.field), c.width - 1));
            lines = std::max(lines, int(p.cells.last().size()));
        }
        p.height = lines * LineStep + RowPadding;
        placed.append(p);
    }
    const double totalHeight = 8;   // the closing count line
    QList<int> pageOf;
    int page = 1;
    double y = BodyTop;
    for (const PlacedRow &p : placed) {
        if (y + p.height > BodyBottom && y > BodyTop) {
            ++page;
            y = BodyTop;
        }
        pageOf.append(page);
        y += p.height;
    }
    if (y + totalHeight > BodyBottom && y > BodyTop)
        ++page;
    const int pages = page;

    page = 0;
    y = BodyTop;
    auto newPage = [&] {
        if (page > 0)
            pdf.endPage();
        ++page;
        pdf.beginPage();
        pageHeader(pdf, subtitle, printed);
        pageFooter(pdf, page, pages);
        y = BodyTop;
    };
    newPage();
    pdf.setStrokeGray(0.6);
    for (int i = 0; i < placed.size(); ++i) {
        if (pageOf.at(i) != page) {
            newPage();
            pdf.setStrokeGray(0.6);
        }
        const PlacedRow &p = placed.at(i);
        pdf.setFont(Regular, FontSize);
        for (int c = 0; c < p.cells.size(); ++c)
            for (int l = 0; l < p.cells.at(c).size(); ++l)
                pdf.text(columns[c].x, y + l * LineStep, p.cells.at(c).at(l));
        pdf.setLineWidth(0.1);
        pdf.line(Left, y + p.height - LineStep + 0.4, Right, y + p.height - LineStep + 0.4);
        y += p.height;
    }
    pdf.setStrokeGray(0);
    if (y + totalHeight > BodyBottom && y > BodyTop)
        newPage();
    pdf.setFont(Bold, 9);
    pdf.text(Left, y + 3,
             rows.isEmpty() ? QStringLiteral("Nessuna dichiarazione.")
                            : QStringLiteral("Totale dichiarazioni: ") + QString::number(rows.size()));
    return pdf.finish();
}

bool printElenco(dbClass &db, int chamber, const QString &subtitle, const QString &path, QString *error)
{
    QList<ElencoRow> rows;
    if (!readElenco(db, chamber, &rows)) {
        if (error)
            *error = QStringLiteral("Lettura delle dichiarazioni non riuscita.");
        return false;
    }
    clsPDFCreator pdf;
    setupElenco(pdf);
    if (!pdf.open(path) || !writeElenco(pdf, rows, subtitle, QDateTime::currentDateTime())) {
        if (error)
            *error = pdf.errorString();
        return false;
    }
    return true;
}

} // namespace print
