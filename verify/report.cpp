#include "verify/report.h"


namespace verify {

namespace {
const QString Indent(11, u' ');
const QByteArray IndentBytes(11, ' ');
constexpr qsizetype FlushAt = 64 * 1024;
const QString Hyphens = QStringLiteral("---------> ");
}

QStringList RemarkText::text() const
{
    QStringList out;
    for (const char *l : lines)
        out << QString::fromUtf8(l);
    return out;
}

QString comparisonLine(const std::vector<Compared> &pairs)
{
    // Kilograms with three decimals; a value whose decimals are all zero is
    // cut to its whole part. When every value is a whole number of tonnes
    // (or zero) the line is written in tonnes.
    QStringList values;
    bool allWhole = true;
    for (const Compared &c : pairs) {
        QString v = c.kg.format(3, true);
        if (v.endsWith(QLatin1String("000")))
            v.chop(4);
        else
            allWhole = false;
        values << v;
    }
    bool tonnes = allWhole;
    if (tonnes)
        for (const QString &v : values)
            if (v != QLatin1String("0") && !v.endsWith(QLatin1String("000")))
                tonnes = false;
    if (tonnes)
        for (QString &v : values)
            if (v != QLatin1String("0"))
                v.chop(4);
    const QString unit = tonnes ? QStringLiteral(" t") : QStringLiteral(" Kg");
    QString line = Indent;
    for (size_t i = 0; i < pairs.size(); ++i) {
        if (i > 0)
            line += QStringLiteral(" - ");
        line += pairs[i].label + QStringLiteral(": ") + values[int(i)] + unit;
    }
    return line;
}

QString Report::openFailureText()
{
    return QStringLiteral("Attenzione, errore apertura file notifica errori.\r"
                          "Verificare se si dispone dei permessi di scrittura.\r\r"
                          "Operazione annullata.");
}

bool Report::open(const QString &path)
{
    close();
    file_.setFileName(path);
    if (!file_.open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    write(QString(19, u'*') + QStringLiteral(" ATTENZIONE ") + QString(19, u'*'));
    write(QStringLiteral("Si ricorda che il programma non segnala errori se"));
    write(QStringLiteral("il controllo evidenzia differenze inferiori al 5%."));
    write(QString(50, u'*'));
    write(QString());
    return true;
}

Report::Report() = default;

Report::~Report()
{
    close();
}

void Report::close()
{
    if (!file_.isOpen())
        return;
    if (spool_.isOpen()) {
        // The declarations in the report's order; those not verified (a run
        // stopped early) have nothing to write.
        flush();
        spool_.each([this](const QByteArray &lines) { return file_.write(lines) == lines.size(); });
        spool_.close();
    }
    flush();
    file_.close();
}

void Report::flush()
{
    if (spool_.isOpen() && place_ >= 0)
        spool_.append(place_, buffer_);
    else
        file_.write(buffer_);
    buffer_.clear();
}

bool Report::spool(int places)
{
    if (!file_.isOpen() || spool_.isOpen())
        return false;
    flush(); // the preamble goes to the report itself
    place_ = -1;
    return spool_.open(places);
}

void Report::beginDeclaration(const DeclarationHeader &h, int place)
{
    if (spool_.isOpen()) {
        flush();
        place_ = place;
    }
    header_ = h;
    headerDue_ = true;
    level_ = 0;
}

void Report::headerIfDue()
{
    if (!headerDue_)
        return;
    headerDue_ = false;
    const QString dashes(12, u'-');
    write(QString());
    write(dashes + QStringLiteral(" CONTROLLO DI CONGRUENZA ") + dashes);
    write(QStringLiteral("Nome o Ragione sociale: ") + header_.ragSoc);
    write(QStringLiteral("Codice fiscale: ") + header_.codFisc);
    write(QStringLiteral("Unità locale sita in:"));
    write(QStringLiteral("Comune: ") + header_.comune);
    write(QStringLiteral("Provincia: ") + header_.provincia);
    write(QStringLiteral("Via: ") + header_.via + QStringLiteral(" Civico: ") + header_.civico);
    write(QStringLiteral("REA: ") + header_.rea);
    write(dashes + QStringLiteral(" ELENCO ERRORI RILEVATI ") + dashes);
    write(QString());
}

void Report::errorLine(const QString &subject)
{
    level_ = 2;
    headerIfDue();
    write("**ERRORE** Se non corretto, impedisce l'esportazione della dichiarazione!");
    write(Hyphens + subject);
}

void Report::warningLine(const QString &subject)
{
    if (level_ == 0)
        level_ = 1;
    headerIfDue();
    write("ATTENZIONE Il dato va verificato al fine di essere sicuri della sua correttezza!");
    write(Hyphens + subject);
}

void Report::continuation(const QString &text)
{
    write(Indent + text);
}

void Report::remark(const RemarkText &r, const QString &subject,
                    const std::vector<Compared> &compared, const QStringList &lines)
{
    if (r.cls == Class::Error)
        errorLine(subject);
    else
        warningLine(subject);
    if (lines.isEmpty())
        for (const char *l : r.lines)
            write(l, IndentBytes);
    else
        for (const QString &l : lines)
            continuation(l);
    if (!compared.empty())
        write(comparisonLine(compared));
    continuation(QString());
}

// Lines are gathered and handed to the file in large pieces; close() writes
// what is left.
void Report::write(const QString &line)
{
    if (!file_.isOpen())
        return;
    buffer_ += line.toUtf8();
    buffer_ += "\r\n";
    if (buffer_.size() >= FlushAt)
        flush();
}

void Report::write(const char *utf8, const QByteArray &indent)
{
    if (!file_.isOpen())
        return;
    buffer_ += indent;
    buffer_ += utf8;
    buffer_ += "\r\n";
    if (buffer_.size() >= FlushAt)
        flush();
}

} // namespace verify
