#include "linkaction.h"

namespace {

LinkAction *outermost = nullptr;

} // namespace

LinkAction::LinkAction()
{
    if (outermost)
        outer = outermost;
    else
        outermost = this;
}

LinkAction::~LinkAction()
{
    if (outermost == this)
        outermost = nullptr;
}

LinkAction *LinkAction::current()
{
    return outermost;
}
