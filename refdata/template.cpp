#include "refdata/template.h"

#include "refdata/csv.h"
#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/schema/schema.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSqlError>
#include <QSqlQuery>

namespace refdata {

QStringList referenceTables()
{
    QStringList l;
    for (const schema::Table &t : schema::tables())
        if (t.reference)
            l << t.name;
    return l;
}

bool createSchema(QSqlDatabase db, QString *error)
{
    const auto dialect = db.driverName() == QLatin1String("QPSQL") ? schema::Dialect::PostgreSQL
                                                                    : schema::Dialect::SQLite;
    QSqlQuery q(db);
    for (const QString &sql : schema::createStatements(dialect)) {
        if (!q.exec(sql)) {
            *error = q.lastError().text() + QStringLiteral(" [") + sql.left(80) + u']';
            return false;
        }
    }
    return true;
}

static QVariant typed(const schema::Column &c, const QString &v)
{
    if (v.isNull())
        return QVariant();
    switch (c.type) {
    case schema::Type::Int:
    case schema::Type::Flag:
    case schema::Type::Counter:
        return v.toLongLong();
    default:
        return v;
    }
}

bool loadReferenceData(QSqlDatabase db, const QString &folder, QString *error)
{
    if (!db.transaction()) {
        *error = db.lastError().text();
        return false;
    }
    for (const QString &name : referenceTables()) {
        const schema::Table *t = schema::table(name);
        QStringList header;
        QList<QStringList> rows;
        if (!CsvReader::readFile(QDir(folder).filePath(name + QStringLiteral(".csv")), &header,
                                 &rows, error)) {
            db.rollback();
            return false;
        }
        std::vector<const schema::Column *> cols;
        for (const QString &h : header) {
            const schema::Column *c = schema::column(*t, h);
            if (!c) {
                *error = QStringLiteral("%1.csv: colonna sconosciuta %2").arg(name, h);
                db.rollback();
                return false;
            }
            cols.push_back(c);
        }
        QSqlQuery q(db);
        q.prepare(QStringLiteral("INSERT INTO %1 (%2) VALUES (%3)")
                      .arg(name, header.join(QStringLiteral(", ")),
                           QStringList(header.size(), QStringLiteral("?")).join(QStringLiteral(", "))));
        for (const QStringList &r : rows) {
            for (int i = 0; i < r.size(); ++i)
                q.bindValue(i, typed(*cols[size_t(i)], r[i]));
            if (!q.exec()) {
                *error = QStringLiteral("%1: %2").arg(name, q.lastError().text());
                db.rollback();
                return false;
            }
        }
    }
    if (!db.commit()) {
        *error = db.lastError().text();
        return false;
    }
    return true;
}

bool seedCodRegCE(QSqlDatabase db, QString *error)
{
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT COUNT(*) FROM CodRegCE WHERE (crcCod = 'B1010' OR "
                               "crcCod = 'B1020' OR crcCod = 'B1030')"))
        || !q.next()) {
        *error = q.lastError().text();
        return false;
    }
    if (q.value(0).toInt() > 0)
        return true;
    const std::pair<const char *, const char *> rows[] = {
        {"B1010", "Rifiuti di metalli e loro leghe sotto forma metallica, non dispersibile"},
        {"B1020", "Rottami puliti e non contaminati dei metalli sequenti, comprese le leghe, in "
                  "forma finita, non dispersibile"},
        {"B1030", "Residui contenenti metalli refratari"}};
    for (auto [code, desc] : rows) {
        q.prepare(QStringLiteral("INSERT INTO CodRegCE (crcCod, crcDesc) VALUES (?, ?)"));
        q.addBindValue(QString::fromLatin1(code));
        q.addBindValue(QString::fromUtf8(desc));
        if (!q.exec()) {
            *error = q.lastError().text();
            return false;
        }
    }
    return true;
}

bool createDatabase(const QString &path, const QString &refdataFolder, QString *error)
{
    if (QFileInfo::exists(path)) {
        *error = QStringLiteral("Il file %1 esiste già.").arg(path);
        return false;
    }
    if (!QFileInfo::exists(QDir(refdataFolder).filePath(QStringLiteral("Comuni.csv")))) {
        *error = QStringLiteral("Dati di riferimento non trovati nella cartella %1 "
                                "(variabile QOR_REFDATA).").arg(refdataFolder);
        return false;
    }
    QDir().mkpath(QFileInfo(path).absolutePath());
    const QString conn = QStringLiteral("qor_template_build");
    bool ok = false;
    {
        dbStatement::configureLibrary();
        QSqlDatabase db = QSqlDatabase::addDatabase(QStringLiteral("QSQLITE"), conn);
        db.setDatabaseName(path);
        if (!db.open()) {
            *error = db.lastError().text();
        } else {
            QSqlQuery q(db);
            q.exec(QStringLiteral("PRAGMA foreign_keys = ON"));
            ok = db.transaction() && createSchema(db, error);
            ok = ok && db.commit();
            ok = ok && loadReferenceData(db, refdataFolder, error);
            ok = ok && seedCodRegCE(db, error);
            if (ok) {
                q.prepare(QStringLiteral("INSERT INTO Config (CnfDbVer, CnfType) VALUES (?, 0)"));
                q.addBindValue(schema::dbVersion());
                ok = q.exec();
                if (!ok)
                    *error = q.lastError().text();
            }
            db.close();
        }
    }
    QSqlDatabase::removeDatabase(conn);
    if (!ok)
        QFile::remove(path);
    return ok;
}

} // namespace refdata
