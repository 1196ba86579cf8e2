#ifndef NODESTATISTICS_H
#define NODESTATISTICS_H

#include "vox/line/answertimes.h"
#include "vox/line/openrequests.h"

#include <QMap>

/// What has been heard of one node. A value, which LineStatistics fills.
struct NodeStatistics
{
    /// To this node alone, with an answer asked for, without those that came twice, back to back.
    int requests = 0;
    /// Requests that nobody has answered.
    int unanswered = 0;
    /// Of these, the ones whose answer may have come late, and counts as that of their repetition.
    int lateOrLost = 0;
    /// Answers that came when hosts have given up.
    int late = 0;
    /// Answers beyond the first one to a request.
    int surplus = 0;
    /// Requests after which something damaged came in place of the answer.
    int damaged = 0;
    /// Requests on a line that was in order: the one before was answered in time. Then those of them after
    /// which something damaged came. What one node spoils, others may not understand, and spoil the next.
    int sound = 0;
    int spoilt = 0;
    /// Frames that name this node as their sender and whose check failed.
    int failed = 0;
    /// Frames, and their bytes, that nobody has asked for.
    int unasked = 0;
    qint64 unaskedBytes = 0;
    /// All frames that came from it.
    int frames = 0;
    qint64 bytes = 0;
    /// Its refusals, by name, and the name of the last one.
    QMap<QString, int> nacks;
    QString lastNack;
    /// How long the answers have taken that could be told from each other.
    AnswerTimes times;
    /// When it was last asked and last heard, in nanoseconds since 1970; 0 for never.
    qint64 askedNs = 0;
    qint64 heardNs = 0;

    OpenRequests open;
    /// When it gave its last answer to a request that was not to all, and what that could have been.
    qint64 answeredNs = 0;
    int answerCmd = -1;
    /// The request to all that the node has answered, by the time at which it was first sent; then how
    /// often.
    qint64 sharedNs = 0;
    int sharedAnswers = 0;

    void add(const OpenRequests::Outcome &outcome);
    /// How much is known of it.
    int weight() const { return requests + frames; }
};

#endif
