#include "framework/busdatawriter.h"

#include <algorithm>
#include <cstring>

BusDataWriter::BusDataWriter(BusMessage &message, unsigned int offset, int size)
    : m_message(&message)
    , m_cursor(static_cast<int>(std::min<unsigned int>(offset, Overrun)))
    , m_end(size < 0 ? -1 : qint64(offset) + size)
{
}

BusDataWriter &BusDataWriter::operator<<(char value)
{
    write(&value, 1);
    return *this;
}

unsigned int BusDataWriter::write(const char *source, unsigned int count)
{
    // The message may have been shortened since.
    const qint64 end = std::min<qint64>(m_end, static_cast<const BusMessage *>(m_message)->data().size());
    if (fail() || qint64(m_cursor) + count > end) {
        m_cursor = Overrun;
        return 0;
    }
    if (count > 0)
        std::memcpy(m_message->data().data() + m_cursor, source, count);
    m_cursor += static_cast<int>(count);
    return count;
}
