#include "framework/busobject.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/recordingbus.h"
#include "support/timers.h"

#include <map>
#include <memory>

/// What goes out when, told as small plays.
///
/// A play is a row of steps. With a command in hexadecimal: q a query, o an order that expects no answer, b
/// an order to all, B a query to all, r an answer of a node on this side, < a frame that comes, x a canceled
/// call. Without: w the device has written, W it has to, W! it does so at once, f the next write fails, A
/// queries are answered from inside the write, ~ the collecting calls have ended, C the bus closes, O it
/// opens. With a decimal number: T time-out, D bus-free delay, L latency in microseconds, R line rate.
class tst_Dispatchers : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void order_data();
    void order();
    void pace_data();
    void pace();
};

namespace {
const VOXVirtualTime virtualTime;

class Stage : public QObject
{
public:
    explicit Stage(unsigned int rate)
        : bus(new RecordingBus(rate))
        , object(bus.get(), nullptr)
    {
        bus->onWrite = [this](const QByteArray &frame) { return write(frame); };
        connect(&bus->dispatcher(), &BusDispatcher::unhandled, this,
                [this](const BusMessage &message) { note(others, '?' + name(message.data())); });
    }

    void play(const QByteArray &step)
    {
        const QByteArray word = step.mid(1);
        const int cmd = word.toInt(nullptr, 16);
        const unsigned int number = word.toUInt();
        BusDispatcher &dispatcher = bus->dispatcher();
        const std::map<char, std::function<void()>> kinds = {
            {'q', [&] { call(query(cmd)); }},
            {'o', [&] { call(::order(cmd)); }},
            {'b', [&] { callAll(::order(cmd)); }},
            {'B', [&] { callAll(query(cmd)); }},
            {'r', [&] { object.reply(BusMessage(answer(word))); }},
            {'<', [&] { times[step] = VOXVirtualTime::now(), dispatcher.dispatch(answer(word)); }},
            {'x', [&] { calls.at(cmd).cancel(); }},
            {'w', [&] { bus->simple().deviceWritten(); }},
            {'W', [&] { bus->simple().setWaitDeviceWritten(true), hasWritten = !word.isEmpty(); }},
            {'f', [&] { fails = true; }},
            {'A', [&] { answers = true; }},
            {'~', [&] { QVERIFY(VOXVirtualTime::runUntil([this] { return collecting == 0; }, 5000)); }},
            {'C', [&] { bus->close(); }},
            {'O', [&] { bus->open(); }},
            {'T', [&] { timeout = number; }},
            {'D', [&] { delay = static_cast<unsigned char>(number); }},
            {'L', [&] { bus->simple().setNetworkLatency(number); }},
            {'R', [&] { static_cast<SerialDispatcher &>(dispatcher).setBaudRate(quint16(number)); }},
        };
        kinds.at(step.at(0))();
    }

    /// What has happened since the last time: writes in their order, then the rest sorted.
    QByteArray takeNotes()
    {
        VOXVirtualTime::advance(0);
        std::sort(others.begin(), others.end());
        const QByteArray taken = (std::exchange(writes, {}) + std::exchange(others, {})).join(' ');
        return taken.isEmpty() ? "-" : taken;
    }

    void playAll(const QByteArray &steps)
    {
        for (const QByteArray &step : steps.split(' '))
            play(step);
    }

    std::unique_ptr<RecordingBus> bus;
    std::map<int, BusPendingCall> calls;
    std::map<QByteArray, qint64> times;
    int deepest = 0;

private:
    static QByteArray name(const QByteArray &frame) { return frame.left(1).toHex(); }

    void note(QByteArrayList &list, const QByteArray &text)
    {
        list.append(text);
        times[text] = VOXVirtualTime::now();
    }

    int write(const QByteArray &frame)
    {
        deepest = qMax(deepest, ++depth);
        const bool failing = std::exchange(fails, false);
        if (!failing)
            note(writes, name(frame));
        if (answers && frame.at(0) < 0x50)
            bus->dispatcher().dispatch(answer(QByteArray(1, char(frame.at(0) + 0x20)).toHex()));
        if (hasWritten)
            bus->simple().deviceWritten();
        --depth;
        return failing ? -2 : 0;
    }

