#pragma once
// The one pattern of every scheda and module form: the fields of a field
// table, a navigator over the rows (position and count), the buttons
// "Nuova scheda", "Salva scheda", "Elimina scheda", "Chiudi" (texts given by
// the form) and the list window of the rows. "Salva" is enabled only after a
// change; leaving a changed record (another row, a new one, closing) asks the
// form's question, "Attenzione, scheda modificata, vuoi salvarla?" unless the
// form says otherwise: Yes saves (and stays if the save is refused), No
// discards.
//
// A later form says what it holds, as data, and how its rows are stored:
//
//   // core (sections/<area>/): the field table and the rules, no widgets
//   const fields::Table &rif::fieldTable();   // {name, caption, kind, length,
//                                             //  chars, upper, required, ...}
//   bool rif::fieldExit(AppContext &, const QString &field, fields::Record &);
//   qint64 rif::save(AppContext &, qint64 key, const fields::Record &, int *badField);
//
//   // GUI (sections/<area>/gui/):
//   ui::RecordLayout layout;
//   layout.title = "Scheda RIF";  layout.navText = "Scheda RIF";
//   layout.fields = rif::fieldTable();  layout.listHeaders = {"Codice", "Descrizione"};
//   ui::RecordBinding b;
//   b.keys = [&](qint64) { ...keys of the current declaration's rows... };
//   b.load = [&](qint64 k) { return fields::fromStore(rif::fieldTable(), row); };
//   b.save = [&](qint64 k, const fields::Record &r, int *bad) { return rif::save(ctx, k, r, bad); };
//   b.remove = [&](qint64 k) { return fields::confirmDelete(ctx.msg, "scheda ...") && ...; };
//   b.exitRule = [&](const QString &f, fields::Record &r) { return rif::fieldExit(ctx, f, r); };
//   b.listRow = [&](qint64 k) { return QStringList{...}; };
//   auto *form = new ui::RecordForm(ctx, layout, b, parent);
//   form->addRecordButton("Modulo &RT");      // enabled once the scheda is saved
//
// The controls, their sizes, the tab order, Enter as Tab, the required
// messages in field order, the navigator, the list window, "Salva" after a
// change and the question on leaving come from here.

#include "sections/fields.h"
#include "shell/context.h"

#include <QWidget>
#include <functional>

class QPushButton;
class QShortcut;
class QHBoxLayout;
class QVBoxLayout;

namespace ui {

class FieldForm;
class Navigator;

struct RecordLayout {
    QString title;                  // window title, e.g. "SA1 - Sezione anagrafica"
    QString navText = QStringLiteral("Scheda"); // navigator text: "Scheda RIF"
    QString newText = QStringLiteral("&Nuova scheda");
    QString saveText = QStringLiteral("Sal&va scheda");
    QString deleteText = QStringLiteral("Eli&mina scheda");
    QString closeText = QStringLiteral("&Chiudi");
    QString modifiedQuestion = QStringLiteral("Attenzione, scheda modificata, vuoi salvarla?");
    fields::Table fields;
    bool navigator = true;          // false: one record (no navigator, no list)
    QStringList listHeaders;        // columns of the list window
};

struct RecordBinding {
    // Rows in listing order; the key shown is passed for forms whose rows
    // depend on it (the declarations of the same company).
    std::function<QVector<qint64>(qint64 current)> keys;
    std::function<fields::Record(qint64 key)> load;
    // Runs the save rules and writes; returns the key (new rows get theirs),
    // 0 when refused, with the position of the field to put the cursor on.
    std::function<qint64(qint64 key, const fields::Record &r, int *failedField)> save;
    std::function<bool(qint64 key)> remove;                  // asks its own confirmation
    std::function<bool(const QString &field, fields::Record &r)> exitRule;
    std::function<QStringList(qint64 key)> listRow;          // texts of a row in the list window
    std::function<fields::Record()> blank;                   // a new record (default: empty)
};

class RecordForm : public QWidget {
    Q_OBJECT
public:
    RecordForm(AppContext &ctx, RecordLayout layout, RecordBinding binding, QWidget *parent = nullptr);

    FieldForm *fields() const { return fields_; }
    Navigator *navigator() const { return nav_; }
    QPushButton *newButton() const { return new_; }
    QPushButton *saveButton() const { return save_; }
    QPushButton *deleteButton() const { return delete_; }
    QPushButton *closeButton() const { return close_; }
    QPushButton *listButton() const { return list_; }
    // A button that needs a saved record (the module buttons of a scheda):
    // enabled only while a saved row is shown.
    QPushButton *addRecordButton(const QString &text);
    // Extra buttons and panels of a form. The button row starts with a
    // stretch: a form's own buttons go before it (index 0, 1, ...), on the
    // left of "Nuova scheda".
    QHBoxLayout *buttonRow() const { return buttons_; }
    QVBoxLayout *sidePanel() const { return side_; }
    QVBoxLayout *header() const { return header_; }

    qint64 currentKey() const { return key_; }
    bool isModified() const;

    // Shows a row (0: a new, empty one). No question asked.
    void showRecord(qint64 key);
    // Shows a new record filled with r (counts as changed when r is not empty).
    void startNew(const fields::Record &r = {});
    // Asks the form's question on a changed record: true when the caller may go on.
    bool confirmLeave();
    // Saves the current record; true on success.
    bool save();
    void removeCurrent();
    void moveTo(int position);
    void openList();
    void reloadKeys();

Q_SIGNALS:
    void saved(qint64 key);
    void removed(qint64 key);
    void shown(qint64 key);


protected:
    void closeEvent(QCloseEvent *e) override;
    void showEvent(QShowEvent *e) override;
    bool eventFilter(QObject *o, QEvent *e) override;

private:
    void updateState();
    AppContext &ctx_;
    RecordLayout layout_;
    RecordBinding b_;
    FieldForm *fields_;
    Navigator *nav_ = nullptr;
    QPushButton *new_, *save_, *delete_, *close_, *list_ = nullptr;
    QHBoxLayout *buttons_;
    QVBoxLayout *side_, *header_;
    QVector<qint64> keys_;
    QList<QPushButton *> recordButtons_;
    QShortcut *escape_ = nullptr;
    qint64 key_ = 0;
    bool forceModified_ = false;
};

} // namespace ui
