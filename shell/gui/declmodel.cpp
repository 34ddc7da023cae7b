#include "shell/gui/declmodel.h"

#include "shell/dbclass.h"
#include "shell/gui/dichiarazioni.h"

#include <QSqlQuery>

namespace {
const char *const kHeaders[] = {"Dichiarazione", "Codice fiscale", "Prov.", "Esportata"};

// The searched texts: the label of the list (as DeclarationList::label makes
// it) and the tax code.
const char *const kSearched[] = {
    "COALESCE(SezAnag.RagSoc, '') || ' - U. L.: ' || COALESCE(SezAnag.Via, '') || "
    "CASE WHEN COALESCE(SezAnag.Civico, '') = '' THEN '' WHEN COALESCE(SezAnag.Via, '') = '' "
    "THEN SezAnag.Civico ELSE ' ' || SezAnag.Civico END || "
    "CASE WHEN COALESCE(Comuni.comDesc, '') = '' THEN '' WHEN COALESCE(SezAnag.Via, '') = '' "
    "AND COALESCE(SezAnag.Civico, '') = '' THEN Comuni.comDesc ELSE ', ' || Comuni.comDesc END",
    "SezAnag.CodFisc"};

QString likePattern(const QString &text)
{
    QString p;
    for (const QChar c : text.toUpper()) {
        if (c == u'%' || c == u'_' || c == u'!')
            p += u'!';
        p += c;
    }
    return u'%' + p + u'%';
}
} // namespace

DeclarationModel::DeclarationModel(dbClass &db, QObject *parent) : QAbstractTableModel(parent), db_(db) {}

QString DeclarationModel::where() const
{
    if (filter_.isEmpty())
        return {};
    QStringList any;
    for (const char *c : kSearched)
        any << QStringLiteral("UPPER(%1) LIKE ? ESCAPE '!'").arg(QLatin1String(c));
    return QStringLiteral(" WHERE (") + any.join(QStringLiteral(" OR ")) + u')';
}

QVariantList DeclarationModel::whereParams() const
{
    QVariantList p;
    if (!filter_.isEmpty())
        for (size_t i = 0; i < std::size(kSearched); ++i)
            p << likePattern(filter_);
    return p;
}

QString DeclarationModel::pageSql() const
{
    // In the order of the index: the engine sorts nothing.
    return QStringLiteral("SELECT SezAnag.saID, SezAnag.RagSoc, SezAnag.CodFisc, Comuni.comDesc, "
                          "Province.prvSigla, SezAnag.Via, SezAnag.Civico, SezAnag.ExpID "
                          "FROM SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = Comuni.prvIstat "
                          "AND SezAnag.comIstat = Comuni.comIstat) LEFT JOIN Province ON "
                          "SezAnag.prvIstat = Province.prvIstat")
        + where()
        + QStringLiteral(" ORDER BY SezAnag.RagSoc, SezAnag.CodFisc, SezAnag.saID LIMIT ? OFFSET ?");
}

void DeclarationModel::reload(const QString &filter)
{
    beginResetModel();
    filter_ = filter;
    pages_.clear();
    count_ = 0;
    if (db_.isCurrentOpen()) {
        const QString from = filter_.isEmpty()
            ? QStringLiteral("SELECT COUNT(*) FROM SezAnag")
            : QStringLiteral("SELECT COUNT(*) FROM SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = "
                             "Comuni.prvIstat AND SezAnag.comIstat = Comuni.comIstat)");
        count_ = db_.scalar(from + where(), whereParams()).toInt();
    }
    endResetModel();
}

