#include "portenumerator.h"

#include <QSerialPortInfo>

QList<PortCandidate> systemPorts()
{
    QList<PortCandidate> ports;
    const auto infos = QSerialPortInfo::availablePorts();
    for (const QSerialPortInfo &info : infos) {
        PortCandidate candidate;
        candidate.systemLocation = info.systemLocation();
        candidate.hasIdentifiers = info.hasVendorIdentifier() && info.hasProductIdentifier();
        candidate.vendorIdentifier = info.vendorIdentifier();
        candidate.productIdentifier = info.productIdentifier();
        ports.append(candidate);
    }
    return ports;
}
