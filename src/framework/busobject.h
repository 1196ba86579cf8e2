#ifndef BUSOBJECT_H
#define BUSOBJECT_H

#include "framework/bus.h"
#include "framework/buspendingcall.h"

#include <QMutex>
#include <QObject>
#include <QPointer>

/// An object attached to a bus: sends calls over it, or answers what comes from it.
///
/// Never owns its bus; either may be destroyed first.
class BUS_EXPORT BusObject : public QObject
{
    Q_OBJECT

public:
    /// A null @p bus leaves the object unattached.
    BusObject(Bus *bus, QObject *parent);
    ~BusObject() override;

    virtual void detach();
    /// Replaces the bus. False, with nothing changed, if @p bus is null.
    virtual bool attach(Bus *bus);

    Bus *bus() const { return m_bus; }

    /// Sends @p message, prepared if it has not been, and returns at once. Without an open bus the call ends
    /// with NotOpen. On the bus's thread only.
    BusPendingCall call(const BusMessage &message);

    /// Sends @p message as an answer, byte for byte, ahead of the calls that are queued. Dropped without an
    /// open bus. From any thread; one that is not the bus's detaches before the bus is destroyed.
    void reply(const BusMessage &message);

protected:
    /// Guards the registration with the bus. Taken before any lock of the bus; recursive, because an object
    /// may re-register from inside.
    mutable QRecursiveMutex m_mutex;

private:
    QPointer<Bus> m_bus;
};

#endif
