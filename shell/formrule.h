#pragma once
// Opening a working form. Every menu entry that opens a scheda or a utility
// form goes through FormOpener::open, which decides what to close first.

#include <QString>

// Form numbers.
namespace Form {
constexpr int SA1 = 1, SaAut = 2, Rif = 4, Int = 5, VfuAut = 6, VfuRot = 7, VfuFra = 8,
              RaeeTra = 9, RaeeCr = 10, Imb = 11, Mat = 12, Anagrafiche = 13, Registra = 14,
              TakeoverClosed = 100, Verifica = 101, ExportList = 102, Export = 103, Import = 104,
              Print = 105, Takeover = 106, PrintList = 107;
}

// What the opener needs from the window that hosts the forms.
class FormHost {
public:
    virtual ~FormHost() = default;
    virtual int openFormCount() const = 0;     // child forms open, main window excluded
    virtual void closeLastForm() = 0;          // closes the last form in the list of open forms
    virtual void processEvents() = 0;          // lets pending events run
    virtual void showCompanion() = 0;          // creates if needed and shows the companion form
    virtual void showForm(int number) = 0;     // creates if needed and shows the form
};

class FormOpener {
public:
    explicit FormOpener(int &currentForm) : current_(currentForm) {}

    void open(int number, FormHost &host);
    bool closing() const { return closing_; }

private:
    int &current_;
    bool closing_ = false;
};
