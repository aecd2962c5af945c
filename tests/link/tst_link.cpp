#include "link/serialcontroller.h"
#include "link/serialdispatcher.h"
#include "link/wire.h"
#include "ptykitpeer.h"
#include "simulatedkit.h"
#include "support/datarow.h"
#include "support/kitfixture.h"
#include "support/modalcloser.h"

#include <QtTest>

#include <thread>

namespace {

const int Encode = 1, Decode = 2, Both = 3; // which ways an encoding is checked
const QStringList LinkError{"There was an error communicating with the dev kit"};

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
    void exchange_data()
    {
        // reply: the kit's reply to "=", in pieces of two bytes 40 ms apart, the line going
        // away 40 ms after the command when unplug is set; reads: what the dispatchers get
        columns<QByteArray, int, bool, QByteArrayList>({"reply", "readCount", "unplug", "reads"});
        dataRow("2 then 1 bytes", QByteArray("\x24\x6A\0", 3), 3, false,
                QByteArrayList{"\x24\x6A", QByteArray(1, '\0')});
        dataRow("read count 0 though the kit talks", QByteArray("2.3"), 0, false, QByteArrayList());
        dataRow("port vanishing mid-exchange", QByteArray("ab"), 3, true, QByteArrayList{"ab"});
    }

    // Each read reaches every dispatcher in the order they were made. Whatever happened,
    // the next command gets through once the line is back. (Silence, a reply longer than
    // the read count and a stalled write are in the simulator's fault table.)
    void exchange()
    {
        const auto [reply, readCount, unplug, reads] =
            fetchRow<QByteArray, int, bool, QByteArrayList>("reply", "readCount", "unplug",
                                                            "reads");
        ModalCloser closer;
        SimulatedKit kit;
        QVERIFY(kit.open());
        kit.setReplyOverride('=', reply);
        kit.setReplyPieces(2, 40);
        SerialController controller(kit.enumerator());
        controller.startTimer();
        QVERIFY(controller.isConnected());
        QSignalSpy connection(&controller, &SerialController::sigDeviceConnected);
        dispatched.clear();
        LoggingDispatcher first("first", &controller), second("second", &controller);

        std::thread unplugger([&kit, unplug = unplug]() {
            if (unplug && kit.transport().waitForBytes(1, 2000)) {
                std::this_thread::sleep_for(std::chrono::milliseconds(40));
                kit.unplug();
            }
        });
        QElapsedTimer elapsed;
        elapsed.start();
        emit second.sigSendData("=", 1, readCount, ReadFirmwareId);
        const qint64 ms = elapsed.elapsed();
        unplugger.join();

        // A reply is over only once the kit has been silent for about 100 ms.
        QVERIFY2(ms < 2000 && (unplug || readCount == 0 || ms >= 90), QByteArray::number(ms));
        QStringList expected;
        for (const QByteArray &read : reads)
            for (const char *name : {"first", "second"})
                expected << QStringLiteral("%1 4 %2 ").arg(name).arg(readCount) + read.toHex();
        QCOMPARE(dispatched, expected);
        QCOMPARE(closer.texts(), QStringList());
        QVERIFY(controller.findChild<QTimer *>()->isActive());

        // A lost kit is found again on the first poll after it is back.
        QVERIFY(!unplug || (!controller.isConnected() && kit.plug() && controller.isConnected()));
        QCOMPARE(connection.count(), unplug ? 2 : 0); // lost, then back
        emit first.sigSendData("G", 1, 0, ReadNone);
        QTRY_COMPARE(kit.commands().join(), QByteArray("=G"));
    }

    void bounds_data()
    {
        // bytes: a reply of that many bytes in pieces gapMs apart, instead of the kit's own,
        // which comes at the pace of the real line
        columns<char, int, int, int, ExchangeEnd>({"command", "bytes", "piece", "gapMs", "end"});
        dataRow("a flood of register records", '4', 20000, 20000, 0, ExchangeEnd::ByteBound);
        dataRow("one record too many", '5', 2 * 19 * 4 + 4, 4, 5, ExchangeEnd::ByteBound);
        dataRow("audio records trickling", '8', 400, 1, 15, ExchangeEnd::TimeBound);
        dataRow("an identifier read twice", '=', 4, 4, 0, ExchangeEnd::Silence);
        dataRow("a flood for an identifier", 'H', 5000, 5000, 0, ExchangeEnd::ByteBound);
        // It comes while no command waits: it waits in the driver, which the next one empties.
        dataRow("a flood after a command without a reply", 'G', 200000, 200000, 0,
                ExchangeEnd::Written);
        for (const char *command : {"4", "5", "8"})
            dataRow(command, command[0], 0, 0, 0, ExchangeEnd::Silence);
    }

