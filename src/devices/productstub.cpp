#include "devices/productstub.h"

#include <cstdlib>

namespace {
constexpr int Tolerance = 3;
}

ProductStub::ProductStub(const DataSheet &sheet, unsigned int addr, VOXBus *bus, QObject *parent)
    : KVRMotorDevice(VOX::makeAddr(sheet.type, static_cast<int>(addr)), bus, parent)
    , m_sheet(sheet)
{
    setRanges(sheet.ranges);
}

unsigned short ProductStub::pulsesPerRound() const
{
    return m_sheet.pulsesPerRound;
}

unsigned char ProductStub::findMotorIP(unsigned short position) const
{
    const QVector<unsigned short> &slots = intermediatePositions();
    for (int slot = 0; slot < slots.size(); ++slot) {
        if (std::abs(slots.at(slot) - position) <= Tolerance)
            return static_cast<unsigned char>(slot + 1);
    }
    return None;
}

VOXMessage ProductStub::answerTo(const VOXMessage &request)
{
    VOXReply answer;
    if (m_sheet.missingCommands.contains(request.cmd()))
        answer = nack(request, KVR::NACK_FEATURE_NOT_SUPPORTED);
    else if (!answerOwn(request, &answer))
        return KVRMotorDevice::answerTo(request);
    return wanted(request, answer);
}

bool ProductStub::answerOwn(const VOXMessage &request, VOXReply *answer)
{
    Q_UNUSED(request)
    Q_UNUSED(answer)
    return false;
}
