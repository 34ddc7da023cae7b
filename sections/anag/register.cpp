#include "sections/anag/register.h"

#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/schema/schema.h"
#include "shell/transaction.h"
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

// The columns a company is written with, the texts first as textWidths()
// names them.
const QString companyColumns =
    QStringLiteral("CodFisc, RagSoc, Via, Civico, Cap, PrefTel, Telefono, prvIstat, comIstat");

const QString companySelect =
    QStringLiteral("SELECT ") + companyColumns + QStringLiteral(" FROM Ditte WHERE (CodFisc = ?)");

} // namespace

CounterpartRegister::CounterpartRegister(dbClass &db, Mode mode) : db_(db), mode_(mode)
{
    // The queue is made now, before the run opens a savepoint for its first
    // declaration: undoing that one must not take the queue away.
    if (mode_ == Mode::Queued)
        prepare();
}

CounterpartRegister::~CounterpartRegister()
{
    insert_.reset();   // a statement on the queue would keep it from being dropped
    if (!queue_.isEmpty() && db_.isCurrentOpen())
        dbStatement::run(db_.current(), QStringLiteral("DROP TABLE IF EXISTS ") + queue_);
}

bool CounterpartRegister::failed(const QString &error, qint64 code, const QString &sql)
{
    db_.messages().errorReport({}, code, error, sql);
    return false;
}

