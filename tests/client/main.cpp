#include <BusPendingCallWatcher>
#include <KVRAnswer>
#include <KVRMotorProxy>
#include <TB60LVStub>
#include <VOXField>
#include <VOXMessage>
#include <VOXUdpBus>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char *argv[])
{
    const QCoreApplication app(argc, argv);
    KVRMotorProxy proxy(0x00A1B2, nullptr);
    const TB60LVStub motor(proxy.addr(), nullptr);
    std::printf("%s\n", qPrintable(VOX::toString(motor.addr(true))));
    if (KVRAnswer::from<KVRAnswer::MotorStatus>(VOXMessage()) || VOXField::of(KVR::CTRL_MOVETO).size() != 3)
        return 1;
    return proxy.getMotorStatus().error() == BusPendingCall::NotOpen ? 0 : 1;
}
