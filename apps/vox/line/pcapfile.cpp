#include "vox/line/pcapfile.h"

#include "vox/console.h"
#include "vox/outputqueue.h"

#include <QFile>

#include <pcap/pcap.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace {
constexpr int LinkType = DLT_USER0;
// The length of the longest record that libpcap reads.
constexpr int SnapLength = 262144;
constexpr qint64 NsPerSecond = 1000000000;

using Capture = std::unique_ptr<pcap_t, decltype(&pcap_close)>;

// The file is opened here, because libpcap takes "-" for a standard stream.
std::FILE *openFile(const QString &name, const char *mode)
{
    return std::fopen(QFile::encodeName(name).constData(), mode);
}

// In a classic capture, each of the two numbers has 32 bits without a sign. libpcap reads seconds with a
// sign.
qint64 timeNs(const timeval &time)
{
    return static_cast<quint32>(time.tv_sec) * NsPerSecond + static_cast<quint32>(time.tv_usec);
}
}

/// A stream whose writer never waits. Each record is flushed by itself, so one that finds no room is left out
/// as a whole.
struct PcapWriter::Pipe
{
    using Error = std::shared_ptr<std::atomic<int>>;

    static ssize_t write(void *pipe, const char *bytes, std::size_t size)
    {
        auto *const self = static_cast<Pipe *>(pipe);
        errno = *self->error;
        if (errno != 0)
            return 0;
        if (!self->queue.push(QByteArray(bytes, static_cast<int>(size))))
            ++self->leftOut;
        return static_cast<ssize_t>(size);
    }

    int leftOut = 0;
    // The thread of the queue may outlive this.
    const Error error = std::make_shared<std::atomic<int>>(0);
    OutputQueue queue{STDOUT_FILENO, [error = error](int number) { *error = number; }};
};

void PcapWriter::Closer::operator()(pcap_dumper *file) const
{
    pcap_dump_close(file);
}

bool PcapWriter::open(const QString &name, QString *problem)
{
    return begin(openFile(name, "wb"), name, problem);
}

bool PcapWriter::openOutput(Patience patience, QString *problem)
{
    if (isTerminal()) {
        *problem =
            QStringLiteral("a terminal cannot show a capture; pipe it into a program, or write it to a file");
        return false;
    }
    outliveReader();
    const QString name = QStringLiteral("to standard output");
    // Closing the capture leaves the stream of the program open.
    if (patience == Waits)
        return begin(::fdopen(::dup(STDOUT_FILENO), "wb"), name, problem);
    m_pipe = {new Pipe, [](Pipe *pipe) { delete pipe; }};
    return begin(::fopencookie(m_pipe.get(), "wb", {nullptr, Pipe::write, nullptr, nullptr}), name, problem);
}

bool PcapWriter::begin(std::FILE *file, const QString &name, QString *problem)
{
    const Capture format(
        pcap_open_dead_with_tstamp_precision(LinkType, SnapLength, PCAP_TSTAMP_PRECISION_NANO), pcap_close);
    if (file)
        m_file.reset(pcap_dump_fopen(format.get(), file));
    if (m_file && pcap_dump_flush(m_file.get()) == 0)
        return true;
    *problem = QStringLiteral("cannot write %1: %2").arg(name, qt_error_string(errno));
    return false;
}

bool PcapWriter::write(const LineItem &item)
{
    pcap_pkthdr header = {};
    header.ts.tv_sec = static_cast<time_t>(item.timeNs / NsPerSecond);
    header.ts.tv_usec = static_cast<suseconds_t>(item.timeNs % NsPerSecond);
    header.caplen = header.len = static_cast<bpf_u_int32>(item.bytes.size());
    pcap_dump(reinterpret_cast<u_char *>(m_file.get()), &header,
              reinterpret_cast<const u_char *>(item.bytes.constData()));
    pcap_dump_flush(m_file.get());
    // Writing a part of a long record may have failed before.
    const bool hasFailed = std::ferror(pcap_dump_file(m_file.get())) != 0;
    m_hasReaderLeft = hasFailed && errno == EPIPE;
    return !hasFailed;
}

int PcapWriter::leftOut() const
{
    return m_pipe ? m_pipe->leftOut : 0;
}

bool readPcap(const QString &name, std::vector<LineItem> *items, QString *problem)
{
    std::FILE *file = openFile(name, "rb");
    if (!file) {
        *problem = QStringLiteral("cannot read %1: %2").arg(name, qt_error_string(errno));
        return false;
    }
    char error[PCAP_ERRBUF_SIZE] = "";
    const Capture capture(pcap_fopen_offline_with_tstamp_precision(file, PCAP_TSTAMP_PRECISION_NANO, error),
                          pcap_close);
    if (!capture) {
        std::fclose(file);
        *problem =
            QStringLiteral("%1 is no capture that can be read: %2").arg(name, QString::fromLocal8Bit(error));
        return false;
    }
    const int linkType = pcap_datalink(capture.get());
    if (linkType != LinkType) {
        *problem = QStringLiteral("%1 is a capture of %2, not of link type %3")
                       .arg(name, QString::fromLatin1(pcap_datalink_val_to_description_or_dlt(linkType)),
                            QString::number(LinkType));
        return false;
    }
    pcap_pkthdr *header = nullptr;
    const u_char *bytes = nullptr;
    int result = 0;
    while ((result = pcap_next_ex(capture.get(), &header, &bytes)) == 1)
        items->push_back(
            LineItem::of(QByteArray(reinterpret_cast<const char *>(bytes), static_cast<int>(header->caplen)),
                         timeNs(header->ts)));
    if (result == PCAP_ERROR_BREAK)
        return true;
    *problem = QStringLiteral("%1 cannot be read beyond %2: %3")
                   .arg(name, counted(qint64(items->size()), "record"),
                        QString::fromLocal8Bit(pcap_geterr(capture.get())));
    return false;
}
