#pragma once
// The program's own input controls. Forms do not build them by hand: a field
// table (sections/fields.h) says which control a field gets and how it is set
// (maximum length, accepted characters, upper case, digits and decimals,
// required message). Every control refuses what its column cannot hold and
// says why.

#include "refdata/lookups.h"
#include "shell/context.h"

#include <QClipboard>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QStyledItemDelegate>
#include <QVariant>
#include <QWidget>

class Messages;
class QCompleter;
class QLabel;
class QStringListModel;
class QToolButton;
class QTreeWidget;
class QButtonGroup;

namespace ui {

// Line edit that never drops what the user typed or pasted without saying
// so: a refused key press (too long, character not accepted) and a refused
// paste are explained through the message service when the form gave one,
// otherwise in a tooltip under the field. A paste is taken whole or not at
// all: it is never cut.
class LineEdit : public QLineEdit {
    Q_OBJECT
public:
    explicit LineEdit(QWidget *parent = nullptr);
    // What the accepted characters are, in words (for the refusal text).
    void setAcceptedText(const QString &t) { accepted_ = t; }
    QString lastRefusal() const { return refusal_; }
    // Refusals are shown as messages from now on.
    void setMessages(Messages *m) { msg_ = m; }
    // Pastes the clipboard (or the selection) through the checks.
    void pasteChecked(QClipboard::Mode mode = QClipboard::Clipboard);

protected:
    void keyPressEvent(QKeyEvent *e) override;
    void contextMenuEvent(QContextMenuEvent *e) override;
    void mouseReleaseEvent(QMouseEvent *e) override;
    void refuse(const QString &why);
    // Why a printable key left the text unchanged.
    virtual QString keyRefusal(const QString &typed, const QString &before) const;
    // The text the field would hold after a paste, possibly rewritten into
    // the field's own form; false with the reason when it cannot be taken.
    virtual bool acceptPaste(QString &result, QString *why) const;

private:
    QString accepted_, refusal_;
    Messages *msg_ = nullptr;
};

// Reads a number pasted from elsewhere into the form typed in a number
// field (digits, decimal comma, no separators): "1.234,5" (Italian) and
// "1234.5" are both 1234,5; "1.234.567" is 1234567. A text that could be
// read two ways ("1.234": thousands or decimals?), that is not a number, is
// negative or does not fit `digits` integer digits and `decimals` decimals
// is refused: an empty result with the reason in `why`.
QString pastedNumber(const QString &text, int digits, int decimals, QString *why);

// Text: maximum length, accepted characters (a character-class body such as
// "0-9" or "A-Za-z0-9"), forced upper case.
class TextBox : public LineEdit {
    Q_OBJECT
public:
    TextBox(int maxLength, const QString &chars, bool upper, QWidget *parent = nullptr);
};

// Whole or decimal number: at most `digits` digits before the comma and
// `decimals` after it. The "." key, on the main keyboard and on the keypad,
// types the decimal comma (in a whole number it is refused with a message). Decimal values are thousandths (three decimals
// always, e.g. quantities shown 1.234,500); with thousands set, the number
// is shown with "." separators when the field is not being edited.
class NumberBox : public LineEdit {
    Q_OBJECT
public:
    NumberBox(int digits, int decimals, bool thousands, QWidget *parent = nullptr);
    // Integers: qlonglong; decimals: thousandths as qlonglong; empty: null.
    QVariant value() const;
    void setValue(const QVariant &v);

protected:
    void keyPressEvent(QKeyEvent *e) override;
    void focusInEvent(QFocusEvent *e) override;
    void focusOutEvent(QFocusEvent *e) override;
    QString keyRefusal(const QString &typed, const QString &before) const override;
    bool acceptPaste(QString &result, QString *why) const override;

private:
    QString plain(const QVariant &v) const;
    QString shown(const QVariant &v) const;
    int digits_, decimals_;
    bool thousands_;
};

// Date typed as dd/mm/yyyy or picked from a calendar.
class DateBox : public QWidget {
    Q_OBJECT
public:
    explicit DateBox(QWidget *parent = nullptr);
    QString isoValue() const;             // "yyyy-MM-dd", empty when blank or invalid
    void setIsoValue(const QString &iso);
    bool isBlank() const;
    bool isValidOrBlank() const;
    QLineEdit *edit() const { return edit_; }
    QToolButton *button() const { return button_; }
    void pick();                          // opens the calendar

Q_SIGNALS:
    void edited();

private:
    LineEdit *edit_;
    QToolButton *button_;
};

// Unit of a quantity: "Kg" first, then "t" (codes 1 and 2).
class ComboKgt : public QComboBox {
    Q_OBJECT
public:
    explicit ComboKgt(QWidget *parent = nullptr);
    int code() const;
    void setCode(int code); // any other code shows no unit
};

// Quantity with its unit.
class QtyBox : public QWidget {
    Q_OBJECT
public:
    explicit QtyBox(QWidget *parent = nullptr);
    NumberBox *amount() const { return amount_; }
    ComboKgt *unit() const { return unit_; }

private:
    NumberBox *amount_;
    ComboKgt *unit_;
};

// Editor of the quantity cells of a grid (thousandths shown "1.234,500"):
// the same number field as a quantity on a form, seven digits and three
// decimals, "." typing the comma and refusals explained.
class QtyDelegate : public QStyledItemDelegate {
    Q_OBJECT
public:
    QtyDelegate(Messages &msg, QObject *parent) : QStyledItemDelegate(parent), msg_(msg) {}
    QWidget *createEditor(QWidget *parent, const QStyleOptionViewItem &, const QModelIndex &) const override;
    void setEditorData(QWidget *editor, const QModelIndex &index) const override;
    void setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const override;

private:
    Messages &msg_;
};

// Municipality picker: type the beginning of the name, the municipalities
// found are offered as you type (with their province); Tab, Enter or leaving
// the field settles the choice, with the list open or not: the item picked
// in the list, else the typed exact name or the one municipality the typed
// prefix finds (none says "Attenzione, Comune non trovato!", several keep
// the list open). The province abbreviation is shown by a linked field.
class ComboCom : public QWidget {
    Q_OBJECT
public:
    ComboCom(AppContext &ctx, QWidget *parent = nullptr);

