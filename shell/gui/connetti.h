#pragma once
// "Connessione database QOR": the current-year and previous-year databases.

#include "shell/context.h"

#include <QDialog>

class QLineEdit;

class Connetti : public QDialog {
    Q_OBJECT
public:
    Connetti(AppContext &ctx, QWidget *parent = nullptr);

    QLineEdit *currentEdit() const { return cur_; }
    QLineEdit *previousEdit() const { return prev_; }

    // Filter lists of the file choosers, as "text|pattern|text|pattern...".
    static QString filterCurrent(int year);
    static QString filterPrevious(int year);
    // Qt form of such a list.
    static QStringList qtFilters(const QString &pairs);

    // Accepts a chosen path for a row after checking it; false when refused.
    bool choose(bool previousYear, const QString &path);
    void emptyPrevious();
    void confirm();

private:
    void browse(bool previousYear);
    AppContext &ctx_;
    QLineEdit *cur_;
    QLineEdit *prev_;
};
