#include "settingsfile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>

bool replaceWithCopy(const QString &source, const QString &target)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return false;
    const QByteArray content = in.readAll();
    if (in.error() != QFileDevice::NoError)
        return false;

    // A settings folder that was never written to does not exist yet.
    QDir().mkpath(QFileInfo(target).absolutePath());
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly))
        return false;
    if (out.write(content) != content.size()) {
        out.cancelWriting();
        return false;
    }
    return out.commit();
}

bool loadSettingsFrom(const QString &source)
{
    QSettings settings;
    const bool replaced = replaceWithCopy(source, settings.fileName());
    settings.sync();
    return replaced;
}

void removeSettingsFile()
{
    QSettings settings;
    QFile::remove(settings.fileName());
    settings.sync();
}

bool saveSettingsTo(const QString &target)
{
    return replaceWithCopy(QSettings().fileName(), target);
}
