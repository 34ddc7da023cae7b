#include "verify/engine.h"

#include "shell/dbclass.h"
#include "shell/dbstatement.h"
#include "shell/messages.h"
#include "shell/qorclass.h"
#include "shell/transaction.h"
#include "verify/declaration.h"
#include "verify/outcome.h"
#include "verify/rules.h"

#include <QSqlError>
#include <algorithm>
#include <numeric>
#include <QSqlQuery>

namespace verify {

namespace {

const RemarkText ActivityCode{Class::Error,
    {"Codice ISTAT dell'attività prevalente nell'unità locale errato o mancante."}};
const RemarkText OnlyAnagrafica{Class::Error,
    {"La dichiarazione contiene solo la sezione anagrafica.",
     "Dev'essere almeno valorizzata una scheda delle sezioni Rifiuto",
     "o Intermediazione o V.F.U. o Imballaggi o R.A.E.E."}};

} // namespace

Engine::Engine(dbClass &db, Messages &msg) : db_(db), msg_(msg) {}
Engine::~Engine() = default;

bool Engine::openReport(const QString &path)
{
    if (report_.open(path))
        return true;
    msg_.critical(Report::openFailureText());
    return false;
}

bool Engine::fail(const QString &what, const QString &detail)
{
    failed_ = true;
    msg_.databaseErrorReport(QStringLiteral("Verifica dati inseriti"), 0, what, detail);
    report_.close();
    return progress_.withErrors > 0;
}

bool Engine::run(Mode mode, qint64 key, bool includeExported, bool markExportable,
                 const ProgressFn &progressFn)
{
    progress_ = {};
    cancelled_ = failed_ = false;
    if (!report_.isOpen())
        return false;
    QSqlDatabase db = db_.current();

    // End-of-life-vehicle codes of chapter 16 01, read once for the run.
    RunData run;
    run.year = qorClass::Year;
    run.municipalWasteSite = db_.app().readText(QStringLiteral("Qor"), QStringLiteral("SitoRifiutiUrbani")).trimmed();
    {
        QSqlQuery q(db);
        if (!q.exec(QStringLiteral("SELECT DISTINCT codAlfa FROM Codici WHERE (codType > 3 AND codType < 7 "
                                   "AND codAlfa LIKE '1601%') ORDER BY codAlfa")))
            return fail(q.lastError().text(), q.lastQuery());
        while (q.next())
            run.vehicleCodes.insert(q.value(0).toString());
    }

    // The marks and outcomes of a run go in one transaction (when the caller
    // has none open): one write to disk instead of one per declaration. It is
    // committed however the run ends, so the marks of the declarations
    // checked before a stop or a failure are kept, as they would be one by one.
    // Inside a transaction of the caller it is a savepoint of it (a plain
    // BEGIN there would end the caller's transaction early on PostgreSQL).
    struct Marks {
        explicit Marks(const QSqlDatabase &db) : tx(db) {}
        dbTransaction tx;
        ~Marks()
        {
            if (tx.isActive())
                tx.commit();
        }
    } marks(db);
    // the outcome of each declaration is kept for the list of declarations
    if (!ensureOutcomeTable(db_)) {
        failed_ = true;
        report_.close();
        return false;
    }
    OutcomeWriter outcomes(db);
    if (!outcomes.isValid())
        return fail(outcomes.error(), outcomes.sql());
    const QDate today = QDate::currentDate();
    dbStatement mark;
    if (markExportable) {
        if (!db_.execute(QStringLiteral("UPDATE SezAnag SET saExp = 0"))) {
            failed_ = true;
            report_.close();
            return false;
        }
        mark = dbStatement(db, QStringLiteral("UPDATE SezAnag SET saExp = 1 WHERE (saID = ?)"));
        if (!mark.isValid())
            return fail(mark.error(), mark.sql());
    }

    // The selection, in the order of the report: only the keys are kept, the
    // reader brings each declaration as the run reaches it.
    QString sql = QStringLiteral(
        "SELECT SezAnag.saID "
        "FROM (SezAnag INNER JOIN Comuni ON (SezAnag.comIstat = Comuni.comIstat) "
        "AND (SezAnag.prvIstat = Comuni.prvIstat)) "
        "INNER JOIN Province ON SezAnag.prvIstat = Province.prvIstat ");
    QVariantList params;
    const QString notExported = includeExported ? QStringLiteral(")") : QStringLiteral(" AND SezAnag.ExpID = 0)");
    switch (mode) {
    case Mode::Chamber:
        sql += QStringLiteral("WHERE (Comuni.comCCIAA = ?") + notExported;
        params << key;
        break;
    case Mode::Declaration:
        sql += QStringLiteral("WHERE (SezAnag.saID = ?") + notExported;
        params << key;
        break;
    case Mode::All:
        if (!includeExported)
            sql += QStringLiteral("WHERE (SezAnag.ExpID = 0)");
        break;
    }
    sql += QStringLiteral(" ORDER BY SezAnag.CodFisc, SezAnag.RagSoc, SezAnag.saID");
    QList<qint64> keys;
    {
        dbStatement q(db, sql);
        for (int i = 0; i < params.size(); ++i)
            q.bind(i, params.at(i));
        if (!q.isValid() || !q.exec())
            return fail(q.error(), sql);
        while (q.next())
            keys << q.toInt(0);
        if (!q.error().isEmpty())
            return fail(q.error(), sql);
    }
    progress_.total = int(keys.size());

    // The report lists the declarations by tax code, which scatters them
    // over the store: they are read by key instead, rows the store keeps
    // together, and the report puts each in its place. Without a spool
    // file they are read in the report's order.
    std::vector<int> place;
    if (keys.size() > 1 && report_.spool(int(keys.size()))) {
        place.resize(size_t(keys.size()));
        std::iota(place.begin(), place.end(), 0);
        std::stable_sort(place.begin(), place.end(), [&](int a, int b) { return keys.at(a) < keys.at(b); });
        QList<qint64> byKey;
        byKey.reserve(keys.size());
        for (const int i : place)
            byKey << keys.at(i);
        keys = std::move(byKey);
    }
    qsizetype at = 0;

    const QString readFailure = QStringLiteral("Lettura della dichiarazione non riuscita.");
    Adapter adapter(db);
    tree::Reader reader(db, Adapter::readOptions());
    reader.select(keys);
    Declaration d;
    while (const tree::Node *node = reader.next()) {
        if (!adapter.fill(d, *node))
            return fail(readFailure, adapter.error());
        while (at < keys.size() && keys.at(at) != d.saID)
            ++at; // gone from the store since it was selected
        report_.beginDeclaration(d.header, place.empty() || at >= keys.size() ? -1 : place[size_t(at)]);
        ++at;

        if (!d.activityFound)
            report_.remark(ActivityCode, QStringLiteral("Scheda SA1"));
        for (const RifScheda &s : d.rif) {
            rif::checkScheda(d, s, report_, run);
            rifmod::checkModules(d, s, report_, run);
        }
        intermediation::check(d, report_, run);
        imb::check(d, report_, run);
        vfu::check(d, report_, run);
        raee::check(d, report_, run);
        // SA-AUT runs for a declaration with an authorisation row or at
        // least one MG module of any section.
        if (saaut::applies(d))
            saaut::check(d, report_, run);
        // Scheda MAT, then its cross-checks with the materials boxes.
        mat::check(d, report_, run);
        mat::crossCheck(d, report_);
        if (d.onlyAnagrafica())
            report_.remark(OnlyAnagrafica, QStringLiteral("Scheda SA1"));

        const int level = report_.remarkLevel();
        if (!outcomes.record(d.saID, level, today)) {
            msg_.errorReport(QStringLiteral("Verifica dati inseriti"), 0, outcomes.error(), outcomes.sql());
            failed_ = true;
            report_.close();
            return progress_.withErrors > 0;
        }
        if (markExportable && level < 2) {
            mark.bindInt(0, d.saID);
            if (!mark.exec()) {
                msg_.databaseErrorReport(QStringLiteral("Verifica dati inseriti"), 0, mark.error(), mark.sql());
                failed_ = true;
                report_.close();
                return progress_.withErrors > 0;
            }
        }
        ++progress_.done;
        (level > 0 ? progress_.withRemarks : progress_.withoutRemarks)++;
        if (level == 2)
            ++progress_.withErrors;
        if (progressFn && !progressFn(progress_)) {
            cancelled_ = true;
            break;
        }
    }
    if (reader.failed())
        return fail(readFailure, reader.error());
    report_.close();
    return progress_.withErrors > 0;
}

} // namespace verify
