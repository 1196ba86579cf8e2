#ifndef SHADEMOTION_H
#define SHADEMOTION_H

#include <QtGlobal>

/// Where the hem of a shade is drawn: at the estimate, which it approaches smoothly when a new reading moves
/// it.
///
/// A value. Times are milliseconds of any clock.
class ShadeMotion
{
public:
    /// How long the ring shows that a shade has jumped.
    static constexpr int RingMs = 600;

    /// @p estimate is in percent. The first one counts at once.
    void set(double estimate, qint64 nowMs);
    void reset() { *this = ShadeMotion(); }

    /// In percent.
    double shown(qint64 nowMs) const;
    /// Whether the picture changes by itself.
    bool isRunning(qint64 nowMs) const;
    bool hasRing(qint64 nowMs) const;

private:
    static constexpr qint64 Never = -1;

    bool m_isSet = false;
    double m_estimate = 0;
    /// How far the picture was from the estimate when that has changed.
    double m_error = 0;
    qint64 m_sinceMs = 0;
    qint64 m_jumpedMs = Never;
};

#endif
