#ifndef PTYPORT_H
#define PTYPORT_H

#include "support/pipedevice.h"

#include <QFile>
#include <QSocketNotifier>

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <termios.h>
#include <unistd.h>

/// A serial port of the system, a pseudo-terminal, that is wired to a line in memory.
class PtyPort
{
public:
    explicit PtyPort(PipeDevice &line)
        : m_master(::posix_openpt(O_RDWR | O_NOCTTY))
    {
        if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
            return;
        name = QFile::decodeName(::ptsname(m_master));
        // As long as the port is open here as well, the wire survives that it is closed and opened elsewhere.
        m_slave = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY);
        // Without an echo, and without waiting for the end of a text line.
        termios settings{};
        ::tcgetattr(m_slave, &settings);
        ::cfmakeraw(&settings);
        ::tcsetattr(m_slave, TCSANOW, &settings);
        line.onWrite = [this](const QByteArray &bytes) {
            if (::write(m_master, bytes.constData(), static_cast<std::size_t>(bytes.size())) != bytes.size())
                qWarning("the wire of the pseudo-terminal is broken");
        };
        m_listener = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
        QObject::connect(m_listener.get(), &QSocketNotifier::activated, [this, &line] {
            char bytes[256];
            const ssize_t count = ::read(m_master, bytes, sizeof bytes);
            line.feed(QByteArray(bytes, qMax(0, static_cast<int>(count))));
        });
    }
    ~PtyPort() { unplug(); }
    Q_DISABLE_COPY_MOVE(PtyPort)

    void unplug()
    {
        m_listener.reset();
        ::close(std::exchange(m_slave, -1));
        ::close(std::exchange(m_master, -1));
    }

    /// Empty where the system has no pseudo-terminals.
    QString name;

private:
    int m_master;
    int m_slave = -1;
    std::unique_ptr<QSocketNotifier> m_listener;
};

#endif
