#ifndef VOXREPLY_H
#define VOXREPLY_H

#include "messages/voxcmdinfo.h"
#include "messages/voxmessage.h"

class VOXNode;

/// An answer of a node, addressed back to who asked. Not prepared: who fills in the data calls prepare()
/// last.
class VOX_EXPORT VOXReply : public VOXMessage
{
public:
    /// No answer: invalid, and dropped by who sends replies.
    VOXReply();
    /// To the source of @p request, as a CRC frame if that is one.
    VOXReply(const VOXNode &node, const VOXMessage &request, const VOXCmdInfo &info);
    VOXReply(const VOXNode &node, const VOXMessage &request, unsigned char cmd, unsigned char ctrl);
    /// To @p dest; the CRC flag is the descriptor's.
    VOXReply(const VOXNode &node, unsigned int dest, const VOXCmdInfo &info);

private:
    VOXReply(const VOXNode &node, unsigned int dest, unsigned char cmd, unsigned char ctrl);
};

#endif
