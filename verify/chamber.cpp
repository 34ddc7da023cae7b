#include "verify/chamber.h"

#include "shell/dbclass.h"
#include "shell/messages.h"

namespace verify {

Chamber competentChamber(dbClass &db, Messages &msg, const QString &abbreviation)
{
    Chamber c;
    const QString sigla = abbreviation.trimmed().toUpper();
    QSqlQuery q = db.query(QStringLiteral(
        "SELECT Province.prvIstat, Province.prvDesc, Province.prvCCIAA, Province_1.prvDesc AS CompCCIAA, "
        "Province_1.prvSigla AS CompSigla FROM Province INNER JOIN Province AS Province_1 "
        "ON Province.prvCCIAA = Province_1.prvIstat WHERE (Province.prvSigla = ?)"), {sigla});
    if (!q.next()) {
        msg.information(QStringLiteral("Attenzione, sigla provincia digitata errata!"));
        return c;
    }
    const qint64 own = q.value(0).toLongLong();
    c.code = q.value(2).toLongLong();
    c.name = q.value(3).toString();
    c.sigla = q.value(4).toString();
    QString text;
    if (c.code == own) {
        if (sigla == QLatin1String("BL"))
            text = QStringLiteral("Attenzione, la CCIAA di competenza per il comune di SAPPADA è UDINE.");
        else if (sigla == QLatin1String("SS"))
            text = QStringLiteral("Attenzione, la CCIAA di competenza per i comuni di BUDONI, SAN TEODORO è NUORO.");
        else if (sigla == QLatin1String("OR"))
            text = QStringLiteral("Attenzione, la CCIAA di competenza per i comuni di BOSA, FLUSSIO, LACONI, "
                                  "MAGOMADAS, MODOLO, MONTRESTA, SAGAMA, SUNI, NURRI, TINNURA è NUORO.");
        else if (sigla == QLatin1String("LC"))
            text = QStringLiteral("Attenzione, la CCIAA di competenza per il comune di TORRE DE' BUSI è BERGAMO.");
    } else {
        text = QStringLiteral("Attenzione, la CCIAA di competenza per ") + q.value(1).toString()
            + QStringLiteral(" è: ") + c.name + QStringLiteral(".");
        if (sigla == QLatin1String("BT"))
            text += QStringLiteral("\r(ad eccezione di Margherita di Savoia, San Ferdinando di Puglia e Trinitapoli"
                                   "\rper i quali la CCIAA di competenza è FOGGIA)");
        else if (sigla == QLatin1String("SU"))
            text += QStringLiteral("\rad eccezione dei comuni di ESCALAPLANO, ESCOLCA, ESTERZILI, GENONI, GERGEI, "
                                   "ISILI, NURAGUS, NURALLAO, NURRI, ORROLI, SADALI, SERRI, SEUI, SEULO, "
                                   "VILLANOVA TULO per i quali la CCIAA di competenza è NUORO.");
    }
    if (!text.isEmpty())
        msg.information(text);
    return c;
}

} // namespace verify
