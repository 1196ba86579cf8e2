#ifndef DECODING_H
#define DECODING_H

#include "proxies/kvrmotorproxy.h"

#include <functional>
#include <tuple>

/// Whether a decoder is content, and what stands in its outputs, in hexadecimal.
using Decoded = QPair<bool, QByteArray>;
using Decoder = std::function<Decoded(const BusMessage &)>;
Q_DECLARE_METATYPE(Decoder)

/// An output, however a decoder wants it.
template <typename T>
struct Output
{
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
        return shown(value.state) + shown(value.direction) + shown(value.source) + shown(value.cause);
    else
        return value.isValid() ? "valid" : "invalid";
}

/// One of a proxy.
template <typename Class, typename... Outputs>
Decoder decoder(bool (Class::*decode)(const BusMessage &, Outputs...) const)
{
    return [decode](const BusMessage &message) {
        std::tuple<Output<std::remove_pointer_t<std::remove_reference_t<Outputs>>>...> outputs;
        const auto run = [&](auto &...output) {
            const QByteArrayList before{shown(output.value)...};
            const bool isOk = (KVRMotorProxy(1, nullptr).*decode)(message, output...);
            const QByteArrayList after{shown(output.value)...};
            return Decoded(isOk, isOk || after != before ? after.join(' ') : "untouched");
        };
        return std::apply(run, outputs);
    };
}

#endif
