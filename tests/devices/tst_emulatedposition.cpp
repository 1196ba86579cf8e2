#include "devices/emulatedposition.h"
#include "simulation/voxvirtualtime.h"
#include "support/columns.h"
#include "support/timers.h"

#include <QThread>

class tst_EmulatedPosition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moves();
    void arrivesOnce();
    void inMotion();
    void putAside();
    void remainingTime();
};

namespace {
const VOXVirtualTime virtualTime;

struct Shaft : EmulatedPosition
{
    explicit Shaft(unsigned int pulsesPerMinute, int position = 0)
        : EmulatedPosition(0, static_cast<unsigned short>(position))
    {
        setSpeed(pulsesPerMinute);
    }

    /// The interval of its timer, which has to be a precise one; 0 if there is none.
    int timer() { return intervalsOf(*this).value(0); }
    /// Lets a move come to its end without anyone who looks.
    void passTime(int ms = 3) { QThread::msleep(static_cast<unsigned long>(ms)); }

    QSignalSpy reached{this, &EmulatedPosition::positionReached};
};
}

void tst_EmulatedPosition::moves()
{
    // Down, up, over the whole scale, and pulse by pulse.
    for (const auto &[from, to] : {std::pair(0, 1000), {1000, 0}, {0, 65535}, {0, 7}}) {
        const int distance = to - from;
        Shaft shaft(static_cast<unsigned int>(qAbs(distance)) * 600, from); // for 100 ms
        shaft.setTargetPosition(static_cast<unsigned short>(to));
        QCOMPARE(shaft.direction(), to > from ? KVRMotor::DIRECTION_DOWN : KVRMotor::DIRECTION_UP);
        for (int ms = 0; ms <= 100; ++ms) {
            const int position = from + int(qint64(distance) * ms / 100);
            const bool isMoving = position != from && ms < 100;
            QCOMPARE(list(shaft.currentPosition(), shaft.isMovingDown(), shaft.isMovingUp()),
                     list(position, isMoving && to > from, isMoving && to < from));
            VOXVirtualTime::advance(1);
        }
        QCOMPARE(list(shaft.startPos(), shaft.targetPos(), shaft.timer(), shaft.reached.size()),
                 list(to, to, 0, 1));
    }
}

void tst_EmulatedPosition::arrivesOnce()
{
    Shaft shaft(600000);
    shaft.setTargetPosition(100);
    shaft.passTime(9);
    QCOMPARE(list(shaft.currentPosition(), shaft.reached.size()), list(90, 0));
    shaft.passTime(1);
    QCOMPARE(int(shaft.currentPosition()), 100);
    QCOMPARE(list(shaft.reached.size(), shaft.timer()), list(1, 0));
    shaft.setTargetPosition(200);
    QCOMPARE(shaft.timer(), 10);
    VOXVirtualTime::advance(10);
    QCOMPARE(shaft.reached.size(), 2);
    // It is there already.
    shaft.setTargetPosition(200);
    QCOMPARE(list(shaft.reached.size(), shaft.timer(), shaft.direction(), shaft.remainingTime()),
             list(3, 0, KVRMotor::DIRECTION_NONE, 0));
    shaft.setCurrentPosition(200);
    QCOMPARE(shaft.reached.size(), 4);

    // A timer that comes early goes on.
    shaft.setTargetPosition(60000);
    expire(shaft);
    QCOMPARE(list(shaft.timer(), shaft.reached.size()), list(5980, 4));

    // So many pulses a millisecond that the lower half of their number is 0.
    Shaft fast(65536 * 60000u);
    fast.setTargetPosition(100);
    fast.passTime();
    QCOMPARE(int(fast.currentPosition()), 100);
    QCOMPARE(fast.reached.size(), 1);
    // An arrival that nobody has seen is not told of by what comes next.
    fast.setTargetPosition(50);
    fast.passTime();
    fast.setTargetPosition(20);
    QCOMPARE(list(fast.startPos(), fast.reached.size()), list(50, 1));
    fast.passTime();
    fast.stopMoving();
    QCOMPARE(list(fast.startPos(), fast.reached.size()), list(20, 1));
}

void tst_EmulatedPosition::inMotion()
{
    Shaft shaft(60000);
    shaft.setTargetPosition(60000);
    VOXVirtualTime::advance(21);
    shaft.setTargetPosition(10);
    QCOMPARE(list(shaft.startPos(), shaft.remainingTime(), shaft.direction()),
             list(21, 11, KVRMotor::DIRECTION_UP));
    shaft.setCurrentPosition(60000);
    VOXVirtualTime::advance(5);
    QCOMPARE(list(shaft.isMovingUp(), shaft.currentPosition(), shaft.targetPos()), list(true, 59995, 10));
    shaft.stopMoving();
    VOXVirtualTime::advance(5);
    QCOMPARE(list(shaft.startPos(), shaft.targetPos(), shaft.currentPosition(), shaft.timer(),
                  shaft.reached.size()),
             list(59995, 59995, 59995, 0, 0));
}

void tst_EmulatedPosition::putAside()
{
    Shaft shaft(60000);
    shaft.setCurrentPosition(50);
    VOXVirtualTime::advance(50);
    QCOMPARE(list(shaft.currentPosition(), shaft.reached.size()), list(0, 1)); // at its old target
    shaft.setTargetPosition(1000);
    shaft.setCurrentPosition(1000);
    QCOMPARE(list(shaft.timer(), shaft.reached.size(), shaft.startPos(), shaft.targetPos()),
             list(0, 2, 1000, 1000));
}

void tst_EmulatedPosition::remainingTime()
{
    // Rounded up, for up to six weeks, in 32 bits; and what is said without a speed.
    const std::tuple<int, unsigned int, qint64> cases[] = {
        {1, 7, 8572}, {65535, 1, 3932100000}, {65535, 400000000, 0}, {100, 0, 65535}};
    for (const auto &[target, speed, remaining] : cases) {
        Shaft shaft(speed);
        shaft.setTargetPosition(static_cast<unsigned short>(target));
        // The first pulse is not over.
        QCOMPARE(list(shaft.remainingTime(), shaft.isMoving()), list(remaining, false));
    }
}

QTEST_GUILESS_MAIN(tst_EmulatedPosition)
#include "tst_emulatedposition.moc"
