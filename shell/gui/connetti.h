#pragma once
// "Connessione database QOR": the current-year and previous-year databases.

#include "shell/context.h"

#include <QDialog>
#include <functional>

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
    // Besides the check of the file, the two rows may not name the same file,
    // and a database of this edition is refused as the previous year's.
    bool choose(bool previousYear, const QString &path);
    void emptyPrevious();
    // "Nuovo archivio...": creates an empty current-year database at path
    // (which must not exist yet) and puts it in the current-year row.
    bool createNew(const QString &path);
    // Checks typed paths not checked yet, then stores the choice and connects.
    // Stays open (false) when a path is refused.
    bool confirm();

    // The save dialog of "Nuovo archivio..."; tests replace it.
    std::function<QString()> chooseNewFile;

    // The version stamp of a database's Config table (empty when unreadable).
    static QString editionOf(const QString &path);

private:
    void browse(bool previousYear);
    void newArchive();
    bool sameFile(const QString &a, const QString &b) const;
    AppContext &ctx_;
    QLineEdit *cur_;
    QLineEdit *prev_;
    QString checked_[2];   // the path of each row that passed its check
};
