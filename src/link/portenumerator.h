#pragma once

#include <QList>
#include <QString>
#include <QStringList>
#include <functional>

// One serial port as the system lists it. Port discovery goes through a
// PortEnumerator so that tests, the demo and tools can stand in for the system.
struct PortCandidate
{
    QString systemLocation;      // what QSerialPort::setPortName is given
    bool hasIdentifiers = false; // USB vendor and product identifiers are known
    quint16 vendorIdentifier = 0;
    quint16 productIdentifier = 0;
};

using PortEnumerator = std::function<QList<PortCandidate>()>;

// The ports of QSerialPortInfo::availablePorts(). The system is looked at in full
// only when its serial devices may have changed since the last call (see
// scanOnChange); otherwise the last listing comes back, at the cost of one system
// call instead of a few thousand.
QList<PortCandidate> systemPorts();

// A full look at the system's ports, every time.
QList<PortCandidate> scanSystemPorts();

// Returns an enumerator that runs `scan` only when a device may have come or gone:
// when an entry was added to, removed from or renamed in one of `folders` since the
// last call (for the system /dev, where the kernel puts device nodes, and udev's
// /dev/serial and /dev/serial/by-id, made once it knows a device's identifiers); a
// folder that does not exist yet is watched from the first scan after it appears.
// Otherwise the last listing comes back. For settleMs after a change every call scans,
// since udev may finish describing a new device only after its node appears. Where
// the folders cannot be watched every call scans. Safe from any thread.
PortEnumerator scanOnChange(PortEnumerator scan, const QStringList &folders, int settleMs);

// Lists the device at `path` as the kit, with the kit's USB identifiers, whatever it
// really is: the demo's and the tool's --port, for a kit on any serial device or the
// simulator. The path is listed only while it names a character device (a USB port's
// node goes with the kit, a pseudo-terminal's with its other side), so that a kit that
// goes away is seen to go, as an unplugged kit is, and is found again when it comes back.
PortEnumerator fixedPort(const QString &path);
