#include "support/simulator.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QJsonObject>

Simulator::Simulator(const QJsonObject &network, const QString &bus, const QStringList &options)
{
    if (m_config.open())
        m_config.write(QJsonDocument(network).toJson());
    m_config.close();
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    const QStringList arguments{QStringLiteral("sim"),      QStringLiteral("--json"),
                                QStringLiteral("--bus"),    bus,
                                QStringLiteral("--config"), m_config.fileName()};
    m_process.start(QCoreApplication::applicationDirPath() + QStringLiteral("/../apps/vox"),
                    arguments + options);
    while (!m_process.canReadLine() && m_process.waitForReadyRead()) { }
    const QJsonObject ready = QJsonDocument::fromJson(m_process.readLine()).object();
    m_portUrl = ready.value(QStringLiteral("ready")).toString();
    if (m_portUrl.isEmpty())
        qFatal("vox sim has not begun");
}

Simulator::~Simulator()
{
    m_process.closeWriteChannel();
    m_process.terminate();
    m_process.waitForFinished();
}
