#ifndef PIPEDEVICE_H
#define PIPEDEVICE_H

#include <QIODevice>
#include <QPointer>

/// One end of a line in memory. What is written arrives at the peer, from the event loop; without a peer it
/// is kept. Like real ports, it announces no input from inside the announcement of other input.
class PipeDevice : public QIODevice
{
public:
    static void join(PipeDevice &one, PipeDevice &other);

    /// Lets @p bytes arrive.
    void feed(const QByteArray &bytes);

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_received.size() + QIODevice::bytesAvailable(); }
    bool open(OpenMode mode) override { return !refusesToOpen && QIODevice::open(mode); }
    void close() override;

    QByteArray written;
    bool refusesToOpen = false;
    bool refusesToWrite = false;

protected:
    qint64 readData(char *data, qint64 maxSize) override;
    qint64 writeData(const char *data, qint64 size) override;

private:
    QByteArray m_received;
    QPointer<PipeDevice> m_peer;
    bool m_announcing = false;
};

#endif
