#include <KVRMotorProxy>
#include <QCoreApplication>
#include <VOXUdpBus>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    KVRMotorProxy motor(0x000001, &bus);
    motor.getMotorStatus().onFinished(&app, [&](const BusPendingCall &call) {
        KVRMotor::Status status;
        const bool ok = motor.getMotorStatusReply(call.reply(), status);
        qInfo("state %u, error %d", status.state, call.error());
        app.exit(ok ? 0 : 1);
    });
    return app.exec();
}
