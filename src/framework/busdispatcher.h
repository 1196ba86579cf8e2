#ifndef VOX_FRAMEWORK_BUSDISPATCHER_H
#define VOX_FRAMEWORK_BUSDISPATCHER_H

#include <vox/framework/buscallteller.h>
#include <vox/framework/buspendingcall.h>

#include <QObject>

class BusPendingCallData;

/// Decides when a bus sends what, and which received frame answers which call.
///
/// Lives on its bus's thread, at least as long as the bus. Called by the bus and by its calls; a host uses
/// BusObject::call() and BusObject::reply().
/// @ingroup framework
class VOX_BUS_EXPORT BusDispatcher : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;
    ~BusDispatcher() override;

    /// Accepts a call for sending and keeps a reference to it until it has ended. May write before it
    /// returns.
    virtual void enqueue(BusPendingCallData *call) = 0;
    /// Called once by the bus when it has been built.
    virtual void init() = 0;
    /// Takes one complete, verified frame from the bus. Slots run in it, which may destroy the bus and this.
    virtual void dispatch(const QByteArray &frame) = 0;
    /// Sends the next frame if the bus allows it. True if one was written, or its write was tried.
    virtual bool scheduleNext() = 0;

    /// Sends an answer, ahead of the queued calls. Dropped if the bus is not open.
    virtual void reply(const BusMessage &message) = 0;
    /// Ends all calls with @p error and drops the answers that wait.
    virtual void endAll(BusPendingCall::Error error) = 0;
    /// A call of this dispatcher has ended, for whatever reason. Its watchers are told by teller().
    virtual void handleFinished(BusPendingCallData *call) = 0;
    /// How many calls wait to be sent.
    virtual int queueLength() const { return 0; }

Q_SIGNALS:
    /// Carries a frame that answers no call. The message has bytes of its own.
    void unhandled(const BusMessage &message);

protected:
    /// Tells the watchers of the calls that have ended.
    BusCallTeller &teller() { return m_teller; }

private:
    BusCallTeller m_teller;
};

#endif
