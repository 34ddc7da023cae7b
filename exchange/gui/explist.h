#pragma once
// "Lista delle esportazioni effettuate": the export log, newest first.

#include "shell/context.h"

#include <QWidget>

class QTreeWidget;
class QPushButton;

namespace exch::gui {

class ExpList : public QWidget {
    Q_OBJECT
public:
    ExpList(AppContext &ctx, QWidget *parent = nullptr);
    QTreeWidget *tree() const { return tree_; }
    void reload();
    void deleteSelected();

private:
    AppContext &ctx_;
    QTreeWidget *tree_;
    QPushButton *delete_;
};

QWidget *makeExpList(AppContext &ctx, QWidget *parent);

} // namespace exch::gui
