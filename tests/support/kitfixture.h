#pragma once

#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "support/testsettings.h"

#include <memory>

// A controller of type C over a serial link to a pseudo-terminal kit, with a settings
// file of its own; restart() makes both anew for each test function.
template <typename C> struct KitFixture
{
    TestSettings settings;
    PtyKitPeer peer;
    std::unique_ptr<SerialController> serial;
    std::unique_ptr<C> controller;

    // False when the machine offers no pseudo-terminal.
    bool open()
    {
        qRegisterMetaType<ReadType>("ReadType");
        return peer.open();
    }
    // Empties the settings, then connects a new link and controller; true once connected.
    bool restart()
    {
        controller.reset();
        serial.reset();
        settings.reset();
        serial = std::make_unique<SerialController>(peer.enumerator());
        controller = std::make_unique<C>(serial.get());
        peer.clearReceived();
        return serial->isConnected();
    }
};
