#include "vox/host/pinger.h"

#include "framework/busdispatcher.h"
#include "messages/kvr.h"
#include "proxies/kvrstdproxy.h"
#include "transport/voxbus.h"
#include "vox/outcome.h"
#include "vox/warnings.h"

#include <QDataStream>
#include <QTimerEvent>

#include <algorithm>
#include <cmath>
#include <utility>

namespace {
constexpr qint64 NsPerMs = 1000000;
constexpr int MsPerSecond = 1000;
constexpr int BitsPerByte = 11;
constexpr int DataLength = 10;
constexpr int FrameLength = VOXMessage::MinLength + DataLength;
/// A receiver drops a byte of what it cannot use after 110 ms at most.
constexpr qint64 QuietNs = 150 * NsPerMs;
constexpr qint64 LongestNs = 1000 * NsPerMs;

/// The bytes of a ping: whose it is, its number, and bits that alternate, which a bad line spoils first.
QByteArray dataOf(quint32 mark, quint32 number)
{
    constexpr quint16 Alternating = 0xaa55;
    QByteArray data;
    QDataStream(&data, QIODevice::WriteOnly) << mark << number << Alternating;
    return data;
}

QByteArray dataIn(const VOXMessage &frame)
{
    return frame.data().mid(VOXMessage::HeaderLength, DataLength);
}
}

double PingFigures::answerMs(double share) const
{
    if (times.empty())
        return -1;
    std::vector<double> sorted = times;
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    const auto place = sorted.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(rank, 1) - 1);
    std::nth_element(sorted.begin(), place, sorted.end());
    return *place;
}

void PingFigures::add(const PingFigures &other)
{
    sent += other.sent;
    answered += other.answered;
    late += other.late;
    damaged += other.damaged;
    times.insert(times.end(), other.times.cbegin(), other.times.cend());
}

QJsonObject PingFigures::toJson() const
{
    constexpr double Median = 0.5;
    constexpr double Worst = 1;
    return {{QStringLiteral("sent"), sent},
            {QStringLiteral("answered"), answered},
            {QStringLiteral("late"), late},
            {QStringLiteral("damaged"), damaged},
            {QStringLiteral("lost"), lost()},
            {QStringLiteral("medianMs"), msOrNull(answerMs(Median))},
            {QStringLiteral("worstMs"), msOrNull(answerMs(Worst))}};
}

Pinger::Pinger(VOXBus &bus, const QVector<VOX::Addr> &addrs, int count, quint32 mark)
    : m_scheduler(&bus)
    , m_bus(&bus)
    , m_count(count)
    , m_mark(mark)
{
    for (const VOX::Addr addr : addrs) {
        m_figures[addr];
        // A ping that is lost is to be seen.
        m_scheduler.setRepeating(addr, false);
    }
    m_next = m_figures.begin();
    connect(&bus.dispatcher(), &BusDispatcher::written, this, &Pinger::handleWritten);
    connect(&bus.dispatcher(), &BusDispatcher::heard, this, &Pinger::handleHeard);
    connect(&bus, &VOXBus::discarded, this, &Pinger::handleDiscarded);
}

PingFigures Pinger::sum() const
{
    PingFigures sum;
    for (const auto &[addr, figures] : m_figures)
        sum.add(figures);
    return sum;
}

int Pinger::unanswered() const
{
    int count = 0;
    for (const auto &[addr, figures] : m_figures)
        count += figures.sent - figures.answered - figures.late;
    return count;
}

void Pinger::start()
{
    m_clock.start();
    m_checks = failedChecks();
    sendNext();
}

void Pinger::stop()
{
    if (std::exchange(m_isDone, true))
        return;
    for (const Ping &ping : m_open)
        m_figures[ping.addr].sent -= ageNs(ping) < limitNs() ? 1 : 0;
    finish();
}

/// How long hosts wait for an answer, counted from the first byte of the request.
qint64 Pinger::limitNs() const
{
    const int rate = m_scheduler.lineRate();
    const int lineMs = rate > 0 ? FrameLength * BitsPerByte * MsPerSecond / rate + 1 : 0;
    return (qint64{VOXCall::DefaultTimeout} + lineMs) * NsPerMs;
}

void Pinger::sendNext()
{
    if (m_next == m_figures.end()) {
        m_next = m_figures.begin();
        ++m_round;
    }
    if (m_round > m_count || m_figures.empty()) {
        m_round = m_count;
        m_isDone = true;
        // An answer may be late.
        m_timer.start(m_open.empty() ? 0 : LateMs, this);
        return;
    }
    const VOX::Addr addr = m_next->first;
    // A refusal does not tell which ping it is for.
    const auto last = lastOpen(addr);
    const qint64 waitMs =
        std::max(last == m_open.end() || m_refusers.count(addr) == 0 ? 0 : LateMs - ageNs(*last) / NsPerMs,
                 disturbedMs());
    if (waitMs > 0) {
        m_timer.start(static_cast<int>(waitMs), this);
        return;
    }
    ++m_next;
    m_current = dataOf(m_mark, ++m_number);
    KVRStdProxy proxy(addr, m_scheduler.lane(VOXScheduler::User));
    proxy.sendDataTest2(m_current).onFinished(
        this, [this, data = m_current](const BusPendingCall &call) { handleEnd(data, call); });
}

