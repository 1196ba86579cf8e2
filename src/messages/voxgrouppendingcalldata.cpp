#include "messages/voxgrouppendingcalldata.h"

VOXGroupPendingCallData::VOXGroupPendingCallData(const QSharedDataPointer<BusMessageData> &call, Bus *bus,
                                                 short replyCount)
    : BusPendingCallData(call, bus)
    , m_replyCount(replyCount)
{
}

void VOXGroupPendingCallData::setError(BusPendingCall::Error error)
{
    if (error != BusPendingCall::Timeout) {
        BusPendingCallData::setError(error);
        return;
    }
    if (isFinished())
        return;
    m_error = BusPendingCall::NoError;
    timeout();
}

void VOXGroupPendingCallData::setReply(const BusMessage &reply)
{
    // The end is told after the lock is gone, because a receiver may ask for the replies.
    if (!isFinished() && collect(reply))
        finished();
}

bool VOXGroupPendingCallData::collect(const BusMessage &reply)
{
    const QMutexLocker locker(&m_mutex);
    if (m_replies.isEmpty() && !reply.sharesDataWith(m_reply))
        m_reply = reply;
    m_replies.append(reply);
    const bool isComplete = m_replyCount > 0 && m_replies.size() >= m_replyCount;
    if (!isComplete)
        startTimeout(m_sentDelay);
    return isComplete;
}

QList<BusMessage> VOXGroupPendingCallData::replies() const
{
    const QMutexLocker locker(&m_mutex);
    return m_replies;
}

void VOXGroupPendingCallData::setMessageSent(unsigned int delay)
{
    m_sentDelay = delay;
    BusPendingCallData::setMessageSent(delay);
}

bool VOXGroupPendingCallData::collectsReplies() const
{
    return true;
}

int VOXGroupPendingCallData::progress() const
{
    const QMutexLocker locker(&m_mutex);
    return m_replies.size();
}
