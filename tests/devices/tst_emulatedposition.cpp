#include "devices/emulatedposition.h"

#include <QAbstractEventDispatcher>
#include <QThread>
#include <QtTest>

class tst_EmulatedPosition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moves();
    void arrivesOnce();
    void inMotion();
    void putAside();
    void onAnotherThread();
    void remainingTime();
};

namespace {
struct Shaft : EmulatedPosition
{
    explicit Shaft(unsigned int pulsesPerMinute, int position = 0)
        : EmulatedPosition(0, static_cast<unsigned short>(position))
    {
        setSpeed(pulsesPerMinute);
    }

    /// The interval of its timer, which has to be a precise one; 0 if there is none.
    int timer()
    {
        const auto timers = QAbstractEventDispatcher::instance()->registeredTimers(this);
        return timers.size() == 1 && timers[0].timerType == Qt::PreciseTimer ? timers[0].interval : 0;
    }

    /// Lets a move of a few milliseconds come to its end without anyone who looks.
    void passTime(int ms = 3)
    {
        QElapsedTimer clock;
        clock.start();
        while (clock.elapsed() < ms)
            continue;
    }

    QSignalSpy reached{this, &EmulatedPosition::positionReached};
};
}

void tst_EmulatedPosition::moves()
{
    // Down, up, over the whole scale, and pulse by pulse.
    for (const auto &[from, to] : {std::pair(0, 1000), {1000, 0}, {0, 65535}, {0, 7}}) {
        const int distance = qAbs(to - from);
        Shaft shaft(static_cast<unsigned int>(distance) * 600, from); // for 100 ms
        // The move begins between these two.
        QElapsedTimer earliest;
        earliest.start();
        shaft.setTargetPosition(static_cast<unsigned short>(to));
        QElapsedTimer latest;
        latest.start();
        QCOMPARE(shaft.direction(), to > from ? KVRMotor::DIRECTION_DOWN : KVRMotor::DIRECTION_UP);
        while (shaft.reached.isEmpty()) {
            const qint64 least = qMin<qint64>(latest.elapsed() * distance / 100, distance);
            const int travelled = qAbs(shaft.currentPosition() - from);
            QVERIFY(travelled >= least && travelled <= earliest.elapsed() * distance / 100);
            QVERIFY(to > from ? !shaft.isMovingUp() : !shaft.isMovingDown());
            QVERIFY(travelled == 0 || shaft.isMoving() || !shaft.reached.isEmpty());
            QCoreApplication::processEvents();
        }
        QVERIFY(earliest.elapsed() >= 99);
        QCOMPARE(int(shaft.currentPosition()), to);
        QCOMPARE(shaft.startPos(), shaft.targetPos());
        QVERIFY(shaft.timer() == 0 && shaft.reached.size() == 1);
    }
}

void tst_EmulatedPosition::arrivesOnce()
{
    Shaft shaft(600000);
    shaft.setTargetPosition(100);
    while (shaft.currentPosition() != 100)
        QCOMPARE(shaft.reached.size(), 0);
    QVERIFY(shaft.reached.size() == 1 && shaft.timer() == 0);
    shaft.setTargetPosition(200);
    QVERIFY(shaft.timer() > 0 && shaft.timer() <= 10);
    QVERIFY2(shaft.reached.wait() && shaft.reached.size() == 2, "without queries the timer tells");
    shaft.setTargetPosition(200);
    QVERIFY2(shaft.reached.size() == 3 && shaft.timer() == 0, "it is there already");
    QVERIFY(shaft.direction() == KVRMotor::DIRECTION_NONE && shaft.remainingTime() == 0);
    shaft.setCurrentPosition(200);
    QCOMPARE(shaft.reached.size(), 4);

    // A timer that comes early goes on.
    shaft.setTargetPosition(60000);
    QTimerEvent early(QAbstractEventDispatcher::instance()->registeredTimers(&shaft).constFirst().timerId);
    QCoreApplication::sendEvent(&shaft, &early);
    QVERIFY(shaft.timer() > 5000 && shaft.reached.size() == 4);

    // So many pulses a millisecond that the lower half of their number is 0.
    Shaft fast(65536 * 60000u);
    fast.setTargetPosition(100);
    fast.passTime();
    QVERIFY(fast.currentPosition() == 100 && fast.reached.size() == 1);
    // An arrival that nobody has seen is not told of by what comes next.
    fast.setTargetPosition(50);
    fast.passTime();
    fast.setTargetPosition(20);
    QVERIFY(fast.startPos() == 50 && fast.reached.size() == 1);
    fast.passTime();
    fast.stopMoving();
    QVERIFY(fast.startPos() == 20 && fast.reached.size() == 1);
}

