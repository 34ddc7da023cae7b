#include "shell/cli.h"

int cli::riporta(QStringList) { return notAvailable(QStringLiteral("riporta")); }
