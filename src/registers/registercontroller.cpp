#include "registercontroller.h"

RegisterController::RegisterController(SerialController *serial, QObject *parent)
    : SerialDispatcher(serial, parent)
{
    loadRegisters();
}

void RegisterController::sendRegister(int, int, int) {}
void RegisterController::readRegisters() {}
void RegisterController::saveRegisters() {}
void RegisterController::updateSettings() {}
void RegisterController::Dispatch(QByteArray, int, ReadType) {}
void RegisterController::powerDown() {}
void RegisterController::powerUp() {}
void RegisterController::sdoOscillator(int, int) {}
void RegisterController::setOutput(bool) {}
void RegisterController::loadRegisters() {}
