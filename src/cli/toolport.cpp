#include "toolport.h"

#include "link/serialcontroller.h"

#include <QFile>
#include <sys/stat.h>

PortEnumerator namedPort(const QString &path)
{
    return [path]() {
        // Only the node is looked at: probing a real port would toggle its control lines.
        struct stat info;
        if (::stat(QFile::encodeName(path).constData(), &info) != 0 || !S_ISCHR(info.st_mode))
            return QList<PortCandidate>();
        PortCandidate port;
        port.systemLocation = path;
        port.hasIdentifiers = true;
        port.vendorIdentifier = SerialController::KitVendorId;
        port.productIdentifier = SerialController::KitProductId;
        return QList<PortCandidate>{port};
    };
}
