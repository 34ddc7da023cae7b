#pragma once
// Import of an exchange file: the whole file is checked first and nothing is
// written unless every check passes; then every declaration not yet present
// is loaded, and every counterpart company goes to the register, in one
// transaction: a failure leaves nothing of the file, an interruption keeps
// the whole declarations before it. A second thread reads the file while the
// caller's writes the store.

#include "exchange/reader.h"

#include <QString>
#include <QVariantList>

class dbClass;
class Messages;

namespace exch {

struct ImportResult {
    enum Status { Done, Refused, Cancelled, Failed };
    Status status = Failed;
    CheckResult check;     // the verification pass
    int contained = 0;     // "Dichiarazioni contenute nel file da importare:"
    int imported = 0;      // "Dichiarazioni importate:"
    int skipped = 0;       // "Dichiarazioni scartate perché già presenti:"
};

// What a form shows while the load goes on: the declaration about to be
// loaded (or skipped) and the counters of the declarations before it.
struct ImportStep {
    QString name;          // company name of the declaration
    int imported = 0;
    int skipped = 0;
};
using StepObserver = std::function<void(const ImportStep &)>;

// Progress of the load pass runs over the declaration records (header total).
// The observer, when given, hears of each declaration as its load begins.
ImportResult importFile(dbClass &db, Messages &msg, const QString &path,
                        const Progress &progress = {}, const StepObserver &step = {});

// The test for a declaration already present in the current year, shared by
// the import and the takeover from the previous year: same tax code,
// municipality of the local unit, name, street and number, with the values
// as they are to be stored (municipality codes already converted).
struct DeclarationIdentity {
    QVariant codFisc, ragSoc, via, civico, prvIstat, comIstat;
};
struct PresenceTest {
    QString sql;           // selects the saID of the declaration already present
    QVariantList params;
};
PresenceTest presenceTest(const DeclarationIdentity &d);
// Runs the test on the current connection: the saID found, 0 when there is
// none, -1 on a failure (reported).
qint64 presentDeclaration(dbClass &db, const DeclarationIdentity &d);

// Serializes the stations that add declarations (import, takeover from the
// previous year) for the rest of the current transaction: call it inside the
// transaction, before the test for a declaration already present. False on a
// failure (reported).
bool lockDeclarations(dbClass &db);
constexpr qint64 DeclarationsLock = 20190713;
// Text shown when the database stays locked by another station.
QString busyText();

// The page cache of a run that adds declarations by the thousand (an import,
// a takeover), in KiB: what the load goes back to fits, the last pages of
// each table and the indexes of SezAnag, and a run of any size takes the same
// memory.
constexpr int ImportPageCacheKib = 16384;

} // namespace exch
