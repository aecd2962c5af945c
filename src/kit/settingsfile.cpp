#include "settingsfile.h"

#include "app/constants.h"
#include "audiosettings/audiosettingskeys.h"
#include "registers/registerkeys.h"
#include "sensing/sensingsettings.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QLocale>
#include <QSaveFile>
#include <QSettings>

namespace {

bool fail(QString *error, const QString &reason)
{
    if (error)
        *error = reason;
    return false;
}

} // namespace

bool replaceWithCopy(const QString &source, const QString &target, QString *error)
{
    QFile in(source);
    if (!in.open(QIODevice::ReadOnly))
        return fail(error, in.errorString());
    const QByteArray content = in.readAll();
    if (in.error() != QFileDevice::NoError)
        return fail(error, in.errorString());

    // A settings folder that was never written to does not exist yet.
    QDir().mkpath(QFileInfo(target).absolutePath());
    QSaveFile out(target);
    if (!out.open(QIODevice::WriteOnly))
        return fail(error, out.errorString());
    if (out.write(content) != content.size()) {
        const QString reason = out.errorString();
        out.cancelWriting();
        return fail(error, reason);
    }
    if (!out.commit())
        return fail(error, out.errorString());
    return true;
}

bool isSessionFile(const QString &path, QString *error)
{
    // Judged by what the file system says before a byte is read: a huge file would
    // hold the window for seconds while it is parsed, a pipe or a device for ever.
    const QFileInfo info(path);
    if (info.exists() && !info.isFile())
        return fail(error, QStringLiteral("It is not a regular file, so it was not read."));
    if (info.size() > MaxSessionFileBytes)
        return fail(error,
                    QStringLiteral("It is %1, far more than a session takes (at most %2), "
                                   "so it was not read.")
                        .arg(QLocale::c().formattedDataSize(info.size(), 1,
                                                            QLocale::DataSizeTraditionalFormat),
                             QLocale::c().formattedDataSize(MaxSessionFileBytes, 0,
                                                            QLocale::DataSizeTraditionalFormat)));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return fail(error, file.errorString());
    file.close();
    const QSettings session(path, QSettings::IniFormat);
    if (session.status() != QSettings::NoError)
        return fail(error, QStringLiteral("It does not read as an INI file."));
    const QStringList groups = session.childGroups();
    for (const QString &group : {CHANNELS_KEY, SensingArrayKey, AudioPlaybackGroup}) {
        if (groups.contains(group))
            return true;
    }
    if (session.childKeys().contains(CHIPID_KEY))
        return true;
    return fail(error, QStringLiteral("It holds no settings of %1.").arg(APP_NAME));
}

bool loadSettingsFrom(const QString &source, QString *error)
{
    if (!isSessionFile(source, error))
        return false;
    QSettings settings;
    const bool replaced = replaceWithCopy(source, settings.fileName(), error);
    settings.sync();
    return replaced;
}

void removeSettingsFile()
{
    QSettings settings;
    QFile::remove(settings.fileName());
    settings.sync();
}

bool saveSettingsTo(const QString &target, QString *error)
{
    return replaceWithCopy(QSettings().fileName(), target, error);
}

QString withIniSuffix(const QString &fileName)
{
    if (fileName.isEmpty() || !QFileInfo(fileName).suffix().isEmpty())
        return fileName;
    return fileName +
           (fileName.endsWith(QLatin1Char('.')) ? QStringLiteral("ini") : QStringLiteral(".ini"));
}
