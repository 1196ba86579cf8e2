#include "network/duequeue_p.h"

#include "network/nodestate_p.h"

namespace {
constexpr int parentOf(int index)
{
    return (index - 1) / 2;
}
}

void DueQueue::update(NodeState &node)
{
    if (node.heapIndex < 0) {
        m_heap.push_back(&node);
        node.heapIndex = static_cast<int>(m_heap.size()) - 1;
    }
    rise(node);
    sink(node);
}

void DueQueue::remove(NodeState &node)
{
    if (node.heapIndex < 0)
        return;
    NodeState &last = *m_heap.back();
    m_heap.pop_back();
    if (&last != &node) {
        place(last, node.heapIndex);
        rise(last);
        sink(last);
    }
    node.heapIndex = -1;
}

void DueQueue::place(NodeState &node, int index)
{
    node.heapIndex = index;
    m_heap[static_cast<std::size_t>(index)] = &node;
}

void DueQueue::rise(NodeState &node)
{
    int index = node.heapIndex;
    while (index > 0) {
        NodeState &parent = *m_heap[static_cast<std::size_t>(parentOf(index))];
        if (parent.dueMs <= node.dueMs)
            break;
        const int above = parentOf(index);
        place(parent, index);
        index = above;
    }
    place(node, index);
}

void DueQueue::sink(NodeState &node)
{
    const int count = static_cast<int>(m_heap.size());
    int index = node.heapIndex;
    for (int child = 2 * index + 1; child < count; child = 2 * index + 1) {
        const auto at = [this](int each) { return m_heap[static_cast<std::size_t>(each)]; };
        if (child + 1 < count && at(child + 1)->dueMs < at(child)->dueMs)
            ++child;
        if (node.dueMs <= at(child)->dueMs)
            break;
        place(*at(child), index);
        index = child;
    }
    place(node, index);
}
