#ifndef VOX_MESSAGES_VOXGROUPPENDINGCALLDATA_H
#define VOX_MESSAGES_VOXGROUPPENDINGCALLDATA_H

#include <vox/framework/buspendingcalldata.h>
#include <vox/messages/vox_export.h>

/// A call to many nodes. It collects replies until as many have come as were wanted, or until none has come
/// for the call's time-out. Running out of time is success.
///
/// Lives on its bus's thread, like every call.
/// @ingroup messages
class VOX_EXPORT VOXGroupPendingCallData : public BusPendingCallData
{
    Q_OBJECT

public:
    /// As BusPendingCallData. A @p replyCount of 0 or less sets no limit.
    VOXGroupPendingCallData(const QSharedDataPointer<BusMessageData> &call, Bus *bus, short replyCount);

    void setError(BusPendingCall::Error error) override;
    void setReply(const BusMessage &reply) override;
    QList<BusMessage> replies() const override;
    void setMessageSent(unsigned int delay) override;
    bool collectsReplies() const override;

protected:
    int progress() const override;

private:
    bool collect(const BusMessage &reply);

    QList<BusMessage> m_replies;
    unsigned int m_sentDelay = 0;
    short m_replyCount;
};

#endif
