#include "vox/line/answertimes.h"

#include <algorithm>
#include <cmath>

namespace {
constexpr double NsPerMs = 1e6;
constexpr std::size_t MaxKept = 1024;
}

void AnswerTimes::add(qint64 ns)
{
    m_worstNs = std::max(m_worstNs, ns);
    if (m_count++ % m_step != 0)
        return;
    m_kept.push_back(ns);
    if (m_kept.size() < MaxKept)
        return;
    // Half of them stand for all from now on.
    for (std::size_t i = 0; i < MaxKept / 2; ++i)
        m_kept[i] = m_kept[2 * i];
    m_kept.resize(MaxKept / 2);
    m_step *= 2;
}

double AnswerTimes::ms(double share) const
{
    if (share >= 1)
        return static_cast<double>(m_worstNs) / NsPerMs;
    std::vector<qint64> sorted = m_kept;
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    const auto nth = sorted.begin() + static_cast<std::ptrdiff_t>(std::max<std::size_t>(rank, 1) - 1);
    std::nth_element(sorted.begin(), nth, sorted.end());
    return static_cast<double>(*nth) / NsPerMs;
}
