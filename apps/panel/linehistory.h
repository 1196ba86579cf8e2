#ifndef LINEHISTORY_H
#define LINEHISTORY_H

#include <QtGlobal>

#include <array>

/// What a line was taken for in the last minute, second by second. A value; times are milliseconds of any
/// clock.
class LineHistory
{
public:
    /// From below to above, as it is drawn.
    enum Kind : int { Polls, ReadBack, User, Others, KindCount };
    static constexpr int Seconds = 60;

    struct Second
    {
        /// Milliseconds of each kind.
        std::array<int, KindCount> takenMs{};
        int frames = 0;
        int failed = 0;
        int unanswered = 0;

        void add(const Second &other);
        bool operator==(const Second &other) const
        {
            return takenMs == other.takenMs && frames == other.frames && failed == other.failed
                && unanswered == other.unanswered;
        }
    };

    /// The line was taken from @p fromMs until @p toMs. What is longer than a minute counts as one.
    void take(Kind kind, qint64 fromMs, qint64 toMs);
    void noteFrame(qint64 nowMs) { ++at(nowMs).frames; }
    void noteFailed(qint64 nowMs) { ++at(nowMs).failed; }
    void noteUnanswered(qint64 nowMs) { ++at(nowMs).unanswered; }

    /// The second that began @p age seconds before the present one. Empty ones are empty.
    Second second(qint64 nowMs, int age) const;
    /// Of the last minute.
    Second sum(qint64 nowMs) const;
    ///@{
    /// Of the last ten whole seconds: frames a second, and what of the time the line was taken.
    double frameRate(qint64 nowMs) const;
    int busyPercent(qint64 nowMs) const;
    ///@}

    /// Milliseconds of @p bytes on a line of @p rate bit/s; of a usual one if that is 0, for not known.
    static qint64 timeOf(int bytes, int rate);

private:
    struct Slot
    {
        qint64 number = -1;
        Second second;
    };

    Second &at(qint64 ms);
    /// Of @p count seconds, of which the last one began @p age seconds before the present one.
    Second sum(qint64 nowMs, int age, int count) const;

    std::array<Slot, Seconds + 2> m_slots;
};

#endif
