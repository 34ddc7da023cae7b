#pragma once
// Form "Anagrafiche": the register of companies. A list (with the toolbar)
// and an edit panel; while a company is being edited the list and toolbar
// are disabled. In pick mode a company can be chosen for another form.

#include "sections/anag/register.h"
#include "shell/context.h"

#include <QWidget>
#include <optional>

class QPushButton;
class QTreeWidget;
class QGroupBox;
class QLineEdit;

namespace ui {
class FieldForm;
}

class Anagrafiche : public QWidget {
    Q_OBJECT
public:
    Anagrafiche(AppContext &ctx, QWidget *parent = nullptr, bool pickMode = false);

    void reload();
    void editSelected();
    // Leaves the edit panel, asking about unsaved changes; false: stay.
    bool closeEdit();
    bool saveEdit();
    void deleteSelected();
    bool editing() const { return editing_; }
    std::optional<anag::Company> chosenCompany() const { return chosen_; }

    QTreeWidget *list() const { return list_; }
    ui::FieldForm *editor() const { return edit_; }
    QPushButton *editButton() const { return editBtn_; }
    QPushButton *deleteButton() const { return deleteBtn_; }

Q_SIGNALS:
    void chosen();
    void closeRequested();

protected:
    void closeEvent(QCloseEvent *e) override;

private:
    void setEditing(bool on);
    void choose();
    AppContext &ctx_;
    bool pick_;
    QTreeWidget *list_;
    QLineEdit *filter_;
    QWidget *toolbar_;
    QPushButton *editBtn_, *deleteBtn_, *chooseBtn_ = nullptr, *closeBtn_;
    QGroupBox *panel_;
    ui::FieldForm *edit_;
    QPushButton *saveBtn_, *closeEditBtn_;
    QString editing_code_;
    bool editing_ = false;
    std::optional<anag::Company> chosen_;
};
