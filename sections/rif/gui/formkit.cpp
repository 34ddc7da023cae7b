#include "sections/rif/gui/formkit.h"

#include "shell/qorclass.h"
#include "ui/controls.h"
#include "ui/desktop.h"
#include "ui/events.h"
#include "ui/fieldform.h"

#include <QApplication>
#include <QComboBox>
#include <QGridLayout>
#include <QHash>
#include <QLabel>
#include <QPointer>

namespace wastegui {

fields::Table laidOut(fields::Table t, const QSet<QString> &asList)
{
    QHash<QString, int> next;
    for (fields::Field &f : t) {
        if (f.row == 0 && f.col == 0)
            f.row = next.value(f.group);
        next[f.group] = qMax(next.value(f.group), f.row + 1);
        if (asList.contains(f.name)) {
            f.kind = fields::Kind::Integer;
            f.length = 9;
            f.options.clear();
        }
    }
    return t;
}

QComboBox *attachList(ui::RecordForm *form, const QString &name, const ListItems &items)
{
    auto *box = qobject_cast<ui::NumberBox *>(form->fields()->control(name));
    if (!box)
        return nullptr;
    QWidget *holder = box->parentWidget();
    auto *grid = qobject_cast<QGridLayout *>(holder->layout());
    auto *list = new QComboBox(holder);
    list->setObjectName(name + QStringLiteral("List"));
    for (const auto &[value, text] : items)
        list->addItem(text, value);
    list->setMinimumContentsLength(20);
    list->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
    if (grid) {
        int row, col, rs, cs;
        grid->getItemPosition(grid->indexOf(box), &row, &col, &rs, &cs);
        grid->addWidget(list, row, col, rs, cs);
    }
    box->hide();
    if (QLabel *l = form->fields()->label(name))
        l->setBuddy(list);
    QWidget::setTabOrder(box, list);
    // Any change of the choice by the user (mouse, arrows, typing); syncList
    // changes it with signals blocked.
    QObject::connect(list, &QComboBox::currentIndexChanged, form, [form, box, list] {
        const QVariant v = list->currentData();
        box->setValue(v.toInt() > 0 ? QVariant(qlonglong(v.toInt())) : QVariant());
        form->fields()->setModified(true);
    });
    return list;
}

void syncList(ui::RecordForm *form, QComboBox *list, const QString &name)
{
    if (!list)
        return;
    const int v = form->fields()->record().value(name).toInt();
    const int i = list->findData(v);
    const QSignalBlocker block(list);
    list->setCurrentIndex(i >= 0 ? i : 0);
}

void setFieldValues(ui::RecordForm *form, const fields::Record &values)
{
    fields::Record r = form->fields()->record();
    for (auto it = values.begin(); it != values.end(); ++it)
        r.insert(it.key(), it.value());
    const bool was = form->fields()->isModified();
    form->fields()->setRecord(r);
    form->fields()->setModified(was || !values.isEmpty());
}

void showModuleWindow(AppContext &ctx, QWidget *scheda, ui::RecordForm *module, const QString &code)
{
    QWidget *had = QApplication::focusWidget();
    QPointer<QWidget> back = had && scheda->isAncestorOf(had) ? had : nullptr;
    module->setParent(scheda, Qt::Window);
    module->setAttribute(Qt::WA_DeleteOnClose);
    module->setWindowModality(Qt::ApplicationModal);
    ui::rememberGeometry(module, ctx, QStringLiteral("Modulo") + code);
    QPointer<QWidget> form = scheda;
    QObject::connect(module, &QObject::destroyed, scheda, [form, back] {
        if (!form)
            return;
        form->activateWindow();
        if (back)
            back->setFocus(Qt::OtherFocusReason);
        else if (auto *r = qobject_cast<ui::RecordForm *>(form.data()))
            r->fields()->focusField(0);
        else
            form->setFocus(Qt::OtherFocusReason);
    });
    module->show();
}

qint64 currentDeclaration(AppContext &ctx)
{
    return ctx.app.readInt(QStringLiteral("Qor"), QStringLiteral("Sa1ID"));
}

void followDeclaration(QWidget *form, qint64 saID)
{
    QObject::connect(&ui::Events::instance(), &ui::Events::currentDeclarationChanged, form, [form, saID](qint64 id) {
        if (id == saID)
            return;
        QWidget *host = form->parentWidget();
        if (host && host->inherits("QMdiSubWindow"))
            host->close();
        else
            form->close();
    });
}

} // namespace wastegui
