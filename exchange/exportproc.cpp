#include "exchange/exportproc.h"

#include "exchange/importer.h"
#include "refdata/lookups.h"
#include "shell/transaction.h"
#include "sections/fields.h"
#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QSqlQuery>

namespace exch {

VerifyOutcome verifyForExport(qorClass &app, dbClass &db, Messages &msg, const ExportChoice &choice,
                              const verify::ProgressFn &progress)
{
    VerifyOutcome out;
    verify::Mode mode = verify::Mode::Declaration;
    qint64 key = choice.saID;
    bool includeExported = choice.includeExported;
    if (choice.single) {
        if (choice.saID <= 0) {
            msg.information(QStringLiteral("Attenzione, selezionare una dichiarazione tramite il bottone 'Lista'"));
            return out;
        }
        // The chosen declaration is taken whatever its export state.
        includeExported = true;
    } else {
        if (choice.sigla.trimmed().isEmpty()) {
            msg.information(QStringLiteral("Attenzione, inserire sigla della provincia"));
            return out;
        }
        const refdata::Chamber c = refdata::competentChamber(db, msg, choice.sigla.trimmed().toUpper());
        if (c.code == 0)
            return out;
        out.chamber = c.code;
        mode = verify::Mode::Chamber;
        key = c.code;
    }
    verify::Engine engine(db, msg);
    if (!engine.openReport(app.reportPath()))
        return out;
    engine.run(mode, key, includeExported, true, progress);
    if (engine.failed())
        return out;
    out.exportable = int(markedDeclarations(db).size());
    out.notExportable = engine.progress().withErrors;
    if (engine.cancelled()) {
        msg.information(QStringLiteral("Operazione annullata dall'utente."));
        out.status = VerifyOutcome::Cancelled;
        return out;
    }
    out.status = VerifyOutcome::Done;
    return out;
}

QString exportableText(int n)
{
    if (n == 0)
        return QStringLiteral("Nessuna dichiarazione esportabile");
    if (n == 1)
        return QStringLiteral("Una dichiarazione esportabile");
    return QString::number(n) + QStringLiteral(" dichiarazioni esportabili");
}

QString notExportableText(int n)
{
    if (n == 0)
        return QStringLiteral("Nessuna dichiarazione non esportabile");
    if (n == 1)
        return QStringLiteral("Una dichiarazione non esportabile perchè errata");
    return QString::number(n) + QStringLiteral(" dichiarazioni non esportabili perchè errate");
}

QList<qint64> markedDeclarations(dbClass &db)
{
    QList<qint64> ids;
    bool ok = false;
    QSqlQuery q = db.query(QStringLiteral("SELECT saID FROM SezAnag WHERE (saExp = 1) ORDER BY CodFisc, saID"),
                           {}, dbClass::Which::Current, &ok);
    while (ok && q.next())
        ids << q.value(0).toLongLong();
    return ids;
}

ExtractOutcome extract(dbClass &db, Messages &msg, const QString &path, const ExportChoice &choice,
                       int chamber, const Progress &progress, std::function<QDateTime()> clock,
                       bool replaceExisting)
{
    ExtractOutcome out;
    const QList<qint64> ids = markedDeclarations(db);
    expClass engine(db, msg);
    if (clock)
        engine.setClock(clock);
    engine.setReplaceExisting(replaceExisting);
    out.status = exportDeclarations(db, msg, path, ids, progress, &engine);
    if (out.status == ExportResult::Cancelled) {
        msg.information(QStringLiteral("Esportazione annullata dall'utente"));
        return out;
    }
    if (out.status != ExportResult::Done)
        return out;
    out.written = int(ids.size());
    out.files = engine.files();

    // The files are in place: one log row for each, and the stamps of its
    // declarations, all together or not at all.
    const QList<int> perFile = engine.fileDeclarations();
    dbTransaction tx(db.current());
    const QDateTime now = clock ? clock() : QDateTime::currentDateTime();
    bool ok = tx.isActive();
    qsizetype next = 0;
    for (qsizetype f = 0; ok && f < out.files.size(); ++f) {
        QVariantMap row{{QStringLiteral("expData"), now.toString(QStringLiteral("yyyy-MM-ddTHH:mm:ss"))},
                        {QStringLiteral("expDic"), perFile.value(f)}};
        if (choice.single)
            row.insert(QStringLiteral("expSaID"), choice.saID);
        else
            row.insert(QStringLiteral("expProv"), chamber);
        const qint64 expID = db.insertRow(QStringLiteral("expTab"), row);
        ok = expID > 0;
        out.expIDs << expID;
        for (int i = 0; ok && i < perFile.value(f); ++i)
            ok = db.execute(QStringLiteral("UPDATE SezAnag SET ExpID = ? WHERE (saID = ?)"), {expID, ids.value(next++)});
    }
    if (!ok || !tx.commit()) {
        if (!tx.error().isEmpty())
            msg.critical(tx.wasBusy() ? busyText() : tx.error());
        out.status = ExportResult::Failed;
        out.expIDs.clear();
        return out;
    }
    out.expID = out.expIDs.value(0);
    if (out.files.size() == 1)
        msg.information(QStringLiteral("Esportazione terminata. Le dichiarazioni sono state esportate nel file:\n") + path);
    else
        msg.information(QStringLiteral("Esportazione terminata. Le dichiarazioni sono troppe per un solo file e sono "
                                       "state esportate in %1 file:\n").arg(out.files.size()) +
                        out.files.join(u'\n'));
    return out;
}

QString defaultFileName(int year)
{
    return QStringLiteral("Qor") + QString::number(year) + QStringLiteral(".000");
}

QString saveFilter(int year)
{
    const QString n = defaultFileName(year);
    return QStringLiteral("Esportazione QOR (") + n + QStringLiteral(")|") + n
           + QStringLiteral("|Tutti i files .000 (*.000)|*.000|Tutti i files (*.*)|*.*");
}

QVector<ExportLogRow> exportHistory(dbClass &db)
{
    QVector<ExportLogRow> rows;
    bool ok = false;
    QSqlQuery q = db.query(
        QStringLiteral("SELECT expTab.expID, expTab.expData, expTab.expProv, expTab.expSaID, expTab.expDic, "
                       "Province.prvSigla, SezAnag.RagSoc, SezAnag.Via, SezAnag.Civico FROM (expTab LEFT "
                       "JOIN Province ON expTab.expProv = Province.prvIstat) LEFT JOIN SezAnag ON "
                       "expTab.expSaID = SezAnag.saID ORDER BY expTab.expData DESC"),
        {}, dbClass::Which::Current, &ok);
    while (ok && q.next()) {
        ExportLogRow r;
        r.expID = q.value(0).toLongLong();
        r.when = QDateTime::fromString(q.value(1).toString(), QStringLiteral("yyyy-MM-ddTHH:mm:ss"));
        r.date = r.when.toString(QStringLiteral("dd/MM/yyyy HH:mm"));
        if (q.value(2).toInt() > 0)
            r.destination = q.value(5).toString();
        else
            r.destination = (q.value(6).toString() + u' ' + q.value(7).toString() + u' '
                             + q.value(8).toString()).simplified();
        r.declarations = q.value(4).toInt();
        rows << r;
    }
    return rows;
}

bool deleteExport(dbClass &db, Messages &msg, qint64 expID)
{
    if (!fields::confirmDelete(msg, QStringLiteral("l'esportazione selezionata")))
        return false;
    return db.execute(QStringLiteral("DELETE FROM expTab WHERE (expID = ?)"), {expID});
}

} // namespace exch
