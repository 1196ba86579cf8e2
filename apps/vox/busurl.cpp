#include "vox/busurl.h"

#include "framework/simplebusdispatcher.h"
#include "transport/voxmcastbus.h"
#include "transport/voxudpbus.h"
#include "vox/ptydevice.h"

#include <QUrl>
#include <QUrlQuery>

namespace {
using BusPointer = std::unique_ptr<VOXBus>;

const QString LocalKey = QStringLiteral("local");
const QString BindKey = QStringLiteral("bind");
const QString AliasKey = QStringLiteral("alias");
const QString LatencyKey = QStringLiteral("latency");

/// Says nothing while a bus is made: it would warn of what the caller says in a line of its own.
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

BusPointer opened(BusPointer bus, const QString &name, QString *problem)
{
    if (bus->isOpen())
        return bus;
    *problem = QStringLiteral("cannot open %1: %2").arg(name, bus->errorString());
    return nullptr;
}

BusPointer openSerial(const QUrl &url, QString *problem)
{
    if (url.path().isEmpty() || !url.host().isEmpty() || url.hasQuery()) {
        *problem = QStringLiteral("'%1' is no serial bus; serial:///dev/ttyUSB0 is one").arg(url.toString());
        return nullptr;
    }
    auto bus = std::make_unique<VOXBus>(url.path());
    bus->open();
    return opened(std::move(bus), url.path(), problem);
}

bool readPort(const QString &text, unsigned short *port)
{
    bool isNumber = false;
    *port = text.toUShort(&isNumber);
    return isNumber && *port != 0;
}

/// What a URL of a socket says, behind its scheme.
struct SocketUrl
{
    QHostAddress host;
    unsigned short port = 0;
    QHostAddress bind;
    unsigned short local = 0;
    QString alias;
    unsigned short latencyMs = 0;
};

bool readItem(const QString &key, const QString &value, SocketUrl *parts)
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
bool readSocketUrl(const QUrl &url, const QStringList &keys, const QString &example, SocketUrl *parts,
                   QString *problem)
{
    if (!parts->host.setAddress(url.host()) || url.port() < 1 || url.path().size() > 1) {
        *problem = QStringLiteral("'%1' is no bus; %2 is one").arg(url.toString(), example);
        return false;
    }
    parts->port = static_cast<unsigned short>(url.port());
    const auto items = QUrlQuery(url).queryItems();
    for (const auto &item : items) {
        if (keys.contains(item.first) && readItem(item.first, item.second, parts))
            continue;
        *problem = QStringLiteral("'%1=%2' in '%3'; taken are %4, with a fitting value")
                       .arg(item.first, item.second, url.toString(), keys.join(QStringLiteral(", ")));
        return false;
    }
    return true;
}

BusPointer openUdp(const QUrl &url, QString *problem)
{
    SocketUrl parts;
    if (!readSocketUrl(url, {LocalKey, BindKey}, QStringLiteral("udp://127.0.0.1:4800?local=4801"), &parts,
                       problem))
        return nullptr;
    const Silence silence;
    return opened(std::make_unique<VOXUdpBus>(parts.host, parts.port, parts.bind, parts.local),
                  url.toString(), problem);
}

BusPointer openMulticast(const QUrl &url, QString *problem)
{
    SocketUrl parts;
    if (!readSocketUrl(url, {BindKey, AliasKey, LatencyKey}, QStringLiteral("mcast://239.0.0.1:4800"), &parts,
                       problem))
        return nullptr;
    if (!parts.host.isMulticast()) {
        *problem = QStringLiteral("%1 is no multicast group").arg(parts.host.toString());
        return nullptr;
    }
    const Silence silence;
    auto bus = std::make_unique<VOXMCastBus>(parts.host, parts.port, parts.alias, parts.bind);
    constexpr unsigned int UsPerMs = 1000;
    if (parts.latencyMs != 0)
        static_cast<SimpleBusDispatcher &>(bus->dispatcher()).setNetworkLatency(parts.latencyMs * UsPerMs);
    if (!bus->isJoined())
        bus->close();
    return opened(std::move(bus), url.toString(), problem);
}

BusPointer openPty(QString *problem, QString *portUrl)
{
    auto *device = new PtyDevice;
    auto bus = std::make_unique<VOXBus>(device);
    bus->open();
    *portUrl = QStringLiteral("serial://") + device->portName();
    return opened(std::move(bus), QStringLiteral("a pseudo-terminal"), problem);
}
}

BusPointer openBus(const QString &text, QString *problem, QString *portUrl)
{
    const QUrl url(text, QUrl::StrictMode);
    QString other;
    QString &port = portUrl ? *portUrl : other;
    port = text;
    if (url.isValid() && url.scheme() == QLatin1String("serial"))
        return openSerial(url, problem);
    if (url.isValid() && url.scheme() == QLatin1String("udp"))
        return openUdp(url, problem);
    if (url.isValid() && url.scheme() == QLatin1String("mcast"))
        return openMulticast(url, problem);
    if (text == QLatin1String("pty:"))
        return openPty(problem, &port);
    *problem = QStringLiteral("'%1' is no bus; serial:///dev/ttyUSB0, udp://127.0.0.1:4800?local=4801, "
                              "mcast://239.0.0.1:4800 and pty: are")
                   .arg(text);
    return nullptr;
}
