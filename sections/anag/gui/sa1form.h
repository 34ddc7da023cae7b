#pragma once
// Form "SA1 - Sezione anagrafica" of the current declaration.

#include "ui/recordform.h"

class QLabel;
class QGridLayout;

class Sa1Form : public ui::RecordForm {
    Q_OBJECT
public:
    Sa1Form(AppContext &ctx, QWidget *parent = nullptr);
    void newLocalUnit();
    void copyLocalUnit();
    void chooseCompany(); // from the company register
    void refreshInfo();
    QLabel *exportedLabel() const { return exported_; }
    const QVector<QLabel *> &summaryCounts() const { return counts_; }

private:
    AppContext &ctx_;
    QLabel *year_, *exported_;
    QVector<QLabel *> counts_;
    bool loading_ = false; // showing a declaration chosen elsewhere
};
