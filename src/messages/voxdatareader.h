#ifndef VOX_MESSAGES_VOXDATAREADER_H
#define VOX_MESSAGES_VOXDATAREADER_H

#include <vox/framework/busdatareader.h>
#include <vox/messages/voxmessage.h>

/// Reads the data area of a frame field by field, little-endian.
///
/// The stream operators of `unsigned int` move three bytes, the form of an address; a number of four bytes is
/// read by name. A target whose field passes the end of the data area is left as it was, and fail() is true
/// from there on. Keeps a copy of the message; reentrant.
/// @ingroup messages
class VOX_EXPORT VOXDataReader : public BusDataReader
{
public:
    /// Reads all but the header and the check value. Every access to a frame of fewer than 11 bytes fails.
    explicit VOXDataReader(const VOXMessage &message);

    ///@{
    /// One, two or four bytes.
    VOXDataReader &readUint8(unsigned char &value);
    VOXDataReader &readUint16(unsigned short &value);
    VOXDataReader &readUint32(unsigned int &value);
    ///@}
    /// Three bytes; bits 24 to 31 become 0.
    VOXDataReader &readAddr(unsigned int &addr);

    ///@{
    /// One, two or three bytes.
    VOXDataReader &operator>>(char &value);
    VOXDataReader &operator>>(unsigned char &value) { return readUint8(value); }
    VOXDataReader &operator>>(unsigned short &value) { return readUint16(value); }
    VOXDataReader &operator>>(unsigned int &addr) { return readAddr(addr); }
    ///@}
    /// Any byte but 0 is true.
    VOXDataReader &operator>>(bool &value);

    ///@{
    /// As into a reference. A null pointer skips the field; the next access then finds out whether that
    /// passed the end.
    VOXDataReader &operator>>(unsigned char *value);
    VOXDataReader &operator>>(unsigned short *value);
    VOXDataReader &operator>>(unsigned int *addr);
    VOXDataReader &operator>>(bool *value);
    ///@}

private:
    template <typename T>
    VOXDataReader &readOrSkip(T *value, int width);
};

#endif
