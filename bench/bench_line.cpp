// How much of a 4800 baud line queries fill, one after the other: what the bytes take, and the pauses that
// the line prescribes, against the time that passes. Takes a minute.

#include "devices/tb60lvstub.h"
#include "framework/buspendingcallwatcher.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "transport/voxbus.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QLoggingCategory>

#include <cstdio>
#include <memory>

namespace {
constexpr qint64 NsPerSecond = 1000000000;
constexpr qint64 DurationNs = 60 * NsPerSecond;
// 11 bytes, 5 ms, an answer of 15 bytes, and 10 ms before the next call. The line hands over frames in whole
// milliseconds.
constexpr qint64 QueryNs = (26 + 5 + 35 + 10) * NsPerSecond / 1000;
constexpr unsigned int MotorAddr = 0x000123;
}

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    QLoggingCategory::setFilterRules(QStringLiteral("vox.bus.debug=false"));
    VOXLine line(VOXBus::BAUD_4800);
    const std::unique_ptr<VOXBus> host(line.addBus());
    const std::unique_ptr<VOXBus> network(line.addBus());
    const TB60LVStub motor(MotorAddr, network.get());
    KVRMotorProxy proxy(MotorAddr, host.get());

    QElapsedTimer clock;
    clock.start();
    int queries = 0;
    int failures = 0;
    while (clock.nsecsElapsed() < DurationNs) {
        const BusPendingCallWatcher watcher(proxy.getMotorStatus());
        QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher, [&] { ++queries; });
        for (const int before = queries; queries == before;)
            QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
        failures += watcher.isError() ? 1 : 0;
    }
    const qint64 needed = queries * QueryNs;
    std::printf(
        "serial line: %d queries in %.1f s, %d of them failed; %.1f %% of what the line allows (at least "
        "97 %% is wanted)\n",
        queries, double(clock.nsecsElapsed()) / NsPerSecond, failures,
        100.0 * double(needed) / double(clock.nsecsElapsed()));
    return failures == 0 ? 0 : 1;
}
