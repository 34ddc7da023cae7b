#include "shell/dbstatement.h"

#include "shell/dbclass.h"

#include <QSqlDriver>
#include <QSqlError>
#include <QSqlQuery>
#include <QSqlRecord>

#include <sqlite3.h>

#include <optional>
#include <vector>

bool dbStatement::useNative = true;

void dbStatement::configureLibrary()
{
    static const bool done = [] {
        sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0);
        sqlite3_config(SQLITE_CONFIG_STMTJRNL_SPILL, 1 << 20);
        return true;
    }();
    Q_UNUSED(done);
}

namespace {

// The SQLite handle of an open Qt connection, or null (another store, or a
// driver that does not hand it out).
sqlite3 *handleOf(const QSqlDatabase &db)
{
    if (!dbStatement::useNative || !db.isOpen() || db.driverName() != QLatin1String("QSQLITE"))
        return nullptr;
    const QVariant v = db.driver()->handle();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3*") != 0)
        return nullptr;
    return *static_cast<sqlite3 *const *>(v.constData());
}

} // namespace

bool dbStatement::isInteger(const QVariant &v)
{
    switch (v.typeId()) {
    case QMetaType::LongLong:
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::ULongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Bool:
        return true;
    default:
        return false;
    }
}

struct dbStatement::Impl {
    QString sql;
    QString error;
    qint64 code = 0;
    bool valid = false;

    // SQLite library
    sqlite3 *h = nullptr;
    sqlite3_stmt *st = nullptr;
    bool pending = false;   // exec() stepped onto a first row next() has not handed out
    bool onRow = false;     // the statement stands on a row

    // QSqlQuery
    std::optional<QSqlQuery> q;
    std::optional<QSqlRecord> rec;

    // Text of numbers and of the QSqlQuery values, per column, for text().
    mutable std::vector<QByteArray> buf;

    ~Impl()
    {
        if (st)
            sqlite3_finalize(st);
    }

    void nativeError()
    {
        error = QString::fromUtf8(sqlite3_errmsg(h));
        code = sqlite3_extended_errcode(h);
    }
    void queryError()
    {
        const QSqlError e = q->lastError();
        error = e.text();
        code = dbClass::errorCode(e);
    }
    QByteArray &buffer(int i) const
    {
        if (buf.size() <= size_t(i))
            buf.resize(size_t(i) + 1);
        return buf[size_t(i)];
    }
};

dbStatement::dbStatement() : d_(std::make_unique<Impl>()) {}

dbStatement::dbStatement(const QSqlDatabase &db, const QString &sql) : d_(std::make_unique<Impl>())
{
    Impl &d = *d_;
    d.sql = sql;
    if (!db.isOpen()) {
        d.error = QStringLiteral("Database non collegato.");
        return;
    }
    d.h = handleOf(db);
    if (d.h) {
        const QByteArray text = sql.toUtf8();
        if (sqlite3_prepare_v3(d.h, text.constData(), int(text.size()), SQLITE_PREPARE_PERSISTENT, &d.st,
                               nullptr) != SQLITE_OK) {
            d.nativeError();
            if (d.st)
                sqlite3_finalize(d.st);
            d.st = nullptr;
            return;
        }
        d.valid = d.st != nullptr;
        if (!d.valid)
            d.error = QStringLiteral("Istruzione vuota.");
        return;
    }
    d.q.emplace(db);
    d.q->setForwardOnly(dbClass::streams(db));
    if (!d.q->prepare(sql)) {
        d.queryError();
        return;
    }
    d.valid = true;
}

dbStatement::~dbStatement() = default;
dbStatement::dbStatement(dbStatement &&) noexcept = default;
dbStatement &dbStatement::operator=(dbStatement &&) noexcept = default;

bool dbStatement::isValid() const { return d_ && d_->valid; }
bool dbStatement::isNative() const { return d_ && d_->st; }
QString dbStatement::sql() const { return d_->sql; }
QString dbStatement::error() const { return d_->error; }
qint64 dbStatement::errorCode() const { return d_->code; }

void dbStatement::bindNull(int i)
{
    if (d_->st)
        sqlite3_bind_null(d_->st, i + 1);
    else if (d_->q)
        d_->q->bindValue(i, QVariant());
}

void dbStatement::bindInt(int i, qint64 v)
{
    if (d_->st)
        sqlite3_bind_int64(d_->st, i + 1, v);
    else if (d_->q)
        d_->q->bindValue(i, v);
}

