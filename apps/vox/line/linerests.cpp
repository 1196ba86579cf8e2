#include "vox/line/linerests.h"

#include "vox/line/lineitem.h"

namespace {
/// Adapters hold bytes back for less, and requests and their answers follow each other faster as a rule.
constexpr qint64 RestNs = 20000000;
constexpr int Enough = 5;
}

void LineRests::addDamage(const LineItem &item, qint64 byteNs)
{
    if (m_lastNs >= 0 && item.timeNs - item.bytes.size() * byteNs - m_lastNs > RestNs) {
        ++m_count;
        m_afterZero += m_isLastZero ? 1 : 0;
    }
    for (const char byte : item.bytes) {
        m_isLastZero = byte == '\0';
        if (!m_isLastZero)
            ++(byte % 2 == 0 ? m_even : m_odd);
    }
    m_lastNs = item.timeNs;
}

bool LineRests::isLow() const
{
    return m_count >= Enough && m_afterZero * 2 >= m_count && m_odd * 10 > m_odd + m_even;
}
