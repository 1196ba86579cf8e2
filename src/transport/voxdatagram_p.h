#ifndef VOX_TRANSPORT_VOXDATAGRAM_P_H
#define VOX_TRANSPORT_VOXDATAGRAM_P_H

#include <QByteArray>
#include <QHostAddress>
#include <QList>
#include <QUdpSocket>

#include <algorithm>

/// The datagram that a bus has read last, and its sender; the next one uses the same buffer. Also holds the
/// datagrams that the bus has sent and whose echo it has not heard yet.
class VOXDatagram
{
public:
    enum Result { NothingPending, Failed, Read };

    VOXDatagram() { m_bytes.reserve(MaxSize); }

    /// No echo comes after @p socket has been closed.
    void forgetEchoesWith(const QUdpSocket &socket)
    {
        QObject::connect(&socket, &QIODevice::aboutToClose, &socket, [this] { m_sent.clear(); });
    }

    /// Reads even if nothing may be pending: a socket that has announced something announces no more until it
    /// is read.
    Result read(QUdpSocket &socket)
    {
        if (take(socket))
            return Read;
        // A datagram may have come since.
        if (!socket.hasPendingDatagrams())
            return NothingPending;
        return take(socket) ? Read : Failed;
    }

    const QByteArray &bytes() const { return m_bytes; }
    const QHostAddress &sender() const { return m_sender; }
    unsigned short senderPort() const { return m_senderPort; }

    /// The datagrams whose echo has not come yet, the oldest first. Which are dropped when there are too many
    /// depends on the bus.
    QList<QByteArray> &sent() { return m_sent; }
    /// Whether this datagram is an echo, which is then no longer waited for.
    bool takeEcho() { return m_sent.removeOne(m_bytes); }

    /// Asks the system to buffer as much as a whole network sends at once. The system may allow less.
    static void setBuffers(QUdpSocket &socket)
    {
        constexpr int Size = 4 * 1024 * 1024;
        socket.setSocketOption(QAbstractSocket::ReceiveBufferSizeSocketOption, Size);
        socket.setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, Size);
    }

private:
    bool take(QUdpSocket &socket)
    {
        m_bytes.resize(MaxSize);
        const qint64 size = socket.readDatagram(m_bytes.data(), m_bytes.size(), &m_sender, &m_senderPort);
        m_bytes.resize(static_cast<int>(std::max<qint64>(size, 0)));
        return size >= 0;
    }

    static constexpr int MaxSize = 65536;

    QByteArray m_bytes;
    QList<QByteArray> m_sent;
    QHostAddress m_sender;
    unsigned short m_senderPort = 0;
};

#endif
