#ifndef VOXSHAREDVALUE_H
#define VOXSHAREDVALUE_H

#include <QSharedDataPointer>

/// The common part of implicitly shared values that know whether they have ever been set.
///
/// All values that were not share one block, Data::null(), which holds the defaults and a reference to itself
/// for good. The first change, even to equal fields, makes a value valid.
template <typename Data>
class VOXSharedValue
{
public:
    VOXSharedValue()
        : d(Data::null())
    {
    }

    // Copied when moved from, too: what is left behind stays a value.
    VOXSharedValue(const VOXSharedValue &other) = default;
    VOXSharedValue &operator=(const VOXSharedValue &other) = default;
    ~VOXSharedValue() = default;

    bool isValid() const { return d.constData() != Data::null(); }
    /// Back to the defaults, and invalid.
    void clear() { d = Data::null(); }

    /// For writing; makes the value valid.
    Data *data() { return d.data(); }
    const Data *constData() const { return d.constData(); }

    /// Compares the fields; an invalid value equals a valid one with the defaults.
    bool operator==(const VOXSharedValue &other) const
    {
        return d == other.d || d->fields() == other.d->fields();
    }
    bool operator!=(const VOXSharedValue &other) const { return !(*this == other); }

protected:
    QSharedDataPointer<Data> d;
};

/// The null block of @p Data, which is never freed.
template <typename Data>
Data *makeNullBlock()
{
    auto *block = new Data;
    block->ref.ref();
    return block;
}

#endif
