#include "network/voxscheduler.h"

#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "messages/kvranswer.h"
#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrbcastproxy.h"
#include "proxies/kvrgroupproxy.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/frames.h"
#include "support/timers.h"
#include "support/watching.h"
#include "transport/voxframecutter.h"

#include <QtTest>

#include <cstdio>
#include <random>

static const VOXVirtualTime virtualTime;

class tst_VOXScheduler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lanesAreBuses();
    void order();
    void stopsTakeMovesBack();
    void stopsAreNeverLate_data();
    void stopsAreNeverLate();
    void theSameAgain();
    void repeats_data();
    void repeats();
    void lateAcknowledgements();
    void limits();
    void polls();
    void ends();
    void property_data();
    void property();
    void cleanupTestCase();

private:
    qint64 m_labels = 0;
};

namespace {
constexpr unsigned int First = 0x100;
constexpr unsigned int Group = 0x000a01;

/// A motor that takes its time, or does not answer.
struct Motor : TB60LVStub
{
    Motor(unsigned int addr, VOXBus *bus)
        : TB60LVStub(addr, bus)
    {
        setLimits(0, 10000);
    }

    void dispatch(const VOXMessage &message) override
    {
        heard.append(text(message));
        const int delayMs = delayFor ? delayFor(message) : turnAroundMs;
        if (delayMs >= 0)
            QTimer::singleShot(delayMs, Qt::PreciseTimer, this, [=] { TB60LVStub::dispatch(message); });
    }

    QByteArrayList heard;
    int turnAroundMs = 5;
    /// -1 for no answer.
    std::function<int(const VOXMessage &)> delayFor;
};

struct Sent
{
    qint64 ms;
    VOXMessage frame;
};

/// A host with a scheduler and a few motors, on a line of 4800 bit/s.
struct Site
{
    explicit Site(int count = 3)
    {
        for (int i = 0; i < count; ++i)
            motors.push_back(std::make_unique<Motor>(First + unsigned(i), nodes));
        QObject::connect(&line, &VOXLine::sent, &line,
                         [this, own = host->device()](QIODevice *member, const QByteArray &bytes) {
                             if (member != own)
                                 return;
                             QByteArray logical = bytes;
                             VOXFrameCutter::invertBody(logical);
                             sent.append({VOXVirtualTime::now(), VOXMessage(BusMessage(logical))});
                         });
    }

    KVRMotorProxy &proxy(int index, VOXScheduler::Lane lane = VOXScheduler::User)
    {
        proxies.push_back(std::make_unique<KVRMotorProxy>(First + unsigned(index), scheduler->lane(lane)));
        return *proxies.back();
    }

    /// Command and node of what the host has sent since the last time, as in "0E@0 02@1".
    QByteArray log()
    {
        QByteArrayList words;
        for (const Sent &each : qAsConst(sent)) {
            const QByteArray to = each.frame.addrType() == VOX::P2P
                ? QByteArray::number(each.frame.destAddr(false) - First)
                : QByteArray("*");
            words.append(text(each.frame).left(2) + '@' + to);
        }
        sent.clear();
        return words.join(' ');
    }

    VOXLine line{4800};
    std::unique_ptr<VOXBus> host{line.addBus()};
    VOXBus *nodes = line.addBus(&line);
    std::vector<std::unique_ptr<Motor>> motors;
    std::unique_ptr<VOXScheduler> scheduler = std::make_unique<VOXScheduler>(host.get());
    std::vector<std::unique_ptr<KVRMotorProxy>> proxies;
    QVector<Sent> sent;
};

BusPendingCall discovery(VOXBus *bus)
{
    return BusObject(bus, nullptr)
        .call(VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr & VOX::AddrMask, VOX::BCAST, 300));
}

BusPendingCall ended(const BusPendingCall &call)
{
    VOXVirtualTime::runUntil([&] { return call.isFinished(); }, 60000);
    return call;
}
}

