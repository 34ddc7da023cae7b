#include "shell/dbclass.h"

#include "shell/dberror.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/schema/schema.h"

#include <QAtomicInt>
#include <QFileInfo>
#include <QHash>
#include <QSqlDriver>
#include <QSqlRecord>
#include <QUrl>

// Half a minute: on a shared folder another station's import or save may hold
// the file for a while; the user would rather wait than be refused.
int dbClass::busyTimeoutMs = 30000;

namespace {
QAtomicInt connectionSerial;

QString sectionCurrent(const qorClass &a) { return QStringLiteral("Qor") + QString::number(a.year()); }
QString sectionPrevious(const qorClass &a) { return QStringLiteral("Qor") + QString::number(a.year() - 1); }

const QString connectPlace = QStringLiteral("Connessione database QOR");

// How many of the eleven tables that make a database ours the store holds
// (each counted once; views do not count). Only reads.
int requiredTablesFound(const QSqlDatabase &db)
{
    const QStringList required = schema::requiredTables();
    QStringList found;
    for (QString name : db.tables(QSql::Tables)) {
        name = name.section(u'.', -1).toLower();
        if (required.contains(name) && !found.contains(name))
            found << name;
    }
    return int(found.size());
}

QString engineName(const QString &driver)
{
    return driver == QLatin1String("QPSQL") ? QStringLiteral("PostgreSQL") : QStringLiteral("SQLite");
}
} // namespace

dbClass::dbClass(qorClass &app, Messages &msg) : app_(app), msg_(msg)
{
    const int serial = connectionSerial.fetchAndAddRelaxed(1);
    curConn_ = QStringLiteral("qor_current_%1").arg(serial);
    prevConn_ = QStringLiteral("qor_previous_%1").arg(serial);
    currentPath_ = app_.readText(sectionCurrent(app_), QStringLiteral("PATH"));
    previousPath_ = app_.readText(sectionPrevious(app_), QStringLiteral("PATH"));
}

dbClass::~dbClass()
{
    disconnect();
}

bool dbClass::isPostgresUrl(const QString &path)
{
    return path.startsWith(QLatin1String("postgresql://"), Qt::CaseInsensitive)
           || path.startsWith(QLatin1String("postgres://"), Qt::CaseInsensitive);
}

QString dbClass::driverFor(const QString &path)
{
    return isPostgresUrl(path) ? QStringLiteral("QPSQL") : QStringLiteral("QSQLITE");
}

qint64 dbClass::errorCode(const QSqlError &e)
{
    bool ok = false;
    qint64 n = e.nativeErrorCode().toLongLong(&ok);
    return ok ? n : 0;
}

QVariantMap dbClass::rowMap(const QSqlQuery &q)
{
    QVariantMap row;
    const QSqlRecord rec = q.record();
    for (int i = 0; i < rec.count(); ++i)
        row.insert(rec.fieldName(i), q.value(i));
    return row;
}

bool dbClass::bindAll(QSqlQuery &q, const QVariantList &params)
{
    for (const QVariant &p : params)
        q.addBindValue(p);
    return true;
}

QString dbClass::engineMissingText(const QString &description)
{
    return QStringLiteral("Errore:\n") + description
           + QStringLiteral("\nPer usare questo programma è necessatio installare o aggiornare i "
                            "componenti di 'gestione di database Microsoft Jet 4.0'.\n"
                            "Per installare i componenti compatibili con il proprio sistema, "
                            "consultare il sito web Microsoft.");
}

