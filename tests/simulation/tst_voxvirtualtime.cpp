#include "simulation/voxvirtualtime.h"
#include "support/columns.h"

#include <QUdpSocket>

#include <cstdio>
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
    void untilACondition();
    void insideOfItself();
    void timersOfTheirOwnSlots();
    void remainingTimes();
    void otherClocks();
    void otherThreads();
    void realSockets();
};

namespace {
const VOXVirtualTime virtualTime;

/// Notes when it goes off.
struct Alarm : QTimer
{
    Alarm(QStringList &notes, const QString &name, int ms, Qt::TimerType kind = Qt::CoarseTimer)
    {
        connect(this, &QTimer::timeout, this, [&notes, name, start = VOXVirtualTime::now()] {
            notes += name + QString::number(VOXVirtualTime::now() - start);
        });
        setTimerType(kind);
        start(ms);
    }
};

/// What another thread says.
template <typename Function>
auto elsewhere(const Function &function)
{
    decltype(function()) result{};
    std::thread([&] { result = function(); }).join();
    return result;
}

qint64 realMs()
{
    return elsewhere([] { return QDeadlineTimer::current().deadline(); });
}
}

void tst_VOXVirtualTime::order_data()
{
    const auto row = columns<QList<int>, int, QString>("intervals", "ms", "notes");
    row("nothing before its time", {10}, 9, "");
    row("at its time", {10}, 10, "a10");
    row("again and again", {10}, 35, "a10 a20 a30");
    row("by their times", {30, 10, 20}, 30, "b10 c20 b20 a30 b30");
    row("at one time in the order of their starts", {7, 14, 7}, 14, "a7 c7 b14 a14 c14");
    row("one of 0 ms at once, and once a millisecond", {0}, 3, "a0 a1 a2 a3");
    row("no time at all", {0, 1}, 0, "a0");
    row("a month", {2000000000}, 2000000000, "a2000000000");
}

void tst_VOXVirtualTime::order()
{
    QFETCH(QList<int>, intervals);
    QFETCH(int, ms);
    for (const Qt::TimerType type : {Qt::PreciseTimer, Qt::CoarseTimer, Qt::VeryCoarseTimer}) {
        QStringList notes;
        std::vector<std::unique_ptr<Alarm>> alarms;
        for (const int interval : intervals)
            alarms.push_back(
                std::make_unique<Alarm>(notes, QString(QChar('a' + int(alarms.size()))), interval, type));
        VOXVirtualTime::advance(ms);
        QTEST(notes.join(' '), "notes");
    }
}

using Wait = std::function<void()>;
Q_DECLARE_METATYPE(Wait)

void tst_VOXVirtualTime::whatWaits_data()
{
    const auto row = columns<Wait, int>("wait", "ms");
    row(
        "for a signal that comes",
        [] {
            QTimer timer;
            timer.start(70000);
            QVERIFY(QSignalSpy(&timer, &QTimer::timeout).wait(100000));
        },
        70000);
    row(
        "for one that does not",
        [] {
            QTimer timer;
            QVERIFY(!QSignalSpy(&timer, &QTimer::timeout).wait(100000));
        },
        100000);
    row(
        "for a value",
        [] {
            bool isDone = false;
            QTimer::singleShot(4000, [&] { isDone = true; });
            QTRY_VERIFY(isDone);
        },
        4050);
    row(
        "for a value, beside a timer of 0 ms",
        [] {
            QTimer idle;
            idle.start(0);
            bool isDone = false;
            QTimer::singleShot(4000, [&] { isDone = true; });
            QTRY_VERIFY(isDone);
        },
        4050);
    row(
        "in an event loop, beside a timer of 0 ms",
        [] {
            QTimer idle;
            idle.start(0);
            QEventLoop loop;
            QTimer::singleShot(4000, &loop, &QEventLoop::quit);
            loop.exec();
        },
        4000);
    row(
        "asleep, in Qt", [] { QThread::msleep(60000); }, 60000);
    row(
        "asleep", [] { std::this_thread::sleep_for(std::chrono::minutes(1)); }, 60000);
    row(
        "with qWait", [] { QTest::qWait(60000); }, 60000);
}

