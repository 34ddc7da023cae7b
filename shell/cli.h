#pragma once
// Command-line subcommands of qor. Each area implements its own command in
// its cli.cpp; main() dispatches on the first argument.
//
// Exit codes: 0 success, 1 work refused (bad file, failed checks, a database
// error met on the way), 2 usage error. A command that met a general error
// report never ends with 0 (see main()).

#include "shell/dbclass.h"
#include "shell/messages.h"
#include "shell/qorclass.h"

#include <QString>
#include <QStringList>
#include <memory>

namespace cli {

enum Exit { Ok = 0, Refused = 1, Usage = 2 };

void err(const QString &text);   // one line on stderr
void out(const QString &text);   // one line on stdout

// Value of "--name VALUE" in args (removed from args); empty when absent.
QString takeOption(QStringList &args, const QString &name);
// True when "--name" is in args (removed).
bool takeFlag(QStringList &args, const QString &name);

// Application, console messages and database for a command. open() connects
// the given database path (or the remembered one when empty).
struct Session {
    qorClass app;
    ConsoleMessages msg;
    dbClass db{app, msg};
    bool open(const QString &path);
};

int init(QStringList args);
int backup(QStringList args);   // shell/cli.cpp
int verify(QStringList args);   // verify/cli.cpp
int exportFile(QStringList args); // exchange/cli.cpp
int importFile(QStringList args); // exchange/cli.cpp
int demo(QStringList args);     // exchange/cli.cpp
int print(QStringList args);    // print/cli.cpp
int riporta(QStringList args);  // sections/cli.cpp

// Message for a command of a function this edition does not have yet.
int notAvailable(const QString &command);

} // namespace cli
