#include "vox/test/action.h"

#include "devices/kvrmotordevice.h"
#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"
#include "transport/voxbus.h"
#include "vox/test/program.h"
#include "vox/test/scenarioplaces.h"
#include "vox/test/stage.h"
#include "vox/test/witnessbus.h"

#include <algorithm>
#include <iterator>

namespace {
constexpr int MaxInput = 255;

/// An action: its name, which has the node or whatever it is about, the members that go with it, and how
/// they are read.
struct Form
{
    QString name;
    QStringList others;
    Action (*read)(const VOXJsonPlace &place, const VOXSimulation &network);
};

Action readFault(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const QString words = place[QStringLiteral("fault")].text();
    if (words == QLatin1String("clear"))
        return [](Stage &stage) { stage.simulation.clearFaults(); };
    VOXFault fault;
    QString problem;
    if (!VOXFault::read(words, &fault, &problem))
        place[QStringLiteral("fault")].fail(problem);
    else if (fault.node != VOXFault::EveryNode && !network.node(fault.node))
        place[QStringLiteral("fault")].fail(
            QStringLiteral("there is no node %1").arg(VOX::toString(fault.node)));
    return [words](Stage &stage) {
        QString none;
        stage.simulation.addFault(words, &none);
    };
}

Action readAway(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const unsigned int addr = nodeAt(place[QStringLiteral("away")], network);
    return [addr](Stage &stage) {
        KVRDevice *node = stage.simulation.node(addr);
        if (auto *bus = qobject_cast<VOXBus *>(node->bus()))
            stage.away.insert(addr, bus);
        node->detach();
    };
}

Action readBack(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const unsigned int addr = nodeAt(place[QStringLiteral("back")], network);
    return [addr](Stage &stage) {
        if (VOXBus *bus = stage.away.take(addr))
            stage.simulation.node(addr)->attach(bus);
    };
}

Action readLine(const VOXJsonPlace &place, const VOXSimulation &)
{
    const bool isCut =
        wordAt(place[QStringLiteral("line")], {QStringLiteral("cut"), QStringLiteral("restored")}) == 0;
    return [isCut](Stage &stage) { stage.line.setCut(isCut); };
}

Action readSwitch(const VOXJsonPlace &place, const VOXSimulation &network)
{
    constexpr KVRMotor::Direction Directions[] = {KVRMotor::DIRECTION_UP, KVRMotor::DIRECTION_DOWN,
                                                  KVRMotor::DIRECTION_NONE};
    const unsigned int addr = nodeAt(place[QStringLiteral("switch")], network);
    motorAt(place[QStringLiteral("switch")], network);
    const KVRMotor::Direction direction = Directions[wordAt(
        place[QStringLiteral("to")], {QStringLiteral("up"), QStringLiteral("down"), QStringLiteral("stop")})];
    const VOXJsonPlace input = place[QStringLiteral("input")];
    const int index = input.isPresent() ? input.number(1, MaxInput) : 1;
    return [=](Stage &stage) { stage.simulation.node<KVRMotorDevice>(addr)->turnSwitch(index, direction); };
}

Action readHand(const VOXJsonPlace &place, const VOXSimulation &network)
{
    constexpr int MaxPercent = 100;
    const VOXJsonPlace node = place[QStringLiteral("hand")];
    const KVRMotorDevice *motor = motorAt(node, network);
    const VOXJsonPlace percent = place[QStringLiteral("percent")];
    const VOXJsonPlace position = place[QStringLiteral("position")];
    if (!place.ok())
        return {};
    if (percent.isPresent() == position.isPresent())
        place.fail(QStringLiteral("needs either percent or position"));
    if (percent.isPresent() && !motor->isLimit())
        percent.fail(QStringLiteral("this motor has no limits"));
    const int value = percent.isPresent() ? percent.number(0, MaxPercent)
                                          : position.number(0, KVRMotorDevice::UnsetPosition - 1);
    return [addr = node.address(), value, isPercent = percent.isPresent()](Stage &stage) {
        auto *moved = stage.simulation.node<KVRMotorDevice>(addr);
        moved->restAt(isPercent ? moved->toPulses(static_cast<unsigned char>(value))
                                : static_cast<unsigned short>(value));
    };
}

/// The request that @p post answers; 0 if there is none.
unsigned char requestFor(unsigned char post)
{
    for (int cmd = 1; cmd <= 0xff; ++cmd) {
        const auto id = static_cast<unsigned char>(cmd);
        if (KVR::findCmd(id).isValid() && KVR::findCmd(id).reply() == post)
            return id;
    }
    return 0;
}

Action readPost(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const VOXJsonPlace command = place[QStringLiteral("post")];
    const unsigned char request = requestFor(commandAt(command));
    if (request == 0)
        command.fail(QStringLiteral("no node tells that by itself"));
    const unsigned int addr = nodeAt(place[QStringLiteral("node")], network);
    const VOXJsonPlace to = place[QStringLiteral("to")];
    const unsigned int host =
        to.isPresent() ? VOX::makeAddr(VOX::NODETYPE_MASTER, int(to.address())) : VOX::HostAddr;
    return [=](Stage &stage) {
        // The node tells what it would answer.
        KVRDevice *node = stage.simulation.node(addr);
        VOXMessage message(KVR::findCmd(request).size());
        message.setCmd(request);
        message.setSrcAddr(host);
        message.setDestAddr(node->addr(true));
        message.prepare();
        node->dispatch(message);
    };
}

Action readWrite(const VOXJsonPlace &place, const VOXSimulation &)
{
    const QByteArray text = place[QStringLiteral("write")].text().toUtf8();
    return [text](Stage &stage) { stage.program.write(text); };
}

const Form forms[] = {
    {QStringLiteral("fault"), {}, readFault},
    {QStringLiteral("away"), {}, readAway},
    {QStringLiteral("back"), {}, readBack},
    {QStringLiteral("line"), {}, readLine},
    {QStringLiteral("switch"), {QStringLiteral("to"), QStringLiteral("input")}, readSwitch},
    {QStringLiteral("hand"), {QStringLiteral("percent"), QStringLiteral("position")}, readHand},
    {QStringLiteral("post"), {QStringLiteral("node"), QStringLiteral("to")}, readPost},
    {QStringLiteral("write"), {}, readWrite},
};
}

Action actionAt(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const auto *const form = std::find_if(std::begin(forms), std::end(forms),
                                          [&](const Form &f) { return place[f.name].isPresent(); });
    if (form != std::end(forms))
        return place.isObjectOf(QStringList{form->name} + form->others) ? form->read(place, network)
                                                                        : Action();
    QStringList names;
    for (const Form &each : forms)
        names += each.name;
    place.fail(QStringLiteral("is to be an object with one of %1").arg(names.join(QStringLiteral(", "))));
    return {};
}
