#ifndef VOXDATAGRAM_P_H
#define VOXDATAGRAM_P_H

#include <QByteArray>
#include <QHostAddress>
#include <QUdpSocket>

#include <algorithm>

/// The datagram that a bus has read last, and who sent it. The buffer is used again for the next.
class VOXDatagram
{
public:
    enum Result { NothingPending, Failed, Read };

    VOXDatagram() { m_bytes.reserve(MaxSize); }

    /// Reads also when nothing may be pending: until it is read, a socket that has announced something
    /// announces no more.
    Result read(QUdpSocket &socket)
    {
        if (take(socket))
            return Read;
        // One may have come since.
        if (!socket.hasPendingDatagrams())
            return NothingPending;
        return take(socket) ? Read : Failed;
    }

    const QByteArray &bytes() const { return m_bytes; }
    const QHostAddress &sender() const { return m_sender; }
    unsigned short senderPort() const { return m_senderPort; }

    /// Lets the system keep what a whole network sends at once, as far as it allows that.
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
    QHostAddress m_sender;
    unsigned short m_senderPort = 0;
};

#endif