    BusPendingCall &call(VOXCall message)
    {
        if (message.addrType() == VOX::P2P)
            message.setTimeout(timeout);
        message.setBusFreeDelay(delay);
        BusPendingCall &handle = calls[message.cmd()] = object.call(message);
        handle.onFinished(this, [this, cmd = name(message.data())](const BusPendingCall &ended) {
            note(others,
                 ended.isError() ? cmd + '!' + QByteArray::number(ended.error())
                                 : cmd + '=' + QByteArray::number(ended.replies().size()));
        });
        return handle;
    }

    void callAll(VOXCall message)
    {
        message.setDestAddr(0xffffff);
        message.setTimeout(40);
        ++collecting;
        call(message).onFinished(this, [this] { --collecting; });
    }

    BusObject object;
    QByteArrayList writes, others;
    unsigned int timeout = 5000;
    unsigned char delay = 10;
    int depth = 0;
    int collecting = 0;
    bool fails = false;
    bool answers = false;
    bool hasWritten = false;
};
}

void tst_Dispatchers::order_data()
{
    const auto row = columns<QByteArray, QByteArray>("steps", "events");
    // Of what happens, a bare command is a write, 40=1 the end of a call with one reply, 40!3 one with error
    // 3, and ?60 a frame that nobody claimed.
    row("first in, first out, and one waits", "q40 q41 q42 <60 <61 <62", "40, -, -, 41 40=1, 42 41=1, 42=1");
    row("a silent call holds nothing", "o50 o51 q40 <60", "50 50=0, 51 51=0, 40, 40=1");
    row("silent calls wait for no period", "b50 b51 o52 ~", "50, 51, 52 52=0, 50=0 51=0");
    row("a query waits for all periods", "b50 b51 q40 ~ <60", "50, 51, -, 40 50=0 51=0, 40=1");
    row("a group query does so, too", "b50 B40 <60 ~", "50, -, -, 40 40=0 50=1");
    row("a group query waits alone", "B40 q41 o50 <60 <60 ~ <61", "40, -, -, -, -, 41 40=2, 50 41=1 50=0");
    row("nothing overtakes what waits for a period", "b50 q40 o51 ~ <60", "50, -, -, 40 50=0, 51 40=1 51=0");
    row("a refusal within a period is not the next call's", "b50 q40 <6F01 ~ <60", "50, -, -, 40 50=1, 40=1");
    row("of several periods the newest is asked first", "b50 b51 <6F01 ~", "50, 51, -, 50=0 51=1");
    row("a node's answer waits for no call", "q40 q41 r71 <60 <61", "40, -, 71, 41 40=1, 41=1");
    row("a node's answer waits for no period", "b50 q40 r71 ~ <60", "50, -, 71, 40 50=0, 40=1");
    row("frames without a call are for others", "<60 q40 <61 <60 <60", "?60, 40, ?61, 40=1, ?60");
    row("a failed write goes on to the next", "q40 q41 q42 f <60 <62", "40, -, -, -, 42 40=1 41!3, 42=1");
    row("a failed write at once, too", "f q40 q41 <61", "-, 40!3, 41, 41=1");
    row("a canceled call never goes out", "q40 q41 q42 x41 <60 <62", "40, -, -, 41!4, 42 40=1, 42=1");
    row("a canceled call that waits frees the line", "q40 q41 x40 <60 <61", "40, -, 41 40!4, ?60, 41=1");
    row("a canceled period frees the line", "b50 q40 x50 <60", "50, -, 40 50!4, 40=1");
    row("answers from inside the write are taken", "A q40 q41 B42 ~", "-, 40 40=1, 41 41=1, 42, 42=1");
    row("nothing is sent from inside a write", "q40 A q41 q42 <60", "40, -, -, -, 41 42 40=1 41=1 42=1");
    row("answers of nodes are written first", "W q40 o50 r71 <60 w w w", "-, 40, -, -, 40=1, 71, 50 50=0, -");
    row("an early report of writing does not count", "W w o50 o51 w w", "-, -, 50 50=0, -, 51 51=0, -");
    row("a report from inside the write counts", "W! o50 o51 q40 <60", "-, 50 50=0, 51 51=0, 40, 40=1");
    row("nobody waits for what was not written", "W f o50 o51 w", "-, -, 50!3, 51 51=0, -");
    row("closing drops answers that wait", "W r71 r72 C O r73 w", "-, 71, -, -, -, 73, -");
    row("closing ends calls that wait", "q40 q41 C O q42 <62", "40, -, 40!1 41!1, -, 42, 42=1");
    row("an answer on a closed bus is dropped", "C r71 O o50", "-, -, -, 50 50=0");
}

