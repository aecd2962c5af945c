#include "audiosettingscontroller.h"

AudioSettingsController::AudioSettingsController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent)
{
}

void AudioSettingsController::Dispatch(QByteArray, int, ReadType) {}
void AudioSettingsController::save() {}
void AudioSettingsController::read() {}
void AudioSettingsController::send() {}
