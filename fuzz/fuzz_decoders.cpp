// Everything that looks into a message of any bytes: accessors, readers, decoders, texts.

#include "messages/kvrack.h"
#include "messages/kvrnack.h"
#include "messages/voxcall.h"
#include "messages/voxdebug.h"
#include "messages/voxfield.h"
#include "proxies/kvrmotorproxy.h"
#include "support/fuzzing.h"

#include <tuple>

using P = KVRMotorProxy;

namespace {
constexpr int MaxMessage = 48;

/// An output, however a decoder wants it.
template <typename T>
struct Output
{
    operator T &() { return value; }
    operator T *() { return &value; }
    T value{};
};

const P &proxy()
{
    static const P one(0x000101, nullptr);
    return one;
}

template <typename T>
constexpr bool isPlain = std::is_integral_v<T> || std::is_enum_v<T>;

/// What is no value of a decoder's own making.
template <typename T>
void spoil(T &value)
{
    if constexpr (isPlain<T>)
        value = static_cast<T>(1);
}

template <typename T>
bool isSame(const T &one, const T &other)
{
    if constexpr (isPlain<T>)
        return one == other;
    else
        return true;
}

/// A decoder that is content has written all of its outputs.
template <typename... Outputs>
void decode(const BusMessage &message, bool (P::*decoder)(const BusMessage &, Outputs...) const)
{
    std::tuple<Output<std::remove_pointer_t<std::remove_reference_t<Outputs>>>...> first;
    auto second = first;
    std::apply([](auto &...output) { (spoil(output.value), ...); }, second);
    const auto run = [&](auto &...output) { return (proxy().*decoder)(message, output...); };
    const bool isContent = std::apply(run, first);
    expect(std::apply(run, second) == isContent);
    const auto compare = [&](const auto &...one) {
        const auto with = [&](const auto &...other) { return (isSame(one.value, other.value) && ...); };
        return std::apply(with, second);
    };
    expect(!isContent || std::apply(compare, first));
}

template <typename... Outputs>
void decode(const BusMessage &message, bool (KVRStdProxy::*decoder)(const BusMessage &, Outputs...) const)
{
    decode(message, static_cast<bool (P::*)(const BusMessage &, Outputs...) const>(decoder));
}

template <typename... Decoders>
void decodeAll(const BusMessage &message, Decoders... decoders)
{
    (decode(message, decoders), ...);
}

void decodeAll(const BusMessage &message)
{
    decodeAll(message, &P::getGroupAddrReply, &P::getNetworkStatReply, &P::getNetworkErrorStatReply,
              &P::getNetworkConfigReply, &P::getNodeStackVersionReply, &P::getNodeAppVersionReply,
              &P::getNodeLabelReply, &P::getNodeSerialNumberReply, &P::checkDataTest1Reply,
              &P::getMotorPositionReply, &P::getMotorStatusReply, &P::getAppModeReply,
              &P::getMotorLimitsReply, &P::getMotorDirectionReply, &P::getMotorRollingSpeedReply,
              &P::getMotorTiltingSpeedReply, &P::getMotorIPReply, &P::getNetworkLockReply,
              &P::getDCTLockReply, &P::getTiltLimitsReply, &P::getMotorSoftStartStopReply,
              &P::getTorqueLimitationReply, &P::getFactoryDefaultReply, &P::diagGetTotalMoveCountReply,
              &P::diagGetTotalRevCountReply, &P::diagGetThermalCountReply, &P::diagGetObstacleCountReply,
              &P::diagGetPowerCountReply, &P::diagGetResetCountReply, &P::diagGetEncoderErrorsReply);
    proxy().checkDataTest2Reply(message, message.data().mid(VOXMessage::HeaderLength));
    proxy().checkDataTest3Reply(message, message.data().mid(VOXMessage::HeaderLength));
    proxy().getMotorPositionReply(message, nullptr, nullptr, nullptr, nullptr);
    KVRStdProxy::AppVersion version;
    if (proxy().getNodeStackVersionReply(message, version))
        expect(KVRStdProxy::AppVersion::AppVersionFromString(version.toString()).isValid());
}

/// Reads by all that a reader can, in an order that the input tells.
void read(const VOXMessage &message, Input &input)
{
    VOXDataReader reader(message);
    char bytes[32];
    unsigned char byte = 0;
    unsigned short word = 0;
    unsigned int number = 0;
    bool flag = false;
    int taken = 0;
    while (!input.atEnd()) {
        const bool hadFailed = reader.fail();
        const unsigned char step = input.byte();
        constexpr int widths[] = {1, 2, 3, 4, 1};
        switch (step % 8) {
        case 0:
            reader >> byte >> static_cast<unsigned char *>(nullptr);
            break;
        case 1:
            reader >> word >> static_cast<unsigned short *>(nullptr);
            break;
        case 2:
            reader >> number >> static_cast<unsigned int *>(nullptr);
            break;
        case 3:
            reader.readUint32(number);
            break;
        case 4:
            reader >> flag >> &flag;
            break;
        default: {
            const auto count = static_cast<unsigned int>(step / 8);
            const unsigned int read = reader.read(bytes, count);
            expect(read == (reader.fail() ? 0 : count));
            taken += static_cast<int>(read);
            break;
        }
        }
        if (step % 8 < 5 && !reader.fail())
            taken += widths[step % 8];
        expect(!hadFailed || reader.fail());
    }
    expect(taken <= std::max(message.data().size() - VOXMessage::MinLength, 0));
}

void show(const VOXMessage &message)
{
    QString text;
    const QDebug debug(&text);
    operator<<(debug, message.cmd());
    operator<<(debug, static_cast<KVR::Cmd>(message.cmd()));
    operator<<(debug, message.srcNodeType());
    operator<<(debug, message.destAddr(true));
    text += KVR::toString(KVR::getNackReply(message)) + VOX::toString(message.addrType())
        + VOX::toString(message.bcastAddr(true));
    for (const VOXField::Value &value : VOXField::valuesOf(message))
        text += value.toString();
    expect(!text.isEmpty());
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    const bool isWhole = (input.byte() & 1) != 0;
    const VOXMessage message =
        isWhole ? input.frame() : VOXMessage(BusMessage(input.bytes(input.byte() % MaxMessage)));
    expect(!isWhole || isWellFormed(message.data()));
    decodeAll(message);
    show(message);

    // Another message in the same bytes, and what the two are to each other.
    VOXMessage changed = message;
    changed.setSrcAddr(message.destAddr(true));
    changed.setDestAddr(message.srcAddr(true));
    changed.setAck(!message.isAck());
    changed.setCRC(!message.isCRC());
    changed.prepare();
    expect(changed.data().size() == message.data().size());
    expect(changed.isValid() == message.isValid());
    expect(!message.isValid() || isWellFormed(changed.data()));
    const VOXCall call(message, 0);
    call.sharedData().isReply(changed);
    changed.setLen(input.byte());
    expect(changed.len() >= VOXMessage::MinLength && changed.len() <= VOXMessage::MaxLength);
    changed.setExtLen(input.byte());
    decodeAll(changed);
    const KVRStdProxy node(changed.srcAddr(true), nullptr);
    expect(isWellFormed(KVRAck(node, message).data()));
    expect(isWellFormed(KVRNack(node, changed, KVR::NACK_BUSY).data()));
    read(message, input);
    return 0;
}
