#pragma once

#include <QList>
#include <QString>
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

QList<PortCandidate> systemPorts(); // the ports of QSerialPortInfo::availablePorts()
