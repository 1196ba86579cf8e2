#include "support/pipedevice.h"

#include <algorithm>

void PipeDevice::join(PipeDevice &one, PipeDevice &other)
{
    one.m_peer = &other;
    other.m_peer = &one;
}

void PipeDevice::feed(const QByteArray &bytes)
{
    m_received += bytes;
    if (m_announcing)
        return;
    m_announcing = true;
    const QPointer<PipeDevice> self = this;
    Q_EMIT readyRead();
    if (self)
        m_announcing = false;
}

void PipeDevice::close()
{
    QIODevice::close();
    m_received.clear();
}

qint64 PipeDevice::readData(char *data, qint64 maxSize)
{
    const int count = static_cast<int>(qMin(maxSize, qint64(m_received.size())));
    std::copy_n(m_received.constData(), count, data);
    m_received.remove(0, count);
    return count;
}

qint64 PipeDevice::writeData(const char *data, qint64 size)
{
    if (refusesToWrite)
        return -1;
    const QByteArray bytes(data, static_cast<int>(size));
    if (PipeDevice *peer = m_peer)
        QMetaObject::invokeMethod(
            peer, [peer, bytes] { peer->feed(bytes); }, Qt::QueuedConnection);
    else
        written += bytes;
    return size;
}
