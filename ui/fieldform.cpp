#include "ui/fieldform.h"

#include "shell/messages.h"
#include "ui/controls.h"

#include <QApplication>
#include <QCheckBox>
#include <QCompleter>
#include <QAbstractItemView>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QPointer>
#include <QStackedWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace ui {

using fields::Field;
using fields::Kind;

namespace {

// A long field shows this many characters and scrolls the rest: a name of
// 60 characters is read whole on leaving it, not kept whole on screen.
constexpr int ShownChars = 28;

// Room for `chars` characters of what the fields hold (capitals and digits,
// at their average width) inside the frame of a box.
int charsWidth(const QWidget *w, int chars)
{
    static const QString sample = QStringLiteral("ABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789");
    const int average = (w->fontMetrics().horizontalAdvance(sample) + int(sample.size()) - 1) / int(sample.size());
    return average * qBound(2, chars, ShownChars) + 16;
}

// A long caption keeps one line while its column has room and wraps onto a
// second one when the form is narrow, rather than widening the form.
class FieldLabel : public QLabel {
public:
    FieldLabel(const QString &text, QWidget *parent) : QLabel(text, parent)
    {
        setWordWrap(true);
        setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    }
    QSize sizeHint() const override
    {
        const int w = fontMetrics().horizontalAdvance(QString(text()).remove(u'&')) + 2 * margin() + 4;
        return {w, heightForWidth(w)};
    }
    QSize minimumSizeHint() const override
    {
        const QSize one = sizeHint();
        return {qMin(one.width(), one.width() / 2 + 4 * fontMetrics().averageCharWidth()), one.height()};
    }
};

// Captions longer than this may wrap.
constexpr int OneLineCaption = 28;

} // namespace

FieldForm::FieldForm(AppContext &ctx, const fields::Table &table, QWidget *parent)
    : QWidget(parent), ctx_(ctx), table_(table)
{
    build();
    connect(qApp, &QApplication::focusChanged, this, &FieldForm::focusChanged);
}

FieldForm::~FieldForm() = default;

