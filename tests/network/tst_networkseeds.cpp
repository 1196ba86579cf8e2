#include "devices/kvrmotordevice.h"
#include "framework/busdispatcher.h"
#include "messages/kvranswer.h"
#include "network/voxnetwork.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/seeds.h"
#include "transport/voxbus.h"

#include <QtTest>

#include <cstdio>
#include <random>

static const VOXVirtualTime virtualTime;

/// What holds on any line, whatever people do: ten lines here, a thousand in ./dev soak.
class tst_NetworkSeeds : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void property_data();
    void property();
    void cleanupTestCase();

private:
    qint64 m_readings = 0;
    qint64 m_worstStopMs = 0;
};

namespace {
constexpr int Count = 12;
/// The others stay where they are, each elsewhere.
constexpr int MoverCount = 6;
constexpr VOX::Addr First = 0x101;
constexpr VOX::Addr Group = 0xa01;
constexpr VOX::Addr Stranger = 0x777;
constexpr int SecondMs = 1000;
/// Behind a call that nobody answers, and a frame that came too late for it.
constexpr int MostStopMs = 226 + 45 + 5;

constexpr VOX::Addr addrOf(int index)
{
    return First + static_cast<VOX::Addr>(index);
}

/// Of each motor, what it tells differs from what all others do.
QJsonObject motorAt(int index)
{
    const int down = 10000 + 100 * index;
    return {{"model", "TB60LV"},
            {"address", VOX::toString(addrOf(index))},
            {"label", QStringLiteral("motor %1").arg(index)},
            {"groups", index < MoverCount ? QJsonArray{VOX::toString(Group)} : QJsonArray{}},
            {"position", index < MoverCount ? 0 : down * index / Count},
            {"limits", QJsonObject{{"up", 0}, {"down", down}}}};
}

/// A host's network on a line whose nodes answer late, twice, not at all, or as somebody else, and of which
/// some go and come back.
class Site
{
public:
    explicit Site(quint32 seed)
        : m_random(seed)
    {
        QJsonArray nodes;
        QVector<VOX::Addr> movers;
        for (int i = 0; i < Count; ++i) {
            nodes += motorAt(i);
            if (i < MoverCount)
                movers += addrOf(i);
        }
        const QJsonArray faults{"drop all probability 0.02",        "twice all probability 0.02",
                                "delay 250 all probability 0.04",   "corrupt all probability 0.01",
                                "from 000777 all probability 0.02", "away 30000 000103 every 90000",
                                "away 45000 00010A every 100000"};
        simulation.load({{"nodes", nodes}, {"faults", faults}});
        simulation.setSeed(seed);
        simulation.setLine(QStringLiteral("4800:5-40"));
        simulation.attach(wire.addBus(&wire));
        host->open();
        network = std::make_unique<VOXNetwork>(host.get());
        network->setGroup(Group, movers);
        QObject::connect(&host->dispatcher(), &BusDispatcher::written, &wire,
                         [this](const QByteArray &frame) { handleWritten(VOXMessage(BusMessage(frame))); });
        QObject::connect(network.get(), &VOXNetwork::nodeChanged, &wire,
                         [this](VOXNetworkNode *node) { check(*node); });
        for (int i = 0; i < Count; ++i)
            network->add(addrOf(i));
    }

    int below(int end) { return static_cast<int>(m_random() % static_cast<unsigned int>(end)); }
    VOXScheduler &scheduler() const { return network->scheduler(); }

    /// Something that somebody may do.
    void act()
    {
        VOXNetworkMotor *const motor = network->motor(addrOf(below(MoverCount)));
        switch (below(16)) {
        case 0:
        case 1:
            return stop(motor->address());
        case 2:
            // Each is as long as no other.
            return follow(
                motor->jog(below(2) ? KVRMotor::DIRECTION_UP : KVRMotor::DIRECTION_DOWN, 100 + jogs++));
        case 3:
        case 4:
            return follow(motor->moveTo(below(101)));
        case 5:
            return follow(below(2) ? motor->moveUp() : motor->moveDown());
        case 6:
            return follow(network->moveGroupTo(Group, below(101)));
        case 7:
            return follow(network->stopGroup(Group));
        case 8:
            return follow(motor->wink());
        case 9:
            return network->node(addrOf(below(Count)))->refresh();
        case 10:
            return network->discover();
        case 11:
            if (!host->isOpen()) {
                host->open();
            } else if (below(4) == 0) {
                host->close();
                m_stops.clear();
            }
            return;
        default:
            ask(addrOf(below(Count)), VOXScheduler::Lane(VOXScheduler::User + below(5)));
        }
    }

    void stop(VOX::Addr addr)
    {
        if (host->isOpen() && !m_stops.contains(addr))
            m_stops.insert(addr, {VOXVirtualTime::now(), m_stopsSent});
        follow(network->motor(addr)->stop());
    }

    void ask(VOX::Addr addr, VOXScheduler::Lane lane)
    {
        KVRMotorProxy proxy(addr, scheduler().lane(lane));
        const BusPendingCall call = proxy.getNodeLabel();
        call.onFinished(&wire, [this, call, addr] {
            const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(call.reply());
            const QString wanted = QStringLiteral("motor %1").arg(addr - First);
            if (label && QString::fromLatin1(label->label) != wanted)
                wrong += wanted + " was told as " + QString::fromLatin1(label->label);
        });
        follow(call);
    }

