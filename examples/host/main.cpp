// Discovers the nodes of a bus, moves the first motor halfway and reads where it is; then meets a refusal and
// a time-out. Runs against examples/emulator, and any network whose first node is a motor.

#include <KVR>
#include <KVRAnswer>
#include <KVRMotorProxy>
#include <QCoreApplication>
#include <QTimer>
#include <VOXCall>
#include <VOXUdpBus>

class Host : public QObject
{
public:
    explicit Host(VOXBus &bus)
        : m_bus(bus)
    {
        const VOXCall everyone(KVR::findCmd(KVR::GET_NODE_ADDR), VOX::HostAddr, VOX::BCAST,
                               VOXCall::DefaultSharedTimeout);
        BusObject(&bus, nullptr).call(everyone).onFinished(this, [this](const BusPendingCall &call) {
            // All that have answered, in the order in which they did.
            for (const VOXMessage reply : call.replies()) {
                if (reply.cmd() != KVR::POST_NODE_ADDR)
                    continue;
                qInfo("found %s", qPrintable(VOX::toString(reply.srcAddr(false))));
                if (!m_motor)
                    m_motor = new KVRMotorProxy(reply.srcAddr(true), &m_bus, this);
            }
            if (m_motor)
                move();
            else
                QCoreApplication::exit(1);
        });
    }

private:
    void move()
    {
        m_motor->ctrlMoveTo(KVRMotor::MOVETO_PERCENT, 50)
            .onFinished(this, [this](const BusPendingCall &call) {
                // A refusal is a reply as well, a NACK.
                if (VOXMessage(call.reply()).cmd() != KVR::ACK)
                    qInfo("refused: %s", qPrintable(KVR::toString(KVR::getNackReply(call.reply()))));
                QTimer::singleShot(500, this, [this] { readPosition(); });
            });
    }

    void readPosition()
    {
        m_motor->getMotorPosition().onFinished(this, [this](const BusPendingCall &call) {
            const auto at = KVRAnswer::from<KVRAnswer::MotorPosition>(call.reply());
            if (at && at->position && at->percent && m_motor->hasSent(call.reply()))
                qInfo("at %u pulses, %u %%", *at->position, *at->percent);
            meetProblems();
        });
    }

    void meetProblems()
    {
        m_motor->ctrlMoveTo(KVRMotor::MOVETO_IP, 9).onFinished(this, [](const BusPendingCall &call) {
            qInfo("refused: %s", qPrintable(KVR::toString(KVR::getNackReply(call.reply()))));
        });
        auto *nobody = new KVRMotorProxy(0x00dead, &m_bus, this);
        nobody->ctrlStop().onFinished(this, [](const BusPendingCall &call) {
            qInfo("no answer: %s", qPrintable(call.errorString()));
            QCoreApplication::exit(call.error() == BusPendingCall::Timeout ? 0 : 1);
        });
    }

    VOXBus &m_bus;
    KVRMotorProxy *m_motor = nullptr;
};

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    VOXUdpBus bus(QHostAddress::LocalHost, 4800, QHostAddress::LocalHost, 4801);
    const Host host(bus);
    return app.exec();
}
