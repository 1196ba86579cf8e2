#include "network/voxnetwork.h"

#include "devices/kvrmotordevice.h"
#include "framework/busdispatcher.h"
#include "messages/kvranswer.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/timers.h"
#include "transport/voxbusurl.h"

#include <QtTest>

#include <malloc.h>

static const VOXVirtualTime virtualTime;

class tst_VOXNetwork : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLoggingCategory::setFilterRules("vox.bus=false\nvox.device=false"); }
    void firstPicture_data();
    void firstPicture();
    void motions_data();
    void motions();
    void presence();
    void probes();
    void nonsense();
    void line();
    void listening();
    void settings();
    void noMotor();
    void olderMotors();
    void plan();
    void estimates();
    void destruction_data();
    void destruction();
    void size();
};

namespace {
constexpr VOX::Addr Group = 0xa01;
constexpr int DownLimit = 14050;

constexpr VOX::Addr addrOf(int index)
{
    return 0x100 + static_cast<VOX::Addr>(index);
}

bool runUntil(const std::function<bool()> &condition, qint64 ms = 60000)
{
    return VOXVirtualTime::runUntil(condition, ms);
}

/// A host's network and simulated motors that need 20 s from limit to limit, on a line of 4800 bit/s.
struct Site
{
    explicit Site(int count, bool isKnown = true)
    {
        QJsonArray nodes;
        QVector<VOX::Addr> members;
        for (int i = 0; i < count; ++i) {
            members += addrOf(i);
            nodes += QJsonObject{{"model", "TB60LV"},
                                 {"address", VOX::toString(addrOf(i))},
                                 {"label", QStringLiteral("motor %1").arg(i)},
                                 {"groups", QJsonArray{VOX::toString(Group)}},
                                 {"limits", QJsonObject{{"up", 0}, {"down", DownLimit}}}};
        }
        simulation.load({{"nodes", nodes}});
        simulation.attach(nodesBus);
        QObject::connect(&line, &VOXLine::sent, &line,
                         [this](QIODevice *member) { sent += member == host->device() ? 1 : 0; });
        QObject::connect(network.get(), &VOXNetwork::noticed, &line,
                         [this](const QString &text) { noticed += text; });
        network->setGroup(Group, members);
        for (int i = 0; isKnown && i < count; ++i)
            network->add(addrOf(i));
        VOXVirtualTime::advance(isKnown ? count * 250 : 0);
        sent = 0;
    }

    VOXNetworkMotor *motor(int index = 0) const { return network->motor(addrOf(index)); }
    KVRMotorDevice *device(int index = 0) const { return simulation.node<KVRMotorDevice>(addrOf(index)); }

    /// Another host commands the first motor: to a limit, or -1, to stop. It does not wait for the line, so
    /// it tries a few times.
    void command(int function, int times = 5)
    {
        otherHost->write(
            frame(function < 0 ? "02 FF" : "03 01 00 00 FF", addrOf(0), VOXMessage::AckFlag).data());
        if (times > 1)
            QTimer::singleShot(73, &line, [=] { command(function, times - 1); });
    }

    /// The first motor answers no more, but says this again and again: no emulated motor is ever blocked.
    void speaks(const QByteArray &status)
    {
        simulation.remove(addrOf(0));
        QObject::connect(&nodesBus->dispatcher(), &BusDispatcher::unhandled, &line,
                         [=](const BusMessage &message) {
                             const bool isStatus = VOXMessage(message).cmd() == KVR::GET_MOTOR_STATUS;
                             if (VOXMessage(message).destAddr(false) == addrOf(0))
                                 nodesBus->dispatcher().reply(
                                     frameFrom(addrOf(0), isStatus ? status : "0D F401 07 FF FF"));
                         });
    }

