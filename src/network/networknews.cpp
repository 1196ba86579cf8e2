#include "network/networknews_p.h"

#include <QPointer>

#include <utility>

void NetworkNews::add(Item item)
{
    m_items.push_back(std::move(item));
    if (!std::exchange(m_isQueued, true))
        QMetaObject::invokeMethod(this, &NetworkNews::tell, Qt::QueuedConnection);
}

void NetworkNews::tell()
{
    const QPointer<NetworkNews> self(this);
    // A slot may run an event loop, which then tells the rest.
    m_isQueued = false;
    while (self && !m_items.empty()) {
        const Item item = std::move(m_items.front());
        m_items.pop_front();
        item();
    }
}
