#pragma once

#include "link/serialdispatcher.h"

class SerialController;

// Serial side of the "Force Measurement" tab.
class ThresholdCalibratorController : public SerialDispatcher
{
    Q_OBJECT
public:
    explicit ThresholdCalibratorController(SerialController *serial, QObject *parent = nullptr);

signals:
    void sigSetMaxThreshold(int max_thresh);

public slots:
    void setMaxThreshold();
    void getMaxThreshold();
    void Dispatch(QByteArray data, int count, ReadType type) override;
};
