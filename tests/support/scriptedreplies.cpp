#include "scriptedreplies.h"

#include "ptykitpeer.h"

#include <memory>

void scriptReplies(PtyKitPeer &peer, char command, const QStringList &replies, int gapMs)
{
    auto queue = std::make_shared<QList<QList<PtyKitPeer::ReplyPiece>>>();
    for (const QString &reply : replies) {
        QList<PtyKitPeer::ReplyPiece> pieces;
        for (const QString &hex : reply.split(' ', Qt::SkipEmptyParts))
            pieces.append({QByteArray::fromHex(hex.toLatin1()), pieces.isEmpty() ? 0 : gapMs});
        queue->append(pieces);
    }
    peer.setHandler([command, queue](const QByteArray &chunk) {
        if (!chunk.contains(command) || queue->isEmpty())
            return QList<PtyKitPeer::ReplyPiece>();
        return queue->takeFirst();
    });
}
