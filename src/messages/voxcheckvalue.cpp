#include "messages/voxcheckvalue.h"

#include <array>

namespace {
constexpr unsigned short ReflectedPolynomial = 0x8408;
constexpr unsigned int ByteMask = 0xff;

constexpr std::array<unsigned short, 256> lineFormTable()
{
    std::array<unsigned short, 256> table{};
    for (unsigned int byte = 0; byte < table.size(); ++byte) {
        unsigned int value = byte;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1) != 0 ? (value >> 1) ^ ReflectedPolynomial : value >> 1;
        // Indexed by the logical byte, which is the complement of the one that is sent.
        table[byte ^ ByteMask] = static_cast<unsigned short>(value);
    }
    return table;
}

constexpr auto Table = lineFormTable();
}

unsigned short VOXCheckValue::checksum(const char *data, std::size_t size)
{
    unsigned int sum = 0;
    for (std::size_t i = 0; i < size; ++i)
        sum += static_cast<unsigned char>(~static_cast<unsigned char>(data[i]));
    return static_cast<unsigned short>(sum);
}

unsigned short VOXCheckValue::crc(const char *data, std::size_t size)
{
    unsigned int value = 0;
    for (std::size_t i = 0; i < size; ++i)
        value = (value >> 8) ^ Table[(value ^ static_cast<unsigned char>(data[i])) & ByteMask];
    return static_cast<unsigned short>(value);
}
