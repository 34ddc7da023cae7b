#pragma once
// Codes the program stores for choices made on the forms. They are decided
// here once; forms, verification, exchange file, import and print read them
// from here.

#include <QString>
#include <QStringList>
#include <algorithm>
#include <array>

namespace codes {

// ---- modules of scheda RIF (ModRif.tipoMod) and of INT (ModInt.tipoMod) ----
enum RifModule { RT = 1, DR = 2, TE = 3, MG = 4, RE = 5 };
enum IntModule { UO = 1, UD = 2 };

// ---- MG module: plant type ("Tipologia impianto"), stored in ModRif.Privati ----
// The code is the position in this list, from 1; 0 means none chosen.
inline const QStringList &mgPlantTypes()
{
    static const QStringList l = {
        QStringLiteral("Discarica (D1,D5,D12)"),
        QStringLiteral("Impianto che effettua una o più operazioni di smaltimento (D2,D4,D13)"),
        QStringLiteral("Impianto di coincenerimento (R1)"),
        QStringLiteral("Impianto di compostaggio (R3)"),
        QStringLiteral("Impianto di digestione anaerobica (R3)"),
        QStringLiteral("Impianto di trattamento chimico-fisico, biologico e di miscelazione(D8,D9,D14)"),
        QStringLiteral("Impianto di trattamento integrato anaerobico/aerobico (R3)"),
        QStringLiteral("Impianto di trattamento meccanico o meccanico biologico del rifiuto urbano"),
        QStringLiteral("Impianto di trattamento preliminare al recupero da R1 a R11 (R12)"),
        QStringLiteral("Impianto per il deposito preliminare (D15)"),
        QStringLiteral("Impianto per la messa in riserva (R13)"),
        QStringLiteral("Inceneritore (D10)"),
        QStringLiteral("Recupero di materia (R2,R3,R4,R5,R6,R7,R8,R9,R13)")};
    return l;
}
enum MgPlant {
    PlantDiscarica = 1, PlantSmaltimento = 2, PlantCoincenerimento = 3, PlantCompostaggio = 4,
    PlantDigestione = 5, PlantChimicoFisico = 6, PlantIntegrato = 7, PlantMeccanicoBiologico = 8,
    PlantPreliminareR12 = 9, PlantDepositoD15 = 10, PlantRiservaR13 = 11, PlantInceneritore = 12,
    PlantRecuperoMateria = 13
};

// ---- MG module: the three grids of operation rows, RecRif.Posizione ----
enum MgGrid { GridRecupero = 1, GridSmaltimento = 2, GridSmaltimento191 = 3 };
// Heading of each grid (form and print).
inline QString mgGridHeading(int grid)
{
    switch (grid) {
    case GridRecupero: return QStringLiteral("Operazioni di recupero");
    case GridSmaltimento: return QStringLiteral("Operazioni di smaltimento");
    case GridSmaltimento191: return QStringLiteral("Smaltimento art. 191");
    }
    return {};
}
// The one grid of a DR module of the special streams (RecModImb, RecModVfu,
// RecModRaee): the operations at destination.
inline QString destinationGridHeading() { return QStringLiteral("Operazioni di destinazione"); }

// ---- landfill classification (ModRif.discDep for the landfill frame, ModRif.disc191
// for the art. 191 frame), in the order of the options on the form ----
enum Landfill { LandfillInerti = 6, LandfillNonPericolosi = 7, LandfillPericolosi = 8 };
inline const std::array<std::pair<int, const char *>, 3> &landfillClasses()
{
    static const std::array<std::pair<int, const char *>, 3> a = {
        {{LandfillInerti, "rifiuti inerti"},
         {LandfillNonPericolosi, "rifiuti non pericolosi"},
         {LandfillPericolosi, "rifiuti pericolosi"}}};
    return a;
}

// ---- scheda SA-AUT: landfills (SaAut.crClass1..3 with crQta1..3) ----
// The three pairs are the three landfill classes in the order above: crClass1
// holds LandfillInerti, crClass2 LandfillNonPericolosi, crClass3
// LandfillPericolosi when the unit has such a landfill (0 otherwise), and
// crQtaN the residual capacity of that landfill in cubic metres. Incineration
// capacities are incQta (total), incRifP (hazardous), incRifNP (non-hazardous);
// co-incineration conQta, conRifP, conRifNP; all in tonnes per year.
inline int saAutLandfillClass(int row) // row 1..3
{
    return row >= 1 && row <= 3 ? landfillClasses()[row - 1].first : 0;
}

// ---- RE module: activity that produced the waste, ModRif.Privati; 0 none ----
// In the order of the options on the form.
inline const std::array<std::pair<int, const char *>, 4> &reActivities()
{
    static const std::array<std::pair<int, const char *>, 4> a = {
        {{4, "cantieri temporanei e mobili (anche di bonifica)"},
         {2, "assistenza sanitaria"},
         {5, "manutenzioni"},
         {6, "attività di bonifica amianto"}}};
    return a;
}

// ---- RT module: ModRif.Privati 1 = conferred by private persons; discDep 1 =
// waste of urban origin; disc191 1 = portable batteries yes, 2 = no, 0 = not answered.
enum Battery { BatteryUnanswered = 0, BatteryYes = 1, BatteryNo = 2 };

// ---- foreign treatment check of RT and DR: made only when at least one of the
// five treatment quantities is entered (a module from abroad for transport only
// has none). ----

// ---- packaging (scheda IMB): RecImb.Posizione of the four groups ----
enum ImbGroup { ImbPublic = 1, ImbPrivate = 2, ImbMonomaterial = 3, ImbMultimaterial = 4 };
// ModImb.mbFlag of RT-IMB modules: 0 waste from a public surface, 1 from a
// private one (the exchange file carries it as a flag, so it stays 0/1).
enum ImbSurface { SurfacePublic = 0, SurfacePrivate = 1 };
// ModImb.mbFlag of MG-IMB modules: 1 the module stands for the multi-material
// treatment activity, 0 otherwise.
enum ImbActivity { MgImbSinglematerial = 0, MgImbMultimaterial = 1 };
// RecImb.allAcc for 150104: 1 aluminium ("150104-A"), 0 steel ("150104-C").
// RT-IMB: the treatment foreseen for waste from abroad, ModImb.discDep, the
// position in this list from 1 (0: none chosen).
inline const QStringList &imbTreatments()
{
    static const QStringList l = {QStringLiteral("recupero di materia"), QStringLiteral("recupero di energia"),
                                  QStringLiteral("incenerimento"), QStringLiteral("discarica"),
                                  QStringLiteral("altre operazioni di smaltimento")};
    return l;
}

// Whether a vehicle scheda (vfuTipo 1 AUT, 2 ROT, 3 FRA) carries the
// vehicles of code 160104 split by registration before and after 1980
// (qta104 = qtaPre80 + qtaPost80): only AUT. FRA keeps its shredder fluff in
// qtaPost80, ROT has neither. The form, the exchange file and the
// verification all ask this.
inline bool vehicleSplit1980(int vfuTipo) { return vfuTipo == 1; }

// ---- secondary materials ----
// The materials of scheda MAT (SezAnag) and of the materials boxes of schede
// IMB, TRA-RAEE and VFU are kept in columns msQta01.. numbered per section; the
// exchange file lays them out in 21 slots of its MA record, one slot per
// material, through a slot table per section. The slot is therefore what makes
// "the same material" in two sections: the captions of every section and the
// cross-checks between sections are derived from these tables, never numbered
// by hand.
enum class MatKind { Declaration, Imb, Raee, Vfu };

// Material number (msQta column) of slots 1 to 21 for each section; 0 = the
// section has no such material. Part of the file format, irregular order
// included.
inline const int *materialSlots(MatKind k)
{
    static constexpr int Mat[21] = {1, 2, 3, 4, 5, 7, 8, 6, 9, 10, 11, 12, 13, 14, 16, 17, 18, 19, 0, 15, 20};
    static constexpr int Imb[21] = {0, 0, 0, 0, 0, 2, 1, 3, 0, 4, 5, 0, 0, 0, 0, 0, 0, 0, 6, 0, 7};
    static constexpr int Raee[21] = {0, 0, 0, 0, 0, 3, 1, 2, 4, 0, 5, 0, 0, 0, 0, 0, 0, 0, 0, 6, 7};
    static constexpr int Vfu[21] = {0, 0, 0, 0, 0, 3, 1, 2, 4, 0, 5, 0, 0, 7, 0, 0, 0, 0, 0, 6, 8};
    switch (k) {
    case MatKind::Declaration: return Mat;
    case MatKind::Imb: return Imb;
    case MatKind::Raee: return Raee;
    case MatKind::Vfu: return Vfu;
    }
    return Mat;
}
inline constexpr int MaterialSlotCount = 21;

// Name of the material of each slot. The seven slots of scheda IMB carry the
// captions of its "Materiali secondari" frame word for word (slot 7 "Altro",
// 6 "Legno", 8 "Plastica", 10 "Carta e cartone", 11 "Rottami in alluminio",
// 19 "Rottami in vetro", 21 "Rottami di ferro e acciaio"); the others name the
// materials a declarant knows from the end-of-waste rules.
inline const QStringList &materialSlotNames()
{
    static const QStringList l = {
        QStringLiteral("Compost di qualità"), QStringLiteral("Ammendante compostato misto"),
        QStringLiteral("Ammendante compostato verde"), QStringLiteral("Digestato"),
        QStringLiteral("Combustibile solido secondario (CSS)"), QStringLiteral("Legno"), QStringLiteral("Altro"),
        QStringLiteral("Plastica"), QStringLiteral("Vetro"), QStringLiteral("Carta e cartone"),
        QStringLiteral("Rottami in alluminio"), QStringLiteral("Tessili"), QStringLiteral("Altri metalli non ferrosi"),
        QStringLiteral("Gomma"), QStringLiteral("Aggregati riciclati"), QStringLiteral("Conglomerato bituminoso"),
        QStringLiteral("Oli rigenerati"), QStringLiteral("Solventi rigenerati"), QStringLiteral("Rottami in vetro"),
        QStringLiteral("Rottami di rame"), QStringLiteral("Rottami di ferro e acciaio")};
    return l;
}

// Captions of a section's materials, msQta01.. in column order, taken from the
// slots that hold them.
inline QStringList sectionMaterials(MatKind k)
{
    const int *slots = materialSlots(k);
    int count = 0;
    for (int s = 0; s < MaterialSlotCount; ++s)
        count = std::max(count, slots[s]);
    QStringList l;
    for (int n = 1; n <= count; ++n)
        for (int s = 0; s < MaterialSlotCount; ++s)
            if (slots[s] == n)
                l << materialSlotNames().at(s);
    return l;
}

// The material of section `to` that is the same as material `n` of section
// `from` (0 when `to` has no such material).
inline int sameMaterial(MatKind from, int n, MatKind to)
{
    const int *a = materialSlots(from);
    const int *b = materialSlots(to);
    for (int s = 0; s < MaterialSlotCount; ++s)
        if (a[s] == n)
            return b[s];
    return 0;
}

// Secondary materials of scheda IMB: msQta01..msQta07 in this order.
inline const QStringList &imbMaterials()
{
    static const QStringList l = sectionMaterials(MatKind::Imb);
    return l;
}
// Secondary materials of scheda MAT (SezAnag): msQta01..msQta20 in this order.
inline const QStringList &matMaterials()
{
    static const QStringList l = sectionMaterials(MatKind::Declaration);
    return l;
}
// The packaging code split by metal.
inline QString splitCode() { return QStringLiteral("150104"); }

// Text of a stored code; empty for codes outside the list.
inline QString listText(const QStringList &l, int code)
{
    return code >= 1 && code <= l.size() ? l.at(code - 1) : QString();
}
inline QString mgPlantText(int code) { return listText(mgPlantTypes(), code); }
inline QString landfillText(int code)
{
    for (const auto &[c, t] : landfillClasses())
        if (c == code)
            return QString::fromUtf8(t);
    return {};
}
inline QString reActivityText(int code)
{
    for (const auto &[c, t] : reActivities())
        if (c == code)
            return QString::fromUtf8(t);
    return {};
}

// ---- vehicles: SezVfu.vfuTipo, RecVfu.Posizione ----
enum VfuKind { VfuAut = 1, VfuRot = 2, VfuFra = 3 };
enum VfuRow { VfuReceived = 1, VfuProduced = 2 };

// ---- electrical equipment: SezRaee.srTipo ----
enum RaeeKind { RaeeTra = 1, RaeeCr = 2 };

// ---- waste-code families shared by several sections ----
// Packaging waste: "150101" to "150109".
inline bool isPackagingCode(const QString &c)
{
    return c.size() == 6 && c >= QLatin1String("150101") && c <= QLatin1String("150109");
}
// Electrical and electronic equipment waste: "160210" to "160216", "200121",
// "200123", "200135", "200136".
inline bool isElectricalCode(const QString &c)
{
    return (c.size() == 6 && c >= QLatin1String("160210") && c <= QLatin1String("160216"))
           || c == QLatin1String("200121") || c == QLatin1String("200123")
           || c == QLatin1String("200135") || c == QLatin1String("200136");
}
// Codes of the urban-origin flag of RT: beginning "1912", or 190501, 190503.
inline bool isUrbanOriginCode(const QString &c)
{
    return c.startsWith(QLatin1String("1912")) || c == QLatin1String("190501")
           || c == QLatin1String("190503");
}
// Codes of the battery frame of RT: above 160600 and below 160606, or 200133, 200134.
inline bool isBatteryCode(const QString &c)
{
    return (c > QLatin1String("160600") && c < QLatin1String("160606"))
           || c == QLatin1String("200133") || c == QLatin1String("200134");
}

} // namespace codes
