#include "replyframing.h"

namespace {

// Cuts the reply into records and finds the first that breaks the framing: one for
// which `outOfRange` names a reason, or a short tail.
FramingVerdict judge(const QByteArray &reply, int recordSize,
                     const std::function<QString(const QByteArray &record)> &outOfRange)
{
    FramingVerdict verdict;
    verdict.records = reply.size() / recordSize;
    for (int i = 0; i < verdict.records; ++i) {
        const QString reason = outOfRange(reply.mid(i * recordSize, recordSize));
        if (!reason.isEmpty()) {
            verdict.breakAt = i;
            verdict.reason = QStringLiteral("record %1: %2").arg(i + 1).arg(reason);
            return verdict;
        }
    }
    if (reply.size() % recordSize != 0) {
        verdict.breakAt = verdict.records;
        verdict.reason = QStringLiteral("%1 bytes are no whole number of %2-byte records")
                             .arg(reply.size())
                             .arg(recordSize);
    }
    return verdict;
}

QString byteText(char byte)
{
    return QStringLiteral("0x%1").arg(quint8(byte), 2, 16, QLatin1Char('0'));
}

} // namespace

FramingVerdict judgeRegisterReply(const QByteArray &reply)
{
    return judge(reply, RegisterRecordSize, [](const QByteArray &record) {
        return quint8(record.at(0)) > 1 ? QStringLiteral("channel ") + byteText(record.at(0))
                                        : QString();
    });
}

FramingVerdict judgeSensingReply(const QByteArray &reply,
                                 const std::function<bool(quint8 code)> &isParameterCode)
{
    return judge(reply, SensingRecordSize, [&](const QByteArray &record) {
        if (quint8(record.at(0)) > 1)
            return QStringLiteral("entry index ") + byteText(record.at(0));
        if (!isParameterCode(quint8(record.at(1))))
            return QStringLiteral("parameter code ") + byteText(record.at(1));
        return QString();
    });
}

FramingVerdict judgeAudioReply(const QByteArray &reply,
                               const std::function<bool(const QString &key)> &isKey)
{
    return judge(reply, AudioRecordSize, [&](const QByteArray &record) {
        const QString key = audioRecordKey(record);
        return isKey(key) ? QString()
                          : QStringLiteral("key ") + QString::fromLatin1(record.toHex());
    });
}

QString audioRecordKey(const QByteArray &record)
{
    const int end = record.indexOf('\0');
    return QString::fromLatin1(end < 0 ? record : record.left(end)).left(AudioRecordSize - 2);
}
