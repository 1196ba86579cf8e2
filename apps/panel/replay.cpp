#include "panel/replay.h"

#include "transport/voxbus.h"
#include "vox/line/pcapfile.h"

#include <QDateTime>
#include <QFileInfo>
#include <QIODevice>
#include <QTimerEvent>

#include <algorithm>

namespace {
constexpr int TickMs = 33;
constexpr qint64 NsPerMs = 1000000;
/// So many frames are played at once; more would keep the window waiting.
constexpr std::size_t MostAtOnce = 500;
}

Replay::Replay(QObject *parent)
    : QObject(parent)
    , m_player(m_line.addMember())
    , m_bus(m_line.addBus())
{
    m_player->setParent(this);
    m_player->open(QIODevice::ReadWrite);
}

Replay::~Replay()
{
    delete m_bus;
}

bool Replay::load(const QString &fileName, QString *problem)
{
    m_fileName = fileName;
    QString reason;
    const bool isRead = readPcap(fileName, &m_items, &reason);
    if (!isRead && m_items.empty()) {
        *problem = tr("%1. Choose a file that was saved with “Save as pcap”, or by vox monitor --write.")
                       .arg(reason);
        return false;
    }
    if (m_items.empty()) {
        *problem = tr("%1 has no frame in it.").arg(fileName);
        return false;
    }
    // What stands before the damage is shown.
    if (!isRead)
        *problem = reason;
    return true;
}

SiteLine Replay::site() const
{
    SiteLine line;
    line.name = QFileInfo(m_fileName).completeBaseName();
    line.bus = m_fileName;
    return line;
}

void Replay::play(PanelLine &line)
{
    m_panelLine = &line;
    setPlaying(true);
}

double Replay::duration() const
{
    return m_items.empty() ? 0
                           : static_cast<double>(m_items.back().timeNs - m_items.front().timeNs) / NsPerMs;
}

QString Replay::time() const
{
    if (m_items.empty())
        return {};
    const qint64 ms = m_items.front().timeNs / NsPerMs + static_cast<qint64>(m_positionMs);
    return QDateTime::fromMSecsSinceEpoch(ms).toString(QStringLiteral("HH:mm:ss"));
}

void Replay::setPosition(double positionMs)
{
    const double wanted = std::clamp(positionMs, 0.0, duration());
    if (wanted < m_positionMs && m_panelLine) {
        m_panelLine->restart();
        m_next = 0;
    }
    m_positionMs = wanted;
    if (m_panelLine && isCaughtUp())
        m_panelLine->playUntil(static_cast<qint64>(m_positionMs));
    Q_EMIT positionChanged();
    arm();
}

void Replay::setPlaying(bool isPlaying)
{
    // At its end it begins anew.
    if (isPlaying && m_positionMs >= duration() && m_next > 0)
        setPosition(0);
    if (m_isPlaying == isPlaying)
        return;
    m_isPlaying = isPlaying;
    arm();
    Q_EMIT playingChanged();
}

void Replay::setSpeed(int speed)
{
    m_speed = std::clamp(speed, 1, MostSpeed);
    Q_EMIT speedChanged();
}

bool Replay::isCaughtUp() const
{
    return m_next >= m_items.size()
        || static_cast<double>(m_items[m_next].timeNs - m_items.front().timeNs) / NsPerMs > m_positionMs;
}

void Replay::arm()
{
    if (m_timer.isActive() || (!m_isPlaying && isCaughtUp()))
        return;
    m_clock.start();
    m_timer.start(TickMs, Qt::PreciseTimer, this);
}

void Replay::timerEvent(QTimerEvent *event)
{
    if (event->timerId() != m_timer.timerId()) {
        QObject::timerEvent(event);
        return;
    }
    const double passed = static_cast<double>(m_clock.restart());
    if (m_isPlaying && isCaughtUp()) {
        m_positionMs = std::min(duration(), m_positionMs + passed * m_speed);
        Q_EMIT positionChanged();
    }
    feed();
    if (m_panelLine && isCaughtUp())
        m_panelLine->playUntil(static_cast<qint64>(m_positionMs));
    if (m_isPlaying && m_positionMs >= duration() && isCaughtUp())
        setPlaying(false);
    if (!m_isPlaying && isCaughtUp())
        m_timer.stop();
}

void Replay::feed()
{
    for (std::size_t i = 0; i < MostAtOnce && !isCaughtUp(); ++i) {
        const LineItem &item = m_items[m_next++];
        m_player->write(item.bytes);
        if (m_panelLine)
            m_panelLine->play(item, (item.timeNs - m_items.front().timeNs) / NsPerMs);
    }
}