    /// Gives a command: a move or a stop of the first motor, of the group if it begins with G, or something
    /// that happens. Null if it is no motion.
    VOXMotion *give(const QString &word)
    {
        const int number = word.section('=', 1).toInt();
        const QString verb = word.section('=', 0, 0);
        if (verb == "to")
            return motor()->moveTo(number);
        if (verb == "up")
            return motor()->moveUp();
        if (verb == "down")
            return motor()->moveDown();
        if (verb == "jog")
            return motor()->jog(number > 0 ? KVRMotor::DIRECTION_DOWN : KVRMotor::DIRECTION_UP, qAbs(number));
        if (verb == "stop")
            return motor()->stop();
        if (verb == "Gto")
            return network->moveGroupTo(Group, number);
        if (verb == "Gdown")
            return network->moveGroupDown(Group);
        if (verb == "Gother")
            return network->moveGroupUp(Group + 1);
        if (verb == "Gnone")
            return network->stopGroup(0x010000);
        if (verb == "Gstop")
            return network->stopAll();
        if (verb == "wait")
            VOXVirtualTime::advance(number);
        else if (verb == "foreign")
            command(number);
        else if (verb == "unlimited")
            motor()->setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_DELETE);
        else if (verb == "lock")
            motor()->lock(number);
        else if (verb == "dies")
            simulation.remove(addrOf(number));
        else if (verb == "loseAck")
            simulation.addFault("drop 000100 command CTRL_MOVETO count 1");
        else if (verb == "remove")
            network->remove(addrOf(number));
        else if (verb == "listen")
            network->setSending(false);
        else if (verb == "close")
            host->close();
        else if (verb == "blocked")
            speaks("0F 02 00 00 00");
        else if (verb == "nonsense")
            speaks("0F 02");
        else if (verb == "deaf") { // One of them hears nothing for a while.
            Bus *const bus = device(number)->bus();
            device(number)->detach();
            QTimer::singleShot(100, device(number), [this, number, bus] { device(number)->attach(bus); });
        } else
            qFatal("no such word: %s", qPrintable(word));
        return nullptr;
    }

    VOXLine line{4800};
    VOXSimulation simulation;
    VOXBus *nodesBus = line.addBus(&line);
    VOXBus *host = line.addBus(&line);
    VOXBus *otherHost = line.addBus(&line);
    std::unique_ptr<VOXNetwork> network = std::make_unique<VOXNetwork>(host);
    int sent = 0;
    QStringList noticed;
};

/// What was heard of a motion.
struct Heard
{
    explicit Heard(VOXMotion *motion)
    {
        QObject::connect(motion, &VOXMotion::accepted, motion, [this] { ++(finished ? late : accepted); });
        QObject::connect(motion, &VOXMotion::finished, motion, [this](VOXMotion *ended) {
            ++finished;
            end = ended->end();
            sentence = ended->sentence();
        });
    }
    bool wait() const
    {
        return runUntil([this] { return finished > 0; });
    }

    int accepted = 0;
    int late = 0;
    int finished = 0;
    VOXMotion::End end = VOXMotion::Running;
    QString sentence;
};

/// What a node answers that has nothing to tell.
VOXMessage answer(unsigned char cmd, VOX::Addr node)
{
    const VOXCmdInfo post = KVR::findCmd(KVR::findCmd(cmd).reply());
    VOXMessage message(post.size());
    message.setCmd(post.cmd());
    message.setSrcAddr(node);
    message.setDestAddr(VOX::HostAddr);
    message.prepare();
    return message;
}
}

void tst_VOXNetwork::firstPicture_data()
{
    const auto row = columns<QByteArray, int, int>("by", "turnMs", "atMost");
    row("known nodes", "known", 22, 12000);
    row("known nodes that are slow", "known", 40, 14000);
    row("from cold", "broadcast", 22, 20000);
    row("slow ones from cold", "broadcast", 40, 20000);
    row("from cold, address by address", "range", 22, 36000);
}

