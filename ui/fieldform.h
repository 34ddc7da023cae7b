#pragma once
// The fields of a form built from its field table: one control per field,
// labelled, placed in its frame on the grid, in the tab order of the table.
// Enter moves on like Tab. Leaving a field runs the control's own check
// (a date that does not exist, a municipality not found) and then the form's
// field-exit rule; either may keep the focus in the field. Widgets whose
// property "causesValidation" is false (Chiudi, the navigator) are reached
// without running the rules.

#include "sections/fields.h"
#include "shell/context.h"

#include <QHash>
#include <QWidget>
#include <functional>

class QGridLayout;
class QGroupBox;
class QLabel;

namespace ui {

class FieldForm : public QWidget {
    Q_OBJECT
public:
    // Field-exit rule: may change the record; false keeps the focus.
    using ExitRule = std::function<bool(const QString &field, fields::Record &r)>;

    FieldForm(AppContext &ctx, const fields::Table &table, QWidget *parent = nullptr);
    ~FieldForm() override;

    const fields::Table &table() const { return table_; }
    void setExitRule(ExitRule r) { exitRule_ = std::move(r); }

    fields::Record record() const;
    // Fills the controls; does not count as a change.
    void setRecord(const fields::Record &r);
    void clear() { setRecord({}); }

    bool isModified() const { return modified_; }
    void setModified(bool m);

    // The control of a field (the widget that takes the focus).
    QWidget *control(const QString &name) const;
    QWidget *focusTarget(int position) const;
    void focusField(int position);
    // Puts the cursor on a widget of the form without running the exit rules
    // of the field being left (the move is the program's).
    void focusWidget(QWidget *w);
    QLabel *label(const QString &name) const { return labels_.value(name.toLower()); }
    // The grid of a frame, to add form-specific widgets.
    QGridLayout *groupGrid(const QString &group) const;
    QGroupBox *groupBox(const QString &group) const;

    // The widgets of a control that Tab stops at, in their order.
    static QList<QWidget *> tabStops(QWidget *control);

    // Runs the checks of the field that has the focus, as leaving it would.
    bool leaveCurrent();

Q_SIGNALS:
    void modifiedChanged(bool modified);

protected:
    bool eventFilter(QObject *o, QEvent *e) override;

private:
    struct Slot {
        int pos;
        QWidget *widget = nullptr;   // the control as placed
        QWidget *focus = nullptr;    // the widget that holds the focus
        std::function<void(fields::Record &)> get;
        std::function<void(const fields::Record &)> set;
        std::function<bool()> ownCheck; // control-level check on leaving
    };
    void build();
    void edited();
    int slotOf(QWidget *w) const;
    bool runExit(int slot);
    void focusChanged(QWidget *old, QWidget *now);

    AppContext &ctx_;
    fields::Table table_;
    QVector<Slot> slots_;
    QHash<QString, QLabel *> labels_;
    QHash<QString, QGridLayout *> grids_;
    QHash<QString, QGroupBox *> boxes_;
    ExitRule exitRule_;
    bool modified_ = false;
    bool loading_ = false;
    bool inExit_ = false;
};

} // namespace ui
