#include "shell/cli.h"

int cli::exportFile(QStringList) { return notAvailable(QStringLiteral("export")); }
int cli::importFile(QStringList) { return notAvailable(QStringLiteral("import")); }
int cli::demo(QStringList) { return notAvailable(QStringLiteral("demo")); }
