#include "link/serialcontroller.h"
#include "ptykitpeer.h"
#include "support/modalcloser.h"
#include "support/testsettings.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTimer>
#include <QtTest>

#include <atomic>
#include <memory>
#include <thread>

namespace {

const QString CommError = QStringLiteral("There was an error communicating with the dev kit");

PortCandidate candidate(const QString &path, quint16 vendor = SerialController::KitVendorId,
                        quint16 product = SerialController::KitProductId, bool ids = true)
{
    PortCandidate port;
    port.systemLocation = path;
    port.hasIdentifiers = ids;
    port.vendorIdentifier = vendor;
    port.productIdentifier = product;
    return port;
}

// Answers every chunk with the same pieces.
PtyKitPeer::Handler replyWith(const QList<PtyKitPeer::ReplyPiece> &pieces)
{
    return [pieces](const QByteArray &) { return pieces; };
}

QTimer *pollTimer(SerialController &controller)
{
    return controller.findChild<QTimer *>();
}

} // namespace

class TestSerialController : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void init();

    void replyReads_data();
    void replyReads();
    void slowLineDeliversTheWholeReply();
    void noKitWritesNothing();
    void oneEmptyEnumerationIsNoLoss();
    void portSelection_data();
    void portSelection();
    void lastOfTwoKitsWins();
    void stalledWriteShowsMessagePerCommand();
    void unopenablePortIsRetriedSilently();
    void portVanishingDuringExchangeThenReplug();

private:
    TestSettings settings;
};

void TestSerialController::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
}

void TestSerialController::init()
{
    settings.reset();
}

void TestSerialController::replyReads_data()
{
    QTest::addColumn<QByteArrayList>("pieces");
    QTest::addColumn<QList<int>>("delays");
    QTest::addColumn<int>("readCount");
    QTest::addColumn<QByteArrayList>("reads");

    QTest::newRow("whole record") << QByteArrayList{"2.3"} << QList<int>{0} << 3
                                  << QByteArrayList{"2.3"};
    QTest::newRow("2 then 1 byte within the silence")
        << QByteArrayList{QByteArray("\x24\x6A", 2), QByteArray("\x00", 1)} << QList<int>{0, 40}
        << 3 << QByteArrayList{QByteArray("\x24\x6A", 2), QByteArray("\x00", 1)};
    QTest::newRow("longer than the read count is cut")
        << QByteArrayList{"2.3.1"} << QList<int>{0} << 3 << QByteArrayList{"2.3", ".1"};
    QTest::newRow("records arriving apart")
        << QByteArrayList{"abcd", "efgh", "ijkl"} << QList<int>{0, 30, 30} << 4
        << QByteArrayList{"abcd", "efgh", "ijkl"};
    QTest::newRow("a piece after the silence is not waited for")
        << QByteArrayList{"ab", "c"} << QList<int>{0, 400} << 3 << QByteArrayList{"ab"};
    QTest::newRow("silent kit") << QByteArrayList{} << QList<int>{} << 3 << QByteArrayList{};
    QTest::newRow("read count 0 reads nothing though the kit talks")
        << QByteArrayList{"xyz", "uvw"} << QList<int>{0, 20} << 0 << QByteArrayList{};
}

void TestSerialController::replyReads()
{
    QFETCH(QByteArrayList, pieces);
    QFETCH(QList<int>, delays);
    QFETCH(int, readCount);
    QFETCH(QByteArrayList, reads);

    QList<PtyKitPeer::ReplyPiece> reply;
    for (int i = 0; i < pieces.size(); ++i)
        reply.append({pieces.at(i), delays.at(i)});
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler(replyWith(reply));
    SerialController controller(peer.enumerator());
    QVERIFY(controller.isConnected());
    QSignalSpy spy(&controller, &SerialController::sigDataRead);
    QVERIFY(spy.isValid());

    QElapsedTimer elapsed;
    elapsed.start();
    controller.sendData("=", 1, readCount, ReadFirmwareId);
    const qint64 ms = elapsed.elapsed();

    // A reply is over only after the kit has been silent for a while.
    if (readCount > 0)
        QVERIFY2(ms >= 90 && ms < 1000, qPrintable(QString::number(ms)));
    QVERIFY(peer.waitForBytes(1, 2000));
    QCOMPARE(peer.receivedBytes(), QByteArray("="));
    QCOMPARE(spy.count(), reads.size());
    for (int i = 0; i < spy.count(); ++i) {
        QCOMPARE(spy.at(i).at(0).toByteArray(), reads.at(i));
        QCOMPARE(spy.at(i).at(1).toInt(), readCount);
        QCOMPARE(spy.at(i).at(2).value<ReadType>(), ReadFirmwareId);
    }
}

