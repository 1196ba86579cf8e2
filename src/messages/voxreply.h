#ifndef VOX_MESSAGES_VOXREPLY_H
#define VOX_MESSAGES_VOXREPLY_H

#include <vox/messages/voxcmdinfo.h>
#include <vox/messages/voxmessage.h>

class VOXNode;

/// An answer of a node, addressed back to who asked. Not prepared: who fills in the data calls prepare()
/// last. The node is not kept. Reentrant.
/// @ingroup messages
class VOX_EXPORT VOXReply : public VOXMessage
{
public:
    /// No answer: invalid, and dropped by who sends replies.
    VOXReply();
    /// To the source of @p request, as a CRC frame if that is one.
    VOXReply(const VOXNode &node, const VOXMessage &request, const VOXCmdInfo &info);
    /// The same with a control byte, so a length, of its own in place of the descriptor's.
    VOXReply(const VOXNode &node, const VOXMessage &request, unsigned char cmd, unsigned char ctrl);
    /// To @p dest, which has its node type in bits 24 to 27; the CRC flag is the descriptor's.
    VOXReply(const VOXNode &node, unsigned int dest, const VOXCmdInfo &info);

private:
    VOXReply(const VOXNode &node, unsigned int dest, unsigned char cmd, unsigned char ctrl);
};

#endif