void tst_VOXScheduler::lanesAreBuses()
{
    Site site;
    VOXBus *lane = site.scheduler->lane(VOXScheduler::User);
    QVERIFY(lane->isOpen());
    site.motors[1]->setNodeLabel("South 2");
    const BusPendingCall call = ended(site.proxy(1).getNodeLabel());
    const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(call.reply());
    QCOMPARE(label ? label->label : QByteArray("none"), QByteArray("South 2"));
    const VOXScheduler::LaneFigures figures = site.scheduler->figures(VOXScheduler::User);
    QCOMPARE(list(figures.sent, figures.answered, figures.refused, figures.waitP99Ms), list(1, 1, 0, 0));
    QVERIFY(
        ended(site.proxy(1).ctrlMove(KVRMotor::MoveFunction(9), 10, KVRMotor::SPEED_UP)).reply().data().size()
        == 12);
    QCOMPARE(site.scheduler->figures(VOXScheduler::User).refused, quint64(1));

    // The answers of many come to the asker, and its end is a success.
    const BusPendingCall nodes = ended(discovery(lane));
    QCOMPARE(list(nodes.error(), nodes.replies().size()), list(BusPendingCall::NoError, 3));
    // A call that nobody answers ends as soon as the frame is out.
    QCOMPARE(ended(KVRBCastProxy(lane).ctrlWink()).error(), BusPendingCall::NoError);

    // Others are told that this is no place for them.
    const WarningLog warnings;
    TB60LVStub device(0x999, lane);
    QCOMPARE(warnings.texts().size(), 1);
    const VOXScheduler second(site.host.get());
    QCOMPARE(list(second.isActive(), second.lane(VOXScheduler::User)->isOpen(), warnings.texts().size()),
             list(false, false, 2));
    QCOMPARE(timersOf(*site.scheduler).size(), 0);
}

void tst_VOXScheduler::order()
{
    Site site(4);
    const BusPendingCall running = site.proxy(0).getMotorStatus();
    VOXVirtualTime::advance(20);
    site.proxy(3, VOXScheduler::Poll).getMotorPosition();
    site.proxy(2, VOXScheduler::Automatic).getMotorLimits();
    site.proxy(1, VOXScheduler::Configure).setNodeLabel("A");
    site.proxy(1, VOXScheduler::ReadBack).getMotorStatus();
    // In a lane nodes take turns, and in a node the oldest is first.
    site.proxy(1).getNodeAppVersion();
    site.proxy(1).ctrlWink();
    site.proxy(2).getNodeAppVersion();
    site.proxy(3, VOXScheduler::Poll).ctrlStop();
    VOXVirtualTime::advance(2000);
    QCOMPARE(site.log(), QByteArray("0E@0 02@3 74@1 74@2 05@1 0E@1 55@1 21@2 0C@3"));
}

void tst_VOXScheduler::stopsTakeMovesBack()
{
    Site site(4);
    site.scheduler->setGroupMembers(Group, {First + 1, First + 2});
    const auto move = [&](int index) { return site.proxy(index).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50); };
    site.proxy(0).getMotorStatus();
    const BusPendingCall one = move(1);
    const BusPendingCall query = site.proxy(1).getMotorLimits();
    const BusPendingCall three = move(3);
    site.proxy(1).ctrlStop();
    QCOMPARE(list(one.error(), query.isFinished(), three.isFinished()),
             list(BusPendingCall::Superseded, false, false));

    const BusPendingCall two = move(2);
    KVRGroupProxy(Group, site.scheduler->lane(VOXScheduler::User)).ctrlStop();
    QCOMPARE(list(two.error(), three.isFinished()), list(BusPendingCall::Superseded, false));
    KVRBCastProxy(site.scheduler->lane(VOXScheduler::User)).ctrlStop();
    QCOMPARE(three.error(), BusPendingCall::Superseded);
    QCOMPARE(site.scheduler->figures(VOXScheduler::User).superseded, quint64(3));
    VOXVirtualTime::advance(2000);
    QCOMPARE(site.log(), QByteArray("0E@0 02@1 02@* 02@* 21@1"));
}

void tst_VOXScheduler::stopsAreNeverLate_data()
{
    const auto row = columns<QByteArray, int>("before", "mostMs");
    row("behind a query", "query", 113 + 5);
    row("behind a dead node", "dead", 226 + 5);
    row("behind a group move", "group", 113 + 5);
    row("behind a discovery", "discovery", 113 + 5);
}