bool dbClass::openStore(const QString &path, const QString &connection, bool readOnly,
                        QSqlError *error, bool *engineMissing, int busyMs)
{
    if (engineMissing)
        *engineMissing = false;
    const QString driver = driverFor(path);
    if (!QSqlDatabase::isDriverAvailable(driver)) {
        if (engineMissing)
            *engineMissing = true;
        if (error)
            *error = QSqlError(QStringLiteral("Driver %1 non installato").arg(driver),
                               QStringLiteral("Il componente %1 per l'accesso al database %2 "
                                              "non è installato.")
                                   .arg(driver, engineName(driver)),
                               QSqlError::ConnectionError);
        return false;
    }
    closeStore(connection);
    dbStatement::configureLibrary();
    QSqlDatabase db = QSqlDatabase::addDatabase(driver, connection);
    if (driver == QLatin1String("QSQLITE")) {
        // A missing file is never created here, and a folder is no file.
        if (!QFileInfo::exists(path) || QFileInfo(path).isDir()) {
            if (error)
                *error = QSqlError((QFileInfo(path).isDir() ? QStringLiteral("Il percorso indica una cartella: ")
                                                            : QStringLiteral("File non trovato: "))
                                       + path,
                                   {}, QSqlError::ConnectionError, QStringLiteral("14"));
            closeStore(connection);
            return false;
        }
        db.setDatabaseName(path);
        QString opts = QStringLiteral("QSQLITE_BUSY_TIMEOUT=%1").arg(busyMs);
        if (readOnly)
            opts += QStringLiteral(";QSQLITE_OPEN_READONLY");
        db.setConnectOptions(opts);
    } else {
        const QUrl url(path);
        db.setHostName(url.host());
        if (url.port() > 0)
            db.setPort(url.port());
        db.setUserName(url.userName());
        db.setPassword(url.password());
        db.setDatabaseName(url.path().mid(1));
    }
    if (!db.open()) {
        if (error)
            *error = db.lastError();
        db = QSqlDatabase();
        closeStore(connection);
        return false;
    }
    QSqlQuery q(db);
    bool ok;
    if (driver == QLatin1String("QSQLITE")) {
        // The first real read tells a database from any other file.
        ok = q.exec(QStringLiteral("SELECT count(*) FROM sqlite_master"))
             && q.exec(QStringLiteral("PRAGMA foreign_keys = ON"));
    } else {
        ok = q.exec(readOnly ? QStringLiteral("SET SESSION CHARACTERISTICS AS TRANSACTION READ ONLY")
                             : QStringLiteral("SELECT 1"));
    }
    if (!ok) {
        if (error)
            *error = q.lastError();
        q = QSqlQuery();
        db = QSqlDatabase();
        closeStore(connection);
        return false;
    }
    return true;
}

void dbClass::closeStore(const QString &connection)
{
    if (!QSqlDatabase::contains(connection))
        return;
    {
        QSqlDatabase db = QSqlDatabase::database(connection, false);
        if (db.isOpen())
            db.close();
    }
    QSqlDatabase::removeDatabase(connection);
}

QSqlDatabase dbClass::current() const { return QSqlDatabase::database(curConn_, false); }
QSqlDatabase dbClass::previous() const { return QSqlDatabase::database(prevConn_, false); }

bool dbClass::isCurrentOpen() const
{
    return QSqlDatabase::contains(curConn_) && current().isOpen();
}

bool dbClass::isPreviousOpen() const
{
    return QSqlDatabase::contains(prevConn_) && previous().isOpen();
}

void dbClass::disconnect()
{
    closeStore(curConn_);
    closeStore(prevConn_);
}

void dbClass::reportEngineMissing(const QString &description)
{
    engineMissing_ = true;
    msg_.critical(engineMissingText(description), QStringLiteral("Qor"));
}

void dbClass::reportSqlError(const QString &place, const QSqlError &e, const QString &sql)
{
    QString description = e.databaseText().isEmpty() ? e.text() : e.databaseText();
    if (!e.driverText().isEmpty() && !description.contains(e.driverText()))
        description += QStringLiteral(" (") + e.driverText() + u')';
    QString source = engineName(driverFor(currentPath_));
    if (!sql.isEmpty())
        source += QStringLiteral(": ") + sql.left(300);
    msg_.databaseErrorReport(place, errorCode(e), description, source);
}

