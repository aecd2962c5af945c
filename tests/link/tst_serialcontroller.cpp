#include "link/serialcontroller.h"
#include "link/serialdispatcher.h"
#include "ptykitpeer.h"
#include "support/modalcloser.h"

#include <QtTest>

#include <thread>

namespace {

// What the line does during the exchange.
const int Steady = 0, Stalled = 1, Unplugged = 2;

QStringList dispatched; // what the dispatchers were handed, in order

struct LoggingDispatcher : SerialDispatcher
{
    LoggingDispatcher(const char *name, SerialController *c) : SerialDispatcher(c), name(name) {}
    void Dispatch(QByteArray data, int count, ReadType type) override
    {
        dispatched << QStringLiteral("%1 %2 %3 ").arg(name).arg(type).arg(count) + data.toHex();
    }
    QString name;
};

} // namespace

class TestSerialController : public QObject
{
    Q_OBJECT

private slots:
    void exchange_data();
    void exchange();
    void connection_data();
    void connection();
};

void TestSerialController::exchange_data()
{
    QTest::addColumn<QByteArrayList>("reply");
    QTest::addColumn<int>("readCount");
    QTest::addColumn<int>("line");
    QTest::addColumn<QByteArrayList>("reads");

    const QByteArrayList twoThenOne{QByteArray("\x24\x6A", 2), QByteArray(1, '\0')}, none;
    QTest::newRow("2 then 1 bytes") << twoThenOne << 3 << Steady << twoThenOne;
    QTest::newRow("longer than the read count is cut")
        << QByteArrayList{"2.3.1"} << 3 << Steady << QByteArrayList{"2.3", ".1"};
    QTest::newRow("silent kit") << QByteArrayList{} << 3 << Steady << none;
    QTest::newRow("read count 0 though the kit talks") << twoThenOne << 0 << Steady << none;
    QTest::newRow("stalled write") << twoThenOne << 3 << Stalled << none;
    QTest::newRow("port vanishing mid-exchange")
        << QByteArrayList{"ab"} << 3 << Unplugged << QByteArrayList{"ab"};
}

// Each read reaches every dispatcher in the order they were made. Whatever happened,
// the next command gets through once the line is back; a lost one never arrives.
void TestSerialController::exchange()
{
    QFETCH(QByteArrayList, reply);
    QFETCH(int, readCount);
    QFETCH(int, line);
    QFETCH(QByteArrayList, reads);
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler([reply](const QByteArray &) { // each piece but the first after 40 ms
        QList<PtyKitPeer::ReplyPiece> pieces;
        for (const QByteArray &bytes : reply)
            pieces.append({bytes, pieces.isEmpty() ? 0 : 40});
        return pieces;
    });
    SerialController controller(peer.enumerator());
    controller.startTimer();
    QVERIFY(controller.isConnected());
    QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
    dispatched.clear();
    LoggingDispatcher first("first", &controller), second("second", &controller);

    peer.setReading(line != Stalled);
    std::thread unplugger([&peer, line]() {
        if (line == Unplugged && peer.waitForBytes(1, 2000)) {
            std::this_thread::sleep_for(std::chrono::milliseconds(40));
            peer.unplug();
        }
    });
    QElapsedTimer elapsed;
    elapsed.start();
    emit second.sigSendData("=", 1, readCount, ReadFirmwareId);
    const qint64 ms = elapsed.elapsed();
    unplugger.join();

    // A reply is over only once the kit has been silent for about 100 ms.
    QVERIFY2(ms < 2000 && (line != Steady || readCount == 0 || ms >= 90),
             qPrintable(QString::number(ms)));
    QStringList expected;
    for (const QByteArray &read : reads)
        for (const char *name : {"first", "second"})
            expected << QStringLiteral("%1 4 %2 ").arg(name).arg(readCount) + read.toHex();
    QCOMPARE(dispatched, expected);
    const QString error = QStringLiteral("There was an error communicating with the dev kit");
    QCOMPARE(closer.texts(), line == Stalled ? QStringList{error} : QStringList{});
    QVERIFY(controller.findChild<QTimer *>()->isActive());

    peer.setReading(true);
    // A lost kit is found again on the first poll after it is back.
    QVERIFY(line != Unplugged ||
            (!controller.isConnected() && peer.plug() && controller.isConnected()));
    QCOMPARE(connection.count(), line == Unplugged ? 2 : 0); // lost, then back
    emit first.sigSendData("G", 1, 0, ReadNone);
    const QByteArray sent = line == Stalled ? "G" : "=G";
    QVERIFY(peer.waitForBytes(sent.size(), 2000));
    QTest::qWait(50);
    QCOMPARE(peer.receivedBytes(), sent);
}

void TestSerialController::connection_data()
{
    // Each enumeration lists (the last one repeated) 'a', 'b' two pty kits, 'B' the second
    // with a wrong product, 'x' one that cannot be opened, '-' none. Opening enumerates again.
    QTest::addColumn<QByteArray>("listings");
    QTest::addColumn<QByteArray>("polls");   // what each poll answers
    QTest::addColumn<QByteArray>("changes"); // the sigDeviceConnected in all
    QTest::addColumn<char>("receiver");      // the kit that gets a command sent then
    const auto row = [](const char *name, const char *listings, const char *polls,
                        const char *changes, char receiver) {
        QTest::newRow(name) << QByteArray(listings) << QByteArray(polls) << QByteArray(changes)
                            << receiver;
    };

    row("no kit", "-", "0", "", '-');
    row("wrong product ignored", "B", "0", "", '-');
    row("of two kits the last wins", "ab", "1", "1", 'b');
    row("a wrong product after the kit", "aB", "1", "1", 'a');
    row("lost only after two empty enumerations in a row", "a a - a - -", "1100", "10", '-');
    row("an unopenable port is retried silently", "x x x x a", "001", "1", 'a');
}

void TestSerialController::connection()
{
    QFETCH(QByteArray, listings);
    QFETCH(QByteArray, polls);
    QFETCH(QByteArray, changes);
    QFETCH(char, receiver);
    ModalCloser closer;
    PtyKitPeer a, b;
    QVERIFY(a.open() && b.open());
    QMap<char, PortCandidate> ports{{'a', a.enumerator()().value(0)},
                                    {'b', b.enumerator()().value(0)}};
    ports['B'] = ports['x'] = ports['b'];
    ports['B'].productIdentifier = 0x033B;
    ports['x'].systemLocation = QStringLiteral("/nonexistent/ttyKTR0");
    const QList<QByteArray> script = listings.split(' ');
    int calls = 0;
    SerialController controller([&]() {
        QList<PortCandidate> listed;
        for (char port : script.at(qMin(calls++, script.size() - 1)))
            if (ports.contains(port))
                listed << ports.value(port);
        return listed;
    });
    QSignalSpy spy(&controller, &SerialController::sigDeviceConnected);

    QByteArray answers;
    for (int i = 0; i < polls.size(); ++i)
        answers += controller.isConnected() ? '1' : '0';
    controller.sendData("G", 1, 0, ReadNone);

    QCOMPARE(answers, polls);
    QByteArray states;
    for (const QList<QVariant> &args : qAsConst(spy))
        states += args.at(0).toBool() ? '1' : '0';
    QCOMPARE(states, changes);
    QCOMPARE(a.waitForBytes(1, receiver == 'a' ? 2000 : 100), receiver == 'a');
    QCOMPARE(b.waitForBytes(1, receiver == 'b' ? 2000 : 100), receiver == 'b');
    QVERIFY(closer.texts().isEmpty());
}

QTEST_MAIN(TestSerialController)
#include "tst_serialcontroller.moc"
