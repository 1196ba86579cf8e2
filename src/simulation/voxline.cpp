#include "simulation/voxline.h"

#include "framework/serialdispatcher.h"
#include "simulation/linemember_p.h"
#include "transport/voxbus.h"

#include <QTimerEvent>

#include <algorithm>
#include <chrono>
#include <limits>

namespace {
constexpr qint64 BitsPerByte = 11;
constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 NsPerMs = 1000000;
// Of an adapter, until it hands over what it has.
constexpr qint64 BurstNs = 16 * NsPerMs;
constexpr qint64 LatenessNs = 150 * NsPerMs;
constexpr int ByteValues = 256;

qint64 nowNs()
{
    return std::chrono::steady_clock::now().time_since_epoch() / std::chrono::nanoseconds(1);
}
}

VOXLine::VOXLine(int bitsPerSecond, QObject *parent)
    : QObject(parent)
    , m_bitsPerSecond(std::max(bitsPerSecond, 0))
    , m_latenessNs(LatenessNs)
{
}

VOXLine::~VOXLine() = default;

QIODevice *VOXLine::addMember()
{
    m_members.append(new LineMember(*this));
    return m_members.constLast();
}

VOXBus *VOXLine::addBus(QObject *parent)
{
    auto *const bus = new VOXBus(addMember(), parent);
    constexpr int Most = std::numeric_limits<unsigned short>::max();
    // A line that is faster needs no pace either.
    const int pace = m_bitsPerSecond <= Most ? m_bitsPerSecond : 0;
    static_cast<SerialDispatcher &>(bus->dispatcher()).setBaudRate(static_cast<unsigned short>(pace));
    bus->open();
    return bus;
}

int VOXLine::latency() const
{
    return static_cast<int>(m_latencyNs / NsPerMs);
}

void VOXLine::setLatency(int ms)
{
    m_latencyNs = std::max(ms, 0) * NsPerMs;
    arm();
}

void VOXLine::setEcho(bool hasEcho)
{
    m_hasEcho = hasEcho;
}

void VOXLine::setCut(bool isCut)
{
    m_isCut = isCut;
}

void VOXLine::setMute(const QIODevice *member, bool isMute)
{
    for (LineMember *candidate : qAsConst(m_members)) {
        if (candidate == member)
            candidate->isMute = isMute;
    }
}

void VOXLine::setProbability(Fault fault, double probability)
{
    m_probabilities[fault] = probability;
}

int VOXLine::lateness() const
{
    return static_cast<int>(m_latenessNs / NsPerMs);
}

void VOXLine::setLateness(int ms)
{
    m_latenessNs = std::max(ms, 0) * NsPerMs;
}

void VOXLine::setSeed(quint32 seed)
{
    m_random.seed(seed);
}

void VOXLine::forget(const LineMember &member)
{
    m_members.removeAll(const_cast<LineMember *>(&member));
    // What it has sent arrives all the same, and nobody else may take its place.
    for (Run &run : m_runs) {
        if (run.sender == &member)
            run.sender = nullptr;
    }
}

bool VOXLine::happens(Fault fault)
{
    return m_probabilities[fault] > 0 && std::bernoulli_distribution(m_probabilities[fault])(m_random);
}

char VOXLine::damaged(char byte)
{
    return static_cast<char>(byte ^ static_cast<char>(1 + m_random() % (ByteValues - 1)));
}

// Not a multiple of one byte's time, whose fraction would add up.
qint64 VOXLine::timeOf(int count) const
{
    return m_bitsPerSecond == 0 ? 0 : count * BitsPerByte * NsPerSecond / m_bitsPerSecond;
}

qint64 VOXLine::endOf(const Run &run) const
{
    return run.start + timeOf(static_cast<int>(run.bytes.size()));
}

int VOXLine::countBy(const Run &run, qint64 time) const
{
    const int size = static_cast<int>(run.bytes.size());
    if (time < run.start)
        return 0;
    if (m_bitsPerSecond == 0)
        return size;
    auto count = static_cast<int>(
        std::min<qint64>((time - run.start) / NsPerMs * m_bitsPerSecond / (BitsPerByte * 1000), size));
    while (count < size && run.start + timeOf(count + 1) <= time)
        ++count;
    return count;
}

