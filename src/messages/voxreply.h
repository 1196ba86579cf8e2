#ifndef VOX_MESSAGES_VOXREPLY_H
#define VOX_MESSAGES_VOXREPLY_H

#include <vox/messages/voxcmdinfo.h>
#include <vox/messages/voxmessage.h>

class VOXNode;

/// An answer of a node, addressed to the sender of the request. It is not prepared: call prepare() after
/// filling in the data. The node is not kept. Reentrant.
/// @ingroup messages
class VOX_EXPORT VOXReply : public VOXMessage
{
public:
    /// No answer: an invalid message, which is never sent.
    VOXReply();
    /// Goes to the source of @p request, as a CRC frame if that is one.
    VOXReply(const VOXNode &node, const VOXMessage &request, const VOXCmdInfo &info);
    /// The same with @p ctrl, and so its length, in place of the descriptor's.
    VOXReply(const VOXNode &node, const VOXMessage &request, unsigned char cmd, unsigned char ctrl);
    /// Goes to @p dest, which has its node type in bits 24 to 27; the CRC flag is the descriptor's.
    VOXReply(const VOXNode &node, unsigned int dest, const VOXCmdInfo &info);

private:
    VOXReply(const VOXNode &node, unsigned int dest, unsigned char cmd, unsigned char ctrl);
};

#endif
