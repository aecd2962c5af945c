#include "audiosettingscontroller.h"

#include "audiosettingskeys.h"
#include "link/wire.h"

#include <QSettings>
#include <QStringList>

namespace {

const QByteArray WriteCommand("6");
const QByteArray SaveCommand("7");
const QByteArray ReadCommand("8");

} // namespace

AudioSettingsController::AudioSettingsController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent), assembler(AudioRecordSize, [](const QByteArray &reply) {
          return judgeAudioReply(reply, isAudioSettingKey);
      })
{
}

void AudioSettingsController::Dispatch(QByteArray data, int, ReadType type)
{
    if (type != ReadAudioSettings)
        return;
    assembler.feed(data);
}

void AudioSettingsController::exchangeEnded(ReadType type, ExchangeEnd end)
{
    if (type != ReadAudioSettings)
        return;
    const QList<QByteArray> records = takeRecords(assembler, type, end);
    if (records.isEmpty())
        return;
    // One save for the whole reply: a save per record would hold up the next command.
    {
        QSettings settings;
        settings.beginGroup(AudioPlaybackGroup);
        for (const QByteArray &record : records)
            storeRecord(record, settings);
        settings.endGroup();
        settings.sync();
    }
    // The view is refreshed once for each record, as it was when records were stored
    // one by one.
    for (int i = 0; i < records.size(); ++i)
        emit sigUpdateUi();
}

// Only a record whose key is one of the sixteen gets here: send builds its commands
// from the key's characters.
void AudioSettingsController::storeRecord(const QByteArray &record, QSettings &group)
{
    group.setValue(audioRecordKey(record), QVariant(bytesToFloat(record.mid(AudioKeyLength, 2))));
}

void AudioSettingsController::save()
{
    emit sigSendData(SaveCommand, SaveCommand.size(), 0, ReadNone);
}

void AudioSettingsController::read()
{
    assembler.reset();
    emit sigSendData(ReadCommand, ReadCommand.size(), AudioRecordSize, ReadAudioSettings);
}

void AudioSettingsController::send()
{
    QSettings settings;
    settings.beginGroup(AudioPlaybackGroup);
    const QStringList keys = settings.allKeys();
    for (const QString &key : keys) {
        if (!isAudioSettingKey(key))
            continue;
        QByteArray command = WriteCommand;
        command.append(key.at(AudioKeyChannelPos).toLatin1());
        command.append(key.at(AudioKeySwitchPos).toLatin1());
        command.append(key.at(AudioKeyTypePos).toLatin1());
        command.append(floatToBytes(settings.value(key).toFloat()));
        emit sigSendData(command, command.size(), 0, ReadNone);
    }
    settings.endGroup();
}
