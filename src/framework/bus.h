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
/// Lives, with its device and its dispatcher, on the thread that created it. Do not move it to another.
class BUS_EXPORT Bus : public QObject
{
    Q_OBJECT

public:
    ~Bus() override;

    /// Sends one complete frame. Negative: it was not sent.
    virtual int write(const QByteArray &frame) = 0;
    /// Takes at most one frame of what has been received and hands it to the dispatcher.
    virtual bool processData() = 0;
    virtual QString errorString() const;
    virtual bool open() = 0;
    virtual void close() = 0;
    virtual bool isOpen() const = 0;
    /// Whether the device holds input that processData() has not looked at.
    virtual bool hasInput() const;

    BusDispatcher &dispatcher() const { return m_dispatcher; }

protected:
    /// @p dispatcher is bound to this bus; it may be a child of it later, and must live as long.
    Bus(BusDispatcher &dispatcher, QIODevice *device, QObject *parent);

    QIODevice *ioDevice() const { return m_device; }
    /// Takes over @p device, which must be on this thread, and listens for its end.
    void setIoDevice(QIODevice *device);
    /// Hands @p frame to the dispatcher. Who gets it may close or destroy this bus: false if it is gone.
    bool deliver(const QByteArray &frame);
    /// Ends every call and deletes the device. Destructors of subclasses call it while they are still whole.
    void shutDown();

private:
    BusDispatcher &m_dispatcher;
    QPointer<QIODevice> m_device;
    bool m_shutDown = false;
    int m_deliveries = 0;
};

#endif
