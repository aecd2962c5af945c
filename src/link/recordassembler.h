#pragma once

#include <QByteArray>
#include <QList>

// Turns the pieces of a reply into whole records of a fixed size. A read of the
// port may end in the middle of a record; the tail is kept until the rest arrives,
// so a value that did not arrive whole never reaches the store. Call reset() before
// each command whose reply is assembled, so that a stray tail of an earlier exchange
// cannot join the next one.
class RecordAssembler
{
public:
    explicit RecordAssembler(int recordSize);

    // Appends a piece and returns the records that are now complete, in order.
    QList<QByteArray> feed(const QByteArray &piece);
    void reset();
    int pending() const { return buffer.size(); }

private:
    int recordSize;
    QByteArray buffer;
};
