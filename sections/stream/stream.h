#pragma once
// Schede of the vehicle section (AUT, ROT, FRA on SezVfu) and of the
// electrical-equipment section (TRA-RAEE, CR-RAEE on SezRaee): one scheda per
// kind (and, for RAEE, per category) in a declaration, its own quantities,
// waste rows by frame (RecVfu, RecRaee, rewritten on save) restricted to the
// codes a list of Codici admits, and modules RT, DR, TE, MG tied to a waste
// code of the scheda. One StreamSpec says it for each kind; the modules are
// the waste modules with their -VEIC / -RAEE differences. No widgets here.

#include "sections/fields.h"
#include "sections/rif/modules.h"
#include "shell/context.h"

#include <QPair>
#include <QVector>

namespace stream {

struct StreamSpec {
    QString name;        // "AUT", "TRA-RAEE": navigator "Scheda AUT"
    QString title;       // window title
    QString table, key;  // SezVfu, vfuID
    QString kindColumn;  // vfuTipo, srTipo
    int kind = 0;
    bool categories = false;     // RAEE: one scheda per category (srRAEE)
    QString rowTable, rowKey;    // RecVfu, rvID
    QStringList frames;          // caption of each frame, Posizione from 1
    int rtFrames = 1;            // frames whose rows RT modules are offered (Posizione <= this)
    int codType = 0;             // Codici list of the admitted waste codes
    QString modTable, modKey, opTable, suffix; // ModVfu, mvID, RecModVfu, "-VEIC"
    fields::Table fields;        // the scheda's own fields
};

enum Vfu { Aut = 1, Rot = 2, Fra = 3 };
const StreamSpec &vfu(int vfuTipo);
const StreamSpec &raee(int srTipo);
// RAEE categories: the numbered descriptions of Codici type 91 (srRAEE is
// codNumb), as "n - description".
QVector<QPair<int, QString>> raeeCategories(dbClass &db);
QString raeeCategoryText(dbClass &db, int srRAEE);
// The frame a row stands in: its Posizione, brought within the scheda's frames
// (a CR-RAEE scheda has one; rows stored outside them show in the nearest).
int framePosition(const StreamSpec &s, int posizione);

struct Row {
    qint64 id = 0;
    int posizione = 0;
    QString rifCod;
    qlonglong qta = 0; // thousandths
    int umi = 1;
};

// Schede of a declaration of this kind (RAEE: by category, then key).
QVector<qint64> ids(AppContext &ctx, const StreamSpec &s, qint64 saID);
fields::Record blank(const StreamSpec &s);
fields::Record load(AppContext &ctx, const StreamSpec &s, qint64 id);
// The same from a row already read (column name -> value).
fields::Record fromRow(const StreamSpec &s, const QVariantMap &row);
QVector<Row> loadRows(AppContext &ctx, const StreamSpec &s, qint64 id);

// Checks of a code entered in a frame, in order: existence ("Attenzione,
// codice rifiuto errato."), selectable, admitted on this scheda, once per
// frame. `rows`: the other rows as they stand.
bool codeEntry(AppContext &ctx, const StreamSpec &s, int posizione, const QString &code,
               const QVector<Row> &rows);
QString notAdmittedMessage(const StreamSpec &s);

// Save rules: quantities too large; RAEE: a category is required and only one
// scheda per category. -1 when the save may go on, otherwise the position of
// the field in s.fields (a row: s.fields.size() + its index).
int saveCheck(AppContext &ctx, const StreamSpec &s, qint64 saID, qint64 id, const fields::Record &r,
              const QVector<Row> &rows);
// Writes the scheda and rewrites its rows; returns the key, 0 on failure.
// When a stored row's code was changed, the modules of the old code follow the
// new one: RT once no received row keeps the old code, the others once no row
// of the scheda keeps it.
qint64 save(AppContext &ctx, const StreamSpec &s, qint64 saID, qint64 id, const fields::Record &r,
            const QVector<Row> &rows);
// CANC on a row: "Elimino rifiuto selezionato ed i relativi moduli,"; the
// stored row goes, and the modules of its code once no row carries it (RT
// modules once no received row carries it).
bool removeRow(AppContext &ctx, const StreamSpec &s, qint64 id, const Row &row);
// "Elimino scheda ... e relativi moduli," then the scheda with its rows and
// modules.
bool remove(AppContext &ctx, const StreamSpec &s, qint64 id);

// Module types 1..4 of a scheda kind (RT-VEIC...).
const waste::ModuleKind &module(const StreamSpec &s, int tipoMod);

struct Attachable {
    QString rifCod, label;
    qlonglong totQta = 0; // kilograms, thousandths
    int moduli = 0;
};
// The codes of the scheda a module type may be attached to (RT: the rows of
// the received frames only), with their total and the modules already there.
QVector<Attachable> attachable(AppContext &ctx, const StreamSpec &s, qint64 id, int tipoMod);

} // namespace stream