void tst_VOXScheduler::stopsAreNeverLate()
{
    QFETCH(QByteArray, before);
    QFETCH(int, mostMs);
    for (int delayMs = 0; delayMs < 300; delayMs += 7) {
        Site site;
        VOXBus *lane = site.scheduler->lane(VOXScheduler::User);
        KVRGroupProxy group(Group, lane);
        for (auto &motor : site.motors)
            motor->setGroupAddr(0, Group);
        if (before == "dead")
            site.motors[0]->turnAroundMs = -1;
        if (before == "group")
            group.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50);
        else if (before == "discovery")
            discovery(lane);
        for (int i = 0; i < 10; ++i)
            site.proxy(0, VOXScheduler::Automatic).getMotorPosition(),
                site.proxy(1, VOXScheduler::Automatic).getMotorStatus();
        VOXVirtualTime::advance(delayMs);
        site.sent.clear();
        const qint64 asked = VOXVirtualTime::now();
        site.proxy(2).ctrlStop();
        VOXVirtualTime::runUntil(
            [&] { return !site.sent.isEmpty() && site.sent.constLast().frame.cmd() == KVR::CTRL_STOP; },
            3000);
        QCOMPARE(site.sent.constLast().frame.cmd(), static_cast<unsigned char>(KVR::CTRL_STOP));
        const qint64 waited = site.sent.constLast().ms - asked;
        QVERIFY2(waited <= mostMs,
                 qPrintable(QStringLiteral("%1 ms, %2 ms after the start").arg(waited).arg(delayMs)));
    }
}

void tst_VOXScheduler::theSameAgain()
{
    Site site;
    const auto hold = [&] {
        VOXVirtualTime::advance(2000);
        site.sent.clear();
        site.proxy(2).getNodeSerialNumber();
    };
    hold();
    const BusPendingCall poll = site.proxy(0, VOXScheduler::Poll).getMotorPosition();
    const BusPendingCall user = site.proxy(0).getMotorPosition();
    const BusPendingCall other = site.proxy(1).getMotorPosition();
    VOXVirtualTime::advance(2000);
    QCOMPARE(site.log(), QByteArray("4C@2 0C@0 0C@1"));
    QCOMPARE(list(poll.isError(), poll.reply().sharesDataWith(user.reply()), other.isError()),
             list(false, true, false));

    hold();
    site.proxy(0).getMotorPosition();
    site.proxy(0).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 10);
    site.proxy(0).getMotorPosition();
    VOXVirtualTime::advance(2000);
    QCOMPARE(site.log(), QByteArray("4C@2 0C@0 03@0 0C@0"));

    // The longer time-out holds for both.
    hold();
    site.motors[0]->turnAroundMs = 300;
    const BusPendingCall shortCall = site.proxy(0).getMotorPosition();
    const BusPendingCall longCall =
        BusObject(site.scheduler->lane(VOXScheduler::User), nullptr)
            .call(VOXCall(KVR::findCmd(KVR::GET_MOTOR_POSITION), VOX::HostAddr, First, 500));
    VOXVirtualTime::advance(2000);
    QCOMPARE(list(shortCall.error(), longCall.error(), site.log()),
             list(BusPendingCall::NoError, BusPendingCall::NoError, QByteArray("4C@2 0C@0")));
    site.motors[0]->turnAroundMs = 5;

    hold();
    const BusPendingCall older = site.proxy(0).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 10);
    const BusPendingCall newer = site.proxy(0).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 20);
    site.proxy(1).ctrlMoveOf(KVRMotor::MOVEOF_PULSES_DOWN, 100);
    site.proxy(1).ctrlMoveOf(KVRMotor::MOVEOF_PULSES_DOWN, 100);
    QCOMPARE(older.error(), BusPendingCall::Superseded);
    VOXVirtualTime::advance(2000);
    QCOMPARE(site.log(), QByteArray("4C@2 04@1 03@0 04@1"));
    QVERIFY(KVR::isAck(VOXMessage(newer.reply())));
    QCOMPARE(site.motors[0]->heard.constLast().mid(0, 8), QByteArray("03 04 14"));
}

