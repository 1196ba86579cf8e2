#include "framework/busdatareader.h"

#include <algorithm>
#include <cstring>

BusDataReader::BusDataReader(const BusMessage &message, unsigned int offset, int size)
    : m_message(message)
    , m_cursor(static_cast<int>(std::min<unsigned int>(offset, Overrun)))
    , m_end(std::min<qint64>(qint64(offset) + size, message.data().size()))
{
    if (size < 0)
        m_end = -1;
}

BusDataReader &BusDataReader::operator>>(char &value)
{
    read(&value, 1);
    return *this;
}

unsigned int BusDataReader::read(char *target, unsigned int count)
{
    if (fail() || qint64(m_cursor) + count > m_end) {
        m_cursor = Overrun;
        return 0;
    }
    if (count > 0)
        std::memcpy(target, m_message.data().constData() + m_cursor, count);
    m_cursor += static_cast<int>(count);
    return count;
}

void BusDataReader::skip(int count)
{
    if (!fail())
        m_cursor += std::min(count, Overrun - 1 - m_cursor);
}