void tst_VOXNetwork::firstPicture()
{
    QFETCH(QByteArray, by);
    QFETCH(int, turnMs);
    Site site(60, false);
    // Later than when the line is free, 5 ms behind the request.
    site.simulation.addFault(QStringLiteral("delay %1 all").arg(turnMs - 5));
    const qint64 start = VOXVirtualTime::now();
    const auto all = [&](auto holds) {
        const auto nodes = site.network->nodes();
        return nodes.size() == 60 && std::all_of(nodes.begin(), nodes.end(), holds);
    };
    QJsonArray nodes;
    for (int i = 0; i < 60; ++i)
        nodes += QJsonObject{{"address", VOX::toString(addrOf(i))}, {"label", "as it was"}};
    if (by == "known")
        QVERIFY(site.network->setKnownNodes(nodes));
    else if (by == "broadcast")
        site.network->discover();
    else
        QVERIFY(site.network->discoverRange(addrOf(0), addrOf(59)));
    QVERIFY(runUntil([&] {
        return all([](VOXNetworkNode *node) {
            const auto *const motor = qobject_cast<VOXNetworkMotor *>(node);
            return motor->percent() == 0 && motor->motorState() == KVRMotor::STATE_STOPPED;
        });
    }));
    QFETCH(int, atMost);
    QVERIFY2(VOXVirtualTime::now() - start <= atMost, QByteArray::number(VOXVirtualTime::now() - start));
    QVERIFY(runUntil(
        [&] { return all([](VOXNetworkNode *node) { return node->label().startsWith("motor"); }); }));
    // Later there is no more to do than the plan: in 2 minutes 4 positions and 1 status of each.
    VOXVirtualTime::advance(600000);
    site.sent = 0;
    VOXVirtualTime::advance(120000);
    QVERIFY2(qAbs(site.sent - 60 * 5) < 25, QByteArray::number(site.sent));
    QCOMPARE(site.network->knownNodes().at(7).toObject().value("label"), QJsonValue("motor 7"));
}

void tst_VOXNetwork::motions_data()
{
    // What is given, of which the word with a star is followed; how it ends; whether it was accepted.
    using M = VOXMotion;
    const auto row = columns<QString, M::End, QString, int>("words", "end", "sentence", "accepted");
    row("arrives", "to=50*", M::Arrived, "000100 (motor 0) is at 50 %.", 1);
    row("is there already", "up*", M::Arrived, "up limit", 1);
    row("jogs", "jog=900*", M::Arrived, "900 pulses further down", 1);
    row("stops", "down wait=3000 stop*", M::Arrived, "at rest", 1);
    row("is stopped here", "down* wait=3000 stop", M::Stopped, "was stopped", 1);
    row("is stopped elsewhere", "down* wait=3000 foreign=-1", M::Stopped, "has come to rest at", 1);
    row("is replaced", "down* wait=3000 to=10", M::Replaced, "newer", 1);
    row("is replaced elsewhere", "down* wait=3000 foreign=1", M::Replaced, "Another host", 1);
    row("is taken back by a stop", "down* stop", M::Replaced, "newer", 0);
    row("is refused", "unlimited to=50*", M::Refused, "set both first", 0);
    row("is locked", "lock=3 to=50*", M::Locked, "unlock it", 0);
    row("is blocked", "down* wait=3000 blocked", M::Blocked, "blocked at 7 %. Clear its way", 1);
    row("is blocked just before its end", "to=8* wait=1100 blocked", M::Blocked, "blocked at 7 %", 1);
    row("falls silent", "down* wait=3000 dies=0", M::NoAnswer, "does not answer any more", 1);
    row("is not there", "dies=0 down*", M::NoAnswer, "has not answered", 0);
    row("loses its acknowledgement", "loseAck down*", M::Arrived, "down limit", 1);
    row("is removed", "down* remove=0", M::NoAnswer, "removed", 0);
    row("cannot be", "to=101*", M::Invalid, "There is no position of 101: it is 0 to 100.", 0);
    row("is too short", "jog=9*", M::Invalid, "10 to 1000", 0);
    row("may not be sent", "listen down*", M::Invalid, "only listens", 0);
    row("may not be followed", "down* wait=3000 listen", M::NoAnswer, "only listens now", 1);
    row("may not be sent any more", "down=1 to=2* listen", M::NoAnswer, "only listens now", 0);
    row("makes no sense", "down* wait=3000 nonsense", M::NoAnswer, "not so that it makes sense", 1);
    row("finds the line closed", "close down*", M::NoAnswer, "not open", 0);
    row("meets a closing line", "down* wait=3000 close", M::NoAnswer, "not open", 1);
    row("all move", "Gto=30*", M::Arrived, "6 of 6", 1);
    row("one has not heard the group", "deaf=3 Gto=30*", M::Arrived, "6 of 6", 1);
    row("one has got something newer", "Gto=30* wait=500 to=10", M::Replaced,
        "5 of 6 motors have done it. A newer", 1);
    row("one is silent", "dies=5 Gto=30*", M::NoAnswer, "5 of 6 motors have done it. 000105", 1);
    row("all stop", "Gdown wait=3000 Gstop*", M::Arrived, "6 of 6", 1);
    row("one has not heard the stop", "Gdown wait=3000 deaf=3 Gstop*", M::Arrived, "6 of 6", 1);
    row("no group can have it", "Gnone*", M::Invalid, "No group has the address 010000.", 0);
    row("no member is known", "Gother*", M::NoAnswer, "no member", 0);
}

