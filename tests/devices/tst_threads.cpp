#include "devices/emulatedposition.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/timers.h"
#include "support/watching.h"
#include "support/wire.h"

#include <future>
#include <random>

/// Emulated nodes on threads of their own, which come, go and move while frames arrive.
class tst_Threads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nodesComeAndGo();
    void aMoveOnAnotherThread();
};

namespace {
constexpr unsigned int AddrCount = 8;
constexpr unsigned int Group = 0x00a001;
constexpr int StepCount = 300;

/// Does something to nodes again and again, from an event loop that also brings their frames.
void work(VOXBus &bus, unsigned int seed)
{
    QEventLoop loop;
    std::minstd_rand random(seed);
    std::array<std::unique_ptr<TB60LVStub>, 4> nodes;
    const auto act = [&] {
        std::unique_ptr<TB60LVStub> &node = nodes[random() % nodes.size()];
        if (!node)
            node = std::make_unique<TB60LVStub>(1 + random() % AddrCount, &bus);
        const std::function<void()> actions[] = {
            [&] { node.reset(); },
            [&] { node->detach(); },
            [&] { node->attach(&bus); },
            [&] { node->setLimits(0, 5000); },
            [&] { node->setGroupAddr(random() % 2, random() % 2 ? Group : 0); },
            [&] { node->setAddr(1 + random() % AddrCount); },
        };
        actions[random() % std::size(actions)]();
    };
    for (int step = 0; step < StepCount; ++step) {
        QMetaObject::invokeMethod(&loop, act, Qt::QueuedConnection);
        loop.processEvents();
    }
    QMetaObject::invokeMethod(&loop, [&] { nodes = {}; });
}
}

void tst_Threads::nodesComeAndGo()
{
    const WarningLog quiet;
    UdpPair net;
    std::promise<QEventLoop *> started;
    const auto steady = std::async(std::launch::async, [&] {
        QEventLoop loop;
        const TB20Stub node(0x123456, &net.network);
        started.set_value(&loop);
        loop.exec();
    });
    QEventLoop *loop = started.get_future().get();
    const auto quit = qScopeGuard([=] { QMetaObject::invokeMethod(loop, "quit", Qt::QueuedConnection); });
    std::vector<std::future<void>> workers;
    for (unsigned int seed = 1; seed <= 3; ++seed)
        workers.push_back(std::async(std::launch::async, work, std::ref(net.network), seed));
    const auto isDone = [](const std::future<void> &worker) {
        return worker.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
    };

    KVRMotorProxy proxy(0x123456, &net.host);
    int rounds = 0;
    for (; rounds < 1000 || !std::all_of(workers.begin(), workers.end(), isDone); ++rounds) {
        net.network.dispatcher().dispatch(frame("0C", 1 + unsigned(rounds) % AddrCount).data());
        net.network.dispatcher().dispatch(frame("40", 0xffffff).data());
        net.network.dispatcher().dispatch(groupFrame("02 FF", Group).data());
        // Whatever the others do, this one answers.
        const BusPendingCall call = proxy.getMotorStatus();
        QVERIFY(call.waitForFinished(5000));
        QCOMPARE(text(call.reply()), hex("0F 00 00 00 00"));
    }
}

void tst_Threads::aMoveOnAnotherThread()
{
    QThread thread;
    thread.start();
    EmulatedPosition shaft(0, 0);
    shaft.setSpeed(60000);
    shaft.setTargetPosition(60000);
    QThread::msleep(50);
    QThread *const here = shaft.thread();
    shaft.moveToThread(&thread);
    int left = 0;
    const auto lookAndReturn = [&] {
        left = intervalsOf(shaft).value(0);
        shaft.moveToThread(here);
    };
    QMetaObject::invokeMethod(&shaft, lookAndReturn, Qt::BlockingQueuedConnection);
    QVERIFY2(left > 0 && left <= 59950, "the arrival is put off");
    QTRY_VERIFY(intervalsOf(shaft).value(0, left + 1) <= left);
    thread.quit();
    thread.wait();
}

QTEST_GUILESS_MAIN(tst_Threads)
#include "tst_threads.moc"
