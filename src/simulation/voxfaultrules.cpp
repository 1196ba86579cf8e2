#include "simulation/voxfaultrules_p.h"

#include "messages/kvr.h"
#include "transport/voxframecutter.h"

#include <algorithm>

namespace {
bool fits(const VOXFault &fault, const VOXMessage &answer, unsigned char requestCmd)
{
    return !fault.isTimed() && fault.isOf(answer.srcAddr(false))
        && (fault.concerns(requestCmd) || fault.concerns(answer.cmd()));
}

QByteArray lineForm(const VOXMessage &frame)
{
    QByteArray bytes = frame.data();
    VOXFrameCutter::invertBody(bytes);
    return bytes;
}
}

QVector<VOXFault> VOXFaultRules::faults() const
{
    QVector<VOXFault> faults;
    for (const FaultRule &rule : m_rules)
        faults += rule.fault;
    return faults;
}

void VOXFaultRules::setFaults(const QVector<VOXFault> &faults)
{
    m_rules.clear();
    for (const VOXFault &fault : faults)
        add(fault);
}

bool VOXFaultRules::happens(VOXFault &fault)
{
    if (fault.happened == fault.count || std::uniform_real_distribution<>()(m_random) >= fault.probability)
        return false;
    ++fault.happened;
    return true;
}

QByteArray VOXFaultRules::noise(int count)
{
    QByteArray bytes(count, '\0');
    for (char &byte : bytes)
        byte = static_cast<char>(m_random());
    return bytes;
}

QByteArray VOXFaultRules::gibberish(const VOXMessage &frame)
{
    constexpr int AllLengths = VOXMessage::MaxLength;
    return m_random() % 2 == 0 ? lineForm(frame) : noise(1 + static_cast<int>(m_random() % AllLengths));
}

FaultyAnswer VOXFaultRules::applyTo(const VOXMessage &answer, unsigned char requestCmd)
{
    // Faults in what the frame says come first, then those that the line makes.
    constexpr int DataOffset = VOXMessage::HeaderLength;
    constexpr unsigned char NackLength = 12;
    VOXMessage frame = answer;
    FaultyAnswer result;
    QByteArray before;
    int length = VOXMessage::MaxLength;
    bool isCorrupt = false;
    for (FaultRule &rule : m_rules) {
        VOXFault &fault = rule.fault;
        if (!fits(fault, answer, requestCmd) || !happens(fault))
            continue;
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
        case VOXFault::Jabber:
        case VOXFault::Away:
            break;
        }
    }
    result.bytes = lineForm(frame);
    if (isCorrupt)
        result.bytes.back() = static_cast<char>(~result.bytes.back());
    result.bytes = before + result.bytes.left(length);
    return result;
}
