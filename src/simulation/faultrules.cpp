#include "simulation/faultrules_p.h"

#include "messages/kvr.h"
#include "transport/voxframecutter.h"

#include <algorithm>

bool FaultRules::happens(VOXFault &fault, const VOXMessage &answer, unsigned char requestCmd)
{
    if (fault.happened == fault.count
        || (fault.node != VOXFault::EveryNode && fault.node != answer.srcAddr(false)))
        return false;
    if (!fault.concerns(requestCmd) && !fault.concerns(answer.cmd()))
        return false;
    if (std::uniform_real_distribution<>()(m_random) >= fault.probability)
        return false;
    ++fault.happened;
    return true;
}

QByteArray FaultRules::noise(int count)
{
    QByteArray bytes(count, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(m_random());
    return bytes;
}

FaultyAnswer FaultRules::applyTo(const VOXMessage &answer, unsigned char requestCmd)
{
    // Faults in what the frame says come first, then those that the line makes.
    constexpr int DataOffset = VOXMessage::HeaderLength;
    constexpr unsigned char NackLength = 12;
    VOXMessage frame = answer;
    FaultyAnswer result;
    QByteArray before;
    int length = VOXMessage::MaxLength;
    bool isCorrupt = false;
    for (VOXFault &fault : m_faults) {
        if (!happens(fault, answer, requestCmd))
            continue;
        result.isTouched = true;
        switch (fault.kind) {
        case VOXFault::Drop:
            result.copies = 0;
            break;
        case VOXFault::Delay:
            result.delayMs += fault.value;
            break;
        case VOXFault::Corrupt:
            isCorrupt = true;
            break;
        case VOXFault::Cut:
            length = std::min(length, fault.value);
            break;
        case VOXFault::Twice:
            result.copies *= 2;
            break;
        case VOXFault::Nack:
            frame.setLen(NackLength);
            frame.setCmd(KVR::NACK);
            frame.data()[DataOffset] = static_cast<char>(fault.value);
            frame.prepare();
            break;
        case VOXFault::From:
            frame.setSrcAddr(VOX::makeAddr(answer.srcNodeType(), fault.value));
            frame.prepare();
            break;
        case VOXFault::Noise:
            before += noise(fault.value);
            break;
        }
    }
    result.bytes = frame.data();
    VOXFrameCutter::invertBody(result.bytes);
    if (isCorrupt)
        result.bytes.back() = static_cast<char>(~result.bytes.back());
    result.bytes = before + result.bytes.left(length);
    return result;
}
