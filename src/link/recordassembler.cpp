#include "recordassembler.h"

RecordAssembler::RecordAssembler(int recordSize, Judge judge)
    : recordSize(recordSize > 0 ? recordSize : 1), judge(std::move(judge))
{
}

void RecordAssembler::reset()
{
    reply.clear();
}

void RecordAssembler::feed(const QByteArray &piece)
{
    reply.append(piece);
}

QList<QByteArray> RecordAssembler::take(ExchangeEnd end)
{
    lastVerdict = judge ? judge(reply) : FramingVerdict();
    if (lastVerdict.isWhole() && end != ExchangeEnd::Silence && !reply.isEmpty()) {
        lastVerdict.breakAt = 0;
        lastVerdict.reason = QStringLiteral("the exchange did not end in silence");
    }
    QList<QByteArray> records;
    if (lastVerdict.isWhole()) {
        for (int at = 0; at + recordSize <= reply.size(); at += recordSize)
            records.append(reply.mid(at, recordSize));
    }
    reply.clear();
    return records;
}
