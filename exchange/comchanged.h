#pragma once
// Successors of suppressed municipalities, from the conversion table ComConv
// read once: bulk conversions (the import) cost no query per record.

#include <QSqlDatabase>
#include <QString>
#include <vector>

class comChanged {
public:
    struct Successor {
        int prv = 0;
        int com = 0;
        QString cap;
    };

    explicit comChanged(QSqlDatabase db);

    // Found: the new province, municipality and postcode in *to.
    bool lookup(int prvOld, int comOld, Successor *to) const;
    int size() const { return int(prvOld_.size()); }

private:
    std::vector<int> prvOld_, comOld_, prvNew_, comNew_;
    std::vector<QString> capNew_;
};
