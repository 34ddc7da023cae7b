#pragma once
// The form of scheda IMB: four tabs, the four waste grids with their
// "[nuovo]" line, the scheda's quantities and secondary materials, and the
// buttons that open the -IMB module forms on a chosen waste code.

#include "sections/imb/imb.h"

#include <QTableWidget>
#include <QWidget>
#include <functional>

class QLabel;
class QPushButton;
class QTabWidget;

namespace ui {
class FieldForm;
}

namespace imbgui {

// One group of waste rows.
class WasteGrid : public QTableWidget {
    Q_OBJECT
public:
    WasteGrid(AppContext &ctx, int posizione, QWidget *parent);
    // The checks of a code typed in this grid and the removal of a row
    // (defaults: those of scheda IMB). Other sections give their own.
    using Check = std::function<bool(int posizione, const QString &typed, const QVector<imb::Row> &others)>;
    using Remove = std::function<bool(const imb::Row &row)>;
    void setRules(Check check, Remove remove) { check_ = std::move(check); remove_ = std::move(remove); }
    int posizione() const { return pos_; }
    void setRows(const QVector<imb::Row> &rows);
    QVector<imb::Row> rows() const; // without the "[nuovo]" line
    // Enters a code in a line (the "[nuovo]" line adds a row), with the
    // entry checks; false when refused.
    bool enterCode(int line, const QString &typed);
    bool removeLine(int line, qint64 siID); // CANC
    void pickCode();                        // INS
    QString statusText() const;

Q_SIGNALS:
    void edited();
    void status(const QString &text);

protected:
    void keyPressEvent(QKeyEvent *e) override;
    bool focusNextPrevChild(bool next) override;

private:
    void addPlaceholder();
    void setLine(int line, const imb::Row &r);
    void cellEdited(int line, int column);

    AppContext &ctx_;
    int pos_;
    bool filling_ = false;
    Check check_;
    Remove remove_;
};

class ImbForm : public QWidget {
    Q_OBJECT
public:
    ImbForm(AppContext &ctx, qint64 saID, QWidget *parent = nullptr);

    qint64 schedaId() const { return siID_; }
    WasteGrid *grid(int posizione) const { return grids_.value(posizione - 1); }
    ui::FieldForm *fields() const { return ff_; }
    QTabWidget *tabs() const { return tabs_; }
    QPushButton *moduleButton(int tipoMod) const { return modules_.value(tipoMod - 1); }
    QPushButton *saveButton() const { return save_; }
    QPushButton *deleteButton() const { return delete_; }
    bool isModified() const { return modified_; }

    bool save();
    void removeScheda();
    // Lists the codes a module type may be attached to; the chosen one opens
    // its module form (nullptr when none is chosen or none exists).
    QWidget *openModules(int tipoMod, int choice = -1);

protected:
    void closeEvent(QCloseEvent *e) override;

private:
    void load();
    void setModified(bool m);
    void updateButtons();

    AppContext &ctx_;
    qint64 saID_;
    qint64 siID_ = 0;
    bool modified_ = false;
    ui::FieldForm *ff_;
    QTabWidget *tabs_;
    QVector<WasteGrid *> grids_;
    QVector<QPushButton *> modules_;
    QPushButton *save_, *delete_, *close_;
    QLabel *status_;
};

QWidget *makeImbForm(AppContext &ctx, QWidget *parent);

} // namespace imbgui
