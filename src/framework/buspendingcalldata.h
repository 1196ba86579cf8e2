#ifndef VOX_FRAMEWORK_BUSPENDINGCALLDATA_H
#define VOX_FRAMEWORK_BUSPENDINGCALLDATA_H

#include <vox/framework/busmessage.h>
#include <vox/framework/buspendingcall.h>

#include <QBasicTimer>
#include <QDeadlineTimer>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSharedData>
#include <QVarLengthArray>

class BusCallQueue;
class BusDispatcher;
class BusPendingCallWatcher;

/// One message in flight: what was sent, what came back, and when to give up.
///
/// Lives on its bus's thread. Owned by the BusPendingCallPointers that refer to it. The base ends with the
/// first reply; a subclass may collect several. For dispatchers and subclasses: a host has BusPendingCall.
/// @ingroup framework
class VOX_BUS_EXPORT BusPendingCallData : public QObject, public QSharedData
{
    Q_OBJECT

public:
    /// A call that has not been sent. @p message is prepared; without a @p bus the call can only fail.
    BusPendingCallData(const QSharedDataPointer<BusMessageData> &message, Bus *bus);
    ~BusPendingCallData() override;

    /// Ends the call with @p error. A call that has ended takes neither an error nor a reply any more.
    virtual void setError(BusPendingCall::Error error);
    /// Takes a reply; the base ends the call with it.
    virtual void setReply(const BusMessage &reply);
    /// The replies, in their order of arrival.
    virtual QList<BusMessage> replies() const;
    /// Starts the time-out. The message has been written, and arrives after another @p delay milliseconds.
    virtual void setMessageSent(unsigned int delay);
    /// Ends the call as it is, and tells its dispatcher and its watchers. All but the first invocation do
    /// nothing.
    void finished();
    /// Whether the call keeps collecting for a period, even if its message asks for no answer.
    virtual bool collectsReplies() const;

    ///@{
    /// What was sent, and what has become of it so far.
    const BusMessageData &message() const { return *m_message.constData(); }
    bool isFinished() const { return m_finished; }
    BusPendingCall::Error error() const { return m_error; }
    BusMessage reply() const { return m_reply; }
    ///@}

    /// Lets the bus process what it has received already, until the call has got something of it, for 4 ms at
    /// most.
    void driveBus();

    /// Sets the dispatcher whose handleFinished() is called at the end. Not owned; null for none.
    void setDispatcher(BusDispatcher *dispatcher) { m_dispatcher = dispatcher; }
    ///@{
    /// The watchers that are told of the end. Not owned: a watcher removes itself before it is destroyed. A
    /// watcher that is made after the end is not added.
    void addWatcher(BusPendingCallWatcher *watcher) { m_watchers.append(watcher); }
    void removeWatcher(BusPendingCallWatcher *watcher);
    bool hasWatchers() const { return !m_watchers.isEmpty(); }
    /// The next one to be told, which is removed; null if there is none.
    BusPendingCallWatcher *takeWatcher();
    /// Lets the event loop tell all watchers.
    void announce();
    ///@}
    /// Whether the call must be deleted later, because its own event is being handled.
    bool isInTimerEvent() const { return m_inTimerEvent; }

protected:
    /// Handles the time-out.
    void timerEvent(QTimerEvent *event) override;

    /// Runs the time-out from now on; @p delay in milliseconds, added to the message's own.
    void startTimeout(unsigned int delay);
    /// Ends the call because its time is over; the error is whatever has been stored.
    void timeout();
    /// How much has come so far; a time-out is put off if draining the bus adds to it.
    virtual int progress() const;

    ///@{
    /// The state of the call. The mutex is for what a subclass collects; the base does not use it.
    QSharedDataPointer<BusMessageData> m_message;
    BusMessage m_reply;
    QPointer<Bus> m_bus;
    QBasicTimer m_timer;
    BusPendingCall::Error m_error = BusPendingCall::NoError;
    bool m_finished = false;
    mutable QMutex m_mutex;
    ///@}

private:
    friend class SimpleBusDispatcher;
    friend class BusCallQueue;

    // The place of the call in a queue, which holds a reference.
    struct Link
    {
        const BusCallQueue *queue = nullptr;
        BusPendingCallPointer self;
        BusPendingCallData *previous = nullptr;
        BusPendingCallData *next = nullptr;
    };

    Link m_link;
    bool m_inTimerEvent = false;
    // A time-out that is due waits until then for input that has been received already.
    QDeadlineTimer m_drainEnd;
    bool m_isDraining = false;
    BusDispatcher *m_dispatcher = nullptr;
    QVarLengthArray<BusPendingCallWatcher *, 1> m_watchers;
};

#endif
