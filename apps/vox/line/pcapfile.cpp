#include "vox/line/pcapfile.h"

#include <QDataStream>
#include <QtEndian>

namespace {
constexpr quint32 NsMagic = 0xa1b23c4d;
constexpr quint32 UsMagic = 0xa1b2c3d4;
constexpr quint32 LinkType = 147;
constexpr quint32 SnapLength = 65535;
constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 NsPerUs = 1000;

struct FileHeader
{
    quint32 magic = 0;
    quint16 major = 2;
    quint16 minor = 4;
    quint32 zone = 0;
    quint32 accuracy = 0;
    quint32 snapLength = SnapLength;
    quint32 linkType = LinkType;
};

struct RecordHeader
{
    quint32 seconds = 0;
    quint32 fraction = 0;
    quint32 captured = 0;
    quint32 original = 0;
};

bool isMagic(quint32 magic)
{
    return magic == NsMagic || magic == UsMagic;
}

bool isRead(const QDataStream &stream)
{
    return stream.status() == QDataStream::Ok;
}

/// Finds out the byte order, too.
bool readHeader(QDataStream &stream, FileHeader *header)
{
    stream >> header->magic;
    if (!isMagic(header->magic)) {
        stream.setByteOrder(QDataStream::BigEndian);
        header->magic = qbswap(header->magic);
    }
    stream >> header->major >> header->minor >> header->zone >> header->accuracy >> header->snapLength
        >> header->linkType;
    return isRead(stream) && isMagic(header->magic);
}

/// False at the end, and then @p isCut tells whether that is in the middle of a record.
bool readRecord(QDataStream &stream, qint64 nsPerFraction, LineItem *item, bool *isCut)
{
    *isCut = !stream.atEnd();
    RecordHeader header;
    stream >> header.seconds >> header.fraction >> header.captured >> header.original;
    if (!isRead(stream) || header.captured > SnapLength)
        return false;
    QByteArray bytes(static_cast<int>(header.captured), '\0');
    if (stream.readRawData(bytes.data(), bytes.size()) != bytes.size())
        return false;
    *item = LineItem::of(bytes, header.seconds * NsPerSecond + header.fraction * nsPerFraction);
    return true;
}
}

bool PcapWriter::open(const QString &name, QString *problem)
{
    m_file.setFileName(name);
    const FileHeader header;
    QDataStream stream(&m_file);
    stream.setByteOrder(QDataStream::LittleEndian);
    if (m_file.open(QIODevice::WriteOnly))
        stream << NsMagic << header.major << header.minor << header.zone << header.accuracy
               << header.snapLength << header.linkType;
    if (m_file.isOpen() && isRead(stream) && m_file.flush())
        return true;
    *problem = QStringLiteral("cannot write %1: %2").arg(name, m_file.errorString());
    return false;
}

bool PcapWriter::write(const LineItem &item)
{
    QDataStream stream(&m_file);
    stream.setByteOrder(QDataStream::LittleEndian);
    const auto size = static_cast<quint32>(item.bytes.size());
    stream << static_cast<quint32>(item.timeNs / NsPerSecond)
           << static_cast<quint32>(item.timeNs % NsPerSecond) << size << size;
    stream.writeRawData(item.bytes.constData(), item.bytes.size());
    return isRead(stream) && m_file.flush();
}

bool readPcap(const QString &name, std::vector<LineItem> *items, QString *problem)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        *problem = QStringLiteral("cannot read %1: %2").arg(name, file.errorString());
        return false;
    }
    QDataStream stream(&file);
    stream.setByteOrder(QDataStream::LittleEndian);
    FileHeader header;
    if (!readHeader(stream, &header)) {
        *problem = QStringLiteral("%1 is no capture").arg(name);
        return false;
    }
    if (header.linkType != LinkType) {
        *problem = QStringLiteral("%1 is a capture of link type %2, not of %3")
                       .arg(name)
                       .arg(header.linkType)
                       .arg(LinkType);
        return false;
    }
    LineItem item;
    bool isCut = false;
    while (readRecord(stream, header.magic == NsMagic ? 1 : NsPerUs, &item, &isCut))
        items->push_back(item);
    if (isCut)
        *problem = QStringLiteral("%1 is cut off after %2 records").arg(name).arg(items->size());
    return !isCut;
}
