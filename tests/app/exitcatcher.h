#pragma once

#include <QCoreApplication>
#include <QTimer>
#include <functional>

// Code a test's event loop returns with when nothing asked the application to exit.
constexpr int NoExit = 12345;

// Runs action from inside QCoreApplication::exec() and returns the code the loop
// ended with: what the action (or anything it set off) gave QCoreApplication::exit
// or quit(), or NoExit once timeoutMs passed without such a request.
inline int exitCodeOf(const std::function<void()> &action, int timeoutMs = 300)
{
    QTimer guard;
    guard.setSingleShot(true);
    QObject::connect(&guard, &QTimer::timeout, &guard, [] { QCoreApplication::exit(NoExit); });
    guard.start(timeoutMs);
    QTimer::singleShot(0, &guard, action);
    return QCoreApplication::exec();
}
