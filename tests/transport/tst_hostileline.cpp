#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "framework/serialdispatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/noisybus.h"
#include "support/udppair.h"

#include <QUdpSocket>

#include <deque>
#include <malloc.h>
#include <random>

/// Lines that lose, double, damage and cut frames, both ways, with noise in between, and strangers who flood
/// a bus.
///
/// The dice of the faults are others in each run; VOX_SEED throws them again as they were. A flood is of
/// 100,000 datagrams, or of as many as VOX_FLOOD says.
class tst_HostileLine : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false"); }
    void callsEndOnceAndAsTheirOwn_data();
    void callsEndOnceAndAsTheirOwn();
    void aFloodOfStrangers_data();
    void aFloodOfStrangers();
};

namespace {
// Many, because the time goes by in time-outs.
constexpr int LineCount = 200;
constexpr int NodeCount = 3;
constexpr int HostileCalls = 10000;
constexpr int QuietCalls = 1000;
// Of the longest frame 30 bytes can wait for the last one, and one of them is dropped every 110 ms.
constexpr int ResynchronisationMs = 30 * 110;

const VOXVirtualTime virtualTime(VOXVirtualTime::Local);

using Buses = std::pair<std::unique_ptr<VOXBus>, std::unique_ptr<VOXBus>>;
using MakeBuses = Buses (*)(VOXFaultRules &);

Buses serialLine(VOXFaultRules &rules)
{
    auto *line = new VOXLine(VOXBus::BAUD_57600);
    Buses buses(std::make_unique<NoisyBus<VOXBus>>(rules, line->addMember()),
                std::make_unique<NoisyBus<VOXBus>>(rules, line->addMember()));
    line->setParent(buses.first.get());
    for (VOXBus *bus : {buses.first.get(), buses.second.get()}) {
        static_cast<SerialDispatcher &>(bus->dispatcher()).setBaudRate(VOXBus::BAUD_57600);
        bus->open();
    }
    return buses;
}

Buses udpLine(VOXFaultRules &rules)
{
    const QHostAddress here(QHostAddress::LocalHost);
    const auto [one, other] = freeUdpPorts();
    return {std::make_unique<NoisyBus<VOXUdpBus>>(rules, here, other, here, one),
            std::make_unique<NoisyBus<VOXUdpBus>>(rules, here, one, here, other)};
}

/// A host and a few motors, each with values of its own.
struct Line
{
    Buses buses;
    std::vector<std::unique_ptr<TB60LVStub>> motors;
    std::vector<std::unique_ptr<KVRMotorProxy>> proxies;

    explicit Line(Buses pair)
        : buses(std::move(pair))
    {
        for (unsigned short addr = 1; addr <= NodeCount; ++addr) {
            motors.push_back(std::make_unique<TB60LVStub>(addr, buses.second.get()));
            motors.back()->setNodeLabel("motor " + QByteArray::number(addr));
            motors.back()->setLimits(0, 2000 * addr);
            proxies.push_back(std::make_unique<KVRMotorProxy>(addr, buses.first.get()));
        }
    }
};

// Queries, the last of which is refused, and acknowledged commands.
constexpr int QueryCount = 4;
const std::vector<std::function<BusPendingCall(KVRMotorProxy &)>> operations = {
    [](KVRMotorProxy &proxy) { return proxy.getNodeLabel(); },
    [](KVRMotorProxy &proxy) { return proxy.getNodeSerialNumber(); },
    [](KVRMotorProxy &proxy) { return proxy.getMotorLimits(); },
    [](KVRMotorProxy &proxy) { return proxy.getMotorIP(200); },
    [](KVRMotorProxy &proxy) { return proxy.setMotorIP(KVRMotor::IP_PULSES, 1, 500); },
    [](KVRMotorProxy &proxy) { return proxy.ctrlStop(); },
};

/// A call to one of the motors, and how often it has ended.
struct Call
{
    int node;
    int operation;
    BusPendingCallWatcher watcher;
    int ends = 0;

    Call(const Line &line, unsigned int choice)
        : node(static_cast<int>(choice % NodeCount))
        , operation(static_cast<int>(choice / NodeCount % operations.size()))
        , watcher(operations[operation](*line.proxies[node]))
    {
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher, [this] { ++ends; });
    }
    QByteArray reply() const { return watcher.reply().data(); }
};
using Calls = std::deque<Call>;

bool haveEnded(const Calls &calls)
{
    return std::all_of(calls.begin(), calls.end(), [](const Call &call) { return call.ends > 0; });
}
}
Q_DECLARE_METATYPE(MakeBuses)

void tst_HostileLine::callsEndOnceAndAsTheirOwn_data()
{
    const auto row = columns<MakeBuses>("makeBuses");
    row("serial", &serialLine);
    row("UDP", &udpLine);
}

