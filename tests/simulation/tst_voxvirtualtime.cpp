#include "simulation/voxvirtualtime.h"
#include "support/columns.h"

#include <QUdpSocket>

#include <cstdio>
#include <deque>
#include <thread>

/// Time that passes only when a test says so.
class tst_VOXVirtualTime : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void order_data();
    void order();
    void whatWaits_data();
    void whatWaits();
    void timersOfTheirOwnSlots();
    void remainingTimes();
    void otherThreads();
    void realSockets();
};

namespace {
const VOXVirtualTime virtualTime;

using Wait = void (*)(QTimer &alarm);

qint64 realMs()
{
    qint64 ms = 0;
    std::thread([&] { ms = QDeadlineTimer::current().deadline(); }).join();
    return ms;
}
}
Q_DECLARE_METATYPE(Wait)

void tst_VOXVirtualTime::order_data()
{
    const auto row = columns<QList<int>, int, QString>("intervals", "ms", "notes");
    row("not before its time", {10}, 9, "");
    row("again and again", {10}, 30, "a10 a20 a30");
    row("by their times", {30, 10, 20}, 30, "b10 c20 b20 a30 b30");
    row("at one time in the order of their starts", {7, 14, 7}, 14, "a7 c7 b14 a14 c14");
    row("one of 0 ms at once, and once a millisecond", {0}, 3, "a0 a1 a2 a3");
    row("while no time passes", {0, 1}, 0, "a0");
    row("a day", {86400000}, 86400000, "a86400000");
}

void tst_VOXVirtualTime::order()
{
    QFETCH(QList<int>, intervals);
    QFETCH(int, ms);
    for (const Qt::TimerType type : {Qt::PreciseTimer, Qt::CoarseTimer, Qt::VeryCoarseTimer}) {
        QStringList notes;
        const qint64 start = VOXVirtualTime::now();
        std::deque<QTimer> timers;
        for (const int interval : intervals) {
            const QChar name('a' + int(timers.size()));
            QTimer &timer = timers.emplace_back();
            timer.setTimerType(type);
            timer.callOnTimeout(
                [&, name] { notes += name + QString::number(VOXVirtualTime::now() - start); });
            timer.start(interval);
        }
        VOXVirtualTime::advance(ms);
        QTEST(notes.join(' '), "notes");
    }
}

void tst_VOXVirtualTime::whatWaits_data()
{
    // A timer goes off after 4 s, and another one of 0 ms all the time.
    const auto row = columns<Wait, int>("wait", "ms");
    row(
        "for a signal", [](QTimer &alarm) { QSignalSpy(&alarm, &QTimer::timeout).wait(90000); }, 4000);
    row(
        "in vain", [](QTimer &alarm) { QSignalSpy(&alarm, &QTimer::destroyed).wait(90000); }, 90000);
    row(
        "for a value", [](QTimer &alarm) { QTRY_VERIFY(!alarm.isActive()); }, 4050);
    row(
        "in qWait()", [](QTimer &) { QTest::qWait(90000); }, 90000);
    row(
        "asleep", [](QTimer &) { std::this_thread::sleep_for(std::chrono::minutes(1)); }, 60000);
    row(
        "asleep, by Qt", [](QTimer &) { QThread::msleep(90000); }, 90000);
    row(
        "until a condition holds",
        [](QTimer &alarm) { QVERIFY(VOXVirtualTime::runUntil([&] { return !alarm.isActive(); }, 9000)); },
        4000);
    row(
        "until none holds", [](QTimer &) { QVERIFY(!VOXVirtualTime::runUntil([] { return false; }, 9000)); },
        9000);
}

// All clocks of this thread agree, that of another thread and the date stay real.
void tst_VOXVirtualTime::whatWaits()
{
    QFETCH(Wait, wait);
    QFETCH(int, ms);
    QTimer alarm, idle;
    alarm.setSingleShot(true);
    alarm.start(4000);
    idle.start(0);
    const qint64 date = QDateTime::currentMSecsSinceEpoch(), real = realMs();
    const qint64 before = VOXVirtualTime::now(), deadline = QDeadlineTimer::current().deadline();
    const auto steady = std::chrono::steady_clock::now();
    QElapsedTimer clock;
    clock.start();
    wait(alarm);
    const auto steadyMs = (std::chrono::steady_clock::now() - steady) / std::chrono::milliseconds(1);
    QCOMPARE(list(VOXVirtualTime::now() - before, QDeadlineTimer::current().deadline() - deadline,
                  clock.elapsed(), steadyMs),
             list(ms, ms, ms, ms));
    QVERIFY2(realMs() - real < 4000, "it waits");
    QVERIFY2(QDateTime::currentMSecsSinceEpoch() - date < 4000, "the date is not real");
    QVERIFY2(deadline - before <= real, "time has not begun at the real one");
}

// A timer does not go off inside of its own slot, and time does not go back to where an outer advance() ends.
void tst_VOXVirtualTime::timersOfTheirOwnSlots()
{
    QTimer timer;
    int deepest = 0, depth = 0, times = 0;
    timer.callOnTimeout([&] {
        deepest = qMax(deepest, ++depth);
        if (++times == 1)
            QTest::qWait(100);
        if (times == 2)
            VOXVirtualTime::advance(100);
        --depth;
    });
    timer.start(30);
    const qint64 before = VOXVirtualTime::now();
    VOXVirtualTime::advance(200);
    QCOMPARE(list(deepest, times, VOXVirtualTime::now() - before), list(1, 3, 230));
}

void tst_VOXVirtualTime::remainingTimes()
{
    QTimer timer;
    timer.start(100);
    std::this_thread::sleep_for(std::chrono::microseconds(30500));
    const int rest = timer.remainingTime();
    timer.stop();
    QCOMPARE(list(rest, timer.remainingTime()), list(70, -1));
}

// What one posts is waited for; it sleeps in real time.
void tst_VOXVirtualTime::otherThreads()
{
    QEventLoop loop;
    std::thread other([&] {
        const qint64 before = QDeadlineTimer::current().deadline();
        QThread::msleep(20);
        const qint64 slept = QDeadlineTimer::current().deadline() - before;
        QMetaObject::invokeMethod(
            &loop, [&loop, slept] { loop.exit(int(slept)); }, Qt::QueuedConnection);
    });
    const int slept = loop.exec();
    other.join();
    QVERIFY2(slept >= 20, QByteArray::number(slept));
}

// This program once more, which that ends.
void tst_VOXVirtualTime::realSockets()
{
    if (qEnvironmentVariableIsSet("VOX_SOCKET")) {
        QUdpSocket().bind(QHostAddress(QHostAddress::LocalHost), 0);
        return;
    }
    const QString self = QCoreApplication::applicationFilePath();
    FILE *const child = ::popen(qPrintable("VOX_SOCKET=1 " + self + " realSockets 2>&1"), "r");
    QByteArray said(10000, '\0');
    said.resize(int(std::fread(said.data(), 1, std::size_t(said.size()), child)));
    QVERIFY(::pclose(child) != 0);
    QVERIFY2(said.contains("has no place in virtual time: QNativeSocketEngine of QUdpSocket 127.0.0.1:"),
             said);
}

QTEST_GUILESS_MAIN(tst_VOXVirtualTime)
#include "tst_voxvirtualtime.moc"
