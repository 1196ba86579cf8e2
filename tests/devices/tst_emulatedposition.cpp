#include "devices/emulatedposition.h"
#include "support/columns.h"

#include <QAbstractEventDispatcher>
#include <QtTest>

class tst_EmulatedPosition : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void moves();
    void arrivesOnce();
    void inMotion();
    void putAside();
    void remainingTime_data();
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

    /// The interval of its timer; 0 if there is none.
    int timer()
    {
        return QAbstractEventDispatcher::instance()->registeredTimers(this).value(0, {0, 0, {}}).interval;
    }

    QSignalSpy reached{this, &EmulatedPosition::positionReached};
};
}

void tst_EmulatedPosition::moves()
{
    // Down, up, and over the whole scale.
    for (const auto &[from, to] : {std::pair(0, 1000), {1000, 0}, {0, 65535}}) {
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
            QVERIFY(travelled >= least && travelled <= (earliest.elapsed() + 1) * distance / 100);
            QVERIFY(to > from ? !shaft.isMovingUp() : !shaft.isMovingDown());
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
}

void tst_EmulatedPosition::inMotion()
{
    Shaft shaft(60000);
    shaft.setTargetPosition(60000);
    QTRY_VERIFY(shaft.currentPosition() > 20);
    const int before = shaft.currentPosition();
    shaft.setTargetPosition(10);
    QVERIFY(shaft.startPos() >= before && shaft.remainingTime() <= shaft.startPos() - 10);
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
    QTRY_VERIFY(shaft.timer() == 0);
    QCOMPARE(shaft.startPos(), shaft.targetPos());
    QCOMPARE(shaft.reached.size(), 1);
}

void tst_EmulatedPosition::remainingTime_data()
{
    const auto row = columns<int, unsigned int, qint64>("target", "speed", "remaining");
    row("is rounded up", 1, 7, 8572);
    row("goes up to six weeks", 65535, 1, 3932100000);
    row("is computed in 32 bits", 65535, 400000000, 0);
    row("stays at 65535 without speed", 100, 0, 65535);
}

void tst_EmulatedPosition::remainingTime()
{
    QFETCH(int, target);
    QFETCH(unsigned int, speed);
    QFETCH(qint64, remaining);
    Shaft shaft(speed);
    QElapsedTimer clock;
    clock.start();
    shaft.setTargetPosition(static_cast<unsigned short>(target));
    const qint64 actual = shaft.remainingTime();
    QVERIFY2(actual <= remaining && actual >= remaining - clock.elapsed(), QByteArray::number(actual));
    QVERIFY2(speed > 8 || !shaft.isMoving(), "the first pulse is not over");
}

QTEST_GUILESS_MAIN(tst_EmulatedPosition)
#include "tst_emulatedposition.moc"
