#ifndef VOX_DEVICES_VOXANSWER_P_H
#define VOX_DEVICES_VOXANSWER_P_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxdatareader.h>
#include <vox/messages/voxdatawriter.h>
#include <vox/messages/voxreply.h>

/// The shape of every data reply, and of every look into a request.
namespace VOXAnswer {

template <typename... Fields>
VOXReply filled(VOXReply reply, const Fields &...fields)
{
    VOXDataWriter writer(reply);
    (void)(writer << ... << fields);
    reply.prepare();
    return reply;
}

/// @p cmd with the length of its descriptor.
template <typename... Fields>
VOXReply answer(const VOXNode &node, const VOXMessage &request, int cmd, const Fields &...fields)
{
    return filled(VOXReply(node, request, KVR::findCmd(static_cast<unsigned char>(cmd))), fields...);
}

/// @p cmd with a length of its own.
template <typename... Fields>
VOXReply answerOf(const VOXNode &node, const VOXMessage &request, int cmd, unsigned char length,
                  const Fields &...fields)
{
    return filled(VOXReply(node, request, static_cast<unsigned char>(cmd), length), fields...);
}

/// Reads the data area in order. False if it was too short.
template <typename... Fields>
bool read(const VOXMessage &request, Fields &...fields)
{
    VOXDataReader reader(request);
    (void)(reader >> ... >> fields);
    return !reader.fail();
}

}

#endif
