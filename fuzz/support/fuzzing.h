#ifndef FUZZING_H
#define FUZZING_H

#include "simulation/voxvirtualtime.h"

#include "messages/voxmessage.h"

#include <QByteArrayList>

#include <cstdint>

/// What a fuzzer was given, from its beginning to its end. Behind the end all bytes are 0.
class Input
{
public:
    Input(const std::uint8_t *data, std::size_t size)
        : m_at(data)
        , m_end(data + size)
    {
    }

    bool atEnd() const { return m_at == m_end; }
    unsigned char byte() { return atEnd() ? 0 : *m_at++; }
    unsigned short word() { return static_cast<unsigned short>(byte() | byte() << 8); }
    /// As many as there are, @p most at most. A copy of their own, so that a look behind them is noticed.
    QByteArray bytes(int most);
    /// A frame with the length, the command and the data that come next, and its check value. What it is
    /// from and to is left 0.
    VOXMessage frame();

private:
    const std::uint8_t *m_at;
    const std::uint8_t *m_end;
};

/// Ends the program if it does not hold, which is how a fuzzer finds a fault.
void expect(bool holds, const char *file = __builtin_FILE(), int line = __builtin_LINE());

/// Whether @p frame could travel: as long as it says, and with the check value that it names.
bool isWellFormed(const QByteArray &frame);

/// The bytes of @p frame turned between logical form and line form.
QByteArray turned(const QByteArray &frame);

/// The frames in a line's bytes, in logical form, found the plain way: wherever one does not begin, the next
/// byte is tried.
QByteArrayList framesIn(const QByteArray &line);

/// A file in memory, for what reads files by name.
class MemoryFile
{
public:
    explicit MemoryFile(const QByteArray &bytes);
    ~MemoryFile();
    Q_DISABLE_COPY_MOVE(MemoryFile)

    QString name() const;

private:
    int m_descriptor;
};

#endif
