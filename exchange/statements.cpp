#include "exchange/statements.h"

#include "shell/messages.h"

namespace exch {

dbStatement *Statements::get(const QString &sql)
{
    auto it = cache_.constFind(sql);
    if (it != cache_.constEnd())
        return it->get();
    auto st = std::make_shared<dbStatement>(db_, sql);
    if (!st->isValid()) {
        report(*st);
        return nullptr;
    }
    cache_.insert(sql, st);
    return st.get();
}

bool Statements::exec(dbStatement *st)
{
    if (st->exec())
        return true;
    report(*st);
    return false;
}

dbStatement *Statements::run(const QString &sql, const QVariantList &params)
{
    dbStatement *st = get(sql);
    if (!st)
        return nullptr;
    for (int i = 0; i < params.size(); ++i)
        st->bind(i, params.at(i));
    return exec(st) ? st : nullptr;
}

void Statements::report(const dbStatement &st)
{
    msg_.errorReport({}, st.errorCode(), st.error(), st.sql());
}

} // namespace exch
