#ifndef VOX_NETWORK_NODEREADING_P_H
#define VOX_NETWORK_NODEREADING_P_H

#include <vox/network/question_p.h>

/// What a frame of a node has told.
struct NodeReading
{
    /// Which question it answers, whoever has asked it.
    Question question;
    bool isChange = false;
    /// It is that answer by its command, and nothing else of it makes sense. Nothing was stored.
    bool isNonsense = false;
};

/// Stores in @p node what @p frame, which it has sent, tells. Empty if that is nothing that is kept. This is
/// the only way of a value into a node.
std::optional<NodeReading> takeReading(NodeState &node, const VOXMessage &frame);

#endif
