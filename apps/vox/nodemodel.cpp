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
/// A node that tells of what it has handled.
template <typename Device>
class Observed : public Device
{
public:
    Observed(unsigned int addr, NodeObserver &observer)
        : Device(addr, nullptr)
        , m_observer(observer)
    {
    }

    void dispatch(const VOXMessage &msg) override
    {
        Device::dispatch(msg);
        m_observer.requestHandled(*this, msg);
    }

private:
    NodeObserver &m_observer;
};

template <typename Device>
KVRDevice *create(unsigned int addr, NodeObserver &observer)
{
    return new Observed<Device>(addr, observer);
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

bool readAddr(const QString &text, unsigned int *addr)
{
    static const QRegularExpression sixDigits(QStringLiteral("^[0-9A-Fa-f]{6}$"));
    if (!sixDigits.match(text).hasMatch())
        return false;
    *addr = text.toUInt(nullptr, 16);
    return true;
}

QString nodeAddrProblem(unsigned int addr)
{
    if (addr != GroupDestination && addr != BroadcastDestination && addr != VOXBus::addr())
        return QString();
    return QStringLiteral("%1 is no node's address: 000000 means a group, FFFFFF all nodes, 010000 the host")
        .arg(VOX::toString(addr));
}

bool readNodeAddr(const QString &text, unsigned int *addr, QString *problem)
{
    *problem = readAddr(text, addr)
        ? nodeAddrProblem(*addr)
        : QStringLiteral("'%1' is no address of six hexadecimal digits").arg(text);
    return problem->isEmpty();
}
