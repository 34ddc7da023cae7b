#include "sections/mat/mat.h"

#include "sections/codes.h"
#include "sections/rif/scheda.h"
#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QSqlQuery>

namespace mat {

const fields::Table &schedaFields()
{
    static const fields::Table t = [] {
        fields::Table t;
        fields::addMaterials(t, codes::matMaterials(), QStringLiteral("Materiali secondari prodotti nell'anno"));
        return t;
    }();
    return t;
}

fields::Record blank()
{
    fields::Record r;
    fields::defaultQuantities(schedaFields(), r);
    return r;
}

fields::Record load(AppContext &ctx, qint64 saID)
{
    QSqlQuery q = ctx.db.query(QStringLiteral("SELECT * FROM SezAnag WHERE (saID = ?)"), {saID});
    if (!q.next())
        return blank();
    return fromRow(dbClass::rowMap(q));
}

fields::Record fromRow(const QVariantMap &row)
{
    fields::Record r = fields::fromStore(schedaFields(), row);
    fields::defaultQuantities(schedaFields(), r);
    return r;
}

bool present(AppContext &ctx, qint64 saID)
{
    return present(load(ctx, saID));
}

bool present(const fields::Record &r)
{
    for (const fields::Field &f : schedaFields())
        if (r.value(f.name).toLongLong() != 0)
            return true;
    return false;
}

int saveCheck(AppContext &ctx, const fields::Record &r)
{
    const int big = waste::firstTooLarge(schedaFields(), r);
    if (big >= 0) {
        ctx.msg.information(waste::tooLargeMessage());
        return big;
    }
    return fields::firstUnitMissing(schedaFields(), r, ctx.msg);
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
