#include "transport/voxbusurl.h"

#include "framework/simplebusdispatcher.h"
#include "transport/ptydevice_p.h"
#include "transport/voxmcastbus.h"
#include "transport/voxudpbus.h"

#include <QFileInfo>
#include <QHostInfo>
#include <QMetaEnum>
#include <QUdpSocket>
#include <QUrl>
#include <QUrlQuery>

#include <algorithm>

namespace {
using BusPointer = std::unique_ptr<VOXBus>;

const QString BaudKey = QStringLiteral("baud");
const QString ParityKey = QStringLiteral("parity");
const QString LocalKey = QStringLiteral("local");
const QString BindKey = QStringLiteral("bind");
const QString AliasKey = QStringLiteral("alias");
const QString LatencyKey = QStringLiteral("latency");

/// Suppresses the log while a bus is made: the bus would warn of problems that the caller reports in a line
/// of its own.
class Silence
{
public:
    Silence()
        : m_previous(qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {}))
    {
    }
    ~Silence() { qInstallMessageHandler(m_previous); }
    Q_DISABLE_COPY_MOVE(Silence)

private:
    QtMessageHandler m_previous;
};

bool readPort(const QString &text, unsigned short *port)
{
    bool isNumber = false;
    *port = text.toUShort(&isNumber);
    return isNumber && *port != 0;
}

/// The address of the host @p name: one of IPv4 if it has any, which is what these buses send from.
bool lookUp(const QString &name, QHostAddress *address, QString *problem)
{
    const QHostInfo info = QHostInfo::fromName(name);
    const QList<QHostAddress> addresses = info.addresses();
    const auto isOld = [](const QHostAddress &each) {
        return each.protocol() == QAbstractSocket::IPv4Protocol;
    };
    const auto found = std::find_if(addresses.cbegin(), addresses.cend(), isOld);
    if (found != addresses.cend())
        *address = *found;
    else if (addresses.isEmpty())
        *problem = QStringLiteral("the host '%1' is not known: %2").arg(name, info.errorString());
    else
        *problem = QStringLiteral("the host '%1' has no address of IPv4").arg(name);
    return found != addresses.cend();
}

bool readItem(const QString &key, const QString &value, VOXBusUrl *parts)
{
    if (key == LocalKey)
        return readPort(value, &parts->local);
    if (key == BindKey)
        return parts->bind.setAddress(value);
    if (key == LatencyKey)
        return readPort(value, &parts->latencyMs);
    parts->alias = value;
    return key == AliasKey;
}

/// False, with @p problem set, if @p url is not of the form of @p example or has other items than @p keys.
bool readSocketUrl(const QUrl &url, const QStringList &keys, const QString &example, VOXBusUrl *parts,
                   QString *problem)
{
    if (url.host().isEmpty() || url.port() < 1 || url.path().size() > 1) {
        *problem = QStringLiteral("'%1' is no bus; %2 is one").arg(parts->text, example);
        return false;
    }
    if (!parts->host.setAddress(url.host()) && !lookUp(url.host(), &parts->host, problem)) {
        *problem = QStringLiteral("'%1': %2").arg(parts->text, *problem);
        return false;
    }
    parts->port = static_cast<unsigned short>(url.port());
    const auto items = QUrlQuery(url).queryItems();
    for (const auto &item : items) {
        if (keys.contains(item.first) && readItem(item.first, item.second, parts))
            continue;
        *problem = QStringLiteral("'%1=%2' in '%3'; taken are %4, with a fitting value: ports and "
                                  "milliseconds from 1 to 65535, addresses such as 127.0.0.1")
                       .arg(item.first, item.second, parts->text, keys.join(QStringLiteral(", ")));
        return false;
    }
    return true;
}

QStringList rateNames()
{
    QStringList names;
    const auto rates = QMetaEnum::fromType<VOXBus::BaudRate>();
    for (int i = 0; i < rates.keyCount(); ++i)
        names += QString::number(rates.value(i));
    return names;
}

