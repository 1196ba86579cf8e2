#ifndef VOX_MESSAGES_VOXSHAREDVALUE_H
#define VOX_MESSAGES_VOXSHAREDVALUE_H

#include <QSharedDataPointer>

/// The common part of implicitly shared values that know whether they have ever been set.
///
/// All values that have never been set share one block, Data::null(), which holds the defaults and a
/// reference to itself for good. The first change, even to equal fields, makes a value valid. Reentrant.
/// @ingroup messages
template <typename Data>
class VOXSharedValue
{
public:
    /// The defaults, and invalid.
    VOXSharedValue()
        : d(Data::null())
    {
    }

    /// A move copies, too, so that the value that was moved from stays usable.
    VOXSharedValue(const VOXSharedValue &other) = default;
    /// Likewise.
    VOXSharedValue &operator=(const VOXSharedValue &other) = default;
    ~VOXSharedValue() = default;

    /// Whether it has been written to since it was made or cleared.
    bool isValid() const { return d.constData() != Data::null(); }
    /// Back to the defaults, and invalid.
    void clear() { d = Data::null(); }

    /// For writing; makes the value valid.
    Data *data() { return d.data(); }
    /// For reading; leaves an invalid value invalid.
    const Data *constData() const { return d.constData(); }

    /// Compares the fields; an invalid value equals a valid one with the defaults.
    bool operator==(const VOXSharedValue &other) const
    {
        return d == other.d || d->fields() == other.d->fields();
    }
    /// Likewise.
    bool operator!=(const VOXSharedValue &other) const { return !(*this == other); }

protected:
    /// The data that the copies share; it detaches when it is written to.
    QSharedDataPointer<Data> d;
};

/// The null block of @p Data, which is never freed.
/// @ingroup messages
template <typename Data>
Data *makeNullBlock()
{
    auto *block = new Data;
    block->ref.ref();
    return block;
}

#endif
