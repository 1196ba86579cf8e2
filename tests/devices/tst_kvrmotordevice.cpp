#include "devices/tb60lvstub.h"
#include "support/columns.h"
#include "support/wire.h"

class tst_KVRMotorDevice : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void conversations_data();
    void conversations();
    void effects_data();
    void effects();
    void inMotion();
    void othersFrames();
    void intermediatePositions();
};

namespace {
const QByteArray Limits("11 02 00 1027|11 02 01 0000"); // 10000 pulses of travel
const QByteArray Near("11 02 00 9606|11 02 01 0000"); // as few as possible
const QByteArray Locked = Limits + "|06 00 0000 05";
const QByteArray LockedAtEnd = Limits + "|06 02 0000 05"; // which it has reached by itself
const QByteArray Speeds = Limits + "|13 0C 18 0F"; // up, down and slow
const QByteArray Moving = Limits + "|03 00 0000 FF";

struct Net : Wire
{
    TB60LVStub motor{0x123456, &network};
    /// What the motor tells: state, direction, source, cause.
    QByteArrayList statuses;

    /// The motor at @p position, two of its intermediate positions set, after these requests.
    explicit Net(const QByteArray &requests, int position = 0, unsigned int timeScale = 1)
    {
        motor.setMotorIP(1, 2000);
        motor.setMotorIP(2, 8000);
        motor.setTimeScale(timeScale);
        if (position != 0) {
            motor.setPositionPulses(static_cast<unsigned short>(position));
            say("02 FF");
        }
        for (const QByteArray &request : requests.split('|')) {
            if (!request.isEmpty())
                QCOMPARE(say(request), hex("7F"));
        }
        if (requests == Moving)
            QTRY_VERIFY(motor.isMoving());
        else
            settle();
        QObject::connect(&motor, &KVRMotorDevice::statusChanged, &motor, [this](const KVRMotor::Status &s) {
            const QString status = QStringLiteral("%1 %2 %3 %4");
            statuses.append(status.arg(s.state).arg(s.direction).arg(s.source).arg(s.cause).toLatin1());
        });
    }

    QByteArray say(const QByteArray &request)
    {
        return ask(frame(request, motor.addr(true), VOXMessage::AckFlag));
    }

    void settle()
    {
        QSignalSpy changed(&motor, &KVRMotorDevice::statusChanged);
        while (motor.startPos() != motor.targetPos() && changed.wait())
            continue;
    }
};
}

