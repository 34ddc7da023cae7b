#pragma once
// The verification engine: checks the chosen declarations in a fixed order,
// writes every remark to the report, and, when run for the export, marks
// the declarations without errors as exportable (SezAnag.saExp).

#include "verify/report.h"

#include <QString>
#include <functional>

class dbClass;
class Messages;

namespace verify {

enum class Mode { All = 0, Chamber = 1, Declaration = 2 };

struct Progress {
    int done = 0;           // declarations checked so far
    int total = 0;          // declarations selected
    int withRemarks = 0;    // of those checked, with at least one remark
    int withoutRemarks = 0;
    int withErrors = 0;
};

// Called after every declaration; returning false stops the run there.
using ProgressFn = std::function<bool(const Progress &)>;

class Engine {
public:
    Engine(dbClass &db, Messages &msg);
    ~Engine();

    // Creates the report (replacing an earlier one) and writes its preamble.
    // On failure shows the critical message and returns false: nothing may
    // be checked then.
    bool openReport(const QString &path);

    // Runs over the declarations selected by mode and key (for Chamber the
    // chamber's province code, for Declaration the saID). Returns true when
    // at least one declaration received an error remark. The report must be
    // open; it is closed at the end. A database failure is reported and ends
    // the run (failed() tells).
    bool run(Mode mode, qint64 key, bool includeExported, bool markExportable,
             const ProgressFn &progress = {});

    const Progress &progress() const { return progress_; }
    bool cancelled() const { return cancelled_; }
    bool failed() const { return failed_; }
    QString reportPath() const { return report_.path(); }

private:
    bool fail(const QString &what, const QString &detail);

    dbClass &db_;
    Messages &msg_;
    Report report_;
    Progress progress_;
    bool cancelled_ = false;
    bool failed_ = false;
};

} // namespace verify
