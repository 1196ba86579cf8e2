#ifndef VOX_SIMULATION_SHAREDLINE_P_H
#define VOX_SIMULATION_SHAREDLINE_P_H

#include <vox/framework/busmessage.h>
#include <vox/messages/vox.h>

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>

#include <deque>
#include <random>

/// The rate of a line, and how long nodes take to answer.
struct LinePace
{
    /// False if @p words are no "4800" or "4800:5-40"; @p problem says why.
    static bool read(const QString &words, LinePace *pace, QString *problem);
    /// Why there can be no such line; empty if there can.
    QString problem() const;

    /// 0 for no line.
    int bitsPerSecond = 0;
    ///@{
    /// Milliseconds between the end of a request and the beginning of its answer.
    int leastTurnMs = 0;
    int mostTurnMs = 0;
    ///@}
};

/// A line that requests and answers take their time on, one at a time: of those that overlap, each destroys
/// the others.
class SharedLine : public QObject
{
    Q_OBJECT

public:
    /// @p seed decides how long the answers take, and what is left of those that overlap.
    SharedLine(const LinePace &pace, quint32 seed);

    /// A host begins to send, or does so when it has sent what it is at.
    void addRequest(const BusMessage &request);
    /// How long the next answer takes to begin, in nanoseconds. Drawn once for each answer that nodes make,
    /// also for one that stays away: so a fault of one answer leaves the others where they were.
    qint64 drawTurn();
    /// @p node begins to send @p turn nanoseconds from now, or when it has sent what it is at.
    void addAnswer(VOX::Addr node, const QByteArray &bytes, qint64 turn);
    /// @p node begins to send at once. What comes while it is at something else is dropped.
    void addUnasked(VOX::Addr node, const QByteArray &bytes);

Q_SIGNALS:
    /// The end of a request that nobody has destroyed.
    void requestPassed(const BusMessage &request);
    /// The end of what nodes have sent: whole, or what is left of it.
    void bytesPassed(const QByteArray &bytes);

protected:
    void timerEvent(QTimerEvent *event) override;

private:
    /// Times in nanoseconds.
    struct Sending
    {
        VOX::Addr sender;
        qint64 start;
        qint64 end;
        QByteArray bytes;
    };
    using Sendings = std::deque<Sending>;

    void add(VOX::Addr sender, qint64 start, const QByteArray &bytes);
    qint64 endOfLast(VOX::Addr sender) const;
    qint64 now() const;
    /// What passes next, and when it has: one sending, or all that overlap.
    struct Together
    {
        Sendings::iterator rest;
        qint64 end;
    };
    Together first();
    void arm();
    void arrive(const Sendings &together);
    QByteArray collided(const Sendings &together);

    const LinePace m_pace;
    std::mt19937 m_random;
    QElapsedTimer m_clock;
    /// In the order of their starts.
    Sendings m_sendings;
    QBasicTimer m_timer;
};

#endif
