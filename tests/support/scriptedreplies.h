#pragma once

#include "ptykitpeer.h"

#include <QStringList>
#include <memory>

// Makes the peer answer each arrival of `command` with the next of `replies`, written as
// hex pieces separated by blanks ("003A17 70"); each piece after the first follows a gap
// of gapMs, shorter than the link's silence, so that it reaches the program as a read of
// its own. Other chunks, and the command once the replies are used up, get no answer.
inline void scriptReplies(PtyKitPeer &peer, char command, const QStringList &replies,
                          int gapMs = 30)
{
    auto queue = std::make_shared<QList<QList<PtyKitPeer::ReplyPiece>>>();
    for (const QString &reply : replies) {
        QList<PtyKitPeer::ReplyPiece> pieces;
        for (const QString &hex : reply.split(' ', Qt::SkipEmptyParts))
            pieces.append({QByteArray::fromHex(hex.toLatin1()), pieces.isEmpty() ? 0 : gapMs});
        queue->append(pieces);
    }
    peer.setHandler([command, queue](const QByteArray &chunk) {
        return chunk.contains(command) && !queue->isEmpty() ? queue->takeFirst()
                                                            : QList<PtyKitPeer::ReplyPiece>();
    });
}
