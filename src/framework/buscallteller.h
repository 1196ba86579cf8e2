#ifndef VOX_FRAMEWORK_BUSCALLTELLER_H
#define VOX_FRAMEWORK_BUSCALLTELLER_H

#include <vox/framework/buscallqueue.h>

#include <QObject>

/// Tells the watchers of a bus's calls that these have ended, in the order in which they have.
///
/// Each watcher is told once. One whose slot waits in an event loop holds up none of the others. Part of a
/// dispatcher, on its thread.
/// @ingroup framework
class VOX_BUS_EXPORT BusCallTeller : public QObject
{
    Q_OBJECT

public:
    /// Has nothing to tell at first.
    BusCallTeller() = default;
    /// Leaves what is still to be told to the event loop.
    ~BusCallTeller() override;

    /// Notes that @p call has ended.
    void add(const BusPendingCallPointer &call);
    /// Tells all that is to be told. Slots run in it, which may destroy this.
    void tell();
    /// Tells it in the next pass of the event loop.
    void tellLater();

protected:
    /// The next pass of the event loop.
    void customEvent(QEvent *event) override;

private:
    BusCallQueue m_ended;
    bool m_isPassPosted = false;
    // Set by the destructor, for the innermost tell().
    bool *m_isGone = nullptr;
};

#endif
