#ifndef NETWORKSITE_H
#define NETWORKSITE_H

#include "devices/kvrmotordevice.h"
#include "framework/busdispatcher.h"
#include "network/voxnetwork.h"
#include "simulation/voxline.h"
#include "simulation/voxsimulation.h"
#include "simulation/voxvirtualtime.h"
#include "support/frames.h"

#include <QtTest>

static const VOXVirtualTime virtualTime;

constexpr VOX::Addr Group = 0xa01;
constexpr int DownLimit = 14050;

constexpr VOX::Addr addrOf(int index)
{
    return 0x100 + static_cast<VOX::Addr>(index);
}

inline bool runUntil(const std::function<bool()> &condition, qint64 ms = 60000)
{
    return VOXVirtualTime::runUntil(condition, ms);
}

/// A host's network and simulated motors that need 20 s from limit to limit, on a line of 4800 bit/s.
struct NetworkSite
{
    explicit NetworkSite(int count, bool isKnown = true)
    {
        QJsonArray nodes;
        QVector<VOX::Addr> members;
        for (int i = 0; i < count; ++i) {
            members += addrOf(i);
            nodes += QJsonObject{{"model", "TB60LV"},
                                 {"address", VOX::toString(addrOf(i))},
                                 {"label", QStringLiteral("motor %1").arg(i)},
                                 {"groups", QJsonArray{VOX::toString(Group)}},
                                 {"limits", QJsonObject{{"up", 0}, {"down", DownLimit}}}};
        }
        simulation.load({{"nodes", nodes}});
        simulation.attach(nodesBus);
        QObject::connect(&line, &VOXLine::sent, &line,
                         [this](QIODevice *member) { sent += member == host->device() ? 1 : 0; });
        QObject::connect(network.get(), &VOXNetwork::noticed, &line,
                         [this](const QString &text) { noticed += text; });
        network->setGroup(Group, members);
        for (int i = 0; isKnown && i < count; ++i)
            network->add(addrOf(i));
        VOXVirtualTime::advance(isKnown ? count * 250 : 0);
        sent = 0;
    }

    VOXNetworkMotor *motor(int index = 0) const { return network->motor(addrOf(index)); }
    KVRMotorDevice *device(int index = 0) const { return simulation.node<KVRMotorDevice>(addrOf(index)); }

    /// Another host commands the first motor: to a limit, or -1, to stop. It does not wait for the line, so
    /// it tries a few times.
    void command(int function, int times = 5)
    {
        otherHost->write(
            frame(function < 0 ? "02 FF" : "03 01 00 00 FF", addrOf(0), VOXMessage::AckFlag).data());
        if (times > 1)
            QTimer::singleShot(73, &line, [=] { command(function, times - 1); });
    }

    /// The first motor answers no more, but says this again and again: no emulated motor is ever blocked.
    void speaks(const QByteArray &status)
    {
        simulation.remove(addrOf(0));
        QObject::connect(&nodesBus->dispatcher(), &BusDispatcher::unhandled, &line,
                         [=](const BusMessage &message) {
                             const bool isStatus = VOXMessage(message).cmd() == KVR::GET_MOTOR_STATUS;
                             if (VOXMessage(message).destAddr(false) == addrOf(0))
                                 nodesBus->dispatcher().reply(
                                     frameFrom(addrOf(0), isStatus ? status : "0D F401 07 FF FF"));
                         });
    }

    /// Gives a command: a move or a stop of the first motor, of the group if it begins with G, or something
    /// that happens. Null if it is no motion.
    VOXMotion *give(const QString &word)
    {
        const int number = word.section('=', 1).toInt();
        const QString verb = word.section('=', 0, 0);
        if (verb == "to")
            return motor()->moveTo(number);
        if (verb == "up")
            return motor()->moveUp();
        if (verb == "down")
            return motor()->moveDown();
        if (verb == "jog")
            return motor()->jog(number > 0 ? KVRMotor::DIRECTION_DOWN : KVRMotor::DIRECTION_UP, qAbs(number));
        if (verb == "stop")
            return motor()->stop();
        if (verb == "Gto")
            return network->moveGroupTo(Group, number);
        if (verb == "Gdown")
            return network->moveGroupDown(Group);
        if (verb == "Gother")
            return network->moveGroupUp(Group + 1);
        if (verb == "Gnone")
            return network->stopGroup(0x010000);
        if (verb == "Gstop")
            return network->stopAll();
        if (verb == "wait")
            VOXVirtualTime::advance(number);
        else if (verb == "foreign")
            command(number);
        else if (verb == "unlimited")
            motor()->setLimit(KVRMotor::LIMIT_DOWN, KVRMotor::LIMIT_DELETE);
        else if (verb == "lock")
            motor()->lock(number);
        else if (verb == "dies")
            simulation.remove(addrOf(number));
        else if (verb == "loseAck")
            simulation.addFault("drop 000100 command CTRL_MOVETO count 1");
        else if (verb == "remove")
            network->remove(addrOf(number));
        else if (verb == "listen")
            network->setSending(false);
        else if (verb == "close")
            host->close();
        else if (verb == "blocked")
            speaks("0F 02 00 00 00");
        else if (verb == "nonsense")
            speaks("0F 02");
        else if (verb == "deaf") { // One of them hears nothing for a while.
            Bus *const bus = device(number)->bus();
            device(number)->detach();
            QTimer::singleShot(100, device(number), [this, number, bus] { device(number)->attach(bus); });
        } else
            qFatal("no such word: %s", qPrintable(word));
        return nullptr;
    }

    VOXLine line{4800};
    VOXSimulation simulation;
    VOXBus *nodesBus = line.addBus(&line);
    VOXBus *host = line.addBus(&line);
    VOXBus *otherHost = line.addBus(&line);
    std::unique_ptr<VOXNetwork> network = std::make_unique<VOXNetwork>(host);
    int sent = 0;
    QStringList noticed;
};

/// What was heard of a motion.
struct Heard
{
    explicit Heard(VOXMotion *motion)
    {
        QObject::connect(motion, &VOXMotion::accepted, motion, [this] { ++(finished ? late : accepted); });
        QObject::connect(motion, &VOXMotion::finished, motion, [this](VOXMotion *ended) {
            ++finished;
            end = ended->end();
            sentence = ended->sentence();
        });
    }
    bool wait() const
    {
        return runUntil([this] { return finished > 0; });
    }

    int accepted = 0;
    int late = 0;
    int finished = 0;
    VOXMotion::End end = VOXMotion::Running;
    QString sentence;
};

#endif
