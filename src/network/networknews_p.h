#ifndef VOX_NETWORK_NETWORKNEWS_P_H
#define VOX_NETWORK_NETWORKNEWS_P_H

#include <QObject>

#include <deque>
#include <functional>

/// What the host is told, in order, from the event loop. So nothing of the network is at work while slots of
/// the host run, and they may destroy it.
class NetworkNews : public QObject
{
    Q_OBJECT

public:
    using Item = std::function<void()>;

    /// @p item is called later, from the event loop. It may destroy this.
    void add(Item item);

private:
    void tell();

    std::deque<Item> m_items;
    bool m_isQueued = false;
};

#endif