void tst_KVRMotorDevice::conversations_data()
{
    const auto row = columns<int, QByteArray, QByteArray>("position", "before", "conversation");
    row("a byte less is too short, limits or not", 0, "",
        "01 00 0A > 6F 11, 02 > 6F 11, 03 00 0000 > 6F 11, 04 02 F401 > 6F 11, 06 00 0000 > 6F 11,"
        "11 02 00 10 > 6F 11");
    row("functions, speeds and limits have their numbers", 5000, Limits,
        "01 03 0A 00 > 6F 10, 01 00 0A 03 > 6F 10, 03 05 0000 FF > 6F 10, 04 08 F401 FF > 6F 10,"
        "06 08 0000 05 > 6F 10, 11 03 00 0000 > 6F 10, 11 06 00 0000 > 6F 10, 11 02 02 0000 > 6F 10");
    row("without an up limit there are no targets", 0, "11 02 00 1027",
        "03 03 0A00 FF > 6F 22, 04 02 0A00 FF > 6F 22, 06 05 0000 00 > 6F 22, 11 04 01 6400 > 6F 22");
    row("without a down limit there are no targets", 0, "11 02 01 0000",
        "03 03 0A00 FF > 6F 22, 04 02 0A00 FF > 6F 22, 06 05 0000 00 > 6F 22, 11 04 00 6400 > 6F 22");
    row("limits come before the lock and its priority", 0, Locked + "|11 00 01 0000",
        "03 00 0000 FF > 6F 22, 04 02 F401 FF > 6F 22, 06 00 0000 04 > 6F 22");
    row("the lock comes before the function", 0, Locked,
        "01 01 64 00 > 6F 20, 03 05 0000 FF > 6F 20, 04 08 F401 FF > 6F 20, 05 > 6F 20,"
        "06 08 0000 04 > 6F 2A");
    row("an unset position is no target", 5000, Limits,
        "03 02 0300 FF > 6F 23, 03 02 1100 FF > 6F 23, 06 04 0300 05 > 6F 23, 06 04 1100 05 > 6F 23");
    row("nothing is set below the last position", 8000, Limits, "04 00 0000 FF > 6F 28");
    row("nothing is set above the first position", 2000, Limits, "04 01 0000 FF > 6F 28");
    row("jogs and shifts go from 10 to 1000 pulses, also by time; a roller does not tilt", 5000, Limits,
        "04 02 0900 FF > 6F 10, 04 03 E903 FF > 6F 10, 04 04 0900 FF > 6F 10, 04 05 EE00 FF > 6F 10,"
        "11 04 00 0900 > 6F 10, 11 05 01 E903 > 6F 10, 04 06 0A00 FF > 6F 25, 04 07 0A00 FF > 6F 25");
    row("limits have ranges", 1685, "",
        "11 02 00 9506 > 6F 21, 11 02 00 00FD > 6F 21, 11 01 00 0000 > 6F 24, 11 02 01 0100 > 6F 21,"
        "21 > 31 FFFF FFFF, 11 02 00 9606 > 7F, 21 > 31 FFFF 9606, 11 02 00 FFFC > 7F, 11 02 01 0000 > 7F,"
        "21 > 31 0000 FFFC, 11 00 00 0000 > 7F, 11 00 00 0000 > 7F, 21 > 31 0000 FFFF");
    row("a position past the limit is not kept", 65000, Limits,
        "15 01 01 0000 > 6F 24, 15 02 01 1127 > 6F 21");
    row("a position at the limit is kept", 10000, Limits, "15 01 01 0000 > 7F, 25 01 > 35 01 1027 64");
    row("settings need no answer", 0, "",
        "13 0A 0B 0C > 7F, 12 01 > 7F, 22 > 32 01, 16 01 05 > 7F, 26 > 36 01 000001 05, 14 > 6F 25");
    row("the position is told with limits only", 2000, "11 02 00 1027", "0C > 0D FFFF FF FF FF");
    row("percent are rounded down, too", 5049, Limits, "0C > 0D B913 32 FF FF");
    row("percent are rounded up, too", 5050, Limits, "0C > 0D BA13 33 FF FF");
    row("3 pulses off is at the set position", 2003, Limits, "0C > 0D D307 14 FF 01");
    row("who unlocks needs the priority of who locked", 0, Limits,
        "06 04 0300 09 > 6F 23, 06 00 0000 05 > 7F, 0E > 0F 03 00 01 01, 06 01 0000 04 > 6F 2A,"
        "06 00 0000 05 > 7F, 06 08 0000 09 > 6F 10, 06 00 0000 06 > 7F, 06 05 0000 05 > 6F 2A,"
        "06 05 0000 06 > 7F, 03 01 0000 FF > 7F, 06 00 0000 00 > 7F, 03 01 0000 FF > 6F 20,"
        "06 00 0000 80 > 7F, 06 05 0000 7F > 6F 2A, 06 05 0000 FF > 7F, 06 00 0000 00 > 7F");
}

void tst_KVRMotorDevice::conversations()
{
    QFETCH(int, position);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, conversation);
    for (const unsigned char flags : {0x80, 0}) {
        Net net(before, position);
        // A motor refuses and acknowledges in silence, unless it is asked to.
        const QByteArrayList silenced = flags ? QByteArrayList() : QByteArrayList{"6F", "7F"};
        QCOMPARE(net.mismatch(conversation, net.motor.addr(true), flags, silenced), QByteArray());
        QVERIFY2(net.statuses.isEmpty() || conversation.contains("7F"), "a refusal has changed the status");
        QCOMPARE(net.motor.startPos(), net.motor.targetPos());
    }
}

