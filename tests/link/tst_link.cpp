#include "link/serialcontroller.h"
#include "link/serialdispatcher.h"
#include "link/wire.h"
#include "ptykitpeer.h"
#include "simulatedkit.h"
#include "support/modalcloser.h"

#include <QtTest>

#include <thread>

namespace {

const int Steady = 0, Stalled = 1, Unplugged = 2; // what the line does during an exchange
const int Encode = 1, Decode = 2, Both = 3, Fixed = 0, Word = 1; // encoding checks; value kinds

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

class TestLink : public QObject
{
    Q_OBJECT

private slots:
    void exchange_data();
    void exchange();
    void bounds_data();
    void bounds();
    void realRepliesStayWithinTheBounds();
    void inputWhileIdleStaysBounded();
    void connection_data();
    void connection();
    void encodings_data();
    void encodings();
    void everyFixedValueSurvivesARoundTrip();
};

void TestLink::exchange_data()
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
void TestLink::exchange()
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
    QVERIFY2(ms < 2000 && (line != Steady || readCount == 0 || ms >= 90), QByteArray::number(ms));
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
    QVERIFY(peer.waitForBytes(line == Stalled ? 1 : 2, 2000));
    QTest::qWait(50);
    QCOMPARE(peer.receivedBytes(), QByteArray(line == Stalled ? "G" : "=G"));
}

void TestLink::bounds_data()
{
    QTest::addColumn<int>("readType");
    QTest::addColumn<int>("replyBytes"); // sent in pieces of pieceBytes, gapMs apart
    QTest::addColumn<int>("pieceBytes");
    QTest::addColumn<int>("gapMs");
    QTest::addColumn<ExchangeEnd>("end");
    const auto row = [](const char *name, ReadType type, int bytes, int piece, int gap,
                        ExchangeEnd end) {
        QTest::newRow(name) << int(type) << bytes << piece << gap << end;
    };
    row("a flood of register records", ReadRegisters, 20000, 20000, 0, ExchangeEnd::ByteBound);
    row("one record too many", ReadSensing, 2 * 19 * 4 + 4, 4, 5, ExchangeEnd::ByteBound);
    row("audio records trickling", ReadAudioSettings, 400, 1, 15, ExchangeEnd::TimeBound);
    row("an identifier read twice", ReadFirmwareId, 4, 4, 0, ExchangeEnd::Silence);
    row("a flood for an identifier", ReadChipId, 5000, 5000, 0, ExchangeEnd::ByteBound);
}

// A kit that does not stop talking cannot hold the program: past the most bytes the
// command can bring, or past the time limit, the exchange ends as a failed write does.
void TestLink::bounds()
{
    QFETCH(int, readType);
    QFETCH(int, replyBytes);
    QFETCH(int, pieceBytes);
    QFETCH(int, gapMs);
    QFETCH(ExchangeEnd, end);
    ModalCloser closer;
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler([=](const QByteArray &) {
        QList<PtyKitPeer::ReplyPiece> pieces;
        for (int at = 0; at < replyBytes; at += pieceBytes)
            pieces.append({QByteArray(qMin(pieceBytes, replyBytes - at), '\x01'), at ? gapMs : 0});
        return pieces;
    });
    SerialController controller(peer.enumerator());
    QVERIFY(controller.isConnected());
    QList<ExchangeEnd> ends;
    connect(&controller, &SerialController::sigExchangeEnded,
            [&](ReadType, ExchangeEnd e) { ends << e; });
    int bytes = 0;
    connect(&controller, &SerialController::sigDataRead,
            [&](const QByteArray &data) { bytes += data.size(); });

    QElapsedTimer elapsed;
    elapsed.start();
    controller.sendData("4", 1, 3, ReadType(readType));
    const qint64 ms = elapsed.elapsed();

    QCOMPARE(ends, QList<ExchangeEnd>{end});
    QVERIFY(bytes <= SerialController::maxReplyBytes(ReadType(readType), 3));
    const qint64 limit = SerialController::ExchangeTimeLimitMs + SerialController::ReplySilenceMs;
    QVERIFY2(ms < limit + 300, QByteArray::number(ms));
    const QString error = QStringLiteral("There was an error communicating with the dev kit");
    QCOMPARE(closer.texts(), end == ExchangeEnd::Silence ? QStringList() : QStringList{error});
}

// The largest reply of each read command, at the real line's pace, ends in silence well
// within both bounds.
void TestLink::realRepliesStayWithinTheBounds()
{
    SimulatedKit kit;
    QVERIFY(kit.open());
    kit.setPaced(true);
    SerialController controller(kit.enumerator());
    QVERIFY(controller.isConnected());
    ExchangeEnd end = ExchangeEnd::NotConnected;
    connect(&controller, &SerialController::sigExchangeEnded,
            [&](ReadType, ExchangeEnd e) { end = e; });
    int bytes = 0;
    connect(&controller, &SerialController::sigDataRead,
            [&](const QByteArray &data) { bytes += data.size(); });
    const QList<std::tuple<QByteArray, int, ReadType>> reads{
        {"4", 3, ReadRegisters}, {"5", 4, ReadSensing}, {"8", 13, ReadAudioSettings}};
    for (const auto &[command, count, type] : reads) {
        bytes = 0;
        QElapsedTimer elapsed;
        elapsed.start();
        controller.sendData(command, 1, count, type);
        const qint64 ms = elapsed.elapsed();
        QCOMPARE(end, ExchangeEnd::Silence);
        QVERIFY2(bytes > 0 && bytes <= SerialController::maxReplyBytes(type, count),
                 QByteArray::number(bytes));
        QVERIFY2(2 * ms < SerialController::ExchangeTimeLimitMs, QByteArray::number(ms));
    }
}

