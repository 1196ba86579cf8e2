#ifndef KVRNACK_H
#define KVRNACK_H

#include "messages/kvr.h"
#include "messages/voxreply.h"

/// The answer that says no, and why; prepared. A KVR::MotorNackStatus is passed as a KVR::NackStatus.
class VOX_EXPORT KVRNack : public VOXReply
{
public:
    KVRNack(const VOXNode &node, const VOXMessage &request, KVR::NackStatus status);
    /// Without the CRC flag.
    KVRNack(const VOXNode &node, unsigned int dest, KVR::NackStatus status);

private:
    void finish(KVR::NackStatus status);
};

#endif
