#include "devices/tb20stub.h"

#include "devices/voxanswer_p.h"

using namespace VOXAnswer;

const ProductStub::DataSheet &TB20Stub::dataSheet()
{
    static const DataSheet sheet = [] {
        DataSheet filled;
        filled.type = VOX::NODETYPE_TB20;
        filled.pulsesPerRound = 324;
        // The least, the most, and the value as delivered.
        filled.ranges.rollingSpeed = {6, 28, 28};
        filled.ranges.slowSpeed = {6, 28, 16};
        filled.ranges.downLimit = {324, 64767, UnsetPosition};
        filled.ranges.intermediatePositions = 16;
        filled.ranges.dctLocks = 1;
        // The motor has no app modes.
        filled.missingCommands = {
            KVR::CTRL_NETWORK_LOCK,       KVR::SET_APP_MODE,     KVR::SET_MOTOR_TILTING_SPEED,
            KVR::SET_NETWORK_LOCK,        KVR::SET_TILT_LIMITS,  KVR::GET_APP_MODE,
            KVR::GET_MOTOR_TILTING_SPEED, KVR::GET_NETWORK_LOCK, KVR::GET_TILT_LIMITS,
        };
        return filled;
    }();
    return sheet;
}

TB20Stub::TB20Stub(unsigned int addr, VOXBus *bus, QObject *parent)
    : ProductStub(dataSheet(), addr, bus, parent)
    , m_compat(*this)
{
}

bool TB20Stub::answerOwn(const VOXMessage &request, VOXReply *answer)
{
    static constexpr Table handlers({
        on<KVR::SET_MOTOR_ROLLING_SPEED, &TB20Stub::handleRollingSpeed>,
    });
    return handlers.answer(*this, request, answer) || m_compat.answerTo(request, answer);
}

VOXReply TB20Stub::handleRollingSpeed(const VOXMessage &request, quint8 rolling, quint8 ignored, quint8 slow)
{
    // One speed up and down: the second byte is neither used nor checked.
    Q_UNUSED(ignored)
    return setRollingSpeeds(rolling, rolling, slow) ? acknowledgement(request)
                                                    : nack(request, KVR::NACK_BADMSG);
}

bool TB20Stub::hasSpeeds(unsigned char up, unsigned char down, unsigned char slow) const
{
    return up == down && ProductStub::hasSpeeds(up, down, slow);
}
