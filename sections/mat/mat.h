#pragma once
// Scheda MAT: the secondary materials of a declaration, kept on its SezAnag
// row (msQta01..msQta20 with their units, in the order of
// codes::matMaterials()). No widgets here.

#include "sections/fields.h"
#include "shell/context.h"

namespace mat {

const fields::Table &schedaFields();
fields::Record blank();
fields::Record load(AppContext &ctx, qint64 saID);
// The record of a SezAnag row already read (column name -> value).
fields::Record fromRow(const QVariantMap &row);
// Whether the declaration has any material quantity (the scheda exists).
bool present(AppContext &ctx, qint64 saID);
bool present(const fields::Record &r);

// -1, or the position of the first quantity the exchange file cannot carry.
int saveCheck(AppContext &ctx, const fields::Record &r);
bool save(AppContext &ctx, qint64 saID, const fields::Record &r);
// "Elimino scheda MAT," + confirmation: every material is emptied.
bool remove(AppContext &ctx, qint64 saID);

} // namespace mat
