#pragma once
// Prepared statements kept for the length of a run: the export and the import
// run the same few statements for every declaration, so each is prepared once.

#include "shell/dbstatement.h"

#include <QHash>
#include <QSqlDatabase>
#include <QString>
#include <QVariantList>
#include <memory>

class Messages;

namespace exch {

class Statements {
public:
    Statements(QSqlDatabase db, Messages &msg) : db_(db), msg_(msg) {}

    // The statement of sql, prepared the first time; null (failure reported)
    // when it cannot be prepared.
    dbStatement *get(const QString &sql);
    // Runs a statement prepared by get() with the parameters bound; false
    // (failure reported) on error.
    bool exec(dbStatement *st);
    // Runs a statement with the values bound in order; null (failure
    // reported) on error.
    dbStatement *run(const QString &sql, const QVariantList &params);
    // Shows the failure of a statement.
    void report(const dbStatement &st);

    QSqlDatabase db() const { return db_; }

private:
    QSqlDatabase db_;
    Messages &msg_;
    QHash<QString, std::shared_ptr<dbStatement>> cache_;
};

} // namespace exch