    VOXLine wire{0};
    VOXSimulation simulation;
    std::unique_ptr<VOXBus> host = std::make_unique<VOXBus>(wire.addMember());
    std::unique_ptr<VOXNetwork> network;
    int begun = 0;
    int ended = 0;
    int jogs = 0;
    QHash<QByteArray, int> sentJogs;
    QStringList wrong;
    qint64 worstStopMs = 0;

private:
    void follow(const BusPendingCall &call)
    {
        ++begun;
        call.onFinished(&wire, [this] { ++ended; });
    }
    void follow(VOXMotion *motion)
    {
        ++begun;
        QObject::connect(motion, &VOXMotion::finished, &wire, [this] { ++ended; });
    }

    void handleWritten(const VOXMessage &frame)
    {
        const VOX::Addr addr = frame.destAddr(false);
        if (frame.cmd() == KVR::CTRL_MOVEOF)
            ++sentJogs[frame.data()];
        if (frame.cmd() != KVR::CTRL_STOP)
            return;
        // One for all is one for each.
        const QList<VOX::Addr> stopped =
            frame.addrType() == VOX::P2P ? QList<VOX::Addr>{addr} : m_stops.keys();
        for (const VOX::Addr each : stopped) {
            if (!m_stops.contains(each))
                continue;
            // Other stops may be first.
            const auto [askedMs, sent] = m_stops.take(each);
            worstStopMs = qMax(worstStopMs, (VOXVirtualTime::now() - askedMs) / (m_stopsSent - sent + 1));
        }
        ++m_stopsSent;
    }

    void check(const VOXNetworkNode &node)
    {
        // The answers of somebody else may show up as a node of their own.
        if (node.address() == Stranger)
            return;
        const int index = static_cast<int>(node.address() - First);
        const auto *const motor = qobject_cast<const VOXNetworkMotor *>(&node);
        if (!motor || index >= Count) {
            wrong += node.addressText() + " is there";
            return;
        }
        const int down = 10000 + 100 * index;
        const bool isRight = (node.label().isEmpty() || node.label() == QStringLiteral("motor %1").arg(index))
            && motor->downLimit().value_or(down) == down
            && (index < MoverCount || motor->pulses().value_or(down * index / Count) == down * index / Count)
            && (!motor->percent() || !motor->pulses()
                || qAbs(*motor->percent() - *motor->pulses() * 100 / down) <= 1);
        if (!isRight)
            wrong += QStringLiteral("%1 tells '%2', %3, %4, %5")
                         .arg(node.addressText(), node.label())
                         .arg(motor->downLimit().value_or(-1))
                         .arg(motor->pulses().value_or(-1))
                         .arg(motor->percent().value_or(-1));
    }

    std::mt19937 m_random;
    // When a stop was asked for, and how many had been sent by then.
    QHash<VOX::Addr, std::pair<qint64, int>> m_stops;
    int m_stopsSent = 0;
};
}

void tst_NetworkSeeds::property_data()
{
    QLoggingCategory::setFilterRules("vox.*=false");
    addSeeds();
}

/// Each call and each motion ends once, no jog goes twice, no node gets a value of another, and a stop goes
/// next. The line is loaded as far as it may be, and polls go on while it is full.
void tst_NetworkSeeds::property()
{
    QFETCH(quint32, seed);
    Site site(seed);
    VOXPollPlan plan;
    plan.positionMs = plan.statusMs = VOXPollPlan::MinMs;
    QVERIFY(site.network->setPlan(plan));
    for (int round = 0; round < 400; ++round) {
        site.act();
        VOXVirtualTime::advance(site.below(300));
    }
    site.host->open();

    // Nobody wants anything. On a line like this all may seem silent for once, and are then read at once.
    VOXVirtualTime::advance(60 * SecondMs);
    QCOMPARE(site.ended, site.begun);
    constexpr int Seconds = 60;
    int load = 0;
    for (int second = 0; second < Seconds; ++second) {
        VOXVirtualTime::advance(SecondMs);
        load += site.scheduler().loadPercent();
    }
    QVERIFY2(load > 40 * Seconds && load <= 66 * Seconds, QByteArray::number(load / Seconds));

    // All want something all the time, for longer than a line without polls would remember.
    const auto pollsSent = [&] { return int(site.scheduler().figures(VOXScheduler::Poll).sent); };
    int polls = 0;
    for (int second = 0; second < 30; ++second) {
        polls -= second == 10 ? pollsSent() : 0;
        for (int i = 0; i < Count; ++i)
            site.ask(addrOf(i), VOXScheduler::User);
        VOXVirtualTime::advance(SecondMs);
    }
    polls += pollsSent();
    QVERIFY2(polls >= 8, QByteArray::number(polls));
    VOXVirtualTime::advance(300 * SecondMs);
    QCOMPARE(site.ended, site.begun);

    QVERIFY2(site.wrong.isEmpty(), qPrintable(site.wrong.join('\n')));
    QVERIFY(site.sentJogs.size() > 2);
    for (const int count : qAsConst(site.sentJogs))
        QCOMPARE(count, 1);
    QVERIFY2(site.worstStopMs <= MostStopMs, QByteArray::number(site.worstStopMs));
    m_worstStopMs = qMax(m_worstStopMs, site.worstStopMs);
    for (const VOXScheduler::Lane lane : {VOXScheduler::Poll, VOXScheduler::ReadBack})
        m_readings += static_cast<qint64>(site.scheduler().figures(lane).answered);
}

void tst_NetworkSeeds::cleanupTestCase()
{
    std::printf(
        "%lld polls were answered, each by the node that was asked; a stop has waited for %lld ms at most\n",
        m_readings, m_worstStopMs);
}

QTEST_GUILESS_MAIN(tst_NetworkSeeds)
#include "tst_networkseeds.moc"
