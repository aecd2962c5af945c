#include "sensingcontroller.h"

SensingController::SensingController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent)
{
}

void SensingController::sendSettings(QString, QString, QString, QString, QString, QString,
                                     QString, QString, QString, QString, QString, QString,
                                     QString, QString, QString, QString, QString, QString,
                                     QString, QString)
{
}
void SensingController::readSettings() { emit sigUpdateUi(); }
void SensingController::Dispatch(QByteArray, int, ReadType) {}
void SensingController::saveSettings() {}
void SensingController::enableSensing(int) {}