    // A kit that does not stop talking cannot hold the program: past the most bytes the
    // command can bring, or past the time limit, the exchange ends as a failed write does,
    // and what is left unread stays bounded. The largest reply of each read command ends
    // in silence well within both bounds.
    void bounds()
    {
        const auto [command, replyBytes, piece, gapMs, end] =
            fetchRow<char, int, int, int, ExchangeEnd>("command", "bytes", "piece", "gapMs", "end");
        const KitRead read = kitRead(command);
        ModalCloser closer;
        SimulatedKit kit;
        QVERIFY(kit.open());
        kit.setPaced(!replyBytes);
        if (replyBytes) {
            kit.setReplyOverride(command, QByteArray(replyBytes, '\x01'));
            kit.setReplyPieces(piece, gapMs);
        }
        SerialController controller(kit.enumerator());
        QVERIFY(controller.isConnected());
        QList<ExchangeEnd> ends;
        connect(&controller, &SerialController::sigExchangeEnded, &controller,
                [&](ReadType, ExchangeEnd e) { ends << e; });
        int bytes = 0;
        connect(&controller, &SerialController::sigDataRead, &controller,
                [&](const QByteArray &data) { bytes += data.size(); });

        QElapsedTimer elapsed;
        elapsed.start();
        controller.sendData(QByteArray(1, command), 1, read.count, read.type);
        const qint64 ms = elapsed.elapsed();

        QCOMPARE(ends, QList<ExchangeEnd>{end});
        QVERIFY2((bytes > 0 || !read.count) &&
                     bytes <= SerialController::maxReplyBytes(read.type, read.count),
                 QByteArray::number(bytes));
        const qint64 limit = replyBytes ? SerialController::ExchangeTimeLimitMs + 400
                                        : SerialController::ExchangeTimeLimitMs / 2;
        QVERIFY2(ms < limit, QByteArray::number(ms));
        const bool failed = end != ExchangeEnd::Silence && end != ExchangeEnd::Written;
        QCOMPARE(closer.texts(), failed ? LinkError : QStringList());
        QTest::qWait(read.count ? 0 : 500);
        QVERIFY2(controller.unreadBytes() <= SerialController::ReadBufferBytes,
                 QByteArray::number(controller.unreadBytes()));
    }

    void connection_data()
    {
        // Each enumeration lists (the last one repeated) 'a', 'b' two pty kits, 'B' the second
        // with a wrong product, 'x' one that cannot be opened, '-' none. Opening enumerates
        // again. states: what each poll answers, then each sigDeviceConnected; receiver: the
        // kit that gets a command sent then.
        columns<QString, QString, char>({"listings", "states", "receiver"});
        dataRow("wrong product ignored", "B", "0 ", '-');
        dataRow("of two kits the last wins", "ab", "1 1", 'b');
        dataRow("a wrong product after the kit", "aB", "1 1", 'a');
        dataRow("lost only after two empty enumerations in a row", "a a - a - -", "1100 10", '-');
        dataRow("an unopenable port is retried silently", "x x x x a", "001 1", 'a');
    }

