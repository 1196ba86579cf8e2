#include "panel/panelline.h"

#include "framework/busdispatcher.h"
#include "messages/voxcommandtrait.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"
#include "vox/line/lineitem.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QJsonArray>
#include <QJsonObject>
#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr int TickMs = 1000;
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 MsPerSecond = 1000;
/// Seconds are numbered from 0, and a minute before the first one is empty.
constexpr qint64 FirstMs = LineHistory::Seconds * MsPerSecond;
constexpr int BlockBits = 8;

LineHistory::Kind kindOf(int lane)
{
    switch (lane) {
    case VOXScheduler::Stop:
    case VOXScheduler::User:
        return LineHistory::User;
    case VOXScheduler::ReadBack:
    case VOXScheduler::Configure:
        return LineHistory::ReadBack;
    default:
        return LineHistory::Polls;
    }
}
}

PanelLine::PanelLine(const SiteLine &line, VOXBus *bus, Sending sending, QObject *parent)
    : QObject(parent)
    , m_line(line)
    , m_bus(bus)
    , m_sending(sending)
{
    makeNetwork();
    m_timer.start(TickMs, this);
}

PanelLine::~PanelLine()
{
    Q_EMIT networkGoing();
}

void PanelLine::makeNetwork()
{
    VOXBusUrl url;
    QString problem;
    if (!m_bus && VOXBusUrl::read(m_line.bus, &url, &problem))
        m_network = std::make_unique<VOXNetwork>(url);
    else
        m_network = std::make_unique<VOXNetwork>(m_bus.data());
    m_network->setSending(m_sending == Sends);
    connect(m_network.get(), &VOXNetwork::lineChanged, this, &PanelLine::stateChanged);
    connect(m_network.get(), &VOXNetwork::planStretchChanged, this, &PanelLine::stateChanged);
    connect(m_network.get(), &VOXNetwork::noticed, this, [this](const QString &sentence) {
        // The host of a recording is no second one.
        if (m_sending != Replays)
            m_notices += sentence;
        Q_EMIT stateChanged();
    });
    connect(m_network.get(), &VOXNetwork::discovered, this, [this](int count) {
        // Of one that was refused, it has been told why.
        if (!std::exchange(m_isScanning, false))
            return;
        m_scanResult = count == 1 ? tr("One new node found.") : tr("%1 new nodes found.").arg(count);
        Q_EMIT scanningChanged();
    });
    connect(&m_network->scheduler(), &VOXScheduler::unanswered, this, [this] {
        m_history.noteUnanswered(nowMs());
        endExchange(nowMs());
    });
    if (VOXBus *const bus = m_network->scheduler().bus())
        listenTo(*bus);
    for (const SiteGroup &group : m_line.groups)
        m_network->setGroup(group.addr, group.members);
    m_network->setKnownNodes(m_line.known);
    for (const VOX::Addr addr : m_line.nodes)
        m_network->add(addr);
}

void PanelLine::listenTo(VOXBus &bus)
{
    connect(&bus.dispatcher(), &BusDispatcher::heard, this, &PanelLine::handleHeard);
    // Of what is played, play() knows when it was.
    if (m_sending == Replays)
        return;
    connect(&bus.dispatcher(), &BusDispatcher::written, this, &PanelLine::handleWritten);
    connect(&bus, &VOXBus::checkFailed, this, [this] { m_history.noteFailed(nowMs()); });
}

qint64 PanelLine::nowMs()
{
    static const QElapsedTimer clock = [] {
        QElapsedTimer timer;
        timer.start();
        return timer;
    }();
    return clock.elapsed() + FirstMs;
}

qint64 PanelLine::historyMs() const
{
    return m_sending == Replays ? FirstMs + m_playedMs : nowMs();
}

QString PanelLine::problem() const
{
    VOXBusUrl url;
    QString problem;
    if (!m_bus && !VOXBusUrl::read(m_line.bus, &url, &problem))
        return problem;
    return m_network->lineProblem();
}

int PanelLine::loadPercent() const
{
    // The network counts what it sends itself.
    return m_sending == Sends ? m_network->scheduler().loadPercent() : m_history.busyPercent(historyMs());
}

double PanelLine::frameRate() const
{
    return m_history.frameRate(historyMs());
}

int PanelLine::failedChecks() const
{
    return m_history.sum(historyMs()).failed;
}

int PanelLine::unanswered() const
{
    return m_history.sum(historyMs()).unanswered;
}

QString PanelLine::facadeOf(VOX::Addr addr) const
{
    for (const SiteGroup &group : m_line.groups) {
        if (group.members.contains(addr) && !group.name.isEmpty())
            return group.name;
    }
    if (m_line.groups.isEmpty())
        return m_line.name;
    return VOX::toString(addr >> BlockBits << BlockBits);
}

