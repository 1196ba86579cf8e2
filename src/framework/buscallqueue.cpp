#include "framework/buscallqueue.h"

#include "framework/buspendingcalldata.h"

BusCallQueue::~BusCallQueue()
{
    while (!isEmpty())
        takeFirst();
}

void BusCallQueue::append(const BusPendingCallPointer &call)
{
    BusPendingCallData::Link &link = call->m_link;
    link = {this, call, m_last, nullptr};
    (m_last ? m_last->m_link.next : m_first) = call.get();
    m_last = call.get();
    ++m_size;
}

BusPendingCallPointer BusCallQueue::take(BusPendingCallData *call)
{
    BusPendingCallData::Link link = std::exchange(call->m_link, {});
    (link.previous ? link.previous->m_link.next : m_first) = link.next;
    (link.next ? link.next->m_link.previous : m_last) = link.previous;
    --m_size;
    return std::move(link.self);
}

bool BusCallQueue::contains(const BusPendingCallData *call) const
{
    return call->m_link.queue == this;
}
