#pragma once
// "Anagrafiche anno precedente": the previous year's declarations in a list
// with check boxes and filters; the ticked ones are taken over into the
// current year, with progress, cancel between declarations and a summary.

#include "sections/takeover/takeover.h"
#include "shell/context.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;

namespace takeover::gui {

class RiportaForm : public QWidget {
    Q_OBJECT
public:
    RiportaForm(AppContext &ctx, QWidget *parent = nullptr);

    QTreeWidget *list() const { return list_; }
    QLineEdit *nameFilter() const { return name_; }
    QLineEdit *codFiscFilter() const { return codFisc_; }
    QLineEdit *provinceFilter() const { return sigla_; }
    QCheckBox *structureBox() const { return structure_; }
    QCheckBox *setupBox() const { return setup_; }
    QPushButton *startButton() const { return start_; }
    QPushButton *closeButton() const { return close_; }
    QProgressBar *progressBar() const { return bar_; }
    QLabel *statusLabel() const { return status_; }
    QLabel *takenLabel() const { return taken_; }
    QLabel *skippedLabel() const { return skipped_; }
    QLabel *companiesLabel() const { return companies_; }

    // Keys of the ticked declarations among those shown.
    QList<qint64> ticked() const;
    void tickAll(bool on);   // "Tutte" / "Nessuna" on the rows shown
    void applyChamber();     // reads the province abbreviation
    void start();            // "Avvia"
    bool loaded() const { return loaded_; }

protected:
    void closeEvent(QCloseEvent *e) override;

private:
    void fill();
    void applyFilters();
    void updateCount();
    void closeOrCancel();

    AppContext &ctx_;
    QVector<Line> lines_;
    Filter filter_;
    bool loaded_ = false;
    bool running_ = false;
    bool cancel_ = false;
    QLineEdit *name_, *codFisc_, *sigla_;
    QLabel *chamberLabel_, *count_;
    QTreeWidget *list_;
    QCheckBox *structure_, *setup_;
    QProgressBar *bar_;
    QLabel *status_, *taken_, *skipped_, *companies_;
    QPushButton *all_, *none_, *start_, *close_;
};

QWidget *makeRiportaForm(AppContext &ctx, QWidget *parent);

} // namespace takeover::gui
