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
    for (const QByteArray &record : takeRecords(assembler, type, end))
        storeRecord(record);
}

// Only a record whose key is one of the sixteen gets here: send builds its commands
// from the key's characters.
void AudioSettingsController::storeRecord(const QByteArray &record)
{
    const QString key = audioRecordKey(record);
    const float value = bytesToFloat(record.mid(AudioKeyLength, 2));
    {
        QSettings settings;
        settings.beginGroup(AudioPlaybackGroup);
        settings.setValue(key, QVariant(value));
        settings.endGroup();
        settings.sync();
    }
    emit sigUpdateUi();
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
