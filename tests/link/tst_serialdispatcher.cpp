#include "link/serialcontroller.h"
#include "link/serialdispatcher.h"
#include "ptykitpeer.h"

#include <QSignalSpy>
#include <QtTest>

namespace {

// Writes "<name>:<type>:<data>" into a log that several dispatchers share, so
// that the order in which a reply reaches them can be read back.
class LoggingDispatcher : public SerialDispatcher
{
    Q_OBJECT
public:
    LoggingDispatcher(const QString &name, QStringList *log, SerialController *controller)
        : SerialDispatcher(controller), name(name), log(log)
    {
    }

    void send(const QByteArray &data, int readCount, ReadType type)
    {
        emit sigSendData(data, data.size(), readCount, type);
    }

public slots:
    void Dispatch(QByteArray data, int count, ReadType type) override
    {
        Q_UNUSED(count);
        log->append(
            QStringLiteral("%1:%2:%3").arg(name).arg(int(type)).arg(QString::fromLatin1(data)));
    }

private:
    QString name;
    QStringList *log;
};

} // namespace

class TestSerialDispatcher : public QObject
{
    Q_OBJECT

private slots:
    void initTestCase();
    void replyReachesEveryDispatcherInOrder();
    void sentCommandRunsTheWholeExchange();
};

void TestSerialDispatcher::initTestCase()
{
    qRegisterMetaType<ReadType>("ReadType");
}

void TestSerialDispatcher::replyReachesEveryDispatcherInOrder()
{
    SerialController controller([]() { return QList<PortCandidate>{}; });
    QStringList log;
    LoggingDispatcher registers(QStringLiteral("registers"), &log, &controller);
    LoggingDispatcher sensing(QStringLiteral("sensing"), &log, &controller);
    LoggingDispatcher audio(QStringLiteral("audio"), &log, &controller);
    LoggingDispatcher threshold(QStringLiteral("threshold"), &log, &controller);

    emit controller.sigDataRead("130", 3, ReadMaxThreshold);

    QCOMPARE(log,
             QStringList({"registers:6:130", "sensing:6:130", "audio:6:130", "threshold:6:130"}));
}

void TestSerialDispatcher::sentCommandRunsTheWholeExchange()
{
    PtyKitPeer peer;
    QVERIFY(peer.open());
    peer.setHandler([](const QByteArray &) {
        return QList<PtyKitPeer::ReplyPiece>{{"abc", 0}, {"def", 20}};
    });
    SerialController controller(peer.enumerator());
    QVERIFY(controller.isConnected());
    QStringList log;
    LoggingDispatcher first(QStringLiteral("first"), &log, &controller);
    LoggingDispatcher second(QStringLiteral("second"), &log, &controller);

    // Every reply has been handled by the time the emission returns.
    second.send("4", 3, ReadRegisters);

    QCOMPARE(peer.receivedBytes(), QByteArray("4"));
    QCOMPARE(log, QStringList({"first:1:abc", "second:1:abc", "first:1:def", "second:1:def"}));
}

QTEST_MAIN(TestSerialDispatcher)
#include "tst_serialdispatcher.moc"
