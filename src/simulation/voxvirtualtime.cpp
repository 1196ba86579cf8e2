#include "simulation/voxvirtualtime.h"

#include "simulation/virtualdispatcher_p.h"

#include <QThread>

namespace {
VirtualDispatcher &dispatcher()
{
    auto *const found = qobject_cast<VirtualDispatcher *>(QAbstractEventDispatcher::instance());
    if (!found)
        qFatal("[VOXVirtualTime]: there is none on this thread");
    return *found;
}
}

VOXVirtualTime::VOXVirtualTime(Sockets sockets)
{
    if (QAbstractEventDispatcher::instance())
        qFatal("[VOXVirtualTime]: it has to be made before the QCoreApplication");
    auto *const made = new VirtualDispatcher(sockets);
    m_dispatcher = made;
    QThread::currentThread()->setEventDispatcher(made);
}

VOXVirtualTime::~VOXVirtualTime()
{
    // An application owns it, and still needs it.
    if (m_dispatcher && !m_dispatcher->parent())
        delete m_dispatcher;
}

void VOXVirtualTime::advance(qint64 ms)
{
    dispatcher().run(nullptr, ms);
}

bool VOXVirtualTime::runUntil(const std::function<bool()> &condition, qint64 ms)
{
    return dispatcher().run(condition, ms);
}

void VOXVirtualTime::settle()
{
    dispatcher().settle();
}

qint64 VOXVirtualTime::now()
{
    return dispatcher().elapsed();
}

void VOXVirtualTime::announceInput()
{
    dispatcher().announceInput();
}
