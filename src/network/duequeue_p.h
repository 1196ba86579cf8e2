#ifndef VOX_NETWORK_DUEQUEUE_P_H
#define VOX_NETWORK_DUEQUEUE_P_H

#include <vector>

struct NodeState;

/// Nodes by the time when they are due. Each knows its place, so a time may change at any moment, without
/// memory being taken.
class DueQueue
{
public:
    /// Enters @p node, or moves it to where its dueMs now belongs.
    void update(NodeState &node);
    void remove(NodeState &node);
    /// The one that is due first; null if there is none.
    NodeState *first() const { return m_heap.empty() ? nullptr : m_heap.front(); }

private:
    void place(NodeState &node, int index);
    void rise(NodeState &node);
    void sink(NodeState &node);

    // A binary heap.
    std::vector<NodeState *> m_heap;
};

#endif
