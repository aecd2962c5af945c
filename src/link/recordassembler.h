#pragma once

#include "exchangeend.h"
#include "replyframing.h"

#include <QByteArray>
#include <QList>
#include <functional>

// Joins the reads of one reply into whole records and decides, once the exchange is
// over, which of them may be stored. A read of the port may end in the middle of a
// record, and the wire carries no framing, so nothing is handed out before the whole
// reply has been judged by its layout's helper.
//
// The rule: a reply is stored only when its exchange ended in silence and its framing
// holds from the first byte to the last. A lost byte shifts every record after it,
// and a shifted record can still look whole (a register record whose address byte
// reads as channel 0), so when the framing breaks, the records before the break are
// as doubtful as those after it, and nothing is stored.
class RecordAssembler
{
public:
    using Judge = std::function<FramingVerdict(const QByteArray &reply)>;

    RecordAssembler(int recordSize, Judge judge);

    // Call before each command whose reply is assembled, so that nothing of an
    // earlier exchange joins the next one.
    void reset();
    void feed(const QByteArray &piece);

    // Ends the reply: the records to store, in order, or none. Empties the assembler.
    QList<QByteArray> take(ExchangeEnd end);
    // The verdict on the reply last taken; its reason is empty when it was stored whole.
    const FramingVerdict &verdict() const { return lastVerdict; }

private:
    int recordSize;
    Judge judge;
    QByteArray reply;
    FramingVerdict lastVerdict;
};
