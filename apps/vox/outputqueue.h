#ifndef OUTPUTQUEUE_H
#define OUTPUTQUEUE_H

#include <QByteArray>

#include <functional>
#include <memory>

/// Writes to a stream from a thread of its own, so that the caller never waits, even if nobody reads the
/// stream.
class OutputQueue
{
public:
    /// The most bytes that wait to be written. The status of the largest network has room.
    static constexpr qint64 MaxBytes = qint64{64} * 1024 * 1024;

    /// @p failed is called once, on the thread that writes, with the number of the system's error.
    OutputQueue(int descriptor, std::function<void(int)> failed);
    /// Waits until all texts are written, as long as somebody reads them.
    ~OutputQueue();
    Q_DISABLE_COPY_MOVE(OutputQueue)

    /// Drops @p text, and counts it, if it does not fit; then returns false. Once an error has come, forgets
    /// it.
    bool push(const QByteArray &text);
    /// Whether all texts have been written, or an error has come.
    bool isEmpty() const;
    /// Waits until that is so, as long as somebody reads.
    void wait() const;
    /// How many texts have been dropped; 0 until all the others have been written. Then counts anew.
    int takeDropped();

private:
    struct State;
    // The thread shares it, and may outlive this while nobody reads.
    std::shared_ptr<State> m_state;
};

#endif
