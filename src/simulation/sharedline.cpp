#include "simulation/sharedline_p.h"

#include "simulation/linetime_p.h"

#include <QStringList>
#include <QTimerEvent>

#include <algorithm>
#include <iterator>
#include <vector>

namespace {
constexpr qint64 NsPerMs = 1000000;
constexpr int LeastRate = 300;
constexpr int MostRate = 115200;
constexpr int MostTurnMs = 10000;
// No node has this address.
constexpr VOX::Addr Host = VOX::HostAddr;

/// A byte of somebody who was not alone on the line.
struct Byte
{
    qint64 start;
    qint64 end;
    char value;
    bool isDamaged;
};
}

bool LinePace::read(const QString &words, LinePace *pace, QString *problem)
{
    const QStringList parts = words.split(QLatin1Char(':'));
    const QStringList times = parts.value(1, QStringLiteral("0-0")).split(QLatin1Char('-'));
    bool areNumbers[3] = {};
    pace->bitsPerSecond = parts.first().toInt(&areNumbers[0]);
    pace->leastTurnMs = times.first().toInt(&areNumbers[1]);
    pace->mostTurnMs = times.last().toInt(&areNumbers[2]);
    const bool isRead =
        parts.size() <= 2 && times.size() == 2 && areNumbers[0] && areNumbers[1] && areNumbers[2];
    *problem = isRead ? pace->problem()
                      : QStringLiteral("'%1' is no line; 4800 is, and 4800:5-40, with the least and the most "
                                       "milliseconds before an answer")
                            .arg(words);
    return problem->isEmpty();
}

QString LinePace::problem() const
{
    if (bitsPerSecond < LeastRate || bitsPerSecond > MostRate)
        return QStringLiteral("a line of %1 bit/s; %2 to %3 are possible")
            .arg(bitsPerSecond)
            .arg(LeastRate)
            .arg(MostRate);
    if (leastTurnMs < 0 || mostTurnMs > MostTurnMs)
        return QStringLiteral("%1 to %2 ms before an answer; 0 to %3 are possible")
            .arg(leastTurnMs)
            .arg(mostTurnMs)
            .arg(MostTurnMs);
    if (leastTurnMs > mostTurnMs)
        return QStringLiteral("%1-%2 ms before an answer: the shorter time comes first")
            .arg(leastTurnMs)
            .arg(mostTurnMs);
    return QString();
}

SharedLine::SharedLine(const LinePace &pace, quint32 seed)
    : m_pace(pace)
    , m_random(seed)
{
    m_clock.start();
}

void SharedLine::addRequest(const BusMessage &request)
{
    add(Host, std::max(now(), endOfLast(Host)), request.data());
}

qint64 SharedLine::drawTurn()
{
    const qint64 range = (m_pace.mostTurnMs - m_pace.leastTurnMs) * NsPerMs;
    return m_pace.leastTurnMs * NsPerMs + std::uniform_int_distribution<qint64>(0, range)(m_random);
}

void SharedLine::addAnswer(VOX::Addr node, const QByteArray &bytes, qint64 turn)
{
    add(node, std::max(now() + turn, endOfLast(node)), bytes);
}

void SharedLine::addUnasked(VOX::Addr node, const QByteArray &bytes)
{
    if (endOfLast(node) <= now())
        add(node, now(), bytes);
}

void SharedLine::add(VOX::Addr sender, qint64 start, const QByteArray &bytes)
{
    const auto isLater = [](qint64 time, const Sending &sending) { return time < sending.start; };
    const qint64 end = start + lineTimeNs(bytes.size(), m_pace.bitsPerSecond);
    m_sendings.insert(std::upper_bound(m_sendings.begin(), m_sendings.end(), start, isLater),
                      {sender, start, end, bytes});
    arm();
}

qint64 SharedLine::endOfLast(VOX::Addr sender) const
{
    qint64 end = 0;
    for (const Sending &sending : m_sendings) {
        if (sending.sender == sender)
            end = std::max(end, sending.end);
    }
    return end;
}

qint64 SharedLine::now() const
{
    return m_clock.nsecsElapsed();
}

SharedLine::Together SharedLine::first()
{
    Together first{m_sendings.begin(), m_sendings.front().end};
    while (first.rest != m_sendings.end()
           && (first.rest == m_sendings.begin() || first.rest->start < first.end)) {
        first.end = std::max(first.end, first.rest->end);
        ++first.rest;
    }
    return first;
}

void SharedLine::arm()
{
    if (m_sendings.empty())
        return;
    const qint64 missing = std::max<qint64>(first().end - now(), 0);
    m_timer.start(static_cast<int>((missing + NsPerMs - 1) / NsPerMs), Qt::PreciseTimer, this);
}

void SharedLine::arrive(const Sendings &together)
{
    if (together.size() > 1)
        Q_EMIT bytesPassed(collided(together));
    else if (together.front().sender == Host)
        Q_EMIT requestPassed(BusMessage(together.front().bytes));
    else
        Q_EMIT bytesPassed(together.front().bytes);
}

// A host does not hear itself.
QByteArray SharedLine::collided(const Sendings &together)
{
    std::vector<Byte> bytes;
    for (const Sending &sending : together) {
        for (int i = 0; sending.sender != Host && i < sending.bytes.size(); ++i) {
            const qint64 start = sending.start + lineTimeNs(i, m_pace.bitsPerSecond);
            const qint64 end = sending.start + lineTimeNs(i + 1, m_pace.bitsPerSecond);
            const bool isDamaged = std::any_of(together.begin(), together.end(), [&](const Sending &other) {
                return &other != &sending && other.start < end && start < other.end;
            });
            bytes.push_back({start, end, sending.bytes.at(i), isDamaged});
        }
    }
    std::stable_sort(bytes.begin(), bytes.end(),
                     [](const Byte &one, const Byte &other) { return one.start < other.start; });
    QByteArray heard;
    qint64 heardUntil = 0;
    for (const Byte &byte : bytes) {
        // Two that come at once are heard as one.
        if (byte.isDamaged && byte.start < heardUntil)
            continue;
        heard += byte.isDamaged ? static_cast<char>(byte.value ^ static_cast<char>(1 + m_random() % 0xff))
                                : byte.value;
        heardUntil = byte.end;
    }
    return heard;
}

void SharedLine::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    const Together passed = first();
    if (passed.end > now()) {
        arm();
        return;
    }
    const Sendings together(m_sendings.begin(), passed.rest);
    m_sendings.erase(m_sendings.begin(), passed.rest);
    arm();
    // A slot may wait in an event loop, or destroy the line.
    arrive(together);
}