void tst_VOXNetwork::motions()
{
    QFETCH(QString, words);
    QFETCH(QString, sentence);
    Site site(6);
    std::optional<Heard> heard;
    for (const QString &word : words.split(' ')) {
        VOXMotion *const motion = site.give(QString(word).remove('*'));
        if (word.endsWith('*'))
            heard.emplace(motion);
    }
    QVERIFY(heard->wait());
    QTEST(heard->end, "end");
    QVERIFY2(heard->sentence.contains(sentence), qPrintable(heard->sentence));
    QTEST(heard->accepted, "accepted");
    VOXVirtualTime::advance(60000);
    QCOMPARE(list(heard->finished, heard->late), list(1, 0));
    for (const VOX::Addr addr : site.simulation.addresses())
        QVERIFY(!site.simulation.node<KVRMotorDevice>(addr)->isMoving());
}

void tst_VOXNetwork::presence()
{
    Site site(4);
    VOXVirtualTime::advance(60000);
    VOXNetworkMotor *const motor = site.motor();
    QVector<int> seen;
    connect(motor, &VOXNetworkNode::presenceChanged, this, [&] { seen += motor->presence(); });
    QVector<qint64> asked;
    connect(&site.host->dispatcher(), &BusDispatcher::written, this, [&](const QByteArray &bytes) {
        if (VOXMessage(BusMessage(bytes)).destAddr(false) == addrOf(0))
            asked += VOXVirtualTime::now();
    });
    site.simulation.addFault("drop 000100");
    QVERIFY(runUntil([&] { return motor->presence() == VOXNetworkNode::Down; }, 150000));
    const auto seconds = [&](int index) { return (asked.value(index) - asked.value(0)) / 1000; };
    QCOMPARE(list(asked.size(), seconds(1), seconds(2), seconds(3)), list(4, 2, 5, 10));
    asked.clear();
    // After 5, 10, 20, 40, 80 and 160 s, and then each 300 s, or a tenth more or less.
    VOXVirtualTime::advance(3000000);
    QVERIFY2(asked.size() >= 14 && asked.size() <= 17, QByteArray::number(asked.size()));
    QCOMPARE(site.network->line(), VOXNetwork::Open);
    // What a person asks for still goes out, but once.
    asked.clear();
    motor->wink();
    motor->setLabel("Dead");
    VOXVirtualTime::advance(2000);
    QCOMPARE(asked.size(), 2);
    site.simulation.clearFaults();
    QVERIFY(runUntil([&] { return motor->presence() == VOXNetworkNode::Up; }, 340000));
    QCOMPARE(seen, QVector<int>({VOXNetworkNode::Shaky, VOXNetworkNode::Down, VOXNetworkNode::Up}));
    QCOMPARE(motor->silentForMs(), 0);
    // It is asked twice again, and what may have changed has been read.
    VOXVirtualTime::advance(500);
    QVERIFY(asked.size() >= 4);
    asked.clear();
    site.simulation.addFault("drop 000100 count 1");
    motor->setLabel("Back");
    VOXVirtualTime::advance(400);
    QVERIFY(asked.size() >= 2);
}

