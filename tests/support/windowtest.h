#pragma once

#include <QAbstractButton>
#include <QtTest>
#include <functional>

// Helpers for tests that drive the program's windows.

// Writes a whole file, making its folder first.
inline void writeFile(const QString &name, const QByteArray &content)
{
    QDir().mkpath(QFileInfo(name).path());
    QFile file(name);
    QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate) &&
            file.write(content) == content.size());
}

constexpr int NoExit = 12345; // what runLoop ends with when nothing asked the loop to end

// Runs the event loop until something asks it to end, or ready() holds at two polls in
// a row (so that an exit asked for on the way wins), or timeoutMs passed; returns the code.
inline int runLoop(int timeoutMs, const std::function<bool()> &ready)
{
    QTimer poll;
    int seen = 0, left = timeoutMs / 50;
    QObject::connect(&poll, &QTimer::timeout, &poll, [&] {
        if ((seen = ready() ? seen + 1 : 0) == 2 || --left == 0)
            QCoreApplication::exit(NoExit);
    });
    poll.start(50);
    return QCoreApplication::exec();
}

// Runs the event loop until the main window has connected and enabled its kit controls.
inline int runUntilConnected(const QWidget &window)
{
    const QWidget *load = window.findChild<QWidget *>("loadFromDeviceButton");
    return runLoop(10000, [load] { return load->isEnabled(); });
}

// The text a child widget shows (a button's without its mnemonic marker), and "|" and
// the background colour of its style sheet if it has one.
inline QString look(const QWidget &window, const QString &name)
{
    const QWidget *widget = window.findChild<QWidget *>(name);
    QString text = widget->property("text").toString();
    if (qobject_cast<const QAbstractButton *>(widget))
        text.remove(QRegularExpression("&(?=[^&])"));
    const auto colour =
        QRegularExpression("background-color\\s*:\\s*([#\\w]+)").match(widget->styleSheet());
    return text + (colour.hasMatch() ? "|" + colour.captured(1) : "");
}
