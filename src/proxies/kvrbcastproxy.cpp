#include "proxies/kvrbcastproxy.h"

#include "proxies/voxrequest_p.h"

KVRBCastProxy::KVRBCastProxy(Bus *bus, QObject *parent)
    : KVRGroupProxy(VOX::HostAddr, VOX::BCAST, bus, parent)
{
}
