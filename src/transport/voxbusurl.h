#ifndef VOX_TRANSPORT_VOXBUSURL_H
#define VOX_TRANSPORT_VOXBUSURL_H

#include <vox/messages/vox_export.h>

#include <QHostAddress>
#include <QSerialPort>
#include <QString>

#include <memory>

class VOXBus;

/// The parts of a bus's URL:
///
///     serial:///dev/ttyUSB0?baud=RATE&parity=PARITY
///     udp://DESTINATION:PORT?local=PORT&bind=ADDRESS
///     mcast://GROUP:PORT?bind=ADDRESS&alias=NAME&latency=MS
///     pty:
///
/// What follows the question mark may be left out. RATE is one of VOXBus::BaudRate, and PARITY one of "odd",
/// "even" and "none"; without them a serial port gets the network's 4800 bit/s and odd parity.
///
/// A path, as /dev/ttyUSB0, is that of a serial port. A host name in place of an address is looked up, which
/// may take as long as the system's resolver does. A value, from any thread.
/// @ingroup transport
struct VOX_EXPORT VOXBusUrl
{
    /// The kinds of buses, by the scheme of the URL.
    enum Kind : int { Serial, Udp, Multicast, Pty };

    /// False if @p text is no such URL; @p problem says why, in one line.
    static bool read(const QString &text, VOXBusUrl *url, QString *problem);

    /// The bus of this URL, on the calling thread: open if it can be, else open() may be tried again. Null
    /// for a pseudo-terminal. A serial bus gets the rate and the parity of the URL each time that it is
    /// opened. Qt's log is silent meanwhile, as in openBus().
    std::unique_ptr<VOXBus> makeBus() const;

    /// Opens the bus that @p text names, on the calling thread. A pseudo-terminal is only made if there is a
    /// @p portUrl, which is then the bus at its other end; else it is the same as @p text. Null if @p text
    /// names no bus, or one that cannot be opened; @p problem says why, in one line. While the bus is made,
    /// Qt's log is silent in the whole process.
    static std::unique_ptr<VOXBus> openBus(const QString &text, QString *problem, QString *portUrl = nullptr);

    /// A text that the bus or port @p name cannot be opened for @p reason, and what may help.
    static QString openProblem(const QString &name, const QString &reason);

    /// The word for a parity in URLs: "odd", "even" or "none"; empty for another one.
    static QString parityName(QSerialPort::Parity parity);

    /// Whether @p text is a UDP bus to one peer whose port another program has. A bus shares its port without
    /// a warning, and then only one of the two hears the peer.
    static bool isPortTaken(const QString &text);

    /// The address that a socket binds to: @c bind, or else any address. For multicast it is else that of the
    /// group, because a socket that is bound to any address hears the other groups on its port, too.
    QHostAddress localAddress() const;

    QString text; ///< The whole URL.
    Kind kind = Pty; ///< Which of the members below count.
    QString path; ///< Of a serial port.
    int baudRate = 4800; ///< Of a serial port, in bit/s.
    QSerialPort::Parity parity = QSerialPort::OddParity; ///< Of a serial port.
    QHostAddress host; ///< Where a UDP bus sends to, or the multicast group.
    unsigned short port = 0; ///< Of the destination; for multicast, also the one that is listened to.
    QHostAddress bind; ///< Null for any address.
    unsigned short local = 0; ///< 0 for the same as the port.
    QString alias; ///< Of a multicast bus.
    unsigned short latencyMs = 0; ///< 0 if the URL names none.
};

#endif
