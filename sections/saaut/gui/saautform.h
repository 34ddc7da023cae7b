#pragma once
// Form of scheda SA-AUT: the authorisations of the current declaration.

#include "ui/recordform.h"

#include <QVector>
#include <memory>

class QCheckBox;
class QComboBox;

class SaAutForm : public ui::RecordForm {
    Q_OBJECT
public:
    SaAutForm(AppContext &ctx, QWidget *parent = nullptr);

    QComboBox *enteList() const { return ente_; }
    QComboBox *tipoList() const { return tipo_; }
    const QVector<QCheckBox *> &recovery() const { return recovery_; }
    const QVector<QCheckBox *> &disposal() const { return disposal_; }
    QCheckBox *landfill(int row) const { return landfill_.value(row - 1); }

private:
    SaAutForm(AppContext &ctx, QWidget *parent, qint64 saID);
    void shownRecord();
    void writeOperations();

    AppContext &ctx_;
    QComboBox *ente_ = nullptr, *tipo_ = nullptr;
    QVector<QCheckBox *> recovery_, disposal_, landfill_;
};
