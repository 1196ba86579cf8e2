#ifndef VOX_FRAMEWORK_BUSCALLQUEUE_H
#define VOX_FRAMEWORK_BUSCALLQUEUE_H

#include <vox/framework/buspendingcallpointer.h>

#include <QtGlobal>

/// Pending calls in order, the oldest first. A call is in one queue at most.
///
/// The calls themselves hold the links: nothing is allocated, and appending or taking out a call takes the
/// same time however many there are. Holds a reference to each of its calls. Used on the bus's thread.
/// @ingroup framework
class VOX_BUS_EXPORT BusCallQueue
{
public:
    /// Empty.
    BusCallQueue() = default;
    ~BusCallQueue();
    Q_DISABLE_COPY_MOVE(BusCallQueue)

    ///@{
    /// How many calls there are.
    bool isEmpty() const { return m_first == nullptr; }
    int size() const { return m_size; }
    ///@}

    /// The oldest; null if the queue is empty. Adds no reference.
    BusPendingCallData *first() const { return m_first; }
    /// Adds @p call, which is in no queue.
    void append(const BusPendingCallPointer &call);
    /// Takes @p call out, which must be in this queue. Gives the reference that the queue held.
    BusPendingCallPointer take(BusPendingCallData *call);
    /// Takes the oldest out; the queue must not be empty.
    BusPendingCallPointer takeFirst() { return take(m_first); }
    /// Whether @p call is in this queue.
    bool contains(const BusPendingCallData *call) const;

private:
    BusPendingCallData *m_first = nullptr;
    BusPendingCallData *m_last = nullptr;
    int m_size = 0;
};

#endif
