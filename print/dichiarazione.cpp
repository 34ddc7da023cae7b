#include "print/dichiarazione.h"

#include "print/elenco.h"
#include "print/fieldprint.h"
#include "print/printcommon.h"
#include "print/schedeprint.h"
#include "sections/anag/setup.h"
#include "shell/dbclass.h"
#include "shell/qorclass.h"
#include "shell/tree/tree.h"

#include <QRegularExpression>
#include <QSqlQuery>
#include <algorithm>
#include <QSqlRecord>

namespace print {
namespace {

// A4 portrait, millimetres.
constexpr double Left = 15, Right = 195, Top = 28, Bottom = 280;
// A row: caption, then the value's box (6.5 high) from BoxTop.
constexpr double TitleHeight = 6, RowHeight = 10.5, BoxTop = 3.5, FrameGap = 5;
// A row without captions (the lines after the first of a list) has its
// boxes only.
constexpr double BareRowHeight = 7.5, CaptionHeight = 3;
// The line that opens a page going on with a scheda or module.
constexpr double SegueHeight = 5;
// The closing block's room for the signature and the stamp.
constexpr double SignatureHeight = 34;
// The text of a page number in the index, before it is known.
const QString PagePlaceholder = QStringLiteral("pag. 999");

QString municipalityText(dbClass &db, int prv, int com)
{
    if (prv <= 0 || com <= 0)
        return {};
    const dbClass::Municipality m = db.municipality(prv, com);
    return m.found ? m.comDesc : QString();
}

QString provinceOf(dbClass &db, int prv, int com)
{
    if (prv <= 0 || com <= 0)
        return {};
    const dbClass::Municipality m = db.municipality(prv, com);
    return m.found ? m.prvSigla : QString();
}

QString phone(const QString &prefix, const QString &number)
{
    if (prefix.trimmed().isEmpty())
        return number.trimmed();
    if (number.trimmed().isEmpty())
        return prefix.trimmed();
    return prefix.trimmed() + u'/' + number.trimmed();
}

constexpr double HeadingHeight = 4.5;

bool isHeading(const FormRow &row)
{
    return row.size() == 1 && row.first().width <= 0;
}

// A row of plain lines (the index): caption and value as text, no boxes.
constexpr double LineHeight = 3.6;
bool isPlain(const FormRow &row)
{
    return !row.isEmpty() && std::all_of(row.cbegin(), row.cend(), [](const FormField &f) { return f.box < 0; });
}

double rowHeight(const FormRow &row);

bool hasCaptions(const FormRow &row)
{
    return std::any_of(row.cbegin(), row.cend(), [](const FormField &f) { return !f.caption.isEmpty(); });
}

double rowHeight(const FormRow &row)
{
    return isHeading(row) ? HeadingHeight : isPlain(row) ? LineHeight : hasCaptions(row) ? RowHeight : BareRowHeight;
}

double frameHeight(const FormFrame &f)
{
    double h = TitleHeight + 2 + (f.signature ? SignatureHeight : 0);
    for (const FormRow &row : f.rows)
        h += rowHeight(row);
    return h;
}

// Sets the font at the given size, or smaller (not under `least`) until the
// text fits in `room`.
void fittingFont(clsPDFCreator &pdf, const QString &font, double size, double least, const QString &text,
                 double room)
{
    pdf.setFont(font, size);
    while (size > least && pdf.textWidth(text) > room) {
        size -= 0.5;
        pdf.setFont(font, size);
    }
}

// The value in its box (6.5 high from boxTop): one line at 10 points, smaller
// down to 6 when it would not fit; a longer one on two lines at 6 points or
// three at 5, cut short with "..." past the third.
void boxedValue(clsPDFCreator &pdf, double x, double boxTop, double box, const QString &value)
{
    const double room = box - 2;
    fittingFont(pdf, Regular, 10, 6, value, room);
    if (pdf.textWidth(value) <= room) {
        pdf.text(x + 1, boxTop + 4.8, value);
        return;
    }
    struct Lines {
        double size;
        int count;
        double first, step; // baselines below the box top
    };
    for (const Lines &l : {Lines{6, 2, 2.7, 2.5}, Lines{5, 3, 1.9, 2.05}}) {
        pdf.setFont(Regular, l.size);
        QStringList lines = wrapText(pdf, value, room);
        if (lines.size() > l.count && l.size > 5)
            continue;
        if (lines.size() > l.count) {
            lines = lines.mid(0, l.count);
            QString &last = lines.last();
            while (!last.isEmpty() && pdf.textWidth(last + QStringLiteral("...")) > room)
                last.chop(1);
            last += QStringLiteral("...");
        }
        for (int i = 0; i < lines.size(); ++i)
            pdf.text(x + 1, boxTop + l.first + i * l.step, lines.at(i));
        return;
    }
}

double drawFrame(clsPDFCreator &pdf, const FormFrame &f, double y)
{
    const double h = frameHeight(f);
    pdf.setFillGray(0.85);
    pdf.box(Left, y, Right - Left, TitleHeight, clsPDFCreator::Fill);
    pdf.setFillGray(0);
    pdf.setLineWidth(0.4);
    pdf.box(Left, y, Right - Left, h);
    fittingFont(pdf, Bold, 9, 6, f.title, Right - Left - 4);
    pdf.text(Left + 2, y + 4.3, f.title);
    double rowY = y + TitleHeight + 1;
    pdf.setLineWidth(0.2);
    for (const FormRow &row : f.rows) {
        if (isPlain(row)) {
            double x = Left + 2;
            for (const FormField &field : row) {
                pdf.setFont(Regular, 7);
                pdf.text(x, rowY + 2.8, field.caption);
                pdf.text(x + field.width, rowY + 2.8, field.value, clsPDFCreator::AlignRight);
                x += field.width + 3;
            }
            rowY += LineHeight;
            continue;
        }
        if (isHeading(row)) {
            fittingFont(pdf, Bold, 8, 5.5, row.first().caption, Right - Left - 4);
            pdf.text(Left + 2, rowY + 3.3, row.first().caption);
            rowY += HeadingHeight;
            continue;
        }
        double x = Left + 2;
        const double boxTop = hasCaptions(row) ? rowY + BoxTop : rowY + BoxTop - CaptionHeight;
        for (int i = 0; i < row.size(); ++i) {
            const FormField &field = row.at(i);
            // a caption may run past its box up to the next field (or the frame)
            const double room = i + 1 < row.size() ? field.width + 2 : Right - 2 - x;
            fittingFont(pdf, Regular, 7, 5, field.caption, room);
            if (!field.caption.isEmpty())
                pdf.text(x, rowY + 2.8, field.caption);
            const double box = field.box > 0 && field.box < field.width ? field.box : field.width;
            pdf.box(x, boxTop, box, 6.5);
            boxedValue(pdf, x, boxTop, box, field.value);
            x += field.width + 3;
        }
        rowY += hasCaptions(row) ? RowHeight : BareRowHeight;
    }
    if (f.signature) {
        pdf.setFont(Regular, 7);
        pdf.text(Left + 2, rowY + 4, QStringLiteral("Firma del legale rappresentante"));
        pdf.line(Left + 2, rowY + 26, Left + 92, rowY + 26);
        pdf.text(Left + 110, rowY + 4, QStringLiteral("Timbro della ditta"));
        pdf.setDash({1.5, 1.5});
        pdf.box(Left + 110, rowY + 6, 60, 25);
        pdf.setDash();
    }
    return y + h + FrameGap;
}

// A page going on with the scheda or module of the frame before says so,
// unless the frame's own title already does.
bool goesOn(const QList<FormFrame> &frames, int i)
{
    if (i == 0 || frames.at(i).part.isEmpty() || frames.at(i).part != frames.at(i - 1).part)
        return false;
    return !frames.at(i).title.startsWith(frames.at(i).part);
}

} // namespace

QString activityCode(const QString &code)
{
    const QString c = code.trimmed();
    if (c.size() != 6)
        return c;
    return c.left(2) + u'.' + c.mid(2, 2) + u'.' + c.mid(4, 2);
}

bool sa1Frames(dbClass &db, qint64 saID, QList<FormFrame> *frames, PageHeading *heading)
{
    frames->clear();
    return withDeclaration(db, saID, [&](const tree::Node &d) { return sa1Frames(db, d, frames, heading); });
}

bool sa1Frames(dbClass &db, const tree::Node &declaration, QList<FormFrame> *frames, PageHeading *heading)
{
    frames->clear();
    const qint64 saID = declaration.key();
    auto v = [&](const char *column) { return declaration.value(QLatin1String(column)).toString(); };
    auto n = [&](const char *column) { return declaration.value(QLatin1String(column)).toInt(); };
    const int prv = n("prvIstat"), com = n("comIstat");
    heading->company = v("RagSoc") + QStringLiteral(" - C.F. ") + v("CodFisc");
    const QString place = municipalityText(db, prv, com);
    const QString street = (v("Via").trimmed() + u' ' + v("Civico").trimmed()).trimmed();
    QString town = (v("Cap").trimmed() + u' ' + place).trimmed();
    if (!provinceOf(db, prv, com).isEmpty())
        town += QStringLiteral(" (") + provinceOf(db, prv, com) + u')';
    heading->unit = QStringLiteral("Unità locale: ")
                    + QStringList{street, town}.filter(QRegularExpression(QStringLiteral("\\S"))).join(QStringLiteral(" - "));

    const int slPrv = n("slPrvIstat"), slCom = n("slComIstat");
    const QString rea = n("REA") > 0 ? QString::number(n("REA")) : QString();
    const QString mesi = n("Mesi") > 0 ? QString::number(n("Mesi")) : QString();
    const qint64 exp = declaration.value(QStringLiteral("ExpID")).toLongLong();

    FormFrame sa1{QStringLiteral("SA1 - Sezione anagrafica"), {}};
    sa1.rows = {
        {{QStringLiteral("Anno di dichiarazione:"), v("saAnno"), 30},
         {QStringLiteral("codice fiscale"), v("CodFisc"), 45},
         {QStringLiteral("Numero iscrizione REA:"), rea, 30},
         {QStringLiteral("Esportata:"), exp > 0 ? QStringLiteral("Sì (n. ") + QString::number(exp) + u')'
                                                : QStringLiteral("No"), 60}},
        {{QStringLiteral("nome o ragione sociale"), v("RagSoc"), 176}},
    };
    frames->append(sa1);

    FormFrame ul{QStringLiteral("Unità locale"), {}};
    ul.rows = {
        {{QStringLiteral("Comune:"), municipalityText(db, prv, com), 100},
         {QStringLiteral("Provincia:"), provinceOf(db, prv, com), 20},
         {QStringLiteral("C.A.P.:"), v("Cap"), 50}},
        {{QStringLiteral("Via:"), v("Via"), 100},
         {QStringLiteral("Numero civico:"), v("Civico"), 20},
         {QStringLiteral("Telefono:"), phone(v("PrefTel"), v("Telefono")), 50}},
        {{QStringLiteral("Codice ISTAT attività prevalente nell'unità locale:"), activityCode(v("attIstat")), 70},
         {QStringLiteral("Totale addetti unità locale:"), v("Addetti"), 50},
         {QStringLiteral("Mesi di attività nell'anno:"), mesi, 50}},
    };
    frames->append(ul);

    FormFrame sl{QStringLiteral("Sede legale"), {}};
    sl.rows = {
        {{QStringLiteral("Comune:"), municipalityText(db, slPrv, slCom), 100},
         {QStringLiteral("Provincia:"), provinceOf(db, slPrv, slCom), 20},
         {QStringLiteral("C.A.P.:"), v("slCap"), 50}},
        {{QStringLiteral("Via:"), v("slVia"), 100},
         {QStringLiteral("Numero civico:"), v("slCivico"), 20},
         {QStringLiteral("Telefono:"), phone(v("slPrefTel"), v("slTelefono")), 50}},
    };
    frames->append(sl);

    FormFrame rl{QStringLiteral("Rappresentante legale o suo delegato"), {}};
    rl.rows = {
        {{QStringLiteral("Cognome:"), v("saCognome"), 75},
         {QStringLiteral("Nome:"), v("saNome"), 75},
         {QStringLiteral("Data:"), italianDate(v("saDataComp")), 20}},
    };
    if (n("saAnnulla") != 0)
        rl.rows.append({{QStringLiteral("Annulla e sostituisce la precedente del:"),
                         italianDate(v("saDataPrec")), 50}});
    frames->append(rl);

    // the schede of the declaration, as in the list of declarations
    const QString schede = schedePresent(db, saID).value(saID, QStringLiteral("nessuna"));
    frames->append({QStringLiteral("Schede presenti"), {{{QStringLiteral("Schede"), schede, 176}}}});
    const qsizetype contents = frames->size();
    if (!(saAutFrames(db, declaration, frames) && rifFrames(db, declaration, frames)
          && matFrames(db, declaration, frames) && intFrames(db, declaration, frames)
          && vfuFrames(db, declaration, frames) && imbFrames(db, declaration, frames)
          && raeeFrames(db, declaration, frames)))
        return false;

    // the index, its pages filled in when the pages are known
    // on plain lines, four a row, to stay on the first page as long as it can
    FormFrame index{QStringLiteral("Indice delle schede"), {}};
    for (const FormFrame &f : std::as_const(*frames)) {
        if (f.index.isEmpty())
            continue;
        if (index.rows.isEmpty() || index.rows.last().size() == 4)
            index.rows.append(FormRow());
        index.rows.last().append(FormField{f.index, PagePlaceholder, (RowWidth - 3 * FieldGap) / 4, -1});
    }
    if (!index.rows.isEmpty())
        frames->insert(contents, index);

    // the closing block: place and date, who compiled it, signature and stamp
    FormFrame closing{QStringLiteral("Sottoscrizione della dichiarazione"), {}};
    closing.rows.append({{QStringLiteral("Luogo"), place, 100},
                         {QStringLiteral("Data"), italianDate(v("saDataComp")), 30}});
    bool registered = false;
    const fields::Record user = anag::loadSetup(db, dbClass::Which::Current, &registered);
    FormRow compiler;
    for (const FieldFrame &g : fieldFrames(db, anag::setupFields(), user))
        compiler += g.fields;
    if (registered && std::any_of(compiler.cbegin(), compiler.cend(), [](const FormField &f) { return !f.value.isEmpty(); })) {
        closing.rows.append({{QStringLiteral("Dati di chi ha compilato la dichiarazione"), {}, 0}});
        closing.rows.append(packed(compiler));
    }
    closing.signature = true;
    frames->append(closing);
    return true;
}

QList<FormFrame> pageSized(const QList<FormFrame> &frames)
{
    // room for the line that tells a page goes on with a scheda
    constexpr double Room = Bottom - Top - SegueHeight;
    QList<FormFrame> out;
    for (const FormFrame &f : frames) {
        if (frameHeight(f) <= Room) {
            out.append(f);
            continue;
        }
        FormFrame piece = f;
        piece.rows.clear();
        piece.keepWithNext = piece.signature = false;
        for (const FormRow &row : f.rows) {
            piece.rows.append(row);
            if (frameHeight(piece) <= Room || piece.rows.size() == 1)
                continue;
            piece.rows.removeLast();
            FormFrame next = piece;
            next.title = f.title + QStringLiteral(" (segue)");
            next.index.clear();
            next.rows = {row};
            // a heading goes with the rows it heads
            while (piece.rows.size() > 1 && isHeading(piece.rows.last()))
                next.rows.prepend(piece.rows.takeLast());
            out.append(piece);
            piece = next;
        }
        piece.keepWithNext = f.keepWithNext;
        piece.signature = f.signature;
        out.append(piece);
    }
    return out;
}

void setupDeclaration(clsPDFCreator &pdf)
{
    pdf.setUnit(clsPDFCreator::Millimetres);
    pdf.setPaperSize(clsPDFCreator::A4, clsPDFCreator::Portrait);
    pdf.setAuthor(QStringLiteral("Qor 2019"));
}

bool writeDeclaration(clsPDFCreator &pdf, const PageHeading &heading, const QList<FormFrame> &allFrames,
                      const QDateTime &printed)
{
    QList<FormFrame> frames = pageSized(allFrames);
    if (!addPrintFonts(pdf))
        return false;
    // pages first, for "Pagina n di N" and the index
    QList<int> pageOf;
    int pages = 1;
    double y = Top;
    bool empty = true;
    for (int i = 0; i < frames.size(); ++i) {
        const FormFrame &f = frames.at(i);
        // a frame that heads the next one goes to the next page with it,
        // when the two fit on a page
        double needed = frameHeight(f);
        if (f.keepWithNext && i + 1 < frames.size()
            && needed + FrameGap + frameHeight(frames.at(i + 1)) <= Bottom - Top - SegueHeight)
            needed += FrameGap + frameHeight(frames.at(i + 1));
        if (y + needed > Bottom && !empty) {
            ++pages;
            y = Top + (goesOn(frames, i) ? SegueHeight : 0);
        }
        empty = false;
        pageOf.append(pages);
        y += frameHeight(f) + FrameGap;
    }
    QStringList indexPages;
    for (int i = 0; i < frames.size(); ++i)
        if (!frames.at(i).index.isEmpty())
            indexPages.append(QStringLiteral("pag. ") + QString::number(pageOf.at(i)));
    for (FormFrame &f : frames)
        for (FormRow &row : f.rows)
            for (FormField &field : row)
                if (field.value == PagePlaceholder && !indexPages.isEmpty())
                    field.value = indexPages.takeFirst();

    int page = 0;
    auto newPage = [&] {
        pdf.beginPage();
        ++page;
        pdf.setFont(Bold, 12);
        pdf.text(Left, 11, QStringLiteral("Dichiarazione anno ") + QString::number(qorClass::Year));
        pdf.setFont(Regular, 8);
        pdf.text(Right, 11, QStringLiteral("Stampata il ") + printed.toString(QStringLiteral("dd/MM/yyyy")),
                 clsPDFCreator::AlignRight);
        // a long company name goes smaller, then on two lines
        fittingFont(pdf, Regular, 9, 6, heading.company, Right - Left);
        if (pdf.textWidth(heading.company) <= Right - Left) {
            pdf.text(Left, 16, heading.company);
        } else {
            const QStringList lines = wrapText(pdf, heading.company, Right - Left);
            pdf.text(Left, 14.6, lines.value(0));
            // what does not fit on the second line goes smaller still, the tax code last
            const QString rest = QStringList(lines.mid(1)).join(u' ');
            fittingFont(pdf, Regular, 6, 3, rest, Right - Left);
            pdf.text(Left, 17, rest);
        }
        fittingFont(pdf, Regular, 7.5, 5.5, heading.unit, Right - Left);
        pdf.text(Left, 21, heading.unit);
        pdf.setLineWidth(0.4);
        pdf.line(Left, 23, Right, 23);
        pdf.setLineWidth(0.2);
        pdf.line(Left, 285, Right, 285);
        pdf.setFont(Regular, 8);
        pdf.text(Left, 289, QStringLiteral("Qor 2019"));
        pdf.text(Right, 289, QStringLiteral("Pagina %1 di %2").arg(page).arg(pages), clsPDFCreator::AlignRight);
        y = Top;
    };
    for (int i = 0; i < frames.size(); ++i) {
        if (pageOf.at(i) != page) {
            newPage();
            if (goesOn(frames, i)) {
                fittingFont(pdf, Bold, 8, 5.5, frames.at(i).part + QStringLiteral(" (segue)"), Right - Left);
                pdf.text(Left, y + 3, frames.at(i).part + QStringLiteral(" (segue)"));
                y += SegueHeight;
            }
        }
        y = drawFrame(pdf, frames.at(i), y);
    }
    if (page == 0)
        newPage();
    return pdf.finish();
}

DeclarationResult printDichiarazione(dbClass &db, qint64 saID, const QString &path, QString *error)
{
    QList<FormFrame> frames;
    PageHeading heading;
    if (!sa1Frames(db, saID, &frames, &heading))
        return DeclarationResult::NotFound;
    clsPDFCreator pdf;
    setupDeclaration(pdf);
    pdf.setTitle(QStringLiteral("Dichiarazione ") + heading.company);
    if (!pdf.open(path) || !writeDeclaration(pdf, heading, frames, QDateTime::currentDateTime())) {
        if (error)
            *error = pdf.errorString();
        return DeclarationResult::Failed;
    }
    return DeclarationResult::Ok;
}

} // namespace print