void tst_VOXScheduler::repeats_data()
{
    const auto row = columns<QByteArray, bool, QByteArray>("call", "isBusy", "log");
    row("a query goes twice", "query", false, "0C@0 0C@0");
    row("a move goes twice", "move", false, "03@0 03@0");
    row("a stop goes three times", "stop", false, "02@0 02@0 02@0");
    row("a setting goes twice", "setting", false, "13@0 13@0");
    row("a stop goes three times past an echo", "echo", false, "02@0 02@0 02@0");
    row("a jog goes once", "jog", false, "04@0");
    row("a wink goes once", "wink", false, "05@0");
    row("a shift of a limit goes once", "shift", false, "11@0");
    row("a query to a busy node goes twice", "query", true, "0C@0 0C@0");
    row("a jog to a busy node goes once", "jog", true, "04@0");
    row("a move that is older than a stop goes once", "stopped", false, "03@0 02@0 02@0 02@0");
    row("a move that is older than a stop of its group goes once", "group", false, "03@0 02@*");
    row("a move that is older than another host's goes once", "foreign", false, "03@0");
}

void tst_VOXScheduler::repeats()
{
    QFETCH(QByteArray, call);
    QFETCH(bool, isBusy);
    QFETCH(QByteArray, log);
    Site site;
    site.motors[0]->turnAroundMs = isBusy ? 5 : -1;
    if (isBusy)
        site.motors[0]->delayFor = [&](const VOXMessage &) {
            site.motors[0]->reply(frameFrom(First, "6F FF"));
            return -1;
        };
    KVRMotorProxy &proxy = site.proxy(0);
    const auto start = [&] {
        if (call == "query")
            return proxy.getMotorPosition();
        site.line.setEcho(call == "echo");
        if (call == "stop" || call == "echo")
            return proxy.ctrlStop();
        if (call == "setting")
            return proxy.setMotorRollingSpeed(10, 10, 10);
        if (call == "jog")
            return proxy.ctrlMoveOf(KVRMotor::MOVEOF_PULSES_UP, 50);
        if (call == "wink")
            return proxy.ctrlWink();
        if (call == "shift")
            return proxy.setMotorLimits(KVRMotor::LIMIT_SHIFT_UP, KVRMotor::LIMIT_DOWN, 10);
        return proxy.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50);
    };
    const BusPendingCall pending = start();
    VOXVirtualTime::advance(100);
    if (call == "stopped")
        proxy.ctrlStop();
    site.scheduler->setGroupMembers(Group, {First});
    if (call == "group")
        KVRGroupProxy(Group, site.scheduler->lane(VOXScheduler::User)).ctrlStop();
    if (call == "foreign")
        site.nodes->write(frame("03 04 1400 FF", First).data());
    VOXVirtualTime::advance(5000);
    // After the time-out, or the answer, and a pause.
    const qint64 againMs = site.sent.size() > 1 ? site.sent[1].ms - site.sent[0].ms : 0;
    if (call == "query")
        QVERIFY2(isBusy ? qAbs(againMs - 570) < 20 : qAbs(againMs - 256) < 10, QByteArray::number(againMs));
    QCOMPARE(site.log(), log);
    QCOMPARE(pending.error(), isBusy ? BusPendingCall::NoError : BusPendingCall::Timeout);
    const VOXScheduler::NodeFigures figures = site.scheduler->nodeFigures(First);
    QCOMPARE(list(figures.answered, figures.unanswered > 0), list(isBusy ? 1 : 0, !isBusy));
}

void tst_VOXScheduler::lateAcknowledgements()
{
    // The move's ACK comes so late that it ends the stop, and the motor has not heard the stop.
    Site site;
    Motor &motor = *site.motors[0];
    int stops = 0;
    motor.delayFor = [&](const VOXMessage &message) {
        if (message.cmd() == KVR::CTRL_MOVE)
            return 300;
        return message.cmd() == KVR::CTRL_STOP && stops++ == 0 ? -1 : 5;
    };
    site.proxy(0).ctrlMove(KVRMotor::MOVE_DOWN, 255, KVRMotor::SPEED_DOWN);
    VOXVirtualTime::advance(250);
    const BusPendingCall stop = site.proxy(0).ctrlStop();
    VOXVirtualTime::advance(3000);
    QCOMPARE(stop.error(), BusPendingCall::NoError);
    QCOMPARE(site.log(), QByteArray("01@0 02@0 0E@0 02@0"));
    QVERIFY(motor.status().state != KVRMotor::STATE_RUNNING);

    // One of the older generation has no status to be read.
    motor.delayFor = [](const VOXMessage &message) { return text(message).startsWith("54 03") ? -1 : 300; };
    HRMv2MotorProxy older(First, site.scheduler->lane(VOXScheduler::User));
    older.setMotorPosition(HRMv2::POSITION_PULSES, 100);
    VOXVirtualTime::advance(250);
    older.setMotorPosition(HRMv2::POSITION_STOP, 0);
    VOXVirtualTime::advance(3000);
    QVERIFY(!site.log().contains("0E"));
    QCOMPARE(site.motors[0]->heard.count(motor.heard.constLast()), 2);
}

