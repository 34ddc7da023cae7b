#include "sections/anag/gui/forms.h"

#include "sections/anag/gui/anagrafiche.h"
#include "sections/anag/gui/registra.h"
#include "sections/anag/gui/sa1form.h"
#include "shell/formrule.h"
#include "shell/gui/formregistry.h"

void registerAnagForms()
{
    // SA1 opens on the current declaration or, without one, on a new one.
    formRegistry().insert(Form::SA1, {[](AppContext &c, QWidget *p) -> QWidget * { return new Sa1Form(c, p); }, false});
    formRegistry().insert(Form::Anagrafiche,
                          {[](AppContext &c, QWidget *p) -> QWidget * { return new Anagrafiche(c, p); }, false});
    formRegistry().insert(Form::Registra,
                          {[](AppContext &c, QWidget *p) -> QWidget * { return new Registra(c, p); }, false});
}
