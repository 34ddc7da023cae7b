#pragma once
// Small helpers the waste forms share on top of the record form pattern:
// laying a field table out in its frames, and drop-down lists for coded
// fields whose choices are too many for option buttons (countries, plant
// types, the SA-AUT lists).

#include "sections/fields.h"
#include "ui/recordform.h"

#include <QPair>
#include <QSet>
#include <QVector>

class QComboBox;

namespace wastegui {

// Rows assigned in table order within each frame (fields that already have a
// row keep it). Fields named in asList get a hidden number box that keeps the
// value for a drop-down list (attachList).
fields::Table laidOut(fields::Table t, const QSet<QString> &asList = {});

using ListItems = QVector<QPair<int, QString>>; // value, text

// Puts a drop-down list in place of the field's control; the list writes its
// value into the field, so record(), the change flag and the save work as for
// any field. Call syncList() after a record is shown.
QComboBox *attachList(ui::RecordForm *form, const QString &name, const ListItems &items);
void syncList(ui::RecordForm *form, QComboBox *list, const QString &name);

// Sets one field of the form's record and marks the form changed.
void setFieldValues(ui::RecordForm *form, const fields::Record &values);

// Shows a module form as a window of its own over its scheda: modal, so it
// stays in front of the main window and of the messages' owner, its place
// remembered; when it closes the cursor goes back where it was in the scheda.
void showModuleWindow(AppContext &ctx, QWidget *scheda, ui::RecordForm *module, const QString &code);

// The current declaration (the one the SA1 form remembers).
qint64 currentDeclaration(AppContext &ctx);

// A form that hangs from one declaration closes (asking to save a change
// first) when the user chooses another declaration.
void followDeclaration(QWidget *form, qint64 saID);

} // namespace wastegui
