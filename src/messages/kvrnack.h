#ifndef VOX_MESSAGES_KVRNACK_H
#define VOX_MESSAGES_KVRNACK_H

#include <vox/messages/kvr.h>
#include <vox/messages/voxreply.h>

/// The answer that refuses a request, with the reason; prepared. A KVR::MotorNackStatus is passed as a
/// KVR::NackStatus. Reentrant.
/// @ingroup messages
class VOX_EXPORT KVRNack : public VOXReply
{
public:
    /// Goes from @p node to the source of @p request, as a CRC frame if that is one. @p node is not kept.
    KVRNack(const VOXNode &node, const VOXMessage &request, KVR::NackStatus status);
    /// Goes to @p dest, which has its node type in bits 24 to 27; without the CRC flag.
    KVRNack(const VOXNode &node, unsigned int dest, KVR::NackStatus status);

private:
    void finish(KVR::NackStatus status);
};

#endif