// Faults leave pauses, and add bytes.
QVector<VOXLine::Run> VOXLine::runsOf(LineMember &sender, const QByteArray &bytes)
{
    QVector<Run> runs;
    qint64 start = std::max(nowNs(), sender.sendsUntil);
    runs.append({&sender, start, {}, {}, 0, 0});
    const auto pause = [&](qint64 ns) {
        start = endOf(runs.constLast()) + ns;
        runs.append({&sender, start, {}, {}, 0, 0});
    };
    for (const char byte : bytes) {
        if (happens(Noise))
            runs.last().bytes += static_cast<char>(m_random() % ByteValues);
        if (happens(Late))
            pause(m_latenessNs);
        if (happens(Lost)) {
            pause(timeOf(1));
            continue;
        }
        runs.last().bytes += happens(Corrupted) ? damaged(byte) : byte;
        if (happens(Doubled))
            runs.last().bytes += runs.constLast().bytes.back();
    }
    runs.last().completes = bytes.size();
    return runs;
}

void VOXLine::send(LineMember &sender, const QByteArray &bytes)
{
    m_byteCount += bytes.size();
    sender.bytesToSend += bytes.size();
    bool hasMet = false;
    const QVector<Run> runs = runsOf(sender, bytes);
    for (Run run : runs) {
        run.damaged.resize(static_cast<std::size_t>(run.bytes.size()));
        sender.sendsUntil = endOf(run);
        for (Run &other : m_runs)
            hasMet = collide(run, other) || hasMet;
        m_runs.push_back(std::move(run));
    }
    m_collisionCount += hasMet ? 1 : 0;
    arm();
    Q_EMIT sent(&sender, bytes);
}

bool VOXLine::collide(Run &one, Run &other) const
{
    const auto isHeard = [](const Run &run) { return !run.sender || !run.sender->isMute; };
    const qint64 from = std::max(one.start, other.start);
    const qint64 to = std::min(endOf(one), endOf(other));
    if (from >= to || one.sender == other.sender || !isHeard(one) || !isHeard(other))
        return false;
    damage(one, from, to);
    damage(other, from, to);
    return true;
}

void VOXLine::damage(Run &run, qint64 from, qint64 to) const
{
    const int size = static_cast<int>(run.bytes.size());
    for (int i = countBy(run, from); i < size && run.start + timeOf(i) < to; ++i)
        run.damaged[static_cast<std::size_t>(i)] = true;
}

void VOXLine::arrive(const Run &run, int index)
{
    const char sound =
        run.damaged[static_cast<std::size_t>(index)] ? damaged(run.bytes.at(index)) : run.bytes.at(index);
    const bool isSilent = m_isCut || (run.sender && run.sender->isMute);
    for (LineMember *member : qAsConst(m_members)) {
        const bool isOwn = run.sender && member == run.sender;
        if ((isOwn && m_hasEcho) || (!isOwn && !isSilent))
            member->receive(sound);
    }
}

// In the order in which they were on the line, also of several senders.
void VOXLine::takeArrived(qint64 now)
{
    for (;;) {
        Run *next = nullptr;
        qint64 end = now - m_latencyNs;
        for (Run &run : m_runs) {
            const qint64 nextEnd = run.start + timeOf(run.arrived + 1);
            if (run.arrived == run.bytes.size() || nextEnd > end || (next && nextEnd == end))
                continue;
            next = &run;
            end = nextEnd;
        }
        if (!next)
            break;
        arrive(*next, next->arrived++);
    }
    for (auto run = m_runs.begin(); run != m_runs.end();) {
        if (run->arrived < run->bytes.size() || endOf(*run) > now - m_latencyNs) {
            ++run;
            continue;
        }
        if (run->sender)
            run->sender->complete(run->completes);
        run = m_runs.erase(run);
    }
}

void VOXLine::arm()
{
    if (m_runs.empty()) {
        m_timer.stop();
        return;
    }
    qint64 next = std::numeric_limits<qint64>::max();
    for (const Run &run : m_runs) {
        const qint64 begun = run.start + timeOf(run.arrived);
        next = std::min(next, std::min(endOf(run), begun + std::max(BurstNs, timeOf(1))));
    }
    const qint64 rest = std::max<qint64>(next + m_latencyNs - nowNs(), 0);
    m_timer.start(static_cast<int>((rest + NsPerMs - 1) / NsPerMs), Qt::PreciseTimer, this);
}

void VOXLine::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    takeArrived(nowNs());
    arm();
    // Slots may delete members, and the line.
    QVector<QPointer<LineMember>> members;
    for (LineMember *member : qAsConst(m_members))
        members.append(member);
    for (const QPointer<LineMember> &member : qAsConst(members)) {
        if (member)
            member->announce();
    }
}
