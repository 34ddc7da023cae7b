#include "shell/dberror.h"

#include "shell/qorclass.h"

#include <QRegularExpression>

namespace dberror {

const std::vector<Entry> &table()
{
    // SQLite primary result codes: BUSY 5, LOCKED 6, READONLY 8, IOERR 10,
    // CORRUPT 11, FULL 13, CANTOPEN 14, PERM 3, NOTADB 26.
    static const std::vector<Entry> t = {
        {Kind::NotADatabase, {26}, {QStringLiteral("file is not a database")},
         QStringLiteral("Attenzione, il file indicato non è un database QOR %1 (oppure è cifrato o "
                        "danneggiato): scegliere il file giusto con Utilità > Collega archivi.")
             .arg(qorClass::Year)},
        {Kind::Damaged, {11}, {QStringLiteral("malformed"), QStringLiteral("database corrupt")},
         QStringLiteral("Attenzione, il database è danneggiato: non usarlo per altri lavori e "
                        "ripristinare l'ultima copia di sicurezza dell'archivio.")},
        {Kind::Busy, {5, 6}, {QStringLiteral("database is locked"), QStringLiteral("table is locked"),
                              QStringLiteral("could not obtain lock"), QStringLiteral("deadlock detected")},
         QStringLiteral("Attenzione, il database è in uso da un'altra postazione o da un altro "
                        "programma: attendere che abbia finito e ripetere l'operazione.")},
        {Kind::ReadOnly, {8, 3}, {QStringLiteral("readonly database"), QStringLiteral("read-only"),
                                  QStringLiteral("access permission denied")},
         QStringLiteral("Attenzione, il database è in sola lettura: controllare i permessi del file "
                        "e della cartella (anche sulla cartella condivisa) e ripetere l'operazione.")},
        {Kind::DiskFull, {13}, {QStringLiteral("disk is full"), QStringLiteral("no space left")},
         QStringLiteral("Attenzione, il disco che contiene il database è pieno: liberare spazio e "
                        "ripetere l'operazione.")},
        {Kind::CantOpen, {14}, {QStringLiteral("unable to open database"), QStringLiteral("file non trovato")},
         QStringLiteral("Attenzione, impossibile aprire il file del database: controllare che il "
                        "percorso esista e che la cartella sia raggiungibile, oppure scegliere il "
                        "file con Utilità > Collega archivi.")},
        {Kind::IoError, {10}, {QStringLiteral("disk i/o error")},
         QStringLiteral("Attenzione, errore di lettura o scrittura sul disco del database: "
                        "controllare il disco o il collegamento alla cartella condivisa e ripetere "
                        "l'operazione.")},
        {Kind::BadLogin, {}, {QStringLiteral("password authentication failed"),
                              QStringLiteral("no password supplied"),
                              QStringLiteral("authentication failed")},
         QStringLiteral("Attenzione, nome utente o password del database errati: correggerli "
                        "nell'indirizzo del database.")},
        {Kind::NoDatabase, {}, {QStringLiteral("database \"…\" does not exist")},
         QStringLiteral("Attenzione, il database indicato non esiste sul server: controllare il "
                        "nome del database nell'indirizzo.")},
        {Kind::Unreachable, {}, {QStringLiteral("connection refused"), QStringLiteral("could not connect"),
                                 QStringLiteral("could not translate host name"),
                                 QStringLiteral("timeout expired"), QStringLiteral("no route to host"),
                                 QStringLiteral("server closed the connection"),
                                 QStringLiteral("connection to server")},
         QStringLiteral("Attenzione, il server del database non risponde: controllare l'indirizzo "
                        "del server, il collegamento di rete e che il servizio PostgreSQL sia "
                        "avviato.")},
        {Kind::Other, {}, {},
         QStringLiteral("Attenzione, errore del database: l'operazione non è stata completata. "
                        "Ripetere l'operazione; se l'errore si ripete, conservare il dettaglio qui "
                        "sotto e rivolgersi all'assistenza.")},
    };
    return t;
}

Kind classify(qint64 code, const QString &libraryText)
{
    const QString text = libraryText.toLower();
    // A marker "a…b" matches a text holding a, then b further on.
    auto holds = [&text](const QString &marker) {
        qsizetype from = 0;
        for (const QString &piece : marker.split(u'…')) {
            from = text.indexOf(piece, from);
            if (from < 0)
                return false;
            from += piece.size();
        }
        return true;
    };
    for (const Entry &e : table())
        for (const QString &m : e.markers)
            if (holds(m))
                return e.kind;
    // SQLite codes are small numbers; an extended code keeps the primary one
    // in its low byte.
    if (code > 0 && code < 0x10000) {
        const int primary = int(code & 0xff);
        for (const Entry &e : table())
            for (int c : e.sqliteCodes)
                if (c == primary)
                    return e.kind;
    }
    return code != 0 ? Kind::Other : Kind::Unknown;
}

QString sentence(Kind kind)
{
    for (const Entry &e : table())
        if (e.kind == kind)
            return e.sentence;
    return {};
}

Explained explain(qint64 code, const QString &description, const QString &source)
{
    if (classify(code, description) == Kind::Unknown) {
        Explained x;
        x.text = maskPassword(description);
        x.detail = maskPassword(source);
        return x;
    }
    return explainDatabase(code, description, source);
}

Explained explainDatabase(qint64 code, const QString &description, const QString &source)
{
    Explained x;
    // A caller's own words may stand first, the library's in the source.
    x.kind = classify(code, description + u'\n' + source);
    if (x.kind == Kind::Unknown)
        x.kind = Kind::Other;
    x.text = sentence(x.kind);
    x.detail = QStringLiteral("Dettaglio: ") + maskPassword(description.trimmed());
    if (code != 0)
        x.detail += QStringLiteral(" (codice %1)").arg(code);
    // The statement only hints at where it happened: its beginning is enough.
    if (!source.isEmpty())
        x.detail += QStringLiteral(" [") + maskPassword(source.size() > 200 ? source.left(200) + u'…' : source) + u']';
    return x;
}

QString maskPassword(const QString &text)
{
    // scheme://user:password@ : everything between the colon and the "@".
    static const QRegularExpression url(QStringLiteral("([a-zA-Z][a-zA-Z0-9+.-]*://[^:/@\\s]*):[^@\\s]*@"));
    QString out = text;
    out.replace(url, QStringLiteral("\\1:***@"));
    // libpq's own key=value form.
    static const QRegularExpression kv(QStringLiteral("(password\\s*=\\s*)('[^']*'|\\S+)"),
                                       QRegularExpression::CaseInsensitiveOption);
    out.replace(kv, QStringLiteral("\\1***"));
    return out;
}

} // namespace dberror
