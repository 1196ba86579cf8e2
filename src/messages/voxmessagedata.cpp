#include "messages/voxmessagedata.h"

#include "messages/voxcheckvalue.h"
#include "messages/voxmessage.h"

VOXMessageData *VOXMessageData::clone() const
{
    return new VOXMessageData(*this);
}

void VOXMessageData::prepare()
{
    complete(*this);
}

bool VOXMessageData::complete(BusMessageData &data)
{
    QByteArray &bytes = data.bytes();
    if (bytes.size() < VOXMessage::MinLength)
        return false;
    const int covered = bytes.size() - VOXMessage::CheckLength;
    const auto size = static_cast<std::size_t>(covered);
    const bool isCRC =
        (static_cast<unsigned char>(bytes.at(VOXMessage::ControlOffset)) & VOXMessage::CrcFlag) != 0;
    const unsigned short check = isCRC ? VOXCheckValue::crc(bytes.constData(), size)
                                       : VOXCheckValue::checksum(bytes.constData(), size);
    bytes[covered] = static_cast<char>(check >> 8);
    bytes[covered + 1] = static_cast<char>(check);
    data.setPrepared(true);
    return true;
}
