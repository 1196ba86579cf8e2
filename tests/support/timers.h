#ifndef TIMERS_H
#define TIMERS_H

#include "framework/buspendingcalldata.h"

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QTimerEvent>

/// The timers of @p object that run.
inline auto timersOf(QObject &object)
{
    return QAbstractEventDispatcher::instance()->registeredTimers(&object);
}

/// Lets the first timer of @p object go off now, if it has one.
inline void expire(QObject &object)
{
    for (const auto &timer : timersOf(object).mid(0, 1)) {
        QTimerEvent event(timer.timerId);
        QCoreApplication::sendEvent(&object, &event);
    }
}

/// What the copies of @p call share.
inline BusPendingCallData &dataOf(const BusPendingCall &call)
{
    struct Inside : BusPendingCall
    {
        static BusPendingCallPointer BusPendingCall::*pointer() { return &Inside::d; }
    };
    return *(call.*Inside::pointer()).get();
}

/// The milliseconds after which the timers of @p object go off; coarse ones, which may be early, count as -1.
inline QList<int> intervalsOf(QObject &object)
{
    QList<int> intervals;
    for (const auto &timer : timersOf(object))
        intervals.append(timer.timerType == Qt::PreciseTimer ? timer.interval : -1);
    return intervals;
}

#endif
