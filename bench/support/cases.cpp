#include "support/cases.h"

#include "devices/tb60lvstub.h"
#include "framework/busdispatcher.h"
#include "framework/buspendingcallwatcher.h"
#include "messages/kvr.h"
#include "messages/voxcall.h"
#include "messages/voxdatareader.h"
#include "messages/voxdatawriter.h"
#include "network/voxscheduler.h"
#include "proxies/kvrmotorproxy.h"
#include "support/pair.h"

#include <cstdlib>
#include <map>
#include <memory>

namespace {
constexpr unsigned int FirstAddr = 0x100000;
// Has no divisor in common with the sizes, so that every motor gets its turn.
constexpr unsigned int DefaultTimeout = 0;
constexpr int Stride = 7919;

struct Network : Pair
{
    explicit Network(int size)
    {
        for (int i = 0; i < size; ++i)
            motors.push_back(std::make_unique<TB60LVStub>(FirstAddr + unsigned(i), &network));
    }

    std::size_t next() { return turn = (turn + Stride) % motors.size(); }

    KVRMotorProxy &nextProxy(Bus *bus)
    {
        proxies.resize(motors.size());
        std::unique_ptr<KVRMotorProxy> &proxy = proxies[next()];
        if (!proxy)
            proxy = std::make_unique<KVRMotorProxy>(FirstAddr + unsigned(turn), bus);
        return *proxy;
    }

    std::vector<std::unique_ptr<TB60LVStub>> motors;
    // As a host has them: made once.
    std::vector<std::unique_ptr<KVRMotorProxy>> proxies;
    std::size_t turn = 0;
};

// Each case has its own, so that none finds what another has shuffled; never destroyed, so that every
// repetition finds it as the one before has left it.
Network *networkFor(const char *use, int size)
{
    static auto &networks = *new std::map<std::pair<std::string, int>, Network *>;
    Network *&network = networks[{use, size}];
    if (!network)
        network = new Network(size);
    return network;
}

void queryStatus(KVRMotorProxy &proxy)
{
    bool done = false;
    const BusPendingCallWatcher watcher(proxy.getMotorStatus());
    QObject::connect(&watcher, &BusPendingCallWatcher::finished, &watcher,
                     [&](BusPendingCallWatcher *finished) { done = !finished->isError(); });
    waitFor(done);
}

VOXCall exampleCall()
{
    VOXCall call(KVR::findCmd(KVR::CTRL_MOVETO), VOX::HostAddr, FirstAddr, DefaultTimeout);
    VOXDataWriter writer(call);
    writer.writeUint8(1).writeUint16(4711).writeUint8(50);
    return call;
}

bool isIntact(const VOXMessage &message)
{
    const QByteArray &bytes = message.data();
    const int covered = bytes.size() - VOXMessage::CheckLength;
    const unsigned short check = VOXBus::chksum(bytes.constData(), std::size_t(covered));
    return bytes.at(covered) == char(check >> 8) && bytes.at(covered + 1) == char(check);
}
}

Step callOverUdp(int motors)
{
    Network *network = networkFor(__func__, motors);
    return [network] { queryStatus(network->nextProxy(&network->host)); };
}

Step callThroughLane()
{
    Network *network = networkFor(__func__, 1);
    static const VOXScheduler scheduler(&network->host);
    return [network] { queryStatus(network->nextProxy(scheduler.lane(VOXScheduler::User))); };
}

Step broadcastTo(int motors)
{
    Network *network = networkFor(__func__, motors);
    VOXCall stop(KVR::findCmd(KVR::CTRL_STOP), VOX::HostAddr, VOX::BCAST, DefaultTimeout);
    stop.prepare();
    return [network, frame = stop.data()] { network->network.dispatcher().dispatch(frame); };
}

Step detachAndAttach(int motors)
{
    Network *network = networkFor(__func__, motors);
    return [network] {
        TB60LVStub &motor = *network->motors.at(network->next());
        motor.detach();
        motor.attach(&network->network);
    };
}

Step prepareAndParse()
{
    return [] {
        VOXCall call = exampleCall();
        call.prepare();
        const VOXMessage received{BusMessage(call.data())};
        VOXDataReader reader(received);
        unsigned char function = 0;
        unsigned short position = 0;
        unsigned char tilt = 0;
        reader.readUint8(function).readUint16(position).readUint8(tilt);
        if (!received.isValid() || !isIntact(received) || reader.fail() || position != 4711)
            std::abort();
    };
}

QByteArray exampleFrame()
{
    VOXCall call = exampleCall();
    call.prepare();
    return call.data();
}
