#include "shell/gui/archivecopy.h"

#include "shell/backup.h"
#include "shell/dbclass.h"
#include "shell/messages.h"

#include <QApplication>
#include <QCursor>
#include <QFileDialog>

namespace shellgui {

namespace {
CopyChooser replaced;

QString choose(QWidget *parent, const QString &proposed)
{
    if (replaced)
        return replaced(parent, proposed);
    return QFileDialog::getSaveFileName(parent, backup::place(), proposed,
                                        QStringLiteral("Database QOR (*.db);;Tutti i files (*)"));
}
} // namespace

void setCopyChooser(CopyChooser c) { replaced = std::move(c); }

bool saveArchiveCopy(QWidget *parent, AppContext &ctx)
{
    if (dbClass::isPostgresUrl(ctx.db.currentPath()) || !ctx.db.isCurrentOpen())
        return backup::copyArchive(ctx.db, ctx.msg, {}); // says why there is nothing to copy
    const QString out = choose(parent, backup::suggestedPath(ctx.db));
    if (out.isEmpty())
        return false;
    QApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
    const bool done = backup::copyArchive(ctx.db, ctx.msg, out);
    QApplication::restoreOverrideCursor();
    if (done)
        ctx.msg.information(QStringLiteral("Copia dell'archivio salvata nel file:\n") + out,
                            backup::place());
    return done;
}

bool offerArchiveCopy(QWidget *parent, AppContext &ctx)
{
    if (dbClass::isPostgresUrl(ctx.db.currentPath()))
        return true; // the server keeps the copies
    if (!ctx.msg.question(QStringLiteral("Prima di procedere, vuoi salvare una copia dell'archivio?")))
        return true;
    return saveArchiveCopy(parent, ctx);
}

bool readyForImport(QWidget *parent, AppContext &ctx)
{
    if (!ctx.db.checkIntegrity())
        return false;
    const QVariant declarations = ctx.db.scalar(QStringLiteral("SELECT COUNT(*) FROM SezAnag"));
    if (!declarations.isValid())
        return false;
    return declarations.toLongLong() == 0 || offerArchiveCopy(parent, ctx);
}

} // namespace shellgui
