#include "ui/recordform.h"

#include "shell/messages.h"
#include "ui/controls.h"
#include "ui/desktop.h"
#include "ui/fieldform.h"
#include "ui/splitrow.h"

#include <QApplication>
#include <QCloseEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QShortcut>
#include <QStyle>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace ui {

namespace {

// The scrolled body of a form asks for the whole form: a window opens as
// large as its content (the screen permitting) and scrolls only beyond.
class BodyScroll : public QScrollArea {
public:
    using QScrollArea::QScrollArea;
    QSize sizeHint() const override
    {
        if (!widget())
            return QScrollArea::sizeHint();
        const int frame = 2 * frameWidth();
        return widget()->sizeHint() + QSize(frame + verticalScrollBar()->sizeHint().width(), frame);
    }
};

} // namespace

RecordForm::RecordForm(AppContext &ctx, RecordLayout layout, RecordBinding binding, QWidget *parent)
    : QWidget(parent), ctx_(ctx), layout_(std::move(layout)), b_(std::move(binding))
{
    setWindowTitle(layout_.title);
    auto *outer = new QVBoxLayout(this);
    header_ = new QVBoxLayout;
    outer->addLayout(header_);
    // Fields and side panel scroll when the window is smaller than the form.
    auto *scroll = new BodyScroll(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setFocusPolicy(Qt::NoFocus); // a frame, not a Tab stop
    auto *inner = new QWidget(scroll);
    fields_ = new FieldForm(ctx_, layout_.fields, inner);
    if (b_.exitRule)
        fields_->setExitRule(b_.exitRule);
    auto *fieldsPart = new QVBoxLayout;
    fieldsPart->addWidget(fields_);
    side_ = new QVBoxLayout;
    // The side panel (a summary, the operations of an authorisation) beside
    // the fields, or under them when the form is narrower than both.
    const int gap = style()->pixelMetric(QStyle::PM_LayoutHorizontalSpacing);
    auto *middle = new SplitRow(fieldsPart, side_, SplitRow::FirstStretches, gap);
    inner->setLayout(middle);
    scroll->setWidget(inner);
    outer->addWidget(scroll, 1);

    // The navigator with "Elenco", then the buttons: one row while both
    // fit, two when the form is narrower.
    auto *navRow = new QHBoxLayout;
    if (layout_.navigator) {
        nav_ = new Navigator(layout_.navText, this);
        navRow->addWidget(nav_);
        connect(nav_, &Navigator::moveTo, this, &RecordForm::moveTo);
        list_ = new QPushButton(QStringLiteral("E&lenco"), this);
        list_->setProperty("causesValidation", false);
        navRow->addWidget(list_);
        connect(list_, &QPushButton::clicked, this, &RecordForm::openList);
    }
    navRow->addStretch();
    buttons_ = new QHBoxLayout;
    buttons_->addStretch();
    auto mk = [this](const QString &t, bool validates) {
        auto *b = new QPushButton(t, this);
        b->setAutoDefault(false);
        if (!validates)
            b->setProperty("causesValidation", false);
        buttons_->addWidget(b);
        return b;
    };
    new_ = mk(layout_.newText, false);
    save_ = mk(layout_.saveText, true);
    delete_ = mk(layout_.deleteText, false);
    close_ = mk(layout_.closeText, false);
    outer->addLayout(new SplitRow(navRow, buttons_, SplitRow::SecondStretches, gap));

    connect(new_, &QPushButton::clicked, this, [this] {
        if (confirmLeave())
            startNew(b_.blank ? b_.blank() : fields::Record{});
    });
    connect(save_, &QPushButton::clicked, this, [this] { save(); });
    connect(delete_, &QPushButton::clicked, this, &RecordForm::removeCurrent);
    connect(close_, &QPushButton::clicked, this, [this] {
        if (QWidget *w = parentWidget(); w && w->inherits("QMdiSubWindow"))
            w->close();
        else
            close();
    });
    connect(fields_, &FieldForm::modifiedChanged, this, &RecordForm::updateState);
    // The keyboard: Ctrl+S saves, Ctrl+N starts a new record, Esc closes,
    // Ctrl+PgUp/PgDn (Ctrl+Home/End) move between the records.
    addShortcut(save_, QKeySequence::Save, this);
    addShortcut(new_, QKeySequence::New, this);
    // Esc closes a record window of its own (a module); inside the main
    // window the frame closes the active form.
    escape_ = setEscapeButton(this, close_);
    if (nav_) {
        auto move = [this](QKeySequence seq, std::function<int()> to) {
            auto *s = new QShortcut(seq, this);
            s->setContext(Qt::WidgetWithChildrenShortcut);
            connect(s, &QShortcut::activated, this, [this, to] {
                if (nav_->count() > 0)
                    moveTo(qBound(1, to(), nav_->count()));
            });
        };
        // On a new record the previous one is the last.
        move(QKeySequence(Qt::CTRL | Qt::Key_PageUp),
             [this] { return nav_->position() ? nav_->position() - 1 : nav_->count(); });
        move(QKeySequence(Qt::CTRL | Qt::Key_PageDown), [this] { return nav_->position() + 1; });
        move(QKeySequence(Qt::CTRL | Qt::Key_Home), [] { return 1; });
        move(QKeySequence(Qt::CTRL | Qt::Key_End), [this] { return nav_->count(); });
    }
    // The record keys win over the text keys of the fields (Ctrl+Home and
    // Ctrl+End would move the cursor inside the text).
    for (int p = 0; p < layout_.fields.size(); ++p)
        if (QWidget *c = fields_->control(layout_.fields[p].name))
            for (QWidget *w : FieldForm::tabStops(c))
                w->installEventFilter(this);
    reloadKeys();
    updateState();
}

bool RecordForm::eventFilter(QObject *o, QEvent *e)
{
    if (e->type() == QEvent::ShortcutOverride && nav_) {
        auto *k = static_cast<QKeyEvent *>(e);
        if (k->modifiers() == Qt::ControlModifier
            && (k->key() == Qt::Key_Home || k->key() == Qt::Key_End || k->key() == Qt::Key_PageUp
                || k->key() == Qt::Key_PageDown)) {
            e->ignore();
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

void RecordForm::showEvent(QShowEvent *e)
{
    // Inputs a form adds beside its field table (the grids of operation
    // rows) explain their refusals as the fields do.
    for (LineEdit *l : findChildren<LineEdit *>())
        l->setMessages(&ctx_.msg);
    escape_->setEnabled(isWindow());
    QWidget::showEvent(e);
}

bool RecordForm::isModified() const
{
    return fields_->isModified() || forceModified_;
}

void RecordForm::reloadKeys()
{
    keys_ = b_.keys ? b_.keys(key_) : QVector<qint64>{};
    updateState();
}

QPushButton *RecordForm::addRecordButton(const QString &text)
{
    auto *b = new QPushButton(text, this);
    b->setAutoDefault(false);
    b->setProperty("causesValidation", false);
    buttons_->insertWidget(buttons_->indexOf(new_), b);
    recordButtons_ << b;
    updateState();
    return b;
}

void RecordForm::updateState()
{
    save_->setEnabled(isModified());
    for (QPushButton *b : std::as_const(recordButtons_))
        b->setEnabled(key_ > 0);
    delete_->setEnabled(key_ > 0);
    if (nav_)
        nav_->setPosition(int(keys_.indexOf(key_)) + 1, int(keys_.size()));
    if (list_)
        list_->setEnabled(!keys_.isEmpty());
}

void RecordForm::showRecord(qint64 key)
{
    key_ = key;
    forceModified_ = false;
    fields_->setRecord(key > 0 && b_.load ? b_.load(key) : (b_.blank ? b_.blank() : fields::Record{}));
    reloadKeys();
    Q_EMIT shown(key_);
}

void RecordForm::startNew(const fields::Record &r)
{
    key_ = 0;
    fields_->setRecord(r);
    forceModified_ = !r.isEmpty();
    reloadKeys();
    fields_->focusField(0);
    Q_EMIT shown(0);
}

bool RecordForm::confirmLeave()
{
    if (!isModified())
        return true;
    if (ctx_.msg.question(layout_.modifiedQuestion))
        return save();
    return true;
}

bool RecordForm::save()
{
    if (!fields_->leaveCurrent())
        return false;
    // A quantity without its unit would be read as tonnes by the checks and
    // written with unit 0 in the file: refused before the form's own rules.
    const fields::Record rec = fields_->record();
    const int noUnit = fields::firstUnitMissing(fields_->table(), rec, ctx_.msg, [this](const fields::Field &f) {
        const QWidget *w = fields_->control(f.name);
        return !w || w->isEnabled();
    });
    if (noUnit >= 0) {
        if (auto *q = qobject_cast<QtyBox *>(fields_->control(fields_->table()[noUnit].name)))
            fields_->focusWidget(q->unit());
        return false;
    }
    int bad = -1;
    const qint64 k = b_.save ? b_.save(key_, rec, &bad) : 0;
    if (k <= 0) {
        if (bad >= 0)
            fields_->focusField(bad);
        return false;
    }
    key_ = k;
    reloadKeys();
    fields_->setRecord(b_.load ? b_.load(key_) : fields_->record());
    forceModified_ = false;
    updateState();
    Q_EMIT saved(key_);
    return true;
}

void RecordForm::removeCurrent()
{
    if (key_ <= 0 || !b_.remove)
        return;
    const qint64 gone = key_;
    QVector<qint64> rest = keys_;
    const int pos = int(rest.indexOf(gone));
    if (!b_.remove(gone))
        return;
    rest.removeAll(gone);
    // The row that took its place, or the one before; none left: a new row.
    showRecord(rest.isEmpty() ? 0 : rest[qBound(0, pos, int(rest.size()) - 1)]);
    Q_EMIT removed(gone);
}

void RecordForm::moveTo(int position)
{
    if (position < 1 || position > keys_.size() || keys_[position - 1] == key_)
        return;
    if (!confirmLeave())
        return;
    showRecord(keys_[position - 1]);
}

void RecordForm::openList()
{
    if (!confirmLeave())
        return;
    ListWindow w(layout_.title, layout_.listHeaders, this);
    for (qint64 k : std::as_const(keys_))
        w.addRow(b_.listRow ? b_.listRow(k) : QStringList{QString::number(k)}, k);
    w.select(key_);
    if (w.exec() == QDialog::Accepted)
        showRecord(w.chosen().toLongLong());
}

void RecordForm::closeEvent(QCloseEvent *e)
{
    if (!confirmLeave()) {
        e->ignore();
        return;
    }
    e->accept();
}

} // namespace ui
