#include "ui/controls.h"

#include <algorithm>

#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qty.h"

#include <QAbstractItemView>
#include <QApplication>
#include <QButtonGroup>
#include <QCalendarWidget>
#include <QClipboard>
#include <QCompleter>
#include <QGuiApplication>
#include <QDate>
#include <QDialogButtonBox>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>
#include <QContextMenuEvent>
#include <QPushButton>
#include <QRadioButton>
#include <QRegularExpressionValidator>
#include <QStringListModel>
#include <QTimer>
#include <QToolButton>
#include <QToolTip>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace ui {

namespace {

// Accepts the characters of a class, upper-casing on the way when asked.
class CharsValidator : public QValidator {
public:
    CharsValidator(const QString &chars, bool upper, QObject *parent)
        : QValidator(parent), upper_(upper),
          re_(QStringLiteral("^[%1]*$").arg(chars.isEmpty() ? QStringLiteral("^\\x00-\\x1f") : chars))
    {
    }
    State validate(QString &input, int &) const override
    {
        if (upper_)
            input = input.toUpper();
        return re_.match(input).hasMatch() ? Acceptable : Invalid;
    }

private:
    bool upper_;
    QRegularExpression re_;
};

QString describe(const QString &chars)
{
    if (chars == QLatin1String("0-9"))
        return QStringLiteral("solo cifre");
    if (chars == QLatin1String("A-Za-z0-9"))
        return QStringLiteral("solo lettere e cifre");
    return {};
}

} // namespace

// ---- LineEdit ----

LineEdit::LineEdit(QWidget *parent) : QLineEdit(parent) {}

void LineEdit::refuse(const QString &why)
{
    refusal_ = why;
    if (msg_) {
        msg_->beep();
        msg_->information(why);
    } else {
        QToolTip::showText(mapToGlobal(QPoint(0, height())), why, this);
    }
}

QString LineEdit::keyRefusal(const QString &typed, const QString &before) const
{
    if (inputMask().isEmpty() && before.size() >= maxLength())
        return QStringLiteral("Attenzione, il campo contiene al massimo %1 caratteri: \"%2\" non è stato inserito.")
            .arg(maxLength())
            .arg(typed);
    return QStringLiteral("Attenzione, carattere non ammesso: \"%1\"").arg(typed)
           + (accepted_.isEmpty() ? QString() : QStringLiteral(" (") + accepted_ + u')') + u'.';
}

void LineEdit::keyPressEvent(QKeyEvent *e)
{
    if (e->matches(QKeySequence::Paste)) {
        if (!isReadOnly())
            pasteChecked();
        return;
    }
    const QString before = text();
    const int cursor = cursorPosition();
    const QString typed = e->text();
    const bool printable = !typed.isEmpty() && typed[0].isPrint() && !(e->modifiers() & Qt::ControlModifier);
    QLineEdit::keyPressEvent(e);
    // Over a mask a key may rewrite the same character and move on.
    if (!printable || isReadOnly() || text() != before || cursorPosition() != cursor || hasSelectedText())
        return;
    refuse(keyRefusal(typed, before));
}

bool LineEdit::acceptPaste(QString &result, QString *why) const
{
    if (result.size() > maxLength()) {
        *why = QStringLiteral("Attenzione, testo incollato troppo lungo: il campo contiene al massimo %1 caratteri "
                              "(ne risulterebbero %2). Il testo non è stato incollato.")
                   .arg(maxLength())
                   .arg(result.size());
        return false;
    }
    if (const QValidator *v = validator()) {
        int pos = 0;
        if (v->validate(result, pos) == QValidator::Invalid) {
            *why = QStringLiteral("Attenzione, testo incollato non ammesso in questo campo")
                   + (accepted_.isEmpty() ? QString() : QStringLiteral(" (") + accepted_ + u')')
                   + QStringLiteral(". Il testo non è stato incollato.");
            return false;
        }
    }
    return true;
}

void LineEdit::pasteChecked(QClipboard::Mode mode)
{
    QString pasted = QGuiApplication::clipboard()->text(mode);
    // A cell copied from a spreadsheet ends with a line break.
    while (pasted.endsWith(u'\n') || pasted.endsWith(u'\r'))
        pasted.chop(1);
    if (pasted.isEmpty())
        return;
    if (!inputMask().isEmpty()) {
        insert(pasted); // the mask places each character
        return;
    }
    const int start = hasSelectedText() ? selectionStart() : cursorPosition();
    const int length = hasSelectedText() ? int(selectedText().size()) : 0;
    QString result = text();
    result.replace(start, length, pasted);
    QString why;
    if (!acceptPaste(result, &why)) {
        refuse(why);
        return;
    }
    selectAll();
    insert(result); // one edit: undoable, seen as typed by the form
}

