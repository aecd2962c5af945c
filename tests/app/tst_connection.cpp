#include "app/constants.h"
#include "app/mainwindow.h"
#include "exitcatcher.h"
#include "kitfirmware.h"
#include "ptykitpeer.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QComboBox>
#include <QLabel>
#include <QPushButton>
#include <QSettings>
#include <QtTest>
#include <mutex>

namespace {

const QString Green =
    "QLabel { background-color : #5DFC0A; color : black; padding: 5px 5px 5px 5px; }";

// A kit on a pseudo-terminal whose firmware is the simulator's model; it keeps the
// commands it was sent, whole and in order.
class FakeKit
{
public:
    FakeKit(quint16 chipId, const QByteArray &firmwareId) : firmware(chipId, firmwareId)
    {
        peer.setHandler([this](const QByteArray &chunk) {
            QList<PtyKitPeer::ReplyPiece> replies;
            std::lock_guard<std::mutex> lock(mutex);
            const auto exchanges = firmware.feed(chunk);
            for (const KitFirmware::Exchange &exchange : exchanges) {
                log.append(exchange.command);
                if (!exchange.reply.isEmpty())
                    replies.append({exchange.reply, 0});
            }
            return replies;
        });
    }

    bool open() { return peer.open(); }
    PortEnumerator enumerator() { return peer.enumerator(); }
    void unplug() { peer.unplug(); }

    // The commands so far as tokens: "D" and "C" commands whole, the others by their
    // first byte with a run of the same first byte folded into one.
    QString tokens() const
    {
        std::lock_guard<std::mutex> lock(mutex);
        QStringList tokens;
        for (const QByteArray &command : log) {
            const char first = command.at(0);
            const QString token =
                QString::fromLatin1(first == 'D' || first == 'C' ? command : command.left(1));
            if (token.size() > 1 || tokens.isEmpty() || tokens.last() != token)
                tokens.append(token);
        }
        return tokens.join(' ');
    }

    void clear()
    {
        std::lock_guard<std::mutex> lock(mutex);
        log.clear();
    }

private:
    mutable std::mutex mutex;
    KitFirmware firmware;
    QList<QByteArray> log;
    PtyKitPeer peer; // last, so that its thread stops before the firmware goes
};

QString textOf(const MainWindow &window, const char *name)
{
    return window.findChild<QWidget *>(name)->property("text").toString();
}

void storeSession(const QVariant &chipid, const QVariant &firstBoot)
{
    QSettings settings;
    if (chipid.isValid())
        settings.setValue(CHIPID_KEY, chipid);
    if (firstBoot.isValid())
        settings.setValue(QStringLiteral("first_boot"), firstBoot);
    settings.sync();
}

// Runs the event loop until the kit has connected and the controls are enabled (two
// polls in a row, so that an exit asked for on the way wins), or the window asked
// the application to end or restart.
int untilConnected(MainWindow &window)
{
    QWidget *load = window.findChild<QWidget *>("loadFromDeviceButton");
    QTimer watch;
    int seen = 0;
    QObject::connect(&watch, &QTimer::timeout, &watch, [&] {
        seen = load->isEnabled() ? seen + 1 : 0;
        if (seen == 2)
            QCoreApplication::exit(NoExit);
    });
    watch.start(50);
    return exitCodeOf([] {}, 10000);
}

} // namespace

class TestConnection : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();
    void identifiers_data();
    void identifiers();
    void firstBoot_data();
    void firstBoot();
    void actions_data();
    void actions();

private:
    TestSettings settings;
};

void TestConnection::initTestCase()
{
    QApplication::setQuitOnLastWindowClosed(false);
}

void TestConnection::init()
{
    settings.reset();
}

