#pragma once
// "Estrazione delle dichiarazioni": step 1 chooses and verifies the
// declarations, step 2 writes the exportable ones into an exchange file.

#include "exchange/exportproc.h"
#include "shell/context.h"

#include <QWidget>

class QLabel;
class QLineEdit;
class QProgressBar;
class QPushButton;
class QRadioButton;
class QStackedWidget;

namespace exch::gui {

class ExpForm : public QWidget {
    Q_OBJECT
public:
    ExpForm(AppContext &ctx, QWidget *parent = nullptr);

    // The file chooser of step 2; tests replace it.
    std::function<QString()> chooseFile;

    QRadioButton *singleOption() const { return optSingle_; }
    QRadioButton *multipleOption() const { return optMultiple_; }
    QRadioButton *onlyNewOption() const { return optNew_; }
    QRadioButton *alsoExportedOption() const { return optAll_; }
    QLineEdit *chosenText() const { return chosen_; }
    QLineEdit *siglaEdit() const { return sigla_; }
    QLabel *exportableLabel() const { return labDic_; }
    QLabel *notExportableLabel() const { return labDicErr_; }
    QLabel *statusLabel() const { return labStatus_; }
    QPushButton *closeButton2() const { return close2_; }
    int step() const;

    void choose(qint64 saID);   // as if picked through "Lista"
    void procedi();             // step 1
    void back();                // "Torna a selezione"
    void estrai();              // step 2

private:
    void lista();
    void closeOrCancel();
    QString askFile();

    AppContext &ctx_;
    QStackedWidget *pages_;
    QRadioButton *optSingle_, *optMultiple_, *optNew_, *optAll_;
    QLineEdit *chosen_, *sigla_;
    QLabel *labDic_, *labDicErr_, *labStatus_;
    QProgressBar *bar_;
    QPushButton *back_, *extract_, *close2_;
    qint64 saID_ = 0;
    int chamber_ = 0;
    bool running_ = false;
    bool cancel_ = false;
};

QWidget *makeExpForm(AppContext &ctx, QWidget *parent);

} // namespace exch::gui
