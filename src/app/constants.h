#pragma once

#include <QString>

// Application constants. The few that other subsystems read (the firmware version
// and the restart codes) live here so that nothing else of the app is included.

inline const QString APP_NAME = QStringLiteral("KTR4207-KIT Controller");
inline const QString APP_VERSION = QStringLiteral("1.0");
inline const QString APP_ICON = QStringLiteral("halvorn.ico");
inline const QString ORG_DISPLAY_NAME = QString::fromUtf8("H\u00e1lvorn Technologies Inc.");
inline const QString ORG_NAME = QStringLiteral("Halvorn Technologies Inc.");
inline const QString ORG_DOMAIN = QStringLiteral("halvorn-technologies.com");
inline const QString APP_YEAR = QStringLiteral("2019");
inline const QString TOOL_NAME = QStringLiteral("Qt Creator");
inline const QString TOOL_VERSION = QStringLiteral("4.8.1");
inline const QString COMPATIBLE_FIRMWARE_VERSION = QStringLiteral("2.3");

// The view's own settings file beside the session's, never inside it, and its key
// for the output the user chose on the Audio tab.
inline const QString VIEW_SETTINGS_NAME = APP_NAME + QStringLiteral(" View");
inline const QString AUDIO_OUTPUT_KEY = QStringLiteral("audio_output");

// Rich text of the About box, assembled from the constants above.
extern const QString ABOUT_TEXT;

// Settings key of the chip revision the session was made for: the character code
// of the revision letter, 66 for "B" and 67 for "C".
inline const QString CHIPID_KEY = QStringLiteral("chipid");
constexpr int CHIPID_REV_B = 66;
constexpr int CHIPID_REV_C = 67;

// Exit codes of QCoreApplication::exit that ask the entry point for another pass.
constexpr int EXIT_CODE_RESTART = -420;       // File, Open: keep the settings on disk
constexpr int EXIT_CODE_RESTART_REV_B = -421; // chip changed to revision B
constexpr int EXIT_CODE_RESTART_REV_C = -422; // chip changed to any other revision
