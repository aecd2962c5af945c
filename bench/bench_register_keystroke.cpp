// One keystroke in a register field until the settings file on disk holds it:
// the editor writes the field, the controller writes the whole register tree and
// syncs. Prints median, min and max over a run of keystrokes: the editor and the
// controller alone, then the same field in the main window with the kit log hidden
// and shown.

#include "app/constants.h"
#include "app/kitlogdock.h"
#include "app/mainwindow.h"
#include "benchsession.h"
#include "link/registerstore.h"
#include "link/serialcontroller.h"
#include "registers/registercontroller.h"
#include "registers/registerlineedit.h"
#include "registers/registerwidget.h"

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QElapsedTimer>
#include <QFile>
#include <QKeyEvent>
#include <QSettings>

#include <algorithm>
#include <cstdio>

namespace {

// Types keystroke number i into the editor of the first field of channel A's first
// register; returns its time in ms and counts it in *missing when the file lacks it.
double keystroke(RegisterLineEdit *editor, int i, int *missing)
{
    editor->setText(QString());
    const char digit = "0123456789ABCDEF"[i % 16];
    QElapsedTimer timer;
    timer.start();
    // What a key press and release deliver to the editor, as QTest::keyClick does.
    const int key = digit <= '9' ? Qt::Key_0 + (digit - '0') : Qt::Key_A + (digit - 'A');
    QKeyEvent press(QEvent::KeyPress, key, Qt::NoModifier, QString(QChar(digit)));
    QKeyEvent release(QEvent::KeyRelease, key, Qt::NoModifier, QString(QChar(digit)));
    QApplication::sendEvent(editor, &press);
    QApplication::sendEvent(editor, &release);
    const double ms = timer.nsecsElapsed() / 1e6;

    QFile file(QSettings().fileName());
    file.open(QIODevice::ReadOnly);
    const QByteArray expected =
        "1\\registers\\1\\fields\\1\\value=" + QByteArray::number(i % 16) + "\n";
    if (!file.readAll().contains(expected))
        ++*missing;
    return ms;
}

void print(const char *name, QList<double> times)
{
    std::sort(times.begin(), times.end());
    std::printf("%s, keystroke to disk over %d keystrokes: median %.3f ms, min %.3f ms, max "
                "%.3f ms\n",
                name, int(times.size()), times.at(times.size() / 2), times.first(), times.last());
}

} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    BenchSession session;
    const int runs = 200;
    int mismatches = 0;
    {
        SerialController serial([] { return QList<PortCandidate>(); });
        RegisterController controller(&serial);
        Field *fifo = &channels.at(0)->registers->first()->fields.first();
        RegisterLineEdit editor(16, fifo);
        editor.setProperty("edit", true);
        QObject::connect(&editor, &RegisterLineEdit::registerUpdated, &controller,
                         &RegisterController::updateSettings);
        QList<double> times;
        for (int i = 0; i < runs; ++i)
            times.append(keystroke(&editor, i, &mismatches));
        print("editor and controller", times);
    }
    {
        MainWindow window([] { return QList<PortCandidate>(); });
        window.show();
        window.setControlsEnabled(true);
        // The same hexadecimal digits as the editor alone takes.
        window.registerWidget()
            ->findChild<QComboBox *>(QStringLiteral("displayTypeComboBox"))
            ->setCurrentText(QStringLiteral("Hexadecimal"));
        auto *editor =
            window.registerWidget()->findChild<RegisterLineEdit *>(QStringLiteral("field_0_0"));
        if (!editor) {
            std::fprintf(stderr, "no editor for the first field of the register page\n");
            return 1;
        }
        // Hidden and shown take turns, so that a busy machine weighs on both alike.
        QAction *toggle = window.findChild<QAction *>(QStringLiteral("kitLogAction"));
        QList<double> times[2];
        for (int i = 0; i < 2 * runs; ++i) {
            times[window.kitLogDock()->isVisible()].append(keystroke(editor, i, &mismatches));
            toggle->trigger();
        }
        print("main window, kit log hidden", times[0]);
        print("main window, kit log shown", times[1]);
    }
    std::printf("keystrokes missing from the file: %d\n", mismatches);
    return mismatches == 0 ? 0 : 1;
}