void tst_VOXVirtualTime::whatWaits()
{
    QFETCH(Wait, wait);
    const qint64 before = VOXVirtualTime::now(), realBefore = realMs();
    wait();
    QTEST(int(VOXVirtualTime::now() - before), "ms");
    QVERIFY(realMs() - realBefore < 4000);
}

void tst_VOXVirtualTime::untilACondition()
{
    QStringList notes;
    const Alarm alarm(notes, "a", 10);
    QVERIFY(VOXVirtualTime::runUntil([&] { return notes.size() == 3; }, 1000));
    QCOMPARE(notes.join(' '), "a10 a20 a30");
    QVERIFY(!VOXVirtualTime::runUntil([&] { return notes.size() == 9; }, 59));
    QCOMPARE(notes.constLast(), "a80");
}

// The inner one passes the end of the outer one; time does not go back to it.
void tst_VOXVirtualTime::insideOfItself()
{
    const qint64 before = VOXVirtualTime::now();
    QTimer::singleShot(10, [] { VOXVirtualTime::advance(500); });
    VOXVirtualTime::advance(100);
    QCOMPARE(VOXVirtualTime::now() - before, 510);
}

void tst_VOXVirtualTime::timersOfTheirOwnSlots()
{
    QTimer timer;
    int deepest = 0, depth = 0, times = 0;
    connect(&timer, &QTimer::timeout, &timer, [&] {
        deepest = qMax(deepest, ++depth);
        if (++times == 1)
            QTest::qWait(100);
        if (times == 2)
            VOXVirtualTime::advance(100);
        --depth;
    });
    timer.start(30);
    VOXVirtualTime::advance(500);
    QCOMPARE(list(deepest, times), list(1, 12));
}

void tst_VOXVirtualTime::remainingTimes()
{
    QTimer timer;
    timer.start(100);
    std::this_thread::sleep_for(std::chrono::microseconds(30500));
    QCOMPARE(timer.remainingTime(), 70);
    QDeadlineTimer deadline(100);
    VOXVirtualTime::advance(60);
    QCOMPARE(list(timer.remainingTime(), deadline.remainingTime()), list(10, 40));
    timer.start(20);
    QCOMPARE(timer.remainingTime(), 20);
    timer.stop();
    QCOMPARE(timer.remainingTime(), -1);
}

// Time begins where the real one is, and passes for this thread alone.
void tst_VOXVirtualTime::otherClocks()
{
    const auto here = [] { return QDeadlineTimer::current().deadline() - VOXVirtualTime::now(); };
    const qint64 ahead = realMs() - here();
    QVERIFY2(ahead >= 0 && ahead < 100000, QByteArray::number(ahead));
    const QDateTime date = QDateTime::currentDateTime();
    const qint64 realBefore = realMs(), before = QDeadlineTimer::current().deadline();
    const auto steady = std::chrono::steady_clock::now();
    QElapsedTimer clock;
    clock.start();
    VOXVirtualTime::advance(3600000);
    const auto steadyMs = (std::chrono::steady_clock::now() - steady) / std::chrono::milliseconds(1);
    QCOMPARE(list(clock.elapsed(), steadyMs, QDeadlineTimer::current().deadline() - before),
             list(3600000, 3600000, 3600000));
    QVERIFY(date.msecsTo(QDateTime::currentDateTime()) < 4000);
    QVERIFY(realMs() - realBefore < 4000);
}

// One that posts is waited for, one that sleeps does so in real time.
void tst_VOXVirtualTime::otherThreads()
{
    QEventLoop loop;
    std::thread other([&] {
        for (int i = 0; i < 1000; ++i)
            QMetaObject::invokeMethod(
                &loop, [] {}, Qt::QueuedConnection);
        const qint64 before = QDeadlineTimer::current().deadline();
        QThread::msleep(20);
        const bool isReal = QDeadlineTimer::current().deadline() - before >= 20;
        QMetaObject::invokeMethod(
            &loop, [&loop, isReal] { loop.exit(isReal ? 1 : 2); }, Qt::QueuedConnection);
    });
    const int result = loop.exec();
    other.join();
    QCOMPARE(result, 1);
}

// Asks itself in another process, which that ends.
void tst_VOXVirtualTime::realSockets()
{
    if (qEnvironmentVariableIsSet("VOX_SOCKET")) {
        QUdpSocket socket;
        socket.bind(QHostAddress(QHostAddress::LocalHost), 0);
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
