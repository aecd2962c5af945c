#pragma once

#include "link/serialdispatcher.h"

class SerialController;

// Serial side of the "Force Measurement" tab: starts the kit's measurement of the
// maximum press value on channel A, fetches it and scales it for display.
class ThresholdCalibratorController : public SerialDispatcher
{
    Q_OBJECT
public:
    explicit ThresholdCalibratorController(SerialController *serial, QObject *parent = nullptr);

    // The shown value is this share of what the kit reports.
    static constexpr float DisplayScale = 0.75f;

signals:
    // The kit's own reading, just before its scaled value.
    void sigKitReading(int reading);
    void sigSetMaxThreshold(int max_thresh);

public slots:
    void setMaxThreshold();
    void getMaxThreshold();
    void Dispatch(QByteArray data, int count, ReadType type) override;
};