bool dbClass::connect()
{
    disconnect();
    engineMissing_ = false;
    dbVersion_.clear();
    dbType_ = QVariant();
    if (currentPath_.isEmpty())
        return false;

    QSqlError err;
    bool missing = false;
    if (!openStore(currentPath_, curConn_, false, &err, &missing, busyTimeoutMs)) {
        if (missing)
            reportEngineMissing(err.text());
        else if (isNotADatabase(err))
            refuseNotOurs(false);
        else
            reportSqlError(connectPlace, err, {});
        return false;
    }
    // Nothing is written (not even the version stamp) into a store that is
    // not one of ours.
    if (requiredTablesFound(current()) != int(schema::requiredTables().size())) {
        closeStore(curConn_);
        refuseNotOurs(false);
        return false;
    }

    {
        QSqlQuery q(current());
        if (q.exec(QStringLiteral("SELECT * FROM Config")) && q.next()) {
            dbVersion_ = q.value(QStringLiteral("CnfDbVer")).toString();
            dbType_ = q.value(QStringLiteral("CnfType"));
        }
    }

    if (!previousPath_.isEmpty()) {
        if (!openStore(previousPath_, prevConn_, true, &err, &missing, busyTimeoutMs)) {
            if (missing)
                reportEngineMissing(err.text());
            else
                reportSqlError(QStringLiteral("Connessione database QOR anno precedente"), err, {});
            if (missing)
                return false;
        }
    }

    if (dbVersion_ < schema::dbVersion())
        stampVersion();
    {
        // A database made before an index was added gets it now; one that
        // cannot take it (locked, read only) still works, only slower.
        QSqlQuery q(current());
        const bool pg = isPostgresUrl(currentPath_);
        if (pg) // no notice for each index already there
            q.exec(QStringLiteral("SET client_min_messages TO WARNING"));
        for (const schema::Table &t : schema::tables())
            if (!t.reference)
                for (const QString &sql : schema::indexStatements(t, true))
                    q.exec(sql);
        if (pg)
            q.exec(QStringLiteral("RESET client_min_messages"));
    }
    return true;
}

bool dbClass::stampVersion()
{
    QSqlQuery q(current());
    bool ok;
    if (q.exec(QStringLiteral("SELECT COUNT(*) FROM Config")) && q.next() && q.value(0).toInt() > 0)
        ok = execute(QStringLiteral("UPDATE Config SET CnfDbVer = ?"), {schema::dbVersion()});
    else
        ok = execute(QStringLiteral("INSERT INTO Config (CnfDbVer, CnfType) VALUES (?, 0)"),
                     {schema::dbVersion()});
    if (ok)
        dbVersion_ = schema::dbVersion();
    return ok;
}

bool dbClass::execute(const QString &sql, const QVariantList &params)
{
    if (!isCurrentOpen()) {
        msg_.errorReport({}, 0, QStringLiteral("Database dell'anno corrente non collegato."),
                         QStringLiteral("dbClass.execute"));
        return false;
    }
    QSqlQuery q(current());
    // A statement without values runs as it is: PostgreSQL prepares no
    // CREATE, ALTER or DROP.
    const bool ok = params.isEmpty() ? q.exec(sql) : q.prepare(sql) && bindAll(q, params) && q.exec();
    if (!ok) {
        reportSqlError({}, q.lastError(), sql);
        return false;
    }
    return true;
}

QSqlQuery dbClass::query(const QString &sql, const QVariantList &params, Which which, bool *ok)
{
    QSqlDatabase db = database(which);
    QSqlQuery q(db);
    q.setForwardOnly(streams(db));
    bool good = db.isOpen() && q.prepare(sql) && bindAll(q, params) && q.exec();
    if (!good) {
        if (!db.isOpen())
            msg_.errorReport({}, 0, QStringLiteral("Database non collegato."),
                             QStringLiteral("dbClass.query"));
        else
            reportSqlError({}, q.lastError(), sql);
    }
    if (ok)
        *ok = good;
    return q;
}

