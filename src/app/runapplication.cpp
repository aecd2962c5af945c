#include "runapplication.h"

#include "appicon.h"
#include "constants.h"
#include "mainwindow.h"
#include "settingdialog.h"

#include <QApplication>
#include <QIcon>
#include <QSettings>

namespace {

bool isRestartCode(int code)
{
    return code == EXIT_CODE_RESTART || code == EXIT_CODE_RESTART_REV_B ||
           code == EXIT_CODE_RESTART_REV_C;
}

void startOverAs(QSettings &settings, int revision)
{
    settings.clear();
    settings.setValue(CHIPID_KEY, revision);
    settings.sync();
}

// Brings the settings into the state the pass starts from, by how the last pass ended.
void prepareSettings(QSettings &settings, int previousExitCode)
{
    switch (previousExitCode) {
    case EXIT_CODE_RESTART_REV_B:
        startOverAs(settings, CHIPID_REV_B);
        break;
    case EXIT_CODE_RESTART:
        break;
    case EXIT_CODE_RESTART_REV_C:
        startOverAs(settings, CHIPID_REV_C);
        break;
    default: {
        SettingDialog dialog;
        dialog.exec();
        // The dialog may have replaced or removed the file under this object.
        settings.sync();
        if (!settings.contains(CHIPID_KEY)) {
            settings.setValue(CHIPID_KEY, CHIPID_REV_C);
            settings.sync();
        }
        break;
    }
    }
}

} // namespace

int runApplication(int &argc, char **argv, PortEnumerator enumerate)
{
    int exitCode = 0;
    do {
        QApplication app(argc, argv);
        QApplication::setApplicationName(APP_NAME);
        QApplication::setWindowIcon(QIcon(appIconFile(QCoreApplication::applicationDirPath())));
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QApplication::setOrganizationName(ORG_NAME);
        QApplication::setOrganizationDomain(ORG_DOMAIN);

        QSettings settings;
        prepareSettings(settings, exitCode);

        MainWindow window(enumerate);
        window.resize(window.size());
        window.show();
        exitCode = QApplication::exec();
    } while (isRestartCode(exitCode));
    return exitCode;
}
