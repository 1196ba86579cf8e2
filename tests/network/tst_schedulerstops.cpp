#include "proxies/hrmv2motorproxy.h"
#include "proxies/kvrbcastproxy.h"
#include "proxies/kvrgroupproxy.h"
#include "support/columns.h"
#include "support/schedulersite.h"

/// Stops, the moves that they take back, and what is sent again.
class tst_SchedulerStops : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void stopsTakeMovesBack();
    void stopsAreNeverLate_data();
    void stopsAreNeverLate();
    void repeats_data();
    void repeats();
    void lateAcknowledgements();
};

namespace {
constexpr unsigned int Group = 0x000a01;
}

void tst_SchedulerStops::stopsTakeMovesBack()
{
    SchedulerSite site(4);
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

void tst_SchedulerStops::stopsAreNeverLate_data()
{
    const auto row = columns<QByteArray, int>("before", "mostMs");
    row("behind a query", "query", 113 + 5);
    row("behind a dead node", "dead", 226 + 5);
    row("behind a group move", "group", 113 + 5);
    row("behind a discovery", "discovery", 113 + 5);
}

void tst_SchedulerStops::stopsAreNeverLate()
{
    QFETCH(QByteArray, before);
    QFETCH(int, mostMs);
    for (int delayMs = 0; delayMs < 300; delayMs += 7) {
        SchedulerSite site;
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

void tst_SchedulerStops::repeats_data()
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

void tst_SchedulerStops::repeats()
{
    QFETCH(QByteArray, call);
    QFETCH(bool, isBusy);
    QFETCH(QByteArray, log);
    SchedulerSite site;
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

void tst_SchedulerStops::lateAcknowledgements()
{
    // The move's ACK comes so late that it ends the stop, and the motor has not heard the stop.
    SchedulerSite site;
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

QTEST_GUILESS_MAIN(tst_SchedulerStops)
#include "tst_schedulerstops.moc"
