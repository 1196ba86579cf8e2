#include "framework/busobject.h"
#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"
#include "support/columns.h"
#include "support/recordingbus.h"
#include "support/timers.h"
#include "support/watching.h"

#include <QThread>

#include <atomic>
#include <memory>
#include <thread>

/// How calls end, and who hears of it.
class tst_BusPendingCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsOnce_data();
    void endsOnce();
    void slotsMayDestroy();
    void contextsMayBeElsewhereOrGone();
    void nobodyIsToldInsideACall();
    void watchersHearInOrder();
    void manyCallsMayBeCanceled();
    void keptCallsAreSentAsWhatTheyAre();
    void aCallThatNeverWasIsCanceled();
    void framesThatNobodyClaims();
    void waitingHasLimits();
    void waitingInsideADeliveryOrAWrite();
    void inputWhenTheTimeIsOver();
    void repliesComeFromAnyThread();
    void lastHandleMayGoOnAnotherThread();
};

namespace {
/// A caller on an open bus, with one call that a test is about and one behind it.
struct World
{
    std::unique_ptr<RecordingBus> bus = std::make_unique<RecordingBus>();
    BusObject object{bus.get(), nullptr};
    VOXCall message = query(0x40);
    BusPendingCall call;
    BusPendingCall next;

    /// Sends the call.
    void start() { call = object.call(message); }
    void hear(const char *commandAndData) { bus->dispatcher().dispatch(answer(commandAndData)); }
    /// Does this inside the next write.
    void onWrite(const std::function<void()> &reaction)
    {
        bus->onWrite = [this, reaction](const QByteArray &) {
            bus->onWrite = nullptr;
            reaction();
            return 0;
        };
    }
};

/// Counts how often a call's end is told.
struct Ear
{
    explicit Ear(const BusPendingCall &call)
        : watcher(call)
    {
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher, [this](auto *told) {
            signalled += told == &watcher && told->isFinished() ? 1 : 100;
        });
        call.onFinished(&watcher, [this] { ++called; });
    }
    bool hasHeardOnce() const { return signalled == 1 && called == 1; }

    BusPendingCallWatcher watcher;
    int signalled = 0;
    int called = 0;
};

using Step = void (*)(World &);
using Call = BusPendingCall;
}
Q_DECLARE_METATYPE(Step)

void tst_BusPendingCall::endsOnce_data()
{
    const auto row = columns<int, QByteArray, bool, Step>("error", "reply", "isBefore", "step");
    constexpr bool Before = true, After = false;
    row("by its reply", 0, "60 01", After, [](World &w) { w.hear("60 01"); });
    row("by a refusal, which is a reply", 0, "6F FF", After, [](World &w) { w.hear("6F FF"); });
    row("by a reply from inside the write", 0, "60", Before,
        [](World &w) { w.onWrite([&w] { w.hear("60"); }); });
    row("when it is written and asks for nothing", 0, "", Before, [](World &w) { w.message = order(0x50); });
    row("when its time is over", Call::Timeout, "", Before, [](World &w) { w.message.setTimeout(20); });
    row("by a reply that had come when its time was over", 0, "60", Before, [](World &w) {
        w.message.setTimeout(20);
        w.bus->input << answer("71") << answer("60");
    });
    row("by a write that fails", Call::WriteFailed, "", Before,
        [](World &w) { w.bus->onWrite = [](const QByteArray &) { return -2; }; });
    row("when it is canceled", Call::Canceled, "", After, [](World &w) { w.call.cancel(); });
    row("when the bus is closed", Call::NotOpen, "", After, [](World &w) { w.bus->close(); });
    row("when the device is closed alone", Call::NotOpen, "", After,
        [](World &w) { w.bus->device()->close(); });
    row("when the device is deleted", Call::NotOpen, "", After, [](World &w) { delete w.bus->device(); });
    row("when the bus is destroyed", Call::Canceled, "", After, [](World &w) { w.bus.reset(); });
    row("at once on a closed bus", Call::NotOpen, "", Before, [](World &w) { w.bus->close(); });
    row("at once when the bus has gone", Call::NotOpen, "", Before, [](World &w) { w.bus.reset(); });
    row("at once when it was detached", Call::NotOpen, "", Before, [](World &w) { w.object.detach(); });
}