void Pinger::handleWritten(const QByteArray &frame)
{
    const VOXMessage request{BusMessage(frame)};
    if (request.cmd() != KVR::SEND_DATA_TEST2 || m_current.isEmpty() || dataIn(request) != m_current)
        return;
    const VOX::Addr addr = request.destAddr(false);
    m_open.push_back({addr, m_current, m_clock.nsecsElapsed(), failedChecks(), false});
    ++m_figures[addr].sent;
}

void Pinger::handleHeard(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (frame.destAddr(false) != (VOX::HostAddr & VOX::AddrMask))
        return;
    const VOX::Addr source = frame.srcAddr(false);
    if (frame.cmd() == KVR::POST_DATA_TEST2) {
        take(std::find_if(m_open.begin(), m_open.end(), [&](const Ping &ping) {
            return ping.addr == source && ping.data == dataIn(frame);
        }));
    } else if (frame.cmd() == KVR::NACK || frame.cmd() == KVR::ACK) {
        m_refusers.insert(source);
        const auto last = lastOpen(source);
        take(last != m_open.end() && ageNs(*last) < LateMs * NsPerMs ? last : m_open.end());
    }
}

void Pinger::handleDiscarded()
{
    m_quietNs = m_clock.nsecsElapsed() + QuietNs;
    if (!m_open.empty() && m_open.back().data == m_current)
        m_open.back().isDisturbed = true;
}

/// How long the receiver may still hold some of what was damaged, in milliseconds. Up to then, it may take
/// what comes for the rest of that, and be late with it. A line that is never quiet is not waited for.
qint64 Pinger::disturbedMs() const
{
    const qint64 endNs = std::min(m_quietNs, m_endNs + LongestNs);
    return (endNs - m_clock.nsecsElapsed() + NsPerMs - 1) / NsPerMs;
}

/// The newest ping to @p addr that has no answer.
std::vector<Pinger::Ping>::iterator Pinger::lastOpen(VOX::Addr addr)
{
    const auto found =
        std::find_if(m_open.rbegin(), m_open.rend(), [addr](const Ping &ping) { return ping.addr == addr; });
    return found == m_open.rend() ? m_open.end() : std::prev(found.base());
}

void Pinger::take(std::vector<Ping>::iterator ping)
{
    if (ping == m_open.end())
        return;
    PingFigures &figures = m_figures[ping->addr];
    const qint64 ns = ageNs(*ping);
    const bool isLate = ns > limitNs();
    if (isLate && ping->isDisturbed) {
        // It has come in time, perhaps, but the receiver had to find it among other bytes.
        figures.damaged += ping->checks < 0 ? 0 : 1;
    } else {
        figures.times.push_back(static_cast<double>(ns) / NsPerMs);
        ++(isLate ? figures.late : figures.answered);
    }
    const bool isCurrent = ping->data == m_current;
    m_open.erase(ping);
    if (isCurrent)
        goOn();
    else if (m_isDone && m_open.empty())
        m_timer.start(0, this);
}

/// The call may have ended by the late answer to an earlier ping. Its own is then still to come.
void Pinger::handleEnd(const QByteArray &data, const BusPendingCall &call)
{
    if (m_isDone || data != m_current)
        return;
    const bool isUnanswered = call.error() == BusPendingCall::Timeout;
    if (call.isError() && !isUnanswered) {
        m_problem = call.errorString();
        stop();
        return;
    }
    const qint64 leftNs = limitNs() - ageNs(m_open.back());
    if (isUnanswered || leftNs <= 0)
        goOn();
    else
        m_timer.start(static_cast<int>(leftNs / NsPerMs) + 1, Qt::PreciseTimer, this);
}

void Pinger::goOn()
{
    m_timer.stop();
    const bool isOpen = !m_open.empty() && m_open.back().data == m_current;
    if (isOpen && failedChecks() > m_open.back().checks) {
        Ping &ping = m_open.back();
        ++m_figures[ping.addr].damaged;
        ping.checks = -1;
    }
    m_current.clear();
    m_endNs = m_clock.nsecsElapsed();
    Q_EMIT progressed();
    // Not from inside the delivery of a frame.
    if (!m_isDone)
        QMetaObject::invokeMethod(
            this, [this] { m_isDone ? void() : sendNext(); }, Qt::QueuedConnection);
}

void Pinger::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    if (m_isDone)
        finish();
    else if (m_current.isEmpty())
        sendNext();
    else
        goOn();
}

void Pinger::finish()
{
    m_timer.stop();
    m_open.clear();
    // The rest of a damaged answer may fail checks later on.
    if (std::any_of(m_figures.begin(), m_figures.end(),
                    [](const auto &node) { return node.second.damaged > 0; }))
        forgetDamage(m_checks);
    Q_EMIT finished();
}
