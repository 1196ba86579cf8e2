// A host that says what it does in order, as a coroutine: with C++20, calls are waited for by co_await.
#include <KVRAnswer>
#include <KVRMotorProxy>
#include <QCoreApplication>
#include <VOXUdpBus>

#include <voxcoro.h>

namespace {
VOXTask stopAndLook(KVRMotorProxy &motor)
{
    const BusPendingCall stop = co_await motor.ctrlStop();
    if (stop.isError())
        qWarning("%s", qPrintable(stop.errorString()));
    const BusPendingCall answer = co_await motor.getMotorStatus();
    const auto status = KVRAnswer::from<KVRAnswer::MotorStatus>(answer.reply());
    if (status && motor.hasSent(answer.reply()))
        qInfo("stopped, and now %s", KVRMotor::MotorStateEnum().valueToKey(int(status->state)));
    QCoreApplication::quit();
}
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    KVRMotorProxy motor(0x000001, &bus);
    const VOXTask task = stopAndLook(motor);
    return QCoreApplication::exec();
}
