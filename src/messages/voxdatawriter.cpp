#include "messages/voxdatawriter.h"

#include <utility>

VOXDataWriter::VOXDataWriter(VOXMessage &message)
    : BusDataWriter(message, VOXMessage::HeaderLength,
                    std::as_const(message).data().size() - VOXMessage::MinLength)
{
}

VOXDataWriter &VOXDataWriter::writeUint8(unsigned char value)
{
    write(reinterpret_cast<const char *>(&value), 1);
    return *this;
}

VOXDataWriter &VOXDataWriter::writeUint16(unsigned short value)
{
    unsigned char bytes[2];
    VOX::htovox(value, bytes);
    write(reinterpret_cast<const char *>(bytes), sizeof bytes);
    return *this;
}

VOXDataWriter &VOXDataWriter::writeUint32(unsigned int value)
{
    unsigned char bytes[4];
    VOX::htovox(value, bytes);
    bytes[3] = static_cast<unsigned char>(value >> 24);
    write(reinterpret_cast<const char *>(bytes), sizeof bytes);
    return *this;
}

VOXDataWriter &VOXDataWriter::writeAddr(unsigned int addr)
{
    unsigned char bytes[3];
    VOX::htovox(addr, bytes);
    write(reinterpret_cast<const char *>(bytes), sizeof bytes);
    return *this;
}
