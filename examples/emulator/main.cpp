// A product of one's own: its data sheet, a command that it lacks, and one that it answers in its own way.

#include <KVRAck>
#include <ProductStub>
#include <QCoreApplication>
#include <VOXUdpBus>

class AwningStub : public ProductStub
{
public:
    AwningStub(unsigned int addr, VOXBus *bus)
        : ProductStub(dataSheet(), addr, bus, nullptr)
    {
        setLimits(0, 2000);
    }

protected:
    bool answerOwn(const VOXMessage &request, VOXReply *answer) override
    {
        // An awning that winks might hit somebody: it acknowledges, and stays where it is.
        if (request.cmd() != KVR::CTRL_WINK)
            return false;
        *answer = KVRAck(*this, request);
        return true;
    }

private:
    static const DataSheet &dataSheet()
    {
        static const DataSheet sheet = [] {
            DataSheet filled;
            // None of the types stands for it, and so no frame that is for one type only reaches it.
            filled.type = VOX::NODETYPE_ANY;
            filled.pulsesPerRound = 200;
            // Least, most, as delivered.
            filled.ranges.rollingSpeed = {5, 30, 30};
            filled.ranges.slowSpeed = {5, 30, 10};
            filled.ranges.downLimit = {200, 20000, UnsetPosition};
            filled.ranges.intermediatePositions = 4;
            filled.ranges.appModes = {KVRMotor::ROLLER};
            filled.missingCommands = {KVR::CTRL_NETWORK_LOCK, KVR::SET_NETWORK_LOCK};
            return filled;
        }();
        return sheet;
    }
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4801, QHostAddress::LocalHost, 4800);
    AwningStub awning(0x000001, &bus);
    awning.setNodeLabel("Terrace");
    awning.setTimeScale(100);
    QObject::connect(&awning, &KVRMotorDevice::statusChanged, &awning, [&](const KVRMotor::Status &status) {
        qInfo("state %u at %u pulses", status.state, awning.positionPulses());
    });
    return bus.isOpen() ? app.exec() : 1;
}
