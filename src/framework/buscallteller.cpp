#include "framework/buscallteller.h"

#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"

#include <QCoreApplication>
#include <QEvent>
#include <QPointer>

#include <utility>

BusCallTeller::~BusCallTeller()
{
    while (!m_ended.isEmpty())
        m_ended.takeFirst()->announce();
}

void BusCallTeller::add(const BusPendingCallPointer &call)
{
    if (call->hasWatchers())
        m_ended.append(call);
}

void BusCallTeller::tell()
{
    const QPointer<BusCallTeller> self(this);
    while (self && !m_ended.isEmpty()) {
        const BusPendingCallPointer call(m_ended.first());
        BusPendingCallWatcher *const watcher = call->takeWatcher();
        if (!call->hasWatchers())
            m_ended.takeFirst();
        // This comes before the slot, which may wait in an event loop for one of the other calls.
        tellLater();
        if (watcher)
            Q_EMIT watcher->finished(watcher);
    }
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
