#include "shell/messages.h"

#include "shell/dberror.h"

#include <QDateTime>
#include <QFile>
#include <QTextStream>
#include <atomic>
#include <cstdio>

namespace {
std::atomic<int> reports{0};
}

int Messages::errorReports() { return reports.load(); }

QString Messages::errorTitle(const QString &place, qint64 code)
{
    const QString hex = QString::number(static_cast<quint64>(code) & 0xffffffffULL, 16).toUpper();
    if (place.isEmpty())
        return QStringLiteral("Errore codice: ") + hex;
    return place + QStringLiteral(" (") + hex + u')';
}

void Messages::errorReport(const QString &place, qint64 code, const QString &description,
                           const QString &source)
{
    report(place, code, description, source, false);
}

void Messages::databaseErrorReport(const QString &place, qint64 code, const QString &description,
                                   const QString &source)
{
    report(place, code, description, source, true);
}

void Messages::report(const QString &place, qint64 code, const QString &description,
                      const QString &source, bool database)
{
    ++reports;
    beep();
    const QString title = errorTitle(place, code);
    const dberror::Explained x = database ? dberror::explainDatabase(code, description, source)
                                          : dberror::explain(code, description, source);
    const QString text = x.text + u'\n' + x.detail;
    if (!logFile_.isEmpty()) {
        QFile f(logFile_);
        if (f.open(QIODevice::Append | QIODevice::Text)) {
            QTextStream out(&f);
            out << QDateTime::currentDateTime().toString(Qt::ISODate) << ' ' << title << ": "
                << dberror::maskPassword(description) << " [" << dberror::maskPassword(source) << "]\n";
        }
    }
    critical(text, title);
}

void ScriptedMessages::information(const QString &text, const QString &title)
{
    shown.append({Kind::Information, title, text});
}

void ScriptedMessages::critical(const QString &text, const QString &title)
{
    shown.append({Kind::Critical, title, text});
}

bool ScriptedMessages::question(const QString &text, const QString &title)
{
    shown.append({Kind::Question, title, text});
    return answers.isEmpty() ? false : answers.takeFirst();
}

QStringList ScriptedMessages::texts() const
{
    QStringList l;
    for (const auto &s : shown)
        l << s.text;
    return l;
}

static void toStderr(const QString &prefix, const QString &text)
{
    QByteArray b = dberror::maskPassword(prefix + text + u'\n').toUtf8();
    std::fwrite(b.constData(), 1, size_t(b.size()), stderr);
}

void ConsoleMessages::information(const QString &text, const QString &) { toStderr({}, text); }
void ConsoleMessages::critical(const QString &text, const QString &title)
{
    toStderr(title.isEmpty() ? QString() : title + QStringLiteral(": "), text);
}
bool ConsoleMessages::question(const QString &text, const QString &)
{
    toStderr({}, text + (assumeYes_ ? QStringLiteral(" [Sì]") : QStringLiteral(" [No]")));
    return assumeYes_;
}