bool readSerialItem(const QString &key, const QString &value, VOXBusUrl *parts)
{
    if (key == BaudKey) {
        parts->baudRate = value.toInt();
        return rateNames().contains(value);
    }
    for (const QSerialPort::Parity parity :
         {QSerialPort::OddParity, QSerialPort::EvenParity, QSerialPort::NoParity}) {
        if (key == ParityKey && value == VOXBusUrl::parityName(parity)) {
            parts->parity = parity;
            return true;
        }
    }
    return false;
}

bool readSerialUrl(const QUrl &url, VOXBusUrl *parts, QString *problem)
{
    parts->path = url.path();
    if (url.path().isEmpty() || !url.host().isEmpty()) {
        *problem = QStringLiteral("'%1' is no serial bus; serial:///dev/ttyUSB0 is one").arg(parts->text);
        return false;
    }
    const auto items = QUrlQuery(url).queryItems();
    for (const auto &item : items) {
        if (readSerialItem(item.first, item.second, parts))
            continue;
        *problem = QStringLiteral("'%1=%2' in '%3'; a serial bus takes baud, which is one of %4, and "
                                  "parity, which is odd, even or none")
                       .arg(item.first, item.second, parts->text, rateNames().join(QStringLiteral(", ")));
        return false;
    }
    return true;
}

bool readMulticastUrl(const QUrl &url, VOXBusUrl *parts, QString *problem)
{
    if (!readSocketUrl(url, {BindKey, AliasKey, LatencyKey}, QStringLiteral("mcast://239.0.0.1:4800"), parts,
                       problem))
        return false;
    if (!parts->host.isMulticast())
        *problem = QStringLiteral("%1 is no multicast group").arg(parts->host.toString());
    return parts->host.isMulticast();
}

BusPointer opened(BusPointer bus, const QString &name, QString *problem)
{
    if (bus->isOpen())
        return bus;
    *problem = VOXBusUrl::openProblem(name, bus->errorString());
    return nullptr;
}

BusPointer openSerial(const VOXBusUrl &url)
{
    auto bus = std::make_unique<VOXBus>(url.path);
    // Each open() sets the port up as lines of the network usually are.
    const auto setUp = [bus = bus.get(), rate = static_cast<VOXBus::BaudRate>(url.baudRate),
                        parity = url.parity] {
        if (bus->isOpen()) {
            bus->setBaudRate(rate);
            bus->setParity(parity);
        }
    };
    QObject::connect(bus.get(), &VOXBus::openChanged, bus.get(), setUp);
    bus->open();
    return bus;
}

BusPointer openUdp(const VOXBusUrl &url)
{
    const Silence silence;
    return std::make_unique<VOXUdpBus>(url.host, url.port, url.bind, url.local);
}

BusPointer openMulticast(const VOXBusUrl &url)
{
    const Silence silence;
    auto bus = std::make_unique<VOXMCastBus>(url.host, url.port, url.alias, url.localAddress());
    constexpr unsigned int UsPerMs = 1000;
    if (url.latencyMs != 0)
        static_cast<SimpleBusDispatcher &>(bus->dispatcher()).setNetworkLatency(url.latencyMs * UsPerMs);
    return bus;
}

BusPointer joined(BusPointer bus, const VOXBusUrl &url, QString *problem)
{
    if (!bus || static_cast<VOXMCastBus &>(*bus).isJoined())
        return bus;
    *problem = QStringLiteral("cannot join the group of %1").arg(url.text);
    return nullptr;
}

BusPointer openPty(QString *portUrl)
{
    auto *device = new PtyDevice;
    auto bus = std::make_unique<VOXBus>(device);
    bus->open();
    *portUrl = QStringLiteral("serial://") + device->portName();
    return bus;
}
}