void FieldForm::build()
{
    auto *outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    QHash<QString, ComboCom *> pickers;

    for (int pos = 0; pos < table_.size(); ++pos) {
        const Field &f = table_[pos];
        QGridLayout *grid = grids_.value(f.group);
        if (!grid) {
            QWidget *holder;
            if (f.group.isEmpty()) {
                holder = new QWidget(this);
            } else {
                auto *box = new QGroupBox(f.group, this);
                boxes_.insert(f.group, box);
                holder = box;
            }
            grid = new QGridLayout(holder);
            if (f.group.isEmpty())
                grid->setContentsMargins(0, 0, 0, 0);
            grids_.insert(f.group, grid);
            outer->addWidget(holder);
        }
        QWidget *parentW = grid->parentWidget();
        Slot s;
        s.pos = pos;
        QWidget *w = nullptr;
        auto onEdit = [this] { edited(); };
        switch (f.kind) {
        case Kind::Text: {
            auto *e = new TextBox(f.length, f.chars, f.upper, parentW);
            e->setMessages(&ctx_.msg);
            e->setMinimumWidth(charsWidth(e, f.width ? f.width : f.length));
            if (f.length > 0 && f.length <= 16)
                e->setMaximumWidth(charsWidth(e, f.length + 3)); // short codes do not stretch
            connect(e, &QLineEdit::textEdited, this, onEdit);
            s.get = [e, f](fields::Record &r) { r.insert(f.name, e->text()); };
            s.set = [e, f](const fields::Record &r) { e->setText(r.value(f.name).toString()); };
            w = e;
            break;
        }
        case Kind::Integer:
        case Kind::Decimal: {
            auto *e = new NumberBox(f.length, f.kind == Kind::Decimal ? qBound(1, f.decimals ? f.decimals : 3, 3) : 0,
                                    f.kind == Kind::Decimal || f.thousands, parentW);
            e->setMessages(&ctx_.msg);
            e->setMinimumWidth(charsWidth(e, f.width ? f.width : f.length + 3));
            e->setMaximumWidth(charsWidth(e, f.length + 6));
            connect(e, &QLineEdit::textEdited, this, onEdit);
            s.get = [e, f](fields::Record &r) { r.insert(f.name, e->value()); };
            s.set = [e, f](const fields::Record &r) { e->setValue(r.value(f.name)); };
            w = e;
            break;
        }
        case Kind::Quantity: {
            auto *q = new QtyBox(parentW);
            q->amount()->setMessages(&ctx_.msg);
            q->amount()->setMinimumWidth(charsWidth(q, 12));
            connect(q->amount(), &QLineEdit::textEdited, this, onEdit);
            connect(q->unit(), &QComboBox::activated, this, onEdit);
            s.get = [q, f](fields::Record &r) {
                r.insert(f.name, q->amount()->value());
                r.insert(f.name2, q->unit()->code());
            };
            s.set = [q, f](const fields::Record &r) {
                q->amount()->setValue(r.value(f.name));
                q->unit()->setCode(r.value(f.name2).toInt());
            };
            w = q;
            break;
        }
        case Kind::Date: {
            auto *d = new DateBox(parentW);
            connect(d, &DateBox::edited, this, onEdit);
            s.get = [d, f](fields::Record &r) { r.insert(f.name, d->isoValue()); };
            s.set = [d, f](const fields::Record &r) { d->setIsoValue(r.value(f.name).toString()); };
            s.ownCheck = [d, this] {
                if (d->isValidOrBlank())
                    return true;
                ctx_.msg.information(QStringLiteral("Attenzione, data non valida: digitare gg/mm/aaaa."));
                return false;
            };
            s.focus = d->edit();
            w = d;
            break;
        }
        case Kind::Check: {
            auto *c = new QCheckBox(f.caption, parentW);
            connect(c, &QCheckBox::toggled, this, onEdit);
            s.get = [c, f](fields::Record &r) { r.insert(f.name, c->isChecked() ? 1 : 0); };
            s.set = [c, f](const fields::Record &r) { c->setChecked(r.value(f.name).toInt() != 0); };
            w = c;
            break;
        }
        case Kind::Option: {
            auto *o = new OptionGroup(f.options, parentW);
            connect(o, &OptionGroup::changed, this, onEdit);
            s.get = [o, f](fields::Record &r) { r.insert(f.name, o->value()); };
            s.set = [o, f](const fields::Record &r) { o->setValue(r.value(f.name).toInt()); };
            w = o;
            break;
        }
        case Kind::Municipality: {
            auto *c = new ComboCom(ctx_, parentW);
            qobject_cast<LineEdit *>(c->edit())->setMessages(&ctx_.msg);
            c->Required = !f.required.isEmpty();
            c->MsgRequired = f.required;
            c->setMinimumWidth(charsWidth(c, 24));
            connect(c, &ComboCom::changed, this, onEdit);
            s.get = [c, f](fields::Record &r) {
                r.insert(f.name, c->prvIstat());
                r.insert(f.name2, c->comIstat());
            };
            s.set = [c, f](const fields::Record &r) {
                c->setCodes(r.value(f.name).toInt(), r.value(f.name2).toInt());
            };
            s.ownCheck = [c] { return c->settle(); };
            s.focus = c->edit();
            pickers.insert(f.name.toLower(), c);
            w = c;
            break;
        }
        case Kind::Province: {
            auto *e = new QLineEdit(parentW);
            e->setReadOnly(true);
            e->setFocusPolicy(Qt::NoFocus);
            e->setMaximumWidth(charsWidth(e, 4));
            if (ComboCom *c = pickers.value(f.name2.toLower()))
                connect(c, &ComboCom::changed, e, [e, c] { e->setText(c->key() ? c->row().prvSigla : QString()); });
            w = e;
            break;
        }
        case Kind::Activity: {
            auto *a = new ActivityBox(ctx_, parentW);
            connect(a, &ActivityBox::edited, this, onEdit);
            s.get = [a, f](fields::Record &r) { r.insert(f.name, a->code()); };
            s.set = [a, f](const fields::Record &r) { a->setCode(r.value(f.name).toString()); };
            s.focus = a->edit();
            w = a;
            break;
        }
        }
        w->setObjectName(f.name);
        s.widget = w;
        if (!s.focus)
            s.focus = w;
        if (f.kind != Kind::Province)
            s.focus->installEventFilter(this);

        const int col = f.col * 2;
        const bool ownLabel = f.kind != Kind::Check && !f.caption.isEmpty();
        if (ownLabel) {
            auto *lab = f.caption.size() > OneLineCaption ? new FieldLabel(f.caption, parentW)
                                                          : new QLabel(f.caption, parentW);
            lab->setBuddy(s.focus);
            labels_.insert(f.name.toLower(), lab);
            grid->addWidget(lab, f.row, col, Qt::AlignRight | Qt::AlignVCenter);
            grid->addWidget(w, f.row, col + 1, 1, f.span * 2 - 1, f.span == 1 ? Qt::AlignLeft : Qt::Alignment());
        } else {
            grid->addWidget(w, f.row, col, 1, f.span * 2);
        }
        slots_.append(s);
    }
    // A municipality chosen by the user brings its postcode into the C.A.P.
    // field that follows it in its frame; a stored one is shown as stored.
    for (int i = 0; i < table_.size(); ++i) {
        auto *c = qobject_cast<ComboCom *>(slots_[i].widget);
        if (!c)
            continue;
        for (int j = i + 1; j < table_.size(); ++j) {
            const Field &f = table_[j];
            if (f.group != table_[i].group || f.kind == Kind::Municipality)
                break;
            auto *cap = qobject_cast<QLineEdit *>(slots_[j].widget);
            if (f.kind != Kind::Text || !f.name.endsWith(QLatin1String("cap"), Qt::CaseInsensitive) || !cap)
                continue;
            connect(c, &ComboCom::changed, cap, [this, c, cap] {
                if (loading_ || c->key() == 0 || c->row().comCap.isEmpty() || cap->text() == c->row().comCap)
                    return;
                cap->setText(c->row().comCap);
                edited();
            });
            break;
        }
    }
    for (QGridLayout *g : std::as_const(grids_))
        for (int c = 1; c < g->columnCount(); c += 2)
            g->setColumnStretch(c, 1);
    outer->addStretch();

    // Tab order follows the table, through every part of a composite
    // control (amount then unit, each option button): ordering the
    // composites themselves lets Qt splice their parts into loops.
    QWidget *prev = nullptr;
    for (const Slot &s : std::as_const(slots_)) {
        for (QWidget *part : tabStops(s.widget)) {
            if (prev)
                QWidget::setTabOrder(prev, part);
            prev = part;
        }
    }
}

