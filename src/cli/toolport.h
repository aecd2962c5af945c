#pragma once

#include "link/portenumerator.h"

#include <QString>

// Lists the device at `path` as the kit, whatever it really is, while it names a
// character device: the tool's --port, for a kit on any serial device or the simulator.
PortEnumerator namedPort(const QString &path);