// What comes after: the statuses, where the motor comes to rest, its limits and intermediate positions.
void tst_KVRMotorDevice::effects_data()
{
    const auto add =
        columns<int, QByteArray, QByteArray, QByteArray>("position", "before", "request", "after");
    const auto row = [&](const char *name, int position, const QByteArray &before, const QByteArray &request,
                         const char *after) {
        const QByteArray command = VOX::toString(frame(request, 0).cmd()).toLatin1();
        add(command + ": " + name, position, before, request, after);
    };
    row("a second up", 1000, "", "01 01 64 00", "1 1 1 1|0 1 0 0 @ 298");
    row("up past 0 wraps", 100, Limits, "01 01 64 00", "1 0 1 1|0 0 0 0 @ 64934");
    row("down past 65535 wraps", 65000, "", "01 00 64 00", "@ 166");
    row("no duration is 2550 ms", 1000, "", "01 00 00 00", "@ 2791");
    row("in the middle the up limit is near", 5000, Limits, "01 02 64 00", "@ 0");
    row("past the middle the down limit is nearer", 5001, Limits, "01 02 64 00", "@ 10000");
    row("a lock refuses a move without a sign", 0, LockedAtEnd, "01 01 64 00", " @ 10000");
    row("a lock refuses a move-to", 0, LockedAtEnd, "03 01 0000 FF", "3 0 1 1 @ 10000");
    row("a locked motor can be stopped", 0, LockedAtEnd, "02 FF", "3 0 1 1 @ 10000");
    row("a wink does not end", 5000, Limits, "05", "1 255 1 2 @ 5000");
    row("a stop ends a wink", 5000, Limits + "|05", "02 FF", "0 255 1 1 @ 5000");

    // At how many rounds per minute it goes there.
    row("a move-to down", 900, Speeds, "03 00 0000 FF", "# 24 @ 10000");
    row("a move-to up", 900, Speeds, "03 01 0000 FF", "# 12 @ 0");
    row("a move-to nowhere", 900, Speeds, "03 03 8403 FF", "# 24 @ 900");
    row("a second up at the down speed", 900, Speeds, "01 01 64 01", "# 24 @ 226");
    row("a second down at the up speed", 900, Speeds, "01 00 64 00", "# 12 @ 1237");
    row("a second down at the slow speed", 900, Speeds, "01 00 64 02", "# 15 @ 1321");
    row("a timed jog is as long as a slow one", 900, Speeds, "04 04 C800 FF", "# 24 @ 1743");
    row("a jog past the end is slow", 900, Speeds, "04 03 E803 FF", "# 15 @ 0");

    row("to the down limit", 5000, Limits, "03 00 0000 FF", "1 0 1 1|0 0 0 0 @ 10000");
    row("to the up limit", 5000, Limits, "03 01 0000 FF", "1 1 1 1|0 1 0 0 @ 0");
    row("to where it stands", 5000, Limits, "03 03 8813 FF", "1 255 1 1|0 255 0 0 @ 5000");
    row("to a set position, by the low byte", 5000, Limits, "03 02 0201 FF", "@ 8000");
    row("to pulses past the limit", 5000, Limits, "03 03 60EA FF", "@ 60000");
    row("to a percentage, rounded down", 0, Near, "03 04 1F00 FF", "@ 522");
    row("to a percentage of two bytes", 0, Near, "03 04 2C01 FF", "@ 5058");
    row("to the next position down", 2000, Limits, "04 00 0000 FF", "@ 8000");
    row("to the next position up", 8001, Limits, "04 01 0000 FF", "@ 8000");
    row("a jog down to the limit", 9000, Limits, "04 02 E803 FF", "1 0 1 1|0 0 0 0 @ 10000");
    row("a jog down past it is the motor's own", 9001, Limits, "04 02 E803 FF", "1 0 0 1|0 0 0 0 @ 10000");
    row("a jog up to the limit", 1000, Limits, "04 03 E803 FF", "1 1 1 1|0 1 0 0 @ 0");
    row("a jog up past it is the motor's own", 999, Limits, "04 03 E803 FF", "1 1 0 1|0 1 0 0 @ 0");
    row("a jog of 100 ms at the slow speed", 5000, Limits, "04 04 0A00 FF", "@ 5042");
    row("a jog of 2370 ms is not too far", 5000, Limits, "04 05 ED00 FF", "@ 4002");

    row("a lock here", 5000, Limits, "06 00 0000 05", "3 0 1 1 @ 5000");
    row("a lock at the up limit", 5000, Limits, "06 01 0000 05", "1 1 1 1|3 1 0 0 @ 0");
    row("a lock where it stands", 5000, Limits, "06 06 8813 00", "1 255 1 1|3 255 0 0 @ 5000");
    row("a lock after the move, at rest", 5000, Limits, "06 03 0000 05", "3 0 1 1 @ 5000");
    row("a lock at a set position, by the low byte", 5000, Limits, "06 04 0201 00", "@ 8000");
    row("a lock at a percentage, by the low byte", 5000, Limits, "06 07 2101 00", "@ 3300");
    row("a released motor is stopped", 5000, Locked, "06 05 0000 05", "0 0 1 1 @ 5000");
    row("a release of nothing", 5000, Limits, "06 05 0000 05", " @ 5000");

    row("the down limit here", 5000, "", "11 01 00 0000", " @ 5000 65535 5000 2000 8000");
    row("the up limit here, of none before", 3000, "11 02 00 1027", "11 01 01 0000",
        " @ 0 0 7000 65535 5000");
    row("the down limit down", 5000, Limits, "11 04 00 6400", " @ 5000 0 10100 2000 8000");
    row("the down limit up, too near", 1500, Near, "11 05 00 0A00", " @ 1500 0 1686 2000 8000");
    row("the up limit here is the new 0", 3000, Limits, "11 01 01 0000", " @ 0 0 7000 65535 5000");
    row("the up limit here, too near", 9000, Limits, "11 01 01 0000", " @ 9000 0 10000 2000 8000");
    row("the up limit down", 3000, Limits, "11 04 01 E803", " @ 2000 0 9000 1000 7000");
    row("the up limit up", 3000, Limits, "11 05 01 E803", " @ 4000 0 11000 3000 9000");
    row("the up limit down, too near", 1500, Near, "11 04 01 0A00", " @ 1500 0 1686 2000 8000");
    row("the up limit deleted", 5000, Limits, "11 00 01 0000", " @ 5000 65535 10000 2000 8000");
}

