#pragma once
// What the tests that walk every window share: a database with one
// declaration filling every section, current for the forms, and what a user
// can type into or tick in a window.

#include "../testdb.h"
#include "exchange/demodata.h"
#include "sections/codes.h"
#include "sections/imb/gui/imbform.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/stream/gui/streamform.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QTextEdit>
#include <QWidget>
#include <functional>

namespace testinputs {

// A control's name for the failure texts: the nearest object name and the
// label that introduces it.
inline QString describe(const QWidget *w)
{
    if (!w)
        return QStringLiteral("(nessuno)");
    QString name;
    for (const QWidget *p = w; p && name.isEmpty(); p = p->parentWidget())
        name = p->objectName();
    QString text;
    if (auto *b = qobject_cast<const QAbstractButton *>(w))
        text = b->text();
    for (QLabel *l : w->window()->findChildren<QLabel *>())
        if (l->buddy() == w)
            text = l->text();
    return QStringLiteral("%1 %2 \"%3\"").arg(QString::fromLatin1(w->metaObject()->className()), name, text);
}

// The module windows a form opens, each as the user would.
inline QList<QPair<QString, std::function<QWidget *()>>> moduleOpeners(QWidget *w)
{
    QList<QPair<QString, std::function<QWidget *()>>> out;
    if (auto *s = qobject_cast<wastegui::SchedaForm *>(w))
        for (const waste::ModuleKind *kind : s->moduleKinds())
            out.append({kind->code, [s, kind] { return s->openModule(*kind); }});
    for (int t = codes::RT; t <= codes::MG; ++t) {
        if (auto *i = qobject_cast<imbgui::ImbForm *>(w))
            out.append({QStringLiteral("IMB %1").arg(t), [i, t] { return i->openModules(t, 0); }});
        if (auto *r = qobject_cast<streamgui::StreamForm *>(w))
            out.append({QStringLiteral("%1").arg(t), [r, t] { return r->openModules(t, 0); }});
    }
    return out;
}

// Fails the test with every fault found, each on its own line.
inline void report(const QStringList &faults)
{
    for (const QString &f : faults)
        qWarning("%s", qPrintable(f));
    QVERIFY2(faults.isEmpty(), qPrintable(QStringLiteral("%1 difetti, elencati sopra").arg(faults.size())));
}

// Opens the test database with one declaration of every section, the one
// the forms open on.
inline bool openWithFullDeclaration(TestDb &t)
{
    if (!t.open())
        return false;
    exch::demo::Options o;
    o.declarations = 1;
    o.withErrors = false;
    o.everySection = true;
    QList<qint64> ids;
    QString error;
    if (!exch::demo::generate(*t.db, o, &ids, &error)) {
        qWarning("%s", qPrintable(error));
        return false;
    }
    return t.app->writeText(QStringLiteral("Qor"), QStringLiteral("Sa1ID"), QString::number(ids.value(0)));
}

inline bool isInput(QWidget *w)
{
    if (auto *l = qobject_cast<QLabel *>(w)) // a link that does something
        return l->text().contains(QStringLiteral("<a "));
    if (auto *e = qobject_cast<QLineEdit *>(w))
        return !e->isReadOnly();
    return qobject_cast<QComboBox *>(w) || qobject_cast<QCheckBox *>(w) || qobject_cast<QRadioButton *>(w)
           || qobject_cast<QAbstractSpinBox *>(w) || qobject_cast<QAbstractItemView *>(w)
           || qobject_cast<QTextEdit *>(w) || qobject_cast<QPlainTextEdit *>(w);
}

// A widget inside a list or grid belongs to it: the arrows reach it.
inline bool insideItemView(const QWidget *w)
{
    for (const QWidget *p = w->parentWidget(); p; p = p->parentWidget())
        if (qobject_cast<const QAbstractItemView *>(p))
            return true;
    return false;
}

// The inputs of `win` shown and enabled now.
inline QList<QWidget *> inputsOf(QWidget *win)
{
    QList<QWidget *> out;
    for (QWidget *w : win->findChildren<QWidget *>())
        if (w->window() == win && w->isVisible() && w->isEnabled() && !w->focusProxy() && isInput(w)
            && !qobject_cast<QHeaderView *>(w) && !insideItemView(w))
            out << w;
    return out;
}

} // namespace testinputs
