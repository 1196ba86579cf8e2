#ifndef BUS_H
#define BUS_H

#include "framework/bus_export.h"

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QPointer>

class BusDispatcher;

/// A transport: turns messages into what a device carries, and back.
///
/// Lives, with its device, its dispatcher and its calls, on the thread that created it. Do not move it to
/// another. Owns its device. Destroying the bus, also from inside the delivery of a frame, ends all calls
/// with BusPendingCall::Canceled.
/// @ingroup framework
class BUS_EXPORT Bus : public QObject
{
    Q_OBJECT

public:
    ~Bus() override;

    /// Sends one complete frame at once, past the dispatcher and its queue. Negative: it was not sent.
    virtual int write(const QByteArray &frame) = 0;
    /// Takes at most one frame of what has been received and hands it to the dispatcher. The transports say
    /// what the result means.
    virtual bool processData() = 0;
    /// The device's own words; empty without a device.
    virtual QString errorString() const;
    /// Opens the device. The transports differ in what they call success; isOpen() is sure.
    virtual bool open() = 0;
    /// Closes the device and ends all calls with BusPendingCall::NotOpen. The bus may be opened again.
    virtual void close() = 0;
    /// Whether calls and replies can be sent.
    virtual bool isOpen() const = 0;
    /// Whether the device holds input that processData() has not looked at.
    virtual bool hasInput() const;

    /// Lives as long as the bus.
    BusDispatcher &dispatcher() const { return m_dispatcher; }

protected:
    /// @p dispatcher is bound to this bus; it may be a child of it later, and must live as long.
    /// @p device as in setIoDevice(), or null for now.
    Bus(BusDispatcher &dispatcher, QIODevice *device, QObject *parent);

    /// Null if there is none yet, or it has been deleted behind the bus's back.
    QIODevice *ioDevice() const { return m_device; }
    /// Takes over @p device, which must be on this thread, and listens for its end. To be called once: a
    /// former device is neither deleted nor disconnected.
    void setIoDevice(QIODevice *device);
    /// Hands @p frame to the dispatcher. Who gets it may close or destroy this bus: false if it is gone.
    bool deliver(const QByteArray &frame);
    /// Whether deliver() is at work, which it is, too, while who got the frame waits in an event loop.
    bool isDelivering() const { return m_deliveries > 0; }
    /// Ends every call and deletes the device. Destructors of subclasses call it while they are still whole.
    void shutDown();

private:
    BusDispatcher &m_dispatcher;
    QPointer<QIODevice> m_device;
    bool m_shutDown = false;
    int m_deliveries = 0;
};

#endif
