#include "panel/shademotion.h"

#include <cmath>

namespace {
constexpr double Small = 2;
constexpr double Large = 10;
constexpr int SmallMs = 200;
constexpr int LargeMs = 400;

int durationOf(double error)
{
    return std::abs(error) < Small ? SmallMs : LargeMs;
}
}

void ShadeMotion::set(double estimate, qint64 nowMs)
{
    if (m_isSet && estimate == m_estimate)
        return;
    const double error = m_isSet ? shown(nowMs) - estimate : 0;
    const bool isJump = std::abs(error) > Large;
    if (isJump)
        m_jumpedMs = nowMs;
    m_error = isJump ? 0 : error;
    m_estimate = estimate;
    m_sinceMs = nowMs;
    m_isSet = true;
}

double ShadeMotion::shown(qint64 nowMs) const
{
    const double rest = 1 - static_cast<double>(nowMs - m_sinceMs) / durationOf(m_error);
    if (m_error == 0 || rest <= 0)
        return m_estimate;
    // A large one goes out slowly; a small one is a part of an even motion.
    return m_estimate + m_error * (std::abs(m_error) < Small ? rest : rest * rest);
}

bool ShadeMotion::isRunning(qint64 nowMs) const
{
    return (m_error != 0 && nowMs - m_sinceMs < durationOf(m_error)) || hasRing(nowMs);
}

bool ShadeMotion::hasRing(qint64 nowMs) const
{
    return m_jumpedMs != Never && nowMs - m_jumpedMs < RingMs;
}
