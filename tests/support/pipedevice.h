#ifndef PIPEDEVICE_H
#define PIPEDEVICE_H

#include <QIODevice>
#include <QPointer>

#include <algorithm>
#include <functional>

/// One end of a line in memory. What is written goes to onWrite, or is kept. Like real ports, it announces no
/// input from inside the announcement of other input.
class PipeDevice : public QIODevice
{
public:
    /// Lets @p bytes arrive.
    void feed(const QByteArray &bytes)
    {
        m_received += bytes;
        if (std::exchange(m_announcing, true))
            return;
        const QPointer<PipeDevice> self = this;
        Q_EMIT readyRead();
        if (self)
            m_announcing = false;
    }

    bool isSequential() const override { return true; }
    qint64 bytesAvailable() const override { return m_received.size() + QIODevice::bytesAvailable(); }
    bool open(OpenMode mode) override { return !refusesToOpen && QIODevice::open(mode); }
    void close() override
    {
        QIODevice::close();
        m_received.clear();
    }

    std::function<void(const QByteArray &)> onWrite;
    QByteArray written;
    bool refusesToOpen = false;
    bool refusesToWrite = false;

protected:
    qint64 readData(char *data, qint64 maxSize) override
    {
        const int count = static_cast<int>(qMin(maxSize, qint64(m_received.size())));
        std::copy_n(m_received.constData(), count, data);
        m_received.remove(0, count);
        return count;
    }

    qint64 writeData(const char *data, qint64 size) override
    {
        if (refusesToWrite)
            return -1;
        const QByteArray bytes(data, static_cast<int>(size));
        onWrite ? onWrite(bytes) : void(written += bytes);
        return size;
    }

private:
    QByteArray m_received;
    bool m_announcing = false;
};

#endif
