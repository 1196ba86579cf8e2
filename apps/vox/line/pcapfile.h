#ifndef PCAPFILE_H
#define PCAPFILE_H

#include "vox/line/lineitem.h"

#include <QFile>

#include <vector>

/// Writes a capture: classic pcap with nanosecond times, link type 147, one record a frame or a piece of
/// garbage, in line form.
class PcapWriter
{
public:
    bool open(const QString &name, QString *problem);
    /// At once, so that a reader may follow. False if the file cannot take it.
    bool write(const LineItem &item);

private:
    QFile m_file;
};

/// Reads a capture, of either byte order and with times in micro- or nanoseconds. False if it is none, of
/// another link type, or cut off; @p problem says so, and @p items has what came before.
bool readPcap(const QString &name, std::vector<LineItem> *items, QString *problem);

#endif
