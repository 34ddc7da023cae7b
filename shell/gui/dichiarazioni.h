#pragma once
// The list of the declarations of the current-year database, always at hand
// beside the working forms: choosing one makes it the current declaration
// (remembered in the settings file, section "Qor", key "Sa1ID").

#include "shell/context.h"

#include <QWidget>

class QTreeWidget;
class QLineEdit;

class DeclarationList : public QWidget {
    Q_OBJECT
public:
    DeclarationList(AppContext &ctx, QWidget *parent = nullptr);

    qint64 currentId() const { return current_; }
    void setCurrentId(qint64 saID);
    // Label of a declaration: company name + " - U. L.: " + local unit data.
    static QString label(const QString &ragSoc, const QString &comDesc, const QString &via,
                         const QString &civico);

public Q_SLOTS:
    void reload();

Q_SIGNALS:
    void currentChanged(qint64 saID);
    void openRequested(int formNumber); // SA1 on a double click, the company register

private:
    void selectionMoved();
    AppContext &ctx_;
    QTreeWidget *tree_;
    QLineEdit *filter_;
    qint64 current_ = 0;
};
