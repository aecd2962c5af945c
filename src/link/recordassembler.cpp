#include "recordassembler.h"

RecordAssembler::RecordAssembler(int recordSize) : recordSize(recordSize > 0 ? recordSize : 1) {}

QList<QByteArray> RecordAssembler::feed(const QByteArray &piece)
{
    buffer.append(piece);
    QList<QByteArray> records;
    while (buffer.size() >= recordSize) {
        records.append(buffer.left(recordSize));
        buffer.remove(0, recordSize);
    }
    return records;
}

void RecordAssembler::reset()
{
    buffer.clear();
}