void TestConnection::identifiers_data()
{
    QTest::addColumn<QByteArray>("firmwareId");
    QTest::addColumn<int>("chipId");
    QTest::addColumn<QVariant>("chipid");
    QTest::addColumn<int>("exitCode");
    QTest::addColumn<QStringList>("messages");
    QTest::addColumn<QString>("firmwareLabel");
    QTest::addColumn<QString>("chipLabel");

    const QString changed =
        "Chip ID revision has changed\nCurrent Revision: %1\nPrevious Revision: %2";
    const QString notCompatible =
        "Firmware version not compatible \nCurrent version: %1\nCompatible version: 2.3";

    QTest::newRow("compatible revision C") << QByteArray("2.3") << 0x246A << QVariant(67) << NoExit
                                           << QStringList() << "Firmware ID: 2.3"
                                           << "Chip ID: 0x246A (Rev C)";
    QTest::newRow("compatible revision B") << QByteArray("2.3") << 0x2466 << QVariant(66) << NoExit
                                           << QStringList() << "Firmware ID: 2.3"
                                           << "Chip ID: 0x2466 (Rev B)";
    QTest::newRow("older firmware quits")
        << QByteArray("2.2") << 0x246A << QVariant(67) << 0 << QStringList{notCompatible.arg("2.2")}
        << "Firmware ID: 2.2"
        << "Chip ID: 0x246A (Rev C)";
    QTest::newRow("longer reply is cut and fails")
        << QByteArray("2.30") << 0x246A << QVariant(67) << 0 << QStringList{notCompatible.arg("0")}
        << "Firmware ID: 0"
        << "Chip ID: 0x246A (Rev C)";
    QTest::newRow("revision B on a revision C session")
        << QByteArray("2.3") << 0x2466 << QVariant(67) << EXIT_CODE_RESTART_REV_B
        << QStringList{changed.arg("B", "C")} << "Firmware ID: 2.3"
        << "Chip ID: 0x2466 (Rev B)";
    QTest::newRow("revision C on a revision B session")
        << QByteArray("2.3") << 0x246A << QVariant(66) << EXIT_CODE_RESTART_REV_C
        << QStringList{changed.arg("C", "B")} << "Firmware ID: 2.3"
        << "Chip ID: 0x246A (Rev C)";
    QTest::newRow("unknown chip restarts as revision C")
        << QByteArray("2.3") << 0x12AB << QVariant(67) << EXIT_CODE_RESTART_REV_C
        << QStringList{changed.arg(QChar(0)).arg("C")} << "Firmware ID: 2.3"
        << "Chip ID: 0x12AB";
    QTest::newRow("session without chipid")
        << QByteArray("2.3") << 0x246A << QVariant() << EXIT_CODE_RESTART_REV_C
        << QStringList{changed.arg("C").arg(QChar(0))} << "Firmware ID: 2.3"
        << "Chip ID: 0x246A (Rev C)";
    QTest::newRow("chipid compared as 16 bits")
        << QByteArray("2.3") << 0x246A << QVariant(65536 + 67) << NoExit << QStringList()
        << "Firmware ID: 2.3"
        << "Chip ID: 0x246A (Rev C)";
}

void TestConnection::identifiers()
{
    QFETCH(QByteArray, firmwareId);
    QFETCH(int, chipId);
    QFETCH(QVariant, chipid);
    QFETCH(int, exitCode);
    QFETCH(QStringList, messages);
    QFETCH(QString, firmwareLabel);
    QFETCH(QString, chipLabel);

    storeSession(chipid, false);
    FakeKit kit(quint16(chipId), firmwareId);
    QVERIFY(kit.open());
    MainWindow window(kit.enumerator());
    ModalCloser closer;

    QCOMPARE(untilConnected(window), exitCode);
    QCOMPARE(closer.texts(), messages);
    QCOMPARE(textOf(window, "firmwareLabel"), firmwareLabel);
    QCOMPARE(textOf(window, "chipLabel"), chipLabel);
    QCOMPARE(textOf(window, "connectionLabel"), QStringLiteral("Connected"));
    QCOMPARE(window.findChild<QLabel *>("connectionLabel")->styleSheet(), Green);
    QCOMPARE(kit.tokens(), QStringLiteral("= H"));
}

void TestConnection::firstBoot_data()
{
    QTest::addColumn<QVariant>("firstBoot");
    QTest::addColumn<QString>("tokens");
    QTest::addColumn<QString>("syncLabel");

    QTest::newRow("new session reads the kit") << QVariant() << "= H 5 8 4"
                                               << "Up To Date";
    QTest::newRow("interrupted read-out is done again") << QVariant(true) << "= H 5 8 4"
                                                        << "Up To Date";
    QTest::newRow("session in use is not read") << QVariant(false) << "= H"
                                                << "Pending Changes";
}

