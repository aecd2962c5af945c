// What the program costs while it only waits: the window without a kit, looking for one
// the program's way and with a full look at the system's ports at every poll (the way
// before), and the demo's window with its simulated kit connected and idle. Then how soon
// the link finds a kit that appears (a pseudo-terminal kit offered through the port seam)
// and misses one that goes.
//
// CPU and wake-ups (voluntary context switches) come from getrusage, the system calls
// that read or write from /proc/self/io (syscr, syscw); others, such as the openat of a
// port scan, are not counted there: `strace -c -f -p PID` counts all.

#include "app/mainwindow.h"
#include "benchsession.h"
#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "simulatedkit.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QFile>
#include <QPushButton>
#include <QRandomGenerator>
#include <QSettings>
#include <QSignalSpy>
#include <QTimer>

#include <algorithm>
#include <cstdio>
#include <sys/resource.h>

namespace {

const int SettleMs = 8000; // past the first poll and the port look's settling after it
const int MeasureMs = 10000;

struct Sample
{
    double cpuMs = 0;
    qint64 calls = 0; // reads and writes
    qint64 wakeUps = 0;
    qint64 wallNs = 0;
};

Sample sample()
{
    Sample s;
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    s.cpuMs = (usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) * 1e3 +
              (usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e3;
    s.wakeUps = usage.ru_nvcsw;
    QFile io(QStringLiteral("/proc/self/io"));
    if (io.open(QIODevice::ReadOnly)) {
        for (const QByteArray &line : io.readAll().split('\n'))
            if (line.startsWith("syscr:") || line.startsWith("syscw:"))
                s.calls += line.mid(6).trimmed().toLongLong();
    }
    QElapsedTimer now;
    now.start();
    s.wallNs = now.msecsSinceReference() * 1000000;
    return s;
}

// Runs the event loop for ms without waking it otherwise (QTest::qWait would poll).
void idle(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, &loop, &QEventLoop::quit);
    loop.exec();
}

// Lets the window settle, then prints what one idle second costs.
void measureIdle(const char *name)
{
    idle(SettleMs);
    const Sample a = sample();
    idle(MeasureMs);
    const Sample b = sample();
    const double seconds = (b.wallNs - a.wallNs) / 1e9;
    const double cpuMs = (b.cpuMs - a.cpuMs) / seconds;
    std::printf("  %-42s CPU %6.3f ms/s (%.3f%% of a core), %7.1f reads+writes/s, "
                "%5.1f wake-ups/s\n",
                name, cpuMs, cpuMs / 10.0, (b.calls - a.calls) / seconds,
                (b.wakeUps - a.wakeUps) / seconds);
    std::fflush(stdout);
}

struct Times
{
    double median, max;
};

Times times(QList<double> ms)
{
    std::sort(ms.begin(), ms.end());
    return {ms.at(ms.size() / 2), ms.last()};
}

// Waits for the link's next announcement; its time in ms, or -1 without one in 5 s.
double timeTo(QSignalSpy &spy, const QElapsedTimer &clock)
{
    spy.clear();
    if (!spy.wait(5000))
        return -1;
    return clock.nsecsElapsed() / 1e6;
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    BenchSession session;
    QSettings().setValue(QStringLiteral("first_boot"), false);

    std::printf("Idle cost, each over %d s after %d s to settle:\n", MeasureMs / 1000,
                SettleMs / 1000);
    std::fflush(stdout);
    {
        MainWindow window(systemPorts);
        window.show();
        measureIdle("without a kit");
    }
    {
        MainWindow window(scanSystemPorts);
        window.show();
        measureIdle("without a kit, a full port look every poll");
    }
    {
        SimulatedKit kit;
        if (!kit.open()) {
            std::fprintf(stderr, "no pseudo-terminal for the simulated kit\n");
            return 1;
        }
        MainWindow window(kit.enumerator());
        window.show();
        measureIdle("the demo, its kit connected and idle");
        if (!window.findChild<QPushButton *>(QStringLiteral("loadFromDeviceButton"))->isEnabled()) {
            std::fprintf(stderr, "the window did not connect to the simulated kit\n");
            return 1;
        }
    }

    // The kit comes and goes at random points of the poll's period.
    PtyKitPeer peer;
    if (!peer.open()) {
        std::fprintf(stderr, "no pseudo-terminal for the kit\n");
        return 1;
    }
    peer.unplug();
    SerialController controller(peer.enumerator());
    QSignalSpy spy(&controller, &SerialController::sigDeviceConnected);
    controller.startTimer();
    const int runs = 8;
    QList<double> found, missed;
    for (int i = 0; i < runs; ++i) {
        idle(QRandomGenerator::global()->bounded(SerialController::PollIntervalMs));
        QElapsedTimer clock;
        clock.start();
        peer.plug();
        found << timeTo(spy, clock);
        idle(QRandomGenerator::global()->bounded(SerialController::PollIntervalMs));
        clock.start();
        peer.unplug();
        missed << timeTo(spy, clock);
    }
    const Times in = times(found), out = times(missed);
    std::printf("A kit through the port seam, %d times, the poll every %d ms:\n", runs,
                SerialController::PollIntervalMs);
    std::printf("  found after it appears   median %.0f ms, max %.0f ms\n", in.median, in.max);
    std::printf("  missed after it goes     median %.0f ms, max %.0f ms\n", out.median, out.max);
    const bool ok = !found.contains(-1) && !missed.contains(-1);
    if (!ok)
        std::printf("  (a change went unnoticed for 5 s)\n");
    return ok ? 0 : 1;
}
