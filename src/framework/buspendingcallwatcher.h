#ifndef BUSPENDINGCALLWATCHER_H
#define BUSPENDINGCALLWATCHER_H

#include "framework/buspendingcall.h"

#include <QObject>

/// A pending call that tells by a signal when it has finished.
///
/// The signal comes exactly once and always from the event loop, also to a watcher made after the end; never
/// to one that is destroyed before.
class BUS_EXPORT BusPendingCallWatcher : public QObject, public BusPendingCall
{
    Q_OBJECT

public:
    explicit BusPendingCallWatcher(const BusPendingCall &call, QObject *parent = nullptr);
    ~BusPendingCallWatcher() override;

Q_SIGNALS:
    void finished(BusPendingCallWatcher *call);

protected:
    void customEvent(QEvent *event) override;

private:
    friend class BusPendingCallData;
    /// Lets finished() be emitted from the event loop.
    void announce();
};

#endif
