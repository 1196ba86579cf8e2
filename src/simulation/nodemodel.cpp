#include "simulation/nodemodel_p.h"

#include "devices/hrmv2stub.h"
#include "devices/marlostub.h"
#include "devices/qm75stub.h"
#include "devices/tb20stub.h"
#include "devices/tb60lvstub.h"
#include "simulation/recordedanswers_p.h"

#include <algorithm>
#include <iterator>

namespace {
bool isSetting(unsigned char cmd)
{
    return cmd == KVR::CTRL_NETWORK_LOCK || VOX::toString(cmd).startsWith(QLatin1String("SET_"));
}

void observeRest(KVRDevice & /*node*/, NodeObserver & /*observer*/)
{
}

void observeRest(KVRMotorDevice &motor, NodeObserver &observer)
{
    QObject::connect(&motor, &KVRMotorDevice::statusChanged, &motor, [&](const KVRMotor::Status &status) {
        if (status.state != KVRMotor::STATE_RUNNING)
            observer.settingChanged(motor);
    });
}

/// A node that tells its observer what happens to it, and may have recorded answers.
template <typename Device>
class Observed : public Device, public AnsweringNode
{
public:
    Observed(VOX::Addr addr, NodeObserver &observer)
        : Device(addr, nullptr)
        , m_observer(observer)
        , m_madeAs(addr)
    {
        observeRest(*this, observer);
    }
    ~Observed() override { m_observer.nodeDestroyed(this, m_madeAs); }
    Q_DISABLE_COPY_MOVE(Observed)

    void dispatch(const VOXMessage &msg) override
    {
        const unsigned char cmd = msg.cmd();
        const QPointer<KVRDevice> self(this);
        if (recorded.isFor(msg) && this->checkRequest(msg))
            this->serve([&] { return recorded.answerOf(*this, msg); });
        else
            Device::dispatch(msg);
        // A slot may have destroyed it.
        if (self && !NodeQuery::isQuery(cmd))
            recorded.review(*this);
        if (self && isSetting(cmd))
            m_observer.settingChanged(*this);
    }

    VOXMessage ownAnswer(const VOXMessage &request) override { return this->answerTo(request); }

private:
    NodeObserver &m_observer;
    const VOX::Addr m_madeAs;
};

template <typename Device>
KVRDevice *create(VOX::Addr addr, NodeObserver &observer)
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

QStringList nodeModelNames()
{
    QStringList names;
    for (const NodeModel &model : models)
        names += model.name;
    return names;
}
