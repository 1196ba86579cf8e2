#include "framework/busdispatcher.h"

#include <QMetaMethod>

#include <utility>

BusDispatcher::Guard::Guard(BusDispatcher &dispatcher)
    : m_dispatcher(&dispatcher)
    , m_outer(std::exchange(dispatcher.m_guard, this))
{
}

BusDispatcher::Guard::~Guard()
{
    if (m_dispatcher)
        m_dispatcher->m_guard = m_outer;
}

BusDispatcher::~BusDispatcher()
{
    for (Guard *guard = m_guard; guard; guard = guard->m_outer)
        guard->m_dispatcher = nullptr;
}

void BusDispatcher::connectNotify(const QMetaMethod &signal)
{
    m_isWatched = m_isWatched || signal == QMetaMethod::fromSignal(&BusDispatcher::heard)
        || signal == QMetaMethod::fromSignal(&BusDispatcher::written);
}
