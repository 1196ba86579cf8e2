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
        app.exit(motor.getMotorStatusReply(call.reply(), status) ? 0 : 1);
        qInfo("state %u, error %d", status.state, call.error());
    });
    return app.exec();
}
