// A host, a hundred motors and everything that can go wrong, for as long as is wanted: every call has to end,
// and once, and memory has to stay where it is.

#include "crowd.h"
#include "host.h"
#include "simulation/voxfaultbus_p.h"
#include "simulation/voxline.h"
#include "transport/voxudpbus.h"

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QFile>
#include <QLoggingCategory>
#include <QThread>
#include <QTimer>
#include <QUdpSocket>

#include <cmath>
#include <cstdio>
#include <malloc.h>
#include <unistd.h>

namespace {
constexpr quint32 Seed = 1;
constexpr int MinuteMs = 60 * 1000;
// What an incomplete frame holds is gone by then, too.
constexpr int QuietMs = 4000;
constexpr int SettlingMs = 100;
// Of what is in use of the heap, and of what the system has given, which comes in larger pieces.
constexpr double MostHeapGrowth = 0.01;
constexpr double MostResidentGrowth = 0.05;

const char *const faults[] = {
    "drop all probability 0.01",       "twice all probability 0.01",   "corrupt all probability 0.01",
    "cut 7 all probability 0.005",     "noise 3 all probability 0.01", "delay 50 all probability 0.005",
    "delay 250 all probability 0.002",
};

/// A line with faults, with a bus at each end: in memory, or over UDP.
struct Line
{
    static std::unique_ptr<Line> inMemory(VOXFaultRules &rules)
    {
        auto line = std::make_unique<VOXLine>(VOXBus::BAUD_57600);
        std::unique_ptr<VOXBus> host(line->addBus());
        std::unique_ptr<VOXBus> network(line->addBus());
        line->setParent(network.get());
        line.release();
        return std::make_unique<Line>(rules, std::move(host), std::move(network));
    }

    static std::unique_ptr<Line> overUdp(VOXFaultRules &rules)
    {
        const QHostAddress here(QHostAddress::LocalHost);
        const auto [one, other] = freePorts();
        return std::make_unique<Line>(rules, std::make_unique<VOXUdpBus>(here, other, here, one),
                                      std::make_unique<VOXUdpBus>(here, one, here, other));
    }

    Line(VOXFaultRules &rules, std::unique_ptr<VOXBus> hostBus, std::unique_ptr<VOXBus> networkBus)
        : host(std::move(hostBus))
        , network(std::move(networkBus))
        , faulty(*network, rules)
    {
    }

    std::unique_ptr<VOXBus> host;
    std::unique_ptr<VOXBus> network;
    VOXFaultBus faulty;

private:
    static std::pair<unsigned short, unsigned short> freePorts()
    {
        QUdpSocket first;
        QUdpSocket second;
        first.bind(QHostAddress(QHostAddress::LocalHost), 0);
        second.bind(QHostAddress(QHostAddress::LocalHost), 0);
        return {first.localPort(), second.localPort()};
    }
};

/// What is in use, in KiB.
struct Memory
{
    double heap = 0;
    double resident = 0;

    static Memory now()
    {
        const struct mallinfo2 info = mallinfo2();
        QFile file(QStringLiteral("/proc/self/statm"));
        const QByteArray words = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
        return {static_cast<double>(info.uordblks + info.hblkhd) / 1024,
                words.split(' ').value(1).toDouble() * static_cast<double>(::sysconf(_SC_PAGESIZE)) / 1024};
    }
};

void runFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

VOXFaultRules makeRules()
{
    VOXFaultRules rules(Seed);
    for (const char *words : faults) {
        VOXFault fault;
        QString problem;
        if (!VOXFault::read(QLatin1String(words), &fault, &problem))
            qFatal("%s", qPrintable(problem));
        rules.add(fault);
    }
    return rules;
}
/// All lines, the hosts at their one end and the motors at the other.
class Soak
{
public:
    Soak();
    ~Soak();

    /// Lets everything happen for a while, and then nothing, and says what there is.
    Memory run(int ms);
    const Tally &tally() const { return m_tally; }

private:
    void onCrowdsThread(const std::function<void()> &function);

    Tally m_tally;
    VOXFaultRules m_rules = makeRules();
    std::vector<std::unique_ptr<Line>> m_lines;
    std::vector<std::unique_ptr<Host>> m_hosts;
    QThread m_thread;
    QObject m_context;
    std::unique_ptr<Crowd> m_crowd;
};

Soak::Soak()
{
    Crowd::Lines crowded;
    for (unsigned int i = 0; i < Crowd::LineCount; ++i) {
        m_lines.push_back(i % 2 == 0 ? Line::overUdp(m_rules) : Line::inMemory(m_rules));
        crowded.at(i) = &m_lines.back()->faulty;
        m_hosts.push_back(std::make_unique<Host>(std::move(m_lines.back()->host), Seed + i, m_tally));
    }
    m_thread.start();
    m_context.moveToThread(&m_thread);
    onCrowdsThread([&] { m_crowd = std::make_unique<Crowd>(crowded, Seed); });
}

Soak::~Soak()
{
    onCrowdsThread([this] { m_crowd.reset(); });
    m_thread.quit();
    m_thread.wait();
}

void Soak::onCrowdsThread(const std::function<void()> &function)
{
    QMetaObject::invokeMethod(&m_context, function, Qt::BlockingQueuedConnection);
}

Memory Soak::run(int ms)
{
    onCrowdsThread([this] { m_crowd->start(); });
    for (const auto &host : m_hosts)
        host->start();
    runFor(ms - QuietMs - SettlingMs);
    for (const auto &host : m_hosts)
        host->stop();
    runFor(QuietMs);
    for (const auto &host : m_hosts)
        host->settle();
    onCrowdsThread([this] { m_crowd->renew(); });
    // What has timed out is deleted from the event loop.
    runFor(SettlingMs);
    return Memory::now();
}

double growth(double from, double to)
{
    return (to - from) / from;
}
}

int main(int argc, char *argv[])
{
    // What both threads use counts.
    mallopt(M_ARENA_MAX, 1);
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus=false"));
    constexpr int DefaultMinutes = 5;
    const int minutes = argc > 1 ? QByteArray(argv[1]).toInt() : DefaultMinutes;
    if (minutes < 2) {
        std::fprintf(stderr, "soak: '%s' is not a number of minutes, 2 or more\n", argv[1]);
        return 2;
    }
    std::printf("minute      calls    replies  refusals  time-outs  withdrawn   heap KiB    RSS KiB\n");
    Soak soak;
    const Tally &tally = soak.tally();
    Memory first;
    Memory last;
    for (int minute = 1; minute <= minutes; ++minute) {
        last = soak.run(MinuteMs);
        if (minute == 1)
            first = last;
        std::printf("%6d %10lld %10lld %9lld %10lld %10lld %10.1f %10.0f\n", minute, tally.calls,
                    tally.replies, tally.refusals, tally.timeouts, tally.withdrawn, last.heap, last.resident);
        std::fflush(stdout);
    }
    const double heap = growth(first.heap, last.heap);
    const double resident = growth(first.resident, last.resident);
    const bool isGood =
        tally.lost == 0 && tally.endedTwice == 0 && heap <= MostHeapGrowth && resident <= MostResidentGrowth;
    std::printf("calls lost %lld, ended twice %lld; since the first minute heap %+.2f %%, RSS %+.2f %%: %s\n",
                tally.lost, tally.endedTwice, heap * 100, resident * 100, isGood ? "passed" : "FAILED");
    return isGood ? 0 : 1;
}
