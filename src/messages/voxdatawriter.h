#ifndef VOX_MESSAGES_VOXDATAWRITER_H
#define VOX_MESSAGES_VOXDATAWRITER_H

#include <vox/framework/busdatawriter.h>
#include <vox/messages/voxmessage.h>

/// Writes the data area of a frame field by field, little-endian. A field that does not fit the frame is not
/// written, and fail() is true from there on.
///
/// The stream operator of `unsigned int` moves three bytes, the form of an address; a number of four bytes is
/// written by name. Refers to the message, which must outlive the writer, and has to be prepared afterwards.
/// Reentrant.
/// @ingroup messages
class VOX_EXPORT VOXDataWriter : public BusDataWriter
{
public:
    /// Writes all but the header and the check value. Every access to a frame of fewer than 11 bytes fails.
    explicit VOXDataWriter(VOXMessage &message);

    ///@{
    /// One, two or four bytes.
    VOXDataWriter &writeUint8(unsigned char value);
    VOXDataWriter &writeUint16(unsigned short value);
    VOXDataWriter &writeUint32(unsigned int value);
    ///@}
    /// Three bytes; a node type is lost.
    VOXDataWriter &writeAddr(unsigned int addr);

    ///@{
    /// One, two or three bytes; a bool is one, 1 or 0.
    VOXDataWriter &operator<<(char value) { return writeUint8(static_cast<unsigned char>(value)); }
    VOXDataWriter &operator<<(unsigned char value) { return writeUint8(value); }
    VOXDataWriter &operator<<(unsigned short value) { return writeUint16(value); }
    VOXDataWriter &operator<<(unsigned int addr) { return writeAddr(addr); }
    VOXDataWriter &operator<<(bool value) { return writeUint8(value ? 1 : 0); }
    ///@}
};

#endif
