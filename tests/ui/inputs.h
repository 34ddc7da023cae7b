#pragma once
// What a user can type into or tick in a window: the controls the keyboard
// and layout tests walk.

#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTextEdit>
#include <QWidget>

namespace testinputs {

inline bool isInput(QWidget *w)
{
    if (auto *l = qobject_cast<QLabel *>(w)) // a link that does something
        return l->text().contains(QStringLiteral("<a "));
    if (auto *e = qobject_cast<QLineEdit *>(w))
        return !e->isReadOnly();
    return qobject_cast<QComboBox *>(w) || qobject_cast<QCheckBox *>(w) || qobject_cast<QRadioButton *>(w)
           || qobject_cast<QAbstractSpinBox *>(w) || qobject_cast<QAbstractItemView *>(w)
           || qobject_cast<QTextEdit *>(w) || qobject_cast<QPlainTextEdit *>(w);
}

// A widget inside a list or grid belongs to it: the arrows reach it.
inline bool insideItemView(const QWidget *w)
{
    for (const QWidget *p = w->parentWidget(); p; p = p->parentWidget())
        if (qobject_cast<const QAbstractItemView *>(p))
            return true;
    return false;
}

// The inputs of `win` shown and enabled now.
inline QList<QWidget *> inputsOf(QWidget *win)
{
    QList<QWidget *> out;
    for (QWidget *w : win->findChildren<QWidget *>())
        if (w->window() == win && w->isVisible() && w->isEnabled() && !w->focusProxy() && isInput(w)
            && !qobject_cast<QHeaderView *>(w) && !insideItemView(w))
            out << w;
    return out;
}

} // namespace testinputs
