#pragma once
// The commands of the menu "Stam&pe": "&Dichiarazione" prints the current
// declaration at once; "Elenco dichiarazioni" opens a small form to choose
// all declarations or those of one Chamber of Commerce. Both write a
// temporary PDF file and open it with the system's default viewer.

#include "shell/context.h"

#include <QWidget>
#include <functional>

class QLineEdit;
class QRadioButton;

// Registers both commands in the form registry.
void registerPrintForms();

// Opens a produced file; when not set, the system's viewer shows it (and
// the user is told when there is none). Tests set it.
extern std::function<void(const QString &path)> openPrintedFile;

// Prints the current declaration (settings "Qor", key "Sa1ID"); false
// when there is none or the print failed (the user has been told).
bool printCurrentDeclaration(AppContext &ctx);

class PrintListForm : public QWidget {
    Q_OBJECT
public:
    explicit PrintListForm(AppContext &ctx, QWidget *parent = nullptr);

    QRadioButton *allOption() const { return all_; }
    QRadioButton *provinceOption() const { return province_; }
    QLineEdit *siglaField() const { return sigla_; }
    // The "Stampa" button: false when nothing was printed.
    bool print();

private:
    AppContext &ctx_;
    QRadioButton *all_, *province_;
    QLineEdit *sigla_;
};
