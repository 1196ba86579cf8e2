#include "vox/nodemodel.h"

#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "transport/voxbus.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>
#include <iterator>

namespace {
template <typename Device>
KVRDevice *create(unsigned int addr, VOXBus *bus)
{
    return new Device(addr, bus);
}

const NodeModel models[] = {
    {QStringLiteral("NODE"), create<KVRDevice>},    {QStringLiteral("TB20"), create<TB20Stub>},
    {QStringLiteral("QM75"), create<QM75Stub>},     {QStringLiteral("MARLO"), create<MarloStub>},
    {QStringLiteral("TB60LV"), create<TB60LVStub>}, {QStringLiteral("HRMV2"), create<HRMv2Stub>},
};

constexpr unsigned int GroupDestination = 0x000000;
constexpr unsigned int BroadcastDestination = 0xffffff;
}

const NodeModel *findNodeModel(const QString &name)
{
    const auto *const found = std::find_if(std::begin(models), std::end(models),
                                           [&](const NodeModel &m) { return m.name == name; });
    return found == std::end(models) ? nullptr : found;
}

QString nodeModelNames()
{
    QStringList names;
    for (const NodeModel &model : models)
        names += model.name;
    return names.join(QLatin1String(", "));
}

bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem)
{
    static const QRegularExpression sixDigits(QStringLiteral("^[0-9A-Fa-f]{6}$"));
    if (!sixDigits.match(text).hasMatch()) {
        *problem = QStringLiteral("'%1' is no address of six hexadecimal digits").arg(text);
        return false;
    }
    *addr = text.toUInt(nullptr, 16);
    if (*addr != GroupDestination && *addr != BroadcastDestination && *addr != VOXBus::addr())
        return true;
    *problem =
        QStringLiteral("%1 is no node's address: 000000 means a group, FFFFFF all nodes, 010000 the host")
            .arg(text);
    return false;
}
