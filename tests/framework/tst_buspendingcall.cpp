#include "framework/busobject.h"
#include "framework/buspendingcalldata.h"
#include "framework/buspendingcallwatcher.h"
#include "support/recordingbus.h"

#include <QtTest>

#include <memory>
#include <thread>

/// How calls end, and who hears of it.
class tst_BusPendingCall : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void endsOnce_data();
    void endsOnce();
    void aCallThatNeverWasIsCanceled();
    void watchersMayGoBeforeTheEnd();
    void droppedHandlesStillSend();
    void unclaimedFramesHaveTheirOwnBytes();
    void slotsMayDestroy_data();
    void slotsMayDestroy();
    void waitingHasLimits();
    void waitingInsideADeliveryGetsInput();
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

    void hear(const char *commandAndData) { bus->dispatcher().dispatch(answer(commandAndData)); }
    void failWrites()
    {
        bus->onWrite = [](const QByteArray &) { return -2; };
    }
};

/// Counts how often a call's end is told.
struct Ear
{
    explicit Ear(const BusPendingCall &call)
        : watcher(call)
    {
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher,
                         [this](BusPendingCallWatcher *told) {
                             ++signalled;
                             wasFinal = told == &watcher && told->isFinished();
                         });
        call.onFinished(&watcher, [this] { ++called; });
    }
    bool hasHeardOnce() const { return signalled == 1 && called == 1 && wasFinal; }

    BusPendingCallWatcher watcher;
    int signalled = 0;
    int called = 0;
    bool wasFinal = false;
};

using Step = void (*)(World &);
const Step nothing = [](World &) {};
// What becomes of the call behind is an error, or this: it goes out.
constexpr int GoesOut = -1;
}
Q_DECLARE_METATYPE(Step)

void tst_BusPendingCall::endsOnce_data()
{
    QTest::addColumn<Step>("before");
    QTest::addColumn<Step>("after");
    QTest::addColumn<int>("error");
    QTest::addColumn<QByteArray>("reply");
    QTest::addColumn<int>("next");

    const auto row = [](const char *name, Step before, Step after, BusPendingCall::Error error,
                        const char *reply, int next) {
        QTest::newRow(name) << before << after << int(error) << hex(reply) << next;
    };
    row(
        "by its reply", nothing, [](World &w) { w.hear("60 01"); }, BusPendingCall::NoError, "60 01",
        GoesOut);
    row(
        "by a refusal, which is a reply", nothing, [](World &w) { w.hear("6F FF"); }, BusPendingCall::NoError,
        "6F FF", GoesOut);
    row(
        "by a reply from inside the write",
        [](World &w) {
            w.bus->onWrite = [&w](const QByteArray &) {
                w.bus->onWrite = nullptr;
                w.hear("60");
                return 0;
            };
        },
        nothing, BusPendingCall::NoError, "60", GoesOut);
    row(
        "when it is written and asks for nothing", [](World &w) { w.message = order(0x50); }, nothing,
        BusPendingCall::NoError, "", GoesOut);
    row(
        "when its time is over", [](World &w) { w.message.setTimeout(20); }, nothing, BusPendingCall::Timeout,
        "", GoesOut);
    row(
        "by a reply that had come when its time was over", [](World &w) { w.message.setTimeout(20); },
        [](World &w) { w.bus->input << answer("71") << answer("60"); }, BusPendingCall::NoError, "60",
        GoesOut);
    row(
        "by a write that fails", [](World &w) { w.failWrites(); }, nothing, BusPendingCall::WriteFailed, "",
        BusPendingCall::WriteFailed);
    row(
        "when it is canceled", nothing, [](World &w) { w.call.cancel(); }, BusPendingCall::Canceled, "",
        GoesOut);
    row(
        "when the bus is closed", nothing, [](World &w) { w.bus->close(); }, BusPendingCall::NotOpen, "",
        BusPendingCall::NotOpen);
    row(
        "when the device is closed behind the bus's back", nothing,
        [](World &w) { w.bus->device()->close(); }, BusPendingCall::NotOpen, "", BusPendingCall::NotOpen);
    row(
        "when the bus is destroyed", nothing, [](World &w) { w.bus.reset(); }, BusPendingCall::Canceled, "",
        BusPendingCall::Canceled);
    row(
        "at once on a closed bus", [](World &w) { w.bus->close(); }, nothing, BusPendingCall::NotOpen, "",
        BusPendingCall::NotOpen);
    row(
        "at once when the bus has gone", [](World &w) { w.bus.reset(); }, nothing, BusPendingCall::NotOpen,
        "", BusPendingCall::NotOpen);
    row(
        "at once when it was detached", [](World &w) { w.object.detach(); }, nothing, BusPendingCall::NotOpen,
        "", BusPendingCall::NotOpen);
}

