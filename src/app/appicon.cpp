#include "appicon.h"

#include "constants.h"

#include <QFileInfo>

QString appIconFile(const QString &programFolder)
{
    const QStringList candidates = {
        programFolder + QStringLiteral("/") + APP_ICON,
        programFolder + QStringLiteral("/../share/ktr4207-kit-controller/") + APP_ICON,
    };
    for (const QString &file : candidates) {
        if (QFileInfo(file).isFile())
            return QFileInfo(file).absoluteFilePath();
    }
    return APP_ICON;
}
