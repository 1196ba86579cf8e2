#ifndef VOX_TRANSPORT_VOXUDPBUS_H
#define VOX_TRANSPORT_VOXUDPBUS_H

#include <vox/transport/voxbus.h>

#include <QCache>
#include <QHostAddress>
#include <QMap>

#include <memory>

QT_BEGIN_NAMESPACE
class QUdpSocket;
QT_END_NAMESPACE

class VOXDatagram;

/// The network over UDP, for gateways and simulated networks: each frame leaves as one datagram to one
/// destination, and the datagrams of each sender are read as one byte stream.
///
/// With a unicast destination only datagrams of exactly that address and port are taken. With
/// QHostAddress::Broadcast the datagrams of everyone are taken, except the echo of our own; the broadcast
/// address of a subnet counts as unicast. At most ten senders are remembered, and a sender's incomplete frame
/// loses its first byte when nothing has followed for 110 ms. At most 64 KiB of each sender are kept. Lives
/// on the thread that made it.
/// @ingroup transport
class VOX_EXPORT VOXUdpBus : public VOXBus
{
    Q_OBJECT

public:
    /// Binds at once, to any IPv4 address if @p localAddress is null, and to the port of the destination if
    /// @p localPort is 0. If that fails the bus is not open and open() may try again. The port is shared: it
    /// is no failure if another program has it, too, but then only one of the two hears its peer.
    VOXUdpBus(const QHostAddress &destAddress, unsigned short destPort,
              const QHostAddress &localAddress = QHostAddress(), unsigned short localPort = 0,
              QObject *parent = nullptr);
    ~VOXUdpBus() override;

    /// Sets where frames go from now on, and where they have to come from. The local side stays as it is.
    void setDest(const QHostAddress &address, unsigned short port);
    ///@{
    /// As in the constructor, or the last setDest().
    const QHostAddress &destAddress() const { return m_destAddress; }
    unsigned short destPort() const { return m_destPort; }
    ///@}

    int write(const QByteArray &frame) override;
    int writeLine(const QByteArray &bytes) override;
    /// Binds again after close(). Always true; isOpen() tells whether it worked.
    bool open() override;

public Q_SLOTS:
    /// Takes one datagram, and then at most one frame of all that its sender has sent so far. True if there
    /// was a frame, even if its check value is wrong, or if a byte has been dropped and 11 or more are left.
    bool processData() override;
    /// Takes at most one frame of what the sender of this makeSenderID() has sent, with the same result.
    bool processData(const QString &senderID);

protected:
    struct Buffer;

    bool hasUnseenInput() const override;
    /// Handles a pause in the bytes of a sender.
    void timerEvent(QTimerEvent *event) override;
    /// The sender as "address:port".
    QString makeSenderID(const QHostAddress &address, unsigned short port) const;
    /// As processData(const QString &), for the sender of @p buffer. Do not use @p buffer afterwards.
    bool processBuffer(Buffer &buffer);

private:
    bool readDatagram();
    bool isForUs(const QHostAddress &sender, unsigned short port);
    bool isEcho();
    const QString &senderID(const QHostAddress &address, unsigned short port);
    void processLater(const QString &senderID);
    bool bind();
    QUdpSocket *socket() const;

    QHostAddress m_destAddress;
    unsigned short m_destPort;
    QHostAddress m_localAddress;
    unsigned short m_localPort;
    VOXFrameCutter m_cutter;
    QMap<int, QString> m_timeoutSources;
    QCache<QString, Buffer> m_buffers;

    std::unique_ptr<VOXDatagram> m_datagram;
    QHostAddress m_lastSender;
    unsigned short m_lastSenderPort = 0;
    QString m_lastSenderID;
};

#endif
