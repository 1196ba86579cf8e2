#ifndef KVRBCASTPROXY_H
#define KVRBCASTPROXY_H

#include "proxies/kvrgroupproxy.h"

/// All motors of a bus: a group to which everyone belongs. Its own address is that of the host.
class VOX_EXPORT KVRBCastProxy : public KVRGroupProxy
{
    Q_OBJECT

public:
    explicit KVRBCastProxy(Bus *bus, QObject *parent = nullptr);
};

#endif
