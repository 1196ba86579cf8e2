#include "network/refusal_p.h"

#include <algorithm>
#include <iterator>

namespace {
struct Row
{
    int status;
    const char *text;
};

constexpr Row rows[] = {
    {KVR::NACK_RNG, "it has no such index; use a lower one"},
    {KVR::NACK_BADMSG, "it does not know the command, or does not take the value"},
    {KVR::NACK_MSGSIZE, "the frame is too short for it; its software may be older than this one"},
    {KVR::NACK_BUSY, "it is busy; try again in a second"},
    {KVR::NACK_NODE_IS_LOCKED, "it is locked; unlock it with the priority of the lock, or a higher one"},
    {KVR::NACK_WRONG_POSITION, "the position is out of its range; choose one between its limits"},
    {KVR::NACK_END_LIMITS_NOT_SET, "its end limits are not set; set both first"},
    {KVR::NACK_IP_NOT_SET, "this intermediate position is not set; set it first"},
    {KVR::NACK_CURRENT_POSITION_OUT_OF_RANGE, "it is out of range where it is; move it between its limits"},
    {KVR::NACK_FEATURE_NOT_SUPPORTED, "this model cannot do it"},
    {KVR::NACK_IN_MOTION, "it moves; stop it first"},
    {KVR::NACK_IN_SECURITY, "a safety input holds it; clear that on site"},
    {KVR::NACK_LAST_IP_REACHED, "there is no further intermediate position that way"},
    {KVR::NACK_THRESHOLD_REACHED, "a sensor holds it; wait until its value is back in range"},
    {KVR::NACK_LOW_PRIORITY, "the lock has a higher priority; use that one"},
    {KVR::NACK_WINK_IN_PROGRESS, "it is showing which one it is; try again when it has done"},
};
}

QString refusalText(int status)
{
    const auto *const row = std::find_if(std::begin(rows), std::end(rows),
                                         [=](const Row &each) { return each.status == status; });
    if (row != std::end(rows))
        return QLatin1String(row->text);
    return QStringLiteral("it gives the unknown reason %1").arg(status);
}