void tst_BusPendingCall::endsOnce()
{
    QFETCH(int, error);
    QFETCH(QByteArray, reply);
    QFETCH(bool, isBefore);
    QFETCH(Step, step);

    World world;
    if (isBefore)
        step(world);
    world.start();
    world.next = world.object.call(query(0x41));
    Ear early(world.call);
    if (!isBefore)
        step(world);
    // At once only of a frame that has come.
    QCOMPARE(early.signalled + early.called, !isBefore && error == Call::NoError ? 2 : 0);
    QTRY_VERIFY(early.signalled + early.called >= 2);

    // The call behind goes out, unless it can not either.
    const bool goesOut = world.bus && error != Call::NotOpen && error != Call::WriteFailed;
    if (goesOut)
        QTRY_COMPARE(world.bus->written.mid(world.bus->written.size() - 1).value(0).left(1),
                     QByteArray("\x41"));
    QTRY_COMPARE(world.next.isFinished(), !goesOut);
    QCOMPARE(int(world.next.error()), goesOut ? 0 : error);

    Ear late(world.call);
    world.call.cancel();
    if (world.bus) {
        world.hear("6F 01");
        world.bus->close();
    }
    QTRY_VERIFY(late.hasHeardOnce());
    QCOMPARE(list(early.signalled, early.called, world.call.waitForFinished(0)), list(1, 1, true));
    QCOMPARE(list(int(world.call.error()), world.call.errorString().isEmpty()),
             list(error, error == Call::NoError));
    QCOMPARE(list(text(world.call.reply()), world.call.replies().size()),
             list(hex(reply), reply.isEmpty() ? 0 : 1));
}

void tst_BusPendingCall::slotsMayDestroy()
{
    const auto row = [&](const char *name, int next, Step action) {
        for (const bool isAlone : {false, true}) {
            World world;
            world.start();
            world.next = world.object.call(query(0x41));
            int heard = 0;
            world.call.onFinished(this, [&] {
                ++heard;
                action(world);
            });
            const std::unique_ptr<Ear> second(isAlone ? nullptr : new Ear(world.call));
            Ear behind(world.next);
            world.hear("60");
            QTRY_VERIFY(isAlone || second->hasHeardOnce());
            QCOMPARE(heard, 1);
            if (world.bus)
                world.hear("61");
            QTRY_VERIFY(behind.hasHeardOnce());
            QCOMPARE(list(name, int(world.next.error())), list(name, next));
        }
    };
    row("the bus", Call::Canceled, [](World &w) { w.bus.reset(); });
    row("the line", Call::NotOpen, [](World &w) { w.bus->close(); });
    row("the next call", Call::Canceled, [](World &w) { w.next.cancel(); });
    row("the last handle", Call::NoError, [](World &w) { w.call = w.object.call(order(0x50)); });
}

void tst_BusPendingCall::contextsMayBeElsewhereOrGone()
{
    World world;
    world.start();
    QThread thread;
    thread.start();
    QObject there;
    there.moveToThread(&thread);
    std::atomic<QThread *> toldOn = nullptr;
    world.call.onFinished(&there, [&] { toldOn = QThread::currentThread(); });
    int told = 0;
    world.call.onFinished(std::make_unique<QObject>().get(), [&] { ++told; });
    // As a handle it now speaks of another call, and goes.
    auto watcher = std::make_unique<BusPendingCallWatcher>(world.call);
    static_cast<BusPendingCall &>(*watcher) = world.object.call(query(0x41));
    watcher.reset();
    world.hear("60");
    QTRY_COMPARE(toldOn.load(), &thread);
    QCOMPARE(told, 0);
    thread.quit();
    thread.wait();
}

void tst_BusPendingCall::nobodyIsToldInsideACall()
{
    World world, peer;
    peer.start();
    bool isTold = false;
    peer.call.onFinished(this, [&] { isTold = true; });
    // A line in memory may bring the answer of one host inside the call of another.
    world.onWrite([&] { peer.hear("60"); });
    world.object.call(order(0x50));
    QCOMPARE(list(peer.call.isFinished(), isTold), list(true, false));
    QTRY_VERIFY(isTold);
}

