#include "vox/busurl.h"

#include "transport/voxudpbus.h"

#include <QUrl>
#include <QUrlQuery>

namespace {
using BusPointer = std::unique_ptr<VOXBus>;

const QString LocalKey = QStringLiteral("local");
const QString BindKey = QStringLiteral("bind");

BusPointer openSerial(const QUrl &url, QString *problem)
{
    if (url.path().isEmpty() || !url.host().isEmpty() || url.hasQuery()) {
        *problem = QStringLiteral("'%1' is no serial bus; serial:///dev/ttyUSB0 is one").arg(url.toString());
        return nullptr;
    }
    auto bus = std::make_unique<VOXBus>(url.path());
    if (bus->open())
        return bus;
    *problem = QStringLiteral("cannot open %1: %2").arg(url.path(), bus->errorString());
    return nullptr;
}

bool readPort(const QString &text, unsigned short *port)
{
    bool isNumber = false;
    *port = text.toUShort(&isNumber);
    return isNumber && *port != 0;
}

BusPointer openUdp(const QUrl &url, QString *problem)
{
    QHostAddress destination;
    QHostAddress local;
    unsigned short localPort = 0;
    const QUrlQuery query(url);
    if (!destination.setAddress(url.host()) || url.port() < 1 || url.path().size() > 1) {
        *problem =
            QStringLiteral("'%1' is no UDP bus; udp://127.0.0.1:4800?local=4801 is one").arg(url.toString());
        return nullptr;
    }
    const auto items = query.queryItems();
    for (const auto &item : items) {
        const bool taken = (item.first == LocalKey && readPort(item.second, &localPort))
            || (item.first == BindKey && local.setAddress(item.second));
        if (!taken) {
            *problem = QStringLiteral("'%1=%2' in '%3'; local=PORT and bind=ADDRESS are taken")
                           .arg(item.first, item.second, url.toString());
            return nullptr;
        }
    }
    // The bus warns of a failed bind; the caller says it in a line of its own.
    const QtMessageHandler previous =
        qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &) {});
    const auto port = static_cast<unsigned short>(url.port());
    auto bus = std::make_unique<VOXUdpBus>(destination, port, local, localPort);
    qInstallMessageHandler(previous);
    if (bus->isOpen())
        return bus;
    *problem = QStringLiteral("cannot open %1: %2").arg(url.toString(), bus->errorString());
    return nullptr;
}
}

BusPointer openBus(const QString &text, QString *problem)
{
    const QUrl url(text, QUrl::StrictMode);
    if (url.isValid() && url.scheme() == QLatin1String("serial"))
        return openSerial(url, problem);
    if (url.isValid() && url.scheme() == QLatin1String("udp"))
        return openUdp(url, problem);
    *problem = QStringLiteral("'%1' is no bus; serial:///dev/ttyUSB0 and udp://127.0.0.1:4800?local=4801 are")
                   .arg(text);
    return nullptr;
}
