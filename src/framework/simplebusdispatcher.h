#ifndef VOX_FRAMEWORK_SIMPLEBUSDISPATCHER_H
#define VOX_FRAMEWORK_SIMPLEBUSDISPATCHER_H

#include <vox/framework/busdispatcher.h>

#include <QBasicTimer>
#include <QDeadlineTimer>
#include <QVector>

class Bus;

/// Sends first in, first out, with one call at a time waiting for its reply.
///
/// A call that expects no reply does not wait while group calls collect replies. A call that expects one
/// waits until all these periods are over, so that a late refusal is never taken for its answer. Uses one
/// timer, which does not run while the bus is idle. Lives on its bus's thread.
/// @ingroup framework
class VOX_BUS_EXPORT SimpleBusDispatcher : public BusDispatcher
{
    Q_OBJECT

public:
    /// @p bus may still be under construction; it is first used after init().
    SimpleBusDispatcher(Bus &bus, QObject *parent);
    ~SimpleBusDispatcher() override;

    void enqueue(BusPendingCallData *call) override;
    void init() override;
    void dispatch(const QByteArray &frame) override;
    bool scheduleNext() override;
    void reply(const BusMessage &message) override;
    void endAll(BusPendingCall::Error error) override;
    void handleFinished(BusPendingCallData *call) override;
    int queueLength() const override { return m_queue.size(); }
    /// How many answers wait for the line.
    int waitingReplies() const { return m_replies.size(); }

    /// Sets whether the next frame waits until the device has reported the last one written. It waits for the
    /// last one's time-out at most, or for its bus-free delay if that is an answer, which has no time-out.
    /// Off by default.
    void setWaitDeviceWritten(bool wait);
    /// How long a frame may take across the network, in microseconds; added to each time-out,
    /// rounded up to a millisecond. 0 by default.
    void setNetworkLatency(unsigned int latencyUs);

public Q_SLOTS:
    /// The device has written the last frame.
    void deviceWritten();

protected:
    /// Tries again to send.
    void timerEvent(QTimerEvent *event) override;

    /// Milliseconds from the write of a frame of @p length bytes until it has arrived.
    virtual unsigned int sentDelay(int length) const;
    /// A frame of ours is about to be written. Called once more, with zeros, if that fails.
    virtual void frameSent(int length, unsigned int busFreeDelay);
    /// A frame has come; @p call is the message that it answers, null if it answers none.
    virtual void frameHeard(const BusMessageData *call);

    /// Whether an answer waits, or a call that may go now.
    bool hasSendable() const;
    /// Tries again in @p delayMs milliseconds.
    void scheduleIn(int delayMs);

private:
    void pump();
    void send(const BusPendingCallPointer &call);
    bool write(const BusMessageData &message);
    BusPendingCallPointer claimant(const BusMessage &message) const;

    Bus &m_bus;
    QVector<BusMessage> m_replies;
    BusCallQueue m_queue;
    BusPendingCallPointer m_waiting;
    QVector<BusPendingCallPointer> m_collecting;
    QBasicTimer m_timer;
    bool m_isTimerImmediate = false;
    QDeadlineTimer m_writtenDeadline;
    unsigned int m_latencyUs = 0;
    bool m_waitDeviceWritten = false;
    bool m_written = true;
    // Set while a caller further up will pump afterwards: nothing is sent from inside a write or the end of a
    // call.
    bool m_busy = false;
    // Set while dispatch() will tell the watchers afterwards.
    bool m_willTell = false;
};

#endif
