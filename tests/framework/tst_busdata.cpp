#include "framework/busdatareader.h"
#include "framework/busdatawriter.h"
#include "support/columns.h"

/// Readers and writers of a range: an access moves all or nothing, and after an overrun nothing moves any
/// more.
class tst_BusData : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void ranges();
};

void tst_BusData::ranges()
{
    struct Reader : BusDataReader
    {
        using BusDataReader::BusDataReader;
        using BusDataReader::skip;
    };
    const auto row = [&](const char *name, unsigned int offset, int size, const QByteArray &steps,
                         const char *expected, const QByteArray &message) {
        const BusMessage source(QByteArray("0123456789"));
        BusMessage target = source;
        Reader reader(source, offset, size);
        BusDataWriter writer(target, offset, size);
        QByteArrayList read;
        for (const QByteArray &step : steps.split(' ')) {
            if (step.startsWith('s')) {
                const bool hasFailed = reader.fail();
                reader.skip(step.mid(1).toInt());
                QCOMPARE(reader.fail(), hasFailed);
                continue;
            }
            const unsigned int count = step.toUInt();
            QByteArray bytes(step.toInt(), '?');
            const unsigned int moved = reader.read(bytes.data(), count);
            QCOMPARE(moved, reader.fail() ? 0 : count);
            QCOMPARE(bytes.count('?'), reader.fail() ? bytes.size() : 0);
            read.append(reader.fail() ? "-" : bytes);
            bytes.fill(char('a' + read.size() - 1));
            if (!message.isEmpty()) {
                QCOMPARE(writer.write(bytes.constData(), count), moved);
                QCOMPARE(writer.fail(), reader.fail());
            }
        }
        QCOMPARE(list(name, read.join(' ')), list(name, expected));
        QCOMPARE(target.data(), message.isEmpty() ? source.data() : message);
    };
    // A number reads, or writes, so many bytes; s skips so many, which writers do not. Of the ten digits
    // those that were read, or what has become of them.
    row("all", 0, 10, "4 6 1", "0123 456789 -", "aaaabbbbbb");
    row("a part", 2, 3, "2 1 1", "23 4 -", "01aab56789");
    row("more than there is", 8, 9, "2 1", "89 -", "01234567aa");
    row("nothing of what goes past the end", 0, 3, "2 2 1", "01 - -", "aa23456789");
    row("nothing at all", 10, 1, "0 1", " -", "0123456789");
    row("a size below 0", 0, -1, "0 1", "- -", "0123456789");
    row("from far behind", 4294967295, 10, "1", "-", "0123456789");
    row("behind what was skipped", 0, 4, "s2 2 1", "23 -", "");
    row("past the end by a skip", 0, 4, "s5 1", "-", "");
    row("far past it", 0, 4, "s2147483647 s2147483647 1", "-", "");
    row("after a failure and a skip", 0, 4, "5 s4 1", "- -", "");
}

QTEST_GUILESS_MAIN(tst_BusData)
#include "tst_busdata.moc"
