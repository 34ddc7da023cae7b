#include "shell/cli.h"

int cli::print(QStringList) { return notAvailable(QStringLiteral("print")); }
