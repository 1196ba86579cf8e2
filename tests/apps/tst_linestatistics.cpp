#include "support/columns.h"
#include "support/documented.h"
#include "support/frames.h"
#include "vox/line/lineerrors.h"
#include "vox/line/linehints.h"
#include "vox/line/linereport.h"

#include <linux/serial.h>
#include <random>

/// What is counted on a line, and what of it is an error.
class tst_LineStatistics : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void statistics();
    void aCaptureOfANetwork();
    void errors();
    void anHourOfStrangers();
    void portErrors();
};

namespace {
constexpr qint64 Ms = 1000000;
const VOXMessage stop = frame("02 FF", 0x000101, VOXMessage::AckFlag);
const VOXMessage query = frame("0E", 0x000102, VOXMessage::AckFlag | VOXMessage::CrcFlag);

/// Milliseconds, and what comes: a request, one to another node, one to all, an answer, a refusal, a failed
/// answer, garbage, a break.
LineItem itemOf(const QByteArray &step)
{
    const QByteArray reply = line(frameFrom(0x000101, "7F"));
    const QMap<char, QByteArray> bytes = {{'r', line(stop)},
                                          {'q', line(query)},
                                          {'b', line(frame("40", 0xffffff))},
                                          {'a', reply},
                                          {'n', line(frameFrom(0x000101, "6F FF"))},
                                          {'f', reply.chopped(1) + '?'},
                                          {'g', QByteArray(30, '?')},
                                          {'z', QByteArray(31, '\0')}};
    return LineItem::of(bytes[step.back()], step.chopped(1).toInt() * Ms);
}
}

void tst_LineStatistics::statistics()
{
    const auto row = [&](const char *name, const QByteArray &script, const char *node, const char *hint) {
        LineStatistics statistics;
        for (const QByteArray &step : script.split(' '))
            statistics.add(itemOf(step));
        const QStringList hints = hintsOf(statistics);
        const QJsonObject json = reportJson(statistics, hints);
        QCOMPARE(undocumented("vox monitor --stats", "`stats`", json), QString());
        QStringList actual;
        for (const QJsonValue &value : json["nodes"].toArray()) {
            QCOMPARE(value.toObject().keys(), documented("vox monitor --stats", "an element of `nodes`"));
            for (const QString key :
                 {"answers", "medianMs", "worstMs", "unanswered", "late", "lateOrLost", "surplus", "damaged"})
                actual += value[key].isNull() ? "-" : value[key].toVariant().toString();
            actual += QJsonDocument(value["nacks"].toObject()).toJson(QJsonDocument::Compact);
        }
        QCOMPARE(list(name, actual.join(' '), hints.join("; ")), list(name, node, hint));
        QCOMPARE(reportText(statistics, hints).filter("hint: ").size(), hints.size());
    };
    row("good", "0r 10a 100r 130a 200r 220a", "3 20 30 0 0 0 0 0 {}", "");
    row("no answer", "0r 150r 170a 400r", "1 20 20 1 0 1 0 0 {}", "");
    row("none at the end", "0r 10a 300r 900b", "1 10 10 1 0 0 0 0 {}", "");
    row("refusals", "0r 10n 20r 30n", "2 10 10 0 0 0 0 0 {\"BUSY\":2}", "");
    row("a damaged answer", "0r 10a 20r 30f 300r 310a", "2 10 10 1 0 0 0 1 {}", "");
    row("never an answer", "0r 300r 600r 900b", "0 - - 3 0 0 0 0 {}",
        "no answer from 000101, 3 requests in vain: no power there, or another address");
    row("two nodes", "0r 10a 12a 100r 110a 112a", "2 10 10 0 0 0 2 0 {}",
        "two nodes answer as 000101: 2 answers more than requests");
    row("late, and asked again", "0r 250r 300a 550a", "2 300 300 0 2 0 0 0 {}", "");
    row("late, and asked again, in a chain", "0r 250r 300a 310r 550a 610a", "3 300 300 0 3 0 0 0 {}",
        "late answers from 000101: 3 answers after more than 200 ms, when hosts have given up");
    row("lost, and asked again and again", "0r 250r 270a 500r 520a 750r 770a 1000r 1020a 1030a",
        "4 20 20 1 0 1 1 0 {}", "two nodes answer as 000101: 1 answer more than requests");
    row("later than ever", "0r 2100a", "0 - - 1 0 0 0 0 {}", "");
    row("to a request to all", "0r 10a 100b 110n 150b 152n", "1 10 10 0 0 0 0 0 {\"BUSY\":2}", "");
    row("two nodes, to a request to all", "0b 10n 12n", "0 - - 0 0 0 1 0 {\"BUSY\":2}",
        "two nodes answer as 000101: 1 answer more than requests");
    row("two nodes, while all are asked", "0r 5b 10a 12a", "1 10 10 0 0 0 1 0 {}",
        "two nodes answer as 000101: 1 answer more than requests");
    row("another, while one is open", "0r 100q 110a", "1 110 110 0 0 0 0 0 {} 0 - - 0 0 0 0 0 {}", "");
}

