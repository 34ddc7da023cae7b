#include "verify/outcome.h"

#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QSqlDatabase>
#include <QSqlQuery>
#include <algorithm>

namespace verify {

bool ensureOutcomeTable(dbClass &db)
{
    return db.execute(QStringLiteral("CREATE TABLE IF NOT EXISTS VerEsito (saID INTEGER NOT NULL PRIMARY KEY "
                                     "REFERENCES SezAnag (saID) ON DELETE CASCADE, esito INTEGER NOT NULL, "
                                     "verData TEXT)"));
}

OutcomeWriter::OutcomeWriter(const QSqlDatabase &db)
    : statement_(db, QStringLiteral("INSERT INTO VerEsito (saID, esito, verData) VALUES (?, ?, ?) "
                                    "ON CONFLICT (saID) DO UPDATE SET esito = excluded.esito, verData = excluded.verData"))
{
}

bool OutcomeWriter::record(qint64 saID, int level, const QDate &day)
{
    statement_.bindInt(0, saID);
    statement_.bindInt(1, level);
    statement_.bindText(2, day.toString(Qt::ISODate));
    return statement_.exec();
}

bool recordOutcome(dbClass &db, qint64 saID, int level, const QDate &day)
{
    if (!ensureOutcomeTable(db))
        return false;
    OutcomeWriter w(db.database(dbClass::Which::Current));
    if (w.isValid() && w.record(saID, level, day))
        return true;
    db.messages().errorReport(QStringLiteral("Esito della verifica"), 0, w.error(), w.sql());
    return false;
}

QHash<qint64, LastOutcome> lastOutcomes(dbClass &db)
{
    QHash<qint64, LastOutcome> out;
    // an archive no verification has run on yet has no table: nothing is known,
    // and reading (a list to print) does not write
    const QStringList tables = db.database(dbClass::Which::Current).tables();
    if (!std::any_of(tables.cbegin(), tables.cend(),
                     [](const QString &t) { return t.compare(QLatin1String("VerEsito"), Qt::CaseInsensitive) == 0; }))
        return out;
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID, esito, verData FROM VerEsito"), {}, dbClass::Which::Current, &ok);
    while (ok && q.next()) {
        const LastOutcome o = outcomeOf(q.value(1), q.value(2));
        if (o.outcome != Outcome::Unknown)
            out.insert(q.value(0).toLongLong(), o);
    }
    return out;
}

LastOutcome outcomeOf(const QVariant &level, const QVariant &day)
{
    bool ok = false;
    const int l = level.toInt(&ok);
    if (!ok || l < 0 || l > 2)
        return {};
    return {Outcome(l), QDate::fromString(day.toString(), Qt::ISODate)};
}

QString outcomeText(const LastOutcome &o)
{
    QString text;
    switch (o.outcome) {
    case Outcome::Unknown: return QStringLiteral("non verificata");
    case Outcome::Clean: text = QStringLiteral("nessuna segnalazione"); break;
    case Outcome::Warnings: text = QStringLiteral("avvisi"); break;
    case Outcome::Errors: text = QStringLiteral("errori"); break;
    }
    return o.day.isValid() ? text + QStringLiteral(" (") + o.day.toString(QStringLiteral("dd/MM/yyyy")) + u')' : text;
}

} // namespace verify
