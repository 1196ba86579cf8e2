#include "vox/line/framescanner.h"

#include <algorithm>
#include <utility>

namespace {
constexpr int ControlOffset = 1;
constexpr int MaxGarbage = 64;

/// The length that a frame at @p offset would have; 0 if there is none, -1 if that cannot be told yet.
int lengthAt(const QByteArray &bytes, int offset)
{
    if (bytes.size() - offset <= ControlOffset)
        return -1;
    const int length = ~bytes.at(offset + ControlOffset) & VOXMessage::LengthMask;
    return length < VOXMessage::MinLength ? 0 : length;
}

bool isIntactAt(const QByteArray &bytes, int offset)
{
    const int length = lengthAt(bytes, offset);
    return length > 0 && offset + length <= bytes.size()
        && LineItem::of(bytes.mid(offset, length), 0).isTaken();
}
}

FrameScanner::FrameScanner(std::function<void(const LineItem &)> found)
    : m_found(std::move(found))
{
}

void FrameScanner::feed(const QByteArray &bytes, qint64 timeNs)
{
    m_timeNs = timeNs;
    m_pending += bytes;
    while (takeOne(false)) { }
}

void FrameScanner::flush()
{
    while (!m_pending.isEmpty())
        takeOne(true);
    showGarbage();
}

bool FrameScanner::takeOne(bool isAtEnd)
{
    if (m_pending.isEmpty())
        return false;
    const int length = lengthAt(m_pending, 0);
    const bool isComplete = length > 0 && length <= m_pending.size();
    if (isComplete && isIntactAt(m_pending, 0)) {
        take(length);
        return true;
    }
    // What a good frame begins in was none itself. Further on it makes no difference to this byte.
    const int end = std::min(static_cast<int>(m_pending.size()), length + VOXMessage::MaxLength);
    int good = 1;
    while (good < end && !isIntactAt(m_pending, good))
        ++good;
    const bool isFollowed = good == length || (isAtEnd && length == m_pending.size());
    if (isComplete && isFollowed && good >= length) {
        take(length);
        return true;
    }
    const bool mayGoOn = length < 0 || (length > 0 && m_pending.size() < length + VOXMessage::MaxLength);
    if (!isAtEnd && mayGoOn && good >= m_pending.size())
        return false;
    dropByte();
    return true;
}

void FrameScanner::take(int count)
{
    showGarbage();
    const QByteArray bytes = m_pending.left(count);
    m_pending.remove(0, count);
    m_found(LineItem::of(bytes, m_timeNs));
}

void FrameScanner::dropByte()
{
    m_garbage += m_pending.at(0);
    m_pending.remove(0, 1);
    if (m_garbage.size() >= MaxGarbage)
        showGarbage();
}

void FrameScanner::showGarbage()
{
    if (!m_garbage.isEmpty())
        m_found({m_timeNs, std::exchange(m_garbage, QByteArray()), LineItem::Garbage, VOXMessage()});
}