// At 9600 baud a record trickles in; reads then come short, but none is lost
// and none is longer than the read count.
void TestSerialController::slowLineDeliversTheWholeReply()
{
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setPacing(true);
    const QByteArray reply = QByteArray("ch0sw0type0") + QByteArray::fromHex("012C") +
                             QByteArray("ch0sw0type1") + QByteArray::fromHex("FF6A");
    peer.setHandler(replyWith({{reply, 0}}));
    SerialController controller(peer.enumerator());
    QVERIFY(controller.isConnected());
    QSignalSpy spy(&controller, &SerialController::sigDataRead);
    QVERIFY(spy.isValid());

    controller.sendData("8", 1, 13, ReadAudioSettings);

    QByteArray joined;
    for (const QList<QVariant> &read : qAsConst(spy)) {
        QVERIFY(read.at(0).toByteArray().size() <= 13);
        joined.append(read.at(0).toByteArray());
    }
    QCOMPARE(joined, reply);
}

void TestSerialController::noKitWritesNothing()
{
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    SerialController controller(peer.enumerator());
    controller.startTimer();
    QSignalSpy spy(&controller, &SerialController::sigDataRead);
    QVERIFY(spy.isValid());

    // The kit is listed, but no poll has opened it yet.
    controller.sendData("4", 1, 3, ReadRegisters);

    QVERIFY(!peer.waitForBytes(1, 150));
    QCOMPARE(spy.count(), 0);
    QVERIFY(closer.texts().isEmpty());
    QVERIFY(pollTimer(controller)->isActive());
}

void TestSerialController::oneEmptyEnumerationIsNoLoss()
{
    PtyKitPeer peer;
    QVERIFY(peer.open());
    const QString path = peer.slavePath();
    // Each enumeration takes the next entry: listed or not. Opening the port
    // enumerates once more.
    auto script =
        std::make_shared<QList<bool>>(QList<bool>{true, true, false, true, false, false, false});
    auto calls = std::make_shared<int>(0);
    SerialController controller([script, calls, path]() {
        const bool listed = script->value((*calls)++, false);
        return listed ? QList<PortCandidate>{candidate(path)} : QList<PortCandidate>{};
    });
    QSignalSpy spy(&controller, &SerialController::sigDeviceConnected);
    QVERIFY(spy.isValid());

    QVERIFY(controller.isConnected());
    QCOMPARE(spy.count(), 1);
    QVERIFY(controller.isConnected()); // missing once, then back
    QCOMPARE(*calls, 4);
    QCOMPARE(spy.count(), 1);
    QVERIFY(!controller.isConnected()); // missing twice in a row
    QCOMPARE(spy.count(), 2);
    QCOMPARE(spy.at(1).at(0).toBool(), false);
    QVERIFY(!controller.isConnected());
    QCOMPARE(spy.count(), 2);
}

void TestSerialController::portSelection_data()
{
    QTest::addColumn<quint16>("vendor");
    QTest::addColumn<quint16>("product");
    QTest::addColumn<bool>("hasIds");
    QTest::addColumn<bool>("connects");

    QTest::newRow("the kit") << quint16(0x04B4) << quint16(0x033A) << true << true;
    QTest::newRow("wrong product") << quint16(0x04B4) << quint16(0x033B) << true << false;
    QTest::newRow("wrong vendor") << quint16(0x04B5) << quint16(0x033A) << true << false;
    QTest::newRow("identifiers swapped") << quint16(0x033A) << quint16(0x04B4) << true << false;
    QTest::newRow("no identifiers") << quint16(0x04B4) << quint16(0x033A) << false << false;
}

void TestSerialController::portSelection()
{
    QFETCH(quint16, vendor);
    QFETCH(quint16, product);
    QFETCH(bool, hasIds);
    QFETCH(bool, connects);

    PtyKitPeer peer;
    QVERIFY(peer.open());
    const PortCandidate port = candidate(peer.slavePath(), vendor, product, hasIds);
    SerialController controller([port]() { return QList<PortCandidate>{port}; });
    QSignalSpy spy(&controller, &SerialController::sigDeviceConnected);
    QVERIFY(spy.isValid());

    QCOMPARE(controller.isConnected(), connects);
    QCOMPARE(spy.count(), connects ? 1 : 0);
    controller.sendData("G", 1, 0, ReadNone);
    QCOMPARE(peer.waitForBytes(1, connects ? 2000 : 100), connects);
}

