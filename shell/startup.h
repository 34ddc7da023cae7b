#pragma once
// Start-up of the data store shared by the GUI and the command line.

class qorClass;
class dbClass;
class Messages;

// First start (no remembered path): creates the data folder, the settings file
// and Qor2019.db in the data folder, and remembers its path. Then connects
// and seeds the EC-regulation codes. False when no database is connected.
bool startDatabase(qorClass &app, dbClass &db, Messages &msg);
