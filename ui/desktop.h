#pragma once
// What makes the program behave like the other desktop programs of its
// users: Qt's own texts in Italian, files shown in the system's viewer (and
// a clear message when there is none), windows that come back where they
// were left, shortcuts the user can discover.

#include "shell/context.h"

#include <QKeySequence>
#include <QRect>
#include <QString>
#include <functional>

class QAbstractButton;
class QCoreApplication;
class QPushButton;
class QShortcut;
class QUrl;
class QWidget;

namespace ui {

// Loads Qt's Italian translation (standard buttons Sì/No/Annulla, file
// dialogs); false when the translation files are not installed.
bool installItalianTranslation(QCoreApplication &app);

// Opens a file in the system's viewer; when that is not possible tells the
// user so, with the file's path. `what` names the file in the message
// ("la stampa", "il rapporto della verifica").
bool openInViewer(Messages &msg, const QString &path, const QString &what);
// The system call behind openInViewer; tests replace it.
extern std::function<bool(const QUrl &)> systemOpener;

// The window remembers its size and position in the settings file, section
// "Finestre", under `key`: restored when it is first shown (if it still fits
// the screen or the frame it lives in), written when it closes. For a form
// inside the main window the geometry is that of its frame window.
void rememberGeometry(QWidget *w, AppContext &ctx, const QString &key);
// Size and position as written in the settings file: "x,y,width,height".
QString geometryText(const QRect &r);
bool parseGeometry(const QString &text, QRect *r);

// A shortcut for the button, shown in its tooltip ("Salva scheda (Ctrl+S)").
// The shortcut works, while the button is enabled and shown, anywhere in
// `scope` (by default the form of the button: its window, or the form
// inside a frame of the main window).
void addShortcut(QAbstractButton *b, const QKeySequence &keys, QWidget *scope = nullptr);
// The tooltip text of a button with its shortcut, in the native form.
QString shortcutTip(const QAbstractButton *b, const QKeySequence &keys);

// Enter presses `b` anywhere in `form` (the form's main action) unless
// another button has the focus.
void setDefaultButton(QWidget *form, QPushButton *b);
// Esc presses `cancel` anywhere in `form`; an open list under a field
// closes first.
QShortcut *setEscapeButton(QWidget *form, QAbstractButton *cancel);
// Closes the open popup list, if any; true when there was one.
bool closePopup();

} // namespace ui
