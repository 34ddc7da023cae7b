#include "shell/cli.h"

int cli::verify(QStringList) { return notAvailable(QStringLiteral("verify")); }