void TestConnection::firstBoot()
{
    QFETCH(QVariant, firstBoot);
    QFETCH(QString, tokens);
    QFETCH(QString, syncLabel);

    storeSession(67, firstBoot);
    FakeKit kit(KitFirmware::ChipIdRevC, "2.3");
    QVERIFY(kit.open());
    MainWindow window(kit.enumerator());
    ModalCloser closer;

    QCOMPARE(untilConnected(window), NoExit);
    QCOMPARE(kit.tokens(), tokens);
    QCOMPARE(textOf(window, "syncLabel"), syncLabel);
    QCOMPARE(QSettings().value("first_boot").toString(), QStringLiteral("false"));
    QCOMPARE(closer.texts(), QStringList());
}

void TestConnection::actions_data()
{
    QTest::addColumn<QStringList>("presses"); // button objectNames, in order
    QTest::addColumn<QString>("tokens");
    QTest::addColumn<QString>("sensingText");
    QTest::addColumn<QString>("syncLabel");
    QTest::addColumn<QString>("saveLabel");

    QTest::newRow("load") << QStringList{"loadFromDeviceButton"} << "5 8 4"
                          << "Deactivate Sensing"
                          << "Up To Date"
                          << "Not Saved";
    QTest::newRow("send") << QStringList{"sendToDeviceButton"} << "D0 2 6 0 D1"
                          << "Deactivate Sensing"
                          << "Up To Date"
                          << "Not Saved";
    QTest::newRow("send switches sensing back on")
        << QStringList{"sensingButton", "sendToDeviceButton"} << "D0 2 6 0 D1"
        << "Deactivate Sensing"
        << "Up To Date"
        << "Not Saved";
    QTest::newRow("send and save") << QStringList{"sendAndSaveButton"} << "D0 2 6 0 D1 D0 3 7 1 D1"
                                   << "Deactivate Sensing"
                                   << "Up To Date"
                                   << "Saved";
    QTest::newRow("sensing off and on") << QStringList{"sensingButton", "sensingButton"} << "D0 D1"
                                        << "Deactivate Sensing"
                                        << "Pending Changes"
                                        << "Not Saved";
    QTest::newRow("power down and up") << QStringList{"powerButton", "powerButton"} << "D0 > <"
                                       << "Activate Sensing"
                                       << "Pending Changes"
                                       << "Not Saved";
    QTest::newRow("oscillator on channel B")
        << QStringList{"channelB", "oscillatorButton", "oscillatorButton"} << "D0 C11 C10"
        << "Activate Sensing"
        << "Pending Changes"
        << "Not Saved";
    QTest::newRow("output off and on") << QStringList{"outputButton", "outputButton"} << "D0 F G"
                                       << "Activate Sensing"
                                       << "Pending Changes"
                                       << "Not Saved";
}

void TestConnection::actions()
{
    QFETCH(QStringList, presses);
    QFETCH(QString, tokens);
    QFETCH(QString, sensingText);
    QFETCH(QString, syncLabel);
    QFETCH(QString, saveLabel);

    storeSession(67, false);
    FakeKit kit(KitFirmware::ChipIdRevC, "2.3");
    QVERIFY(kit.open());
    MainWindow window(kit.enumerator());
    window.show();
    QVERIFY(QTest::qWaitForWindowExposed(&window));
    ModalCloser closer;
    QCOMPARE(untilConnected(window), NoExit);
    kit.clear();

    for (const QString &press : qAsConst(presses)) {
        if (press == "channelB") {
            window.findChild<QComboBox *>("oscillatorChannelCombo")->setCurrentIndex(1);
            continue;
        }
        auto *button = window.findChild<QPushButton *>(press);
        QVERIFY2(button->isEnabled(), qPrintable(press));
        QTest::mouseClick(button, Qt::LeftButton);
    }
    // Some of the first of the last few commands may stand yet in the line.
    QTRY_COMPARE(kit.tokens(), tokens);
    QCOMPARE(textOf(window, "sensingButton"), sensingText);
    QCOMPARE(textOf(window, "syncLabel"), syncLabel);
    QCOMPARE(textOf(window, "saveLabel"), saveLabel);
    QCOMPARE(window.cursor().shape(), Qt::ArrowCursor);
    QCOMPARE(closer.texts(), QStringList());
}

QTEST_MAIN(TestConnection)
#include "tst_connection.moc"
