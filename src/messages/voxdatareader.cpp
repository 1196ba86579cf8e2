#include "messages/voxdatareader.h"

namespace {
constexpr int AddrWidth = 3;

template <std::size_t Width>
struct Bytes
{
    unsigned char bytes[Width];

    bool readFrom(BusDataReader &reader)
    {
        return reader.read(reinterpret_cast<char *>(bytes), Width) == Width;
    }
};
}

VOXDataReader::VOXDataReader(const VOXMessage &message)
    : BusDataReader(message, VOXMessage::HeaderLength, message.data().size() - VOXMessage::MinLength)
{
}

VOXDataReader &VOXDataReader::readUint8(unsigned char &value)
{
    read(reinterpret_cast<char *>(&value), 1);
    return *this;
}

VOXDataReader &VOXDataReader::readUint16(unsigned short &value)
{
    Bytes<2> field;
    if (field.readFrom(*this))
        VOX::voxtoh(field.bytes, value);
    return *this;
}

VOXDataReader &VOXDataReader::readUint32(unsigned int &value)
{
    Bytes<4> field;
    if (field.readFrom(*this)) {
        VOX::voxtoh(field.bytes, value);
        value |= static_cast<unsigned int>(field.bytes[3]) << 24;
    }
    return *this;
}

VOXDataReader &VOXDataReader::readAddr(unsigned int &addr)
{
    Bytes<AddrWidth> field;
    if (field.readFrom(*this))
        VOX::voxtoh(field.bytes, addr);
    return *this;
}

VOXDataReader &VOXDataReader::operator>>(char &value)
{
    read(&value, 1);
    return *this;
}

VOXDataReader &VOXDataReader::operator>>(bool &value)
{
    unsigned char byte = 0;
    if (read(reinterpret_cast<char *>(&byte), 1) == 1)
        value = byte != 0;
    return *this;
}

template <typename T>
VOXDataReader &VOXDataReader::readOrSkip(T *value, int width)
{
    if (value)
        return *this >> *value;
    skip(width);
    return *this;
}

VOXDataReader &VOXDataReader::operator>>(unsigned char *value)
{
    return readOrSkip(value, 1);
}

VOXDataReader &VOXDataReader::operator>>(unsigned short *value)
{
    return readOrSkip(value, 2);
}

VOXDataReader &VOXDataReader::operator>>(unsigned int *addr)
{
    return readOrSkip(addr, AddrWidth);
}

VOXDataReader &VOXDataReader::operator>>(bool *value)
{
    return readOrSkip(value, 1);
}
