#pragma once

#include "app/constants.h"

#include <QCoreApplication>
#include <QSettings>
#include <QTemporaryDir>

// A session file of the program's own in a temporary folder, so that a benchmark
// never touches the user's real settings; it starts on a revision C chip.
class BenchSession
{
public:
    BenchSession()
    {
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QSettings::setPath(QSettings::IniFormat, QSettings::UserScope, dir.path());
        QCoreApplication::setOrganizationName(ORG_NAME);
        QCoreApplication::setApplicationName(APP_NAME);
        QSettings().setValue(CHIPID_KEY, CHIPID_REV_C);
    }

private:
    QTemporaryDir dir;
};