void PanelLine::restart()
{
    m_frames.clear();
    m_history = LineHistory();
    m_recorded = RecordedLine();
    m_playedMs = 0;
    m_notices.clear();
    // Those who show nodes let go of them first. There is one scheduler for a bus at a time.
    Q_EMIT networkGoing();
    m_network.reset();
    makeNetwork();
    Q_EMIT networkChanged();
    Q_EMIT stateChanged();
}

double PanelLine::scanProgress() const
{
    if (!m_isScanning || m_scanLast <= m_scanFirst)
        return -1;
    return static_cast<double>(m_scanAt - m_scanFirst) / (m_scanLast - m_scanFirst + 1);
}

void PanelLine::scan()
{
    m_isScanning = true;
    m_scanFirst = m_scanLast = 0;
    m_scanResult.clear();
    Q_EMIT scanningChanged();
    m_network->discover();
}

void PanelLine::scanRange(const QString &first, const QString &last)
{
    VOX::Addr from = 0;
    VOX::Addr to = 0;
    QString problem;
    if (!VOX::readNodeAddr(first, &from, &problem) || !VOX::readNodeAddr(last, &to, &problem)) {
        m_scanResult = problem;
        Q_EMIT scanningChanged();
        return;
    }
    m_isScanning = true;
    m_scanResult.clear();
    m_scanFirst = m_scanAt = from & VOX::AddrMask;
    m_scanLast = to & VOX::AddrMask;
    Q_EMIT scanningChanged();
    if (!m_network->discoverRange(from, to, &problem)) {
        m_isScanning = false;
        m_scanResult = problem;
        Q_EMIT scanningChanged();
    }
}

// What is on the line

LineHistory::Kind PanelLine::takenLane()
{
    LineHistory::Kind kind = LineHistory::Polls;
    for (int lane = 0; lane < VOXScheduler::LaneCount; ++lane) {
        const auto figures = m_network->scheduler().figures(static_cast<VOXScheduler::Lane>(lane));
        const quint64 sent = figures.sent + figures.repeated;
        if (std::exchange(m_sent[static_cast<std::size_t>(lane)], sent) != sent)
            kind = kindOf(lane);
    }
    return kind;
}

void PanelLine::handleWritten(const QByteArray &frame)
{
    const qint64 now = nowMs();
    endExchange(now);
    m_kind = takenLane();
    m_exchangeMs = now;
    m_history.noteFrame(now);
    m_frames.add(inverted(frame), QDateTime::currentMSecsSinceEpoch() * NsPerMs);
    if (VOXMessage::addrType(frame) == VOX::P2P) {
        noteScanned(VOXMessage(BusMessage(frame)).destAddr(false));
        return;
    }
    // Nobody answers.
    m_exchangeMs = -1;
    m_history.take(
        m_kind, now,
        now + LineHistory::timeOf(static_cast<int>(frame.size()), m_network->scheduler().lineRate()));
}

void PanelLine::handleHeard(const BusMessage &message)
{
    const VOXMessage frame(message);
    if (m_sending != Sends)
        addStranger(frame);
    if (m_sending == Replays)
        return;
    const qint64 now = nowMs();
    m_history.noteFrame(now);
    m_frames.add(inverted(frame.data()), QDateTime::currentMSecsSinceEpoch() * NsPerMs);
    if (m_exchangeMs >= 0 && frame.destAddr(false) == (VOX::HostAddr & VOX::AddrMask))
        endExchange(now);
    else
        m_history.take(LineHistory::Others,
                       now - LineHistory::timeOf(frame.len(), m_network->scheduler().lineRate()), now);
}

/// A range is asked upwards, and nobody else asks who is no node yet.
void PanelLine::noteScanned(VOX::Addr addr)
{
    if (!m_isScanning || addr <= m_scanAt || addr > m_scanLast)
        return;
    m_scanAt = addr;
    Q_EMIT scanProgressed();
}

void PanelLine::play(const LineItem &item, qint64 ms)
{
    m_playedMs = ms;
    m_frames.add(item.bytes, item.timeNs);
    m_recorded.take(item, historyMs(), m_history);
}

void PanelLine::playUntil(qint64 ms)
{
    m_playedMs = ms;
    if (std::exchange(m_toldSecond, ms / MsPerSecond) != ms / MsPerSecond)
        Q_EMIT ticked();
}

void PanelLine::endExchange(qint64 nowMs)
{
    if (m_exchangeMs >= 0)
        m_history.take(m_kind, m_exchangeMs, nowMs);
    m_exchangeMs = -1;
}

/// Who only listens asks nobody whether he is there.
void PanelLine::addStranger(const VOXMessage &frame)
{
    const VOX::Addr source = frame.srcAddr(false);
    const VOX::Addr host = VOX::HostAddr & VOX::AddrMask;
    if (frame.addrType() == VOX::P2P && source != host && frame.destAddr(false) == host
        && !m_network->node(source))
        m_network->add(frame.srcAddr(true));
}

void PanelLine::timerEvent(QTimerEvent *event)
{
    if (event->timerId() == m_timer.timerId())
        Q_EMIT ticked();
    else
        QObject::timerEvent(event);
}
