#include "devices/lock.h"

Lock::Lock(unsigned int source, VOX::LockStatus status, unsigned char priority)
    : m_source(source)
    , m_status(status)
    , m_priority(priority)
{
}

void Lock::apply(bool locked, unsigned char priority, unsigned int source)
{
    setLock(locked);
    setCurrentPrio(locked ? priority : 0);
    setSource(source);
}