void tst_VOXNetwork::probes()
{
    constexpr int Dead = 30;
    Site site(Dead + 2);
    for (int i = 0; i < Dead; ++i)
        site.simulation.remove(addrOf(i));
    const auto nodes = site.network->nodes();
    const auto downCount = [&] {
        return std::count_if(nodes.begin(), nodes.end(),
                             [](VOXNetworkNode *node) { return node->presence() == VOXNetworkNode::Down; });
    };
    QVERIFY(runUntil([&] { return downCount() == Dead; }, 300000));
    VOXVirtualTime::advance(10000);
    qint64 last = VOXVirtualTime::now() - 1000;
    int probes = 0;
    qint64 shortest = 1000;
    connect(&site.host->dispatcher(), &BusDispatcher::written, this, [&](const QByteArray &bytes) {
        if (VOXMessage(BusMessage(bytes)).destAddr(false) >= addrOf(Dead))
            return;
        ++probes;
        shortest = qMin(shortest, VOXVirtualTime::now() - std::exchange(last, VOXVirtualTime::now()));
    });
    VOXVirtualTime::advance(100000);
    // Those that have been silent for a minute would be asked each 5 to 40 s.
    QVERIFY2(shortest >= 1000 && probes > 60,
             QByteArray::number(shortest) + ' ' + QByteArray::number(probes));
}

// Silent it is not, and of what it says nothing is kept.
void tst_VOXNetwork::nonsense()
{
    Site site(2);
    VOXVirtualTime::advance(60000);
    site.speaks("0F 02");
    QVERIFY(runUntil([&] { return site.motor()->presence() == VOXNetworkNode::Shaky; }, 150000));
    QSignalSpy changes(site.motor(), &VOXNetworkNode::presenceChanged);
    site.sent = 0;
    VOXVirtualTime::advance(600000);
    QCOMPARE(
        list(site.motor()->presence(), changes.size(), site.motor()->motorState() == KVRMotor::STATE_STOPPED),
        list(VOXNetworkNode::Shaky, 0, true));
    QVERIFY2(site.sent < 60 + 30, QByteArray::number(site.sent));
}

void tst_VOXNetwork::line()
{
    Site site(4);
    QVector<int> seen;
    connect(site.network.get(), &VOXNetwork::lineChanged, this, [&](VOXNetwork::Line line) { seen += line; });
    site.line.setCut(true);
    // What waits then waits for nothing, but what a person waits for is tried.
    QVector<BusPendingCall> calls;
    for (int lane = VOXScheduler::User; lane < VOXScheduler::LaneCount; ++lane) {
        for (int i = 0; i < 4; ++i)
            calls += KVRMotorProxy(addrOf(i), site.network->scheduler().lane(VOXScheduler::Lane(lane)))
                         .ctrlMoveOf(KVRMotor::MOVEOF_PULSES_UP, 50);
    }
    QVERIFY(runUntil([&] { return site.network->line() == VOXNetwork::Silent; }));
    VOXVirtualTime::advance(300);
    QVERIFY(site.network->lineProblem().contains("cable"));
    int sent = 0;
    int unsent = 0;
    for (const BusPendingCall &call : qAsConst(calls)) {
        sent += call.error() == BusPendingCall::Timeout;
        unsent += call.error() == BusPendingCall::NotOpen;
    }
    QVERIFY2(unsent == 3 * 4, QByteArray::number(unsent) + ' ' + QByteArray::number(sent));
    VOXVirtualTime::advance(5000);
    site.sent = 0;
    VOXVirtualTime::advance(20000);
    QCOMPARE(site.sent, 10);
    site.line.setCut(false);
    QVERIFY(runUntil([&] { return site.network->line() == VOXNetwork::Open; }, 5000));
    // What happens meanwhile is read first of all.
    site.host->close();
    site.device()->setPositionPulses(DownLimit);
    VOXVirtualTime::settle();
    site.host->open();
    QVERIFY(runUntil([&] { return site.motor()->percent() == 100; }, 2000));
    QCOMPARE(seen,
             QVector<int>({VOXNetwork::Silent, VOXNetwork::Open, VOXNetwork::Closed, VOXNetwork::Open}));
    QVERIFY(site.noticed.isEmpty());
    QVERIFY(VOXNetwork(site.host).lineProblem().contains("Another network"));
    delete site.host;
    VOXVirtualTime::settle();
    QCOMPARE(site.network->line(), VOXNetwork::Closed);
    VOXBusUrl url;
    QString problem;
    QVERIFY(VOXBusUrl::read("serial:///nowhere", &url, &problem));
    QVERIFY(VOXNetwork(url).lineProblem().contains("every 2 s"));
}

