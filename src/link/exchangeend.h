#pragma once

#include <QMetaType>

// How one exchange with the kit ended. SerialController decides it in one place and
// announces it after the last read of the reply; only Silence and Written mean that
// the exchange ran its normal course.
enum class ExchangeEnd
{
    NotConnected, // no kit: nothing was written
    Written,      // a command without a reply left the port
    Silence,      // the kit fell silent: the reply is over
    WriteFailed,  // the command did not leave the port in time
    ByteBound,    // the kit sent more than the command can bring back
    TimeBound,    // the kit was still sending when the exchange's time ran out
    PortLost,     // the port failed while the reply was read
    Skipped,      // not attempted: a write of the same action failed on this port
};

Q_DECLARE_METATYPE(ExchangeEnd)
