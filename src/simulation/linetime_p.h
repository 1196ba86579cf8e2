#ifndef VOX_SIMULATION_LINETIME_P_H
#define VOX_SIMULATION_LINETIME_P_H

#include <QtGlobal>

/// Nanoseconds that so many bytes take on a serial line, each with its start, parity and stop bit. 0 for a
/// line of 0 bit/s, which takes no time.
constexpr qint64 lineTimeNs(qint64 byteCount, int bitsPerSecond)
{
    constexpr qint64 BitsPerByte = 11;
    constexpr qint64 NsPerSecond = 1000000000;
    return bitsPerSecond > 0 ? byteCount * BitsPerByte * NsPerSecond / bitsPerSecond : 0;
}

#endif
