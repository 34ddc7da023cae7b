#pragma once
// Generator of realistic demo declarations: valid tax codes with their check
// characters, real municipalities, activity and waste codes from the reference
// tables, and quantities whose totals balance with the modules within the 5%
// tolerance. A few declarations carry deliberate errors for the verification
// to find; the rest are clean for it. Used by `qor demo`, the round-trip tests and the benchmarks.

#include <QList>
#include <QString>

class dbClass;

namespace exch::demo {

struct Options {
    int declarations = 6;
    quint32 seed = 2019;
    // Every fifth declaration gets one deliberate error that the verification
    // refuses (a consigned amount short of its DR modules, an activity code
    // that does not exist, or the company section alone); the others pass it
    // with warnings at most.
    bool withErrors = true;
    // Every declaration gets every scheda and module kind (round trips);
    // otherwise a realistic mix.
    bool everySection = false;
};

// Adds the declarations to the open current database (in one transaction),
// the counterparts of their modules to the register of companies as the
// modules' forms do, and fills Setup when it is empty. The new saIDs go to
// *ids.
bool generate(dbClass &db, const Options &options, QList<qint64> *ids = nullptr,
              QString *error = nullptr);

// Tax codes with a correct check character: 11 digits for companies,
// 16 characters for persons.
QString companyCode(quint64 tenDigits);
QString personCode(const QString &firstFifteen);
bool checkCharacterRight(const QString &code);

} // namespace exch::demo
