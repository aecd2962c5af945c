// The demo run headless in this process, its main() renamed; a watcher reads each pass.
#define main ktrDemoMain
#include "../../sim/demo/main.cpp"
#undef main

#include "app/constants.h"
#include "app/mainwindow.h"
#include "support/datarow.h"
#include "support/modalcloser.h"
#include "support/testargv.h"

#include <QApplication>
#include <QLabel>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

namespace {

QStringList seen; // each pass's window once it is identified, and each message box
int passCount = 0;

// Watches one pass; closes the window once it has stayed connected and identified for
// half a second, and fails a pass that takes over 20 s, or a fifth pass.
class Watcher : public QObject
{
public:
    Watcher() : QObject(qApp), closer(new ModalCloser(this))
    {
        QTimer::singleShot(++passCount > 4 ? 0 : 20000, this, [] { QCoreApplication::exit(1); });
        startTimer(100);
    }
    ~Watcher() override { seen += closer->texts(); } // a box that ends the pass

private:
    void timerEvent(QTimerEvent *) override
    {
        MainWindow *window = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets())
            window = window ? window : qobject_cast<MainWindow *>(widget);
        QStringList texts{"", "", ""};
        for (int i = 0; window && !QApplication::activeModalWidget() && i < 3; ++i)
            texts[i] = window->findChild<QLabel *>(labels[i])->text();
        stable = texts[0] == "Connected" && texts[2] != "Chip ID: " ? stable + 1 : 0;
        if (stable == 5) {
            seen << texts.join(" / ") + " / " + window->windowTitle();
            window->close();
        }
    }

    const QStringList labels{"connectionLabel", "firmwareLabel", "chipLabel"};
    ModalCloser *closer;
    int stable = 0;
};

// Runs for every QApplication; the watcher is made once its event loop turns.
void watchApplication()
{
    QMetaObject::invokeMethod(
        qApp, [] { new Watcher; }, Qt::QueuedConnection);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchApplication)

class TestDemo : public QObject
{
    Q_OBJECT

private slots:
    // Each row runs the demo with the options and expects what its passes showed, then the
    // chip revision of the session left behind.
    void runs_data()
    {
        columns<QString, QString>({"options", "shown"});
        const QString title = " / " + APP_NAME + " — demo, ";
        dataRow("revision C kit", "",
                "Connected / Firmware ID: 2.3 / Chip ID: 0x246A (Rev C)" + title +
                    "simulated kit|session: C");
        dataRow("firmware 2.2 is refused", "--firmware 2.2",
                "Firmware version not compatible \nCurrent version: 2.2\nCompatible version: 2.3|"
                "session: C");
        // The second pass starts over as revision B, which only the exit code -421 asks for.
        dataRow("revision B restarts once", "--chip B",
                "Chip ID revision B found\nThe register map of revision B is loaded.|"
                "Connected / Firmware ID: 2.3 / Chip ID: 0x2466 (Rev B)" +
                    title + "simulated kit|session: B");
        // A kit of the test's own on a port: the title names the port.
        dataRow("kit on a port", "--port %1",
                "Connected / Firmware ID: 2.3 / Chip ID: 0x246A (Rev C)" + title +
                    "kit on %1|session: C");
    }

    void runs()
    {
        const auto [options, shown] = fetchRow<QString, QString>("options", "shown");
        QTemporaryDir home;
        qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
        SimulatedKit kit;
        QVERIFY(!options.contains("%1") || kit.open());
        TestArgv args(("ktr4207-kit-demo " + QString(options).replace("%1", kit.slavePath()))
                          .trimmed()
                          .split(' '));
        seen.clear();
        passCount = 0;
        QCOMPARE(ktrDemoMain(args.argc, args.argv()), 0);
        // The session lives in the demo's own folder, never in the real program's.
        const QString file = home.path() + "/ktr4207-kit-demo/" + ORG_NAME + '/' + APP_NAME;
        seen << QString("session: ") +
                    QChar(QSettings(file + ".ini", QSettings::IniFormat).value(CHIPID_KEY).toInt());
        QCOMPARE(seen.join('|'), QString(shown).replace("%1", kit.slavePath()));
        QVERIFY(!QDir(home.path() + '/' + ORG_NAME).exists());
    }
};

QTEST_APPLESS_MAIN(TestDemo)
#include "tst_demo.moc"
