#include "sections/int/int.h"

#include "sections/codes.h"

namespace intsec {

const waste::SchedaKind &scheda()
{
    static const waste::SchedaKind s = [] {
        waste::SchedaKind s;
        s.table = QStringLiteral("SezInt");
        s.key = QStringLiteral("intID");
        s.name = QStringLiteral("INT");
        s.title = QStringLiteral("Scheda INT - Totale rifiuti commercializzati ed intermediati senza detenzione");
        s.listTitle = QStringLiteral("Lista delle schede INT inserite");
        s.listTip = QStringLiteral("Apre lista delle schede INT inserite");
        s.repeated = QStringLiteral("Attenzione, scheda INT già presente,\nvuoi inserirne una nuova?");
        s.deleteWhat = QStringLiteral("scheda INT e relativi moduli");
        s.settingsKey = QStringLiteral("IntID");
        s.askNoQuantity = false;
        s.fields = rif::codeAndStateFields();
        fields::Field q;
        q.name = QStringLiteral("intQta");
        q.name2 = QStringLiteral("intUmi");
        q.caption = QStringLiteral("Quantità complessivamente intermediata:");
        q.kind = fields::Kind::Quantity;
        q.length = 7;
        q.decimals = 3;
        q.required = QStringLiteral("Attenzione, quantità richiesta.");
        s.fields << q;
        return s;
    }();
    return s;
}

const waste::ModuleKind &module(int tipoMod)
{
    static const QVector<waste::ModuleKind> kinds = [] {
        QVector<waste::ModuleKind> v(3);
        struct Texts {
            int tipo;
            const char *code, *title, *frame, *address, *country, *quantity;
        };
        const Texts texts[] = {
            {codes::UO, "UO", "Modulo UO - Elenco Unità Locali di origine del rifiuto",
             "Unità locale di origine", "Indirizzo (se di origine nazionale)",
             "Paese estero (se di origine non nazionale)", "Quantità acquisita nell'anno:"},
            {codes::UD, "UD", "Modulo UD - Elenco unità locali di destinazione del rifiuto",
             "Unità locale di destinazione", "Indirizzo (se di destinazione nazionale)",
             "Paese estero (se di destinazione non nazionale)", "Quantità ceduta nell'anno:"},
        };
        for (const Texts &t : texts) {
            waste::ModuleKind m;
            m.table = QStringLiteral("ModInt");
            m.key = QStringLiteral("miID");
            m.parentKey = QStringLiteral("intID");
            m.tipoMod = t.tipo;
            m.code = QString::fromLatin1(t.code);
            m.title = QString::fromUtf8(t.title);
            m.listTitle = QStringLiteral("Lista dei moduli ") + m.code;
            m.orderBy = QStringLiteral("miID");
            m.counterpart = m.sides = true;
            m.fields = rif::counterpartFields(t.frame, t.address, t.frame, t.country, false);
            fields::Field q;
            q.name = QStringLiteral("qtaMod");
            q.name2 = QStringLiteral("umiMod");
            q.caption = QString::fromUtf8(t.quantity);
            q.kind = fields::Kind::Quantity;
            q.length = 7;
            q.decimals = 3;
            q.required = QStringLiteral("Attenzione, quantità richiesta.");
            q.group = QStringLiteral("Quantità");
            m.fields << q;
            v[t.tipo] = m;
        }
        return v;
    }();
    return kinds[tipoMod == codes::UD ? codes::UD : codes::UO];
}

} // namespace intsec