QList<QWidget *> FieldForm::tabStops(QWidget *control)
{
    QList<QWidget *> stops;
    auto take = [&stops](QWidget *w) {
        if ((w->focusPolicy() & Qt::TabFocus) && !w->focusProxy())
            stops << w;
    };
    take(control);
    for (QWidget *w : control->findChildren<QWidget *>())
        take(w);
    return stops;
}

QWidget *FieldForm::control(const QString &name) const
{
    const int p = fields::position(table_, name);
    return p < 0 ? nullptr : slots_[p].widget;
}

QWidget *FieldForm::focusTarget(int position) const
{
    return position >= 0 && position < slots_.size() ? slots_[position].focus : nullptr;
}

void FieldForm::focusField(int position)
{
    focusWidget(focusTarget(position));
}

void FieldForm::focusWidget(QWidget *w)
{
    // A field shown through another control (a list in place of a hidden
    // box) or not usable now: the next stop of the Tab chain.
    for (int guard = 0; w && guard < 200 && !(w->isVisibleTo(window()) && w->isEnabled()
                                             && (w->focusPolicy() & Qt::TabFocus));
         ++guard)
        w = w->nextInFocusChain();
    if (!w)
        return;
    // A field on a tab page not shown: bring its page forward first.
    for (QWidget *p = w; p && p != this; p = p->parentWidget())
        if (auto *pages = qobject_cast<QStackedWidget *>(p->parentWidget()))
            pages->setCurrentWidget(p);
    inExit_ = true; // the move is the program's, not the user's
    w->setFocus(Qt::OtherFocusReason);
    inExit_ = false;
}

QGridLayout *FieldForm::groupGrid(const QString &group) const
{
    return grids_.value(group);
}

QGroupBox *FieldForm::groupBox(const QString &group) const
{
    return boxes_.value(group);
}

fields::Record FieldForm::record() const
{
    fields::Record r;
    for (const Slot &s : slots_)
        if (s.get)
            s.get(r);
    return r;
}