bool VOXBusUrl::read(const QString &name, VOXBusUrl *url, QString *problem)
{
    const QString text = name.startsWith(QLatin1Char('/')) ? QStringLiteral("serial://") + name : name;
    const QUrl parsed(text, QUrl::StrictMode);
    const QString scheme = parsed.isValid() ? parsed.scheme() : QString();
    *url = VOXBusUrl();
    url->text = text;
    if (scheme == QLatin1String("serial")) {
        url->kind = Serial;
        return readSerialUrl(parsed, url, problem);
    }
    if (scheme == QLatin1String("udp")) {
        url->kind = Udp;
        return readSocketUrl(parsed, {LocalKey, BindKey}, QStringLiteral("udp://127.0.0.1:4800?local=4801"),
                             url, problem);
    }
    if (scheme == QLatin1String("mcast")) {
        url->kind = Multicast;
        return readMulticastUrl(parsed, url, problem);
    }
    url->kind = Pty;
    if (text == QLatin1String("pty:"))
        return true;
    *problem = parsed.isValid()
        ? QStringLiteral("'%1' is no bus; serial:///dev/ttyUSB0, udp://127.0.0.1:4800?local=4801, "
                         "mcast://239.0.0.1:4800 and pty: are")
              .arg(text)
        : QStringLiteral("'%1' is no bus: %2")
              .arg(text, parsed.errorString().section(QLatin1Char(';'), 0, 0));
    return false;
}

QString VOXBusUrl::openProblem(const QString &name, const QString &reason)
{
    QString problem = QStringLiteral("cannot open %1: %2").arg(name, reason);
    if (reason.contains(QLatin1String("locking")))
        problem += QStringLiteral("; another program has it");
    const QFileInfo file(name);
    if (file.exists() && !(file.isReadable() && file.isWritable()))
        problem += QStringLiteral("; its group is %1").arg(file.group());
    return problem;
}

QString VOXBusUrl::parityName(QSerialPort::Parity parity)
{
    switch (parity) {
    case QSerialPort::OddParity:
        return QStringLiteral("odd");
    case QSerialPort::EvenParity:
        return QStringLiteral("even");
    case QSerialPort::NoParity:
        return QStringLiteral("none");
    default:
        return QString();
    }
}

QHostAddress VOXBusUrl::localAddress() const
{
    if (!bind.isNull())
        return bind;
    return kind == Multicast ? host : QHostAddress(QHostAddress::AnyIPv4);
}

BusPointer VOXBusUrl::makeBus() const
{
    switch (kind) {
    case Serial:
        return openSerial(*this);
    case Udp:
        return openUdp(*this);
    case Multicast:
        return openMulticast(*this);
    case Pty:
        break;
    }
    return nullptr;
}

BusPointer VOXBusUrl::openBus(const QString &text, QString *problem, QString *portUrl)
{
    VOXBusUrl url;
    if (!VOXBusUrl::read(text, &url, problem))
        return nullptr;
    if (portUrl)
        *portUrl = text;
    if (url.kind != VOXBusUrl::Pty) {
        BusPointer bus = opened(url.makeBus(), url.kind == VOXBusUrl::Serial ? url.path : text, problem);
        return url.kind == VOXBusUrl::Multicast ? joined(std::move(bus), url, problem) : std::move(bus);
    }
    if (portUrl)
        return opened(openPty(portUrl), QStringLiteral("a pseudo-terminal"), problem);
    *problem = QStringLiteral("nobody is at the other end of a new pseudo-terminal");
    return nullptr;
}

bool VOXBusUrl::isPortTaken(const QString &text)
{
    VOXBusUrl url;
    QString problem;
    if (!VOXBusUrl::read(text, &url, &problem) || url.kind != VOXBusUrl::Udp
        || url.host == QHostAddress::Broadcast)
        return false;
    QUdpSocket probe;
    return !probe.bind(url.localAddress(), url.local == 0 ? url.port : url.local,
                       QAbstractSocket::DontShareAddress)
        && probe.error() == QAbstractSocket::AddressInUseError;
}