void LineEdit::contextMenuEvent(QContextMenuEvent *e)
{
    QMenu *menu = createStandardContextMenu();
    for (QAction *a : menu->actions())
        if (a->objectName() == QLatin1String("edit-paste")) {
            disconnect(a, &QAction::triggered, this, nullptr);
            connect(a, &QAction::triggered, this, [this] { pasteChecked(); });
        }
    menu->exec(e->globalPos());
    delete menu;
}

void LineEdit::mouseReleaseEvent(QMouseEvent *e)
{
    if (e->button() == Qt::MiddleButton && QGuiApplication::clipboard()->supportsSelection()) {
        if (!isReadOnly())
            pasteChecked(QClipboard::Selection);
        e->accept();
        return;
    }
    QLineEdit::mouseReleaseEvent(e);
}

QString pastedNumber(const QString &text, int digits, int decimals, QString *why)
{
    QString t = text.trimmed();
    t.remove(u' ');
    t.remove(QChar(0x00A0));
    const QString shown = text.trimmed();
    auto fail = [why](const QString &w) {
        *why = w;
        return QString();
    };
    static const QRegularExpression chars(QStringLiteral("^[0-9.,]+$"));
    if (t.startsWith(u'-'))
        return fail(QStringLiteral("Attenzione, numero incollato negativo: \"%1\". Il testo non è stato incollato.").arg(shown));
    if (!chars.match(t).hasMatch() || !t.contains(QRegularExpression(QStringLiteral("[0-9]"))))
        return fail(QStringLiteral("Attenzione, testo incollato non numerico: \"%1\". Il testo non è stato incollato.").arg(shown));
    static const QRegularExpression grouped(QStringLiteral("^\\d{1,3}(\\.\\d{3})+$"));
    const QString ambiguous =
        QStringLiteral("Attenzione, numero incollato ambiguo: \"%1\". Scrivere i decimali dopo la virgola "
                       "(1,234) o le migliaia senza punto (1234). Il testo non è stato incollato.")
            .arg(shown);
    const QString unreadable =
        QStringLiteral("Attenzione, numero incollato non leggibile: \"%1\". Il testo non è stato incollato.").arg(shown);
    QString whole, frac;
    const int commas = int(t.count(u','));
    const int points = int(t.count(u'.'));
    if (commas > 1) {
        return fail(unreadable);
    } else if (commas == 1) {
        // Italian: "." groups the thousands, "," is the decimal comma.
        whole = t.section(u',', 0, 0);
        frac = t.section(u',', 1);
        if (frac.contains(u'.') || (whole.contains(u'.') && !grouped.match(whole).hasMatch()))
            return fail(unreadable);
        whole.remove(u'.');
    } else if (points == 1) {
        whole = t.section(u'.', 0, 0);
        frac = t.section(u'.', 1);
        // "1.234" is a thousand in Italian and one and a bit elsewhere.
        if (frac.size() == 3 && !whole.isEmpty() && whole.toLongLong() != 0)
            return fail(ambiguous);
    } else if (points > 1) {
        if (!grouped.match(t).hasMatch())
            return fail(unreadable);
        whole = t;
        whole.remove(u'.');
    } else {
        whole = t;
    }
    while (whole.size() > 1 && whole.startsWith(u'0'))
        whole.remove(0, 1);
    if (whole.isEmpty())
        whole = QStringLiteral("0");
    while (frac.endsWith(u'0'))
        frac.chop(1);
    if (decimals == 0 && !frac.isEmpty())
        return fail(QStringLiteral("Attenzione, numero incollato con decimali: \"%1\"; il campo accetta solo numeri "
                                   "interi. Il testo non è stato incollato.")
                        .arg(shown));
    if (frac.size() > decimals)
        return fail(QStringLiteral("Attenzione, numero incollato con troppi decimali: \"%1\"; al massimo %2 dopo la "
                                   "virgola. Il testo non è stato incollato.")
                        .arg(shown)
                        .arg(decimals));
    if (whole.size() > digits)
        return fail(QStringLiteral("Attenzione, numero incollato troppo grande: \"%1\"; al massimo %2 cifre intere. "
                                   "Il testo non è stato incollato.")
                        .arg(shown)
                        .arg(digits));
    return frac.isEmpty() ? whole : whole + u',' + frac;
}

// ---- TextBox ----