QVariant dbClass::scalar(const QString &sql, const QVariantList &params, Which which)
{
    bool ok = false;
    QSqlQuery q = query(sql, params, which, &ok);
    if (ok && q.next())
        return q.value(0);
    return {};
}

qint64 dbClass::insertRow(const QString &tableName, const QVariantMap &values)
{
    const schema::Table *t = schema::table(tableName);
    QStringList cols, marks;
    QVariantList params;
    for (auto it = values.begin(); it != values.end(); ++it) {
        cols << it.key();
        marks << QStringLiteral("?");
        params << it.value();
    }
    const bool counter = t && !t->key.isEmpty() && schema::column(*t, t->key)
                         && schema::column(*t, t->key)->type == schema::Type::Counter;
    QString sql = QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                      .arg(tableName, cols.join(QStringLiteral(", ")), marks.join(QStringLiteral(", ")));
    if (counter)
        sql += QStringLiteral(" RETURNING ") + t->key;
    if (!isCurrentOpen()) {
        msg_.errorReport({}, 0, QStringLiteral("Database dell'anno corrente non collegato."),
                         QStringLiteral("dbClass.insertRow"));
        return -1;
    }
    QSqlQuery q(current());
    if (!q.prepare(sql) || !bindAll(q, params) || !q.exec()) {
        reportSqlError({}, q.lastError(), sql);
        return -1;
    }
    if (!counter)
        return 0;
    if (!q.next()) {
        reportSqlError({}, q.lastError(), sql);
        return -1;
    }
    return q.value(0).toLongLong();
}

bool dbClass::updateRow(const QString &table, const QString &keyColumn, const QVariant &key,
                        const QVariantMap &values)
{
    QStringList sets;
    QVariantList params;
    for (auto it = values.begin(); it != values.end(); ++it) {
        sets << it.key() + QStringLiteral(" = ?");
        params << it.value();
    }
    params << key;
    return execute(QStringLiteral("UPDATE %1 SET %2 WHERE (%3 = ?)")
                       .arg(table, sets.join(QStringLiteral(", ")), keyColumn),
                   params);
}

dbClass::Municipality dbClass::municipality(int prvIstat, int comIstat, Which which)
{
    Municipality m;
    bool ok = false;
    QSqlQuery q = query(QStringLiteral("SELECT Comuni.ComDesc, Comuni.ComCap, Province.PrvDesc, "
                                       "Province.PrvSigla FROM Comuni INNER JOIN Province ON "
                                       "Comuni.PrvIstat = Province.PrvIstat WHERE "
                                       "(Comuni.PrvIstat = ? AND Comuni.ComIstat = ?)"),
                        {prvIstat, comIstat}, which, &ok);
    if (ok && q.next()) {
        m.found = true;
        m.comDesc = q.value(0).toString();
        m.comCap = q.value(1).toString();
        m.prvDesc = q.value(2).toString();
        m.prvSigla = q.value(3).toString();
    }
    return m;
}

bool dbClass::isNotADatabase(const QSqlError &e)
{
    return dberror::classify(errorCode(e), e.databaseText() + u' ' + e.driverText())
           == dberror::Kind::NotADatabase;
}

void dbClass::refuseNotOurs(bool previousYear)
{
    const int year = previousYear ? app_.year() - 1 : app_.year();
    msg_.critical(QStringLiteral("Attenzione, il file selezionato non è un database QOR %1.").arg(year),
                  connectPlace);
}

