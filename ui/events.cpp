#include "ui/events.h"

namespace ui {

Events &Events::instance()
{
    static Events e;
    return e;
}

} // namespace ui