void tst_VOXScheduler::limits()
{
    Site site;
    site.motors[0]->turnAroundMs = -1;
    VOXScheduler::Limits limits;
    limits.automaticPerNode = 2;
    limits.perNode = 3;
    limits.all = 6;
    limits.pollPeriodMs = 400;
    QVERIFY(site.scheduler->setLimits(limits));
    using Limits = VOXScheduler::Limits;
    QString problem;
    for (const Limits &wrong :
         {Limits{86}, Limits{-1}, Limits{60, 101}, Limits{60, 85, 0}, Limits{60, 85, 8, 64, 512, 0}})
        QVERIFY(!site.scheduler->setLimits(wrong, &problem));
    QCOMPARE(problem, QString("pollPeriodMs is 0; it can be 1 to 2147483647"));
    QCOMPARE(site.scheduler->limits().perNode, 3);
    site.proxy(0, VOXScheduler::Automatic).getMotorDirection();
    const auto jog = [&](int index, VOXScheduler::Lane lane) {
        return site.proxy(index, lane).ctrlMoveOf(KVRMotor::MOVEOF_PULSES_UP, 50);
    };
    QVector<BusPendingCall> calls;
    for (int i = 0; i < 3; ++i)
        calls += jog(1, VOXScheduler::Poll);
    QCOMPARE(list(calls[0].error(), calls[1].error(), calls[2].error()),
             list(BusPendingCall::NoError, BusPendingCall::NoError, BusPendingCall::Overflow));
    for (int i = 0; i < 4; ++i)
        calls += jog(1, VOXScheduler::User);
    QCOMPARE(calls[6].error(), BusPendingCall::Overflow);
    for (int i = 0; i < 3; ++i)
        calls += jog(2, VOXScheduler::User);
    // There was room for one; then the polls had to go, the oldest first.
    QCOMPARE(list(calls[0].error(), calls[1].error()),
             list(BusPendingCall::Overflow, BusPendingCall::Overflow));
    QCOMPARE(jog(0, VOXScheduler::User).error(), BusPendingCall::Overflow);
    const BusPendingCall stop = site.proxy(0).ctrlStop();
    QVERIFY(!stop.isFinished());
    const BusPendingCall late = jog(1, VOXScheduler::Poll);
    QCOMPARE(late.error(), BusPendingCall::Overflow);
    VOXVirtualTime::advance(20000);
    QCOMPARE(stop.error(), BusPendingCall::Timeout);

    // Who waits for too long is told so.
    site.scheduler->setLimits(VOXScheduler::Limits());
    site.motors[0]->turnAroundMs = -1;
    for (int i = 0; i < 64; ++i)
        jog(0, VOXScheduler::User);
    const BusPendingCall move =
        site.proxy(1, VOXScheduler::Configure).ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 10);
    const qint64 began = VOXVirtualTime::now();
    ended(move);
    QCOMPARE(move.error(), BusPendingCall::Expired);
    QVERIFY2(qAbs(VOXVirtualTime::now() - began - 15000) < 300, "a move waits for 15 s");
}