void dbStatement::bindText(int i, QByteArrayView utf8, Until kept)
{
    if (d_->st)
        sqlite3_bind_text(d_->st, i + 1, utf8.data() ? utf8.data() : "", int(utf8.size()),
                          kept == Until::Exec ? SQLITE_STATIC : SQLITE_TRANSIENT);
    else if (d_->q)
        d_->q->bindValue(i, QString::fromUtf8(utf8));
}

void dbStatement::bindText(int i, const QString &s)
{
    if (d_->st)
        bindText(i, QByteArrayView(s.toUtf8()));
    else if (d_->q)
        d_->q->bindValue(i, s);
}

void dbStatement::bind(int i, const QVariant &v)
{
    if (!d_->st) {
        if (d_->q)
            d_->q->bindValue(i, v);
        return;
    }
    if (!v.isValid() || v.isNull())
        bindNull(i);
    else if (isInteger(v))
        bindInt(i, v.toLongLong());
    else if (v.typeId() == QMetaType::Double || v.typeId() == QMetaType::Float)
        sqlite3_bind_double(d_->st, i + 1, v.toDouble());
    else if (v.typeId() == QMetaType::QByteArray) {
        const QByteArray b = v.toByteArray();
        sqlite3_bind_blob(d_->st, i + 1, b.constData(), int(b.size()), SQLITE_TRANSIENT);
    } else
        bindText(i, v.toString());
}

bool dbStatement::exec()
{
    Impl &d = *d_;
    d.error.clear();
    d.code = 0;
    if (!d.valid) {
        if (d.error.isEmpty())
            d.error = QStringLiteral("Istruzione non preparata.");
        return false;
    }
    if (d.st) {
        sqlite3_reset(d.st);
        d.pending = d.onRow = false;
        const int rc = sqlite3_step(d.st);
        if (rc == SQLITE_ROW) {
            d.pending = true;
            return true;
        }
        if (rc == SQLITE_DONE) {
            sqlite3_reset(d.st);
            return true;
        }
        d.nativeError();
        sqlite3_reset(d.st);
        return false;
    }
    if (!d.q->exec()) {
        d.queryError();
        return false;
    }
    if (!d.rec && d.q->isSelect())
        d.rec = d.q->record();
    return true;
}

bool dbStatement::next()
{
    Impl &d = *d_;
    if (d.st) {
        if (d.pending) {
            d.pending = false;
            d.onRow = true;
            return true;
        }
        if (!d.onRow)
            return false;
        const int rc = sqlite3_step(d.st);
        if (rc == SQLITE_ROW)
            return true;
        d.onRow = false;
        if (rc != SQLITE_DONE)
            d.nativeError();
        sqlite3_reset(d.st);
        return false;
    }
    return d.q && d.q->next();
}

void dbStatement::finish()
{
    Impl &d = *d_;
    if (d.st) {
        sqlite3_reset(d.st);
        d.pending = d.onRow = false;
    } else if (d.q) {
        d.q->finish();
    }
}

int dbStatement::columnCount() const
{
    if (d_->st)
        return sqlite3_column_count(d_->st);
    return d_->rec ? d_->rec->count() : 0;
}

QString dbStatement::columnName(int i) const
{
    if (d_->st)
        return QString::fromUtf8(sqlite3_column_name(d_->st, i));
    return d_->rec ? d_->rec->fieldName(i) : QString();
}

int dbStatement::columnIndex(QStringView name) const
{
    const int n = columnCount();
    for (int i = 0; i < n; ++i)
        if (name.compare(columnName(i), Qt::CaseInsensitive) == 0)
            return i;
    return -1;
}

dbStatement::Kind dbStatement::kind(int i) const
{
    if (d_->st) {
        switch (sqlite3_column_type(d_->st, i)) {
        case SQLITE_NULL: return Kind::Null;
        case SQLITE_INTEGER: return Kind::Int;
        case SQLITE_FLOAT: return Kind::Real;
        default: return Kind::Text;
        }
    }
    const QVariant v = d_->q->value(i);
    if (!v.isValid() || v.isNull())
        return Kind::Null;
    if (isInteger(v))
        return Kind::Int;
    if (v.typeId() == QMetaType::Double || v.typeId() == QMetaType::Float)
        return Kind::Real;
    return Kind::Text;
}

