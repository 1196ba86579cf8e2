#include "framework/buspendingcallwatcher.h"

#include "framework/buspendingcalldata.h"

#include <QCoreApplication>
#include <QEvent>

namespace {
QEvent::Type finishedEvent()
{
    static const int type = QEvent::registerEventType();
    return static_cast<QEvent::Type>(type);
}
}

BusPendingCallWatcher::BusPendingCallWatcher(const BusPendingCall &call, QObject *parent)
    : QObject(parent)
    , BusPendingCall(call)
    , m_watched(d)
{
    if (isFinished())
        announce();
    else
        d->addWatcher(this);
}

BusPendingCallWatcher::~BusPendingCallWatcher()
{
    if (m_watched)
        m_watched->removeWatcher(this);
}

void BusPendingCallWatcher::announce()
{
    QCoreApplication::postEvent(this, new QEvent(finishedEvent()));
}

void BusPendingCallWatcher::customEvent(QEvent *event)
{
    if (event->type() == finishedEvent())
        Q_EMIT finished(this);
    else
        QObject::customEvent(event);
}