void FieldForm::setRecord(const fields::Record &r)
{
    loading_ = true;
    for (const Slot &s : std::as_const(slots_))
        if (s.set)
            s.set(r);
    loading_ = false;
    setModified(false);
}

void FieldForm::setModified(bool m)
{
    if (m == modified_)
        return;
    modified_ = m;
    Q_EMIT modifiedChanged(m);
}

void FieldForm::edited()
{
    if (!loading_)
        setModified(true);
}

int FieldForm::slotOf(QWidget *w) const
{
    for (QWidget *p = w; p && p != this; p = p->parentWidget())
        for (int i = 0; i < slots_.size(); ++i)
            if (slots_[i].widget == p || slots_[i].focus == p)
                return i;
    return -1;
}

bool FieldForm::runExit(int slot)
{
    const Slot &s = slots_[slot];
    if (s.ownCheck && !s.ownCheck())
        return false;
    if (!exitRule_)
        return true;
    const fields::Record before = record();
    fields::Record r = before;
    const bool ok = exitRule_(table_[slot].name, r);
    // A rule may have changed values (emptied, zeroed): show them.
    bool changed = false;
    loading_ = true;
    for (const Slot &o : std::as_const(slots_)) {
        const Field &f = table_[o.pos];
        if (!o.set)
            continue;
        if (r.value(f.name) != before.value(f.name)
            || (!f.name2.isEmpty() && r.value(f.name2) != before.value(f.name2))) {
            o.set(r);
            changed = true;
        }
    }
    loading_ = false;
    if (changed)
        setModified(true);
    return ok;
}

bool FieldForm::leaveCurrent()
{
    const int slot = slotOf(QApplication::focusWidget());
    if (slot < 0 || inExit_)
        return true;
    inExit_ = true;
    const bool ok = runExit(slot);
    inExit_ = false;
    return ok;
}

void FieldForm::focusChanged(QWidget *old, QWidget *now)
{
    if (inExit_ || !old || !now || !isVisible())
        return;
    const int from = slotOf(old);
    if (from < 0 || slotOf(now) == from)
        return;
    // Only a move inside the same form leaves the field: another window (a
    // message box, a list) or another form of the main window does not.
    QWidget *root = this;
    while (root->parentWidget() && !root->parentWidget()->inherits("QMdiSubWindow") && !root->isWindow())
        root = root->parentWidget();
    if (!root->isAncestorOf(now))
        return;
    for (QWidget *p = now; p; p = p->parentWidget())
        if (p->property("causesValidation").isValid() && !p->property("causesValidation").toBool())
            return;
    if (auto *c = qobject_cast<ComboCom *>(slots_[from].widget); c && c->completer()->popup()->isVisible())
        return;
    inExit_ = true;
    const bool ok = runExit(from);
    if (!ok) {
        QPointer<QWidget> back = slots_[from].focus;
        back->setFocus(Qt::OtherFocusReason);
    }
    inExit_ = false;
}

bool FieldForm::eventFilter(QObject *o, QEvent *e)
{
    if (e->type() == QEvent::KeyPress) {
        auto *k = static_cast<QKeyEvent *>(e);
        auto *w = qobject_cast<QWidget *>(o);
        const int slot = slotOf(w);
        if ((k->key() == Qt::Key_Return || k->key() == Qt::Key_Enter) && k->modifiers() == Qt::NoModifier) {
            if (auto *c = qobject_cast<ComboCom *>(slot >= 0 ? slots_[slot].widget : nullptr);
                c && c->completer()->popup()->isVisible())
                return false;
            QKeyEvent tab(QEvent::KeyPress, Qt::Key_Tab, Qt::NoModifier);
            QApplication::sendEvent(w, &tab);
            return true;
        }
        if (k->key() == Qt::Key_F4 && slot >= 0) {
            QWidget *c = slots_[slot].widget;
            if (auto *d = qobject_cast<DateBox *>(c))
                d->pick();
            else if (auto *a = qobject_cast<ActivityBox *>(c))
                a->openList();
            else if (auto *m = qobject_cast<ComboCom *>(c))
                m->searchNow(false);
            return true;
        }
    }
    return QWidget::eventFilter(o, e);
}

} // namespace ui
