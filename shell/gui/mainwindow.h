#pragma once
// Main window: frame with the menu bar, the working forms inside, the list of
// declarations beside them and the connected database in the status bar.

#include "shell/context.h"
#include "shell/formrule.h"

#include <QHash>
#include <QMainWindow>

class QMdiArea;
class QMdiSubWindow;
class QAction;
class QLabel;
class QDockWidget;
class DeclarationList;

class MainWindow : public QMainWindow, private FormHost {
    Q_OBJECT
public:
    explicit MainWindow(AppContext &ctx, QWidget *parent = nullptr);

    // Opens a working form through the form-opening rule.
    void openForm(int number);
    // Runs a command of the menu table ("connetti", "about", ...).
    void runCommand(const QString &command);
    // Enables the entries whose function exists and can run now.
    void updateActions();
    void updateStatus();

    QMdiArea *mdi() const { return mdi_; }
    DeclarationList *declarations() const { return list_; }
    QAction *action(const QString &text) const; // by menu text, for tests
    bool closingForms() const { return opener_.closing(); }
    QString aboutText() const;
    // Width of the declarations list beside the forms (remembered in the
    // settings file).
    int dockWidth() const;

protected:
    void closeEvent(QCloseEvent *e) override;
    void showEvent(QShowEvent *e) override;

private:
    void buildMenus();
    void closeAllForms();
    // FormHost
    int openFormCount() const override;
    void closeLastForm() override;
    void processEvents() override;
    void showCompanion() override;
    void showForm(int number) override;

    AppContext &ctx_;
    FormOpener opener_;
    QMdiArea *mdi_;
    QDockWidget *dock_;
    DeclarationList *list_;
    QLabel *status_;
    QHash<QAction *, int> formActions_;
    QList<QAction *> allActions_;
    bool dockSized_ = false;
};