    void connection()
    {
        const auto [listings, states, receiver] =
            fetchRow<QString, QString, char>("listings", "states", "receiver");
        ModalCloser closer;
        PtyKitPeer a, b;
        QVERIFY(a.open() && b.open());
        QMap<char, PortCandidate> ports{{'a', a.enumerator()().value(0)},
                                        {'b', b.enumerator()().value(0)}};
        ports['B'] = ports['x'] = ports['b'];
        ports['B'].productIdentifier = 0x033B;
        ports['x'].systemLocation = QStringLiteral("/nonexistent/ttyKTR0");
        const QStringList script = listings.split(' ');
        int calls = 0;
        SerialController controller([&]() {
            QList<PortCandidate> listed;
            for (QChar port : script.at(qMin(calls++, script.size() - 1)))
                if (ports.contains(port.toLatin1()))
                    listed << ports.value(port.toLatin1());
            return listed;
        });
        QSignalSpy spy(&controller, &SerialController::sigDeviceConnected);

        QString seen;
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

    // The running poll notices a kit that comes, then goes, at its next tick: within a second.
    void poll()
    {
        PtyKitPeer kit;
        QVERIFY(kit.open());
        kit.unplug();
        SerialController controller(kit.enumerator());
        auto *timer = controller.findChild<QTimer *>();
        int ticks = 0;
        QList<int> ticksAtChange; // ticks since the kit's change, at each announcement
        // Connected before the poll's own, so that a tick is counted before its look.
        connect(timer, &QTimer::timeout, &controller, [&] { ++ticks; });
        connect(&controller, &SerialController::sigDeviceConnected, &controller,
                [&] { ticksAtChange << ticks; });
        controller.startTimer();
        QVERIFY(kit.plug());
        QTRY_COMPARE_WITH_TIMEOUT(ticksAtChange.size(), 1, 10000);
        ticks = 0;
        kit.unplug();
        QTRY_COMPARE_WITH_TIMEOUT(ticksAtChange, (QList<int>{1, 1}), 10000);
        QVERIFY(timer->interval() <= 1000); // a tick is a second at most
    }

    void systemPortWatch_data()
    {
        // root: the watched folder, beside its serial and serial/by-id; steps: a change made
        // in it before each look ("+name" made, a folder when it ends in '/', "-name"
        // removed, "." none); scans: at each look, how many full scans had run
        columns<QString, int, QString, QString>({"root", "settleMs", "steps", "scans"});
        dataRow("a look scans only after a change", ".", 0, ". . +ttyACM0 . -ttyACM0 .",
                "1 1 2 2 3 3");
        dataRow("udev's folders watched once they appear", ".", 0,
                ". +serial/ . +serial/by-id/ +serial/by-id/usb-kit .", "1 2 2 3 4 4");
        dataRow("every look scans while a change settles", ".", 60000, ". . +ttyACM0", "1 2 3");
        dataRow("nothing to watch: every look scans", "missing", 0, ". . .", "1 2 3");
    }

    // The system's ports are listed afresh only when a device node may have come or gone.
    void systemPortWatch()
    {
        const auto [watched, settleMs, steps, scans] =
            fetchRow<QString, int, QString, QString>("root", "settleMs", "steps", "scans");
        QTemporaryDir root;
        const QStringList folders{root.filePath(watched), root.filePath(watched + "/serial"),
                                  root.filePath(watched + "/serial/by-id")};
        int count = 0;
        const PortEnumerator ports =
            scanOnChange([&count] { return QList<PortCandidate>{{QString::number(++count)}}; },
                         folders, settleMs);
        QStringList seen;
        for (const QString &step : steps.split(' ')) {
            const QString path = root.filePath(step.mid(1));
            if (step.startsWith('+') && step.endsWith('/'))
                QVERIFY(QDir().mkdir(path));
            else if (step.startsWith('+'))
                QVERIFY(QFile(path).open(QIODevice::WriteOnly));
            else if (step.startsWith('-'))
                QVERIFY(QFile::remove(path));
            seen << ports().value(0).systemLocation;
        }
        QCOMPARE(seen.join(' '), scans);
    }

    void encodings_data()
    {
        // word: a plain 16-bit number, else fixed-100, the real value times 100
        columns<bool, float, QByteArray, int>({"word", "value", "hex", "ways"});
        dataRow("0.005 rounds up", false, 0.005f, QByteArray("0001"), Encode);
        dataRow("0.125 rounds away from zero", false, 0.125f, QByteArray("000d"), Encode);
        dataRow("95", false, 95.0f, QByteArray("251c"), Both);
        dataRow("-95", false, -95.0f, QByteArray("dae4"), Both);
        dataRow("-0.005 rounds down", false, -0.005f, QByteArray("ffff"), Encode);
        dataRow("above the range clamps", false, 327.7f, QByteArray("7fff"), Encode);
        dataRow("below the range clamps", false, -327.7f, QByteArray("8000"), Encode);
        dataRow("word 180", true, 180.0f, QByteArray("00b4"), Both);
        dataRow("no bytes", true, 0.0f, QByteArray(""), Decode);
        dataRow("one byte 0x24 is the high byte", true, float(0x2400), QByteArray("24"), Decode);
        dataRow("a third byte is ignored", true, float(0x2466), QByteArray("246601"), Decode);
    }

    void encodings()
    {
        const auto [word, value, hex, ways] =
            fetchRow<bool, float, QByteArray, int>("word", "value", "hex", "ways");
        if (ways & Encode)
            QCOMPARE((word ? ::intToBytes(quint16(value)) : ::floatToBytes(value)).toHex(), hex);
        const QByteArray bytes = QByteArray::fromHex(hex);
        if (ways & Decode)
            QCOMPARE(word ? float(::bytesToInt(bytes)) : ::bytesToFloat(bytes), value);
    }

    // A value read from the kit and sent back must give the same bytes.
    void everyFixedValueSurvivesARoundTrip()
    {
        for (int raw = 0; raw <= 0xFFFF; ++raw) {
            const QByteArray bytes = ::intToBytes(quint16(raw));
            QVERIFY2(::floatToBytes(::bytesToFloat(bytes)) == bytes, bytes.toHex());
        }
    }
};

QTEST_MAIN(TestLink)
#include "tst_link.moc"
