#include "transport/voxframecutter.h"

#include "messages/voxcheckvalue.h"
#include "messages/voxmessage.h"

#include <utility>

namespace {
unsigned char byteAt(const QByteArray &bytes, int index)
{
    return static_cast<unsigned char>(bytes.at(index));
}
}

VOXFrameCutter::VOXFrameCutter(int minBytes, std::function<unsigned char(unsigned char)> lengthOf)
    : m_minBytes(minBytes)
    , m_lengthOf(std::move(lengthOf))
{
}

int VOXFrameCutter::lengthAt(const QByteArray &line, int offset) const
{
    if (line.size() - offset <= VOXMessage::ControlOffset)
        return 0;
    const auto control = static_cast<unsigned char>(~byteAt(line, offset + VOXMessage::ControlOffset));
    return m_lengthOf ? m_lengthOf(control) : control & VOXMessage::LengthMask;
}

VOXFrameCutter::Cut VOXFrameCutter::cut(const QByteArray &line) const
{
    if (line.size() < m_minBytes)
        return {Cut::Wait, {}, {}};
    const int length = lengthAt(line);
    if (length < VOXMessage::MinLength)
        return {Cut::Drop, {}, {}};
    if (line.size() < length)
        return {Cut::Wait, {}, {}};
    // The frame copies its bytes: a receiver's buffer may be large, and is used again.
    QByteArray frame(line.constData(), length);
    invertBody(frame);
    const Check verdict = check(frame);
    return {Cut::Frame, std::move(frame), verdict};
}

void VOXFrameCutter::invertBody(QByteArray &frame)
{
    char *const bytes = frame.data();
    for (int i = 0, end = frame.size() - VOXMessage::CheckLength; i < end; ++i)
        bytes[i] = static_cast<char>(~bytes[i]);
}

VOXFrameCutter::Check VOXFrameCutter::check(const QByteArray &frame)
{
    const int covered = frame.size() - VOXMessage::CheckLength;
    const auto size = static_cast<std::size_t>(covered);
    Check check;
    check.hasCrc = (byteAt(frame, VOXMessage::ControlOffset) & VOXMessage::CrcFlag) != 0;
    check.received = static_cast<unsigned short>(byteAt(frame, covered) << 8 | byteAt(frame, covered + 1));
    if (check.hasCrc)
        check.crc = VOXCheckValue::crc(frame.constData(), size);
    if (check.hasCrc && check.crc == check.received) {
        check.verdict = Intact;
        return check;
    }
    check.checksum = VOXCheckValue::checksum(frame.constData(), size);
    if (check.checksum == check.received)
        check.verdict = check.hasCrc ? ChecksumForCrc : Intact;
    return check;
}
