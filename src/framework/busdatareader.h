#ifndef VOX_FRAMEWORK_BUSDATAREADER_H
#define VOX_FRAMEWORK_BUSDATAREADER_H

#include <vox/framework/busmessage.h>

/// Reads forward through a range of a message's bytes and never past it.
///
/// Each access moves all of its bytes or none. The first that would pass the end fails, and every later one
/// with it. A failed access leaves its target as it was. Reentrant.
/// @ingroup framework
class VOX_BUS_EXPORT BusDataReader
{
public:
    /// Reads @p size bytes from @p offset on; a negative size is a range in which every access fails. Keeps a
    /// copy of the message.
    BusDataReader(const BusMessage &message, unsigned int offset, int size);

    /// One byte, as it is.
    BusDataReader &operator>>(char &value);
    /// Reads @p count bytes into @p target and returns their number; 0 if there are not as many.
    unsigned int read(char *target, unsigned int count);

    /// True once any access has overrun the range.
    bool fail() const { return m_cursor == Overrun; }

protected:
    /// Moves the cursor without reading and without a bounds check; a failed reader stays failed.
    void skip(int count);

private:
    static constexpr int Overrun = 2147483647;

    BusMessage m_message;
    int m_cursor;
    qint64 m_end;
};

#endif