void tst_VOXScheduler::polls()
{
    Site site(2);
    int asked = 0;
    site.scheduler->setPollSource([&](int *) {
        ++asked;
        VOXCall poll(KVR::findCmd(KVR::GET_MOTOR_POSITION), VOX::HostAddr, First + unsigned(asked % 2), 0);
        return std::optional<VOXCall>(poll);
    });
    QSignalSpy answers(site.scheduler.get(), &VOXScheduler::answered);
    VOXVirtualTime::advance(60000);
    // Half of the line and more is left to others.
    const double load = site.scheduler->loadPercent();
    QVERIFY2(load > 50 && load < 66, qPrintable(QString::number(load)));
    QCOMPARE(answers.size(), asked - site.scheduler->queuedCalls(VOXScheduler::Poll));
    // A line that others fill still has a tenth for polls.
    site.sent.clear();
    const qint64 end = VOXVirtualTime::now() + 60000;
    while (VOXVirtualTime::now() < end) {
        site.proxy(0).getNodeLabel();
        site.proxy(1).getNodeLabel();
        VOXVirtualTime::advance(100);
        site.proxies.clear();
    }
    int polls = 0;
    for (const Sent &each : qAsConst(site.sent))
        polls += each.frame.cmd() == KVR::GET_MOTOR_POSITION;
    QVERIFY2(polls > 45 && polls < 90, qPrintable(QString::number(polls)));

    // What other hosts send is not free either: 27 bytes are 62 ms, and 5.
    site.scheduler->setPollSource(nullptr);
    VOXVirtualTime::advance(10000);
    for (int i = 0; i < 100; ++i) {
        site.nodes->write(frameFrom(0x777, "65" + QByteArray(32, '0')).data());
        VOXVirtualTime::advance(100);
    }
    const int others = site.scheduler->loadPercent();
    QVERIFY2(others > 60 && others < 72, QByteArray::number(others));

    // A source that has nothing is asked again when it wants to be.
    asked = 0;
    site.scheduler->setPollSource([&](int *againInMs) {
        *againInMs = ++asked < 3 ? 1000 : -1;
        return std::optional<VOXCall>();
    });
    VOXVirtualTime::advance(20000);
    QCOMPARE(asked, 3);
    site.scheduler->wakePolls();
    VOXVirtualTime::advance(1000);
    QCOMPARE(asked, 4);
}

void tst_VOXScheduler::ends()
{
    // A call that is canceled leaves its answer to nobody.
    {
        Site site;
        BusPendingCall poll = site.proxy(0).getMotorPosition();
        VOXVirtualTime::advance(10);
        poll.cancel();
        const BusPendingCall stop = site.proxy(0).ctrlStop();
        VOXVirtualTime::advance(1000);
        QCOMPARE(list(poll.error(), stop.error()), list(BusPendingCall::Canceled, BusPendingCall::NoError));
        QVERIFY(KVR::isAck(VOXMessage(stop.reply())));
        BusPendingCall waiting = site.proxy(0).getMotorPosition();
        BusPendingCall behind = site.proxy(0).getMotorLimits();
        behind.cancel();
        site.sent.clear();
        ended(waiting);
        QCOMPARE(list(behind.error(), site.log()), list(BusPendingCall::Canceled, QByteArray()));
    }
    // Whatever goes first: each call ends once, and all are told from the event loop.
    for (const QByteArray end : {"close", "bus", "scheduler", "device"}) {
        Site site;
        QVector<BusPendingCall> calls;
        int told = 0;
        for (int i = 0; i < 3; ++i) {
            calls += site.proxy(i).getMotorPosition();
            calls.constLast().onFinished(this, [&] { ++told; });
        }
        VOXVirtualTime::advance(10);
        if (end == "close")
            site.host->close();
        else if (end == "bus")
            site.host.reset();
        else if (end == "scheduler")
            site.scheduler.reset();
        else
            delete site.host->device();
        QCOMPARE(told, 0);
        VOXVirtualTime::advance(1000);
        QCOMPARE(told, 3);
        const bool isClosed = end == "close" || end == "device";
        for (const BusPendingCall &call : qAsConst(calls))
            QCOMPARE(call.error(), isClosed ? BusPendingCall::NotOpen : BusPendingCall::Canceled);
        if (end == "close") {
            QVERIFY(site.host->open());
            QCOMPARE(ended(site.proxy(0).getMotorPosition()).error(), BusPendingCall::NoError);
        }
    }
    // A slot may end it all.
    for (const bool isBus : {false, true}) {
        Site site;
        site.proxy(0).getMotorPosition().onFinished(
            this, [&] { isBus ? site.host.reset() : site.scheduler.reset(); });
        const BusPendingCall next = site.proxy(1).getMotorPosition();
        VOXVirtualTime::advance(2000);
        QVERIFY(next.isFinished());
    }
}

void tst_VOXScheduler::property_data()
{
    QTest::addColumn<quint32>("seed");
    const int seeds = qEnvironmentVariableIntValue("VOX_SEEDS");
    for (int seed = 1; seed <= (seeds > 0 ? seeds : 10); ++seed)
        QTest::addRow("%d", seed) << quint32(seed);
}

