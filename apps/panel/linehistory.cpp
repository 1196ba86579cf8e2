#include "panel/linehistory.h"

#include <algorithm>
#include <numeric>

namespace {
constexpr qint64 MsPerSecond = 1000;
constexpr int RateSeconds = 10;
constexpr qint64 BitsPerByte = 11;
constexpr int UsualRate = 4800;
constexpr int Percent = 100;
}

qint64 LineHistory::timeOf(int bytes, int rate)
{
    return bytes * BitsPerByte * MsPerSecond / (rate > 0 ? rate : UsualRate);
}

void LineHistory::Second::add(const Second &other)
{
    for (std::size_t kind = 0; kind < KindCount; ++kind)
        takenMs[kind] += other.takenMs[kind];
    frames += other.frames;
    failed += other.failed;
    unanswered += other.unanswered;
}

LineHistory::Second &LineHistory::at(qint64 ms)
{
    const qint64 number = ms / MsPerSecond;
    Slot &slot = m_slots[static_cast<std::size_t>(number) % m_slots.size()];
    if (slot.number != number)
        slot = {number, {}};
    return slot.second;
}

void LineHistory::take(Kind kind, qint64 fromMs, qint64 toMs)
{
    fromMs = std::max(fromMs, toMs - Seconds * MsPerSecond);
    while (fromMs < toMs) {
        const qint64 end = std::min(toMs, (fromMs / MsPerSecond + 1) * MsPerSecond);
        at(fromMs).takenMs[kind] += static_cast<int>(end - fromMs);
        fromMs = end;
    }
}

LineHistory::Second LineHistory::second(qint64 nowMs, int age) const
{
    const qint64 number = nowMs / MsPerSecond - age;
    if (number < 0)
        return {};
    const Slot &slot = m_slots[static_cast<std::size_t>(number) % m_slots.size()];
    return slot.number == number ? slot.second : Second();
}

LineHistory::Second LineHistory::sum(qint64 nowMs, int age, int count) const
{
    Second sum;
    for (int each = age; each < age + count; ++each)
        sum.add(second(nowMs, each));
    return sum;
}

LineHistory::Second LineHistory::sum(qint64 nowMs) const
{
    return sum(nowMs, 0, Seconds);
}

double LineHistory::frameRate(qint64 nowMs) const
{
    return static_cast<double>(sum(nowMs, 1, RateSeconds).frames) / RateSeconds;
}

int LineHistory::busyPercent(qint64 nowMs) const
{
    const Second last = sum(nowMs, 1, RateSeconds);
    const qint64 ms = std::accumulate(last.takenMs.cbegin(), last.takenMs.cend(), qint64{0});
    return std::min(Percent, static_cast<int>(ms * Percent / (RateSeconds * MsPerSecond)));
}