TextBox::TextBox(int maxLength, const QString &chars, bool upper, QWidget *parent) : LineEdit(parent)
{
    if (maxLength > 0)
        setMaxLength(maxLength);
    setValidator(new CharsValidator(chars, upper, this));
    setAcceptedText(describe(chars));
}

// ---- NumberBox ----

NumberBox::NumberBox(int digits, int decimals, bool thousands, QWidget *parent)
    : LineEdit(parent), digits_(digits), decimals_(decimals), thousands_(thousands)
{
    const QString re = decimals > 0 ? QStringLiteral("^\\d{0,%1}(,\\d{0,%2})?$").arg(digits).arg(decimals)
                                    : QStringLiteral("^\\d{0,%1}$").arg(digits);
    setValidator(new QRegularExpressionValidator(QRegularExpression(re), this));
    setAcceptedText(decimals > 0 ? QStringLiteral("cifre, al massimo %1 intere e %2 decimali dopo la virgola")
                                       .arg(digits).arg(decimals)
                                 : QStringLiteral("al massimo %1 cifre").arg(digits));
    setMaxLength(digits + (decimals > 0 ? decimals + 1 : 0));
    setAlignment(Qt::AlignRight);
}

void NumberBox::keyPressEvent(QKeyEvent *e)
{
    // The decimal point of the keyboard, wherever it is, types the comma
    // (on some keypads the decimal key already gives ",").
    const bool point = e->key() == Qt::Key_Period || e->text() == QLatin1String(".")
                       || ((e->modifiers() & Qt::KeypadModifier) && e->key() == Qt::Key_Comma);
    if (decimals_ > 0 && point && !(e->modifiers() & Qt::ControlModifier)) {
        Qt::KeyboardModifiers mods = e->modifiers();
        mods.setFlag(Qt::KeypadModifier, false);
        QKeyEvent comma(e->type(), Qt::Key_Comma, mods, QStringLiteral(","), e->isAutoRepeat(), ushort(e->count()));
        LineEdit::keyPressEvent(&comma);
        e->setAccepted(comma.isAccepted());
        return;
    }
    LineEdit::keyPressEvent(e);
}

QString NumberBox::keyRefusal(const QString &typed, const QString &before) const
{
    const QChar c = typed.isEmpty() ? QChar() : typed[0];
    if (c == u'-')
        return QStringLiteral("Attenzione, numeri negativi non ammessi.");
    if (decimals_ == 0 && (c == u'.' || c == u','))
        return QStringLiteral("Attenzione, il campo accetta solo numeri interi, senza punti né virgole.");
    if (c == u',')
        return QStringLiteral("Attenzione, la virgola decimale è già presente.");
    if (c.isDigit()) {
        const int comma = int(before.indexOf(u','));
        if (comma >= 0 && cursorPosition() > comma)
            return QStringLiteral("Attenzione, al massimo %1 decimali dopo la virgola: \"%2\" non è stato inserito.")
                .arg(decimals_)
                .arg(typed);
        return QStringLiteral("Attenzione, al massimo %1 cifre intere: \"%2\" non è stato inserito.")
            .arg(digits_)
            .arg(typed);
    }
    return LineEdit::keyRefusal(typed, before);
}

bool NumberBox::acceptPaste(QString &result, QString *why) const
{
    const QString n = pastedNumber(result, digits_, decimals_, why);
    if (n.isEmpty())
        return false;
    result = n;
    return true;
}

QVariant NumberBox::value() const
{
    QString t = text().trimmed();
    if (t.isEmpty())
        return {};
    if (decimals_ == 0) {
        t.remove(u'.');
        bool ok = false;
        const qlonglong v = t.toLongLong(&ok);
        return ok ? QVariant(v) : QVariant();
    }
    const auto q = Qty::parse(t);
    return q ? QVariant(qlonglong(q->toMilli())) : QVariant();
}

QString NumberBox::plain(const QVariant &v) const
{
    if (v.isNull() || !v.isValid())
        return {};
    if (decimals_ == 0)
        return QString::number(v.toLongLong());
    return Qty::fromMilli(v.toLongLong()).format(decimals_, false);
}

QString NumberBox::shown(const QVariant &v) const
{
    if (v.isNull() || !v.isValid())
        return {};
    if (decimals_ == 0)
        return thousands_ ? Qty::fromInt(v.toLongLong()).format(0, true) : QString::number(v.toLongLong());
    return Qty::fromMilli(v.toLongLong()).format(decimals_, thousands_);
}

void NumberBox::setValue(const QVariant &v)
{
    // Shown text may hold separators the validator would refuse while typing:
    // it is set directly and brought back to the plain form on focus.
    setMaxLength(32767);
    setText(hasFocus() ? plain(v) : shown(v));
    if (hasFocus())
        setMaxLength(digits_ + (decimals_ > 0 ? decimals_ + 1 : 0));
}