qint64 dbStatement::toInt(int i) const
{
    if (d_->st)
        return sqlite3_column_int64(d_->st, i);
    return d_->q->value(i).toLongLong();
}

QByteArrayView dbStatement::text(int i) const
{
    if (d_->st) {
        // Asking SQLite for the text of a number converts the value in place;
        // numbers are written here instead.
        const int type = sqlite3_column_type(d_->st, i);
        if (type == SQLITE_NULL)
            return {};
        if (type == SQLITE_INTEGER) {
            QByteArray &b = d_->buffer(i);
            b.setNum(sqlite3_column_int64(d_->st, i));
            return b;
        }
        if (type == SQLITE_FLOAT) {
            QByteArray &b = d_->buffer(i);
            b = QVariant(sqlite3_column_double(d_->st, i)).toString().toUtf8();
            return b;
        }
        const auto *p = reinterpret_cast<const char *>(sqlite3_column_text(d_->st, i));
        return QByteArrayView(p, sqlite3_column_bytes(d_->st, i));
    }
    const QVariant v = d_->q->value(i);
    if (!v.isValid() || v.isNull())
        return {};
    QByteArray &b = d_->buffer(i);
    b = v.toString().toUtf8();
    return b;
}

QString dbStatement::string(int i) const
{
    if (d_->st)
        return QString::fromUtf8(text(i));
    return d_->q->value(i).toString();
}

namespace {

// A value of the current row of st; a text decoded, or as its UTF-8 bytes.
QVariant columnValue(sqlite3_stmt *st, int i, bool utf8)
{
    switch (sqlite3_column_type(st, i)) {
    case SQLITE_NULL: return QVariant();
    case SQLITE_INTEGER: return QVariant(qint64(sqlite3_column_int64(st, i)));
    case SQLITE_FLOAT: return QVariant(sqlite3_column_double(st, i));
    case SQLITE_BLOB: {
        const auto *p = static_cast<const char *>(sqlite3_column_blob(st, i));
        return QByteArray(p, sqlite3_column_bytes(st, i));
    }
    default: {
        const auto *p = reinterpret_cast<const char *>(sqlite3_column_text(st, i));
        const int n = sqlite3_column_bytes(st, i);
        return utf8 ? QVariant(QByteArray(p, n)) : QVariant(QString::fromUtf8(p, n));
    }
    }
}

} // namespace

QVariant dbStatement::value(int i) const
{
    if (!d_->st)
        return d_->q->value(i);
    return columnValue(d_->st, i, false);
}

QVariant dbStatement::valueUtf8(int i) const
{
    if (!d_->st) {
        const QVariant v = d_->q->value(i);
        if (v.typeId() == QMetaType::QString && !v.isNull())
            return v.toString().toUtf8();
        return v;
    }
    return columnValue(d_->st, i, true);
}

qint64 dbStatement::lastInsertId() const
{
    return d_->h ? sqlite3_last_insert_rowid(d_->h) : -1;
}

qint64 dbStatement::rowsAffected() const
{
    if (d_->h)
        return sqlite3_changes(d_->h);
    return d_->q ? d_->q->numRowsAffected() : -1;
}

bool dbStatement::isNativeOn(const QSqlDatabase &db)
{
    return handleOf(db) != nullptr;
}

bool dbStatement::inTransactionOn(const QSqlDatabase &db)
{
    if (!db.isOpen() || db.driverName() != QLatin1String("QSQLITE"))
        return false;
    const QVariant v = db.driver()->handle();
    if (!v.isValid() || qstrcmp(v.typeName(), "sqlite3*") != 0)
        return false;
    sqlite3 *h = *static_cast<sqlite3 *const *>(v.constData());
    return h && sqlite3_get_autocommit(h) == 0;
}

bool dbStatement::run(const QSqlDatabase &db, const QString &sql, QString *error, qint64 *code)
{
    if (sqlite3 *h = handleOf(db)) {
        if (sqlite3_exec(h, sql.toUtf8().constData(), nullptr, nullptr, nullptr) == SQLITE_OK)
            return true;
        if (error)
            *error = QString::fromUtf8(sqlite3_errmsg(h));
        if (code)
            *code = sqlite3_extended_errcode(h);
        return false;
    }
    QSqlQuery q(db);
    if (q.exec(sql))
        return true;
    if (error)
        *error = q.lastError().text();
    if (code)
        *code = dbClass::errorCode(q.lastError());
    return false;
}
