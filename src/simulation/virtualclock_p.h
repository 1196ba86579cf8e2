#ifndef VOX_SIMULATION_VIRTUALCLOCK_P_H
#define VOX_SIMULATION_VIRTUALCLOCK_P_H

#include <QtGlobal>

/// The monotonic clock of the thread that makes it, in place of the system's. Other threads keep theirs.
///
/// Begins at the real time, and stands still but for moveTo() and for sleeping, which takes no time and moves
/// it on. Used on its thread alone, which has no other one meanwhile.
class VirtualClock
{
public:
    VirtualClock();
    ~VirtualClock();
    Q_DISABLE_COPY_MOVE(VirtualClock)

    /// Whether Qt and the C++ library read it. They do not where the C library comes before this one.
    bool isHeeded() const;
    /// In nanoseconds, as all here.
    qint64 now() const { return m_now; }
    /// Never back: an earlier time leaves it as it is.
    void moveTo(qint64 time) { m_now = qMax(m_now, time); }

private:
    qint64 m_now;
};

#endif
