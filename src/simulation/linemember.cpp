#include "simulation/linemember_p.h"

#include <algorithm>
#include <utility>

LineMember::~LineMember()
{
    if (m_line)
        m_line->forget(*this);
}

void LineMember::close()
{
    m_received.clear();
    m_hasNews = false;
    QIODevice::close();
}

void LineMember::receive(char byte)
{
    if (!isOpen())
        return;
    m_received += byte;
    m_hasNews = true;
}

void LineMember::complete(qint64 count)
{
    bytesToSend -= count;
    m_completed += count;
}

void LineMember::announce()
{
    const QPointer<LineMember> self(this);
    if (m_completed > 0)
        Q_EMIT bytesWritten(std::exchange(m_completed, 0));
    if (!self || !m_hasNews || m_isAnnouncing)
        return;
    m_hasNews = false;
    m_isAnnouncing = true;
    Q_EMIT readyRead();
    if (self)
        m_isAnnouncing = false;
}

qint64 LineMember::readData(char *data, qint64 maxSize)
{
    const int count = static_cast<int>(std::min<qint64>(maxSize, m_received.size()));
    std::copy_n(m_received.constData(), count, data);
    m_received.remove(0, count);
    return count;
}

qint64 LineMember::writeData(const char *data, qint64 size)
{
    if (!m_line) {
        setErrorString(QStringLiteral("The line has gone"));
        return -1;
    }
    m_line->send(*this, QByteArray(data, static_cast<int>(size)));
    return size;
}
