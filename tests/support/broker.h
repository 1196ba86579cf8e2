#ifndef BROKER_H
#define BROKER_H

#include "support/files.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QtTest>

#include <signal.h>

/// A mosquitto of one's own, on a free port of 127.0.0.1, that keeps nothing when it ends.
class Broker
{
public:
    static bool isThere() { return QFile::exists(program()); }

    /// @p settings are further lines of its configuration.
    explicit Broker(const QByteArray &settings = "allow_anonymous true\n")
        : m_settings(settings)
    {
        // Between finding a port and taking it somebody else may.
        for (int i = 0; i < 3 && !m_isUp; ++i) {
            QTcpServer server;
            server.listen(QHostAddress::LocalHost);
            m_port = server.serverPort();
            server.close();
            start();
        }
    }
    ~Broker() { kill(); }
    Q_DISABLE_COPY_MOVE(Broker)

    void start()
    {
        const QByteArray text = "user root\npersistence false\nmax_queued_messages 100000\nlistener "
            + QByteArray::number(m_port) + " 127.0.0.1\n" + m_settings;
        setContents(folder.filePath("conf"), text);
        m_process.setStandardErrorFile(folder.filePath("log"));
        m_process.start(program(), {"-c", folder.filePath("conf")});
        m_isUp = false;
        while (!m_isUp && !m_process.waitForFinished(20)) {
            QTcpSocket socket;
            socket.connectToHost(QHostAddress::LocalHost, m_port);
            m_isUp = socket.waitForConnected(1000);
        }
    }
    void kill()
    {
        m_process.kill();
        m_process.waitForFinished();
    }
    void freeze() { ::kill(pid_t(m_process.processId()), SIGSTOP); }
    void thaw() { ::kill(pid_t(m_process.processId()), SIGCONT); }
    quint16 port() const { return m_port; }
    QString url(const QString &user = QString()) const
    {
        return "mqtt://" + user + "127.0.0.1:" + QString::number(m_port);
    }

    const QTemporaryDir folder;

private:
    static QString program() { return "/usr/sbin/mosquitto"; }

    QByteArray m_settings;
    QProcess m_process;
    quint16 m_port = 0;
    bool m_isUp = false;
};

#endif
