#include "shell/gui/boxmessages.h"

#include <QApplication>
#include <QMessageBox>

// A message stands over the window the user is working in: a module window
// open over its scheda must not sink behind the main window.
QWidget *BoxMessages::owner() const
{
    if (QWidget *w = QApplication::activeModalWidget())
        return w;
    if (QWidget *w = QApplication::activeWindow())
        return w;
    return parent_;
}

void BoxMessages::information(const QString &text, const QString &title)
{
    QMessageBox::information(owner(), titleOr(title), text);
}

void BoxMessages::critical(const QString &text, const QString &title)
{
    QMessageBox::critical(owner(), titleOr(title), text);
}

bool BoxMessages::question(const QString &text, const QString &title)
{
    return QMessageBox::question(owner(), titleOr(title), text,
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
           == QMessageBox::Yes;
}

void BoxMessages::beep()
{
    QApplication::beep();
}