void tst_BusPendingCall::endsOnce()
{
    QFETCH(Step, before);
    QFETCH(Step, after);
    QFETCH(int, error);
    QFETCH(QByteArray, reply);
    QFETCH(int, next);

    World world;
    before(world);
    world.call = world.object.call(world.message);
    world.next = world.object.call(query(0x41));
    Ear early(world.call);
    after(world);
    QCOMPARE(early.signalled + early.called, 0);
    QTRY_VERIFY(early.signalled + early.called >= 2);

    if (next == GoesOut)
        QTRY_VERIFY(!world.bus->written.isEmpty() && world.bus->written.constLast().at(0) == 0x41);
    QTRY_COMPARE(world.next.isFinished(), next != GoesOut);
    QCOMPARE(int(world.next.error()), next == GoesOut ? 0 : next);

    Ear late(world.call);
    world.call.cancel();
    if (world.bus) {
        world.hear("6F 01");
        world.bus->close();
    }
    QTRY_VERIFY(late.hasHeardOnce());
    QVERIFY(early.hasHeardOnce());
    QVERIFY(world.call.waitForFinished(0));
    QCOMPARE(int(world.call.error()), error);
    QCOMPARE(world.call.errorString().isEmpty(), error == BusPendingCall::NoError);
    QCOMPARE(text(world.call.reply()), reply);
    QCOMPARE(world.call.replies().size(), reply.isEmpty() ? 0 : 1);
}

void tst_BusPendingCall::aCallThatNeverWasIsCanceled()
{
    const BusPendingCall none;
    Ear ear(none);
    QCOMPARE(ear.signalled, 0);
    QTRY_VERIFY(ear.hasHeardOnce());
    QCOMPARE(none.error(), BusPendingCall::Canceled);
    QVERIFY(none.reply().data().isEmpty() && none.replies().isEmpty());
}

void tst_BusPendingCall::watchersMayGoBeforeTheEnd()
{
    World world;
    const BusPendingCall call = world.object.call(world.message);
    auto *gone = new BusPendingCallWatcher(call);
    connect(gone, &BusPendingCallWatcher::finished, [] { QFAIL("told a watcher that had gone"); });
    call.onFinished(gone, [] { QFAIL("called for a context that had gone"); });
    Ear ear(call);
    world.hear("60");
    delete gone;
    QTRY_VERIFY(ear.hasHeardOnce());
}

void tst_BusPendingCall::droppedHandlesStillSend()
{
    World world;
    QSignalSpy unclaimed(&world.bus->dispatcher(), &BusDispatcher::unhandled);
    world.object.call(query(0x40));
    world.object.call(query(0x41));
    world.hear("60");
    QTRY_COMPARE(world.bus->written.size(), 2);
    world.hear("61");
    QCOMPARE(unclaimed.size(), 0);
}

void tst_BusPendingCall::unclaimedFramesHaveTheirOwnBytes()
{
    RecordingBus bus;
    QSignalSpy unclaimed(&bus.dispatcher(), &BusDispatcher::unhandled);
    QByteArray buffer = answer("60 01");
    bus.dispatcher().dispatch(QByteArray::fromRawData(buffer.data(), buffer.size()));
    buffer.fill('x');
    QCOMPARE(unclaimed.size(), 1);
    QCOMPARE(text(unclaimed.at(0).at(0).value<BusMessage>()), hex("60 01"));
}

