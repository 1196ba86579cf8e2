#ifndef VOX_FRAMEWORK_BUSPENDINGCALLPOINTER_H
#define VOX_FRAMEWORK_BUSPENDINGCALLPOINTER_H

#include <vox/framework/bus_export.h>

#include <utility>

class BusPendingCallData;

/// A counted reference to a pending call's data.
///
/// The last reference may go on any thread. The data is a QObject with a timer, and is always destroyed on
/// its own thread. One pointer is used on one thread at a time.
/// @ingroup framework
class VOX_BUS_EXPORT BusPendingCallPointer
{
public:
    BusPendingCallPointer() = default;
    /// Adds a reference; @p data comes from the heap, or is null.
    explicit BusPendingCallPointer(BusPendingCallData *data);
    ///@{
    /// A copy adds a reference; what has been moved from is null.
    BusPendingCallPointer(const BusPendingCallPointer &other);
    BusPendingCallPointer(BusPendingCallPointer &&other) noexcept
        : m_data(std::exchange(other.m_data, nullptr))
    {
    }
    BusPendingCallPointer &operator=(BusPendingCallPointer other) noexcept
    {
        std::swap(m_data, other.m_data);
        return *this;
    }
    ///@}
    ~BusPendingCallPointer();

    ///@{
    /// The data that is referred to; may be null. Adds no reference.
    BusPendingCallData *get() const { return m_data; }
    BusPendingCallData *operator->() const { return m_data; }
    explicit operator bool() const { return m_data != nullptr; }
    ///@}
    /// Whether both refer to the same data.
    bool operator==(const BusPendingCallPointer &other) const { return m_data == other.m_data; }

private:
    BusPendingCallData *m_data = nullptr;
};

#endif
