#ifndef VOXMCASTBUS_H
#define VOXMCASTBUS_H

#include "transport/voxbus.h"

#include <QHostAddress>
#include <QList>

#include <memory>

QT_BEGIN_NAMESPACE
class QUdpSocket;
QT_END_NAMESPACE

class VOXDatagram;

/// A line that any number of processes share by UDP multicast: each hears what all others send. A datagram is
/// one frame.
///
/// Frames may take 1 ms across the network. Without a route for multicast it joins on a loopback interface,
/// and reaches the processes of this machine.
class VOX_EXPORT VOXMCastBus : public VOXBus
{
    Q_OBJECT

public:
    /// Opens at once, bound to any IPv4 address if @p bindAddress is null. Bound to a single address, Linux
    /// hands it no frames of the group. @p alias only tells log lines apart.
    VOXMCastBus(const QHostAddress &group, unsigned short port, const QString &alias = QString(),
                const QHostAddress &bindAddress = QHostAddress(), QObject *parent = nullptr);
    ~VOXMCastBus() override;

    int write(const QByteArray &frame) override;
    int writeLine(const QByteArray &bytes) override;
    /// Binds and joins the group. False if it has not been joined; then the bus may be open all the same.
    bool open() override;
    bool isOpen() const override;
    bool hasInput() const override;

    /// Whether the group has ever been joined.
    bool isJoined() const { return m_joined; }

public Q_SLOTS:
    /// Takes one datagram.
    bool processData() override;

private:
    QUdpSocket *socket() const;
    bool join();
    bool joinOnLoopback();
    bool takeFrame();

    QHostAddress m_group;
    QHostAddress m_bindAddress;
    unsigned short m_port;
    QList<QByteArray> m_sent;
    bool m_joined = false;
    QString m_alias;
    std::unique_ptr<VOXDatagram> m_datagram;
};

#endif
