#include "panel/linehistory.h"

#include <algorithm>

namespace {
constexpr qint64 MsPerSecond = 1000;
constexpr int RateSeconds = 10;
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

LineHistory::Second LineHistory::sum(qint64 nowMs) const
{
    Second sum;
    for (int age = 0; age < Seconds; ++age) {
        const Second each = second(nowMs, age);
        for (int kind = 0; kind < KindCount; ++kind)
            sum.takenMs[kind] += each.takenMs[kind];
        sum.frames += each.frames;
        sum.failed += each.failed;
        sum.unanswered += each.unanswered;
    }
    return sum;
}

double LineHistory::frameRate(qint64 nowMs) const
{
    int frames = 0;
    for (int age = 1; age <= RateSeconds; ++age)
        frames += second(nowMs, age).frames;
    return static_cast<double>(frames) / RateSeconds;
}
