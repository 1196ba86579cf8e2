#ifndef SIMULATOR_H
#define SIMULATOR_H

#include <QProcess>
#include <QTemporaryFile>

/// `vox sim` with a network, in a process of its own.
class Simulator
{
public:
    /// Waits until the nodes are there.
    Simulator(const QJsonObject &network, const QString &bus, const QStringList &options);
    ~Simulator();
    Q_DISABLE_COPY_MOVE(Simulator)

    /// Of the bus at the other end, if it is a pseudo-terminal.
    const QString &portUrl() const { return m_portUrl; }

private:
    QTemporaryFile m_config;
    QProcess m_process;
    QString m_portUrl;
};

#endif