bool dbClass::checkChosenFile(const QString &path, bool previousYear)
{
    const QString conn = curConn_ + QStringLiteral("_check");
    QSqlError err;
    bool missing = false;
    // The check only reads: the file is opened read-only.
    if (!openStore(path, conn, true, &err, &missing, busyTimeoutMs)) {
        if (missing)
            reportEngineMissing(err.text());
        else if (isNotADatabase(err))
            refuseNotOurs(previousYear);
        else
            reportSqlError(connectPlace, err, {});
        return false;
    }
    const int found = requiredTablesFound(QSqlDatabase::database(conn, false));
    const int required = int(schema::requiredTables().size());
    closeStore(conn);
    // The current-year database is written to: a file in use by another
    // program or one that cannot be written is refused here.
    if (!previousYear && found == required && !openStore(path, conn, false, &err, &missing, busyTimeoutMs)) {
        reportSqlError(connectPlace, err, {});
        return false;
    }
    {
        QSqlDatabase db = QSqlDatabase::database(conn, false);
        if (!previousYear && found == required) {
            QSqlQuery q(db);
            // BEGIN IMMEDIATE takes the write lock at once on SQLite.
            const bool ok = q.exec(driverFor(path) == QLatin1String("QSQLITE")
                                       ? QStringLiteral("BEGIN IMMEDIATE")
                                       : QStringLiteral("BEGIN"));
            QSqlError werr = q.lastError();
            q.exec(QStringLiteral("ROLLBACK"));
            bool readOnlyFile = !isPostgresUrl(path) && !QFileInfo(path).isWritable();
            if (!ok || readOnlyFile) {
                q = QSqlQuery();
                db = QSqlDatabase();
                closeStore(conn);
                if (readOnlyFile)
                    msg_.critical(QStringLiteral("Attenzione, il file selezionato è in sola lettura: "
                                                 "non può essere usato come database dell'anno "
                                                 "corrente."),
                                  QStringLiteral("Connessione database QOR"));
                else
                    reportSqlError(QStringLiteral("Connessione database QOR"), werr, {});
                return false;
            }
        }
    }
    closeStore(conn);

    if (found == required)
        return true;
    if (!previousYear) {
        refuseNotOurs(false);
        return false;
    }
    return msg_.question(QStringLiteral("Attenzione,\nil file selezionato non è un database QOR ")
                         + QString::number(app_.year() - 1)
                         + QStringLiteral("\nLe operazioni di importazione delle anagrafiche e delle "
                                          "dichiarazioni dell'anno precedente verranno "
                                          "disabilitate.\n\nProcedo lo stesso?"));
}

bool dbClass::checkIntegrity()
{
    if (!isCurrentOpen() || current().driverName() != QLatin1String("QSQLITE"))
        return true;
    QSqlQuery q(current());
    q.setForwardOnly(true);
    if (!q.exec(QStringLiteral("PRAGMA quick_check(5)"))) {
        reportSqlError({}, q.lastError(), QStringLiteral("PRAGMA quick_check"));
        return false;
    }
    QStringList problems;
    while (q.next())
        for (const QString &line : q.value(0).toString().split(u'\n'))
            if (!line.trimmed().isEmpty() && !line.startsWith(QLatin1String("***")))
                problems << line.trimmed();
    if (problems == QStringList{QStringLiteral("ok")})
        return true;
    // SQLITE_CORRUPT: the report says the database is damaged.
    msg_.errorReport({}, 11,
                     QStringLiteral("database disk image is malformed: ")
                         + problems.value(0),
                     QStringLiteral("PRAGMA quick_check"));
    return false;
}

bool dbClass::applyChoice(const QString &cur, const QString &prev)
{
    bool saved = true;
    if (cur != currentPath_)
        saved = app_.writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QStringLiteral("0"));
    currentPath_ = cur;
    previousPath_ = prev;
    saved = app_.writeText(sectionCurrent(app_), QStringLiteral("Path"), cur) && saved;
    saved = app_.writeText(sectionPrevious(app_), QStringLiteral("PATH"), prev) && saved;
    // The choice holds for this run all the same; the user learns that the
    // next start will not remember it.
    if (!saved)
        msg_.critical(QStringLiteral("Attenzione, non è stato possibile registrare la scelta nel file delle impostazioni:\n")
                      + app_.settingsPath()
                      + QStringLiteral("\nI database scelti saranno usati fino alla chiusura del programma."),
                      QStringLiteral("Connessione database QOR"));
    return connect();
}
