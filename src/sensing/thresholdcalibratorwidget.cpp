#include "thresholdcalibratorwidget.h"

// The measurement page comes later; this stands in its place in the tab widget.
ThresholdCalibratorWidget::ThresholdCalibratorWidget(QWidget *parent) : QWidget(parent) {}

void ThresholdCalibratorWidget::setMaxThreshold(int) {}
void ThresholdCalibratorWidget::setEnabled(bool) {}
