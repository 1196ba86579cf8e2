#include "messages/voxreply.h"

#include "proxies/voxnode.h"

VOXReply::VOXReply() = default;

VOXReply::VOXReply(const VOXNode &node, const VOXMessage &request, const VOXCmdInfo &info)
    : VOXReply(node, request, info.cmd(), info.size())
{
}

VOXReply::VOXReply(const VOXNode &node, const VOXMessage &request, unsigned char cmd, unsigned char ctrl)
    : VOXReply(node, request.srcAddr(true), cmd, ctrl)
{
    if (request.isCRC())
        setCRC(true);
}

VOXReply::VOXReply(const VOXNode &node, unsigned int dest, const VOXCmdInfo &info)
    : VOXReply(node, dest, info.cmd(), info.size())
{
}

VOXReply::VOXReply(const VOXNode &node, unsigned int dest, unsigned char cmd, unsigned char ctrl)
    : VOXMessage(ctrl)
{
    setCmd(cmd);
    setSrcAddr(node.addr(true));
    setDestAddr(dest);
}
