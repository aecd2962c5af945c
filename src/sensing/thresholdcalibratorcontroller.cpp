#include "thresholdcalibratorcontroller.h"

#include <cmath>

namespace {
const QByteArray START_MEASUREMENT = QByteArrayLiteral("A");
const QByteArray READ_MAXIMUM = QByteArrayLiteral("B");
constexpr int MAXIMUM_DIGITS = 3;
} // namespace

ThresholdCalibratorController::ThresholdCalibratorController(SerialController *serial,
                                                             QObject *parent)
    : SerialDispatcher(serial, parent)
{
}

void ThresholdCalibratorController::setMaxThreshold()
{
    emit sigSendData(START_MEASUREMENT, START_MEASUREMENT.size(), 0, ReadNone);
}

void ThresholdCalibratorController::getMaxThreshold()
{
    emit sigSendData(READ_MAXIMUM, READ_MAXIMUM.size(), MAXIMUM_DIGITS, ReadMaxThreshold);
}

void ThresholdCalibratorController::Dispatch(QByteArray data, int, ReadType type)
{
    if (type != ReadMaxThreshold)
        return;
    // Anything that is not a number reads as 0, and 0 is shown.
    const int raw = data.toInt(nullptr, 10);
    emit sigKitReading(raw);
    emit sigSetMaxThreshold(int(std::round(float(raw) * DisplayScale)));
}
