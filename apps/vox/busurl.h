#ifndef BUSURL_H
#define BUSURL_H

#include <QHostAddress>
#include <QString>

#include <memory>

class VOXBus;

/// The parts of a bus's URL:
///
///     serial:///dev/ttyUSB0
///     udp://DESTINATION:PORT?local=PORT&bind=ADDRESS
///     mcast://GROUP:PORT?bind=ADDRESS&alias=NAME&latency=MS
///     pty:
struct BusUrl
{
    enum Kind { Serial, Udp, Multicast, Pty };

    /// False if @p text is no such URL; @p problem says why, in one line.
    static bool read(const QString &text, BusUrl *url, QString *problem);

    /// The address that a socket binds to: @c bind, or else any address. For multicast it is else that of the
    /// group, because a socket that is bound to any address hears the other groups on its port, too.
    QHostAddress localAddress() const;

    QString text;
    Kind kind = Pty;
    QString path;
    QHostAddress host;
    unsigned short port = 0;
    /// Null for any address.
    QHostAddress bind;
    /// 0 for the same as the port.
    unsigned short local = 0;
    QString alias;
    unsigned short latencyMs = 0;
};

/// Opens the bus that @p url names. A pseudo-terminal is only made if there is a @p portUrl, which is then
/// the bus at its other end; else it is the same as @p url. Null if @p url names no bus, or one that cannot
/// be opened; @p problem says why, in one line.
std::unique_ptr<VOXBus> openBus(const QString &url, QString *problem, QString *portUrl = nullptr);

/// A text that the bus or port @p name cannot be opened for @p reason, and what may help.
QString openProblem(const QString &name, const QString &reason);

/// Whether @p url is a UDP bus to one peer whose port another program has. A bus shares its port without a
/// warning, and then only one of the two hears the peer.
bool isPortTaken(const QString &url);

#endif