void tst_KVRMotorDevice::effects()
{
    QFETCH(int, position);
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, request);
    QFETCH(QByteArray, after);
    Net net(before, position, 1000);
    net.say(request);
    net.settle();
    const auto *shaft = net.motor.findChild<EmulatedPosition *>();
    QByteArray actual =
        net.statuses.join('|') + "# " + QByteArray::number(shaft->speed() / 1686 / 1000) + " @ ";
    for (const int value : {net.motor.positionPulses(), net.motor.upLimit(), net.motor.downLimit(),
                            net.motor.motorIP(1), net.motor.motorIP(2)})
        actual += QByteArray::number(value) + ' ';
    if (after.startsWith('@') || after.startsWith('#'))
        actual.remove(0, actual.indexOf(after[0]));
    else
        actual.remove(actual.indexOf('#'), actual.indexOf('@') - actual.indexOf('#') - 1);
    QVERIFY2(actual.startsWith(after + ' '), actual);
    QVERIFY2(net.motor.motorIP(3) == 65535, "an unset position has moved");
}

void tst_KVRMotorDevice::inMotion()
{
    for (const auto &[request, status] : {std::pair("02 FF", "0 0 1 1"), {"06 00 0000 05", "3 0 1 1"}}) {
        Net stopped(Moving);
        QCOMPARE(stopped.say("11 02 00 1027"), hex("6F 26"));
        QCOMPARE(stopped.say(request), hex("7F"));
        QCOMPARE(stopped.statuses, QByteArrayList{status});
        const int position = stopped.motor.positionPulses();
        QCOMPARE(list(qBound(1, position, 9999), stopped.motor.startPos()),
                 list(position, stopped.motor.targetPos()));
    }

    Net locked(Moving);
    for (const char *request : {"06 03 0000 05", "06 05 0000 05", "06 03 0000 05"})
        QCOMPARE(locked.say(request), hex("7F"));
    QCOMPARE(locked.statuses, QByteArrayList());
    locked.motor.setPositionPulses(9990);
    QTRY_COMPARE(locked.statuses, QByteArrayList{"3 0 0 0"});

    Net put(Moving);
    put.say("05");
    QCOMPARE(list(put.motor.isMoving(), put.motor.targetPos()), list(true, 10000)); // a wink stops nothing
    put.motor.setPositionPulses(10000);
    put.say("03 01 0000 FF");
    put.motor.restAt(77);
    QCOMPARE(put.statuses.join('|'), QByteArray("1 255 1 2|0 255 0 0|1 1 1 1|0 1 0 0"));
    QCOMPARE(put.motor.positionPulses(), quint16(77));

    // A hand on the local switch, which the lock of its input holds, and that of the network does not.
    Net local("", 5000);
    QVERIFY2(!local.motor.turnSwitch(1, KVRMotor::DIRECTION_UP), "there are no limits");
    local.motor.setLimits(0, 10000);
    local.motor.setNetworkLock(Lock(0, VOX::LOCKED, 0));
    QVERIFY(local.motor.turnSwitch(1, KVRMotor::DIRECTION_DOWN));
    QVERIFY(local.motor.targetPos() == 10000);
    QVERIFY(local.motor.turnSwitch(1, KVRMotor::DIRECTION_UP));
    QVERIFY(local.motor.targetPos() == 0);
    local.motor.setDCTLock(1, Lock(0, VOX::LOCKED, 0));
    QVERIFY(!local.motor.turnSwitch(1, KVRMotor::DIRECTION_NONE));
    QVERIFY(local.motor.targetPos() == 0);
    QVERIFY(local.motor.turnSwitch(2, KVRMotor::DIRECTION_NONE));
    QVERIFY(local.motor.targetPos() > 0);
    QCOMPARE(local.statuses, (QByteArrayList{"3 0 1 1", "1 0 0 0", "1 1 0 0", "3 1 0 0"}));

    // The direction is told from where the move began.
    Net returned(Moving);
    returned.say("03 01 0000 FF");
    QTRY_COMPARE(returned.statuses, (QByteArrayList{"1 255 1 1", "0 255 0 0"}));
    QCOMPARE(returned.motor.positionPulses(), quint16(0));

    // In the first pulse a motor does not count as moving; then the origin goes past all of the way.
    Net shifted(Limits, 0, 0);
    shifted.say("03 03 F401 FF");
    QCOMPARE(shifted.say("11 04 01 E803"), hex("7F"));
    QCOMPARE(shifted.statuses, (QByteArrayList{"1 0 1 1", "0 0 0 0"}));

    // Who answers a status by another command has the last word.
    Net refused(Limits);
    connect(&refused.motor, &KVRMotorDevice::statusChanged, &refused.motor, [&](const KVRMotor::Status &s) {
        if (s.state == KVRMotor::STATE_RUNNING && s.direction == KVRMotor::DIRECTION_DOWN)
            refused.motor.ctrlStopReply(frame("02 FF", 0x123456));
    });
    refused.say("03 00 0000 FF");
    QCOMPARE(refused.statuses, (QByteArrayList{"1 0 1 1", "0 0 1 1"}));
    QCOMPARE(refused.motor.startPos(), refused.motor.targetPos());

    Net accelerated(Limits);
    accelerated.say("01 00 FF 02");
    QTRY_VERIFY(accelerated.motor.positionPulses() >= 100);
    QElapsedTimer clock;
    clock.start();
    const int before = accelerated.motor.positionPulses();
    accelerated.say("03 00 0000 FF");
    const qint64 travelled = accelerated.motor.startPos() - before;
    QCOMPARE(travelled, qBound(qint64(0), travelled, (clock.elapsed() + 1) * 1686 * 15 / 60000 + 1));
}

