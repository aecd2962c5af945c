#pragma once

#include <QStringList>

class PtyKitPeer;

// Makes the peer answer each arrival of `command` with the next of `replies`. A
// reply is written as hex pieces separated by blanks, such as "003A17 70"; each
// piece after the first follows a gap of gapMs, shorter than the link's silence,
// so that it reaches the program as a read of its own. Other chunks, and the
// command once the replies are used up, get no answer.
void scriptReplies(PtyKitPeer &peer, char command, const QStringList &replies, int gapMs = 30);
