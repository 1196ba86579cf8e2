#ifndef PCAPFILE_H
#define PCAPFILE_H

#include "vox/line/lineitem.h"

#include <memory>
#include <vector>

struct pcap_dumper;

/// Writes a capture: classic pcap with nanosecond times, link type 147, with one record for each frame or
/// piece of garbage, in line form.
class PcapWriter
{
public:
    bool open(const QString &name, QString *problem);
    /// Writes @p item at once, so that a reader may follow. False if the file cannot take it.
    bool write(const LineItem &item);

private:
    struct Closer
    {
        void operator()(pcap_dumper *file) const;
    };

    std::unique_ptr<pcap_dumper, Closer> m_file;
};

/// Reads a capture, classic or pcapng. False if the file is no capture, has another link type, or is damaged;
/// @p problem says so, and @p items has the records before that.
bool readPcap(const QString &name, std::vector<LineItem> *items, QString *problem);

#endif
