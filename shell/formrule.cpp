#include "shell/formrule.h"

void FormOpener::open(int number, FormHost &host)
{
    // The form asked for is the one open: show it, close nothing.
    if (number == current_) {
        host.showForm(number);
        return;
    }
    // A utility form asked for while the takeover has just closed: granted at once.
    const bool granted = number > 100 && current_ == Form::TakeoverClosed;
    if (!granted) {
        closing_ = true;
        int guard = host.openFormCount() + 1;
        while (host.openFormCount() > 0 && guard-- > 0) {
            host.closeLastForm();
            host.processEvents();
        }
        closing_ = false;
        // A form that refused to close (its user chose to stay) keeps its place.
        if (host.openFormCount() > 0)
            return;
        current_ = 0;
    }
    if (number > 100)
        host.showCompanion();
    host.showForm(number);
}
