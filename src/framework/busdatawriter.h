#ifndef VOX_FRAMEWORK_BUSDATAWRITER_H
#define VOX_FRAMEWORK_BUSDATAWRITER_H

#include <vox/framework/busmessage.h>

/// Writes forward through a range of a message's bytes and never past it.
///
/// Like BusDataReader: all or nothing, and failed for good after the first overrun. Refers to the message,
/// which must outlive the writer and all its copies; the message's size is not changed, and what has been
/// written has to be prepared. Reentrant.
/// @ingroup framework
class VOX_BUS_EXPORT BusDataWriter
{
public:
    /// Writes @p size bytes from @p offset on, or fewer if the message ends before; a negative size is a
    /// range in which every access fails.
    BusDataWriter(BusMessage &message, unsigned int offset, int size);

    /// One byte, as it is.
    BusDataWriter &operator<<(char value);
    /// Writes @p count bytes and returns their number; 0 if there is no room for all.
    unsigned int write(const char *source, unsigned int count);

    /// True once any access has overrun the range.
    bool fail() const { return m_cursor == Overrun; }

private:
    static constexpr int Overrun = 2147483647;

    BusMessage *m_message;
    int m_cursor;
    qint64 m_end;
};

#endif
