#ifndef VOX_SIMULATION_VOXLINE_H
#define VOX_SIMULATION_VOXLINE_H

#include <vox/simulation/simulation_export.h>

#include <QBasicTimer>
#include <QByteArray>
#include <QObject>
#include <QVector>

#include <array>
#include <deque>
#include <random>
#include <vector>

class LineMember;
class QIODevice;
class VOXBus;

/// A serial line in memory, between buses of one program: each byte takes its time, 11 bits at the line's
/// rate, and reaches all members but its sender.
///
/// The line is half duplex: of what two members send at the same time all bytes that overlap arrive damaged.
/// It keeps no one from sending; that is up to those who send, as on a real one. Bytes arrive in bursts, as
/// from the buffer of a serial adapter: those of what was written at once together, or what has come in 16
/// ms, and none before it has wholly passed the line. Goes by the monotonic clock, so also in VOXVirtualTime.
/// An idle line has no timer.
///
/// All members, and their buses, live on the line's thread. They may be deleted at any time, also in slots
/// that the line calls, only a member not in sent() of itself. So may the line, whose members then refuse to
/// send.
/// @ingroup simulation
class VOX_SIMULATION_EXPORT VOXLine : public QObject
{
    Q_OBJECT

public:
    /// What may happen to a single byte.
    enum Fault {
        Lost, ///< It does not arrive.
        Doubled, ///< It arrives twice, the second one in a time of its own.
        Corrupted, ///< Some of its bits arrive turned.
        Late, ///< It, and what is sent behind it, takes lateness() more.
        Noise ///< A byte that nobody has sent arrives ahead of it, in a time of its own.
    };
    Q_ENUM(Fault)

    /// At @p bitsPerSecond; 0 or less is a line that takes no time.
    explicit VOXLine(int bitsPerSecond = 4800, QObject *parent = nullptr);
    ~VOXLine() override;

    /// Another member, not open yet. The caller owns it; a VOXBus that is made on it takes it over. What it
    /// gets while it is closed is lost.
    QIODevice *addMember();
    /// Another member with an open bus on it, which keeps the pace of the line.
    VOXBus *addBus(QObject *parent = nullptr);

    /// 0 is a line that takes no time.
    int bitsPerSecond() const { return m_bitsPerSecond; }
    ///@{
    /// Milliseconds that a byte takes to the other members after it has been sent. 0 at first; also for what
    /// is on its way.
    int latency() const;
    void setLatency(int ms);
    ///@}
    ///@{
    /// Whether members hear themselves, too, as with some adapters. Not at first.
    bool hasEcho() const { return m_hasEcho; }
    void setEcho(bool hasEcho);
    ///@}
    ///@{
    /// Whether the line is cut between all members: what would arrive meanwhile is lost, but for echoes.
    bool isCut() const { return m_isCut; }
    void setCut(bool isCut);
    ///@}
    /// Lets nobody hear @p member while it is mute; it hears the others. Of two members, that leaves one
    /// direction.
    void setMute(const QIODevice *member, bool isMute);

    ///@{
    /// From 0, which it is at first, to 1, for each byte that is sent from now on.
    double probability(Fault fault) const { return m_probabilities[fault]; }
    void setProbability(Fault fault, double probability);
    ///@}
    ///@{
    /// Milliseconds that a late byte takes more; 150 at first, which is more than a bus waits inside a frame.
    int lateness() const;
    void setLateness(int ms);
    ///@}
    /// Throws the dice of faults and of damaged bytes again, as they fall with this seed. It is 1 at first.
    void setSeed(quint32 seed);

    /// Bytes that members have sent.
    qint64 byteCount() const { return m_byteCount; }
    /// How often somebody began to send while somebody else did.
    qint64 collisionCount() const { return m_collisionCount; }

Q_SIGNALS:
    /// What @p member begins to send, as yet without faults.
    void sent(QIODevice *member, const QByteArray &bytes);

protected:
    /// Hands over what has arrived.
    void timerEvent(QTimerEvent *event) override;

private:
    friend class LineMember;

    /// Bytes of one member without a pause. Times in nanoseconds.
    struct Run
    {
        LineMember *sender;
        qint64 start;
        QByteArray bytes;
        std::vector<bool> damaged;
        int arrived;
        // How much of what its sender has written is on the line when it is.
        qint64 completes;
    };

    void send(LineMember &sender, const QByteArray &bytes);
    QVector<Run> runsOf(LineMember &sender, const QByteArray &bytes);
    bool happens(Fault fault);
    /// Another byte.
    char damaged(char byte);
    qint64 timeOf(int count) const;
    qint64 endOf(const Run &run) const;
    int countBy(const Run &run, qint64 time) const;
    bool collide(Run &one, Run &other) const;
    void damage(Run &run, qint64 from, qint64 to) const;
    void takeArrived(qint64 now);
    void arrive(const Run &run, int index);
    void forget(const LineMember &member);
    void arm();

    const int m_bitsPerSecond;
    qint64 m_latencyNs = 0;
    qint64 m_latenessNs;
    bool m_hasEcho = false;
    bool m_isCut = false;
    std::array<double, Noise + 1> m_probabilities{};
    std::minstd_rand m_random{1};
    QVector<LineMember *> m_members;
    // On their way, in the order in which they were begun.
    std::deque<Run> m_runs;
    QBasicTimer m_timer;
    qint64 m_byteCount = 0;
    qint64 m_collisionCount = 0;
};

#endif