void tst_VOXNetwork::listening()
{
    Site site(3, false);
    site.network->setSending(false);
    KVRMotorProxy proxy(addrOf(1), site.otherHost);
    const BusPendingCall calls[] = {proxy.getMotorPosition(), proxy.getNodeLabel()};
    QVERIFY(runUntil([&] { return calls[1].isFinished(); }));
    VOXVirtualTime::settle();
    QCOMPARE(list(site.network->nodes().size(), site.motor(1)->label(), site.sent), list(1, "motor 1", 0));
    QVERIFY(site.motor(1)->setLabel("x").isError());
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    QString problem;
    site.network->discover();
    QVERIFY(!site.network->discoverRange(0x101, 0x102, &problem));
    QVERIFY(problem.contains("only listens"));
    VOXVirtualTime::advance(2000);
    QCOMPARE(list(site.sent, discovered.size()), list(0, 2));
    QCOMPARE(site.noticed, QStringList());
    // A node that speaks is asked, and stays.
    site.network->setSending(true);
    QVERIFY(!site.network->discoverRange(0x102, 0x101, &problem));
    QCOMPARE(problem,
             QString("000102 to 000101 is no range of addresses: at most 65536, the first one first"));
    VOXVirtualTime::advance(20000);
    site.nodesBus->write(answer(KVR::GET_MOTOR_STATUS, addrOf(2)).data());
    QVERIFY(runUntil([&] { return site.motor(2) != nullptr; }, 2000));
    site.command(-1);
    VOXVirtualTime::advance(2000);
    QVERIFY(site.noticed.value(0).startsWith("A second host"));
    site.line.setEcho(true);
    VOXVirtualTime::advance(120000);
    QVERIFY(site.noticed.size() == 2);
    QVERIFY(site.noticed.at(1).contains("echo"));
    site.device(1)->setSerialNumber("ANOTHER");
    site.motor(1)->refresh();
    VOXVirtualTime::advance(5000);
    QVERIFY(site.noticed.value(2).startsWith("Two nodes"));
}

void tst_VOXNetwork::settings()
{
    Site site(2);
    VOXNetworkMotor &motor = *site.motor();
    const BusPendingCall unsent[] = {
        motor.setLabel("a label that is too long"),
        motor.setLabel(QString::fromUtf8("\u20ac")),
        motor.lock(256),
        motor.setSpeeds(0, 20, 20),
        motor.setIntermediate(17, 50),
        motor.setIntermediate(1, 101),
        motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_SHIFT_UP, 9),
        motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LimitFunction(3)),
    };
    for (const BusPendingCall &call : unsent)
        QVERIFY(call.isError());
    QVERIFY(motor.lastRefusal().contains("function 3"));
    QCOMPARE(site.network->scheduler().queuedCalls(VOXScheduler::User), 0);
    motor.setLabel("Kitchen");
    motor.setSpeeds(20, 21, 12);
    motor.setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_PULSES, 10000);
    motor.setIntermediate(2, 40);
    motor.lock(7);
    motor.unlock(6);
    VOXVirtualTime::advance(4000);
    QCOMPARE(list(motor.label(), motor.speeds()->down, *motor.intermediatePercent(2), *motor.downLimit(),
                  *motor.isLocked()),
             list("Kitchen", 21, 40, 10000, true));
    QVERIFY2(motor.lastRefusal().contains("higher priority"), qPrintable(motor.lastRefusal()));
    motor.unlock(7);
    Heard heard(motor.moveToIntermediate(2));
    QVERIFY(heard.wait());
    QCOMPARE(list(heard.end, *motor.percent(), *motor.isLocked()), list(VOXMotion::Arrived, 40, false));
}

// A node that tells no type, and refuses what motors are asked: nothing waits for it to stop.
void tst_VOXNetwork::noMotor()
{
    Site site(2);
    QVERIFY(site.simulation.add("NODE", 0x401));
    site.network->add(0x401);
    QVERIFY(runUntil([&] { return site.network->node(0x401) && !site.network->motor(0x401); }));
    VOXVirtualTime::advance(5000);
    QCOMPARE(site.network->node(0x401)->presence(), VOXNetworkNode::Up);
    // One that has not heard the first broadcast hears the second one.
    QVERIFY(site.simulation.add("NODE", 0x402));
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    site.simulation.addFault("drop 000402 count 1");
    site.network->discover();
    QVERIFY(runUntil([&] { return !discovered.isEmpty(); }));
    QCOMPARE(discovered.at(0).at(0).toInt(), 1);
    Heard stop(site.network->stopAll());
    QVERIFY(stop.wait());
    QCOMPARE(stop.end, VOXMotion::Arrived);
}

