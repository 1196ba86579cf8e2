#include <KVRMotorProxy>

// That header alone is enough to tell a refusal.
static bool isRefused(const BusPendingCall &call)
{
    return KVR::isNack(call.reply());
}

#include <BusPendingCallWatcher>
#include <KVRAnswer>
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
    const BusPendingCall call = proxy.getMotorStatus();
    return call.error() == BusPendingCall::NotOpen && !isRefused(call) ? 0 : 1;
}
