// What it takes to keep a network up to date: memory for each node, the processor's time for many motors that
// move, and how long a host waits for its first picture of a line of 4800 bit/s. Takes a minute.

#include "framework/busdispatcher.h"
#include "messages/kvr.h"
#include "network/voxnetwork.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/simulator.h"
#include "transport/voxbus.h"
#include "transport/voxbusurl.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QJsonObject>
#include <QLoggingCategory>
#include <QTimer>
#include <QUdpSocket>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <malloc.h>
#include <sys/resource.h>

namespace {
constexpr VOX::Addr First = 0x000100;
constexpr double MsPerSecond = 1000;

void runFor(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

void runUntil(const std::function<bool()> &condition)
{
    while (!condition())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

/// Whether it is known of all nodes where they are.
bool isPicture(const VOXNetwork &network)
{
    const QVector<VOXNetworkNode *> nodes = network.nodes();
    return std::all_of(nodes.cbegin(), nodes.cend(), [&](const VOXNetworkNode *node) {
        const auto *const motor = qobject_cast<const VOXNetworkMotor *>(node);
        return motor && motor->percent() && motor->motorState();
    });
}

QJsonObject motors(int count)
{
    return {{QStringLiteral("nodes"),
             QJsonArray{QJsonObject{
                 {QStringLiteral("model"), QStringLiteral("TB60LV")},
                 {QStringLiteral("address"),
                  VOX::toString(First) + QLatin1Char('-') + VOX::toString(First + unsigned(count) - 1)},
                 {QStringLiteral("label"), QStringLiteral("Motor {n}")},
                 {QStringLiteral("limits"),
                  QJsonObject{{QStringLiteral("up"), 0}, {QStringLiteral("down"), 60000}}}}}}};
}

double processorMs()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    constexpr double UsPerMs = 1000;
    const auto ms = [](const timeval &time) {
        return double(time.tv_sec) * MsPerSecond + double(time.tv_usec) / UsPerMs;
    };
    return ms(usage.ru_utime) + ms(usage.ru_stime);
}

void printMemory()
{
    constexpr unsigned int Count = 10000;
    VOXLine line(0);
    VOXBus *const host = line.addBus(&line);
    VOXBus *const nodes = line.addBus(&line);
    QObject::connect(&nodes->dispatcher(), &BusDispatcher::unhandled, &line, [&](const BusMessage &message) {
        const VOXMessage request(message);
        const VOXCmdInfo post = KVR::findCmd(KVR::findCmd(request.cmd()).reply());
        VOXMessage answer(post.size());
        answer.setCmd(post.cmd());
        answer.setSrcAddr(request.destAddr(false));
        answer.setDestAddr(VOX::HostAddr);
        answer.prepare();
        nodes->dispatcher().reply(answer);
    });
    const auto before = ::mallinfo2().uordblks;
    VOXNetwork network(host);
    for (unsigned int i = 0; i < Count; ++i)
        network.add(First + i);
    while (!isPicture(network))
        VOXVirtualTime::advance(60000);
    std::printf("memory: %.2f KiB a node, of a network of %u (at most 4 is wanted)\n",
                double(::mallinfo2().uordblks - before) / 1024 / Count, Count);
}

std::pair<unsigned short, unsigned short> freePorts()
{
    QUdpSocket first;
    QUdpSocket second;
    first.bind(QHostAddress(QHostAddress::LocalHost), 0);
    second.bind(QHostAddress(QHostAddress::LocalHost), 0);
    return {first.localPort(), second.localPort()};
}

VOXBusUrl parsed(const QString &text)
{
    VOXBusUrl url;
    QString problem;
    if (!VOXBusUrl::read(text, &url, &problem))
        qFatal("%s", qPrintable(problem));
    return url;
}

void printMoving()
{
    constexpr int Count = 500;
    constexpr int WindowMs = 30000;
    const auto [here, there] = freePorts();
    const QString url = QStringLiteral("udp://127.0.0.1:%1?local=%2");
    const Simulator simulator(motors(Count), url.arg(here).arg(there), {});
    VOXNetwork network(parsed(url.arg(there).arg(here)));
    for (unsigned int i = 0; i < Count; ++i)
        network.add(First + i);
    runUntil([&] { return isPicture(network); });
    network.moveGroupDown(VOXNetwork::Everyone);
    runFor(3000);
    int changes = 0;
    QObject::connect(&network, &VOXNetwork::nodeChanged, &network, [&] { ++changes; });
    QElapsedTimer clock;
    clock.start();
    const double before = processorMs();
    runFor(WindowMs);
    const double usedMs = processorMs() - before;
    const double passedMs = double(clock.nsecsElapsed()) / 1e6;
    const auto nodes = network.nodes();
    const auto moving = std::count_if(nodes.cbegin(), nodes.cend(), [&](const VOXNetworkNode *node) {
        return qobject_cast<const VOXNetworkMotor *>(node)->isMoving();
    });
    std::printf(
        "%d motors of which %d move, over UDP: %.1f %% of a core (at most 5 is wanted), %.0f new positions a "
        "second\n",
        Count, int(moving), 100 * usedMs / passedMs, changes * MsPerSecond / passedMs);
}

void printFirstPicture(const char *turn, bool isKnown)
{
    constexpr unsigned int Count = 60;
    const Simulator simulator(motors(Count), QStringLiteral("pty:"),
                              {QStringLiteral("--line"), QStringLiteral("4800:") + QLatin1String(turn)});
    QElapsedTimer clock;
    clock.start();
    VOXNetwork network(parsed(simulator.portUrl()));
    if (isKnown) {
        for (unsigned int i = 0; i < Count; ++i)
            network.add(First + i);
    } else {
        network.discoverRange(First, First + Count - 1);
    }
    runUntil([&] { return network.nodes().size() == int(Count) && isPicture(network); });
    std::printf("first picture of %u %s nodes that answer after %s ms, at 4800 bit/s: %.1f s\n", Count,
                isKnown ? "known" : "unknown", turn, double(clock.elapsed()) / MsPerSecond);
}
}

int main(int argc, char *argv[])
{
    QLoggingCategory::setFilterRules(QStringLiteral("vox.*=false"));
    {
        // The pauses between 20,000 calls alone would take minutes.
        const VOXVirtualTime time;
        const QCoreApplication app(argc, argv);
        printMemory();
    }
    const QCoreApplication app(argc, argv);
    printMoving();
    printFirstPicture("5-40", true);
    printFirstPicture("40-40", true);
    printFirstPicture("5-40", false);
    return 0;
}
