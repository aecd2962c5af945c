#pragma once

#include <QtGlobal>

class SerialController;

// One action of the user on the kit (a transfer, a state button, a register's Send) or
// one connection of the kit, held open for the life of the object on the main thread.
// Inside it the link tells the user of a fault once, and after a write has failed it
// attempts nothing more on that port; the kit log keeps the details. An action opened
// inside another one joins it.
class LinkAction
{
public:
    LinkAction();
    ~LinkAction();
    LinkAction(const LinkAction &) = delete;
    LinkAction &operator=(const LinkAction &) = delete;

private:
    friend class SerialController;
    // The outermost action open now, or null.
    static LinkAction *current();

    LinkAction *outer = nullptr;
    bool told = false; // a message was shown in this action
    // The port on which a write of this action failed: its controller and opening.
    const SerialController *failedController = nullptr;
    quint64 failedPort = 0;
};
