#include "shell/gui/formregistry.h"

#include "exchange/gui/expform.h"
#include "exchange/gui/explist.h"
#include "exchange/gui/impform.h"
#include "print/gui/printforms.h"
#include "sections/anag/gui/forms.h"
#include "sections/imb/gui/imbform.h"
#include "sections/mat/gui/matform.h"
#include "sections/stream/gui/streamform.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/saaut/gui/saautform.h"
#include "sections/takeover/gui/riporta.h"
#include "shell/formrule.h"
#include "verify/gui/verifica.h"

QHash<int, FormInfo> &formRegistry()
{
    static QHash<int, FormInfo> r;
    return r;
}

void registerForms()
{
    // Each area registers its forms by number (shell/formrule.h).
    registerAnagForms();
    formRegistry().insert(Form::Rif, {[](AppContext &c, QWidget *p) { return wastegui::makeRifForm(c, p); }, true});
    formRegistry().insert(Form::Int, {[](AppContext &c, QWidget *p) { return wastegui::makeIntForm(c, p); }, true});
    formRegistry().insert(Form::SaAut,
                          {[](AppContext &c, QWidget *p) -> QWidget * { return new SaAutForm(c, p); }, true});
    formRegistry().insert(Form::Imb, {imbgui::makeImbForm, true});
    formRegistry().insert(Form::Mat, {matgui::makeMatForm, true});
    for (auto [form, kind] : {std::pair{Form::VfuAut, 1}, {Form::VfuRot, 2}, {Form::VfuFra, 3}})
        formRegistry().insert(form, {[kind](AppContext &c, QWidget *p) { return streamgui::makeVfuForm(c, p, kind); },
                                     true});
    for (auto [form, kind] : {std::pair{Form::RaeeTra, 1}, {Form::RaeeCr, 2}})
        formRegistry().insert(form, {[kind](AppContext &c, QWidget *p) { return streamgui::makeRaeeForm(c, p, kind); },
                                     true});
    registerPrintForms();
    formRegistry().insert(Form::Verifica, {verify::gui::makeVerificaForm, false});
    formRegistry().insert(Form::Export, {exch::gui::makeExpForm, false});
    formRegistry().insert(Form::ExportList, {exch::gui::makeExpList, false});
    formRegistry().insert(Form::Import, {exch::gui::makeImpForm, false});
    formRegistry().insert(Form::Takeover, {takeover::gui::makeRiportaForm, false});
}
