#include "fixture.h"

#include "refdata/template.h"

#include <QFile>
#include <QSqlQuery>

Fixture::Fixture()
{
    app = std::make_unique<qorClass>(dir.path());
    db = std::make_unique<dbClass>(*app, msg);
    const QString path = dir.filePath(QStringLiteral("t.db"));
    QString error;
    if (!refdata::createDatabase(path, qorClass::refdataFolder(), &error)) {
        qWarning("%s", qPrintable(error));
        return;
    }
    db->setCurrentPath(path);
    ok_ = db->connect();
}

qint64 Fixture::insert(const QString &table, const QVariantMap &values)
{
    return db->insertRow(table, values);
}

QVariantMap Fixture::qty(const QVariantMap &kgByColumn)
{
    QVariantMap m;
    for (auto it = kgByColumn.begin(); it != kgByColumn.end(); ++it) {
        if (it.key().startsWith(QLatin1String("qta")) || it.key().startsWith(QLatin1String("msQta"))
            || it.key() == QLatin1String("srQta") || it.key() == QLatin1String("intQta")) {
            m.insert(it.key(), kg(it.value().toLongLong()));
            QString unit = it.key();
            if (unit.startsWith(QLatin1String("msQta")))
                unit.replace(0, 5, QStringLiteral("msUmi"));
            else if (unit == QLatin1String("srQta"))
                unit = QStringLiteral("srUmi");
            else if (unit == QLatin1String("intQta"))
                unit = QStringLiteral("intUmi");
            else
                unit.replace(0, 3, QStringLiteral("umi"));
            if (!kgByColumn.contains(unit))
                m.insert(unit, 1);
        } else {
            m.insert(it.key(), it.value());
        }
    }
    return m;
}

qint64 Fixture::declaration(const QString &codFisc, const QString &ragSoc, const QVariantMap &extra)
{
    QVariantMap v{{QStringLiteral("CodFisc"), codFisc}, {QStringLiteral("RagSoc"), ragSoc},
                  {QStringLiteral("REA"), 123456}, {QStringLiteral("prvIstat"), 1},
                  {QStringLiteral("comIstat"), 1}, {QStringLiteral("Via"), QStringLiteral("Via Roma")},
                  {QStringLiteral("Civico"), QStringLiteral("10")},
                  {QStringLiteral("attIstat"), QStringLiteral("011110")}, {QStringLiteral("ExpID"), 0}};
    const QVariantMap e = qty(extra);
    for (auto it = e.begin(); it != e.end(); ++it)
        v.insert(it.key(), it.value());
    return insert(QStringLiteral("SezAnag"), v);
}

qint64 Fixture::rif(qint64 saID, const QString &code, const QVariantMap &kgByColumn)
{
    QVariantMap v = qty(kgByColumn);
    v.insert(QStringLiteral("saID"), saID);
    v.insert(QStringLiteral("rifCod"), code);
    return insert(QStringLiteral("SezRif"), v);
}

qint64 Fixture::modRif(qint64 rifID, int tipo, const QVariantMap &values)
{
    QVariantMap v = qty(values);
    v.insert(QStringLiteral("rifID"), rifID);
    v.insert(QStringLiteral("tipoMod"), tipo);
    return insert(QStringLiteral("ModRif"), v);
}

qint64 Fixture::opRif(qint64 mrID, int pos, const QString &code, qint64 kgWhole)
{
    return insert(QStringLiteral("RecRif"), {{QStringLiteral("mrID"), mrID},
                                            {QStringLiteral("Posizione"), pos},
                                            {QStringLiteral("Codice"), code},
                                            {QStringLiteral("qta"), kg(kgWhole)},
                                            {QStringLiteral("umi"), 1}});
}

Fixture::Run Fixture::run(verify::Mode mode, qint64 key, bool includeExported, bool markExportable)
{
    Run r;
    verify::Engine engine(*db, msg);
    if (!engine.openReport(app->reportPath()))
        return r;
    r.result = engine.run(mode, key, includeExported, markExportable);
    r.progress = engine.progress();
    QFile f(app->reportPath());
    if (f.open(QIODevice::ReadOnly))
        r.bytes = f.readAll();
    const QString text = QString::fromUtf8(r.bytes);
    r.lines = text.split(QStringLiteral("\r\n"));
    if (!r.lines.isEmpty() && r.lines.last().isEmpty())
        r.lines.removeLast();
    return r;
}

QStringList Fixture::remarks(const QStringList &lines)
{
    QStringList out;
    for (int i = 0; i + 2 < lines.size(); ++i) {
        const bool err = lines[i].startsWith(QLatin1String("**ERRORE** "));
        const bool warn = lines[i].startsWith(QLatin1String("ATTENZIONE Il dato"));
        if (!err && !warn)
            continue;
        out << QStringLiteral("%1 %2 | %3")
                   .arg(err ? QStringLiteral("E") : QStringLiteral("W"))
                   .arg(lines[i + 1].mid(11), lines[i + 2].mid(11));
    }
    return out;
}

QStringList Fixture::find(const QStringList &lines, const QString &firstLine)
{
    // "first|second": the first message line, then the start of the second.
    const QString first = firstLine.section(u'|', 0, 0);
    const QString second = firstLine.section(u'|', 1);
    const QString sp(11, u' ');
    QStringList out;
    for (int i = 0; i + 2 < lines.size(); ++i) {
        const bool err = lines[i].startsWith(QLatin1String("**ERRORE** "));
        const bool warn = lines[i].startsWith(QLatin1String("ATTENZIONE Il dato"));
        if ((!err && !warn) || lines[i + 2] != sp + first)
            continue;
        if (!second.isEmpty() && (i + 3 >= lines.size() || !lines[i + 3].startsWith(sp + second)))
            continue;
        out << QStringLiteral("%1 %2 | %3")
                   .arg(err ? QStringLiteral("E") : QStringLiteral("W"), lines[i + 1].mid(11), firstLine);
    }
    return out;
}

QStringList Fixture::block(const QStringList &lines, const QString &firstLine)
{
    for (int i = 2; i < lines.size(); ++i) {
        if (lines[i] != QString(11, u' ') + firstLine || !lines[i - 1].startsWith(QLatin1String("---------> ")))
            continue;
        QStringList out{lines[i - 2], lines[i - 1]};
        for (int j = i; j < lines.size(); ++j) {
            out << lines[j];
            if (lines[j] == QString(11, u' '))
                break;
        }
        return out;
    }
    return {};
}

bool Fixture::exportable(qint64 saID)
{
    return db->scalar(QStringLiteral("SELECT saExp FROM SezAnag WHERE (saID = ?)"), {saID}).toInt() == 1;
}

QString runCases(Fixture &f, const std::vector<RuleCase> &cases)
{
    QString failures;
    int n = 0;
    for (const RuleCase &c : cases) {
        const qint64 sa = f.declaration(QStringLiteral("CASE%1").arg(++n, 4, 10, QLatin1Char('0')));
        c.build(f, sa);
        const QStringList got = Fixture::find(f.runOne(sa).lines, c.firstLine);
        const QStringList want = c.expected.isEmpty() ? QStringList()
                                                      : QStringList{c.expected + QStringLiteral(" | ") + c.firstLine};
        if (got != want)
            failures += QStringLiteral("%1: expected [%2] got [%3]\n")
                            .arg(QLatin1String(c.name), want.join(u';'), got.join(u';'));
    }
    return failures;
}
