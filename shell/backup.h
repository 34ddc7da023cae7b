#pragma once
// A copy of the current-year database taken while it is in use: one
// consistent picture of the whole archive, written beside the chosen name
// and renamed into place only when complete.

#include <QString>

class dbClass;
class Messages;

namespace backup {

// Title of the messages and of the save dialog.
QString place();
// A name for the copy: "Qor2019-copia-AAAAMMGG-HHMM.db" in the folder of the database.
QString suggestedPath(const dbClass &db);

// Copies the current database into out (replacing it when it exists). A
// PostgreSQL archive is refused: its copies are the server's. Messages
// tell every failure; true when the copy is complete.
bool copyArchive(dbClass &db, Messages &msg, const QString &out);

} // namespace backup
