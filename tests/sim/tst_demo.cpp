// The demo program itself, run in this process headless: its main() is compiled in
// under another name, and a watcher that comes up with every QApplication the demo
// builds answers the start dialog and the message boxes and reads the window.

#define main ktrDemoMain
#include "../../sim/demo/main.cpp"
#undef main

#include "app/constants.h"
#include "app/mainwindow.h"
#include "support/modalcloser.h"
#include "support/testargv.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QTemporaryDir>
#include <QtTest>

namespace {

QStringList seen; // the window of each pass once it is identified, and each message box
int passCount = 0;
bool watching = false;

// Watches one pass; closes the window once it has stayed connected and identified for
// half a second, and fails a pass that takes over 20 s or a fifth pass.
class Watcher : public QObject
{
public:
    explicit Watcher(QObject *parent) : QObject(parent), closer(new ModalCloser(this))
    {
        ++passCount;
        clock.start();
        startTimer(100);
    }
    // A box that ends the pass is closed after the last look.
    ~Watcher() override { seen += closer->texts(); }

private:
    void timerEvent(QTimerEvent *) override
    {
        if (clock.elapsed() > 20000 || passCount > 4)
            QCoreApplication::exit(1);
        MainWindow *window = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets())
            window = window ? window : qobject_cast<MainWindow *>(widget);
        QStringList texts;
        for (const char *name : {"connectionLabel", "firmwareLabel", "chipLabel"}) {
            if (window && !QApplication::activeModalWidget())
                texts << window->findChild<QLabel *>(QLatin1String(name))->text();
        }
        const bool identified = texts.value(0) == QLatin1String("Connected") &&
                                texts.value(2) != QLatin1String("Chip ID: ");
        stable = identified ? stable + 1 : 0;
        if (stable == 5) {
            seen << texts.join(QStringLiteral(" / "));
            window->close();
        }
    }

    ModalCloser *closer;
    QElapsedTimer clock;
    int stable = 0;
};

// Runs for every QApplication; the watcher is made once its event loop turns.
void watchApplication()
{
    if (watching)
        QMetaObject::invokeMethod(
            qApp, [] { new Watcher(qApp); }, Qt::QueuedConnection);
}

} // namespace

Q_COREAPP_STARTUP_FUNCTION(watchApplication)

class TestDemo : public QObject
{
    Q_OBJECT

private slots:
    void runs_data();
    void runs();
};

// Each row runs the demo with the options given and expects what its passes showed,
// in order, and the chip revision of the session left behind.
void TestDemo::runs_data()
{
    QTest::addColumn<QString>("options");
    QTest::addColumn<QStringList>("shown");
    QTest::addColumn<int>("revision");

    const auto row = [](const char *name, const char *options, const QStringList &shown,
                        char revision) {
        QTest::newRow(name) << QString(options) << shown << int(revision);
    };

    row("revision C kit", "", {"Connected / Firmware ID: 2.3 / Chip ID: 0x246A (Rev C)"}, 'C');
    row("firmware 2.2 is refused", "--firmware 2.2",
        {"Firmware version not compatible \nCurrent version: 2.2\nCompatible version: 2.3"}, 'C');
    // The second pass starts over as revision B, which only the exit code -421 asks for.
    row("revision B restarts once", "--chip B",
        {"Chip ID revision has changed\nCurrent Revision: B\nPrevious Revision: C",
         "Connected / Firmware ID: 2.3 / Chip ID: 0x2466 (Rev B)"},
        'B');
}

void TestDemo::runs()
{
    QFETCH(QString, options);
    QFETCH(QStringList, shown);
    QFETCH(int, revision);

    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");
    TestArgv args(QString("ktr4207-kit-demo " + options).trimmed().split(QLatin1Char(' ')));
    seen.clear();
    passCount = 0;
    watching = true;
    QCOMPARE(ktrDemoMain(args.argc, args.argv()), 0);
    watching = false;
    QCOMPARE(seen, shown);

    // The session lives in the demo's own folder, never in the real program's.
    const QString settings =
        home.path() + "/ktr4207-kit-demo/" + ORG_NAME + '/' + APP_NAME + ".ini";
    QCOMPARE(QSettings(settings, QSettings::IniFormat).value(CHIPID_KEY).toInt(), revision);
    QVERIFY(!QDir(home.path() + '/' + ORG_NAME).exists());
}

QTEST_APPLESS_MAIN(TestDemo)
#include "tst_demo.moc"
