#pragma once
// Queries on the read-only reference tables: municipalities and provinces,
// the competent chamber of commerce, successors of suppressed municipalities,
// existence checks, the waste-code selectable rule, pick lists and the coded
// lists of table Codici. Nothing here writes.

#include <QString>
#include <QVector>

class dbClass;
class Messages;

namespace refdata {

// A municipality is packed into one key inside the pickers.
constexpr int packMunicipality(int prvIstat, int comIstat) { return prvIstat * 1000 + comIstat; }
constexpr int keyProvince(int key) { return key / 1000; }
constexpr int keyMunicipality(int key) { return key % 1000; }

struct MunicipalityRow {
    int prvIstat = 0, comIstat = 0;
    QString comDesc, comCap;
    int comCCIAA = 0;
    QString prvDesc, prvSigla;
    int key() const { return packMunicipality(prvIstat, comIstat); }
};

// Search state of a municipality picker.
class MunicipalitySearch {
public:
    MunicipalitySearch(dbClass &db, Messages &msg) : db_(db), msg_(msg) {}

    // Prefix search on the name, any case. The same text as the previous
    // search runs no query and returns the previous count. No row: the
    // message "Attenzione, Comune non trovato!" (unless quiet) and 0.
    int search(const QString &text, bool quiet = false);
    // Shows exactly the municipality of the two codes (both > 0); no row
    // leaves the result empty without a message. Returns the count (0 or 1).
    int lookup(int prvIstat, int comIstat);
    void clear();

    const QVector<MunicipalityRow> &rows() const { return rows_; }
    int indexOfKey(int key) const;
    QString lastText() const { return last_; }
    int queryCount() const { return queries_; } // statements run so far

private:
    dbClass &db_;
    Messages &msg_;
    QString last_;
    bool searched_ = false;
    QVector<MunicipalityRow> rows_;
    int queries_ = 0;
};

// Required check of a picker: fails with msgRequired, or the default
// "Attenzione, campo Comune richiesto!" when that is empty.
bool pickerRequiredOk(bool required, bool hasSelection, const QString &msgRequired, Messages &msg);

// Competent chamber for a typed province abbreviation.
struct Chamber {
    int code = 0;        // ISTAT code of the chamber's province; 0 unknown
    QString sigla, desc; // the chamber province's abbreviation and name
    QString message;     // the informative text shown (empty: none)
};
// Message for a found province: own is true when the province has its own chamber.
QString chamberMessage(const QString &sigla, bool own, const QString &prvDesc,
                       const QString &compDesc);
Chamber competentChamber(dbClass &db, Messages &msg, const QString &abbreviation);

// Single successor lookup; outputs untouched when not found.
bool municipalitySuccessor(dbClass &db, int prvOld, int comOld, int &prvNew, int &comNew,
                           QString &capNew);

// Bulk successor lookups: the conversion table read once.
class comChanged {
public:
    explicit comChanged(dbClass &db);
    bool lookup(int prvOld, int comOld, int &prvNew, int &comNew, QString &capNew) const;
    int size() const { return int(prvOld_.size()); }

private:
    QVector<int> prvOld_, comOld_, prvNew_, comNew_;
    QVector<QString> capNew_;
};

bool activityExists(dbClass &db, const QString &code);
bool regCEExists(dbClass &db, const QString &code);
bool wasteCodeExists(dbClass &db, const QString &code);

// Level < 1: headings ending "00" are refused; 1 or 2: codes ending "0000";
// 3 and more: everything. Not selectable and not silent:
// "Attenzione, codice rifiuto non selezionabile: " + code.
bool wasteCodeSelectable(const QString &code, int level, bool silent, Messages &msg);

// Activity codes are stored as six characters and shown as 38.11.00.
QString activityMasked(const QString &stored);
QString activityStored(const QString &masked);

struct PickRow {
    QString code, desc, extra; // extra: the class of a waste code
};
QVector<PickRow> activityList(dbClass &db);
QVector<PickRow> regCEList(dbClass &db);
QVector<PickRow> wasteTable(dbClass &db); // "Tabella rifiuti"

// The coded lists of table Codici, by the statement that reads them.
enum class CodeList {
    Type91, Types1and2, Type1, Type2, Type4, Type5, Type6, Types11and12,
    Types11and12Unordered, Type21, Type22
};
struct CodeRow {
    int type = 0, numb = 0;
    QString alfa, desc;
};
QVector<CodeRow> codeList(dbClass &db, CodeList which);
// Waste codes admitted for one codType, with their description.
QVector<PickRow> typedWasteCodes(dbClass &db, int codType);

} // namespace refdata
