#ifndef OUTPUTQUEUE_H
#define OUTPUTQUEUE_H

#include <QByteArray>

#include <functional>
#include <memory>

/// Writes to a stream that perhaps nobody reads, from a thread of its own: who has something to say never
/// waits.
class OutputQueue
{
public:
    /// Of all that waits to be written. A status of the largest network has room.
    static constexpr qint64 MaxBytes = qint64{64} * 1024 * 1024;

    /// @p failed is called once, on the thread that writes, with the number of the system's error.
    OutputQueue(int descriptor, std::function<void(int)> failed);
    /// Waits for what is still to be written, as long as somebody reads it.
    ~OutputQueue();
    Q_DISABLE_COPY_MOVE(OutputQueue)

    /// Drops @p text, and counts it, if it does not fit. Once an error has come, forgets it.
    void push(const QByteArray &text);
    /// How many texts have been dropped; 0 until all the others have been written. Counts anew from there.
    int takeDropped();

private:
    struct State;
    // The thread shares it, and may outlive this while nobody reads.
    std::shared_ptr<State> m_state;
};

#endif
