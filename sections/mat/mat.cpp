#include "sections/mat/mat.h"

#include "sections/codes.h"
#include "sections/rif/scheda.h"
#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QSqlQuery>

namespace mat {

namespace {
QString column(const char *prefix, int i)
{
    return QString::fromLatin1(prefix) + QString::number(i).rightJustified(2, u'0');
}
} // namespace

const fields::Table &schedaFields()
{
    static const fields::Table t = [] {
        fields::Table t;
        const QStringList &m = codes::matMaterials();
        for (int i = 0; i < m.size(); ++i) {
            fields::Field f;
            f.name = column("msQta", i + 1);
            f.name2 = column("msUmi", i + 1);
            f.caption = m[i];
            f.kind = fields::Kind::Quantity;
            f.length = 7;
            f.decimals = 3;
            f.group = QStringLiteral("Materiali secondari prodotti nell'anno");
            t << f;
        }
        return t;
    }();
    return t;
}

fields::Record blank()
{
    fields::Record r;
    for (const fields::Field &f : schedaFields()) {
        r.insert(f.name, qlonglong(0));
        r.insert(f.name2, 1);
    }
    return r;
}

fields::Record load(AppContext &ctx, qint64 saID)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"), {saID});
    if (!q.next())
        return blank();
    QVariantMap row = dbClass::rowMap(q);
    fields::Record r = fields::fromStore(schedaFields(), row);
    fields::defaultQuantities(schedaFields(), r);
    return r;
}

bool present(AppContext &ctx, qint64 saID)
{
    const fields::Record r = load(ctx, saID);
    for (const fields::Field &f : schedaFields())
        if (r.value(f.name).toLongLong() != 0)
            return true;
    return false;
}

int saveCheck(AppContext &ctx, const fields::Record &r)
{
    const int big = waste::firstTooLarge(schedaFields(), r);
    if (big >= 0)
        ctx.msg.information(waste::tooLargeMessage());
    return big;
}

bool save(AppContext &ctx, qint64 saID, const fields::Record &r)
{
    QVariantMap v = fields::storeValues(schedaFields(), r);
    // A material left at zero is no material: written empty, as the exchange
    // file and the verification read an empty column.
    for (const fields::Field &f : schedaFields())
        if (r.value(f.name).toLongLong() == 0) {
            v.insert(f.name, QVariant());
            v.insert(f.name2, QVariant());
        }
    return ctx.db.updateRow(QStringLiteral("SezAnag"), QStringLiteral("saID"), saID, v);
}

bool remove(AppContext &ctx, qint64 saID)
{
    if (!fields::confirmDelete(ctx.msg, QStringLiteral("scheda MAT,")))
        return false;
    return save(ctx, saID, blank());
}

} // namespace mat