void NumberBox::focusInEvent(QFocusEvent *e)
{
    const QVariant v = value();
    const bool mod = isModified();
    setText(plain(v));
    setModified(mod);
    setMaxLength(digits_ + (decimals_ > 0 ? decimals_ + 1 : 0));
    LineEdit::focusInEvent(e);
}

void NumberBox::focusOutEvent(QFocusEvent *e)
{
    LineEdit::focusOutEvent(e);
    const QVariant v = value();
    setMaxLength(32767);
    blockSignals(true);
    setText(shown(v));
    blockSignals(false);
}

// ---- DateBox ----

DateBox::DateBox(QWidget *parent) : QWidget(parent)
{
    auto *lay = new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    lay->setSpacing(2);
    edit_ = new LineEdit(this);
    edit_->setInputMask(QStringLiteral("99/99/9999;_"));
    edit_->setAcceptedText(QStringLiteral("data gg/mm/aaaa"));
    edit_->setMinimumWidth(edit_->fontMetrics().horizontalAdvance(QStringLiteral("00/00/00000")) + 12);
    edit_->setMaximumWidth(edit_->minimumWidth() + 10);
    button_ = new QToolButton(this);
    button_->setText(QStringLiteral("..."));
    button_->setToolTip(QStringLiteral("Scegli la data dal calendario (F4)"));
    button_->setFocusPolicy(Qt::NoFocus);
    lay->addWidget(edit_);
    lay->addWidget(button_);
    lay->addStretch();
    setFocusProxy(edit_);
    connect(button_, &QToolButton::clicked, this, &DateBox::pick);
    connect(edit_, &QLineEdit::textEdited, this, &DateBox::edited);
}

bool DateBox::isBlank() const
{
    QString t = edit_->text();
    t.remove(u'/');
    return t.trimmed().isEmpty();
}

bool DateBox::isValidOrBlank() const
{
    return isBlank() || QDate::fromString(edit_->text(), QStringLiteral("dd/MM/yyyy")).isValid();
}

QString DateBox::isoValue() const
{
    const QDate d = QDate::fromString(edit_->text(), QStringLiteral("dd/MM/yyyy"));
    return d.isValid() ? d.toString(Qt::ISODate) : QString();
}

void DateBox::setIsoValue(const QString &iso)
{
    const QDate d = QDate::fromString(iso, Qt::ISODate);
    edit_->setText(d.isValid() ? d.toString(QStringLiteral("dd/MM/yyyy")) : QString());
    if (!d.isValid())
        edit_->setCursorPosition(0);
}

void DateBox::pick()
{
    QDialog dlg(this);
    dlg.setWindowTitle(QStringLiteral("Scegli la data"));
    auto *lay = new QVBoxLayout(&dlg);
    auto *cal = new QCalendarWidget(&dlg);
    cal->setLocale(QLocale(QLocale::Italian, QLocale::Italy));
    const QDate d = QDate::fromString(edit_->text(), QStringLiteral("dd/MM/yyyy"));
    if (d.isValid())
        cal->setSelectedDate(d);
    lay->addWidget(cal);
    auto *bb = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dlg);
    bb->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("Annulla"));
    lay->addWidget(bb);
    connect(bb, &QDialogButtonBox::accepted, &dlg, &QDialog::accept);
    connect(bb, &QDialogButtonBox::rejected, &dlg, &QDialog::reject);
    connect(cal, &QCalendarWidget::activated, &dlg, &QDialog::accept);
    if (dlg.exec() == QDialog::Accepted) {
        edit_->setText(cal->selectedDate().toString(QStringLiteral("dd/MM/yyyy")));
        Q_EMIT edited();
    }
    edit_->setFocus();
}

// ---- ComboKgt ----

ComboKgt::ComboKgt(QWidget *parent) : QComboBox(parent)
{
    addItem(unitText(1), 1);
    addItem(unitText(2), 2);
    setCurrentIndex(-1);
}

int ComboKgt::code() const
{
    return unitCode(currentText());
}

void ComboKgt::setCode(int code)
{
    setCurrentIndex(findData(code == 1 || code == 2 ? code : -1));
}

QtyBox::QtyBox(QWidget *parent) : QWidget(parent)
{
    auto *lay = new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    amount_ = new NumberBox(7, 3, true, this);
    unit_ = new ComboKgt(this);
    lay->addWidget(amount_, 1);
    lay->addWidget(unit_);
    setFocusProxy(amount_);
}

