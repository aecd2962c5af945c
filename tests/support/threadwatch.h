#pragma once

#include <QString>
#include <QtGlobal>
#include <cstdio>
#include <cstdlib>

// Watches the log for a thread object destroyed while its thread still runs. Between start()
// (in initTestCase) and stop() (in cleanupTestCase) it sets destroyedRunning and passes
// messages on to QtTest; at other times, as at exit, that warning fails the process at once.
// Debug lines stay out of the log.
namespace threadWatch {

inline bool destroyedRunning = false;
inline QtMessageHandler testLog = nullptr;

inline void handler(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (message.contains("QThread: Destroyed while thread is still running")) {
        destroyedRunning = true;
        if (!testLog) {
            fprintf(stderr, "FAIL: %s\n", qPrintable(message));
            std::_Exit(1);
        }
    }
    if (type != QtDebugMsg && testLog)
        testLog(type, context, message);
    else if (type != QtDebugMsg)
        fprintf(stderr, "%s\n", qPrintable(message));
}

inline void start()
{
    testLog = qInstallMessageHandler(handler);
}

// QtTest then puts back the handler it found.
inline void stop()
{
    qInstallMessageHandler(handler);
    testLog = nullptr;
}

} // namespace threadWatch
