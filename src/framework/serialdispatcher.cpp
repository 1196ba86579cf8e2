#include "framework/serialdispatcher.h"

#include "framework/busmessagedata.h"

#include <algorithm>

namespace {
constexpr unsigned int HeardFrameDelayMs = 5;
constexpr unsigned int MsPerSecond = 1000;

QDeadlineTimer in(unsigned int ms)
{
    return QDeadlineTimer(ms, Qt::PreciseTimer);
}
}

SerialDispatcher::SerialDispatcher(Bus &bus, unsigned int rate, unsigned char bitsPerByte, QObject *parent)
    : SimpleBusDispatcher(bus, parent)
    , m_rate(rate)
    , m_bitsPerByte(bitsPerByte)
{
}

bool SerialDispatcher::scheduleNext()
{
    if (!hasSendable())
        return false;
    if (!m_lineFree.hasExpired()) {
        scheduleIn(static_cast<int>(m_lineFree.remainingTime()));
        return false;
    }
    return SimpleBusDispatcher::scheduleNext();
}

void SerialDispatcher::setBaudRate(unsigned short rate)
{
    m_rate = rate;
}

unsigned int SerialDispatcher::lineTime(int length) const
{
    if (m_rate == 0)
        return 0;
    const unsigned int bits = static_cast<unsigned int>(length) * m_bitsPerByte;
    return (bits * MsPerSecond + m_rate - 1) / m_rate;
}

unsigned int SerialDispatcher::sentDelay(int length) const
{
    return lineTime(length) + SimpleBusDispatcher::sentDelay(length);
}

void SerialDispatcher::frameSent(int length, unsigned int busFreeDelay)
{
    m_lineFree = in(lineTime(length) + busFreeDelay);
}

void SerialDispatcher::frameHeard(const BusMessageData *call)
{
    m_lineFree = call ? in(call->busFreeDelay()) : std::max(m_lineFree, in(HeardFrameDelayMs));
}
