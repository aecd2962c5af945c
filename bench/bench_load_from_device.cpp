// "Load from Device" through the real window against a kit paced at 9600 baud, with
// the kit log hidden and shown, next to the protocol's floor: the bytes of the three
// commands and their replies on the line, plus the silence that ends each reply.
// Prints the median, min and max of a run of loads for each.

#include "app/constants.h"
#include "app/kitlog.h"
#include "app/kitlogdock.h"
#include "app/mainwindow.h"
#include "benchsession.h"
#include "link/serialcontroller.h"
#include "simulatedkit.h"

#include <QAction>
#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QSettings>
#include <QTest>

#include <algorithm>
#include <cstdio>

namespace {

const double MsPerByte = 10.0 * 1000.0 / 9600.0; // start, 8 data and stop bits

struct Figures
{
    double median, min, max;
};

Figures figures(QList<double> times)
{
    std::sort(times.begin(), times.end());
    return {times.at(times.size() / 2), times.first(), times.last()};
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    BenchSession session;
    QSettings().setValue(QStringLiteral("first_boot"), false);

    SimulatedKit kit;
    kit.setPaced(true);
    if (!kit.open()) {
        std::fprintf(stderr, "no pseudo-terminal for the simulated kit\n");
        return 1;
    }
    double floorMs = 0;
    for (const char *command : {"5", "8", "4"}) {
        const int replyBytes = kit.withFirmware([command](KitFirmware &firmware) {
            return firmware.feed(command).value(0).reply.size();
        });
        floorMs += (1 + replyBytes) * MsPerByte + SerialController::ReplySilenceMs;
    }

    MainWindow window(kit.enumerator());
    window.show();
    auto *load = window.findChild<QPushButton *>(QStringLiteral("loadFromDeviceButton"));
    QElapsedTimer wait;
    wait.start();
    while (!load->isEnabled() && wait.elapsed() < 5000)
        QTest::qWait(20);
    if (!load->isEnabled()) {
        std::fprintf(stderr, "the window did not connect to the simulated kit\n");
        return 1;
    }

    // Hidden and shown take turns, so that a busy machine weighs on both alike.
    const int runs = 15;
    QAction *toggle = window.findChild<QAction *>(QStringLiteral("kitLogAction"));
    QList<double> times[2];
    for (int i = 0; i < 2 * runs; ++i) {
        const bool shown = window.kitLogDock()->isVisible();
        QElapsedTimer clock;
        clock.start();
        load->click();
        times[shown].append(clock.nsecsElapsed() / 1e6);
        toggle->trigger();
        QTest::qWait(50); // the event loop between presses, as for a user
    }
    const Figures hidden = figures(times[0]), shown = figures(times[1]);
    const bool logged =
        times[1].size() == runs && window.kitLogDock()->log()->rowCount() >= 2 * runs * 3;

    std::printf("Load from Device against the paced kit, %d loads each:\n", runs);
    std::printf("  protocol floor       %.1f ms\n", floorMs);
    for (const auto &[name, figures] :
         {std::pair{"log hidden", hidden}, std::pair{"log shown", shown}})
        std::printf("  %-20s median %.1f ms (%.3fx the floor), min %.1f ms, max %.1f ms\n", name,
                    figures.median, figures.median / floorMs, figures.min, figures.max);
    std::printf("  log rows             %d%s\n", window.kitLogDock()->log()->rowCount(),
                logged ? "" : " (the log missed exchanges)");
    return logged ? 0 : 1;
}
