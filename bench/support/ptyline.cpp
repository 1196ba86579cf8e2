#include "support/ptyline.h"

#include "support/timedline.h"

#include <QFile>
#include <QSocketNotifier>
#include <QTimer>

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <random>
#include <unistd.h>

namespace {
constexpr qint64 ByteTimeNs = 11 * qint64{1000000000} / 4800;
constexpr int TurnRangeMs = 36;

/// The nodes' end: what is written comes onto the line a while later.
class NodesEnd : public TimedLine
{
public:
    explicit NodesEnd(int leastTurnMs)
        : TimedLine(ByteTimeNs)
        , m_leastTurnMs(leastTurnMs)
    {
    }

protected:
    qint64 writeData(const char *data, qint64 size) override
    {
        const int turnMs = m_leastTurnMs + static_cast<int>(m_random() % TurnRangeMs);
        QTimer::singleShot(turnMs, Qt::PreciseTimer, this, [this, bytes = QByteArray(data, int(size))] {
            TimedLine::writeData(bytes.constData(), bytes.size());
        });
        return size;
    }

private:
    const int m_leastTurnMs;
    std::minstd_rand m_random;
};
}

PtyLine::PtyLine(int leastTurnMs)
    : m_master(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK))
    , m_hostEnd(std::make_unique<TimedLine>(ByteTimeNs))
    , m_nodesEnd(std::make_unique<NodesEnd>(leastTurnMs))
{
    if (m_master < 0 || ::grantpt(m_master) != 0 || ::unlockpt(m_master) != 0)
        qFatal("there is no pseudo-terminal");
    m_portName = QFile::decodeName(::ptsname(m_master));
    m_port = ::open(::ptsname(m_master), O_RDWR | O_NOCTTY);
    TimedLine::join(*m_hostEnd, *m_nodesEnd);
    m_notifier = std::make_unique<QSocketNotifier>(m_master, QSocketNotifier::Read);
    QObject::connect(m_notifier.get(), &QSocketNotifier::activated, [this] { relayFromHost(); });
    QObject::connect(m_hostEnd.get(), &QIODevice::readyRead, [this] {
        const QByteArray bytes = m_hostEnd->readAll();
        if (::write(m_master, bytes.constData(), std::size_t(bytes.size())) != bytes.size())
            qFatal("the pseudo-terminal is full");
    });
}

PtyLine::~PtyLine()
{
    m_notifier.reset();
    ::close(m_port);
    ::close(m_master);
}

QIODevice *PtyLine::takeNodesEnd()
{
    return m_nodesEnd.release();
}

void PtyLine::relayFromHost()
{
    std::array<char, 256> buffer{};
    const ssize_t count = ::read(m_master, buffer.data(), buffer.size());
    if (count <= 0)
        return;
    const QByteArray bytes(buffer.data(), static_cast<int>(count));
    if (onHostBytes)
        onHostBytes(bytes);
    m_hostEnd->write(bytes);
}