void tst_VOXNetwork::olderMotors()
{
    Site site(0, false);
    const QJsonObject mover{
        {"model", "TB20"}, {"address", "000312"}, {"limits", QJsonObject{{"up", 0}, {"down", 5000}}}};
    site.simulation.load(
        {{"nodes", QJsonArray{QJsonObject{{"model", "HRMV2"}, {"address", "000310"}}, mover}}});
    QSignalSpy discovered(site.network.get(), &VOXNetwork::discovered);
    site.network->discoverRange(0x30e, 0x314);
    QVERIFY(runUntil([&] { return !discovered.isEmpty(); }));
    const VOXNetworkMotor *const older = site.network->motor(0x310);
    QCOMPARE(list(discovered.at(0).at(0).toInt(), older->isLegacy(), site.network->motor(0x312)->isLegacy()),
             list(2, true, false));
    QVERIFY(runUntil([&] { return older->presence() == VOXNetworkNode::Up && older->isLocked(); }));
    // One that moves, and also answers as the older ones do.
    site.network->remove(0x312);
    QVERIFY(site.network->setKnownNodes({QJsonObject{{"address", "000312"}, {"legacy", true}}}));
    VOXNetworkMotor *const moving = site.network->motor(0x312);
    Heard move(moving->moveTo(50));
    Heard jog(moving->jog(KVRMotor::DIRECTION_UP, 50));
    QVERIFY(move.wait());
    QVERIFY(jog.wait());
    QCOMPARE(list(move.end, jog.end, moving->percent().has_value()),
             list(VOXMotion::Accepted, VOXMotion::Invalid, false));
    Heard stop(site.network->stopAll());
    QVERIFY(stop.wait());
    QVERIFY(stop.sentence.contains("1 of 2"));
    VOXVirtualTime::advance(600000);
    const int position = site.simulation.node<KVRMotorDevice>(0x312)->positionPulses();
    QVERIFY(older->presence() == VOXNetworkNode::Up);
    QVERIFY(moving->downLimit() == 5000);
    QVERIFY(position > 0);
    QVERIFY(position < 2500);
}

void tst_VOXNetwork::plan()
{
    Site site(60);
    VOXPollPlan plan;
    QString problem;
    plan.positionMs = 999;
    QVERIFY(!site.network->setPlan(plan, &problem));
    QVERIFY(problem.contains("positionMs is 999"));
    QVERIFY(!site.network->setKnownNodes({QJsonObject{{"address", "000000"}}}, &problem));
    QVERIFY(problem.startsWith("[0]: 000000"));
    QCOMPARE(site.network->planStretch(), QString());
    plan.positionMs = 5000;
    QVERIFY(site.network->setPlan(plan));
    QVERIFY(site.network->planStretch().startsWith("Positions are read each 10 s instead of 5 s"));
    VOXVirtualTime::advance(300000);
    // What was set elsewhere is read in its time.
    plan.settingsMs = 600000;
    QVERIFY(site.network->setPlan(plan));
    site.device(3)->setNodeLabel("Pantry");
    // All times are stretched alike.
    VOXVirtualTime::advance(1000000);
    QCOMPARE(site.motor(3)->label(), QString("motor 3"));
    VOXVirtualTime::advance(500000);
    QCOMPARE(site.motor(3)->label(), QString("Pantry"));
    // The line is full, and yet a motor that moves is read more often.
    site.motor(7)->moveDown();
    VOXVirtualTime::advance(5000);
    QVERIFY(site.network->scheduler().loadPercent() <= 65);
    QVERIFY(qAbs(*site.motor(7)->percent() - site.device(7)->position()) < 15);
}