void tst_BusPendingCall::watchersHearInOrder()
{
    World world;
    QByteArray heard;
    std::vector<BusPendingCall> calls;
    QEventLoop loop;
    for (int i = 0; i < 5; ++i) {
        calls.push_back(world.object.call(query(0x40 + i)));
        for (const char ear : {'a', 'b'}) {
            calls.back().onFinished(this, [&heard, &loop, i, ear] {
                heard.append(char('0' + i)).append(ear).append(' ');
                // One that waits until all have heard.
                if (heard == "3a ")
                    loop.exec();
                else if (heard.size() == 18)
                    loop.quit();
            });
        }
    }
    // By what is not a frame, then by one, and by the end of the bus.
    calls[3].cancel();
    calls[1].cancel();
    world.hear("60");
    QTRY_COMPARE(world.bus->written.size(), 2);
    QTimer::singleShot(0, this, [&] { world.bus.reset(); });
    QTRY_COMPARE(heard, QByteArray("3a 3b 1a 1b 0a 0b 2a 2b 4a 4b "));

    // The first of two that hear of a reply waits for the second.
    World waiting;
    waiting.start();
    bool hasSecondHeard = false;
    waiting.call.onFinished(this, [&] { QTRY_VERIFY(hasSecondHeard); });
    waiting.call.onFinished(this, [&] { hasSecondHeard = true; });
    waiting.hear("60");
    QVERIFY(hasSecondHeard);
}

void tst_BusPendingCall::manyCallsMayBeCanceled()
{
    World world;
    std::vector<BusPendingCall> calls;
    for (int i = 0; i < 20000; ++i)
        calls.push_back(world.object.call(world.message));
    QCOMPARE(world.bus->dispatcher().queueLength(), 19999);
    QElapsedTimer took;
    took.start();
    for (BusPendingCall &call : calls)
        call.cancel();
    // Each by each they take more than four seconds where the queue is searched.
    QVERIFY2(took.elapsed() < 200, qPrintable(QString::number(took.elapsed())));
    QCOMPARE(world.bus->dispatcher().queueLength(), 0);
}

void tst_BusPendingCall::keptCallsAreSentAsWhatTheyAre()
{
    const auto row = [&](const char *name, const BusMessage &kept, const char *frame, int replies) {
        World world;
        world.call = world.object.call(kept);
        // Its copies stay as they were.
        QVERIFY(!kept.isPrepared());
        QCOMPARE(list(name, hex(world.bus->written.value(0).toHex())), list(name, hex(frame)));
        for (int i = 0; i < 2; ++i)
            world.bus->dispatcher().dispatch(::frame("60", VOXMessage(kept).srcAddr(true)).data());
        QCOMPARE(list(name, world.call.replies().size()), list(name, replies));
    };
    const VOXCmdInfo info(0x40, 11, VOX::P2P, 0x60);
    const VOXCall node(info, HostAddr, 0x123456, 5000), group(info, 0x06000123, VOX::GROUP, 5000);
    const QByteArray toNode = "408BF0 000001 563412 069F", toGroup = "400BF6 230100 000000 0792";
    row("a call to a node", BusMessage(node), toNode, 1);
    row("as a frame", VOXMessage(node), toNode, 1);
    row("a call to a group", BusMessage(group), toGroup, 2);
    row("as a frame, to a group", VOXMessage(group), toGroup, 2);
    VOXMessage built(0x0b);
    built.setCmd(0x05);
    row("a frame of one's own", BusMessage(built), "050B00 000000 000000 08E7", 0);
}

void tst_BusPendingCall::aCallThatNeverWasIsCanceled()
{
    const BusPendingCall none;
    Ear ear(none);
    QCOMPARE(ear.signalled, 0);
    QTRY_VERIFY(ear.hasHeardOnce());
    QCOMPARE(list(none.error(), none.reply().data(), none.replies().size()), list(Call::Canceled, "", 0));
}

void tst_BusPendingCall::framesThatNobodyClaims()
{
    World world;
    QSignalSpy unclaimed(&world.bus->dispatcher(), &BusDispatcher::unhandled);
    // Calls whose handles were dropped are sent, and take their replies.
    world.object.call(query(0x40));
    world.object.call(query(0x41));
    world.hear("60");
    QTRY_COMPARE(world.bus->written.size(), 2);
    world.hear("61");
    QCOMPARE(unclaimed.size(), 0);
    // Others have bytes of their own.
    QByteArray buffer = answer("60 01");
    world.bus->dispatcher().dispatch(QByteArray::fromRawData(buffer.data(), buffer.size()));
    buffer.fill('x');
    QCOMPARE(text(unclaimed.value(0).value(0).value<BusMessage>()), hex("60 01"));
}

