#ifndef VOX_MESSAGES_VOXCALLDATA_H
#define VOX_MESSAGES_VOXCALLDATA_H

#include <vox/messages/voxcall.h>
#include <vox/messages/voxmessagedata.h>

/// The data of a call beside its frame: how long to wait, for which reply, and for how many. Hosts use
/// VOXCall.
///
/// Owned by the messages that share it. Reentrant.
/// @ingroup messages
class VOX_EXPORT VOXCallData : public VOXMessageData
{
public:
    /// In milliseconds.
    static constexpr unsigned char DefaultBusFreeDelay = 10;

    /// A frame of no bytes; @p control is not kept. A @p reply of 0 names none. @p timeout in milliseconds.
    VOXCallData(unsigned int control, unsigned char reply, unsigned int timeout);
    /// Copies all. The copy counts as not prepared.
    VOXCallData(const VOXCallData &other);

    /// A frame answers the call if it is addressed to the call's source and is the reply, a NACK, or an ACK
    /// where the call asks for one. With the reply id 0, any command fits. The sender of the frame is not
    /// compared, on purpose, unless matching() is VOXCall::AskedNode.
    bool isReply(const BusMessage &message) const override;
    bool hasReply() const override;
    unsigned int busFreeDelay() const override { return m_busFreeDelay; }
    unsigned int timeout() const override { return m_timeout; }
    VOXCallData *clone() const override;
    /// A call to one node is an ordinary one; any other collects replies.
    BusPendingCallData *createPendingCall(const QSharedDataPointer<BusMessageData> &message,
                                          Bus *bus) const override;

    ///@{
    /// As in VOXCall.
    unsigned char reply() const { return m_reply; }
    short replyCount() const { return m_replyCount; }
    VOXCall::Matching matching() const { return m_matching; }
    void setReply(unsigned char reply) { m_reply = reply; }
    void setReplyCount(short count) { m_replyCount = count; }
    void setMatching(VOXCall::Matching matching) { m_matching = matching; }
    void setTimeout(unsigned int timeout) { m_timeout = timeout; }
    void setBusFreeDelay(unsigned char delay) { m_busFreeDelay = delay; }
    ///@}

protected:
    /// Whether the frame asks for an acknowledgement; false below 11 bytes.
    bool isAck() const;
    /// Whether @p message goes to this frame's source, with the same node type or none.
    bool isForMe(const VOXMessage &message) const;

private:
    bool isFromAsked(const VOXMessage &message) const;

    unsigned int m_timeout;
    short m_replyCount = -1;
    unsigned char m_reply;
    unsigned char m_busFreeDelay = DefaultBusFreeDelay;
    VOXCall::Matching m_matching = VOXCall::AnyNode;
};

#endif