void tst_EmulatedPosition::inMotion()
{
    Shaft shaft(60000);
    shaft.setTargetPosition(60000);
    QTRY_VERIFY(shaft.currentPosition() > 20);
    const int before = shaft.currentPosition();
    QElapsedTimer clock;
    clock.start();
    shaft.setTargetPosition(10);
    const qint64 remaining = shaft.remainingTime();
    QVERIFY(shaft.startPos() >= before && remaining <= shaft.startPos() - 10);
    QVERIFY(remaining >= shaft.startPos() - 10 - clock.elapsed());
    QCOMPARE(shaft.direction(), KVRMotor::DIRECTION_UP);
    shaft.setCurrentPosition(60000);
    QTRY_VERIFY(shaft.isMovingUp());
    QCOMPARE(shaft.targetPos(), quint16(10));
    shaft.stopMoving();
    QCOMPARE(shaft.startPos(), shaft.targetPos());
    QVERIFY(shaft.currentPosition() > 10 && shaft.currentPosition() < 60000 && shaft.timer() == 0);
    QCOMPARE(shaft.reached.size(), 0);
}

void tst_EmulatedPosition::putAside()
{
    Shaft shaft(60000);
    shaft.setCurrentPosition(50);
    QVERIFY2(shaft.reached.wait(), "the shaft carries on to its old target");
    shaft.setTargetPosition(1000);
    shaft.setCurrentPosition(1000);
    QVERIFY2(shaft.timer() == 0 && shaft.reached.size() == 2, "it is there already");
    QCOMPARE(shaft.startPos(), shaft.targetPos());
}

void tst_EmulatedPosition::onAnotherThread()
{
    QThread thread;
    thread.start();
    Shaft shaft(60000);
    shaft.setTargetPosition(60000);
    shaft.passTime(50);
    QThread *const here = shaft.thread();
    shaft.moveToThread(&thread);
    qint64 left = 0;
    const auto lookAndReturn = [&] {
        left = shaft.timer();
        shaft.moveToThread(here);
    };
    QMetaObject::invokeMethod(&shaft, lookAndReturn, Qt::BlockingQueuedConnection);
    QVERIFY2(left > 0 && left <= 59950, "the arrival is put off");
    QTRY_VERIFY(shaft.timer() != 0 && shaft.timer() <= left);
    thread.quit();
    thread.wait();
}

void tst_EmulatedPosition::remainingTime()
{
    // Rounded up, for up to six weeks, in 32 bits; and what is said without a speed.
    const std::tuple<int, unsigned int, qint64> cases[] = {
        {1, 7, 8572}, {65535, 1, 3932100000}, {65535, 400000000, 0}, {100, 0, 65535}};
    for (const auto &[target, speed, remaining] : cases) {
        Shaft shaft(speed);
        QElapsedTimer clock;
        clock.start();
        shaft.setTargetPosition(static_cast<unsigned short>(target));
        const qint64 actual = shaft.remainingTime();
        QVERIFY2(actual <= remaining && actual >= remaining - clock.elapsed(), QByteArray::number(actual));
        QVERIFY2(speed > 8 || !shaft.isMoving(), "the first pulse is not over");
    }
}

QTEST_GUILESS_MAIN(tst_EmulatedPosition)
#include "tst_emulatedposition.moc"
