#ifndef VOX_TRANSPORT_VOXMCASTBUS_H
#define VOX_TRANSPORT_VOXMCASTBUS_H

#include <vox/transport/voxbus.h>

#include <QHostAddress>

#include <memory>

QT_BEGIN_NAMESPACE
class QUdpSocket;
QT_END_NAMESPACE

class VOXDatagram;

/// A line that any number of processes share by UDP multicast: each hears what all others send. A datagram is
/// one frame.
///
/// Frames may take 1 ms across the network. Without a route for multicast it joins on a loopback interface,
/// and reaches the processes of this machine. Lives on the thread that made it.
/// @ingroup transport
class VOX_EXPORT VOXMCastBus : public VOXBus
{
    Q_OBJECT

public:
    /// Opens at once, bound to @p bindAddress, or to any IPv4 address if that is null. On Linux, a bus bound
    /// to the address of its group hears no other group of the port, and a bus bound to any other single
    /// address hears no frames of its group. @p alias only tells log lines apart.
    VOXMCastBus(const QHostAddress &group, unsigned short port, const QString &alias = QString(),
                const QHostAddress &bindAddress = QHostAddress(), QObject *parent = nullptr);
    ~VOXMCastBus() override;

    int writeLine(const QByteArray &bytes) override;
    /// Binds and joins the group. False if either fails; without the group the bus may be open all the same.
    /// True at once, joined or not, if it is open already.
    bool open() override;
    /// Whether it is bound.
    bool isOpen() const override;

    /// Whether the group has ever been joined.
    bool isJoined() const { return m_joined; }

public Q_SLOTS:
    /// Takes one datagram. True if it is not an echo of our own and has the length of a frame, even if its
    /// check value is wrong.
    bool processData() override;

protected:
    bool hasUnseenInput() const override;

private:
    QUdpSocket *socket() const;
    bool join();
    bool joinOnLoopback();
    bool takeFrame();

    QHostAddress m_group;
    QHostAddress m_bindAddress;
    unsigned short m_port;
    bool m_joined = false;
    QString m_alias;
    VOXFrameCutter m_cutter;
    std::unique_ptr<VOXDatagram> m_datagram;
};

#endif