    bool Required = false;
    QString MsgRequired;

    int key() const { return key_; }        // prvIstat * 1000 + comIstat, 0 none
    int prvIstat() const { return refdata::keyProvince(key_); }
    int comIstat() const { return refdata::keyMunicipality(key_); }
    void setCodes(int prvIstat, int comIstat); // shows the stored municipality
    const refdata::MunicipalityRow &row() const { return row_; }
    // Settles the typed text; false keeps the focus here.
    bool settle();
    // The required check with this picker's message.
    bool requiredOk(Messages &msg) const;
    QLineEdit *edit() const { return edit_; }
    QToolButton *button() const { return button_; }
    QCompleter *completer() const { return completer_; }
    void searchNow(bool quiet);

Q_SIGNALS:
    void changed(); // a different municipality (or none) chosen

protected:
    bool eventFilter(QObject *o, QEvent *e) override;

private:
    void choose(int index);
    void typed();
    AppContext &ctx_;
    refdata::MunicipalitySearch search_;
    LineEdit *edit_;
    QToolButton *button_;
    QCompleter *completer_;
    QStringListModel *model_;
    int key_ = 0;
    refdata::MunicipalityRow row_;
    QString chosenText_;
};

// Activity code shown through the mask 38.11.00, with the list button.
class ActivityBox : public QWidget {
    Q_OBJECT
public:
    ActivityBox(AppContext &ctx, QWidget *parent = nullptr);
    QString code() const; // six stored characters
    void setCode(const QString &stored);
    QLineEdit *edit() const { return edit_; }
    QToolButton *button() const { return button_; }
    void openList();

Q_SIGNALS:
    void edited();

private:
    AppContext &ctx_;
    LineEdit *edit_;
    QToolButton *button_;
};

// Radio buttons, values 1, 2, ... (0: none chosen).
class OptionGroup : public QWidget {
    Q_OBJECT
public:
    OptionGroup(const QStringList &captions, QWidget *parent = nullptr);
    int value() const;
    void setValue(int v);

Q_SIGNALS:
    void changed();

private:
    QButtonGroup *group_;
};

class CaptionLabel;

// Position and count of the rows of a form, with first/previous/next/last.
class Navigator : public QWidget {
    Q_OBJECT
public:
    explicit Navigator(const QString &text, QWidget *parent = nullptr);
    void setPosition(int position, int count); // position from 1; 0 = new row
    int position() const { return pos_; }
    int count() const { return count_; }
    QString caption() const;
    // Whether the caption is shown whole (false: shortened to its room).
    bool captionWhole() const;

Q_SIGNALS:
    void moveTo(int position); // asked by the buttons

private:
    QString text_;
    CaptionLabel *label_;
    QToolButton *first_, *prev_, *next_, *last_;
    int pos_ = 0, count_ = 0;
};

// Modal list of rows: a filter box, the rows, Enter or double click chooses.
class ListWindow : public QDialog {
    Q_OBJECT
public:
    ListWindow(const QString &title, const QStringList &headers, QWidget *parent = nullptr);
    // Adds a row; the data is returned when it is chosen.
    void addRow(const QStringList &texts, const QVariant &data);
    void select(const QVariant &data);
    QVariant chosen() const { return chosen_; }
    QTreeWidget *tree() const { return tree_; }
    QLineEdit *filter() const { return filter_; }
    void accept() override;

private:
    QTreeWidget *tree_;
    QLineEdit *filter_;
    QVariant chosen_;
};

} // namespace ui

namespace ui {
// The modal pick lists of the reference tables; an empty text when nothing
// was chosen.
QString pickActivity(AppContext &ctx, QWidget *parent, const QString &current = {});
QString pickRegCE(AppContext &ctx, QWidget *parent, const QString &current = {});
QString pickWasteCode(AppContext &ctx, QWidget *parent, const QString &current = {}); // "Tabella rifiuti"
} // namespace ui
