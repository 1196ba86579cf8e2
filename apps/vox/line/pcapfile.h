#ifndef PCAPFILE_H
#define PCAPFILE_H

#include "vox/line/lineitem.h"

#include <cstdio>
#include <memory>
#include <vector>

struct pcap_dumper;

/// Writes a capture: classic pcap with nanosecond times, link type 147, with one record for each frame or
/// piece of garbage, in line form.
class PcapWriter
{
public:
    bool open(const QString &name, QString *problem);
    enum Patience {
        /// write() waits while nobody reads.
        Waits,
        /// write() never waits: records that nobody has read are kept as far as there is room.
        Hurries
    };

    /// Writes to standard output, for a program at the other end of a pipe. False if that is a terminal.
    bool openOutput(Patience patience, QString *problem);
    /// Writes @p item at once, so that a reader may follow. False if the file cannot take it.
    bool write(const LineItem &item);
    /// Whether the last write() has failed because the other end of the pipe was closed.
    bool hasReaderLeft() const { return m_hasReaderLeft; }
    /// How many items have found no room, because nobody reads the pipe.
    int leftOut() const;

private:
    bool begin(std::FILE *file, const QString &name, QString *problem);

    struct Closer
    {
        void operator()(pcap_dumper *file) const;
    };

    struct Pipe;

    // Outlives the file, which writes into it at its end.
    std::unique_ptr<Pipe, void (*)(Pipe *)> m_pipe{nullptr, nullptr};
    std::unique_ptr<pcap_dumper, Closer> m_file;
    bool m_hasReaderLeft = false;
};

/// Reads a capture, classic or pcapng. False if the file is no capture, has another link type, or is damaged;
/// @p problem says so, and @p items has the records before that.
bool readPcap(const QString &name, std::vector<LineItem> *items, QString *problem);

#endif