void tst_HostileLine::callsEndOnceAndAsTheirOwn()
{
    QFETCH(MakeBuses, makeBuses);
    const QString fresh = QString::number(QRandomGenerator::global()->generate());
    const quint32 seed = qEnvironmentVariable("VOX_SEED", fresh).toUInt();
    qInfo("VOX_SEED=%u", seed);
    VOXFaultRules rules(seed);
    std::mt19937 random(seed);
    std::deque<Line> lines;
    while (lines.size() < LineCount)
        lines.emplace_back(makeBuses(rules));

    // What each motor answers to each request while the line is good; to both commands the same.
    std::map<std::pair<int, int>, QByteArray> proper;
    QSet<QByteArray> answers;
    Calls first;
    for (unsigned int choice = 0; choice < NodeCount * operations.size(); ++choice)
        first.emplace_back(lines.front(), choice);
    QTRY_VERIFY(haveEnded(first));
    for (const Call &call : first)
        answers += proper[{call.node, call.operation}] = call.reply();
    QCOMPARE(answers.size(), NodeCount * int(operations.size() - 1));

    for (const char *words :
         {"drop all probability 0.1", "twice all probability 0.05", "corrupt all probability 0.05",
          "cut 7 all probability 0.02", "noise 5 all probability 0.1"}) {
        VOXFault fault;
        QString problem;
        QVERIFY2(VOXFault::read(words, &fault, &problem), qPrintable(problem));
        rules.add(fault);
    }
    Calls hostile;
    for (int i = 0; i < HostileCalls; ++i)
        hostile.emplace_back(lines[i % LineCount], random());
    QTRY_VERIFY_WITH_TIMEOUT(haveEnded(hostile), 100000);
    int answered = 0, foreign = 0;
    for (const Call &call : hostile) {
        const QByteArray reply = call.reply(), own = proper[{call.node, call.operation}];
        QCOMPARE(reply.isEmpty(), call.watcher.error() == BusPendingCall::Timeout);
        if (reply.isEmpty())
            continue;
        ++answered;
        foreign += reply != own;
        // By the protocol it may be what another node, or this one before, has said to a request of the same
        // kind; an ACK or a NACK may be for any request, and for a command anything acknowledges.
        QVERIFY2(answers.contains(reply), reply.toHex());
        const int cmd = reply.at(0);
        QVERIFY(call.operation >= QueryCount || cmd == own.at(0) || cmd == KVR::ACK || cmd == KVR::NACK);
    }
    qInfo("%d of %d calls answered, %d of them by an answer to another", answered, HostileCalls, foreign);
    QVERIFY2(qAbs(answered - HostileCalls * 0.6) < HostileCalls * 0.3, QByteArray::number(answered));

    rules.setFaults({});
    QTest::qWait(ResynchronisationMs);
    Calls quiet;
    for (int i = 0; i < QuietCalls; ++i)
        quiet.emplace_back(lines[i % LineCount], random());
    QTRY_VERIFY_WITH_TIMEOUT(haveEnded(quiet), 20000);
    for (const Call &call : quiet)
        QCOMPARE(call.reply(), (proper[{call.node, call.operation}]));
    for (const Calls *calls : {&first, &hostile, &quiet})
        QVERIFY(std::all_of(calls->begin(), calls->end(), [](const Call &call) { return call.ends == 1; }));
}

namespace {
// More than a bus remembers.
constexpr int StrangerCount = 25;
// So few at a time that the system keeps them all until they are read.
constexpr int BurstSize = 50;
constexpr int BurstsPerCall = 20;
constexpr qint64 MaxGrowth = 64 * 1024;

/// Frames for nobody, cut somewhere, or noise.
QByteArray datagram(std::mt19937 &random)
{
    static const QByteArray frames = line(frame("03 00 3412 FF", 0x654321)).repeated(90);
    QByteArray bytes = frames.left(static_cast<int>(random() % (random() % 100 == 0 ? 1400 : 32)));
    if (random() % 4 == 0)
        std::generate(bytes.begin(), bytes.end(), std::ref(random));
    return bytes;
}
}

void tst_HostileLine::aFloodOfStrangers_data()
{
    const auto row = columns<bool>("hearsAll");
    row("a bus of one peer", false);
    row("a bus that hears everyone", true);
}

void tst_HostileLine::aFloodOfStrangers()
{
    QFETCH(bool, hearsAll);
    const int bursts = qEnvironmentVariable("VOX_FLOOD", "100000").toInt() / BurstSize;
    UdpPair net;
    const QHostAddress heard = hearsAll ? QHostAddress(QHostAddress::Broadcast) : net.here;
    const TB60LVStub motor(1, &net.network);
    KVRMotorProxy proxy(1, &net.host);
    std::array<QUdpSocket, StrangerCount> strangers;
    std::mt19937 random(1);
    int calls = 0, answered = 0;
    qint64 early = 0;
    for (int burst = 0; burst < bursts; ++burst) {
        // One of them goes, and comes back from another port.
        strangers[burst % StrangerCount].close();
        for (int i = 0; i < BurstSize; ++i)
            strangers[random() % StrangerCount].writeDatagram(datagram(random), net.here, net.ports.first);
        if (burst % BurstsPerCall == 0) {
            // The call itself is for the peer alone.
            net.host.setDest(net.here, net.ports.second);
            const BusPendingCall call = proxy.getMotorStatus();
            net.host.setDest(heard, net.ports.second);
            QVERIFY(call.waitForFinished());
            ++calls;
            answered += !call.isError();
        }
        while (net.host.hasInput())
            QCoreApplication::processEvents();
        if (burst == bursts / 10)
            early = static_cast<qint64>(mallinfo2().uordblks);
    }
    const qint64 growth = static_cast<qint64>(mallinfo2().uordblks) - early;
    qInfo("%d datagrams, %d of %d calls answered, the last nine tenths cost %lld bytes", bursts * BurstSize,
          answered, calls, growth);
    QVERIFY(growth < MaxGrowth);
    QCOMPARE(answered, calls);
}

QTEST_GUILESS_MAIN(tst_HostileLine)
#include "tst_hostileline.moc"
