#include "framework/buscallteller.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"

#include <QCoreApplication>
#include <QEvent>

#include <utility>

BusCallTeller::~BusCallTeller()
{
    while (!m_ended.isEmpty())
        m_ended.takeFirst()->announce();
    if (m_isGone)
        *m_isGone = true;
}

void BusCallTeller::add(const BusPendingCallPointer &call)
{
    if (call->hasWatchers())
        m_ended.append(call);
}

void BusCallTeller::tell()
{
    if (m_ended.isEmpty())
        return;
    bool isGone = false;
    bool *const outer = std::exchange(m_isGone, &isGone);
    while (!isGone && !m_ended.isEmpty()) {
        const BusPendingCallPointer call(m_ended.first());
        BusPendingCallWatcher *const watcher = call->takeWatcher();
        if (!call->hasWatchers())
            m_ended.takeFirst();
        // This comes before the slot, which may wait in an event loop for one of the other calls.
        tellLater();
        if (watcher)
            Q_EMIT watcher->finished(watcher);
    }
    if (!isGone)
        m_isGone = outer;
    else if (outer)
        *outer = true;
}

void BusCallTeller::tellLater()
{
    if (!m_ended.isEmpty() && !std::exchange(m_isPassPosted, true))
        QCoreApplication::postEvent(this, new QEvent(QEvent::User));
}

void BusCallTeller::customEvent(QEvent *event)
{
    Q_UNUSED(event)
    m_isPassPosted = false;
    tell();
}
