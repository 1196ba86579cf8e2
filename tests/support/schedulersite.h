#ifndef SCHEDULERSITE_H
#define SCHEDULERSITE_H

#include "devices/tb60lvstub.h"
#include "network/voxscheduler.h"
#include "proxies/kvrmotorproxy.h"
#include "simulation/voxline.h"
#include "simulation/voxvirtualtime.h"
#include "support/frames.h"
#include "transport/voxframecutter.h"

#include <QtTest>

static const VOXVirtualTime virtualTime;

constexpr unsigned int First = 0x100;

/// A motor that takes its time, or does not answer.
struct Motor : TB60LVStub
{
    Motor(unsigned int addr, VOXBus *bus)
        : TB60LVStub(addr, bus)
    {
        setLimits(0, 10000);
    }

    void dispatch(const VOXMessage &message) override
    {
        heard.append(text(message));
        const int delayMs = delayFor ? delayFor(message) : turnAroundMs;
        if (delayMs >= 0)
            QTimer::singleShot(delayMs, Qt::PreciseTimer, this, [=] { TB60LVStub::dispatch(message); });
    }

    QByteArrayList heard;
    int turnAroundMs = 5;
    /// -1 for no answer.
    std::function<int(const VOXMessage &)> delayFor;
};

struct Sent
{
    qint64 ms;
    VOXMessage frame;
};

/// A host with a scheduler and a few motors, on a line of 4800 bit/s.
struct SchedulerSite
{
    explicit SchedulerSite(int count = 3)
    {
        for (int i = 0; i < count; ++i)
            motors.push_back(std::make_unique<Motor>(First + unsigned(i), nodes));
        QObject::connect(&line, &VOXLine::sent, &line,
                         [this, own = host->device()](QIODevice *member, const QByteArray &bytes) {
                             if (member != own)
                                 return;
                             QByteArray logical = bytes;
                             VOXFrameCutter::invertBody(logical);
                             sent.append({VOXVirtualTime::now(), VOXMessage(BusMessage(logical))});
                         });
    }

    KVRMotorProxy &proxy(int index, VOXScheduler::Lane lane = VOXScheduler::User)
    {
        proxies.push_back(std::make_unique<KVRMotorProxy>(First + unsigned(index), scheduler->lane(lane)));
        return *proxies.back();
    }

    /// Command and node of what the host has sent since the last time, as in "0E@0 02@1".
    QByteArray log()
    {
        QByteArrayList words;
        for (const Sent &each : qAsConst(sent)) {
            const QByteArray to = each.frame.addrType() == VOX::P2P
                ? QByteArray::number(each.frame.destAddr(false) - First)
                : QByteArray("*");
            words.append(text(each.frame).left(2) + '@' + to);
        }
        sent.clear();
        return words.join(' ');
    }

    VOXLine line{4800};
    std::unique_ptr<VOXBus> host{line.addBus()};
    VOXBus *nodes = line.addBus(&line);
    std::vector<std::unique_ptr<Motor>> motors;
    std::unique_ptr<VOXScheduler> scheduler = std::make_unique<VOXScheduler>(host.get());
    std::vector<std::unique_ptr<KVRMotorProxy>> proxies;
    QVector<Sent> sent;
};

inline BusPendingCall discovery(VOXBus *bus)
{
    return BusObject(bus, nullptr)
        .call(VOXCall(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr & VOX::AddrMask, VOX::BCAST, 300));
}

#endif