/// Late, doubled, lost and foreign answers, dead and returning nodes: no value of another node, no jog twice,
/// each call ends once, and a stop starts at most one exchange later.
void tst_VOXScheduler::property()
{
    QFETCH(quint32, seed);
    constexpr int Count = 12;
    constexpr int Rounds = 400;
    Site site(Count);
    std::mt19937 random(seed);
    const auto below = [&](int end) { return static_cast<int>(random() % static_cast<unsigned int>(end)); };
    for (auto &motor : site.motors) {
        motor->setNodeLabel(QByteArray::number(motor->addr(), 16));
        Motor *self = motor.get();
        motor->delayFor = [=, &site, &random](const VOXMessage &message) {
            const unsigned int dice = random() % 100;
            if (dice < 2)
                return -1;
            if (dice < 4)
                QTimer::singleShot(7, self, [=] { self->TB60LVStub::dispatch(message); });
            if (dice < 6)
                site.nodes->write(
                    frameFrom(0x777, "65" + QByteArray("foreign").toHex() + QByteArray(18, '0')).data());
            return dice < 10 ? 150 + int(random() % 250) : 5 + int(random() % 35);
        };
    }
    int wrong = 0;
    int ends = 0;
    int calls = 0;
    VOXScheduler::Limits limits;
    limits.maxLoadPercent = limits.automaticLoadPercent - 5;
    site.scheduler->setLimits(limits);
    site.scheduler->setPollSource([turn = 0u](int *) mutable {
        return std::optional<VOXCall>(
            VOXCall(KVR::findCmd(KVR::GET_NODE_LABEL), VOX::HostAddr, First + ++turn % Count, 0));
    });
    connect(site.scheduler.get(), &VOXScheduler::answered, this,
            [&](VOX::Addr node, const BusMessage &, const BusMessage &reply) {
                const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(reply);
                const bool isWrong = label && label->label != QByteArray::number(node, 16);
                wrong += isWrong;
                m_labels += label && !isWrong;
            });
    QHash<int, int> jogs;
    qint64 worstStop = 0;
    qint64 stopAsked = -1;
    for (int round = 0; round < Rounds; ++round) {
        const int index = below(Count);
        const int dice = below(20);
        KVRMotorProxy proxy(First + unsigned(index), site.scheduler->lane(VOXScheduler::Lane(1 + below(5))));
        BusPendingCall call;
        site.sent.clear();
        if (dice == 0) {
            call = proxy.ctrlStop();
            stopAsked = stopAsked < 0 ? VOXVirtualTime::now() : stopAsked;
        } else if (dice < 4) {
            call = proxy.ctrlMoveOf(KVRMotor::MOVEOF_PULSES_DOWN, quint16(100 + round));
        } else if (dice < 6) {
            call = proxy.ctrlMoveTo(KVRMotor::MOVETO_PERCENT, quint16(below(100)));
        } else {
            call = proxy.getNodeLabel();
        }
        ++calls;
        const QByteArray expected = QByteArray::number(First + unsigned(index), 16);
        call.onFinished(this, [&, call, expected] {
            ++ends;
            const auto label = KVRAnswer::from<KVRAnswer::NodeLabel>(call.reply());
            wrong += label && label->label != expected;
        });
        VOXVirtualTime::advance(below(200));
        for (const Sent &each : qAsConst(site.sent)) {
            if (each.frame.cmd() == KVR::CTRL_MOVEOF)
                ++jogs[each.frame.data().mid(VOXMessage::HeaderLength + 1, 2).toHex().toInt(nullptr, 16)];
            if (each.frame.cmd() == KVR::CTRL_STOP && stopAsked >= 0) {
                worstStop = qMax(worstStop, each.ms - stopAsked);
                stopAsked = -1;
            }
        }
    }
    VOXVirtualTime::advance(240000);
    QCOMPARE(list(wrong, calls - ends), list(0, 0));
    for (const int count : qAsConst(jogs))
        QCOMPARE(count, 1);
    QVERIFY2(worstStop <= 226 + 45 + 5, qPrintable(QString::number(worstStop)));
}

void tst_VOXScheduler::cleanupTestCase()
{
    if (m_labels > 0)
        std::printf("%lld labels came, each from the node that was asked\n", m_labels);
}

QTEST_GUILESS_MAIN(tst_VOXScheduler)
#include "tst_voxscheduler.moc"
