#ifndef PINGER_H
#define PINGER_H

#include "framework/buspendingcall.h"
#include "network/voxscheduler.h"

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QJsonObject>
#include <QPointer>

#include <map>
#include <set>
#include <vector>

class VOXMessage;

/// What has become of the pings to one node, or to all.
struct PingFigures
{
    int lost() const { return sent - answered - late - damaged; }
    /// The time that this share of the answers, late ones too, took at most; -1 if there were none.
    double answerMs(double share) const;
    void add(const PingFigures &other);
    /// Without the times, but for the median and the worst of them.
    QJsonObject toJson() const;

    int sent = 0;
    int answered = 0;
    /// Answered when hosts have given up.
    int late = 0;
    /// What has come was damaged, or among damaged bytes, and heard too late because of them.
    int damaged = 0;
    /// Milliseconds from the request's first byte to the end of the answer.
    std::vector<double> times;
};

/// Asks nodes for echoes, one at a time and each node as often as the others.
///
/// Each ping carries bytes of its own, which the node gives back: an answer belongs to its ping, however late
/// it is. After something damaged, the next ping waits until the receiver has done with it. A refusal is an
/// answer, too, but does not tell to what: a node that refuses gets no other ping while the answer to the
/// last one may be late.
class Pinger : public QObject
{
    Q_OBJECT

public:
    /// After the last ping, answers are waited for so long.
    static constexpr int LateMs = 1000;

    /// @p mark is not to be that of another one on this line.
    Pinger(VOXBus &bus, const QVector<VOX::Addr> &addrs, int count, quint32 mark);

    void start();
    /// Ends at once. What is still in its time to answer does not count.
    void stop();

    const std::map<VOX::Addr, PingFigures> &figures() const { return m_figures; }
    PingFigures sum() const;
    /// How many pings have no answer, or none yet.
    int unanswered() const;
    /// Why the bus does not send any more; empty if it does.
    const QString &problem() const { return m_problem; }
    /// The round that is under way, from 1.
    int round() const { return m_round; }

Q_SIGNALS:
    /// Emitted when a ping has been answered, or its time is over.
    void progressed();
    void finished();

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    struct Ping
    {
        VOX::Addr addr;
        QByteArray data;
        qint64 sentNs;
        /// How many checks had failed before it; -1 if it counts as damaged.
        int checks;
        /// Whether bytes came in its time that are no frame.
        bool isDisturbed;
    };

    void sendNext();
    void handleWritten(const QByteArray &frame);
    void handleHeard(const BusMessage &message);
    void handleDiscarded();
    void handleEnd(const QByteArray &data, const BusPendingCall &call);
    std::vector<Ping>::iterator lastOpen(VOX::Addr addr);
    qint64 ageNs(const Ping &ping) const { return m_clock.nsecsElapsed() - ping.sentNs; }
    void take(std::vector<Ping>::iterator ping);
    /// The present ping has been answered, or is not to be waited for.
    void goOn();
    void finish();
    qint64 limitNs() const;
    qint64 disturbedMs() const;

    VOXScheduler m_scheduler;
    QPointer<VOXBus> m_bus;
    const int m_count;
    const quint32 m_mark;
    std::map<VOX::Addr, PingFigures> m_figures;
    /// Those that were sent and not answered, the oldest first.
    std::vector<Ping> m_open;
    std::set<VOX::Addr> m_refusers;
    /// The bytes of the present ping; empty between two.
    QByteArray m_current;
    std::map<VOX::Addr, PingFigures>::iterator m_next;
    quint32 m_number = 0;
    int m_round = 1;
    int m_checks = 0;
    /// When the last ping ended, and when the line has been quiet for long enough.
    qint64 m_endNs = 0;
    qint64 m_quietNs = 0;
    bool m_isDone = false;
    QElapsedTimer m_clock;
    QBasicTimer m_timer;
    QString m_problem;
};

#endif
