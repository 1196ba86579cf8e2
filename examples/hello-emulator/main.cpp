#include <QCoreApplication>
#include <TB60LVStub>
#include <VOXUdpBus>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4801, QHostAddress::LocalHost, 4800);
    TB60LVStub motor(0x000001, &bus);
    motor.setNodeLabel("Kitchen");
    QObject::connect(&motor, &KVRMotorDevice::statusChanged, &motor, [&](const KVRMotor::Status &status) {
        qInfo("state %u at %u pulses", status.state, motor.positionPulses());
    });
    return app.exec();
}
