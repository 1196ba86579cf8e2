#ifndef VOX_FRAMEWORK_BUSOBJECT_H
#define VOX_FRAMEWORK_BUSOBJECT_H

#include <vox/framework/bus.h>
#include <vox/framework/buspendingcall.h>

#include <QMutex>
#include <QObject>
#include <QPointer>

/// An object attached to a bus: sends calls over it, or answers what comes from it.
///
/// Never owns its bus; on one thread, either may be destroyed first. An object that only replies may live on
/// another thread; it detaches before the bus is destroyed.
/// @ingroup framework
class VOX_BUS_EXPORT BusObject : public QObject
{
    Q_OBJECT

public:
    /// A null @p bus leaves the object unattached.
    BusObject(Bus *bus, QObject *parent);
    ~BusObject() override;

    /// Leaves the bus. Calls that are on their way go on.
    virtual void detach();
    /// Replaces the bus. False, with nothing changed, if @p bus is null.
    virtual bool attach(Bus *bus);

    /// Null while unattached, and once the bus has been destroyed.
    Bus *bus() const { return m_bus; }

    /// Sends @p message, prepared if it has not been, and returns at once. Without an open bus the call ends
    /// with NotOpen. On the bus's thread only.
    BusPendingCall call(const BusMessage &message);

    /// Sends @p message as an answer, byte for byte, ahead of the calls that are queued. Dropped without an
    /// open bus. From any thread.
    void reply(const BusMessage &message);

protected:
    /// Guards the registration with the bus. Taken before any lock of the bus; recursive, because an object
    /// may re-register from inside.
    mutable QRecursiveMutex m_mutex;

private:
    QPointer<Bus> m_bus;
};

#endif
