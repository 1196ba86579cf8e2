#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "support/watching.h"
#include "support/wire.h"

#include <QThread>

#include <random>

/// Emulated nodes on threads of their own, which come, go and move while frames arrive.
class tst_Threads : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void nodesComeAndGo();
};

namespace {
constexpr unsigned int AddrCount = 8;
constexpr unsigned int Group = 0x00a001;
constexpr int StepCount = 300;

/// Does something to its nodes again and again, and lets its event loop run in between.
class Worker : public QObject
{
public:
    Worker(VOXBus &bus, unsigned int seed)
        : m_bus(bus)
        , m_random(seed)
    {
    }

    void step()
    {
        std::unique_ptr<TB60LVStub> &node = m_nodes[m_random() % m_nodes.size()];
        if (!node)
            node = std::make_unique<TB60LVStub>(1 + m_random() % AddrCount, &m_bus);
        const std::function<void()> actions[] = {
            [&] { node.reset(); },
            [&] { node->detach(); },
            [&] { node->attach(&m_bus); },
            [&] { node->setLimits(0, 5000); },
            [&] { node->setGroupAddr(m_random() % 2, m_random() % 2 ? Group : 0); },
            [&] { node->setAddr(1 + m_random() % AddrCount); },
        };
        actions[m_random() % std::size(actions)]();
        if (++steps < StepCount)
            QMetaObject::invokeMethod(
                this, [this] { step(); }, Qt::QueuedConnection);
        else
            m_nodes = {};
    }

    std::atomic<int> steps{0};

private:
    VOXBus &m_bus;
    std::minstd_rand m_random;
    std::array<std::unique_ptr<TB60LVStub>, 4> m_nodes;
};

/// A thread, and an object on it.
template <typename Object>
struct Inhabited
{
    template <typename... Arguments>
    explicit Inhabited(Arguments &&...arguments)
    {
        thread.start();
        context.moveToThread(&thread);
        run([&] { object = std::make_unique<Object>(std::forward<Arguments>(arguments)...); });
    }
    ~Inhabited()
    {
        run([this] { object.reset(); });
        thread.quit();
        thread.wait();
    }
    void run(const std::function<void()> &function)
    {
        QMetaObject::invokeMethod(&context, function, Qt::BlockingQueuedConnection);
    }

    QThread thread;
    QObject context;
    std::unique_ptr<Object> object;
};
}

void tst_Threads::nodesComeAndGo()
{
    const WarningLog quiet;
    UdpPair net;
    Inhabited<TB20Stub> steady(0x123456u, &net.network);
    std::vector<std::unique_ptr<Inhabited<Worker>>> workers;
    for (unsigned int seed = 1; seed <= 3; ++seed)
        workers.push_back(std::make_unique<Inhabited<Worker>>(net.network, seed));
    for (const auto &worker : workers)
        QMetaObject::invokeMethod(worker->object.get(), [&worker] { worker->object->step(); });
    const auto isDone = [](const auto &worker) { return worker->object->steps >= StepCount; };

    KVRMotorProxy proxy(0x123456, &net.host);
    VOXMessage toGroup = frame("02 FF", 0);
    toGroup.setGroupAddr(Group, VOX::NODETYPE_MASTER);
    int rounds = 0;
    for (; rounds < 1000 || !std::all_of(workers.begin(), workers.end(), isDone); ++rounds) {
        net.network.dispatcher().dispatch(frame("0C", 1 + unsigned(rounds) % AddrCount).data());
        net.network.dispatcher().dispatch(frame("40", 0xffffff).data());
        net.network.dispatcher().dispatch(toGroup.data());
        // Whatever the others do, this one answers.
        const BusPendingCall call = proxy.getMotorStatus();
        QVERIFY(call.waitForFinished(5000));
        QCOMPARE(text(call.reply()), hex("0F 00 00 00 00"));
    }
    steady.run([&] { steady.object->setNodeLabel("steady"); });
    QByteArray label;
    const BusPendingCall call = proxy.getNodeLabel();
    QVERIFY(call.waitForFinished() && proxy.getNodeLabelReply(call.reply(), label));
    QCOMPARE(label.left(6), QByteArray("steady"));
}

QTEST_GUILESS_MAIN(tst_Threads)
#include "tst_threads.moc"
