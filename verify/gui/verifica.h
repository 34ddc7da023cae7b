#pragma once
// Form "Verifica": checks one, the province's or all declarations with the
// verification engine and opens the report.

#include "shell/context.h"

#include <QWidget>

class QCheckBox;
class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace verify::gui {

class VerificaForm : public QWidget {
    Q_OBJECT
public:
    VerificaForm(AppContext &ctx, QWidget *parent = nullptr);

    QRadioButton *provinceOption() const { return optProvince_; }
    QRadioButton *currentOption() const { return optCurrent_; }
    QRadioButton *allOption() const { return optAll_; }
    QLineEdit *provinceEdit() const { return province_; }
    QCheckBox *chkExp() const { return chkExp_; }
    QPushButton *actionButton() const { return action_; }
    QPushButton *otherButton() const { return other_; }
    QLabel *statusLine() const { return status_; }
    QLabel *withRemarksLabel() const { return withRemarks_; }
    QLabel *withoutRemarksLabel() const { return withoutRemarks_; }
    bool anyRemark() const { return anyRemark_; }

    // "Verifica" (or, after a run with remarks, "Visualizza errori").
    void pressAction();
    // Stops a running check, otherwise closes the form.
    void pressOther();

private:
    void startRun();
    void showCounters(int with, int without);
    void closeForm();

    AppContext &ctx_;
    QRadioButton *optProvince_, *optCurrent_, *optAll_;
    QLineEdit *province_;
    QCheckBox *chkExp_;
    QPushButton *action_, *other_;
    QLabel *status_, *withRemarks_, *withoutRemarks_;
    qint64 currentSaID_ = 0;
    bool running_ = false;
    bool stopRequested_ = false;
    bool anyRemark_ = false;
};

// Factory for the form registry.
QWidget *makeVerificaForm(AppContext &ctx, QWidget *parent);

} // namespace verify::gui