void TestSerialController::lastOfTwoKitsWins()
{
    PtyKitPeer first;
    PtyKitPeer second;
    QVERIFY(first.open());
    QVERIFY(second.open());
    const PortEnumerator one = first.enumerator();
    const PortEnumerator two = second.enumerator();
    SerialController controller([one, two]() { return one() + two(); });
    QVERIFY(controller.isConnected());

    controller.sendData("F", 1, 0, ReadNone);

    QVERIFY(second.waitForBytes(1, 2000));
    QCOMPARE(second.receivedBytes(), QByteArray("F"));
    QVERIFY(first.receivedBytes().isEmpty());
}

void TestSerialController::stalledWriteShowsMessagePerCommand()
{
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    SerialController controller(peer.enumerator());
    controller.startTimer();
    QVERIFY(controller.isConnected());
    QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
    QVERIFY(connection.isValid());

    peer.setReading(false);
    controller.sendData(QByteArray("30", 2), 2, 0, ReadNone);
    controller.sendData(QByteArray("31", 2), 2, 0, ReadNone);

    QCOMPARE(closer.texts(), QStringList({CommError, CommError}));
    QCOMPARE(connection.count(), 0); // the port is still there
    QVERIFY(pollTimer(controller)->isActive());

    // Once the line moves again, a later command gets through, and the lost
    // ones do not arrive after all.
    peer.setReading(true);
    closer.clear();
    controller.sendData("G", 1, 0, ReadNone);
    QVERIFY(peer.waitForBytes(1, 2000));
    QTest::qWait(50);
    QCOMPARE(peer.receivedBytes(), QByteArray("G"));
    QVERIFY(closer.texts().isEmpty());
}

void TestSerialController::unopenablePortIsRetriedSilently()
{
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    const QString good = peer.slavePath();
    auto path = std::make_shared<QString>(QStringLiteral("/nonexistent/ttyKTR0"));
    auto calls = std::make_shared<int>(0);
    SerialController controller([path, calls]() {
        ++*calls;
        return QList<PortCandidate>{candidate(*path)};
    });
    QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
    QVERIFY(connection.isValid());

    for (int poll = 1; poll <= 3; ++poll)
        QVERIFY(!controller.isConnected());
    QVERIFY(*calls >= 3);
    QCOMPARE(connection.count(), 0);

    *path = good;
    QVERIFY(controller.isConnected());
    QCOMPARE(connection.count(), 1);
    QVERIFY(closer.texts().isEmpty());
}

void TestSerialController::portVanishingDuringExchangeThenReplug()
{
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler(replyWith({{"ab", 0}, {"c", 250}}));
    SerialController controller(peer.enumerator());
    QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
    QSignalSpy reads(&controller, &SerialController::sigDataRead);
    QVERIFY(connection.isValid());
    QVERIFY(reads.isValid());
    QVERIFY(controller.isConnected());

    std::thread unplugger([&peer]() {
        peer.waitForBytes(1, 2000);
        std::this_thread::sleep_for(std::chrono::milliseconds(40));
        peer.unplug();
    });
    QElapsedTimer elapsed;
    elapsed.start();
    controller.sendData("4", 1, 3, ReadRegisters);
    const qint64 ms = elapsed.elapsed();
    unplugger.join();

    // What came before the loss may have been handed on; nothing after it.
    QVERIFY2(ms < 2000, qPrintable(QString::number(ms)));
    QVERIFY(reads.count() <= 1);
    QVERIFY(!controller.isConnected());
    QCOMPARE(connection.count(), 2);
    QCOMPARE(connection.at(1).at(0).toBool(), false);
    QVERIFY(closer.texts().isEmpty());

    // The next poll after the kit is back opens the new port.
    peer.setHandler(replyWith({{"2.3", 0}}));
    QVERIFY(peer.plug());
    QVERIFY(controller.isConnected());
    QCOMPARE(connection.count(), 3);
    QCOMPARE(connection.at(2).at(0).toBool(), true);
    reads.clear();
    controller.sendData("=", 1, 3, ReadFirmwareId);
    QCOMPARE(reads.count(), 1);
    QCOMPARE(reads.at(0).at(0).toByteArray(), QByteArray("2.3"));
}

QTEST_MAIN(TestSerialController)
#include "tst_serialcontroller.moc"
