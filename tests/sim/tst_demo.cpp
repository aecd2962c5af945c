// The demo program itself, run in this process headless: its main() is compiled in
// under another name, and a watcher that comes up with every QApplication the demo
// builds answers the start dialog and the message boxes and reads the window.

#define main ktrDemoMain
#include "../../sim/demo/main.cpp"
#undef main

#include "app/constants.h"
#include "app/mainwindow.h"
#include "support/modalcloser.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>
#include <vector>

namespace {

// What one pass of the program showed.
struct Pass
{
    QString connection;
    QString firmware;
    QString chip;
    QStringList boxes;
    bool timedOut = false;
};

QList<Pass> passes;
bool watching = false;

const int MaxPasses = 4;
const int PassTimeoutMs = 20000;
const int StableTicks = 5; // connected and identified, with no dialog, for this long

class Watcher : public QObject
{
public:
    explicit Watcher(QObject *parent) : QObject(parent), closer(new ModalCloser(this))
    {
        passes.append(Pass());
        index = passes.size() - 1;
        clock.start();
        auto *timer = new QTimer(this);
        connect(timer, &QTimer::timeout, this, &Watcher::look);
        timer->start(100);
        if (passes.size() > MaxPasses)
            QCoreApplication::exit(1);
    }

    // A box that ends the pass is closed after the last look.
    ~Watcher() override { passes[index].boxes = closer->texts(); }

private:
    void look()
    {
        Pass &pass = passes[index];
        pass.boxes = closer->texts();
        if (clock.elapsed() > PassTimeoutMs) {
            pass.timedOut = true;
            QCoreApplication::exit(1);
            return;
        }
        MainWindow *window = nullptr;
        for (QWidget *widget : QApplication::topLevelWidgets()) {
            if (auto *found = qobject_cast<MainWindow *>(widget))
                window = found;
        }
        if (!window || QApplication::activeModalWidget()) {
            stable = 0;
            return;
        }
        pass.connection = labelText(window, "connectionLabel");
        pass.firmware = labelText(window, "firmwareLabel");
        pass.chip = labelText(window, "chipLabel");
        if (pass.connection == QLatin1String("Connected") &&
            pass.chip != QLatin1String("Chip ID: ")) {
            if (++stable >= StableTicks)
                window->close();
        } else {
            stable = 0;
        }
    }

    static QString labelText(QWidget *window, const char *name)
    {
        auto *label = window->findChild<QLabel *>(QLatin1String(name));
        return label ? label->text() : QString();
    }

    ModalCloser *closer;
    QElapsedTimer clock;
    int index = 0;
    int stable = 0;
};

// Runs for every QApplication; the watcher is made once its event loop turns.
void watchApplication()
{
    if (!watching)
        return;
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

void TestDemo::runs_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("passCount");
    QTest::addColumn<QString>("firmware"); // empty: the window is gone before it is read
    QTest::addColumn<QString>("chip");
    QTest::addColumn<QStringList>("boxes");

    QTest::newRow("revision C kit") << QStringList() << 1 << "Firmware ID: 2.3"
                                    << "Chip ID: 0x246A (Rev C)" << QStringList();
    QTest::newRow("paced line") << QStringList{"--paced"} << 1 << "Firmware ID: 2.3"
                                << "Chip ID: 0x246A (Rev C)" << QStringList();
    QTest::newRow("firmware 2.2 is refused")
        << QStringList{"--firmware", "2.2"} << 1 << QString() << QString()
        << QStringList{"Firmware version not compatible \nCurrent version: 2.2\n"
                       "Compatible version: 2.3"};
    QTest::newRow("revision B restarts once")
        << QStringList{"--chip", "B"} << 2 << "Firmware ID: 2.3"
        << "Chip ID: 0x2466 (Rev B)"
        << QStringList{"Chip ID revision has changed\nCurrent Revision: B\nPrevious Revision: C"};
}

void TestDemo::runs()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, passCount);
    QFETCH(QString, firmware);
    QFETCH(QString, chip);
    QFETCH(QStringList, boxes);

    QTemporaryDir home;
    qputenv("XDG_CONFIG_HOME", home.path().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "offscreen");

    arguments.prepend(QStringLiteral("ktr4207-kit-demo"));
    QList<QByteArray> storage;
    for (const QString &argument : qAsConst(arguments))
        storage.append(argument.toLocal8Bit());
    std::vector<char *> argv;
    for (QByteArray &argument : storage)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    int argc = int(storage.size());

    passes.clear();
    watching = true;
    const int exitCode = ktrDemoMain(argc, argv.data());
    watching = false;

    QCOMPARE(exitCode, 0);
    QCOMPARE(passes.size(), passCount);
    QStringList seen;
    for (const Pass &pass : qAsConst(passes)) {
        QVERIFY(!pass.timedOut);
        seen += pass.boxes;
    }
    QCOMPARE(seen, boxes);
    if (!firmware.isEmpty()) {
        QCOMPARE(passes.last().connection, QStringLiteral("Connected"));
        QCOMPARE(passes.last().firmware, firmware);
        QCOMPARE(passes.last().chip, chip);
    }

    // The session lives in the demo's own folder, never in the real program's.
    const QString demoSettings = home.path() + QStringLiteral("/ktr4207-kit-demo/") + ORG_NAME +
                                 QLatin1Char('/') + APP_NAME + QStringLiteral(".ini");
    QVERIFY(QFile::exists(demoSettings));
    QVERIFY(!QDir(home.path() + QLatin1Char('/') + ORG_NAME).exists());
    if (!firmware.isEmpty()) {
        // The first connection took over the kit's values.
        QSettings settings(demoSettings, QSettings::IniFormat);
        QCOMPARE(settings.value(QStringLiteral("first_boot")).toBool(), false);
        settings.beginReadArray(QStringLiteral("sensing"));
        settings.setArrayIndex(0);
        QCOMPARE(settings.value(QStringLiteral("high_freq_feedback")).toInt(), 180);
        settings.endArray();
    }
}

QTEST_APPLESS_MAIN(TestDemo)
#include "tst_demo.moc"
