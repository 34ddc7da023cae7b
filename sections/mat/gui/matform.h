#pragma once
// The form of scheda MAT: the secondary materials of the current declaration.

#include "shell/context.h"

#include <QWidget>

class QPushButton;
namespace ui {
class FieldForm;
}

namespace matgui {

class MatForm : public QWidget {
    Q_OBJECT
public:
    MatForm(AppContext &ctx, qint64 saID, QWidget *parent = nullptr);
    ui::FieldForm *fields() const { return ff_; }
    QPushButton *saveButton() const { return save_; }
    QPushButton *deleteButton() const { return delete_; }
    bool save();
    void removeScheda();

protected:
    void closeEvent(QCloseEvent *e) override;

private:
    void load();
    AppContext &ctx_;
    qint64 saID_;
    ui::FieldForm *ff_;
    QPushButton *save_, *delete_, *close_;
};

QWidget *makeMatForm(AppContext &ctx, QWidget *parent);

} // namespace matgui
