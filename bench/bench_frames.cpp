// Frames a second of building and checking frames, beside the check value of Modbus RTU over the same bytes.

#include "support/cases.h"

#include <array>
#include <cstdio>
#include <cstdlib>

namespace {
using CrcTable = std::array<unsigned short, 256>;

constexpr CrcTable makeCrcTable()
{
    CrcTable table{};
    for (unsigned int byte = 0; byte < table.size(); ++byte) {
        unsigned int crc = byte;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 1) != 0 ? crc >> 1 ^ 0xa001 : crc >> 1;
        table[byte] = static_cast<unsigned short>(crc);
    }
    return table;
}

unsigned short modbusCrc(const QByteArray &bytes)
{
    static constexpr CrcTable table = makeCrcTable();
    unsigned int crc = 0xffff;
    for (const char byte : bytes)
        crc = crc >> 8 ^ table[(crc ^ static_cast<unsigned char>(byte)) & 0xff];
    return static_cast<unsigned short>(crc);
}

Step modbusCheckTwice()
{
    // Once for the sender and once for the receiver; an empty frame's value would be the start value.
    return [frame = exampleFrame()] {
        if (modbusCrc(frame) == 0xffff || modbusCrc(frame) == 0xffff)
            std::abort();
    };
}
}

int main(int argc, char *argv[])
{
    auto median =
        medians(argc, argv, {{"prepare and parse", prepareAndParse}, {"Modbus RTU", modbusCheckTwice}});
    const double frame = median["prepare and parse"];
    std::printf(
        "prepare and parse: %.0f frames a second; the Modbus RTU check values alone, of the same bytes: "
        "%.0f, ratio of the times %.2f\n",
        1e6 / frame, 1e6 / median["Modbus RTU"], frame / median["Modbus RTU"]);
    return 0;
}
