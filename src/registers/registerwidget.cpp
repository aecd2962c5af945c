#include "registerwidget.h"

RegisterWidget::RegisterWidget(QWidget *parent) : QWidget(parent) {}

void RegisterWidget::setEnabled(bool) {}
void RegisterWidget::setRegisterToSend() {}
void RegisterWidget::readAll() { emit sigReadRegisters(); }
void RegisterWidget::sendAll() {}
