#ifndef VOX_PROXIES_VOXREQUEST_P_H
#define VOX_PROXIES_VOXREQUEST_P_H

#include <vox/messages/kvrschema_p.h>
#include <vox/messages/voxcall.h>
#include <vox/proxies/voxnode.h>

/// The one shape of every operation and every decoder of the proxies: both follow the command's layout.
namespace VOXRequest {

/// Whether an operation sets the ack flag, or leaves it as the command's descriptor wants it.
enum Acknowledgement { AsDescribed, Acknowledged };

using VOXSchema::take;

/// Writes @p values into @p call and sends it for @p node. Values that do not fit the frame are not sent.
template <auto Command, typename... Values>
BusPendingCall send(VOXNode &node, VOXCall &call, const Values &...values)
{
    VOXSchema::put<Command>(call, values...);
    // The node would have to make a copy to do this.
    call.prepare();
    return node.call(call);
}

/// Sends @p Command, of whichever set, to @p node.
template <auto Command, typename... Values>
BusPendingCall request(VOXNode &node, Acknowledgement acknowledgement, const Values &...values)
{
    static const VOXCmdInfo info = VOXCmdTable::toInfo(VOXCmdTable::findRow<Command>());
    VOXCall call(info, VOX::HostAddr, node.addr(true), 0);
    if (acknowledgement == Acknowledged)
        call.setAck(true);
    return send<Command>(node, call, values...);
}

}

#endif
