#include "network/voxscheduler.h"

#include "framework/buspendingcallwatcher.h"
#include "messages/kvranswer.h"
#include "proxies/kvrbcastproxy.h"
#include "support/columns.h"
#include "support/schedulersite.h"
#include "support/timers.h"
#include "support/watching.h"

class tst_VOXScheduler : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void lanesAreBuses();
    void order();
    void theSameAgain();
    void limits();
    void polls();
    void ends();
};

namespace {
BusPendingCall ended(const BusPendingCall &call)
{
    VOXVirtualTime::runUntil([&] { return call.isFinished(); }, 60000);
    return call;
}
}

void tst_VOXScheduler::lanesAreBuses()
{
    SchedulerSite site;
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
    SchedulerSite site(4);
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

void tst_VOXScheduler::theSameAgain()
{
    SchedulerSite site;
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

void tst_VOXScheduler::limits()
{
    SchedulerSite site;
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
    SchedulerSite site(2);
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
        SchedulerSite site;
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
        SchedulerSite site;
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
        SchedulerSite site;
        site.proxy(0).getMotorPosition().onFinished(
            this, [&] { isBus ? site.host.reset() : site.scheduler.reset(); });
        const BusPendingCall next = site.proxy(1).getMotorPosition();
        VOXVirtualTime::advance(2000);
        QVERIFY(next.isFinished());
    }
}

QTEST_GUILESS_MAIN(tst_VOXScheduler)
#include "tst_voxscheduler.moc"
