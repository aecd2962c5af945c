#include "serialdispatcher.h"

#include "serialcontroller.h"

SerialDispatcher::SerialDispatcher(SerialController *controller, QObject *parent) : QObject(parent)
{
    connect(this, &SerialDispatcher::sigSendData, controller, &SerialController::sendData);
    connect(controller, &SerialController::sigDataRead, this, &SerialDispatcher::Dispatch);
}
