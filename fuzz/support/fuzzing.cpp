#include "support/fuzzing.h"

#include "transport/voxframecutter.h"

#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {
constexpr unsigned char FlagMask = VOXMessage::AckFlag | VOXMessage::CrcFlag;

int lengthIn(const QByteArray &frame)
{
    return frame.at(1) & VOXMessage::LengthMask;
}

void drop(QtMsgType, const QMessageLogContext &, const QString &)
{
}
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qInstallMessageHandler(drop);
    // Local time is formatted often; without this the system looks into a file each time.
    qputenv("TZ", "UTC0");
    static const VOXVirtualTime time(VOXVirtualTime::OnDemand);
    static auto *application = new QCoreApplication(*argc, *argv);
    Q_UNUSED(application)
    return 0;
}

QByteArray Input::bytes(int most)
{
    const auto count = std::min<std::ptrdiff_t>(most, m_end - m_at);
    QByteArray taken(reinterpret_cast<const char *>(m_at), static_cast<int>(count));
    m_at += count;
    return taken;
}

VOXMessage Input::frame()
{
    const unsigned char control = byte();
    const int length = std::max(control & VOXMessage::LengthMask, VOXMessage::MinLength);
    VOXMessage frame(static_cast<unsigned char>((control & FlagMask) | length));
    frame.setCmd(byte());
    const QByteArray data = bytes(frame.len() - VOXMessage::MinLength);
    frame.data().replace(VOXMessage::HeaderLength, data.size(), data);
    frame.prepare();
    return frame;
}

void expect(bool holds, const char *file, int line)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s:%d: this was expected to hold\n", file, line);
    std::abort();
}

bool isWellFormed(const QByteArray &frame)
{
    if (frame.size() < VOXMessage::MinLength || lengthIn(frame) != frame.size())
        return false;
    return VOXFrameCutter::check(frame).verdict != VOXFrameCutter::Failed;
}

QByteArray turned(const QByteArray &frame)
{
    QByteArray bytes = frame;
    VOXFrameCutter::invertBody(bytes);
    return bytes;
}

QByteArrayList framesIn(const QByteArray &line)
{
    QByteArrayList frames;
    const VOXFrameCutter cutter(VOXMessage::MinLength);
    for (int at = 0; at < line.size();) {
        const VOXFrameCutter::Cut cut = cutter.cut(line.mid(at));
        if (cut.isGood())
            frames.append(cut.frame);
        at += std::max(cut.dropped(), 1);
    }
    return frames;
}

MemoryFile::MemoryFile(const QByteArray &bytes)
    : m_descriptor(::memfd_create("input", 0))
{
    expect(::write(m_descriptor, bytes.constData(), static_cast<std::size_t>(bytes.size())) == bytes.size());
}

MemoryFile::~MemoryFile()
{
    ::close(m_descriptor);
}

QString MemoryFile::name() const
{
    return QStringLiteral("/proc/self/fd/%1").arg(m_descriptor);
}