void tst_BusPendingCall::waitingHasLimits()
{
    World world;
    world.start();
    QVERIFY(!world.call.waitForFinished(0));
    // However much comes, and without a timer that goes on.
    world.bus->input.append(answer("71"));
    const auto more = [&] { world.bus->input.append(answer("71")); };
    connect(&world.bus->dispatcher(), &BusDispatcher::unhandled, this, more);
    const int timers = QAbstractEventDispatcher::instance()->children().size();
    const auto wait = [&] {
        QElapsedTimer took;
        took.start();
        world.call.waitForFinished(10);
        return static_cast<double>(took.elapsed());
    };
    QCOMPARE(timing(10, 30, wait), QByteArray());
    QVERIFY(!world.call.isFinished());
    world.bus->input.clear();
    World other;
    other.start();
    QTimer::singleShot(0, this, [&] { other.hear("60"); });
    QVERIFY(other.call.waitForFinished(60000));
    QCOMPARE(QAbstractEventDispatcher::instance()->children().size(), timers);
    world.bus->dispatcher().disconnect(this);
    // The call outlives the handle that waits for it.
    auto handle = std::make_unique<BusPendingCall>(world.call);
    QTimer::singleShot(0, this, [&] { handle.reset(); });
    QTimer::singleShot(20, this, [&] { world.bus.reset(); });
    QVERIFY(handle->waitForFinished());
    QCOMPARE(world.call.error(), Call::Canceled);
}

void tst_BusPendingCall::waitingInsideADeliveryOrAWrite()
{
    World hearing;
    connect(&hearing.bus->dispatcher(), &BusDispatcher::unhandled, this, [&](const BusMessage &) {
        hearing.start();
        hearing.bus->input.append(answer("60"));
        QVERIFY(hearing.call.waitForFinished(4000));
    });
    hearing.hear("71");
    QCOMPARE(text(hearing.call.reply()), hex("60"));

    // A call is not forgotten that waits for another one.
    World world;
    world.message.setTimeout(20);
    world.onWrite([&] {
        const BusPendingCall before = world.object.call(world.message);
        world.start();
        QVERIFY(world.call.waitForFinished(4000));
    });
    world.object.call(order(0x50));
    QCOMPARE(world.call.error(), Call::Timeout);

    // The bus is gone before a call ends that asks for nothing.
    world.onWrite([&] { world.bus.reset(); });
    world.call = world.object.call(order(0x50));
    QCOMPARE(world.call.error(), Call::Canceled);
}

void tst_BusPendingCall::inputWhenTheTimeIsOver()
{
    // What the bus has read, and looks at in a pass that it has queued, still counts.
    World queued;
    queued.start();
    QMetaObject::invokeMethod(
        queued.bus.get(), [&] { queued.hear("60"); }, Qt::QueuedConnection);
    expire(dataOf(queued.call));
    QCOMPARE(text(queued.call.reply()), hex("60"));

    // Who hears of a frame then may wait for this call; and noise may never end.
    World world;
    QElapsedTimer clock;
    clock.start();
    connect(&world.bus->dispatcher(), &BusDispatcher::unhandled, this, [&](const BusMessage &message) {
        if (message.data().at(0) == 0x72)
            QVERIFY(world.call.waitForFinished(4000));
        else if (!clock.hasExpired(4000))
            world.bus->input.append(message.data());
    });
    for (const char *frame : {"71", "72"}) {
        world.start();
        world.bus->input = {answer(frame)};
        expire(dataOf(world.call));
        QTRY_COMPARE(world.call.error(), Call::Timeout);
    }
    QVERIFY2(!clock.hasExpired(4000), "the noise had to end first");
}

void tst_BusPendingCall::repliesComeFromAnyThread()
{
    World world;
    QThread *writer = nullptr;
    world.onWrite([&] { writer = QThread::currentThread(); });
    const BusMessage canned(QByteArray("as it is"));
    std::thread([&] { world.object.reply(canned); }).join();
    QTRY_COMPARE(world.bus->written, QList<QByteArray>{canned.data()});
    QCOMPARE(writer, thread());

    world.object.reply(canned);
    std::thread([&] { world.object.reply(canned); }).join();
    world.bus.reset();
    QCoreApplication::processEvents();
}

void tst_BusPendingCall::lastHandleMayGoOnAnotherThread()
{
    World world;
    auto handle = std::make_unique<BusPendingCall>(world.object.call(world.message));
    QThread *destroyer = nullptr;
    const auto keep = [&] { destroyer = QThread::currentThread(); };
    connect(&dataOf(*handle), &QObject::destroyed, this, keep, Qt::DirectConnection);
    world.hear("60");
    QCoreApplication::processEvents();
    QVERIFY(!destroyer);
    std::thread([&] { handle.reset(); }).join();
    QTRY_COMPARE(destroyer, thread());
}

QTEST_GUILESS_MAIN(tst_BusPendingCall)
#include "tst_buspendingcall.moc"
