#pragma once
// What every form and command receives: the application object, the database
// object and the message service, all living for the whole run.

class qorClass;
class dbClass;
class Messages;

struct AppContext {
    qorClass &app;
    dbClass &db;
    Messages &msg;
};
