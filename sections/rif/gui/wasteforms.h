#pragma once
// The forms of the waste schede and their modules, on the shared record form
// pattern: one scheda form for RIF and INT, one module form for the five RIF
// module types and the two INT ones, each driven by its data.

#include "sections/rif/modules.h"
#include "sections/rif/scheda.h"
#include "ui/recordform.h"

#include <QVector>
#include <memory>

class QComboBox;
class QLabel;
class QPushButton;
class QTabWidget;
class QToolButton;
class QTreeWidget;

namespace wastegui {

class OperationGrid;

class ModuleForm : public ui::RecordForm {
    Q_OBJECT
public:
    // a: the scheda row the modules are attached to (IMB, VFU, RAEE).
    ModuleForm(AppContext &ctx, const waste::ModuleKind &m, qint64 parentId, const QString &wasteCode,
               QWidget *parent = nullptr, const waste::Attachment &a = {});

    const waste::ModuleKind &kind() const { return m_; }
    QComboBox *countryList() const { return country_; }
    QComboBox *plantList() const { return plant_; }
    QTabWidget *tabs() const { return tabs_; }
    OperationGrid *grid(int posizione) const;
    QTreeWidget *table() const { return table_; }
    QPushButton *registerButton() const { return register_; }

    void chooseCompany();     // "Apre lista delle anagrafiche"
    void chooseRegCE();       // "Apre tabella codici regolamento"
    void applyEnablement();   // fields open or closed by Privati, Italia/Estero, the waste code
    QVector<waste::OpRow> operations() const;

private:
    ModuleForm(AppContext &ctx, const waste::ModuleKind &m, qint64 parentId, const QString &wasteCode,
               QWidget *parent, const waste::Attachment &a, std::shared_ptr<ModuleForm *> self);
    void shownRecord();
    void municipalityChosen();
    void refreshTable();

    AppContext &ctx_;
    const waste::ModuleKind &m_;
    qint64 parentId_;
    QString code_;
    waste::Attachment attach_;
    QComboBox *country_ = nullptr, *plant_ = nullptr;
    QTabWidget *tabs_ = nullptr;
    QVector<OperationGrid *> grids_;
    QTreeWidget *table_ = nullptr;
    QPushButton *register_ = nullptr;
};

struct ModuleButton {
    QString caption;              // "Moduli RT"
    const waste::ModuleKind *kind;
    QString beside;               // the quantity field it stands beside ("" none)
    QString group;                // or a new row of this frame, with rowLabel
    QString rowLabel;
};

class SchedaForm : public ui::RecordForm {
    Q_OBJECT
public:
    SchedaForm(AppContext &ctx, const waste::SchedaKind &s, const QVector<ModuleButton> &modules,
               QWidget *parent = nullptr);
    ~SchedaForm() override;

    // Opens the module form of a type for the scheda shown (nullptr when the
    // scheda is not saved). The form is a window of its own over this one.
    ModuleForm *openModule(const waste::ModuleKind &m);
    QPushButton *moduleButton(const QString &code) const;
    // The module types of the scheda, in the order of their buttons.
    QVector<const waste::ModuleKind *> moduleKinds() const;
    QLabel *description() const { return desc_; }
    void openSchedaList();
    void openWasteTable();

private:
    SchedaForm(AppContext &ctx, const waste::SchedaKind &s, const QVector<ModuleButton> &modules, QWidget *parent,
               qint64 saID, std::shared_ptr<ui::RecordForm *> self);
    void refreshHead();

    AppContext &ctx_;
    const waste::SchedaKind &s_;
    qint64 saID_;
    QLabel *desc_;
    QVector<QPair<QPushButton *, const waste::ModuleKind *>> buttons_;
};

// The RIF and INT forms as the main window opens them.
QWidget *makeRifForm(AppContext &ctx, QWidget *parent);
QWidget *makeIntForm(AppContext &ctx, QWidget *parent);

} // namespace wastegui
