#include "vox/line/framescanner.h"

#include <algorithm>
#include <utility>

namespace {
constexpr int MinBytes = 2;
constexpr int MaxGarbage = 64;
/// Adapters hold bytes back for less.
constexpr qint64 RestNs = 30000000;
}

FrameScanner::FrameScanner(std::function<void(const LineItem &)> found)
    : m_found(std::move(found))
    , m_cutter(MinBytes)
{
}

void FrameScanner::feed(const QByteArray &bytes, qint64 timeNs)
{
    if (bytes.isEmpty())
        return;
    m_fed += bytes.size();
    m_chunks.push_back({m_fed, timeNs});
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
            show(m_pending.left(length), &LineItem::of);
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
    const std::set<int> rests = nextRests();
    const auto nextRest = [&](int offset) {
        const auto rest = rests.upper_bound(offset);
        return rest == rests.end() ? end : *rest;
    };
    int shown = 0;
    const auto showUpTo = [&](int offset) {
        while (shown < offset) {
            const int next = std::min({offset, shown + MaxGarbage, nextRest(shown)});
            show(garbage.mid(shown, next - shown), &LineItem::noFrame);
            shown = next;
        }
    };
    for (auto frame = failed.cbegin(); frame != failed.cend(); ++frame) {
        const int after = frame.key() + frame.value();
        const bool hasEnd = after == nextRest(frame.key()) || failed.contains(after);
        if (frame.key() < shown || nextRest(frame.key()) < after || !hasEnd)
            continue;
        showUpTo(frame.key());
        show(garbage.mid(shown, frame.value()), &LineItem::of);
        shown = after;
    }
    showUpTo(end);
}

/// After how many of the bytes that have not been shown the line was quiet.
std::set<int> FrameScanner::nextRests() const
{
    std::set<int> rests;
    for (std::size_t i = 1; i < m_chunks.size(); ++i) {
        if (m_chunks[i].timeNs - m_chunks[i - 1].timeNs > RestNs)
            rests.insert(static_cast<int>(m_chunks[i - 1].end - m_shown));
    }
    return rests;
}

// Bytes are shown in the order in which they have come, so each has the time of its chunk.
void FrameScanner::show(const QByteArray &bytes, LineItem (*itemOf)(const QByteArray &, qint64))
{
    m_shown += bytes.size();
    while (m_chunks.front().end < m_shown)
        m_chunks.pop_front();
    m_found(itemOf(bytes, m_chunks.front().timeNs));
}
