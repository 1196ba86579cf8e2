#ifndef VOXDATAWRITER_H
#define VOXDATAWRITER_H

#include "framework/busdatawriter.h"
#include "messages/voxmessage.h"

/// Writes the data area of a frame field by field, little-endian. What does not fit the frame is not written.
///
/// The stream operator of `unsigned int` moves three bytes, the form of an address; a number of four bytes is
/// written by name.
class VOX_EXPORT VOXDataWriter : public BusDataWriter
{
public:
    explicit VOXDataWriter(VOXMessage &message);

    VOXDataWriter &writeUint8(unsigned char value);
    VOXDataWriter &writeUint16(unsigned short value);
    VOXDataWriter &writeUint32(unsigned int value);
    /// Three bytes; a node type is lost.
    VOXDataWriter &writeAddr(unsigned int addr);

    using BusDataWriter::operator<<;
    VOXDataWriter &operator<<(unsigned char value) { return writeUint8(value); }
    VOXDataWriter &operator<<(unsigned short value) { return writeUint16(value); }
    VOXDataWriter &operator<<(unsigned int addr) { return writeAddr(addr); }
    VOXDataWriter &operator<<(bool value) { return writeUint8(value ? 1 : 0); }
};

#endif
