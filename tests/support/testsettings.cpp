#include "testsettings.h"

#include "app/constants.h"

#include <QCoreApplication>
#include <QFile>
#include <QSettings>

TestSettings::TestSettings()
{
    qputenv("XDG_CONFIG_HOME", tempDir.path().toLocal8Bit());
    QSettings::setDefaultFormat(QSettings::IniFormat);
    QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, tempDir.path());
    QCoreApplication::setOrganizationName(ORG_NAME);
    QCoreApplication::setOrganizationDomain(ORG_DOMAIN);
    QCoreApplication::setApplicationName(APP_NAME);
    reset();
}

TestSettings::~TestSettings() = default;

void TestSettings::reset()
{
    QSettings settings;
    settings.clear();
    settings.sync();
    QFile::remove(settings.fileName());
}

QString TestSettings::fileName() const
{
    return QSettings().fileName();
}
