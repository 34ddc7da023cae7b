#pragma once
// "Importazione dati": chooses an exchange file, checks it as a whole, then
// loads the declarations not yet present, with progress and a way to stop.
// The work is done by the same import routine as the command line's.

#include "shell/context.h"

#include <QWidget>
#include <functional>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;

namespace exch::gui {

class ImpForm : public QWidget {
    Q_OBJECT
public:
    ImpForm(AppContext &ctx, QWidget *parent = nullptr);

    // The file chooser of "Sfoglia"; tests replace it.
    std::function<QString()> chooseFile;
    // Filter list of the file chooser, as "text|pattern|text|pattern...".
    static QString openFilter(int year);

    QLineEdit *pathEdit() const { return path_; }
    QLabel *checkLabel() const { return check_; }
    QLabel *reasonLabel() const { return reason_; }
    QLabel *currentLabel() const { return current_; }
    QLabel *containedLabel() const { return contained_; }
    QLabel *importedLabel() const { return imported_; }
    QLabel *skippedLabel() const { return skipped_; }
    QLabel *endLabel() const { return end_; }
    QProgressBar *progressBar() const { return bar_; }
    QPushButton *startButton() const { return start_; }
    QPushButton *closeButton() const { return close_; }
    bool running() const { return running_; }

    // The verification pass on a file; true when it can be loaded.
    bool checkSelected(const QString &path);
    // "Avvia importazione".
    void start();
    // Stops a running load after the declaration in progress.
    void interrupt() { cancel_ = true; }
    // Called once per declaration while the load runs (tests stop a run here).
    std::function<void()> onDeclaration;

protected:
    void closeEvent(QCloseEvent *e) override;
    void keyPressEvent(QKeyEvent *e) override;
    bool eventFilter(QObject *o, QEvent *e) override;

private:
    void browse();
    void pathTyped();
    void clearResults();
    void setCounters(int contained, int imported, int skipped);
    void lockHost(bool lock);

    AppContext &ctx_;
    QLineEdit *path_;
    QLabel *check_, *reason_, *current_, *contained_, *imported_, *skipped_, *end_;
    QProgressBar *bar_;
    QPushButton *browse_, *start_, *close_;
    QString checked_;   // the file that passed the verification pass
    bool running_ = false;
    bool cancel_ = false;
};

QWidget *makeImpForm(AppContext &ctx, QWidget *parent);

} // namespace exch::gui