void tst_Dispatchers::order()
{
    QFETCH(QByteArray, steps);
    Stage stage(0);
    QByteArrayList seen;
    for (const QByteArray &step : steps.split(' ')) {
        stage.play(step);
        seen.append(stage.takeNotes());
        QVERIFY2(timersOf(stage.bus->dispatcher()).size() <= 1, "more than one timer");
    }
    QTEST(seen.join(", "), "events");
    QVERIFY2(stage.deepest < 2, "one write inside the other");
    QVERIFY2(timersOf(stage.bus->dispatcher()).isEmpty(), "an idle bus has a timer");
}

void tst_Dispatchers::pace_data()
{
    const auto row = columns<unsigned int, QByteArray, QByteArray, int>("rate", "steps", "span", "ms");
    // 11 bytes of 11 bits are 25.2 ms at 4800 bit/s, 12.6 at 9600 and 2.1 at 57600.
    row("a call needs its line time and its delay", 4800, "o50 o51", "50 51", 36);
    row("a call has its own delay", 4800, "D40 o50 D10 o51", "50 51", 66);
    row("at twice the rate the line time is half", 4800, "R9600 o50 o51", "50 51", 23);
    row("an answer of 12 bytes needs its line time and 5", 4800, "r7100 r72", "71 72", 33);
    row("an answer goes before calls that wait for the line", 4800, "o50 o51 r71", "50 71", 36);
    row("a reply leaves the call's own delay", 57600, "D40 q40 q41 <60", "<60 41", 40);
    row("frames of others keep the line for 5", 4800, "<71 o50", "<71 50", 5);
    row("frames of others do not free the line", 4800, "o50 o51 <71", "50 51", 36);
    row("what was not written does not hold the line", 4800, "f o50 o51", "50!3 51", 0);
    // These are read from its timer, to the millisecond.
    row("a time-out starts after the frame", 4800, "q40", "timeout", 5026);
    row("at the rate that was set", 4800, "R1200 q40", "timeout", 5101);
    row("at once without pacing", 4800, "R0 q40", "timeout", 5000);
    row("after the latency, which is rounded up", 0, "L1001 q40", "timeout", 5002);
    row("after a whole millisecond of it", 0, "L1000 q40", "timeout", 5001);
    row("after both", 4800, "L1500 B40", "timeout", 68);
    row("a queued call's time does not run", 0, "T30 q40 T20 q41", "41 41!2", 20);
    row("nobody waits longer than the call for the device", 0, "W D200 T40 q40 <60 o50", "40 50", 40);
}

void tst_Dispatchers::pace()
{
    QFETCH(unsigned int, rate);
    QFETCH(QByteArray, steps);
    QFETCH(QByteArray, span);
    Stage stage(rate);
    stage.playAll(steps);
    if (span == "timeout") {
        QTEST(intervalsOf(dataOf(stage.calls.at(0x40))).value(0), "ms");
        return;
    }
    QVERIFY2(!intervalsOf(stage.bus->dispatcher()).contains(-1), "a coarse timer");
    const QByteArrayList ends = span.split(' ');
    QVERIFY(VOXVirtualTime::runUntil([&] { return stage.times.count(ends.at(1)) > 0; }, 5000));
    QTEST(int(stage.times[ends.at(1)] - stage.times[ends.at(0)]), "ms");
}

QTEST_GUILESS_MAIN(tst_Dispatchers)
#include "tst_dispatchers.moc"
