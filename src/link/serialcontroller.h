#pragma once

#include "exchangeend.h"
#include "portenumerator.h"
#include "readtype.h"

#include <QByteArray>
#include <QList>
#include <QObject>
#include <array>

class QSerialPort;
struct Register;
class QTimer;

// Owns the serial port to the kit: finds the kit among the ports present, opens
// and closes the port as the kit comes and goes, and carries out each command's
// exchange on the calling (main) thread, blocking until the reply is over.
class SerialController : public QObject
{
    Q_OBJECT
public:
    static constexpr quint16 KitVendorId = 0x04B4;
    static constexpr quint16 KitProductId = 0x033A;
    static constexpr int PollIntervalMs = 1000;
    static constexpr int WriteTimeoutMs = 500;
    static constexpr int ReplySilenceMs = 100;
    // The bounds of one exchange. The kit's longest reply, sixteen audio records, takes
    // about 220 ms at 9600 baud; a kit still talking after this long is not answering.
    static constexpr int ExchangeTimeLimitMs = 1000;
    // Input kept while no command waits; more waits in the driver until the next
    // command drops it.
    static constexpr qint64 ReadBufferBytes = 4096;

    // The most bytes that a command's reply can bring back.
    static int maxReplyBytes(ReadType read_type, int read_data_count);

    explicit SerialController(PortEnumerator enumerate = systemPorts, QObject *parent = nullptr);
    ~SerialController() override;

    // Off for a program without a display (the command-line tool): the link then shows
    // no message box, and its callers report from sigExchangeEnded.
    void setMessagesShown(bool shown) { messagesShown = shown; }

    // Bytes received and not yet read; they are dropped before the next command.
    qint64 unreadBytes() const;

    // Tells the user what the kit's checks found, while the poll waits. A fault of the
    // link in the same action then goes untold: one action, one account of it.
    void showMessage(const QString &text);

signals:
    void sigDeviceConnected(bool connected);
    // One read of a reply; count is the command's read_data_count, not data's size.
    void sigDataRead(QByteArray data, int count, ReadType read_type);
    // The exchange of a command is over, and how, after elapsedMs from its write; after
    // its last sigDataRead. command holds the bytes that were to be written.
    void sigExchangeEnded(ReadType read_type, ExchangeEnd end, QByteArray command,
                          qint64 elapsedMs);
    // For watchers of the link (the kit log); nothing of the exchange waits on them.
    // The link is about to announce a change by sigDeviceConnected; port is its name.
    void sigLinkChanged(bool connected, QString port);
    // sendData was asked to write these bytes, whether or not a kit is connected.
    void sigExchangeStarted(QByteArray command, int read_data_count, ReadType read_type);

public slots:
    void startTimer();
    void sendData(QByteArray data, int count, int read_data_count, ReadType read_type);
    bool isConnected();
    // A reply of the exchange under way was not stored, and why: the reply broke.
    void noteRejectedReply(ReadType read_type, QString reason);

private:
    // The poll waits while any exchange or message is under way, however nested.
    void holdPoll();
    void releasePoll();
    // Every message of the link goes through here. A fault is told at most once in an
    // action, and not after the action has told something else.
    void tell(const QString &text, const QString &detail, bool fault);
    QString faultDetail(ExchangeEnd end, const QByteArray &command, const QString &rejected) const;
    ExchangeEnd exchange(const QByteArray &data, int count, int read_data_count,
                         ReadType read_type);
    ExchangeEnd readReply(int read_data_count, ReadType read_type);
    PortCandidate findPort() const;
    bool openPort();
    void closePort();

    PortEnumerator enumerate;
    QSerialPort *serial = nullptr;
    QTimer *timer = nullptr;
    bool connected = false;
    bool messagesShown = true;
    int pollHolds = 0;
    quint64 portNumber = 0; // counts the ports opened
    QString rejectedReply;  // why a reply of the exchange under way was not stored
    // The register store's lists for this pass (see registerstore.h), channel A first.
    std::array<QList<Register *>, 2> registerLists;
};
