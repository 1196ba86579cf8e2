#ifndef VOX_MESSAGES_VOXCALL_H
#define VOX_MESSAGES_VOXCALL_H

#include <vox/messages/voxcmdinfo.h>
#include <vox/messages/voxmessage.h>

class VOXCallData;

/// A request of a host, with what its answer will look like. Times are in milliseconds.
///
/// A value, reentrant: a call that is on its way keeps the values with which it was sent. A plain message
/// assigned to one through its base makes it a plain message too: the getters give 0 (replyCount() -1), the
/// setters do nothing.
/// @ingroup messages
class VOX_EXPORT VOXCall : public VOXMessage
{
public:
    /// Which frames that are addressed to a call's source answer it.
    enum Matching : unsigned char {
        /// The reply that is named, any command if none is; a NACK; an ACK if the call has the ack flag. The
        /// sender is not compared.
        AnyNode,
        /// Strict: the reply that is named, a NACK, or an ACK if the call has the ack flag, from the node
        /// that
        /// was asked, by 24 bits of its address. A group or broadcast call takes them from any node but the
        /// host.
        AskedNode
    };

    /// The default for a call to one node.
    static constexpr unsigned int DefaultTimeout = 200;
    /// The default for a group or broadcast call.
    static constexpr unsigned int DefaultSharedTimeout = 255;

    /// Any frame as a call whose reply is not named: none is expected unless it has the ack flag.
    VOXCall(const BusMessage &message, unsigned int timeout);
    /// The command's frame; the addresses are left to the caller.
    VOXCall(const VOXCmdInfo &info, unsigned int timeout);
    /// The command from @p src to @p dest, with the ack flag if it has a reply. A time-out of 0 means the
    /// default.
    VOXCall(const VOXCmdInfo &info, unsigned int src, unsigned int dest, unsigned int timeout);
    /// The command to a node (source left 0; with the ack flag if it has a reply), a group (from a node of
    /// type 15) or everyone (@p addr is then the source). The time-out is taken as it is.
    VOXCall(const VOXCmdInfo &info, unsigned int addr, VOX::AddrType type, unsigned int timeout);

    ///@{
    /// Id of the expected reply; 0 if none is named.
    unsigned char reply() const;
    void setReply(unsigned char reply);
    ///@}
    ///@{
    /// How many replies a group or broadcast call waits for. With 0 or less, which is the default, it waits
    /// until its time is over.
    short replyCount() const;
    void setReplyCount(short count);
    ///@}
    ///@{
    /// AnyNode unless set. Copies made before keep theirs.
    Matching matching() const;
    void setMatching(Matching matching);
    ///@}
    /// The time counts from when the frame is out. For a group or broadcast call it starts anew with each
    /// reply.
    void setTimeout(unsigned int timeout);
    /// How long a serial line stays reserved after the frame, and after its reply; 10 unless set.
    void setBusFreeDelay(unsigned char delay);

protected:
    BusPendingCallData *createPendingCall(Bus *bus) const override;

private:
    const VOXCallData *callData() const;
    VOXCallData *callData();
};

#endif
