#include "vox/line/framescanner.h"

#include <utility>

namespace {
constexpr int MinBytes = 2;
constexpr int MaxGarbage = 64;
}

FrameScanner::FrameScanner(std::function<void(const LineItem &)> found)
    : m_found(std::move(found))
    , m_cutter(MinBytes)
{
}

void FrameScanner::feed(const QByteArray &bytes, qint64 timeNs)
{
    m_timeNs = timeNs;
    m_pending += bytes;
    cut();
}

void FrameScanner::pause()
{
    if (!m_pending.isEmpty())
        dropByte();
    cut();
    if (m_pending.isEmpty())
        showGarbage();
}

void FrameScanner::flush()
{
    while (hasPending())
        pause();
}

void FrameScanner::cut()
{
    for (;;) {
        const VOXFrameCutter::Cut cut = m_cutter.cut(m_pending);
        if (cut.kind == VOXFrameCutter::Cut::Wait)
            return;
        const int length = static_cast<int>(cut.frame.size());
        if (cut.isGood()) {
            showGarbage();
            m_found(LineItem::of(m_pending.left(length), m_timeNs));
            m_pending.remove(0, length);
            continue;
        }
        if (cut.kind == VOXFrameCutter::Cut::Frame)
            m_failed.insert(static_cast<int>(m_garbage.size()), length);
        dropByte();
    }
}

void FrameScanner::dropByte()
{
    m_garbage += m_pending.at(0);
    m_pending.remove(0, 1);
    // Bytes that may yet turn out to be a frame are kept together.
    if (m_garbage.size() >= MaxGarbage + VOXMessage::MaxLength)
        showGarbage();
}

void FrameScanner::showGarbage()
{
    const QByteArray garbage = std::exchange(m_garbage, QByteArray());
    const QMap<int, int> failed = std::exchange(m_failed, {});
    const int end = static_cast<int>(garbage.size());
    int shown = 0;
    const auto showUpTo = [&](int offset) {
        for (; shown < offset; shown = std::min(offset, shown + MaxGarbage))
            m_found({m_timeNs, garbage.mid(shown, std::min(offset - shown, MaxGarbage)), LineItem::Garbage,
                     VOXMessage()});
    };
    for (auto frame = failed.cbegin(); frame != failed.cend(); ++frame) {
        const int after = frame.key() + frame.value();
        if (frame.key() < shown || (after != end && !failed.contains(after)))
            continue;
        showUpTo(frame.key());
        m_found(LineItem::of(garbage.mid(shown, frame.value()), m_timeNs));
        shown = after;
    }
    showUpTo(end);
}