void tst_BusPendingCall::slotsMayDestroy_data()
{
    QTest::addColumn<Step>("action");
    QTest::addColumn<int>("next");
    QTest::newRow("the bus") << Step([](World &w) { w.bus.reset(); }) << int(BusPendingCall::Canceled);
    QTest::newRow("the line") << Step([](World &w) { w.bus->close(); }) << int(BusPendingCall::NotOpen);
    QTest::newRow("the next call") << Step([](World &w) { w.next.cancel(); })
                                   << int(BusPendingCall::Canceled);
    QTest::newRow("the last handle") << Step([](World &w) { w.call = w.object.call(order(0x50)); })
                                     << GoesOut;
}

void tst_BusPendingCall::slotsMayDestroy()
{
    QFETCH(Step, action);
    QFETCH(int, next);
    World world;
    world.call = world.object.call(world.message);
    world.next = world.object.call(query(0x41));
    world.call.onFinished(this, [&] { action(world); });
    Ear second(world.call);
    Ear behind(world.next);
    world.hear("60");
    QTRY_VERIFY(second.hasHeardOnce());
    if (next == GoesOut)
        world.hear("61");
    QTRY_VERIFY(behind.hasHeardOnce());
    QCOMPARE(int(world.next.error()), qMax(next, 0));
}

void tst_BusPendingCall::waitingHasLimits()
{
    World world;
    world.call = world.object.call(world.message);
    QVERIFY(!world.call.waitForFinished(10));
    // The call outlives the handle that waits for it.
    auto handle = std::make_unique<BusPendingCall>(world.call);
    QTimer::singleShot(0, this, [&] { handle.reset(); });
    QTimer::singleShot(20, this, [&] { world.bus.reset(); });
    QVERIFY(handle->waitForFinished());
    QCOMPARE(world.call.error(), BusPendingCall::Canceled);
}

void tst_BusPendingCall::waitingInsideADeliveryGetsInput()
{
    World world;
    connect(&world.bus->dispatcher(), &BusDispatcher::unhandled, this, [&](const BusMessage &) {
        world.call = world.object.call(world.message);
        world.bus->input.append(answer("60"));
        QVERIFY(world.call.waitForFinished(4000));
    });
    world.hear("71");
    QCOMPARE(text(world.call.reply()), hex("60"));

    // Nor is a call forgotten that waits for another one, both from inside a write.
    World inner;
    inner.bus->onWrite = [&](const QByteArray &) {
        inner.bus->onWrite = nullptr;
        BusObject other(inner.bus.get(), nullptr);
        inner.message.setTimeout(20);
        const BusPendingCall before = other.call(inner.message);
        inner.call = other.call(inner.message);
        return inner.call.waitForFinished(4000) ? 0 : -1;
    };
    BusObject(inner.bus.get(), nullptr).call(order(0x50));
    QCOMPARE(inner.call.error(), BusPendingCall::Timeout);

    // The bus is gone before a call ends that asks for nothing.
    World last;
    last.bus->onWrite = [&](const QByteArray &) {
        last.bus.reset();
        return 0;
    };
    last.call = last.object.call(order(0x50));
    QCOMPARE(last.call.error(), BusPendingCall::Canceled);
}

void tst_BusPendingCall::repliesComeFromAnyThread()
{
    World world;
    QThread *writer = nullptr;
    world.bus->onWrite = [&](const QByteArray &) {
        writer = QThread::currentThread();
        return 0;
    };
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
    struct Handle : BusPendingCall
    {
        using BusPendingCall::operator=;
        QObject *data() const { return d.get(); }
    };
    World world;
    auto handle = std::make_unique<Handle>();
    *handle = world.object.call(world.message);
    QThread *destroyer = nullptr;
    connect(
        handle->data(), &QObject::destroyed, this, [&] { destroyer = QThread::currentThread(); },
        Qt::DirectConnection);
    world.hear("60");
    QCoreApplication::processEvents();
    QVERIFY(!destroyer);
    std::thread([&] { handle.reset(); }).join();
    QTRY_COMPARE(destroyer, thread());
}

QTEST_GUILESS_MAIN(tst_BusPendingCall)
#include "tst_buspendingcall.moc"
