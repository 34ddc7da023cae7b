#include "shell/gui/formregistry.h"

#include "print/gui/printforms.h"

QHash<int, FormInfo> &formRegistry()
{
    static QHash<int, FormInfo> r;
    return r;
}

void registerForms()
{
    // Sections add their forms here as they come:
    //   formRegistry().insert(Form::SA1, {[](AppContext &c, QWidget *p) { ... }, true});
    registerPrintForms();
}
