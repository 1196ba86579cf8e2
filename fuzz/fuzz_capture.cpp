// Captures of any bytes; and what a monitor makes of a line's bytes that come as the records of a capture, or
// in reads of any size. No byte is lost, and what is read comes back when it is written.

#include "support/fuzzing.h"
#include "vox/line/framescanner.h"
#include "vox/line/linehints.h"
#include "vox/line/linereport.h"
#include "vox/line/pcapfile.h"

namespace {
struct Monitor
{
    void feed(const QByteArray &bytes, qint64 timeNs)
    {
        fed += bytes;
        scanner.feed(bytes, timeNs);
    }

    void finish()
    {
        scanner.flush();
        QByteArray shown;
        LineStatistics statistics;
        for (const LineItem &item : items) {
            shown += item.bytes;
            expect(!item.bytes.isEmpty()
                   && item.isTaken() == (item.isFrame() && isWellFormed(item.frame.data())));
            expect(!item.toString().isEmpty() && !item.toJson().isEmpty());
            statistics.add(item);
        }
        const QStringList hints = hintsOf(statistics);
        expect(!reportText(statistics, hints).isEmpty() && !reportJson(statistics, hints).isEmpty());
        expect(shown == fed && !scanner.hasPending());
    }

    QByteArray fed;
    std::vector<LineItem> items;
    FrameScanner scanner{[this](const LineItem &item) { items.push_back(item); }};
};

bool isSame(const LineItem &one, const LineItem &other)
{
    // Its seconds have 32 bits, and a damaged fraction may go beyond.
    constexpr qint64 WrapNs = 0x100000000 * 1000000000;
    return one.bytes == other.bytes && one.timeNs % WrapNs == other.timeNs % WrapNs;
}

void expectToComeBack(const std::vector<LineItem> &items)
{
    const MemoryFile file{QByteArray()};
    QString problem;
    PcapWriter writer;
    expect(writer.open(file.name(), &problem));
    for (const LineItem &item : items)
        expect(writer.write(item));
    std::vector<LineItem> read;
    expect(readPcap(file.name(), &read, &problem));
    expect(std::equal(read.begin(), read.end(), items.begin(), items.end(), isSame));
}
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    Input input(data, size);
    Monitor monitor;
    std::vector<LineItem> records;
    QString problem;
    const MemoryFile file(Input(data, size).bytes(static_cast<int>(size)));
    const bool isRead = readPcap(file.name(), &records, &problem);
    expect(isRead == problem.isEmpty());
    for (const LineItem &record : records)
        monitor.feed(record.bytes, record.timeNs);
    if (records.empty()) {
        qint64 timeNs = 0;
        while (!input.atEnd()) {
            const unsigned char step = input.byte();
            if (step < 0x40)
                monitor.feed(input.bytes(step), ++timeNs);
            else if (step < 0xc0)
                monitor.feed(turned(input.frame().data()).left(step), ++timeNs);
            else
                monitor.scanner.flush();
        }
    }
    monitor.finish();
    if (!records.empty())
        expectToComeBack(records);
    return 0;
}
