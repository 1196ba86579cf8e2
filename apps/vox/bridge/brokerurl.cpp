#include "vox/bridge/brokerurl.h"

#include <QFile>
#include <QRegularExpression>
#include <QUrl>

namespace {
constexpr int PlainPort = 1883;
constexpr int TlsPort = 8883;
constexpr qint64 MaxPassword = 65535;
}

bool BrokerUrl::read(const QString &text, BrokerUrl *url, QString *problem)
{
    const QUrl parts(text, QUrl::StrictMode);
    const bool isTls = parts.scheme() == QLatin1String("mqtts");
    // Also in what is no URL: it is not to stand in a log.
    static const QRegularExpression secret(QStringLiteral("^([a-z]+://)?+[^/@]*:.*@"));
    if (!parts.password().isEmpty() || secret.match(text).hasMatch()) {
        *problem = QStringLiteral("a password does not belong into the URL, where everybody on this machine "
                                  "can read it: put it into a file, or into VOX_MQTT_PASSWORD");
        return false;
    }
    const bool isPlace = parts.isValid() && !parts.host().isEmpty()
        && (parts.path().isEmpty() || parts.path() == QLatin1String("/")) && !parts.hasQuery()
        && !parts.hasFragment() && parts.port() != 0;
    if (!isPlace || (!isTls && parts.scheme() != QLatin1String("mqtt"))) {
        *problem = QStringLiteral("'%1' is no mqtt://HOST:PORT or mqtts://USER@HOST:PORT").arg(text);
        return false;
    }
    url->host = parts.host();
    url->port = static_cast<unsigned short>(parts.port(isTls ? TlsPort : PlainPort));
    url->isTls = isTls;
    url->user = parts.userName(QUrl::FullyDecoded);
    return true;
}

QString BrokerUrl::text() const
{
    const QString name = host.contains(QLatin1Char(':')) ? QStringLiteral("[%1]").arg(host) : host;
    return QStringLiteral("%1://%2:%3")
        .arg(isTls ? QStringLiteral("mqtts") : QStringLiteral("mqtt"), name)
        .arg(port);
}

bool readBrokerPassword(const QString &fileName, QByteArray *password, QString *problem)
{
    const QString folder = qEnvironmentVariable("CREDENTIALS_DIRECTORY");
    QString name = fileName;
    if (name.isEmpty() && !folder.isEmpty() && QFile::exists(folder + QStringLiteral("/mqtt-password")))
        name = folder + QStringLiteral("/mqtt-password");
    if (name.isEmpty()) {
        *password = qgetenv("VOX_MQTT_PASSWORD");
        return true;
    }
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
        return false;
    }
    if (file.permissions().testFlag(QFileDevice::ReadOther)) {
        *problem =
            QStringLiteral("everybody on this machine can read %1; 'chmod o-r %1' ends that").arg(name);
        return false;
    }
    *password = file.readLine(MaxPassword).trimmed();
    // The unit of the service gives an empty credential if there is none.
    if (password->isEmpty() && fileName.isEmpty())
        *password = qgetenv("VOX_MQTT_PASSWORD");
    return true;
}
