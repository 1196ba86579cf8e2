#include "vox/top/topline.h"

#include "framework/busdispatcher.h"
#include "framework/serialdispatcher.h"
#include "messages/voxcommandtrait.h"
#include "transport/voxbus.h"

#include <QBuffer>
#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr qint64 NsPerMs = 1000000;
constexpr qint64 NsPerSecond = 1000000000;
constexpr int BitsPerByte = 11;

/// An open bus on which nothing ever comes or goes.
std::unique_ptr<VOXBus> makeDeadBus()
{
    auto bus = std::make_unique<VOXBus>(new QBuffer);
    bus->open();
    return bus;
}
}

// Asking

AskingLine::AskingLine(const VOXBusUrl &url)
    : m_name(url.text)
    , m_network(std::make_unique<VOXNetwork>(url))
{
    listen();
}

AskingLine::AskingLine(VOXBus *bus, const QString &name)
    : m_name(name)
    , m_network(std::make_unique<VOXNetwork>(bus))
{
    listen();
}

void AskingLine::listen()
{
    m_clock.start();
    VOXScheduler &scheduler = m_network->scheduler();
    // Behind a gateway there is a serial line, too.
    if (scheduler.lineRate() == 0)
        scheduler.setLineRate(VOXBusUrl().baudRate);
    const VOXBus *const bus = scheduler.bus();
    connect(&bus->dispatcher(), &BusDispatcher::heard, this,
            [this](const BusMessage &message) { handleFrame(message.data(), false); });
    connect(&bus->dispatcher(), &BusDispatcher::written, this,
            [this](const QByteArray &frame) { handleFrame(frame, true); });
    connect(bus, &VOXBus::discarded, this,
            [this](const QByteArray &bytes) { onFound(LineItem::noFrame(bytes, nowNs())); });
    // What comes of it is to be seen, too.
    QMetaObject::invokeMethod(m_network.get(), &VOXNetwork::discover, Qt::QueuedConnection);
}

/// The time of an item is that of its last byte. What is written to a serial port takes its time from then
/// on.
void AskingLine::handleFrame(const QByteArray &frame, bool isOurs)
{
    const VOXBus *const bus = m_network->scheduler().bus();
    const auto *serial = qobject_cast<SerialDispatcher *>(&bus->dispatcher());
    const qint64 lineNs = isOurs && serial
        ? qint64{frame.size()} * BitsPerByte * NsPerSecond / m_network->scheduler().lineRate()
        : 0;
    onFound(LineItem::of(inverted(frame), nowNs() + lineNs));
}

// Listening

HeardLine::HeardLine(int lineRate)
    : m_lineRate(lineRate)
    , m_bus(makeDeadBus())
    , m_network(m_bus.get())
{
    m_network.setSending(false);
}

void HeardLine::take(const LineItem &item)
{
    m_lately.push_back({item.timeNs, static_cast<int>(item.bytes.size())});
    m_lateBytes += item.bytes.size();
    if (item.isTaken()) {
        const VOXMessage &frame = item.frame;
        const bool isReply = frame.addrType() == VOX::P2P && frame.destAddr(false) == VOXBus::addr()
            && VOXCommandTrait::of(frame).kind == VOXCommandTrait::Other;
        // So that also this frame counts.
        if (isReply)
            m_network.add(frame.srcAddr(true));
        m_bus->dispatcher().dispatch(frame.data());
    }
    onFound(item);
}

int HeardLine::loadPercent()
{
    constexpr qint64 WindowNs = 10 * NsPerSecond;
    constexpr int Percent = 100;
    const qint64 now = nowNs();
    for (; !m_lately.empty() && m_lately.front().timeNs < now - WindowNs; m_lately.pop_front())
        m_lateBytes -= m_lately.front().bytes;
    const qint64 busyNs = m_lateBytes * BitsPerByte * NsPerSecond / m_lineRate;
    return static_cast<int>(std::min<qint64>(busyNs * Percent / WindowNs, Percent));
}

std::unique_ptr<TopLine> TappedLine::open(const VOXBusUrl &url, QString *problem)
{
    auto line = std::make_unique<TappedLine>(url.baudRate);
    TappedLine *const self = line.get();
    line->m_tap = LineTap::open(
        url, [self](const LineItem &item) { self->take(item); }, problem);
    if (!line->m_tap)
        return nullptr;
    line->m_tap->onGone = [self](const QString &reason) { self->onGone(reason); };
    const QString limitation = line->m_tap->limitation();
    line->m_name = limitation.isEmpty() ? url.text : QStringLiteral("%1, one way").arg(url.text);
    return line;
}

// Playing

PlayedLine::PlayedLine(std::vector<LineItem> items, double speed, const QString &name)
    : m_items(std::move(items))
    , m_speed(speed)
    , m_name(name)
    , m_fromNs(m_items.empty() ? 0 : m_items.front().timeNs)
{
    setPaused(false);
}

qint64 PlayedLine::nowNs() const
{
    if (m_items.empty())
        return 0;
    if (isOver() || m_speed == 0)
        return isOver() ? m_items.back().timeNs : m_fromNs;
    const double passedNs = m_clock.isValid() ? static_cast<double>(m_clock.nsecsElapsed()) * m_speed : 0;
    return std::min(m_fromNs + static_cast<qint64>(passedNs), m_items.back().timeNs);
}

void PlayedLine::setPaused(bool isPaused)
{
    m_fromNs = nowNs();
    m_timer.stop();
    m_clock.invalidate();
    if (isPaused || isOver())
        return;
    m_clock.start();
    m_timer.start(0, this);
}

void PlayedLine::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    m_timer.stop();
    playDue();
}

void PlayedLine::playDue()
{
    constexpr double MaxPauseMs = 1000;
    if (m_speed == 0) {
        playPart();
        return;
    }
    while (!isOver() && m_items[m_next].timeNs <= nowNs())
        take(m_items[m_next++]);
    if (isOver())
        return;
    const double leftMs = static_cast<double>(m_items[m_next].timeNs - nowNs()) / NsPerMs / m_speed;
    m_timer.start(static_cast<int>(std::min(leftMs, MaxPauseMs)) + 1, Qt::PreciseTimer, this);
}

void PlayedLine::playPart()
{
    constexpr qint64 PartNs = 200 * NsPerMs;
    if (isOver())
        return;
    const qint64 endNs = m_items[m_next].timeNs + PartNs;
    while (!isOver() && m_items[m_next].timeNs <= endNs) {
        m_fromNs = m_items[m_next].timeNs;
        take(m_items[m_next++]);
    }
    onPlayed();
    m_timer.start(0, this);
}
