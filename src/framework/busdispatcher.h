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
    /// Milliseconds until a frame may be written, as far as pauses of the line are concerned; 0: at once.
    virtual int lineFreeIn() const { return 0; }

Q_SIGNALS:
    /// Carries every intact frame that comes, before it is looked at. A slot must not destroy the bus.
    void heard(const BusMessage &message);
    /// Carries every frame of a call or an answer that has been written. A slot must not destroy the bus.
    void written(const QByteArray &frame);
    /// All calls have ended, with @p error: the bus has been closed or is being destroyed. No slot may send.
    void allEnded(BusPendingCall::Error error);
    /// Carries a frame that answers no call. The message has bytes of its own.
    void unhandled(const BusMessage &message);

protected:
    /// Stands on the stack while code runs that may destroy the dispatcher, and tells whether it has. Costs
    /// less than a QPointer; several of these are made for each frame.
    class VOX_BUS_EXPORT Guard
    {
    public:
        /// Stands inside those of @p dispatcher that there are already.
        explicit Guard(BusDispatcher &dispatcher);
        ~Guard();
        Q_DISABLE_COPY_MOVE(Guard)

        /// Whether the dispatcher is still there.
        explicit operator bool() const { return m_dispatcher != nullptr; }

    private:
        friend class BusDispatcher;

        BusDispatcher *m_dispatcher;
        Guard *m_outer;
    };

    /// Notes who listens to heard() and written().
    void connectNotify(const QMetaMethod &signal) override;
    /// Whether somebody has ever listened to them. Few do, and each frame would pay for the signals.
    bool isWatched() const { return m_isWatched; }
    /// Tells the watchers of the calls that have ended.
    BusCallTeller &teller() { return m_teller; }

private:
    BusCallTeller m_teller;
    // The innermost one.
    Guard *m_guard = nullptr;
    bool m_isWatched = false;
};

#endif
