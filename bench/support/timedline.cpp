#include "support/timedline.h"

#include <QSocketNotifier>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <sys/timerfd.h>
#include <unistd.h>

namespace {
constexpr qint64 NsPerSecond = 1000000000;

qint64 nowNs()
{
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}
}

TimedLine::TimedLine(qint64 byteTimeNs)
    : m_byteTimeNs(byteTimeNs)
    , m_timer(::timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC))
    , m_notifier(new QSocketNotifier(m_timer, QSocketNotifier::Read, this))
{
    connect(m_notifier, &QSocketNotifier::activated, this, [this] { send(); });
    QIODevice::open(ReadWrite | Unbuffered);
}

TimedLine::~TimedLine()
{
    delete m_notifier;
    ::close(m_timer);
}

void TimedLine::join(TimedLine &one, TimedLine &other)
{
    one.m_peer = &other;
    other.m_peer = &one;
}

qint64 TimedLine::readData(char *data, qint64 maxSize)
{
    const int count = static_cast<int>(std::min<qint64>(maxSize, m_received.size()));
    std::copy_n(m_received.constData(), count, data);
    m_received.remove(0, count);
    return count;
}

qint64 TimedLine::writeData(const char *data, qint64 size)
{
    if (m_waiting.isEmpty())
        m_sentUntilNs = nowNs();
    m_waiting.append(data, static_cast<int>(size));
    armAt(m_sentUntilNs + m_byteTimeNs);
    return size;
}

void TimedLine::armAt(qint64 timeNs)
{
    itimerspec when{};
    when.it_value = {timeNs / NsPerSecond, timeNs % NsPerSecond};
    ::timerfd_settime(m_timer, TFD_TIMER_ABSTIME, &when, nullptr);
}

void TimedLine::send()
{
    std::uint64_t expirations = 0;
    if (::read(m_timer, &expirations, sizeof expirations) < 0)
        return;
    const int count =
        static_cast<int>(std::min<qint64>((nowNs() - m_sentUntilNs) / m_byteTimeNs, m_waiting.size()));
    const QByteArray sent = m_waiting.left(count);
    m_waiting.remove(0, count);
    m_sentUntilNs += count * m_byteTimeNs;
    m_sentBytes += count;
    if (!m_waiting.isEmpty())
        armAt(m_sentUntilNs + m_byteTimeNs);
    m_peer->m_received += sent;
    Q_EMIT m_peer->readyRead();
    Q_EMIT bytesWritten(count);
}
