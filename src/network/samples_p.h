#ifndef VOX_NETWORK_SAMPLES_P_H
#define VOX_NETWORK_SAMPLES_P_H

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

/// The last values of something that is measured again and again.
template <std::size_t Size>
class Samples
{
public:
    void add(int value) { m_values[m_count++ % Size] = value; }
    /// The value below which @p percent of the values are; @p none if there is no value.
    int percentile(int percent, int none) const
    {
        const std::size_t count = std::min(m_count, Size);
        if (count == 0)
            return none;
        std::vector<int> values(m_values.cbegin(), m_values.cbegin() + static_cast<std::ptrdiff_t>(count));
        const auto nth = values.begin()
            + static_cast<std::ptrdiff_t>((count - 1) * static_cast<std::size_t>(percent) / 100);
        std::nth_element(values.begin(), nth, values.end());
        return *nth;
    }

private:
    std::array<int, Size> m_values{};
    std::size_t m_count = 0;
};

#endif
