#ifndef VOX_FRAMEWORK_BUS_H
#define VOX_FRAMEWORK_BUS_H

#include <vox/framework/bus_export.h>

#include <QByteArray>
#include <QIODevice>
#include <QObject>
#include <QPointer>

#include <functional>
#include <utility>

class BusDispatcher;

/// A transport: turns messages into what a device carries, and back.
///
/// Lives, with its device, its dispatcher and its calls, on the thread that created it. Do not move it to
/// another. Owns its device. Destroying the bus, also from inside the delivery of a frame, ends all calls
/// with BusPendingCall::Canceled.
/// @ingroup framework
class VOX_BUS_EXPORT Bus : public QObject
{
    Q_OBJECT

public:
    ~Bus() override;

    /// Sends one complete frame at once, past the dispatcher and its queue. Negative: it was not sent.
    virtual int write(const QByteArray &frame) = 0;
    /// Takes at most one frame of what has been received and hands it to the dispatcher. The transports say
    /// what the result means.
    virtual bool processData() = 0;
    /// The error text of the device; empty without a device.
    virtual QString errorString() const;
    /// Opens the device. What the result means depends on the transport; isOpen() is reliable.
    virtual bool open() = 0;
    /// Closes the device and ends all calls with BusPendingCall::NotOpen. The bus may be opened again.
    virtual void close() = 0;
    /// Whether calls and replies can be sent.
    virtual bool isOpen() const = 0;
    /// Whether the device holds input that processData() has not looked at.
    bool hasInput() const { return m_inputHook ? m_inputHook() : m_device && m_device->bytesAvailable() > 0; }

    /// Lives as long as the bus.
    BusDispatcher &dispatcher() const { return m_dispatcher; }

protected:
    /// Stands on the stack while the device is at work: it opens, closes, writes, delivers a frame or reports
    /// an error.
    ///
    /// Code that runs meanwhile may destroy the bus. The device is then closed, and the outermost of these
    /// objects deletes it later, so that no nested event loop deletes it too early.
    class VOX_BUS_EXPORT DeviceUse
    {
    public:
        /// Stands inside the ones that @p bus has already.
        explicit DeviceUse(Bus &bus);
        ~DeviceUse();
        Q_DISABLE_COPY_MOVE(DeviceUse)

        /// Whether the bus is still there.
        bool hasBus() const { return m_bus != nullptr; }

    private:
        friend class Bus;

        Bus *m_bus;
        DeviceUse *m_outer;
        QPointer<QIODevice> m_orphan;
    };

    /// @p dispatcher is bound to this bus; it may be a child of it later, and must live as long.
    /// @p device as in setIoDevice(), or null for now.
    Bus(BusDispatcher &dispatcher, QIODevice *device, QObject *parent);

    /// Null if there is none yet, or if it has been deleted behind the bus's back.
    QIODevice *ioDevice() const { return m_device; }
    /// Takes over @p device, which must be on this thread, and listens for its end. To be called once: a
    /// former device is neither deleted nor disconnected.
    void setIoDevice(QIODevice *device);
    /// Lets @p hook answer hasInput() in place of the device's bytesAvailable().
    void setInputHook(std::function<bool()> hook) { m_inputHook = std::move(hook); }
    /// Hands @p frame to the dispatcher. A receiver may close or destroy this bus. False if the bus is gone.
    bool deliver(const QByteArray &frame);
    /// Whether the device is at work, also while a slot that it called waits in an event loop.
    bool isDeviceInUse() const { return m_use != nullptr; }
    /// Closes the device. Code that runs meanwhile finds the bus closed, and may destroy it. False if the bus
    /// is gone.
    bool closeDevice();
    /// Whether closeDevice() is at work.
    bool isClosing() const { return m_isClosing; }
    /// Ends every call and deletes the device, at once or when it is no longer at work. Destructors of
    /// subclasses call it while the subclass is still complete.
    void shutDown();

private:
    BusDispatcher &m_dispatcher;
    QPointer<QIODevice> m_device;
    std::function<bool()> m_inputHook;
    // The innermost DeviceUse of this bus.
    DeviceUse *m_use = nullptr;
    bool m_shutDown = false;
    bool m_isClosing = false;
};

#endif
