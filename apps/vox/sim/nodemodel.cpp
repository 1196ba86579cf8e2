#include "vox/sim/nodemodel.h"

#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"

#include <QStringList>

#include <algorithm>
#include <iterator>

namespace {
/// A node that tells its observer which requests it has handled.
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