// Of other products, of the standard commands, and while it is deaf.
void tst_KVRMotorDevice::othersFrames()
{
    Net net("");
    QCOMPARE(net.ask(frame("0E", 0x123456)), hex("0F 00 00 00 00"));
    net.motor.setGroupAddr(3, 0x00a001);
    net.ask(groupFrame("05", 0x0200a001));
    QCOMPARE(net.statuses.size(), 0);
    net.ask(groupFrame("05", 0x00a001));
    QCOMPARE(net.statuses.size(), 1);
    net.motor.addCustomReply(KVR::GET_NODE_LABEL, frame("65 01", HostAddr));
    net.motor.addCustomReply(static_cast<KVR::Cmd>(KVR::GET_MOTOR_STATUS), frame("65 02", HostAddr));
    QTest::ignoreMessage(QtWarningMsg, "[KVRDevice]: unknown cmd(0B)");
    QCOMPARE(net.mismatch("45 > 65 01, 0E > 0F 01 FF 01 02, 0B > 6F 10, 56 FF 00 FF 0000 01 FF >, 0E >, 45 >,"
                          "02 FF >",
                          0x123456, 0, {}),
             QByteArray());
}

void tst_KVRMotorDevice::intermediatePositions()
{
    TB60LVStub motor(1, nullptr);
    QCOMPARE(InOrder({motor.setMotorIP(1, 2000), motor.setMotorIP(16, 8000), motor.setMotorIP(3, 2003),
                      motor.setMotorIP(0, 1), motor.setMotorIP(17, 1)}),
             InOrder({true, true, true, false, false}));
    const auto next = [&] {
        return list(motor.findNextMotorIP(2000, KVRMotor::DIRECTION_DOWN),
                    motor.findNextMotorIP(65535, KVRMotor::DIRECTION_UP));
    };
    // Unset slots take no part.
    QCOMPARE(list(motor.findMotorIP(2003), motor.findMotorIP(2004), motor.findMotorIP(1996),
                  motor.findMotorIP(0xfffc)),
             list(1, 3, 255, 2));
    QCOMPARE(next(), list(3, 16));
    // Of two at one place it is the first.
    motor.setMotorIP(2, 2003);
    QCOMPARE(next(), list(2, 16));
    for (const auto &[index, position] : {std::pair(2, 65535), {1, 65535}, {3, 65535}, {16, 0}})
        QVERIFY(motor.setMotorIP(uchar(index), ushort(position)));
    QCOMPARE(next(), list(255, 16));
    QCOMPARE(list(motor.toPct(5000), motor.toPulses(50)), list(255, 65535));
}

QTEST_GUILESS_MAIN(tst_KVRMotorDevice)
#include "tst_kvrmotordevice.moc"
