#include "sections/anag/register.h"

#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/schema/schema.h"
#include "shell/tree/tree.h"

#include <QSqlQuery>
#include <array>

namespace anag {

namespace {

// The texts of a company in the order the INSERT names them, with the
// widths of their columns (found once: an import adds companies by the ten
// thousand).
constexpr int TextColumns = 7;
const std::array<int, TextColumns> &textWidths()
{
    static const std::array<int, TextColumns> w = [] {
        std::array<int, TextColumns> out{};
        const char *names[TextColumns] = {"CodFisc", "RagSoc", "Via", "Civico", "Cap", "PrefTel", "Telefono"};
        const schema::Table *t = schema::table(QStringLiteral("Ditte"));
        for (int i = 0; i < TextColumns; ++i)
            if (const schema::Column *c = t ? schema::column(*t, QString::fromLatin1(names[i])) : nullptr)
                out[size_t(i)] = c->length;
        return out;
    }();
    return w;
}

QString taxCode(const QString &codFisc) { return codFisc.trimmed().toUpper(); }

const QString companySelect = QStringLiteral(
    "SELECT CodFisc, RagSoc, Via, Civico, Cap, PrefTel, Telefono, prvIstat, comIstat FROM Ditte WHERE (CodFisc = ?)");

} // namespace

CounterpartRegister::CounterpartRegister(dbClass &db) : db_(db) {}

CounterpartRegister::~CounterpartRegister() = default;

bool CounterpartRegister::prepare()
{
    if (insert_)
        return true;
    if (!db_.isCurrentOpen()) {
        db_.messages().errorReport({}, 0, QStringLiteral("Database dell'anno corrente non collegato."),
                                   QStringLiteral("anag.registerCounterpart"));
        return false;
    }
    // One statement: a company already registered (its tax code is the key)
    // is left as it is, and no row is written.
    auto insert = std::make_unique<dbStatement>(
        db_.current(), QStringLiteral("INSERT INTO Ditte (CodFisc, RagSoc, Via, Civico, Cap, PrefTel, Telefono, "
                                      "prvIstat, comIstat) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) "
                                      "ON CONFLICT (CodFisc) DO NOTHING"));
    if (!insert->isValid()) {
        db_.messages().errorReport({}, insert->errorCode(), insert->error(), insert->sql());
        return false;
    }
    insert_ = std::move(insert);
    return true;
}

bool CounterpartRegister::known(const QString &codFisc) const
{
    return known_.contains(taxCode(codFisc).toUtf8());
}

bool CounterpartRegister::known(QByteArrayView codFisc) const
{
    // Plain ASCII is trimmed and put in capitals here, as taxCode() would;
    // anything else goes through it.
    auto space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    QByteArrayView b = codFisc;
    while (!b.isEmpty() && space(b.back()))
        b.chop(1);
    while (!b.isEmpty() && space(b.front()))
        b = b.sliced(1);
    char upper[32];
    if (b.size() > qsizetype(sizeof upper))
        return known(QString::fromUtf8(codFisc));
    for (qsizetype i = 0; i < b.size(); ++i) {
        const char c = b[i];
        if (uchar(c) >= 0x80)
            return known(QString::fromUtf8(codFisc));
        upper[i] = c >= 'a' && c <= 'z' ? char(c - 'a' + 'A') : c;
    }
    return known_.contains(QByteArray::fromRawData(upper, b.size()));
}

Registered CounterpartRegister::add(const Company &c)
{
    const QString code = taxCode(c.codFisc);
    const QByteArray key = code.toUtf8();
    if (code.isEmpty() || known_.contains(key))
        return Registered::AlreadyThere;
    if (!prepare())
        return Registered::Failed;
    auto failed = [this](dbStatement &st) {
        db_.messages().errorReport({}, st.errorCode(), st.error(), st.sql());
        return Registered::Failed;
    };
    // Texts trimmed and cut to their column; an empty one is stored as
    // null, and so is an unknown place (0).
    const QString *texts[TextColumns] = {&code, &c.ragSoc, &c.via, &c.civico, &c.cap, &c.prefTel, &c.telefono};
    QByteArray utf8[TextColumns];
    for (int i = 0; i < TextColumns; ++i) {
        QStringView v = QStringView(*texts[i]).trimmed();
        if (const int width = textWidths()[size_t(i)]; width > 0)
            v = v.left(width);
        if (v.isEmpty()) {
            insert_->bindNull(i);
            continue;
        }
        utf8[i] = v.toUtf8();
        insert_->bindText(i, utf8[i], dbStatement::Until::Exec);
    }
    const int places[] = {c.prvIstat, c.comIstat};
    for (int i = 0; i < 2; ++i) {
        if (places[i] > 0)
            insert_->bindInt(TextColumns + i, places[i]);
        else
            insert_->bindNull(TextColumns + i);
    }
    if (!insert_->exec())
        return failed(*insert_);
    // A bounded memory: on a run of many thousand declarations the codes met
    // would otherwise grow with it; one forgotten is looked up again.
    if (qsizetype(known_.size()) >= KnownAtMost)
        known_.clear();
    known_.insert(key);
    return insert_->rowsAffected() > 0 ? Registered::Added : Registered::AlreadyThere;
}

Registered registerCounterpart(dbClass &db, const Company &c)
{
    return CounterpartRegister(db).add(c);
}

Company counterpartOf(const tree::Node &module)
{
    auto text = [&](const char *column) { return module.value(QString::fromLatin1(column)).toString(); };
    Company c;
    c.codFisc = text("CodFisc");
    c.ragSoc = text("RagSoc");
    c.via = text("Via");
    c.civico = text("Civico");
    c.cap = text("Cap");
    c.prefTel = text("PrefTel");
    c.telefono = text("Telefono");
    c.prvIstat = module.value(QStringLiteral("prvIstat")).toInt();
    c.comIstat = module.value(QStringLiteral("comIstat")).toInt();
    return c;
}

std::optional<Company> readCompany(dbClass &db, const QString &codFisc)
{
    bool ok = false;
    QSqlQuery q = db.query(companySelect, {codFisc.trimmed().toUpper()}, dbClass::Which::Current, &ok);
    if (!ok || !q.next())
        return std::nullopt;
    Company c;
    c.codFisc = q.value(0).toString();
    c.ragSoc = q.value(1).toString();
    c.via = q.value(2).toString();
    c.civico = q.value(3).toString();
    c.cap = q.value(4).toString();
    c.prefTel = q.value(5).toString();
    c.telefono = q.value(6).toString();
    c.prvIstat = q.value(7).toInt();
    c.comIstat = q.value(8).toInt();
    return c;
}

QVector<CompanyLine> companyList(dbClass &db)
{
    QVector<CompanyLine> out;
    bool ok = false;
    QSqlQuery q = db.query(
        QStringLiteral("SELECT Ditte.CodFisc, Ditte.RagSoc, Ditte.Via, Ditte.Civico, Comuni.comDesc, Province.prvSigla "
                       "FROM (Ditte LEFT JOIN Province ON Ditte.prvIstat = Province.prvIstat) "
                       "LEFT JOIN Comuni ON (Ditte.comIstat = Comuni.comIstat) AND (Ditte.prvIstat = Comuni.prvIstat) "
                       "ORDER BY Ditte.RagSoc"),
        {}, dbClass::Which::Current, &ok);
    while (ok && q.next())
        out.append({q.value(0).toString(), q.value(1).toString(), q.value(2).toString(), q.value(3).toString(),
                    q.value(4).toString(), q.value(5).toString()});
    return out;
}

const fields::Table &companyFields()
{
    static const fields::Table t = [] {
        auto text = [](const char *name, const QString &caption, int len, int row, int col, const QString &chars,
                       bool upper, int span = 1) {
            return fields::text(-1, name, caption, len, row, col, chars, upper, span);
        };
        const QString digits = QStringLiteral("0-9");
        fields::Table t;
        t << text("CodFisc", QStringLiteral("Codice fiscale:"), 16, 0, 0, {}, true);
        t.last().stored = false; // the key is shown, not edited
        t << text("RagSoc", QStringLiteral("Ragione sociale:"), 60, 1, 0, {}, true, 3);
        fields::addMunicipality(t, "prvIstat", "comIstat", "prov", -1, 2);
        t << text("Via", QStringLiteral("Via:"), 30, 3, 0, {}, true);
        t << text("Civico", QStringLiteral("Numero civico:"), 6, 3, 1, {}, true);
        t << text("Cap", QStringLiteral("C.A.P.:"), 5, 3, 2, digits, false);
        t << text("PrefTel", QStringLiteral("Prefisso:"), 5, 4, 0, digits, false);
        t << text("Telefono", QStringLiteral("Telefono:"), 10, 4, 1, digits, false);
        return t;
    }();
    return t;
}

fields::Record companyRecord(const Company &c)
{
    return {{QStringLiteral("CodFisc"), c.codFisc}, {QStringLiteral("RagSoc"), c.ragSoc},
            {QStringLiteral("prvIstat"), c.prvIstat}, {QStringLiteral("comIstat"), c.comIstat},
            {QStringLiteral("Via"), c.via},           {QStringLiteral("Civico"), c.civico},
            {QStringLiteral("Cap"), c.cap},           {QStringLiteral("PrefTel"), c.prefTel},
            {QStringLiteral("Telefono"), c.telefono}};
}

Company companyFrom(const fields::Record &r)
{
    Company c;
    c.codFisc = r.value(QStringLiteral("CodFisc")).toString();
    c.ragSoc = r.value(QStringLiteral("RagSoc")).toString();
    c.via = r.value(QStringLiteral("Via")).toString();
    c.civico = r.value(QStringLiteral("Civico")).toString();
    c.cap = r.value(QStringLiteral("Cap")).toString();
    c.prefTel = r.value(QStringLiteral("PrefTel")).toString();
    c.telefono = r.value(QStringLiteral("Telefono")).toString();
    c.prvIstat = r.value(QStringLiteral("prvIstat")).toInt();
    c.comIstat = r.value(QStringLiteral("comIstat")).toInt();
    return c;
}

bool saveCompany(dbClass &db, const QString &codFisc, const fields::Record &r)
{
    return db.updateRow(QStringLiteral("Ditte"), QStringLiteral("CodFisc"), codFisc,
                        fields::storeValues(companyFields(), r));
}

bool deleteCompany(AppContext &ctx, const QString &codFisc, const QString &ragSoc)
{
    if (!fields::confirmDelete(ctx.msg, QStringLiteral("Elimino ditta: ") + ragSoc))
        return false;
    return ctx.db.execute(QStringLiteral("DELETE FROM Ditte WHERE (CodFisc = ?)"), {codFisc});
}

} // namespace anag
