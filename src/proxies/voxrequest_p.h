#ifndef VOX_PROXIES_VOXREQUEST_P_H
#define VOX_PROXIES_VOXREQUEST_P_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxcall.h>
#include <vox/messages/voxdatareader.h>
#include <vox/messages/voxdatawriter.h>
#include <vox/proxies/voxnode.h>

#include <utility>

/// The one shape of every operation and every decoder of the proxies.
namespace VOXRequest {

/// What an operation adds to the ack flag that the call may have already.
enum Acknowledgement { AsDescribed, Acknowledged };

/// Bytes cut to @p Width or filled with zero bytes.
template <int Width>
struct Padded
{
    const QByteArray &bytes;
};

template <int Width>
VOXDataWriter &operator<<(VOXDataWriter &writer, const Padded<Width> &field)
{
    writer.write(field.bytes.leftJustified(Width, '\0', true).constData(), Width);
    return writer;
}

/// Writes @p fields into @p call and sends it for @p node. What does not fit the frame is not sent.
template <typename... Fields>
BusPendingCall send(VOXNode &node, VOXCall &call, const Fields &...fields)
{
    VOXDataWriter writer(call);
    (void)(writer << ... << fields);
    call.prepare();
    return node.call(call);
}

/// Sends @p Command to @p node. The descriptor is looked up once.
template <auto Command, typename... Fields>
BusPendingCall request(VOXNode &node, Acknowledgement acknowledgement, const Fields &...fields)
{
    static const VOXCmdInfo info = KVR::findCmd(static_cast<unsigned char>(Command));
    VOXCall call(info, VOX::HostAddr, node.addr(true), 0);
    if (acknowledgement == Acknowledged)
        call.setAck(true);
    return send(node, call, fields...);
}

/// Reads the data area in order; a null pointer skips its field. False if it was too short.
template <typename... Fields>
bool decode(const BusMessage &message, Fields &&...fields)
{
    VOXDataReader reader{VOXMessage(message)};
    (void)(reader >> ... >> std::forward<Fields>(fields));
    return !reader.fail();
}

}

#endif
