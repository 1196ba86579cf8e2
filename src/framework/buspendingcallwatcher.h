#ifndef VOX_FRAMEWORK_BUSPENDINGCALLWATCHER_H
#define VOX_FRAMEWORK_BUSPENDINGCALLWATCHER_H

#include <vox/framework/buspendingcall.h>

#include <QObject>

/// A pending call that tells by a signal when it has finished.
///
/// The signal comes exactly once, also from a watcher made after the end. It never comes from a watcher that
/// is destroyed before, and never from inside BusObject::call(), cancel() or close(). The signals come in the
/// order in which the calls have ended: for a reply at the end of Bus::processData(), for any other end in
/// the next pass of the event loop. A watcher made after the end emits there, too, outside of that order.
/// Lives on the bus's thread; keeps the call's results as long as it lives.
/// @ingroup framework
class VOX_BUS_EXPORT BusPendingCallWatcher : public QObject, public BusPendingCall
{
    Q_OBJECT

public:
    /// @p call may have finished already.
    explicit BusPendingCallWatcher(const BusPendingCall &call, QObject *parent = nullptr);
    ~BusPendingCallWatcher() override;

Q_SIGNALS:
    /// @p call is this watcher. A slot that has no more use for it calls deleteLater().
    void finished(BusPendingCallWatcher *call);

protected:
    /// Emits finished().
    void customEvent(QEvent *event) override;

private:
    friend class BusCallTeller;
    friend class BusPendingCallData;

    // The call that it watches. The BusPendingCall that it is may be assigned another one.
    const BusPendingCallPointer m_watched;
    /// Lets finished() be emitted from the event loop.
    void announce();
};

#endif
