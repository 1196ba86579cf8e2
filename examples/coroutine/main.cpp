// A host that says what it does in order, as a coroutine: with C++20, calls are waited for by co_await.
#include <KVRMotorProxy>
#include <QCoreApplication>
#include <VOXUdpBus>

#include <voxcoro.h>

namespace {
VOXTask showPosition(KVRMotorProxy &motor)
{
    const BusPendingCall stop = co_await motor.ctrlStop();
    if (stop.isError())
        qWarning("%s", qPrintable(stop.errorString()));
    quint16 pulses = 0;
    const BusPendingCall position = co_await motor.getMotorPosition();
    if (motor.hasSent(position.reply())
        && motor.getMotorPositionReply(position.reply(), &pulses, nullptr, nullptr, nullptr))
        qInfo("it stands at %u pulses", pulses);
    QCoreApplication::quit();
}
}

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    KVRMotorProxy motor(0x000001, &bus);
    const VOXTask task = showPosition(motor);
    return QCoreApplication::exec();
}
