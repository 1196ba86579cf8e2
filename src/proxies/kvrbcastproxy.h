#ifndef VOX_PROXIES_KVRBCASTPROXY_H
#define VOX_PROXIES_KVRBCASTPROXY_H

#include <vox/proxies/kvrgroupproxy.h>

/// All motors of a bus: a group to which everyone belongs.
///
/// Its own address is that of the host, so the inherited operations beyond the five of KVRGroupProxy reach no
/// node.
/// @ingroup proxies
class VOX_EXPORT KVRBCastProxy : public KVRGroupProxy
{
    Q_OBJECT

public:
    /// Without an open @p bus, calls end with BusPendingCall::NotOpen.
    explicit KVRBCastProxy(Bus *bus, QObject *parent = nullptr);
};

#endif
