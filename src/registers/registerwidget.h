#pragma once

#include <QList>
#include <QWidget>

class QComboBox;
class QGridLayout;
class QLabel;
class QLineEdit;
struct Field;

// The page "Register Config": one channel's registers as a bit-aligned grid.
class RegisterWidget : public QWidget
{
    Q_OBJECT
public:
    explicit RegisterWidget(QWidget *parent = nullptr);

signals:
    void sigSendRegister(int channel, int address, int value);
    void sigSendRegisterVoid();
    void sigReadRegisters();
    void sigRegisterUpdated();

public slots:
    void setEnabled(bool enabled);
    void setRegisterToSend();
    void readAll();
    void sendAll();
};
