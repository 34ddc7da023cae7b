#include "shell/gui/boxmessages.h"

#include <QApplication>
#include <QMessageBox>

void BoxMessages::information(const QString &text, const QString &title)
{
    QMessageBox::information(parent_, titleOr(title), text);
}

void BoxMessages::critical(const QString &text, const QString &title)
{
    QMessageBox::critical(parent_, titleOr(title), text);
}

bool BoxMessages::question(const QString &text, const QString &title)
{
    return QMessageBox::question(parent_, titleOr(title), text,
                                 QMessageBox::Yes | QMessageBox::No, QMessageBox::No)
           == QMessageBox::Yes;
}

void BoxMessages::beep()
{
    QApplication::beep();
}
