#include "transport/ptydevice_p.h"

#include <QFile>
#include <QSocketNotifier>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace {
constexpr int MaxReceived = 4096;
}

PtyDevice::PtyDevice(QObject *parent)
    : QIODevice(parent)
{
}

PtyDevice::~PtyDevice()
{
    PtyDevice::close();
}

bool PtyDevice::open(OpenMode mode)
{
    if (isOpen())
        return true;
    m_master = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC | O_NONBLOCK);
    std::array<char, 128> name{};
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0
        || ::ptsname_r(m_master, name.data(), name.size()) != 0)
        return fail();
    // The port is open here as well, so that the line stays when its users come and go.
    m_port = ::open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    termios settings{};
    if (m_port < 0 || ::tcgetattr(m_port, &settings) != 0)
        return fail();
    // Nothing is echoed or changed, even before a user has set up the port.
    ::cfmakeraw(&settings);
    ::tcsetattr(m_port, TCSANOW, &settings);

    m_portName = QFile::decodeName(name.data());
    m_notifier = new QSocketNotifier(m_master, QSocketNotifier::Read, this);
    connect(m_notifier, &QSocketNotifier::activated, this, &PtyDevice::receive);
    return QIODevice::open(mode);
}

bool PtyDevice::fail()
{
    setErrorString(QString::fromLocal8Bit(std::strerror(errno)));
    PtyDevice::close();
    return false;
}

void PtyDevice::close()
{
    if (isOpen())
        QIODevice::close();
    delete m_notifier;
    m_notifier = nullptr;
    for (int *end : {&m_port, &m_master}) {
        if (*end >= 0)
            ::close(*end);
        *end = -1;
    }
    m_received.clear();
}

void PtyDevice::receive()
{
    std::array<char, 512> bytes{};
    const ssize_t count = ::read(m_master, bytes.data(), bytes.size());
    if (count <= 0)
        return;
    m_received.append(bytes.data(), static_cast<int>(count));
    // The system then holds back a sender that sends more than is taken.
    m_notifier->setEnabled(m_received.size() < MaxReceived);
    Q_EMIT readyRead();
}

qint64 PtyDevice::readData(char *data, qint64 maxSize)
{
    const int count = static_cast<int>(std::min<qint64>(maxSize, m_received.size()));
    std::copy_n(m_received.constData(), count, data);
    m_received.remove(0, count);
    if (m_notifier)
        m_notifier->setEnabled(m_received.size() < MaxReceived);
    return count;
}

qint64 PtyDevice::writeData(const char *data, qint64 size)
{
    if (::write(m_master, data, static_cast<std::size_t>(size)) == size)
        return size;
    setErrorString(QStringLiteral("nobody takes what is sent"));
    return -1;
}
