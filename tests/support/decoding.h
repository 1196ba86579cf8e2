#ifndef DECODING_H
#define DECODING_H

#include "proxies/kvrmotorproxy.h"

#include <functional>
#include <utility>

/// Whether a decoder is content, and what it has written into its outputs, in hexadecimal.
using Decoded = QPair<bool, QByteArray>;
using Decoder = std::function<Decoded(const BusMessage &)>;
Q_DECLARE_METATYPE(Decoder)

/// An output, however a decoder wants it.
template <typename T>
struct Output
{
    /// Filled with 0, or with another value than that.
    explicit Output(bool isZero)
    {
        if constexpr (std::is_same_v<T, QByteArray>)
            value = isZero ? "" : "?";
        else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
            value = static_cast<T>(isZero ? 0 : ~0);
        else if constexpr (std::is_same_v<T, KVRMotor::Status>)
            value = {Output<KVRMotor::State>(isZero).value, Output<KVRMotor::Direction>(isZero).value,
                     Output<KVRMotor::Source>(isZero).value, Output<KVRMotor::Cause>(isZero).value};
        else
            isZero ? value.clear() : void(value.data());
    }
    operator T &() { return value; }
    operator T *() { return &value; }
    T value{};
};

template <typename T>
QByteArray shown(const T &value)
{
    if constexpr (std::is_same_v<T, QByteArray>)
        return value.toHex().toUpper();
    else if constexpr (std::is_integral_v<T> || std::is_enum_v<T>)
        return QByteArray::number(static_cast<unsigned int>(value), 16).toUpper();
    else if constexpr (std::is_same_v<T, KVRMotor::Status>)
        return shown(value.state) + ' ' + shown(value.direction) + ' ' + shown(value.source) + ' '
            + shown(value.cause);
    else
        return value.isValid() ? "valid" : "invalid";
}

/// One of a proxy. An output that it has not written is a "-".
template <typename Class, typename... Outputs>
Decoder decoder(bool (Class::*decode)(const BusMessage &, Outputs...) const)
{
    return [decode](const BusMessage &message) {
        const auto run = [&](auto... output) {
            const bool isOk = (KVRMotorProxy(1, nullptr).*decode)(message, output...);
            return std::pair(isOk, QByteArrayList({shown(output.value)...}).join(' ').split(' '));
        };
        const auto runFrom = [&]([[maybe_unused]] bool isZero) {
            return run(Output<std::remove_pointer_t<std::remove_reference_t<Outputs>>>(isZero)...);
        };
        auto [isOk, outputs] = runFrom(true);
        const auto others = runFrom(false);
        for (int i = 0; i < outputs.size(); ++i) {
            if (outputs.at(i) != others.second.at(i))
                outputs[i] = "-";
        }
        return Decoded(isOk && others.first, outputs.join(' '));
    };
}

#endif
