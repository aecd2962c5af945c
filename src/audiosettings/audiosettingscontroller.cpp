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
    : SerialDispatcher(serial, parent)
{
}

void AudioSettingsController::Dispatch(QByteArray data, int, ReadType type)
{
    if (type != ReadAudioSettings)
        return;
    for (const QByteArray &record : assembler.feed(data))
        storeRecord(record);
}

// A key of any other form is dropped: send builds its command from the key's
// characters, and the group holds the sixteen keys alone.
void AudioSettingsController::storeRecord(const QByteArray &record)
{
    const int end = record.indexOf('\0');
    const QString key =
        QString::fromLatin1(end < 0 ? record : record.left(end)).left(AudioKeyLength);
    if (!isAudioSettingKey(key))
        return;
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
    emit sigSendData(ReadCommand, ReadCommand.size(), ReplyRecordSize, ReadAudioSettings);
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