// A host on a network asks the next node as soon as it has given up, 202 ms after the last request. On a
// line, that would have begun before.
void tst_LineStatistics::aCaptureOfANetwork()
{
    for (const bool isNetwork : {true, false}) {
        std::vector<LineItem> items;
        for (int i = 0; i < 10; ++i) {
            for (const auto &[ms, message] :
                 {std::pair(0, query), {202, stop}, {isNetwork ? 203 : 240, frameFrom(0x000101, "7F")}})
                items.push_back(LineItem::of(line(message), (i * 500 + ms) * Ms));
        }
        LineStatistics statistics;
        statistics.setViewOf(items);
        for (const LineItem &item : items)
            statistics.add(item);
        QCOMPARE(list(statistics.totals().clashes, statistics.load().has_value()),
                 list(isNetwork ? 0 : 10, !isNetwork));
    }
}

// In the order in which they are known: what it is, and of which time.
void tst_LineStatistics::errors()
{
    const auto row = [&](const char *name, const QByteArray &script, const char *errors) {
        LineStatistics statistics;
        QByteArrayList actual;
        const auto tell = [&](const QVector<LineError> &found) {
            for (const LineError &error : found) {
                const QJsonObject json = error.toJson();
                actual +=
                    json["error"].toString().toLatin1() + ' ' + QByteArray::number(error.item.timeNs / Ms);
                if (json.contains("answerMs"))
                    actual.last() += '+' + QByteArray::number(json["answerMs"].toInt());
            }
        };
        for (const QByteArray &step : script.split(' ')) {
            const LineItem item = itemOf(step);
            tell(errorsOf(item, statistics.add(item)));
        }
        tell(errorsOf(statistics.close()));
        QCOMPARE(list(name, actual.join(", ")), list(name, errors));
    };
    row("none", "0r 10a 100r 120a", "");
    row("no answer", "0r 3000r 3010a 4000r", "unanswered 0");
    row("a late answer", "0r 300a", "late 0+300");
    row("late, and asked again", "0r 250r 300a 550a", "late 0+300, late 250+300");
    row("late, or lost", "0r 250r 300a", "lateOrLost 0");
    row("refused", "0r 10n", "refused 0, refusal 10");
    row("nobody has asked", "10n", "refusal 10");
    row("one too many", "0r 10a 20a", "surplus 20");
    row("damaged", "0r 10f 300r 310a", "damaged 10, unanswered 0");
    row("a break", "0r 10z", "damaged 10");
    row("two hosts", "0r 40q 50a", "clash 40");
    const LineItem late = LineItem::of(line(stop), 0);
    const LineError error{LineError::Late, late, late, 300 * Ms};
    QVERIFY(error.toString().endsWith("ANSWERED LATE after 300.0 ms"));
}

