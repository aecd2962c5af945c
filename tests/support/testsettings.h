#pragma once

#include "app/constants.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>
#include <QTemporaryDir>

// Points every default QSettings of the process at a fresh temporary folder, in INI format
// under the program's names, so that tests never touch the user's real settings.
class TestSettings
{
public:
    TestSettings()
    {
        qputenv("XDG_CONFIG_HOME", tempDir.path().toLocal8Bit());
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, tempDir.path());
        QCoreApplication::setOrganizationName(ORG_NAME);
        QCoreApplication::setOrganizationDomain(ORG_DOMAIN);
        QCoreApplication::setApplicationName(APP_NAME);
        reset();
    }
    // Empties the settings file (a fresh session).
    void reset()
    {
        QSettings settings;
        settings.clear();
        settings.sync();
        QFile::remove(settings.fileName());
    }
    QString fileName() const { return QSettings().fileName(); }
    QString dir() const { return tempDir.path(); }

private:
    QTemporaryDir tempDir;
};
