#pragma once

#include <QByteArray>
#include <QString>
#include <functional>

// Whether a reply's bytes stand as whole records of their layout. The wire has no
// framing of its own, so a lost or extra byte shows only as a short tail or as a
// record whose channel, address, index or key is none the kit can send.

// Record sizes of the replies to "4", "5" and "8".
constexpr int RegisterRecordSize = 3; // channel, address and bits 11..8, bits 7..0
constexpr int SensingRecordSize = 4;  // entry index, parameter code, value
constexpr int AudioRecordSize = 13;   // eleven key characters, value

struct FramingVerdict
{
    int records = 0;  // whole records in the reply
    int breakAt = -1; // the first record that is short or out of range; -1 when none is
    QString reason;   // why the framing broke, in words for a log

    bool isWhole() const { return breakAt < 0; }
};

// Channel 0 or 1; every 4-bit address is one the kit may send.
FramingVerdict judgeRegisterReply(const QByteArray &reply);
// Entry index 0 or 1 (the kit reports its two channels) and a known parameter code.
FramingVerdict judgeSensingReply(const QByteArray &reply,
                                 const std::function<bool(quint8 code)> &isParameterCode);
// A key of the record's text up to its first zero byte, eleven characters, that
// isKey accepts.
FramingVerdict judgeAudioReply(const QByteArray &reply,
                               const std::function<bool(const QString &key)> &isKey);

// The key of an audio record: its text up to the first zero byte, at most eleven characters.
QString audioRecordKey(const QByteArray &record);