int DeclarationModel::rowOf(qint64 saID)
{
    if (saID <= 0 || count_ == 0)
        return -1;
    const QString join = QStringLiteral(" FROM SezAnag LEFT JOIN Comuni ON (SezAnag.prvIstat = "
                                        "Comuni.prvIstat AND SezAnag.comIstat = Comuni.comIstat)");
    bool ok = false;
    QString w = where();
    w = w.isEmpty() ? QStringLiteral(" WHERE ") : w + QStringLiteral(" AND ");
    QSqlQuery q = db_.query(QStringLiteral("SELECT SezAnag.RagSoc, SezAnag.CodFisc") + join + w
                                + QStringLiteral("SezAnag.saID = ?"),
                            whereParams() << saID, dbClass::Which::Current, &ok);
    if (!ok || !q.next())
        return -1;
    const QVariant rag = q.value(0), cf = q.value(1);
    q = QSqlQuery();
    // The rows before it in the order of the list. A missing value comes
    // first on SQLite, last on PostgreSQL (the order of their indexes).
    const bool nullsFirst = !dbClass::isPostgresUrl(db_.currentPath());
    auto before = [nullsFirst](const QString &col, const QVariant &v, QVariantList &p) {
        if (v.isNull())
            return nullsFirst ? QStringLiteral("0 = 1") : col + QStringLiteral(" IS NOT NULL");
        p << v;
        return nullsFirst ? QStringLiteral("(%1 IS NULL OR %1 < ?)").arg(col) : col + QStringLiteral(" < ?");
    };
    auto same = [](const QString &col, const QVariant &v, QVariantList &p) {
        if (v.isNull())
            return col + QStringLiteral(" IS NULL");
        p << v;
        return col + QStringLiteral(" = ?");
    };
    QVariantList p = whereParams();
    QString cond = before(QStringLiteral("SezAnag.RagSoc"), rag, p) + QStringLiteral(" OR (");
    cond += same(QStringLiteral("SezAnag.RagSoc"), rag, p) + QStringLiteral(" AND (");
    cond += before(QStringLiteral("SezAnag.CodFisc"), cf, p) + QStringLiteral(" OR (");
    cond += same(QStringLiteral("SezAnag.CodFisc"), cf, p) + QStringLiteral(" AND SezAnag.saID < ?)))");
    p << saID;
    const QString from = filter_.isEmpty() ? QStringLiteral(" FROM SezAnag") : join;
    const QVariant n = db_.scalar(QStringLiteral("SELECT COUNT(*)") + from + w + u'(' + cond + u')', p);
    if (!n.isValid())
        return -1;
    const int r = n.toInt();
    // A row changed under the count (another station) is looked for no further.
    return idAt(r) == saID ? r : -1;
}

const DeclarationModel::Row *DeclarationModel::row(int r) const
{
    if (r < 0 || r >= count_)
        return nullptr;
    const int page = r / PageSize;
    auto it = pages_.constFind(page);
    if (it == pages_.constEnd()) {
        // Far jumps through a big list read many pages: keep the memory bounded.
        if (pages_.size() >= 64)
            pages_.clear();
        QVector<Row> rows;
        rows.reserve(PageSize);
        bool ok = false;
        QSqlQuery q = db_.query(pageSql(), whereParams() << PageSize << page * PageSize,
                                dbClass::Which::Current, &ok);
        while (ok && q.next()) {
            Row x;
            x.id = q.value(0).toLongLong();
            x.text[Label] = DeclarationList::label(q.value(1).toString(), q.value(3).toString(),
                                                   q.value(5).toString(), q.value(6).toString());
            x.text[CodFisc] = q.value(2).toString();
            x.text[Province] = q.value(4).toString();
            x.text[Exported] = q.value(7).toLongLong() ? QStringLiteral("sì") : QString();
            rows << x;
        }
        it = pages_.insert(page, rows);
        if (!rows.isEmpty())
            Q_EMIT const_cast<DeclarationModel *>(this)->pageRead(page * PageSize, int(rows.size()));
    }
    const int i = r - page * PageSize;
    return i < it->size() ? &it->at(i) : nullptr;
}

qint64 DeclarationModel::idAt(int r) const
{
    const Row *x = row(r);
    return x ? x->id : 0;
}

QString DeclarationModel::text(int r, int column) const
{
    const Row *x = row(r);
    return x && column >= 0 && column < ColumnCount ? x->text[column] : QString();
}

int DeclarationModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : count_;
}

int DeclarationModel::columnCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : ColumnCount;
}

QVariant DeclarationModel::data(const QModelIndex &index, int role) const
{
    if (!index.isValid())
        return {};
    if (role == Qt::DisplayRole)
        return text(index.row(), index.column());
    if (role == Qt::UserRole)
        return idAt(index.row());
    return {};
}

QVariant DeclarationModel::headerData(int section, Qt::Orientation o, int role) const
{
    if (o == Qt::Horizontal && role == Qt::DisplayRole && section >= 0 && section < ColumnCount)
        return QString::fromUtf8(kHeaders[section]);
    return QAbstractTableModel::headerData(section, o, role);
}
