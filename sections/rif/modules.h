#pragma once
// Modules of a waste scheda: the RT, DR, TE, MG and RE modules of scheda RIF
// (table ModRif) and the UO and UD modules of scheda INT (table ModInt). They
// differ in data only: which fields they hold, with which captions and
// required messages, and which of the few rules below apply. One ModuleKind
// says it for each type; the functions here serve them all. No widgets.

#include "sections/fields.h"
#include "shell/context.h"

#include <QHash>
#include <QPair>
#include <functional>
#include <QVector>

namespace waste {

struct ModuleKind {
    QString table;        // ModRif, ModInt, ModImb, ModVfu, ModRaee
    QString key;          // mrID, miID
    QString parentKey;    // rifID, intID
    int tipoMod = 0;
    QString code;         // "RT", "UO"...
    QString title;        // window title
    QString listTitle;    // "Lista dei moduli RT"
    QString orderBy;      // navigator order
    fields::Table fields; // in form order; "estero" is the Italia/Estero option (not stored)

    bool privati = false;      // RT: the "Privati" check box and its one-per-municipality rule
    bool counterpart = false;  // names a company: registered after a save
    bool sides = false;        // Italia / Estero
    QStringList treatment;     // foreign treatment quantities (RT, DR), in form order
    QString treatmentMessage;  // their sum against qtaMod
    bool urbanFlag = false;    // RT: discDep for codes of urban origin
    bool batteryFrame = false; // RT: disc191 for battery codes
    bool operations = false;   // MG: grids of operation rows, landfill frames
    QString opTable;           // table of the operation rows (RecRif...); empty: none
    // Columns that tie a module to a row of its scheda (ModImb: rifCod and
    // the surface in mbFlag; ModVfu, ModRaee: rifCod). Their values are given
    // by the caller as an Attachment; the module lists filter on them.
    QStringList attach;
    bool uniquePlace = false;  // RE: one module per municipality and activity
    bool listDelete = false;   // TE, RE: deleted from their list ("modulo selezionato")
    QString newLine;           // the list beside the form ends with this line, which starts a new module
    QString deleteWhat;        // what the delete confirmation names, when not one of those
    // Stored codes of option fields whose codes are not simply 1, 2, ... in
    // the order of their captions (landfill classes, RE activities). The
    // record holds the option's position (1, 2, ...; 0 none) like every
    // option field; load and save translate.
    QHash<QString, QVector<int>> optionCodes;
};

// The stored code of the i-th option (from 0) of a field, and back (-1: none).
int optionCode(const ModuleKind &m, const QString &name, int index);
int optionIndex(const ModuleKind &m, const QString &name, int code);

// Fields of each side of the Italia/Estero option.
const QStringList &italySide();
const QStringList &abroadSide();

// Value of the "estero" option: 1 Italia, 2 Estero.
enum Side { SideItalia = 1, SideEstero = 2 };

// Whether a field is open for input, given the scheda's waste code and what
// the record holds now (Privati, side). Closed fields are written empty.
bool fieldEnabled(const ModuleKind &m, const QString &wasteCode, const fields::Record &r,
                  const QString &name);
// The record with every closed field emptied.
fields::Record withClosedCleared(const ModuleKind &m, const QString &wasteCode, fields::Record r);

// An operation row of an MG module (RecRif).
struct OpRow {
    int posizione = 0;  // grid: codes::MgGrid
    QString codice;     // operation code, empty: the row is not written
    QVariant qta;       // thousandths (qlonglong) or null
    int umi = 1;
};

// Values of the attach columns of a module (empty for RIF and INT).
using Attachment = QVariantMap;

// Keys of a scheda's modules of one type, in listing order (a module's number
// is its position here).
QVector<qint64> ids(AppContext &ctx, const ModuleKind &m, qint64 parentId, const Attachment &a = {});

fields::Record blank(const ModuleKind &m);
fields::Record load(AppContext &ctx, const ModuleKind &m, qint64 id, bool *found = nullptr);
QVector<OpRow> loadOperations(AppContext &ctx, qint64 mrID);
QVector<OpRow> loadOperations(AppContext &ctx, const ModuleKind &m, qint64 id);
// The same from a row already read: a module's stored columns by name, an
// operation row's Posizione, Codice, qta and umi.
fields::Record fromRow(const ModuleKind &m, const QVariantMap &row);
OpRow opRow(const QVariant &posizione, const QVariant &codice, const QVariant &qta, const QVariant &umi);

// RT: another private module of the scheda for the same municipality (0 none).
qint64 privateModuleFor(AppContext &ctx, const ModuleKind &m, qint64 parentId, int prvIstat,
                        int comIstat, qint64 exceptId);
QString privateQuestion();
QString privateName(); // "*** Privati ***", the name a private module is listed with

// Outcome of the save rules.
struct Check {
    int field = -1;       // position of the field that stopped the save; -1 none
    qint64 moveTo = 0;    // RT: the user chose to edit the existing private module
    bool ok() const { return field < 0 && moveTo == 0; }
};
// Save rules in order, with their messages. saved: the module is already in
// the store (the empty MG message then suggests deleting it).
Check saveCheck(AppContext &ctx, const ModuleKind &m, qint64 parentId, qint64 id,
                const QString &wasteCode, const fields::Record &r, const QVector<OpRow> &ops = {});

// Writes the module (and an MG module's rows, rewritten whole), then adds the
// counterpart to the company register. Returns the key, 0 on failure.
qint64 save(AppContext &ctx, const ModuleKind &m, qint64 parentId, qint64 id,
            const QString &wasteCode, const fields::Record &r, const QVector<OpRow> &ops = {},
            const Attachment &a = {});

// Confirmation ("modulo corrente," or, from a list, "modulo selezionato"),
// then the module goes with its rows.
bool remove(AppContext &ctx, const ModuleKind &m, qint64 id);

// The list window's rows: the key and the texts of the type's columns.
struct ModuleRow {
    qint64 id = 0;
    QStringList texts;
};
QStringList listColumns(const ModuleKind &m);
QVector<ModuleRow> list(AppContext &ctx, const ModuleKind &m, qint64 parentId, const Attachment &a = {});

// Modules of a stored waste row whose code was changed on the form follow the
// new code: the RT modules of the row's group once no row of that group keeps
// the old code, the other modules once no row of the scheda keeps it. Read
// before the rows are rewritten: the module keys and the code each goes to.
struct EditedRow {
    qint64 id = 0;   // row key, 0 for a row not yet stored
    int group = 0;   // the RT modules it is offered to (0: none)
    QString rifCod;  // code on the form
};
struct RowTables {
    QString rowTable, rowKey, parentKey, modTable, modKey;
};
// rtModules(group): the condition and its values that pick the group's RT
// modules among those of the old code.
using RtCondition = std::function<QPair<QString, QVariantList>(int group)>;
QVector<QPair<qint64, QString>> followingModules(dbClass &db, const RowTables &t, qint64 parent,
                                                 const QVector<EditedRow> &rows, const RtCondition &rtModules);

} // namespace waste

namespace rif {
// The module types of scheda RIF, by tipoMod (codes::RifModule).
const waste::ModuleKind &module(int tipoMod);
// Counterpart with its Italian or foreign address, shared with the INT modules.
fields::Table counterpartFields(const char *frame, const char *italyFrame, const char *abroadFrame,
                                const char *countryCaption, bool regCE);
} // namespace rif
