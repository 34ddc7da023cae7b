#pragma once
// "Salva copia dell'archivio" for any form: the save dialog and the copy,
// and the offer of a copy before a run that changes much of the archive
// (takeover, import into a database that already holds declarations).

#include "shell/context.h"

#include <QString>
#include <functional>

class QWidget;

namespace shellgui {

// Asks for the file (a save dialog proposing a dated name beside the
// database) and makes the copy; true when it was made.
bool saveArchiveCopy(QWidget *parent, AppContext &ctx);

// Asks whether to make a copy first (No is the default); on Yes makes it.
// True when the caller may go on: the user said No, or the copy was made.
bool offerArchiveCopy(QWidget *parent, AppContext &ctx);

// Before an import of an exchange file: a damaged archive is refused (with
// its message); when the archive already holds declarations a copy is
// offered. True when the import may go on.
bool readyForImport(QWidget *parent, AppContext &ctx);

// Replaces the save dialog of saveArchiveCopy (tests); an empty function
// brings the dialog back. The chooser returns an empty path on cancel.
using CopyChooser = std::function<QString(QWidget *parent, const QString &proposed)>;
void setCopyChooser(CopyChooser chooser);

} // namespace shellgui
