#pragma once
// Form "Registra": the data of who compiles the declarations (table Setup).

#include "shell/context.h"

#include <QWidget>

class QCheckBox;
class QPushButton;

namespace ui {
class FieldForm;
}

class Registra : public QWidget {
    Q_OBJECT
public:
    Registra(AppContext &ctx, QWidget *parent = nullptr);
    bool save();
    ui::FieldForm *editor() const { return edit_; }
    QCheckBox *importBox() const { return import_; }
    QPushButton *saveButton() const { return saveBtn_; }

protected:
    void closeEvent(QCloseEvent *e) override;

private:
    AppContext &ctx_;
    ui::FieldForm *edit_;
    QCheckBox *import_;
    QPushButton *saveBtn_, *closeBtn_;
};
