#include "sensingwidget.h"

SensingWidget::SensingWidget(QWidget *parent) : QWidget(parent) {}

void SensingWidget::send() {}
void SensingWidget::updateUi() {}
void SensingWidget::updateOtherChannel() {}