// Each frame from another node, as fast as the line is, and one node that answers all the time.
void tst_LineStatistics::anHourOfStrangers()
{
    LineStatistics statistics;
    std::minstd_rand random(3);
    constexpr int Second = 1000;
    for (int ms = 0; ms < 3600 * Second; ms += 25) {
        const int extra = ms % Second == 25 ? ms / Second % 100 : 0;
        const QByteArray bytes = ms % Second == 0 ? line(stop)
            : ms % Second == 25                   ? line(frameFrom(0x000101, "7F"))
                                                  : line(frameFrom(random() & 0xffffff, "7F"));
        statistics.add(LineItem::of(bytes, (ms + extra) * Ms));
        QVERIFY(ms % (600 * Second) != 0 || statistics.nodes().size() <= LineStatistics::MaxNodes);
    }
    const NodeStatistics node = statistics.nodes()[0x000101];
    QCOMPARE(list(node.requests, node.times.count(), qRound(node.times.ms(0.5) / 5), node.times.ms(1)),
             list(3600, 3600, 15, 124.0));
    QVERIFY(statistics.totals().forgotten > 100000);
}

// What a driver has counted before does not count, and numbers begin anew after the greatest.
void tst_LineStatistics::portErrors()
{
    const auto row = [&](const std::optional<PortErrors> &before, const PortErrors &errors, bool hasFrame,
                         const QString &said, const QString &hint) {
        LineStatistics statistics;
        statistics.setPortErrors(
            before ? std::optional(PortErrors::of(3,
                                                  [&](int port, serial_icounter_struct *all) {
                                                      all->frame = int(before->framing + errors.framing);
                                                      all->parity = int(before->parity + errors.parity);
                                                      all->brk = int(before->breaks + errors.breaks);
                                                      all->overrun = int(before->overruns + errors.overruns);
                                                      return port == 3;
                                                  })
                                       ->since(*before))
                   : PortErrors::of(3, [](int, serial_icounter_struct *) { return false; }));
        statistics.add(LineItem::of(hasFrame ? line(stop) : QByteArray("?"), 1000 * Ms));
        const QStringList hints = hintsOf(statistics);
        QCOMPARE(list(reportText(statistics, hints).at(2), hints.join("; ")),
                 list("the port's driver: " + said, hint));
        const QJsonValue port = reportJson(statistics, hints)["port"];
        QCOMPARE(list(port.isNull(), port["parityErrors"].toInt()), list(!before, int(errors.parity)));
        QCOMPARE(undocumented("vox monitor --stats", "`port` in `stats`", port.toObject()), QString());
    };
    const PortErrors none, some = {0xfffffffe, 7, 1, 0};
    row({}, none, false, "framing and parity errors, breaks and overruns are not counted", "");
    row(some, none, false, "0 framing errors, 0 parity errors, 0 breaks, 0 overruns", "");
    row(none, {1, 30, 0, 0}, false, "1 framing error, 30 parity errors, 0 breaks, 0 overruns",
        "30 parity errors and hardly anything else: the parity is wrong, or the bit rate is twice that of "
        "the line");
    row(some, {8, 30, 2, 0}, false, "8 framing errors, 30 parity errors, 2 breaks, 0 overruns",
        "8 framing errors and 2 breaks: the bit rate or the parity is wrong, or the two wires are swapped");
    row(some, {8, 30, 2, 0}, true, "8 framing errors, 30 parity errors, 2 breaks, 0 overruns", "");
    row(some, {0, 0, 0, 1}, true, "0 framing errors, 0 parity errors, 0 breaks, 1 overrun",
        "the port has lost bytes in 1 overrun: this machine was too busy");
}

QTEST_GUILESS_MAIN(tst_LineStatistics)
#include "tst_linestatistics.moc"
