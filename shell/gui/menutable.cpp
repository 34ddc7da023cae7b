#include "shell/gui/menutable.h"

#include "shell/formrule.h"

namespace {
MenuEntry form(const char *text, int n) { return {QString::fromUtf8(text), {}, n, {}}; }
MenuEntry cmd(const char *text, const char *c) { return {QString::fromUtf8(text), QString::fromLatin1(c), 0, {}}; }
MenuEntry sub(const char *text, std::vector<MenuEntry> items)
{
    return {QString::fromUtf8(text), {}, 0, std::move(items)};
}
} // namespace

const std::vector<Menu> &menuTable()
{
    static const std::vector<Menu> table = {
        {QStringLiteral("&Schede"),
         {form("&SA1 - Sezione anagrafica", Form::SA1),
          form("SA-&AUT - Autorizzazioni", Form::SaAut),
          sub("Comunicazione &rifiuti", {form("Scheda &RIF - Rifiuti", Form::Rif),
                                         form("Scheda &Materiali secondari", Form::Mat),
                                         form("Scheda &INT - Intermediazione", Form::Int)}),
          sub("Comunicazione &veicoli fuori uso", {form("Scheda &AUT - Autodemolitore", Form::VfuAut),
                                                   form("Scheda &ROT - Rottamatore", Form::VfuRot),
                                                   form("Scheda &FRA - Frantumatore", Form::VfuFra)}),
          form("Comunicazione &Imballaggi", Form::Imb),
          sub("Comunicazione RA&EE", {form("Scheda &TRA - Trattamento", Form::RaeeTra),
                                      form("Scheda &CR - Centri di raccolta", Form::RaeeCr)}),
          cmd("&Chiudi", "closeForms")}},
        {QStringLiteral("&Utilità"),
         {form("&Verifica dati inseriti", Form::Verifica),
          sub("&Esportazioni", {form("&Lista delle esportazioni effettuate", Form::ExportList),
                                form("&Estrazione delle dichiarazioni", Form::Export)}),
          sub("&Importazioni", {form("&Dichiarazioni QOR anno corrente", Form::Import),
                                form("&Anagrafiche anno precedente", Form::Takeover)}),
          form("&Registra utente", Form::Registra),
          cmd("&Collega archivi", "connetti"),
          cmd("&Salva copia dell'archivio", "archiveCopy")}},
        {QStringLiteral("Stam&pe"),
         {form("&Dichiarazione", Form::Print), form("Elenco dichiarazioni", Form::PrintList)}},
        {QStringLiteral("&?"),
         {cmd("&Help", "help"), cmd("&Cerca nell'help...", "helpSearch"),
          cmd("&Informazioni su...", "about")}},
        {QStringLiteral("Sviluppo"),
         {form("SezAnag", Form::SA1), form("Scheda RIF", Form::Rif), form("Scheda INT", Form::Int),
          form("Scheda AUT", Form::VfuAut), form("Scheda ROT", Form::VfuRot),
          form("Scheda FRA", Form::VfuFra), form("Scheda TRA", Form::RaeeTra),
          form("Scheda CR", Form::RaeeCr), form("Scheda IMB", Form::Imb),
          form("Verifica", Form::Verifica), form("Esporta", Form::Export),
          form("Importa", Form::Import)},
         true},
    };
    return table;
}
