#ifndef LINERESTS_H
#define LINERESTS_H

#include <QtGlobal>

struct LineItem;

/// Finds out from damaged bytes whether the line rests at the level of a break, as it does at an adapter
/// whose two wires are swapped.
///
/// Such an adapter reads a zero byte when the line comes to rest. One that is set to a higher bit rate may do
/// so, too, but then hardly a byte is odd: the bit behind a start bit is still the start bit. Some adapters
/// read nothing from a break, so a line that does not seem to rest low may do so all the same.
class LineRests
{
public:
    /// Takes what is no valid frame, of a line on which a byte takes @p byteNs.
    void addDamage(const LineItem &item, qint64 byteNs);

    /// How often damaged bytes were followed by a pause, and how often the last of them was zero.
    int count() const { return m_count; }
    int afterZero() const { return m_afterZero; }
    bool isLow() const;

private:
    int m_count = 0;
    int m_afterZero = 0;
    /// Bytes that are not zero.
    qint64 m_odd = 0;
    qint64 m_even = 0;
    qint64 m_lastNs = -1;
    bool m_isLastZero = false;
};

#endif
