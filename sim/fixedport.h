#pragma once

#include "link/portenumerator.h"

#include <QString>

// Lists the device at `path` as the kit, with the kit's USB identifiers, whatever it
// really is; for the demo's --port. The path is listed only while it names a
// character device (a USB port's node goes with the kit, a pseudo-terminal's with
// its other side), so that a kit that goes away is seen to go, as an unplugged kit
// is, and is found again when it comes back.
PortEnumerator fixedPort(const QString &path);
