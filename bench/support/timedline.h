#ifndef TIMEDLINE_H
#define TIMEDLINE_H

#include <QByteArray>
#include <QElapsedTimer>
#include <QIODevice>

class QSocketNotifier;

/// One end of a serial line in memory: each byte takes its time until the peer has it.
class TimedLine : public QIODevice
{
public:
    /// @p byteTimeNs in nanoseconds.
    explicit TimedLine(qint64 byteTimeNs);
    ~TimedLine() override;

    static void join(TimedLine &one, TimedLine &other);
    /// Bytes that this end has sent so far.
    qint64 sentBytes() const { return m_sentBytes; }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_received.size() + QIODevice::bytesAvailable(); }

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    void send();
    void armAt(qint64 timeNs);

    const qint64 m_byteTimeNs;
    // A timer of the system: those of Qt have whole milliseconds, and a byte takes 2.3.
    const int m_timer;
    QSocketNotifier *m_notifier;
    TimedLine *m_peer = nullptr;
    QByteArray m_received;
    QByteArray m_waiting;
    qint64 m_sentUntilNs = 0;
    qint64 m_sentBytes = 0;
};

#endif
