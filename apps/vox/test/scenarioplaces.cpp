#include "vox/test/scenarioplaces.h"

#include "devices/kvrmotordevice.h"
#include "messages/hrmv2.h"
#include "simulation/voxjsonplace_p.h"
#include "simulation/voxsimulation.h"
#include "vox/words.h"

#include <algorithm>

namespace {
constexpr int MsPerSecond = 1000;
}

int durationAt(const VOXJsonPlace &place)
{
    const QString text = place.value().isDouble()
        ? QString::number(place.value().toDouble(), 'f') + QLatin1String("ms")
        : place.value().toString();
    int ms = 0;
    if (readDuration(text, &ms))
        return ms;
    place.fail(QStringLiteral("is to be a time, such as \"500ms\" or \"2s\", of one hour at most"));
    return 0;
}

QString durationText(int ms)
{
    return ms % MsPerSecond == 0 && ms > 0 ? QStringLiteral("%1 s").arg(ms / MsPerSecond)
                                           : QStringLiteral("%1 ms").arg(ms);
}

unsigned char commandAt(const VOXJsonPlace &place)
{
    const QString name = place.text();
    for (int cmd = 0; cmd <= 0xff; ++cmd) {
        const auto id = static_cast<unsigned char>(cmd);
        if (!name.isEmpty() && (VOX::toString(id) == name || HRMv2::toString(id) == name))
            return id;
    }
    place.fail(QStringLiteral("unknown command '%1'; docs/commands.md lists them").arg(name));
    return 0;
}

unsigned int nodeAt(const VOXJsonPlace &place, const VOXSimulation &network)
{
    const unsigned int addr = place.address();
    if (place.ok() && !network.node(addr))
        place.fail(QStringLiteral("there is no node %1").arg(VOX::toString(addr)));
    return addr;
}

KVRMotorDevice *motorAt(const VOXJsonPlace &place, const VOXSimulation &network)
{
    auto *motor = qobject_cast<KVRMotorDevice *>(network.node(nodeAt(place, network)));
    if (!motor)
        place.fail(QStringLiteral("is to be a motor"));
    return motor;
}

int wordAt(const VOXJsonPlace &place, const QStringList &words)
{
    const int index = static_cast<int>(words.indexOf(place.value().toString()));
    if (index < 0)
        place.fail(QStringLiteral("is to be one of %1").arg(words.join(QStringLiteral(", "))));
    return std::max(0, index);
}
