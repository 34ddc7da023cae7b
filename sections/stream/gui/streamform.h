#pragma once
// The forms of schede AUT, ROT, FRA and TRA-RAEE, CR-RAEE on the record form
// pattern: the scheda's fields, one waste grid per frame, and the buttons of
// the four module types, opened on a waste code of the scheda.

#include "sections/stream/stream.h"
#include "ui/recordform.h"

#include <memory>

class QComboBox;
class QPushButton;

namespace imbgui {
class WasteGrid;
}

namespace streamgui {

class StreamForm : public ui::RecordForm {
    Q_OBJECT
public:
    StreamForm(AppContext &ctx, const stream::StreamSpec &s, qint64 saID, QWidget *parent = nullptr);

    imbgui::WasteGrid *grid(int posizione) const { return grids_.value(posizione - 1); }
    QPushButton *moduleButton(int tipoMod) const { return modules_.value(tipoMod - 1); }
    QVector<stream::Row> rows() const;
    // The module form of a type on the codes' entry `choice` (-1: the user
    // chooses from a list); nullptr when none.
    QWidget *openModules(int tipoMod, int choice = -1);

private:
    StreamForm(AppContext &ctx, const stream::StreamSpec &s, qint64 saID, QWidget *parent,
               std::shared_ptr<StreamForm *> self);
    void shownScheda();

    AppContext &ctx_;
    const stream::StreamSpec &s_;
    qint64 saID_;
    QVector<imbgui::WasteGrid *> grids_;
    QVector<QPushButton *> modules_;
    QComboBox *category_ = nullptr;
};

QWidget *makeVfuForm(AppContext &ctx, QWidget *parent, int vfuTipo);
QWidget *makeRaeeForm(AppContext &ctx, QWidget *parent, int srTipo);

} // namespace streamgui
