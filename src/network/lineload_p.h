#ifndef VOX_NETWORK_LINELOAD_P_H
#define VOX_NETWORK_LINELOAD_P_H

#include <QtGlobal>

#include <array>

/// For how many of the last ten seconds the line was busy, and how many of these were polls.
class LineLoad
{
public:
    static constexpr int WindowMs = 10000;
    static constexpr qint64 NsPerMs = 1000000;

    /// @p busyNs of a busy line have just passed at @p nowMs.
    void add(qint64 nowMs, qint64 busyNs, bool isPoll)
    {
        advanceTo(nowMs);
        Slot &slot = m_slots[static_cast<std::size_t>(m_last % SlotCount)];
        (isPoll ? slot.polls : slot.others) += busyNs;
        (isPoll ? m_total.polls : m_total.others) += busyNs;
    }
    int pollsMs(qint64 nowMs) { return static_cast<int>(advanceTo(nowMs).polls / NsPerMs); }
    int othersMs(qint64 nowMs) { return static_cast<int>(advanceTo(nowMs).others / NsPerMs); }
    int percent(qint64 nowMs) { return qMin(100, (pollsMs(nowMs) + othersMs(nowMs)) * 100 / WindowMs); }

private:
    static constexpr int SlotCount = 40;
    static constexpr int SlotMs = WindowMs / SlotCount;

    struct Slot
    {
        qint64 polls = 0;
        qint64 others = 0;
    };

    const Slot &advanceTo(qint64 nowMs)
    {
        const qint64 slot = nowMs / SlotMs;
        // After a long pause every slot is cleared once.
        m_last = qMax(m_last, slot - SlotCount);
        while (m_last < slot) {
            Slot &oldest = m_slots[static_cast<std::size_t>(++m_last % SlotCount)];
            m_total.polls -= oldest.polls;
            m_total.others -= oldest.others;
            oldest = Slot();
        }
        return m_total;
    }

    std::array<Slot, SlotCount> m_slots{};
    Slot m_total;
    qint64 m_last = 0;
};

/// When polls may go on, so that what they leave free of the line comes evenly. A load over ten seconds alone
/// would let them fill the line for six seconds and then hold them all up for four, also those that follow
/// motors.
class PollPace
{
public:
    /// The line was busy until @p nowMs, of which polls want to take @p maxPercent at most.
    void add(qint64 nowMs, qint64 busyMs, int maxPercent)
    {
        const qint64 from = qMax(m_freeMs, nowMs - busyMs - BurstMs);
        m_freeMs = qMin(from + busyMs * 100 / qMax(1, maxPercent), nowMs + MostMs);
    }
    qint64 freeMs() const { return m_freeMs; }

private:
    /// What may come at once after a pause.
    static constexpr int BurstMs = 500;
    static constexpr int MostMs = 1000;

    qint64 m_freeMs = 0;
};

#endif
