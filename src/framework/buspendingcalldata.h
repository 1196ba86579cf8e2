#ifndef BUSPENDINGCALLDATA_H
#define BUSPENDINGCALLDATA_H

#include "framework/busmessage.h"
#include "framework/buspendingcall.h"

#include <QBasicTimer>
#include <QMutex>
#include <QObject>
#include <QPointer>
#include <QSharedData>
#include <QVarLengthArray>

class BusDispatcher;
class BusPendingCallWatcher;

/// One message in flight: what was sent, what came back, and when to give up.
///
/// Lives on its bus's thread. Owned by the BusPendingCallPointers that refer to it. The base ends with the
/// first reply; a subclass may collect several.
class BUS_EXPORT BusPendingCallData : public QObject, public QSharedData
{
    Q_OBJECT

public:
    BusPendingCallData(const QSharedDataPointer<BusMessageData> &message, Bus *bus);
    ~BusPendingCallData() override;

    /// Ends the call with @p error.
    virtual void setError(BusPendingCall::Error error);
    /// Takes a reply; the base ends the call with it.
    virtual void setReply(const BusMessage &reply);
    virtual QList<BusMessage> replies() const;
    /// The message has been written and needs another @p delay milliseconds to be out and across: starts the
    /// time-out.
    virtual void setMessageSent(unsigned int delay);
    /// Whether the call keeps collecting for a period, even if its message asks for no answer.
    virtual bool collectsReplies() const;

    const BusMessageData &message() const { return *m_message.constData(); }
    bool isFinished() const { return m_finished; }
    BusPendingCall::Error error() const { return m_error; }
    BusMessage reply() const { return m_reply; }

    /// Lets the bus take what it has received already, until the call has got something of it.
    void driveBus();

    void setDispatcher(BusDispatcher *dispatcher) { m_dispatcher = dispatcher; }
    void addWatcher(BusPendingCallWatcher *watcher) { m_watchers.append(watcher); }
    void removeWatcher(BusPendingCallWatcher *watcher);
    bool isInTimerEvent() const { return m_inTimerEvent; }

protected:
    void timerEvent(QTimerEvent *event) override;

    /// Ends the call and tells its dispatcher and its watchers, once however often it is called.
    void finished();
    /// Runs the time-out from now on; @p delay in milliseconds, added to the message's own.
    void startTimeout(unsigned int delay);
    /// Ends the call because its time is over; the error is whatever has been stored.
    void timeout();
    /// How much has come so far; a time-out is put off if draining the bus adds to it.
    virtual int progress() const;

    QSharedDataPointer<BusMessageData> m_message;
    BusMessage m_reply;
    QPointer<Bus> m_bus;
    QBasicTimer m_timer;
    BusPendingCall::Error m_error = BusPendingCall::NoError;
    bool m_finished = false;
    mutable QMutex m_mutex;

private:
    friend class SimpleBusDispatcher;

    bool m_notified = false;
    bool m_inTimerEvent = false;
    BusDispatcher *m_dispatcher = nullptr;
    QVarLengthArray<BusPendingCallWatcher *, 1> m_watchers;
};

#endif