// ---- QtyDelegate ----

QWidget *QtyDelegate::createEditor(QWidget *parent, const QStyleOptionViewItem &, const QModelIndex &) const
{
    auto *e = new NumberBox(7, 3, true, parent);
    e->setMessages(&msg_);
    return e;
}

void QtyDelegate::setEditorData(QWidget *editor, const QModelIndex &index) const
{
    const auto q = Qty::parse(index.data(Qt::EditRole).toString());
    auto *e = static_cast<NumberBox *>(editor);
    e->setValue(q ? QVariant(qlonglong(q->toMilli())) : QVariant());
    e->setText(e->text().remove(u'.')); // edited without the thousands points
}

void QtyDelegate::setModelData(QWidget *editor, QAbstractItemModel *model, const QModelIndex &index) const
{
    const QVariant v = static_cast<NumberBox *>(editor)->value();
    model->setData(index, Qty::fromMilli(v.isNull() ? 0 : v.toLongLong()).format(3), Qt::EditRole);
}

// ---- ComboCom ----

ComboCom::ComboCom(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx), search_(ctx.db, ctx.msg)
{
    auto *lay = new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    lay->setSpacing(2);
    edit_ = new LineEdit(this);
    edit_->setMaxLength(60);
    edit_->setPlaceholderText(QStringLiteral("digitare l'inizio del nome"));
    button_ = new QToolButton(this);
    button_->setArrowType(Qt::DownArrow);
    button_->setFocusPolicy(Qt::NoFocus);
    button_->setToolTip(QStringLiteral("Elenco dei comuni trovati (F4)"));
    lay->addWidget(edit_, 1);
    lay->addWidget(button_);
    setFocusProxy(edit_);
    model_ = new QStringListModel(this);
    completer_ = new QCompleter(model_, this);
    completer_->setCaseSensitivity(Qt::CaseInsensitive);
    completer_->setCompletionMode(QCompleter::UnfilteredPopupCompletion);
    completer_->setMaxVisibleItems(12);
    completer_->setWidget(edit_);
    completer_->popup()->installEventFilter(this);
    auto *timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setInterval(250);
    connect(edit_, &QLineEdit::textEdited, this, [timer] { timer->start(); });
    connect(timer, &QTimer::timeout, this, &ComboCom::typed);
    connect(completer_, qOverload<const QModelIndex &>(&QCompleter::activated), this,
            [this](const QModelIndex &i) { choose(i.row()); });
    connect(button_, &QToolButton::clicked, this, [this] {
        edit_->setFocus();
        if (!edit_->text().trimmed().isEmpty())
            searchNow(false);
    });
}