// Bytes that come while no command waits are not kept without bound: a flood waits in
// the driver, which the next command empties.
void TestLink::inputWhileIdleStaysBounded()
{
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler([](const QByteArray &) {
        return QList<PtyKitPeer::ReplyPiece>{{QByteArray(200000, 'x'), 0}};
    });
    SerialController controller(peer.enumerator());
    QVERIFY(controller.isConnected());
    controller.sendData("G", 1, 0, ReadNone);
    QTest::qWait(500);
    QVERIFY2(controller.unreadBytes() <= SerialController::ReadBufferBytes,
             QByteArray::number(controller.unreadBytes()));
}

void TestLink::connection_data()
{
    // Each enumeration lists (the last one repeated) 'a', 'b' two pty kits, 'B' the second
    // with a wrong product, 'x' one that cannot be opened, '-' none. Opening enumerates again.
    QTest::addColumn<QByteArray>("listings");
    QTest::addColumn<QByteArray>("states"); // what each poll answers, then each sigDeviceConnected
    QTest::addColumn<char>("receiver");     // the kit that gets a command sent then
    const auto row = [](const char *name, const char *listings, const char *states, char receiver) {
        QTest::newRow(name) << QByteArray(listings) << QByteArray(states) << receiver;
    };

    row("no kit", "-", "0 ", '-');
    row("wrong product ignored", "B", "0 ", '-');
    row("of two kits the last wins", "ab", "1 1", 'b');
    row("a wrong product after the kit", "aB", "1 1", 'a');
    row("lost only after two empty enumerations in a row", "a a - a - -", "1100 10", '-');
    row("an unopenable port is retried silently", "x x x x a", "001 1", 'a');
}

void TestLink::connection()
{
    QFETCH(QByteArray, listings);
    QFETCH(QByteArray, states);
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

    QByteArray seen;
    for (int i = 0; i < states.indexOf(' '); ++i)
        seen += controller.isConnected() ? '1' : '0';
    controller.sendData("G", 1, 0, ReadNone);
    seen += ' ';
    for (const QList<QVariant> &args : qAsConst(spy))
        seen += args.at(0).toBool() ? '1' : '0';
    QCOMPARE(seen, states);
    QCOMPARE(a.waitForBytes(1, receiver == 'a' ? 2000 : 100), receiver == 'a');
    QCOMPARE(b.waitForBytes(1, receiver == 'b' ? 2000 : 100), receiver == 'b');
    QVERIFY(closer.texts().isEmpty());
}

void TestLink::encodings_data()
{
    QTest::addColumn<bool>("word"); // else fixed-100, the real value times 100
    QTest::addColumn<float>("value");
    QTest::addColumn<QByteArray>("hex");
    QTest::addColumn<int>("ways");
    const auto row = [](const char *name, bool word, float value, const char *hex, int ways) {
        QTest::newRow(name) << word << value << QByteArray(hex) << ways;
    };

    row("-1.5", Fixed, -1.5f, "ff6a", Both);
    row("0.125 rounds away from zero", Fixed, 0.125f, "000d", Encode);
    row("95", Fixed, 95.0f, "251c", Both);
    row("-95", Fixed, -95.0f, "dae4", Both);
    row("0.005 rounds up", Fixed, 0.005f, "0001", Encode);
    row("-0.005 rounds down", Fixed, -0.005f, "ffff", Encode);
    row("above the range clamps", Fixed, 327.7f, "7fff", Encode);
    row("below the range clamps", Fixed, -327.7f, "8000", Encode);
    row("word 180", Word, 180, "00b4", Both);
    row("no bytes", Word, 0, "", Decode);
    row("one byte 0x24 is the high byte", Word, 0x2400, "24", Decode);
    row("a third byte is ignored", Word, 0x2466, "246601", Decode);
}

void TestLink::encodings()
{
    QFETCH(bool, word);
    QFETCH(float, value);
    QFETCH(QByteArray, hex);
    QFETCH(int, ways);
    const QByteArray bytes = QByteArray::fromHex(hex);
    if (ways & Encode)
        QCOMPARE((word ? ::intToBytes(quint16(value)) : ::floatToBytes(value)).toHex(), hex);
    if (ways & Decode)
        QCOMPARE(word ? float(::bytesToInt(bytes)) : ::bytesToFloat(bytes), value);
}

// A value read from the kit and sent back must give the same bytes.
void TestLink::everyFixedValueSurvivesARoundTrip()
{
    for (int raw = 0; raw <= 0xFFFF; ++raw) {
        const QByteArray bytes = ::intToBytes(quint16(raw));
        QVERIFY2(::floatToBytes(::bytesToFloat(bytes)) == bytes, bytes.toHex());
    }
}

QTEST_MAIN(TestLink)
#include "tst_link.moc"
