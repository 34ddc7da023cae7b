#include "shell/gui/formregistry.h"

#include "sections/anag/gui/forms.h"
#include "sections/rif/gui/wasteforms.h"
#include "sections/saaut/gui/saautform.h"
#include "shell/formrule.h"

QHash<int, FormInfo> &formRegistry()
{
    static QHash<int, FormInfo> r;
    return r;
}

void registerForms()
{
    // Sections add their forms here as they come:
    //   formRegistry().insert(Form::SA1, {[](AppContext &c, QWidget *p) { ... }, true});
    registerAnagForms();
    formRegistry().insert(Form::Rif, {[](AppContext &c, QWidget *p) { return wastegui::makeRifForm(c, p); }, true});
    formRegistry().insert(Form::Int, {[](AppContext &c, QWidget *p) { return wastegui::makeIntForm(c, p); }, true});
    formRegistry().insert(Form::SaAut,
                          {[](AppContext &c, QWidget *p) -> QWidget * { return new SaAutForm(c, p); }, true});
}
