#pragma once

#include <QString>

// Where the window icon APP_ICON is, for a program in programFolder: beside the
// program (a build folder), else in the installed data folder that the install rules
// fill relative to it (<prefix>/bin and <prefix>/share/ktr4207-kit-controller), else
// the bare name, which QIcon then looks up in the working folder.
QString appIconFile(const QString &programFolder);
