#include "proxies/kvrbcastproxy.h"

KVRBCastProxy::KVRBCastProxy(Bus *bus, QObject *parent)
    : KVRGroupProxy(VOX::HostAddr, VOX::BCAST, bus, parent)
{
}
