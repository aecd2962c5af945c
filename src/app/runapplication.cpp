#include "runapplication.h"

#include "appicon.h"
#include "constants.h"
#include "mainwindow.h"
#include "settingdialog.h"

#include <QApplication>
#include <QDir>
#include <QIcon>
#include <QScreen>
#include <QSettings>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

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

QString programName(char **argv)
{
    const QString path = argv && argv[0] ? QString::fromLocal8Bit(argv[0]) : QString();
    return path.isEmpty() ? QStringLiteral("ktr4207-kit-controller") : path.section('/', -1);
}

// Where the session is kept, named as the toolkit will name it once the program runs.
QString settingsFilePath()
{
    return QDir::toNativeSeparators(
        QSettings(QSettings::IniFormat, QSettings::UserScope, ORG_NAME, APP_NAME).fileName());
}

// Answers --help and --version, which need no display; -1 when neither was asked.
int answerCommandLine(int argc, char **argv)
{
    for (int i = 1; i < argc; ++i) {
        const char *argument = argv[i];
        if (!std::strcmp(argument, "--help") || !std::strcmp(argument, "-h")) {
            const QString text =
                QStringLiteral("Usage: %1 [--help] [--version] [Qt options]\n"
                               "Drives the KTR4207 evaluation kit over its USB serial port.\n\n"
                               "Options:\n"
                               "  -h, --help     Show this help and exit.\n"
                               "  -v, --version  Show the version and exit.\n\n"
                               "The session is kept in the settings file\n  %2\n")
                    .arg(programName(argv), settingsFilePath());
            std::fputs(text.toLocal8Bit().constData(), stdout);
            return 0;
        }
        if (!std::strcmp(argument, "--version") || !std::strcmp(argument, "-v")) {
            std::fputs(QStringLiteral("%1 %2\n").arg(APP_NAME, APP_VERSION).toLocal8Bit(), stdout);
            return 0;
        }
    }
    return -1;
}

constexpr int DisplayFailureExitCode = 1;
QtMessageHandler previousHandler = nullptr;

// While a pass builds its application, a platform that cannot start (the display
// is gone, as when an X server resets after the last client of the previous pass
// left) ends the program with a word of explanation rather than an abort.
void startupMessageHandler(QtMsgType type, const QMessageLogContext &context,
                           const QString &message)
{
    if (type != QtFatalMsg) {
        if (previousHandler)
            previousHandler(type, context, message);
        return;
    }
    std::fprintf(stderr,
                 "%s\n%s: the display could not be opened, so the program ends here.\n"
                 "Under xvfb-run, keep the X server from resetting between the program's "
                 "restarts: xvfb-run -s \"-noreset\" ...\n",
                 qPrintable(message), qPrintable(APP_NAME));
    std::fflush(stderr);
    std::fflush(stdout);
    std::_Exit(DisplayFailureExitCode);
}

std::unique_ptr<QApplication> makeApplication(int &argc, char **argv)
{
    previousHandler = qInstallMessageHandler(startupMessageHandler);
    auto app = std::make_unique<QApplication>(argc, argv);
    qInstallMessageHandler(previousHandler);
    return app;
}

// The room a window has on the primary screen, less what a window manager's title
// bar and frame take; the pages scroll where the window is smaller than they are.
QSize usableScreenSize()
{
    constexpr int FrameAllowance = 40;
    const QScreen *screen = QGuiApplication::primaryScreen();
    if (!screen)
        return QSize(QWIDGETSIZE_MAX, QWIDGETSIZE_MAX);
    return screen->availableSize() - QSize(0, FrameAllowance);
}

} // namespace

int runApplication(int &argc, char **argv, PortEnumerator enumerate)
{
    const int answered = answerCommandLine(argc, argv);
    if (answered >= 0)
        return answered;

    int exitCode = 0;
    do {
        const std::unique_ptr<QApplication> app = makeApplication(argc, argv);
        QApplication::setApplicationName(APP_NAME);
        QApplication::setWindowIcon(QIcon(appIconFile(QCoreApplication::applicationDirPath())));
        QSettings::setDefaultFormat(QSettings::IniFormat);
        QApplication::setOrganizationName(ORG_NAME);
        QApplication::setOrganizationDomain(ORG_DOMAIN);

        QSettings settings;
        prepareSettings(settings, exitCode);

        MainWindow window(enumerate);
        window.setRestartedForChip(exitCode == EXIT_CODE_RESTART_REV_B ||
                                   exitCode == EXIT_CODE_RESTART_REV_C);
        // The pages scroll, so the window's minimum is small: open it at its natural
        // size, as far as the screen has room.
        window.resize(window.sizeHint().boundedTo(usableScreenSize()));
        window.show();
        exitCode = QApplication::exec();
    } while (isRestartCode(exitCode));
    return exitCode;
}
