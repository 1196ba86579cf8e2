#ifndef VOX_DEVICES_CONFIGVALUES_H
#define VOX_DEVICES_CONFIGVALUES_H

/// A setting with its range and its default, which may lie outside the range to mean that nothing is set.
///
/// A plain value. One made without a range holds 10, and takes nothing else. @p T is an integer type that
/// fits an int.
/// @ingroup devices
template <typename T>
class ConfigValues
{
public:
    ConfigValues() = default;
    /// Both bounds belong to the range. The value starts as the default.
    ConfigValues(T minimum, T maximum, T defaultValue)
        : m_minimum(minimum)
        , m_maximum(maximum)
        , m_default(defaultValue)
        , m_value(defaultValue)
    {
    }

    ///@{
    /// Fixed when the setting is made.
    T minimum() const { return m_minimum; }
    T maximum() const { return m_maximum; }
    T defaultValue() const { return m_default; }
    ///@}
    /// A value in the range, or the default.
    T value() const { return m_value; }

    /// Whether @p value lies in the range; a default outside it does not.
    bool contains(int value) const { return value >= m_minimum && value <= m_maximum; }
    /// Whether the value is the default, left alone or set to it.
    bool isDefault() const { return m_value == m_default; }

    /// A value outside the range stores the default, on purpose. Ask contains() first if that must not
    /// happen.
    void setValue(T value) { m_value = contains(value) ? value : m_default; }
    /// Back to the default.
    void reset() { m_value = m_default; }

private:
    static constexpr T Initial = 10;

    T m_minimum = Initial;
    T m_maximum = Initial;
    T m_default = Initial;
    T m_value = Initial;
};

#endif
