#include "thresholdcalibratorcontroller.h"

// The measurement itself comes later; this stands so that the window can own it.
ThresholdCalibratorController::ThresholdCalibratorController(SerialController *serial,
                                                             QObject *parent)
    : SerialDispatcher(serial, parent)
{
}

void ThresholdCalibratorController::setMaxThreshold() {}
void ThresholdCalibratorController::getMaxThreshold() {}
void ThresholdCalibratorController::Dispatch(QByteArray, int, ReadType) {}
