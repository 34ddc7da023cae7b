#include "exchange/comchanged.h"

#include <QSqlQuery>
#include <QVariant>

comChanged::comChanged(QSqlDatabase db)
{
    QSqlQuery q(db);
    if (!q.exec(QStringLiteral("SELECT prvOld, comOld, prvNew, comNew, capNew FROM ComConv "
                               "ORDER BY prvOld, comOld")))
        return;
    while (q.next()) {
        prvOld_.push_back(q.value(0).toInt());
        comOld_.push_back(q.value(1).toInt());
        prvNew_.push_back(q.value(2).toInt());
        comNew_.push_back(q.value(3).toInt());
        capNew_.push_back(q.value(4).toString());
    }
}

bool comChanged::lookup(int prvOld, int comOld, Successor *to) const
{
    // The arrays are sorted by (province, municipality): stop at the first
    // entry past the one sought.
    for (size_t i = 0; i < prvOld_.size(); ++i) {
        if (prvOld_[i] > prvOld)
            return false;
        if (prvOld_[i] < prvOld)
            continue;
        if (comOld_[i] > comOld)
            return false;
        if (comOld_[i] == comOld) {
            if (to)
                *to = {prvNew_[i], comNew_[i], capNew_[i]};
            return true;
        }
    }
    return false;
}
