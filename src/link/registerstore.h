#pragma once

#include <QList>
#include <QString>

// The process-wide register store. It lives beside the serial link because the
// link prepares it afresh at every pass of the application (see SerialController).

// One named bit field of a chip register. All numbers are raw unsigned values.
struct Field
{
    QString name;
    quint16 value = 0;  // right-aligned raw value
    quint16 length = 0; // width in bits, 1 to 12
    quint16 min = 0;
    quint16 max = 0;
    QString description;
};

// One chip register: a 4-bit address above 12 data bits cut into fields.
struct Register
{
    unsigned address : 4;
    QString name;
    bool editable = false;
    bool hidden = false;
    QList<Field> fields; // from the most significant data bits to the least

    Register() : address(0) {}
};

// The holder of one output channel's registers. The list and its registers belong
// to the SerialController of the pass; null when no pass has one.
struct Channel
{
    QList<Register *> *registers = nullptr;
};

// Index 0 is channel A, index 1 is channel B.
extern QList<Channel *> channels;
