#ifndef TOPLINE_H
#define TOPLINE_H

#include "network/voxnetwork.h"
#include "transport/voxbusurl.h"
#include "vox/line/lineitem.h"
#include "vox/line/linetap.h"

#include <QBasicTimer>
#include <QElapsedTimer>

#include <deque>
#include <functional>
#include <memory>
#include <vector>

/// A line that top shows: the nodes on it, and all that comes over it.
class TopLine : public QObject
{
public:
    using Found = std::function<void(const LineItem &)>;

    virtual VOXNetwork &network() = 0;
    /// The time of what comes now, in nanoseconds since 1970.
    virtual qint64 nowNs() const = 0;
    /// How busy the line was in the last ten seconds.
    virtual int loadPercent() = 0;
    /// What the title says of it.
    virtual QString name() const = 0;
    /// Only a capture can be held.
    virtual void setPaused(bool isPaused) { Q_UNUSED(isPaused) }
    /// Whether nothing comes any more.
    virtual bool isOver() const { return false; }

    /// Called with what comes.
    Found onFound = [](const LineItem &) {};
    /// Called after a part of a capture that is played as fast as it can be; each is as long as that between
    /// two frames on a screen.
    std::function<void()> onPlayed = [] {};
    /// Called when the line has gone for good, with the reason.
    std::function<void(const QString &)> onGone = [](const QString &) {};
};

/// A bus on which a network asks.
class AskingLine : public TopLine
{
public:
    explicit AskingLine(const VOXBusUrl &url);
    /// The same on a bus of somebody else's.
    explicit AskingLine(VOXBus *bus, const QString &name);

    VOXNetwork &network() override { return *m_network; }
    qint64 nowNs() const override { return m_startNs + m_clock.nsecsElapsed(); }
    int loadPercent() override { return m_network->scheduler().loadPercent(); }
    QString name() const override { return m_name; }

private:
    void listen();
    void handleFrame(const QByteArray &frame, bool isOurs);

    const QString m_name;
    const std::unique_ptr<VOXNetwork> m_network;
    const qint64 m_startNs = LineTap::nowNs();
    QElapsedTimer m_clock;
};

/// A network that only hears what somebody else takes from a line.
class HeardLine : public TopLine
{
public:
    /// @p lineRate is that of the line, in bit/s.
    explicit HeardLine(int lineRate = VOXBusUrl().baudRate);

    VOXNetwork &network() override { return m_network; }
    int loadPercent() override;

protected:
    void take(const LineItem &item);

private:
    struct Piece
    {
        qint64 timeNs;
        int bytes;
    };

    const int m_lineRate;
    const std::unique_ptr<VOXBus> m_bus;
    VOXNetwork m_network;
    std::deque<Piece> m_lately;
    qint64 m_lateBytes = 0;
};

/// A bus that is tapped.
class TappedLine : public HeardLine
{
public:
    using HeardLine::HeardLine;
    /// Null if the bus cannot be listened to; @p problem says why.
    static std::unique_ptr<TopLine> open(const VOXBusUrl &url, QString *problem);

    qint64 nowNs() const override { return LineTap::nowNs(); }
    QString name() const override { return m_name; }

private:
    QString m_name;
    std::unique_ptr<LineTap> m_tap;
};

/// A capture that is played.
class PlayedLine : public HeardLine
{
public:
    /// Plays @p speed times as fast as it was; 0 plays all at once.
    PlayedLine(std::vector<LineItem> items, double speed, const QString &name);

    qint64 nowNs() const override;
    QString name() const override { return m_name; }
    void setPaused(bool isPaused) override;
    bool isOver() const override { return m_next == m_items.size(); }

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    void playDue();
    void playPart();

    const std::vector<LineItem> m_items;
    const double m_speed;
    const QString m_name;
    std::size_t m_next = 0;
    // Where the playing has gone on, and since when it does.
    qint64 m_fromNs;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
};

#endif