bool CounterpartRegister::prepare()
{
    if (insert_)
        return true;
    if (!db_.isCurrentOpen()) {
        db_.messages().errorReport({}, 0, QStringLiteral("Database dell'anno corrente non collegato."),
                                   QStringLiteral("anag.registerCounterpart"));
        return false;
    }
    const QString &columns = companyColumns;
    QString sql;
    if (mode_ == Mode::Queued) {
        // One table per register: two runs on one connection keep apart.
        static int made = 0;
        const QString name = QStringLiteral("DitteInCoda") + QString::number(++made);
        const QString create = QStringLiteral("CREATE TEMPORARY TABLE ") + name
                               + QStringLiteral(" (seq BIGINT, CodFisc TEXT, RagSoc TEXT, Via TEXT, Civico TEXT, Cap TEXT, "
                                                "PrefTel TEXT, Telefono TEXT, prvIstat INTEGER, comIstat INTEGER)");
        QString error;
        qint64 code = 0;
        if (!dbStatement::run(db_.current(), create, &error, &code))
            return failed(error, code, create);
        queue_ = name;
        sql = QStringLiteral("INSERT INTO ") + queue_ + QStringLiteral(" (") + columns
              + QStringLiteral(", seq) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
    } else {
        // One statement: a company already registered (its tax code is the
        // key) is left as it is, and no row is written.
        sql = QStringLiteral("INSERT INTO Ditte (") + columns
              + QStringLiteral(") VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?) ON CONFLICT (CodFisc) DO NOTHING");
    }
    auto insert = std::make_unique<dbStatement>(db_.current(), sql);
    if (!insert->isValid())
        return failed(insert->error(), insert->errorCode(), insert->sql());
    insert_ = std::move(insert);
    return true;
}

qint64 CounterpartRegister::flush()
{
    if (mode_ != Mode::Queued || queued_ == 0)
        return 0;
    if (!prepare())
        return -1;
    // By tax code, and for one code in the order queued: the first data
    // seen for a company is the one kept, as when written one by one.
    const QString &columns = companyColumns;
    dbStatement merge(db_.current(), QStringLiteral("INSERT INTO Ditte (") + columns + QStringLiteral(") SELECT ") + columns
                                         + QStringLiteral(" FROM ") + queue_
                                         + QStringLiteral(" WHERE 1 = 1 ORDER BY CodFisc, seq ON CONFLICT (CodFisc) DO NOTHING"));
    // SQLite lets a sort hold as much memory as the page cache: a run that
    // enlarged the cache for its inserts would hold as much again here. The
    // library's default is room enough for a sort that goes to disk in runs,
    // which a second thread helps to sort.
    bool merged = false;
    {
        const dbPageCache sortMemory(db_.current(), 2000);
        QVariant threads;
        QSqlQuery q(db_.current());
        if (db_.current().driverName() == QLatin1String("QSQLITE") && q.exec(QStringLiteral("PRAGMA threads"))
            && q.next() && q.value(0).toLongLong() < 1) {
            threads = q.value(0);
            q.exec(QStringLiteral("PRAGMA threads = 1"));
        }
        merged = merge.isValid() && merge.exec();
        if (threads.isValid())
            q.exec(QStringLiteral("PRAGMA threads = ") + QString::number(threads.toLongLong()));
    }
    if (!merged) {
        failed(merge.error(), merge.errorCode(), merge.sql());
        return -1;
    }
    const qint64 added = merge.rowsAffected();
    QString error;
    qint64 code = 0;
    const QString empty = QStringLiteral("DELETE FROM ") + queue_;
    if (!dbStatement::run(db_.current(), empty, &error, &code)) {
        failed(error, code, empty);
        return -1;
    }
    queued_ = 0;
    return added;
}

namespace {

bool asciiSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

QByteArrayView trimmedAscii(QByteArrayView b)
{
    while (!b.isEmpty() && asciiSpace(b.back()))
        b.chop(1);
    while (!b.isEmpty() && asciiSpace(b.front()))
        b = b.sliced(1);
    return b;
}

bool isAscii(QByteArrayView b)
{
    for (char c : b)
        if (uchar(c) >= 0x80)
            return false;
    return true;
}

// A text as the register stores it: trimmed, in capitals when upper, cut
// to width UTF-16 units as the column counts them (none when width is 0; a
// character of two units is not split). Plain ASCII is done on the bytes;
// anything else goes through QString, whose idea of blanks, capitals and
// characters is the one the forms use. The result views text, the caller's
// upperRoom (of roomSize bytes) or *room.
QByteArrayView stored(QByteArrayView text, int width, bool upper, QByteArray *room, char *upperRoom = nullptr,
                      qsizetype roomSize = 0)
{
    const QByteArrayView t = trimmedAscii(text);
    const bool ascii = isAscii(t);
    // A text with other letters needs QString where they are at an end
    // (blanks of Unicode), where it may be cut, or when put in capitals.
    const bool plain = ascii || (uchar(t.front()) < 0x80 && uchar(t.back()) < 0x80 && !upper
                                 && (width == 0 || t.size() <= width));
    if (!plain || (upper && t.size() > roomSize)) {
        QString s = QString::fromUtf8(t).trimmed();
        if (upper)
            s = s.toUpper();
        if (width > 0 && s.size() > width)
            s.truncate(s.at(width - 1).isHighSurrogate() ? width - 1 : width);   // never half a character
        *room = s.toUtf8();
        return *room;
    }
    const QByteArrayView cut = width > 0 && t.size() > width ? t.first(width) : t;
    if (!upper)
        return cut;
    for (qsizetype i = 0; i < cut.size(); ++i)
        upperRoom[i] = cut[i] >= 'a' && cut[i] <= 'z' ? char(cut[i] - 'a' + 'A') : cut[i];
    return QByteArrayView(upperRoom, cut.size());
}

} // namespace

bool CounterpartRegister::known(const QString &codFisc) const
{
    return known_.contains(taxCode(codFisc).toUtf8());
}

bool CounterpartRegister::known(QByteArrayView codFisc) const
{
    char upper[32];
    QByteArray room;
    const QByteArrayView code = stored(codFisc, 0, true, &room, upper, sizeof upper);
    return known_.contains(QByteArray::fromRawData(code.data(), code.size()));
}

Registered CounterpartRegister::add(const Company &c)
{
    const QByteArray texts[TextColumns] = {c.codFisc.toUtf8(), c.ragSoc.toUtf8(),  c.via.toUtf8(),     c.civico.toUtf8(),
                                          c.cap.toUtf8(),     c.prefTel.toUtf8(), c.telefono.toUtf8()};
    return add(CompanyUtf8{texts[0], texts[1], texts[2], texts[3], texts[4], texts[5], texts[6], c.prvIstat, c.comIstat});
}

Registered CounterpartRegister::add(const CompanyUtf8 &c)
{
    // The run knows the tax code trimmed and in capitals; it is stored cut
    // to its column.
    char upper[32];
    QByteArray codeRoom;
    const QByteArrayView code = stored(c.codFisc, 0, true, &codeRoom, upper, sizeof upper);
    if (code.isEmpty() || known_.contains(QByteArray::fromRawData(code.data(), code.size())))
        return Registered::AlreadyThere;
    if (!prepare())
        return Registered::Failed;
    // Texts trimmed and cut to their column; an empty one is stored as
    // null, and so is an unknown place (0).
    const QByteArrayView texts[TextColumns] = {code, c.ragSoc, c.via, c.civico, c.cap, c.prefTel, c.telefono};
    QByteArray room[TextColumns];
    for (int i = 0; i < TextColumns; ++i) {
        const QByteArrayView v = stored(texts[i], textWidths()[size_t(i)], false, &room[i]);
        if (v.isEmpty())
            insert_->bindNull(i);
        else
            insert_->bindText(i, v, dbStatement::Until::Exec);
    }
    const int places[] = {c.prvIstat, c.comIstat};
    for (int i = 0; i < 2; ++i) {
        if (places[i] > 0)
            insert_->bindInt(TextColumns + i, places[i]);
        else
            insert_->bindNull(TextColumns + i);
    }
    if (mode_ == Mode::Queued)
        insert_->bindInt(TextColumns + 2, ++queued_);
    if (!insert_->exec()) {
        failed(insert_->error(), insert_->errorCode(), insert_->sql());
        return Registered::Failed;
    }
    // A bounded memory: on a run of many thousand declarations the codes met
    // would otherwise grow with it; one forgotten is looked up again.
    if (qsizetype(known_.size()) >= KnownAtMost)
        known_.clear();
    known_.insert(code.toByteArray());
    return mode_ == Mode::Queued || insert_->rowsAffected() > 0 ? Registered::Added : Registered::AlreadyThere;
}

Registered registerCounterpart(dbClass &db, const Company &c)
{
    return CounterpartRegister(db).add(c);
}

Company counterpartOf(const tree::Node &module)
{
    // Where each table has the company's columns, found once: a run
    // registers the counterpart of every module it writes.
    static const char *const names[] = {"CodFisc", "RagSoc", "Via",      "Civico",  "Cap",
                                        "PrefTel", "Telefono", "prvIstat", "comIstat"};
    constexpr size_t N = std::size(names);
    static const std::vector<std::array<int, N>> columns = [] {
        std::vector<std::array<int, N>> out;
        for (const schema::Table &t : schema::tables()) {
            std::array<int, N> &at = out.emplace_back();
            for (size_t i = 0; i < N; ++i)
                at[i] = tree::columnIndex(t, QString::fromLatin1(names[i]));
        }
        return out;
    }();
    const auto &tables = schema::tables();
    const bool listed = module.table >= tables.data() && module.table < tables.data() + tables.size();
    auto value = [&](size_t i) {
        const int at = listed ? columns[size_t(module.table - tables.data())][i]
                              : tree::columnIndex(*module.table, QString::fromLatin1(names[i]));
        return at < 0 ? QVariant() : module.values.value(at);
    };
    Company c;
    c.codFisc = value(0).toString();
    c.ragSoc = value(1).toString();
    c.via = value(2).toString();
    c.civico = value(3).toString();
    c.cap = value(4).toString();
    c.prefTel = value(5).toString();
    c.telefono = value(6).toString();
    c.prvIstat = value(7).toInt();
    c.comIstat = value(8).toInt();
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
