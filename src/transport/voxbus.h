#ifndef VOX_TRANSPORT_VOXBUS_H
#define VOX_TRANSPORT_VOXBUS_H

#include <vox/framework/bus.h>
#include <vox/messages/vox_export.h>
#include <vox/transport/voxframecutter.h>

#include <QBasicTimer>
#include <QSerialPort>

#include <cstddef>

class VOXBusDispatcher;
class VOXDevice;

/// The network on a byte stream: a serial line, or any QIODevice.
///
/// A frame travels with all bytes but its check value complemented. Received bytes are searched for frames
/// whose check value is right. Where no such frame begins the search goes on one byte further; where a frame
/// may be incomplete, it does so when nothing has followed for 100 ms. Also carries emulated nodes, to which
/// it hands the frames that answer no call. Used on the thread that made it, except for attaching and
/// detaching nodes.
/// @ingroup transport
class VOX_EXPORT VOXBus : public Bus
{
    Q_OBJECT
    Q_PROPERTY(bool isOpen READ isOpen NOTIFY openChanged)

public:
    /// Line rates in bit/s. The network's is 4800.
    enum BaudRate : int {
        BAUD_1200 = 1200,
        BAUD_2400 = 2400,
        BAUD_4800 = 4800,
        BAUD_9600 = 9600,
        BAUD_19200 = 19200,
        BAUD_38400 = 38400,
        BAUD_57600 = 57600
    };
    Q_ENUM(BaudRate)

    /// On the serial port of this name, for example "/dev/ttyUSB0". Not opened yet.
    explicit VOXBus(const QString &portName, QObject *parent = nullptr);
    /// On @p device, which must come from the heap and live on the calling thread; the bus takes it over.
    explicit VOXBus(QIODevice *device, QObject *parent = nullptr);
    ~VOXBus() override;

    /// -1 if @p frame has fewer than 11 or more than 31 bytes, -2 if the device fails, else 0.
    int write(const QByteArray &frame) override;

    /// Opens the device. A serial port gets 4800 bit/s, 8 data bits, odd parity and 1 stop bit, whatever
    /// setBaudRate() has set before, but the pacing keeps the rate that was set. That is meant. A serial port
    /// that is open already refuses: false, with openChanged(false), though it stays open.
    bool open() override;
    void close() override;
    bool isOpen() const override;

    /// The length that a frame's control byte tells.
    virtual unsigned char getLen(unsigned char control) const;

    /// Puts @p bytes on the line as they are, at once, frames or not: for replays, and for simulators that
    /// make faults. -2 if the device fails, else 0.
    virtual int writeLine(const QByteArray &bytes);

    /// Owned by the bus; null if somebody has deleted it.
    const QIODevice *device() const { return ioDevice(); }
    /// Sets the port, open or not, and the pacing. False, with neither changed, if there is no serial port or
    /// it refuses.
    bool setBaudRate(BaudRate rate);
    /// Sets the port, open or not, until the next open(). False, with nothing changed, if there is no serial
    /// port or it refuses.
    bool setParity(QSerialPort::Parity parity);

    /// Delivers the frames for this node's address, and broadcasts, to @p device; attaching twice delivers
    /// twice. These four may be called from any thread; a VOXDevice that is given a bus calls them itself.
    void attach(VOXDevice &device);
    /// Undoes every attach() under the present address of @p device. Its groups stay.
    void detach(VOXDevice &device);
    /// Delivers the frames for @p group to @p device.
    void groupAttach(VOXDevice &device, unsigned int group);
    /// Undoes every groupAttach() to @p group.
    void groupDetach(VOXDevice &device, unsigned int group);

    /// Whether the error of @p port says that its adapter is gone. If nothing was being written, that is a
    /// read error.
    static bool hasGone(const QSerialPort &port);

    /// The host's own address, without a node type.
    static unsigned int addr();
    ///@{
    /// The 16-bit sum of the complements of the bytes.
    static unsigned short chksum(const char *data, std::size_t size);
    static unsigned short chksum(const QByteArray &data);
    ///@}
    ///@{
    /// CRC-16/KERMIT of the complements of the bytes.
    static unsigned short crc(const char *data, std::size_t size);
    static unsigned short crc(const QByteArray &data);
    ///@}
    /// Complements the bytes in place.
    static void invert(char *data, std::size_t size);

Q_SIGNALS:
    /// Emitted by open() and close() alone, not when the device fails or is closed behind the bus's back.
    /// That is meant.
    void openChanged(bool opened);
    /// Carries bytes, in line form, that have come and are dropped, because no frame begins with them or its
    /// check value is wrong. They come in their order, and a serial line often tells them one by one. A slot
    /// must not destroy the bus.
    void discarded(const QByteArray &bytes);
    /// A frame has come whose check value is wrong. One damaged frame may fail several checks. A slot must
    /// not destroy or use the bus.
    void checkFailed();

public Q_SLOTS:
    /// Takes at most one frame of the received bytes. True if there was one, even if its check value
    /// is wrong.
    bool processData() override;
    /// Closes a serial port that has gone away, which ends all calls. Other errors are ignored.
    void serialPortError();

protected:
    /// The answer of hasInput(). Declared after the older virtual functions, so that these keep their order.
    virtual bool hasUnseenInput() const;
    /// For buses that bring a device of their own, or have none.
    VOXBus(BusDispatcher &dispatcher, QObject *parent);
    /// Lets attach() do nothing but log @p reason. To be called before anybody else knows this bus.
    void refuseDevices(const QString &reason) { m_refusal = reason; }
    /// Handles a pause in the received bytes.
    void timerEvent(QTimerEvent *event) override;

    /// The line form of @p frame in the working buffer, which the next use of the bus overwrites.
    const QByteArray &toLine(const QByteArray &frame);
    /// Whether a frame with this check is taken. Logs what is wrong with it, and emits checkFailed() if not.
    bool isTaken(const VOXFrameCutter::Check &check);
    /// Makes a cutter that asks getLen() for lengths, and looks at nothing while there are fewer than
    /// @p minBytes.
    VOXFrameCutter makeCutter(int minBytes) const;
    /// Queues another processData(), once.
    void processLater();
    /// How often an event loop of this thread has run. If the number has grown, one ran meanwhile.
    unsigned int eventLoopPasses() const { return m_eventLoopPasses; }
    /// Emits openChanged() if the state differs from @p wasOpen.
    void announceOpen(bool wasOpen);

private:
    void init();
    void listenToDevice();
    void listenToEventLoop();
    void processRest();

    QBasicTimer m_frameTimer;
    QByteArray m_buffer;
    VOXFrameCutter m_cutter;
    bool m_isPassQueued = false;
    bool m_isListeningToEventLoop = false;
    unsigned int m_eventLoopPasses = 0;
    // The number of bytes that processData() has seen and left, because more may follow.
    qint64 m_incompleteBytes = 0;
    VOXBusDispatcher *m_deviceDispatcher;
    QString m_refusal;
};

#endif
