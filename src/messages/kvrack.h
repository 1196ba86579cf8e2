#ifndef VOX_MESSAGES_KVRACK_H
#define VOX_MESSAGES_KVRACK_H

#include <vox/messages/voxreply.h>

/// The answer that accepts a request; prepared. Reentrant.
/// @ingroup messages
class VOX_EXPORT KVRAck : public VOXReply
{
public:
    /// Goes from @p node to the source of @p request, as a CRC frame if that is one. @p node is not kept.
    KVRAck(const VOXNode &node, const VOXMessage &request);
};

#endif