bool ComboCom::eventFilter(QObject *o, QEvent *e)
{
    // Keys typed while the list is open reach the list first: Tab and Enter
    // settle the choice and then move on, as they would with the list closed.
    QAbstractItemView *popup = completer_->popup();
    if (o == popup && e->type() == QEvent::KeyPress && popup->isVisible()) {
        auto *k = static_cast<QKeyEvent *>(e);
        const int key = k->key();
        if (key == Qt::Key_Tab || key == Qt::Key_Backtab || key == Qt::Key_Return || key == Qt::Key_Enter) {
            const QModelIndex i = popup->currentIndex();
            const bool picked = i.isValid() && popup->selectionModel()->isSelected(i);
            popup->hide();
            bool ok = true;
            if (picked)
                choose(i.row());
            else
                ok = settle();
            if (ok) {
                QKeyEvent forward(QEvent::KeyPress, key, k->modifiers());
                QApplication::sendEvent(edit_, &forward);
            }
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void ComboCom::typed()
{
    const QString t = edit_->text().trimmed();
    if (t.size() < 2 || t == chosenText_)
        return;
    searchNow(true);
}

void ComboCom::searchNow(bool quiet)
{
    const QString t = edit_->text().trimmed();
    if (t == chosenText_ && key_ != 0)
        return;
    search_.search(t, quiet);
    QStringList items;
    for (const auto &r : search_.rows())
        items << r.comDesc + QStringLiteral(" (") + r.prvSigla + u')';
    model_->setStringList(items);
    if (!items.isEmpty() && edit_->hasFocus()) {
        completer_->setCompletionPrefix(QString());
        completer_->complete();
    }
}

void ComboCom::choose(int index)
{
    if (index < 0 || index >= search_.rows().size())
        return;
    const auto &r = search_.rows()[index];
    const int before = key_;
    row_ = r;
    key_ = r.key();
    chosenText_ = r.comDesc;
    edit_->setText(r.comDesc);
    if (key_ != before)
        Q_EMIT changed();
}

bool ComboCom::settle()
{
    if (completer_->popup()->isVisible())
        completer_->popup()->hide();
    const QString t = edit_->text().trimmed();
    if (t.isEmpty()) {
        if (key_ != 0) {
            key_ = 0;
            row_ = {};
            chosenText_.clear();
            Q_EMIT changed();
        }
        return true;
    }
    if (key_ != 0 && t == chosenText_)
        return true;
    const int n = search_.search(t, false);
    if (n == 0)
        return false;
    // One match, or an exact name among several (the first in name order).
    int exact = -1;
    for (int i = 0; i < n; ++i)
        if (search_.rows()[i].comDesc.compare(t, Qt::CaseInsensitive) == 0) {
            exact = i;
            break;
        }
    if (n == 1 || exact >= 0) {
        // Homonyms in different provinces: the list lets the user choose.
        int same = 0;
        for (const auto &r : search_.rows())
            same += r.comDesc.compare(t, Qt::CaseInsensitive) == 0;
        if (n == 1 || same == 1) {
            choose(n == 1 ? 0 : exact);
            return true;
        }
    }
    QStringList items;
    for (const auto &r : search_.rows())
        items << r.comDesc + QStringLiteral(" (") + r.prvSigla + u')';
    model_->setStringList(items);
    completer_->setCompletionPrefix(QString());
    completer_->complete();
    return false;
}

void ComboCom::setCodes(int prvIstat, int comIstat)
{
    key_ = 0;
    row_ = {};
    chosenText_.clear();
    if (search_.lookup(prvIstat, comIstat) == 1) {
        row_ = search_.rows()[0];
        key_ = row_.key();
        chosenText_ = row_.comDesc;
    }
    edit_->setText(chosenText_);
    model_->setStringList({});
    Q_EMIT changed();
}

bool ComboCom::requiredOk(Messages &msg) const
{
    return refdata::pickerRequiredOk(Required, key_ != 0, MsgRequired, msg);
}

// ---- ActivityBox ----

ActivityBox::ActivityBox(AppContext &ctx, QWidget *parent) : QWidget(parent), ctx_(ctx)
{
    auto *lay = new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    lay->setSpacing(2);
    edit_ = new LineEdit(this);
    edit_->setInputMask(QStringLiteral("99.99.99;_"));
    edit_->setAcceptedText(QStringLiteral("solo cifre"));
    edit_->setMinimumWidth(edit_->fontMetrics().horizontalAdvance(QStringLiteral("00.00.000")) + 12);
    edit_->setMaximumWidth(edit_->minimumWidth() + 10);
    button_ = new QToolButton(this);
    button_->setText(QStringLiteral("..."));
    button_->setToolTip(QStringLiteral("Elenco dei codici ISTAT delle attività (F4)"));
    button_->setFocusPolicy(Qt::NoFocus);
    lay->addWidget(edit_);
    lay->addWidget(button_);
    lay->addStretch();
    setFocusProxy(edit_);
    connect(edit_, &QLineEdit::textEdited, this, &ActivityBox::edited);
    connect(button_, &QToolButton::clicked, this, &ActivityBox::openList);
}

QString ActivityBox::code() const
{
    return refdata::activityStored(edit_->text());
}

void ActivityBox::setCode(const QString &stored)
{
    edit_->setText(refdata::activityMasked(stored));
    if (stored.isEmpty())
        edit_->setCursorPosition(0); // typing starts at the first digit
}

void ActivityBox::openList()
{
    const QString c = pickActivity(ctx_, this, code());
    if (!c.isEmpty()) {
        setCode(c);
        Q_EMIT edited();
    }
    edit_->setFocus();
}

QString pickActivity(AppContext &ctx, QWidget *parent, const QString &current)
{
    ListWindow w(QStringLiteral("Codici ISTAT attività"), {QStringLiteral("Codice"), QStringLiteral("Descrizione")}, parent);
    for (const auto &r : refdata::activityList(ctx.db))
        w.addRow({refdata::activityMasked(r.code), r.desc}, r.code);
    w.select(current);
    return w.exec() == QDialog::Accepted ? w.chosen().toString() : QString();
}

QString pickRegCE(AppContext &ctx, QWidget *parent, const QString &current)
{
    ListWindow w(QStringLiteral("Codici Regolamento CE 1013/2006"),
                 {QStringLiteral("Codice"), QStringLiteral("Descrizione")}, parent);
    for (const auto &r : refdata::regCEList(ctx.db))
        w.addRow({r.code, r.desc}, r.code);
    w.select(current);
    return w.exec() == QDialog::Accepted ? w.chosen().toString() : QString();
}

QString pickWasteCode(AppContext &ctx, QWidget *parent, const QString &current)
{
    ListWindow w(QStringLiteral("Tabella rifiuti"),
                 {QStringLiteral("Codice"), QStringLiteral("Classe"), QStringLiteral("Descrizione")}, parent);
    for (const auto &r : refdata::wasteTable(ctx.db))
        w.addRow({r.code, r.extra, r.desc}, r.code);
    w.select(current);
    return w.exec() == QDialog::Accepted ? w.chosen().toString() : QString();
}

// ---- OptionGroup ----

OptionGroup::OptionGroup(const QStringList &captions, QWidget *parent) : QWidget(parent)
{
    // Short captions side by side; long ones one under the other, so that
    // the choice does not widen its form past the screen.
    constexpr int RowChars = 60;
    QBoxLayout *lay = captions.join(QString()).size() > RowChars ? static_cast<QBoxLayout *>(new QVBoxLayout(this))
                                                                 : new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    group_ = new QButtonGroup(this);
    for (int i = 0; i < captions.size(); ++i) {
        auto *b = new QRadioButton(captions[i], this);
        group_->addButton(b, i + 1);
        lay->addWidget(b);
    }
    lay->addStretch();
    connect(group_, &QButtonGroup::idClicked, this, &OptionGroup::changed);
}

int OptionGroup::value() const
{
    return qMax(0, group_->checkedId());
}

void OptionGroup::setValue(int v)
{
    if (QAbstractButton *b = group_->button(v)) {
        b->setChecked(true);
    } else if (QAbstractButton *c = group_->checkedButton()) {
        group_->setExclusive(false);
        c->setChecked(false);
        group_->setExclusive(true);
    }
}

// ---- Navigator ----

// The navigator's caption: asks for the room of the longest caption of its
// form (so the buttons do not jump as the count grows) but, when the row
// truly has no more room, is shortened with "..." and says the whole in its
// tooltip. Never drawn under its neighbours.
class CaptionLabel : public QWidget {
public:
    CaptionLabel(const QString &longest, QWidget *parent) : QWidget(parent), longest_(longest)
    {
        setObjectName(QStringLiteral("caption"));
        setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    }
    void setText(const QString &t)
    {
        text_ = t;
        updateTip();
        update();
    }
    QString text() const { return text_; }
    bool whole() const { return fontMetrics().horizontalAdvance(text_) + 2 * Pad <= width(); }
    QSize sizeHint() const override
    {
        return {fontMetrics().horizontalAdvance(longest_) + 2 * Pad, fontMetrics().height() + 4};
    }
    QSize minimumSizeHint() const override
    {
        // Enough for the count of a long list ("... 9999 di 9999").
        return {fontMetrics().horizontalAdvance(QStringLiteral("...9999 di 9999")) + 2 * Pad, sizeHint().height()};
    }

protected:
    void resizeEvent(QResizeEvent *e) override
    {
        QWidget::resizeEvent(e);
        updateTip();
    }
    void paintEvent(QPaintEvent *) override
    {
        QPainter p(this);
        const QRect r = rect().adjusted(Pad, 0, -Pad, 0);
        // Shortened at its start: the position and the count stay readable.
        p.drawText(r, Qt::AlignCenter, fontMetrics().elidedText(text_, Qt::ElideLeft, r.width()));
    }

private:
    void updateTip() { setToolTip(whole() ? QString() : text_); }
    static constexpr int Pad = 8;
    QString longest_, text_;
};

Navigator::Navigator(const QString &text, QWidget *parent) : QWidget(parent), text_(text)
{
    auto *lay = new QHBoxLayout(this);
    lay->setContentsMargins(0, 0, 0, 0);
    auto mk = [this, lay](const QString &t, const QString &tip) {
        auto *b = new QToolButton(this);
        b->setText(t);
        b->setToolTip(tip);
        b->setFocusPolicy(Qt::NoFocus);
        b->setProperty("causesValidation", false);
        lay->addWidget(b);
        return b;
    };
    first_ = mk(QStringLiteral("|<"), QStringLiteral("Primo (Ctrl+Home)"));
    prev_ = mk(QStringLiteral("<"), QStringLiteral("Precedente (Ctrl+PgSu)"));
    const QFontMetrics fm = fontMetrics();
    const QString counted = text + QStringLiteral(" 9999 di 9999");
    const QString fresh = text + QStringLiteral(" - nuovo inserimento (totale 9999)");
    label_ = new CaptionLabel(fm.horizontalAdvance(counted) > fm.horizontalAdvance(fresh) ? counted : fresh, this);
    lay->addWidget(label_, 1);
    next_ = mk(QStringLiteral(">"), QStringLiteral("Successivo (Ctrl+PgGiù)"));
    last_ = mk(QStringLiteral(">|"), QStringLiteral("Ultimo (Ctrl+End)"));
    connect(first_, &QToolButton::clicked, this, [this] { Q_EMIT moveTo(1); });
    connect(prev_, &QToolButton::clicked, this, [this] { Q_EMIT moveTo(qMax(1, pos_ - 1)); });
    connect(next_, &QToolButton::clicked, this, [this] { Q_EMIT moveTo(qMin(count_, pos_ + 1)); });
    connect(last_, &QToolButton::clicked, this, [this] { Q_EMIT moveTo(count_); });
    setPosition(0, 0);
}

QString Navigator::caption() const
{
    if (pos_ == 0)
        return text_ + QStringLiteral(" - nuovo inserimento (totale %1)").arg(count_);
    return text_ + QStringLiteral(" %1 di %2").arg(pos_).arg(count_);
}

bool Navigator::captionWhole() const
{
    return label_->whole();
}

void Navigator::setPosition(int position, int count)
{
    pos_ = position;
    count_ = count;
    label_->setText(caption());
    first_->setEnabled(count > 0 && position != 1);
    prev_->setEnabled(count > 0 && position > 1);
    next_->setEnabled(count > 0 && position < count);
    last_->setEnabled(count > 0 && position != count);
}

// ---- ListWindow ----

ListWindow::ListWindow(const QString &title, const QStringList &headers, QWidget *parent) : QDialog(parent)
{
    setWindowTitle(title);
    auto *lay = new QVBoxLayout(this);
    auto *row = new QHBoxLayout;
    auto *lab = new QLabel(QStringLiteral("&Cerca:"), this);
    filter_ = new QLineEdit(this);
    filter_->setClearButtonEnabled(true);
    lab->setBuddy(filter_);
    row->addWidget(lab);
    row->addWidget(filter_);
    lay->addLayout(row);
    tree_ = new QTreeWidget(this);
    tree_->setRootIsDecorated(false);
    tree_->setAlternatingRowColors(true);
    tree_->setHeaderLabels(headers);
    tree_->setUniformRowHeights(true);
    tree_->header()->setStretchLastSection(true);
    lay->addWidget(tree_);
    auto *bb = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    bb->button(QDialogButtonBox::Ok)->setText(QStringLiteral("&Scegli"));
    bb->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("&Annulla"));
    lay->addWidget(bb);
    connect(bb, &QDialogButtonBox::accepted, this, &ListWindow::accept);
    connect(bb, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(tree_, &QTreeWidget::itemActivated, this, [this] { accept(); });
    connect(filter_, &QLineEdit::textChanged, this, [this](const QString &t) {
        QTreeWidgetItem *firstShown = nullptr;
        for (int i = 0; i < tree_->topLevelItemCount(); ++i) {
            auto *it = tree_->topLevelItem(i);
            bool hit = t.isEmpty();
            for (int c = 0; !hit && c < it->columnCount(); ++c)
                hit = it->text(c).contains(t, Qt::CaseInsensitive);
            it->setHidden(!hit);
            if (hit && !firstShown)
                firstShown = it;
        }
        if (firstShown)
            tree_->setCurrentItem(firstShown);
    });
    resize(720, 480);
}

void ListWindow::addRow(const QStringList &texts, const QVariant &data)
{
    auto *it = new QTreeWidgetItem(tree_, texts);
    it->setData(0, Qt::UserRole, data);
    for (int c = 0; c < texts.size(); ++c)
        it->setToolTip(c, texts[c]); // long descriptions are cut in the column
    if (tree_->topLevelItemCount() == 1)
        tree_->setCurrentItem(it);
    if (texts.size() > 1 && tree_->topLevelItemCount() == 1)
        tree_->resizeColumnToContents(0);
}

void ListWindow::select(const QVariant &data)
{
    for (int i = 0; i < tree_->topLevelItemCount(); ++i)
        if (tree_->topLevelItem(i)->data(0, Qt::UserRole) == data) {
            tree_->setCurrentItem(tree_->topLevelItem(i));
            tree_->scrollToItem(tree_->topLevelItem(i));
            return;
        }
}

void ListWindow::accept()
{
    auto *it = tree_->currentItem();
    if (!it || it->isHidden())
        return;
    chosen_ = it->data(0, Qt::UserRole);
    QDialog::accept();
}

} // namespace ui
