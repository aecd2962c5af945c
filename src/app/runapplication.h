#pragma once

#include "link/portenumerator.h"

// The entry point's loop of passes. Each pass builds a QApplication, a QSettings
// and a MainWindow, runs the event loop and tears them down; the restart exit
// codes ask for another pass. Returns the last exit code that is not a restart code.
int runApplication(int &argc, char **argv, PortEnumerator enumerate);