void tst_VOXNetwork::estimates()
{
    Site site(1);
    site.motor()->moveDown();
    VOXVirtualTime::advance(4000);
    // Three values in one frame are one piece of news.
    QSignalSpy changes(site.motor(), &VOXNetworkNode::changed);
    site.sent = 0;
    VOXVirtualTime::advance(3000);
    QVERIFY2(changes.size() == site.sent, QByteArray::number(changes.size()));
    for (int i = 0; i < 110; ++i) {
        VOXVirtualTime::advance(100);
        QVERIFY(qAbs(*site.motor()->estimatedPercent() - site.device()->position()) <= 2);
    }
    QCOMPARE(site.motor()->targetPercent(), std::optional<int>(100));
    // Read at the predicted end, and not a second later.
    Heard heard(site.motor()->moveUp());
    const qint64 start = VOXVirtualTime::now();
    QVERIFY(heard.wait());
    QVERIFY2(VOXVirtualTime::now() - start < 19600, QByteArray::number(VOXVirtualTime::now() - start));
}

using End = std::function<void()>;
using Watch = void (*)(Site &, const End &);
Q_DECLARE_METATYPE(Watch)

void tst_VOXNetwork::destruction_data()
{
    using Net = VOXNetwork;
    const auto row = columns<Watch>("watch");
    row("added", [](Site &site, const End &end) { connect(site.network.get(), &Net::nodeAdded, end); });
    row("changed", [](Site &site, const End &end) { connect(site.network.get(), &Net::nodeChanged, end); });
    row("value", [](Site &site, const End &end) { connect(site.motor(), &VOXNetworkNode::changed, end); });
    row("presence",
        [](Site &site, const End &end) { connect(site.motor(1), &VOXNetworkNode::presenceChanged, end); });
    row("removed", [](Site &site, const End &end) { connect(site.network.get(), &Net::nodeRemoved, end); });
    row("line", [](Site &site, const End &end) { connect(site.network.get(), &Net::lineChanged, end); });
    row("discovered", [](Site &site, const End &end) { connect(site.network.get(), &Net::discovered, end); });
    row("noticed", [](Site &site, const End &end) { connect(site.network.get(), &Net::noticed, end); });
    row("accepted",
        [](Site &site, const End &end) { connect(site.motor()->moveDown(), &VOXMotion::accepted, end); });
    row("finished",
        [](Site &site, const End &end) { connect(site.motor()->moveTo(1), &VOXMotion::finished, end); });
}

void tst_VOXNetwork::destruction()
{
    QFETCH(Watch, watch);
    Site site(3);
    watch(site, [&] { site.network.reset(); });
    site.network->add(addrOf(9));
    site.network->discover();
    site.simulation.remove(addrOf(1));
    QTimer::singleShot(30000, &site.line, [&] {
        if (site.network)
            site.network->remove(addrOf(2));
        site.line.setEcho(true);
    });
    QTimer::singleShot(60000, &site.line, [&] { site.host->close(); });
    QVERIFY(runUntil([&] { return !site.network; }, 70000));
    VOXVirtualTime::advance(10000);
}

void tst_VOXNetwork::size()
{
    constexpr int Count = 10000;
    VOXLine line(0);
    VOXBus *const host = line.addBus(&line);
    VOXBus *const nodes = line.addBus(&line);
    connect(&nodes->dispatcher(), &BusDispatcher::unhandled, this, [&](const BusMessage &message) {
        const VOXMessage request(message);
        nodes->dispatcher().reply(answer(request.cmd(), request.destAddr(false)));
    });
    const auto before = mallinfo2().uordblks;
    VOXNetwork network(host);
    VOXVirtualTime::advance(1000);
    for (QObject *const object : network.findChildren<QObject *>())
        QVERIFY2(timersOf(*object).isEmpty(), object->metaObject()->className());
    for (int i = 0; i < Count; ++i)
        QVERIFY(network.add(0x020000u + unsigned(i)));
    QVERIFY(runUntil([&] { return network.motor(0x020000 + Count - 1)->percent().has_value(); }, 3600000));
    const auto each = (mallinfo2().uordblks - before) / Count;
    QVERIFY2(each <= 4096, QByteArray::number(qulonglong(each)));
}

QTEST_GUILESS_MAIN(tst_VOXNetwork)
#include "tst_voxnetwork.moc"
