#include <KVRAnswer>
#include <KVRMotorProxy>
#include <QCoreApplication>
#include <VOXUdpBus>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    KVRMotorProxy motor(0x000001, &bus);
    motor.getMotorStatus().onFinished(&app, [&](const BusPendingCall &call) {
        const auto status = KVRAnswer::from<KVRAnswer::MotorStatus>(call.reply());
        if (status && motor.hasSent(call.reply()))
            qInfo("%s", KVRMotor::MotorStateEnum().valueToKey(int(status->state)));
        else
            qInfo("%s", qPrintable(call.errorString()));
        app.exit(status ? 0 : 1);
    });
    return app.exec();
}
