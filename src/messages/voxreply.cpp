#include "messages/voxreply.h"

#include "messages/voxmessagedata.h"
#include "proxies/voxnode.h"

namespace {
class ReplyData : public VOXMessageData
{
public:
    using VOXMessageData::VOXMessageData;

    unsigned int busFreeDelay() const override { return m_busFreeDelay; }
    ReplyData *clone() const override { return new ReplyData(*this); }

private:
    unsigned int m_busFreeDelay = 5;
};
}

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
    : VOXMessage(*new ReplyData(ctrl))
{
    setExtLen(ctrl);
    setCmd(cmd);
    setSrcAddr(node.addr(true));
    setDestAddr(dest);
}
