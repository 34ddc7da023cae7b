#pragma once
// The list of the declarations of the current-year database, always at hand
// beside the working forms: choosing one makes it the current declaration
// (remembered in the settings file, section "Qor", key "Sa1ID").

#include "shell/context.h"

#include <QWidget>
#include <vector>

class QTableView;
class QLineEdit;
class QTimer;
class DeclarationModel;

class DeclarationList : public QWidget {
    Q_OBJECT
public:
    DeclarationList(AppContext &ctx, QWidget *parent = nullptr);

    qint64 currentId() const { return current_; }
    // Makes a declaration the current one and shows it highlighted (a search
    // that hides it is cleared).
    void setCurrentId(qint64 saID);
    QTableView *view() const { return view_; }
    DeclarationModel *model() const { return model_; }
    QLineEdit *filter() const { return filter_; }
    // The rows shown (after the search) and what they show.
    int rowCount() const;
    QString rowText(int row, int column) const;
    qint64 rowId(int row) const;
    // Highlights a row, as a click on it does.
    void chooseRow(int row);
    // How long "Cerca" waits after a keystroke before it searches.
    static constexpr int SearchDelayMs = 250;
    // True while typed text waits for its search.
    bool searchPending() const;
    // Label of a declaration: company name + " - U. L.: " + local unit data.
    static QString label(const QString &ragSoc, const QString &comDesc, const QString &via,
                         const QString &civico);

public Q_SLOTS:
    void reload();

Q_SIGNALS:
    void currentChanged(qint64 saID);
    void openRequested(int formNumber); // SA1 on a double click, the company register

protected:
    bool eventFilter(QObject *o, QEvent *e) override;

private:
    void selectionMoved();
    void applyFilter(const QString &text);
    // Typing in "Cerca" searches once the user pauses: on a big archive each
    // search reads the whole table, and one per keystroke would make typing
    // lag. A text set by the program, Down and Enter search at once.
    void typed();
    void searchNow();
    // The highlighted row is always the current declaration: when the one
    // remembered is not among the visible rows, the first visible row becomes
    // current (none when the list shows nothing).
    void settle(qint64 wanted);
    void sizeColumns();
    // Widens the columns to the texts of rows just read (never narrows them).
    void widenColumns(int firstRow, int count);
    int highlightedRow() const;
    // The panel's access keys (Cerca, Apri SA1, Anagrafiche ditte) work
    // while the focus is outside the forms of the main window: a form in it
    // shares the window's Alt keys, and its own ("&Avvia", "&Chiudi") must
    // not meet the panel's.
    void setAccessKeys(bool on);
    struct Keyed {
        QWidget *widget;
        QString text; // with its access key
    };
    std::vector<Keyed> keyed_;
    AppContext &ctx_;
    DeclarationModel *model_;
    QTableView *view_;
    QLineEdit *filter_;
    QTimer *searchDelay_;
    bool typing_ = false; // the change being signalled comes from the keyboard
    qint64 current_ = 0;
    bool settling_ = false; // the list moves its own highlight
};
