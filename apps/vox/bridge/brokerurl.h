#ifndef BROKERURL_H
#define BROKERURL_H

#include <QByteArray>
#include <QString>

/// Where a broker is, and as whom to come: mqtt://USER@HOST:PORT, or mqtts:// for TLS.
struct BrokerUrl
{
    /// False if @p text is no such URL, or holds a password, which everybody could read in a list of
    /// processes. @p problem says why.
    static bool read(const QString &text, BrokerUrl *url, QString *problem);

    /// For people and logs: without the user.
    QString text() const;

    QString host;
    unsigned short port = 0;
    bool isTls = false;
    QString user;
};

/// Reads the password for a broker: the first line of @p fileName, else of the credential
/// "mqtt-password" of systemd, else VOX_MQTT_PASSWORD. Empty if there is none. False if a file cannot be
/// read, or if others may read it; @p problem says what to do.
bool readBrokerPassword(const QString &fileName, QByteArray *password, QString *problem);

#endif
